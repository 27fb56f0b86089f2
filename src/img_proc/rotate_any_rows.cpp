/*
 * rotate_any_rows.cpp - nearest sampling along the turned rows, one worker
 * per depth (rotate_any.h gives the stepping).
 *
 *  1. The source is addressed through a table of row pointers, top first.
 *     The destination is filled in bands of rows and, inside a band, in
 *     strips of columns, so the source pixels one strip of a band reads
 *     stay in the first-level cache from one row to the next.
 *  2. Along a row the positions are linear in the column: unless they wrap
 *     (pictures beyond 32767 pixels), the columns sampled inside the
 *     picture are one span found by division, and no pixel inside it is
 *     tested; outside it the background is written.
 *  3. 1 bit: destination bits are gathered into bytes, bit 7 first; a
 *     source bit outside the picture is the background bit. 4 bits: an even
 *     source column is the high nibble, an odd one the low; destination
 *     pixels are packed high nibble first. 8, 16, 24 bits copy 1, 2 or 3
 *     bytes.
 *  4. Bits and nibbles after the width of a row are left 0.
 *  5. Where the processor has AVX2, inside spans of 1-bit rows and of 1-, 2-
 *     and 3-byte pixels are sampled eight pixels at a time with gathers of
 *     32-bit words; the same pixels as the scalar loops.
 *
 * Internal: rotate_any_rows (rotate_any.h).
 */
#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "img_proc/rotate_any.h"
#include "support/memory.h"

namespace qv {

bool rotate_any_simd = true;

namespace {

constexpr const char *kModule = kRotateModule;

// The running source position of one destination row.
struct Stepper {
    uint32_t X, Y;
    uint32_t C, S;
    int32_t sx() const { return int16_t(int32_t(X) >> 16); }
    int32_t sy() const { return int16_t(int32_t(Y) >> 16); }
    void next() { X += C, Y -= S; }
    void skip(int32_t n) { X += C * uint32_t(n), Y -= S * uint32_t(n); }
};

Stepper row_start(const AngleJob &j, int32_t r) {
    const uint32_t dy = uint32_t(r - j.dcy), C = uint32_t(j.C), S = uint32_t(j.S);
    Stepper s;
    s.X = uint32_t(j.cx) * 65536u - uint32_t(j.dcx) * C + S * dy;
    s.Y = uint32_t(j.cy) * 65536u + S * uint32_t(j.dcx) + C * dy;
    s.C = C;
    s.S = S;
    return s;
}

int64_t floor_div(int64_t a, int64_t b) {  // b > 0
    int64_t q = a / b;
    return (a % b != 0 && a < 0) ? q - 1 : q;
}

// Columns x of [0, n) with lo <= a + x * b <= hi.
void linear_range(int64_t a, int64_t b, int64_t lo, int64_t hi, int64_t n, int64_t *from, int64_t *to) {
    if (b == 0) {
        *from = 0;
        *to = a >= lo && a <= hi ? n : 0;
        return;
    }
    if (b < 0) {
        a = -a, b = -b;
        std::swap(lo, hi);
        lo = -lo, hi = -hi;
    }
    *from = std::max<int64_t>(0, -floor_div(a - lo, b));  // ceil((lo - a) / b)
    *to = std::min<int64_t>(n, floor_div(hi - a, b) + 1);
}

bool in_int16(int64_t v) { return v >= INT16_MIN && v <= INT16_MAX; }

/* The columns [lo, hi) of a row whose source position lies inside the
 * picture, for a row along which the 32-bit positions never wrap and stay
 * within the 16-bit range: then they are plain linear functions of the
 * column and the inside columns are one span. False when the row needs
 * the checks pixel by pixel. */
bool inside_span(const Stepper &p, int32_t n, int32_t sw, int32_t sh, int32_t *lo, int32_t *hi) {
    const int64_t x0 = int32_t(p.X), y0 = int32_t(p.Y), c = int32_t(p.C), s = int32_t(p.S);
    const int64_t x1 = x0 + int64_t(n - 1) * c, y1 = y0 - int64_t(n - 1) * s;
    for (int64_t v : {x1, y1})
        if (v < INT32_MIN || v > INT32_MAX) return false;
    for (int64_t v : {x0, x1, y0, y1})
        if (!in_int16(v >> 16)) return false;
    int64_t a0, a1, b0, b1;
    linear_range(x0, c, 0, int64_t(sw) * 65536 - 1, n, &a0, &a1);
    linear_range(y0, -s, 0, int64_t(sh) * 65536 - 1, n, &b0, &b1);
    *lo = int32_t(std::min<int64_t>(n, std::max(a0, b0)));
    *hi = int32_t(std::max<int64_t>(*lo, std::min(a1, b1)));
    return true;
}

/* Runs `sample(x, sx, sy)` for the inside columns of [x0, x1) and
 * `outside(x)` for the others, in column order; p is at column x0. */
template <class Sample, class Outside>
void walk_row(Stepper p, int32_t x0, int32_t x1, int32_t sw, int32_t sh, Sample &&sample, Outside &&outside) {
    int32_t lo = 0, hi = 0;
    if (!inside_span(p, x1 - x0, sw, sh, &lo, &hi)) {
        for (int32_t x = x0; x < x1; ++x, p.next()) {
            const int32_t sx = p.sx(), sy = p.sy();
            if (sx >= 0 && sx < sw && sy >= 0 && sy < sh) sample(x, sx, sy);
            else outside(x);
        }
        return;
    }
    p.skip(lo);
    lo += x0, hi += x0;
    for (int32_t x = x0; x < lo; ++x) outside(x);
    int32_t X = int32_t(p.X), Y = int32_t(p.Y);
    const int32_t C = int32_t(p.C), S = int32_t(p.S);
    for (int32_t x = lo; x < hi; ++x, X += C, Y -= S) sample(x, X >> 16, Y >> 16);
    for (int32_t x = hi; x < x1; ++x) outside(x);
}

constexpr int32_t kBandRows = 32;

/* Calls row(out, p, x0, x1) for every strip [x0, x1) of every row, p at
 * column x0; strips are `strip` columns wide (a multiple of 8). Rows are
 * reported once their band is done. */
template <class Row>
int32_t each_tile(const AngleJob &j, OpProgress &progress, const Raster &d, int32_t strip, Row &&row) {
    for (int32_t r0 = 0; r0 < d.height; r0 += kBandRows) {
        const int32_t r1 = std::min(d.height, r0 + kBandRows);
        for (int32_t x0 = 0; x0 < d.width; x0 += strip) {
            const int32_t x1 = std::min(d.width, x0 + strip);
            for (int32_t r = r0; r < r1; ++r) {
                Stepper p = row_start(j, r);
                p.skip(x0);
                row(d.row(r), p, x0, x1);
            }
        }
        for (int32_t r = r0; r < r1; ++r)
            if (!progress.row_done(r)) return QVE_CANCELLED;
    }
    return 0;
}

#if defined(__x86_64__)
/* span1 for whole bytes with AVX2: eight positions at a time, each lane
 * gathering the 32-bit word that holds its bit (words never reach past a
 * row, whose size is a multiple of 4) and shifting that bit to the top, so
 * the sign mask is the byte. Lane i samples pixel 7 - i: the mask comes out
 * first pixel highest. Offsets from the top row are 32-bit (the caller
 * checks the raster's size). Returns the column reached. */
__attribute__((target("avx2"))) int32_t span1_avx2(uint8_t *out, int32_t x, int32_t hi, int32_t &X, int32_t &Y,
                                                    int32_t C, int32_t S, const uint8_t *top, int32_t stride) {
    const __m256i lane = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
    __m256i vx = _mm256_add_epi32(_mm256_set1_epi32(X), _mm256_mullo_epi32(lane, _mm256_set1_epi32(C)));
    __m256i vy = _mm256_sub_epi32(_mm256_set1_epi32(Y), _mm256_mullo_epi32(lane, _mm256_set1_epi32(S)));
    const __m256i step_x = _mm256_set1_epi32(int32_t(uint32_t(C) * 8u));
    const __m256i step_y = _mm256_set1_epi32(int32_t(uint32_t(S) * 8u));
    const __m256i vstride = _mm256_set1_epi32(stride);
    const __m256i m24 = _mm256_set1_epi32(24), m7 = _mm256_set1_epi32(7);
    int32_t n = 0;
    for (; x + 8 <= hi; x += 8, ++n) {
        const __m256i sx = _mm256_srai_epi32(vx, 16), sy = _mm256_srai_epi32(vy, 16);
        const __m256i off = _mm256_add_epi32(_mm256_mullo_epi32(sy, vstride), _mm256_slli_epi32(_mm256_srai_epi32(sx, 5), 2));
        const __m256i w = _mm256_i32gather_epi32(reinterpret_cast<const int *>(top), off, 1);
        const __m256i sh = _mm256_or_si256(_mm256_andnot_si256(sx, m24), _mm256_and_si256(sx, m7));
        out[x >> 3] = uint8_t(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_sllv_epi32(w, sh))));
        vx = _mm256_add_epi32(vx, step_x);
        vy = _mm256_sub_epi32(vy, step_y);
    }
    X = int32_t(uint32_t(X) + uint32_t(C) * 8u * uint32_t(n));
    Y = int32_t(uint32_t(Y) - uint32_t(S) * 8u * uint32_t(n));
    return x;
}

bool have_avx2() {
    static const bool yes = __builtin_cpu_supports("avx2");
    return yes && rotate_any_simd;
}
#endif

// Bits [lo, hi) of a 1-bit row sampled inside the picture, the rest of the
// row already holding the background: whole bytes eight samples at a time.
void span1(uint8_t *out, int32_t lo, int32_t hi, int32_t X, int32_t Y, int32_t C, int32_t S,
           uint8_t *const *src, const Raster &s) {
    auto bit = [&]() {
        const int32_t sx = X >> 16, sy = Y >> 16;
        X += C, Y -= S;
        return uint32_t(src[sy][sx >> 3] >> (~sx & 7)) & 1u;
    };
    auto single = [&](int32_t x) {
        const uint8_t m = uint8_t(0x80u >> (x & 7));
        out[x >> 3] = bit() ? uint8_t(out[x >> 3] | m) : uint8_t(out[x >> 3] & ~m);
    };
    int32_t x = lo;
    for (; x < hi && (x & 7); ++x) single(x);
#if defined(__x86_64__)
    if (have_avx2() && uint64_t(s.bytes) * uint64_t(s.height) <= uint64_t(INT32_MAX))
        x = span1_avx2(out, x, hi, X, Y, C, S, s.top, int32_t(s.stride));
#endif
    for (; x + 8 <= hi; x += 8) {
        uint32_t b = 0;
        for (int k = 0; k < 8; ++k) b = b << 1 | bit();
        out[x >> 3] = uint8_t(b);
    }
    for (; x < hi; ++x) single(x);
}


int32_t rows1(const AngleJob &j, OpProgress &progress, const Raster &s, const Raster &d, uint8_t *const *src) {
    const uint32_t bg = j.background[0] ? 1u : 0u;
    const int32_t n = d.width;
    const uint8_t last_mask = uint8_t(0xFF00u >> (((n - 1) & 7) + 1));
    return each_tile(j, progress, d, 512, [&](uint8_t *out, Stepper p, int32_t x0, int32_t x1) {
        const size_t b0 = size_t(x0) / 8, b1 = (size_t(x1) + 7) / 8;
        int32_t lo = 0, hi = 0;
        if (inside_span(p, x1 - x0, s.width, s.height, &lo, &hi)) {
            std::memset(out + b0, bg ? 0xFF : 0x00, b1 - b0);
            p.skip(lo);
            span1(out, x0 + lo, x0 + hi, int32_t(p.X), int32_t(p.Y), int32_t(p.C), int32_t(p.S), src, s);
        } else {
            uint32_t acc = 0;
            auto put = [&](int32_t x, uint32_t bit) {
                acc = acc << 1 | bit;
                if ((x & 7) == 7) out[x >> 3] = uint8_t(acc);
            };
            walk_row(
                p, x0, x1, s.width, s.height,
                [&](int32_t x, int32_t sx, int32_t sy) { put(x, (src[sy][sx >> 3] >> (~sx & 7)) & 1u); },
                [&](int32_t x) { put(x, bg); });
            if (x1 & 7) out[x1 >> 3] = uint8_t(acc << (8 - (x1 & 7)));
        }
        if (x1 == n) out[b1 - 1] &= last_mask;
    });
}

int32_t rows4(const AngleJob &j, OpProgress &progress, const Raster &s, const Raster &d, uint8_t *const *src) {
    const uint32_t bg = j.background[0] & 15u;
    return each_tile(j, progress, d, 256, [&](uint8_t *out, Stepper p, int32_t x0, int32_t x1) {
        auto put = [&](int32_t x, uint32_t v) {
            if (x & 1) out[x >> 1] = uint8_t(out[x >> 1] | v);
            else out[x >> 1] = uint8_t(v << 4);
        };
        walk_row(
            p, x0, x1, s.width, s.height,
            [&](int32_t x, int32_t sx, int32_t sy) { put(x, (src[sy][sx >> 1] >> ((sx & 1) ? 0 : 4)) & 15u); },
            [&](int32_t x) { put(x, bg); });
    });
}

#if defined(__x86_64__)
/* Inside columns of 1-, 2- or 3-byte pixels with AVX2, eight at a time:
 * each lane gathers the 32-bit word that ends with its pixel (starting up
 * to 3 bytes before it, which lie inside the DIB: rows follow the header),
 * the pixel bytes are packed by one shuffle per half and stored. At 3
 * bytes each half's store is 16 bytes wide, 4 past its pixels, so groups
 * stop 2 pixels short of the span's end, whose pixels are written after.
 * Offsets from the top row are 32-bit (the caller checks the raster's
 * size). Returns the column reached; X and Y follow it. */
template <int P>
__attribute__((target("avx2"))) int32_t span_bytes_avx2(uint8_t *out, int32_t x, int32_t hi, int32_t &X, int32_t &Y,
                                                         int32_t C, int32_t S, const uint8_t *top, int32_t stride) {
    constexpr int32_t kBack = 4 - P, kMargin = P == 3 ? 2 : 0;
    const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    __m256i vx = _mm256_add_epi32(_mm256_set1_epi32(X), _mm256_mullo_epi32(lane, _mm256_set1_epi32(C)));
    __m256i vy = _mm256_sub_epi32(_mm256_set1_epi32(Y), _mm256_mullo_epi32(lane, _mm256_set1_epi32(S)));
    const __m256i step_x = _mm256_set1_epi32(int32_t(uint32_t(C) * 8u));
    const __m256i step_y = _mm256_set1_epi32(int32_t(uint32_t(S) * 8u));
    const __m256i vstride = _mm256_set1_epi32(stride);
    const __m256i back = _mm256_set1_epi32(kBack);
    // Bytes kBack..3 of each word, packed to the bottom of each half.
    const __m128i pick = P == 1   ? _mm_setr_epi8(3, 7, 11, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1)
                         : P == 2 ? _mm_setr_epi8(2, 3, 6, 7, 10, 11, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1)
                                  : _mm_setr_epi8(1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, -1, -1, -1, -1);
    const __m256i shuffle = _mm256_broadcastsi128_si256(pick);
    int32_t n = 0;
    for (; x + 8 + kMargin <= hi; x += 8, ++n) {
        const __m256i sx = _mm256_srai_epi32(vx, 16), sy = _mm256_srai_epi32(vy, 16);
        __m256i col = sx;
        if constexpr (P == 2) col = _mm256_slli_epi32(sx, 1);
        if constexpr (P == 3) col = _mm256_add_epi32(_mm256_slli_epi32(sx, 1), sx);
        const __m256i off = _mm256_sub_epi32(_mm256_add_epi32(_mm256_mullo_epi32(sy, vstride), col), back);
        const __m256i w = _mm256_shuffle_epi8(_mm256_i32gather_epi32(reinterpret_cast<const int *>(top), off, 1), shuffle);
        const __m128i lo = _mm256_castsi256_si128(w), hi4 = _mm256_extracti128_si256(w, 1);
        uint8_t *o = out + ptrdiff_t(x) * P;
        if constexpr (P == 1) {
            const uint32_t a = uint32_t(_mm_cvtsi128_si32(lo)), b = uint32_t(_mm_cvtsi128_si32(hi4));
            std::memcpy(o, &a, 4);
            std::memcpy(o + 4, &b, 4);
        } else if constexpr (P == 2) {
            _mm_storel_epi64(reinterpret_cast<__m128i *>(o), lo);
            _mm_storel_epi64(reinterpret_cast<__m128i *>(o + 8), hi4);
        } else {
            _mm_storeu_si128(reinterpret_cast<__m128i *>(o), lo);
            _mm_storeu_si128(reinterpret_cast<__m128i *>(o + 12), hi4);
        }
        vx = _mm256_add_epi32(vx, step_x);
        vy = _mm256_sub_epi32(vy, step_y);
    }
    X = int32_t(uint32_t(X) + uint32_t(C) * 8u * uint32_t(n));
    Y = int32_t(uint32_t(Y) - uint32_t(S) * 8u * uint32_t(n));
    return x;
}
#endif

template <int P>
int32_t rows_bytes(const AngleJob &j, OpProgress &progress, const Raster &s, const Raster &d,
                   uint8_t *const *src) {
#if defined(__x86_64__)
    const bool wide = have_avx2() && uint64_t(s.bytes) * uint64_t(s.height) <= uint64_t(INT32_MAX) - 4;
#endif
    return each_tile(j, progress, d, 256, [&](uint8_t *out, Stepper p, int32_t x0, int32_t x1) {
        auto copy = [&](int32_t x, const uint8_t *from) {
            if constexpr (P == 1) {
                out[x] = *from;
            } else {
                std::memcpy(out + ptrdiff_t(x) * P, from, P);
            }
        };
        auto background = [&](int32_t x) { copy(x, j.background); };
        int32_t lo = 0, hi = 0;
        if (!inside_span(p, x1 - x0, s.width, s.height, &lo, &hi)) {
            walk_row(
                p, x0, x1, s.width, s.height,
                [&](int32_t x, int32_t sx, int32_t sy) { copy(x, src[sy] + ptrdiff_t(sx) * P); }, background);
            return;
        }
        p.skip(lo);
        lo += x0, hi += x0;
        for (int32_t x = x0; x < lo; ++x) background(x);
        int32_t X = int32_t(p.X), Y = int32_t(p.Y), x = lo;
        const int32_t C = int32_t(p.C), S = int32_t(p.S);
#if defined(__x86_64__)
        if (wide) x = span_bytes_avx2<P>(out, x, hi, X, Y, C, S, s.top, int32_t(s.stride));
#endif
        for (; x < hi; ++x, X += C, Y -= S) copy(x, src[Y >> 16] + ptrdiff_t(X >> 16) * P);
        for (x = hi; x < x1; ++x) background(x);
    });
}

}  // namespace

int32_t rotate_any_rows(const AngleJob &job, OpProgress &progress) {
    const Raster s(job.src), d(job.dst);
    TagScope tag;
    auto **src = mem_alloc_array<uint8_t *>(tag.tag(), size_t(s.height));
    if (!src) return QV_ERR(QVE_NO_MEMORY, size_t(s.height) * sizeof(uint8_t *), 0);
    for (int32_t y = 0; y < s.height; ++y) src[y] = s.row(y);
    switch (s.bpp) {
    case 1: return rows1(job, progress, s, d, src);
    case 4: return rows4(job, progress, s, d, src);
    case 8: return rows_bytes<1>(job, progress, s, d, src);
    case 16: return rows_bytes<2>(job, progress, s, d, src);
    case 24: return rows_bytes<3>(job, progress, s, d, src);
    default: return QV_ERR(QVE_DEPTH_UNSUPPORTED, s.bpp, 0);
    }
}

}  // namespace qv
