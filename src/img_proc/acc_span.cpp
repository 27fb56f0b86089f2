/*
 * acc_span.cpp - the per-depth workers that move a span of pixels between a
 * packed DIB row and a caller's buffer, behind one dispatch.
 *
 * Format 1 copies bits: whole bytes for depths of 8 and more, a shifted
 * byte-wise copy for 1 and 4 bits (pixels around the span are kept on
 * writes). Format 2 has one worker per depth: 1 and 4 bits unpack to bytes,
 * 16 bits to native words, 8, 24 and 32 bits are byte copies.
 *
 * Internal: acc_get, acc_put, acc_elems_to_packed, acc_packed_to_elems
 * (acc_internal.h).
 */
#include <cstring>

#include "img_proc/acc_internal.h"

namespace qv {
namespace {

// nbits bits from bit `src_bit` of src to out (from bit 0); the unused low
// bits of the last output byte are zero.
void read_bits(const uint8_t *src, size_t src_bit, size_t nbits, uint8_t *out) {
    if (nbits == 0) return;
    size_t b = src_bit >> 3, s = src_bit & 7, nb = (nbits + 7) / 8;
    if (s == 0) {
        std::memcpy(out, src + b, nb);
    } else {
        size_t end = (src_bit + nbits + 7) / 8;  // bytes of the span
        for (size_t j = 0; j < nb; ++j) {
            unsigned v = unsigned(src[b + j]) << s;
            if (b + j + 1 < end) v |= src[b + j + 1] >> (8 - s);
            out[j] = uint8_t(v);
        }
    }
    if (nbits & 7) out[nb - 1] &= uint8_t(0xFFu << (8 - (nbits & 7)));
}

// nbits bits of src (from bit 0) into dst from bit `dst_bit`; the bits
// around them are kept.
void write_bits(uint8_t *dst, size_t dst_bit, const uint8_t *src, size_t nbits) {
    size_t nb = (nbits + 7) / 8, s = dst_bit & 7, b0 = dst_bit >> 3;
    for (size_t j = 0; j < nb; ++j) {
        unsigned m = 0xFFu;
        if (j == nb - 1 && (nbits & 7)) m = (0xFFu << (8 - (nbits & 7))) & 0xFFu;
        unsigned v = src[j] & m;
        size_t b = b0 + j;
        dst[b] = uint8_t((dst[b] & ~(m >> s)) | (v >> s));
        if (s) {
            unsigned m2 = (m << (8 - s)) & 0xFFu;
            if (m2) dst[b + 1] = uint8_t((dst[b + 1] & ~m2) | ((v << (8 - s)) & 0xFFu));
        }
    }
}

void get1(const uint8_t *row, int32_t x0, int32_t n, uint8_t *out) {
    for (int32_t i = 0; i < n; ++i) {
        uint32_t x = uint32_t(x0 + i);
        out[i] = (row[x >> 3] >> (7 - (x & 7))) & 1;
    }
}
void put1(uint8_t *row, int32_t x0, int32_t n, const uint8_t *in) {
    for (int32_t i = 0; i < n; ++i) {
        uint32_t x = uint32_t(x0 + i);
        uint8_t m = uint8_t(0x80u >> (x & 7));
        row[x >> 3] = in[i] & 1 ? uint8_t(row[x >> 3] | m) : uint8_t(row[x >> 3] & ~m);
    }
}
void get4(const uint8_t *row, int32_t x0, int32_t n, uint8_t *out) {
    for (int32_t i = 0; i < n; ++i) {
        uint32_t x = uint32_t(x0 + i);
        out[i] = x & 1 ? row[x >> 1] & 0x0F : row[x >> 1] >> 4;
    }
}
void put4(uint8_t *row, int32_t x0, int32_t n, const uint8_t *in) {
    for (int32_t i = 0; i < n; ++i) {
        uint32_t x = uint32_t(x0 + i);
        uint8_t &b = row[x >> 1];
        b = x & 1 ? uint8_t((b & 0xF0) | (in[i] & 0x0F)) : uint8_t((b & 0x0F) | (in[i] << 4));
    }
}
// 16-bit pixels: little-endian in the DIB, native words in the buffer
// (copied bytewise, so the buffer needs no alignment).
void get16(const uint8_t *row, int32_t x0, int32_t n, uint8_t *out) {
    const uint8_t *p = row + size_t(x0) * 2;
    for (int32_t i = 0; i < n; ++i) {
        auto v = uint16_t(p[2 * i] | (p[2 * i + 1] << 8));
        std::memcpy(out + 2 * size_t(i), &v, 2);
    }
}
void put16(uint8_t *row, int32_t x0, int32_t n, const uint8_t *in) {
    uint8_t *p = row + size_t(x0) * 2;
    for (int32_t i = 0; i < n; ++i) {
        uint16_t v;
        std::memcpy(&v, in + 2 * size_t(i), 2);
        p[2 * i] = uint8_t(v);
        p[2 * i + 1] = uint8_t(v >> 8);
    }
}
void get_bytes(const uint8_t *row, int32_t x0, int32_t n, size_t px, uint8_t *out) {
    std::memcpy(out, row + size_t(x0) * px, size_t(n) * px);
}
void put_bytes(uint8_t *row, int32_t x0, int32_t n, size_t px, const uint8_t *in) {
    std::memcpy(row + size_t(x0) * px, in, size_t(n) * px);
}

}  // namespace

void acc_get(int32_t bpp, const uint8_t *row, int32_t x0, int32_t n, void *out, int32_t format) {
    auto *o = static_cast<uint8_t *>(out);
    if (format == 1) {
        read_bits(row, size_t(x0) * size_t(bpp), size_t(n) * size_t(bpp), o);
        return;
    }
    switch (bpp) {
        case 1: get1(row, x0, n, o); break;
        case 4: get4(row, x0, n, o); break;
        case 16: get16(row, x0, n, o); break;
        default: get_bytes(row, x0, n, size_t(bpp) / 8, o); break;  // 8, 24, 32
    }
}

void acc_put(int32_t bpp, uint8_t *row, int32_t x0, int32_t n, const void *in, int32_t format) {
    auto *i = static_cast<const uint8_t *>(in);
    if (format == 1) {
        write_bits(row, size_t(x0) * size_t(bpp), i, size_t(n) * size_t(bpp));
        return;
    }
    switch (bpp) {
        case 1: put1(row, x0, n, i); break;
        case 4: put4(row, x0, n, i); break;
        case 16: put16(row, x0, n, i); break;
        default: put_bytes(row, x0, n, size_t(bpp) / 8, i); break;
    }
}

void acc_elems_to_packed(int32_t bpp, const uint8_t *elems, int32_t n, uint8_t *packed) {
    size_t bytes = acc_span_bytes(bpp, n, 1);
    std::memset(packed, 0, bytes);
    acc_put(bpp, packed, 0, n, elems, 2);
}

void acc_packed_to_elems(int32_t bpp, const uint8_t *packed, int32_t n, uint8_t *elems) {
    acc_get(bpp, packed, 0, n, elems, 2);
}

}  // namespace qv
