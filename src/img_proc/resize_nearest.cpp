/*
 * resize_nearest.cpp - nearest-neighbour resize (methods 0 and 3).
 *
 * Method 0 takes source column trunc(x * sx) and row trunc(y * sy). Method 3
 * takes round(x * sx) for columns, where a fraction of exactly one half
 * goes down, and for rows the rounded value of a position that starts at 0
 * and grows by sy after each row (so rows follow the running sum, not
 * y * sy). Both are limited to the source. Columns are computed once into
 * a table; a destination row whose source row equals the previous one is a
 * copy of the previous destination row.
 *
 * 1 bit: the destination row starts as all 1-bits and bits whose source bit
 * is 0 are cleared, so the padding bits past the width are 1.
 *
 * Internal: resize_nearest (resize.h).
 */
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"

namespace qv {
namespace {

int32_t round_half_down(double v) {
    double f = std::floor(v);
    return int32_t(v - f > 0.5 ? std::ceil(v) : f);
}

void row1(const uint8_t *s, const int32_t *col, int32_t n, uint8_t *d, size_t bytes) {
    std::memset(d, 0xFF, bytes);
    int32_t x = 0;
    for (size_t b = 0; x < n; ++b) {
        uint8_t v = 0;
        int32_t end = std::min(n, x + 8);
        int32_t shift = 7;
        for (; x < end; ++x, --shift) {
            int32_t c = col[x];
            v |= uint8_t(((s[c >> 3] >> (7 - (c & 7))) & 1u) << shift);
        }
        // Bits past the width stay 1.
        d[b] = uint8_t(v | ((1u << (shift + 1)) - 1u));
    }
}

void row4(const uint8_t *s, const int32_t *col, int32_t n, uint8_t *d) {
    auto nib = [&](int32_t c) { return uint8_t((s[c >> 1] >> ((c & 1) ? 0 : 4)) & 15u); };
    int32_t x = 0;
    for (; x + 1 < n; x += 2) d[x >> 1] = uint8_t(nib(col[x]) << 4 | nib(col[x + 1]));
    if (x < n) d[x >> 1] = uint8_t(nib(col[x]) << 4);
}

void row8(const uint8_t *s, const int32_t *col, int32_t n, uint8_t *d) {
    for (int32_t x = 0; x < n; ++x) d[x] = s[col[x]];
}

void row16(const uint8_t *s, const int32_t *col, int32_t n, uint8_t *d) {
    for (int32_t x = 0; x < n; ++x) std::memcpy(d + 2 * size_t(x), s + 2 * size_t(col[x]), 2);
}

// Three-byte pixels moved as 4-byte words where both rows have the byte
// past the pixel (the extra byte is overwritten by the next pixel).
void row24(const uint8_t *s, size_t sbytes, const int32_t *col, int32_t n, uint8_t *d, size_t dbytes) {
    int32_t x = 0;
    for (; x < n; ++x) {
        size_t so = 3 * size_t(col[x]), dx = 3 * size_t(x);
        if (so + 4 > sbytes || dx + 4 > dbytes) break;
        uint32_t v;
        std::memcpy(&v, s + so, 4);
        std::memcpy(d + dx, &v, 4);
    }
    for (; x < n; ++x) std::memcpy(d + 3 * size_t(x), s + 3 * size_t(col[x]), 3);
}

}  // namespace

int32_t resize_nearest(const ResizeJob &job, bool rounded) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const int32_t bpp = job.sdib->biBitCount;
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    std::vector<int32_t> col(static_cast<size_t>(dw));
    for (int32_t x = 0; x < dw; ++x) {
        int32_t c = rounded ? round_half_down(double(x) * sx) : int32_t(double(x) * sx);
        col[size_t(x)] = std::clamp(c, 0, sw - 1);
    }
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    if (!src.ok() || !dst.ok()) return QVE_NO_MEMORY;
    const size_t sbytes = src.bytes(), dbytes = dst.bytes();
    double pos = 0.0;
    int32_t prev_sr = -1;
    const uint8_t *prev = nullptr;
    for (int32_t y = 0; y < dh; ++y) {
        int32_t sr;
        if (rounded) {
            sr = std::clamp(round_half_down(pos), 0, sh - 1);
            pos += sy;
        } else {
            sr = std::clamp(int32_t(double(y) * sy), 0, sh - 1);
        }
        uint8_t *d = dst.row(y);
        if (sr == prev_sr && prev) {
            if (prev != d) std::memcpy(d, prev, dbytes);
        } else {
            const uint8_t *s = src.row(sr);
            switch (bpp) {
            case 1: row1(s, col.data(), dw, d, dbytes); break;
            case 4: row4(s, col.data(), dw, d); break;
            case 8: row8(s, col.data(), dw, d); break;
            case 16: row16(s, col.data(), dw, d); break;
            default: row24(s, sbytes, col.data(), dw, d, dbytes); break;
            }
        }
        prev_sr = sr;
        prev = d;
        if (int32_t rc = dst.done(y); rc != 0) return rc;
    }
    return 0;
}

}  // namespace qv
