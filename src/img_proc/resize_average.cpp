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
#include <vector>

#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"

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

int32_t average_bytes(const ResizeJob &job, int32_t ch) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    std::vector<uint32_t> o0(static_cast<size_t>(dw)), o1(static_cast<size_t>(dw));
    for (int32_t x = 0; x < dw; ++x) {
        Span s = pair_span(x, sx, sw);
        o0[size_t(x)] = uint32_t(s.lo) * uint32_t(ch);
        o1[size_t(x)] = uint32_t(s.hi) * uint32_t(ch);
    }
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    for (int32_t y = 0; y < dh; ++y) {
        Span r = pair_span(y, sy, sh);
        const uint8_t *a = src.row(r.lo), *b = src.row(r.hi);
        uint8_t *d = dst.row(y);
        if (ch == 1) {
            for (int32_t x = 0; x < dw; ++x) {
                uint32_t p = o0[size_t(x)], q = o1[size_t(x)];
                d[x] = uint8_t((uint32_t(a[p]) + a[q] + b[p] + b[q]) >> 2);
            }
        } else {
            for (int32_t x = 0; x < dw; ++x) {
                uint32_t p = o0[size_t(x)], q = o1[size_t(x)];
                uint8_t *o = d + 3 * size_t(x);
                for (int c = 0; c < 3; ++c)
                    o[c] = uint8_t((uint32_t(a[p + c]) + a[q + c] + b[p + c] + b[q + c]) >> 2);
            }
        }
        if (int32_t rc = dst.done(y); rc != 0) return rc;
    }
    return 0;
}

int32_t average_words(const ResizeJob &job) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    std::vector<Span> cols(static_cast<size_t>(dw));
    for (int32_t x = 0; x < dw; ++x) cols[size_t(x)] = pair_span(x, sx, sw);
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
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
            Span c = cols[size_t(x)];
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
    std::vector<Span> cols(static_cast<size_t>(dw));
    for (int32_t x = 0; x < dw; ++x) cols[size_t(x)] = blocks ? block_span(x, sx, sw) : centre_span(x, sx, sw);
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    for (int32_t y = 0; y < dh; ++y) {
        uint8_t *d = dst.row(y);
        std::memset(d, 0, dst.bytes());
        if (blocks) {
            Span r = block_span(y, sy, sh);
            for (int32_t x = 0; x < dw; ++x) {
                Span c = cols[size_t(x)];
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
                Span c = cols[size_t(x)];
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
