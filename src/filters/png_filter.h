/*
 * png_filter.h - entry points of the PNG filter (format type 33), read and
 * written through libspng.
 *
 *   png_info, png_read, png_pages  (png_read.cpp)
 *   png_write                      (png_write.cpp)
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr uint32_t kPngFormatType = 33;

int32_t png_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl);
int32_t png_read(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2);
int32_t png_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);
int32_t png_pages(VPb_STREAM *s, void *ctl, int32_t *count);

}  // namespace qv
