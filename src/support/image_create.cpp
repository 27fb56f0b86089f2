/*
 * image_create.cpp - new images: blank ones of a given size and depth, and
 * images that take over a caller's DIB.
 *
 * Exported: QV_image_create_DIB, QV_image_create_DIB_ex, QV_image_import_DIB.
 */
#include <cstring>

#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/memory.h"
#include "support/runs.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\IMAGE.C";

// A new palettised image starts with an even gray ramp from black to white.
void gray_ramp(QV_RGBQUAD *pal, uint32_t bpp) {
    uint32_t n = 1u << bpp;
    for (uint32_t i = 0; i < n; ++i) {
        auto v = uint8_t(i * 255u / (n - 1));
        pal[i] = QV_RGBQUAD{v, v, v, 0};
    }
}


}  // namespace

void image_create_blank(int32_t width, int32_t height, int32_t bpp, uint32_t compression, QUORIN *out) {
    if (height < 0) {
        QV_ERR(QVE_OUT_OF_RANGE, height, 0);
        return;
    }
    if (compression != QV_BI_RGB && compression != QV_BI_GRAY16) {
        QV_ERR(QVE_BAD_ARGUMENT, compression, 0);
        return;
    }
    if (width < 1) {
        QV_ERR(QVE_OUT_OF_RANGE, width, 0);
        return;
    }
    if (!dib_depth_known(uint32_t(bpp)) || (compression == QV_BI_GRAY16 && bpp != 16)) {
        QV_ERR(QVE_DEPTH_UNSUPPORTED, bpp, compression);
        return;
    }
    int32_t before = error_count();
    uint32_t tag = mem_unique_tag();
    ImageRecord *rec = image_alloc(tag);
    if (!rec) return;
    if (!image_lock(rec)) {
        QV_ERR(QVE_LOCK_FAILED, 0, 0);
        image_delete(rec);
        return;
    }
    QV_DIB_HEADER tmpl;
    dib_init(&tmpl, width, height, uint32_t(bpp), compression, 0, 0);
    QV_RGBQUAD pal[256];
    if (bpp <= 8) gray_ramp(pal, uint32_t(bpp));
    QV_DIB_HEADER *dib = dib_alloc_locked(rec, &tmpl, bpp <= 8 ? pal : nullptr, false);
    if (dib) {
        image_associate(dib, rec, true);
        *out = handle_from_image(rec);
        // Clear the pixels; 16-bit images carry their three masks in the 12
        // bytes after the header (inside the pixel area at compression 0).
        uint8_t *base = reinterpret_cast<uint8_t *>(dib) + kDibHeaderSize;
        size_t total = dib_total_size(dib) - kDibHeaderSize;
        size_t keep = 0;
        if (bpp == 16) {
            uint32_t masks[3] = {0x7C00u, 0x3E0u, 0x1Fu};
            if (compression == QV_BI_GRAY16) masks[0] = masks[1] = masks[2] = 65535u;
            keep = total < sizeof masks ? total : sizeof masks;
            std::memcpy(base, masks, keep);
        }
        uint8_t *bits = dib_bits(dib);
        uint8_t *from = bits > base + keep ? bits : base + keep;
        std::memset(from, 0, size_t(base + total - from));
    }
    image_unlock(rec);
    if (error_count() != before) {
        *out = nullptr;
        if (dib) dib_free(rec, dib);
        image_delete(rec);
        return;
    }
    image_set_resolution_from_dib(rec);
}
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_image_create_DIB_ex(int32_t width, int32_t height, int32_t bpp, uint32_t compression,
                                      const QV_DIB_HEADER *dib, QUORIN *out) {
    return api_frame([&] {
        if (!out) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *out = nullptr;
        if (dib) {
            if (!dib_header_sane(dib)) {
                QV_ERR(QVE_BAD_HEADER, dib->biSize, dib->biCompression);
                return;
            }
            image_load_dib_mem(dib, dib_total_size(dib), out);
            return;
        }
        image_create_blank(width, height, bpp, compression, out);
    });
}

QV_API int32_t QV_image_create_DIB(int32_t width, int32_t height, int32_t bpp, const QV_DIB_HEADER *dib,
                                   QUORIN *out) {
    return QV_image_create_DIB_ex(width, height, bpp, QV_BI_RGB, dib, out);
}

QV_API int32_t QV_image_import_DIB(QV_DIB_HEADER *dib, QUORIN *out) {
    return api_frame([&] {
        if (!out) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *out = nullptr;
        if (!dib) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        if (!dib_header_sane(dib)) {
            QV_ERR(QVE_BAD_HEADER, dib->biSize, dib->biCompression);
            return;
        }
        int32_t before = error_count();
        uint32_t tag = mem_unique_tag();
        ImageRecord *rec = image_alloc(tag);
        if (!rec) return;
        if (!image_lock(rec)) {
            QV_ERR(QVE_LOCK_FAILED, 0, 0);
            image_delete(rec);
            return;
        }
        image_associate(dib, rec, true);
        if (dib->biCompression == QV_BI_RUNS) image_runs_import(rec);
        image_unlock(rec);
        if (error_count() != before) {
            rec->dib = nullptr;  // the caller keeps its DIB when the import fails
            image_delete(rec);
            return;
        }
        rec->t.dib_foreign = 1;
        image_set_resolution_from_dib(rec);
        *out = handle_from_image(rec);
    });
}

}  // extern "C"
