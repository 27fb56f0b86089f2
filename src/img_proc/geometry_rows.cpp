/*
 * geometry_rows.cpp - row kernels shared by the geometric operations:
 * mirrored row copies per depth, run lists mirrored or cut, and the
 * destination compression of 16-bit images.
 *
 * Internal: geometry_dest_compression, geometry_copy_masks, mirror_copy,
 * runs_mirror, runs_cut (geometry.h).
 */
#include <array>
#include <cstring>

#include "img_proc/geometry.h"
#include "support/runs.h"

namespace qv {
namespace {

constexpr std::array<uint8_t, 256> make_bit_reversal() {
    std::array<uint8_t, 256> t{};
    for (int i = 0; i < 256; ++i) {
        int r = 0;
        for (int b = 0; b < 8; ++b)
            if (i & (1 << b)) r |= 0x80 >> b;
        t[size_t(i)] = uint8_t(r);
    }
    return t;
}
// Entry i is i with its eight bits in reverse order.
constexpr std::array<uint8_t, 256> kBitReversal = make_bit_reversal();

inline uint64_t load_be64(const uint8_t *p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return __builtin_bswap64(v);
}
inline void store_be64(uint8_t *p, uint64_t v) {
    v = __builtin_bswap64(v);
    std::memcpy(p, &v, 8);
}

// Moves the bits of bytes [0, n) left by s (1..7), zeros entering at the end.
void shift_row_left(uint8_t *d, size_t n, unsigned s) {
    size_t i = 0;
    for (; i + 9 <= n; i += 8) store_be64(d + i, (load_be64(d + i) << s) | (d[i + 8] >> (8 - s)));
    for (; i + 1 < n; ++i) d[i] = uint8_t((d[i] << s) | (d[i + 1] >> (8 - s)));
    d[n - 1] = uint8_t(d[n - 1] << s);
}

// Reverses the order of the bits of each byte of a 64-bit word.
inline uint64_t reverse_bits_in_bytes(uint64_t v) {
    v = ((v >> 1) & 0x5555555555555555ull) | ((v & 0x5555555555555555ull) << 1);
    v = ((v >> 2) & 0x3333333333333333ull) | ((v & 0x3333333333333333ull) << 2);
    v = ((v >> 4) & 0x0F0F0F0F0F0F0F0Full) | ((v & 0x0F0F0F0F0F0F0F0Full) << 4);
    return v;
}

void mirror1(uint8_t *d, const uint8_t *s, int32_t width) {
    const size_t n = (size_t(width) + 7) / 8;
    size_t i = 0;
    // Eight bytes at a time: byte order reversed by the swap, bits by the masks.
    for (; i + 8 <= n; i += 8) {
        uint64_t v;
        std::memcpy(&v, s + n - i - 8, 8);
        v = reverse_bits_in_bytes(__builtin_bswap64(v));
        std::memcpy(d + i, &v, 8);
    }
    for (; i < n; ++i) d[i] = kBitReversal[s[n - 1 - i]];
    if (unsigned r = unsigned(width) & 7u) shift_row_left(d, n, 8 - r);
}

void mirror4(uint8_t *d, const uint8_t *s, int32_t width) {
    const size_t n = (size_t(width) + 1) / 2;
    for (size_t i = 0; i < n; ++i) {
        uint8_t b = s[n - 1 - i];
        d[i] = uint8_t((b << 4) | (b >> 4));
    }
    if (width & 1) shift_row_left(d, n, 4);
}

void mirror8(uint8_t *d, const uint8_t *s, int32_t width) {
    const size_t n = size_t(width);
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t v;
        std::memcpy(&v, s + n - i - 8, 8);
        v = __builtin_bswap64(v);
        std::memcpy(d + i, &v, 8);
    }
    for (; i < n; ++i) d[i] = s[n - 1 - i];
}

void mirror16(uint8_t *d, const uint8_t *s, int32_t width) {
    const size_t n = size_t(width);
    for (size_t i = 0; i < n; ++i) std::memcpy(d + 2 * i, s + 2 * (n - 1 - i), 2);
}

void mirror24(uint8_t *d, const uint8_t *s, int32_t width) {
    const size_t n = size_t(width);
    for (size_t i = 0; i < n; ++i) {
        const uint8_t *p = s + 3 * (n - 1 - i);
        d[3 * i] = p[0];
        d[3 * i + 1] = p[1];
        d[3 * i + 2] = p[2];
    }
}

}  // namespace

uint32_t geometry_dest_compression(const ImageRecord *rec) {
    if (image_bpp(rec) == 16 && rec->dib->biCompression == QV_BI_GRAY16) return QV_BI_GRAY16;
    return QV_BI_RGB;
}

void geometry_copy_masks(QV_DIB_HEADER *dst, QV_DIB_HEADER *src) {
    if (dst->biCompression != QV_BI_GRAY16) return;
    uint32_t first = dib_has_masks(src->biCompression) ? dib_masks(src)[0] : 0;
    uint32_t *m = dib_masks(dst);
    m[0] = m[1] = m[2] = first;
}

void mirror_copy(uint8_t *dst, const uint8_t *src, int32_t width, int32_t bpp) {
    switch (bpp) {
    case 1: mirror1(dst, src, width); break;
    case 4: mirror4(dst, src, width); break;
    case 8: mirror8(dst, src, width); break;
    case 16: mirror16(dst, src, width); break;
    case 24: mirror24(dst, src, width); break;
    default: break;
    }
}

void runs_mirror(const uint16_t *in, int32_t width, uint16_t *out) {
    // The changes of a well-formed list rise; after dropping zero-length
    // runs they are distinct and inside the row, so the mirror fits too.
    const uint16_t w = uint16_t(width);
    uint32_t nw = in[0] / 2u, k = 0;
    while (k + 1 < nw && in[k + 1] < w) ++k;
    // Changes 1..k; mirrored from the right. An odd count ends black: the
    // mirrored row starts black (first change at 0).
    uint32_t n = 1;
    if (k & 1) out[n++] = 0;
    for (uint32_t i = k; i >= 1; --i) {
        uint16_t p = uint16_t(w - in[i]);
        if (p >= w) continue;  // a change at 0 mirrors to the row's end
        if (n > 1 && out[n - 1] == p) {
            --n;  // a zero-length run: drop both
            continue;
        }
        out[n++] = p;
    }
    out[n] = out[n + 1] = out[n + 2] = w;
    out[0] = uint16_t((n + 3) * 2);
}

void runs_cut(const uint16_t *in, int32_t left, int32_t right, uint16_t *out) {
    const int32_t nw = right - left + 1;
    const uint32_t words = in[0] / 2u;
    uint32_t n = 1;
    for (uint32_t i = 1; i < words; ++i) {
        int32_t p = int32_t(in[i]) - left;
        if (p >= nw) break;
        if (p < 0) p = 0;  // changes left of the range only set the starting colour
        if (n > 1 && out[n - 1] == p) {
            --n;
            continue;
        }
        out[n++] = uint16_t(p);
    }
    out[n] = out[n + 1] = out[n + 2] = uint16_t(nw);
    out[0] = uint16_t((n + 3) * 2);
}

}  // namespace qv
