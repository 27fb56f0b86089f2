/*
 * qv_save.h - saving without destroying what cannot be replaced.
 *
 * save_replacing(image, out, format_value)
 *   Saves into a new file beside OUT and renames it over OUT only when the
 *   save succeeded, so a failed save leaves no empty or partial file and an
 *   existing OUT exactly as it was. The new file gets the old file's
 *   permissions, or those a newly created file would get.
 *   Returns the library's error count (0 = success); failures qv meets
 *   itself (the file beside OUT cannot be made, the rename fails) are
 *   pushed onto the error stack as -3440 with the system's errno as lVal.
 *   Notes: 1. The file beside OUT is "qv-XXXXXX-" + OUT's own name, so the
 *   output format chosen by the name's extension stays the same. 2. It
 *   exists, empty, when the library writes it: a multi-page writer opening
 *   it for update finds no pages and writes a new file.
 *
 * Adding a page to an existing multi-page file is an update in place: the
 * caller saves straight into OUT (the library's update rule).
 */
#pragma once

#include <cstdint>

#include "vosk32pd.h"

namespace qvtool {

int32_t save_replacing(QUORIN image, const char *out, int32_t format_value);

}  // namespace qvtool
