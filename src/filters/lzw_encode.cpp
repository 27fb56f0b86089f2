/*
 * lzw_encode.cpp - the TIFF LZW encoder (see lzw_encode.h).
 *
 * Strings are found through an open-addressed hash of (prefix, byte) keys.
 * The table holds codes 258 to 4093: when the next free code reaches 4094 a
 * Clear code is written and the table starts again. The width grows to
 * n + 1 bits once the next free code reaches 2^n, which a reader (whose
 * table trails the writer's by one entry) sees as the early change at
 * 2^n - 1.
 */
#include "filters/lzw_encode.h"

#include <cstring>

namespace qv {
namespace {

constexpr uint32_t kClear = 256, kEoi = 257, kLimit = 4094;

inline uint32_t hash_of(uint32_t k, int bits) { return (k * 0x9E3779B1u) >> (32 - bits); }

}  // namespace

LzwEncoder::LzwEncoder() { std::memset(keys_, 0, sizeof keys_); }

void LzwEncoder::reset_table() {
    if (++gen_ >= 4096) {
        std::memset(keys_, 0, sizeof keys_);
        gen_ = 1;
    }
    next_ = 258;
    width_ = 9;
}

#define QV_LZW_PUT(code)                                                    \
    do {                                                                    \
        acc_ = (acc_ << width_) | (code);                                   \
        bits_ += width_;                                                    \
        if (bits_ >= 32) {                                                  \
            const uint32_t w = uint32_t(acc_ >> (bits_ - 32));              \
            o[0] = uint8_t(w >> 24), o[1] = uint8_t(w >> 16);               \
            o[2] = uint8_t(w >> 8), o[3] = uint8_t(w);                      \
            o += 4;                                                         \
            bits_ -= 32;                                                    \
        }                                                                   \
    } while (0)

size_t LzwEncoder::begin(uint8_t *dst) {
    uint8_t *o = dst;
    acc_ = 0, bits_ = 0, prefix_ = -1;
    reset_table();
    QV_LZW_PUT(kClear);
    return size_t(o - dst);
}

size_t LzwEncoder::encode(const uint8_t *src, size_t n, uint8_t *dst) {
    uint8_t *o = dst;
    size_t i = 0;
    if (n == 0) return 0;
    uint32_t prefix = prefix_ < 0 ? src[i++] : uint32_t(prefix_);
    uint32_t g = gen_ << 20;
    for (; i < n; ++i) {
        const uint32_t c = src[i];
        const uint32_t k = prefix << 8 | c;
        uint32_t h = hash_of(k, kHashBits);
        const uint32_t key = g | k;
        for (;;) {
            const uint32_t e = keys_[h];
            if (e == key) {
                prefix = codes_[h];
                goto next_byte;
            }
            if ((e & 0xFFF00000u) != g) break;  // empty for this generation
            h = (h + 1) & (kHashSize - 1);
        }
        QV_LZW_PUT(prefix);
        keys_[h] = key;
        codes_[h] = uint16_t(next_);
        if (++next_ >= kLimit) {
            QV_LZW_PUT(kClear);
            reset_table();
            g = gen_ << 20;  // later keys carry the new generation
        } else if (next_ == (1u << width_)) {
            ++width_;
        }
        prefix = c;
    next_byte:;
    }
    prefix_ = int32_t(prefix);
    return size_t(o - dst);
}

size_t LzwEncoder::finish(uint8_t *dst) {
    uint8_t *o = dst;
    if (prefix_ >= 0) {
        QV_LZW_PUT(uint32_t(prefix_));
        if (++next_ >= kLimit) {
            QV_LZW_PUT(kClear);
            reset_table();
        } else if (next_ == (1u << width_)) {
            ++width_;
        }
    }
    QV_LZW_PUT(kEoi);
    while (bits_ >= 8) {
        *o++ = uint8_t(acc_ >> (bits_ - 8));
        bits_ -= 8;
    }
    if (bits_) *o++ = uint8_t(acc_ << (8 - bits_));
    acc_ = 0, bits_ = 0, prefix_ = -1;
    return size_t(o - dst);
}

#undef QV_LZW_PUT

}  // namespace qv
