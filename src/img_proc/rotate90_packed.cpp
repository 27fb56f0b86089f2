/*
 * rotate90_packed.cpp - quarter turns of packed rasters, one worker per
 * depth.
 *
 * Code 1 (clockwise): destination (column c, row y) = source (column y, row
 * height - 1 - c). Code 3: destination (c, y) = source (width - 1 - y, c).
 * Either way a destination row is a source column read down (code 3) or up
 * (code 1), so every worker walks the source rows through one pointer and
 * a signed step: source row of destination column c = base + c * step.
 *
 *  1. 1 bit: eight source rows give one destination byte column; eight
 *     bytes of each of them are loaded at once and cut into eight 8 x 8 bit
 *     blocks, each transposed with three masked exchanges, so one pass
 *     writes a band of 64 destination rows.
 *  2. 4, 8, 16 and 24 bits: square tiles of the destination, small enough
 *     that the source rows they read stay in the first-level cache; inside
 *     a tile each destination row takes one pixel from each source row.
 *  3. Rows are reported to the progress once their band is complete.
 *
 * Internal: quarter_turn_packed (geometry.h).
 */
#include <algorithm>
#include <cstring>

#include "img_proc/geometry.h"

namespace qv {
namespace {

// Where destination column c and row y read from.
struct Walk {
    const uint8_t *base;  // source row of destination column 0
    ptrdiff_t step;       // to the source row of the next destination column
    bool clockwise;       // code 1: destination row y is source column y
    int32_t sw;           // source width
    int32_t column(int32_t y) const { return clockwise ? y : sw - 1 - y; }
};

Walk walk_of(const Raster &s, int32_t code) {
    Walk w;
    w.clockwise = code == 1;
    w.base = code == 1 ? s.row(s.height - 1) : s.row(0);
    w.step = code == 1 ? -s.stride : s.stride;
    w.sw = s.width;
    return w;
}

bool report(OpProgress &progress, int32_t from, int32_t to) {
    for (int32_t y = from; y < to; ++y)
        if (!progress.row_done(y)) return false;
    return true;
}

// Transposes an 8 x 8 bit block: byte r (top byte first) holds row r, its
// bit 7 the first column; the result holds the columns as rows.
inline uint64_t transpose8x8(uint64_t x) {
    uint64_t t = (x ^ (x >> 7)) & 0x00AA00AA00AA00AAull;
    x = x ^ t ^ (t << 7);
    t = (x ^ (x >> 14)) & 0x0000CCCC0000CCCCull;
    x = x ^ t ^ (t << 14);
    t = (x ^ (x >> 28)) & 0x00000000F0F0F0F0ull;
    x = x ^ t ^ (t << 28);
    return x;
}

// Up to eight bytes of a row from byte k (avail bytes left in it), bytes
// past the row read as 0; byte k lands in the top byte.
inline uint64_t load_bytes(const uint8_t *row, size_t k, size_t avail) {
    uint64_t v = 0;
    if (avail >= 8) {
        std::memcpy(&v, row + k, 8);
        return __builtin_bswap64(v);
    }
    for (size_t i = 0; i < avail; ++i) v |= uint64_t(row[k + i]) << (56 - 8 * i);
    return v;
}

int32_t turn1(const Raster &s, const Raster &d, int32_t code, OpProgress &progress) {
    const Walk wk = walk_of(s, code);
    const size_t sbytes = (size_t(s.width) + 7) / 8;   // source bytes holding pixels
    const size_t dbytes = (size_t(d.width) + 7) / 8;   // destination bytes per row
    const int32_t dh = d.height;                        // = source width
    uint8_t *rows[64];
    for (size_t k0 = 0; k0 < sbytes; k0 += 8) {
        // Destination rows of source columns 8 * k0 .. 8 * k0 + 63.
        const int32_t x0 = int32_t(k0 * 8);
        const int32_t nx = std::min<int32_t>(64, s.width - x0);
        for (int32_t b = 0; b < 64; ++b) {
            int32_t y = b < nx ? wk.column(x0 + b) : -1;
            rows[b] = y >= 0 && y < dh ? d.row(y) : nullptr;
        }
        const size_t avail = sbytes - k0;
        for (size_t j = 0; j < dbytes; ++j) {
            // Source rows of destination columns 8j .. 8j + 7.
            uint64_t g[8];
            const int32_t c0 = int32_t(j * 8);
            for (int32_t i = 0; i < 8; ++i) {
                const int32_t c = c0 + i;
                g[i] = c < d.width ? load_bytes(wk.base + ptrdiff_t(c) * wk.step, k0, avail) : 0;
            }
            for (int32_t kk = 0; kk < 8 && kk * 8 < nx; ++kk) {
                const int sh = 56 - 8 * kk;
                uint64_t x = 0;
                for (int32_t i = 0; i < 8; ++i) x |= ((g[i] >> sh) & 0xFF) << (56 - 8 * i);
                x = transpose8x8(x);
                for (int32_t b = 0; b < 8; ++b)
                    if (uint8_t *r = rows[kk * 8 + b]) r[j] = uint8_t(x >> (56 - 8 * b));
            }
        }
        // A clockwise band is destination rows x0 .. x0 + nx - 1; the other
        // turn fills the band mirrored from the bottom, reported as a whole.
        if (wk.clockwise ? !report(progress, x0, x0 + nx) : !report(progress, dh - x0 - nx, dh - x0)) return QVE_CANCELLED;
    }
    return 0;
}

int32_t turn4(const Raster &s, const Raster &d, int32_t code, OpProgress &progress) {
    const Walk wk = walk_of(s, code);
    constexpr int32_t kTile = 64;
    for (int32_t y0 = 0; y0 < d.height; y0 += kTile) {
        const int32_t y1 = std::min(d.height, y0 + kTile);
        for (int32_t c0 = 0; c0 < d.width; c0 += kTile) {
            const int32_t c1 = std::min(d.width, c0 + kTile);  // c0 is even
            for (int32_t y = y0; y < y1; ++y) {
                const int32_t x = wk.column(y);
                const int shift = (x & 1) ? 0 : 4;
                const uint8_t *sp = wk.base + ptrdiff_t(c0) * wk.step + x / 2;
                uint8_t *dp = d.row(y) + c0 / 2;
                int32_t c = c0;
                for (; c + 1 < c1; c += 2) {
                    uint8_t hi = uint8_t((sp[0] >> shift) & 15), lo = uint8_t((sp[wk.step] >> shift) & 15);
                    *dp++ = uint8_t(hi << 4 | lo);
                    sp += 2 * wk.step;
                }
                if (c < c1) *dp = uint8_t(((sp[0] >> shift) & 15) << 4);
            }
        }
        if (!report(progress, y0, y1)) return QVE_CANCELLED;
    }
    return 0;
}

template <int P>
int32_t turn_bytes(const Raster &s, const Raster &d, int32_t code, OpProgress &progress) {
    const Walk wk = walk_of(s, code);
    constexpr int32_t kTile = 64;
    for (int32_t y0 = 0; y0 < d.height; y0 += kTile) {
        const int32_t y1 = std::min(d.height, y0 + kTile);
        for (int32_t c0 = 0; c0 < d.width; c0 += kTile) {
            const int32_t c1 = std::min(d.width, c0 + kTile);
            for (int32_t y = y0; y < y1; ++y) {
                const uint8_t *sp = wk.base + ptrdiff_t(c0) * wk.step + ptrdiff_t(wk.column(y)) * P;
                uint8_t *dp = d.row(y) + ptrdiff_t(c0) * P;
                int32_t c = c0;
                if constexpr (P == 3) {
                    // Four bytes moved per pixel, the fourth overwritten by the next pixel;
                    // not for the row's last pixel nor from the source's last column,
                    // whose fourth byte may lie past the raster.
                    const int32_t end = c1 == d.width ? c1 - 1 : c1;
                    if (wk.column(y) != s.width - 1) {
                        for (; c < end; ++c, dp += 3, sp += wk.step) {
                            uint32_t v;
                            std::memcpy(&v, sp, 4);
                            std::memcpy(dp, &v, 4);
                        }
                    }
                }
                for (; c < c1; ++c) {
                    if constexpr (P == 1) {
                        *dp = *sp;
                    } else {
                        std::memcpy(dp, sp, P);
                    }
                    dp += P;
                    sp += wk.step;
                }
            }
        }
        if (!report(progress, y0, y1)) return QVE_CANCELLED;
    }
    return 0;
}

}  // namespace

int32_t quarter_turn_packed(QV_DIB_HEADER *src, QV_DIB_HEADER *dst, int32_t code, OpProgress &progress) {
    const Raster s(src), d(dst);
    switch (s.bpp) {
    case 1: return turn1(s, d, code, progress);
    case 4: return turn4(s, d, code, progress);
    case 8: return turn_bytes<1>(s, d, code, progress);
    case 16: return turn_bytes<2>(s, d, code, progress);
    case 24: return turn_bytes<3>(s, d, code, progress);
    default: return QVE_DEPTH_UNSUPPORTED;
    }
}

}  // namespace qv
