/*
 * image_record.cpp - allocation, binding, locking and the change hook of
 * image records.
 *
 * Internal: image_alloc, image_release_record, image_associate, image_lock,
 * image_unlock, image_changed (image.h).
 * Exported: VPb_image_alloc, VPb_image_associate, VPb_image_lock,
 * VPb_image_unlock.
 */
#include <cstring>

#include "os/os.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/memory.h"
#include "support/settings.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\IMAGE.C";

using CreateHook = void (*)(QUORIN image, void *extension_area);
using ChangedHook = void (*)(QUORIN image, int32_t reason, int32_t value);

void *hook(int number) {
    Settings *s = settings_get();
    return s ? s->hooks[number] : nullptr;
}

// Every default of a fully bound record.
void set_defaults(ImageRecord *rec, const QV_DIB_HEADER *dib) {
    int32_t w = dib->biWidth;
    int32_t h = dib->biHeight < 0 ? -dib->biHeight : dib->biHeight;
    rec->display_flags[0] = 1;
    rec->display_flags[1] = 1;
    rec->display_flags[2] = 0;
    rec->display_params[0] = 0;
    rec->display_params[1] = 0;
    rec->display_params[2] = 100;
    rec->display_params[3] = 0;
    rec->image_rect = QV_RECT{0, 0, w - 1, h - 1};
    std::memset(rec->reserved_rect, 0, sizeof rec->reserved_rect);
    rec->extent[0] = double(w - 1);
    rec->extent[1] = double(h - 1);
    rec->raster_op = 0xCC0020u;  // SRCCOPY
    rec->background[0] = rec->background[1] = rec->background[2] = 127;
    rec->background[3] = 0;
    for (int32_t &f : rec->display_switches) f = 1;
    rec->display_scale2 = 100;
    rec->t.xres_num = 300;
    rec->t.xres_den = 1;
    rec->t.yres_num = 300;
    rec->t.yres_den = 1;
    rec->t.res_unit = 3;
    rec->t.orientation = 1;
}

}  // namespace

ImageRecord *image_alloc(uint32_t tag) {
    auto *rec = static_cast<ImageRecord *>(mem_alloc(tag, kImageRecordSize));
    if (!rec) {
        QV_ERR(QVE_IMAGE_ALLOC, kImageRecordSize, 0);
        return nullptr;
    }
    rec->mem_tag = tag;
    os_record_enter(rec);
    return rec;
}

void image_release_record(ImageRecord *rec) {
    if (!rec) return;
    uint32_t tag = rec->mem_tag;
    os_record_leave(rec);
    std::memset(static_cast<void *>(rec), 0, kImageRecordSize);
    mem_free(tag, rec);
}

void image_associate(QV_DIB_HEADER *dib, ImageRecord *rec, bool full) {
    std::memcpy(rec->signature, kImageSignature, 4);
    rec->dib = dib;
    rec->display_flags[2] = 1;
    rec->t.last_field = 0;
    if (!full) return;
    set_defaults(rec, dib);
    if (auto fn = reinterpret_cast<CreateHook>(hook(kHookImageCreate)))
        fn(handle_from_image(rec), rec->t.extension_area);
}

int32_t image_lock(ImageRecord *rec) {
    if (rec->lock_count != 0) return 0;
    rec->lock_count = 1;
    return 1;
}

int32_t image_unlock(ImageRecord *rec) {
    if (rec->lock_count == 0) return 0;
    return --rec->lock_count == 0 ? 1 : 0;
}

void image_changed(ImageRecord *rec, int32_t reason, int32_t value) {
    if (auto fn = reinterpret_cast<ChangedHook>(hook(kHookImageChanged)))
        fn(handle_from_image(rec), reason, value);
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API QUORIN VPb_image_alloc(uint32_t tag) {
    ImageRecord *rec = nullptr;
    api_guard([&] { rec = image_alloc(tag); });
    return handle_from_image(rec);
}

QV_API int32_t VPb_image_associate(QV_DIB_HEADER *dib, QUORIN record, int32_t full) {
    return api_guard([&] {
        if (!image_record_live(record)) {
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(record), 0);
            return;
        }
        if (!dib) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        image_associate(dib, image_from_handle(record), full != 0);
    });
}

QV_API int32_t VPb_image_lock(QUORIN record) {
    return image_record_live(record) ? image_lock(image_from_handle(record)) : 0;
}

QV_API int32_t VPb_image_unlock(QUORIN record) {
    return image_record_live(record) ? image_unlock(image_from_handle(record)) : 0;
}

}  // extern "C"
