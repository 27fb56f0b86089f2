/*
 * filter_registry.h - the filter registry as both pipelines use it.
 *
 * Joins the 45 built-in rows (filter_table.h) and the filters of loaded
 * extension modules (index 4096 + format type) behind one index space.
 *
 *   filter_first/_next/_count      iteration: extension filters, then 0..44
 *   filter_search(type)            index, or -2110 (returned, not pushed)
 *   filter_type(index)             format type, or -1 for no filter
 *   filter_fns(index, &fns)        the seven entry points (false: no filter)
 *   filter_ctl_size(index)         control-block size in bytes (0: none)
 *   filter_ctl_copy(index, dest, size)  copies the control block (the
 *                                  settings record's current values, or the
 *                                  extension descriptor's block) into dest,
 *                                  zero-filling dest beyond it; 1, or 0 for
 *                                  no filter / no settings record
 *   filter_multipage(index)        1 for multi-page formats
 *   filter_auto_detect(index)      the detection flag
 *   filter_by_extension(name)      the filter chosen by a file name's
 *                                  extension (save by name), or -1
 *   detect_format(stream, &index)  format detection; the error count
 *
 * Extension modules (ext_modules.cpp), in load order:
 *   ext_filter_at(n)        the n-th extension filter descriptor (kind 1)
 *   ext_filter_of_type(t)   the extension filter serving type t, or null
 *   ext_filter_count()
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "registry/filter_table.h"
#include "support/stream.h"
#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr int32_t kExtIndexBase = VPb_EXT_INDEX_BASE;
inline constexpr int32_t kDetectBytes = 256;

int32_t filter_first();
int32_t filter_next(int32_t index);
int32_t filter_count();
int32_t filter_search(uint32_t type);
int64_t filter_type(int32_t index);
bool filter_fns(int32_t index, FilterFns *out);
uint32_t filter_ctl_size(int32_t index);
int32_t filter_ctl_copy(int32_t index, void *dest, size_t size);
int32_t filter_multipage(int32_t index);
int32_t filter_auto_detect(int32_t index);
int32_t filter_by_extension(const char *file_name);
int32_t detect_format(Stream *stream, int32_t *index);

VPb_EXT_DESCRIPTOR *ext_filter_at(int32_t n);
VPb_EXT_DESCRIPTOR *ext_filter_of_type(int64_t type);
int32_t ext_filter_count();

}  // namespace qv
