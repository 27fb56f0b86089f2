/*
 * image_delete.cpp - deleting an image and everything it owns.
 *
 * Order: the delete hook (1); extension data of type-50 images; the buffer
 * tag; the display objects; the DIB (with its run table and data); the
 * auxiliary buffer; the alpha image (deleted the same way); the record is
 * zero-filled, leaves the live set, and its memory tag is released, which
 * frees the record itself.
 *
 * Internal: image_delete (image.h). Exported: QV_image_delete.
 */
#include <cstdlib>
#include <cstring>

#include "os/os.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/image.h"
#include "support/memory.h"
#include "support/runs.h"
#include "support/settings.h"
#include "vosk32pd.h"

namespace qv {
namespace {

using DeleteHook = void (*)(QUORIN image);

void delete_record(ImageRecord *rec, bool release_tag);

}  // namespace

void image_delete(ImageRecord *rec) {
    if (rec) delete_record(rec, true);
}

namespace {

// An alpha image made under its parent's tag is emptied here and freed with
// the parent's tag.
void delete_record(ImageRecord *rec, bool release_tag) {
    if (Settings *s = settings_get())
        if (auto fn = reinterpret_cast<DeleteHook>(s->hooks[kHookImageDelete])) fn(handle_from_image(rec));
    // Type-50 images keep extension data in the buffer tag and the
    // extension area; both go with the record below.
    uint32_t tag = rec->mem_tag;
    if (rec->t.buffer_tag) mem_free_all(rec->t.buffer_tag);
    rec->t.gdi_bitmap = nullptr;  // no display objects exist without a display
    rec->t.gdi_palette = nullptr;
    if (rec->dib) {
        image_runs_release(rec);
        if (rec->t.dib_foreign) std::free(rec->dib);
        else mem_free(tag, rec->dib);
        rec->dib = nullptr;
    }
    if (rec->t.aux_buffer) mem_free(tag, rec->t.aux_buffer);
    QUORIN alpha = rec->t.alpha;
    rec->t.alpha = nullptr;  // a cycle of alpha links ends here
    if (alpha != handle_from_image(rec) && image_handle_valid(alpha)) {
        ImageRecord *a = image_from_handle(alpha);
        delete_record(a, a->mem_tag != tag);
    }
    std::memset(static_cast<void *>(rec), 0, kImageRecordSize);
    os_record_leave(rec);
    if (release_tag) mem_free_all(tag);
}

}  // namespace

}  // namespace qv

extern "C" QV_API int32_t QV_image_delete(QUORIN image) {
    using namespace qv;
    return api_frame_image(image, [&] { image_delete(image_from_handle(image)); });
}
