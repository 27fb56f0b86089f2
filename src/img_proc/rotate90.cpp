/*
 * rotate90.cpp - rotation by multiples of 90 degrees.
 *
 * Quarter-turn codes: 1 = 90 degrees clockwise, 2 = 180, 3 = 270 clockwise.
 *
 *  1. Codes 1 and 3 build a destination of exchanged width and height
 *     through the operation frame (depth, palette and resolution of the
 *     source; a 16-bit 503 source gives 503 with its first mask in all
 *     three) and fill it with the packed or the run-form worker; a depth
 *     other than 1, 4, 8, 16, 24 fails with -3000 (bpp, 0).
 *  2. Code 2 turns in place: run-encoded images reverse their row table and
 *     mirror every list; 16-bit images are mirrored left-right and then
 *     top-bottom by the flip workers; 1, 4, 8 and 24 bits exchange mirrored
 *     row pairs.
 *  3. Another code fails with -3320 (code, 0).
 *  4. The resolution fields are kept as they are, not exchanged.
 *  5. The image-changed hook runs at the end with reason 0 and the code,
 *     after an error too.
 *
 * Exported: QV_IP_rotate_multiple_90.
 */
#include "img_proc/geometry.h"
#include "support/runs.h"

namespace qv {
namespace {

constexpr const char *kModule = kRotateModule;

void turn_quarter(ImageRecord *rec, int32_t code) {
    const int32_t bpp = image_bpp(rec);
    if (!geometry_depth_ok(bpp)) {
        QV_ERR(QVE_DEPTH_UNSUPPORTED, bpp, 0);
        return;
    }
    const bool runs = image_is_run_form(rec);
    OpInPlace op(rec, kModule);
    QV_DIB_HEADER *d = op.dest(image_height(rec), image_width(rec), bpp,
                               runs ? QV_BI_RUNS : geometry_dest_compression(rec));
    if (!d) return;
    geometry_copy_masks(d, rec->dib);
    OpProgress progress(kModule, dib_abs_height(d));
    int32_t rc = runs ? quarter_turn_runs(rec, op.work(), d, code, progress)
                      : quarter_turn_packed(rec->dib, d, code, progress);
    if (rc == 0) op.commit();
}

void turn_half(ImageRecord *rec) {
    const int32_t bpp = image_bpp(rec), h = image_height(rec);
    if (image_is_run_form(rec)) {
        OpProgress progress(kModule, h / 2);
        half_turn_runs(rec, progress);
        return;
    }
    if (bpp == 16) {
        OpProgress columns(kFlipModule, h);
        if (flip_columns(rec, columns) != 0) return;
        OpProgress rows(kFlipModule, h / 2);
        flip_rows(rec, rows);
        return;
    }
    if (!geometry_depth_ok(bpp)) {
        QV_ERR(QVE_DEPTH_UNSUPPORTED, bpp, 0);
        return;
    }
    OpProgress progress(kModule, h / 2);
    half_turn_packed(rec->dib, progress);
}

}  // namespace

void rotate_quarter(ImageRecord *rec, int32_t code) {
    if (code == 1 || code == 3) turn_quarter(rec, code);
    else if (code == 2) turn_half(rec);
    else QV_ERR(QVE_OUT_OF_RANGE, code, 0);
    image_changed(rec, QV_CHANGED_QUARTER_TURN, code);
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_rotate_multiple_90(QUORIN image, int32_t code) {
    return geometry_entry(image, kModule, [&](ImageRecord *rec) { rotate_quarter(rec, code); });
}

}  // extern "C"
