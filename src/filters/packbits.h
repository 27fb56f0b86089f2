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
 *   packbits_decode_row(src, src_len, dst, row_bytes, &filled)
 *       the TIFF reader's row decoding: resumable across input blocks, and
 *       a literal cut at the row's end leaves its remaining bytes to be read
 *       as the next record's count byte
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

inline size_t packbits_max(size_t n) { return n + (n + 127) / 128 + 1; }

size_t packbits_decode(const uint8_t *src, size_t src_len, uint8_t *dst, size_t dst_len, size_t *consumed);
size_t packbits_encode(const uint8_t *src, size_t n, uint8_t *dst);

// Decodes records from src (src_len bytes) into dst from position *filled
// until dst holds row_bytes bytes. Returns the source bytes used; *filled
// advances by the bytes written.
// Notes:
//  1. A record that would pass the end of the row is cut there: the rest of
//     a repeat is dropped; of a literal only the bytes that fit are taken,
//     so its remaining bytes are read as the next count byte (kept so).
//  2. A record whose bytes are not all in src is left unread: the caller
//     appends more input and calls again. *filled < row_bytes with all of
//     src used means the input ended inside the row.
size_t packbits_decode_row(const uint8_t *src, size_t src_len, uint8_t *dst, size_t row_bytes,
                           size_t *filled);

}  // namespace qv
