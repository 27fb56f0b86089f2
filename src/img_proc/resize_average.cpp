/*
 * resize_average.cpp - four-point average resize (method 1).
 *
 * 8 bits (gray) and 24 bits (per byte): columns x0 = trunc(x * sx),
 * x1 = trunc((x + 1) * sx) with x1 = width - 1 where it reaches the width;
 * rows likewise; the result is the sum of the four samples divided by 4,
 * remainder dropped. 16 bits: the same four whole words, read as signed when
 * the image's signed flag is set, summed and divided by 4 (toward zero); the
 * low 16 bits are stored (also for 5-5-5 colour pixels).
 *
 * 1 bit, shrinking both ways: each destination pixel counts the set bits of
 * a block from trunc((y - 0.5) * sy) (0 when negative) to trunc((y + 0.5) *
 * sy) (limited to the source), each side of 4 or more pixels trimmed at both
 * ends by (side - 3) / 2; the pixel is 1 only when more than half the block
 * is set (a tie gives 0). Otherwise centre mapping (x + 0.5) * sx - 0.5
 * (negative taken as 0), the sample and its right and lower neighbours
 * (the last column or row repeats), and 1 only when at least 3 of the 4 are
 * set.
 *
 * Packed images only: a run-encoded source is converted by the caller.
 *
 * Internal: resize_average (resize.h).
 */
#include <algorithm>
#include <cstring>

#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/target_clones.h"

namespace qv {
namespace {

struct Span {
    int32_t lo, hi;
};

// trunc(i * s) and trunc((i + 1) * s), the second made n - 1 when it is n.
Span pair_span(int32_t i, double s, int32_t n) {
    int32_t a = int32_t(double(i) * s), b = int32_t(double(i + 1) * s);
    if (b == n) b = n - 1;
    return {std::min(a, n - 1), std::min(b, n - 1)};
}

// Block of a shrinking 1-bit average, trimmed to at most 4 samples a side.
Span block_span(int32_t i, double s, int32_t n) {
    int32_t a = int32_t((double(i) - 0.5) * s);
    if (a < 0) a = 0;
    int32_t b = int32_t((double(i) + 0.5) * s);
    b = std::clamp(b, a, n - 1);
    if (b - a >= 4) {
        int32_t t = (b - a - 3) >> 1;
        a += t;
        b -= t;
    }
    return {a, b};
}

// Centre mapping: the sample at or left of the centre and its neighbour.
Span centre_span(int32_t i, double s, int32_t n) {
    double c = (double(i) + 0.5) * s - 0.5;
    if (c < 0.0) c = 0.0;
    int32_t a = std::min(int32_t(c), n - 1);
    return {a, a == n - 1 ? a : a + 1};
}

inline uint32_t bit(const uint8_t *row, int32_t x) { return (row[x >> 3] >> (7 - (x & 7))) & 1u; }

inline void put_bit(uint8_t *row, int32_t x, uint32_t v) {
    uint8_t m = uint8_t(0x80u >> (x & 7));
    if (v) row[x >> 3] |= m;
    else row[x >> 3] &= uint8_t(~m);
}

// d[k] = (a[k] + b[k]) / 4 over a row; built for AVX2 as well.
QV_TARGET_CLONES("avx2", "default") void quarter_sums(const uint16_t *a, const uint16_t *b, size_t n,
                                                                    uint8_t *d) {
    for (size_t k = 0; k < n; ++k) d[k] = uint8_t((uint32_t(a[k]) + b[k]) >> 2);
}

// Sums of the two samples of each destination byte along one source row,
// kept for the two source rows last asked for.
class PairSums {
public:
    PairSums(const uint32_t *o0, const uint32_t *o1, size_t n, SrcRows &src, uint16_t *a, uint16_t *b)
        : o0_(o0), o1_(o1), n_(n), src_(src), buf_{a, b} {}
    const uint16_t *get(int32_t y, int32_t keep) {
        for (int i = 0; i < 2; ++i)
            if (which_[i] == y) return buf_[i];
        const int i = which_[0] == keep ? 1 : 0;
        const uint8_t *s = src_.row(y);
        uint16_t *out = buf_[i];
        for (size_t k = 0; k < n_; ++k) out[k] = uint16_t(s[o0_[k]] + s[o1_[k]]);
        which_[i] = y;
        return out;
    }

private:
    const uint32_t *o0_, *o1_;
    size_t n_;
    SrcRows &src_;
    uint16_t *buf_[2];
    int32_t which_[2] = {-1, -1};
};

// 8 and 24 bits: per destination byte, the offsets of its two samples.
int32_t average_bytes(const ResizeJob &job, int32_t ch) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    const size_t n = size_t(dw) * size_t(ch);
    WorkArea work;
    uint32_t *o0 = work.array<uint32_t>(n), *o1 = work.array<uint32_t>(n);
    uint16_t *ha = work.array<uint16_t>(n), *hb = work.array<uint16_t>(n);
    if (!o0 || !o1 || !ha || !hb) return QVE_NO_MEMORY;
    for (int32_t x = 0; x < dw; ++x) {
        Span s = pair_span(x, sx, sw);
        for (int32_t c = 0; c < ch; ++c) {
            o0[size_t(x) * ch + c] = uint32_t(s.lo) * uint32_t(ch) + uint32_t(c);
            o1[size_t(x) * ch + c] = uint32_t(s.hi) * uint32_t(ch) + uint32_t(c);
        }
    }
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    if (!src.ok() || !dst.ok()) return QVE_NO_MEMORY;
    PairSums sums(o0, o1, n, src, ha, hb);
    for (int32_t y = 0; y < dh; ++y) {
        Span r = pair_span(y, sy, sh);
        const uint16_t *a = sums.get(r.lo, r.hi);
        const uint16_t *b = sums.get(r.hi, r.lo);
        uint8_t *d = dst.row(y);
        quarter_sums(a, b, n, d);
        if (int32_t rc = dst.done(y); rc != 0) return rc;
    }
    return 0;
}

int32_t average_words(const ResizeJob &job) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    WorkArea work;
    Span *cols = work.array<Span>(size_t(dw));
    if (!cols) return QVE_NO_MEMORY;
    for (int32_t x = 0; x < dw; ++x) cols[x] = pair_span(x, sx, sw);
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    if (!src.ok() || !dst.ok()) return QVE_NO_MEMORY;
    auto word = [&](const uint8_t *row, int32_t x) -> int32_t {
        uint16_t v;
        std::memcpy(&v, row + 2 * size_t(x), 2);
        return job.is_signed ? int32_t(int16_t(v)) : int32_t(v);
    };
    for (int32_t y = 0; y < dh; ++y) {
        Span r = pair_span(y, sy, sh);
        const uint8_t *a = src.row(r.lo), *b = src.row(r.hi);
        uint8_t *d = dst.row(y);
        for (int32_t x = 0; x < dw; ++x) {
            Span c = cols[x];
            int32_t sum = word(a, c.lo) + word(a, c.hi) + word(b, c.lo) + word(b, c.hi);
            uint16_t v = uint16_t(sum / 4);
            std::memcpy(d + 2 * size_t(x), &v, 2);
        }
        if (int32_t rc = dst.done(y); rc != 0) return rc;
    }
    return 0;
}

int32_t average_bits(const ResizeJob &job) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    const bool blocks = dw < sw && dh < sh;
    WorkArea work;
    Span *cols = work.array<Span>(size_t(dw));
    if (!cols) return QVE_NO_MEMORY;
    for (int32_t x = 0; x < dw; ++x) cols[x] = blocks ? block_span(x, sx, sw) : centre_span(x, sx, sw);
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    if (!src.ok() || !dst.ok()) return QVE_NO_MEMORY;
    for (int32_t y = 0; y < dh; ++y) {
        uint8_t *d = dst.row(y);
        std::memset(d, 0, dst.bytes());
        if (blocks) {
            Span r = block_span(y, sy, sh);
            for (int32_t x = 0; x < dw; ++x) {
                Span c = cols[x];
                uint32_t count = 0;
                for (int32_t yy = r.lo; yy <= r.hi; ++yy) {
                    const uint8_t *s = src.row(yy);
                    for (int32_t xx = c.lo; xx <= c.hi; ++xx) count += bit(s, xx);
                }
                uint32_t area = uint32_t(r.hi - r.lo + 1) * uint32_t(c.hi - c.lo + 1);
                put_bit(d, x, (area >> 1) >= count ? 0u : 1u);
            }
        } else {
            Span r = centre_span(y, sy, sh);
            const uint8_t *a = src.row(r.lo), *b = src.row(r.hi);
            for (int32_t x = 0; x < dw; ++x) {
                Span c = cols[x];
                uint32_t n = bit(a, c.lo) + bit(a, c.hi) + bit(b, c.lo) + bit(b, c.hi);
                put_bit(d, x, n >= 3 ? 1u : 0u);
            }
        }
        if (int32_t rc = dst.done(y); rc != 0) return rc;
    }
    return 0;
}

}  // namespace

int32_t resize_average(const ResizeJob &job) {
    switch (job.sdib->biBitCount) {
    case 1: return average_bits(job);
    case 8: return average_bytes(job, 1);
    case 16: return average_words(job);
    default: return average_bytes(job, 3);
    }
}

}  // namespace qv
