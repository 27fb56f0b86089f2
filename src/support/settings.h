/*
 * settings.h - the process settings record (global record 835).
 *
 * Created at process attach with its defaults; holds the clear-on-entry flag,
 * the DIB resolution mode, utility settings, the load options, the settings
 * hooks and every format filter's control block (at the offsets the
 * filter registry hands down).
 *   settings_create / settings_destroy   attach / detach (-1000, -2090)
 *   settings_lookup(&s)                  0, -4 no process record, -6 absent
 *   settings_get()                       the record or null
 *   settings_control_layout_set(l)       the control blocks' layout, handed
 *                                        down by the filter registry
 */
#pragma once

#include <cstdint>

#include "support/frame.h"
#include "vosk32pd/base.h"

namespace qv {

inline constexpr int kHookCount = 16;
inline constexpr int kHookImageCreate = 0;
inline constexpr int kHookImageDelete = 1;
inline constexpr int kHookImageChanged = 2;
inline constexpr int kHookImageDuplicate = 12;
inline constexpr uint32_t kFilterCtlArea = 1280;  // room for all 45 control blocks
inline constexpr uint64_t kDefaultPixelLimit = uint64_t(1) << 28;

struct Settings {
    // Defaults in this order: 1; 2, 1, 0; 2; 200, 200; 8; 0; 1; 0; 1; 0.
    int32_t clear_on_entry;
    int32_t color_space_level;
    int32_t mmx_usage;
    int32_t orientation_enabled;
    int32_t dib_res_mode;  // 2 = DIB fields per metre, 3 = per inch
    int32_t default_xres;
    int32_t default_yres;
    int32_t cut_height;
    int32_t reserved0;
    int32_t reserved1;
    int32_t reserved2;
    int32_t reserved3;
    int32_t reserved4;
    char text30[30];
    char text43[43];

    // Load options (process-wide until changed).
    void *status_cb;  // QV_STATUS_BAR_CB
    void *status_user;
    int32_t load_reduction;
    int32_t load_rect[4];  // left, top, width, height; in force when w or h != 0
    int32_t load_size[2];  // width, height; in force when either != 0
    uint64_t pixel_limit;  // loads above this many pixels are refused

    void *hooks[kHookCount];

    alignas(8) uint8_t filter_ctl[kFilterCtlArea];
    uint32_t own_tag;
};

int32_t settings_create();
int32_t settings_destroy();
int32_t settings_lookup(Settings **out);
Settings *settings_get();

/* Pushes -2090 (iVal 835): the settings record is not registered. */
void settings_report_missing();

/* Entry frame of the public setters and getters over the settings record:
 * api_frame, then fn(settings), or -2090 when the record is absent. */
template <class F>
int32_t settings_frame(F &&fn) {
    return api_frame([&] {
        Settings *s = settings_get();
        if (!s) {
            settings_report_missing();
            return;
        }
        fn(s);
    });
}

/* Where the format filters' control blocks lie in the settings record. The
 * filter registry hands this down at start-up (settings_control_layout_set),
 * so the settings record knows nothing of the filter table itself. */
struct ControlLayout {
    /* Offset and size in bytes of the block of format type `type`; false
     * when no built-in filter serves the type. */
    bool (*locate)(uint32_t type, uint32_t *offset, uint32_t *size);
    /* Writes every block's start values into the control area. */
    void (*defaults)(uint8_t *area);
};

/* Installs the layout and writes its defaults into the live record. */
void settings_control_layout_set(const ControlLayout *layout);

}  // namespace qv
