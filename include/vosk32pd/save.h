/*
 * vosk32pd/save.h - the save pipeline: files, descriptors, memory, caller
 * callbacks, size measurement and the save options.
 *
 *   QV_save_file, QV_save_FD, QV_save_mem,
 *   QV_save_FD_CB, QV_save_FD_CB_direct, QV_save_mem_CB, QV_save_mem_CB_direct,
 *   QV_save_file_size_calc,
 *   QV_save_thumbnail_set, QV_save_JPEG_quality_set/_get
 *
 * Every function returns the number of error records on the stack when it
 * leaves (0 = success). Functions that take an image handle return 0 at once,
 * writing nothing and recording nothing, when the handle is not valid.
 *
 * Save format value: the low 16 bits are the format type (2 BMP, 4 CALS,
 * 31 PCX, 40 TIFF, ...; QV_FORMAT_* below), the high 16 bits a compression
 * that the format's writer interprets (0 = the format's default). The value
 * 0 as a whole chooses the format by the file name's extension (named-file
 * saves only): the text after the last "." is upper-cased by clearing bit
 * 0x20 of every byte (so digits never match) and compared with each
 * format's extension list, extension modules first, then the built-in
 * formats in table order; the first match wins (".ras" chooses CALS, type 4).
 *
 * The writer sees the image's current rectangle (QV_image_rect_set) as the
 * whole image, and can fetch rows of its alpha image too.
 *
 * Codes the pipeline reports itself (writers add their own):
 *   -2110  no filter for the format type or the extension (iVal the format
 *          type asked, 0 for an extension that matched nothing)
 *   -2111  the format has no writer (iVal the format type, lVal the filter
 *          index); a named file has already been created at that point
 *   -2113  the status-bar callback returned 0 (iVal rows remaining, lVal the
 *          current row)
 *   -3060  a required pointer argument is null
 *   -3440  the file could not be opened or created (iVal 0, lVal the OS
 *          result)
 */
#ifndef VOSK32PD_SAVE_H
#define VOSK32PD_SAVE_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* Format types of the built-in filters most callers use. */
#define QV_FORMAT_BMP 2
#define QV_FORMAT_CALS 4
#define QV_FORMAT_DCX 8
#define QV_FORMAT_GIF 14
#define QV_FORMAT_JPEG 21
#define QV_FORMAT_PCX 31
#define QV_FORMAT_PNG 33
#define QV_FORMAT_TGA 39
#define QV_FORMAT_TIFF 40
/* Raw (headerless) fax pages of 1-bit images: one writer for the three types,
 * the compression of the format value choosing the coding: 3 Group 3
 * one-dimensional (EOLs byte aligned when field 3 of the type's control
 * block is 1), 5 Group 3 two-dimensional (K rows per group from field 4,
 * default 2), 4 Group 4. Field 2 is the fill order (1 default, 2 reversed
 * bits). Any other compression: -2080 (iVal the compression); an image of
 * other than 1 bit: -2477 (iVal the depth). Read back with QV_load_CCITT_*. */
#define QV_FORMAT_G3 11
#define QV_FORMAT_G3_2D 53
#define QV_FORMAT_G4 12
/* Builds a save format value from a format type and a compression. */
#define QV_SAVE_FORMAT(type, compression) \
    ((int32_t)(((uint32_t)(compression) << 16) | ((uint32_t)(type) & 0xFFFFu)))

/* Caller's sink of the callback saves: `count` bytes that belong at byte
 * `position` of the output. Return the number of bytes taken; fewer than
 * `count` makes the writer report a short write. */
typedef int32_t (*QV_SAVE_WRITE_CB)(void *user, int64_t position, const void *data,
                                    int32_t count);

/* Saves the image to a named file.
 * format: save format value; 0 chooses by the file name's extension.
 * Notes: 1. A multi-page format (TIFF, GIF, DCX, ICA type 26, AVI) first
 * tries to open an existing file for update so that its writer can add a
 * page; every other format creates (truncates) the file. 2. Failures, in
 * order: -2110 no filter, -3440 no file, -2111 no writer (the file exists
 * by then). 3. The writer is called with selection values 0 and 1. 4. A
 * partly written file is left as it stands. */
QV_API int32_t QV_save_file(QUORIN handle, const char *file_name, int32_t format);

/* Saves at the descriptor's current position; the format type must be
 * given. sel1, sel2 are passed to the writer (page placement for
 * multi-page formats, see each format). The descriptor is not closed. */
QV_API int32_t QV_save_FD(QUORIN handle, int32_t fd, int32_t sel1, int32_t sel2, int32_t format);

/* Saves into the caller's buffer of `size` bytes, of which the first `used`
 * already hold data (a multi-page file a writer may add to; 0 for an empty
 * buffer). The buffer never grows: a writer that runs out of room reports
 * its short write. written (may be null) receives the number of bytes of
 * the buffer in use afterwards (the end of the data). */
QV_API int32_t QV_save_mem(QUORIN handle, void *buffer, size_t size, size_t used, int32_t sel1,
                           int32_t sel2, int32_t format, size_t *written);

/* Callback saves: the output goes to the caller's sink.
 * QV_save_mem_CB: the file is first built in library memory (its size is
 *   measured by a counting pass), then handed to `sink` in blocks of at
 *   most 64 KiB in file order. Any writer, seeking ones included, works.
 * QV_save_mem_CB_direct: no library buffer; each block goes to `sink` as the
 *   writer produces it, with the position it belongs at (a writer that
 *   seeks back to patch a header sends that block again later). Reading back
 *   the output is not possible: reads return 0 bytes.
 * QV_save_FD_CB: written to the descriptor as QV_save_FD, and each block,
 *   once written, is also passed to `sink` with its file position.
 * QV_save_FD_CB_direct: as QV_save_mem_CB_direct, positions counted from
 *   the descriptor's current position; the descriptor is not written.
 * sink may not be null (-3060). */
QV_API int32_t QV_save_mem_CB(QUORIN handle, int32_t sel1, int32_t sel2, int32_t format,
                              QV_SAVE_WRITE_CB sink, void *user);
QV_API int32_t QV_save_mem_CB_direct(QUORIN handle, int32_t sel1, int32_t sel2, int32_t format,
                                     QV_SAVE_WRITE_CB sink, void *user);
QV_API int32_t QV_save_FD_CB(QUORIN handle, int32_t fd, int32_t sel1, int32_t sel2,
                             int32_t format, QV_SAVE_WRITE_CB sink, void *user);
QV_API int32_t QV_save_FD_CB_direct(QUORIN handle, int32_t fd, int32_t sel1, int32_t sel2,
                                    int32_t format, QV_SAVE_WRITE_CB sink, void *user);

/* Number of bytes QV_save_mem would write for this image and format value
 * (selection values 0 and 1), measured by running the writer into a
 * counting stream that stores nothing. The format type must be given.
 * bytes may not be null (-3060). */
QV_API int32_t QV_save_file_size_calc(QUORIN handle, int32_t format, int64_t *bytes);

/* Thumbnail options of the formats that store one: the three values go to
 * fields 3, 4 and 5 of the JPEG control block (format type 21) and fields
 * 1, 2 and 3 of the TGA control block (type 39); setting identifier of
 * field f of format t: f * 256 + t (QV_image_control_set). */
QV_API int32_t QV_save_thumbnail_set(int32_t value1, int32_t value2, int32_t value3);

/* JPEG quality, field 1 of the JPEG control block (setting 277), 1..100;
 * other values: -2420 (iVal 277, lVal the value). Default 75. */
QV_API int32_t QV_save_JPEG_quality_set(int32_t quality);
QV_API int32_t QV_save_JPEG_quality_get(int32_t *quality);

QV_EXTERN_C_END

#endif /* VOSK32PD_SAVE_H */
