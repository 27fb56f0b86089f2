/*
 * load_work.h - the working state of one load, built by the image-creation
 * callback under the load context's memory tag and released when the rows
 * are done (post-processing) or the load ends.
 *
 * A source row goes to the image in two steps chosen once per load:
 *   1. columns: the load rectangle and load size give each target column its
 *      source column (`cols`); rows go through the row map (`row_map`);
 *   2. depth: the target is the source's own layout (kSame) or one of the
 *      reductions (kGrey8, kVga4, kCube8, kBw1). Reductions first map every
 *      target pixel to one byte (a palette look-up for palette sources, a
 *      65,536-entry look-up for 16-bit sources, a colour map for 24/32-bit
 *      sources), then pack (4 bits) or diffuse (1 bit).
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/image.h"
#include "vosk32pd/base.h"

namespace qv {

enum class LoadTarget : uint8_t { kSame, kGrey8, kVga4, kCube8, kBw1 };
enum class SourceKind : uint8_t { kIdx1, kIdx4, kIdx8, kU16, kBgr24, kBgrx32 };

struct LoadWork {
    ImageRecord *rec;
    QV_DIB_HEADER *dib;
    bool run_form;       // 1-bit image held as run lists: rows go through image_row_set
    bool direct_ok;      // rows copy unchanged into an ordinary bottom-up DIB
    bool cols_identity;  // target column x is source column x
    bool cols_shift;     // target column x is source column left + x
    LoadTarget target;
    SourceKind kind;

    int32_t src_w, src_h, src_bpp;
    uint32_t src_comp;
    uint32_t src_masks[3];
    size_t src_bpr;

    int32_t left, top, crop_w, crop_h;
    int32_t tw, th, tbpp;
    size_t tbpr;

    uint8_t *tgt_row;      // one target row
    uint8_t *mid_row;      // target width at the source depth, or one byte per pixel
    uint8_t *row_done;     // one byte per target row: 1 once written
    uint8_t *plane_row;    // planar rows are assembled here
    int32_t *row_map;      // crop_h + 1 entries
    int32_t *cols;         // tw entries
    uint8_t *lut;          // 256 or 65,536 entries
    int16_t *err;          // error-diffusion row: 2 * tw + 8 bytes
    uint16_t *runs;        // run list of one row (run-encoded images)
    QV_RGBQUAD *src_palette;
    uint32_t src_palette_entries;

    int32_t rows_delivered;
};

}  // namespace qv
