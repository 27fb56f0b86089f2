/*
 * msp_format.h - the MSP filter's entries (format type 25), Microsoft Paint
 * bitmaps; read only.
 *
 * Read: version 1 ("DanM": rows of packed bits) and version 2 ("LinS": a
 * table of row lengths, then run-length rows). Rows are handed over as
 * 1 bit with the palette black, white (a set bit is white).
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kMspFormatType = 25;

int32_t msp_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t msp_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t msp_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
