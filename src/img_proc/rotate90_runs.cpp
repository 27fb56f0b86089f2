/*
 * rotate90_runs.cpp - quarter turns of run-encoded 1-bit images.
 *
 * A quarter turn reads every source row for every destination row, so the
 * source lists are first decoded into one packed raster (top row first) in
 * working memory; the packed worker turns it into a second raster, whose
 * rows are encoded into the destination's run table. Pixels are those of
 * the packed turn by construction. Progress is the packed worker's. A
 * source taller than a run list can be wide gives a packed destination.
 *
 * Internal: quarter_turn_runs (geometry.h).
 */
#include <cstring>

#include "img_proc/geometry.h"
#include "support/memory.h"
#include "support/runs.h"

namespace qv {
namespace {

constexpr const char *kModule = kRotateModule;

// A top-down packed 1-bit DIB in working memory; null after pushing -1000.
QV_DIB_HEADER *work_raster(uint32_t tag, int32_t width, int32_t height) {
    size_t size = 0;
    if (!dib_alloc_size_checked(width, height, 1, QV_BI_RGB, &size)) {
        QV_ERR(QVE_NO_MEMORY, -1, 0);
        return nullptr;
    }
    auto *d = static_cast<QV_DIB_HEADER *>(mem_alloc(tag, size));
    if (!d) {
        QV_ERR(QVE_NO_MEMORY, size, 0);
        return nullptr;
    }
    dib_init(d, width, -height, 1, QV_BI_RGB, 0, 0);
    return d;
}

}  // namespace

int32_t quarter_turn_runs(ImageRecord *src, ImageRecord *drec, QV_DIB_HEADER *ddib, int32_t code,
                          OpProgress &progress) {
    const int32_t sw = image_width(src), sh = image_height(src);
    const int32_t dw = ddib->biWidth, dh = dib_abs_height(ddib);
    TagScope tag;
    QV_DIB_HEADER *s = work_raster(tag.tag(), sw, sh);
    QV_DIB_HEADER *d = s ? work_raster(tag.tag(), dw, dh) : nullptr;
    auto *list = d ? mem_alloc_array<uint16_t>(tag.tag(), size_t(runs_max_words(dw))) : nullptr;
    if (!list) {
        if (d) QV_ERR(QVE_NO_MEMORY, runs_max_bytes(dw), 0);
        return QVE_NO_MEMORY;
    }
    for (int32_t y = 0; y < sh; ++y) {
        if (const uint16_t *l = image_run_list(src, y)) runs_to_packed(l, sw, dib_row(s, y));
    }
    // Rows too long for run lists: the destination was made packed.
    if (ddib->biCompression != QV_BI_RUNS) return quarter_turn_packed(s, ddib, code, progress);
    if (int32_t rc = quarter_turn_packed(s, d, code, progress); rc != 0) return rc;
    if (!drec->dib) drec->dib = ddib;
    for (int32_t y = 0; y < dh; ++y) {
        int32_t n = runs_from_packed(dib_row(d, y), dw, list, runs_max_words(dw));
        if (n > 4) {
            if (int32_t rc = image_run_row_store(drec, y, list); rc != 0) return rc;
        }
    }
    return 0;
}

}  // namespace qv
