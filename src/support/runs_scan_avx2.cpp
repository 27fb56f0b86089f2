/*
 * runs_scan_avx2.cpp - packed 1-bit row -> run list with AVX2, for x86-64
 * processors without the AVX-512 scanner's instructions (chosen at run time
 * in runs_convert.cpp).
 *
 * The row is taken 32 bytes (256 pixels) at a time:
 *   1. the bits of every byte are reversed (two nibble look-ups), so that in
 *      each 64-bit lane pixel i of the lane is bit i;
 *   2. the lane's colour changes are x ^ (x << 1 | carry), the carry being
 *      the top bit of the lane before (across blocks too; the row starts
 *      white); a block without changes is passed over in one test, a row
 *      without black pixels before any of this;
 *   3. each lane with changes gives them lowest first with count-trailing-
 *      zeros and clear-lowest-bit, eight written whatever their number (the
 *      places past the last are covered by later writes or the terminator)
 *      and the output advanced by the count; more than eight take a loop,
 *      and near the end of the room every change is bounds-checked.
 * The last block is gathered word by word, the bytes past the row's end
 * taken as zero (nothing past them is read), and its changes at or past the width are dropped. The
 * output is word for word that of runs_from_packed_portable.
 *
 * Internal: runs_from_packed_avx2, runs_scan_avx2_usable (runs.h).
 */
#include <cstring>

#include "support/runs.h"

#if defined(__x86_64__)
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
// The eight position stores stay scalar: GCC would gather them into one
// vector store, which costs more than it saves.
#define QV_SCALAR_STORES __attribute__((optimize("no-tree-slp-vectorize")))
#else
#define QV_SCALAR_STORES
#endif
#include <immintrin.h>

namespace qv {

bool runs_scan_avx2_usable() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("popcnt");
}

#define QV_SCAN2_TARGET __attribute__((target("avx2,bmi,popcnt")))

namespace {

// The changes of one 64-pixel lane (bit i: a change at base + i); 64 words
// of room are needed whatever their number.
QV_SCAN2_TARGET QV_SCALAR_STORES inline uint16_t *lane_changes(uint16_t *out, uint64_t m, uint32_t base) {
    const int count = int(_mm_popcnt_u64(m));
    uint16_t *o = out;
    for (int k = 0; k < 8; ++k) {
        o[k] = uint16_t(base + uint32_t(_tzcnt_u64(m)));
        m = _blsr_u64(m);
    }
    if (count > 8) {
        o += 8;
        do {
            *o++ = uint16_t(base + uint32_t(_tzcnt_u64(m)));
            m = _blsr_u64(m);
        } while (m);
    }
    return out + count;
}

}  // namespace

QV_SCAN2_TARGET QV_SCALAR_STORES int32_t runs_from_packed_avx2(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words) {
    if (width < 1 || width > kRunsMaxWidth || max_words < 4) return -1;
    const uint32_t w = uint32_t(width);
    const uint32_t nbytes = (w + 7) / 8;
    uint16_t *out = runs + 1;
    uint16_t *const limit = runs + max_words - 3;  // keep room for the terminator
    {
        // A white row (margins and the gaps between lines of a page) in one
        // pass of ORs over its whole words.
        uint64_t any = 0;
        uint32_t k = 0;
        for (; k + 8 <= nbytes; k += 8) {
            uint64_t v;
            std::memcpy(&v, bits + k, 8);
            any |= v;
        }
        for (; k < nbytes; ++k) any |= bits[k];
        if (!any) {
            runs_all_white(runs, int32_t(w));
            return 4;
        }
    }
    const __m256i reversed_nibbles = _mm256_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15, 0, 8, 4,
                                                      12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15);
    const __m256i low_nibbles = _mm256_set1_epi8(0x0F);
    __m256i prev = _mm256_setzero_si256();  // the block before, lanes rotated (white before the row)
    for (uint32_t at = 0; at < nbytes; at += 32) {
        const uint32_t left = nbytes - at;
        __m256i v;
        if (left >= 32) {
            v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bits + at));
        } else {
            // The row's last bytes as four words, the missing bytes zero.
            uint64_t word[4] = {0, 0, 0, 0};
            uint32_t k = 0;
            for (; k + 8 <= left; k += 8) std::memcpy(&word[k / 8], bits + at + k, 8);
            for (uint32_t b = k; b < left; ++b) word[k / 8] |= uint64_t(bits[at + b]) << (8 * (b - k));
            v = _mm256_set_epi64x(int64_t(word[3]), int64_t(word[2]), int64_t(word[1]), int64_t(word[0]));
        }
        const __m256i lo = _mm256_shuffle_epi8(reversed_nibbles, _mm256_and_si256(v, low_nibbles));
        const __m256i hi = _mm256_shuffle_epi8(reversed_nibbles, _mm256_and_si256(_mm256_srli_epi16(v, 4), low_nibbles));
        const __m256i x = _mm256_or_si256(_mm256_slli_epi16(lo, 4), hi);  // lo's nibble moves up, no carry into hi
        // Lanes rotated by one: lane q holds lane q - 1, lane 0 the last
        // lane of the block before.
        const __m256i rotated = _mm256_permute4x64_epi64(x, _MM_SHUFFLE(2, 1, 0, 3));
        const __m256i before = _mm256_srli_epi64(_mm256_blend_epi32(rotated, prev, 0x03), 63);
        prev = rotated;
        __m256i c = _mm256_xor_si256(x, _mm256_or_si256(_mm256_slli_epi64(x, 1), before));
        const uint32_t base0 = at * 8;
        if (base0 + 256 > w) {
            // Lane q keeps its bits below w - base0 - 64 q.
            alignas(32) uint64_t keep[4];
            for (uint32_t q = 0; q < 4; ++q) {
                const int64_t n = int64_t(w) - int64_t(base0) - 64 * int64_t(q);
                keep[q] = n >= 64 ? ~0ull : n <= 0 ? 0 : (1ull << n) - 1;
            }
            c = _mm256_and_si256(c, _mm256_load_si256(reinterpret_cast<const __m256i *>(keep)));
        }
        if (_mm256_testz_si256(c, c)) continue;
        const __m128i low = _mm256_castsi256_si128(c), high = _mm256_extracti128_si256(c, 1);
        const uint64_t lanes[4] = {uint64_t(_mm_cvtsi128_si64(low)), uint64_t(_mm_extract_epi64(low, 1)),
                                   uint64_t(_mm_cvtsi128_si64(high)), uint64_t(_mm_extract_epi64(high, 1))};
        for (uint32_t q = 0; q < 4; ++q) {
            const uint64_t m = lanes[q];
            if (!m) continue;
            const uint32_t base = base0 + 64 * q;
            if (limit - out >= 64) {
                out = lane_changes(out, m, base);
            } else if (!(out = runs_lane_checked(out, limit, m, base))) {
                return -1;
            }
        }
    }
    return runs_close(runs, out, w);
}

}  // namespace qv

#else

namespace qv {

bool runs_scan_avx2_usable() { return false; }

int32_t runs_from_packed_avx2(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words) {
    return runs_from_packed_portable(bits, width, runs, max_words);
}

}  // namespace qv

#endif
