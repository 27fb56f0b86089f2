/*
 * runs_rows.cpp - rows of 1-bit images as run lists, for callers and
 * filters. Run-encoded images hand out their stored lists; ordinary 1-bit
 * images are converted row by row.
 *
 * Exported: QV_runs_row_get, QV_runs_row_set, VPb_image_run_row_get,
 * iQV_image_runs_convert.
 */
#include <cstring>

#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/memory.h"
#include "support/runs.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\RUNS.C";

// Checks shared by get and set; false after pushing the error.
bool row_args_ok(ImageRecord *rec, int32_t row, const void *runs) {
    if (!runs) {
        QV_ERR(QVE_NULL_POINTER, 0, 0);
        return false;
    }
    if (image_bpp(rec) != 1) {
        QV_ERR(QVE_DEPTH_NOT_APPLICABLE, image_bpp(rec), 0);
        return false;
    }
    if (image_width(rec) > kRunsMaxWidth) {
        QV_ERR(QVE_OUT_OF_RANGE, image_width(rec), kRunsMaxWidth);
        return false;
    }
    if (row < 0 || row >= image_height(rec)) {
        QV_ERR(QVE_ROW_RANGE, row, image_height(rec));
        return false;
    }
    return true;
}

void run_row_get(ImageRecord *rec, int32_t row, uint16_t *runs) {
    if (!row_args_ok(rec, row, runs)) return;
    int32_t width = image_width(rec);
    if (image_is_run_form(rec)) {
        const uint16_t *list = image_run_list(rec, row);
        if (list) std::memcpy(runs, list, list[0]);
        else runs_all_white(runs, width);
        return;
    }
    runs_from_packed(dib_row(rec->dib, row), width, runs, runs_max_words(width));
}

void run_row_set(ImageRecord *rec, int32_t row, const uint16_t *runs) {
    if (!row_args_ok(rec, row, runs)) return;
    int32_t width = image_width(rec);
    if (!runs_valid(runs, runs_max_bytes(width), width)) {
        QV_ERR(QVE_BAD_ARGUMENT, runs[0], row);
        return;
    }
    size_t size = runs_max_bytes(width);
    uint32_t tag = mem_unique_tag();
    auto *list = static_cast<uint16_t *>(mem_alloc(tag, size));
    if (!list) {
        QV_ERR(QVE_NO_MEMORY, size, 0);
        return;
    }
    runs_canonical(runs, width, list);
    if (image_is_run_form(rec)) {
        if (list[0] > 8 || rec->t.run_table[row] != kRowNotStored) image_run_row_store(rec, row, list);
    } else {
        runs_to_packed(list, width, dib_row(rec->dib, row));
    }
    if (mem_free(tag, list) != 0) QV_ERR(QVE_FREE_FAILED, reinterpret_cast<intptr_t>(list), tag);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_runs_row_get(QUORIN image, int32_t row, uint16_t *runs) {
    return api_frame_image(image, [&] { run_row_get(image_from_handle(image), row, runs); });
}

QV_API int32_t QV_runs_row_set(QUORIN image, int32_t row, const uint16_t *runs) {
    return api_frame_image(image, [&] {
        ImageRecord *rec = image_from_handle(image);
        int32_t before = error_count();
        run_row_set(rec, row, runs);
        if (error_count() == before) image_changed(rec, QV_CHANGED_PIXELS, row);
    });
}

QV_API int32_t VPb_image_run_row_get(QUORIN record, int32_t row, uint16_t *runs) {
    return api_guard([&] {
        if (!image_record_live(record) || !image_from_handle(record)->dib) {
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(record), 0);
            return;
        }
        run_row_get(image_from_handle(record), row, runs);
    });
}

}  // extern "C"

/* Internal mirror for tests and tools: converts a 1-bit image between the
 * packed and the run-encoded form (to_runs 1: packed -> runs; 0: runs ->
 * packed). Returns the error count. */
extern "C" QV_API int32_t iQV_image_runs_convert(QUORIN image, int32_t to_runs) {
    return api_frame_image(image, [&] {
        ImageRecord *rec = image_from_handle(image);
        if (to_runs) image_dib_to_runs(rec);
        else image_runs_to_dib(rec);
    });
}
