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

#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/target_clones.h"

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

// One source row interpolated across: out[k] = a + (b - a) * f for every
// destination sample k (24 bits: three per pixel, one per byte).
struct Horizontal {
    int32_t bpp = 0;
    size_t n = 0;
    bool is_signed = false;
    const uint32_t *o0 = nullptr, *o1 = nullptr;  // sample offsets (bytes; 1 bit: bit index)
    const double *f = nullptr;

    void run(const uint8_t *s, double *out) const {
        switch (bpp) {
        case 1:
            for (size_t k = 0; k < n; ++k) {
                const uint32_t p = o0[k], q = o1[k];
                const double a = double((s[p >> 3] >> (7 - (p & 7))) & 1u);
                const double b = double((s[q >> 3] >> (7 - (q & 7))) & 1u);
                out[k] = a + (b - a) * f[k];
            }
            break;
        case 16:
            for (size_t k = 0; k < n; ++k) {
                uint16_t u, v;
                std::memcpy(&u, s + o0[k], 2);
                std::memcpy(&v, s + o1[k], 2);
                const double a = is_signed ? double(int16_t(u)) : double(u);
                const double b = is_signed ? double(int16_t(v)) : double(v);
                out[k] = a + (b - a) * f[k];
            }
            break;
        default:
            for (size_t k = 0; k < n; ++k) {
                const double a = s[o0[k]], b = s[o1[k]];
                out[k] = a + (b - a) * f[k];
            }
            break;
        }
    }
};

// The vertical step of byte samples, stored truncated. Built for AVX2 too
// (four doubles a lane group, the same operations unfused), chosen when the
// processor has it.
QV_TARGET_CLONES("avx2", "default") void vertical_bytes(const double *top, const double *bottom,
                                                                      double fy, size_t n, uint8_t *d) {
    for (size_t k = 0; k < n; ++k) d[k] = uint8_t(int32_t(top[k] + (bottom[k] - top[k]) * fy));
}

// Horizontal rows of the two source rows last asked for.
class RowCache {
public:
    RowCache(const Horizontal &h, SrcRows &src, double *a, double *b) : h_(h), src_(src), buf_{a, b} {}
    const double *get(int32_t y, int32_t keep) {
        for (int i = 0; i < 2; ++i)
            if (which_[i] == y) return buf_[i];
        const int i = which_[0] == keep ? 1 : 0;
        h_.run(src_.row(y), buf_[i]);
        which_[i] = y;
        return buf_[i];
    }

private:
    const Horizontal &h_;
    SrcRows &src_;
    double *buf_[2];
    int32_t which_[2] = {-1, -1};
};

}  // namespace

int32_t resize_bilinear(const ResizeJob &job) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const int32_t bpp = job.sdib->biBitCount;
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    const uint32_t ch = bpp == 24 ? 3 : 1;
    const uint32_t unit = bpp == 1 ? 1 : uint32_t(bpp / 8);  // bits for 1 bit, else bytes
    const size_t n = size_t(dw) * ch;
    WorkArea work;
    uint32_t *o0 = work.array<uint32_t>(n), *o1 = work.array<uint32_t>(n);
    double *f = work.array<double>(n), *ha = work.array<double>(n), *hb = work.array<double>(n);
    double *value = work.array<double>(n);
    if (!o0 || !o1 || !f || !ha || !hb || !value) return QVE_NO_MEMORY;
    for (int32_t x = 0; x < dw; ++x) {
        const Centre c = centre(x, sx, sw);
        for (uint32_t k = 0; k < ch; ++k) {
            o0[size_t(x) * ch + k] = uint32_t(c.lo) * unit + k;
            o1[size_t(x) * ch + k] = uint32_t(c.hi) * unit + k;
            f[size_t(x) * ch + k] = c.f;
        }
    }
    Horizontal h{bpp, n, job.is_signed, o0, o1, f};
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    if (!src.ok() || !dst.ok()) return QVE_NO_MEMORY;
    RowCache cache(h, src, ha, hb);
    for (int32_t y = 0; y < dh; ++y) {
        const Centre r = centre(y, sy, sh);
        const double *top = cache.get(r.lo, r.hi);
        const double *bottom = cache.get(r.hi, r.lo);
        const double fy = r.f;
        uint8_t *d = dst.row(y);
        if (bpp == 8 || bpp == 24) {
            vertical_bytes(top, bottom, fy, n, d);
            if (int32_t rc = dst.done(y); rc != 0) return rc;
            continue;
        }
        for (size_t k = 0; k < n; ++k) value[k] = top[k] + (bottom[k] - top[k]) * fy;
        switch (bpp) {
        case 1:
            std::memset(d, 0, dst.bytes());
            for (int32_t x = 0; x < dw; ++x)
                if (value[x] > 0.5) d[x >> 3] |= uint8_t(0x80u >> (x & 7));
            break;
        case 16:
            for (int32_t x = 0; x < dw; ++x) {
                const uint16_t w = uint16_t(int32_t(value[x]));
                std::memcpy(d + 2 * size_t(x), &w, 2);
            }
            break;
        }
        if (int32_t rc = dst.done(y); rc != 0) return rc;
    }
    return 0;
}

}  // namespace qv
