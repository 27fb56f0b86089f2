/*
 * io_raster.cpp - the raster hand-over between filters and the pipelines.
 *
 * Thin calls through the load and save slots that the pipelines install in
 * the stream. An empty slot is reported as -2111 (iVal 0, lVal 1); a raster
 * the hand-over does not carry (a bit depth outside the DIB depths, a plane
 * outside the row's planes) as -2413 (iVal 0, lVal 1).
 *
 * Exported: VPb_IO_DIB_create, VPb_IO_raster_set, VPb_IO_raster_rows_set, VPb_IO_raster_plane_set,
 * VPb_IO_raster_post_process, VPb_IO_DIB_get, VPb_IO_raster_get,
 * VPb_IO_linked_raster_get, VPb_IO_image_get.
 */
#include "support/errors.h"
#include "support/stream.h"

using namespace qv;

namespace {

constexpr char kModule[] = "SUPPORT\\IO.C";

int32_t no_slot() { return QV_ERR(QVE_SAVE_CALLBACK, 0, 1); }
int32_t bad_raster() { return QV_ERR(QVE_SAVE_DEPTH, 0, 1); }

bool dib_depth(uint32_t bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

}  // namespace

extern "C" {

QV_API int32_t VPb_IO_DIB_create(VPb_STREAM *stream, const QV_DIB_HEADER *hdr,
                                 const QV_RGBQUAD *palette) {
    const LoadSlots &l = stream_of(stream)->load;
    if (!l.dib_create) return no_slot();
    if (!hdr || !dib_depth(hdr->biBitCount)) return bad_raster();
    return l.dib_create(l.ctx, hdr, palette);
}

QV_API int32_t VPb_IO_raster_set(VPb_STREAM *stream, int32_t row, const uint8_t *data) {
    const LoadSlots &l = stream_of(stream)->load;
    if (!l.raster_set) return no_slot();
    return l.raster_set(l.ctx, row, data);
}

QV_API int32_t VPb_IO_raster_rows_set(VPb_STREAM *stream, int32_t row, int32_t row_step, int32_t count,
                                      const uint8_t *data, ptrdiff_t stride) {
    const LoadSlots &l = stream_of(stream)->load;
    if (!l.raster_set) return no_slot();
    if (l.raster_rows_set) return l.raster_rows_set(l.ctx, row, row_step, count, data, stride);
    for (int32_t i = 0; i < count; ++i, row += row_step, data += stride)
        if (int32_t st = l.raster_set(l.ctx, row, data)) return st;
    return 0;
}

QV_API int32_t VPb_IO_raster_plane_set(VPb_STREAM *stream, int32_t row, int32_t plane,
                                       int32_t planes, const uint8_t *data) {
    const LoadSlots &l = stream_of(stream)->load;
    if (!l.raster_plane_set) return no_slot();
    if (planes < 1 || plane < 0 || plane >= planes) return bad_raster();
    return l.raster_plane_set(l.ctx, row, plane, planes, data);
}

QV_API int32_t VPb_IO_raster_post_process(VPb_STREAM *stream) {
    const LoadSlots &l = stream_of(stream)->load;
    if (!l.post_process) return no_slot();
    return l.post_process(l.ctx);
}

QV_API int32_t VPb_IO_DIB_get(VPb_STREAM *stream, QV_DIB_HEADER *hdr, QV_RGBQUAD *palette,
                              int32_t *entries) {
    const SaveSlots &sv = stream_of(stream)->save;
    if (!sv.dib_get) return no_slot();
    return sv.dib_get(sv.ctx, hdr, palette, entries);
}

QV_API int32_t VPb_IO_raster_get(VPb_STREAM *stream, int32_t row, uint8_t *data) {
    const SaveSlots &sv = stream_of(stream)->save;
    if (!sv.raster_get) return no_slot();
    return sv.raster_get(sv.ctx, row, data);
}

QV_API int32_t VPb_IO_linked_raster_get(VPb_STREAM *stream, int32_t row, uint8_t *data) {
    const SaveSlots &sv = stream_of(stream)->save;
    if (!sv.linked_raster_get) return no_slot();
    return sv.linked_raster_get(sv.ctx, row, data);
}

QV_API QUORIN VPb_IO_image_get(VPb_STREAM *stream) {
    const SaveSlots &sv = stream_of(stream)->save;
    if (!sv.image_get) {
        no_slot();
        return nullptr;
    }
    return sv.image_get(sv.ctx);
}

}  // extern "C"
