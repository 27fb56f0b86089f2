/*
 * image_resolution.cpp - resolution and orientation of an image.
 *
 * The record keeps the resolution as two fractions and a unit; the DIB
 * header's pixels-per-length fields follow it in the process's DIB
 * resolution mode (2: pixels per metre, 3: pixels per inch).
 *
 * Internal: image_resolution_set, image_set_resolution_from_dib (image.h).
 * Exported: QV_image_resolution_set/_get, QV_image_orientation_set/_get.
 */
#include <cstdint>

#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/settings.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\IMAGE.C";

// How a value in each unit (1..6) becomes the DIB field, per mode.
enum class Conv { Same, IntDiv, Scale, ScaleTrunc };
struct UnitRule {
    Conv conv;
    double factor;
};
constexpr UnitRule kPerMetre[6] = {
    {Conv::Scale, 1.0},    // 1 no unit
    {Conv::Scale, 1.0},    // 2 per metre
    {Conv::Scale, 39.37},  // 3 per inch
    {Conv::Scale, 100.0},  // 4 per centimetre
    {Conv::Scale, 3.937},  // 5 per 10 inches
    {Conv::Scale, 10.0},   // 6 per 10 centimetres
};
constexpr UnitRule kPerInch[6] = {
    {Conv::IntDiv, 0.0},       // 1 no unit
    {Conv::Scale, 0.0254},     // 2 per metre
    {Conv::IntDiv, 0.0},       // 3 per inch
    {Conv::Scale, 2.54},       // 4 per centimetre
    {Conv::ScaleTrunc, 0.1},   // 5 per 10 inches: truncated, no 0.5 added
    {Conv::Scale, 0.254},      // 6 per 10 centimetres
};

// Truncation toward zero, saturated to the field's range.
int32_t to_field(double v) {
    if (v >= 2147483647.0) return INT32_MAX;
    return static_cast<int32_t>(v);
}

int32_t convert(const UnitRule &rule, uint32_t num, uint32_t den) {
    if (rule.conv == Conv::IntDiv) return to_field(double(num / den));
    double value = double(num) / double(den);
    if (rule.conv == Conv::ScaleTrunc) return to_field(value * rule.factor);
    return to_field(value * rule.factor + 0.5);
}

}  // namespace

int32_t image_resolution_set(ImageRecord *rec, uint32_t xnum, uint32_t xden, uint32_t ynum,
                             uint32_t yden, uint32_t unit) {
    int32_t before = error_count();
    if (xden == 0) xden = 1;
    if (yden == 0) yden = 1;
    rec->t.xres_num = xnum;
    rec->t.xres_den = xden;
    rec->t.yres_num = ynum;
    rec->t.yres_den = yden;
    rec->t.res_unit = unit;
    Settings *s = settings_get();
    int32_t mode = s ? s->dib_res_mode : 2;
    int32_t x = 300, y = 300;
    if (unit < 1 || unit > 6) {
        QV_ERR(QVE_RES_UNIT, unit, 0);
    } else if (mode == 2 || mode == 3) {
        const UnitRule &rule = (mode == 2 ? kPerMetre : kPerInch)[unit - 1];
        x = convert(rule, xnum, xden);
        y = convert(rule, ynum, yden);
    } else {
        QV_ERR(QVE_RES_MODE, 100, 2);
    }
    int32_t pushed = error_count() - before;
    if (pushed == 0 && rec->dib) {
        if (rec->dib->biXPelsPerMeter != x) rec->dib->biXPelsPerMeter = x;
        if (rec->dib->biYPelsPerMeter != y) rec->dib->biYPelsPerMeter = y;
    }
    return pushed;
}

void image_set_resolution_from_dib(ImageRecord *rec) {
    Settings *s = settings_get();
    uint32_t unit = s && s->dib_res_mode == 3 ? 3 : 2;
    image_resolution_set(rec, uint32_t(rec->dib->biXPelsPerMeter), 1, uint32_t(rec->dib->biYPelsPerMeter), 1,
                         unit);
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_image_resolution_set(QUORIN image, uint32_t xnum, uint32_t xden, uint32_t ynum,
                                       uint32_t yden, uint32_t unit) {
    return api_frame_image(image, [&] {
        ImageRecord *rec = image_from_handle(image);
        if (image_resolution_set(rec, xnum, xden, ynum, yden, unit) == 0)
            image_changed(rec, QV_CHANGED_RESOLUTION, int32_t(unit));
    });
}

QV_API int32_t QV_image_resolution_get(QUORIN image, uint32_t *xnum, uint32_t *xden, uint32_t *ynum,
                                       uint32_t *yden, uint32_t *unit) {
    return api_frame_image(image, [&] {
        ImageRecord *rec = image_from_handle(image);
        if (rec->t.xres_den == 0) rec->t.xres_den = 1;
        if (rec->t.yres_den == 0) rec->t.yres_den = 1;
        if (xnum) *xnum = rec->t.xres_num;
        if (xden) *xden = rec->t.xres_den;
        if (ynum) *ynum = rec->t.yres_num;
        if (yden) *yden = rec->t.yres_den;
        if (unit) *unit = rec->t.res_unit;
    });
}

QV_API int32_t QV_image_orientation_set(QUORIN image, int32_t value) {
    return api_frame_image(image, [&] {
        Settings *s = settings_get();
        if (!s || !s->orientation_enabled) return;
        if (value < 1 || value > 8) {
            QV_ERR(QVE_BAD_ARGUMENT, value, 200);
            return;
        }
        image_from_handle(image)->t.orientation = uint32_t(value);
    });
}

QV_API int32_t QV_image_orientation_get(QUORIN image, int32_t *value) {
    if (!image_handle_valid(image)) {
        error_clear_on_entry();
        if (value) *value = 0;
        return 0;
    }
    return api_frame_image(image, [&] {
        if (!value) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *value = int32_t(image_from_handle(image)->t.orientation);
    });
}

}  // extern "C"
