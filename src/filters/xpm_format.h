/*
 * xpm_format.h - the XPM filter's entries (format type 45).
 *
 * Read: XPM 3 text of one or two characters per pixel; colours as #RGB,
 * #RRGGBB, #RRRRGGGGBBBB (high bytes), a few X11 colour names (and greyN)
 * or None (transparent), from the "c" context (else "g", "g4", "m"). Rows
 * are handed over as 8 bits with the colour table as palette, 24 bits when
 * the table has more than 256 colours, or 32 bits B, G, R, A (None: alpha 0)
 * when any colour is None (the alpha also given to the image as its alpha
 * companion).
 * Write: palette images with their palette, other images with their distinct
 * colours (at most 8464), one character a pixel up to 92 colours, else two;
 * 32-bit pixels of alpha 0 become None.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kXpmFormatType = 45;

int32_t xpm_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t xpm_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t xpm_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t xpm_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
