/*
 * resize_bilinear.cpp - bilinear resize (method 2) in double precision.
 *
 * Centre mapping: xc = (x + 0.5) * sx - 0.5, taken as 0 when negative,
 * x0 = trunc(xc), x1 = x0 + 1 (x0 on the last column), fx = xc - x0; rows
 * likewise. With a, b the samples at x0, x1 of row y0 and c, d those of row
 * y1: top = a + (b - a) * fx, bottom = c + (d - c) * fx,
 * value = top + (bottom - top) * fy.
 *   8 bits (gray), 24 bits (per byte): trunc(value)
 *   16 bits: whole words (signed when the image's signed flag is set),
 *            trunc(value), low 16 bits stored
 *   1 bit:   samples 0 and 1; the pixel is 1 only when value > 0.5
 *
 * The horizontal step (top, bottom) is done once per source row and kept
 * for the destination rows that use it again; the vertical step then works
 * on whole rows of doubles. The operations and their order are those of the
 * formula above, so every result is the same as computing pixel by pixel.
 *
 * Internal: resize_bilinear (resize.h).
 */
#include <algorithm>
#include <cstring>
#include <vector>

#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"

namespace qv {
namespace {

struct Centre {
    int32_t lo, hi;
    double f;
};

Centre centre(int32_t i, double s, int32_t n) {
    double c = (double(i) + 0.5) * s - 0.5;
    if (c < 0.0) c = 0.0;
    int32_t a = std::min(int32_t(c), n - 1);
    return {a, a == n - 1 ? a : a + 1, c - double(a)};
}

// One source row interpolated across: out[k] for every destination sample.
struct Horizontal {
    int32_t bpp = 0;
    int32_t dw = 0;
    bool is_signed = false;
    std::vector<uint32_t> o0, o1;  // sample offsets (bytes; 1 bit: bit index)
    std::vector<double> fx;        // one per destination pixel

    void run(const uint8_t *s, double *out) const {
        switch (bpp) {
        case 1:
            for (int32_t x = 0; x < dw; ++x) {
                uint32_t p = o0[size_t(x)], q = o1[size_t(x)];
                double a = double((s[p >> 3] >> (7 - (p & 7))) & 1u);
                double b = double((s[q >> 3] >> (7 - (q & 7))) & 1u);
                out[x] = a + (b - a) * fx[size_t(x)];
            }
            break;
        case 8:
            for (int32_t x = 0; x < dw; ++x) {
                double a = s[o0[size_t(x)]], b = s[o1[size_t(x)]];
                out[x] = a + (b - a) * fx[size_t(x)];
            }
            break;
        case 16:
            for (int32_t x = 0; x < dw; ++x) {
                uint16_t u, v;
                std::memcpy(&u, s + o0[size_t(x)], 2);
                std::memcpy(&v, s + o1[size_t(x)], 2);
                double a = is_signed ? double(int16_t(u)) : double(u);
                double b = is_signed ? double(int16_t(v)) : double(v);
                out[x] = a + (b - a) * fx[size_t(x)];
            }
            break;
        default:
            for (int32_t x = 0; x < dw; ++x) {
                const uint8_t *p = s + o0[size_t(x)], *q = s + o1[size_t(x)];
                double f = fx[size_t(x)];
                double *o = out + 3 * size_t(x);
                for (int c = 0; c < 3; ++c) {
                    double a = p[c], b = q[c];
                    o[c] = a + (b - a) * f;
                }
            }
            break;
        }
    }
};

// Horizontal rows of two source rows, kept by source row index.
class RowCache {
public:
    RowCache(const Horizontal &h, SrcRows &src, size_t n) : h_(h), src_(src) {
        for (auto &b : buf_) b.resize(n);
    }
    const double *get(int32_t y) {
        for (int i = 0; i < 2; ++i)
            if (which_[i] == y) return buf_[i].data();
        int i = which_[0] == last_ ? 1 : 0;  // keep the row used last
        h_.run(src_.row(y), buf_[i].data());
        which_[i] = y;
        return buf_[i].data();
    }
    void used(int32_t y) { last_ = y; }

private:
    const Horizontal &h_;
    SrcRows &src_;
    std::vector<double> buf_[2];
    int32_t which_[2] = {-1, -1};
    int32_t last_ = -1;
};

}  // namespace

int32_t resize_bilinear(const ResizeJob &job) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const int32_t bpp = job.sdib->biBitCount;
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    const uint32_t unit = bpp == 1 ? 1 : uint32_t(bpp / 8);  // bits for 1 bit, else bytes
    Horizontal h;
    h.bpp = bpp;
    h.dw = dw;
    h.is_signed = job.is_signed;
    h.o0.resize(size_t(dw));
    h.o1.resize(size_t(dw));
    h.fx.resize(size_t(dw));
    for (int32_t x = 0; x < dw; ++x) {
        Centre c = centre(x, sx, sw);
        h.o0[size_t(x)] = uint32_t(c.lo) * unit;
        h.o1[size_t(x)] = uint32_t(c.hi) * unit;
        h.fx[size_t(x)] = c.f;
    }
    const size_t n = size_t(dw) * (bpp == 24 ? 3 : 1);
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    if (!src.ok() || !dst.ok()) return QVE_NO_MEMORY;
    RowCache cache(h, src, n);
    std::vector<double> value(n);
    for (int32_t y = 0; y < dh; ++y) {
        Centre r = centre(y, sy, sh);
        const double *top = cache.get(r.lo);
        cache.used(r.lo);
        const double *bottom = cache.get(r.hi);
        cache.used(r.hi);
        const double fy = r.f;
        double *v = value.data();
        for (size_t k = 0; k < n; ++k) v[k] = top[k] + (bottom[k] - top[k]) * fy;
        uint8_t *d = dst.row(y);
        switch (bpp) {
        case 1:
            std::memset(d, 0, dst.bytes());
            for (int32_t x = 0; x < dw; ++x)
                if (v[x] > 0.5) d[x >> 3] |= uint8_t(0x80u >> (x & 7));
            break;
        case 16:
            for (int32_t x = 0; x < dw; ++x) {
                uint16_t w = uint16_t(int32_t(v[x]));
                std::memcpy(d + 2 * size_t(x), &w, 2);
            }
            break;
        default:
            for (size_t k = 0; k < n; ++k) d[k] = uint8_t(int32_t(v[k]));
            break;
        }
        if (int32_t rc = dst.done(y); rc != 0) return rc;
    }
    return 0;
}

}  // namespace qv
