/*
 * image.h - the image record behind a QUORIN handle.
 *
 * A record is 1,176 bytes, zero-filled, allocated under a memory tag of its
 * own; the handle is its address. It owns its DIB, the run table and run data
 * of a run-encoded 1-bit image, the display objects, an auxiliary buffer, a
 * buffer tag and the alpha companion image.
 *
 *   image_handle_valid(h)   not null, not within -255..255, a live record,
 *                           signature "REEB"
 *   image_from_handle(h)    the record (no test)
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "vosk32pd/base.h"

namespace qv {

inline constexpr size_t kImageRecordSize = 1176;
inline constexpr char kImageSignature[4] = {'R', 'E', 'E', 'B'};

struct ImageHead {
    char signature[4];
    uint32_t mem_tag;
    int32_t lock_count;
    int32_t info_type;   // 48, 50: images owned by extension modules
    int32_t info_value;
    QV_DIB_HEADER *dib;
    int32_t display_flags[3];
    int32_t display_params[4];  // 0, 0, 100 (scale in percent), 0
    QV_RECT image_rect;
    int32_t reserved_rect[4];
    double extent[2];           // width - 1, height - 1
    // Display state: initialised here, interpreted by the display subsystem.
    uint32_t raster_op;         // 0xCC0020 (SRCCOPY)
    uint8_t background[4];      // 127, 127, 127
    int32_t display_switches[6];
    int32_t display_scale2;     // 100
};

struct ImageTail {
    void *gdi_bitmap;
    void *gdi_palette;
    void *aux_buffer;
    uint32_t *run_table;  // run-encoded images: byte offset of each row's list, 0xFFFFFFFF = none
    uint8_t *run_data;    // start of the run lists
    size_t run_used;      // bytes of run data in use
    size_t run_capacity;  // bytes available at run_data
    int32_t run_data_owned;  // 1 when run_data is a block of its own (not inside the DIB)
    int32_t run_lists_shared;  // 1 when rows may point at one list: no list is rewritten in place
    int32_t dib_foreign;     // 1 when the DIB came from the caller (import): freed with free()
    uint32_t xres_num, xres_den;
    uint32_t yres_num, yres_den;
    uint32_t res_unit;    // 1..6
    uint32_t orientation; // 1..8
    uint32_t buffer_tag;
    QUORIN alpha;
    int32_t is_signed;        // 16-bit samples read as signed (QV_image_is_signed_set)
    uint8_t *display_lut16;   // 65,536-entry display table of a 503 image, or null
    uint8_t extension_area[68];
    uint32_t last_field;
};

struct ImageRecord : ImageHead {
    uint8_t display_reserved[kImageRecordSize - sizeof(ImageHead) - sizeof(ImageTail)];
    ImageTail t;
};
static_assert(sizeof(ImageRecord) == kImageRecordSize, "image record is 1,176 bytes");

inline ImageRecord *image_from_handle(QUORIN h) { return reinterpret_cast<ImageRecord *>(h); }
inline QUORIN handle_from_image(ImageRecord *r) { return reinterpret_cast<QUORIN>(r); }

bool image_handle_valid(const void *handle);
/* A record allocated by image_alloc and not yet freed, bound or not. */
bool image_record_live(const void *handle);

}  // namespace qv

namespace qv {

/* Internal image operations (the public and bridge wrappers call these).
 *
 *   image_alloc(tag)                 zero-filled record under `tag`, entered
 *                                    in the live set; null (-3020 pushed)
 *   image_associate(dib, rec, full)  binding: signature, DIB, defaults
 *   image_delete(rec)                hooks, buffers, DIB, alpha, zero, tag
 *   dib_alloc(rec, tmpl, palette)    VPb_DIB_alloc: a DIB for the record
 *                                    under its tag (1-bit -> run-encoded)
 *   image_set_resolution_from_dib(rec)   resolution from the header's
 *                                    pixels-per-length fields (unit 2, or 3
 *                                    when the DIB resolution mode is 3)
 *   image_row_get/_set(rec, row, buf)    one whole row (row 0 = top) in DIB
 *                                    packing, run-encoded images included
 *   image_changed(rec, reason, value)    run the image-changed hook
 *
 * Notes:
 *  1. image_delete releases the record's whole tag: a work record made under
 *     another image's tag is freed with image_release_record instead (after
 *     freeing its DIB with dib_free if it kept one).
 *  2. dib_alloc puts the run table of a 1-bit DIB in the record; a record
 *     whose bound DIB is run-encoded gets further 1-bit DIBs packed. Build a
 *     run-encoded destination on a record of its own.
 *  3. image_row_get/_set return 0 or the code pushed (-3420 row outside the
 *     image, -1000, -3030); the buffer holds bytes-per-row bytes. A run-encoded
 *     row reads and writes as packed bits (value 0 = first run colour); see
 *     runs.h for the run lists themselves.
 */
ImageRecord *image_alloc(uint32_t tag);
/* A blank image (zeroed bits, grey-ramp palette up to 8 bits, masks kept for
 * 16 bits): the body of QV_image_create_DIB_ex without a DIB pointer. */
/* Links `alpha` as the record's alpha image (image_alpha.cpp): a previous,
 * different, valid one is deleted; one of another size is refused (-3400). */
void alpha_link(ImageRecord *rec, QUORIN alpha);
void image_create_blank(int32_t width, int32_t height, int32_t bpp, uint32_t compression,
                        QUORIN *out);
/* Links `alpha` as the alpha companion of `rec` (image_alpha.cpp): a previous,
 * different, valid one is deleted first; one of another size is refused
 * (-3400) and the old link kept. */
void alpha_link(ImageRecord *rec, QUORIN alpha);
/* Frees a record that shares its tag with other memory (a work record made
 * under a source image's tag): leaves the live set and frees the record
 * block only, not its DIB, and never the tag. */
void image_release_record(ImageRecord *rec);
/* 1 when the lock was taken (count was 0); 0 when already locked. */
int32_t image_lock(ImageRecord *rec);
/* 1 when the count went from 1 to 0; 0 when it was 0. */
int32_t image_unlock(ImageRecord *rec);
void image_associate(QV_DIB_HEADER *dib, ImageRecord *rec, bool full);
void image_delete(ImageRecord *rec);
QV_DIB_HEADER *dib_alloc(ImageRecord *rec, const QV_DIB_HEADER *tmpl, const QV_RGBQUAD *palette);
/* As dib_alloc without taking the lock (the caller holds it), and with the
 * compression chosen by the caller: run_form false keeps a 1-bit DIB packed. */
QV_DIB_HEADER *dib_alloc_locked(ImageRecord *rec, const QV_DIB_HEADER *tmpl,
                                const QV_RGBQUAD *palette, bool run_form);
/* Frees `dib` (the record's DIB or one allocated for it) and, when it is the
 * record's run-encoded DIB, the run table and run data. 0 or -3030 pushed. */
int32_t dib_free(ImageRecord *rec, QV_DIB_HEADER *dib);
/* Sets the resolution fields and the header's pixels-per-length fields as
 * QV_image_resolution_set does; returns the number of errors it pushed. */
int32_t image_resolution_set(ImageRecord *rec, uint32_t xnum, uint32_t xden, uint32_t ynum,
                             uint32_t yden, uint32_t unit);
void image_set_resolution_from_dib(ImageRecord *rec);
int32_t image_row_get(ImageRecord *rec, int32_t row, uint8_t *buf);
int32_t image_row_set(ImageRecord *rec, int32_t row, const uint8_t *buf);
void image_changed(ImageRecord *rec, int32_t reason, int32_t value);
/* The 65,536-byte display table of a 16-bit single-channel (503) image
 * under the image's tag: null when it has none; with `create` a missing one
 * is made (entry v = v >> 8). Null for other images and on exhaustion. */
uint8_t *image_display_lut16(ImageRecord *rec, bool create);

/* Width, |height| and depth of the record's DIB. */
inline int32_t image_width(const ImageRecord *rec) { return rec->dib->biWidth; }
inline int32_t image_height(const ImageRecord *rec) {
    return rec->dib->biHeight < 0 ? -rec->dib->biHeight : rec->dib->biHeight;
}
inline int32_t image_bpp(const ImageRecord *rec) { return rec->dib->biBitCount; }

/* Loads an image from a DIB in memory (header, palette or masks, bits; `size`
 * bytes in all) through the load pipeline, as a new image with a tag of its
 * own. The caller keeps its DIB. Sets *out to the new handle, or null on
 * failure. Returns 0 on success, non-zero after pushing errors. */
int32_t image_load_dib_mem(const void *dib, size_t size, QUORIN *out);

}  // namespace qv
