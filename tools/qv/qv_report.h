/*
 * qv_report.h - how qv tells a user what went wrong.
 *
 *   path_state(path)          what is at a path (missing, directory, empty, ...)
 *   report_failure(subject)   one line naming the failure on the library's
 *                             error stack in words, with its code and name;
 *                             a hint line where the table has one; with
 *                             verbose, every record of the stack
 *   report_plain(subject, t)  the same first line for a failure qv finds
 *                             itself (no error code)
 */
#pragma once

#include <string>

#include "qv_tables.h"

namespace qvtool {

// The file a failure is about. An input is "opened", an output "saved".
struct Subject {
    std::string path;
    bool output = false;
    std::string target;  // what chose the output format, for the {target} text
    const char *action = nullptr;  // what failed ("resize"); default open or save
};

PathState path_state(const char *path);
void report_failure(const Subject &subject, bool verbose);
void report_plain(const Subject &subject, const std::string &text);

}  // namespace qvtool
