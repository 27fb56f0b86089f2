/*
 * xwd_format.h - the XWD filter's entries (format type 47), X window dumps.
 *
 * Read: version 7 dumps in Z format (and XY bitmaps) of depth up to 8 with
 * 1, 4 or 8 bits per pixel and their colour map (a grey ramp without one),
 * and TrueColor or DirectColor dumps of 24 or 32 bits per pixel with their
 * colour masks, either byte order; version 6 (X10) bitmaps and Z-format
 * dumps of up to 8 planes, one byte a pixel. Rows are handed over as 1, 4 or
 * 8 bits with a palette, or 24 bits. Other depths are refused with -2391.
 * Write: version 7, Z format: palette images as depth 8 PseudoColor with
 * their colour map, every other layout as TrueColor, 32 bits per pixel of
 * depth 24, most significant byte first.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kXwdFormatType = 47;

int32_t xwd_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t xwd_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t xwd_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t xwd_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
