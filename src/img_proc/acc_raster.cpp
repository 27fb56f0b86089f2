/*
 * acc_raster.cpp - whole rows of an image, in DIB packing (format 1) or
 * one element per pixel (format 2).
 *
 * Exported: QV_DIB_raster_get, QV_DIB_raster_set, QV_DIB_raster_size_get.
 */
#include <cstring>

#include "img_proc/acc_internal.h"
#include "support/errors.h"
#include "support/frame.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "IMG_PROC\\ACC_LINE.C";

bool raster_args_ok(const AccImage &a, int32_t row, const void *buf, int32_t format) {
    if (!acc_format_ok(format, false)) return false;
    if (!acc_buffer_ok(buf)) return false;
    if (!acc_within(row, a.height, QVE_ROW_RANGE)) return false;
    return true;
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_DIB_raster_get(QUORIN image, int32_t row, void *buf, int32_t format) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !raster_args_ok(a, row, buf, format)) return;
        RowAccess ra(a);
        const uint8_t *p = ra.open(row);
        if (!p) return;
        if (format == 1) std::memcpy(buf, p, a.row_bytes);
        else acc_get(a.bpp, p, 0, a.width, buf, 2);
    });
}

QV_API int32_t QV_DIB_raster_set(QUORIN image, int32_t row, const void *buf, int32_t format) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !raster_args_ok(a, row, buf, format)) return;
        RowAccess ra(a);
        uint8_t *p = ra.open(row);
        if (!p) return;
        if (format == 1) std::memcpy(p, buf, a.row_bytes);
        else acc_put(a.bpp, p, 0, a.width, buf, 2);
        if (ra.commit(row) == 0) image_changed(a.rec, QV_CHANGED_PIXELS, row);
    });
}

QV_API int32_t QV_DIB_raster_size_get(QUORIN image, int32_t format, int32_t *size) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !acc_format_ok(format, false)) return;
        if (!size) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *size = int32_t(format == 1 ? a.row_bytes : acc_span_bytes(a.bpp, a.width, 2));
    });
}

}  // extern "C"
