/*
 * image_rows.cpp - whole rows of an image in DIB packing, run-encoded
 * images included (their rows are decoded from and encoded into runs).
 *
 * Internal: image_row_get, image_row_set (image.h).
 */
#include <cstring>

#include "support/dib.h"
#include "support/errors.h"
#include "support/image.h"
#include "support/memory.h"
#include "support/runs.h"

namespace qv {
namespace {
constexpr char kModule[] = "SUPPORT\\IMAGE.C";
}  // namespace

int32_t image_row_get(ImageRecord *rec, int32_t row, uint8_t *buf) {
    QV_DIB_HEADER *dib = rec->dib;
    int32_t rows = dib_abs_height(dib);
    if (row < 0 || row >= rows) return QV_ERR(QVE_ROW_RANGE, row, rows);
    if (image_is_run_form(rec)) {
        const uint16_t *list = image_run_list(rec, row);
        if (list) runs_to_packed(list, dib->biWidth, buf);
        else std::memset(buf, 0, dib_bytes_per_row(dib->biWidth, 1));
        return 0;
    }
    std::memcpy(buf, dib_row(dib, row), dib_bytes_per_row(dib->biWidth, dib->biBitCount));
    return 0;
}

int32_t image_row_set(ImageRecord *rec, int32_t row, const uint8_t *buf) {
    QV_DIB_HEADER *dib = rec->dib;
    int32_t rows = dib_abs_height(dib);
    if (row < 0 || row >= rows) return QV_ERR(QVE_ROW_RANGE, row, rows);
    if (!image_is_run_form(rec)) {
        std::memcpy(dib_row(dib, row), buf, dib_bytes_per_row(dib->biWidth, dib->biBitCount));
        return 0;
    }
    // Encode into a scratch list of the longest size under a tag of its own.
    size_t size = runs_max_bytes(dib->biWidth);
    uint32_t tag = mem_unique_tag();
    auto *runs = static_cast<uint16_t *>(mem_alloc(tag, size));
    if (!runs) return QV_ERR(QVE_NO_MEMORY, size, 0);
    runs_from_packed(buf, dib->biWidth, runs, runs_max_words(dib->biWidth));
    int32_t status = 0;
    if (runs[0] > 8 || rec->t.run_table[row] != kRowNotStored) status = image_run_row_store(rec, row, runs);
    if (mem_free(tag, runs) != 0) return QV_ERR(QVE_FREE_FAILED, reinterpret_cast<intptr_t>(runs), tag);
    return status;
}

}  // namespace qv
