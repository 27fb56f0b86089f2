/*
 * io_rle.cpp - expansion of byte-oriented run-length records, shared by
 * readers of formats that store rows as (count, literal bytes) and
 * (count | 0x80, repeated byte) records.
 *
 * Exported: VPb_IO_rle_expand.
 */
#include <algorithm>
#include <cstring>

#include "vosk32pd_bridge.h"

extern "C" QV_API int32_t VPb_IO_rle_expand(const uint8_t *src, int32_t src_len, uint8_t *dst,
                                            int32_t dst_len, int32_t *consumed) {
    int32_t in = 0, out = 0;
    while (in < src_len && out < dst_len) {
        uint8_t head = src[in++];
        int32_t n = head & 0x7F;
        if (n == 0) break;
        if (head & 0x80) {
            if (in >= src_len) break;
            uint8_t value = src[in++];
            int32_t k = std::min(n, dst_len - out);
            std::memset(dst + out, value, static_cast<size_t>(k));
            out += k;
        } else {
            int32_t k = std::min({n, dst_len - out, src_len - in});
            std::memcpy(dst + out, src + in, static_cast<size_t>(k));
            out += k;
            in += k;
        }
    }
    if (consumed) *consumed = in;
    return out;
}
