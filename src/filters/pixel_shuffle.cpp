/*
 * pixel_shuffle.cpp - row byte shuffles (see pixel_shuffle.h).
 *
 * Both SSSE3 forms build each 16-byte part of 48 output bytes (16 pixels)
 * as the OR of three byte shuffles, one per 16-byte input part, with the
 * masks computed once at compile time (0x80 = a zero byte).
 */
#include "filters/pixel_shuffle.h"

#include <array>

#if defined(__x86_64__) || defined(__i386__)
#include <tmmintrin.h>
#define QV_SHUFFLE_SSSE3 1
#endif

namespace qv {
namespace {

using Masks = std::array<std::array<std::array<uint8_t, 16>, 3>, 3>;  // [out part][in part][byte]

// Output byte o = 16 * part + j is pixel o / 3, byte o % 3, taken from
// input plane k = o % 3 at index o / 3.
constexpr Masks make_interleave_masks() {
    Masks m{};
    for (int part = 0; part < 3; ++part)
        for (int k = 0; k < 3; ++k)
            for (int j = 0; j < 16; ++j) {
                const int o = 16 * part + j;
                m[size_t(part)][size_t(k)][size_t(j)] = o % 3 == k ? uint8_t(o / 3) : uint8_t(0x80);
            }
    return m;
}

// Output byte o is input byte 3 * (o / 3) + 2 - o % 3, found in input part
// (that byte) / 16.
constexpr Masks make_swap_masks() {
    Masks m{};
    for (int part = 0; part < 3; ++part)
        for (int k = 0; k < 3; ++k)
            for (int j = 0; j < 16; ++j) {
                const int o = 16 * part + j, src = 3 * (o / 3) + 2 - o % 3;
                m[size_t(part)][size_t(k)][size_t(j)] = src / 16 == k ? uint8_t(src % 16) : uint8_t(0x80);
            }
    return m;
}

constexpr Masks kInterleave = make_interleave_masks();
constexpr Masks kSwap = make_swap_masks();

#ifdef QV_SHUFFLE_SSSE3
__attribute__((target("ssse3"))) size_t shuffle48_ssse3(const uint8_t *const in[3], size_t step, size_t blocks,
                                                         const Masks &masks, uint8_t *out) {
    for (size_t b = 0; b < blocks; ++b, out += 48) {
        const __m128i v[3] = {_mm_loadu_si128(reinterpret_cast<const __m128i *>(in[0] + b * step)),
                              _mm_loadu_si128(reinterpret_cast<const __m128i *>(in[1] + b * step)),
                              _mm_loadu_si128(reinterpret_cast<const __m128i *>(in[2] + b * step))};
        for (size_t part = 0; part < 3; ++part) {
            const auto *m = reinterpret_cast<const __m128i *>(masks[part].data());
            const __m128i r = _mm_or_si128(
                _mm_or_si128(_mm_shuffle_epi8(v[0], _mm_loadu_si128(m)), _mm_shuffle_epi8(v[1], _mm_loadu_si128(m + 1))),
                _mm_shuffle_epi8(v[2], _mm_loadu_si128(m + 2)));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 16 * part), r);
        }
    }
    return blocks * 16;
}

// Four 4-byte pixels to four 3-byte ones per step; each store writes 16
// bytes, the last 4 of them overwritten by the next step, so steps stop 6
// pixels before the end.
__attribute__((target("ssse3"))) size_t drop4_ssse3(const uint8_t *in, size_t w, int first, uint8_t *out) {
    alignas(16) uint8_t mask[16];
    for (int p = 0; p < 4; ++p)
        for (int k = 0; k < 3; ++k) mask[3 * p + k] = uint8_t(4 * p + (first == 0 ? k : 3 - k));
    for (int j = 12; j < 16; ++j) mask[j] = 0x80;
    const __m128i m = _mm_load_si128(reinterpret_cast<const __m128i *>(mask));
    size_t x = 0;
    for (; x + 6 <= w; x += 4)
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 3 * x),
                         _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 4 * x)), m));
    return x;
}

bool have_ssse3() {
    static const bool yes = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("ssse3") != 0;
    }();
    return yes;
}
#endif

}  // namespace

void interleave3(const uint8_t *c0, const uint8_t *c1, const uint8_t *c2, size_t w, uint8_t *out) {
    size_t x = 0;
#ifdef QV_SHUFFLE_SSSE3
    if (w >= 16 && have_ssse3()) {
        const uint8_t *const in[3] = {c0, c1, c2};
        x = shuffle48_ssse3(in, 16, w / 16, kInterleave, out);
    }
#endif
    for (; x < w; ++x) out[3 * x] = c0[x], out[3 * x + 1] = c1[x], out[3 * x + 2] = c2[x];
}

void swap3(const uint8_t *in, size_t w, uint8_t *out) {
    size_t x = 0;
#ifdef QV_SHUFFLE_SSSE3
    if (w >= 16 && have_ssse3()) {
        const uint8_t *const parts[3] = {in, in + 16, in + 32};
        x = shuffle48_ssse3(parts, 48, w / 16, kSwap, out);
    }
#endif
    for (; x < w; ++x) out[3 * x] = in[3 * x + 2], out[3 * x + 1] = in[3 * x + 1], out[3 * x + 2] = in[3 * x];
}

void drop4(const uint8_t *in, size_t w, int first, uint8_t *out) {
    size_t x = 0;
#ifdef QV_SHUFFLE_SSSE3
    if (w >= 6 && have_ssse3()) x = drop4_ssse3(in, w, first, out);
#endif
    const int b = first == 0 ? 0 : 3, g = first == 0 ? 1 : 2, r = first == 0 ? 2 : 1;
    for (; x < w; ++x) out[3 * x] = in[4 * x + b], out[3 * x + 1] = in[4 * x + g], out[3 * x + 2] = in[4 * x + r];
}

}  // namespace qv
