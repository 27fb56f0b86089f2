/*
 * xwd_read.cpp - the XWD reader, information and page-count entries.
 *
 * Version 7: 25 big-endian 32-bit fields (header size, version, format,
 * depth, width, height, x offset, byte order, bitmap unit, bit order,
 * bitmap pad, bits per pixel, bytes per line, visual class, red, green and
 * blue masks, bits per RGB, colour-map entries, colour count, window
 * geometry), the window name up to the header size, the colour count's
 * 12-byte entries (pixel, red, green, blue as 16-bit values, flags, pad),
 * then the rows of bytes per line each. Colour-map values are scaled from
 * 16 to 8 bits with rounding.
 * Version 6: 7 32-bit fields (header size, version, display type, planes,
 * format, width, height) and six 16-bit ones (window geometry, colour
 * count), the name, 8-byte colour entries (pixel, red, green, blue, 16 bits
 * each), then rows: bitmaps 16-bit aligned, Z format a byte a pixel.
 * Codes: -2453 header short (iVal the bytes needed, lVal read); -400 zero
 * size or a header size below the fields (iVal width, lVal height); -2391
 * depth above 8 that is not TrueColor/DirectColor of 24 or 32 bits per
 * pixel (iVal the depth, lVal the bits per pixel); -2456 a form not read
 * (iVal the format, lVal the bits per pixel); -2050 rows short (iVal the
 * bytes needed, lVal present).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pixel_shuffle.h"
#include "filters/raster_io.h"
#include "filters/xwd_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\XWDREAD.C";

struct XwdHeader {
    uint32_t header_size = 0, version = 0, format = 0, depth = 0, width = 0, height = 0;
    uint32_t byte_order = 1, bit_order = 1, bpp = 0, bytes_per_line = 0, visual = 0;
    uint32_t masks[3] = {0, 0, 0};
    uint32_t ncolors = 0, colour_entry = 12;
    uint16_t out_bpp() const { return depth > 8 ? 24 : uint16_t(bpp); }
};

int32_t parse(VPb_STREAM *s, XwdHeader *h) {
    uint8_t b[100];
    int32_t got = VPb_IO_read(s, b, 8);
    if (got != 8) return QV_ERR(QVE_FILE_SHORT, 8, got < 0 ? 0 : got);
    h->header_size = get_be32(b), h->version = get_be32(b + 4);
    if (h->version == 6) {
        got = VPb_IO_read(s, b + 8, 32);
        if (got != 32) return QV_ERR(QVE_FILE_SHORT, 40, 8 + (got < 0 ? 0 : got));
        h->depth = get_be32(b + 12), h->format = get_be32(b + 16);
        h->width = get_be32(b + 20), h->height = get_be32(b + 24);
        h->ncolors = get_be16(b + 38), h->colour_entry = 8;
        if (h->header_size < 40) return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
        if (h->depth > 8) return QV_ERR(QVE_XWD_DEPTH, h->depth, 8);
        if (h->format == 0) {
            h->depth = h->bpp = 1, h->bytes_per_line = (h->width + 15) / 16 * 2;
            h->bit_order = 0;
        } else if (h->format == 2) {
            h->bpp = 8, h->bytes_per_line = h->width;
        } else {
            return QV_ERR(QVE_VARIANT, h->format, h->depth);
        }
    } else {
        got = VPb_IO_read(s, b + 8, 92);
        if (got != 92) return QV_ERR(QVE_FILE_SHORT, 100, 8 + (got < 0 ? 0 : got));
        h->format = get_be32(b + 8), h->depth = get_be32(b + 12);
        h->width = get_be32(b + 16), h->height = get_be32(b + 20);
        h->byte_order = get_be32(b + 28), h->bit_order = get_be32(b + 36);
        h->bpp = get_be32(b + 44), h->bytes_per_line = get_be32(b + 48), h->visual = get_be32(b + 52);
        for (int i = 0; i < 3; ++i) h->masks[i] = get_be32(b + 56 + 4 * i);
        h->ncolors = get_be32(b + 76);
        if (h->header_size < 100) return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
        if (h->depth > 8 && !((h->visual == 4 || h->visual == 5) && (h->bpp == 24 || h->bpp == 32)))
            return QV_ERR(QVE_XWD_DEPTH, h->depth, h->bpp);
        if (h->format == 0) h->bpp = 1;
        if (h->format == 1 && h->depth == 1) h->bpp = 1;
        else if (h->format == 1 || h->format > 2) return QV_ERR(QVE_VARIANT, h->format, h->bpp);
        if (h->depth <= 8 && h->bpp != 1 && h->bpp != 4 && h->bpp != 8) return QV_ERR(QVE_VARIANT, h->format, h->bpp);
    }
    if (h->width == 0 || h->height == 0 || h->width > 0x7FFFFFF || h->height > 0x7FFFFFF)
        return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
    if (uint64_t(h->bytes_per_line) * 8 < uint64_t(h->width) * h->bpp)
        return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
    if (h->ncolors > 65536) return QV_ERR(QVE_BAD_HEADER, h->ncolors, 0);
    return 0;
}

uint8_t reverse_bits(uint8_t b) {
    b = uint8_t((b & 0xF0) >> 4 | (b & 0x0F) << 4);
    b = uint8_t((b & 0xCC) >> 2 | (b & 0x33) << 2);
    return uint8_t((b & 0xAA) >> 1 | (b & 0x55) << 1);
}

}  // namespace

int32_t xwd_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    const int64_t start = VPb_IO_tell(s);
    XwdHeader h;
    if (int32_t st = parse(s, &h)) return st;
    if (VPb_IO_seek(s, start + h.header_size, 0) < 0) return QV_ERR(QVE_SEEK, h.header_size, 0);
    QV_RGBQUAD pal[256];
    const uint16_t bpp = h.out_bpp();
    if (bpp <= 8) grey_palette(pal, 1 << (h.depth < bpp ? h.depth : bpp));
    if (bpp <= 8 && h.depth < bpp)
        for (uint32_t i = 1u << h.depth; i < 256; ++i) pal[i] = QV_RGBQUAD{0, 0, 0, 0};
    if (h.ncolors > 0) {
        const size_t bytes = size_t(h.ncolors) * h.colour_entry;
        auto *map = filter_alloc_array<uint8_t>(work.tag(), bytes);
        if (!map) return QV_ERR(QVE_NO_MEMORY, bytes, work.tag());
        int32_t got = VPb_IO_read(s, map, int32_t(bytes));
        if (got != int32_t(bytes)) return QV_ERR(QVE_SHORT_READ, bytes, got < 0 ? 0 : got);
        if (bpp <= 8)
            for (uint32_t i = 0; i < h.ncolors; ++i) {
                const uint8_t *e = map + size_t(i) * h.colour_entry;
                const uint32_t pixel = h.colour_entry == 12 ? get_be32(e) : get_be16(e);
                const uint8_t *c = e + (h.colour_entry == 12 ? 4 : 2);
                auto eight = [](uint32_t v) { return uint8_t((v * 255u + 32767u) / 65535u); };
                if (pixel < (1u << bpp))
                    pal[pixel] = QV_RGBQUAD{eight(get_be16(c + 4)), eight(get_be16(c + 2)), eight(get_be16(c)), 0};
            }
    }
    const int64_t data = VPb_IO_tell(s), end = VPb_IO_data_end(s);
    const uint64_t needed = uint64_t(h.bytes_per_line) * h.height;
    if (end >= 0 && uint64_t(end > data ? end - data : 0) < needed)
        return QV_ERR(QVE_SHORT_READ, needed > INT32_MAX ? INT32_MAX : needed, end > data ? end - data : 0);

    MaskedHeader mh;
    dib_header_init(&mh, int32_t(h.width), int32_t(h.height), bpp);
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, bpp <= 8 ? pal : nullptr, work.tag())) return st;
    ByteReader in(s, work.tag());
    auto *line = filter_alloc_array<uint8_t>(work.tag(), size_t(h.bytes_per_line) + 8);
    if (!in.ok() || !line) return QV_ERR(QVE_NO_MEMORY, h.bytes_per_line, work.tag());
    const VPb_MASK_CHANNEL m[3] = {VPb_mask_channel(h.masks[0]), VPb_mask_channel(h.masks[1]),
                                   VPb_mask_channel(h.masks[2])};
    const bool rgb_masks = h.masks[0] == 0xFF0000 && h.masks[1] == 0xFF00 && h.masks[2] == 0xFF;
    const bool plain_bytes = h.byte_order == 1 && h.bpp == 24 && rgb_masks;
    const bool xrgb = h.byte_order == 1 && h.bpp == 32 && rgb_masks;  // bytes X, R, G, B
    const bool bgrx = h.byte_order == 0 && h.bpp == 32 && rgb_masks;  // bytes B, G, R, X
    const size_t used = (size_t(h.width) * h.bpp + 7) / 8;
    const size_t w = h.width;
    for (uint32_t r = 0; r < h.height; ++r) {
        in.read(line, h.bytes_per_line);
        uint8_t *dst = out.row(int32_t(r));
        if (bpp <= 8) {
            std::memcpy(dst, line, used);
            if (bpp == 1 && h.bit_order == 0)
                for (size_t i = 0; i < used; ++i) dst[i] = reverse_bits(dst[i]);
            if (bpp == 4 && h.byte_order == 0)
                for (size_t i = 0; i < used; ++i) dst[i] = uint8_t(dst[i] << 4 | dst[i] >> 4);
            if ((w * bpp) & 7) dst[used - 1] &= uint8_t(0xFF00 >> ((w * bpp) & 7));
        } else if (xrgb || bgrx) {
            drop4(line, w, xrgb ? 1 : 0, dst);
        } else if (plain_bytes) {
            swap3(line, w, dst);
        } else {
            const size_t pb = h.bpp / 8;
            for (size_t x = 0; x < w; ++x) {
                const uint8_t *p = line + x * pb;
                uint32_t v = 0;
                if (h.byte_order == 1)
                    for (size_t k = 0; k < pb; ++k) v = v << 8 | p[k];
                else
                    for (size_t k = pb; k-- > 0;) v = v << 8 | p[k];
                dst[3 * x] = VPb_mask_value(&m[2], v), dst[3 * x + 1] = VPb_mask_value(&m[1], v),
                dst[3 * x + 2] = VPb_mask_value(&m[0], v);
            }
        }
        if (int32_t st = out.put(int32_t(r))) return st;
    }
    return out.finish();
}

int32_t xwd_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    XwdHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, int32_t(h.width), int32_t(h.height), h.out_bpp(), QV_BI_RGB, 0, 0);
    *format_type = kXwdFormatType;
    *value = 0;
    return 0;
}

int32_t xwd_pages(VPb_STREAM *stream, void *, int32_t *count) {
    XwdHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
