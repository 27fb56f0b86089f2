/*
 * rotate180.cpp - half turns in place.
 *
 * Packed rasters (1, 4, 8, 24 bits): rows y and height - 1 - y are taken in
 * pairs from the outside in; the top one is kept in a work row, the bottom
 * one is written mirrored over it and the kept one mirrored over the
 * bottom. The middle row of an odd height is mirrored onto itself. Each
 * pair is reported as (pair, height / 2); a cancel leaves the pairs done so
 * far turned.
 *
 * Run-encoded images: the row table is reversed (rows keep their lists)
 * and every list is mirrored.
 *
 * Internal: half_turn_packed, half_turn_runs (geometry.h).
 */
#include <algorithm>
#include <cstring>

#include "img_proc/geometry.h"
#include "support/memory.h"
#include "support/runs.h"

namespace qv {
namespace {
constexpr const char *kModule = kRotateModule;
}  // namespace

int32_t half_turn_packed(QV_DIB_HEADER *dib, OpProgress &progress) {
    const Raster r(dib);
    TagScope tag;
    auto *work = static_cast<uint8_t *>(mem_alloc(tag.tag(), r.bytes));
    if (!work) return QV_ERR(QVE_NO_MEMORY, r.bytes, 0);
    const int32_t pairs = r.height / 2;
    for (int32_t i = 0; i < pairs; ++i) {
        uint8_t *a = r.row(i), *b = r.row(r.height - 1 - i);
        std::memcpy(work, a, r.bytes);
        mirror_copy(a, b, r.width, r.bpp);
        mirror_copy(b, work, r.width, r.bpp);
        if (!progress.row_done(i)) return QVE_CANCELLED;
    }
    if (r.height & 1) {
        uint8_t *m = r.row(pairs);
        std::memcpy(work, m, r.bytes);
        mirror_copy(m, work, r.width, r.bpp);
    }
    return 0;
}

int32_t half_turn_runs(ImageRecord *rec, OpProgress &progress) {
    const int32_t w = image_width(rec), h = image_height(rec);
    TagScope tag;
    auto *list = mem_alloc_array<uint16_t>(tag.tag(), size_t(runs_max_words(w)) + 4);
    if (!list) return QV_ERR(QVE_NO_MEMORY, runs_max_bytes(w) + 8, 0);
    uint32_t *table = rec->t.run_table;
    for (int32_t i = 0; i < h / 2; ++i) {
        std::swap(table[i], table[h - 1 - i]);
        for (int32_t y : {i, h - 1 - i}) {
            if (const uint16_t *in = image_run_list(rec, y)) {
                runs_mirror(in, w, list);
                if (int32_t rc = image_run_row_store(rec, y, list); rc != 0) return rc;
            }
        }
        if (!progress.row_done(i)) return QVE_CANCELLED;
    }
    if (h & 1) {
        if (const uint16_t *in = image_run_list(rec, h / 2)) {
            runs_mirror(in, w, list);
            if (int32_t rc = image_run_row_store(rec, h / 2, list); rc != 0) return rc;
        }
    }
    return 0;
}

}  // namespace qv
