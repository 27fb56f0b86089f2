/*
 * runs_scan_avx512.cpp - packed 1-bit row -> run list with AVX-512 (BW, VBMI2
 * and GFNI), for processors that have them (chosen at run time in
 * runs_convert.cpp; the portable scanner there serves the others).
 *
 * The row is taken 64 bytes (512 pixels) at a time:
 *   1. the bits of every byte are reversed (one GF(2) affine instruction),
 *      so that in each 64-bit lane pixel i of the lane is bit i;
 *   2. the lane's colour changes are x ^ (x << 1 | carry), the carry being
 *      the previous pixel (the top bit of the lane before, across blocks
 *      too; the row starts white);
 *   3. a block without changes (all white after white, all black after
 *      black) is passed over in one test;
 *   4. each 32-pixel piece with changes gives them all at once: the
 *      positions 0..31 (plus the piece's first pixel) are compressed by the
 *      piece's change bits (VBMI2) and stored as 32 words, of which the
 *      output keeps as many as there are changes (the rest are covered by
 *      later stores or the terminator); near the end of the room they are
 *      taken one at a time with count-trailing-zeros instead.
 * The last block is read with a byte mask (nothing past the row's bytes is
 * touched) and its changes at or past the width (padding bits) are dropped.
 * The output is word for word that of runs_from_packed_portable.
 *
 * Internal: runs_from_packed_avx512, runs_scan_avx512_usable (runs.h).
 */
#include "support/runs.h"

#if defined(__x86_64__)
// GCC 12 warns about the undefined vectors inside its own AVX-512 headers.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

namespace qv {

bool runs_scan_avx512_usable() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("gfni") &&
           __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
}

__attribute__((target("avx512f,avx512bw,avx512vbmi2,gfni,bmi,bmi2,popcnt"))) int32_t runs_from_packed_avx512(
    const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words) {
    if (width < 1 || width > kRunsMaxWidth || max_words < 4) return -1;
    const uint32_t w = uint32_t(width);
    const uint32_t nbytes = (w + 7) / 8;
    uint16_t *out = runs + 1;
    uint16_t *const limit = runs + max_words - 3;  // keep room for the terminator
    const __m512i reverse = _mm512_set1_epi64(int64_t(0x8040201008040201ull));
    const __m512i lane_ends = _mm512_set_epi64(512, 448, 384, 320, 256, 192, 128, 64);
    const __m512i ones = _mm512_set1_epi64(-1);
    __m512i prev = _mm512_setzero_si512();  // the block before (white before the row)
    const __m512i iota = _mm512_set_epi16(31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14,
                                          13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    for (uint32_t at = 0; at < nbytes; at += 64) {
        const uint32_t left = nbytes - at;
        const __m512i v = left >= 64 ? _mm512_loadu_si512(bits + at)
                                     : _mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, left), bits + at);
        const __m512i x = _mm512_gf2p8affine_epi64_epi8(v, reverse, 0);
        // Lane q's pixel before its first: the top bit of lane q - 1.
        const __m512i before = _mm512_srli_epi64(_mm512_alignr_epi64(x, prev, 7), 63);
        __m512i c = _mm512_ternarylogic_epi64(x, _mm512_slli_epi64(x, 1), before, 0x1E);  // a ^ (b | c)
        prev = x;
        const uint32_t base0 = at * 8;
        if (base0 + 512 > w) {
            // Lane q keeps its bits below w - base0 - 64 q (a shift of 64
            // or more clears the lane).
            const __m512i cut = _mm512_max_epi64(
                _mm512_sub_epi64(lane_ends, _mm512_set1_epi64(int64_t(w - base0))), _mm512_setzero_si512());
            c = _mm512_and_si512(c, _mm512_srlv_epi64(ones, cut));
        }
        uint32_t live = _mm512_test_epi32_mask(c, c);  // 32-pixel pieces with changes
        if (!live) continue;
        alignas(64) uint32_t pieces[16];
        _mm512_store_si512(pieces, c);
        do {
            const uint32_t j = uint32_t(_tzcnt_u32(live));
            live = _blsr_u32(live);
            uint32_t m = pieces[j];
            const uint32_t base = base0 + 32 * j;
            if (limit - out >= 32) {
                const __m512i pos = _mm512_add_epi16(iota, _mm512_set1_epi16(int16_t(base)));
                _mm512_storeu_si512(out, _mm512_maskz_compress_epi16(__mmask32(m), pos));
                out += _mm_popcnt_u32(m);
            } else {
                do {
                    if (out >= limit) return -1;
                    *out++ = uint16_t(base + uint32_t(_tzcnt_u32(m)));
                    m = _blsr_u32(m);
                } while (m);
            }
        } while (live);
    }
    out[0] = out[1] = out[2] = uint16_t(w);
    out += 3;
    const int32_t words = int32_t(out - runs);
    runs[0] = uint16_t(words * 2);
    return words;
}

}  // namespace qv

#else

namespace qv {

bool runs_scan_avx512_usable() { return false; }

int32_t runs_from_packed_avx512(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words) {
    return runs_from_packed_portable(bits, width, runs, max_words);
}

}  // namespace qv

#endif
