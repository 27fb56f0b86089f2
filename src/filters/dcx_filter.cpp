/*
 * dcx_filter.cpp - entry-point record of the DCX filter (codec not built yet).
 */
#include "filters/filters.h"
#include "filters/stub_filters.h"
#include "load/detect.h"

namespace qv {
const FilterFns kFnsDCX = {detect_dcx, stub_info, stub_read, stub_write, stub_pages, nullptr, nullptr};
}  // namespace qv
