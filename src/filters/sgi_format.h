/*
 * sgi_format.h - the SGI filter's entries (format type 38).
 *
 * Read: verbatim and run-length images of 1 to 4 channels (grey, grey and
 * alpha, RGB, RGBA) with 1 or 2 bytes per sample (2-byte samples give their
 * high byte), dimension 1, 2 or 3. Rows are handed over as 8-bit grey,
 * 24 bits, or 32 bits B, G, R, A for the forms with alpha (whose image gets
 * the alpha as its alpha companion too).
 * Write: 8-bit grey (the grey ramp) as one channel, every other layout as
 * RGB (32 bits: RGBA); verbatim, or run-length when the save compression is
 * 1 or field 0 of the control block is 1.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kSgiFormatType = 38;

int32_t sgi_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t sgi_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t sgi_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t sgi_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
