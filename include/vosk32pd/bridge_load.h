/*
 * vosk32pd/bridge_load.h - the load context for filters and extension
 * modules that build an image themselves.
 *
 *   VPb_VPr_load_CB_data_init, VPb_VPr_load_CB_data_release
 *
 * The load pipeline keeps one load context per load call and installs its
 * image-creation, raster-delivery and post-processing callbacks into the
 * stream, so that a reader reaches them through VPb_IO_DIB_create,
 * VPb_IO_raster_set, VPb_IO_raster_plane_set and
 * VPb_IO_raster_post_process. A filter that loads a nested image from a
 * stream of its own (an embedded file, a container) sets up such a context
 * with VPb_VPr_load_CB_data_init and then calls a reader on that stream.
 */
#ifndef VOSK32PD_BRIDGE_LOAD_H
#define VOSK32PD_BRIDGE_LOAD_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* Storage of a load context: 248 bytes, 8-byte aligned, opaque. */
#define QV_LOAD_CONTEXT_SIZE 248
typedef struct VPb_LOAD_CONTEXT {
    uint64_t opaque[QV_LOAD_CONTEXT_SIZE / 8];
} VPb_LOAD_CONTEXT;

/* Zeroes `ctx`, fills it from the load options in force (status bar,
 * colour reduction, rectangle, size, pixel limit) with `handle` as the
 * result handle (set to 0 now; written when the image exists), and installs
 * its callbacks into `stream`. Returns 0, or -3060 when a pointer is null.
 * The image built through it belongs to the caller of this function, who
 * deletes it when the nested load fails. */
QV_API int32_t VPb_VPr_load_CB_data_init(VPb_LOAD_CONTEXT *ctx, VPb_STREAM *stream,
                                         QUORIN *handle);
/* Releases the context's working buffers (the post-processing callback
 * does the same); safe to call more than once. Returns 0. */
QV_API int32_t VPb_VPr_load_CB_data_release(VPb_LOAD_CONTEXT *ctx);

QV_EXTERN_C_END

#endif /* VOSK32PD_BRIDGE_LOAD_H */
