/*
 * dib_layout.cpp - sizes and positions inside a DIB, and their bridge
 * functions.
 *
 * Internal: dib_alloc_size_checked, dib_total_size, dib_palette, dib_masks,
 * dib_bits, dib_init, dib_is_gray, dib_header_sane (declared in dib.h).
 * Exported: VPb_bytes_per_raster_calc/_get, VPb_DIB_bytes_per_raster_get,
 * VPb_palette_size_calc/_get, VPb_DIB_palette_size_get, VPb_DIB_size_get,
 * VPb_DIB_DIB_size_get, VPb_image_size_get, VPb_image_size_calc,
 * VPb_palette_pointer_get, VPb_DIB_palette_pointer_get,
 * VPb_DIB_image_pointer_get, VPb_DIB_{red,green,blue}_mask_set/_get,
 * VPb_DIB_init, VPb_DIB_is_gray_scale.
 */
#include <cstring>

#include "support/checked.h"
#include "support/dib.h"
#include "support/image.h"
#include "vosk32pd_bridge.h"

namespace qv {

bool dib_alloc_size_checked(int64_t width, int64_t height, uint32_t bpp, uint32_t compression,
                            size_t *out) {
    if (width < 1 || !dib_depth_known(bpp)) return false;
    if (height < -int64_t(INT32_MAX) || height > INT32_MAX || width > INT32_MAX) return false;
    if (compression == QV_BI_PAL_WIDE && bpp > 16) return false;
    uint64_t image = dib_image_size(width, height, bpp);  // < 2^31 * 2^31 * 4: no wrap
    uint64_t total = uint64_t(kDibHeaderSize) + dib_palette_size(bpp, compression) +
                     (dib_has_masks(compression) ? kDibMaskBytes : 0);
    if (image > SIZE_MAX - total) return false;
    size_t sum = 0;
    if (!size_add(size_t(image), size_t(total), &sum)) return false;
    *out = sum;
    return true;
}

size_t dib_total_size(const QV_DIB_HEADER *hdr) {
    uint64_t image = hdr->biCompression == QV_BI_RUNS
                         ? hdr->biSizeImage
                         : dib_image_size(hdr->biWidth, hdr->biHeight, hdr->biBitCount);
    return size_t(uint64_t(kDibHeaderSize) + image + dib_palette_size(hdr->biBitCount, hdr->biCompression) +
                  (dib_has_masks(hdr->biCompression) ? kDibMaskBytes : 0));
}

QV_RGBQUAD *dib_palette(QV_DIB_HEADER *hdr) {
    auto *base = reinterpret_cast<uint8_t *>(hdr) + kDibHeaderSize;
    if (hdr->biCompression == QV_BI_PAL_WIDE) return reinterpret_cast<QV_RGBQUAD *>(base + kDibMaskBytes);
    if (hdr->biBitCount > 8) return nullptr;
    return reinterpret_cast<QV_RGBQUAD *>(base);
}

uint32_t *dib_masks(QV_DIB_HEADER *hdr) {
    return reinterpret_cast<uint32_t *>(reinterpret_cast<uint8_t *>(hdr) + kDibHeaderSize);
}

uint8_t *dib_bits(QV_DIB_HEADER *hdr) {
    auto *base = reinterpret_cast<uint8_t *>(hdr) + kDibHeaderSize;
    uint32_t c = hdr->biCompression;
    if (c == QV_BI_BITFIELDS || c == QV_BI_GRAY16) return base + kDibMaskBytes;
    uint64_t pal = dib_palette_size(hdr->biBitCount, c);
    if (c == QV_BI_PAL_WIDE) return base + kDibMaskBytes + pal;
    return base + pal;
}

void dib_init(QV_DIB_HEADER *hdr, int32_t width, int32_t height, uint32_t bpp, uint32_t compression,
              int32_t xres, int32_t yres) {
    std::memset(hdr, 0, sizeof *hdr);
    hdr->biSize = kDibHeaderSize;
    hdr->biWidth = width;
    hdr->biHeight = height;
    hdr->biPlanes = 1;
    hdr->biBitCount = static_cast<uint16_t>(bpp);
    hdr->biCompression = compression;
    hdr->biSizeImage = static_cast<uint32_t>(dib_image_size(width, height, bpp));
    hdr->biXPelsPerMeter = xres;
    hdr->biYPelsPerMeter = yres;
}

bool dib_is_gray(const QV_DIB_HEADER *hdr) {
    if (hdr->biBitCount > 8 || hdr->biCompression == QV_BI_PAL_WIDE) return false;
    const QV_RGBQUAD *pal = dib_palette(const_cast<QV_DIB_HEADER *>(hdr));
    uint32_t n = 1u << hdr->biBitCount;
    for (uint32_t i = 0; i < n; ++i)
        if (pal[i].rgbRed != i || pal[i].rgbGreen != i || pal[i].rgbBlue != i) return false;
    return true;
}

bool dib_header_sane(const QV_DIB_HEADER *hdr) {
    if (!hdr || hdr->biSize != kDibHeaderSize || hdr->biWidth < 1 || hdr->biHeight == INT32_MIN)
        return false;
    uint32_t bpp = hdr->biBitCount, c = hdr->biCompression;
    switch (c) {
        case QV_BI_RGB: break;
        case QV_BI_BITFIELDS:
            if (bpp != 16 && bpp != 32) return false;
            break;
        case QV_BI_RUNS:
            if (bpp != 1) return false;
            break;
        case QV_BI_GRAY16:
            if (bpp != 16) return false;
            break;
        case QV_BI_PAL_WIDE: break;
        default: return false;
    }
    size_t size = 0;
    return dib_alloc_size_checked(hdr->biWidth, hdr->biHeight, bpp, c, &size);
}

}  // namespace qv

using namespace qv;

namespace {
QV_DIB_HEADER *dib_of(QUORIN image) {
    return image ? image_from_handle(image)->dib : nullptr;
}
}  // namespace

extern "C" {

QV_API uint32_t VPb_bytes_per_raster_calc(int32_t width, int32_t bpp) {
    if (width < 0 || bpp < 0) return 0;
    return static_cast<uint32_t>(dib_bytes_per_row(width, bpp));
}

QV_API uint32_t VPb_DIB_bytes_per_raster_get(const QV_DIB_HEADER *dib) {
    return dib ? static_cast<uint32_t>(dib_bytes_per_row(dib->biWidth, dib->biBitCount)) : 0;
}

QV_API uint32_t VPb_bytes_per_raster_get(QUORIN image) { return VPb_DIB_bytes_per_raster_get(dib_of(image)); }

QV_API uint32_t VPb_palette_size_calc(int32_t bpp, uint32_t compression) {
    if (bpp < 0 || bpp > 16) return 0;
    return static_cast<uint32_t>(dib_palette_size(uint32_t(bpp), compression));
}

QV_API uint32_t VPb_DIB_palette_size_get(const QV_DIB_HEADER *dib) {
    return dib ? VPb_palette_size_calc(dib->biBitCount, dib->biCompression) : 0;
}

QV_API uint32_t VPb_palette_size_get(QUORIN image) { return VPb_DIB_palette_size_get(dib_of(image)); }

QV_API size_t VPb_DIB_DIB_size_get(const QV_DIB_HEADER *dib) { return dib ? dib_total_size(dib) : 0; }
QV_API size_t VPb_DIB_size_get(QUORIN image) { return VPb_DIB_DIB_size_get(dib_of(image)); }
QV_API size_t VPb_image_size_get(QUORIN image) { return VPb_DIB_DIB_size_get(dib_of(image)); }
QV_API size_t VPb_image_size_calc(const QV_DIB_HEADER *dib) { return VPb_DIB_DIB_size_get(dib); }

QV_API QV_RGBQUAD *VPb_DIB_palette_pointer_get(QV_DIB_HEADER *dib) {
    return dib ? dib_palette(dib) : nullptr;
}
QV_API QV_RGBQUAD *VPb_palette_pointer_get(QUORIN image) { return VPb_DIB_palette_pointer_get(dib_of(image)); }

QV_API void *VPb_DIB_image_pointer_get(QV_DIB_HEADER *dib) { return dib ? dib_bits(dib) : nullptr; }

QV_API void VPb_DIB_red_mask_set(QV_DIB_HEADER *dib, uint32_t mask) {
    if (dib) std::memcpy(dib_masks(dib) + 0, &mask, 4);
}
QV_API void VPb_DIB_green_mask_set(QV_DIB_HEADER *dib, uint32_t mask) {
    if (dib) std::memcpy(dib_masks(dib) + 1, &mask, 4);
}
QV_API void VPb_DIB_blue_mask_set(QV_DIB_HEADER *dib, uint32_t mask) {
    if (dib) std::memcpy(dib_masks(dib) + 2, &mask, 4);
}
QV_API uint32_t VPb_DIB_red_mask_get(QV_DIB_HEADER *dib) {
    uint32_t m = 0;
    if (dib) std::memcpy(&m, dib_masks(dib) + 0, 4);
    return m;
}
QV_API uint32_t VPb_DIB_green_mask_get(QV_DIB_HEADER *dib) {
    uint32_t m = 0;
    if (dib) std::memcpy(&m, dib_masks(dib) + 1, 4);
    return m;
}
QV_API uint32_t VPb_DIB_blue_mask_get(QV_DIB_HEADER *dib) {
    uint32_t m = 0;
    if (dib) std::memcpy(&m, dib_masks(dib) + 2, 4);
    return m;
}

QV_API void VPb_DIB_init(QV_DIB_HEADER *hdr, int32_t width, int32_t height, int32_t bpp,
                         uint32_t compression, int32_t xres, int32_t yres) {
    if (hdr) dib_init(hdr, width, height, static_cast<uint32_t>(bpp), compression, xres, yres);
}

QV_API int32_t VPb_DIB_is_gray_scale(const QV_DIB_HEADER *dib) { return dib && dib_is_gray(dib) ? 1 : 0; }

}  // extern "C"
