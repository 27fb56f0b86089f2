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
#include "filters/cpu_bytes.h"
#include "filters/pcx_codec.h"

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace qv {

namespace {

#if defined(__x86_64__)

#define QV_PCX_AVX512 __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,bmi,bmi2,popcnt")))

bool g_fast = cpu_has_avx512_bytes();

constexpr uint64_t kEven = 0x5555555555555555ull, kOdd = 0xAAAAAAAAAAAAAAAAull;

// Output room the token-by-token path needs beyond what a block decodes:
// each token stores 32 bytes at its place (a second 32 for runs above 32).
constexpr size_t kSlack = 64;

// The bytes 0, 1, ..., 63.
QV_PCX_AVX512 inline __m512i iota() {
    alignas(64) static constexpr uint8_t k[64] = {
        0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
        22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43,
        44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 63};
    return _mm512_load_si512(k);
}

// Bytes of `from` picked by the bytes of `index` (vpermb; the zero-masking
// form with every lane selected, which leaves nothing undefined).
QV_PCX_AVX512 inline __m512i permute(__m512i index, __m512i from) {
    return _mm512_maskz_permutexvar_epi8(~uint64_t(0), index, from);
}

// Decodes blocks of 64 input bytes while 65 input bytes are there and the
// line is not full; a block that would pass the end of the line is decoded
// in part or left to the caller. Returns the new pos
// and moves *in past the tokens taken; stores stay below out + line_len.
QV_PCX_AVX512 size_t decode_blocks(const uint8_t **in, const uint8_t *end, uint8_t *out, size_t pos,
                                   size_t line_len) {
    const uint8_t *p = *in;
    const __m512i above = _mm512_set1_epi8(char(0xC0));
    const __m512i low6 = _mm512_set1_epi8(0x3F);
    const __m512i ones = _mm512_set1_epi8(1);
    // Slots of 8, 16 and 32 bytes: byte b is place b % width of token
    // b / width of the group.
    struct Slots {
        __m512i token, byte, advance, limit;
        size_t step;
    };
    Slots width[3];
    for (int i = 0; i < 3; ++i) {
        const int shift = 3 + i, bytes = 1 << shift;
        width[i].token = _mm512_srli_epi16(_mm512_and_si512(_mm512_set1_epi8(char(~(bytes - 1))), iota()), shift);
        width[i].byte = _mm512_and_si512(iota(), _mm512_set1_epi8(char(bytes - 1)));
        width[i].step = size_t(64 >> shift);
        width[i].advance = _mm512_set1_epi8(char(64 >> shift));
        width[i].limit = _mm512_set1_epi8(char(bytes));
    }
    alignas(64) uint8_t values[64];
    alignas(64) uint8_t lengths[64];
    while (end - p >= 65 && pos < line_len) {
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
        if (!runs && line_len - pos >= 64) {  // single bytes only: the tokens' values are the output
            _mm512_storeu_si512(out + pos, cv);
            pos += n;
            p += used;
            continue;
        }
        const __m512i cl = _mm512_maskz_compress_epi8(tokens, lens);
        // Runs of at most 8, 16 or 32: each token's value spread over a slot
        // of that width, 64 / width tokens at a time, the first `length`
        // bytes of every slot kept by one compress (tokens past n have
        // length 0). Near the end of the line a group stores only its own
        // bytes, and the first group that would pass the end stops the
        // block: the input stops at its first token. Longer runs: token by
        // token below.
        int w = 0;
        if (_mm512_mask_cmpgt_epu8_mask(counts, lens, width[0].limit)) {
            w = _mm512_mask_cmpgt_epu8_mask(counts, lens, width[1].limit) ? 2 : 1;
            if (w == 2 && _mm512_mask_cmpgt_epu8_mask(counts, lens, width[2].limit)) w = 3;
        }
        if (w < 3) {
            const Slots &sl = width[w];
            __m512i slot = sl.token;
            uint8_t *o = out + pos;
            size_t k = 0;
            for (; k < n; k += sl.step) {
                const __m512i v = permute(slot, cv);
                const uint64_t keep = _mm512_cmpgt_epu8_mask(permute(slot, cl), sl.byte);
                const size_t got = size_t(_mm_popcnt_u64(keep)), room = line_len - size_t(o - out);
                if (room >= 64) {
                    _mm512_storeu_si512(o, _mm512_maskz_compress_epi8(keep, v));
                } else {
                    if (got > room) break;
                    _mm512_mask_storeu_epi8(o, _bzhi_u64(~uint64_t(0), unsigned(got)), _mm512_maskz_compress_epi8(keep, v));
                }
                o += got;
                slot = _mm512_add_epi8(slot, sl.advance);
            }
            pos = size_t(o - out);
            if (k < n) {
                p += _tzcnt_u64(_pdep_u64(uint64_t(1) << k, tokens));
                break;
            }
            p += used;
            continue;
        }
        const __m512i tl = _mm512_maskz_mov_epi8(tokens, lens);
        alignas(64) uint64_t sums[8];
        _mm512_store_si512(sums, _mm512_sad_epu8(tl, _mm512_setzero_si512()));
        const size_t total = size_t(sums[0] + sums[1] + sums[2] + sums[3] + sums[4] + sums[5] + sums[6] + sums[7]);
        if (line_len - pos < total + kSlack) break;
        _mm512_store_si512(values, cv);
        _mm512_store_si512(lengths, cl);
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
    g_fast = on && cpu_has_avx512_bytes();
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
