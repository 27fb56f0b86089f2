/*
 * tga_format.h - the TGA filter's entries (format type 39).
 *
 * Read: image types 1 and 9 (colour-mapped, 8-bit indices, maps of 15, 16,
 * 24 or 32 bits per entry), 2 and 10 (true colour of 15, 16, 24 or 32
 * bits), 3 and 11 (grey of 1 or 8 bits, and 16 bits as grey with alpha);
 * run-length packets may cross rows; either origin and either horizontal
 * direction. Alpha (32-bit pixels, the grey-and-alpha form) is kept in the
 * fourth byte of 32-bit pixels and given to the image as its alpha
 * companion; a version 2 footer whose extension area says
 * the alpha bits carry no alpha (attribute type 0, 1 or 2) makes it opaque.
 * Write: 8 bits (palette with a 24-bit map, or grey as type 3), 16 bits
 * (5-5-5), 24 and 32 bits; run-length packets when the save compression is 1
 * or field 0 of the control block is 1.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kTgaFormatType = 39;

int32_t tga_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t tga_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t tga_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t tga_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
