/*
 * ccitt_filter.h - the raw (headerless) CCITT fax filters: format types 11
 * (Group 3 one-dimensional), 53 (Group 3 two-dimensional) and 12 (Group 4),
 * the filter-table rows 38 to 40, with one shared writer.
 *
 * Their control block (20 bytes, setting identifier field * 256 + type):
 *   field 0  width of the page in pixels (reads)
 *   field 1  height in rows (reads)
 *   field 2  fill order: 1 first pixel in the high bit, 2 in the low bit
 *   field 3  EOL alignment of one-dimensional writes (1: EOLs end on byte
 *            boundaries, mode 4; 0: mode 3)
 *   field 4  K factor of two-dimensional writes (rows per group)
 * QV_load_CCITT_FD and QV_load_CCITT_mem fill the first three for the call.
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr uint32_t kG3FormatType = 11;
inline constexpr uint32_t kG32DFormatType = 53;
inline constexpr uint32_t kG4FormatType = 12;

struct CcittControl {
    int32_t width;
    int32_t height;
    int32_t fill_order;
    int32_t eol_align;
    int32_t k;
};
static_assert(sizeof(CcittControl) == 20, "the control block of rows 38 to 40");

int32_t g3_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t g3_2d_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t g4_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t ccitt_raw_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);

}  // namespace qv
