/*
 * png_write.cpp - the PNG writer (format type 33) over libspng.
 *
 * Layouts written:
 *   1, 4, 8 bits   grey (1, 4, 8-bit) when the palette is the grey ramp of
 *                  the depth, else a palette image with PLTE (2^bpp entries)
 *   16 bits, 503   16-bit grey
 *   24 bits        RGB 8
 *   32 bits        RGBA 8 from B, G, R, A when any fourth byte is non-zero,
 *                  else RGB 8 (B, G, R, X images)
 *   with an alpha  a 24- or 32-bit image with an alpha companion is written
 *   companion      as RGBA, alpha from the companion's rows; an 8-bit grey
 *                  one as grey + alpha
 * Other 16-bit layouts and wider palettes are refused (-2413, iVal the
 * depth, lVal the compression). The PNG control block gives the deflate
 * level (field 0) and Adam7 interlacing (field 1); the resolution goes into
 * pHYs in pixels per metre. The save value's compression must be 0 (-2080).
 * libspng failures give -2071 (libspng error, row); short writes -2072.
 */
#include <spng.h>

#include <cstring>

#include "filters/filter_util.h"
#include "filters/png_filter.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\PNGWRITE.C";

struct Sink {
    VPb_STREAM *s;
    bool failed = false;
};

int write_fn(spng_ctx *, void *user, void *src, size_t length) {
    auto *k = static_cast<Sink *>(user);
    auto *p = static_cast<const uint8_t *>(src);
    while (length) {
        const int32_t n = length > (1u << 30) ? (1 << 30) : int32_t(length);
        if (VPb_IO_write(k->s, p, n) != n) {
            k->failed = true;
            return SPNG_IO_ERROR;
        }
        p += n;
        length -= size_t(n);
    }
    return 0;
}

bool is_grey_ramp(const QV_RGBQUAD *pal, int32_t bpp) {
    const int n = 1 << bpp;
    for (int i = 0; i < n; ++i) {
        const int v = i * 255 / (n - 1);
        if (pal[i].rgbRed != v || pal[i].rgbGreen != v || pal[i].rgbBlue != v) return false;
    }
    return true;
}

enum class Out { kCopy, kGray16, kRgb, kRgbaFrom32, kRgbFrom32, kRgbaAlpha, kGrayAlpha };

class Encoder {
public:
    explicit Encoder(VPb_STREAM *s) : sink_{s} { ctx_ = spng_ctx_new(SPNG_CTX_ENCODER); }
    ~Encoder() {
        if (ctx_) spng_ctx_free(ctx_);
    }
    Encoder(const Encoder &) = delete;
    Encoder &operator=(const Encoder &) = delete;
    spng_ctx *ctx() const { return ctx_; }
    Sink sink_;

private:
    spng_ctx *ctx_ = nullptr;
};

// Whether any fourth byte of a 32-bit image is non-zero.
int32_t has_alpha_bytes(VPb_STREAM *s, int32_t width, int32_t rows, uint8_t *row, bool *any) {
    *any = false;
    for (int32_t y = 0; y < rows && !*any; ++y) {
        if (int32_t st = VPb_IO_raster_get(s, y, row)) return st;
        for (int32_t x = 0; x < width; ++x)
            if (row[4 * x + 3]) {
                *any = true;
                break;
            }
    }
    return 0;
}

}  // namespace

int32_t png_write(VPb_STREAM *s, void *ctl, int32_t, int32_t, int32_t compression) {
    if (compression != 0) return QV_ERR(QVE_BAD_SAVE_OPTION, compression, 0);
    QV_DIB_HEADER hdr{};
    QV_RGBQUAD pal[256] = {};
    int32_t entries = 0;
    if (int32_t st = VPb_IO_DIB_get(s, &hdr, pal, &entries)) return st;
    const int32_t bpp = hdr.biBitCount, width = hdr.biWidth;
    const int32_t rows = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
    const uint32_t comp = hdr.biCompression;
    if (width < 1 || rows < 1) return QV_ERR(QVE_BAD_HEADER, width, rows);

    FilterTag tag;
    const size_t in_bytes = size_t(raster_bytes(width, bpp));
    auto *in = filter_alloc_array<uint8_t>(tag.tag(), in_bytes);
    auto *alpha = filter_alloc_array<uint8_t>(tag.tag(), size_t(raster_bytes(width, 8)));
    auto *out = filter_alloc_array<uint8_t>(tag.tag(), size_t(width) * 4 + 8);
    if (!in || !alpha || !out) return QV_ERR(QVE_NO_MEMORY, in_bytes, tag.tag());

    spng_ihdr ih{};
    ih.width = uint32_t(width);
    ih.height = uint32_t(rows);
    ih.interlace_method = ctl_word(ctl, 1, 0) == 1 ? SPNG_INTERLACE_ADAM7 : SPNG_INTERLACE_NONE;
    Out conv = Out::kCopy;
    const bool companion = VPb_IO_linked_image_get(s) != nullptr;
    size_t out_row = 0;
    if ((bpp == 1 || bpp == 4 || bpp == 8) && comp == QV_BI_RGB) {
        ih.bit_depth = uint8_t(bpp);
        const bool grey = is_grey_ramp(pal, bpp);
        ih.color_type = grey ? SPNG_COLOR_TYPE_GRAYSCALE : SPNG_COLOR_TYPE_INDEXED;
        out_row = (size_t(width) * bpp + 7) / 8;
        if (grey && bpp == 8 && companion) {
            ih.color_type = SPNG_COLOR_TYPE_GRAYSCALE_ALPHA;
            conv = Out::kGrayAlpha;
            out_row = size_t(width) * 2;
        }
    } else if (bpp == 16 && comp == QV_BI_GRAY16) {
        ih.bit_depth = 16;
        ih.color_type = SPNG_COLOR_TYPE_GRAYSCALE;
        conv = Out::kGray16;
        out_row = size_t(width) * 2;
    } else if (bpp == 24 && comp == QV_BI_RGB) {
        ih.bit_depth = 8;
        ih.color_type = companion ? SPNG_COLOR_TYPE_TRUECOLOR_ALPHA : SPNG_COLOR_TYPE_TRUECOLOR;
        conv = companion ? Out::kRgbaAlpha : Out::kRgb;
        out_row = size_t(width) * (companion ? 4 : 3);
    } else if (bpp == 32 && (comp == QV_BI_RGB || comp == QV_BI_BITFIELDS)) {
        bool any = companion;
        if (!companion)
            if (int32_t st = has_alpha_bytes(s, width, rows, in, &any)) return st;
        ih.bit_depth = 8;
        ih.color_type = any ? SPNG_COLOR_TYPE_TRUECOLOR_ALPHA : SPNG_COLOR_TYPE_TRUECOLOR;
        conv = companion ? Out::kRgbaAlpha : any ? Out::kRgbaFrom32 : Out::kRgbFrom32;
        out_row = size_t(width) * (any ? 4 : 3);
    } else {
        return QV_ERR(QVE_SAVE_DEPTH, bpp, comp);
    }

    Encoder enc(s);
    spng_ctx *ctx = enc.ctx();
    if (!ctx) return QV_ERR(QVE_NO_MEMORY, 0, tag.tag());
    spng_set_png_stream(ctx, write_fn, &enc.sink_);
    spng_set_ihdr(ctx, &ih);
    int32_t level = ctl_word(ctl, 0, 6);
    if (level < 0 || level > 9) level = 6;
    spng_set_option(ctx, SPNG_IMG_COMPRESSION_LEVEL, level);
    spng_set_option(ctx, SPNG_IMG_COMPRESSION_STRATEGY, 0);  // Z_DEFAULT_STRATEGY
    spng_set_option(ctx, SPNG_IMG_MEM_LEVEL, 9);
    if (ih.color_type == SPNG_COLOR_TYPE_INDEXED) {
        spng_plte plte{};
        plte.n_entries = 1u << bpp;
        for (uint32_t i = 0; i < plte.n_entries; ++i)
            plte.entries[i] = spng_plte_entry{pal[i].rgbRed, pal[i].rgbGreen, pal[i].rgbBlue, 0};
        spng_set_plte(ctx, &plte);
    }
    const int32_t xr = resolution_from_dib(hdr.biXPelsPerMeter);
    const int32_t yr = resolution_from_dib(hdr.biYPelsPerMeter);
    if (xr > 0 && yr > 0) {
        spng_phys phys{uint32_t(xr), uint32_t(yr), 1};
        spng_set_phys(ctx, &phys);
    }
    if (int e = spng_encode_image(ctx, nullptr, 0, SPNG_FMT_PNG,
                                  SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE)) {
        if (enc.sink_.failed) return QV_ERR(QVE_SHORT_WRITE, 0, 0);
        return QV_ERR(QVE_WRITE_DATA, e, 0);
    }

    // Rows in the order libspng asks for them (pass by pass when interlaced).
    for (;;) {
        spng_row_info ri{};
        int e = spng_get_row_info(ctx, &ri);
        if (e == SPNG_EOI) break;
        if (e) return QV_ERR(QVE_WRITE_DATA, e, 0);
        const int32_t y = int32_t(ri.row_num);
        if (int32_t st = VPb_IO_raster_get(s, y, in)) return st;
        if (companion)
            if (int32_t st = VPb_IO_linked_raster_get(s, y, alpha)) return st;
        const uint8_t *src = in;
        switch (conv) {
        case Out::kCopy:
        case Out::kGray16:
            break;
        case Out::kRgb:
            for (int32_t x = 0; x < width; ++x)
                out[3 * x] = in[3 * x + 2], out[3 * x + 1] = in[3 * x + 1], out[3 * x + 2] = in[3 * x];
            src = out;
            break;
        case Out::kRgbFrom32:
            for (int32_t x = 0; x < width; ++x)
                out[3 * x] = in[4 * x + 2], out[3 * x + 1] = in[4 * x + 1], out[3 * x + 2] = in[4 * x];
            src = out;
            break;
        case Out::kRgbaFrom32:
            for (int32_t x = 0; x < width; ++x) {
                out[4 * x] = in[4 * x + 2], out[4 * x + 1] = in[4 * x + 1];
                out[4 * x + 2] = in[4 * x], out[4 * x + 3] = in[4 * x + 3];
            }
            src = out;
            break;
        case Out::kRgbaAlpha: {
            const int step = bpp / 8;
            for (int32_t x = 0; x < width; ++x) {
                const uint8_t *p = in + step * x;
                out[4 * x] = p[2], out[4 * x + 1] = p[1], out[4 * x + 2] = p[0];
                out[4 * x + 3] = alpha[x];
            }
            src = out;
            break;
        }
        case Out::kGrayAlpha:
            for (int32_t x = 0; x < width; ++x) out[2 * x] = in[x], out[2 * x + 1] = alpha[x];
            src = out;
            break;
        }
        e = spng_encode_row(ctx, src, out_row);
        if (e == SPNG_EOI) break;
        if (e) {
            if (enc.sink_.failed) return QV_ERR(QVE_SHORT_WRITE, 0, y);
            return QV_ERR(QVE_WRITE_DATA, e, y);
        }
    }
    return 0;
}

}  // namespace qv
