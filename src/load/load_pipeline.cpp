/*
 * load_pipeline.cpp - the load pipeline's common body: opening the source,
 * detection, calling the reader with a copy of its control block, releasing
 * the working buffers, closing (or putting the descriptor back) and the
 * failure rule: a load that recorded any error deletes the image it made,
 * with its alpha image, and leaves the caller's handle 0.
 *
 * Internal: source_open, source_close, load_run (load_pipeline.h).
 */
#include "load/load_pipeline.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "load/load_context.h"
#include "registry/filter_registry.h"
#include "support/errors.h"
#include "support/image.h"

namespace qv {
namespace {

constexpr char kModule[] = "LOAD\\LOAD.C";

// Calls the reader (or, for thumbnails, the thumbnail reader first).
int32_t run_reader(Stream *s, LoadContext *ctx, int32_t index, const LoadCall &call) {
    FilterFns fns{};
    if (!filter_fns(index, &fns)) return QV_ERR(QVE_SAVE_FORMAT, index, 0);
    std::vector<uint8_t> ctl(size_t(filter_ctl_size(index)) + 4);
    filter_ctl_copy(index, ctl.data(), ctl.size());
    if (call.ctl) std::memcpy(ctl.data(), call.ctl, std::min(call.ctl_size, ctl.size()));
    VPb_STREAM *bs = bridge_of(s);
    if (call.thumbnail) {
        if (!fns.thumb) return QV_ERR(QVE_LOAD_CALLBACK, 0, index);
        ctx->active = 1;
        int32_t st = fns.thumb(bs, ctl.data(), 1, 1);
        if (st < 0 || (call.handle && *call.handle)) return st;
        if (!fns.read) return QV_ERR(QVE_THUMB_NO_READ, index, 0);
        return fns.read(bs, ctl.data(), 1, 1);
    }
    if (!fns.read) return 0;  // nothing to load, nothing recorded
    return fns.read(bs, ctl.data(), call.sel1, call.sel2);
}

}  // namespace

int32_t source_open(Stream *s, const LoadSource &src, OpenedSource *opened) {
    switch (src.kind) {
    case LoadSource::kFile: {
        intptr_t h = src.name ? stream_open_read(s, src.name) : -1;
        if (h < 0) return QV_ERR(QVE_OPEN_FAILED, 0, h);
        opened->open = true;
        return 0;
    }
    case LoadSource::kFd: {
        stream_attach_fd(s, src.fd);
        int64_t pos = stream_tell(s);
        if (pos < 0) return QV_ERR(QVE_OPEN_FAILED, src.fd, pos);
        opened->entry_position = pos;
        opened->open = true;
        if (src.offset != 0 && stream_seek(s, src.offset, 1) < 0)
            return QV_ERR(QVE_SEEK, src.offset, pos);
        return 0;
    }
    case LoadSource::kMem:
        if (!src.buffer && src.size) return QV_ERR(QVE_NULL_POINTER, 0, 0);
        stream_attach_mem(s, const_cast<void *>(src.buffer), int64_t(src.size));
        s->high_water = int64_t(src.size);  // a file image: its end is the buffer's end
        opened->open = true;
        return 0;
    }
    return 0;
}

void source_close(Stream *s, const LoadSource &src, const OpenedSource &opened) {
    if (!opened.open) return;
    if (src.kind == LoadSource::kFile) {
        stream_close(s);
    } else if (src.kind == LoadSource::kFd) {
        int64_t now = stream_tell(s);
        if (now >= 0 && now != opened.entry_position) stream_seek(s, opened.entry_position - now, 1);
        else if (now < 0) stream_seek(s, opened.entry_position, 0);
    }
}

int32_t load_run(const LoadSource &src, const LoadCall &call) {
    QUORIN local = nullptr;
    QUORIN *handle = call.handle ? call.handle : &local;
    *handle = nullptr;
    int32_t start = error_count();
    Stream s;
    if (stream_init(&s) != 0) return error_count();
    LoadContext ctx;
    load_context_init(&ctx, handle);
    if (call.ignore_options) {
        ctx.options_in_force = 0;
        ctx.options[0] = ctx.options[1] = LoadOptions{};
    }
    if (call.row_cb) load_context_install_cb(&ctx, &s, call.row_cb, call.header_cb, call.user);
    else load_context_install(&ctx, &s);

    int32_t status = 0;
    OpenedSource opened;
    if (source_open(&s, src, &opened) == 0) {
        int32_t index = call.filter;
        if (index < 0) detect_format(&s, &index);
        if (index >= 0 && error_count() == start) status = run_reader(&s, &ctx, index, call);
    }
    load_context_release(&ctx);
    source_close(&s, src, opened);

    if (status < 0 || error_count() > start) {
        if (image_handle_valid(*handle)) image_delete(image_from_handle(*handle));
        *handle = nullptr;
    }
    return error_count();
}

}  // namespace qv
