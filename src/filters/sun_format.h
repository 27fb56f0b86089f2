/*
 * sun_format.h - the Sun raster filter's entries (format type 37).
 *
 * Read: types 0 (old), 1 (standard), 2 (byte-encoded run-length) and 3
 * (RGB order); depths 1 (1 = black), 8 (with an RGB colour map, or grey
 * without one), 24 (B, G, R; type 3: R, G, B) and 32 (X, B, G, R; type 3:
 * X, R, G, B); rows padded to 16 bits. Rows are handed over as 1 bit, 8 bits
 * with the map or a grey palette, 24 bits (32-bit pixels lose their pad
 * byte).
 * Write: type 1, or type 2 when the save compression is 1 or field 0 of the
 * control block is 1: palette images as depth 8 with their colour map, the
 * grey ramp as depth 8 without a map, every other layout as depth 24.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kSunFormatType = 37;

int32_t sun_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t sun_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t sun_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t sun_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
