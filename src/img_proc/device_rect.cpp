/*
 * device_rect.cpp - the display geometry's part of a quarter turn: the
 * device rectangle of a display turned about its centre.
 *
 * The display record starts with its device rectangle (left, top, right,
 * bottom). Codes 1 and 3 exchange its width and height about the same
 * centre; other codes leave it alone.
 *
 * Exported: VPb_device_rect_rotate.
 */
#include "img_proc/geometry.h"

namespace qv {
namespace {

constexpr const char *kModule = kRotateModule;

void turn_rect(QV_RECT *r) {
    // Doubled centre, so odd sizes keep it exactly.
    const int64_t cx2 = int64_t(r->left) + r->right, cy2 = int64_t(r->top) + r->bottom;
    const int64_t w = int64_t(r->right) - r->left, h = int64_t(r->bottom) - r->top;
    r->left = int32_t((cx2 - h) / 2);
    r->right = int32_t(r->left + h);
    r->top = int32_t((cy2 - w) / 2);
    r->bottom = int32_t(r->top + w);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t VPb_device_rect_rotate(void *display, int32_t code) {
    return api_guard([&] {
        if (!display) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        if (code == 1 || code == 3) turn_rect(static_cast<QV_RECT *>(display));
    });
}

}  // extern "C"
