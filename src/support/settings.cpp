/*
 * settings.cpp - the process settings record and its public setters/getters.
 *
 * Exported: QV_image_control_set/_get, QV_util_MMX_usage_set/_get,
 * QV_util_CutHeight_set/_get, QV_color_space_level_set/_get,
 * QV_DIB_resolution_units_set/_get, QV_image_orientation_enable_set/_get,
 * QV_convert_PPM_to_DPI, QV_convert_DPI_to_PPM,
 * VPb_settings_hook_func_get/_set.
 */
#include "support/settings.h"

#include <cstring>

#include <atomic>
#include "support/frame.h"
#include "support/memory.h"
#include "support/registry.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\SETTINGS.C";

// 42-byte constant that seeds the 43-byte text buffer of a new record.
constexpr char kSettingsBanner[43] = "VOSK32PD imaging toolkit process settings.";
static_assert(sizeof(kSettingsBanner) == 43);

// A control-block field with a checked range.
struct ControlRange {
    int32_t id;
    int32_t lo;
    int32_t hi;
};
constexpr ControlRange kControlRanges[] = {
    {1 * 256 + 21, 1, 100},  // JPEG quality
    {2 * 256 + 21, 0, 1},    // JPEG progressive
    {6 * 256 + 21, 0, 1},    // JPEG optimised Huffman tables
    {0 * 256 + 33, 0, 9},    // PNG deflate level
    {1 * 256 + 33, 0, 1},    // PNG interlaced writing
    {2 * 256 + 33, 0, 1},    // PNG 16-bit grey scaled to 8 bits
    {0 * 256 + 14, 0, 1},    // GIF append flag
    {1 * 256 + 14, 0, 1},    // GIF interlaced writing
    {2 * 256 + 14, -1, 255}, // GIF transparent index
    {0 * 256 + 31, 0, 1},    // PCX compression flag
    {0 * 256 + 8, 0, 1},     // DCX compression flag
    {1 * 256 + 8, 0, 1},     // DCX append flag
};

// The control blocks' layout, handed down by the filter registry.
std::atomic<const ControlLayout *> g_layout{nullptr};

// Locates the 32-bit word of a setting identifier, or null when unknown.
int32_t *control_word(Settings *s, int32_t id) {
    const ControlLayout *layout = g_layout.load();
    if (id < 0 || !layout) return nullptr;
    uint32_t type = static_cast<uint32_t>(id) & 255u;
    uint32_t field = static_cast<uint32_t>(id) >> 8;
    uint32_t offset = 0, size = 0;
    if (!layout->locate(type, &offset, &size)) return nullptr;
    if ((uint64_t(field) + 1) * 4 > size) return nullptr;
    return reinterpret_cast<int32_t *>(s->filter_ctl + offset + field * 4);
}

}  // namespace

void settings_report_missing() { QV_ERR(QVE_REGISTRY, kKeySettings, 0); }

int32_t settings_create() {
    uint32_t tag = mem_unique_tag();
    auto *s = static_cast<Settings *>(mem_alloc(tag, sizeof(Settings)));
    if (!s) return QVE_NO_MEMORY;
    s->own_tag = tag;
    s->clear_on_entry = 1;
    s->color_space_level = 2;
    s->mmx_usage = 1;
    s->orientation_enabled = 0;
    s->dib_res_mode = 2;
    s->default_xres = 200;
    s->default_yres = 200;
    s->cut_height = 8;
    s->reserved1 = 1;
    s->reserved3 = 1;
    std::memcpy(s->text43, kSettingsBanner, sizeof kSettingsBanner);
    s->pixel_limit = kDefaultPixelLimit;
    if (const ControlLayout *layout = g_layout.load()) layout->defaults(s->filter_ctl);
    if (registry_register(kKeySettings, s) != 0) {
        mem_free_all(tag);
        return QVE_REGISTRY;
    }
    return 0;
}

void settings_control_layout_set(const ControlLayout *layout) {
    g_layout.store(layout);
    if (Settings *s = settings_get(); s && layout) layout->defaults(s->filter_ctl);
}

int32_t settings_destroy() {
    Settings *s = settings_get();
    if (!s) return QVE_REGISTRY;
    registry_remove(kKeySettings);
    mem_free_all(s->own_tag);
    return 0;
}

int32_t settings_lookup(Settings **out) {
    void *p = nullptr;
    int32_t st = registry_lookup(kKeySettings, &p);
    *out = static_cast<Settings *>(p);
    return st;
}

Settings *settings_get() {
    Settings *s = nullptr;
    settings_lookup(&s);
    return s;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_image_control_set(int32_t id, int32_t value) {
    return settings_frame([&](Settings *s) {
        int32_t *w = control_word(s, id);
        if (!w) {
            QV_ERR(QVE_SETTING_UNKNOWN, id, value);
            return;
        }
        for (const ControlRange &r : kControlRanges)
            if (r.id == id && (value < r.lo || value > r.hi)) {
                QV_ERR(QVE_CONTROL_VALUE, id, value);
                return;
            }
        *w = value;
    });
}

QV_API int32_t QV_image_control_get(int32_t id, int32_t *value) {
    return settings_frame([&](Settings *s) {
        if (!value) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        int32_t *w = control_word(s, id);
        if (!w) {
            QV_ERR(QVE_SETTING_UNKNOWN, id, 0);
            return;
        }
        *value = *w;
    });
}

QV_API int32_t QV_util_MMX_usage_set(int32_t value) {
    return settings_frame([&](Settings *s) {
        if (value != 0 && value != 1) {
            QV_ERR(QVE_BAD_ARGUMENT, value, 0);
            return;
        }
        s->mmx_usage = value;
    });
}

QV_API int32_t QV_util_MMX_usage_get(int32_t *value) {
    return settings_frame([&](Settings *s) {
        if (!value) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *value = s->mmx_usage;
    });
}

QV_API int32_t QV_util_CutHeight_set(int32_t rows) {
    return settings_frame([&](Settings *s) {
        if (rows < 1 || rows > 65535) {
            QV_ERR(QVE_OUT_OF_RANGE, rows, 0);
            return;
        }
        s->cut_height = rows;
    });
}

QV_API int32_t QV_util_CutHeight_get(int32_t *rows) {
    error_clear_on_entry();
    if (!rows) return QV_ERR(QVE_NULL_OUTPUT, 0, 1);
    return settings_frame([&](Settings *s) { *rows = s->cut_height; });
}

QV_API int32_t QV_color_space_level_set(int32_t level) {
    return settings_frame([&](Settings *s) {
        if (level < 0 || level > 3) {
            QV_ERR(QVE_BAD_ARGUMENT, level, 0);
            return;
        }
        s->color_space_level = level;
    });
}

QV_API int32_t QV_color_space_level_get(int32_t *level) {
    return settings_frame([&](Settings *s) {
        if (!level) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *level = s->color_space_level;
    });
}

QV_API int32_t QV_DIB_resolution_units_set(int32_t mode) {
    return settings_frame([&](Settings *s) {
        if (mode != 2 && mode != 3) {
            QV_ERR(QVE_RES_MODE, mode, 2);
            return;
        }
        s->dib_res_mode = mode;
    });
}

QV_API int32_t QV_DIB_resolution_units_get(int32_t *mode) {
    return settings_frame([&](Settings *s) {
        if (!mode) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *mode = s->dib_res_mode;
    });
}

QV_API int32_t QV_image_orientation_enable_set(int32_t enabled) {
    return settings_frame([&](Settings *s) { s->orientation_enabled = enabled ? 1 : 0; });
}

QV_API int32_t QV_image_orientation_enable_get(int32_t *enabled) {
    return settings_frame([&](Settings *s) {
        if (!enabled) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *enabled = s->orientation_enabled;
    });
}

QV_API int32_t QV_convert_PPM_to_DPI(int32_t pixels_per_metre) {
    return static_cast<int32_t>(pixels_per_metre * 0.0254 + 0.5);
}

QV_API int32_t QV_convert_DPI_to_PPM(int32_t dots_per_inch) {
    return static_cast<int32_t>(dots_per_inch * 39.37 + 0.5);
}

QV_API void *VPb_settings_hook_func_get(int32_t number) {
    Settings *s = settings_get();
    if (!s || number < 0 || number >= kHookCount) return nullptr;
    return s->hooks[number];
}

QV_API int32_t VPb_settings_hook_func_set(int32_t number, void *fn) {
    Settings *s = nullptr;
    int32_t st = settings_lookup(&s);
    if (st != 0) return st;
    if (number < 0 || number >= kHookCount) return QVE_OUT_OF_RANGE;
    s->hooks[number] = fn;
    return 0;
}

}  // extern "C"
