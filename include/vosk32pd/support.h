/*
 * vosk32pd/support.h - error stack, memory callbacks and process settings.
 *
 *   QV_error_check, QV_error_get, QV_error_set, QV_error_clear
 *   QV_version_get
 *   QV_mem_CB_register
 *   QV_image_control_set/_get, QV_util_MMX_usage_set/_get,
 *   QV_util_CutHeight_set/_get, QV_color_space_level_set/_get,
 *   QV_DIB_resolution_units_set/_get, QV_convert_PPM_to_DPI, QV_convert_DPI_to_PPM
 *
 * Every QV_ function that returns int32_t returns the number of error records
 * on the stack when it leaves (0 = success) unless its comment says otherwise.
 */
#ifndef VOSK32PD_SUPPORT_H
#define VOSK32PD_SUPPORT_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* ---- error stack ------------------------------------------------------ */

/* Number of records on the error stack (at most 29). Does not clear. */
QV_API int32_t QV_error_check(void);

/* Copies record `index` (0 = oldest). `file` receives the reporting module's
 * name (e.g. "PCXREAD.C"), at most file_len characters with a bounded copy.
 * Any output pointer may be null. An index not below the count yields an
 * empty name and zeros; it is not an error. */
QV_API void QV_error_get(int32_t index, char *file, int32_t file_len, int32_t *line,
                         int32_t *code, int32_t *iVal, int32_t *lVal);

/* Pushes an application record without clearing the stack; returns `code`.
 * The module name is the text after the last backslash of `path`, cut to 13
 * characters. */
QV_API int32_t QV_error_set(const char *path, int32_t line, int32_t code, int32_t iVal,
                            int32_t lVal);

/* Empties the stack, but only while the clear-on-entry flag is 1. */
QV_API void QV_error_clear(void);

/* Library version text, e.g. "0.1.0"; copies at most len-1 characters and a
 * terminating NUL into buf. Returns the error count (0). */
QV_API int32_t QV_version_get(char *buf, int32_t len);

/* ---- memory ----------------------------------------------------------- */

typedef void *(*QV_MEM_ALLOC_CB)(size_t size);
typedef void *(*QV_MEM_REALLOC_CB)(void *block, size_t size);
typedef void (*QV_MEM_FREE_CB)(void *block);

/* Installs the caller's functions for large blocks (above 1,024 bytes).
 * Passing null for alloc restores the built-in functions. Blocks already
 * allocated keep the functions that made them. */
QV_API int32_t QV_mem_CB_register(QV_MEM_ALLOC_CB alloc_fn, QV_MEM_REALLOC_CB realloc_fn,
                                  QV_MEM_FREE_CB free_fn);

/* ---- settings --------------------------------------------------------- */

/* Format control blocks. A setting identifier is field * 256 + format type;
 * field f is the f-th 32-bit word (from 0) of that format's control block.
 * Unknown identifier: -2444 (iVal the identifier). Rejected value: -2420
 * (iVal the identifier, lVal the value). Known fields with checked ranges:
 *   1*256+21 (277) JPEG quality 1..100;  0*256+31 PCX compression flag 0/1;
 *   0*256+8 DCX compression flag 0/1;   1*256+8 DCX append flag 0/1. */
/* Fields of the JPEG (72 bytes), PNG (16 bytes) and GIF (12 bytes) control
 * blocks, with the values a new process starts with and the ranges that
 * QV_image_control_set accepts:
 *   JPEG  quality 1..100 (75); progressive 0/1 (0); thumbnail width, height
 *         and enable (fields 3, 4, 5, QV_save_thumbnail_set); optimised
 *         Huffman tables 0/1 (0)
 *   PNG   deflate level 0..9 (6); interlaced on writing 0/1 (0); 16-bit
 *         grey: 0 kept as 16 bits (DIB 503), 1 scaled to 8 bits (0)
 *   GIF   append the image as a new frame of an existing GIF 0/1 (0);
 *         interlaced on writing 0/1 (0); transparent index -1..255 (-1) */
#define QV_CTL_JPEG_QUALITY (1 * 256 + 21)
#define QV_CTL_JPEG_PROGRESSIVE (2 * 256 + 21)
#define QV_CTL_JPEG_THUMB_WIDTH (3 * 256 + 21)
#define QV_CTL_JPEG_THUMB_HEIGHT (4 * 256 + 21)
#define QV_CTL_JPEG_THUMB_ENABLE (5 * 256 + 21)
#define QV_CTL_JPEG_OPTIMIZE (6 * 256 + 21)
#define QV_CTL_PNG_LEVEL (0 * 256 + 33)
#define QV_CTL_PNG_INTERLACE (1 * 256 + 33)
#define QV_CTL_PNG_GRAY16 (2 * 256 + 33)
/* TIFF reader fields (format type 40): 16-bit grey kept as 16 bits (DIB
 * code 503) 0/1 (0: scaled to 8 bits); 16-bit grey range measured before
 * scaling 0/1 (0); the library compression code assumed when a page has no
 * Compression tag (0); the page QV_info_get describes (0: the first). */
/* TIFF writer fields (format type 40): byte order 0 "II" / 1 "MM"; the
 * photometric choice (1: bilevel black is zero, 5: CMYK for 24/32 bits);
 * planar 0/1; strip mode (0 rows per strip, 1 bytes per strip, 16 tiles);
 * rows per strip (0: one strip); bytes per strip; tile width and length
 * (0: 256; rounded up to multiples of 16); page (insert position, 0: after
 * the last page); fax profile 0/1; 8-bit palettes written as grey 0/1; one
 * JPEG stream (compression 7 for library code 6) 0/1; NewSubfileType (255:
 * 2); PageNumber tag 0/1; T.4 EOL alignment 0/1; K factor (2); IFD before
 * the data 0/1. Fields 20 to 24 hold the DateTime text and 25 to 47 the
 * DocumentName text, 4 characters a field, zero-terminated. */
#define QV_CTL_TIFF_BYTE_ORDER (0 * 256 + 40)
#define QV_CTL_TIFF_PHOTOMETRIC (1 * 256 + 40)
#define QV_CTL_TIFF_PLANAR (2 * 256 + 40)
#define QV_CTL_TIFF_STRIP_MODE (3 * 256 + 40)
#define QV_CTL_TIFF_ROWS_PER_STRIP (4 * 256 + 40)
#define QV_CTL_TIFF_BYTES_PER_STRIP (5 * 256 + 40)
#define QV_CTL_TIFF_TILE_WIDTH (6 * 256 + 40)
#define QV_CTL_TIFF_TILE_LENGTH (7 * 256 + 40)
#define QV_CTL_TIFF_PAGE (8 * 256 + 40)
#define QV_CTL_TIFF_FAX (9 * 256 + 40)
#define QV_CTL_TIFF_GREY_PALETTE (10 * 256 + 40)
#define QV_CTL_TIFF_ONE_JPEG_STREAM (11 * 256 + 40)
#define QV_CTL_TIFF_SUBFILE_TYPE (12 * 256 + 40)
#define QV_CTL_TIFF_PAGE_NUMBER (13 * 256 + 40)
#define QV_CTL_TIFF_EOL_ALIGN (14 * 256 + 40)
#define QV_CTL_TIFF_K_FACTOR (15 * 256 + 40)
#define QV_CTL_TIFF_IFD_FIRST (16 * 256 + 40)
#define QV_CTL_TIFF_DATE_TIME (20 * 256 + 40)
#define QV_CTL_TIFF_DOCUMENT_NAME (25 * 256 + 40)
#define QV_CTL_TIFF_GRAY16 (48 * 256 + 40)
#define QV_CTL_TIFF_MEASURE (49 * 256 + 40)
#define QV_CTL_TIFF_COMPRESSION (50 * 256 + 40)
#define QV_CTL_TIFF_INFO_PAGE (51 * 256 + 40)
#define QV_CTL_GIF_APPEND (0 * 256 + 14)
#define QV_CTL_GIF_INTERLACE (1 * 256 + 14)
#define QV_CTL_GIF_TRANSPARENT (2 * 256 + 14)
QV_API int32_t QV_image_control_set(int32_t id, int32_t value);
QV_API int32_t QV_image_control_get(int32_t id, int32_t *value);

/* Whether vector code paths may be used (default 1). Values 0 or 1. */
QV_API int32_t QV_util_MMX_usage_set(int32_t value);
QV_API int32_t QV_util_MMX_usage_get(int32_t *value);

/* Rows per band in banded image operations (default 8; 1..65535). A null
 * pointer to the getter pushes -3330 (iVal 0, lVal 1) and returns that code. */
QV_API int32_t QV_util_CutHeight_set(int32_t rows);
QV_API int32_t QV_util_CutHeight_get(int32_t *rows);

/* Colour-space level used by colour conversions (default 2; 0..3). */
QV_API int32_t QV_color_space_level_set(int32_t level);
QV_API int32_t QV_color_space_level_get(int32_t *level);

/* What the DIB header's resolution fields hold: 2 = pixels per metre
 * (default), 3 = pixels per inch. Other values: -2445 (iVal the value). */
QV_API int32_t QV_DIB_resolution_units_set(int32_t mode);
QV_API int32_t QV_DIB_resolution_units_get(int32_t *mode);

/* Whether QV_image_orientation_set takes effect (default 0: ignored). */
QV_API int32_t QV_image_orientation_enable_set(int32_t enabled);
QV_API int32_t QV_image_orientation_enable_get(int32_t *enabled);

/* Unit conversions, rounded by adding 0.5 and truncating. These return the
 * converted value, not an error count. */
QV_API int32_t QV_convert_PPM_to_DPI(int32_t pixels_per_metre);
QV_API int32_t QV_convert_DPI_to_PPM(int32_t dots_per_inch);

QV_EXTERN_C_END

#endif /* VOSK32PD_SUPPORT_H */
