/*
 * vosk32pd/io.h - caller-replaceable file I/O, tag callbacks, format
 * auto-detection switches and extension modules.
 *
 * Every load and save works on a private copy of the process's I/O settings
 * taken when the operation starts, so these settings apply to operations
 * that start after the call.
 */
#ifndef VOSK32PD_IO_H
#define VOSK32PD_IO_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* File I/O slots a caller may replace with QV_file_IO_register. The handle
 * is what the library's open/create returned (a file descriptor). Whence:
 * 0 from the start, 1 from the current position, 2 from the end. */
typedef int32_t (*QV_IO_READ_FN)(intptr_t handle, void *buffer, int32_t count);
typedef int32_t (*QV_IO_WRITE_FN)(intptr_t handle, const void *buffer, int32_t count);
typedef int64_t (*QV_IO_SEEK_FN)(intptr_t handle, int64_t offset, int32_t whence);

/* Tag offer (reader -> caller): user value, tag id, TIFF field type (1 byte,
 * 3 short, 4 long, 13/14 blocks), data, size. For a single byte, short or
 * long value the last argument is the value's size in bytes (1, 2, 4); for
 * other offers it is the count the reader gave. Return value ignored. */
typedef int32_t (*QV_TAG_SET_CB)(void *user, int32_t tag, int32_t type, const void *data,
                                 int32_t count);
/* Tag request (writer -> caller): user value, tag id; fills type, data
 * pointer and count; returns non-zero when it answered. The data must stay
 * valid until the writer returns. */
typedef int32_t (*QV_TAG_GET_CB)(void *user, int32_t tag, int32_t *type, const void **data,
                                 int32_t *count);

/* QV_file_IO_register - replace the read, write and seek slots of file
 * streams.
 *   read_fn, write_fn, seek_fn: the caller's functions, or null.
 *   Result: the error count (0).
 * Notes:
 *   1. A null argument restores the library's own function for that slot; a
 *      non-null one installs it. Open, create and close cannot be replaced.
 *   2. The handle passed to the functions is the descriptor the library
 *      opened (or the caller's descriptor for the _FD loads and saves).
 *   3. Memory streams never call these functions. */
QV_API int32_t QV_file_IO_register(QV_IO_READ_FN read_fn, QV_IO_WRITE_FN write_fn,
                                   QV_IO_SEEK_FN seek_fn);

/* QV_load_tag_CB_register - receive the format fields that readers offer
 * while loading (PCX header fields, TIFF tags, ...).
 *   fn: the callback, or null to remove it. user: passed back as is.
 *   Result: the error count (0).
 * Notes:
 *   1. Readers call the load pipeline's own callback first, then this one.
 *   2. Offers of one byte, short or long value pass a pointer to the value
 *      and its size in bytes (1, 2 or 4) with TIFF types 1, 3 and 4. */
QV_API int32_t QV_load_tag_CB_register(QV_TAG_SET_CB fn, void *user);

/* Flags of QV_save_tag_CB_register. */
#define QV_SAVE_TAG_OVERRIDE 1 /* ask the caller before the save pipeline for every tag */

/* QV_save_tag_CB_register - answer the tag requests of writers.
 *   fn: the callback, or null to remove it. user: passed back as is.
 *   flags: 0 or QV_SAVE_TAG_OVERRIDE.
 *   Result: the error count; -600 (iVal the flags, lVal 0) when flags holds
 *   an unknown bit, and nothing is changed.
 * Notes:
 *   1. Writers ask for tags in two ways: the ordinary request goes to the
 *      save pipeline only; the "user" request asks this callback first and
 *      the pipeline when this one answers 0.
 *   2. With QV_SAVE_TAG_OVERRIDE the ordinary requests also ask this
 *      callback first, so the caller's answer replaces the pipeline's.
 *   3. Removing the callback (fn null) clears the flags as well. */
QV_API int32_t QV_save_tag_CB_register(QV_TAG_GET_CB fn, void *user, int32_t flags);

/* QV_load_auto_detect_set - let a format take part in detection, or not.
 *   format_type: the format type (TIFF 40, BMP 2, TXT 41, ...), or 0.
 *   enable: non-zero takes part, 0 is skipped by detection.
 *   Result: the error count; -2110 (iVal the format type) when no filter
 *   serves the type.
 * Notes:
 *   1. Filters are visited in registry order (extension filters, then the
 *      built-in table); the first filter of the type gets the flag.
 *   2. Format type 0 sets the flag of the first filter visited only (the
 *      first extension filter, or TIFF when no extension module supplies a
 *      filter), not of every filter.
 *   3. Plain text (type 41) is off at start: ASCII files are not recognised
 *      until it is switched on. */
QV_API int32_t QV_load_auto_detect_set(int32_t format_type, int32_t enable);

/* QV_load_auto_detect_get - read a format's detection flag.
 *   format_type: the format type; flag: receives 1 or 0.
 *   Result: the error count; -2110 (iVal the format type) when no filter
 *   serves the type (type 0 included); -3330 (0, 1) for a null flag. */
QV_API int32_t QV_load_auto_detect_get(int32_t format_type, int32_t *flag);

/* QV_ext_load - load an extension module that adds format filters.
 *   path: the shared object; module_id: receives the module's id (> 0).
 *   Result: the error count. Failures leave *module_id 0:
 *     -700 (iVal 1, lVal 0) the shared object could not be loaded;
 *     -700 (iVal 2, lVal 0) it has no VPb_module_entry symbol;
 *     -700 (iVal 3, lVal the count) the entry returned no table or a
 *          negative count;
 *     -700 (iVal 4, lVal the descriptor index) a filter descriptor without
 *          a read function or with a format type outside 1..65535;
 *     -1000 / -2090 the module record could not be allocated or registered;
 *     -3060 (0, 1) a null path or module_id.
 * Notes:
 *   1. The module's filters are visited before the built-in ones by
 *      detection, search and iteration, in load order; an extension filter
 *      has the index 4096 + format type and overrides a built-in filter of
 *      the same type in searches and in the choice by file extension.
 *   2. A filter descriptor whose format type is already served by a loaded
 *      extension filter is ignored (one extension filter per type).
 *   3. Descriptors are copied: the module's table may be read-only.
 *   4. See vosk32pd_bridge.h for the entry symbol and descriptor layout.
 *   5. Modules still loaded when the library is unloaded are closed then. */
QV_API int32_t QV_ext_load(const char *path, int32_t *module_id);

/* QV_ext_unload - remove an extension module and its filters.
 *   module_id: as returned by QV_ext_load.
 *   Result: the error count; -2090 (iVal the id, lVal 0) when no loaded
 *   module has that id. */
QV_API int32_t QV_ext_unload(int32_t module_id);

QV_EXTERN_C_END

#endif /* VOSK32PD_IO_H */
