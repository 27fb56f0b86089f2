/*
 * image_export.cpp - handing an image's DIB to the caller, and deep copies.
 *
 * Export turns a run-encoded image into an ordinary 1-bit DIB first, takes
 * the DIB out of the image's tag (or copies it into a fresh block when it
 * cannot be taken out) and deletes the image. The caller frees the DIB with
 * free() (or with the free callback of QV_mem_CB_register when one was in
 * force when the DIB was made).
 *
 * Exported: QV_image_export_DIB, QV_image_duplicate.
 */
#include <cstdlib>
#include <cstring>

#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/memory.h"
#include "support/runs.h"
#include "support/settings.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\IMAGE.C";

using DuplicateHook = void (*)(QUORIN source, QUORIN copy);

// Record fields that a copy takes over from its source (not the memory).
void copy_attributes(ImageRecord *dst, const ImageRecord *src) {
    dst->info_type = src->info_type;
    dst->info_value = src->info_value;
    dst->image_rect = src->image_rect;
    dst->t.xres_num = src->t.xres_num;
    dst->t.xres_den = src->t.xres_den;
    dst->t.yres_num = src->t.yres_num;
    dst->t.yres_den = src->t.yres_den;
    dst->t.res_unit = src->t.res_unit;
    dst->t.orientation = src->t.orientation;
    dst->t.is_signed = src->t.is_signed;
    std::memcpy(dst->t.extension_area, src->t.extension_area, sizeof dst->t.extension_area);
}

// A run-encoded image: a new record with copies of the DIB, run table and
// run data.
ImageRecord *duplicate_runs(ImageRecord *src) {
    uint32_t tag = mem_unique_tag();
    ImageRecord *rec = image_alloc(tag);
    if (!rec) return nullptr;
    size_t size = dib_total_size(src->dib);
    auto *dib = static_cast<QV_DIB_HEADER *>(mem_alloc(tag, size));
    if (!dib) {
        QV_ERR(QVE_NO_MEMORY, size, tag);
        image_delete(rec);
        return nullptr;
    }
    std::memcpy(dib, src->dib, size);
    image_associate(dib, rec, true);
    if (image_runs_copy(rec, src) != 0) {
        image_delete(rec);
        return nullptr;
    }
    return rec;
}

ImageRecord *duplicate(ImageRecord *src) {
    ImageRecord *rec = nullptr;
    if (image_is_run_form(src)) {
        rec = duplicate_runs(src);
    } else {
        QUORIN h = nullptr;
        int32_t before = error_count();
        image_load_dib_mem(src->dib, dib_total_size(src->dib), &h);
        if (error_count() != before || !image_handle_valid(h)) {
            if (image_handle_valid(h)) image_delete(image_from_handle(h));
            return nullptr;
        }
        rec = image_from_handle(h);
    }
    if (!rec) return nullptr;
    copy_attributes(rec, src);
    if (rec->dib->biXPelsPerMeter != src->dib->biXPelsPerMeter ||
        rec->dib->biYPelsPerMeter != src->dib->biYPelsPerMeter) {
        rec->dib->biXPelsPerMeter = src->dib->biXPelsPerMeter;
        rec->dib->biYPelsPerMeter = src->dib->biYPelsPerMeter;
    }
    if (image_handle_valid(src->t.alpha) && src->t.alpha != handle_from_image(src)) {
        ImageRecord *alpha = duplicate(image_from_handle(src->t.alpha));
        if (!alpha) {
            image_delete(rec);  // deletes its alpha image too
            return nullptr;
        }
        rec->t.alpha = handle_from_image(alpha);
    }
    return rec;
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_image_export_DIB(QUORIN image, QV_DIB_HEADER **out) {
    return api_frame_image(image, [&] {
        if (!out) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *out = nullptr;
        ImageRecord *rec = image_from_handle(image);
        if (image_is_run_form(rec) && image_runs_to_dib(rec) != 0) return;
        QV_DIB_HEADER *dib = rec->dib;
        size_t size = dib_total_size(dib);
        QV_DIB_HEADER *given = nullptr;
        if (!rec->t.dib_foreign && mem_detach(rec->mem_tag, dib) == 0) {
            given = dib;
            rec->dib = nullptr;
        } else {
            given = static_cast<QV_DIB_HEADER *>(std::malloc(size ? size : 1));
            if (!given) {
                QV_ERR(QVE_NO_MEMORY, size, rec->mem_tag);
                return;
            }
            std::memcpy(given, dib, size);
        }
        image_delete(rec);
        *out = given;
    });
}

QV_API int32_t QV_image_duplicate(QUORIN image, QUORIN *out) {
    return api_frame_image(image, [&] {
        if (!out) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *out = nullptr;
        ImageRecord *src = image_from_handle(image);
        ImageRecord *rec = duplicate(src);
        if (!rec) return;
        *out = handle_from_image(rec);
        if (src->info_type == 48)
            if (Settings *s = settings_get())
                if (auto fn = reinterpret_cast<DuplicateHook>(s->hooks[kHookImageDuplicate])) fn(image, *out);
    });
}

}  // extern "C"
