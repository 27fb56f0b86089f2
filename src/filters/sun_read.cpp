/*
 * sun_read.cpp - the Sun raster reader, information and page-count entries.
 *
 * A 32-byte big-endian header (magic 0x59A66A95, width, height, depth, data
 * length, type, map type, map length), the colour map (map type 1: all red
 * values, then all green, then all blue; map type 2 is skipped), then rows
 * padded to an even byte count. Type 2 data is byte-encoded: 0x80 0 stands
 * for one 0x80 byte, 0x80 n v for n + 1 bytes v, any other byte for itself.
 * Codes: -2453 header short (iVal 32, lVal bytes read); -400 zero width or
 * height (iVal width, lVal height); -2456 type, depth or map not read (iVal
 * the value, lVal the field: 1 type, 2 depth, 3 map type, 4 map length);
 * -2050 data short (iVal the rows complete, lVal the rows).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pixel_shuffle.h"
#include "filters/raster_io.h"
#include "filters/sun_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\RASREAD.C";

struct SunHeader {
    uint32_t width = 0, height = 0, depth = 0, length = 0, type = 0, map_type = 0, map_len = 0;
    uint16_t out_bpp() const { return depth == 1 ? 1 : depth == 8 ? 8 : 24; }
    size_t row_bytes() const {
        size_t b = (size_t(width) * depth + 7) / 8;
        return b + (b & 1);
    }
};

int32_t parse(VPb_STREAM *s, SunHeader *h) {
    uint8_t b[32];
    int32_t got = VPb_IO_read(s, b, 32);
    if (got != 32) return QV_ERR(QVE_FILE_SHORT, 32, got < 0 ? 0 : got);
    if (get_be32(b) != 0x59A66A95u) return QV_ERR(QVE_BAD_HEADER, get_be32(b), 0);
    h->width = get_be32(b + 4), h->height = get_be32(b + 8), h->depth = get_be32(b + 12);
    h->length = get_be32(b + 16), h->type = get_be32(b + 20);
    h->map_type = get_be32(b + 24), h->map_len = get_be32(b + 28);
    if (h->type > 3) return QV_ERR(QVE_VARIANT, h->type, 1);
    if (h->depth != 1 && h->depth != 8 && h->depth != 24 && h->depth != 32)
        return QV_ERR(QVE_VARIANT, h->depth, 2);
    if (h->map_type > 2) return QV_ERR(QVE_VARIANT, h->map_type, 3);
    if (h->map_len > (1u << 20)) return QV_ERR(QVE_VARIANT, h->map_len, 4);
    if (h->width == 0 || h->height == 0 || h->width > 0x7FFFFFF || h->height > 0x7FFFFFF)
        return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
    return 0;
}

// Byte-encoded data: decodes the next n bytes, carrying a run over calls.
struct RleState {
    uint32_t left = 0;
    uint8_t value = 0;
};

void rle_bytes(ByteReader &in, RleState &st, uint8_t *dst, size_t n) {
    size_t done = 0;
    while (done < n) {
        if (st.left == 0) {
            int c = in.get();
            if (c < 0) {
                std::memset(dst + done, 0, n - done);
                return;
            }
            if (c != 0x80) {
                dst[done++] = uint8_t(c);
                continue;
            }
            int k = in.get();
            if (k == 0) {
                dst[done++] = 0x80;
                continue;
            }
            st.left = uint32_t(k < 0 ? 0 : k) + 1;
            st.value = in.byte();
            if (k < 0) return;
        }
        size_t take = st.left < n - done ? st.left : n - done;
        std::memset(dst + done, st.value, take);
        done += take;
        st.left -= uint32_t(take);
    }
}

}  // namespace

int32_t sun_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    SunHeader h;
    if (int32_t st = parse(s, &h)) return st;
    QV_RGBQUAD pal[256];
    grey_palette(pal, 256);
    if (h.depth == 1) pal[0] = QV_RGBQUAD{255, 255, 255, 0}, pal[1] = QV_RGBQUAD{0, 0, 0, 0};
    if (h.map_len > 0) {
        auto *map = filter_alloc_array<uint8_t>(work.tag(), h.map_len);
        if (!map) return QV_ERR(QVE_NO_MEMORY, h.map_len, work.tag());
        int32_t got = VPb_IO_read(s, map, int32_t(h.map_len));
        if (got != int32_t(h.map_len)) return QV_ERR(QVE_SHORT_READ, h.map_len, got < 0 ? 0 : got);
        if (h.map_type == 1 && h.depth <= 8) {
            uint32_t n = h.map_len / 3;
            for (uint32_t i = 0; i < n && i < 256; ++i)
                pal[i] = QV_RGBQUAD{map[2 * n + i], map[n + i], map[i], 0};
        }
    }
    const size_t file_row = h.row_bytes();
    if (h.type != 2) {
        int64_t at = VPb_IO_tell(s), end = VPb_IO_data_end(s);
        if (end >= 0 && uint64_t(end - at) < uint64_t(file_row) * h.height)
            return QV_ERR(QVE_SHORT_READ, uint64_t(end - at) / file_row, h.height);
    }
    MaskedHeader mh;
    dib_header_init(&mh, int32_t(h.width), int32_t(h.height), h.out_bpp());
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, h.out_bpp() <= 8 ? pal : nullptr, work.tag())) return st;
    ByteReader in(s, work.tag());
    auto *line = filter_alloc_array<uint8_t>(work.tag(), file_row + 8);
    if (!in.ok() || !line) return QV_ERR(QVE_NO_MEMORY, file_row, work.tag());
    const bool rgb_order = h.type == 3;
    RleState rle;
    const size_t w = h.width;
    for (uint32_t r = 0; r < h.height; ++r) {
        uint8_t *dst = out.row(int32_t(r));
        const bool in_place = h.depth <= 8 || (h.depth == 24 && !rgb_order);
        uint8_t *src = in_place ? dst : line;
        const size_t used = (w * h.depth + 7) / 8;
        if (h.type == 2) {
            rle_bytes(in, rle, src, used);
            if (file_row > used) {
                uint8_t pad;
                rle_bytes(in, rle, &pad, 1);
            }
        } else {
            in.read(src, used);
            in.skip(file_row - used);
        }
        if (in.missing()) return QV_ERR(QVE_SHORT_READ, r, h.height);
        if (h.depth == 1 && (w & 7)) dst[used - 1] &= uint8_t(0xFF00 >> (w & 7));
        if (h.depth == 24 && rgb_order) {
            swap3(src, w, dst);
        } else if (h.depth == 32) {
            for (size_t x = 0; x < w; ++x) {
                const uint8_t *p = src + 4 * x;  // X, B, G, R (type 3: X, R, G, B)
                uint8_t *o = dst + 3 * x;
                if (rgb_order) o[0] = p[3], o[1] = p[2], o[2] = p[1];
                else o[0] = p[1], o[1] = p[2], o[2] = p[3];
            }
        }
        if (int32_t st = out.put(int32_t(r))) return st;
    }
    return out.finish();
}

int32_t sun_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    SunHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, int32_t(h.width), int32_t(h.height), h.out_bpp(), QV_BI_RGB, 0, 0);
    *format_type = kSunFormatType;
    *value = h.type == 2 ? 7 : 0;  // RLE, none
    return 0;
}

int32_t sun_pages(VPb_STREAM *stream, void *, int32_t *count) {
    SunHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
