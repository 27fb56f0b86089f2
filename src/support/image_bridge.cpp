/*
 * image_bridge.cpp - record accessors for format filters and extension
 * modules. They take a record that image_alloc made (bound or not) and
 * return 0 or null for anything else.
 *
 * Exported: VPb_image_pointer_get, VPb_DIB_pointer_get,
 * VPb_image_resolution_get, VPb_DIB_resolution_mode_get,
 * VPb_image_info_type_set/_get, VPb_image_info_mem_tag_set/_get,
 * VPb_image_info_set/_get.
 */
#include "support/dib.h"
#include "support/image.h"
#include "support/settings.h"
#include "vosk32pd_bridge.h"

using namespace qv;

namespace {
ImageRecord *live(QUORIN record) { return image_record_live(record) ? image_from_handle(record) : nullptr; }
}  // namespace

extern "C" {

QV_API void *VPb_image_pointer_get(QUORIN record) {
    ImageRecord *rec = live(record);
    return rec && rec->dib ? dib_bits(rec->dib) : nullptr;
}

QV_API int32_t VPb_image_resolution_get(QUORIN record, uint32_t *xnum, uint32_t *xden,
                                        uint32_t *ynum, uint32_t *yden, int32_t *unit) {
    ImageRecord *rec = live(record);
    if (!rec) return 0;
    if (xnum) *xnum = rec->t.xres_num;
    if (xden) *xden = rec->t.xres_den ? rec->t.xres_den : 1;
    if (ynum) *ynum = rec->t.yres_num;
    if (yden) *yden = rec->t.yres_den ? rec->t.yres_den : 1;
    if (unit) *unit = int32_t(rec->t.res_unit);
    return 1;
}

QV_API int32_t VPb_DIB_resolution_mode_get(void) {
    Settings *s = settings_get();
    return s ? s->dib_res_mode : 2;
}

QV_API QV_DIB_HEADER *VPb_DIB_pointer_get(QUORIN record) {
    ImageRecord *rec = live(record);
    return rec ? rec->dib : nullptr;
}

QV_API int32_t VPb_image_info_type_set(QUORIN record, int32_t type) {
    ImageRecord *rec = live(record);
    if (!rec) return 0;
    rec->info_type = type;
    return 1;
}

QV_API int32_t VPb_image_info_type_get(QUORIN record) {
    ImageRecord *rec = live(record);
    return rec ? rec->info_type : 0;
}

QV_API int32_t VPb_image_info_mem_tag_set(QUORIN record, uint32_t tag) {
    ImageRecord *rec = live(record);
    if (!rec) return 0;
    rec->mem_tag = tag;
    return 1;
}

QV_API uint32_t VPb_image_info_mem_tag_get(QUORIN record) {
    ImageRecord *rec = live(record);
    return rec ? rec->mem_tag : 0;
}

QV_API int32_t VPb_image_info_set(QUORIN record, int32_t value) {
    ImageRecord *rec = live(record);
    if (!rec) return 0;
    rec->info_value = value;
    return 1;
}

QV_API int32_t VPb_image_info_get(QUORIN record) {
    ImageRecord *rec = live(record);
    return rec ? rec->info_value : 0;
}

}  // extern "C"
