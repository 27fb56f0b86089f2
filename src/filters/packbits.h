/*
 * packbits.h - the PackBits run-length codec (PSD image data, TIFF
 * compression 32773).
 *
 * A record starts with a signed count byte n: 0 to 127 copies the next
 * n + 1 bytes; -1 to -127 repeats the next byte 1 - n times; -128 is
 * skipped.
 *   packbits_decode(src, src_len, dst, dst_len, &consumed)
 *       expands records until dst_len bytes are out or the input ends;
 *       returns the bytes written (a record cut short by either end is cut
 *       too) and stores the source bytes used
 *   packbits_encode(src, n, dst)
 *       encodes n bytes (runs of 3 or more repeated, the rest literal);
 *       returns the bytes written, at most packbits_max(n)
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

inline size_t packbits_max(size_t n) { return n + (n + 127) / 128 + 1; }

size_t packbits_decode(const uint8_t *src, size_t src_len, uint8_t *dst, size_t dst_len, size_t *consumed);
size_t packbits_encode(const uint8_t *src, size_t n, uint8_t *dst);

}  // namespace qv
