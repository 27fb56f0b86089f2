/*
 * rotate_any_rows.cpp - nearest sampling along the turned rows, one worker
 * per depth (rotate_any.h gives the stepping).
 *
 *  1. The source is addressed through a table of row pointers, top first.
 *  2. 1 bit: destination bits are gathered into bytes, bit 7 first; a
 *     source bit outside the picture is the background bit. 4 bits: an even
 *     source column is the high nibble, an odd one the low; destination
 *     pixels are packed high nibble first. 8, 16, 24 bits copy 1, 2 or 3
 *     bytes.
 *  3. Bits and nibbles after the width of a row are left 0.
 *
 * Internal: rotate_any_rows (rotate_any.h).
 */
#include <algorithm>
#include <cstring>

#include "img_proc/rotate_any.h"
#include "support/memory.h"

namespace qv {
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

/* Runs `sample(x, sx, sy)` for the inside columns and `outside(x)` for the
 * others, in column order. */
template <class Sample, class Outside>
void walk_row(Stepper p, int32_t n, int32_t sw, int32_t sh, Sample &&sample, Outside &&outside) {
    int32_t lo = 0, hi = 0;
    if (!inside_span(p, n, sw, sh, &lo, &hi)) {
        for (int32_t x = 0; x < n; ++x, p.next()) {
            const int32_t sx = p.sx(), sy = p.sy();
            if (sx >= 0 && sx < sw && sy >= 0 && sy < sh) sample(x, sx, sy);
            else outside(x);
        }
        return;
    }
    for (int32_t x = 0; x < lo; ++x) outside(x);
    p.skip(lo);
    int32_t X = int32_t(p.X), Y = int32_t(p.Y);
    const int32_t C = int32_t(p.C), S = int32_t(p.S);
    for (int32_t x = lo; x < hi; ++x, X += C, Y -= S) sample(x, X >> 16, Y >> 16);
    for (int32_t x = hi; x < n; ++x) outside(x);
}

template <class Row>
int32_t each_row(const AngleJob &j, OpProgress &progress, const Raster &d, Row &&row) {
    for (int32_t r = 0; r < d.height; ++r) {
        row(d.row(r), row_start(j, r));
        if (!progress.row_done(r)) return QVE_CANCELLED;
    }
    return 0;
}

int32_t rows1(const AngleJob &j, OpProgress &progress, const Raster &s, const Raster &d, uint8_t *const *src) {
    const uint32_t bg = j.background[0] ? 1u : 0u;
    const int32_t n = d.width;
    return each_row(j, progress, d, [&](uint8_t *out, Stepper p) {
        uint32_t acc = 0;
        auto put = [&](int32_t x, uint32_t bit) {
            acc = acc << 1 | bit;
            if ((x & 7) == 7) out[x >> 3] = uint8_t(acc);
        };
        walk_row(
            p, n, s.width, s.height,
            [&](int32_t x, int32_t sx, int32_t sy) { put(x, (src[sy][sx >> 3] >> (~sx & 7)) & 1u); },
            [&](int32_t x) { put(x, bg); });
        if (n & 7) out[n >> 3] = uint8_t(acc << (8 - (n & 7)));
    });
}

int32_t rows4(const AngleJob &j, OpProgress &progress, const Raster &s, const Raster &d, uint8_t *const *src) {
    const uint32_t bg = j.background[0] & 15u;
    return each_row(j, progress, d, [&](uint8_t *out, Stepper p) {
        auto put = [&](int32_t x, uint32_t v) {
            if (x & 1) out[x >> 1] = uint8_t(out[x >> 1] | v);
            else out[x >> 1] = uint8_t(v << 4);
        };
        walk_row(
            p, d.width, s.width, s.height,
            [&](int32_t x, int32_t sx, int32_t sy) { put(x, (src[sy][sx >> 1] >> ((sx & 1) ? 0 : 4)) & 15u); },
            [&](int32_t x) { put(x, bg); });
    });
}

template <int P>
int32_t rows_bytes(const AngleJob &j, OpProgress &progress, const Raster &s, const Raster &d,
                   uint8_t *const *src) {
    return each_row(j, progress, d, [&](uint8_t *out, Stepper p) {
        auto copy = [&](int32_t x, const uint8_t *from) {
            if constexpr (P == 1) {
                out[x] = *from;
            } else {
                std::memcpy(out + ptrdiff_t(x) * P, from, P);
            }
        };
        walk_row(
            p, d.width, s.width, s.height,
            [&](int32_t x, int32_t sx, int32_t sy) { copy(x, src[sy] + ptrdiff_t(sx) * P); },
            [&](int32_t x) { copy(x, j.background); });
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
