/*
 * xbm_format.h - the XBM filter's entries (format type 43).
 *
 * Read: X11 bitmaps (an array of char, 8 pixels a byte) and X10 bitmaps (an
 * array of short, 16 pixels a word), the least significant bit leftmost;
 * width and height from the "#define NAME_width" and "NAME_height" lines. Rows are handed over as 1 bit with the palette
 * black, white (a set bit is white).
 * Write: an X11 bitmap named "image"; a pixel's bit is set (white) when its
 * luminance is 128 or more.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kXbmFormatType = 43;

int32_t xbm_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t xbm_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t xbm_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t xbm_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
