/*
 * bmp_format.h - the BMP filter's internal interface.
 *
 * Forms read: "BM" files; OS/2 "BA" bitmap arrays (page n = the n-th array
 * entry); bare DIBs (no file header; a 40-byte header in little- or
 * big-endian byte order), including the library's own compressions 500
 * (run lists), 503 (16-bit single channel) and 504 (palette above 8 bits).
 * Info headers of 12 (OS/2 1.x), 16 to 64 (OS/2 2.x), 40, 52, 56, 108 and
 * 124 bytes.
 *
 *   bmp_parse(stream, page, &hdr)   reads the headers, masks and palette of
 *                                   one image and leaves the stream anywhere
 *   bmp_read_pixels(stream, hdr)    hands the rows to the load pipeline
 *   bmp_read_rle(stream, hdr, row_fn)  RLE4/RLE8 decoding (bmp_rle.cpp)
 *   bmp_read / bmp_info / bmp_pages / bmp_write: the filter's entry points
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

// Compression values found in BMP headers.
inline constexpr uint32_t kBmpRgb = 0, kBmpRle8 = 1, kBmpRle4 = 2, kBmpBitfields = 3,
                          kBmpJpeg = 4, kBmpPng = 5, kBmpAlphaBitfields = 6;

struct BmpHeader {
    int64_t start = 0;          // stream position of the file (or bare DIB)
    bool file_header = false;   // "BM" (or a "BA" array entry) present
    bool big_endian = false;    // bare DIB stored in big-endian byte order
    bool os2 = false;           // OS/2 1.x or 2.x info header
    uint32_t header_size = 0;
    int32_t width = 0;
    int32_t height = 0;         // as stored: negative means rows top-down
    uint32_t bpp = 0;
    uint32_t compression = 0;
    uint32_t size_image = 0;
    int32_t xppm = 0, yppm = 0;
    uint32_t colors_used = 0;
    uint32_t masks[4] = {0, 0, 0, 0};  // red, green, blue, alpha
    uint32_t palette_entries = 0;      // entries read (the rest are black)
    QV_RGBQUAD *palette = nullptr;     // 2^bpp entries for bpp <= 8 and 504
    int64_t bits = 0;                  // stream position of the pixel data
    int64_t end = -1;                  // stream end, -1 when unknown

    int32_t rows() const { return height < 0 ? -height : height; }
    bool top_down() const { return height < 0; }
};

/* Parses one image's headers. `palette_store` must hold 256 entries; a
 * 504 DIB's wide palette is allocated under `tag`. 0 or an error code. */
int32_t bmp_parse(VPb_STREAM *s, int32_t page, uint32_t tag, QV_RGBQUAD *palette_store,
                  BmpHeader *hdr);
int32_t bmp_array_count(VPb_STREAM *s, int32_t *count);

/* Rows of an RLE image, one byte per pixel (palette index), file order. */
using BmpRowSink = int32_t (*)(void *user, int32_t file_row, const uint8_t *indices);
int32_t bmp_read_rle(VPb_STREAM *s, const BmpHeader &hdr, uint8_t *row, BmpRowSink sink, void *user);

int32_t bmp_read(VPb_STREAM *stream, void *ctl, int32_t sel1, int32_t sel2);
int32_t bmp_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *ctl);
int32_t bmp_pages(VPb_STREAM *stream, void *ctl, int32_t *count);
int32_t bmp_write(VPb_STREAM *stream, void *ctl, int32_t sel1, int32_t sel2, int32_t compression);

}  // namespace qv
