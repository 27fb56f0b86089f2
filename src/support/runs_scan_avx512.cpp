/*
 * runs_scan_avx512.cpp - packed 1-bit row -> run list with AVX-512 (BW, VBMI,
 * VBMI2, BITALG and GFNI), for processors that have them (chosen at run time in
 * runs_convert.cpp; the portable scanner there serves the others).
 *
 * The row is taken 64 bytes (512 pixels) at a time:
 *   1. the bits of every byte are reversed (one GF(2) affine instruction),
 *      so that in each 64-bit lane pixel i of the lane is bit i;
 *   2. the lane's colour changes are x ^ (x << 1 | carry), the carry being
 *      the previous pixel (the top bit of the lane before, across blocks
 *      too; the row starts white);
 *   3. a block without changes (all white after white, all black after
 *      black) is passed over in one test, and a row with no black pixel at
 *      all is found before any of this with one pass of ORs;
 *   4. a block with changes in three or more of its 64-pixel lanes (a line
 *      of text) whose bytes hold at most two changes each is done at once:
 *      each byte's first and second change offsets (bit counts below the
 *      lowest set bits) are paired byte by byte, compressed by the bytes
 *      that have them (VBMI2) per 256 pixels, widened to words and stored;
 *   5. otherwise each 64-pixel lane with changes gives them at once: the
 *      byte offsets 0..63 compressed by the lane's change bits, widened and
 *      offset by the lane's first pixel;
 *   6. stores are whole vectors whatever the number of changes, the output
 *      keeping as many words as there are (the rest are covered by later
 *      stores or the terminator); near the end of the room changes are
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
           __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
           __builtin_cpu_supports("avx512bitalg") && __builtin_cpu_supports("gfni") &&
           __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
}

#define QV_SCAN_TARGET \
    __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,avx512bitalg,gfni,bmi,bmi2,popcnt")))

namespace {

// The changes of one 64-pixel lane (bit i: a change at base + i) written at
// out as words; 64 words of room are needed whatever their number. Returns
// the end of the written positions.
QV_SCAN_TARGET inline uint16_t *lane_positions(uint16_t *out, uint64_t m, uint32_t base, __m512i iota) {
    // The lane's change offsets as bytes, then widened to words: sixteen at
    // once, which covers nearly every lane of a page; more take two steps.
    const __m512i at = _mm512_maskz_compress_epi8(m, iota);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out),
                        _mm256_add_epi16(_mm256_cvtepu8_epi16(_mm512_castsi512_si128(at)),
                                         _mm256_set1_epi16(int16_t(base))));
    const uint32_t count = uint32_t(_mm_popcnt_u64(m));
    if (count > 16) {
        const __m512i first = _mm512_set1_epi16(int16_t(base));
        const __m256i mid = _mm512_castsi512_si256(_mm512_alignr_epi64(at, at, 2));  // bytes 16..47
        _mm512_storeu_si512(out + 16, _mm512_add_epi16(_mm512_cvtepu8_epi16(mid), first));
        if (count > 48) {
            const __m128i top = _mm512_extracti32x4_epi32(at, 3);  // bytes 48..63
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + 48),
                                _mm256_add_epi16(_mm256_cvtepu8_epi16(top), _mm512_castsi512_si256(first)));
        }
    }
    return out + count;
}

// Offsets within each byte (0..7) widened to 256-pixel halves: 8 * (j % 32).
QV_SCAN_TARGET inline __m512i byte_starts() {
    alignas(64) uint8_t v[64];
    for (int j = 0; j < 64; ++j) v[j] = uint8_t(8 * (j % 32));
    return _mm512_load_si512(v);
}

// Index vector interleaving bytes 32 h .. 32 h + 31 of two vectors a, b
// (pairs a_i, b_i) for vpermt2b.
QV_SCAN_TARGET inline __m512i pair_index(int h) {
    alignas(64) uint8_t v[64];
    for (int i = 0; i < 32; ++i) v[2 * i] = uint8_t(32 * h + i), v[2 * i + 1] = uint8_t(64 + 32 * h + i);
    return _mm512_load_si512(v);
}

// The changes of a 512-pixel block (c: bit k of byte j is a change at
// base + 8 j + k) in which no byte holds more than two, all at once: each
// byte's first and second change offsets are taken as bytes over the whole
// block, paired byte by byte, compressed per 256-pixel half by the bytes
// that have them and widened to words. 128 words of room are needed.
// Returns the end of the positions, or null when a byte holds three or more
// (the caller takes the block lane by lane).
QV_SCAN_TARGET inline uint16_t *block_positions(uint16_t *out, __m512i c, uint32_t base, __m512i starts,
                                                 __m512i pairs0, __m512i pairs1) {
    const __m512i zero = _mm512_setzero_si512(), one = _mm512_set1_epi8(1);
    const __m512i low = _mm512_and_si512(c, _mm512_sub_epi8(zero, c));  // lowest change of each byte
    const __m512i rest = _mm512_xor_si512(c, low);
    const __m512i low2 = _mm512_and_si512(rest, _mm512_sub_epi8(zero, rest));
    if (_mm512_test_epi8_mask(rest, _mm512_xor_si512(rest, low2))) return nullptr;
    const uint64_t has1 = _mm512_test_epi8_mask(c, c), has2 = _mm512_test_epi8_mask(rest, rest);
    // Offset of a single set bit: the ones below it.
    const __m512i first = _mm512_add_epi8(_mm512_popcnt_epi8(_mm512_sub_epi8(low, one)), starts);
    const __m512i second = _mm512_add_epi8(_mm512_popcnt_epi8(_mm512_sub_epi8(low2, one)), starts);
    for (int h = 0; h < 2; ++h) {
        const __m512i paired = _mm512_permutex2var_epi8(first, h ? pairs1 : pairs0, second);
        const uint64_t keep = _pdep_u64(uint32_t(has1 >> (32 * h)), 0x5555555555555555ull) |
                              _pdep_u64(uint32_t(has2 >> (32 * h)), 0xAAAAAAAAAAAAAAAAull);
        if (!keep) continue;
        const __m512i at = _mm512_maskz_compress_epi8(keep, paired);
        const __m512i half = _mm512_set1_epi16(int16_t(base + 256 * uint32_t(h)));
        _mm512_storeu_si512(out, _mm512_add_epi16(_mm512_cvtepu8_epi16(_mm512_castsi512_si256(at)), half));
        const uint32_t count = uint32_t(_mm_popcnt_u64(keep));
        if (count > 32)
            _mm512_storeu_si512(out + 32, _mm512_add_epi16(_mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(at, 1)), half));
        out += count;
    }
    return out;
}

}  // namespace

QV_SCAN_TARGET int32_t runs_from_packed_avx512(
    const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words) {
    if (width < 1 || width > kRunsMaxWidth || max_words < 4) return -1;
    const uint32_t w = uint32_t(width);
    const uint32_t nbytes = (w + 7) / 8;
    uint16_t *out = runs + 1;
    uint16_t *const limit = runs + max_words - 3;  // keep room for the terminator
    {
        // A white row (margins and the gaps between lines of a page) in one
        // pass of ORs.
        __m512i any = nbytes % 64 ? _mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, nbytes % 64), bits + nbytes / 64 * 64)
                                  : _mm512_setzero_si512();
        for (uint32_t at = 0; at + 64 <= nbytes; at += 64) any = _mm512_or_si512(any, _mm512_loadu_si512(bits + at));
        if (!_mm512_test_epi64_mask(any, any)) {
            runs_all_white(runs, int32_t(w));
            return 4;
        }
    }
    const __m512i reverse = _mm512_set1_epi64(int64_t(0x8040201008040201ull));
    const __m512i lane_ends = _mm512_set_epi64(512, 448, 384, 320, 256, 192, 128, 64);
    const __m512i ones = _mm512_set1_epi64(-1);
    __m512i prev = _mm512_setzero_si512();  // the block before (white before the row)
    const __m512i starts = byte_starts(), pairs0 = pair_index(0), pairs1 = pair_index(1);
    const __m512i iota = _mm512_set_epi8(63, 62, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, 48, 47, 46, 45,
                                         44, 43, 42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 32, 31, 30, 29, 28, 27, 26,
                                         25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6,
                                         5, 4, 3, 2, 1, 0);
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
        uint32_t live = _mm512_test_epi64_mask(c, c);  // 64-pixel lanes with changes
        if (!live) continue;
        alignas(64) uint64_t lanes[8];
        _mm512_store_si512(lanes, c);
        if (limit - out >= 512 && _mm_popcnt_u32(live) >= 3) {
            // A busy block (text): at once when its bytes allow, else all
            // eight lanes in a row, empty ones too.
            if (uint16_t *end = block_positions(out, c, base0, starts, pairs0, pairs1)) {
                out = end;
                continue;
            }
            const __m128i l01 = _mm512_castsi512_si128(c), l23 = _mm512_extracti32x4_epi32(c, 1),
                          l45 = _mm512_extracti32x4_epi32(c, 2), l67 = _mm512_extracti32x4_epi32(c, 3);
            out = lane_positions(out, uint64_t(_mm_cvtsi128_si64(l01)), base0, iota);
            out = lane_positions(out, uint64_t(_mm_extract_epi64(l01, 1)), base0 + 64, iota);
            out = lane_positions(out, uint64_t(_mm_cvtsi128_si64(l23)), base0 + 128, iota);
            out = lane_positions(out, uint64_t(_mm_extract_epi64(l23, 1)), base0 + 192, iota);
            out = lane_positions(out, uint64_t(_mm_cvtsi128_si64(l45)), base0 + 256, iota);
            out = lane_positions(out, uint64_t(_mm_extract_epi64(l45, 1)), base0 + 320, iota);
            out = lane_positions(out, uint64_t(_mm_cvtsi128_si64(l67)), base0 + 384, iota);
            out = lane_positions(out, uint64_t(_mm_extract_epi64(l67, 1)), base0 + 448, iota);
            continue;
        }
        do {
            const uint32_t q = uint32_t(_tzcnt_u32(live));
            live = _blsr_u32(live);
            const uint64_t m = lanes[q];
            const uint32_t base = base0 + 64 * q;
            if (limit - out >= 64) {
                out = lane_positions(out, m, base, iota);
            } else if (!(out = runs_lane_checked(out, limit, m, base))) {
                return -1;
            }
        } while (live);
    }
    return runs_close(runs, out, w);
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
