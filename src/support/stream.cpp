/*
 * stream.cpp - the I/O settings record and the stream core.
 *
 * The I/O settings record (global record 879) is made on first use and is
 * the template that stream_init copies whole into each operation's private
 * stream. File streams go through the five I/O slots (open, create, close
 * from the OS layer; seek, read and write replaceable by the caller); memory
 * streams work on a caller's buffer with a position, a size and a
 * high-water mark, and never grow.
 *
 * Exported: QV_file_IO_register; iQV_stream_mem_new, iQV_stream_file_new,
 * iQV_stream_fd_new, iQV_stream_count_new, iQV_stream_free,
 * iQV_stream_high_water, iQV_stream_load_slots_set, iQV_stream_save_slots_set
 * (streams outside a load or save, for tests).
 */
#include "support/stream.h"

#include <cstring>
#include <mutex>
#include <new>

#include "os/os.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/lifecycle.h"
#include "support/memory.h"
#include "support/registry.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\IO.C";

// A memory stream needs a non-null base; a caller's empty buffer and the
// counting stream point here (nothing is ever copied to or from it).
uint8_t g_no_buffer[1];

// Counting streams have no buffer; their size bound keeps positions far from
// overflow while never limiting a real save.
constexpr int64_t kCountLimit = int64_t(1) << 62;

std::mutex g_io_mutex;

void io_settings_release() {
    void *p = nullptr;
    if (registry_lookup(kKeyIoSettings, &p) != 0 || !p) return;
    registry_remove(kKeyIoSettings);
    mem_free_all(static_cast<Stream *>(p)->own_tag);
}

void io_settings_defaults(Stream *s) {
    s->handle_or_position = -1;
    s->create_fn = os_file_create;
    s->open_fn = os_file_open;
    s->close_fn = os_file_close;
    s->seek_fn = os_file_seek;
    s->read_fn = os_file_read;
    s->write_fn = os_file_write;
    s->seek_is_user = s->read_is_user = s->write_is_user = 0;
    s->byte_order = 0;
    static constexpr int32_t kCounters[6] = {0, 1, 1, 1, 64, 64};
    std::memcpy(s->counters, kCounters, sizeof kCounters);
}

}  // namespace

Stream *io_settings_get() {
    std::lock_guard<std::mutex> lock(g_io_mutex);
    void *p = nullptr;
    if (registry_lookup(kKeyIoSettings, &p) == 0 && p) return static_cast<Stream *>(p);
    uint32_t tag = mem_unique_tag();
    auto *s = static_cast<Stream *>(mem_alloc(tag, sizeof(Stream)));
    if (!s) {
        QV_ERR(QVE_NO_MEMORY, sizeof(Stream), tag);
        return nullptr;
    }
    io_settings_defaults(s);
    s->own_tag = tag;
    if (registry_register(kKeyIoSettings, s) != 0) {
        mem_free_all(tag);
        QV_ERR(QVE_REGISTRY, kKeyIoSettings, 0);
        return nullptr;
    }
    lifecycle_on_detach(io_settings_release);
    return s;
}

int32_t stream_init(Stream *s) {
    Stream *tmpl = io_settings_get();
    if (!tmpl) return QVE_REGISTRY;
    std::memcpy(static_cast<void *>(s), tmpl, sizeof(Stream));
    s->handle_or_position = -1;
    s->wbuf = nullptr;
    return 0;
}

bool stream_buffer_writes(Stream *s, WriteBuffer *wb) {
    if (stream_is_mem(s) || s->read_is_user || s->write_is_user || s->seek_is_user || !wb ||
        !wb->data || wb->capacity <= 0)
        return false;
    wb->used = 0;
    s->wbuf = wb;
    return true;
}

int32_t stream_flush(Stream *s) {
    WriteBuffer *wb = s->wbuf;
    if (!wb || wb->used == 0) return 0;
    const int32_t want = wb->used;
    wb->used = 0;
    const int32_t n = s->write_fn(s->handle_or_position, wb->data, want);
    if (n < want) {
        QV_ERR(QVE_COLOR_COUNT, want, n);
        return -1;
    }
    return 0;
}

intptr_t stream_open_read(Stream *s, const char *name) {
    s->mem_base = nullptr;
    s->handle_or_position = s->open_fn(name, kOsAccessRead);
    return s->handle_or_position;
}

intptr_t stream_open_update(Stream *s, const char *name) {
    s->mem_base = nullptr;
    s->handle_or_position = s->open_fn(name, kOsAccessRead | kOsAccessWrite);
    return s->handle_or_position;
}

intptr_t stream_create(Stream *s, const char *name) {
    s->mem_base = nullptr;
    s->handle_or_position = s->create_fn(name);
    return s->handle_or_position;
}

void stream_attach_fd(Stream *s, intptr_t fd) {
    s->mem_base = nullptr;
    s->count_only = 0;
    s->handle_or_position = fd;
}

void stream_attach_mem(Stream *s, void *base, int64_t size) {
    s->count_only = 0;
    s->mem_base = base ? static_cast<uint8_t *>(base) : g_no_buffer;
    s->mem_size = base && size > 0 ? size : 0;
    s->handle_or_position = 0;
    s->high_water = 0;
    s->mem_data_end = s->mem_size;
}

void stream_attach_count(Stream *s) {
    s->count_only = 1;
    s->mem_base = g_no_buffer;
    s->mem_size = kCountLimit;
    s->handle_or_position = 0;
    s->high_water = 0;
    s->mem_data_end = 0;
}

void stream_close(Stream *s) {
    if (stream_is_mem(s)) return;
    stream_flush(s);
    s->wbuf = nullptr;
    if (s->handle_or_position >= 0 && s->close_fn) s->close_fn(s->handle_or_position);
    s->handle_or_position = -1;
}

namespace {

// Cuts a transfer of `count` bytes at `end`: the end of the buffer for
// writes, the end of the data for reads.
int32_t mem_span(const Stream *s, int32_t count, int64_t end) {
    if (count <= 0) return 0;
    int64_t pos = s->handle_or_position;
    if (pos + count >= end) {
        int64_t left = end - pos;
        return left > 0 ? static_cast<int32_t>(left) : 0;
    }
    return count;
}

void mem_advance(Stream *s, int32_t n) {
    s->handle_or_position += n;
    if (s->handle_or_position > s->high_water) s->high_water = s->handle_or_position;
}

}  // namespace

int32_t stream_read(Stream *s, void *buf, int32_t count) {
    if (!stream_is_mem(s)) {
        if (s->wbuf) stream_flush(s);
        return s->read_fn(s->handle_or_position, buf, count);
    }
    if (s->count_only) return 0;
    // Reads stop at the end of the data: what the caller handed in plus what
    // has been written since. A buffer's spare capacity is room to grow into
    // and is never read as if it were part of the file.
    int32_t n = mem_span(s, count, s->mem_data_end);
    if (n > 0) std::memcpy(buf, s->mem_base + s->handle_or_position, static_cast<size_t>(n));
    mem_advance(s, n);
    return n;
}

int32_t stream_read_view(Stream *s, int32_t count, const uint8_t **view) {
    *view = nullptr;
    if (!stream_is_mem(s) || s->count_only) return -1;
    int32_t n = mem_span(s, count, s->mem_data_end);
    if (n > 0) *view = s->mem_base + s->handle_or_position;
    mem_advance(s, n);
    return n;
}

int32_t stream_write(Stream *s, const void *buf, int32_t count) {
    if (!stream_is_mem(s)) {
        if (WriteBuffer *wb = s->wbuf; wb && count > 0) {
            if (count <= wb->capacity - wb->used) {
                std::memcpy(wb->data + wb->used, buf, size_t(count));
                wb->used += count;
                return count;
            }
            if (stream_flush(s) != 0) return 0;
            if (count < wb->capacity) {
                std::memcpy(wb->data, buf, size_t(count));
                wb->used = count;
                return count;
            }
        }
        int32_t n = s->write_fn(s->handle_or_position, buf, count);
        if (n < count) QV_ERR(QVE_COLOR_COUNT, count, n);
        return n;
    }
    int32_t n = mem_span(s, count, s->mem_size);
    if (n > 0 && !s->count_only)
        std::memcpy(s->mem_base + s->handle_or_position, buf, static_cast<size_t>(n));
    mem_advance(s, n);
    if (s->handle_or_position > s->mem_data_end) s->mem_data_end = s->handle_or_position;
    return n;
}

int64_t stream_seek(Stream *s, int64_t offset, int whence) {
    if (!stream_is_mem(s)) {
        if (s->wbuf) stream_flush(s);
        return s->seek_fn(s->handle_or_position, offset, whence);
    }
    int64_t base;
    switch (whence) {
    case 0: base = 0; break;
    case 1: base = s->handle_or_position; break;
    case 2: base = s->high_water; break;
    default: return -1;
    }
    int64_t pos;
    if (__builtin_add_overflow(base, offset, &pos) || pos < 0 || pos > s->mem_size) return -1;
    s->handle_or_position = static_cast<intptr_t>(pos);
    if (pos > s->high_water) s->high_water = pos;
    return pos;
}

int64_t stream_tell(Stream *s) { return stream_seek(s, 0, 1); }

int32_t stream_truncate(Stream *s) {
    int64_t pos = stream_tell(s);
    if (pos < 0) return -1;
    if (stream_is_mem(s)) {
        s->high_water = pos;
        return 0;
    }
    return os_file_truncate(s->handle_or_position, pos);
}

}  // namespace qv

using namespace qv;

namespace {

// Test streams: a Stream allocated under its own tag, initialised from the
// I/O settings like any operation's stream.
Stream *new_stream() {
    uint32_t tag = mem_unique_tag();
    auto *s = static_cast<Stream *>(mem_alloc(tag, sizeof(Stream)));
    if (!s) return nullptr;
    if (stream_init(s) != 0) {
        mem_free_all(tag);
        return nullptr;
    }
    s->own_tag = tag;
    return s;
}

}  // namespace

extern "C" {

QV_API int32_t QV_file_IO_register(QV_IO_READ_FN read_fn, QV_IO_WRITE_FN write_fn,
                                   QV_IO_SEEK_FN seek_fn) {
    return api_frame([&] {
        Stream *s = io_settings_get();
        if (!s) return;
        s->read_fn = read_fn ? read_fn : os_file_read;
        s->read_is_user = read_fn != nullptr;
        s->write_fn = write_fn ? write_fn : os_file_write;
        s->write_is_user = write_fn != nullptr;
        s->seek_fn = seek_fn ? seek_fn : os_file_seek;
        s->seek_is_user = seek_fn != nullptr;
    });
}

QV_API VPb_STREAM *iQV_stream_mem_new(void *base, int64_t size) {
    Stream *s = new_stream();
    if (s) stream_attach_mem(s, base, size);
    return bridge_of(s);
}

QV_API VPb_STREAM *iQV_stream_count_new(void) {
    Stream *s = new_stream();
    if (s) stream_attach_count(s);
    return bridge_of(s);
}

QV_API VPb_STREAM *iQV_stream_fd_new(intptr_t fd) {
    Stream *s = new_stream();
    if (s) stream_attach_fd(s, fd);
    return bridge_of(s);
}

/* how: 0 open for reading, 1 open for update, 2 create. Null when the file
 * cannot be opened. */
QV_API VPb_STREAM *iQV_stream_file_new(const char *name, int32_t how) {
    Stream *s = new_stream();
    if (!s) return nullptr;
    intptr_t h = how == 2 ? stream_create(s, name)
                 : how == 1 ? stream_open_update(s, name)
                            : stream_open_read(s, name);
    if (h < 0) {
        mem_free_all(s->own_tag);
        return nullptr;
    }
    return bridge_of(s);
}

/* Closes a file stream opened by iQV_stream_file_new (not a descriptor
 * stream) and releases the record. */
QV_API void iQV_stream_free(VPb_STREAM *stream, int32_t close_file) {
    Stream *s = stream_of(stream);
    if (!s) return;
    if (close_file) stream_close(s);
    mem_free_all(s->own_tag);
}

QV_API int64_t iQV_stream_high_water(VPb_STREAM *stream) {
    return stream ? stream_of(stream)->high_water : -1;
}

/* Installs load slots in a test stream (null entries leave slots empty). */
QV_API void iQV_stream_load_slots_set(VPb_STREAM *stream, void *dib_create, void *raster_set,
                                      void *raster_plane_set, void *post_process, void *ctx) {
    LoadSlots &l = stream_of(stream)->load;
    l.dib_create = reinterpret_cast<decltype(l.dib_create)>(dib_create);
    l.raster_set = reinterpret_cast<decltype(l.raster_set)>(raster_set);
    l.raster_plane_set = reinterpret_cast<decltype(l.raster_plane_set)>(raster_plane_set);
    l.post_process = reinterpret_cast<decltype(l.post_process)>(post_process);
    l.ctx = ctx;
}

QV_API void iQV_stream_save_slots_set(VPb_STREAM *stream, void *dib_get, void *raster_get, void *ctx) {
    SaveSlots &sv = stream_of(stream)->save;
    sv.dib_get = reinterpret_cast<decltype(sv.dib_get)>(dib_get);
    sv.raster_get = reinterpret_cast<decltype(sv.raster_get)>(raster_get);
    sv.ctx = ctx;
}

}  // extern "C"
