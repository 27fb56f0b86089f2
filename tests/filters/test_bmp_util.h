// Helpers of the BMP, load-pipeline and save-pipeline tests: building BMP
// files byte by byte, reading an image back as RGBA pixels or raw rows, MD5,
// and running Pillow (/usr/bin/python3) as a peer.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "vosk32pd.h"

namespace bmptest {

using Bytes = std::vector<uint8_t>;

inline void put16(Bytes &b, size_t at, uint32_t v) {
    b[at] = uint8_t(v);
    b[at + 1] = uint8_t(v >> 8);
}
inline void put32(Bytes &b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (8 * i));
}
inline void put32be(Bytes &b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (24 - 8 * i));
}
inline size_t stride_of(int32_t width, int32_t bpp) { return size_t((width * bpp + 31) / 32 * 4); }

// A BMP file: the fields the tests vary; pixel rows in file order.
struct Bmp {
    uint32_t header_size = 40;
    int32_t width = 4, height = 2;  // negative height: rows top-down
    uint16_t bpp = 8;
    uint32_t compression = 0;
    uint32_t colors_used = 0;
    int32_t xppm = 2835, yppm = 2835;
    std::vector<uint32_t> masks;        // after a 40-byte header, or inside a longer one
    std::vector<uint32_t> palette;      // 0x00RRGGBB
    Bytes data;                         // pixel data (rows or RLE codes)
    int64_t off_bits = -1;              // -1: right after the palette
    bool file_header = true;

    Bytes bytes() const {
        size_t pal_entry = header_size == 12 ? 3 : 4;
        bool masks_after = header_size == 40 && !masks.empty();
        size_t head = (file_header ? 14 : 0) + header_size + (masks_after ? 4 * masks.size() : 0);
        size_t pal_bytes = palette.size() * pal_entry;
        size_t bits = off_bits >= 0 ? size_t(off_bits) : head + pal_bytes;
        Bytes f(std::max(bits, head + pal_bytes) + data.size(), 0);
        size_t h = 0;
        if (file_header) {
            f[0] = 'B', f[1] = 'M';
            put32(f, 2, uint32_t(f.size()));
            put32(f, 10, uint32_t(bits));
            h = 14;
        }
        put32(f, h, header_size);
        if (header_size == 12) {
            put16(f, h + 4, uint32_t(width));
            put16(f, h + 6, uint32_t(height));
            put16(f, h + 8, 1);
            put16(f, h + 10, bpp);
        } else {
            put32(f, h + 4, uint32_t(width));
            put32(f, h + 8, uint32_t(height));
            put16(f, h + 12, 1);
            put16(f, h + 14, bpp);
            if (header_size >= 20) put32(f, h + 16, compression);
            if (header_size >= 24) put32(f, h + 20, uint32_t(data.size()));
            if (header_size >= 32) put32(f, h + 24, uint32_t(xppm)), put32(f, h + 28, uint32_t(yppm));
            if (header_size >= 36) put32(f, h + 32, colors_used);
            for (size_t i = 0; header_size >= 52 && i < masks.size() && 40 + 4 * i + 4 <= header_size; ++i)
                put32(f, h + 40 + 4 * i, masks[i]);
        }
        size_t p = h + header_size;
        if (masks_after)
            for (uint32_t m : masks) put32(f, p, m), p += 4;
        for (uint32_t c : palette) {
            f[p] = uint8_t(c), f[p + 1] = uint8_t(c >> 8), f[p + 2] = uint8_t(c >> 16);
            p += pal_entry;
        }
        std::memcpy(f.data() + bits, data.data(), data.size());
        return f;
    }
};

// An image's pixels as R, G, B, A bytes, top row first (A = 255 except for
// 32-bit images, where it is the fourth byte).
struct Rgba {
    int32_t width = 0, height = 0, bpp = 0;
    Bytes px;
    const uint8_t *at(int32_t x, int32_t y) const { return px.data() + 4 * (size_t(y) * width + x); }
};

inline Bytes raw_row(QUORIN h, int32_t row) {
    int32_t w = 0, ht = 0, bpp = 0;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    Bytes r(stride_of(w, bpp));
    EXPECT_EQ(QV_DIB_raster_get(h, row, r.data(), 1), 0);
    return r;
}

inline uint32_t index_at(const Bytes &row, int32_t x, int32_t bpp) {
    uint32_t bit = uint32_t(x) * bpp;
    return (row[bit / 8] >> (8 - bpp - bit % 8)) & ((1u << bpp) - 1);
}

inline Rgba rgba_of(QUORIN h) {
    Rgba out;
    QV_image_dimensions_get(h, &out.width, &out.height, &out.bpp);
    QV_DIB_HEADER *dib = nullptr;
    QV_image_DIB_pntr_get(h, &dib);
    uint32_t masks[3] = {0x7C00, 0x3E0, 0x1F};
    auto *after = reinterpret_cast<const uint8_t *>(dib) + 40;
    bool has_masks = dib->biCompression == 3 || dib->biCompression == 503 || dib->biCompression == 504;
    if (has_masks) std::memcpy(masks, after, 12);
    const uint8_t *pal = after + (has_masks && dib->biCompression == 504 ? 12 : 0);
    out.px.resize(size_t(out.width) * out.height * 4);
    for (int32_t y = 0; y < out.height; ++y) {
        Bytes row = raw_row(h, y);
        for (int32_t x = 0; x < out.width; ++x) {
            uint8_t *p = out.px.data() + 4 * (size_t(y) * out.width + x);
            p[3] = 255;
            if (out.bpp <= 8) {
                const uint8_t *q = pal + 4 * index_at(row, x, out.bpp);
                p[0] = q[2], p[1] = q[1], p[2] = q[0];
            } else if (out.bpp == 24 || out.bpp == 32) {
                const uint8_t *q = row.data() + size_t(x) * (out.bpp / 8);
                p[0] = q[2], p[1] = q[1], p[2] = q[0];
                if (out.bpp == 32) p[3] = q[3];
            } else if (dib->biCompression == 504) {
                const uint8_t *q = pal + 4 * size_t(row[2 * x] | (row[2 * x + 1] << 8));
                p[0] = q[2], p[1] = q[1], p[2] = q[0];
            } else {
                uint32_t v = row[2 * x] | (row[2 * x + 1] << 8);
                for (int c = 0; c < 3; ++c) {
                    uint32_t m = masks[c];
                    if (!m) { p[c] = 0; continue; }
                    uint32_t s = uint32_t(__builtin_ctz(m)), max = m >> s;
                    p[c] = uint8_t(((v & m) >> s) * 255 / max);
                }
            }
        }
    }
    return out;
}

// Pillow's form of the pixels for the manifest's MD5: mode RGB, RGBA, L or
// 1 (packed, 1 = white).
inline Bytes pillow_bytes(const Rgba &im, const std::string &mode) {
    Bytes out;
    for (int32_t y = 0; y < im.height; ++y) {
        uint32_t acc = 0;
        int n = 0;
        for (int32_t x = 0; x < im.width; ++x) {
            const uint8_t *p = im.at(x, y);
            if (mode == "RGB") out.insert(out.end(), p, p + 3);
            else if (mode == "RGBA") out.insert(out.end(), p, p + 4);
            else if (mode == "L") out.push_back(p[0]);
            else if (mode == "1") {
                acc = (acc << 1) | (p[0] > 127 ? 1u : 0u);
                if (++n == 8) out.push_back(uint8_t(acc)), acc = 0, n = 0;
            }
        }
        if (n) out.push_back(uint8_t(acc << (8 - n)));
    }
    return out;
}

// MD5 of a byte string, as lower-case hex.
inline std::string md5_hex(const Bytes &msg) {
    static const uint32_t k[64] = {
        0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
        0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
        0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
        0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
        0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
        0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
        0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
        0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
    static const int r[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                              5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                              4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                              6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};
    Bytes m = msg;
    uint64_t bits = uint64_t(msg.size()) * 8;
    m.push_back(0x80);
    while (m.size() % 64 != 56) m.push_back(0);
    for (int i = 0; i < 8; ++i) m.push_back(uint8_t(bits >> (8 * i)));
    uint32_t h[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    for (size_t off = 0; off < m.size(); off += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i)
            w[i] = m[off + 4 * i] | (m[off + 4 * i + 1] << 8) | (m[off + 4 * i + 2] << 16) |
                   (uint32_t(m[off + 4 * i + 3]) << 24);
        uint32_t a = h[0], b = h[1], c = h[2], d = h[3];
        for (int i = 0; i < 64; ++i) {
            uint32_t f;
            int g;
            if (i < 16) f = (b & c) | (~b & d), g = i;
            else if (i < 32) f = (d & b) | (~d & c), g = (5 * i + 1) % 16;
            else if (i < 48) f = b ^ c ^ d, g = (3 * i + 5) % 16;
            else f = c ^ (b | ~d), g = (7 * i) % 16;
            uint32_t t = d;
            d = c;
            c = b;
            uint32_t x = a + f + k[i] + w[g];
            b = b + ((x << r[i]) | (x >> (32 - r[i])));
            a = t;
        }
        h[0] += a, h[1] += b, h[2] += c, h[3] += d;
    }
    char hex[33];
    for (int i = 0; i < 16; ++i) std::snprintf(hex + 2 * i, 3, "%02x", (h[i / 4] >> (8 * (i % 4))) & 255);
    return hex;
}

// The error stack as (code, iVal, lVal) triples.
struct Err {
    int32_t code, iVal, lVal;
    bool operator==(const Err &o) const { return code == o.code && iVal == o.iVal && lVal == o.lVal; }
};
inline std::vector<Err> stack() {
    std::vector<Err> v;
    for (const auto &r : qvtest::errors()) v.push_back({r.code, r.iVal, r.lVal});
    return v;
}
inline void PrintTo(const Err &e, std::ostream *os) {
    *os << "{" << e.code << ", " << e.iVal << ", " << e.lVal << "}";
}

// Loads a BMP held in memory; the handle, or null (the stack tells why).
inline QUORIN load_mem(const Bytes &file, int32_t *count = nullptr) {
    QUORIN h = nullptr;
    int32_t n = QV_load_mem(file.data(), file.size(), 1, 1, &h);
    if (count) *count = n;
    return h;
}

// Live allocator blocks once the records made on first use (I/O settings,
// detection) exist: a small load runs first, so that a later count shows
// only what a call left behind.
inline size_t live_blocks() {
    Bmp b;
    b.width = 1, b.height = 1, b.bpp = 24;
    b.data = {1, 2, 3, 0};
    Bytes f = b.bytes();
    QUORIN h = nullptr;
    QV_load_mem(f.data(), f.size(), 1, 1, &h);
    QV_image_delete(h);
    return iQV_mem_live_blocks();
}

// Runs a command; its standard output, and the exit status.
inline std::string run(const std::string &cmd, int *status = nullptr) {
    std::string out;
    FILE *p = popen(cmd.c_str(), "r");
    if (!p) return out;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    int st = pclose(p);
    if (status) *status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return out;
}

inline bool have_pillow() {
    int st = 1;
    run("/usr/bin/python3 -c 'import PIL, numpy' 2>/dev/null", &st);
    return st == 0;
}

#define QV_SKIP_WITHOUT_PILLOW() \
    do {                         \
        if (!bmptest::have_pillow()) GTEST_SKIP() << "Pillow not available"; \
    } while (0)

}  // namespace bmptest
