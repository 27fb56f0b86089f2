/*
 * tga_read.cpp - the TGA reader, information and page-count entries.
 *
 * The 18-byte header is followed by the image ID, the colour map and the
 * pixels (raw, or run-length packets: a count byte whose high bit marks a
 * run of one repeated pixel, else a literal of count + 1 pixels; packets
 * may run on into the next row). Rows are handed over as
 *   colour-mapped           8 bits with the map as palette (index v takes
 *                           map entry v - first entry; others black)
 *   grey 1 / 8 bits         1 or 8 bits with a grey palette
 *   grey + alpha 16 bits    32 bits B, G, R, A
 *   true colour 15/16 bits  16 bits 5-5-5 (the attribute bit is dropped)
 *   24 / 32 bits            as stored (B, G, R (, A))
 * Codes: -2453 header short (iVal 18, lVal bytes read); -2456 image type,
 * depth or map entry size not read (iVal the type, lVal the depth or entry
 * size); -400 zero width or height; -2050 pixel data short (uncompressed:
 * iVal bytes needed, lVal present; run-length: iVal the row where the data
 * ran out, lVal the rows).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/tga_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\TGAREAD.C";

struct TgaHeader {
    uint8_t id_len = 0, map_type = 0, type = 0, map_entry = 0, depth = 0, desc = 0;
    uint16_t map_first = 0, map_len = 0, width = 0, height = 0;
    int64_t start = 0;
    bool rle() const { return type >= 9; }
    bool top_down() const { return (desc & 0x20) != 0; }
    bool right_to_left() const { return (desc & 0x10) != 0; }
    uint32_t pixel_bytes() const { return (depth + 7u) / 8u; }
    // Depth of the rows handed over.
    uint16_t out_bpp() const {
        if (type == 1 || type == 9) return 8;
        if (type == 3 || type == 11) return depth == 16 ? 32 : depth;
        return depth == 15 ? 16 : depth;
    }
};

int32_t parse(VPb_STREAM *s, TgaHeader *h) {
    uint8_t b[18];
    h->start = VPb_IO_tell(s);
    int32_t got = VPb_IO_read(s, b, 18);
    if (got != 18) return QV_ERR(QVE_FILE_SHORT, 18, got < 0 ? 0 : got);
    h->id_len = b[0], h->map_type = b[1], h->type = b[2];
    h->map_first = get_le16(b + 3), h->map_len = get_le16(b + 5), h->map_entry = b[7];
    h->width = get_le16(b + 12), h->height = get_le16(b + 14);
    h->depth = b[16], h->desc = b[17];
    bool ok;
    switch (h->type) {
    case 1:
    case 9: ok = h->depth == 8 && h->map_type == 1; break;
    case 2:
    case 10: ok = h->depth == 15 || h->depth == 16 || h->depth == 24 || h->depth == 32; break;
    case 3: ok = h->depth == 1 || h->depth == 8 || h->depth == 16; break;
    case 11: ok = h->depth == 8 || h->depth == 16; break;
    default: ok = false;
    }
    if (!ok) return QV_ERR(QVE_VARIANT, h->type, h->depth);
    if (h->map_type == 1 && h->map_len > 0 && h->map_entry != 15 && h->map_entry != 16 &&
        h->map_entry != 24 && h->map_entry != 32)
        return QV_ERR(QVE_VARIANT, h->type, h->map_entry);
    if (h->width == 0 || h->height == 0) return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
    return 0;
}

// 5-5-5 pixel (low byte first) to B, G, R.
void rgb555(uint32_t v, uint8_t *bgr) {
    bgr[0] = uint8_t((v & 31) * 255 / 31);
    bgr[1] = uint8_t(((v >> 5) & 31) * 255 / 31);
    bgr[2] = uint8_t(((v >> 10) & 31) * 255 / 31);
}

// Reads the colour map into a 256-entry palette.
int32_t read_map(VPb_STREAM *s, const TgaHeader &h, QV_RGBQUAD *pal, uint32_t tag) {
    if (h.map_type != 1 || h.map_len == 0) return 0;
    uint32_t eb = (h.map_entry + 7u) / 8u;
    size_t bytes = size_t(h.map_len) * eb;
    auto *map = filter_alloc_array<uint8_t>(tag, bytes);
    if (!map) return QV_ERR(QVE_NO_MEMORY, bytes, tag);
    int32_t got = VPb_IO_read(s, map, int32_t(bytes));
    if (got != int32_t(bytes)) return QV_ERR(QVE_SHORT_READ, bytes, got < 0 ? 0 : got);
    for (uint32_t k = 0; k < h.map_len; ++k) {
        uint32_t i = uint32_t(h.map_first) + k;
        if (i > 255) break;
        const uint8_t *e = map + size_t(k) * eb;
        uint8_t bgr[3];
        if (eb == 2) rgb555(get_le16(e), bgr);
        else bgr[0] = e[0], bgr[1] = e[1], bgr[2] = e[2];
        pal[i] = QV_RGBQUAD{bgr[0], bgr[1], bgr[2], 0};
    }
    return 0;
}

// Whether the version 2 footer's extension area says the attribute bits are
// not alpha (attribute type 0, 1 or 2).
bool alpha_disowned(VPb_STREAM *s, const TgaHeader &h) {
    int64_t end = VPb_IO_data_end(s);
    if (end < h.start + 18 + 26) return false;
    uint8_t foot[26];
    if (VPb_IO_seek(s, end - 26, 0) < 0 || VPb_IO_read(s, foot, 26) != 26) return false;
    if (std::memcmp(foot + 8, "TRUEVISION-XFILE.", 18) != 0) return false;
    uint32_t ext = get_le32(foot);
    if (ext == 0 || h.start + int64_t(ext) + 495 > end - 26) return false;
    uint8_t area[2], attr = 0;
    if (VPb_IO_seek(s, h.start + ext, 0) < 0 || VPb_IO_read(s, area, 2) != 2) return false;
    if (get_le16(area) < 495) return false;
    if (VPb_IO_seek(s, h.start + ext + 494, 0) < 0 || VPb_IO_read(s, &attr, 1) != 1) return false;
    return attr <= 2;
}

// Run-length decoding that carries its packet over row ends.
struct RleState {
    uint32_t left = 0;  // pixels still due from the current packet
    bool run = false;
    uint8_t value[4] = {0, 0, 0, 0};
};

void rle_row(ByteReader &in, RleState &st, uint32_t pb, uint32_t n, uint8_t *dst) {
    uint32_t done = 0;
    while (done < n) {
        if (st.left == 0) {
            int c = in.get();
            if (c < 0) {
                std::memset(dst + size_t(done) * pb, 0, size_t(n - done) * pb);
                return;
            }
            st.left = uint32_t(c & 0x7F) + 1;
            st.run = (c & 0x80) != 0;
            if (st.run) in.read(st.value, pb);
        }
        uint32_t take = st.left < n - done ? st.left : n - done;
        uint8_t *p = dst + size_t(done) * pb;
        if (!st.run) {
            in.read(p, size_t(take) * pb);
        } else if (pb == 1) {
            std::memset(p, st.value[0], take);
        } else {
            for (uint32_t k = 0; k < take; ++k) std::memcpy(p + size_t(k) * pb, st.value, pb);
        }
        done += take;
        st.left -= take;
    }
}

// File pixels of one row -> the delivered row.
void convert(const TgaHeader &h, const uint8_t *in, uint8_t *out, bool opaque) {
    const uint32_t w = h.width;
    if (h.depth == 16 && (h.type == 3 || h.type == 11)) {
        for (uint32_t x = 0; x < w; ++x) {
            uint8_t l = in[2 * x];
            out[4 * x] = out[4 * x + 1] = out[4 * x + 2] = l;
            out[4 * x + 3] = opaque ? 255 : in[2 * x + 1];
        }
    } else if (in != out) {
        std::memcpy(out, in, (size_t(w) * h.depth + 7) / 8);
    }
    if (h.depth == 32 && opaque)
        for (uint32_t x = 0; x < w; ++x) out[4 * x + 3] = 255;
}

void reverse_pixels(uint8_t *row, uint32_t w, uint32_t pb) {
    for (uint32_t a = 0, b = w - 1; a < b; ++a, --b)
        for (uint32_t k = 0; k < pb; ++k) {
            uint8_t t = row[a * pb + k];
            row[a * pb + k] = row[b * pb + k];
            row[b * pb + k] = t;
        }
}

void fill_info(const TgaHeader &h, QV_DIB_HEADER *info) {
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, h.width, h.height, h.out_bpp(), QV_BI_RGB, 0, 0);
}

}  // namespace

int32_t tga_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    TgaHeader h;
    if (int32_t st = parse(s, &h)) return st;
    QV_RGBQUAD pal[256] = {};
    int64_t map_at = h.start + 18 + h.id_len;
    bool opaque = (h.depth == 32 || h.depth == 16) && alpha_disowned(s, h);
    if (VPb_IO_seek(s, map_at, 0) < 0) return QV_ERR(QVE_SEEK, map_at, 0);
    if (int32_t st = read_map(s, h, pal, work.tag())) return st;
    if (h.type == 3 || h.type == 11) grey_palette(pal, h.depth == 1 ? 2 : 256);
    const uint32_t pb = h.pixel_bytes();
    const size_t file_row = h.depth == 1 ? (size_t(h.width) + 7) / 8 : size_t(h.width) * pb;
    const int64_t data_at = VPb_IO_tell(s);
    if (!h.rle()) {
        uint64_t needed = uint64_t(file_row) * h.height;
        int64_t end = VPb_IO_data_end(s);
        if (end >= 0 && uint64_t(end > data_at ? end - data_at : 0) < needed)
            return QV_ERR(QVE_SHORT_READ, needed > INT32_MAX ? INT32_MAX : needed,
                          end > data_at ? end - data_at : 0);
    }

    MaskedHeader mh;
    dib_header_init(&mh, h.width, h.height, h.out_bpp());
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, h.out_bpp() <= 8 ? pal : nullptr, work.tag())) return st;
    ByteReader in(s, work.tag());
    auto *pixels = filter_alloc_array<uint8_t>(work.tag(), file_row + 8);
    if (!in.ok() || !pixels) return QV_ERR(QVE_NO_MEMORY, file_row + 8, work.tag());
    const bool in_place = h.out_bpp() == (h.depth == 15 ? 16 : h.depth);
    RleState rle;
    for (uint32_t i = 0; i < h.height; ++i) {
        int32_t r = h.top_down() ? int32_t(i) : int32_t(h.height - 1 - i);
        uint8_t *dst = out.row(r);
        uint8_t *src = in_place ? dst : pixels;
        if (h.rle()) rle_row(in, rle, pb, h.width, src);
        else in.read(src, file_row);
        if (in.missing()) return QV_ERR(QVE_SHORT_READ, i, h.height);
        if (h.right_to_left() && h.depth != 1) reverse_pixels(src, h.width, pb);
        convert(h, src, dst, opaque);
        if (int32_t st = out.put(r)) return st;
    }
    const int32_t st = out.finish();
    return st == 0 && h.out_bpp() == 32 && !opaque ? VPb_IO_alpha_split(s) : st;
}

int32_t tga_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    TgaHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    fill_info(h, info);
    *format_type = kTgaFormatType;
    *value = h.rle() ? 7 : 0;  // the library's compression codes: RLE, none
    return 0;
}

int32_t tga_pages(VPb_STREAM *stream, void *, int32_t *count) {
    TgaHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
