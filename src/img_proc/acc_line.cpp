/*
 * acc_line.cpp - the pixels of a straight line between two points, both
 * included, in Bresenham order from the first. Ordinary DIBs only: a
 * run-encoded image gives -2432.
 *
 * Exported: QV_DIB_line_get, QV_DIB_line_set.
 */
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "img_proc/acc_internal.h"
#include "support/errors.h"
#include "support/frame.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

bool line_args_ok(const AccImage &a, int32_t x1, int32_t y1, int32_t x2, int32_t y2, const void *buf) {
    if (!acc_buffer_ok(buf)) return false;
    if (a.runs) {
        acc_report_run_form(a, QVE_LINE_LAYOUT);
        return false;
    }
    return acc_within(x1, a.width, QVE_OUT_OF_RANGE) && acc_within(x2, a.width, QVE_OUT_OF_RANGE) &&
           acc_within(y1, a.height, QVE_OUT_OF_RANGE) && acc_within(y2, a.height, QVE_OUT_OF_RANGE);
}

// Calls fn(i, x, y) for each pixel of the line.
template <class F>
void walk(int32_t x1, int32_t y1, int32_t x2, int32_t y2, F &&fn) {
    int32_t dx = std::abs(x2 - x1), dy = -std::abs(y2 - y1);
    int32_t sx = x1 < x2 ? 1 : -1, sy = y1 < y2 ? 1 : -1;
    int32_t err = dx + dy, x = x1, y = y1;
    for (int32_t i = 0;; ++i) {
        fn(i, x, y);
        if (x == x2 && y == y2) break;
        int32_t e2 = 2 * err;
        if (e2 >= dy) {
            err += dy;
            x += sx;
        }
        if (e2 <= dx) {
            err += dx;
            y += sy;
        }
    }
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_DIB_line_get(QUORIN image, int32_t x1, int32_t y1, int32_t x2, int32_t y2, void *buf,
                               int32_t *points, int32_t *count) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !line_args_ok(a, x1, y1, x2, y2, buf)) return;
        auto *out = static_cast<uint8_t *>(buf);
        size_t eb = acc_elem_bytes(a.bpp);
        int32_t n = 0;
        walk(x1, y1, x2, y2, [&](int32_t i, int32_t x, int32_t y) {
            acc_get(a.bpp, dib_row(a.dib, y), x, 1, out + size_t(i) * eb, 2);
            if (points) {
                points[2 * i] = x;
                points[2 * i + 1] = y;
            }
            n = i + 1;
        });
        if (count) *count = n;
    });
}

QV_API int32_t QV_DIB_line_set(QUORIN image, int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                               const void *buf, int32_t format) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !acc_format_ok(format, false) || !line_args_ok(a, x1, y1, x2, y2, buf))
            return;
        const auto *in = static_cast<const uint8_t *>(buf);
        size_t step = format == 2 ? acc_elem_bytes(a.bpp) : 0;  // format 1: one value for all
        walk(x1, y1, x2, y2, [&](int32_t i, int32_t x, int32_t y) {
            acc_put(a.bpp, dib_row(a.dib, y), x, 1, in + size_t(i) * step, 2);
        });
        image_changed(a.rec, QV_CHANGED_PIXELS, y1 < y2 ? y1 : y2);
    });
}

}  // extern "C"
