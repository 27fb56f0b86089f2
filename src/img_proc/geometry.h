/*
 * geometry.h - shared pieces of the geometric operations: quarter and half
 * turns (rotate90.cpp), rotation by any angle (rotate_any.cpp), flips
 * (flip.cpp) and crops (crop.cpp).
 *
 *   Raster             top-down view of a packed DIB: row(0) is the top row
 *                      whatever the storage order
 *   geometry_entry     the entry frame: null image -3060 (0, 0), invalid
 *                      handle -2061 (handle, 0), else runs the body
 *   geometry_dest_compression / geometry_copy_masks
 *                      a 16-bit 503 source gives a 503 destination with the
 *                      source's first mask in all three; others get 0
 *   mirror_copy        one row written mirrored (pixel x of dst = pixel
 *                      width - 1 - x of src), per depth
 *   runs_mirror, runs_cut   run lists mirrored, or cut to a column range
 *
 * Workers (return 0 or the code pushed; each reports rows to `progress`):
 *   quarter_turn_packed   codes 1 and 3 from a packed source into a packed
 *                         destination of exchanged size
 *   quarter_turn_runs     the same for run-encoded sources and destinations
 *   half_turn_packed      180 degrees in place, 1, 4, 8 and 24 bits
 *   half_turn_runs        180 degrees in place on a run-encoded image
 *   flip_rows / flip_columns   top-bottom and left-right mirrors in place,
 *                         packed or run-encoded
 *   rotate_quarter        the whole QV_IP_rotate_multiple_90 (hook included)
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "img_proc/op_frame.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr char kRotateModule[] = "IMG_PROC\\ROTATE.C";
inline constexpr char kFlipModule[] = "IMG_PROC\\FLIP.C";
inline constexpr char kCropModule[] = "IMG_PROC\\CROP.C";

struct Raster {
    uint8_t *top = nullptr;
    ptrdiff_t stride = 0;  // from one row to the next one down
    int32_t width = 0, height = 0, bpp = 0;
    size_t bytes = 0;  // bytes per row
    explicit Raster(QV_DIB_HEADER *d)
        : top(dib_row(d, 0)), width(d->biWidth), height(dib_abs_height(d)), bpp(d->biBitCount),
          bytes(size_t(dib_bytes_per_row(d->biWidth, d->biBitCount))) {
        stride = d->biHeight < 0 ? ptrdiff_t(bytes) : -ptrdiff_t(bytes);
    }
    uint8_t *row(int32_t y) const { return top + ptrdiff_t(y) * stride; }
};

inline bool geometry_depth_ok(int32_t bpp) {
    return bpp == 1 || bpp == 4 || bpp == 8 || bpp == 16 || bpp == 24;
}

template <class F>
int32_t geometry_entry(QUORIN image, const char *module, F &&fn) {
    return api_frame([&] {
        if (!image) {
            error_push(module, __LINE__, QVE_NULL_POINTER, 0, 0);
            return;
        }
        if (!image_handle_valid(image)) {
            error_push(module, __LINE__, QVE_INVALID_IMAGE, int32_t(reinterpret_cast<intptr_t>(image)), 0);
            return;
        }
        fn(image_from_handle(image));
    });
}

uint32_t geometry_dest_compression(const ImageRecord *rec);
void geometry_copy_masks(QV_DIB_HEADER *dst, QV_DIB_HEADER *src);

/* Packed rows: dst and src must not overlap. 1 and 4 bits touch only the
 * bytes holding the width's pixels; the bits after the last pixel of dst's
 * last byte become 0. */
void mirror_copy(uint8_t *dst, const uint8_t *src, int32_t width, int32_t bpp);

/* Run lists (runs.h): `out` holds runs_max_words(width) words. */
void runs_mirror(const uint16_t *in, int32_t width, uint16_t *out);
void runs_cut(const uint16_t *in, int32_t left, int32_t right, uint16_t *out);

int32_t quarter_turn_packed(QV_DIB_HEADER *src, QV_DIB_HEADER *dst, int32_t code, OpProgress &progress);
int32_t quarter_turn_runs(ImageRecord *src, ImageRecord *drec, QV_DIB_HEADER *ddib, int32_t code,
                          OpProgress &progress);
int32_t half_turn_packed(QV_DIB_HEADER *dib, OpProgress &progress);
int32_t half_turn_runs(ImageRecord *rec, OpProgress &progress);
int32_t flip_rows(ImageRecord *rec, OpProgress &progress);
int32_t flip_columns(ImageRecord *rec, OpProgress &progress);

void rotate_quarter(ImageRecord *rec, int32_t code);

}  // namespace qv
