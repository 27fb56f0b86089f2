/*
 * os.h - the operating-system layer (POSIX).
 *
 *   File calls over descriptors, with the contracts the stream layer relies on:
 *     os_file_create   create or truncate, read/write            -> fd or -1
 *     os_file_open     open; with write access create when absent -> fd or -1
 *     os_file_close, os_file_seek (whence 0/1/2), os_file_read, os_file_write
 *   Large memory blocks: os_global_alloc/_realloc/_free (zero-filled on alloc).
 *   Debug output: os_debug_output formats into a 1,024-character buffer and
 *     hands the text to the debug sink (stderr unless iQV_debug_sink_set).
 *   Pointer test: image records are entered in a live set when allocated and
 *     removed when freed; os_record_is_live answers without touching memory,
 *     so a stale or foreign pointer is refused with no crash or sanitizer report.
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

inline constexpr int kOsAccessRead = 1;
inline constexpr int kOsAccessWrite = 2;

intptr_t os_file_create(const char *name);
intptr_t os_file_open(const char *name, int access);
int32_t os_file_close(intptr_t fd);
int64_t os_file_seek(intptr_t fd, int64_t offset, int whence);
int32_t os_file_read(intptr_t fd, void *buf, int32_t count);
int32_t os_file_write(intptr_t fd, const void *buf, int32_t count);
int32_t os_file_truncate(intptr_t fd, int64_t size);  // 0 or -1

void *os_global_alloc(size_t size);
void *os_global_realloc(void *block, size_t size);
void os_global_free(void *block);
// Not zero-filled: a new block's bytes, and those of a grown block past
// `keep` (the only bytes copied when it moves), are unspecified.
void *os_global_alloc_uninit(size_t size);
void *os_global_grow_uninit(void *block, size_t keep, size_t size);

void os_debug_output(const char *format, ...) __attribute__((format(printf, 1, 2)));

void os_record_enter(const void *record);
void os_record_leave(const void *record);
bool os_record_is_live(const void *record);

}  // namespace qv
