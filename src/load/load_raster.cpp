/*
 * load_raster.cpp - raster delivery of the load pipeline.
 *
 * A reader hands source rows (row 0 = top, DIB packing at the source depth)
 * in any order. Each row is cropped to the load rectangle, placed on its
 * target rows through the row map (source row i covers target rows
 * row_map[i] .. row_map[i + 1] - 1, the last one up to the target height),
 * its columns mapped and its pixels converted with the kernels chosen when
 * the image was created, and written into the image. Planar rows are
 * assembled first; post-processing releases the working buffers.
 *
 * Internal: load_cb_raster_set, load_cb_raster_plane_set,
 * load_cb_post_process.
 *
 * Exported: VPb_IO_raster_direct_get, VPb_IO_raster_direct_done (rows
 * filled in place by readers whose rows need no conversion),
 * VPb_IO_extra_DIB_create (an alpha image beside the image being built),
 * VPb_IO_raster_runs_accepted, VPb_IO_raster_runs_set (run lists stored
 * as they are into run-encoded images),
 * VPb_IO_load_size_hint_get (the load size, for readers that scale),
 * VPb_IO_orientation_set (the orientation a file records),
 * VPb_IO_pixel_limit_check (working images sized before the image),
 * VPb_IO_alpha_extract (the alpha companion of a B, G, R, A image).
 */
#include <cstring>

#include "support/row_kernels.h"
#include "load/load_context.h"
#include "load/load_work.h"
#include "support/dib.h"
#include "support/image.h"
#include "support/errors.h"
#include "support/image.h"
#include "support/memory.h"
#include "support/runs.h"
#include "support/settings.h"

namespace qv {
namespace {

constexpr char kModule[] = "LOAD\\LOADROW.C";

int32_t progress(LoadContext *ctx, int32_t done, int32_t total, int32_t row) {
    if (ctx->status_cb && ctx->status_cb(done, total, ctx->status_user) == 0)
        return QV_ERR(QVE_CANCELLED, total - done, row);
    return 0;
}

int32_t write_row(LoadWork *w, int32_t trow, const uint8_t *bits) {
    w->row_done[trow] = 1;
    if (w->run_form) {
        ImageRecord *rec = w->rec;
        if (rec->t.run_table[trow] == kRowNotStored) {
            // A new row: encoded in place at the end of the run data.
            if (uint16_t *room = image_run_row_room(rec, runs_max_bytes(w->tw))) {
                runs_from_packed(bits, w->tw, room, runs_max_words(w->tw));
                if (room[0] > 8) image_run_row_append(rec, trow);  // else white: not stored
                return 0;
            }
        }
        runs_from_packed(bits, w->tw, w->runs, runs_max_words(w->tw));
        if (w->runs[0] <= 8 && w->rec->t.run_table[trow] == kRowNotStored) return 0;  // white
        return image_run_row_store(w->rec, trow, w->runs);
    }
    std::memcpy(dib_row(w->dib, trow), bits, w->tbpr);
    return 0;
}

// Same depth as the source: only columns change.
const uint8_t *same_depth_row(LoadWork *w, const uint8_t *src) {
    if (w->cols_identity) return src;
    uint8_t *out = w->tgt_row;
    int32_t bpp = w->src_bpp;
    if (bpp >= 8 && w->cols_shift) {
        size_t bytes = size_t(bpp / 8);
        std::memcpy(out, src + size_t(w->left) * bytes, size_t(w->tw) * bytes);
        return out;
    }
    switch (bpp) {
    case 1: gather_bits1(src, w->cols, w->tw, out); break;
    case 4: gather_nibbles4(src, w->cols, w->tw, out); break;
    default: gather_bytes(src, w->cols, w->tw, bpp / 8, out); break;
    }
    return out;
}

// One byte per target pixel: grey level, VGA index or cube index.
void value_row(LoadWork *w, const uint8_t *src, uint8_t *out) {
    switch (w->kind) {
    case SourceKind::kIdx1: gather_lut1(src, w->cols, w->tw, w->lut, out); break;
    case SourceKind::kIdx4: gather_lut4(src, w->cols, w->tw, w->lut, out); break;
    case SourceKind::kIdx8: gather_lut8(src, w->cols, w->tw, w->lut, out); break;
    case SourceKind::kU16: gather_lut16(src, w->cols, w->tw, w->lut, out); break;
    case SourceKind::kBgr24:
    case SourceKind::kBgrx32: {
        int32_t stride = w->kind == SourceKind::kBgr24 ? 3 : 4;
        if (w->target == LoadTarget::kVga4) gather_vga_bgr(src, w->cols, w->tw, stride, out);
        else if (w->target == LoadTarget::kCube8) gather_cube_bgr(src, w->cols, w->tw, stride, out);
        else gather_grey_bgr(src, w->cols, w->tw, stride, out);
        break;
    }
    }
}

int32_t deliver(LoadWork *w, const uint8_t *src, int32_t t0, int32_t t1) {
    if (w->target == LoadTarget::kSame) {
        const uint8_t *row = same_depth_row(w, src);
        for (int32_t t = t0; t < t1; ++t)
            if (int32_t st = write_row(w, t, row)) return st;
        return 0;
    }
    uint8_t *values = w->mid_row;
    value_row(w, src, values);
    switch (w->target) {
    case LoadTarget::kGrey8:
    case LoadTarget::kCube8:
        std::memcpy(w->tgt_row, values, size_t(w->tw));
        break;
    case LoadTarget::kVga4:
        pack4(values, w->tw, w->tgt_row);
        break;
    case LoadTarget::kBw1:
        // Each target row is diffused on its own, carrying the errors on.
        for (int32_t t = t0; t < t1; ++t) {
            diffuse_to_1(values, w->tw, w->err, w->tgt_row);
            if (int32_t st = write_row(w, t, w->tgt_row)) return st;
        }
        return 0;
    default: break;
    }
    for (int32_t t = t0; t < t1; ++t)
        if (int32_t st = write_row(w, t, w->tgt_row)) return st;
    return 0;
}

LoadContext *context_of(Stream *s) {
    if (s->load.raster_set != load_cb_raster_set) return nullptr;
    return static_cast<LoadContext *>(s->load.ctx);
}

}  // namespace

// The alpha companion of the image just loaded, from the fourth byte of its
// 32-bit pixels; nothing for callback loads or a target of another depth.
int32_t load_alpha_split(Stream *s) {
    LoadContext *ctx = s ? context_of(s) : nullptr;
    if (!ctx || !ctx->handle || !image_handle_valid(*ctx->handle)) return 0;
    ImageRecord *rec = image_from_handle(*ctx->handle);
    QV_DIB_HEADER *dib = rec->dib;
    if (!dib || dib->biBitCount != 32 || dib->biCompression != QV_BI_RGB) return 0;
    const int32_t w = image_width(rec), h = image_height(rec);
    QUORIN alpha = nullptr;
    image_create_blank(w, h, 8, QV_BI_RGB, &alpha);
    if (!alpha) return QVE_NO_MEMORY;
    QV_DIB_HEADER *adib = image_from_handle(alpha)->dib;
    const size_t in_row = dib_bytes_per_row(w, 32), out_row = dib_bytes_per_row(w, 8);
    const uint8_t *in = dib_bits(dib);
    uint8_t *out = dib_bits(adib);
    for (int32_t y = 0; y < h; ++y, in += in_row, out += out_row)
        for (int32_t x = 0; x < w; ++x) out[x] = in[4 * size_t(x) + 3];
    alpha_link(rec, alpha);
    return 0;
}

int32_t load_cb_raster_set(void *vctx, int32_t row, const uint8_t *data) {
    auto *ctx = static_cast<LoadContext *>(vctx);
    if (ctx->row_cb) {
        if (int32_t st = progress(ctx, ++ctx->cb_delivered, ctx->cb_rows, row)) return st;
        int32_t r = ctx->row_cb(ctx->cb_user, row, data, ctx->cb_row_bytes);
        if (r != 0) return QV_ERR(QVE_THUMB_NO_READ, r, row);
        return 0;
    }
    LoadWork *w = ctx->work;
    if (!w) return QV_ERR(QVE_LOAD_CALLBACK, -1, row);  // rows before the image exists
    if (row < 0 || row >= w->src_h) return QV_ERR(QVE_OUT_OF_RANGE, row, w->src_h);
    ++w->rows_delivered;
    if (int32_t st = progress(ctx, w->rows_delivered, w->src_h, row)) return st;
    int32_t i = row - w->top;
    if (i < 0 || i >= w->crop_h) return 0;
    int32_t t0 = w->row_map[i];
    int32_t t1 = i + 1 == w->crop_h ? w->th : w->row_map[i + 1];
    if (t1 > w->th) t1 = w->th;
    if (t0 >= t1) return 0;
    return deliver(w, data, t0, t1);
}

int32_t load_cb_raster_plane_set(void *vctx, int32_t row, int32_t plane, int32_t planes,
                                 const uint8_t *data) {
    auto *ctx = static_cast<LoadContext *>(vctx);
    if (planes == 1) return load_cb_raster_set(vctx, row, data);
    LoadWork *w = ctx->work;
    if (!w) return QV_ERR(QVE_LOAD_CALLBACK, -1, row);
    int32_t bits = w->src_bpp / planes;
    if (bits * planes != w->src_bpp || (bits != 1 && bits != 8) || planes < 2 || planes > 8)
        return QV_ERR(QVE_SAVE_DEPTH, 0, 1);
    uint8_t *out = w->plane_row;
    if (plane == 0) std::memset(out, 0, w->src_bpr);
    int32_t width = w->src_w;
    if (bits == 8) {
        // Planes come red, green, blue (, alpha); DIB pixels are B, G, R (, A).
        int32_t slot = plane < 3 && planes >= 3 ? 2 - plane : plane;
        for (int32_t x = 0; x < width; ++x) out[size_t(x) * size_t(planes) + size_t(slot)] = data[x];
    } else if (planes == 4) {  // four 1-bit planes -> 4-bit pixels, plane p gives bit p
        for (int32_t x = 0; x < width; ++x) {
            uint32_t bit = (data[x >> 3] >> (7 - (x & 7))) & 1u;
            out[x >> 1] |= static_cast<uint8_t>(bit << (plane + ((x & 1) ? 0 : 4)));
        }
    } else if (planes == 8) {  // eight 1-bit planes -> 8-bit pixels
        for (int32_t x = 0; x < width; ++x)
            out[x] |= static_cast<uint8_t>(((data[x >> 3] >> (7 - (x & 7))) & 1u) << plane);
    } else {
        return QV_ERR(QVE_SAVE_DEPTH, 0, 1);
    }
    if (plane + 1 < planes) return 0;
    return load_cb_raster_set(vctx, row, out);
}

int32_t load_cb_post_process(void *vctx) {
    load_context_release(static_cast<LoadContext *>(vctx));
    return 0;
}

namespace {

uint8_t *load_direct_bits(Stream *s) {
    LoadContext *ctx = context_of(s);
    if (!ctx || !ctx->work || !ctx->work->direct_ok) return nullptr;
    return dib_bits(ctx->work->dib);
}

// An opaque 8-bit alpha image linked to the image being built, when that
// image takes the source rows unchanged; its pixel rows, or null.
uint8_t *load_extra_bits(Stream *s) {
    LoadContext *ctx = context_of(s);
    if (!ctx || !ctx->work || !ctx->work->direct_ok || !ctx->work->rec) return nullptr;
    ImageRecord *rec = ctx->work->rec;
    QUORIN alpha = nullptr;
    image_create_blank(image_width(rec), image_height(rec), 8, QV_BI_RGB, &alpha);
    if (!alpha) return nullptr;
    QV_DIB_HEADER *dib = image_from_handle(alpha)->dib;
    std::memset(dib_bits(dib), 255, dib_bytes_per_row(dib->biWidth, 8) * size_t(image_height(rec)));
    alpha_link(rec, alpha);
    return rec->t.alpha == alpha ? static_cast<uint8_t *>(dib_bits(dib)) : nullptr;
}

int32_t load_size_hint(Stream *s, int32_t *width, int32_t *height) {
    LoadContext *ctx = context_of(s);
    if (!ctx) return 0;
    const LoadOptions &o = ctx->options[ctx->active ? 1 : 0];
    if (!ctx->options_in_force || !o.size_in_force || o.rect_in_force) return 0;
    *width = o.size[0];
    *height = o.size[1];
    return 1;
}

int32_t load_orientation_set(Stream *s, int32_t value) {
    LoadContext *ctx = context_of(s);
    if (!ctx || !ctx->work || !ctx->work->rec || value < 1 || value > 8) return 0;
    ctx->work->rec->t.orientation = uint32_t(value);
    return 1;
}

int32_t load_pixel_limit_check(Stream *s, int32_t width, int32_t height) {
    LoadContext *ctx = context_of(s);
    uint64_t limit = kDefaultPixelLimit;
    if (ctx) {
        limit = ctx->pixel_limit;
    } else if (Settings *st = settings_get(); st && st->pixel_limit) {
        limit = st->pixel_limit;
    }
    if (width < 0 || height < 0 || uint64_t(width) * uint64_t(height) > limit)
        return QV_ERR(QVE_TOO_LARGE, width, height);
    return 0;
}

int32_t load_alpha_extract(Stream *s) {
    LoadContext *ctx = context_of(s);
    if (!ctx || !ctx->work || !ctx->work->rec) return 0;
    ImageRecord *rec = ctx->work->rec;
    const QV_DIB_HEADER *dib = rec->dib;
    if (!dib || dib->biBitCount != 32 || dib->biCompression != QV_BI_RGB) return 0;
    const int32_t w = image_width(rec), h = image_height(rec);
    QUORIN alpha = nullptr;
    image_create_blank(w, h, 8, QV_BI_RGB, &alpha);
    if (!alpha) return 0;
    const uint8_t *src = dib_bits(rec->dib);
    uint8_t *dst = dib_bits(image_from_handle(alpha)->dib);
    const size_t s32 = size_t(dib_bytes_per_row(w, 32)), s8 = size_t(dib_bytes_per_row(w, 8));
    for (int32_t y = 0; y < h; ++y, src += s32, dst += s8)
        for (int32_t x = 0; x < w; ++x) dst[x] = src[4 * size_t(x) + 3];
    alpha_link(rec, alpha);
    return 1;
}

int32_t load_direct_done(Stream *s, int32_t rows) {
    LoadContext *ctx = context_of(s);
    if (!ctx || !ctx->work) return 0;
    LoadWork *w = ctx->work;
    w->rows_delivered += rows;
    return progress(ctx, w->rows_delivered, w->src_h, w->rows_delivered - 1);
}

// The load of the stream when it builds a run-encoded image row for row.
LoadWork *runs_work(Stream *s) {
    LoadContext *ctx = context_of(s);
    if (!ctx || ctx->row_cb || !ctx->work) return nullptr;
    LoadWork *w = ctx->work;
    if (!w->run_form || w->target != LoadTarget::kSame || !w->cols_identity || w->top != 0 ||
        w->crop_h != w->src_h || w->th != w->src_h || w->tw != w->src_w)
        return nullptr;
    return w;
}

int32_t load_runs_set(Stream *s, int32_t row, const uint16_t *runs) {
    if (!s || !runs) return QV_ERR(QVE_NULL_POINTER, 0, 0);
    LoadWork *w = runs_work(s);
    if (!w) return QV_ERR(QVE_SAVE_CALLBACK, 0, 1);
    if (row < 0 || row >= w->src_h) return QV_ERR(QVE_ROW_RANGE, row, w->src_h);
    if (!runs_valid(runs, runs_max_bytes(w->tw), w->tw)) return QV_ERR(QVE_BAD_ARGUMENT, runs[0], row);
    ++w->rows_delivered;
    if (int32_t st = progress(context_of(s), w->rows_delivered, w->src_h, row)) return st;
    w->row_done[row] = 1;
    if (runs[0] <= 8 && w->rec->t.run_table[row] == kRowNotStored) return 0;  // white
    return image_run_row_store(w->rec, row, runs);
}

}  // namespace

}  // namespace qv

extern "C" {

QV_API uint8_t *VPb_IO_raster_direct_get(VPb_STREAM *stream) {
    return stream ? qv::load_direct_bits(qv::stream_of(stream)) : nullptr;
}

QV_API uint8_t *VPb_IO_extra_DIB_create(VPb_STREAM *stream) {
    return stream ? qv::load_extra_bits(qv::stream_of(stream)) : nullptr;
}

QV_API int32_t VPb_IO_load_size_hint_get(VPb_STREAM *stream, int32_t *width, int32_t *height) {
    int32_t w = 0, h = 0;
    const int32_t in_force = stream ? qv::load_size_hint(qv::stream_of(stream), &w, &h) : 0;
    if (width) *width = in_force ? w : 0;
    if (height) *height = in_force ? h : 0;
    return in_force;
}

QV_API int32_t VPb_IO_orientation_set(VPb_STREAM *stream, int32_t value) {
    return stream ? qv::load_orientation_set(qv::stream_of(stream), value) : 0;
}

QV_API int32_t VPb_IO_pixel_limit_check(VPb_STREAM *stream, int32_t width, int32_t height) {
    return stream ? qv::load_pixel_limit_check(qv::stream_of(stream), width, height) : 0;
}

QV_API int32_t VPb_IO_alpha_extract(VPb_STREAM *stream) {
    return stream ? qv::load_alpha_extract(qv::stream_of(stream)) : 0;
}

QV_API int32_t VPb_IO_raster_direct_done(VPb_STREAM *stream, int32_t rows) {
    return stream ? qv::load_direct_done(qv::stream_of(stream), rows) : 0;
}

QV_API int32_t VPb_IO_alpha_split(VPb_STREAM *stream) {
    return stream ? qv::load_alpha_split(qv::stream_of(stream)) : 0;
}

QV_API int32_t VPb_IO_raster_runs_accepted(VPb_STREAM *stream) {
    return stream && qv::runs_work(qv::stream_of(stream)) ? 1 : 0;
}

QV_API int32_t VPb_IO_raster_runs_set(VPb_STREAM *stream, int32_t row, const uint16_t *runs) {
    return qv::load_runs_set(stream ? qv::stream_of(stream) : nullptr, row, runs);
}

}  // extern "C"
