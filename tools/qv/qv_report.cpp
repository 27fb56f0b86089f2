/*
 * qv_report.cpp - failure reports: the library's error stack turned into
 * one line a user can act on, from the tables of qv_tables.cpp.
 *
 * Which record speaks: a summary record (format detection failed) heads
 * the report wherever it stands, explained by the first reason record
 * before it ("not an image file: it is a program") or, without one, by what is at the path
 * ("it is a directory"); otherwise the first record, the root cause,
 * speaks. Its code and QVE_ name follow in parentheses.
 */
#include "qv_report.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "vosk32pd.h"

namespace qvtool {
namespace {

struct Record {
    char module[32] = {0};
    int32_t line = 0, code = 0, ival = 0, lval = 0;
};

std::vector<Record> stack_records() {
    std::vector<Record> v(static_cast<size_t>(QV_error_check()));
    for (size_t i = 0; i < v.size(); ++i)
        QV_error_get(int32_t(i), v[i].module, sizeof v[i].module, &v[i].line, &v[i].code,
                     &v[i].ival, &v[i].lval);
    return v;
}

// Fills the placeholders of a table text (see ErrorText).
std::string fill(const char *text, const Record &r, const Subject &s) {
    std::string out;
    for (const char *p = text; *p; ++p) {
        if (*p != '{') {
            out += *p;
            continue;
        }
        const char *end = std::strchr(p, '}');
        if (!end) {
            out += p;
            break;
        }
        const std::string key(p + 1, end);
        if (key == "format") {
            const char *name = format_name(r.ival);
            out += name ? name : "format " + std::to_string(r.ival);
        } else if (key == "done") {
            out += s.output ? "written" : "read";
        } else if (key == "target") {
            out += s.target.empty() ? "this output" : s.target;
        } else if (key == "iVal") {
            out += std::to_string(r.ival);
        } else if (key == "lVal") {
            out += std::to_string(r.lval);
        } else {
            out.append(p, end + 1);
        }
        p = end;
    }
    return out;
}

void print_first_line(const Subject &s, const std::string &text) {
    const char *action = s.action ? s.action : s.output ? "save" : "open";
    std::fprintf(stderr, "qv: cannot %s \"%s\": %s\n", action, s.path.c_str(),
                 text.c_str());
}

}  // namespace

PathState path_state(const char *path) {
    struct stat st;
    if (::stat(path, &st) != 0)
        return errno == EACCES ? PathState::kUnreadable : PathState::kMissing;
    if (S_ISDIR(st.st_mode)) return PathState::kDirectory;
    if (!S_ISREG(st.st_mode)) return PathState::kOther;
    if (::access(path, R_OK) != 0) return PathState::kUnreadable;
    return st.st_size == 0 ? PathState::kEmpty : PathState::kRegular;
}

void report_plain(const Subject &subject, const std::string &text) {
    print_first_line(subject, text);
}

void report_failure(const Subject &subject, bool verbose) {
    const std::vector<Record> records = stack_records();
    if (records.empty()) {
        print_first_line(subject, "the library failed without saying why");
        return;
    }
    size_t head = 0;
    for (size_t i = 0; i < records.size(); ++i) {
        const ErrorText *e = error_text(records[i].code);
        if (e && e->role == Role::kSummary) head = i;
    }
    const Record &r = records[head];
    const ErrorText *e = error_text(r.code);
    std::string text;
    if (!e) {
        text = "an error qv has no words for (" + std::to_string(r.code) + ")";
    } else {
        const Record *reason = nullptr;
        for (size_t i = 0; i < head && !reason; ++i) {
            const ErrorText *b = error_text(records[i].code);
            if (b && b->role == Role::kReason) reason = &records[i];
        }
        const char *by_path =
            subject.output ? nullptr : path_text(r.code, path_state(subject.path.c_str()));
        if (reason)
            text = fill(e->text, r, subject) + ": " +
                   fill(error_text(reason->code)->text, *reason, subject);
        else if (by_path)
            text = by_path;
        else
            text = fill(e->text, r, subject);
        text += " (" + std::to_string(r.code) + " " + e->name + ")";
    }
    print_first_line(subject, text);
    if (e && e->hint) std::fprintf(stderr, "qv: %s\n", e->hint);
    if (!verbose) return;
    for (const Record &x : records) {
        const ErrorText *n = error_text(x.code);
        std::fprintf(stderr, "  %d %s in %s line %d (iVal %d, lVal %d)\n", x.code,
                     n ? n->name : "(unnamed)", x.module, x.line, x.ival, x.lval);
    }
}

}  // namespace qvtool
