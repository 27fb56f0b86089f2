/*
 * vosk32pd/bridge_io.h - streams for filters: reading, writing, seeking,
 * byte order, tags and the raster hand-over to the load and save pipelines.
 *
 * (The byte/word accessors, tag functions and buffered reader are declared
 * here with the stream layer.)
 */
#ifndef VOSK32PD_BRIDGE_IO_H
#define VOSK32PD_BRIDGE_IO_H

#include "base.h"
#include "io.h"

QV_EXTERN_C_BEGIN

/* ---- raster hand-over (readers) -----------------------------------------
 * A reader that knows its image calls VPb_IO_DIB_create with the source
 * header (width, height = number of rows it will deliver, bit count,
 * compression, resolution fields in the DIB's unit) and palette (2^bpp
 * entries for bpp <= 8, else null). It then delivers rows with
 * VPb_IO_raster_set (row 0 = top, DIB packing at the source depth) in any
 * order, and finishes with VPb_IO_raster_post_process. Each returns 0 or a
 * negative error code (already pushed); a reader stops at the first error. */
QV_API int32_t VPb_IO_DIB_create(VPb_STREAM *stream, const QV_DIB_HEADER *hdr,
                                 const QV_RGBQUAD *palette);
QV_API int32_t VPb_IO_raster_set(VPb_STREAM *stream, int32_t row, const uint8_t *data);
QV_API int32_t VPb_IO_raster_plane_set(VPb_STREAM *stream, int32_t row, int32_t plane,
                                       int32_t planes, const uint8_t *data);
QV_API int32_t VPb_IO_raster_post_process(VPb_STREAM *stream);

/* ---- raster hand-over (writers) -----------------------------------------
 * VPb_IO_DIB_get describes the image to write (its current rectangle
 * applied): header, palette (up to 256 entries copied when palette is not
 * null) and entry count. VPb_IO_raster_get fetches row `row` (0 = top) in
 * DIB packing into data (bytes per row of that header). VPb_IO_image_get
 * returns the image being saved. */
QV_API int32_t VPb_IO_DIB_get(VPb_STREAM *stream, QV_DIB_HEADER *hdr, QV_RGBQUAD *palette,
                              int32_t *entries);
QV_API int32_t VPb_IO_raster_get(VPb_STREAM *stream, int32_t row, uint8_t *data);
QV_API int32_t VPb_IO_linked_raster_get(VPb_STREAM *stream, int32_t row, uint8_t *data);
QV_API QUORIN VPb_IO_image_get(VPb_STREAM *stream);

QV_EXTERN_C_END

#endif /* VOSK32PD_BRIDGE_IO_H */
