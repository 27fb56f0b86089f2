/*
 * rotate_any.cpp - rotation by any angle and the size it gives.
 *
 * Angles are in degrees, positive clockwise as the picture is seen. Mode 0
 * keeps the width and height (corners turned outside are lost, uncovered
 * areas take the background); any other mode grows the canvas to the
 * turned picture's bounding box.
 *
 * Size (rotation_size):
 *  1. A whole angle whose absolute value is a multiple of 90: the old size,
 *     exchanged unless the value is a multiple of 180.
 *  2. Otherwise mode 0: the old size.
 *  3. Otherwise t = angle * 6.283185308 * 0.002777777777777778, c = cos t,
 *     s = sin t, hw = width * 0.5, hh = height * 0.5; corner x values
 *     (+-hw) c - (+-hh) s + 0.5, y values (+-hh) c + (+-hw) s + 0.5; new
 *     width = trunc(max x) - trunc(min x) + 1, height likewise.
 *
 * Rotation:
 *  1. trunc(angle * 0.011111111111111112) * 90 == angle marks a multiple of
 *     90: |angle| in whole degrees modulo 360 gives the quarter-turn code
 *     (90: 1, or 3 for a negative angle; 180: 2; 270: 3, or 1 for a
 *     negative angle; 0: nothing at all, no hook) and QV_IP_rotate_multiple_90
 *     does the rest.
 *  2. Depths 1, 4, 8, 16, 24, else -3000 (bpp, 0). A run-encoded image is
 *     unpacked first and encoded again afterwards.
 *  3. Centres: source ((width + 1) / 2, (height + 1) / 2); destination the
 *     same in mode 0, else (new width / 2, new height / 2).
 *  4. The destination has the source's depth and palette; at 16 bits it is
 *     always compression 503 with the source's first mask (0 without
 *     masks) in all three.
 *  5. S = trunc(sin(angle * 0.017453292519944444) * 65536), C likewise with
 *     cos; 1-bit images take their radians as in the size rule. The
 *     stepping is in rotate_any.h.
 *  6. An angle that is not finite fails with -3320 (0, 0).
 *  7. Rows are reported as (row, new height); a cancel frees the
 *     destination (-2113). On success the destination takes the DIB's
 *     place, the resolution stays, and the image-changed hook runs with
 *     reason 8.
 *
 * Exported: QV_IP_rotate_any_angle, QV_IP_rotate_any_angle_bkgrnd,
 * QV_IP_rotate_compute_size.
 */
#include <algorithm>
#include <cmath>
#include <cstring>

#include "img_proc/rotate_any.h"
#include "support/runs.h"

namespace qv {
namespace {

constexpr const char *kModule = kRotateModule;
constexpr double kTurn = 6.283185308;                 // 2 pi as the size rule writes it
constexpr double kPerDegree = 0.002777777777777778;   // 1 / 360
constexpr double kRadians = 0.017453292519944444;     // degrees to radians for the stepping
constexpr double kQuarters = 0.011111111111111112;    // 1 / 90

struct Size {
    int32_t w, h;
};

Size rotation_size(int32_t w, int32_t h, double angle, int32_t mode) {
    const double a = std::fabs(angle);
    if (a == std::trunc(a) && std::fmod(a, 90.0) == 0.0) {
        if (std::fmod(a, 180.0) != 0.0) return {h, w};
        return {w, h};
    }
    if (mode == 0) return {w, h};
    const double t = angle * kTurn * kPerDegree;
    const double c = std::cos(t), s = std::sin(t);
    const double hw = w * 0.5, hh = h * 0.5;
    double xmin = 0, xmax = 0, ymin = 0, ymax = 0;
    bool first = true;
    for (double sx : {1.0, -1.0})
        for (double sy : {1.0, -1.0}) {
            const double x = (sx * hw) * c - (sy * hh) * s + 0.5;
            const double y = (sy * hh) * c + (sx * hw) * s + 0.5;
            if (first) {
                xmin = xmax = x, ymin = ymax = y, first = false;
                continue;
            }
            xmin = std::min(xmin, x), xmax = std::max(xmax, x);
            ymin = std::min(ymin, y), ymax = std::max(ymax, y);
        }
    return {int32_t(std::trunc(xmax)) - int32_t(std::trunc(xmin)) + 1,
            int32_t(std::trunc(ymax)) - int32_t(std::trunc(ymin)) + 1};
}

// Quarter-turn code of an angle that is a multiple of 90; 0 for none.
int32_t quarter_code(double angle) {
    const int32_t deg = int32_t(std::fmod(std::trunc(std::fabs(angle)), 360.0));
    switch (deg) {
    case 90: return angle > 0 ? 1 : 3;
    case 180: return 2;
    case 270: return angle > 0 ? 3 : 1;
    default: return 0;
    }
}

int32_t fixed(double v) { return int32_t(v * 65536.0); }

int32_t turn(ImageRecord *rec, double angle, int32_t mode, const uint8_t *background) {
    const int32_t bpp = image_bpp(rec);
    const int32_t w = image_width(rec), h = image_height(rec);
    AngleJob job;
    job.cx = (w + 1) / 2;
    job.cy = (h + 1) / 2;
    const Size n = rotation_size(w, h, angle, mode);
    job.dcx = mode == 0 ? job.cx : n.w / 2;
    job.dcy = mode == 0 ? job.cy : n.h / 2;
    if (bpp == 1) {
        // Radians as in the size rule (the 1-bit worker's own conversion).
        const double t = angle * kTurn * kPerDegree;
        job.S = fixed(std::sin(t));
        job.C = fixed(std::cos(t));
        job.background[0] = background ? (background[0] ? 1 : 0) : 1;
    } else {
        job.S = fixed(std::sin(angle * kRadians));
        job.C = fixed(std::cos(angle * kRadians));
        if (background) std::memcpy(job.background, background, size_t(bpp == 24 ? 3 : bpp == 16 ? 2 : 1));
    }
    OpInPlace op(rec, kModule);
    QV_DIB_HEADER *d = op.dest(n.w, n.h, bpp, bpp == 16 ? QV_BI_GRAY16 : QV_BI_RGB);
    if (!d) return QVE_NO_MEMORY;
    if (bpp == 16) {
        const uint32_t first = dib_has_masks(rec->dib->biCompression) ? dib_masks(rec->dib)[0] : 0;
        uint32_t *m = dib_masks(d);
        m[0] = m[1] = m[2] = first;
    }
    job.src = rec->dib;
    job.dst = d;
    OpProgress progress(kModule, n.h);
    if (int32_t rc = rotate_any_rows(job, progress); rc != 0) return rc;
    return op.commit();
}

// An angle that is not a finite number has no rotation: -3320 (0, 0).
bool angle_ok(double angle) {
    if (std::isfinite(angle)) return true;
    QV_ERR(QVE_OUT_OF_RANGE, 0, 0);
    return false;
}

void rotate_any(ImageRecord *rec, double angle, int32_t mode, const void *background) {
    if (!angle_ok(angle)) return;
    if (std::trunc(angle * kQuarters) * 90.0 == angle) {
        if (int32_t code = quarter_code(angle)) rotate_quarter(rec, code);
        return;
    }
    const int32_t bpp = image_bpp(rec);
    if (!geometry_depth_ok(bpp)) {
        QV_ERR(QVE_DEPTH_UNSUPPORTED, bpp, 0);
        return;
    }
    const auto *bg = static_cast<const uint8_t *>(background);
    int32_t rc;
    if (image_is_run_form(rec)) {
        rc = image_runs_to_dib(rec);
        if (rc == 0) rc = turn(rec, angle, mode, bg);
        if (int32_t back = image_dib_to_runs(rec); rc == 0) rc = back;
    } else {
        rc = turn(rec, angle, mode, bg);
    }
    if (rc == 0) image_changed(rec, QV_CHANGED_ROTATE, 0);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_rotate_any_angle(QUORIN image, double angle, int32_t mode) {
    return geometry_entry(image, kRotateModule,
                          [&](ImageRecord *rec) { rotate_any(rec, angle, mode, nullptr); });
}

QV_API int32_t QV_IP_rotate_any_angle_bkgrnd(QUORIN image, double angle, int32_t mode, const void *background) {
    return geometry_entry(image, kRotateModule,
                          [&](ImageRecord *rec) { rotate_any(rec, angle, mode, background); });
}

QV_API int32_t QV_IP_rotate_compute_size(QUORIN image, double angle, int32_t mode, int32_t *width,
                                         int32_t *height) {
    return geometry_entry(image, kRotateModule, [&](ImageRecord *rec) {
        if (!angle_ok(angle)) return;
        const Size n = rotation_size(image_width(rec), image_height(rec), angle, mode);
        if (width) *width = n.w;
        if (height) *height = n.h;
    });
}

}  // extern "C"
