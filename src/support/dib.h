/*
 * dib.h - DIB layout rules, in one place.
 *
 *   dib_bytes_per_row(width, bpp)     4 * floor((width * bpp + 31) / 32)
 *   dib_image_size(width, height, bpp)   bytes per row * |height|
 *   dib_palette_entries(bpp, compression)  2^bpp up to 8 bits (any depth
 *                                     for 504), else 0
 *   dib_has_masks(compression)        3, 503, 504 carry 12 mask bytes
 *   dib_alloc_size(...)               40 + masks + palette + image size
 *   dib_total_size(hdr)               whole DIB (run-encoded: biSizeImage)
 *   dib_palette(hdr), dib_masks(hdr), dib_bits(hdr)   positions
 *   dib_init(hdr, width, height, bpp, compression, xres, yres)
 *   dib_depth_known(bpp)              1, 4, 8, 16, 24 or 32
 *   dib_row(hdr, row)                 start of row `row` (0 = top): a positive
 *                                     height stores rows bottom-up, a
 *                                     negative one top-down
 *   dib_is_gray(hdr)                  palette is the identity ramp (i, i, i)
 *   dib_header_sane(hdr)              a caller's DIB header that the layout
 *                                     rules can address (import checks)
 *
 * Sizes are 64-bit and checked: the *_checked forms return false when a
 * size would overflow or a field is out of range (width < 1, bpp unknown).
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "vosk32pd/base.h"

namespace qv {

inline constexpr uint32_t kDibHeaderSize = 40;
inline constexpr uint32_t kDibMaskBytes = 12;

inline uint64_t dib_bytes_per_row(int64_t width, int64_t bpp) {
    return 4 * ((uint64_t(width) * uint64_t(bpp) + 31) / 32);
}
inline uint64_t dib_image_size(int64_t width, int64_t height, int64_t bpp) {
    return dib_bytes_per_row(width, bpp) * uint64_t(height < 0 ? -height : height);
}
inline bool dib_has_masks(uint32_t compression) {
    return compression == QV_BI_BITFIELDS || compression == QV_BI_GRAY16 ||
           compression == QV_BI_PAL_WIDE;
}
inline uint64_t dib_palette_entries(uint32_t bpp, uint32_t compression) {
    if (compression == QV_BI_PAL_WIDE) return bpp < 32 ? (uint64_t(1) << bpp) : 0;
    return bpp <= 8 ? (uint64_t(1) << bpp) : 0;
}
inline uint64_t dib_palette_size(uint32_t bpp, uint32_t compression) {
    return 4 * dib_palette_entries(bpp, compression);
}

/* Byte size of a new DIB; false when the numbers cannot make a DIB that this
 * machine can address (overflow, width < 1, bpp not 1/4/8/16/24/32). */
bool dib_alloc_size_checked(int64_t width, int64_t height, uint32_t bpp, uint32_t compression,
                            size_t *out);
size_t dib_total_size(const QV_DIB_HEADER *hdr);
QV_RGBQUAD *dib_palette(QV_DIB_HEADER *hdr);      // null when the depth has none
uint32_t *dib_masks(QV_DIB_HEADER *hdr);          // the 12 bytes after the header
uint8_t *dib_bits(QV_DIB_HEADER *hdr);
void dib_init(QV_DIB_HEADER *hdr, int32_t width, int32_t height, uint32_t bpp,
              uint32_t compression, int32_t xres, int32_t yres);
bool dib_is_gray(const QV_DIB_HEADER *hdr);
bool dib_header_sane(const QV_DIB_HEADER *hdr);

inline bool dib_depth_known(uint32_t bpp) {
    return bpp == 1 || bpp == 4 || bpp == 8 || bpp == 16 || bpp == 24 || bpp == 32;
}
inline int32_t dib_abs_height(const QV_DIB_HEADER *hdr) {
    return hdr->biHeight < 0 ? -hdr->biHeight : hdr->biHeight;
}
inline uint8_t *dib_row(QV_DIB_HEADER *hdr, int32_t row) {
    int32_t h = dib_abs_height(hdr);
    int64_t raster = hdr->biHeight < 0 ? row : int64_t(h) - 1 - row;
    return dib_bits(hdr) + uint64_t(raster) * dib_bytes_per_row(hdr->biWidth, hdr->biBitCount);
}

}  // namespace qv
