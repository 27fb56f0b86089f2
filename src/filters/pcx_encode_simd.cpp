/*
 * pcx_encode_simd.cpp - the PCX run-length encoder's wide path: 64 input
 * bytes per step with AVX-512 (byte compress from VBMI2, byte permutes from
 * VBMI, bit deposit from BMI2), chosen at run time. pcx_rle_encode calls it
 * first and finishes the line's last bytes with its word-at-a-time code.
 *
 *   pcx_encode_wide_available()          the processor runs the wide path
 *   pcx_encode_wide(in, n, &out)         encodes whole tokens from in[0]
 */
#include "filters/cpu_bytes.h"
#include "filters/pcx_codec.h"

#include <array>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace qv {

#if defined(__x86_64__)

namespace {

#define QV_PCX_WIDE_TARGET __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,bmi,bmi2,popcnt")))

constexpr std::array<uint8_t, 64> make_indices(int kind) {
    // kind 0: k - 1 (each byte's left neighbour), 1: k + 1, 2: k,
    // 3 and 4: tokens 0-31 / 32-63 interleaved as count byte (first
    // source), value byte (second source).
    std::array<uint8_t, 64> t{};
    for (int k = 0; k < 64; ++k) {
        switch (kind) {
        case 0: t[size_t(k)] = uint8_t((k + 63) & 63); break;
        case 1: t[size_t(k)] = uint8_t((k + 1) & 63); break;
        case 2: t[size_t(k)] = uint8_t(k); break;
        default: {
            const int token = (kind == 3 ? 0 : 32) + k / 2;
            t[size_t(k)] = uint8_t((k & 1) ? 64 + token : token);
        }
        }
    }
    return t;
}
alignas(64) constexpr std::array<uint8_t, 64> kLeft = make_indices(0);
alignas(64) constexpr std::array<uint8_t, 64> kRight = make_indices(1);
alignas(64) constexpr std::array<uint8_t, 64> kIota = make_indices(2);
alignas(64) constexpr std::array<uint8_t, 64> kPairsLow = make_indices(3);
alignas(64) constexpr std::array<uint8_t, 64> kPairsHigh = make_indices(4);

QV_PCX_WIDE_TARGET inline __m512i load_table(const std::array<uint8_t, 64> &t) {
    return _mm512_load_si512(reinterpret_cast<const void *>(t.data()));
}

}  // namespace

bool pcx_encode_wide_available() { return cpu_has_avx512_bytes(); }

QV_PCX_WIDE_TARGET size_t pcx_encode_wide(const uint8_t *in, size_t n, uint8_t **out) {
    // A token is a byte that differs from its left neighbour, with the equal
    // bytes after it: one byte is a single (escaped from 0x40 up), more are
    // a run. Each step takes the tokens that start and end inside the 64
    // bytes and leaves the last one, whose end is not yet known, as the start
    // of the next step; so no token is longer than 63. Output never runs
    // ahead of twice the input, and a step stores at most 128 bytes, so
    // with i + 64 <= n the stores stay inside the caller's 2 * n bytes.
    const __m512i left = load_table(kLeft), right = load_table(kRight), iota = load_table(kIota);
    const __m512i pairs_low = load_table(kPairsLow), pairs_high = load_table(kPairsHigh);
    const __m512i count_base = _mm512_set1_epi8(char(0xC0));
    const __m512i one = _mm512_set1_epi8(1), escape_from = _mm512_set1_epi8(0x3F);
    constexpr uint64_t kEven = 0x5555555555555555ull, kOdd = 0xAAAAAAAAAAAAAAAAull;
    uint8_t *o = *out;
    size_t i = 0;
    while (i + 64 <= n) {
        const __m512i v = _mm512_loadu_si512(in + i);
        const uint64_t same = _mm512_cmpeq_epi8_mask(v, _mm512_maskz_permutexvar_epi8(~0ull, left, v));
        const uint64_t starts = ~same | 1u;
        if (starts == 1) {  // 64 equal bytes: a run of the longest length
            o[0] = uint8_t(0xC0 + kPcxMaxRun);
            o[1] = in[i];
            o += 2;
            i += size_t(kPcxMaxRun);
            continue;
        }
        const uint32_t last = 63u - uint32_t(__builtin_clzll(starts));
        const uint64_t tokens = _bzhi_u64(~0ull, uint32_t(_mm_popcnt_u64(starts)) - 1);
        const __m512i at = _mm512_maskz_compress_epi8(starts, iota);
        const __m512i len = _mm512_sub_epi8(_mm512_maskz_permutexvar_epi8(~0ull, right, at), at);
        const __m512i val = _mm512_maskz_compress_epi8(starts, v);
        const __m512i count = _mm512_add_epi8(len, count_base);
        // A count byte goes out for runs and for single bytes from 0x40 up.
        const uint64_t counted = (_mm512_cmpneq_epi8_mask(len, one) | _mm512_cmpgt_epu8_mask(val, escape_from)) & tokens;
        const uint64_t keep_low = _pdep_u64(counted, kEven) | _pdep_u64(tokens, kOdd);
        const uint64_t keep_high = _pdep_u64(counted >> 32, kEven) | _pdep_u64(tokens >> 32, kOdd);
        const __m512i low = _mm512_maskz_compress_epi8(keep_low, _mm512_permutex2var_epi8(count, pairs_low, val));
        _mm512_storeu_si512(o, low);
        o += _mm_popcnt_u64(keep_low);
        if (keep_high) {
            const __m512i high =
                _mm512_maskz_compress_epi8(keep_high, _mm512_permutex2var_epi8(count, pairs_high, val));
            _mm512_storeu_si512(o, high);
            o += _mm_popcnt_u64(keep_high);
        }
        i += last;
    }
    *out = o;
    return i;
}

#else

bool pcx_encode_wide_available() { return false; }
size_t pcx_encode_wide(const uint8_t *, size_t, uint8_t **) { return 0; }

#endif

}  // namespace qv
