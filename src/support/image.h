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
    uint32_t xres_num, xres_den;
    uint32_t yres_num, yres_den;
    uint32_t res_unit;    // 1..6
    uint32_t orientation; // 1..8
    uint32_t buffer_tag;
    QUORIN alpha;
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
 */
ImageRecord *image_alloc(uint32_t tag);
void image_associate(QV_DIB_HEADER *dib, ImageRecord *rec, bool full);
void image_delete(ImageRecord *rec);
QV_DIB_HEADER *dib_alloc(ImageRecord *rec, const QV_DIB_HEADER *tmpl, const QV_RGBQUAD *palette);
void image_set_resolution_from_dib(ImageRecord *rec);
int32_t image_row_get(ImageRecord *rec, int32_t row, uint8_t *buf);
int32_t image_row_set(ImageRecord *rec, int32_t row, const uint8_t *buf);
void image_changed(ImageRecord *rec, int32_t reason, int32_t value);

}  // namespace qv
