/*
 * stream.h - the stream record (internal side of VPb_STREAM).
 *
 * One I/O settings record per process (global record 879, created on first
 * use) is the template of every stream; each load or save copies it whole
 * into a private Stream so that changing settings mid-operation has no
 * effect. A stream with mem_base != null is a memory stream, else a file
 * stream driven through the five I/O function slots.
 *
 *   io_settings_get()               the template (created on first use)
 *   stream_init(&s)                 copy the template into s (0 or error code)
 *   stream_open_read(&s, name)      open_fn(name, read)    -> handle or < 0
 *   stream_open_update(&s, name)    open_fn(name, read|write)
 *   stream_create(&s, name)         create_fn(name)
 *   stream_attach_fd(&s, fd)        file stream over a caller's descriptor
 *   stream_attach_mem(&s, base, size)   memory stream (high-water mark 0;
 *                                   a load that wants whence 2 to mean the
 *                                   end of the data sets high_water = size;
 *                                   a save into a buffer holding `used`
 *                                   bytes of a file sets high_water and
 *                                   mem_data_end to `used`)
 *   stream_attach_count(&s)         counting memory stream: positions and
 *                                   high-water mark move, nothing is stored
 *   stream_close(&s)
 *   stream_read/_write/_seek/_tell  as VPb_IO_read/_write/_seek/_tell
 *   stream_read_view(&s, n, &p)     as VPb_IO_read_view
 *
 * The load pipeline fills `load` and the save pipeline `save`; readers and
 * writers reach them through VPb_IO_DIB_create, VPb_IO_raster_set,
 * VPb_IO_raster_post_process, VPb_IO_DIB_get and VPb_IO_raster_get.
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

using IoCreateFn = intptr_t (*)(const char *name);
using IoOpenFn = intptr_t (*)(const char *name, int access);
using IoCloseFn = int32_t (*)(intptr_t handle);
using IoSeekFn = QV_IO_SEEK_FN;
using IoReadFn = QV_IO_READ_FN;
using IoWriteFn = QV_IO_WRITE_FN;

/* Callbacks installed by the load pipeline (or a caller-callback load). */
struct LoadSlots {
    /* The reader knows its image: source header (width, |height| rows
     * delivered top-first, bit count, compression, resolution fields) and
     * palette (2^bpp entries for bpp <= 8, else null). 0 or error code. */
    int32_t (*dib_create)(void *ctx, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *palette);
    /* One source row (DIB packing at the source depth), row 0 = top. */
    int32_t (*raster_set)(void *ctx, int32_t row, const uint8_t *data);
    /* One plane of a planar row: plane index, plane count. */
    int32_t (*raster_plane_set)(void *ctx, int32_t row, int32_t plane, int32_t planes,
                                const uint8_t *data);
    int32_t (*post_process)(void *ctx);
    void *ctx;
};

/* Callbacks installed by the save pipeline. */
struct SaveSlots {
    /* The image as the writer sees it (its current rectangle applied). */
    int32_t (*dib_get)(void *ctx, QV_DIB_HEADER *hdr, QV_RGBQUAD *palette, int32_t *entries);
    /* One row, row 0 = top, in DIB packing. */
    int32_t (*raster_get)(void *ctx, int32_t row, uint8_t *data);
    int32_t (*linked_raster_get)(void *ctx, int32_t row, uint8_t *data);
    QUORIN (*image_get)(void *ctx);
    void *ctx;
};

struct TagOffer {
    QV_TAG_SET_CB fn;
    void *user;
};
struct TagRequest {
    QV_TAG_GET_CB fn;
    void *user;
};

struct Stream {
    intptr_t handle_or_position;
    int32_t count_only;
    int64_t mem_size;
    uint8_t *mem_base;
    int64_t high_water;
    IoCreateFn create_fn;
    IoOpenFn open_fn;
    IoCloseFn close_fn;
    IoSeekFn seek_fn;
    int32_t seek_is_user;
    IoReadFn read_fn;
    int32_t read_is_user;
    IoWriteFn write_fn;
    int32_t write_is_user;
    int32_t byte_order;  // 0 little-endian ("ii"), 1 big-endian ("mm")
    TagOffer tag_offer_pipeline;
    TagOffer tag_offer_user;
    TagRequest tag_request_pipeline;
    TagRequest tag_request_user;
    LoadSlots load;
    SaveSlots save;
    int32_t counters[6];  // 0, 1, 1, 1, 64, 64
    uint32_t own_tag;
    int64_t end_limit;    // readers of embedded images: end of the data (0 = file end)
    int32_t tag_request_flags;  // QV_SAVE_TAG_* given with the caller's request callback
    int64_t mem_data_end;  // memory stream: end of the data, where reads stop (the whole
                           // buffer unless a save says how much of it holds a file)
    struct WriteBuffer *wbuf;  // file stream of a save: writes gathered into large chunks
};

inline Stream *stream_of(VPb_STREAM *s) { return reinterpret_cast<Stream *>(s); }
inline VPb_STREAM *bridge_of(Stream *s) { return reinterpret_cast<VPb_STREAM *>(s); }

Stream *io_settings_get();
int32_t stream_init(Stream *s);
intptr_t stream_open_read(Stream *s, const char *name);
intptr_t stream_open_update(Stream *s, const char *name);
intptr_t stream_create(Stream *s, const char *name);
void stream_attach_fd(Stream *s, intptr_t fd);
void stream_attach_mem(Stream *s, void *base, int64_t size);
void stream_attach_count(Stream *s);
inline bool stream_is_mem(const Stream *s) { return s->mem_base != nullptr; }
void stream_close(Stream *s);
int32_t stream_read(Stream *s, void *buf, int32_t count);
/* A read of a memory stream without the copy: *view points at the bytes in
 * the stream's buffer (valid while the buffer lives), the position moves as
 * stream_read's would, and the count it would have copied is returned.
 * -1 (and *view null, the position kept) for other streams. */
int32_t stream_read_view(Stream *s, int32_t count, const uint8_t **view);
int32_t stream_write(Stream *s, const void *buf, int32_t count);
int64_t stream_seek(Stream *s, int64_t offset, int whence);
int64_t stream_tell(Stream *s);
int32_t stream_truncate(Stream *s);
/* Saves to files: writes through the built-in file functions are gathered
 * in `buffer` (capacity bytes, the caller's memory) and reach the file in
 * large chunks; every read, seek, tell, truncate and close writes out what
 * is gathered first, so the stream behaves exactly as unbuffered. A short
 * write found then pushes -2393 (bytes asked, bytes written). Streams with
 * a caller's read, write or seek function stay unbuffered.
 *   stream_buffer_writes(&s, wb)   wb: {buffer, capacity}; false: unbuffered
 *   stream_flush(&s)               0, or -1 after a short write */
struct WriteBuffer {
    uint8_t *data;
    int32_t capacity;
    int32_t used;
};
bool stream_buffer_writes(Stream *s, WriteBuffer *wb);
int32_t stream_flush(Stream *s);  // end the data at the current position: 0 or -1

}  // namespace qv
