/*
 * xwd_write.cpp - the XWD writer.
 *
 * Version 7, Z format, window name "image": palette images (1, 4, 8 bits)
 * as depth 8, 8 bits per pixel, PseudoColor, with 2^bpp colour-map entries;
 * every other layout as depth 24, 32 bits per pixel, TrueColor with the
 * masks 0xFF0000, 0xFF00, 0xFF, most significant byte first. Rows padded
 * to 32 bits.
 * Codes: -2080 compression other than 0 (iVal the value); -2413 a layout
 * not written (iVal the depth, lVal the compression); -2041 short header
 * write; -2072 short row write (iVal the row).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/xwd_format.h"

namespace qv {
namespace {
constexpr char kModule[] = "FILTERS\\XWDWRITE.C";
}

int32_t xwd_write(VPb_STREAM *stream, void *, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    WriterStart w;
    if (int32_t st = writer_start(s, nullptr, compression, 0, w, false)) return st;
    if (w.code) return QV_ERR(w.code, w.ival, w.lval);
    const QV_DIB_HEADER &hdr = w.hdr;
    const QV_RGBQUAD *pal = w.pal;
    const int32_t entries = w.entries, bpp = w.bpp, width = w.width, height = w.height;
    const bool mapped = bpp <= 8;
    const uint32_t out_bpp = mapped ? 8 : 32, ncolors = mapped ? 1u << bpp : 0;
    const size_t line_bytes = size_t(raster_bytes(width, out_bpp));
    static const char kName[8] = "image";
    const uint32_t fields[25] = {100 + 8, 7, 2, mapped ? 8u : 24u, uint32_t(width), uint32_t(height), 0, 1, 32, 1,
                                 32, out_bpp, uint32_t(line_bytes), mapped ? 3u : 4u,
                                 mapped ? 0 : 0xFF0000u, mapped ? 0 : 0xFF00u, mapped ? 0 : 0xFFu, 8,
                                 mapped ? ncolors : 256u, ncolors, uint32_t(width), uint32_t(height), 0, 0, 0};
    uint8_t head[108 + 12 * 256] = {};
    for (int i = 0; i < 25; ++i) put_be32(head + 4 * i, fields[i]);
    std::memcpy(head + 100, kName, 8);
    for (uint32_t i = 0; i < ncolors; ++i) {
        uint8_t *e = head + 108 + 12 * i;
        const QV_RGBQUAD q = int32_t(i) < entries ? pal[i] : QV_RGBQUAD{0, 0, 0, 0};
        put_be32(e, i);
        put_be16(e + 4, q.rgbRed * 257u), put_be16(e + 6, q.rgbGreen * 257u), put_be16(e + 8, q.rgbBlue * 257u);
        e[10] = 7;  // red, green and blue are set
    }
    const size_t head_bytes = 108 + 12 * size_t(ncolors);
    if (!write_all(s, head, head_bytes)) return QV_ERR(QVE_WRITE_HEADER, 0, int32_t(head_bytes));

    FilterTag work;
    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    VPb_MASK_CHANNEL masks[3];
    saved_masks16(s, hdr, masks);
    auto *line = filter_alloc_array<uint8_t>(work.tag(), line_bytes + 8);
    auto *rgba = filter_alloc_array<uint8_t>(work.tag(), 4 * size_t(width) + 8);
    if (!line || !rgba) return QV_ERR(QVE_NO_MEMORY, line_bytes, work.tag());
    for (int32_t r = 0; r < height; ++r) {
        const uint8_t *src = rows.get(r);
        if (!src) return QVE_SAVE_CALLBACK;
        if (mapped) {
            row_indexes(src, bpp, width, line);
        } else {
            row_to_rgba(src, bpp, pal, masks, width, rgba);
            for (int32_t x = 0; x < width; ++x) {
                uint8_t *o = line + 4 * size_t(x);
                o[0] = 0, o[1] = rgba[4 * x], o[2] = rgba[4 * x + 1], o[3] = rgba[4 * x + 2];
            }
        }
        if (!write_all(s, line, line_bytes)) return QV_ERR(QVE_SHORT_WRITE, r, int32_t(line_bytes));
    }
    return 0;
}

}  // namespace qv
