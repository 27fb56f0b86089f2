/*
 * tga_write.cpp - the TGA writer.
 *
 * Writes rows bottom-up (origin bottom left) after an 18-byte header and
 * ends the file with a version 2 footer (no extension or developer area):
 *   1, 4, 8 bits with a palette  image type 1 (9), 8-bit indices, a 24-bit
 *                                map of 2^bpp entries
 *   8 bits with the grey ramp    image type 3 (11), 8-bit grey
 *   16 bits 5-5-5                type 2 (10), 16 bits
 *   24 bits, 32 bits             type 2 (10), 24 bits, or 32 bits with 8
 *                                alpha bits (the fourth byte); an image
 *                                with an alpha companion is written as 32
 *                                bits with the companion's values as alpha
 * Run-length packets (types 9, 10, 11) when the save compression is 1 or
 * field 0 of the control block is 1; packets never cross a row.
 * Codes: -2080 compression other than 0 or 1 (iVal the value); -2413 a
 * layout TGA cannot hold (iVal the depth, lVal the compression); -400 a
 * size above 65535; -2041 short header write; -2072 short row write.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/tga_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\TGAWRITE.C";

// Run-length packets of one row of n pixels of pb bytes; returns the bytes.
size_t rle_encode(const uint8_t *px, uint32_t n, uint32_t pb, uint8_t *out) {
    uint8_t *o = out;
    uint32_t i = 0;
    auto same = [&](uint32_t a, uint32_t b) { return std::memcmp(px + a * pb, px + b * pb, pb) == 0; };
    while (i < n) {
        uint32_t run = 1;
        while (i + run < n && run < 128 && same(i, i + run)) ++run;
        if (run >= 2) {
            *o++ = uint8_t(0x80 | (run - 1));
            std::memcpy(o, px + i * pb, pb);
            o += pb;
            i += run;
            continue;
        }
        uint32_t lit = 1;
        while (i + lit < n && lit < 128 && !(i + lit + 1 < n && same(i + lit, i + lit + 1))) ++lit;
        *o++ = uint8_t(lit - 1);
        std::memcpy(o, px + i * pb, size_t(lit) * pb);
        o += size_t(lit) * pb;
        i += lit;
    }
    return size_t(o - out);
}

}  // namespace

int32_t tga_write(VPb_STREAM *stream, void *ctl, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    if (compression != 0 && compression != 1) return QV_ERR(QVE_BAD_SAVE_OPTION, compression, 0);
    int32_t field0 = 0;
    if (ctl) std::memcpy(&field0, ctl, 4);
    const bool rle = compression == 1 || field0 == 1;
    QV_DIB_HEADER hdr{};
    QV_RGBQUAD pal[256] = {};
    int32_t entries = 0;
    if (int32_t st = VPb_IO_DIB_get(s, &hdr, pal, &entries)) return st;
    const int32_t bpp = hdr.biBitCount;
    const int32_t width = hdr.biWidth, height = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
    const bool plain16 = bpp == 16 && (hdr.biCompression == QV_BI_RGB ||
                                       (hdr.biCompression == QV_BI_BITFIELDS && [&] {
                                            QV_DIB_HEADER *d = VPb_DIB_pointer_get(VPb_IO_image_get(s));
                                            return d && VPb_DIB_red_mask_get(d) == 0x7C00 &&
                                                   VPb_DIB_green_mask_get(d) == 0x3E0 &&
                                                   VPb_DIB_blue_mask_get(d) == 0x1F;
                                        }()));
    if (!(bpp == 1 || bpp == 4 || bpp == 8 || plain16 || bpp == 24 || bpp == 32))
        return QV_ERR(QVE_SAVE_DEPTH, bpp, hdr.biCompression);
    if (width < 1 || height < 1 || width > 65535 || height > 65535)
        return QV_ERR(QVE_BAD_HEADER, width, height);

    const bool grey = bpp == 8 && is_grey_ramp(pal, entries);
    const bool mapped = bpp <= 8 && !grey;
    FilterTag work;
    AlphaIn alpha;
    const bool with_alpha = (bpp == 24 || bpp == 32) && alpha.begin(s, width, work.tag());
    const int32_t out_bpp = with_alpha ? 32 : bpp <= 8 ? 8 : bpp;
    const uint32_t pb = uint32_t(out_bpp) / 8u;
    uint8_t head[18] = {};
    head[1] = mapped ? 1 : 0;
    head[2] = uint8_t((mapped ? 1 : grey ? 3 : 2) + (rle ? 8 : 0));
    const uint32_t map_len = mapped ? 1u << bpp : 0;
    put_le16(head + 5, map_len);
    head[7] = mapped ? 24 : 0;
    put_le16(head + 12, uint32_t(width));
    put_le16(head + 14, uint32_t(height));
    head[16] = uint8_t(out_bpp);
    head[17] = out_bpp == 32 ? 8 : out_bpp == 16 ? 1 : 0;
    if (!write_all(s, head, 18)) return QV_ERR(QVE_WRITE_HEADER, 0, 18);
    if (mapped) {
        uint8_t map[768];
        for (uint32_t i = 0; i < map_len; ++i) {
            QV_RGBQUAD q = int32_t(i) < entries ? pal[i] : QV_RGBQUAD{0, 0, 0, 0};
            map[3 * i] = q.rgbBlue, map[3 * i + 1] = q.rgbGreen, map[3 * i + 2] = q.rgbRed;
        }
        if (!write_all(s, map, 3 * map_len)) return QV_ERR(QVE_WRITE_HEADER, 0, 3 * map_len);
    }

    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    const size_t line = size_t(width) * pb;
    auto *px = filter_alloc_array<uint8_t>(work.tag(), line + 8);
    auto *enc = filter_alloc_array<uint8_t>(work.tag(), line + line / 128 + 8);
    if (!px || !enc) return QV_ERR(QVE_NO_MEMORY, 2 * line, work.tag());
    for (int32_t r = height - 1; r >= 0; --r) {
        const uint8_t *src = rows.get(r);
        if (!src) return QVE_SAVE_CALLBACK;
        const uint8_t *data = src;
        if (bpp < 8) {
            row_indexes(src, bpp, width, px);
            data = px;
        } else if (with_alpha) {
            const uint8_t *a = alpha.get(r);
            if (!a) return QVE_SAVE_CALLBACK;
            const size_t in_pb = size_t(bpp) / 8;
            for (int32_t x = 0; x < width; ++x) {
                uint8_t *o = px + 4 * size_t(x);
                const uint8_t *p = src + size_t(x) * in_pb;
                o[0] = p[0], o[1] = p[1], o[2] = p[2], o[3] = a[x];
            }
            data = px;
        }
        size_t n = line;
        if (rle) {
            n = rle_encode(data, uint32_t(width), pb, enc);
            data = enc;
        }
        if (!write_all(s, data, n)) return QV_ERR(QVE_SHORT_WRITE, r, int32_t(n));
    }
    static const char kFooter[26] = "\0\0\0\0\0\0\0\0TRUEVISION-XFILE.";
    if (!write_all(s, kFooter, 26)) return QV_ERR(QVE_SHORT_WRITE, -1, 26);
    return 0;
}

}  // namespace qv
