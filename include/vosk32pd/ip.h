/*
 * vosk32pd/ip.h - image operations: resize.
 *
 * Each function clears the error stack on entry and returns the number of
 * error records when it leaves (0 = success); an invalid image handle
 * returns 0 at once, doing nothing. Rows are counted from the top.
 *
 * Resize methods (the depths each accepts, in bits per pixel):
 *   0  nearest neighbour, source position truncated    1, 4, 8, 16, 24
 *   1  four-point average                              1, 8 (gray), 16, 24
 *   2  bilinear                                        1, 8 (gray), 16, 24
 *   3  nearest neighbour, source position rounded      1, 4, 8, 24
 *   4  canvas change: no scaling, the picture kept at  1, 4, 8, 16, 24
 *      the top left, cropped or padded with a background
 * "Gray" is the identity palette of QV_image_is_gray; other 8-bit images
 * take methods 0, 3 and 4.
 */
#ifndef VOSK32PD_IP_H
#define VOSK32PD_IP_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* Resizes the image in place to width x height with `method`; method 4
 * pads with the default background (1-bits at 1 bit, else index 0 or
 * black). Same as QV_IP_resize_bkgrnd with a null background. */
QV_API int32_t QV_IP_resize(QUORIN image, int32_t width, int32_t height, uint32_t method);

/* Resizes the image in place. `background` is read by method 4 only: 1 bit,
 * one byte (0: 0-bits, else 1-bits); 4 bits, one byte b (the fill byte is
 * b * 16 | b); 8 bits, the index byte; 16 bits, two bytes; 24 bits, three
 * bytes blue, green, red. Null gives the default background.
 * Notes:
 *  1. Argument checks, in order: width below 1, then height below 1: -3320
 *     (the value, 0). Methods other than 0, 3, 4: a 4-bit image -3300 (bpp,
 *     method); an 8-bit image without gray palette -3410 (bpp, method).
 *     Unknown method -3320 (method, 0). Depth outside 1, 4, 8, 16, 24:
 *     -3000 (bpp, 0), or -3300 (bpp, 4) for method 4. Method 3 on 16 bits:
 *     -3300 (16, 3).
 *  2. Sampling, with sx = old width / new width, sy = old height / new
 *     height in double precision:
 *       method 0: column trunc(x * sx), row trunc(y * sy).
 *       method 3: column round(x * sx), where exactly n + 0.5 goes to n;
 *         row round(p) for a position p starting at 0 and growing by sy
 *         after each row.
 *       method 1: the four samples at trunc(x * sx), trunc((x + 1) * sx)
 *         (the last column when that is the width) and the same rows,
 *         summed and divided by 4 (remainder dropped). 16 bits: whole
 *         words, signed when QV_image_is_signed_get says so. 1 bit,
 *         shrinking both ways: a block around the pixel (sides of 4 or more
 *         trimmed at both ends by (side - 3) / 2) is 1 only when more than
 *         half of it is set; otherwise 1 when 3 of the 4 centre samples are.
 *       method 2: bilinear between the samples around the centre
 *         (x + 0.5) * sx - 0.5 in double precision, stored truncated; 1 bit:
 *         1 only above 0.5.
 *       method 4: rows copied from the top; a wider row filled from the
 *         first whole byte after the old width (the partly used byte of 1-
 *         and 4-bit rows completed first), new rows all background.
 *  3. Resolution and palette are kept; 16-bit images with compression 503
 *     keep it, all others get compression 0. A run-encoded 1-bit image is
 *     resized in run form (method 1 converts it and back) and stays
 *     run-encoded.
 *  4. Each written row is reported to the status-bar callback
 *     (QV_status_bar_CB_register) as (row, rows) by methods 0 to 3; a zero
 *     answer stops with -2113 (row, rows).
 *  5. On any failure the image keeps its DIB. The image rectangle becomes
 *     the whole new image when it was the whole old one, else it is clipped
 *     to the new size. The image-changed hook runs once the worker has run,
 *     whether or not it succeeded. */
QV_API int32_t QV_IP_resize_bkgrnd(QUORIN image, int32_t width, int32_t height, uint32_t method,
                                   const void *background);

/* Makes a resized copy as a new image with a memory tag of its own and
 * writes its handle to *result; the source is left as it was. Arguments,
 * methods and errors as QV_IP_resize_bkgrnd (default background), plus:
 * null result -3380 (0, 0), checked after the depth checks.
 * Notes:
 *  1. A 16-bit image with compression 503: the source's 16-bit display
 *     table is copied into the new image's; without one, -1 (0, 0) is
 *     reported and the copy is still made.
 *  2. When the resize fails the new image is deleted: *result may hold the
 *     deleted handle, so use it only when the count is 0. */
QV_API int32_t QV_IP_thumbnail_create(QUORIN image, QUORIN *result, int32_t width, int32_t height,
                                      uint32_t method);

QV_EXTERN_C_END

#endif /* VOSK32PD_IP_H */
