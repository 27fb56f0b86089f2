/*
 * psd_format.h - the PSD filter's entries (format type 36).
 *
 * Read: the merged image of version 1 files in bitmap, grey, duotone (as
 * grey), indexed, RGB and CMYK modes, 8 or 16 bits per channel (16-bit
 * samples scaled to 8 bits with rounding; bitmap is 1 bit), raw or PackBits; the
 * first channel after the colour channels of grey and RGB images is alpha.
 * Rows are handed over as 1 bit (white, black), 8 bits (grey ramp or the
 * colour table), 24 bits, or 32 bits B, G, R, A with alpha (also given to
 * the image as its alpha companion). CMYK is made
 * RGB as (255 - C) (255 - K) / 255 per channel, rounded.
 * Write: grey (the 8-bit grey ramp), indexed (other palette images, with a
 * 256-entry colour table) and RGB (16 and 24 bits; 32 bits as RGB with
 * alpha); raw, or PackBits when the save compression is 1 or field 0 of the
 * control block is 1. No layers are written.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kPsdFormatType = 36;

int32_t psd_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t psd_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t psd_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t psd_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
