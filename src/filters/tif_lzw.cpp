/*
 * tif_lzw.cpp - the LZW strip codec of TIFF (compression 5), registered in
 * codec slot 8 at start-up.
 *
 * Codes of 9 to 12 bits, first bit highest, 256 clears the table and 257
 * ends the strip; the code width grows one code early (at 511, 1023 and
 * 2047 entries). Strips written by old encoders (first byte 0 and the low
 * bit of the second set) hold codes low bit first and grow the width at
 * 512, 1024 and 2048.
 *
 * A strip decodes into one buffer: every table entry is a (position,
 * length) pair in the output already written, since the string of a new
 * entry is the previous code's string followed by the first byte after it.
 * A code therefore costs one short copy; nothing is chained.
 *
 * Predictor 2 (horizontal differencing) is undone per row for 8- and 16-bit
 * samples (16-bit in the file's byte order). Planar pages decode strip s of
 * every plane, then hand the rows over plane by plane.
 * Data that ends early leaves the rest of the strip 0; a code that is not
 * in the table ends the strip there. Codes (iVal, lVal): -1000 (size, 0)
 * out of memory; -2459 (strip, offsets) a strip without an offset; -2051
 * (strip bytes, strip) a strip that cannot be read.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/tif_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\TIFLZW.C";
constexpr int kClear = 256, kEoi = 257, kFirst = 258, kMaxCodes = 4096;

inline void copy_short(uint8_t *dst, const uint8_t *src, size_t n) {
    // 8 bytes at a time; the output buffer has slack past its end and the
    // source always lies before the destination.
    if (n <= 8) {
        uint64_t v;
        std::memcpy(&v, src, 8);
        std::memcpy(dst, &v, 8);
        return;
    }
    for (size_t i = 0; i < n; i += 8) {
        uint64_t v;
        std::memcpy(&v, src + i, 8);
        std::memcpy(dst + i, &v, 8);
    }
}

template <bool kMsbFirst>
size_t decode(const uint8_t *src, size_t src_len, uint8_t *dst, size_t dst_len) {
    uint32_t pos_of[kMaxCodes];
    uint16_t len_of[kMaxCodes];
    for (int i = 0; i < 256; ++i) len_of[i] = 1;
    const int early = kMsbFirst ? 1 : 0;
    const uint64_t total = uint64_t(src_len) * 8;
    uint64_t used = 0, acc = 0;
    int have = 0;
    size_t in = 0, out = 0, old_at = 0;
    int width = 9, next = kFirst, old = -1;
    while (out < dst_len && used + unsigned(width) <= total) {
        if (have < width) {
            while (have <= 56) {
                const uint64_t b = in < src_len ? src[in] : 0;
                ++in;
                if (kMsbFirst) acc |= b << (56 - have);
                else acc |= b << have;
                have += 8;
            }
        }
        int code;
        if (kMsbFirst) {
            code = int(acc >> (64 - width));
            acc <<= width;
        } else {
            code = int(acc & ((1u << width) - 1));
            acc >>= width;
        }
        have -= width;
        used += unsigned(width);
        if (code == kEoi) break;
        if (code == kClear) {
            width = 9, next = kFirst, old = -1;
            continue;
        }
        const size_t at = out;
        if (code < 256) {
            dst[out++] = uint8_t(code);
        } else if (code < next && old >= 0) {
            size_t n = len_of[code];
            if (n > dst_len - out) n = dst_len - out;
            copy_short(dst + out, dst + pos_of[code], n);
            out += n;
        } else if (code == next && old >= 0) {
            // The previous string followed by its own first byte.
            const size_t n0 = len_of[old];
            if (n0 + 1 > dst_len - out) {
                const size_t n = dst_len - out;
                for (size_t i = 0; i < n; ++i) dst[out + i] = dst[old_at + (i < n0 ? i : 0)];
                out += n;
                break;
            }
            copy_short(dst + out, dst + old_at, n0);
            dst[out + n0] = dst[old_at];
            out += n0 + 1;
        } else {
            break;  // not in the table
        }
        // New entry: the previous string and the first byte written now,
        // which follow each other in the output.
        if (old >= 0 && next < kMaxCodes) {
            pos_of[next] = uint32_t(old_at);
            len_of[next] = uint16_t(len_of[old] + 1);
            ++next;
            if (next + early >= (1 << width) && width < 12) ++width;
        }
        old = code;
        old_at = at;
    }
    return out;
}

void undo_predictor(uint8_t *row, int32_t width, int32_t samples, int32_t bits, int32_t order) {
    if (bits == 8) {
        const size_t n = size_t(width) * samples;
        for (size_t i = size_t(samples); i < n; ++i) row[i] = uint8_t(row[i] + row[i - samples]);
    } else if (bits == 16) {
        const size_t n = size_t(width) * samples;
        auto get = [&](size_t i) -> uint16_t {
            return order ? uint16_t(row[2 * i] << 8 | row[2 * i + 1]) : uint16_t(row[2 * i] | row[2 * i + 1] << 8);
        };
        auto put = [&](size_t i, uint16_t v) {
            if (order) row[2 * i] = uint8_t(v >> 8), row[2 * i + 1] = uint8_t(v);
            else row[2 * i] = uint8_t(v), row[2 * i + 1] = uint8_t(v >> 8);
        };
        for (size_t i = size_t(samples); i < n; ++i) put(i, uint16_t(get(i) + get(i - samples)));
    }
}

}  // namespace

size_t tif_lzw_decode(const uint8_t *src, size_t src_len, uint8_t *dst, size_t dst_len) {
    if (src_len >= 2 && src[0] == 0 && (src[1] & 1)) return decode<false>(src, src_len, dst, dst_len);
    return decode<true>(src, src_len, dst, dst_len);
}

int32_t tif_lzw_codec(const VPb_TIF_CODEC_ARGS *a) {
    const int32_t planes = a->planar == 2 ? a->samples : 1;
    int32_t total_bits = 0;
    for (int i = 0; i < a->samples && i < 7; ++i) total_bits += a->bits[i];
    const int32_t row_bits = a->planar == 2 ? a->bits[0] : total_bits;
    const size_t rb = (size_t(row_bits) * size_t(a->width) + 7) / 8;
    const int32_t sp = a->planar == 2 ? 1 : a->samples;
    size_t strip_bytes = 0, all = 0;
    if (!VPb_size_mul(rb, size_t(a->rows_per_strip), &strip_bytes) ||
        !VPb_size_mul(strip_bytes + 16, size_t(planes), &all))
        return QV_ERR(QVE_NO_MEMORY, -1, 0);
    uint8_t *out = static_cast<uint8_t *>(VPb_AF_mem_alloc(a->tag, all));
    if (!out) return QV_ERR(QVE_NO_MEMORY, int32_t(all), 0);
    const int64_t end = VPb_IO_data_end(a->stream);
    uint8_t *in = nullptr;
    size_t in_cap = 0;
    int32_t y = 0;
    int32_t rc = 0;
    for (int32_t s = 0; s < a->strips && y < a->height && rc == 0; ++s) {
        const int32_t rows = a->height - y < a->rows_per_strip ? a->height - y : a->rows_per_strip;
        for (int32_t pl = 0; pl < planes; ++pl) {
            const int64_t idx = int64_t(pl) * a->strips_per_plane + s;
            if (idx >= a->offset_count) return QV_ERR(QVE_TIFF_OFFSETS, s, a->offset_count);
            const int64_t at = a->base + a->offsets[idx];
            int64_t n = a->byte_counts ? int64_t(a->byte_counts[idx]) : (end >= 0 ? end - at : 0);
            if (end >= 0 && at + n > end) n = end - at;
            if (n < 0) n = 0;
            if (n > 0x7FFFFFF0) n = 0x7FFFFFF0;
            if (size_t(n) > in_cap) {
                if (in) VPb_AF_mem_free(a->tag, in);
                in_cap = size_t(n);
                in = static_cast<uint8_t *>(VPb_AF_mem_alloc(a->tag, in_cap));
                if (!in) return QV_ERR(QVE_NO_MEMORY, int32_t(n), 0);
            }
            int32_t got = 0;
            if (n > 0) {
                if (VPb_IO_seek(a->stream, at, 0) != at) return QV_ERR(QVE_BUFFER_FAILED, int32_t(n), s);
                got = VPb_IO_read(a->stream, in, int32_t(n));
                if (got < 0) got = 0;
            }
            uint8_t *dst = out + size_t(pl) * (strip_bytes + 16);
            const size_t want = rb * size_t(rows);
            const size_t done = tif_lzw_decode(in, size_t(got), dst, want);
            if (done < want) std::memset(dst + done, 0, want - done);
            if (a->predictor == 2)
                for (int32_t r = 0; r < rows; ++r)
                    undo_predictor(dst + size_t(r) * rb, a->width, sp, a->bits[0], a->byte_order);
        }
        for (int32_t r = 0; r < rows && rc == 0; ++r)
            for (int32_t pl = 0; pl < planes && rc == 0; ++pl)
                rc = a->row(a->user, y + r, pl, out + size_t(pl) * (strip_bytes + 16) + size_t(r) * rb);
        y += rows;
    }
    if (in) VPb_AF_mem_free(a->tag, in);
    VPb_AF_mem_free(a->tag, out);
    return rc;
}

}  // namespace qv
