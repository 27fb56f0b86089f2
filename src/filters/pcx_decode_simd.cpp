/*
 * pcx_decode_simd.cpp - run-length decoding of PCX lines 64 input bytes at a
 * time with AVX-512 (BW and VBMI2), chosen at run time; the word-at-a-time
 * pcx_rle_decode finishes each call and is used alone on other processors.
 *
 *   pcx_rle_decode_fast   same contract and results as pcx_rle_decode
 *   pcx_rle_fast_enable   turns the vector path off or on (tests, benches)
 *
 * One block of 64 input bytes is split into tokens with mask arithmetic
 * alone: a byte above 0xC0 that starts a pair is a count and the byte after
 * it its value (which may be above 0xC0 itself); every other byte is a
 * literal. Within a stretch of consecutive bytes above 0xC0 the counts are
 * the bytes an even distance from the stretch's first byte, so the parity
 * of each stretch's start decides, and one addition finds the stretches
 * that start at odd positions: adding a bit at the start of each stretch
 * that starts at an even position clears that stretch by its carry.
 * A block never ends inside a token (a count in the last byte is left for
 * the next block), so no state crosses blocks.
 */
#include "filters/pcx_codec.h"

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace qv {

namespace {

#if defined(__x86_64__)

#define QV_PCX_AVX512 __attribute__((target("avx512f,avx512bw,avx512vbmi2,bmi,bmi2,popcnt")))

bool have_avx512() {
    __builtin_cpu_init();  // may run before the run-time's own initialisation
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi2");
}
bool g_fast = have_avx512();

constexpr uint64_t kEven = 0x5555555555555555ull, kOdd = 0xAAAAAAAAAAAAAAAAull;

// Output room a block needs beyond what it decodes: each token stores 32
// bytes at its place (a second 32 for runs above 32) and a block of single
// bytes stores all 64 lanes.
constexpr size_t kSlack = 64;

// Decodes whole blocks of 64 input bytes while 65 input bytes are there and
// the line has room for a block's output plus kSlack; returns the new pos
// and moves *in past the blocks taken. Stores stay below out + line_len.
QV_PCX_AVX512 size_t decode_blocks(const uint8_t **in, const uint8_t *end, uint8_t *out, size_t pos,
                                   size_t line_len) {
    const uint8_t *p = *in;
    const __m512i above = _mm512_set1_epi8(char(0xC0));
    const __m512i low6 = _mm512_set1_epi8(0x3F);
    const __m512i ones = _mm512_set1_epi8(1);
    alignas(64) uint8_t values[64];
    alignas(64) uint8_t lengths[64];
    while (end - p >= 65 && line_len - pos >= 64 + kSlack) {
        const __m512i x = _mm512_loadu_si512(p);
        const __m512i next = _mm512_loadu_si512(p + 1);
        const uint64_t high = _mm512_cmpgt_epu8_mask(x, above);
        const uint64_t starts = high & ~(high << 1);
        const uint64_t odd_runs = (high + (starts & kEven)) & high;
        const uint64_t even_runs = high & ~odd_runs;
        uint64_t counts = (even_runs & kEven) | (odd_runs & kOdd);
        uint64_t tokens = counts | (~high & ~(counts << 1));
        size_t used = 64;
        if (counts >> 63) {  // its value byte is in the next block
            counts &= ~(uint64_t(1) << 63);
            tokens &= ~(uint64_t(1) << 63);
            used = 63;
        }
        const __m512i vals = _mm512_mask_blend_epi8(counts, x, next);
        const __m512i lens = _mm512_mask_blend_epi8(counts, ones, _mm512_and_si512(x, low6));
        const __m512i cv = _mm512_maskz_compress_epi8(tokens, vals);
        const uint64_t runs = _mm512_mask_cmpgt_epu8_mask(counts, lens, ones);
        const size_t n = size_t(_mm_popcnt_u64(tokens));
        if (!runs) {  // single bytes only: the tokens' values are the output
            _mm512_storeu_si512(out + pos, cv);
            pos += n;
            p += used;
            continue;
        }
        const __m512i tl = _mm512_maskz_mov_epi8(tokens, lens);
        alignas(64) uint64_t sums[8];
        _mm512_store_si512(sums, _mm512_sad_epu8(tl, _mm512_setzero_si512()));
        const size_t total = size_t(sums[0] + sums[1] + sums[2] + sums[3] + sums[4] + sums[5] + sums[6] + sums[7]);
        if (line_len - pos < total + kSlack) break;
        _mm512_store_si512(values, cv);
        _mm512_store_si512(lengths, _mm512_maskz_compress_epi8(tokens, lens));
        uint8_t *o = out + pos;
        for (size_t k = 0; k < n; ++k) {
            const __m256i v = _mm256_set1_epi8(char(values[k]));
            const size_t len = lengths[k];
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(o), v);
            if (len > 32) _mm256_storeu_si256(reinterpret_cast<__m256i *>(o + 32), v);
            o += len;
        }
        pos += total;
        p += used;
    }
    *in = p;
    return pos;
}

#else
bool g_fast = false;
#endif

}  // namespace

bool pcx_rle_fast_enable(bool on) {
    const bool was = g_fast;
#if defined(__x86_64__)
    g_fast = on && have_avx512();
#else
    (void)on;
#endif
    return was;
}

size_t pcx_rle_decode_fast(PcxRleState &st, const uint8_t **in, const uint8_t *end, uint8_t *out,
                           size_t pos, size_t line_len) {
#if defined(__x86_64__)
    if (g_fast) {
        if (st.count_waiting || st.pending) {
            // Finish the carried run first (the blocks start on a token).
            const size_t want = st.count_waiting ? st.count_waiting : st.pending;
            const size_t stop = line_len - pos < want ? line_len : pos + want;
            pos = pcx_rle_decode(st, in, end, out, pos, stop);
        }
        if (!st.count_waiting && !st.pending) pos = decode_blocks(in, end, out, pos, line_len);
    }
#endif
    // The state carried from the last call, the end of the line and the last
    // input bytes of the block: the word-at-a-time decoder.
    return pcx_rle_decode(st, in, end, out, pos, line_len);
}

}  // namespace qv
