/*
 * sun_write.cpp - the Sun raster writer.
 *
 * Palette images (1, 4, 8 bits) are written as depth 8 with an RGB colour
 * map of 2^bpp entries, the 8-bit grey ramp as depth 8 without a map, every
 * other layout as depth 24 (B, G, R); rows padded to an even byte count.
 * Type 1, or type 2 (byte-encoded runs, the data length field then holds
 * the encoded size, filled in after the rows) when the save compression is
 * 1 or field 0 of the control block is 1.
 * Codes: -2080 compression other than 0 or 1 (iVal the value); -2413 a
 * layout not written (iVal the depth, lVal the compression); -2041 short
 * header write; -2072 short row write (iVal the row); -2005 the header
 * cannot be reached again.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/sun_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\RASWRITE.C";

// Byte-encoded runs of n bytes; returns the bytes written (at most 2n).
size_t rle_encode(const uint8_t *in, size_t n, uint8_t *out) {
    uint8_t *o = out;
    size_t i = 0;
    while (i < n) {
        size_t run = 1;
        while (i + run < n && run < 256 && in[i + run] == in[i]) ++run;
        if (run >= 3 || in[i] == 0x80) {
            if (run == 1) {
                *o++ = 0x80, *o++ = 0;
            } else {
                *o++ = 0x80, *o++ = uint8_t(run - 1), *o++ = in[i];
            }
            i += run;
        } else {
            *o++ = in[i++];
        }
    }
    return size_t(o - out);
}

}  // namespace

int32_t sun_write(VPb_STREAM *stream, void *ctl, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    WriterStart w;
    if (int32_t st = writer_start(s, ctl, compression, 0, w)) return st;
    if (w.code) return QV_ERR(w.code, w.ival, w.lval);
    const bool rle = w.second_coding;
    const QV_DIB_HEADER &hdr = w.hdr;
    const QV_RGBQUAD *pal = w.pal;
    const int32_t entries = w.entries, bpp = w.bpp, width = w.width, height = w.height;
    const bool grey = bpp == 8 && is_grey_ramp(pal, entries);
    const bool mapped = bpp <= 8 && !grey;
    const uint32_t depth = bpp <= 8 ? 8 : 24;
    const uint32_t map_n = mapped ? 1u << bpp : 0;
    size_t row = size_t(width) * depth / 8;
    row += row & 1;
    const uint64_t length = uint64_t(row) * uint64_t(height);
    if (length > 0xFFFFFFFFu) return QV_ERR(QVE_SAVE_DEPTH, bpp, -1);

    const int64_t start = VPb_IO_tell(s);
    uint8_t head[32 + 768] = {};
    put_be32(head, 0x59A66A95u);
    put_be32(head + 4, uint32_t(width));
    put_be32(head + 8, uint32_t(height));
    put_be32(head + 12, depth);
    put_be32(head + 16, uint32_t(length));
    put_be32(head + 20, rle ? 2 : 1);
    put_be32(head + 24, mapped ? 1 : 0);
    put_be32(head + 28, 3 * map_n);
    for (uint32_t i = 0; i < map_n; ++i) {
        QV_RGBQUAD q = int32_t(i) < entries ? pal[i] : QV_RGBQUAD{0, 0, 0, 0};
        head[32 + i] = q.rgbRed, head[32 + map_n + i] = q.rgbGreen, head[32 + 2 * map_n + i] = q.rgbBlue;
    }
    if (!write_all(s, head, 32 + 3 * map_n)) return QV_ERR(QVE_WRITE_HEADER, 0, 32);

    FilterTag work;
    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    VPb_MASK_CHANNEL masks[3];
    saved_masks16(s, hdr, masks);
    auto *line = filter_alloc_array<uint8_t>(work.tag(), row + 8);
    auto *rgba = filter_alloc_array<uint8_t>(work.tag(), 4 * size_t(width) + 8);
    auto *enc = filter_alloc_array<uint8_t>(work.tag(), 2 * row + 8);
    if (!line || !rgba || !enc) return QV_ERR(QVE_NO_MEMORY, 2 * row, work.tag());
    uint64_t encoded = 0;
    for (int32_t r = 0; r < height; ++r) {
        const uint8_t *src = rows.get(r);
        if (!src) return QVE_SAVE_CALLBACK;
        if (depth == 8) {
            row_indexes(src, bpp, width, line);
        } else if (bpp == 24) {
            std::memcpy(line, src, size_t(width) * 3);
        } else {
            row_to_rgba(src, bpp, pal, masks, width, rgba);
            for (int32_t x = 0; x < width; ++x)
                line[3 * x] = rgba[4 * x + 2], line[3 * x + 1] = rgba[4 * x + 1], line[3 * x + 2] = rgba[4 * x];
        }
        const uint8_t *data = line;
        size_t n = row;
        if (rle) {
            n = rle_encode(line, row, enc);
            data = enc;
            encoded += n;
        }
        if (!write_all(s, data, n)) return QV_ERR(QVE_SHORT_WRITE, r, int32_t(n));
    }
    if (rle && encoded <= 0xFFFFFFFFu) {
        const int64_t end = VPb_IO_tell(s);
        uint8_t len[4];
        put_be32(len, uint32_t(encoded));
        if (VPb_IO_seek(s, start + 16, 0) < 0) return QV_ERR(QVE_SEEK, start + 16, 0);
        if (!write_all(s, len, 4)) return QV_ERR(QVE_WRITE_HEADER, 16, 4);
        if (VPb_IO_seek(s, end, 0) < 0) return QV_ERR(QVE_SEEK, end, 0);
    }
    return 0;
}

}  // namespace qv
