/*
 * gif_filter.h - entry points of the GIF filter (format type 14), read and
 * written through giflib.
 *
 *   gif_info, gif_read, gif_pages  (gif_read.cpp)
 *   gif_write                      (gif_write.cpp)
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr uint32_t kGifFormatType = 14;

int32_t gif_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t gif_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t gif_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t gif_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
