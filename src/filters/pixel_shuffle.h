/*
 * pixel_shuffle.h - byte shuffles of whole rows shared by the raster
 * filters, with SSSE3 forms chosen at run time (16 pixels a step) and plain
 * loops for the rest of a row and for processors without SSSE3.
 *
 *   interleave3(c0, c1, c2, w, out)   out[3x + k] = ck[x]: three planes of
 *                                     w bytes into 3-byte pixels
 *   swap3(in, w, out)                 reverses the three bytes of each of w
 *                                     pixels (R, G, B <-> B, G, R); in and
 *                                     out must not overlap
 *   drop4(in, w, first, out)          keeps three of the four bytes of each
 *                                     of w pixels, in the order first + 2,
 *                                     first + 1, first (first 0: B, G, R, X
 *                                     -> B, G, R; first 1: X, R, G, B ->
 *                                     B, G, R)
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

void interleave3(const uint8_t *c0, const uint8_t *c1, const uint8_t *c2, size_t w, uint8_t *out);
void swap3(const uint8_t *in, size_t w, uint8_t *out);
void drop4(const uint8_t *in, size_t w, int first, uint8_t *out);

}  // namespace qv
