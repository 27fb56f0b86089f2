/*
 * acc_pixel.cpp - one pixel: 1, 4 and 8 bits one byte, 16 bits two (native
 * order), 24 bits three (blue, green, red). Other depths, 32 bits included,
 * are refused with -3000. Run-encoded images are read from their run lists
 * directly; a write re-encodes the row.
 *
 * Exported: QV_DIB_pixel_get, QV_DIB_pixel_set.
 */
#include "img_proc/acc_internal.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/runs.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "IMG_PROC\\ACC_LINE.C";

bool pixel_args_ok(const AccImage &a, int32_t x, int32_t y, const void *value) {
    if (a.bpp != 1 && a.bpp != 4 && a.bpp != 8 && a.bpp != 16 && a.bpp != 24) {
        QV_ERR(QVE_DEPTH_UNSUPPORTED, a.bpp, 0);
        return false;
    }
    if (!acc_buffer_ok(value)) return false;
    if (!acc_within(x, a.width, QVE_OUT_OF_RANGE)) return false;
    if (!acc_within(y, a.height, QVE_OUT_OF_RANGE)) return false;
    return true;
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_DIB_pixel_get(QUORIN image, int32_t x, int32_t y, void *value) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !pixel_args_ok(a, x, y, value)) return;
        if (a.runs) {
            const uint16_t *list = image_run_list(a.rec, y);
            *static_cast<uint8_t *>(value) = uint8_t(list ? runs_pixel(list, x) : 0);
            return;
        }
        acc_get(a.bpp, dib_row(a.dib, y), x, 1, value, 2);
    });
}

QV_API int32_t QV_DIB_pixel_set(QUORIN image, int32_t x, int32_t y, const void *value) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !pixel_args_ok(a, x, y, value)) return;
        RowAccess ra(a);
        uint8_t *p = ra.open(y);
        if (!p) return;
        acc_put(a.bpp, p, x, 1, value, 2);
        if (ra.commit(y) == 0) image_changed(a.rec, QV_CHANGED_PIXELS, y);
    });
}

}  // extern "C"
