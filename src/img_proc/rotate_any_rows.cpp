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
    const int32_t sw = s.width, sh = s.height;
    return each_row(j, progress, d, [&](uint8_t *out, Stepper p) {
        uint32_t acc = 0;
        int32_t x = 0;
        for (; x < d.width; ++x) {
            const int32_t sx = p.sx(), sy = p.sy();
            uint32_t bit = bg;
            if (sx >= 0 && sx < sw && sy >= 0 && sy < sh) bit = (src[sy][sx >> 3] >> (7 - (sx & 7))) & 1u;
            acc = acc << 1 | bit;
            if ((x & 7) == 7) {
                out[x >> 3] = uint8_t(acc);
                acc = 0;
            }
            p.next();
        }
        if (x & 7) out[x >> 3] = uint8_t(acc << (8 - (x & 7)));
    });
}

int32_t rows4(const AngleJob &j, OpProgress &progress, const Raster &s, const Raster &d, uint8_t *const *src) {
    const uint32_t bg = j.background[0] & 15u;
    const int32_t sw = s.width, sh = s.height;
    return each_row(j, progress, d, [&](uint8_t *out, Stepper p) {
        for (int32_t x = 0; x < d.width; ++x) {
            const int32_t sx = p.sx(), sy = p.sy();
            uint32_t v = bg;
            if (sx >= 0 && sx < sw && sy >= 0 && sy < sh) v = (src[sy][sx >> 1] >> ((sx & 1) ? 0 : 4)) & 15u;
            if (x & 1) out[x >> 1] = uint8_t(out[x >> 1] | v);
            else out[x >> 1] = uint8_t(v << 4);
            p.next();
        }
    });
}

template <int P>
int32_t rows_bytes(const AngleJob &j, OpProgress &progress, const Raster &s, const Raster &d,
                   uint8_t *const *src) {
    const int32_t sw = s.width, sh = s.height;
    return each_row(j, progress, d, [&](uint8_t *out, Stepper p) {
        for (int32_t x = 0; x < d.width; ++x, out += P) {
            const int32_t sx = p.sx(), sy = p.sy();
            const uint8_t *from = j.background;
            if (uint32_t(sx) < uint32_t(sw) && uint32_t(sy) < uint32_t(sh)) from = src[sy] + ptrdiff_t(sx) * P;
            if constexpr (P == 1) {
                *out = *from;
            } else {
                std::memcpy(out, from, P);
            }
            p.next();
        }
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
