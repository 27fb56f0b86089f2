/*
 * save_context.h - the save context and the save pipeline's internals.
 *
 * A SaveContext is zeroed at the start of each save. It names the image,
 * copies the status-bar callback, links the image's alpha image when it has
 * a valid one, and, when the image's current rectangle does not cover the
 * whole image, keeps that rectangle and a row buffer of one whole raster
 * (under the context's own memory tag) so that the writer sees only the
 * rectangle. Its callbacks fill the stream's save slots.
 *
 *   save_context_init(ctx, rec)      the fields above
 *   save_context_install(ctx, s)     dib_get, raster_get, linked_raster_get,
 *                                    image_get -> stream
 *   save_context_release(ctx)        row buffers (every path)
 *
 *   SaveTarget / save_run(target, rec, format, sel1, sel2)  one save
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/image.h"
#include "support/stream.h"
#include "vosk32pd.h"

namespace qv {

struct SaveContext {
    ImageRecord *rec;
    QV_STATUS_BAR_CB status_cb;
    void *status_user;
    ImageRecord *linked;        // alpha image, or null
    int32_t cropped;            // the rectangle below applies
    int32_t left, top, right, bottom;
    int32_t width, height;      // of the rectangle (the whole image when not cropped)
    int32_t measuring;          // counting pass of a size calculation
    uint32_t tag;               // row buffers (0: none yet)
    uint8_t *row_buf;
    uint8_t *linked_buf;
    int32_t rows_fetched;
};

void save_context_init(SaveContext *ctx, ImageRecord *rec);
void save_context_install(SaveContext *ctx, Stream *s);
void save_context_release(SaveContext *ctx);

struct SaveTarget {
    enum Kind { kFile, kFd, kMem, kCount, kSinkBuffered, kSinkDirect, kFdTap, kFdDirect } kind =
        kFile;
    const char *name = nullptr;
    int32_t fd = -1;
    void *buffer = nullptr;
    size_t size = 0;
    size_t used = 0;
    size_t *written = nullptr;
    int64_t *bytes = nullptr;
    QV_SAVE_WRITE_CB sink = nullptr;
    void *user = nullptr;
};

int32_t save_run(const SaveTarget &target, ImageRecord *rec, int32_t format, int32_t sel1,
                 int32_t sel2);


}  // namespace qv
