/*
 * qv_save.cpp - save into a new file beside the output, then rename it
 * over the output (see qv_save.h).
 */
#include "qv_save.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace qvtool {
namespace {

// Module name of the records qv pushes itself.
constexpr char kModule[] = "qv_save.cpp";

int32_t push_target_error(int line, int err) {
    QV_error_set(kModule, line, QVE_SAVE_TARGET, 0, err);
    return QV_error_check();
}

// Mode for the new file: the old file's, else what creating it would give.
mode_t mode_for(const char *out) {
    struct stat st;
    if (::stat(out, &st) == 0 && S_ISREG(st.st_mode)) return st.st_mode & 07777;
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

int32_t save_replacing(QUORIN image, const char *out, int32_t format_value) {
    const std::string path = out;
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    std::string suffix(1, '-');
    suffix.append(path, slash == std::string::npos ? 0 : slash + 1);
    const std::string name = dir + "qv-XXXXXX" + suffix;
    std::vector<char> buf(name.begin(), name.end());
    buf.push_back(0);
    const int fd = ::mkstemps(buf.data(), int(suffix.size()));
    if (fd < 0) return push_target_error(__LINE__, errno);
    const std::string temp = buf.data();
    const int chmod_rc = ::fchmod(fd, mode_for(out));
    ::close(fd);
    if (chmod_rc != 0) {
        const int err = errno;
        ::unlink(temp.c_str());
        return push_target_error(__LINE__, err);
    }
    int32_t n = QV_save_file(image, temp.c_str(), format_value);
    if (n == 0 && ::rename(temp.c_str(), out) != 0) n = push_target_error(__LINE__, errno);
    if (n != 0) ::unlink(temp.c_str());
    return n;
}

}  // namespace qvtool
