/*
 * dib_alloc.cpp - allocating and freeing an image's DIB.
 *
 * A new DIB takes the whole DIB size under the image's tag: header copied
 * from a template, palette copied when the depth has one, image size from
 * the layout rule. A 1-bit DIB becomes run-encoded (compression 500) with a
 * run table of 0xFF bytes (no row stored yet); when the table cannot be had,
 * or the width is past what 16-bit run lists hold, it stays packed. The
 * pixel bytes of a run-encoded DIB are room for decoding it in place and are
 * left unfilled until then.
 *
 * Internal: dib_alloc, dib_alloc_locked, dib_free (image.h).
 * Exported: VPb_DIB_alloc, VPb_DIB_free.
 */
#include <cstdlib>
#include <cstring>

#include "support/checked.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/memory.h"
#include "support/runs.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {
constexpr char kModule[] = "SUPPORT\\DIB.C";
}  // namespace

QV_DIB_HEADER *dib_alloc_locked(ImageRecord *rec, const QV_DIB_HEADER *tmpl, const QV_RGBQUAD *palette,
                                bool run_form) {
    size_t size = 0;
    if (!dib_alloc_size_checked(tmpl->biWidth, tmpl->biHeight, tmpl->biBitCount, tmpl->biCompression, &size)) {
        QV_ERR(QVE_NO_MEMORY, -1, rec->mem_tag);
        return nullptr;
    }
    // A DIB that becomes run-encoded keeps its pixel bytes only as room to
    // decode into later (every row is then written whole): they are not
    // zero-filled, the header and palette are.
    const bool to_runs = run_form && tmpl->biBitCount == 1 && tmpl->biWidth <= kRunsMaxWidth && !image_is_run_form(rec);
    const size_t pixel_bytes = size_t(dib_image_size(tmpl->biWidth, tmpl->biHeight, tmpl->biBitCount));
    auto *dib = static_cast<QV_DIB_HEADER *>(to_runs ? mem_alloc_uninit(rec->mem_tag, size) : mem_alloc(rec->mem_tag, size));
    if (!dib) {
        QV_ERR(QVE_NO_MEMORY, size, rec->mem_tag);
        return nullptr;
    }
    if (to_runs) std::memset(dib, 0, size - pixel_bytes);
    std::memcpy(dib, tmpl, kDibHeaderSize);
    dib->biSize = kDibHeaderSize;
    uint64_t pal_bytes = dib_palette_size(tmpl->biBitCount, tmpl->biCompression);
    if (pal_bytes && palette) std::memcpy(dib_palette(dib), palette, size_t(pal_bytes));
    dib->biSizeImage = uint32_t(dib_image_size(tmpl->biWidth, tmpl->biHeight, tmpl->biBitCount));
    // A record holds the run storage of one DIB: while its bound DIB is
    // run-encoded, a further 1-bit DIB for it stays packed.
    if (to_runs) {
        int32_t rows = dib_abs_height(dib);
        auto *table = mem_alloc_array<uint32_t>(rec->mem_tag, rows > 0 ? size_t(rows) : 1);
        if (table) {
            std::memset(table, 0xFF, size_t(rows) * 4);
            image_runs_release(rec);  // left by a DIB that was never bound
            rec->t.run_table = table;
            dib->biCompression = QV_BI_RUNS;
        } else {
            QV_ERR(QVE_NO_MEMORY, size_t(rows) * 4, rec->mem_tag);
            dib->biCompression = QV_BI_RGB;
            std::memset(dib_bits(dib), 0, pixel_bytes);
        }
    }
    return dib;
}

QV_DIB_HEADER *dib_alloc(ImageRecord *rec, const QV_DIB_HEADER *tmpl, const QV_RGBQUAD *palette) {
    if (!image_lock(rec)) {
        QV_ERR(QVE_LOCK_FAILED, 0, 0);
        return nullptr;
    }
    QV_DIB_HEADER *dib = dib_alloc_locked(rec, tmpl, palette, true);
    image_unlock(rec);
    return dib;
}

int32_t dib_free(ImageRecord *rec, QV_DIB_HEADER *dib) {
    if (!dib) return 0;
    bool own = dib == rec->dib;
    if (dib->biCompression == QV_BI_RUNS) image_runs_release(rec);
    if (own && rec->t.dib_foreign) {
        std::free(dib);
        rec->t.dib_foreign = 0;
    } else if (mem_free(rec->mem_tag, dib) != 0) {
        return QV_ERR(QVE_FREE_FAILED, reinterpret_cast<intptr_t>(dib), rec->mem_tag);
    }
    if (own) rec->dib = nullptr;
    return 0;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API QV_DIB_HEADER *VPb_DIB_alloc(QUORIN record, const QV_DIB_HEADER *tmpl, const QV_RGBQUAD *palette) {
    QV_DIB_HEADER *dib = nullptr;
    api_guard([&] {
        if (!image_record_live(record)) {
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(record), 0);
            return;
        }
        if (!tmpl) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        dib = dib_alloc(image_from_handle(record), tmpl, palette);
    });
    return dib;
}

QV_API int32_t VPb_DIB_free(QUORIN record, QV_DIB_HEADER *dib) {
    return api_guard([&] {
        if (!image_record_live(record)) {
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(record), 0);
            return;
        }
        dib_free(image_from_handle(record), dib);
    });
}

}  // extern "C"
