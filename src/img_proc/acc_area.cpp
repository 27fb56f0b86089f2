/*
 * acc_area.cpp - a rectangle of pixels, rows from the top: format 1 packs
 * each row from bit 0 and pads it to 4 bytes, format 2 gives elements with
 * rows back to back. Run-encoded images are read through their rows; writes
 * take ordinary DIBs only (-2433).
 *
 * Exported: QV_DIB_area_get, QV_DIB_area_set, QV_DIB_area_get_info,
 * QV_DIB_area_size_get.
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

// The caller's rectangle (null: the whole image), checked.
bool area_rect(const AccImage &a, const QV_RECT *in, QV_RECT *r) {
    *r = in ? *in : QV_RECT{0, 0, a.width - 1, a.height - 1};
    if (r->left > r->right || r->top > r->bottom) {
        bool h = r->left > r->right;
        QV_ERR(QVE_RECT_ORDER, h ? r->left : r->top, h ? r->right : r->bottom);
        return false;
    }
    const int32_t sides[4] = {r->left, r->top, r->right, r->bottom};
    const int32_t limits[4] = {a.width, a.height, a.width, a.height};
    for (int k = 0; k < 4; ++k)
        if (sides[k] < 0 || sides[k] >= limits[k]) {
            QV_ERR(QVE_OUT_OF_RANGE, sides[k], limits[k]);
            return false;
        }
    return true;
}

size_t area_row_bytes(const AccImage &a, const QV_RECT &r, int32_t format) {
    int32_t w = r.right - r.left + 1;
    return format == 1 ? size_t(dib_bytes_per_row(w, a.bpp)) : acc_span_bytes(a.bpp, w, 2);
}

void area_get(void *image, const QV_RECT *rect, void *buf, int32_t format, QV_DIB_HEADER *info) {
    AccImage a;
    QV_RECT r;
    if (!acc_open(image, &a) || !acc_format_ok(format, false) || !area_rect(a, rect, &r)) return;
    if (!buf) {
        QV_ERR(QVE_NULL_POINTER, 0, 0);
        return;
    }
    int32_t w = r.right - r.left + 1;
    size_t stride = area_row_bytes(a, r, format);
    size_t span = acc_span_bytes(a.bpp, w, format);
    auto *out = static_cast<uint8_t *>(buf);
    RowAccess ra(a);
    for (int32_t y = r.top; y <= r.bottom; ++y, out += stride) {
        const uint8_t *p = ra.open(y);
        if (!p) return;
        acc_get(a.bpp, p, r.left, w, out, format);
        if (stride > span) std::memset(out + span, 0, stride - span);
    }
    if (info) {
        int32_t h = r.bottom - r.top + 1;
        dib_init(info, w, h, uint32_t(a.bpp), QV_BI_RGB, a.dib->biXPelsPerMeter, a.dib->biYPelsPerMeter);
        info->biSizeImage = uint32_t(stride * size_t(h));
    }
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_DIB_area_get(QUORIN image, const QV_RECT *rect, void *buf, int32_t format) {
    return api_frame_image(image, [&] { area_get(image, rect, buf, format, nullptr); });
}

QV_API int32_t QV_DIB_area_get_info(QUORIN image, const QV_RECT *rect, void *buf, int32_t format,
                                    QV_DIB_HEADER *info) {
    return api_frame_image(image, [&] { area_get(image, rect, buf, format, info); });
}

QV_API int32_t QV_DIB_area_set(QUORIN image, const QV_RECT *rect, const void *buf, int32_t format) {
    return api_frame_image(image, [&] {
        AccImage a;
        QV_RECT r;
        if (!acc_open(image, &a) || !acc_format_ok(format, false)) return;
        if (a.runs) {
            acc_report_run_form(a, QVE_DIB_LAYOUT);
            return;
        }
        if (!area_rect(a, rect, &r)) return;
        if (!buf) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        int32_t w = r.right - r.left + 1;
        size_t stride = area_row_bytes(a, r, format);
        const auto *in = static_cast<const uint8_t *>(buf);
        for (int32_t y = r.top; y <= r.bottom; ++y, in += stride) acc_put(a.bpp, dib_row(a.dib, y), r.left, w, in, format);
        image_changed(a.rec, QV_CHANGED_PIXELS, r.top);
    });
}

QV_API int32_t QV_DIB_area_size_get(QUORIN image, const QV_RECT *rect, int32_t format, size_t *size) {
    return api_frame_image(image, [&] {
        AccImage a;
        QV_RECT r;
        if (!acc_open(image, &a) || !acc_format_ok(format, false) || !area_rect(a, rect, &r)) return;
        if (!size) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *size = area_row_bytes(a, r, format) * size_t(r.bottom - r.top + 1);
    });
}

}  // extern "C"
