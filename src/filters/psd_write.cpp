/*
 * psd_write.cpp - the PSD writer.
 *
 * Version 1, 8 bits per channel, empty image resources and layer sections,
 * and the merged image: grey (the 8-bit grey ramp; 1 channel), indexed
 * (other palette images: 1 channel of indices and the 768-byte colour
 * table) or RGB (3 channels; 32-bit images 4, the fourth byte as alpha; an
 * image with an alpha companion 4, the companion's values as alpha).
 * Raw channels, or PackBits rows when the save compression is 1 or field 0
 * of the control block is 1; the row byte counts are written as zeros first
 * and filled in once the rows are out.
 * Codes: -2080 compression other than 0 or 1 (iVal the value); -2413 a
 * layout not written (iVal the depth, lVal the compression); -400 a size
 * above 30000; -2041 short header write; -2072 short row write (iVal the
 * row, lVal the channel); -2005 the count table cannot be reached again.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/packbits.h"
#include "filters/psd_format.h"
#include "filters/raster_io.h"

namespace qv {
namespace {
constexpr char kModule[] = "FILTERS\\PSDWRITE.C";
}

int32_t psd_write(VPb_STREAM *stream, void *ctl, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    WriterStart w;
    if (int32_t st = writer_start(s, ctl, compression, 30000, w)) return st;
    if (w.code) return QV_ERR(w.code, w.ival, w.lval);
    const bool rle = w.second_coding;
    const QV_DIB_HEADER &hdr = w.hdr;
    const QV_RGBQUAD *pal = w.pal;
    const int32_t entries = w.entries, bpp = w.bpp, width = w.width, height = w.height;
    const bool grey = bpp == 8 && is_grey_ramp(pal, entries);
    const bool indexed = bpp <= 8 && !grey;
    FilterTag work;
    AlphaIn alpha;
    const bool with_alpha = bpp > 8 && alpha.begin(s, width, work.tag());
    const uint32_t channels = bpp <= 8 ? 1 : (bpp == 32 || with_alpha) ? 4 : 3;
    const int64_t start = VPb_IO_tell(s);

    uint8_t head[26 + 4 + 768 + 4 + 4 + 2] = {};
    std::memcpy(head, "8BPS", 4);
    put_be16(head + 4, 1);
    put_be16(head + 12, channels);
    put_be32(head + 14, uint32_t(height));
    put_be32(head + 18, uint32_t(width));
    put_be16(head + 22, 8);
    put_be16(head + 24, grey ? 1 : indexed ? 2 : 3);
    uint8_t *p = head + 26;
    put_be32(p, indexed ? 768 : 0);
    p += 4;
    if (indexed) {
        for (int i = 0; i < 256; ++i) {
            const QV_RGBQUAD q = i < entries ? pal[i] : QV_RGBQUAD{0, 0, 0, 0};
            p[i] = q.rgbRed, p[256 + i] = q.rgbGreen, p[512 + i] = q.rgbBlue;
        }
        p += 768;
    }
    p += 8;  // empty image resources and layer sections
    put_be16(p, rle ? 1 : 0);
    p += 2;
    const size_t head_bytes = size_t(p - head);
    if (!write_all(s, head, head_bytes)) return QV_ERR(QVE_WRITE_HEADER, 0, int32_t(head_bytes));

    const size_t n = size_t(channels) * size_t(height);
    auto *table = filter_alloc_array<uint8_t>(work.tag(), rle ? 2 * n : 2);
    auto *plane = filter_alloc_array<uint8_t>(work.tag(), size_t(width) + 8);
    auto *enc = filter_alloc_array<uint8_t>(work.tag(), packbits_max(size_t(width)) + 8);
    if (!table || !plane || !enc) return QV_ERR(QVE_NO_MEMORY, 2 * n, work.tag());
    if (rle && !write_all(s, table, 2 * n)) return QV_ERR(QVE_WRITE_HEADER, 1, int32_t(2 * n));
    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    VPb_MASK_CHANNEL masks[3];
    saved_masks16(s, hdr, masks);
    for (uint32_t c = 0; c < channels; ++c)
        for (int32_t y = 0; y < height; ++y) {
            const uint8_t *src = rows.get(y);
            if (!src) return QVE_SAVE_CALLBACK;
            if (bpp <= 8) {
                row_indexes(src, bpp, width, plane);
            } else if (c == 3 && with_alpha) {
                const uint8_t *a = alpha.get(y);
                if (!a) return QVE_SAVE_CALLBACK;
                std::memcpy(plane, a, size_t(width));
            } else {
                row_channel(src, bpp, pal, masks, width, c, plane);
            }
            const uint8_t *data = plane;
            size_t bytes = size_t(width);
            if (rle) {
                bytes = packbits_encode(plane, size_t(width), enc);
                data = enc;
                put_be16(table + 2 * (size_t(c) * size_t(height) + size_t(y)), uint32_t(bytes));
            }
            if (!write_all(s, data, bytes)) return QV_ERR(QVE_SHORT_WRITE, y, c);
        }
    if (rle) {
        const int64_t end = VPb_IO_tell(s), at = start + int64_t(head_bytes);
        if (VPb_IO_seek(s, at, 0) < 0) return QV_ERR(QVE_SEEK, at, 0);
        if (!write_all(s, table, 2 * n)) return QV_ERR(QVE_WRITE_HEADER, 1, int32_t(2 * n));
        if (VPb_IO_seek(s, end, 0) < 0) return QV_ERR(QVE_SEEK, end, 0);
    }
    return 0;
}

}  // namespace qv
