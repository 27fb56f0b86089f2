/*
 * flip.cpp - mirroring an image in place.
 *
 * Direction 1 (top-bottom): rows y and height - 1 - y are exchanged 32
 * bits at a time over the whole raster, pair by pair, each pair reported as
 * (pair, height / 2). Run-encoded images exchange the entries of their row
 * table instead.
 *
 * Direction 0 (left-right): each row is copied to a work row and written
 * back mirrored (mirror_copy): 1 bit through a bit-reversal of each byte
 * in reverse byte order, the row then shifted left by 8 - width mod 8 so
 * the picture starts again at bit 7 of byte 0 and the bits after its end
 * are 0; 4 bits the same with nibbles; 8, 16 and 24 bits pixel k and
 * width - 1 - k exchanged. Run-encoded rows have their lists mirrored. Each
 * row is reported as (row, height). Other depths fail with -3000 (bpp, 0).
 *
 * Another direction fails with -3320 (direction, 0). A cancel leaves the
 * rows or pairs done so far mirrored. On success the image-changed hook
 * runs with reason 3 and the direction.
 *
 * Internal: flip_rows, flip_columns (geometry.h). Exported: QV_IP_flip.
 */
#include <algorithm>
#include <cstring>

#include "img_proc/geometry.h"
#include "support/memory.h"
#include "support/runs.h"

namespace qv {
namespace {

constexpr const char *kModule = kFlipModule;

void swap_words(uint8_t *a, uint8_t *b, size_t bytes) {
    uint8_t tmp[256];
    while (bytes) {
        size_t n = std::min(bytes, sizeof tmp);
        std::memcpy(tmp, a, n);
        std::memcpy(a, b, n);
        std::memcpy(b, tmp, n);
        a += n;
        b += n;
        bytes -= n;
    }
}

int32_t flip_rows_runs(ImageRecord *rec, OpProgress &progress) {
    const int32_t h = image_height(rec);
    uint32_t *table = rec->t.run_table;
    for (int32_t i = 0; i < h / 2; ++i) {
        std::swap(table[i], table[h - 1 - i]);
        if (!progress.row_done(i)) return QVE_CANCELLED;
    }
    return 0;
}

int32_t flip_columns_runs(ImageRecord *rec, OpProgress &progress) {
    const int32_t w = image_width(rec), h = image_height(rec);
    TagScope tag;
    auto *list = mem_alloc_array<uint16_t>(tag.tag(), size_t(runs_max_words(w)) + 4);
    if (!list) return QV_ERR(QVE_NO_MEMORY, runs_max_bytes(w) + 8, 0);
    for (int32_t y = 0; y < h; ++y) {
        if (const uint16_t *in = image_run_list(rec, y)) {
            runs_mirror(in, w, list);
            if (int32_t rc = image_run_row_store(rec, y, list); rc != 0) return rc;
        }
        if (!progress.row_done(y)) return QVE_CANCELLED;
    }
    return 0;
}

}  // namespace

int32_t flip_rows(ImageRecord *rec, OpProgress &progress) {
    if (image_is_run_form(rec)) return flip_rows_runs(rec, progress);
    const Raster r(rec->dib);
    for (int32_t i = 0; i < r.height / 2; ++i) {
        swap_words(r.row(i), r.row(r.height - 1 - i), r.bytes);
        if (!progress.row_done(i)) return QVE_CANCELLED;
    }
    return 0;
}

int32_t flip_columns(ImageRecord *rec, OpProgress &progress) {
    if (image_is_run_form(rec)) return flip_columns_runs(rec, progress);
    const Raster r(rec->dib);
    if (!geometry_depth_ok(r.bpp)) return QV_ERR(QVE_DEPTH_UNSUPPORTED, r.bpp, 0);
    TagScope tag;
    auto *work = static_cast<uint8_t *>(mem_alloc(tag.tag(), r.bytes));
    if (!work) return QV_ERR(QVE_NO_MEMORY, r.bytes, 0);
    for (int32_t y = 0; y < r.height; ++y) {
        uint8_t *row = r.row(y);
        std::memcpy(work, row, r.bytes);
        mirror_copy(row, work, r.width, r.bpp);
        if (!progress.row_done(y)) return QVE_CANCELLED;
    }
    return 0;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_flip(QUORIN image, int32_t direction) {
    return geometry_entry(image, kFlipModule, [&](ImageRecord *rec) {
        int32_t rc;
        if (direction == 1) {
            OpProgress progress(kFlipModule, image_height(rec) / 2);
            rc = flip_rows(rec, progress);
        } else if (direction == 0) {
            OpProgress progress(kFlipModule, image_height(rec));
            rc = flip_columns(rec, progress);
        } else {
            rc = error_push(kFlipModule, __LINE__, QVE_OUT_OF_RANGE, direction, 0);
        }
        if (rc == 0) image_changed(rec, QV_CHANGED_FLIP, direction);
    });
}

}  // extern "C"
