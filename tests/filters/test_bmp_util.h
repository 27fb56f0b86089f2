// Helpers of the BMP, load-pipeline and save-pipeline tests: building BMP
// files byte by byte, reading an image back as RGBA pixels or raw rows, and
// the error stack as (code, iVal, lVal) triples.
#pragma once

#include <algorithm>
#include <cstring>
#include <random>

#include "common/test_util.h"

namespace bmptest {

using Bytes = std::vector<uint8_t>;

using qvtest::load_mem;
using qvtest::put16;
using qvtest::put32;
inline size_t stride_of(int32_t width, int32_t bpp) { return size_t((width * bpp + 31) / 32 * 4); }

// A BMP file: the fields the tests vary; pixel rows in file order.
struct Bmp {
    uint32_t header_size = 40;
    int32_t width = 4, height = 2;  // negative height: rows top-down
    uint16_t bpp = 8;
    uint32_t compression = 0, colors_used = 0;
    int32_t xppm = 2835, yppm = 2835;
    std::vector<uint32_t> masks{};    // after a 40-byte header, or inside a longer one
    std::vector<uint32_t> palette{};  // 0x00RRGGBB
    Bytes data{};                     // pixel data (rows or RLE codes)
    int64_t off_bits = -1;            // -1: right after the palette
    bool file_header = true;

    Bytes bytes() const {
        const size_t pal_entry = header_size == 12 ? 3 : 4;
        const bool masks_after = header_size == 40 && !masks.empty();
        const size_t h = file_header ? 14 : 0;
        const size_t pal_end =
            h + header_size + (masks_after ? 4 * masks.size() : 0) + palette.size() * pal_entry;
        const size_t bits = off_bits >= 0 ? size_t(off_bits) : pal_end;
        Bytes f(std::max(bits, pal_end) + data.size(), 0);
        if (file_header) {
            f[0] = 'B', f[1] = 'M';
            put32(f, 2, uint32_t(f.size())), put32(f, 10, uint32_t(bits));
        }
        put32(f, h, header_size);
        if (header_size == 12) {
            put16(f, h + 4, uint32_t(width)), put16(f, h + 6, uint32_t(height));
            put16(f, h + 8, 1), put16(f, h + 10, bpp);
        } else {
            put32(f, h + 4, uint32_t(width)), put32(f, h + 8, uint32_t(height));
            put16(f, h + 12, 1), put16(f, h + 14, bpp);
            // Fields past the header's end are left out.
            const uint32_t rest[] = {compression, uint32_t(data.size()), uint32_t(xppm),
                                     uint32_t(yppm), colors_used};
            for (uint32_t i = 0; i < 5 && 20 + 4 * i <= header_size; ++i)
                put32(f, h + 16 + 4 * i, rest[i]);
            for (size_t i = 0; i < masks.size() && 44 + 4 * i <= header_size; ++i)
                put32(f, h + 40 + 4 * i, masks[i]);
        }
        size_t p = h + header_size;
        if (masks_after)
            for (uint32_t m : masks) put32(f, p, m), p += 4;
        for (uint32_t c : palette) {
            f[p] = uint8_t(c), f[p + 1] = uint8_t(c >> 8), f[p + 2] = uint8_t(c >> 16);
            p += pal_entry;
        }
        std::copy(data.begin(), data.end(), f.begin() + long(bits));
        return f;
    }
};

// An image's pixels as R, G, B, A bytes, top row first (A = 255 except for
// 32-bit images, where it is the fourth byte).
struct Rgba {
    int32_t width = 0, height = 0, bpp = 0;
    Bytes px;
    const uint8_t *at(int32_t x, int32_t y) const {
        return px.data() + 4 * (size_t(y) * width + x);
    }
};

inline Bytes raw_row(QUORIN h, int32_t row) {
    int32_t w = 0, ht = 0, bpp = 0;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    Bytes r(stride_of(w, bpp));
    EXPECT_EQ(QV_DIB_raster_get(h, row, r.data(), 1), 0);
    return r;
}

inline uint32_t index_at(const Bytes &row, int32_t x, int32_t bpp) {
    const uint32_t bit = uint32_t(x) * bpp;
    return (row[bit / 8] >> (8 - bpp - bit % 8)) & ((1u << bpp) - 1);
}

// An image's pixel values (palette indices or bytes), top row first.
inline std::vector<Bytes> values(QUORIN h) {
    const std::vector<int32_t> d = qvtest::dims(h);
    std::vector<Bytes> rows;
    for (int32_t y = 0; y < d[1]; ++y) {
        Bytes raw = raw_row(h, y), v;
        for (int32_t x = 0; x < d[0]; ++x) v.push_back(uint8_t(index_at(raw, x, d[2])));
        rows.push_back(v);
    }
    return rows;
}

inline Rgba rgba_of(QUORIN h) {
    Rgba out;
    QV_image_dimensions_get(h, &out.width, &out.height, &out.bpp);
    QV_DIB_HEADER *dib = nullptr;
    QV_image_DIB_pntr_get(h, &dib);
    uint32_t masks[3] = {0x7C00, 0x3E0, 0x1F};
    auto *after = reinterpret_cast<const uint8_t *>(dib) + 40;
    const uint32_t comp = dib->biCompression;
    if (comp == 3 || comp == 503 || comp == 504) std::memcpy(masks, after, 12);
    const uint8_t *pal = after + (comp == 504 ? 12 : 0);
    out.px.resize(size_t(out.width) * out.height * 4);
    for (int32_t y = 0; y < out.height; ++y) {
        const Bytes row = raw_row(h, y);
        for (int32_t x = 0; x < out.width; ++x) {
            uint8_t *p = out.px.data() + 4 * (size_t(y) * out.width + x);
            const uint32_t v = out.bpp == 16 ? row[2 * x] | row[2 * x + 1] << 8 : 0;
            const uint8_t *q = nullptr;  // B, G, R bytes unless the pixel is masked
            if (out.bpp <= 8) q = pal + 4 * index_at(row, x, out.bpp);
            else if (comp == 504) q = pal + 4 * size_t(v);
            else if (out.bpp != 16) q = row.data() + size_t(x) * (out.bpp / 8);
            p[3] = out.bpp == 32 ? q[3] : 255;
            for (int c = 0; c < 3; ++c) {
                const uint32_t m = masks[c], s = m ? uint32_t(__builtin_ctz(m)) : 0;
                p[c] = q ? q[2 - c] : m ? uint8_t(((v & m) >> s) * 255 / (m >> s)) : 0;
            }
        }
    }
    return out;
}

// A new image of random pixels (padding bits zero, as readers make them)
// and, up to 8 bits, a random palette.
inline QUORIN random_image(int32_t w, int32_t h, int32_t bpp, uint32_t seed) {
    QUORIN img = nullptr;
    EXPECT_EQ(QV_image_create_DIB(w, h, bpp, nullptr, &img), 0);
    std::mt19937 rng(seed);
    auto rnd = [&] { return uint8_t(rng()); };
    Bytes row(stride_of(w, bpp));
    for (int32_t y = 0; y < h; ++y) {
        for (size_t k = 0; k < row.size() * 8; ++k) {
            if (k % 8 == 0) row[k / 8] = rnd();
            if (k >= size_t(w) * bpp) row[k / 8] &= uint8_t(~(0x80u >> (k % 8)));
        }
        EXPECT_EQ(QV_DIB_raster_set(img, y, row.data(), 1), 0);
    }
    QV_RGBQUAD *pal = nullptr;
    int32_t n = 0;
    if (bpp <= 8 && QV_image_DIB_palette_pntr_get(img, &pal, &n) == 0)
        for (int32_t i = 0; i < n; ++i) pal[i] = QV_RGBQUAD{rnd(), rnd(), rnd(), 0};
    return img;
}

// The error stack as (code, iVal, lVal) triples.
using qvtest::Err;
using qvtest::stack;

// Live allocator blocks once the records made on first use exist.
inline size_t live_blocks() { return qvtest::live_blocks_after_first_use(); }

// Makes a palette image's palette a grey ramp from black to white.
inline void grey_palette(QUORIN h) {
    QV_RGBQUAD *pal = nullptr;
    int32_t n = 0;
    ASSERT_EQ(QV_image_DIB_palette_pntr_get(h, &pal, &n), 0);
    for (int32_t i = 0; i < n; ++i) {
        const uint8_t v = uint8_t(i * 255 / (n - 1));
        pal[i] = QV_RGBQUAD{v, v, v, 0};
    }
}

}  // namespace bmptest
