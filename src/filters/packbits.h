/*
 * packbits.h - the PackBits run-length codec (TIFF compression 32773, also
 * used by the TIFF writer and PSD).
 *
 * A run header n (signed byte): -128 is skipped; -127..-1 repeats the next
 * byte 1 - n times; 0..127 copies the next n + 1 bytes.
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

// Decodes runs from src (src_len bytes) into dst from position *filled
// until dst holds row_bytes bytes. Returns the source bytes used; *filled
// advances by the bytes written.
// Notes:
//  1. A run that would pass the end of the row is cut there: the rest of a
//     repeat is dropped; of a literal only the bytes that fit are taken, so
//     its remaining bytes are read as the next run header (kept so).
//  2. A run whose bytes are not all in src is left unread: the caller
//     appends more input and calls again. *filled < row_bytes with all of
//     src used means the input ended inside the row.
size_t packbits_decode_row(const uint8_t *src, size_t src_len, uint8_t *dst, size_t row_bytes,
                           size_t *filled);

// Encodes one row; dst must hold packbits_max_bytes(n). Returns the bytes
// written. Repeats of 3 or more bytes become repeat runs (2 when they open
// or close a row), everything else literals of at most 128 bytes.
size_t packbits_encode_row(const uint8_t *src, size_t n, uint8_t *dst);
inline size_t packbits_max_bytes(size_t n) { return n + (n + 127) / 128; }

}  // namespace qv
