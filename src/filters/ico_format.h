/*
 * ico_format.h - the ICO filter's entries (format type 17), icons (.ICO)
 * and cursors (.CUR).
 *
 * Read: every directory entry is a page: page 1 is the largest entry (most
 * pixels, then most bits per pixel, then the first), pages 2 and on the
 * other entries in directory order. A bitmap entry (DIB of 1, 4, 8, 16, 24
 * or 32 bits, the height counting the AND mask) is handed over as 32 bits
 * B, G, R, A: the alpha of a 32-bit entry is its fourth byte, else the AND
 * mask's (bit 1 = transparent), and is given to the image as its alpha
 * companion too. A PNG entry is read by the registry's PNG
 * filter.
 * Write: the image as one bitmap entry (below 257 by 257 pixels): 1, 4 and
 * 8 bits with their palette and an opaque mask, 16 and 24 bits as 24 bits,
 * 32 bits with its fourth byte as alpha and the mask set where alpha is 0.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kIcoFormatType = 17;

int32_t ico_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t ico_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t ico_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t ico_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
