/*
 * runs_image.cpp - the run table and run data of run-encoded 1-bit images.
 *
 * Rows are stored as run lists (runs.h) in one growable block of the
 * image's tag; run_table[row] holds each list's byte offset. Growth doubles
 * the block; when more than half of it is dead (rows rewritten with longer
 * lists), the live lists are first packed into a fresh block. The block is
 * not zero-filled: only its stored lists are ever read. A new row can be
 * encoded straight into the block's free end (image_run_row_room, then
 * image_run_row_append), which saves copying each list.
 *
 * Internal: image_is_run_form, image_run_list, image_run_row_store,
 * image_run_row_room_grow (image_run_row_room and image_run_row_append are
 * inline in runs.h), image_runs_reserve,
 * image_runs_to_dib, image_dib_to_runs, image_runs_import, image_runs_copy,
 * image_runs_release (runs.h).
 */
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "support/checked.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/memory.h"
#include "support/runs.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\RUNS.C";
constexpr size_t kMinRunBlock = 64 * 1024;
constexpr size_t kMaxRunData = 0xFFFFFFF0u;  // offsets are 32-bit

inline const uint16_t *list_at(const uint8_t *data, uint32_t off) {
    return reinterpret_cast<const uint16_t *>(data + off);
}

// Live bytes: the lengths of all stored lists.
size_t live_bytes(const ImageRecord *rec, int32_t rows) {
    size_t live = 0;
    for (int32_t r = 0; r < rows; ++r)
        if (rec->t.run_table[r] != kRowNotStored) live += list_at(rec->t.run_data, rec->t.run_table[r])[0];
    return live;
}

// Moves the live lists into a new owned block of `capacity` bytes.
bool repack(ImageRecord *rec, int32_t rows, size_t capacity) {
    auto *block = static_cast<uint8_t *>(mem_alloc_uninit(rec->mem_tag, capacity));
    if (!block) return false;
    size_t used = 0;
    for (int32_t r = 0; r < rows; ++r) {
        uint32_t off = rec->t.run_table[r];
        if (off == kRowNotStored) continue;
        uint16_t len = list_at(rec->t.run_data, off)[0];
        std::memcpy(block + used, rec->t.run_data + off, len);
        rec->t.run_table[r] = uint32_t(used);
        used += len;
    }
    if (rec->t.run_data_owned) mem_free(rec->mem_tag, rec->t.run_data);
    rec->t.run_data = block;
    rec->t.run_used = used;
    rec->t.run_capacity = capacity;
    rec->t.run_data_owned = 1;
    return true;
}

// Makes room for `need` more bytes at the end of the run data.
bool reserve(ImageRecord *rec, int32_t rows, size_t need) {
    size_t used = rec->t.run_used;
    if (used + need <= rec->t.run_capacity) return true;
    if (used + need > kMaxRunData) return false;
    size_t live = live_bytes(rec, rows);
    size_t want = std::max(kMinRunBlock, 2 * (live + need));
    if (want > kMaxRunData) want = kMaxRunData;
    if (!rec->t.run_data_owned || live * 2 < used) return repack(rec, rows, std::max(want, live + need));
    size_t grow = std::max(want, 2 * rec->t.run_capacity);
    if (grow > kMaxRunData) grow = kMaxRunData;
    auto *p = static_cast<uint8_t *>(mem_grow_uninit(rec->mem_tag, rec->t.run_data, used, grow));
    if (!p) return false;
    rec->t.run_data = p;
    rec->t.run_capacity = grow;
    return true;
}

}  // namespace

bool image_is_run_form(const ImageRecord *rec) {
    return rec->dib && rec->dib->biCompression == QV_BI_RUNS && rec->t.run_table;
}

const uint16_t *image_run_list(const ImageRecord *rec, int32_t row) {
    uint32_t off = rec->t.run_table[row];
    if (off == kRowNotStored) return nullptr;
    return list_at(rec->t.run_data, off);
}

int32_t image_run_row_store(ImageRecord *rec, int32_t row, const uint16_t *runs) {
    int32_t rows = image_height(rec);
    uint16_t len = runs[0];
    uint32_t off = rec->t.run_table[row];
    if (off != kRowNotStored && list_at(rec->t.run_data, off)[0] >= len) {
        std::memcpy(rec->t.run_data + rec->t.run_table[row], runs, len);
        return 0;
    }
    if (!reserve(rec, rows, len)) return QV_ERR(QVE_NO_MEMORY, len, rec->t.run_used);
    std::memcpy(rec->t.run_data + rec->t.run_used, runs, len);
    rec->t.run_table[row] = uint32_t(rec->t.run_used);
    rec->t.run_used += len;
    return 0;
}

uint16_t *image_run_row_room_grow(ImageRecord *rec, size_t bytes) {
    if (!reserve(rec, image_height(rec), bytes)) return nullptr;
    return reinterpret_cast<uint16_t *>(rec->t.run_data + rec->t.run_used);
}

void image_runs_reserve(ImageRecord *rec, size_t bytes) {
    bytes = std::min(std::max(bytes, kMinRunBlock), kMaxRunData);
    if (rec->t.run_used != 0 || rec->t.run_capacity >= bytes || (rec->t.run_data && !rec->t.run_data_owned)) return;
    auto *p = static_cast<uint8_t *>(mem_grow_uninit(rec->mem_tag, rec->t.run_data, 0, bytes));
    if (!p) return;  // a hint only: the block grows as lists come
    rec->t.run_data = p;
    rec->t.run_capacity = bytes;
    rec->t.run_data_owned = 1;
}

void image_runs_release(ImageRecord *rec) {
    if (rec->t.run_data_owned && rec->t.run_data) mem_free(rec->mem_tag, rec->t.run_data);
    if (rec->t.run_table) mem_free(rec->mem_tag, rec->t.run_table);
    rec->t.run_table = nullptr;
    rec->t.run_data = nullptr;
    rec->t.run_used = rec->t.run_capacity = 0;
    rec->t.run_data_owned = 0;
}

int32_t image_runs_to_dib(ImageRecord *rec) {
    if (!image_is_run_form(rec)) return 0;
    QV_DIB_HEADER *old = rec->dib;
    int32_t width = old->biWidth, rows = image_height(rec);
    uint64_t packed = dib_image_size(width, rows, 1);
    QV_DIB_HEADER *dib = old;
    // A DIB from dib_alloc keeps room for the packed rows; decode in place
    // unless the lists themselves live there (an imported DIB).
    bool in_place = old->biSizeImage >= packed && (rec->t.run_data_owned || !rec->t.run_data);
    if (!in_place) {
        size_t size = 0;
        if (!dib_alloc_size_checked(width, old->biHeight, 1, QV_BI_RGB, &size))
            return QV_ERR(QVE_NO_MEMORY, -1, rec->mem_tag);
        dib = static_cast<QV_DIB_HEADER *>(mem_alloc(rec->mem_tag, size));
        if (!dib) return QV_ERR(QVE_NO_MEMORY, size, rec->mem_tag);
        std::memcpy(dib, old, kDibHeaderSize + 8);
    }
    dib->biCompression = QV_BI_RGB;
    dib->biSizeImage = uint32_t(packed);
    for (int32_t r = 0; r < rows; ++r) {
        const uint16_t *list = image_run_list(rec, r);
        uint8_t *dst = dib_row(dib, r);
        if (list) runs_to_packed(list, width, dst);
        else std::memset(dst, 0, dib_bytes_per_row(width, 1));
    }
    image_runs_release(rec);
    if (!in_place) {
        if (rec->t.dib_foreign) std::free(old);
        else mem_free(rec->mem_tag, old);
        rec->t.dib_foreign = 0;
        rec->dib = dib;
    }
    return 0;
}

int32_t image_dib_to_runs(ImageRecord *rec) {
    QV_DIB_HEADER *dib = rec->dib;
    if (!dib || dib->biBitCount != 1 || dib->biCompression != QV_BI_RGB) return 0;
    int32_t width = dib->biWidth, rows = image_height(rec);
    if (width > kRunsMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, width, kRunsMaxWidth);
    size_t table_bytes = 0;
    if (!size_mul(size_t(rows), 4, &table_bytes)) return QV_ERR(QVE_NO_MEMORY, -1, rows);
    auto *table = static_cast<uint32_t *>(mem_alloc(rec->mem_tag, table_bytes ? table_bytes : 4));
    if (!table) return QV_ERR(QVE_NO_MEMORY, table_bytes, rec->mem_tag);
    std::memset(table, 0xFF, table_bytes);
    auto *scratch = static_cast<uint16_t *>(mem_alloc(rec->mem_tag, runs_max_bytes(width)));
    if (!scratch) {
        mem_free(rec->mem_tag, table);
        return QV_ERR(QVE_NO_MEMORY, runs_max_bytes(width), rec->mem_tag);
    }
    image_runs_release(rec);
    rec->t.run_table = table;
    int32_t status = 0;
    for (int32_t r = 0; r < rows && status == 0; ++r) {
        int32_t n = runs_from_packed(dib_row(dib, r), width, scratch, runs_max_words(width));
        if (n <= 4) continue;  // all white: not stored
        status = image_run_row_store(rec, r, scratch);
    }
    mem_free(rec->mem_tag, scratch);
    if (status != 0) {
        image_runs_release(rec);
        return status;
    }
    dib->biCompression = QV_BI_RUNS;
    return 0;
}

int32_t image_runs_import(ImageRecord *rec) {
    QV_DIB_HEADER *dib = rec->dib;
    int32_t width = dib->biWidth, rows = image_height(rec);
    if (width > kRunsMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, width, kRunsMaxWidth);
    size_t table_bytes = 0;
    if (!size_mul(size_t(rows), 4, &table_bytes)) return QV_ERR(QVE_NO_MEMORY, -1, rows);
    auto *table = static_cast<uint32_t *>(mem_alloc(rec->mem_tag, table_bytes ? table_bytes : 4));
    if (!table) return QV_ERR(QVE_NO_MEMORY, table_bytes, rec->mem_tag);
    std::memset(table, 0xFF, table_bytes);
    rec->t.run_table = table;
    uint8_t *data = dib_bits(dib);
    size_t avail = dib->biSizeImage & ~size_t(1);
    if (reinterpret_cast<uintptr_t>(data) & 1) {
        // Lists are read as 16-bit words: move oddly placed data into a block.
        auto *copy = static_cast<uint8_t *>(mem_alloc(rec->mem_tag, avail ? avail : 2));
        if (!copy) return QV_ERR(QVE_NO_MEMORY, avail, rec->mem_tag);
        std::memcpy(copy, data, avail);
        data = copy;
        rec->t.run_data_owned = 1;
    }
    rec->t.run_data = data;
    rec->t.run_capacity = avail;
    // Lists follow one another from the top row down; a list that is
    // malformed or runs past the data ends the walk (later rows: white).
    size_t off = 0;
    for (int32_t r = 0; r < rows; ++r) {
        const uint16_t *list = list_at(data, uint32_t(off));
        if (avail - off < 8 || !runs_valid(list, avail - off, width)) break;
        table[r] = uint32_t(off);
        off += list[0];
    }
    rec->t.run_used = off;
    return 0;
}

int32_t image_runs_copy(ImageRecord *dst, const ImageRecord *src) {
    int32_t rows = image_height(src);
    auto *table = mem_alloc_array<uint32_t>(dst->mem_tag, rows > 0 ? size_t(rows) : 1);
    if (!table) return QV_ERR(QVE_NO_MEMORY, size_t(rows) * 4, dst->mem_tag);
    size_t used = src->t.run_used;
    auto *data = static_cast<uint8_t *>(mem_alloc(dst->mem_tag, used ? used : 2));
    if (!data) {
        mem_free(dst->mem_tag, table);
        return QV_ERR(QVE_NO_MEMORY, used, dst->mem_tag);
    }
    std::memcpy(table, src->t.run_table, size_t(rows) * 4);
    if (used) std::memcpy(data, src->t.run_data, used);
    dst->t.run_table = table;
    dst->t.run_data = data;
    dst->t.run_used = used;
    dst->t.run_capacity = used ? used : 2;
    dst->t.run_data_owned = 1;
    return 0;
}

}  // namespace qv
