/*
 * os_posix.cpp - POSIX implementation of the operating-system layer.
 *
 * Files are plain descriptors (large blocks: os_large_blocks.cpp);
 * the debug sink defaults to stderr; the live-record set is a hash set under
 * a mutex (several threads may create and delete images at once).
 *
 * Exported: iQV_debug_sink_set (route debug echo text to the caller).
 */
#include "os/os.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <unordered_set>

#include "vosk32pd/base.h"

namespace qv {
namespace {

using DebugSink = void (*)(const char *text, void *user);
DebugSink g_sink = nullptr;
void *g_sink_user = nullptr;

std::mutex &record_mutex() {
    static std::mutex m;
    return m;
}
std::unordered_set<const void *> &record_set() {
    static auto *s = new std::unordered_set<const void *>();  // lives until exit
    return *s;
}

}  // namespace

intptr_t os_file_create(const char *name) {
    if (!name) return -1;
    int fd;
    do fd = ::open(name, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    while (fd < 0 && errno == EINTR);
    return fd;
}

intptr_t os_file_open(const char *name, int access) {
    if (!name) return -1;
    int flags = (access & kOsAccessWrite) ? (O_RDWR | O_CREAT) : O_RDONLY;
    int fd;
    do fd = ::open(name, flags | O_CLOEXEC, 0644);
    while (fd < 0 && errno == EINTR);
    return fd;
}

int32_t os_file_close(intptr_t fd) { return ::close(static_cast<int>(fd)) == 0 ? 0 : -1; }

int64_t os_file_seek(intptr_t fd, int64_t offset, int whence) {
    int w = whence == 1 ? SEEK_CUR : whence == 2 ? SEEK_END : SEEK_SET;
    off_t r = ::lseek(static_cast<int>(fd), static_cast<off_t>(offset), w);
    return r < 0 ? -1 : static_cast<int64_t>(r);
}

int32_t os_file_read(intptr_t fd, void *buf, int32_t count) {
    if (count <= 0) return 0;
    auto *p = static_cast<char *>(buf);
    int32_t done = 0;
    while (done < count) {
        ssize_t n = ::read(static_cast<int>(fd), p + done, static_cast<size_t>(count - done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<int32_t>(n);
    }
    return done;
}

int32_t os_file_write(intptr_t fd, const void *buf, int32_t count) {
    if (count <= 0) return 0;
    auto *p = static_cast<const char *>(buf);
    int32_t done = 0;
    while (done < count) {
        ssize_t n = ::write(static_cast<int>(fd), p + done, static_cast<size_t>(count - done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<int32_t>(n);
    }
    return done;
}

int32_t os_file_truncate(intptr_t fd, int64_t size) {
    int r;
    do r = ::ftruncate(static_cast<int>(fd), static_cast<off_t>(size));
    while (r < 0 && errno == EINTR);
    return r == 0 ? 0 : -1;
}

void os_debug_output(const char *format, ...) {
    char text[1024];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    if (g_sink)
        g_sink(text, g_sink_user);
    else
        std::fputs(text, stderr);
}

void os_record_enter(const void *record) {
    std::lock_guard<std::mutex> lock(record_mutex());
    record_set().insert(record);
}

void os_record_leave(const void *record) {
    std::lock_guard<std::mutex> lock(record_mutex());
    record_set().erase(record);
}

bool os_record_is_live(const void *record) {
    std::lock_guard<std::mutex> lock(record_mutex());
    return record_set().count(record) != 0;
}

}  // namespace qv

extern "C" QV_API void iQV_debug_sink_set(void (*sink)(const char *text, void *user), void *user) {
    qv::g_sink = sink;
    qv::g_sink_user = user;
}
