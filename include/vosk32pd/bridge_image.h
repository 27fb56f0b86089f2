/*
 * vosk32pd/bridge_image.h - image records and DIB helpers for format filters
 * and extension modules.
 *
 * Bridge functions do not clear the error stack. Those that take a "record"
 * accept any record made by VPb_image_alloc, bound or not, and return 0 or
 * null for anything else. Functions returning int32_t counts return the
 * error count when they leave, unless their comment says otherwise.
 *
 * DIB layout (the rules every codec uses):
 *   bytes per row    4 * floor((width * bpp + 31) / 32)
 *   image size       bytes per row * |height|
 *   palette entries  2^bpp for bpp <= 8 (any depth at compression 504), else 0;
 *                    4 bytes each (blue, green, red, reserved)
 *   masks            12 bytes after the header at compressions 3, 503, 504
 *   whole size       40 + masks + palette + image size; a run-encoded DIB
 *                    (compression 500) uses biSizeImage as its image size
 *   palette position after the header (after the masks at 504); none above 8
 *                    bits otherwise
 *   bits position    header + masks (3, 503); header + masks + palette (504);
 *                    header + palette otherwise
 */
#ifndef VOSK32PD_BRIDGE_IMAGE_H
#define VOSK32PD_BRIDGE_IMAGE_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* ---- records ------------------------------------------------------------ */

/* A zero-filled record under `tag` (not yet valid: bind it with
 * VPb_image_associate), or null after pushing -3020 (iVal 1176). */
QV_API QUORIN VPb_image_alloc(uint32_t tag);
/* Binds `dib` to the record: signature, DIB, third display flag 1. With
 * `full` non-zero also every default (rectangle = whole DIB, resolution
 * 300/1 per inch, orientation 1, display state) and the image-create hook
 * (0). Returns the error count (-2061 record not live, -3060 null DIB). */
QV_API int32_t VPb_image_associate(QV_DIB_HEADER *dib, QUORIN record, int32_t full);
/* 1 when the lock was taken, 0 when the record was already locked. */
QV_API int32_t VPb_image_lock(QUORIN record);
/* 1 when the count went from 1 to 0, else 0. */
QV_API int32_t VPb_image_unlock(QUORIN record);
/* Start of the pixel bits / the DIB of a record. */
QV_API void *VPb_image_pointer_get(QUORIN record);
QV_API QV_DIB_HEADER *VPb_DIB_pointer_get(QUORIN record);
/* The record's resolution (numerators, denominators of at least 1, unit
 * code 1-6 as QV_image_resolution_get gives them) without touching the
 * error stack. 1, or 0 (outputs untouched) for anything but a record. */
QV_API int32_t VPb_image_resolution_get(QUORIN record, uint32_t *xnum, uint32_t *xden,
                                        uint32_t *ynum, uint32_t *yden, int32_t *unit);
/* The DIB resolution mode in force: 2 when DIB headers hold pixels per
 * metre, 3 when they hold pixels per inch (QV_DIB_resolution_units_get). */
QV_API int32_t VPb_DIB_resolution_mode_get(void);
/* Record fields: information type (48, 50: extension images), memory tag,
 * information value. Setters return 1 when stored, 0 for a bad record. */
QV_API int32_t VPb_image_info_type_set(QUORIN record, int32_t type);
QV_API int32_t VPb_image_info_type_get(QUORIN record);
QV_API int32_t VPb_image_info_mem_tag_set(QUORIN record, uint32_t tag);
QV_API uint32_t VPb_image_info_mem_tag_get(QUORIN record);
QV_API int32_t VPb_image_info_set(QUORIN record, int32_t value);
QV_API int32_t VPb_image_info_get(QUORIN record);

/* The 65,536-byte display table of a 16-bit single-channel image
 * (compression 503): entry v is the 8-bit shade shown for sample v. Null
 * when the image has none, or is no such image; with `create` non-zero a
 * missing table is made under the image's tag (entry v = v >> 8). */
QV_API uint8_t *VPb_image_display_LUT16_get(QUORIN record, int32_t create);

/* ---- layout ------------------------------------------------------------- */

QV_API uint32_t VPb_bytes_per_raster_calc(int32_t width, int32_t bpp);
QV_API uint32_t VPb_bytes_per_raster_get(QUORIN record);
QV_API uint32_t VPb_DIB_bytes_per_raster_get(const QV_DIB_HEADER *dib);
/* Palette bytes; depths above 16 give 0. */
QV_API uint32_t VPb_palette_size_calc(int32_t bpp, uint32_t compression);
QV_API uint32_t VPb_palette_size_get(QUORIN record);
QV_API uint32_t VPb_DIB_palette_size_get(const QV_DIB_HEADER *dib);
/* Whole DIB size in bytes (all four name the same rule). */
QV_API size_t VPb_DIB_size_get(QUORIN record);
QV_API size_t VPb_image_size_get(QUORIN record);
QV_API size_t VPb_DIB_DIB_size_get(const QV_DIB_HEADER *dib);
QV_API size_t VPb_image_size_calc(const QV_DIB_HEADER *dib);
/* Palette position, or null when the depth has none. */
QV_API QV_RGBQUAD *VPb_palette_pointer_get(QUORIN record);
QV_API QV_RGBQUAD *VPb_DIB_palette_pointer_get(QV_DIB_HEADER *dib);
QV_API void *VPb_DIB_image_pointer_get(QV_DIB_HEADER *dib);
/* The three 32-bit masks after the header (red, green, blue). */
QV_API void VPb_DIB_red_mask_set(QV_DIB_HEADER *dib, uint32_t mask);
QV_API void VPb_DIB_green_mask_set(QV_DIB_HEADER *dib, uint32_t mask);
QV_API void VPb_DIB_blue_mask_set(QV_DIB_HEADER *dib, uint32_t mask);
QV_API uint32_t VPb_DIB_red_mask_get(QV_DIB_HEADER *dib);
QV_API uint32_t VPb_DIB_green_mask_get(QV_DIB_HEADER *dib);
QV_API uint32_t VPb_DIB_blue_mask_get(QV_DIB_HEADER *dib);
/* A header: size 40, planes 1, the image size from the rule, the given
 * resolution fields, colours used and important 0. */
QV_API void VPb_DIB_init(QV_DIB_HEADER *hdr, int32_t width, int32_t height, int32_t bpp,
                         uint32_t compression, int32_t xres, int32_t yres);
/* 1 when the palette is the identity gray ramp (see QV_image_is_gray). */
QV_API int32_t VPb_DIB_is_gray_scale(const QV_DIB_HEADER *dib);

/* ---- DIB allocation ----------------------------------------------------- */

/* A DIB for the record under its tag, from a template header (width,
 * height, depth, compression, resolution) and palette (2^bpp entries when
 * the depth has a palette; null leaves it zero). The DIB is not bound: call
 * VPb_image_associate.
 * Notes:
 *  1. The record is locked meanwhile: already locked -3010, null returned.
 *  2. Allocation failure: -1000 (iVal the size, lVal the tag), null.
 *  3. A 1-bit DIB is made run-encoded (compression 500) with a run table in
 *     the record, every row not yet stored (reads as value 0). When the
 *     table cannot be had (-1000 pushed), the width is above 32763, or the
 *     record's bound DIB is already run-encoded, it stays at compression 0.
 *     Fill rows with the row functions (they handle both forms). */
QV_API QV_DIB_HEADER *VPb_DIB_alloc(QUORIN record, const QV_DIB_HEADER *tmpl, const QV_RGBQUAD *palette);
/* Frees a DIB of the record (its bound one or one VPb_DIB_alloc made) and,
 * for a run-encoded one, the record's run table and data. A DIB not held
 * under the record's tag: -3030 (iVal the pointer, lVal the tag). */
QV_API int32_t VPb_DIB_free(QUORIN record, QV_DIB_HEADER *dib);

/* ---- colour masks ---------------------------------------------------------
 * A 16- or 32-bit pixel's colour mask as a channel: VPb_mask_value scales
 * the channel's value to 0..255 by truncation (value * 255 / largest); an
 * empty mask gives 0. Header-only: row loops call them per pixel. */
typedef struct VPb_MASK_CHANNEL {
    uint32_t mask;
    uint32_t shift;
    uint32_t max; /* mask >> shift */
} VPb_MASK_CHANNEL;
static inline VPb_MASK_CHANNEL VPb_mask_channel(uint32_t mask) {
    VPb_MASK_CHANNEL c = {mask, 0, 0};
    if (mask) {
        c.shift = (uint32_t)__builtin_ctz(mask);
        c.max = mask >> c.shift;
    }
    return c;
}
static inline uint8_t VPb_mask_value(const VPb_MASK_CHANNEL *c, uint32_t pixel) {
    if (c->max == 0) return 0;
    return (uint8_t)((uint64_t)((pixel & c->mask) >> c->shift) * 255u / c->max);
}

/* ---- run lists (format of QV_runs_row_get) ------------------------------ */

/* Encodes a packed 1-bit row (bit 7 of byte 0 = column 0; bits past the
 * width ignored) as a run list of at most max_words words (width + 4 always
 * suffice). Returns the words written, or after pushing: -3320 (iVal
 * max_words, lVal the words needed at most) when the list does not fit,
 * -3320 (iVal the width) for a width outside 1..32763, -3060 null pointer. */
QV_API int32_t VPb_runs_from_packed(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words);
/* Decodes a run list into one DIB row of 4 * ((width + 31) / 32) bytes,
 * padding bits zero. Word 0 (the length) must lie within the caller's
 * buffer; the positions are clamped to the width and made non-decreasing,
 * so any content decodes safely.
 * Returns 0, or -3320 / -3060 after pushing. */
QV_API int32_t VPb_runs_to_packed(const uint16_t *runs, int32_t width, uint8_t *bits);
/* 1 when the run list is well formed for the width (length word, colour
 * changes in order within the width, the three terminating widths) and
 * lies within avail_bytes; else 0. */
QV_API int32_t VPb_runs_valid(const uint16_t *runs, size_t avail_bytes, int32_t width);
/* Copies row `row` of a 1-bit record as a run list into `runs` (room for
 * 2 * width + 8 bytes). Returns the error count; -2061 for a record without
 * a DIB. */
QV_API int32_t VPb_image_run_row_get(QUORIN record, int32_t row, uint16_t *runs);

QV_EXTERN_C_END

#endif /* VOSK32PD_BRIDGE_IMAGE_H */
