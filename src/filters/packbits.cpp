/*
 * packbits.cpp - PackBits decoding and encoding, a row at a time.
 */
#include "filters/packbits.h"

#include <cstring>

namespace qv {

size_t packbits_decode_row(const uint8_t *src, size_t src_len, uint8_t *dst, size_t row_bytes,
                           size_t *filled) {
    size_t in = 0, out = *filled;
    while (out < row_bytes && in < src_len) {
        const int n = int8_t(src[in]);
        if (n == -128) {
            ++in;
            continue;
        }
        if (n < 0) {
            if (in + 2 > src_len) break;
            size_t k = size_t(1 - n);
            if (k > row_bytes - out) k = row_bytes - out;
            std::memset(dst + out, src[in + 1], k);
            out += k;
            in += 2;
        } else {
            size_t k = size_t(n) + 1;
            if (k > row_bytes - out) k = row_bytes - out;
            if (in + 1 + k > src_len) break;
            std::memcpy(dst + out, src + in + 1, k);
            out += k;
            in += 1 + k;
        }
    }
    *filled = out;
    return in;
}

size_t packbits_encode_row(const uint8_t *src, size_t n, uint8_t *dst) {
    size_t in = 0, out = 0;
    while (in < n) {
        // Length of the repeat starting here.
        size_t r = 1;
        while (in + r < n && r < 128 && src[in + r] == src[in]) ++r;
        if (r >= 3 || (r == 2 && (in == 0 || in + 2 == n))) {
            dst[out++] = uint8_t(int8_t(1 - int(r)));
            dst[out++] = src[in];
            in += r;
            continue;
        }
        // A literal up to the next repeat of 3 or the 128-byte limit.
        size_t start = in, len = 0;
        while (in < n && len < 128) {
            if (in + 2 < n && src[in] == src[in + 1] && src[in] == src[in + 2]) break;
            ++in, ++len;
        }
        dst[out++] = uint8_t(len - 1);
        std::memcpy(dst + out, src + start, len);
        out += len;
    }
    return out;
}

}  // namespace qv
