/*
 * pnm_format.h - the PBM filter's entries (format type 28): the portable
 * any-map family.
 *
 * Read: P1/P4 bitmaps (1 bit, 1 = black), P2/P5 grey maps and P3/P6 pixel
 * maps with a maxval up to 65535, P7 arbitrary maps (PAM) of 1 to 4
 * channels (reached when the format is named: detection knows P1 to P6);
 * comments may stand between any two header fields. Rows are handed over
 * as 1 bit (white, black), 8-bit grey (samples scaled to 255 when maxval is
 * not 255, rounded), 16-bit grey (compression 503, samples as stored) for
 * grey maps above 255, 24 bits for colour (samples scaled to 255, rounded),
 * 32 bits B, G, R, A for the PAM forms with alpha (the alpha also given to
 * the image as its alpha companion).
 * Write: raw forms by default (P4, P5, P6; 16-bit grey as P5 at maxval
 * 65535); plain forms (P1, P2, P3) when the save compression is 1 or field 0
 * of the control block is 1.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kPnmFormatType = 28;

int32_t pnm_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t pnm_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t pnm_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t pnm_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
