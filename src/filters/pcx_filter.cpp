/*
 * pcx_filter.cpp - entry-point record of the PCX filter (format type 31):
 * detection, header information, reading, writing and the page count (a
 * PCX file holds one image).
 */
#include "filters/pcx_filter.h"

#include "filters/filters.h"
#include "registry/detect.h"

namespace qv {
const FilterFns kFnsPCX = {detect_pcx, pcx_info, pcx_read, pcx_write, pcx_pages, nullptr, nullptr};
}  // namespace qv
