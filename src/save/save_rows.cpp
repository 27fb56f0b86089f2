/*
 * save_rows.cpp - the save context and its row-fetch callbacks.
 *
 * The writer sees the image's current rectangle as the whole image: the
 * header it gets has the rectangle's size (a run-encoded 1-bit image is
 * described as an ordinary one, its rows handed packed), and row r is row
 * top + r of the image with its columns from left shifted to the start.
 * The linked (alpha) image's rows come the same way.
 *
 * Internal: save_context_init, save_context_install, save_context_release,
 * VPb_IO_DIB_direct_get, VPb_IO_runs_direct_get, VPb_IO_linked_image_get
 * (exported).
 */
#include <algorithm>
#include <cstring>

#include "support/row_kernels.h"
#include "save/save_context.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/memory.h"
#include "support/runs.h"
#include "support/settings.h"

namespace qv {
namespace {

constexpr char kModule[] = "SAVE\\SAVEROW.C";

int32_t fetch(SaveContext *ctx, ImageRecord *rec, uint8_t **buf, int32_t row, uint8_t *data) {
    if (row < 0 || row >= ctx->height) return QV_ERR(QVE_OUT_OF_RANGE, row, ctx->height);
    if (!ctx->cropped) return image_row_get(rec, row, data);
    QV_DIB_HEADER *dib = rec->dib;
    uint32_t bpp = dib->biBitCount;
    if (!*buf) {
        if (!ctx->tag) ctx->tag = mem_unique_tag();
        size_t bytes = size_t(dib_bytes_per_row(dib->biWidth, bpp));
        *buf = mem_alloc_array<uint8_t>(ctx->tag, bytes);
        if (!*buf) return QV_ERR(QVE_NO_MEMORY, bytes, ctx->tag);
    }
    if (int32_t st = image_row_get(rec, ctx->top + row, *buf)) return st;
    size_t out = size_t(dib_bytes_per_row(ctx->width, bpp));
    uint64_t bits = uint64_t(ctx->width) * bpp;
    if (bpp >= 8) std::memcpy(data, *buf + size_t(ctx->left) * (bpp / 8), size_t(bits / 8));
    else extract_bits(*buf, uint64_t(ctx->left) * bpp, bits, data);
    size_t used = size_t((bits + 7) / 8);
    if (out > used) std::memset(data + used, 0, out - used);
    return 0;
}

int32_t cb_dib_get(void *vctx, QV_DIB_HEADER *hdr, QV_RGBQUAD *palette, int32_t *entries) {
    auto *ctx = static_cast<SaveContext *>(vctx);
    QV_DIB_HEADER *dib = ctx->rec->dib;
    if (hdr) {
        std::memcpy(hdr, dib, sizeof *hdr);
        hdr->biWidth = ctx->width;
        hdr->biHeight = ctx->height;
        if (hdr->biCompression == QV_BI_RUNS) hdr->biCompression = QV_BI_RGB;
        hdr->biSizeImage = uint32_t(dib_image_size(ctx->width, ctx->height, dib->biBitCount));
    }
    uint64_t n = dib_palette_entries(dib->biBitCount, dib->biCompression);
    if (n > 256) n = 256;
    if (palette && n) std::memcpy(palette, dib_palette(dib), size_t(n) * sizeof(QV_RGBQUAD));
    if (entries) *entries = int32_t(n);
    return 0;
}

int32_t cb_raster_get(void *vctx, int32_t row, uint8_t *data) {
    auto *ctx = static_cast<SaveContext *>(vctx);
    ++ctx->rows_fetched;
    if (ctx->status_cb && ctx->status_cb(ctx->rows_fetched, ctx->height, ctx->status_user) == 0)
        return QV_ERR(QVE_CANCELLED, ctx->height - ctx->rows_fetched, row);
    return fetch(ctx, ctx->rec, &ctx->row_buf, row, data);
}

int32_t cb_linked_raster_get(void *vctx, int32_t row, uint8_t *data) {
    auto *ctx = static_cast<SaveContext *>(vctx);
    if (!ctx->linked) return QV_ERR(QVE_INVALID_IMAGE, 0, row);
    return fetch(ctx, ctx->linked, &ctx->linked_buf, row, data);
}

QUORIN cb_image_get(void *vctx) {
    return handle_from_image(static_cast<SaveContext *>(vctx)->rec);
}

}  // namespace

// Direct rows: the image's own pixel rows when the writer would get them
// unchanged (whole image, ordinary bottom-up DIB, no status bar).
const uint8_t *save_direct_bits(Stream *s) {
    if (!s) return nullptr;
    if (s->save.raster_get != cb_raster_get) return nullptr;
    auto *ctx = static_cast<SaveContext *>(s->save.ctx);
    QV_DIB_HEADER *dib = ctx->rec->dib;
    if (ctx->cropped || ctx->status_cb || dib->biCompression == QV_BI_RUNS || dib->biHeight < 0)
        return nullptr;
    return dib_bits(dib);
}

// Direct run lists: a run-encoded image whose rows the writer would get
// unchanged (whole image, no status bar).
QUORIN save_direct_runs(Stream *s) {
    if (!s) return nullptr;
    if (s->save.raster_get != cb_raster_get) return nullptr;
    auto *ctx = static_cast<SaveContext *>(s->save.ctx);
    if (ctx->cropped || ctx->status_cb || !image_is_run_form(ctx->rec)) return nullptr;
    return handle_from_image(ctx->rec);
}

void save_context_init(SaveContext *ctx, ImageRecord *rec) {
    std::memset(static_cast<void *>(ctx), 0, sizeof *ctx);
    ctx->rec = rec;
    if (Settings *s = settings_get()) {
        ctx->status_cb = reinterpret_cast<QV_STATUS_BAR_CB>(s->status_cb);
        ctx->status_user = s->status_user;
    }
    int32_t w = image_width(rec), h = image_height(rec);
    if (image_handle_valid(rec->t.alpha)) {
        ImageRecord *a = image_from_handle(rec->t.alpha);
        if (a->dib && image_width(a) == w && image_height(a) == h) ctx->linked = a;
    }
    // The current rectangle, clipped to the image; an empty one means all.
    QV_RECT r = rec->image_rect;
    int32_t l = std::max(r.left, 0), t = std::max(r.top, 0);
    int32_t rt = std::min(r.right, w - 1), b = std::min(r.bottom, h - 1);
    ctx->width = w, ctx->height = h;
    if (rt >= l && b >= t && (l > 0 || t > 0 || rt < w - 1 || b < h - 1)) {
        ctx->cropped = 1;
        ctx->left = l, ctx->top = t, ctx->right = rt, ctx->bottom = b;
        ctx->width = rt - l + 1, ctx->height = b - t + 1;
    }
}

void save_context_install(SaveContext *ctx, Stream *s) {
    s->save.dib_get = cb_dib_get;
    s->save.raster_get = cb_raster_get;
    s->save.linked_raster_get = cb_linked_raster_get;
    s->save.image_get = cb_image_get;
    s->save.ctx = ctx;
}

void save_context_release(SaveContext *ctx) {
    if (ctx->tag) mem_free_all(ctx->tag);
    ctx->tag = 0;
    ctx->row_buf = ctx->linked_buf = nullptr;
}

// The linked (alpha) image of the image being saved, or null.
QUORIN save_linked_image(Stream *s) {
    if (!s || s->save.raster_get != cb_raster_get) return nullptr;
    auto *ctx = static_cast<SaveContext *>(s->save.ctx);
    return ctx->linked ? handle_from_image(ctx->linked) : nullptr;
}

}  // namespace qv

extern "C" QV_API QUORIN VPb_IO_linked_image_get(VPb_STREAM *stream) {
    return stream ? qv::save_linked_image(qv::stream_of(stream)) : nullptr;
}

extern "C" QV_API const uint8_t *VPb_IO_DIB_direct_get(VPb_STREAM *stream) {
    return qv::save_direct_bits(qv::stream_of(stream));
}

extern "C" QV_API QUORIN VPb_IO_runs_direct_get(VPb_STREAM *stream) {
    return qv::save_direct_runs(stream ? qv::stream_of(stream) : nullptr);
}
