/*
 * save_pipeline.cpp - one save: choosing the filter (by format type, or by
 * the file name's extension), opening the destination (a multi-page format
 * opens an existing file for update first; otherwise the file is created;
 * descriptors, memory buffers, counting streams and caller sinks need no
 * open), calling the writer with a copy of its control block, closing and
 * releasing the row buffers on every path.
 *
 * Failures in order: -2110 no filter, -3440 no file, -2111 no writer.
 *
 * Internal: save_run (save_context.h).
 */
#include <vector>

#include "registry/filter_registry.h"
#include "save/save_context.h"
#include "support/errors.h"
#include "support/memory.h"

namespace qv {
namespace {

constexpr char kModule[] = "SAVE\\SAVE.C";
constexpr int32_t kWriteChunk = 256 * 1024;
constexpr int32_t kSinkBlock = 64 * 1024;

// A caller's sink behind the stream's write and seek slots.
struct SinkAdapter {
    QV_SAVE_WRITE_CB sink;
    void *user;
    int64_t pos;
    int64_t end;
    intptr_t fd;              // the descriptor a tap writes to, else -1
    IoReadFn fd_read;
    IoWriteFn fd_write;
    IoSeekFn fd_seek;
};

SinkAdapter *adapter_of(intptr_t h) { return reinterpret_cast<SinkAdapter *>(h); }

int32_t sink_write(intptr_t h, const void *data, int32_t count) {
    SinkAdapter *a = adapter_of(h);
    int32_t n = count;
    if (a->fd >= 0) {
        n = a->fd_write(a->fd, data, count);
        if (n <= 0) return n;
    }
    int32_t took = a->sink(a->user, a->pos, data, n);
    if (took < 0) took = 0;
    if (took > n) took = n;
    a->pos += took;
    if (a->pos > a->end) a->end = a->pos;
    return took;
}

int32_t sink_read(intptr_t h, void *data, int32_t count) {
    SinkAdapter *a = adapter_of(h);
    if (a->fd < 0) return 0;  // a direct sink cannot be read back
    int32_t n = a->fd_read(a->fd, data, count);
    if (n > 0) a->pos += n;
    return n;
}

int64_t sink_seek(intptr_t h, int64_t offset, int32_t whence) {
    SinkAdapter *a = adapter_of(h);
    if (a->fd >= 0) {
        int64_t r = a->fd_seek(a->fd, offset, whence);
        if (r >= 0) a->pos = r;
        return r;
    }
    int64_t base = whence == 0 ? 0 : whence == 1 ? a->pos : a->end;
    int64_t np = base + offset;
    if (np < 0) return -1;
    a->pos = np;
    if (np > a->end) a->end = np;
    return np;
}

void attach_sink(Stream *s, SinkAdapter *a) {
    s->mem_base = nullptr;
    s->count_only = 0;
    s->handle_or_position = reinterpret_cast<intptr_t>(a);
    s->read_fn = sink_read;
    s->write_fn = sink_write;
    s->seek_fn = sink_seek;
}

int32_t choose_filter(const SaveTarget &t, int32_t format) {
    uint32_t type = uint32_t(format) & 0xFFFFu;
    if (format == 0 && t.kind == SaveTarget::kFile) {
        int32_t index = t.name ? filter_by_extension(t.name) : -1;
        if (index < 0) return QV_ERR(QVE_SAVE_FORMAT, 0, 0);
        return index;
    }
    int32_t index = filter_search(type);
    if (index < 0) return QV_ERR(QVE_SAVE_FORMAT, type, 0);
    return index;
}

// Opens a named file: for update first when the format holds several pages.
int32_t open_file(Stream *s, const SaveTarget &t, int32_t index, ImageRecord *rec) {
    intptr_t h = -1;
    if (filter_multipage(index)) h = stream_open_update(s, t.name);
    if (h < 0) h = stream_create(s, t.name);
    if (h < 0 && rec->info_type == 50) h = stream_open_read(s, t.name);
    if (h < 0) return QV_ERR(QVE_SAVE_TARGET, 0, h);
    return 0;
}

int32_t call_writer(Stream *s, int32_t index, int32_t format, int32_t sel1, int32_t sel2) {
    FilterFns fns{};
    if (!filter_fns(index, &fns) || !fns.write)
        return QV_ERR(QVE_SAVE_CALLBACK, uint32_t(format) & 0xFFFFu, index);
    std::vector<uint8_t> ctl(size_t(filter_ctl_size(index)) + 4);
    filter_ctl_copy(index, ctl.data(), ctl.size());
    return fns.write(bridge_of(s), ctl.data(), sel1, sel2, int32_t(uint32_t(format) >> 16));
}

// One writer run into a prepared stream, with a fresh save context.
int32_t write_into(Stream *s, ImageRecord *rec, int32_t index, int32_t format, int32_t sel1,
                   int32_t sel2, bool measuring) {
    SaveContext ctx;
    save_context_init(&ctx, rec);
    ctx.measuring = measuring;
    save_context_install(&ctx, s);
    int32_t st = call_writer(s, index, format, sel1, sel2);
    save_context_release(&ctx);
    return st;
}

// Builds the whole file in memory, then hands it to the sink in blocks.
void save_buffered(Stream *s, const SaveTarget &t, ImageRecord *rec, int32_t index,
                   int32_t format, int32_t sel1, int32_t sel2) {
    int32_t start = error_count();
    Stream count = *s;
    stream_attach_count(&count);
    if (write_into(&count, rec, index, format, sel1, sel2, true) < 0 || error_count() > start)
        return;
    int64_t size = count.high_water;
    TagScope work;
    auto *buf = mem_alloc_array<uint8_t>(work.tag(), size_t(size ? size : 1));
    if (!buf) {
        QV_ERR(QVE_NO_MEMORY, size, work.tag());
        return;
    }
    stream_attach_mem(s, buf, size);
    s->mem_data_end = 0;  // a new file: nothing in the buffer is data yet
    if (write_into(s, rec, index, format, sel1, sel2, false) < 0 || error_count() > start) return;
    for (int64_t pos = 0; pos < s->high_water;) {
        int32_t n = int32_t(s->high_water - pos < kSinkBlock ? s->high_water - pos : kSinkBlock);
        int32_t took = t.sink(t.user, pos, buf + pos, n);
        if (took != n) {
            QV_ERR(QVE_SHORT_WRITE, took, n);
            return;
        }
        pos += n;
    }
}

}  // namespace

int32_t save_run(const SaveTarget &t, ImageRecord *rec, int32_t format, int32_t sel1,
                 int32_t sel2) {
    Stream s;
    if (stream_init(&s) != 0) return error_count();
    int32_t index = choose_filter(t, format);
    if (index < 0) return error_count();
    SinkAdapter adapter{t.sink, t.user, 0, 0, -1, s.read_fn, s.write_fn, s.seek_fn};

    // Files and descriptors get their writes in chunks of kWriteChunk bytes.
    TagScope chunk_tag;
    WriteBuffer chunk{nullptr, kWriteChunk, 0};
    if (t.kind == SaveTarget::kFile || t.kind == SaveTarget::kFd)
        chunk.data = mem_alloc_array<uint8_t>(chunk_tag.tag(), size_t(kWriteChunk));

    switch (t.kind) {
    case SaveTarget::kFile:
        if (open_file(&s, t, index, rec) != 0) return error_count();
        stream_buffer_writes(&s, &chunk);
        write_into(&s, rec, index, format, 0, 1, false);
        stream_close(&s);
        return error_count();
    case SaveTarget::kFd:
        stream_attach_fd(&s, t.fd);
        stream_buffer_writes(&s, &chunk);
        write_into(&s, rec, index, format, sel1, sel2, false);
        stream_flush(&s);
        s.wbuf = nullptr;
        return error_count();
    case SaveTarget::kMem:
        stream_attach_mem(&s, t.buffer, int64_t(t.size));
        s.high_water = int64_t(t.used < t.size ? t.used : t.size);
        s.mem_data_end = s.high_water;
        break;
    case SaveTarget::kCount:
        stream_attach_count(&s);
        break;
    case SaveTarget::kSinkBuffered:
        save_buffered(&s, t, rec, index, format, sel1, sel2);
        return error_count();
    case SaveTarget::kSinkDirect:
        attach_sink(&s, &adapter);
        break;
    case SaveTarget::kFdTap:
    case SaveTarget::kFdDirect: {
        int64_t pos = s.seek_fn(t.fd, 0, 1);
        if (pos < 0) return QV_ERR(QVE_SAVE_TARGET, t.fd, pos);
        adapter.pos = adapter.end = pos;
        if (t.kind == SaveTarget::kFdTap) adapter.fd = t.fd;
        attach_sink(&s, &adapter);
        break;
    }
    }
    write_into(&s, rec, index, format, sel1, sel2, t.kind == SaveTarget::kCount);
    if (t.kind == SaveTarget::kMem && t.written) *t.written = size_t(s.high_water);
    if (t.kind == SaveTarget::kCount && t.bytes) *t.bytes = s.high_water;
    return error_count();
}

}  // namespace qv
