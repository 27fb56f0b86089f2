/*
 * image_alpha.cpp - the alpha companion of an image.
 *
 * Setting a new alpha image deletes a previous, different one first; a new
 * one of the wrong size is then refused, and the record keeps its link to
 * the image just deleted (which fails the validity test from then on).
 *
 * Exported: QV_image_alpha_get, QV_image_alpha_set.
 */
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "vosk32pd.h"

namespace qv {
namespace {
constexpr char kModule[] = "SUPPORT\\IMAGE.C";
}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_image_alpha_get(QUORIN image, QUORIN *alpha) {
    return api_frame_image(image, [&] {
        if (!alpha) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *alpha = image_from_handle(image)->t.alpha;
    });
}

QV_API int32_t QV_image_alpha_set(QUORIN image, QUORIN alpha) {
    return api_frame_image(image, [&] {
        ImageRecord *rec = image_from_handle(image);
        if (alpha == image) {
            QV_ERR(QVE_BAD_ARGUMENT, 0, 0);
            return;
        }
        QUORIN old = rec->t.alpha;
        if (old != alpha && old != image && image_handle_valid(old)) image_delete(image_from_handle(old));
        if (!alpha) {
            rec->t.alpha = nullptr;
            return;
        }
        if (!image_handle_valid(alpha)) {
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(alpha), 0);
            return;
        }
        ImageRecord *a = image_from_handle(alpha);
        if (image_width(a) != image_width(rec) || image_height(a) != image_height(rec)) {
            QV_ERR(QVE_TOO_LARGE, image_width(a), image_height(a));
            return;
        }
        rec->t.alpha = alpha;
    });
}

}  // extern "C"
