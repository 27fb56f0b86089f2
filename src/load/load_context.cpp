/*
 * load_context.cpp - setting up and releasing a load context.
 *
 * The context is zeroed, filled from the settings record (status bar, and,
 * when any of colour reduction, rectangle or load size is in force, those
 * options for both images), and its callbacks are installed into the
 * stream's load slots.
 *
 * Internal: load_context_init, load_context_install, load_context_install_cb,
 * load_context_release. Exported: VPb_VPr_load_CB_data_init,
 * VPb_VPr_load_CB_data_release.
 */
#include <cstring>

#include "load/load_context.h"
#include "load/load_work.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/memory.h"
#include "support/settings.h"

namespace qv {
namespace {
constexpr char kModule[] = "LOAD\\LOADCTX.C";
}  // namespace

void load_context_init(LoadContext *ctx, QUORIN *handle) {
    std::memset(static_cast<void *>(ctx), 0, sizeof *ctx);
    ctx->handle = handle;
    ctx->pixel_limit = kDefaultPixelLimit;
    Settings *s = settings_get();
    if (!s) return;
    ctx->status_cb = reinterpret_cast<QV_STATUS_BAR_CB>(s->status_cb);
    ctx->status_user = s->status_user;
    if (s->pixel_limit) ctx->pixel_limit = s->pixel_limit;
    LoadOptions o{};
    o.reduction = s->load_reduction;
    std::memcpy(o.rect, s->load_rect, sizeof o.rect);
    o.rect_in_force = s->load_rect[2] != 0 || s->load_rect[3] != 0;
    std::memcpy(o.size, s->load_size, sizeof o.size);
    o.size_in_force = s->load_size[0] != 0 || s->load_size[1] != 0;
    ctx->options_in_force = (o.reduction >= 1 && o.reduction <= 4) || o.rect_in_force || o.size_in_force;
    if (ctx->options_in_force) ctx->options[0] = ctx->options[1] = o;
}

void load_context_install(LoadContext *ctx, Stream *stream) {
    stream->load.dib_create = load_cb_dib_create;
    stream->load.raster_set = load_cb_raster_set;
    stream->load.raster_plane_set = load_cb_raster_plane_set;
    stream->load.raster_rows_set = load_cb_raster_rows_set;
    stream->load.post_process = load_cb_post_process;
    stream->load.ctx = ctx;
}

void load_context_install_cb(LoadContext *ctx, Stream *stream, QV_LOAD_ROW_CB row_cb,
                             QV_LOAD_HEADER_CB header_cb, void *user) {
    ctx->row_cb = row_cb;
    ctx->header_cb = header_cb;
    ctx->cb_user = user;
    load_context_install(ctx, stream);
}

void load_context_release(LoadContext *ctx) {
    ctx->work = nullptr;
    if (ctx->work_tag) mem_free_all(ctx->work_tag);
    ctx->work_tag = 0;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t VPb_VPr_load_CB_data_init(VPb_LOAD_CONTEXT *ctx, VPb_STREAM *stream,
                                         QUORIN *handle) {
    if (!ctx || !stream || !handle) return QV_ERR(QVE_NULL_POINTER, 0, 0);
    *handle = nullptr;
    auto *c = reinterpret_cast<LoadContext *>(ctx);
    load_context_init(c, handle);
    load_context_install(c, stream_of(stream));
    return 0;
}

QV_API int32_t VPb_VPr_load_CB_data_release(VPb_LOAD_CONTEXT *ctx) {
    if (ctx) load_context_release(reinterpret_cast<LoadContext *>(ctx));
    return 0;
}

}  // extern "C"
