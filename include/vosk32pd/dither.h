/*
 * vosk32pd/dither.h - colour reduction and dithering: 4-, 8- and 24-bit
 * images to 1, 4 or 8 bits per pixel, in place.
 *
 *   QV_IP_color_reduce_octree      optimised palette of up to 256 colours
 *   QV_IP_color_reduce_diffuse     error diffusion to 1 bit or 16 colours
 *   QV_IP_color_reduce_to_bitonal  plain threshold to 1 bit (run form)
 *   QV_IP_color_reduce_bayer       ordered dither to 1 bit or 16 colours
 *   QV_IP_color_reduce_halftone    clustered-dot halftone to 1 bit (run form)
 *
 * Common to all:
 *  1. Each returns the number of error records (0 = success); an invalid
 *     image handle returns 0 at once, doing nothing.
 *  2. A 1-bit source fails with -3300 (1, 0); another unsupported depth or
 *     depth and target pair with -3300 (bits per pixel, target).
 *  3. The gray level of a colour is (77 red + 151 green + 28 blue) >> 8;
 *     4- and 8-bit sources are read through their palette.
 *  4. Rows are worked from the bottom of the image up. After each row the
 *     status-bar callback (QV_status_bar_CB_register) gets (the row's number
 *     from the top, height), so the first report is height - 1; a zero
 *     answer pushes -2113 with those two values and stops, and the partly
 *     built result (the rows not reached as allocated: all 0) still
 *     replaces the image's DIB.
 *  5. The result keeps the image's size and resolution. The palette-update
 *     hook runs (VPb_logical_palette_update), then, when no error was
 *     recorded, the image-changed hook with reason 7 (QV_CHANGED_COLORS)
 *     and the new depth.
 *  6. 1-bit results have the palette black (entry 0), white (entry 1); the
 *     threshold and halftone results are run-encoded (compression 500, up
 *     to 32,763 pixels wide; wider ones stay packed).
 *  7. -1000 (bytes, 0) when a work buffer or the result cannot be had; the
 *     image is then unchanged.
 */
#ifndef VOSK32PD_DITHER_H
#define VOSK32PD_DITHER_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* Reduces an 8- or 24-bit image to an optimised palette of at most
 * `color_count` colours: 4 bits when that is 16 or fewer, else 8.
 * Notes:
 *  1. The count is taken as 256 above 256 and as 8 below 8.
 *  2. With `list` not null and `list_entries` at least 8, the palette is
 *     built from the list (3 bytes an entry: blue, green, red); fewer
 *     entries than the count fail with -600 (list_entries, 0) before
 *     anything changes. Otherwise it is built from every pixel, bottom row
 *     first. Other depths fail with -3300 (bits per pixel, 0).
 *  3. Palette: a colour octree six levels deep, reduced after every
 *     insertion while it has more leaves than colours wanted (the node of
 *     the deepest reducible level with the fewest colours, the earliest on
 *     a tie, absorbs its children); entries in depth-first order, each the
 *     mean of its leaf's colours (remainder dropped). An image with no more
 *     colours than the count keeps them exactly.
 *  4. Mapping: pixel plus error, clamped, is looked up in the tree; colours
 *     the tree has not seen extend it and take the nearest entry by
 *     (|dr| + |dg| + |db|) / 3, the earliest on a tie. With `search_flag` 0
 *     and 16 colours or fewer, each pixel is looked up shifted by -40, -20,
 *     0, +20, +40 on all channels and the answer nearest to it is kept.
 *  5. Error per channel: trunc(2e/16) added to the next two pixels,
 *     trunc(4e/16) added below left and below, trunc(2e/16) set into the
 *     two slots below right (each overwrites its left neighbour's). */
QV_API int32_t QV_IP_color_reduce_octree(QUORIN image, uint32_t search_flag, uint32_t color_count,
                                         uint32_t list_entries, const uint8_t *list);

/* Error diffusion. Target 1 from 4, 8 or 24 bits, white where the gray
 * level with its error reaches `threshold`; target 4 from 8 or 24 bits to
 * `palette` (16 entries blue, green, red, reserved; copied) or, when null,
 * the built-in one: black, navy, green, teal, maroon, purple, olive, gray
 * (128), silver (192), blue, lime, aqua, red, fuchsia, yellow, white.
 * Notes:
 *  1. Errors travel in whole numbers; each part k/16 of an error is
 *     truncated toward zero.
 *  2. Target 1: with T the threshold and K = min(T, 255 - T), a pixel of
 *     value v (gray level plus error) is black when v < T and passes on
 *     v * K / 128, else white and passes on (v - 255) * K / 128 (both
 *     truncated). 7/16 goes to the next pixel, 3/16 below left, 5/16 below,
 *     and 1/16 replaces what lies below right. The error of a row's first
 *     pixel and its left margin is never cleared: it keeps adding up from
 *     every second row. T = 0 gives all white; T = 0 or 255 diffuses nothing.
 *  3. Target 4: each channel value v (with its error) selects the map cell
 *     v >> 4 (0 below 0, 15 from 256 up) of the inverse colour map (the
 *     entry nearest to (17 r, 17 g, 17 b) by squared distance, the earliest
 *     on a tie); 7/16 of each channel's error goes to the next pixel, 5/16
 *     below and 1/16 replaces what lies below right (13/16 travel).
 *  4. A 4-bit source with target 4 fails with -3300 (4, 4). */
QV_API int32_t QV_IP_color_reduce_diffuse(QUORIN image, uint32_t target_bits, uint32_t threshold,
                                          const QV_RGBQUAD *palette);

/* Reduces the image to 1 bit by one threshold, without diffusion.
 * Notes:
 *  1. Mode 2 with all three weights 0 fails at once with -600 (0, 0).
 *  2. The value of a pixel by mode: 0, its gray level; 1, (blue + red +
 *     green) / 3; 2, (blue * blue_weight + green * green_weight + red *
 *     red_weight) / (the sum of the weights), integer division. Any other
 *     mode pushes -600 (mode, 0) for each pixel (the stack keeps the first
 *     29) and takes the value 0.
 *  3. The pixel is white when the value's low 16 bits are at least the
 *     threshold's low 16 bits. */
QV_API int32_t QV_IP_color_reduce_to_bitonal(QUORIN image, uint32_t mode, uint32_t threshold,
                                             uint32_t red_weight, uint32_t green_weight,
                                             uint32_t blue_weight);

/* Ordered dither. Target 1 from 4, 8 or 24 bits; target 4 from 8 or 24 bits
 * with `palette` (16 entries blue, green, red, reserved; copied) or, when
 * null, the built-in one: black, maroon, green, olive, navy, purple, teal,
 * gray (128), silver (192), red, lime, yellow, blue, fuchsia, aqua, white.
 * Notes:
 *  1. Target 1: the gray level g is scaled to s = g * 256 / 255; the pixel
 *     is white when the 16 x 16 threshold matrix value at (row, column mod
 *     16) is at most s. The matrix holds 1..256 without 164 and with 64
 *     twice; gray 0 gives all black, gray 255 all white.
 *  2. Target 4: each channel c gives L = (c >> 4) * 64 / 15 and is on when
 *     the 8 x 8 matrix value at (row, column mod 8) is at most L; the
 *     palette entry nearest to the corner colour of the on channels (255 on,
 *     0 off; as the inverse colour map finds it) is the pixel.
 *  3. The matrix row is the number of rows worked before this one, so
 *     row 0 of the matrix falls on the bottom row of the image. */
QV_API int32_t QV_IP_color_reduce_bayer(QUORIN image, uint32_t target_bits, const QV_RGBQUAD *palette);

/* Clustered-dot halftone to 1 bit. `pattern` is accepted and not used.
 * Notes:
 *  1. s = gray level * 32 / 255; the pixel is white when s is at least the
 *     threshold of its cell: two 4 x 4 cells A (1..16) and B (17..32) laid
 *     in a checkerboard of 4 x 4 blocks, A first from the left in the
 *     bottom band of four rows, B first in the next band, and so on.
 *  2. A flat field repeats every 8 pixels across and 8 rows down. */
QV_API int32_t QV_IP_color_reduce_halftone(QUORIN image, uint32_t pattern);

QV_EXTERN_C_END

#endif /* VOSK32PD_DITHER_H */
