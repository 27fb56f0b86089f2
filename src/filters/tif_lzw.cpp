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
 * length) pair in the output already written (the one-byte strings in a
 * constant table), since the string of a new entry is the previous code's
 * string followed by the first byte after it. A code therefore costs one
 * short copy; nothing is chained.
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

// The 256 one-byte strings, with room for an 8-byte read past the last.
struct Literals {
    uint8_t b[256 + 8];
    constexpr Literals() : b() {
        for (int i = 0; i < 256; ++i) b[i] = uint8_t(i);
    }
};
constexpr Literals kLiterals;

template <bool kMsbFirst>
size_t decode(const uint8_t *src, size_t src_len, uint8_t *dst, size_t dst_len) {
    // Every code's string: where it lies (the literal table or the output
    // already written) and its length.
    const uint8_t *from[kMaxCodes];
    uint16_t len_of[kMaxCodes];
    for (int i = 0; i < 256; ++i) from[i] = kLiterals.b + i, len_of[i] = 1;
    const int early = kMsbFirst ? 1 : 0;
    int64_t left = int64_t(src_len) * 8;  // bits not yet taken
    const uint8_t *p = src, *const end = src + src_len;
    uint64_t acc = 0;  // kMsbFirst: bits from the top; else from the bottom
    int have = 0;
    size_t out = 0;
    int width = 9, next = kFirst, old = -1, limit = (1 << 9) - early;
    uint8_t *old_at = dst;
    while (out < dst_len) {
        if (have < 12) {
            if (end - p >= 8) {
                uint64_t v;
                std::memcpy(&v, p, 8);
                const int take = (63 - have) >> 3;
                if (kMsbFirst) acc |= __builtin_bswap64(v) >> have;
                else acc |= v << have;
                p += take;
                have += take * 8;
                if (!kMsbFirst) acc &= (uint64_t(1) << have) - 1;
                if (kMsbFirst) acc &= ~uint64_t(0) << (64 - have);
            } else {
                while (have <= 56) {
                    const uint64_t b = p < end ? *p : 0;
                    ++p;
                    if (kMsbFirst) acc |= b << (56 - have);
                    else acc |= b << have;
                    have += 8;
                }
            }
        }
        left -= width;
        if (left < 0) break;  // the data ended
        int code;
        if (kMsbFirst) {
            code = int(acc >> (64 - width));
            acc <<= width;
        } else {
            code = int(acc & ((1u << width) - 1));
            acc >>= width;
        }
        have -= width;
        uint8_t *const at = dst + out;
        if (__builtin_expect(code < next && code != kClear && code != kEoi, 1)) {
            size_t n = len_of[code];
            if (__builtin_expect(n > dst_len - out, 0)) n = dst_len - out;
            copy_short(at, from[code], n);
            out += n;
        } else if (code == kClear) {
            width = 9, next = kFirst, old = -1, limit = (1 << 9) - early;
            continue;
        } else if (code == next && old >= 0) {
            // The previous string followed by its own first byte.
            const size_t n0 = len_of[old];
            if (n0 + 1 > dst_len - out) {
                const size_t n = dst_len - out;
                for (size_t i = 0; i < n; ++i) at[i] = old_at[i < n0 ? i : 0];
                out += n;
                break;
            }
            copy_short(at, old_at, n0);
            at[n0] = old_at[0];
            out += n0 + 1;
        } else {
            break;  // end of information, or a code not in the table
        }
        // New entry: the previous string and the first byte written now,
        // which follow each other in the output.
        if (__builtin_expect(old >= 0, 1) && next < kMaxCodes) {
            from[next] = old_at;
            len_of[next] = uint16_t(len_of[old] + 1);
            if (++next >= limit && width < 12) {
                ++width;
                limit = (1 << width) - early;
            }
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
    if (!src || src_len == 0) return 0;
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
