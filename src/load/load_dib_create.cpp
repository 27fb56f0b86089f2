/*
 * load_dib_create.cpp - the image-creation callback of the load pipeline.
 *
 * Called by a reader once it knows its image (VPb_IO_DIB_create): checks the
 * source layout and the pixel limit, applies the colour reduction, the load
 * rectangle and the load size, creates the image record and its DIB, hands
 * the handle to the caller, and builds the working buffers of the raster
 * delivery (row map, column map, look-up table, error-diffusion row).
 *
 * Internal: load_cb_dib_create (load_context.h).
 */
#include <cstring>

#include "support/row_kernels.h"
#include "load/load_context.h"
#include "load/load_work.h"
#include "support/checked.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/memory.h"
#include "support/runs.h"

namespace qv {
namespace {

constexpr char kModule[] = "LOAD\\LOADCB.C";

bool source_layout_ok(uint32_t bpp, uint32_t comp) {
    switch (bpp) {
    case 1:
    case 4:
    case 8: return comp == QV_BI_RGB || comp == QV_BI_PAL_WIDE;
    case 16:
        return comp == QV_BI_RGB || comp == QV_BI_BITFIELDS || comp == QV_BI_GRAY16 ||
               comp == QV_BI_PAL_WIDE;
    case 24: return comp == QV_BI_RGB;
    case 32: return comp == QV_BI_RGB || comp == QV_BI_BITFIELDS;
    default: return false;
    }
}

SourceKind kind_of(uint32_t bpp) {
    switch (bpp) {
    case 1: return SourceKind::kIdx1;
    case 4: return SourceKind::kIdx4;
    case 8: return SourceKind::kIdx8;
    case 16: return SourceKind::kU16;
    case 24: return SourceKind::kBgr24;
    default: return SourceKind::kBgrx32;
    }
}

LoadTarget target_of(int32_t mode, uint32_t bpp) {
    switch (mode) {
    case 1: return bpp > 1 ? LoadTarget::kBw1 : LoadTarget::kSame;
    case 2: return bpp > 4 ? LoadTarget::kVga4 : LoadTarget::kSame;
    case 3: return bpp > 8 ? LoadTarget::kCube8 : LoadTarget::kSame;
    case 4: return LoadTarget::kGrey8;
    default: return LoadTarget::kSame;
    }
}

bool pixels_over(uint64_t limit, int64_t w, int64_t h) {
    return uint64_t(w) * uint64_t(h) > limit;
}

template <class T>
T *work_array(uint32_t tag, size_t n, bool *ok) {
    if (!*ok) return nullptr;
    T *p = mem_alloc_array<T>(tag, n ? n : 1);
    if (!p) {
        size_t bytes = 0;
        QV_ERR(QVE_NO_MEMORY, size_mul(n, sizeof(T), &bytes) ? bytes : size_t(-1), tag);
        *ok = false;
    }
    return p;
}

// One byte per source palette entry or 16-bit pixel value: the target value.
uint8_t value_of(LoadTarget t, uint8_t r, uint8_t g, uint8_t b) {
    switch (t) {
    case LoadTarget::kVga4: return vga_nearest(r, g, b);
    case LoadTarget::kCube8: return cube_index(r, g, b);
    default: return luma(r, g, b);
    }
}

void build_lut(LoadWork *w) {
    if (w->kind != SourceKind::kU16) {
        for (uint32_t i = 0; i < w->src_palette_entries && i < 256; ++i) {
            const QV_RGBQUAD &q = w->src_palette[i];
            w->lut[i] = value_of(w->target, q.rgbRed, q.rgbGreen, q.rgbBlue);
        }
        return;
    }
    if (w->src_comp == QV_BI_PAL_WIDE) {
        for (uint32_t v = 0; v < 65536; ++v) {
            const QV_RGBQUAD &q = w->src_palette[v];
            w->lut[v] = value_of(w->target, q.rgbRed, q.rgbGreen, q.rgbBlue);
        }
        return;
    }
    MaskChannel r = mask_channel(w->src_masks[0]), g = mask_channel(w->src_masks[1]),
                b = mask_channel(w->src_masks[2]);
    for (uint32_t v = 0; v < 65536; ++v)
        w->lut[v] = value_of(w->target, mask_value(r, v), mask_value(g, v), mask_value(b, v));
}

// Source masks: after the header for 3, 503 and 504; 5-5-5 for plain 16 bits.
void source_masks(const QV_DIB_HEADER *hdr, uint32_t out[3]) {
    if (dib_has_masks(hdr->biCompression)) {
        std::memcpy(out, reinterpret_cast<const uint8_t *>(hdr) + kDibHeaderSize, 12);
    } else if (hdr->biBitCount == 16) {
        out[0] = 0x7C00;
        out[1] = 0x03E0;
        out[2] = 0x001F;
    } else if (hdr->biBitCount == 32) {
        out[0] = 0xFF0000;
        out[1] = 0xFF00;
        out[2] = 0xFF;
    }
}

// Rectangle and load size: the cropped area and the target size.
void place(LoadContext *ctx, LoadWork *w) {
    const LoadOptions &o = ctx->options[ctx->active];
    w->left = 0, w->top = 0, w->crop_w = w->src_w, w->crop_h = w->src_h;
    if (o.rect_in_force) {
        int32_t rw = o.rect[2] ? o.rect[2] : w->src_w;
        int32_t rh = o.rect[3] ? o.rect[3] : w->src_h;
        if (rh > w->src_h) rh = w->src_h;
        if (rw > w->src_w) rw = w->src_w;
        int32_t l = o.rect[0], t = o.rect[1];
        if (int64_t(l) + rw >= w->src_w) l = w->src_w - rw;
        if (int64_t(t) + rh >= w->src_h) t = w->src_h - rh;
        w->left = l, w->top = t, w->crop_w = rw, w->crop_h = rh;
    }
    w->tw = w->crop_w, w->th = w->crop_h;
    if (o.size_in_force) {
        if (o.size[0]) w->tw = o.size[0];
        if (o.size[1]) w->th = o.size[1];
    }
}

// The target header and palette for the reduction chosen.
void target_layout(const QV_DIB_HEADER *hdr, LoadWork *w,
                   QV_DIB_HEADER *tmpl, QV_RGBQUAD *pal, uint32_t *comp) {
    *comp = QV_BI_RGB;
    switch (w->target) {
    case LoadTarget::kSame:
        w->tbpp = w->src_bpp;
        *comp = w->src_comp;
        break;
    case LoadTarget::kBw1:
        w->tbpp = 1;
        pal[0] = QV_RGBQUAD{0, 0, 0, 0};
        pal[1] = QV_RGBQUAD{255, 255, 255, 0};
        break;
    case LoadTarget::kVga4:
        w->tbpp = 4;
        std::memcpy(pal, kVgaPalette, sizeof kVgaPalette);
        break;
    case LoadTarget::kCube8:
        w->tbpp = 8;
        cube_palette(pal);
        break;
    case LoadTarget::kGrey8:
        w->tbpp = 8;
        grey_palette(pal);
        break;
    }
    dib_init(tmpl, w->tw, w->th, uint32_t(w->tbpp), *comp, hdr->biXPelsPerMeter,
             hdr->biYPelsPerMeter);
    tmpl->biClrUsed = 0;
    tmpl->biClrImportant = 0;
}

// Row map (cropped source row -> first target row), accumulated in double
// precision by repeated addition of the step, and the column map.
void build_maps(LoadWork *w) {
    // Unscaled (the usual load): the step is 1.0, whose sums are exact, and
    // x * crop_w / tw is x, so both maps are counted without arithmetic.
    if (w->th == w->crop_h) {
        for (int32_t i = 0; i <= w->crop_h; ++i) w->row_map[i] = i;
    } else {
        double step = double(w->th) / double(w->crop_h);
        double acc = 0.0;
        for (int32_t i = 0; i <= w->crop_h; ++i) {
            w->row_map[i] = static_cast<int32_t>(acc);
            acc += step;
        }
    }
    if (w->tw == w->crop_w) {
        for (int32_t x = 0; x < w->tw; ++x) w->cols[x] = w->left + x;
    } else {
        for (int32_t x = 0; x < w->tw; ++x)
            w->cols[x] = w->left + static_cast<int32_t>(int64_t(x) * w->crop_w / w->tw);
    }
    w->cols_identity = w->left == 0 && w->tw == w->src_w && w->crop_w == w->src_w;
    w->cols_shift = w->tw == w->crop_w;
}

int32_t create_for_callbacks(LoadContext *ctx, const QV_DIB_HEADER *hdr,
                             const QV_RGBQUAD *palette) {
    ctx->cb_row_bytes = static_cast<int32_t>(dib_bytes_per_row(hdr->biWidth, hdr->biBitCount));
    ctx->cb_rows = hdr->biHeight < 0 ? -hdr->biHeight : hdr->biHeight;
    if (ctx->header_cb) {
        int32_t r = ctx->header_cb(ctx->cb_user, hdr, palette);
        if (r != 0) return QV_ERR(QVE_LOAD_CALLBACK, r, 0);
    }
    return 0;
}

}  // namespace

int32_t load_cb_dib_create(void *vctx, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *palette) {
    auto *ctx = static_cast<LoadContext *>(vctx);
    int32_t width = hdr->biWidth, height = hdr->biHeight < 0 ? -hdr->biHeight : hdr->biHeight;
    uint32_t bpp = hdr->biBitCount, comp = hdr->biCompression;
    if (ctx->work || (ctx->handle && *ctx->handle))
        return QV_ERR(QVE_LOAD_CALLBACK, 2, 0);  // one image per load context
    if (width < 1 || height < 1 || hdr->biHeight == INT32_MIN)
        return QV_ERR(QVE_BAD_HEADER, width, hdr->biHeight);
    if (!source_layout_ok(bpp, comp)) return QV_ERR(QVE_UNSUPPORTED_VARIANT, comp, bpp);
    if (pixels_over(ctx->pixel_limit, width, height)) return QV_ERR(QVE_TOO_LARGE, width, height);
    if (ctx->row_cb) return create_for_callbacks(ctx, hdr, palette);

    // Working state under the context's tag (released on every path).
    if (!ctx->work_tag) ctx->work_tag = mem_unique_tag();
    uint32_t wtag = ctx->work_tag;
    bool ok = true;
    LoadWork *w = work_array<LoadWork>(wtag, 1, &ok);
    if (!ok) return QVE_NO_MEMORY;
    w->src_w = width, w->src_h = height, w->src_bpp = int32_t(bpp), w->src_comp = comp;
    w->src_bpr = size_t(dib_bytes_per_row(width, bpp));
    w->kind = kind_of(bpp);
    source_masks(hdr, w->src_masks);
    w->target = target_of(ctx->options[ctx->active].reduction, bpp);
    place(ctx, w);
    if (w->tw < 1 || w->th < 1) return QV_ERR(QVE_BAD_HEADER, w->tw, w->th);
    if (pixels_over(ctx->pixel_limit, w->tw, w->th)) return QV_ERR(QVE_TOO_LARGE, w->tw, w->th);

    // A copy of the source palette (palette sources and wide palettes).
    uint64_t entries = dib_palette_entries(bpp, comp);
    w->src_palette_entries = uint32_t(entries);
    w->src_palette = work_array<QV_RGBQUAD>(wtag, size_t(entries), &ok);
    if (!ok) return QVE_NO_MEMORY;
    if (entries && palette) {
        std::memcpy(w->src_palette, palette, size_t(entries) * 4);
    } else if (entries) {  // no palette given: a grey ramp over the entries
        for (uint64_t i = 0; i < entries; ++i) {
            auto v = static_cast<uint8_t>(entries > 1 ? i * 255 / (entries - 1) : 0);
            w->src_palette[i] = QV_RGBQUAD{v, v, v, 0};
        }
    }

    QV_DIB_HEADER tmpl;
    QV_RGBQUAD pal256[256];
    uint32_t tcomp = 0;
    target_layout(hdr, w, &tmpl, pal256, &tcomp);
    size_t dib_bytes = 0;
    if (!dib_alloc_size_checked(w->tw, w->th, uint32_t(w->tbpp), tcomp, &dib_bytes))
        return QV_ERR(QVE_TOO_LARGE, w->tw, w->th);

    // The image record and its DIB under a tag of their own.
    uint32_t itag = mem_unique_tag();
    ImageRecord *rec = image_alloc(itag);
    if (!rec) {
        mem_free_all(itag);
        return QVE_IMAGE_ALLOC;
    }
    const QV_RGBQUAD *tpal = w->target == LoadTarget::kSame ? w->src_palette : pal256;
    QV_DIB_HEADER *dib = dib_alloc(rec, &tmpl, tpal);
    if (!dib) {
        image_release_record(rec);
        mem_free_all(itag);
        return QVE_NO_MEMORY;
    }
    if (dib_has_masks(dib->biCompression)) std::memcpy(dib_masks(dib), w->src_masks, 12);
    image_associate(dib, rec, true);
    w->rec = rec;
    w->dib = dib;
    w->run_form = dib->biCompression == QV_BI_RUNS;
    // Room for the lists of a page that takes no more as runs than packed
    // (text and line art), so that they are not moved while the block grows.
    if (w->run_form) image_runs_reserve(rec, size_t(dib_image_size(w->tw, w->th, 1)));
    *ctx->handle = handle_from_image(rec);
    image_set_resolution_from_dib(rec);

    // Working buffers of the raster delivery.
    w->tbpr = size_t(dib_bytes_per_row(w->tw, w->tbpp));
    size_t mid_bytes = 0;
    size_mul(size_t(w->tw), size_t(bpp + 7) / 8 + 1, &mid_bytes);
    w->tgt_row = work_array<uint8_t>(wtag, w->tbpr, &ok);
    w->mid_row = work_array<uint8_t>(wtag, mid_bytes + 8, &ok);
    w->row_done = work_array<uint8_t>(wtag, size_t(w->th), &ok);
    w->plane_row = work_array<uint8_t>(wtag, w->src_bpr, &ok);
    w->row_map = work_array<int32_t>(wtag, size_t(w->crop_h) + 1, &ok);
    w->cols = work_array<int32_t>(wtag, size_t(w->tw), &ok);
    if (w->target != LoadTarget::kSame)
        w->lut = work_array<uint8_t>(wtag, w->kind == SourceKind::kU16 ? 65536 : 256, &ok);
    if (w->target == LoadTarget::kBw1)
        w->err = work_array<int16_t>(wtag, size_t(w->tw) + 4, &ok);  // 2 * width + 8 bytes
    if (w->run_form) w->runs = work_array<uint16_t>(wtag, size_t(runs_max_words(w->tw)), &ok);
    if (!ok) return QVE_NO_MEMORY;
    build_maps(w);
    if (w->lut) build_lut(w);
    w->direct_ok = w->target == LoadTarget::kSame && w->cols_identity && w->th == w->src_h &&
                   w->crop_h == w->src_h && !w->run_form && dib->biHeight > 0 &&
                   !ctx->status_cb;  // a status bar sees every row
    ctx->work = w;
    return 0;
}

}  // namespace qv
