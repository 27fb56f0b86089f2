/*
 * dcx_filter.cpp - entry-point record of the DCX filter (format type 8):
 * detection, header information of the first page, reading one page,
 * writing or appending a page, and the page count.
 */
#include "filters/filters.h"
#include "filters/pcx_filter.h"
#include "registry/detect.h"

namespace qv {
const FilterFns kFnsDCX = {detect_dcx, dcx_info, dcx_read, dcx_write, dcx_pages, nullptr, nullptr};
}  // namespace qv
