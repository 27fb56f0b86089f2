/*
 * jpg_write.cpp - the JPEG writer (format type 21) through the shared
 * encoder (jpeg_codec.h).
 *
 * 8-bit images with the grey ramp are written as 1-component (grey) JPEG;
 * 24- and 32-bit images (B, G, R, X) and the other palette images (1, 4, 8
 * bits, colours taken from the palette) as YCbCr. Other layouts: -2413
 * (iVal the depth, lVal the compression). The JPEG control block gives the
 * quality (field 1, 1..100), progressive coding (field 2) and optimised
 * Huffman tables (field 6); the resolution goes into the JFIF header in
 * dots per inch. The save value's compression must be 0 (-2080).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/jpeg_codec.h"
#include "filters/jpg_filter.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\JPGWRITE.C";

struct Source {
    VPb_STREAM *s;
    int32_t bpp, width;
    bool grey;
    uint8_t *in;
    QV_RGBQUAD pal[256];
};

int32_t fetch(void *user, int32_t y, uint8_t *row) {
    auto *src = static_cast<Source *>(user);
    if (src->bpp == 24 || (src->grey && src->bpp == 8)) return VPb_IO_raster_get(src->s, y, row);
    if (int32_t rc = VPb_IO_raster_get(src->s, y, src->in)) return rc;
    const uint8_t *in = src->in;
    if (src->bpp == 32) {
        for (int32_t x = 0; x < src->width; ++x)
            row[3 * x] = in[4 * x], row[3 * x + 1] = in[4 * x + 1], row[3 * x + 2] = in[4 * x + 2];
        return 0;
    }
    const int32_t bpp = src->bpp, mask = (1 << bpp) - 1;
    for (int32_t x = 0; x < src->width; ++x) {
        const uint32_t bit = uint32_t(x) * uint32_t(bpp);
        const QV_RGBQUAD &q = src->pal[(in[bit / 8] >> (8 - bpp - int(bit % 8))) & mask];
        row[3 * x] = q.rgbBlue, row[3 * x + 1] = q.rgbGreen, row[3 * x + 2] = q.rgbRed;
    }
    return 0;
}

int32_t dpi_of(int32_t field) {
    const int32_t ppm = resolution_from_dib(field);
    return ppm > 0 ? int32_t(double(ppm) * 0.0254 + 0.5) : 0;
}

}  // namespace

int32_t jpg_write(VPb_STREAM *s, void *ctl, int32_t, int32_t, int32_t compression) {
    if (compression != 0) return QV_ERR(QVE_BAD_SAVE_OPTION, compression, 0);
    FilterTag tag;
    auto *src = static_cast<Source *>(VPb_AF_mem_calloc(tag.tag(), 1, sizeof(Source)));
    if (!src) return QV_ERR(QVE_NO_MEMORY, int32_t(sizeof(Source)), tag.tag());
    QV_DIB_HEADER hdr{};
    int32_t entries = 0;
    if (int32_t rc = VPb_IO_DIB_get(s, &hdr, src->pal, &entries)) return rc;
    const int32_t bpp = hdr.biBitCount, width = hdr.biWidth;
    const int32_t rows = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
    const uint32_t comp = hdr.biCompression;
    const bool ok = ((bpp == 1 || bpp == 4 || bpp == 8 || bpp == 24) && comp == QV_BI_RGB) ||
                    (bpp == 32 && (comp == QV_BI_RGB || comp == QV_BI_BITFIELDS));
    if (!ok) return QV_ERR(QVE_SAVE_DEPTH, bpp, comp);
    if (width < 1 || rows < 1 || width > 65500 || rows > 65500) return QV_ERR(QVE_BAD_HEADER, width, rows);
    src->s = s, src->bpp = bpp, src->width = width;
    // An 8-bit image whose palette is the grey ramp is written as grey.
    src->grey = bpp == 8;
    for (int i = 0; i < 256 && src->grey; ++i)
        src->grey = src->pal[i].rgbRed == i && src->pal[i].rgbGreen == i && src->pal[i].rgbBlue == i;
    src->in = filter_alloc_array<uint8_t>(tag.tag(), size_t(raster_bytes(width, bpp)) + 4);
    if (!src->in) return QV_ERR(QVE_NO_MEMORY, raster_bytes(width, bpp), tag.tag());

    JpegEncodeParams p;
    p.width = width, p.height = rows, p.grey = src->grey;
    p.quality = ctl_word(ctl, 1, 75);
    if (p.quality < 1 || p.quality > 100) p.quality = 75;
    p.progressive = ctl_word(ctl, 2, 0) == 1;
    p.optimize = ctl_word(ctl, 6, 0) == 1;
    p.dpi_x = dpi_of(hdr.biXPelsPerMeter);
    p.dpi_y = dpi_of(hdr.biYPelsPerMeter);
    return jpeg_encode(s, tag.tag(), p, fetch, src);
}

}  // namespace qv
