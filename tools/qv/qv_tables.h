/*
 * qv_tables.h - the data tables of the qv tool: error code names (the QVE_
 * names of the library's error codes) and format names by format type.
 *
 *   error_name(code)        "QVE_DETECT_FAILED", or null when unknown
 *   format_name(type)       "BMP", or null when unknown
 *   format_type_of(text)    a format type from a name ("bmp", "TIFF") or a
 *                           number ("2"); -1 when neither
 */
#pragma once

#include <cstdint>

namespace qvtool {

const char *error_name(int32_t code);
const char *format_name(int32_t type);
int32_t format_type_of(const char *text);

}  // namespace qvtool
