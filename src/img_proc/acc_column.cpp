/*
 * acc_column.cpp - a span of one column: `count` pixels from row `top`
 * downwards, packed like a row (format 1) or as elements (format 2).
 * Ordinary DIBs only: a run-encoded image gives -2433.
 *
 * Exported: QV_DIB_column_get, QV_DIB_column_set.
 */
#include "img_proc/acc_internal.h"
#include "support/errors.h"
#include "support/frame.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "IMG_PROC\\ACC_LINE.C";

bool column_args_ok(const AccImage &a, int32_t column, int32_t top, int32_t count, const void *buf,
                    int32_t format) {
    if (!acc_format_ok(format, false)) return false;
    if (!acc_buffer_ok(buf)) return false;
    if (a.runs) {
        acc_report_run_form(a, QVE_DIB_LAYOUT);
        return false;
    }
    if (!acc_within(column, a.width, QVE_OUT_OF_RANGE)) return false;
    if (!acc_within(top, a.height, QVE_ROW_RANGE)) return false;
    if (count < 1) {
        QV_ERR(QVE_OUT_OF_RANGE, count, 0);
        return false;
    }
    return true;
}

// Format-2 elements of the column into / out of `elems`.
void gather(const AccImage &a, int32_t column, int32_t top, int32_t n, uint8_t *elems) {
    size_t eb = acc_elem_bytes(a.bpp);
    for (int32_t i = 0; i < n; ++i) acc_get(a.bpp, dib_row(a.dib, top + i), column, 1, elems + i * eb, 2);
}
void scatter(const AccImage &a, int32_t column, int32_t top, int32_t n, const uint8_t *elems) {
    size_t eb = acc_elem_bytes(a.bpp);
    for (int32_t i = 0; i < n; ++i) acc_put(a.bpp, dib_row(a.dib, top + i), column, 1, elems + i * eb, 2);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_DIB_column_get(QUORIN image, int32_t column, int32_t top, int32_t count, void *buf,
                                 int32_t format, int32_t *read) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !column_args_ok(a, column, top, count, buf, format)) return;
        int32_t n = count < a.height - top ? count : a.height - top;
        auto *out = static_cast<uint8_t *>(buf);
        if (format == 2) {
            gather(a, column, top, n, out);
        } else {
            TagScope scope;
            auto *elems = static_cast<uint8_t *>(VPb_AF_mem_calloc(scope.tag(), size_t(n), acc_elem_bytes(a.bpp)));
            if (!elems) {
                QV_ERR(QVE_NO_MEMORY, size_t(n) * acc_elem_bytes(a.bpp), 0);
                return;
            }
            gather(a, column, top, n, elems);
            acc_elems_to_packed(a.bpp, elems, n, out);
        }
        if (read) *read = n;
    });
}

QV_API int32_t QV_DIB_column_set(QUORIN image, int32_t column, int32_t top, int32_t count,
                                 const void *buf, int32_t format) {
    return api_frame_image(image, [&] {
        AccImage a;
        if (!acc_open(image, &a) || !column_args_ok(a, column, top, count, buf, format)) return;
        if (count > a.height - top) {
            QV_ERR(QVE_OUT_OF_RANGE, count, a.height - top);
            return;
        }
        const auto *in = static_cast<const uint8_t *>(buf);
        if (format == 2) {
            scatter(a, column, top, count, in);
        } else {
            TagScope scope;
            auto *elems = static_cast<uint8_t *>(VPb_AF_mem_calloc(scope.tag(), size_t(count), acc_elem_bytes(a.bpp)));
            if (!elems) {
                QV_ERR(QVE_NO_MEMORY, size_t(count) * acc_elem_bytes(a.bpp), 0);
                return;
            }
            acc_packed_to_elems(a.bpp, in, count, elems);
            scatter(a, column, top, count, elems);
        }
        image_changed(a.rec, QV_CHANGED_PIXELS, top);
    });
}

}  // extern "C"
