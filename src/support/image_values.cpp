/*
 * image_values.cpp - how an image's sample values are read: the signed
 * flag of 16-bit samples and the display table of 16-bit single-channel
 * (compression 503) images.
 *
 * Internal: image_display_lut16 (image.h).
 * Exported: QV_image_is_signed_get, QV_image_is_signed_set,
 * VPb_image_display_LUT16_get.
 */
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/memory.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {
constexpr char kModule[] = "SUPPORT\\IMAGE.C";
constexpr size_t kLut16Size = 65536;
}  // namespace

uint8_t *image_display_lut16(ImageRecord *rec, bool create) {
    if (!rec->dib || rec->dib->biBitCount != 16 || rec->dib->biCompression != QV_BI_GRAY16) return nullptr;
    if (rec->t.display_lut16 || !create) return rec->t.display_lut16;
    auto *lut = static_cast<uint8_t *>(mem_alloc(rec->mem_tag, kLut16Size));
    if (!lut) return nullptr;
    for (size_t v = 0; v < kLut16Size; ++v) lut[v] = uint8_t(v >> 8);
    rec->t.display_lut16 = lut;
    return lut;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_image_is_signed_get(QUORIN image, int32_t *flag) {
    return api_frame_image(image, [&] {
        if (!flag) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        *flag = image_from_handle(image)->t.is_signed ? 1 : 0;
    });
}

QV_API int32_t QV_image_is_signed_set(QUORIN image, int32_t flag) {
    return api_frame_image(image, [&] { image_from_handle(image)->t.is_signed = flag ? 1 : 0; });
}

QV_API uint8_t *VPb_image_display_LUT16_get(QUORIN record, int32_t create) {
    uint8_t *lut = nullptr;
    api_guard([&] {
        if (image_handle_valid(record)) lut = image_display_lut16(image_from_handle(record), create != 0);
    });
    return lut;
}

}  // extern "C"
