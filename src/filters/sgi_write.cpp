/*
 * sgi_write.cpp - the SGI writer.
 *
 * An 8-bit image with the grey ramp is written as one channel (dimension
 * 2); a 32-bit image as RGBA (alpha the fourth byte), an image with an alpha
 * companion as RGBA (alpha the companion's values) and every other layout
 * as RGB (dimension 3),
 * one byte per sample. Verbatim planes, or run-length rows when the save
 * compression is 1 or field 0 of the control block is 1: the row tables are
 * written as zeros first and filled in once the rows are out.
 * Codes: -2080 compression other than 0 or 1 (iVal the value); -2413 a
 * layout not written (iVal the depth, lVal the compression); -400 a size
 * above 65535; -2041 short header or table write; -2072 short row write
 * (iVal the row, lVal the channel); -2005 the tables' position cannot be
 * reached again.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/sgi_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\SGIWRITE.C";

// Run-length codes of n bytes; returns the bytes written (at most
// n + n / 127 + 2).
size_t rle_encode(const uint8_t *in, uint32_t n, uint8_t *out) {
    uint8_t *o = out;
    uint32_t i = 0;
    while (i < n) {
        uint32_t run = 1;
        while (i + run < n && run < 127 && in[i + run] == in[i]) ++run;
        if (run >= 3) {
            *o++ = uint8_t(run);
            *o++ = in[i];
            i += run;
            continue;
        }
        uint32_t lit = 0;
        while (i + lit < n && lit < 127 &&
               !(i + lit + 2 < n && in[i + lit] == in[i + lit + 1] && in[i + lit] == in[i + lit + 2]))
            ++lit;
        *o++ = uint8_t(0x80 | lit);
        std::memcpy(o, in + i, lit);
        o += lit;
        i += lit;
    }
    *o++ = 0;
    return size_t(o - out);
}

}  // namespace

int32_t sgi_write(VPb_STREAM *stream, void *ctl, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    WriterStart w;
    if (int32_t st = writer_start(s, ctl, compression, 65535, w)) return st;
    if (w.code) return QV_ERR(w.code, w.ival, w.lval);
    const bool rle = w.second_coding;
    const QV_DIB_HEADER &hdr = w.hdr;
    const QV_RGBQUAD *pal = w.pal;
    const int32_t entries = w.entries, bpp = w.bpp, width = w.width, height = w.height;
    const bool grey = bpp == 8 && is_grey_ramp(pal, entries);
    FilterTag work;
    AlphaIn alpha;
    const bool with_alpha = !grey && alpha.begin(s, width, work.tag());
    const uint32_t planes = grey ? 1 : (bpp == 32 || with_alpha) ? 4 : 3;
    VPb_MASK_CHANNEL masks[3];
    saved_masks16(s, hdr, masks);

    const int64_t start = VPb_IO_tell(s);
    uint8_t head[512] = {};
    put_be16(head, 474);
    head[2] = rle ? 1 : 0;
    head[3] = 1;
    put_be16(head + 4, planes == 1 ? 2 : 3);
    put_be16(head + 6, uint32_t(width));
    put_be16(head + 8, uint32_t(height));
    put_be16(head + 10, planes);
    put_be32(head + 16, 255);  // pixmax
    if (!write_all(s, head, 512)) return QV_ERR(QVE_WRITE_HEADER, 0, 512);

    const size_t n = size_t(height) * planes;
    auto *table = filter_alloc_array<uint8_t>(work.tag(), rle ? 8 * n : 8);
    auto *plane = filter_alloc_array<uint8_t>(work.tag(), size_t(width) + 8);
    auto *enc = filter_alloc_array<uint8_t>(work.tag(), 2 * size_t(width) + 8);
    if (!table || !plane || !enc) return QV_ERR(QVE_NO_MEMORY, 8 * n, work.tag());
    if (rle && !write_all(s, table, 8 * n)) return QV_ERR(QVE_WRITE_HEADER, 1, int32_t(8 * n));
    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    uint32_t offset = uint32_t(512 + (rle ? 8 * n : 0));
    for (uint32_t z = 0; z < planes; ++z)
        for (int32_t y = 0; y < height; ++y) {
            const uint8_t *src = rows.get(height - 1 - y);
            if (!src) return QVE_SAVE_CALLBACK;
            if (grey) {
                std::memcpy(plane, src, size_t(width));
            } else if (z == 3 && with_alpha) {
                const uint8_t *a = alpha.get(height - 1 - y);
                if (!a) return QVE_SAVE_CALLBACK;
                std::memcpy(plane, a, size_t(width));
            } else {
                row_channel(src, bpp, pal, masks, width, z, plane);
            }
            const uint8_t *data = plane;
            size_t bytes = size_t(width);
            if (rle) {
                bytes = rle_encode(plane, uint32_t(width), enc);
                data = enc;
                const size_t i = size_t(z) * size_t(height) + size_t(y);
                put_be32(table + 4 * i, offset);
                put_be32(table + 4 * (n + i), uint32_t(bytes));
                offset += uint32_t(bytes);
            }
            if (!write_all(s, data, bytes)) return QV_ERR(QVE_SHORT_WRITE, y, z);
        }
    if (rle) {
        const int64_t end = VPb_IO_tell(s);
        if (VPb_IO_seek(s, start + 512, 0) < 0) return QV_ERR(QVE_SEEK, start + 512, 0);
        if (!write_all(s, table, 8 * n)) return QV_ERR(QVE_WRITE_HEADER, 1, int32_t(8 * n));
        if (VPb_IO_seek(s, end, 0) < 0) return QV_ERR(QVE_SEEK, end, 0);
    }
    return 0;
}

}  // namespace qv
