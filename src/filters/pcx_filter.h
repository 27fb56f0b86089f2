/*
 * pcx_filter.h - entry points of the PCX (type 31) and DCX (type 8) filters
 * and the page-level PCX functions that the DCX filter builds on.
 *
 *   pcx_read_image(s, data_end)     one PCX image from the current position;
 *                                   data_end is where its data stops (the
 *                                   256-colour trailer lies just before it),
 *                                   < 0 for the end of the stream
 *   pcx_info_image(s, info, &compression)   header only, position kept
 *   pcx_write_image(s, compress)    one PCX image at the current position
 *   pcx_* / dcx_*                   the filter-table entry points
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr uint32_t kPcxFormatType = 31;
inline constexpr uint32_t kDcxFormatType = 8;
inline constexpr uint32_t kDcxMagic = 987654321u;  // 0x3ADE68B1
inline constexpr int32_t kDcxMaxPages = 1024;
inline constexpr int32_t kDcxHeaderSize = 4 + 4 * kDcxMaxPages;  // 4100

int32_t pcx_read_image(VPb_STREAM *s, int64_t data_end);
int32_t pcx_info_image(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *compression);
int32_t pcx_write_image(VPb_STREAM *s, int32_t compress);

int32_t pcx_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t pcx_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t pcx_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t pcx_pages(VPb_STREAM *s, void *ctl, int32_t *count);

int32_t dcx_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t dcx_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t dcx_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t dcx_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
