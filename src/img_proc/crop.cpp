/*
 * crop.cpp - cutting an image down to a rectangle.
 *
 *  1. A null rectangle changes nothing; the image-changed hook still runs
 *     (reason 4).
 *  2. A depth other than 1, 4, 8, 16, 24 fails with -3000 (bpp, 0).
 *  3. The rectangle (left, top, right, bottom, inclusive) is clipped as
 *     VPb_IP_check_rect_for_NULL_and_clip clips; the new size is
 *     (right - left + 1) x (bottom - top + 1).
 *  4. The destination has the source's depth, palette and resolution; a
 *     16-bit 503 source gives a 503 destination with its first mask in all
 *     three. Packed rows: the pixels from `left` on are shifted to the start
 *     of each destination row (1 and 4 bits bit-exact, the bits after the
 *     new width 0). Run-encoded images are cut list by list into a
 *     run-encoded destination.
 *  5. Each destination row is reported as (row, new height); a zero answer
 *     frees the destination and fails with -2113, the image unchanged.
 *  6. On success the hook runs with reason 4 and the low 32 bits of the
 *     rectangle's address (the whole address in a 32-bit build).
 *
 * Exported: QV_IP_crop, iQV_IP_crop.
 */
#include <cstring>

#include "img_proc/geometry.h"
#include "support/memory.h"
#include "support/row_kernels.h"
#include "support/runs.h"

namespace qv {
namespace {

constexpr const char *kModule = kCropModule;

int32_t crop_packed(const Raster &s, const Raster &d, const QV_RECT &r, OpProgress &progress) {
    const uint64_t first = uint64_t(r.left) * uint64_t(s.bpp);
    const uint64_t nbits = uint64_t(d.width) * uint64_t(s.bpp);
    for (int32_t y = 0; y < d.height; ++y) {
        const uint8_t *src = s.row(r.top + y);
        uint8_t *dst = d.row(y);
        if (first % 8 == 0) std::memcpy(dst, src + first / 8, size_t((nbits + 7) / 8));
        else extract_bits(src, first, nbits, dst);
        if (nbits % 8) dst[nbits / 8] &= uint8_t(0xFF00u >> (nbits % 8));
        if (!progress.row_done(y)) return QVE_CANCELLED;
    }
    return 0;
}

int32_t crop_runs(ImageRecord *src, ImageRecord *drec, QV_DIB_HEADER *ddib, const QV_RECT &r,
                  OpProgress &progress) {
    const int32_t sw = image_width(src), nh = dib_abs_height(ddib);
    TagScope tag;
    auto *list = mem_alloc_array<uint16_t>(tag.tag(), size_t(runs_max_words(sw)) + 4);
    if (!list) return QV_ERR(QVE_NO_MEMORY, runs_max_bytes(sw) + 8, 0);
    if (!drec->dib) drec->dib = ddib;
    for (int32_t y = 0; y < nh; ++y) {
        if (const uint16_t *in = image_run_list(src, r.top + y)) {
            runs_cut(in, r.left, r.right, list);
            if (list[0] > 8) {
                if (int32_t rc = image_run_row_store(drec, y, list); rc != 0) return rc;
            }
        }
        if (!progress.row_done(y)) return QVE_CANCELLED;
    }
    return 0;
}

void crop(ImageRecord *rec, const QV_RECT *rect) {
    const int32_t value = int32_t(uint32_t(reinterpret_cast<uintptr_t>(rect)));
    if (!rect) {
        image_changed(rec, QV_CHANGED_CROP, value);
        return;
    }
    const bool runs = image_is_run_form(rec);
    const int32_t bpp = image_bpp(rec);
    if (!runs && !geometry_depth_ok(bpp)) {
        QV_ERR(QVE_DEPTH_UNSUPPORTED, bpp, 0);
        return;
    }
    const QV_RECT r = op_clip_rect(rec, rect);
    const int32_t nw = r.right - r.left + 1, nh = r.bottom - r.top + 1;
    int32_t rc = QVE_FAILED;
    {
        OpInPlace op(rec, kModule);
        QV_DIB_HEADER *d = op.dest(nw, nh, bpp, runs ? QV_BI_RUNS : geometry_dest_compression(rec));
        if (!d) return;
        geometry_copy_masks(d, rec->dib);
        OpProgress progress(kModule, nh);
        rc = runs ? crop_runs(rec, op.work(), d, r, progress)
                  : crop_packed(Raster(rec->dib), Raster(d), r, progress);
        if (rc == 0) rc = op.commit();
    }
    if (rc == 0) image_changed(rec, QV_CHANGED_CROP, value);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_crop(QUORIN image, const QV_RECT *rect) {
    return geometry_entry(image, kCropModule, [&](ImageRecord *rec) { crop(rec, rect); });
}

QV_API int32_t iQV_IP_crop(QUORIN image, const QV_RECT *rect) { return QV_IP_crop(image, rect); }

}  // extern "C"
