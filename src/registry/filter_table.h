/*
 * filter_table.h - the built-in filter table and its row record.
 *
 * 45 rows, one per built-in format filter, in table order. A row names the
 * format type, the filter's entry points (a FilterFns record defined next to
 * the filter's code, null entries for what the format lacks), the place and
 * size of its control block inside the settings record, its extension list
 * ("TIF|TIFF|"; row 44 stored as "IMG" without the closing bar) and its
 * multi-page flag.
 *
 *   kFilterTable[45], kFilterCount
 *   filter_row_of_type(type)   first built-in row serving `type`, or -1
 *   filter_table_attach()      process attach: control-block layout and
 *                              defaults handed down to the settings record
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

struct FilterFns {
    VPb_DETECT_FN detect;
    VPb_INFO_FN info;
    VPb_READ_FN read;
    VPb_WRITE_FN write;
    VPb_PAGES_FN pages;
    VPb_TILES_FN tiles;
    VPb_THUMB_FN thumb;
};

struct FilterRow {
    uint32_t type;
    const FilterFns *fns;
    uint32_t ctl_offset;
    uint32_t ctl_size;
    const char *extensions;
    uint32_t multipage;
};

inline constexpr int kFilterCount = 45;
extern const FilterRow kFilterTable[kFilterCount];

int filter_row_of_type(uint32_t type);

/* Process attach: hands the control blocks' layout and defaults down to the
 * settings record. */
void filter_table_attach();

}  // namespace qv
