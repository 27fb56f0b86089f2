/*
 * qv_tables.h - the data tables of the qv tool, each in one place: what
 * every error code means in a user's words (with its QVE_ name), format
 * names by format type, compression names, and the notes qv adds about a
 * path it could not use.
 *
 *   error_text(code)        the code's entry, or null when the tool has none
 *   format_name(type)       "BMP", or null when unknown
 *   format_type_of(text)    a format type from a name ("bmp", "TIFF") or a
 *                           number ("2"); -1 when neither
 *   format_of_name(path)    the format type qv gives an output name whose
 *                           extension the library's table does not list
 *                           (".ppm", ".pgm", ".pnm": 28); 0 otherwise
 *   compression_name(t, v)  "RLE8", "PackBits", ... for the compression value
 *                           v that the information call reports for format
 *                           type t; null when unknown
 *   path_text(code, state)  the text that replaces a code's own when qv
 *                           knows more about the file ("file not found",
 *                           "not an image file (it is a directory)")
 */
#pragma once

#include <cstdint>

namespace qvtool {

// How an entry takes part in a failure report.
enum class Role : uint8_t {
    kPlain,    // its text describes the failure when it is the first record
    kSummary,  // its text heads the report wherever it stands on the stack
    kReason,   // its text explains a summary record pushed after it
};

// One error code. `text` may hold placeholders, filled from the record and
// from what qv knows about the failing file:
//   {format}  the format named by the record's first value ("PNG")
//   {done}    "read" for an input, "written" for an output
//   {target}  what chose the output format ("the extension \".xyz\"")
//   {iVal} {lVal}  the record's two values
// `hint`, when not null, is printed on a line of its own after the report.
struct ErrorText {
    int32_t code;
    const char *name;
    const char *text;
    const char *hint;
    Role role;
};
const ErrorText *error_text(int32_t code);

const char *format_name(int32_t type);
int32_t format_type_of(const char *text);
int32_t format_of_name(const char *path);
const char *compression_name(int32_t format_type, int32_t value);

// What qv finds at a path it could not use; path_text gives null when the
// code's own text says all.
enum class PathState : uint8_t { kRegular, kMissing, kUnreadable, kDirectory, kEmpty, kOther };
const char *path_text(int32_t code, PathState state);

}  // namespace qvtool
