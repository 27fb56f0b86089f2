/*
 * lzw_encode.h - the LZW encoder of TIFF compression 5 (codes of 9 to 12
 * bits written high bit first, Clear 256, EndOfInformation 257, the code
 * width growing one code early as TIFF readers expect).
 *
 *   LzwEncoder::begin(dst)        a new strip: the Clear code
 *   LzwEncoder::encode(src, n, dst)  more bytes of the strip
 *   LzwEncoder::finish(dst)       the last string, EndOfInformation, the
 *                                 last partial byte (zero padded)
 * Each returns the bytes it stored at dst; dst must hold
 * lzw_encode_max_bytes(n) bytes (finish and begin: 16).
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

inline size_t lzw_encode_max_bytes(size_t n) { return n + n / 2 + n / 256 + 32; }

class LzwEncoder {
public:
    LzwEncoder();
    size_t begin(uint8_t *dst);
    size_t encode(const uint8_t *src, size_t n, uint8_t *dst);
    size_t finish(uint8_t *dst);

private:
    static constexpr int kHashBits = 14;
    static constexpr uint32_t kHashSize = 1u << kHashBits;
    void reset_table();
    // Keys: generation << 20 | prefix << 8 | byte; a slot of another
    // generation is empty, so a Clear costs no pass over the table.
    uint32_t keys_[kHashSize];
    uint16_t codes_[kHashSize];
    uint32_t gen_ = 0;
    int32_t prefix_ = -1;
    uint32_t next_ = 258;
    uint32_t width_ = 9;
    uint64_t acc_ = 0;
    uint32_t bits_ = 0;
};

}  // namespace qv
