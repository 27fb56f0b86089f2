/*
 * vosk32pd/io.h - caller-replaceable file I/O and tag callbacks.
 *
 * (Declarations completed with the stream layer.)
 */
#ifndef VOSK32PD_IO_H
#define VOSK32PD_IO_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* File I/O slots a caller may replace with QV_file_IO_register. The handle
 * is what the library's open/create returned (a file descriptor). */
typedef int32_t (*QV_IO_READ_FN)(intptr_t handle, void *buffer, int32_t count);
typedef int32_t (*QV_IO_WRITE_FN)(intptr_t handle, const void *buffer, int32_t count);
typedef int64_t (*QV_IO_SEEK_FN)(intptr_t handle, int64_t offset, int32_t whence);

/* Tag offer (reader -> caller): user value, tag id, TIFF field type (1 byte,
 * 3 short, 4 long, 13/14 blocks), data, count. Return value ignored. */
typedef int32_t (*QV_TAG_SET_CB)(void *user, int32_t tag, int32_t type, const void *data,
                                 int32_t count);
/* Tag request (writer -> caller): user value, tag id; fills type, data
 * pointer and count; returns non-zero when it answered. */
typedef int32_t (*QV_TAG_GET_CB)(void *user, int32_t tag, int32_t *type, const void **data,
                                 int32_t *count);

QV_EXTERN_C_END

#endif /* VOSK32PD_IO_H */
