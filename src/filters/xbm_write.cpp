/*
 * xbm_write.cpp - the XBM writer.
 *
 * Writes an X11 bitmap named "image": the two "#define" lines and a char
 * array of (width + 7) / 8 bytes a row, twelve values a line, the least
 * significant bit leftmost. A pixel's bit is set (white, as the reader
 * takes it) when its luminance (299 R + 587 G + 114 B) / 1000 is 128 or
 * more.
 * Codes: -2080 compression other than 0 (iVal the value); -2413 a layout
 * not written (iVal the depth, lVal the compression); -2041 short header
 * write; -2072 short row write (iVal the row).
 */
#include <cstdio>
#include <cstring>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/xbm_format.h"

namespace qv {
namespace {
constexpr char kModule[] = "FILTERS\\XBMWRITE.C";
}

int32_t xbm_write(VPb_STREAM *stream, void *, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    WriterStart w;
    if (int32_t st = writer_start(s, nullptr, compression, 0, w, false)) return st;
    if (w.code) return QV_ERR(w.code, w.ival, w.lval);
    const QV_DIB_HEADER &hdr = w.hdr;
    const QV_RGBQUAD *pal = w.pal;
    const int32_t bpp = w.bpp, width = w.width, height = w.height;
    char head[160];
    int hn = std::snprintf(head, sizeof head,
                           "#define image_width %d\n#define image_height %d\nstatic char image_bits[] = {\n",
                           width, height);
    if (!write_all(s, head, size_t(hn))) return QV_ERR(QVE_WRITE_HEADER, 0, hn);

    FilterTag work;
    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    VPb_MASK_CHANNEL masks[3];
    saved_masks16(s, hdr, masks);
    const size_t bytes = (size_t(width) + 7) / 8;
    auto *rgba = filter_alloc_array<uint8_t>(work.tag(), 4 * size_t(width) + 8);
    auto *text = filter_alloc_array<char>(work.tag(), bytes * 9 + 16);
    if (!rgba || !text) return QV_ERR(QVE_NO_MEMORY, bytes * 7, work.tag());
    size_t count = 0;
    const size_t total = bytes * size_t(height);
    for (int32_t r = 0; r < height; ++r) {
        const uint8_t *src = rows.get(r);
        if (!src) return QVE_SAVE_CALLBACK;
        row_to_rgba(src, bpp, pal, masks, width, rgba);
        size_t n = 0;
        for (size_t i = 0; i < bytes; ++i) {
            uint32_t v = 0;
            for (int32_t k = 0; k < 8; ++k) {
                const int32_t x = int32_t(i * 8) + k;
                if (x >= width) break;
                const uint8_t *p = rgba + 4 * size_t(x);
                if ((299 * p[0] + 587 * p[1] + 114 * p[2]) / 1000 >= 128) v |= 1u << k;
            }
            ++count;
            n += size_t(std::snprintf(text + n, 12, "%s0x%02X%s", count % 12 == 1 ? "  " : "", v,
                                      count == total ? "" : count % 12 == 0 ? ",\n" : ", "));
        }
        if (!write_all(s, text, n)) return QV_ERR(QVE_SHORT_WRITE, r, int32_t(n));
    }
    static const char kEnd[] = " };\n";
    if (!write_all(s, kEnd, sizeof kEnd - 1)) return QV_ERR(QVE_SHORT_WRITE, height, 4);
    return 0;
}

}  // namespace qv
