/*
 * vosk32pd/ip.h - image operations: resize, rotation, flips and crops.
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

/* ---- rotation, flips and crops ------------------------------------------
 * All change the image in place. A null image fails with -3060 (0, 0), an
 * invalid handle with -2061 (the handle, 0). The horizontal and vertical
 * resolution stay as they were, also on quarter turns (not exchanged).
 * Each destination row is reported to the status-bar callback; a zero
 * answer fails with -2113 (row, rows) and, where a new DIB was being built,
 * leaves the image unchanged. On success the image-changed hook runs with
 * the reason named at each function (QV_CHANGED_* in vosk32pd_bridge.h). */

/* Turns the image by a multiple of 90 degrees: code 1 = 90 degrees
 * clockwise, 2 = 180, 3 = 270 clockwise (90 counter-clockwise).
 * Notes:
 *  1. Code 1: new (column c, row y) = old (column y, row height - 1 - c);
 *     code 3: new (c, y) = old (width - 1 - y, c); width and height are
 *     exchanged. Depths 1 (packed or run-encoded), 4, 8, 16, 24; another
 *     fails with -3000 (bpp, 0). A 16-bit image with compression 503 keeps
 *     it; others become compression 0.
 *  2. Code 2 turns in place; a cancel leaves the row pairs done so far
 *     turned. Another code fails with -3320 (code, 0).
 *  3. The image-changed hook runs with reason 0 and the code, also after an
 *     error. */
QV_API int32_t QV_IP_rotate_multiple_90(QUORIN image, int32_t code);

/* Turns the image by `angle` degrees (positive clockwise as seen), with
 * the default background: 1-bits at 1 bit, index 0 or black otherwise.
 * Same as QV_IP_rotate_any_angle_bkgrnd with a null background. */
QV_API int32_t QV_IP_rotate_any_angle(QUORIN image, double angle, int32_t mode);

/* Turns the image by `angle` degrees. Mode 0 keeps the width and height
 * (corners turned outside are lost); any other mode grows the canvas to
 * hold the whole turned picture (QV_IP_rotate_compute_size). Uncovered
 * areas take `background`: 1 bit, one byte (0: 0-bits, else 1-bits); 4 and
 * 8 bits, the index byte; 16 bits, two bytes; 24 bits, blue, green, red.
 * Notes:
 *  1. An angle with trunc(angle / 90) * 90 == angle is a quarter turn
 *     (QV_IP_rotate_multiple_90, its hook included): |angle| mod 360 = 90
 *     gives code 1 (3 when negative), 180 code 2, 270 code 3 (1 when
 *     negative), 0 nothing at all (no hook).
 *  2. Otherwise nearest sampling in 16.16 fixed point about the centre
 *     ((width + 1) / 2, (height + 1) / 2), kept in mode 0, else the new
 *     size halved. Depths 1 (also run-encoded), 4, 8, 16, 24; another fails
 *     with -3000 (bpp, 0). A 16-bit result always has compression 503 with
 *     the old first mask (0 when there was none) as all three masks.
 *  3. A non-finite angle fails with -3320 (0, 0).
 *  4. Rows are reported as (row, new height). Hook: reason 8, value 0. */
QV_API int32_t QV_IP_rotate_any_angle_bkgrnd(QUORIN image, double angle, int32_t mode, const void *background);

/* The size QV_IP_rotate_any_angle_bkgrnd would give, image unchanged:
 * a whole angle whose absolute value is a multiple of 90 gives the old size
 * (exchanged for an odd number of quarter turns); else mode 0 the old size;
 * else the bounding box of the turned corners (100 x 50 at 45 degrees:
 * 106 x 106; at 30: 112 x 94). Null outputs are skipped. */
QV_API int32_t QV_IP_rotate_compute_size(QUORIN image, double angle, int32_t mode, int32_t *width,
                                         int32_t *height);

/* Mirrors the image in place: direction 0 left-right (each row reversed),
 * 1 top-bottom (row order reversed); another fails with -3320 (direction,
 * 0). Left-right takes depths 1, 4, 8, 16, 24 (else -3000 (bpp, 0));
 * top-bottom any. Rows are reported as (row, height) left-right and
 * (pair, height / 2) top-bottom; a cancel leaves the rows done so far
 * mirrored. Hook: reason 3, the direction. */
QV_API int32_t QV_IP_flip(QUORIN image, int32_t direction);

/* Cuts the image down to `rect` (left, top, right, bottom, inclusive),
 * first clipped as VPb_IP_check_rect_for_NULL_and_clip clips it. A null
 * rectangle leaves the image as it is. Depths 1, 4, 8, 16, 24, else -3000
 * (bpp, 0). Palette, resolution and a 503 compression are kept. Hook:
 * reason 4 with the rectangle's address, also for a null rectangle. */
QV_API int32_t QV_IP_crop(QUORIN image, const QV_RECT *rect);

QV_EXTERN_C_END

#endif /* VOSK32PD_IP_H */
