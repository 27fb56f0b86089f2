/*
 * stub_filters.h - entry points of formats whose codec is not compiled in.
 *
 * Each pushes -500 (QVE_NOT_IMPLEMENTED, iVal the format type) and returns
 * it, so that detection, search and iteration see a complete table.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

int32_t stub_info(VPb_STREAM *, QV_DIB_HEADER *, int32_t *, int32_t *, void *);
int32_t stub_read(VPb_STREAM *, void *, int32_t, int32_t);
int32_t stub_write(VPb_STREAM *, void *, int32_t, int32_t, int32_t);
int32_t stub_pages(VPb_STREAM *, void *, int32_t *);
int32_t stub_tiles(VPb_STREAM *, void *, int32_t, int32_t *, int32_t *);
int32_t stub_thumb(VPb_STREAM *, void *, int32_t, int32_t);

}  // namespace qv
