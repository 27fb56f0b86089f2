/*
 * image_info.cpp - what an image is: size, depth, DIB pointers, gray test
 * and the image rectangle.
 *
 * Exported: QV_image_dimensions_get, QV_image_DIB_pntr_get,
 * QV_image_DIB_palette_pntr_get, QV_image_DIB_bitmap_pntr_get,
 * QV_image_is_gray, QV_image_rect_get, QV_image_rect_set.
 */
#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "vosk32pd.h"

namespace qv {
namespace {
constexpr char kModule[] = "SUPPORT\\IMAGE.C";
}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_image_dimensions_get(QUORIN image, int32_t *width, int32_t *height, int32_t *bpp) {
    return api_frame_image(image, [&] {
        ImageRecord *rec = image_from_handle(image);
        if (width) *width = image_width(rec);
        if (height) *height = image_height(rec);
        if (bpp) *bpp = image_bpp(rec);
    });
}

QV_API int32_t QV_image_DIB_pntr_get(QUORIN image, QV_DIB_HEADER **dib) {
    return api_frame_image(image, [&] {
        if (!dib) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *dib = image_from_handle(image)->dib;
    });
}

QV_API int32_t QV_image_DIB_palette_pntr_get(QUORIN image, QV_RGBQUAD **palette, int32_t *entries) {
    return api_frame_image(image, [&] {
        QV_DIB_HEADER *dib = image_from_handle(image)->dib;
        uint64_t n = dib_palette_entries(dib->biBitCount, dib->biCompression);
        if (entries) *entries = int32_t(n);
        if (n && palette) *palette = dib_palette(dib);
    });
}

QV_API int32_t QV_image_DIB_bitmap_pntr_get(QUORIN image, void **bits) {
    return api_frame_image(image, [&] {
        if (!bits) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *bits = dib_bits(image_from_handle(image)->dib);
    });
}

QV_API int32_t QV_image_is_gray(QUORIN image, int32_t *flag) {
    return api_frame_image(image, [&] {
        if (!flag) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *flag = dib_is_gray(image_from_handle(image)->dib) ? 1 : 0;
    });
}

QV_API int32_t QV_image_rect_get(QUORIN image, QV_RECT *rect) {
    return api_frame_image(image, [&] {
        if (!rect) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *rect = image_from_handle(image)->image_rect;
    });
}

QV_API int32_t QV_image_rect_set(QUORIN image, const QV_RECT *rect) {
    return api_frame_image(image, [&] {
        if (!rect) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        ImageRecord *rec = image_from_handle(image);
        if (rect->left > rect->right || rect->top > rect->bottom) {
            QV_ERR(QVE_RECT_ORDER, rect->left > rect->right ? rect->left : rect->top,
                   rect->left > rect->right ? rect->right : rect->bottom);
            return;
        }
        if (rect->left < 0 || rect->top < 0) {
            QV_ERR(QVE_OUT_OF_RANGE, rect->left < 0 ? rect->left : rect->top, 0);
            return;
        }
        if (rect->right >= image_width(rec) || rect->bottom >= image_height(rec)) {
            QV_ERR(QVE_OUT_OF_RANGE, rect->right >= image_width(rec) ? rect->right : rect->bottom,
                   rect->right >= image_width(rec) ? image_width(rec) : image_height(rec));
            return;
        }
        rec->image_rect = *rect;
    });
}

}  // extern "C"
