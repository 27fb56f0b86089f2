/*
 * jpg_filter.h - entry points of the JPEG filter (format type 21).
 *
 *   jpg_info, jpg_read, jpg_pages, jpg_thumbnail  (jpg_read.cpp)
 *   jpg_write                                      (jpg_write.cpp)
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr uint32_t kJpgFormatType = 21;

int32_t jpg_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t jpg_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t jpg_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t jpg_pages(VPb_STREAM *s, void *ctl, int32_t *count);
int32_t jpg_thumbnail(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);

}  // namespace qv
