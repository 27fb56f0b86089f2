/*
 * bmp_filter.cpp - entry-point record of the BMP filter (format type 2):
 * the registry's detector, the reader, information, writer and page count
 * (bmp_read.cpp, bmp_header.cpp, bmp_rle.cpp, bmp_write.cpp). No tiles, no
 * thumbnails.
 */
#include "filters/bmp_format.h"
#include "filters/filters.h"
#include "registry/detect.h"

namespace qv {
const FilterFns kFnsBMP = {detect_bmp, bmp_info, bmp_read, bmp_write, bmp_pages, nullptr, nullptr};
}  // namespace qv
