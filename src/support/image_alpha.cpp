/*
 * image_alpha.cpp - the alpha companion of an image.
 *
 * Setting a new alpha image deletes a previous, different one first; a new
 * one of the wrong size is then refused, and the record keeps its link to
 * the image just deleted (which fails the validity test from then on).
 *
 * Exported: QV_image_alpha_get, QV_image_alpha_set, QV_image_create_alpha.
 */
#include <cstring>

#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "vosk32pd.h"

namespace qv {
namespace {
constexpr char kModule[] = "SUPPORT\\IMAGE.C";
}  // namespace

// Links `alpha` to `rec`, deleting a previous, different, valid alpha image
// first; refuses an alpha image of another size but keeps the old link.
void alpha_link(ImageRecord *rec, QUORIN alpha) {
    QUORIN old = rec->t.alpha;
    if (old != alpha && old != handle_from_image(rec) && image_handle_valid(old))
        image_delete(image_from_handle(old));
    if (!alpha) {
        rec->t.alpha = nullptr;
        return;
    }
    ImageRecord *a = image_from_handle(alpha);
    if (image_width(a) != image_width(rec) || image_height(a) != image_height(rec)) {
        QV_ERR(QVE_TOO_LARGE, image_width(a), image_height(a));
        return;
    }
    rec->t.alpha = alpha;
}
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
        if (alpha && !image_handle_valid(alpha)) {
            QUORIN old = rec->t.alpha;
            if (old != image && image_handle_valid(old)) image_delete(image_from_handle(old));
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(alpha), 0);
            return;
        }
        alpha_link(rec, alpha);
    });
}

QV_API int32_t QV_image_create_alpha(QUORIN image, int32_t fill) {
    return api_frame_image(image, [&] {
        if (fill < 0 || fill > 255) {
            QV_ERR(QVE_BAD_ARGUMENT, fill, 0);
            return;
        }
        ImageRecord *rec = image_from_handle(image);
        QUORIN alpha = nullptr;
        image_create_blank(image_width(rec), image_height(rec), 8, QV_BI_RGB, &alpha);
        if (!alpha) return;
        QV_DIB_HEADER *dib = image_from_handle(alpha)->dib;
        std::memset(dib_bits(dib), fill, dib_bytes_per_row(dib->biWidth, 8) * size_t(image_height(rec)));
        alpha_link(rec, alpha);
    });
}

}  // extern "C"
