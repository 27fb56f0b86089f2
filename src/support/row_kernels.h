/*
 * row_kernels.h - whole-row pixel kernels shared by the load and the save
 * pipelines: gathering columns, palette and colour-mask look-ups, colour reduction to the fixed palettes, error diffusion and
 * packing.
 *
 * Every kernel works on a whole row; `cols` is the source column of each
 * target column (the load rectangle and load size folded into one map).
 *
 *   Fixed palettes: kVgaPalette (16 entries), cube_palette, grey_palette
 *   Colour maps:    luma, vga_nearest, cube_index
 *   Same-depth gathers: gather_bits1, gather_nibbles4, gather_bytes
 *   Gathers into one value per pixel through a table:
 *                   gather_lut1/4/8 (palette index -> value),
 *                   gather_lut16 (16-bit pixel -> value)
 *   True colour to one value per pixel (stride 3 or 4 bytes):
 *                   gather_grey_bgr, gather_vga_bgr, gather_cube_bgr
 *   Finishing:      pack4, diffuse_to_1 (Floyd-Steinberg, packed output)
 *   Helpers:        extract_bits (a bit range of a packed row, shifted to 0)
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "vosk32pd/base.h"
#include "vosk32pd_bridge.h"

namespace qv {

extern const QV_RGBQUAD kVgaPalette[16];
void cube_palette(QV_RGBQUAD out[256]);
void grey_palette(QV_RGBQUAD out[256]);

inline uint8_t luma(uint32_t r, uint32_t g, uint32_t b) {
    return static_cast<uint8_t>((299 * r + 587 * g + 114 * b + 500) / 1000);
}
uint8_t vga_nearest(uint8_t r, uint8_t g, uint8_t b);
uint8_t cube_index(uint8_t r, uint8_t g, uint8_t b);

/* Same-depth gathers: dst receives n pixels, packed as the depth packs. */
void gather_bits1(const uint8_t *src, const int32_t *cols, int32_t n, uint8_t *dst);
void gather_nibbles4(const uint8_t *src, const int32_t *cols, int32_t n, uint8_t *dst);
void gather_bytes(const uint8_t *src, const int32_t *cols, int32_t n, int32_t bytes_per_pixel,
                  uint8_t *dst);

/* One byte per target pixel through a table. */
void gather_lut1(const uint8_t *src, const int32_t *cols, int32_t n, const uint8_t *lut,
                 uint8_t *dst);
void gather_lut4(const uint8_t *src, const int32_t *cols, int32_t n, const uint8_t *lut,
                 uint8_t *dst);
void gather_lut8(const uint8_t *src, const int32_t *cols, int32_t n, const uint8_t *lut,
                 uint8_t *dst);
void gather_lut16(const uint8_t *src, const int32_t *cols, int32_t n, const uint8_t *lut,
                  uint8_t *dst);

/* True colour (B, G, R[, X]) to one byte per target pixel. */
void gather_grey_bgr(const uint8_t *src, const int32_t *cols, int32_t n, int32_t stride,
                     uint8_t *dst);
void gather_vga_bgr(const uint8_t *src, const int32_t *cols, int32_t n, int32_t stride,
                    uint8_t *dst);
void gather_cube_bgr(const uint8_t *src, const int32_t *cols, int32_t n, int32_t stride,
                     uint8_t *dst);

/* Packs n values 0..15 two per byte, high nibble first. */
void pack4(const uint8_t *values, int32_t n, uint8_t *dst);

/* Floyd-Steinberg of one grey row to packed 1-bit (1 = white, >= 128
 * after the error is added). err holds n + 2 16-bit errors (the row's
 * incoming errors at index x + 1); it is updated for the next row. */
void diffuse_to_1(const uint8_t *grey, int32_t n, int16_t *err, uint8_t *dst);

/* Bits [first_bit, first_bit + nbits) of a packed row, moved to start at
 * bit 7 of dst[0]; the bits after them in the last byte are cleared. */
void extract_bits(const uint8_t *src, uint64_t first_bit, uint64_t nbits, uint8_t *dst);

/* Colour of a pixel through a colour mask: the field's value scaled to
 * 0..255 as value * 255 / (largest field value), truncated. */
using MaskChannel = VPb_MASK_CHANNEL;
inline MaskChannel mask_channel(uint32_t mask) { return VPb_mask_channel(mask); }
inline uint8_t mask_value(const MaskChannel &c, uint32_t pixel) { return VPb_mask_value(&c, pixel); }

}  // namespace qv
