/*
 * bmp_write.cpp - the BMP writer.
 *
 * Writes a "BM" file with a 40-byte info header: 1, 4 and 8 bits with their
 * 2^bpp-entry palette, 16 bits as 5-5-5 (compression 0) or with the image's
 * colour masks (BITFIELDS), 24 bits, 32 bits as B, G, R, X (or BITFIELDS
 * when the image has masks). Rows are fetched from the save pipeline top
 * first and written bottom-up in blocks (or written straight from the image
 * when it holds them in that order). Resolution is written in pixels per
 * metre whatever the library's DIB resolution mode.
 * Codes: -2080 compression other than 0 (iVal the value); -2413 a depth or
 * layout BMP cannot hold (iVal the depth, lVal the compression); -2041 a
 * short header write (iVal written, lVal expected); -2072 a short row write
 * (iVal written, lVal expected).
 *
 * Internal: bmp_write (bmp_format.h).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/bmp_format.h"
#include "filters/raster_io.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\BMPWRITE.C";
constexpr size_t kBlockBytes = size_t(1) << 20;
constexpr uint64_t kDirectBlock = uint64_t(16) << 20;

// The image's colour masks when it keeps them (BITFIELDS on output).
bool image_masks(VPb_STREAM *stream, uint32_t bpp, uint32_t masks[3]) {
    if (bpp != 16 && bpp != 32) return false;
    QV_DIB_HEADER *dib = VPb_DIB_pointer_get(VPb_IO_image_get(stream));
    if (!dib) return false;
    const uint32_t c = dib->biCompression;
    if (c != QV_BI_BITFIELDS && c != QV_BI_GRAY16 && c != QV_BI_PAL_WIDE) return false;
    masks[0] = VPb_DIB_red_mask_get(dib);
    masks[1] = VPb_DIB_green_mask_get(dib);
    masks[2] = VPb_DIB_blue_mask_get(dib);
    return true;
}

}  // namespace

int32_t bmp_write(VPb_STREAM *stream, void *, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    if (compression != 0) return QV_ERR(QVE_BAD_SAVE_OPTION, compression, 0);
    QV_DIB_HEADER hdr{};
    QV_RGBQUAD palette[256] = {};
    int32_t entries = 0;
    if (int32_t st = VPb_IO_DIB_get(stream, &hdr, palette, &entries)) return st;
    uint32_t bpp = hdr.biBitCount;
    if ((bpp != 1 && bpp != 4 && bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32) ||
        hdr.biCompression == QV_BI_PAL_WIDE)
        return QV_ERR(QVE_SAVE_DEPTH, bpp, hdr.biCompression);
    int32_t width = hdr.biWidth, rows = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
    if (width < 1 || rows < 1) return QV_ERR(QVE_BAD_HEADER, width, rows);

    uint32_t masks[3];
    bool fields = image_masks(stream, bpp, masks);
    uint32_t pal_entries = bpp <= 8 ? 1u << bpp : 0;
    uint64_t stride = raster_bytes(width, bpp);
    uint64_t off_bits = 14 + 40 + (fields ? 12 : 0) + 4 * uint64_t(pal_entries);
    uint64_t file_size = off_bits + stride * uint64_t(rows);
    if (file_size > 0xFFFFFFFFu) return QV_ERR(QVE_SAVE_DEPTH, bpp, -1);

    uint8_t head[14 + 40 + 12 + 1024] = {};
    head[0] = 'B';
    head[1] = 'M';
    put_le32(head + 2, uint32_t(file_size));
    put_le32(head + 10, uint32_t(off_bits));
    uint8_t *ih = head + 14;
    put_le32(ih, 40);
    put_le32(ih + 4, uint32_t(width));
    put_le32(ih + 8, uint32_t(rows));
    put_le16(ih + 12, 1);
    put_le16(ih + 14, bpp);
    put_le32(ih + 16, fields ? kBmpBitfields : kBmpRgb);
    put_le32(ih + 20, uint32_t(stride * uint64_t(rows)));
    put_le32(ih + 24, uint32_t(resolution_from_dib(hdr.biXPelsPerMeter)));
    put_le32(ih + 28, uint32_t(resolution_from_dib(hdr.biYPelsPerMeter)));
    uint8_t *p = ih + 40;
    if (fields) {
        for (int i = 0; i < 3; ++i) put_le32(p + 4 * i, masks[i]);
        p += 12;
    }
    for (uint32_t i = 0; i < pal_entries; ++i, p += 4) {
        QV_RGBQUAD q = int32_t(i) < entries ? palette[i] : QV_RGBQUAD{0, 0, 0, 0};
        p[0] = q.rgbBlue, p[1] = q.rgbGreen, p[2] = q.rgbRed, p[3] = 0;
    }
    int32_t head_bytes = int32_t(p - head);
    int32_t wrote = VPb_IO_write(s, head, head_bytes);
    if (wrote != head_bytes) return QV_ERR(QVE_WRITE_HEADER, wrote, head_bytes);

    // Rows bottom-up: straight from the image when it is stored that way,
    // else fetched a block at a time.
    if (const uint8_t *bits = VPb_IO_DIB_direct_get(s)) {
        uint64_t total = stride * uint64_t(rows), done = 0;
        while (done < total) {
            int32_t n = int32_t(total - done < kDirectBlock ? total - done : kDirectBlock);
            wrote = VPb_IO_write(s, bits + done, n);
            if (wrote != n) return QV_ERR(QVE_SHORT_WRITE, wrote, n);
            done += uint64_t(n);
        }
        return 0;
    }
    size_t block_rows = size_t(kBlockBytes / stride);
    if (block_rows < 1) block_rows = 1;
    if (block_rows > size_t(rows)) block_rows = size_t(rows);
    FilterTag work;
    auto *block = filter_alloc_array<uint8_t>(work.tag(), block_rows * size_t(stride));
    if (!block) return QV_ERR(QVE_NO_MEMORY, block_rows * stride, work.tag());
    int32_t row = rows - 1;
    while (row >= 0) {
        size_t n = 0;
        for (; n < block_rows && row >= 0; ++n, --row)
            if (int32_t st = VPb_IO_raster_get(stream, row, block + n * size_t(stride))) return st;
        int32_t bytes = int32_t(n * size_t(stride));
        wrote = VPb_IO_write(s, block, bytes);
        if (wrote != bytes) return QV_ERR(QVE_SHORT_WRITE, wrote, bytes);
    }
    return 0;
}

}  // namespace qv
