/*
 * load_context.h - the load context and the pipeline's internal interface.
 *
 * A LoadContext lives on the stack of each load call (zeroed at its start,
 * at most 248 bytes, the size external filters reserve for one). It holds
 * the result handle pointer, the status-bar callback, the load options
 * (twice: the image being loaded and a second image a reader may build
 * beside it) and a pointer to the working state that the image-creation
 * callback builds under the context's own memory tag.
 *
 *   load_context_init(ctx, handle)      options from the settings record
 *   load_context_install(ctx, stream)   image-building callbacks -> stream
 *   load_context_install_cb(ctx, stream, row_cb, header_cb, user)
 *                                       caller-callback loads
 *   load_context_release(ctx)           working buffers (always, any path)
 *   load_options_in_force(ctx)          whether any option applies
 *
 * The callbacks themselves (load_dib_create.cpp, load_raster.cpp):
 *   load_cb_dib_create, load_cb_raster_set, load_cb_raster_rows_set, load_cb_raster_plane_set,
 *   load_cb_post_process
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/stream.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {

struct LoadOptions {
    int32_t reduction;
    int32_t rect[4];  // left, top, width, height
    int32_t rect_in_force;
    int32_t size[2];  // width, height
    int32_t size_in_force;
};

struct LoadWork;  // load_work.h

struct LoadContext {
    QUORIN *handle;             // caller's result handle
    QV_STATUS_BAR_CB status_cb;
    void *status_user;
    int32_t options_in_force;   // any of reduction, rectangle, size
    int32_t active;             // 0: the image being loaded, 1: the second image
    LoadOptions options[2];
    uint64_t pixel_limit;
    uint32_t work_tag;          // tag of the working buffers (0: none yet)
    LoadWork *work;
    // Caller-callback loads: rows go to the caller instead of an image.
    QV_LOAD_ROW_CB row_cb;
    QV_LOAD_HEADER_CB header_cb;
    void *cb_user;
    int32_t cb_row_bytes;
    int32_t cb_rows;
    int32_t cb_delivered;
};
static_assert(sizeof(LoadContext) <= QV_LOAD_CONTEXT_SIZE, "load context fits its 248 bytes");

void load_context_init(LoadContext *ctx, QUORIN *handle);
void load_context_install(LoadContext *ctx, Stream *stream);
void load_context_install_cb(LoadContext *ctx, Stream *stream, QV_LOAD_ROW_CB row_cb,
                             QV_LOAD_HEADER_CB header_cb, void *user);
void load_context_release(LoadContext *ctx);

int32_t load_cb_dib_create(void *ctx, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *palette);
int32_t load_cb_raster_set(void *ctx, int32_t row, const uint8_t *data);
int32_t load_cb_raster_rows_set(void *ctx, int32_t row, int32_t row_step, int32_t count, const uint8_t *data,
                                ptrdiff_t stride);
int32_t load_cb_raster_plane_set(void *ctx, int32_t row, int32_t plane, int32_t planes,
                                 const uint8_t *data);
int32_t load_cb_post_process(void *ctx);


}  // namespace qv
