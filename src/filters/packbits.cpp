/*
 * packbits.cpp - the PackBits run-length codec (see packbits.h).
 */
#include "filters/packbits.h"

#include <cstring>

namespace qv {

size_t packbits_decode(const uint8_t *src, size_t src_len, uint8_t *dst, size_t dst_len, size_t *consumed) {
    size_t i = 0, o = 0;
    while (o < dst_len && i < src_len) {
        const int8_t n = int8_t(src[i++]);
        if (n >= 0) {
            size_t len = size_t(n) + 1;
            if (len > src_len - i) len = src_len - i;
            const size_t take = len < dst_len - o ? len : dst_len - o;
            std::memcpy(dst + o, src + i, take);
            i += len;
            o += take;
        } else if (n != -128) {
            if (i >= src_len) break;
            size_t take = size_t(1 - n);
            if (take > dst_len - o) take = dst_len - o;
            std::memset(dst + o, src[i++], take);
            o += take;
        }
    }
    if (consumed) *consumed = i;
    return o;
}

size_t packbits_encode(const uint8_t *src, size_t n, uint8_t *dst) {
    uint8_t *o = dst;
    size_t i = 0;
    while (i < n) {
        size_t run = 1;
        while (i + run < n && run < 128 && src[i + run] == src[i]) ++run;
        if (run >= 3) {
            *o++ = uint8_t(int8_t(1 - int(run)));
            *o++ = src[i];
            i += run;
            continue;
        }
        size_t lit = 0;
        while (i + lit < n && lit < 128 &&
               !(i + lit + 2 < n && src[i + lit] == src[i + lit + 1] && src[i + lit] == src[i + lit + 2]))
            ++lit;
        *o++ = uint8_t(lit - 1);
        std::memcpy(o, src + i, lit);
        o += lit;
        i += lit;
    }
    return size_t(o - dst);
}

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

}  // namespace qv
