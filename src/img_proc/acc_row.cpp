/*
 * acc_row.cpp - a span of one row: `count` pixels from column `left`.
 *
 * Exported: QV_DIB_row_get, QV_DIB_row_set.
 */
#include "img_proc/acc_internal.h"
#include "support/errors.h"
#include "support/frame.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "IMG_PROC\\ACC_LINE.C";

bool row_args_ok(const AccImage &a, int32_t left, int32_t row, int32_t count, const void *buf,
                 int32_t format) {
    if (!acc_format_ok(format, true)) return false;
    if (!acc_buffer_ok(buf)) return false;
    if (!acc_within(row, a.height, QVE_ROW_RANGE)) return false;
    if (!acc_within(left, a.width, QVE_OUT_OF_RANGE)) return false;
    if (count < 1 || count > a.width - left) {
        QV_ERR(QVE_OUT_OF_RANGE, count, a.width - left);
        return false;
    }
    return true;
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_DIB_row_get(QUORIN image, int32_t left, int32_t row, int32_t count, void *buf,
                              int32_t format) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !row_args_ok(a, left, row, count, buf, format)) return;
        RowAccess ra(a);
        if (const uint8_t *p = ra.open(row)) acc_get(a.bpp, p, left, count, buf, format);
    });
}

QV_API int32_t QV_DIB_row_set(QUORIN image, int32_t left, int32_t row, int32_t count, const void *buf,
                              int32_t format) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !row_args_ok(a, left, row, count, buf, format)) return;
        RowAccess ra(a);
        uint8_t *p = ra.open(row);
        if (!p) return;
        acc_put(a.bpp, p, left, count, buf, format);
        if (ra.commit(row) == 0) image_changed(a.rec, QV_CHANGED_PIXELS, row);
    });
}

}  // extern "C"
