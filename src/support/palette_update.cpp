/*
 * palette_update.cpp - the logical palette of an image after its palette
 * changed (an operation gave it a new DIB with another palette).
 *
 * Exported: VPb_logical_palette_update.
 */
#include "support/dib.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/settings.h"
#include "vosk32pd_bridge.h"

extern "C" {

QV_API void VPb_logical_palette_update(QUORIN image) {
    using namespace qv;
    api_guard([&] {
        if (!image_handle_valid(image)) return;
        Settings *s = settings_get();
        auto fn = s ? reinterpret_cast<void (*)(QUORIN, int32_t)>(s->hooks[QV_HOOK_PALETTE_UPDATE]) : nullptr;
        if (!fn) return;
        const QV_DIB_HEADER *d = image_from_handle(image)->dib;
        fn(image, int32_t(dib_palette_entries(d->biBitCount, d->biCompression)));
    });
}

}  // extern "C"
