/*
 * resize_api.cpp - resizing an image in place or into a new image.
 *
 * Both paths check the arguments in one order, settle the representation
 * of 1-bit images (method 1 works on packed rows, method 3 on run lists;
 * the others keep the source's form), build the destination through the
 * operation frame, run the worker, and undo any conversion of the source.
 *
 * Exported: QV_IP_resize, QV_IP_resize_bkgrnd, QV_IP_thumbnail_create.
 */
#include <cstring>

#include "img_proc/op_frame.h"
#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/memory.h"
#include "support/runs.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr const char *kModule = kResizeModule;
constexpr size_t kLut16Size = 65536;

bool args_ok(const ImageRecord *rec, int32_t width, int32_t height, uint32_t method) {
    if (width < 1) {
        QV_ERR(QVE_OUT_OF_RANGE, width, 0);
        return false;
    }
    if (height < 1) {
        QV_ERR(QVE_OUT_OF_RANGE, height, 0);
        return false;
    }
    if (method != 0 && method != 3 && method != 4) {
        int32_t bpp = image_bpp(rec);
        if (bpp == 4) {
            QV_ERR(QVE_DEPTH_NOT_APPLICABLE, bpp, method);
            return false;
        }
        if (bpp == 8 && !dib_is_gray(rec->dib)) {
            QV_ERR(QVE_BUFFER_UNAVAILABLE, bpp, method);
            return false;
        }
    }
    return true;
}

// How a 1-bit source is held while it is resized, and put back afterwards.
struct Form {
    bool unpacked = false;  // run lists converted to packed rows (method 1)
    bool packed = false;    // packed rows converted to run lists (method 3)

    int32_t enter(ImageRecord *rec, uint32_t method) {
        if (image_bpp(rec) != 1) return 0;
        bool runs = image_is_run_form(rec);
        if (method == 1 && runs) {
            unpacked = true;
            return image_runs_to_dib(rec);
        }
        if (method == 3 && !runs) {
            packed = true;
            return image_dib_to_runs(rec);
        }
        return 0;
    }
    // Puts `rec` (the source, or the new image) back into its first form.
    void leave(ImageRecord *rec) const {
        if (unpacked) image_dib_to_runs(rec);
        if (packed) image_runs_to_dib(rec);
    }
};

uint32_t dest_compression(const ImageRecord *rec) {
    if (image_is_run_form(rec)) return QV_BI_RUNS;
    if (image_bpp(rec) == 16 && rec->dib->biCompression == QV_BI_GRAY16) return QV_BI_GRAY16;
    return QV_BI_RGB;
}

// The 503 variant carries the source's first mask in all three.
void copy_gray16_masks(QV_DIB_HEADER *dst, QV_DIB_HEADER *src) {
    if (dst->biCompression != QV_BI_GRAY16) return;
    uint32_t first = dib_masks(src)[0];
    uint32_t *m = dib_masks(dst);
    m[0] = m[1] = m[2] = first;
}

int32_t run_job(ImageRecord *src, ImageRecord *drec, QV_DIB_HEADER *ddib, uint32_t method,
                const void *background) {
    copy_gray16_masks(ddib, src->dib);
    // Run lists are stored through the record that holds the destination's
    // run table; it addresses its rows through the DIB it is given here.
    if (!drec->dib) drec->dib = ddib;
    OpProgress progress(kModule, dib_abs_height(ddib));
    ResizeJob job;
    job.src = src;
    job.sdib = src->dib;
    job.drec = drec;
    job.ddib = ddib;
    job.method = method;
    job.background = static_cast<const uint8_t *>(background);
    job.is_signed = src->t.is_signed != 0;
    job.progress = &progress;
    return resize_run(job);
}

void resize_in_place(ImageRecord *rec, int32_t width, int32_t height, uint32_t method, const void *background) {
    if (!args_ok(rec, width, height, method)) return;
    Form form;
    if (form.enter(rec, method) != 0) {
        form.leave(rec);
        return;
    }
    {
        OpInPlace op(rec, kModule);
        if (QV_DIB_HEADER *d = op.dest(width, height, image_bpp(rec), dest_compression(rec))) {
            if (run_job(rec, op.work(), d, method, background) == 0) op.commit();
        }
        form.leave(rec);
        op.finish();
    }
}

void copy_display_table(ImageRecord *src, ImageRecord *dst) {
    uint8_t *from = image_display_lut16(src, false);
    uint8_t *to = image_display_lut16(dst, true);
    if (!from || !to) {
        QV_ERR(QVE_FAILED, 0, 0);
        return;
    }
    std::memcpy(to, from, kLut16Size);
}

void thumbnail(ImageRecord *src, QUORIN *result, int32_t width, int32_t height, uint32_t method) {
    if (!args_ok(src, width, height, method)) return;
    if (!result) {
        QV_ERR(QVE_TARGET_ZERO, 0, 0);
        return;
    }
    Form form;
    if (form.enter(src, method) != 0) {
        form.leave(src);
        return;
    }
    const uint32_t tag = mem_unique_tag();
    ImageRecord *rec = image_alloc(tag);
    if (!rec) {
        mem_free_all(tag);
        form.leave(src);
        return;
    }
    *result = handle_from_image(rec);
    const QV_DIB_HEADER *s = src->dib;
    QV_DIB_HEADER *d = op_alloc_dest(rec, dib_palette(src->dib), width, height, image_bpp(src),
                                     dest_compression(src), s->biXPelsPerMeter, s->biYPelsPerMeter);
    if (d && run_job(src, rec, d, method, nullptr) == 0) {
        image_associate(d, rec, true);
        rec->t.xres_num = src->t.xres_num;
        rec->t.xres_den = src->t.xres_den;
        rec->t.yres_num = src->t.yres_num;
        rec->t.yres_den = src->t.yres_den;
        rec->t.res_unit = src->t.res_unit;
        rec->t.is_signed = src->t.is_signed;
        if (d->biBitCount == 16 && d->biCompression == QV_BI_GRAY16) copy_display_table(src, rec);
        if (error_count() == 0) form.leave(rec);
    } else {
        image_release_record(rec);
        mem_free_all(tag);
    }
    form.leave(src);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_resize(QUORIN image, int32_t width, int32_t height, uint32_t method) {
    return api_frame_image(image, [&] { resize_in_place(image_from_handle(image), width, height, method, nullptr); });
}

QV_API int32_t QV_IP_resize_bkgrnd(QUORIN image, int32_t width, int32_t height, uint32_t method,
                                   const void *background) {
    return api_frame_image(image,
                           [&] { resize_in_place(image_from_handle(image), width, height, method, background); });
}

QV_API int32_t QV_IP_thumbnail_create(QUORIN image, QUORIN *result, int32_t width, int32_t height,
                                      uint32_t method) {
    return api_frame_image(image, [&] { thumbnail(image_from_handle(image), result, width, height, method); });
}

}  // extern "C"
