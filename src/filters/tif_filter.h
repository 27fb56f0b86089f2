/*
 * tif_filter.h - the TIFF reader's filter-table entries (format type 40)
 * and the LZW codec the registry installs in codec slot 8.
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

int32_t tif_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *ctl);
int32_t tif_read(VPb_STREAM *s, void *ctl, int32_t page, int32_t tile);
int32_t tif_pages(VPb_STREAM *s, void *ctl, int32_t *count);
int32_t tif_tiles(VPb_STREAM *s, void *ctl, int32_t page, int32_t *columns, int32_t *rows);
int32_t tif_lzw_codec(const VPb_TIF_CODEC_ARGS *args);
// The writer (tif_write.cpp).
int32_t tif_write(VPb_STREAM *s, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);

}  // namespace qv
