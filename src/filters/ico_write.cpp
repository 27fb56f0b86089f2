/*
 * ico_write.cpp - the ICO writer.
 *
 * Writes an icon of one bitmap entry: the directory, then a 40-byte DIB
 * header whose height counts the colour rows and the AND mask rows, the
 * palette (1, 4, 8 bits: 2^bpp entries), the colour rows and the mask rows,
 * both bottom-up. 16-bit images are written as 24 bits; a 32-bit image keeps
 * its fourth byte as alpha and its mask bits are set where alpha is 0; an
 * image with an alpha companion is written as 32 bits with the companion's
 * values as alpha (mask likewise); the others have an all-clear (opaque)
 * mask.
 * Codes: -2080 compression other than 0 (iVal the value); -3400 an image
 * above 256 by 256 pixels (iVal width, lVal height); -2413 a layout not
 * written (iVal the depth, lVal the compression); -2041 short header write;
 * -2072 short row write (iVal the row).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/ico_format.h"
#include "filters/raster_io.h"

namespace qv {
namespace {
constexpr char kModule[] = "FILTERS\\ICOWRITE.C";
}

int32_t ico_write(VPb_STREAM *stream, void *, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    if (compression != 0) return QV_ERR(QVE_BAD_SAVE_OPTION, compression, 0);
    QV_DIB_HEADER hdr{};
    QV_RGBQUAD pal[256] = {};
    int32_t entries = 0;
    if (int32_t st = VPb_IO_DIB_get(s, &hdr, pal, &entries)) return st;
    const int32_t in_bpp = hdr.biBitCount;
    const int32_t width = hdr.biWidth, height = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
    if (width < 1 || height < 1 || width > 256 || height > 256) return QV_ERR(QVE_TOO_LARGE, width, height);
    if (hdr.biCompression == QV_BI_PAL_WIDE ||
        !(in_bpp == 1 || in_bpp == 4 || in_bpp == 8 || in_bpp == 16 || in_bpp == 24 || in_bpp == 32))
        return QV_ERR(QVE_SAVE_DEPTH, in_bpp, hdr.biCompression);
    FilterTag work;
    AlphaIn alpha;
    const bool with_alpha = alpha.begin(s, width, work.tag());
    const int32_t bpp = with_alpha ? 32 : in_bpp == 16 ? 24 : in_bpp;
    const uint32_t pal_n = bpp <= 8 ? 1u << bpp : 0;
    const size_t xor_stride = size_t(raster_bytes(width, bpp)), and_stride = size_t(raster_bytes(width, 1));
    const size_t image_bytes = 40 + 4 * size_t(pal_n) + (xor_stride + and_stride) * size_t(height);

    uint8_t head[6 + 16 + 40 + 1024] = {};
    put_le16(head + 2, 1);
    put_le16(head + 4, 1);
    uint8_t *e = head + 6;
    e[0] = uint8_t(width & 255), e[1] = uint8_t(height & 255);
    e[2] = uint8_t(bpp <= 4 ? pal_n : 0);
    put_le16(e + 4, 1);
    put_le16(e + 6, uint32_t(bpp));
    put_le32(e + 8, uint32_t(image_bytes));
    put_le32(e + 12, 22);
    uint8_t *ih = head + 22;
    put_le32(ih, 40);
    put_le32(ih + 4, uint32_t(width));
    put_le32(ih + 8, uint32_t(2 * height));
    put_le16(ih + 12, 1);
    put_le16(ih + 14, uint32_t(bpp));
    put_le32(ih + 20, uint32_t(image_bytes - 40 - 4 * pal_n));
    for (uint32_t i = 0; i < pal_n; ++i) {
        QV_RGBQUAD q = int32_t(i) < entries ? pal[i] : QV_RGBQUAD{0, 0, 0, 0};
        uint8_t *p = ih + 40 + 4 * i;
        p[0] = q.rgbBlue, p[1] = q.rgbGreen, p[2] = q.rgbRed;
    }
    const size_t head_bytes = 22 + 40 + 4 * size_t(pal_n);
    if (!write_all(s, head, head_bytes)) return QV_ERR(QVE_WRITE_HEADER, 0, int32_t(head_bytes));

    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    VPb_MASK_CHANNEL masks[3];
    saved_masks16(s, hdr, masks);
    auto *mask = filter_alloc_array<uint8_t>(work.tag(), and_stride * size_t(height));
    auto *line = filter_alloc_array<uint8_t>(work.tag(), xor_stride + 8);
    auto *rgba = filter_alloc_array<uint8_t>(work.tag(), 4 * size_t(width) + 8);
    if (!mask || !line || !rgba) return QV_ERR(QVE_NO_MEMORY, and_stride * size_t(height), work.tag());
    for (int32_t y = 0; y < height; ++y) {  // bottom row first
        const int32_t r = height - 1 - y;
        const uint8_t *src = rows.get(r);
        if (!src) return QVE_SAVE_CALLBACK;
        const uint8_t *data = src;
        if (with_alpha) {
            const uint8_t *a = alpha.get(r);
            if (!a) return QVE_SAVE_CALLBACK;
            row_to_rgba(src, in_bpp, pal, masks, width, rgba);
            for (int32_t x = 0; x < width; ++x) {
                uint8_t *o = line + 4 * size_t(x);
                o[0] = rgba[4 * x + 2], o[1] = rgba[4 * x + 1], o[2] = rgba[4 * x], o[3] = a[x];
                if (a[x] == 0) mask[size_t(y) * and_stride + size_t(x >> 3)] |= uint8_t(0x80 >> (x & 7));
            }
            data = line;
        } else if (in_bpp == 16) {
            row_to_rgba(src, 16, pal, masks, width, rgba);
            for (int32_t x = 0; x < width; ++x)
                line[3 * x] = rgba[4 * x + 2], line[3 * x + 1] = rgba[4 * x + 1], line[3 * x + 2] = rgba[4 * x];
            data = line;
        } else if (in_bpp == 32) {
            for (int32_t x = 0; x < width; ++x)
                if (src[4 * x + 3] == 0) mask[size_t(y) * and_stride + size_t(x >> 3)] |= uint8_t(0x80 >> (x & 7));
        }
        if (!write_all(s, data, xor_stride)) return QV_ERR(QVE_SHORT_WRITE, r, int32_t(xor_stride));
    }
    if (!write_all(s, mask, and_stride * size_t(height))) return QV_ERR(QVE_SHORT_WRITE, -1, 0);
    return 0;
}

}  // namespace qv
