/*
 * runs.h - run lists: the row form of run-encoded 1-bit images.
 *
 * A run list is a record of 16-bit words: word 0 is its length in BYTES;
 * then the positions at which the colour changes, the first run being
 * "white"; then three copies of the width as terminator (they let the T.6
 * coder read b1 and b2 past the last change). An all-white row of width w is
 * (8, w, w, w); a row starting black has first change 0; a row with n
 * changes takes 2 * (n + 4) bytes, so the longest has 2 * width + 8.
 *
 * Colours: the first run colour ("white") is packed bit value 0, the other
 * is bit value 1. A row that is not stored, an all-zero packed row and
 * (8, w, w, w) are the same row.
 *
 * Storage in an image (ImageRecord tail): run_table[row] (row 0 = top) is the
 * byte offset of that row's list in run_data, or kRowNotStored (all white).
 * run_data is a block of the image's tag that grows as rows are stored
 * (run_data_owned = 1), or, for an imported DIB, points into the DIB after
 * the palette until the first growth. A row rewrite goes in place when the
 * new list is not longer than the old one, else it is appended.
 *
 *   runs_from_packed(bits, width, runs, max_words)   -> words, -1 if no room
 *                                           (the fastest scanner the
 *                                           processor runs)
 *   runs_to_packed(runs, width, bits)       one DIB row (padding zeroed)
 *   runs_to_elements(runs, width, out)      one byte (0/1) per pixel
 *   runs_pixel(runs, x)                     bit value at x
 *   runs_valid(runs, avail_bytes, width)    well-formed, fits in avail_bytes
 *   runs_canonical(in, width, out)          drop zero-length runs and
 *                                           changes at or past the width
 *   image_is_run_form(rec)                  compression 500 with a run table
 *   image_run_list(rec, row)                stored list or null (all white)
 *   image_run_row_store(rec, row, runs)     store a (valid) list
 *   image_run_row_room(rec, bytes)          the free end of the run data,
 *                                           with room for `bytes` (null if
 *                                           it cannot grow): a list is
 *                                           written there, then
 *   image_run_row_append(rec, row)          stores it for a row not yet
 *                                           stored
 *   image_runs_reserve(rec, bytes)          room for `bytes` of lists
 *                                           before any is stored (a hint)
 *   image_runs_to_dib(rec)                  run-encoded -> ordinary 1-bit
 *   image_dib_to_runs(rec)                  ordinary 1-bit -> run-encoded
 *   image_runs_import(rec)                  build the run table of an
 *                                           imported compression-500 DIB
 *   image_runs_copy(dst, src)               copy run table and data
 *   image_runs_release(rec)                 free run table and data
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/image.h"

namespace qv {

// Longest row a run list can hold: its byte length 2 * (w + 4) must fit in
// the 16-bit length word.
inline constexpr int32_t kRunsMaxWidth = 32763;
inline constexpr uint32_t kRowNotStored = 0xFFFFFFFFu;

inline size_t runs_max_bytes(int32_t width) { return 2 * size_t(width) + 8; }
inline int32_t runs_max_words(int32_t width) { return width + 4; }

int32_t runs_from_packed(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words);
// The two scanners runs_from_packed chooses between (same output): 64 bits
// at a time on any processor, 512 at a time with AVX-512 (BW, VBMI, VBMI2,
// BITALG) and GFNI.
int32_t runs_from_packed_portable(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words);
int32_t runs_from_packed_avx512(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words);
bool runs_scan_avx512_usable();
// 256 at a time with AVX2, for x86-64 processors without those.
int32_t runs_from_packed_avx2(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words);
bool runs_scan_avx2_usable();
void runs_to_packed(const uint16_t *runs, int32_t width, uint8_t *bits);
void runs_to_elements(const uint16_t *runs, int32_t width, uint8_t *out);
int runs_pixel(const uint16_t *runs, int32_t x);
bool runs_valid(const uint16_t *runs, size_t avail_bytes, int32_t width);
int32_t runs_canonical(const uint16_t *in, int32_t width, uint16_t *out);
void runs_all_white(uint16_t *runs, int32_t width);
// The scanners' shared ends. runs_close: the list whose changes end just
// before `out` is closed with the width three times and its byte count in
// word 0; returns its words. runs_lane_checked: one 64-pixel lane's changes
// (bit i: a change at base + i), lowest first, each checked against the
// room; null when the room runs out.
inline int32_t runs_close(uint16_t *runs, uint16_t *out, uint32_t width) {
    out[0] = out[1] = out[2] = uint16_t(width);
    const int32_t words = int32_t(out + 3 - runs);
    runs[0] = uint16_t(words * 2);
    return words;
}
inline uint16_t *runs_lane_checked(uint16_t *out, const uint16_t *limit, uint64_t m, uint32_t base) {
    for (; m; m &= m - 1) {
        if (out >= limit) return nullptr;
        *out++ = uint16_t(base + uint32_t(__builtin_ctzll(m)));
    }
    return out;
}

bool image_is_run_form(const ImageRecord *rec);
const uint16_t *image_run_list(const ImageRecord *rec, int32_t row);
int32_t image_run_row_store(ImageRecord *rec, int32_t row, const uint16_t *runs);
uint16_t *image_run_row_room_grow(ImageRecord *rec, size_t bytes);
inline uint16_t *image_run_row_room(ImageRecord *rec, size_t bytes) {
    if (rec->t.run_capacity - rec->t.run_used >= bytes)
        return reinterpret_cast<uint16_t *>(rec->t.run_data + rec->t.run_used);
    return image_run_row_room_grow(rec, bytes);
}
inline void image_run_row_append(ImageRecord *rec, int32_t row) {
    rec->t.run_table[row] = uint32_t(rec->t.run_used);
    rec->t.run_used += reinterpret_cast<const uint16_t *>(rec->t.run_data + rec->t.run_used)[0];
}
void image_runs_reserve(ImageRecord *rec, size_t bytes);
int32_t image_runs_to_dib(ImageRecord *rec);
int32_t image_dib_to_runs(ImageRecord *rec);
int32_t image_runs_import(ImageRecord *rec);
int32_t image_runs_copy(ImageRecord *dst, const ImageRecord *src);
void image_runs_release(ImageRecord *rec);

}  // namespace qv
