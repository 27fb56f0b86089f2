/*
 * vosk32pd/image.h - image handles: validity, creation, import and export,
 * deletion, resolution, orientation, alpha companion, and pixel access.
 *
 * Every function returns the number of error records on the stack when it
 * leaves (0 = success) unless its comment says otherwise. Functions that
 * take an image handle return 0 at once, doing nothing and pushing nothing,
 * when the handle is not valid.
 *
 * Rows are numbered from the top of the image (row 0 is the top row, stored
 * last in a DIB of positive height). Coordinates x, y are column and row.
 *
 * Buffer formats of the pixel-access functions:
 *   1  DIB packing: pixels packed at the image's depth, the leftmost pixel
 *      in the high bits of the first byte (16 bits: little-endian words;
 *      24 bits: blue, green, red; 32 bits: blue, green, red, reserved).
 *      A whole raster is bytes-per-row long (padded to 4 bytes); a part of
 *      a row or column starts at bit 0 of the buffer and takes
 *      ceil(count * bpp / 8) bytes.
 *   2  one element per pixel: 1, 4 and 8 bits -> one uint8_t (the bit value
 *      or palette index); 16 bits -> one uint16_t in native byte order;
 *      24 bits -> 3 bytes blue, green, red; 32 bits -> 4 bytes blue, green,
 *      red, reserved. No padding between rows.
 *   Any other format is -3320 (iVal the format); rows refuse format 3 with
 *   -100 (iVal 3).
 *
 * 1-bit images may be run-encoded (compression 500): their rows are held as
 * run lists (see QV_runs_row_get). Raster, row, pixel and area reads and
 * raster, row and pixel writes give and take the same values as for a
 * packed image: pixel value 0 is the first run colour of a list, 1 the
 * other. Column access and area writes on a run-encoded image push -2433,
 * line access -2432 (iVal the handle's low 32 bits, lVal 1).
 */
#ifndef VOSK32PD_IMAGE_H
#define VOSK32PD_IMAGE_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* ---- handles ------------------------------------------------------------ */

/* 1 when `handle` names a live image record, else 0. Does not clear the
 * error stack and pushes nothing. Values -255..255, deleted and foreign
 * handles are refused without touching their memory. */
QV_API int32_t QV_image_is_valid(QUORIN handle);

/* Creates an image. With `dib` null: a blank image of width x height at
 * `bpp` bits (1, 4, 8, 16, 24, 32) with compression 0 or 503 (16-bit single
 * channel, masks 65535). With `dib` given: a copy of that DIB loaded through
 * the load pipeline (the caller keeps its DIB); the other arguments are
 * ignored. *out receives the handle, or null on failure.
 * Notes:
 *  1. Height below 0: -3320 (iVal the height). Compression other than 0 and
 *     503: -600 (iVal the compression). Width below 1: -3320 (iVal the
 *     width). Unknown depth, or 503 with other than 16 bits: -3000 (iVal the
 *     depth, lVal the compression). Null out: -3330. A `dib` whose header
 *     cannot be addressed: -400 (iVal biSize, lVal compression).
 *  2. Record allocation failure -3020 (iVal 1176), DIB allocation -1000.
 *     A failed creation releases everything it allocated.
 *  3. The pixels are zero. 1-, 4- and 8-bit images get an even gray ramp
 *     palette (black to white). A 16-bit image has its three colour masks
 *     in the 12 bytes after the header: 5-5-5 (0x7C00, 0x3E0, 0x1F) at
 *     compression 0, where those bytes are the first six pixels of the
 *     bottom row, and 65535 x 3 at compression 503, where they precede the
 *     pixels.
 *  4. The resolution is taken from the header's pixels-per-length fields,
 *     which are 0 in a new DIB: 0/1 per metre (per inch in DIB resolution
 *     mode 3). */
QV_API int32_t QV_image_create_DIB_ex(int32_t width, int32_t height, int32_t bpp, uint32_t compression,
                                      const QV_DIB_HEADER *dib, QUORIN *out);
/* QV_image_create_DIB_ex with compression 0. */
QV_API int32_t QV_image_create_DIB(int32_t width, int32_t height, int32_t bpp, const QV_DIB_HEADER *dib,
                                   QUORIN *out);

/* Makes an image of the caller's DIB: the DIB's ownership passes to the
 * image, which frees it with free() when deleted (so it must come from
 * malloc/calloc, or from QV_image_export_DIB).
 * Notes:
 *  1. Accepted: a 40-byte header, width >= 1, depth 1, 4, 8, 16, 24 or 32,
 *     compression 0, 3 (16/32 bits), 500 (1 bit), 503 (16 bits) or 504;
 *     anything else -400 (iVal biSize, lVal compression). Null dib -3060,
 *     null out -3330.
 *  2. Compression 500: the run lists follow the palette, biSizeImage bytes
 *     in all, one list per row from the top row down. A list that is
 *     malformed or runs past the data ends the walk; that row and the rows
 *     after it read as all value 0. Width above 32763: -3320.
 *  3. On failure *out is null and the caller still owns the DIB. On success
 *     the resolution is taken from the header as in creation. */
QV_API int32_t QV_image_import_DIB(QV_DIB_HEADER *dib, QUORIN *out);

/* Hands the image's DIB to the caller and deletes the image.
 * Notes:
 *  1. A run-encoded image is first converted to an ordinary 1-bit DIB
 *     (compression 0).
 *  2. The caller owns *out and frees it with free() (or with the free
 *     callback of QV_mem_CB_register when callbacks were in force when the
 *     DIB was made). Its size is header + masks + palette + image size.
 *  3. After success the handle is invalid. If no memory can be had for the
 *     hand-over, -1000 (iVal the size, lVal the tag), *out is null and the
 *     image is kept. Null out: -3330. */
QV_API int32_t QV_image_export_DIB(QUORIN image, QV_DIB_HEADER **out);

/* Deep copy: DIB, resolution, orientation, rectangle, alpha image.
 * Notes:
 *  1. An ordinary image is copied through the load pipeline (loading its DIB
 *     from memory); a run-encoded one record to record (-1000 on failure).
 *  2. On failure *out is null and nothing is left behind.
 *  3. Images of information type 48 run settings hook 12 (source, copy). */
QV_API int32_t QV_image_duplicate(QUORIN image, QUORIN *out);

/* Deletes the image: delete hook (1), buffers, DIB, alpha image; the handle
 * is invalid afterwards. */
QV_API int32_t QV_image_delete(QUORIN image);

/* ---- description -------------------------------------------------------- */

/* Width, height (always positive) and bits per pixel; null outputs are
 * skipped. */
QV_API int32_t QV_image_dimensions_get(QUORIN image, int32_t *width, int32_t *height, int32_t *bpp);
/* The image's own DIB (not a copy); valid until the image changes. For a
 * run-encoded image the header says compression 500 and the pixel area does
 * not hold the rows. Null out: -3330. */
QV_API int32_t QV_image_DIB_pntr_get(QUORIN image, QV_DIB_HEADER **dib);
/* Palette pointer and entry count (2^bpp up to 8 bits and for compression
 * 504; else 0 with *palette left unchanged). Null outputs are skipped. */
QV_API int32_t QV_image_DIB_palette_pntr_get(QUORIN image, QV_RGBQUAD **palette, int32_t *entries);
/* Start of the pixel bits. Null out: -3330. */
QV_API int32_t QV_image_DIB_bitmap_pntr_get(QUORIN image, void **bits);
/* *flag = 1 when the palette is the identity ramp: entry i is (i, i, i) for
 * every i below 2^bpp (depths up to 8 only). A black-and-white 1-bit
 * palette, or 4 bits reading 0, 17, 34, ..., are not gray by this test. */
QV_API int32_t QV_image_is_gray(QUORIN image, int32_t *flag);

/* The signed flag: 1 when the image's 16-bit samples are two's-complement
 * values (operations that add samples, such as the averaging resize, read
 * them as signed), 0 (the default) when they are unsigned. Set stores any
 * non-zero value as 1. Null flag: -3330. */
QV_API int32_t QV_image_is_signed_get(QUORIN image, int32_t *flag);
QV_API int32_t QV_image_is_signed_set(QUORIN image, int32_t flag);

/* The image rectangle (inclusive; whole image after creation). Set: left >
 * right or top > bottom -3421 (iVal the first value, lVal the second); a
 * side outside the image -3320 (iVal the side). Null rect: -3330 / -3060. */
QV_API int32_t QV_image_rect_get(QUORIN image, QV_RECT *rect);
QV_API int32_t QV_image_rect_set(QUORIN image, const QV_RECT *rect);

/* ---- resolution and orientation ---------------------------------------- */

/* Resolution units: 1 none, 2 per metre, 3 per inch, 4 per centimetre,
 * 5 per 10 inches, 6 per 10 centimetres. */
#define QV_RES_UNIT_NONE 1
#define QV_RES_UNIT_METRE 2
#define QV_RES_UNIT_INCH 3
#define QV_RES_UNIT_CM 4
#define QV_RES_UNIT_10INCH 5
#define QV_RES_UNIT_10CM 6

/* Stores x and y resolution (numerator / denominator, a zero denominator
 * stored as 1) and the unit, and rewrites the DIB header's pixels-per-length
 * fields in the DIB resolution mode (QV_DIB_resolution_units_set).
 * Notes:
 *  1. value = numerator / denominator. Mode 2 (per metre): unit 1, 2 value;
 *     3 value x 39.37; 4 x 100.0; 5 x 3.937; 6 x 10.0. Mode 3 (per inch):
 *     unit 1, 3 integer division; 2 x 0.0254; 4 x 2.54; 5 x 0.1; 6 x
 *     0.254. Results are rounded by adding 0.5 and truncating, except unit 5
 *     in mode 3, which truncates (150/1 and 155/1 both give 15).
 *  2. Unknown unit: -3370 (iVal the unit); unknown mode -2445 (iVal 100,
 *     lVal 2). The values and unit are stored anyway; the header is left
 *     unchanged.
 *  3. On success the image-changed hook runs (reason 3, the unit). */
QV_API int32_t QV_image_resolution_set(QUORIN image, uint32_t xnum, uint32_t xden, uint32_t ynum,
                                       uint32_t yden, uint32_t unit);
/* Reads them back (a stored zero denominator is first replaced by 1); null
 * outputs are skipped. */
QV_API int32_t QV_image_resolution_get(QUORIN image, uint32_t *xnum, uint32_t *xden, uint32_t *ynum,
                                       uint32_t *yden, uint32_t *unit);

/* Orientation 1..8 (TIFF meaning). Set does nothing unless orientation is
 * enabled (QV_image_orientation_enable_set); a value outside 1..8 pushes
 * -600 (iVal the value, lVal 200). Get writes 0 for an invalid handle;
 * null out -3330. */
QV_API int32_t QV_image_orientation_set(QUORIN image, int32_t value);
QV_API int32_t QV_image_orientation_get(QUORIN image, int32_t *value);

/* ---- alpha companion ----------------------------------------------------- */

/* The stored alpha handle, as it is (it may have been deleted). */
QV_API int32_t QV_image_alpha_get(QUORIN image, QUORIN *alpha);
/* Links `alpha` (an image of the same width and height) as the image's
 * alpha channel; the image owns it from then on and deletes it with itself.
 * Notes:
 *  1. A previous, different, valid alpha image is deleted first.
 *  2. Wrong size: -3400 (iVal the offered width, lVal its height), and the
 *     old link is kept although the image it names was just deleted.
 *  3. Null alpha removes the link. An invalid alpha handle: -2061; the image
 *     itself: -600. */
QV_API int32_t QV_image_alpha_set(QUORIN image, QUORIN alpha);
/* Builds a new alpha image for `image`: 8 bits, grey-ramp palette, the same
 * width and height, every pixel `fill` (0 transparent .. 255 opaque), and
 * links it as QV_image_alpha_set does (a previous alpha image is deleted).
 * A fill outside 0..255: -600 (iVal the fill). */
QV_API int32_t QV_image_create_alpha(QUORIN image, int32_t fill);

/* ---- pixel access ------------------------------------------------------- */

/* Row `row` whole, in format 1 (bytes-per-row bytes) or 2 (width elements).
 * Row outside the image -3420 (iVal row, lVal height); null buffer -3060;
 * depth other than 1, 4, 8, 16, 24, 32: -3000 (iVal the depth). Set runs the
 * image-changed hook (reason 1, the row). */
QV_API int32_t QV_DIB_raster_get(QUORIN image, int32_t row, void *buf, int32_t format);
QV_API int32_t QV_DIB_raster_set(QUORIN image, int32_t row, const void *buf, int32_t format);

/* `count` pixels of row `row` from column `left`. A span outside the image:
 * -3320 (iVal left or count, lVal the width); row as for rasters. */
QV_API int32_t QV_DIB_row_get(QUORIN image, int32_t left, int32_t row, int32_t count, void *buf,
                              int32_t format);
QV_API int32_t QV_DIB_row_set(QUORIN image, int32_t left, int32_t row, int32_t count, const void *buf,
                              int32_t format);

/* `count` pixels of column `column` from row `top` downwards, packed or as
 * elements like a row. Get reads at most to the bottom row and stores the
 * number read in *read (may be null); set refuses a span past the bottom
 * (-3320). Column outside the image -3320 (iVal column). */
QV_API int32_t QV_DIB_column_get(QUORIN image, int32_t column, int32_t top, int32_t count, void *buf,
                                 int32_t format, int32_t *read);
QV_API int32_t QV_DIB_column_set(QUORIN image, int32_t column, int32_t top, int32_t count,
                                 const void *buf, int32_t format);

/* The pixels of the straight line from (x1, y1) to (x2, y2), both ends
 * included, in Bresenham order from the first point. Both ends must lie in
 * the image (-3320, iVal the coordinate). The line has max(|dx|, |dy|) + 1
 * pixels.
 * Get: format-2 elements into buf; when `points` is not null it receives
 *   the x, y pairs (int32_t) of the pixels; *count (may be null) the number
 *   of pixels.
 * Set: format 2 takes one element per pixel from buf; format 1 takes one
 *   element and paints the whole line with it. */
QV_API int32_t QV_DIB_line_get(QUORIN image, int32_t x1, int32_t y1, int32_t x2, int32_t y2, void *buf,
                               int32_t *points, int32_t *count);
QV_API int32_t QV_DIB_line_set(QUORIN image, int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                               const void *buf, int32_t format);

/* A rectangle (inclusive; null = the whole image) of pixels, rows from the
 * top. Format 1: each row packed from bit 0 and padded to 4 bytes; format 2:
 * elements, rows back to back. left > right or top > bottom -3421; a side
 * outside the image -3320 (iVal the side). */
QV_API int32_t QV_DIB_area_get(QUORIN image, const QV_RECT *rect, void *buf, int32_t format);
QV_API int32_t QV_DIB_area_set(QUORIN image, const QV_RECT *rect, const void *buf, int32_t format);
/* As QV_DIB_area_get, and when `info` is not null it receives a header that
 * describes the buffer: width and height of the rectangle, the image's
 * depth and resolution fields, compression 0, and biSizeImage the bytes
 * written. */
QV_API int32_t QV_DIB_area_get_info(QUORIN image, const QV_RECT *rect, void *buf, int32_t format,
                                    QV_DIB_HEADER *info);
/* Bytes a rectangle needs in `format`. */
QV_API int32_t QV_DIB_area_size_get(QUORIN image, const QV_RECT *rect, int32_t format, size_t *size);

/* One pixel: 1, 4 and 8 bits one byte (bit value or index); 16 bits two
 * bytes (native order); 24 bits three bytes blue, green, red. Any other
 * depth, 32 bits included, pushes -3000 (iVal the depth). Outside the image
 * -3320 (iVal x or y). */
QV_API int32_t QV_DIB_pixel_get(QUORIN image, int32_t x, int32_t y, void *value);
QV_API int32_t QV_DIB_pixel_set(QUORIN image, int32_t x, int32_t y, const void *value);

/* Buffer bytes one whole row needs in `format`. Null size: -3330. */
QV_API int32_t QV_DIB_raster_size_get(QUORIN image, int32_t format, int32_t *size);

/* ---- run lists ---------------------------------------------------------
 * A run list is an array of uint16_t: word 0 its length in BYTES, then the
 * columns at which the pixel value changes, the first run having value 0,
 * then the width three times. An all-0 row of width w is (8, w, w, w); a row
 * starting with value 1 has first change 0. A row with n changes takes
 * 2 * (n + 4) bytes; a buffer of 2 * width + 8 bytes holds any row. Value 0
 * is "white" for fax data (palette entry 0 white). Widths up to 32763.
 * Both functions work on any 1-bit image, run-encoded or not; other depths
 * push -3300 (iVal the depth). Row outside the image -3420. */
QV_API int32_t QV_runs_row_get(QUORIN image, int32_t row, uint16_t *runs);
/* The list must be well formed (non-decreasing changes up to the width, the
 * three-word terminator, length within 2 * width + 8): else -600 (iVal word
 * 0, lVal the row). Zero-length runs are dropped when it is stored. */
QV_API int32_t QV_runs_row_set(QUORIN image, int32_t row, const uint16_t *runs);

QV_EXTERN_C_END

#endif /* VOSK32PD_IMAGE_H */
