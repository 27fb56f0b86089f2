/*
 * row_kernels.cpp - whole-row pixel kernels (see row_kernels.h): the fixed palettes
 * of the colour reductions, column gathers at every DIB depth, table and
 * true-colour mappings, nibble packing and Floyd-Steinberg diffusion.
 */
#include "support/row_kernels.h"

#include <array>
#include <cstring>

namespace qv {

// The 16 colours of the VGA palette, in their customary order (B, G, R, 0).
const QV_RGBQUAD kVgaPalette[16] = {
    {0, 0, 0, 0},       {0, 0, 128, 0},     {0, 128, 0, 0},     {0, 128, 128, 0},
    {128, 0, 0, 0},     {128, 0, 128, 0},   {128, 128, 0, 0},   {192, 192, 192, 0},
    {128, 128, 128, 0}, {0, 0, 255, 0},     {0, 255, 0, 0},     {0, 255, 255, 0},
    {255, 0, 0, 0},     {255, 0, 255, 0},   {255, 255, 0, 0},   {255, 255, 255, 0},
};

namespace {

// Levels of the colour cube: 6 for red and blue, 7 for green.
constexpr int kCubeR = 6, kCubeG = 7, kCubeB = 6;
constexpr int kCubeEntries = kCubeR * kCubeG * kCubeB;  // 252
constexpr uint8_t kGreyLevels[6] = {0, 51, 102, 153, 204, 255};

constexpr uint8_t level_value(int k, int levels) {
    return static_cast<uint8_t>((k * 255 * 2 + (levels - 1)) / (2 * (levels - 1)));
}

// Channel value -> nearest level index (the lower level on ties).
struct CubeTables {
    std::array<uint8_t, 256> r6{}, g7{}, b6{}, grey{};
};

constexpr int nearest_level(int v, int levels) {
    int best = 0, best_d = 1 << 30;
    for (int k = 0; k < levels; ++k) {
        int d = v - level_value(k, levels);
        d = d < 0 ? -d : d;
        if (d < best_d) best_d = d, best = k;
    }
    return best;
}

constexpr CubeTables make_cube_tables() {
    CubeTables t;
    for (int v = 0; v < 256; ++v) {
        t.r6[v] = static_cast<uint8_t>(nearest_level(v, kCubeR) * kCubeG * kCubeB);
        t.g7[v] = static_cast<uint8_t>(nearest_level(v, kCubeG) * kCubeB);
        t.b6[v] = static_cast<uint8_t>(nearest_level(v, kCubeB));
        int k = nearest_level(v, 6);
        t.grey[v] = static_cast<uint8_t>(k == 0 ? 0 : k == 5 ? kCubeEntries - 1 : kCubeEntries - 1 + k);
    }
    return t;
}
constexpr CubeTables kCube = make_cube_tables();

inline uint8_t cube_of(uint8_t r, uint8_t g, uint8_t b) {
    if (r == g && g == b) return kCube.grey[r];
    return static_cast<uint8_t>(kCube.r6[r] + kCube.g7[g] + kCube.b6[b]);
}

inline uint8_t vga_of(uint8_t r, uint8_t g, uint8_t b) {
    uint32_t best = 0, best_d = ~0u;
    for (uint32_t i = 0; i < 16; ++i) {
        int32_t dr = int32_t(r) - kVgaPalette[i].rgbRed;
        int32_t dg = int32_t(g) - kVgaPalette[i].rgbGreen;
        int32_t db = int32_t(b) - kVgaPalette[i].rgbBlue;
        uint32_t d = uint32_t(dr * dr + dg * dg + db * db);
        if (d < best_d) best_d = d, best = i;
    }
    return static_cast<uint8_t>(best);
}

}  // namespace

void cube_palette(QV_RGBQUAD out[256]) {
    for (int r = 0; r < kCubeR; ++r)
        for (int g = 0; g < kCubeG; ++g)
            for (int b = 0; b < kCubeB; ++b) {
                QV_RGBQUAD &q = out[(r * kCubeG + g) * kCubeB + b];
                q.rgbRed = level_value(r, kCubeR);
                q.rgbGreen = level_value(g, kCubeG);
                q.rgbBlue = level_value(b, kCubeB);
                q.rgbReserved = 0;
            }
    for (int k = 1; k <= 4; ++k) {
        QV_RGBQUAD &q = out[kCubeEntries - 1 + k];
        q.rgbRed = q.rgbGreen = q.rgbBlue = kGreyLevels[k];
        q.rgbReserved = 0;
    }
}

void grey_palette(QV_RGBQUAD out[256]) {
    for (int i = 0; i < 256; ++i) {
        out[i].rgbBlue = out[i].rgbGreen = out[i].rgbRed = static_cast<uint8_t>(i);
        out[i].rgbReserved = 0;
    }
}

uint8_t vga_nearest(uint8_t r, uint8_t g, uint8_t b) { return vga_of(r, g, b); }
uint8_t cube_index(uint8_t r, uint8_t g, uint8_t b) { return cube_of(r, g, b); }

void gather_bits1(const uint8_t *src, const int32_t *cols, int32_t n, uint8_t *dst) {
    int32_t x = 0;
    for (; x + 8 <= n; x += 8) {
        uint32_t byte = 0;
        for (int k = 0; k < 8; ++k) {
            int32_t c = cols[x + k];
            byte = (byte << 1) | ((src[c >> 3] >> (7 - (c & 7))) & 1u);
        }
        *dst++ = static_cast<uint8_t>(byte);
    }
    if (x < n) {
        uint32_t byte = 0;
        int k = 0;
        for (; x < n; ++x, ++k) {
            int32_t c = cols[x];
            byte = (byte << 1) | ((src[c >> 3] >> (7 - (c & 7))) & 1u);
        }
        *dst = static_cast<uint8_t>(byte << (8 - k));
    }
}

void gather_nibbles4(const uint8_t *src, const int32_t *cols, int32_t n, uint8_t *dst) {
    int32_t x = 0;
    for (; x + 2 <= n; x += 2) {
        int32_t c0 = cols[x], c1 = cols[x + 1];
        uint32_t v0 = (src[c0 >> 1] >> ((c0 & 1) ? 0 : 4)) & 15u;
        uint32_t v1 = (src[c1 >> 1] >> ((c1 & 1) ? 0 : 4)) & 15u;
        *dst++ = static_cast<uint8_t>((v0 << 4) | v1);
    }
    if (x < n) {
        int32_t c0 = cols[x];
        *dst = static_cast<uint8_t>(((src[c0 >> 1] >> ((c0 & 1) ? 0 : 4)) & 15u) << 4);
    }
}

void gather_bytes(const uint8_t *src, const int32_t *cols, int32_t n, int32_t bpp, uint8_t *dst) {
    switch (bpp) {
    case 1:
        for (int32_t x = 0; x < n; ++x) dst[x] = src[cols[x]];
        break;
    case 2:
        for (int32_t x = 0; x < n; ++x) std::memcpy(dst + 2 * x, src + 2 * size_t(cols[x]), 2);
        break;
    case 3:
        for (int32_t x = 0; x < n; ++x) std::memcpy(dst + 3 * x, src + 3 * size_t(cols[x]), 3);
        break;
    default:
        for (int32_t x = 0; x < n; ++x) std::memcpy(dst + 4 * x, src + 4 * size_t(cols[x]), 4);
        break;
    }
}

void gather_lut1(const uint8_t *src, const int32_t *cols, int32_t n, const uint8_t *lut,
                 uint8_t *dst) {
    for (int32_t x = 0; x < n; ++x) {
        int32_t c = cols[x];
        dst[x] = lut[(src[c >> 3] >> (7 - (c & 7))) & 1u];
    }
}

void gather_lut4(const uint8_t *src, const int32_t *cols, int32_t n, const uint8_t *lut,
                 uint8_t *dst) {
    for (int32_t x = 0; x < n; ++x) {
        int32_t c = cols[x];
        dst[x] = lut[(src[c >> 1] >> ((c & 1) ? 0 : 4)) & 15u];
    }
}

void gather_lut8(const uint8_t *src, const int32_t *cols, int32_t n, const uint8_t *lut,
                 uint8_t *dst) {
    for (int32_t x = 0; x < n; ++x) dst[x] = lut[src[cols[x]]];
}

void gather_lut16(const uint8_t *src, const int32_t *cols, int32_t n, const uint8_t *lut,
                  uint8_t *dst) {
    for (int32_t x = 0; x < n; ++x) {
        const uint8_t *p = src + 2 * size_t(cols[x]);
        dst[x] = lut[p[0] | (uint32_t(p[1]) << 8)];
    }
}

void gather_grey_bgr(const uint8_t *src, const int32_t *cols, int32_t n, int32_t stride,
                     uint8_t *dst) {
    for (int32_t x = 0; x < n; ++x) {
        const uint8_t *p = src + size_t(stride) * size_t(cols[x]);
        dst[x] = luma(p[2], p[1], p[0]);
    }
}

void gather_vga_bgr(const uint8_t *src, const int32_t *cols, int32_t n, int32_t stride,
                    uint8_t *dst) {
    // Neighbouring pixels are often equal: remember the last answer.
    uint32_t last = ~0u;
    uint8_t last_idx = 0;
    for (int32_t x = 0; x < n; ++x) {
        const uint8_t *p = src + size_t(stride) * size_t(cols[x]);
        uint32_t key = p[0] | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16);
        if (key != last) {
            last = key;
            last_idx = vga_of(p[2], p[1], p[0]);
        }
        dst[x] = last_idx;
    }
}

void gather_cube_bgr(const uint8_t *src, const int32_t *cols, int32_t n, int32_t stride,
                     uint8_t *dst) {
    for (int32_t x = 0; x < n; ++x) {
        const uint8_t *p = src + size_t(stride) * size_t(cols[x]);
        dst[x] = cube_of(p[2], p[1], p[0]);
    }
}

void pack4(const uint8_t *v, int32_t n, uint8_t *dst) {
    int32_t x = 0;
    for (; x + 2 <= n; x += 2) *dst++ = static_cast<uint8_t>((v[x] << 4) | (v[x + 1] & 15));
    if (x < n) *dst = static_cast<uint8_t>(v[x] << 4);
}

void diffuse_to_1(const uint8_t *grey, int32_t n, int16_t *err, uint8_t *dst) {
    int32_t carry = 0;       // 7/16 of the previous pixel's error
    int32_t pending = 0;     // next-row error at the previous column, not yet stored
    int32_t below_next = 0;  // next-row error at the current column
    uint32_t byte = 0;
    int bits = 0;
    for (int32_t x = 0; x < n; ++x) {
        int32_t v = int32_t(grey[x]) + err[x + 1] + carry;
        uint32_t white = v >= 128 ? 1u : 0u;
        int32_t e = v - (white ? 255 : 0);
        err[x] = static_cast<int16_t>(pending + e * 3 / 16);
        pending = below_next + e * 5 / 16;
        below_next = e / 16;
        carry = e * 7 / 16;
        byte = (byte << 1) | white;
        if (++bits == 8) {
            *dst++ = static_cast<uint8_t>(byte);
            byte = 0;
            bits = 0;
        }
    }
    err[n] = static_cast<int16_t>(pending);
    err[n + 1] = 0;
    if (bits) *dst = static_cast<uint8_t>(byte << (8 - bits));
}

void extract_bits(const uint8_t *src, uint64_t first_bit, uint64_t nbits, uint8_t *dst) {
    if (nbits == 0) return;
    const uint8_t *s = src + first_bit / 8;
    unsigned shift = unsigned(first_bit % 8);
    size_t out_bytes = size_t((nbits + 7) / 8);
    size_t in_bytes = size_t((shift + nbits + 7) / 8);  // bytes of src touched
    if (shift == 0) {
        std::memcpy(dst, s, out_bytes);
    } else {
        for (size_t i = 0; i < out_bytes; ++i) {
            uint32_t hi = s[i];
            uint32_t lo = i + 1 < in_bytes ? s[i + 1] : 0;
            dst[i] = static_cast<uint8_t>((hi << shift) | (lo >> (8 - shift)));
        }
    }
    unsigned tail = unsigned(nbits % 8);
    if (tail) dst[out_bytes - 1] &= static_cast<uint8_t>(0xFF00u >> tail);
}


}  // namespace qv
