/*
 * load_options.cpp - the process-wide load options kept in the settings
 * record: load size, load rectangle, colour reduction, pixel limit and the
 * status-bar callback.
 *
 * Exported: QV_load_size_set/_get, QV_load_rect_set/_get,
 * QV_load_color_reduction_set/_get, QV_load_pixel_limit_set/_get,
 * QV_status_bar_CB_register.
 */
#include <initializer_list>

#include "support/errors.h"
#include "support/frame.h"
#include "support/registry.h"
#include "support/settings.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "LOAD\\LOADOPT.C";

bool all_non_negative(std::initializer_list<int32_t> values) {
    for (int32_t v : values)
        if (v < 0) {
            QV_ERR(QVE_OUT_OF_RANGE, v, 0);
            return false;
        }
    return true;
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_load_size_set(int32_t width, int32_t height) {
    return settings_frame([&](Settings *s) {
        if (!all_non_negative({width, height})) return;
        s->load_size[0] = width;
        s->load_size[1] = height;
    });
}

QV_API int32_t QV_load_size_get(int32_t *width, int32_t *height, int32_t *in_force) {
    return settings_frame([&](Settings *s) {
        if (width) *width = s->load_size[0];
        if (height) *height = s->load_size[1];
        if (in_force) *in_force = s->load_size[0] != 0 || s->load_size[1] != 0;
    });
}

QV_API int32_t QV_load_rect_set(int32_t left, int32_t top, int32_t width, int32_t height) {
    return settings_frame([&](Settings *s) {
        if (!all_non_negative({left, top, width, height})) return;
        s->load_rect[0] = left;
        s->load_rect[1] = top;
        s->load_rect[2] = width;
        s->load_rect[3] = height;
    });
}

QV_API int32_t QV_load_rect_get(int32_t *left, int32_t *top, int32_t *width, int32_t *height,
                                int32_t *in_force) {
    return settings_frame([&](Settings *s) {
        if (left) *left = s->load_rect[0];
        if (top) *top = s->load_rect[1];
        if (width) *width = s->load_rect[2];
        if (height) *height = s->load_rect[3];
        if (in_force) *in_force = s->load_rect[2] != 0 || s->load_rect[3] != 0;
    });
}

QV_API int32_t QV_load_color_reduction_set(int32_t mode) {
    return settings_frame([&](Settings *s) { s->load_reduction = mode; });
}

QV_API int32_t QV_load_color_reduction_get(int32_t *mode) {
    return settings_frame([&](Settings *s) {
        if (!mode) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *mode = s->load_reduction;
    });
}

QV_API int32_t QV_load_pixel_limit_set(uint64_t pixels) {
    return settings_frame([&](Settings *s) { s->pixel_limit = pixels ? pixels : kDefaultPixelLimit; });
}

QV_API int32_t QV_load_pixel_limit_get(uint64_t *pixels) {
    return settings_frame([&](Settings *s) {
        if (!pixels) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *pixels = s->pixel_limit;
    });
}

QV_API int32_t QV_status_bar_CB_register(QV_STATUS_BAR_CB callback, void *user) {
    return settings_frame([&](Settings *s) {
        s->status_cb = reinterpret_cast<void *>(callback);
        s->status_user = user;
    });
}

}  // extern "C"
