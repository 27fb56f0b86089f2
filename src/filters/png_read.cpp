/*
 * png_read.cpp - the PNG reader (format type 33) over libspng.
 *
 * libspng pulls the file through our stream (a read-ahead buffer), so
 * files, descriptors, memory and the caller's I/O functions all work; its
 * memory comes from the load's own tag. Rows are decoded in the PNG's own
 * layout (16-bit samples in host order) and turned into DIB rows:
 *   grey 1, 4, 8 bits      1-, 4-, 8-bit DIB with a grey ramp (2 bits are
 *                          widened to 4-bit indices 0..3 over 4 greys)
 *   grey 16 bits           16-bit single channel (compression 503), or 8
 *                          bits (high byte) when the PNG control block's
 *                          field 2 is 1
 *   palette 1, 2, 4, 8     1-, 4-, 4-, 8-bit DIB with the PLTE colours
 *   RGB 8/16               24-bit B, G, R (16-bit samples: high byte)
 *   grey+alpha, RGBA       32-bit B, G, R, A, the alpha also as the
 *                          image's alpha companion (8-bit grey image)
 * Adam7 images are decoded whole and then delivered; others row by row,
 * straight into the image's pixel memory when the pipeline allows it.
 * pHYs in pixels per metre gives the resolution. The second value of the
 * information entry is the compression code 9 (Deflate).
 *
 * Codes (iVal, lVal): -2060 (0x89504E47, 0) signature; -2440 (libspng
 * error, 0) for a chunk whose length, CRC, type or place is wrong and an
 * IHDR of the wrong size; -400 (width, height) for an IHDR value out of
 * range (size, depth, colour type, methods); -2050 (height, rows decoded)
 * when the data ends early; -2000 (libspng error, row) for image data that
 * does not decode (zlib, filter); -1000 (0, memory tag) out of memory;
 * -2442 (position, 0) when the stream cannot be put back where the reader
 * found it. The image is never built when the header fails.
 */
#include <spng.h>

#include <cstring>
#include <utility>

#include "filters/filter_util.h"
#include "filters/png_filter.h"
#include "filters/stream_input.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\PNGREAD.C";
constexpr size_t kChunkLimit = size_t(64) << 20;  // one ancillary chunk
constexpr size_t kCacheLimit = size_t(128) << 20; // all kept chunks together

// libspng's allocator: the tag of the decode running on this thread.
thread_local uint32_t t_tag = 0;
void *tag_malloc(size_t n) { return VPb_AF_mem_alloc(t_tag, n ? n : 1); }
void *tag_realloc(void *p, size_t n) {
    return p ? VPb_AF_mem_realloc(t_tag, p, n ? n : 1) : tag_malloc(n);
}
void *tag_calloc(size_t c, size_t n) { return VPb_AF_mem_calloc(t_tag, c ? c : 1, n ? n : 1); }
void tag_free(void *p) {
    if (p) VPb_AF_mem_free(t_tag, p);
}

int read_fn(spng_ctx *, void *user, void *dst, size_t length) {
    auto *in = static_cast<StreamInput *>(user);
    return in->read(dst, length) == length ? 0 : SPNG_IO_EOF;
}

// One decoding session: context, input and memory, all released at the end.
class Session {
public:
    explicit Session(VPb_STREAM *s) : s_(s), entry_(VPb_IO_tell(s)), in_(s, tag_.tag()) {
        saved_tag_ = t_tag;
        t_tag = tag_.tag();
        static spng_alloc alloc = {tag_malloc, tag_realloc, tag_calloc, tag_free};
        // Every byte of the image data is already covered by its chunk's CRC,
        // which is checked; zlib's own checksum over the same bytes is not.
        if (in_.ok()) ctx_ = spng_ctx_new2(&alloc, SPNG_CTX_IGNORE_ADLER32);
        if (ctx_) {
            spng_set_png_stream(ctx_, read_fn, &in_);
            spng_set_chunk_limits(ctx_, kChunkLimit, kCacheLimit);
            spng_set_crc_action(ctx_, SPNG_CRC_ERROR, SPNG_CRC_DISCARD);
        }
    }
    ~Session() {
        if (ctx_) spng_ctx_free(ctx_);
        t_tag = saved_tag_;
    }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    spng_ctx *ctx() const { return ctx_; }
    uint32_t tag() const { return tag_.tag(); }
    // Puts the stream back where the reader found it.
    int32_t rewind() {
        if (VPb_IO_seek(s_, entry_, 0) != entry_) return QV_ERR(QVE_PNG_SEEK, int32_t(entry_), 0);
        return 0;
    }

private:
    VPb_STREAM *s_;
    int64_t entry_;
    FilterTag tag_;
    uint32_t saved_tag_ = 0;
    StreamInput in_;
    spng_ctx *ctx_ = nullptr;
};

bool is_chunk_fault(int e) {
    switch (e) {
    case SPNG_EIHDR_SIZE: case SPNG_ENOIHDR: case SPNG_ECHUNK_POS: case SPNG_ECHUNK_SIZE:
    case SPNG_ECHUNK_CRC: case SPNG_ECHUNK_TYPE: case SPNG_ECHUNK_UNKNOWN_CRITICAL:
    case SPNG_ECHUNK_STDLEN: case SPNG_ECHUNK_LIMITS: case SPNG_ECHUNKAVAIL:
        return true;
    default:
        return e >= SPNG_EDUP_PLTE && e <= SPNG_EEXIF;  // malformed ancillary chunks
    }
}

// The code for a libspng failure while reading the header.
int32_t header_fault(int e, const spng_ihdr &ih) {
    if (e == SPNG_ESIGNATURE) return QV_ERR(QVE_BAD_SIGNATURE, int32_t(0x89504E47), 0);
    if (e == SPNG_EMEM) return QV_ERR(QVE_NO_MEMORY, 0, t_tag);
    if (e == SPNG_IO_EOF || e == SPNG_IO_ERROR || e == SPNG_EIO || e == SPNG_EOF)
        return QV_ERR(QVE_SHORT_HEADER, 33, 0);
    if (e >= SPNG_EWIDTH && e <= SPNG_EINTERLACE_METHOD)
        return QV_ERR(QVE_BAD_HEADER, int32_t(ih.width), int32_t(ih.height));
    if (is_chunk_fault(e)) return QV_ERR(QVE_PNG_CHUNK, e, 0);
    return QV_ERR(QVE_READ_DATA, e, 0);
}

// The code for a libspng failure while decoding row `row`.
int32_t data_fault(int e, uint32_t height, uint32_t row) {
    if (e == SPNG_EMEM) return QV_ERR(QVE_NO_MEMORY, 0, t_tag);
    if (e == SPNG_IO_EOF || e == SPNG_IO_ERROR || e == SPNG_EIO || e == SPNG_EOF ||
        e == SPNG_EIDAT_TOO_SHORT)
        return QV_ERR(QVE_SHORT_READ, int32_t(height), int32_t(row));
    if (is_chunk_fault(e)) return QV_ERR(QVE_PNG_CHUNK, e, 0);
    return QV_ERR(QVE_READ_DATA, e, int32_t(row));
}

// How rows of a PNG become DIB rows.
enum class Conv { kCopy, kTwoToFour, kGray16, kGray16To8, kRgb8, kRgb16, kGa8, kGa16, kRgba8, kRgba16 };

struct Layout {
    Conv conv;
    int32_t bpp;            // DIB depth
    uint32_t compression;   // 0 or 503
    size_t png_row;         // bytes of a decoded row (SPNG_FMT_PNG)
    size_t dib_row;
    QV_RGBQUAD palette[256];
};

void grey_ramp(QV_RGBQUAD *p, int n) {
    for (int i = 0; i < n; ++i) {
        const uint8_t v = uint8_t(n > 1 ? i * 255 / (n - 1) : 0);
        p[i] = QV_RGBQUAD{v, v, v, 0};
    }
}

Layout layout_of(spng_ctx *ctx, const spng_ihdr &ih, bool gray16_to_8) {
    Layout l{};
    const uint32_t d = ih.bit_depth;
    switch (ih.color_type) {
    case SPNG_COLOR_TYPE_GRAYSCALE:
        if (d == 16) {
            l.conv = gray16_to_8 ? Conv::kGray16To8 : Conv::kGray16;
            l.bpp = gray16_to_8 ? 8 : 16;
            l.compression = gray16_to_8 ? 0 : QV_BI_GRAY16;
            if (gray16_to_8) grey_ramp(l.palette, 256);
        } else {
            l.conv = d == 2 ? Conv::kTwoToFour : Conv::kCopy;
            l.bpp = d == 2 ? 4 : int32_t(d);
            grey_ramp(l.palette, 1 << d);
        }
        break;
    case SPNG_COLOR_TYPE_INDEXED: {
        l.conv = d == 2 ? Conv::kTwoToFour : Conv::kCopy;
        l.bpp = d == 2 ? 4 : int32_t(d);
        spng_plte plte{};
        if (spng_get_plte(ctx, &plte) == 0)
            for (uint32_t i = 0; i < plte.n_entries && i < 256; ++i)
                l.palette[i] = QV_RGBQUAD{plte.entries[i].blue, plte.entries[i].green,
                                          plte.entries[i].red, 0};
        break;
    }
    case SPNG_COLOR_TYPE_TRUECOLOR:
        l.conv = d == 16 ? Conv::kRgb16 : Conv::kRgb8;
        l.bpp = 24;
        break;
    case SPNG_COLOR_TYPE_GRAYSCALE_ALPHA:
        l.conv = d == 16 ? Conv::kGa16 : Conv::kGa8;
        l.bpp = 32;
        break;
    default:
        l.conv = d == 16 ? Conv::kRgba16 : Conv::kRgba8;
        l.bpp = 32;
        break;
    }
    const uint32_t channels = ih.color_type == 2 ? 3 : ih.color_type == 4 ? 2 : ih.color_type == 6 ? 4 : 1;
    l.png_row = (size_t(ih.width) * channels * d + 7) / 8;
    l.dib_row = size_t(raster_bytes(ih.width, l.bpp));
    return l;
}

// One decoded PNG row to one DIB row of `width` pixels.
void convert_row(const Layout &l, uint32_t width, const uint8_t *src, uint8_t *dst) {
    const auto *w16 = reinterpret_cast<const uint16_t *>(src);
    switch (l.conv) {
    case Conv::kCopy:
        std::memcpy(dst, src, l.png_row);
        break;
    case Conv::kTwoToFour:
        for (uint32_t x = 0; x < width; x += 2) {
            const uint8_t b = src[x / 4];
            const int sh = 6 - 2 * int(x % 4);
            dst[x / 2] = uint8_t(((b >> sh) & 3) << 4 | ((b >> (sh - 2)) & 3));
        }
        break;
    case Conv::kGray16:
        std::memcpy(dst, src, size_t(width) * 2);
        break;
    case Conv::kGray16To8:
        for (uint32_t x = 0; x < width; ++x) dst[x] = uint8_t(w16[x] >> 8);
        break;
    case Conv::kRgb8:
        for (uint32_t x = 0; x < width; ++x, src += 3, dst += 3) {
            dst[0] = src[2];
            dst[1] = src[1];
            dst[2] = src[0];
        }
        break;
    case Conv::kRgb16:
        for (uint32_t x = 0; x < width; ++x, w16 += 3, dst += 3) {
            dst[0] = uint8_t(w16[2] >> 8);
            dst[1] = uint8_t(w16[1] >> 8);
            dst[2] = uint8_t(w16[0] >> 8);
        }
        break;
    case Conv::kGa8:
        for (uint32_t x = 0; x < width; ++x, src += 2, dst += 4) {
            dst[0] = dst[1] = dst[2] = src[0];
            dst[3] = src[1];
        }
        break;
    case Conv::kGa16:
        for (uint32_t x = 0; x < width; ++x, w16 += 2, dst += 4) {
            dst[0] = dst[1] = dst[2] = uint8_t(w16[0] >> 8);
            dst[3] = uint8_t(w16[1] >> 8);
        }
        break;
    case Conv::kRgba8:
        for (uint32_t x = 0; x < width; ++x, src += 4, dst += 4) {
            dst[0] = src[2];
            dst[1] = src[1];
            dst[2] = src[0];
            dst[3] = src[3];
        }
        break;
    case Conv::kRgba16:
        for (uint32_t x = 0; x < width; ++x, w16 += 4, dst += 4) {
            dst[0] = uint8_t(w16[2] >> 8);
            dst[1] = uint8_t(w16[1] >> 8);
            dst[2] = uint8_t(w16[0] >> 8);
            dst[3] = uint8_t(w16[3] >> 8);
        }
        break;
    }
}

// Resolution in the DIB's unit from pHYs (metres only; else 0).
void resolution_of(spng_ctx *ctx, int32_t *x, int32_t *y) {
    *x = *y = 0;
    spng_phys phys{};
    if (spng_get_phys(ctx, &phys) == 0 && phys.unit_specifier == 1 && phys.ppu_x <= INT32_MAX &&
        phys.ppu_y <= INT32_MAX) {
        *x = resolution_to_dib(int32_t(phys.ppu_x));
        *y = resolution_to_dib(int32_t(phys.ppu_y));
    }
}

// The DIB header (52 bytes: masks follow at compression 503).
struct DibHead {
    QV_DIB_HEADER h;
    uint32_t masks[3];
};

void fill_header(spng_ctx *ctx, const spng_ihdr &ih, const Layout &l, DibHead *d) {
    std::memset(d, 0, sizeof *d);
    int32_t xres = 0, yres = 0;
    resolution_of(ctx, &xres, &yres);
    VPb_DIB_init(&d->h, int32_t(ih.width), int32_t(ih.height), l.bpp, l.compression, xres, yres);
    d->h.biClrUsed = l.bpp <= 8 ? (1u << l.bpp) : 0;
    if (l.compression == QV_BI_GRAY16) d->masks[0] = d->masks[1] = d->masks[2] = 0xFFFF;
}

int32_t read_header(Session &ss, spng_ihdr *ih) {
    if (!ss.ctx()) return QV_ERR(QVE_NO_MEMORY, StreamInput::kBlock, ss.tag());
    *ih = spng_ihdr{};
    if (int e = spng_get_ihdr(ss.ctx(), ih)) return header_fault(e, *ih);
    return 0;
}

bool gray16_scaled(const void *ctl) { return ctl_word(ctl, 2, 0) == 1; }

int32_t decode(VPb_STREAM *s, Session &ss, const spng_ihdr &ih, const Layout &l) {
    spng_ctx *ctx = ss.ctx();
    const uint32_t width = ih.width, height = ih.height;
    const size_t stride = l.dib_row;
    uint8_t *direct = VPb_IO_raster_direct_get(s);

    if (ih.interlace_method == SPNG_INTERLACE_NONE) {
        auto *png_row = filter_alloc_array<uint8_t>(ss.tag(), l.png_row + 8);
        auto *dib_row = direct ? nullptr : filter_alloc_array<uint8_t>(ss.tag(), stride);
        if (!png_row || (!direct && !dib_row)) return QV_ERR(QVE_NO_MEMORY, stride, ss.tag());
        if (int e = spng_decode_image(ctx, nullptr, 0, SPNG_FMT_PNG, SPNG_DECODE_PROGRESSIVE))
            return data_fault(e, height, 0);
        const int32_t block = 64;
        for (uint32_t y = 0; y < height; ++y) {
            uint8_t *target = direct ? direct + size_t(height - 1 - y) * stride : nullptr;
            // Rows whose bytes stay in place are decoded straight into the image.
            const bool in_place = target && (l.conv == Conv::kCopy || l.conv == Conv::kGray16 ||
                                             l.conv == Conv::kRgb8);
            int e = spng_decode_row(ctx, in_place ? target : png_row, l.png_row);
            if (e != 0 && e != SPNG_EOI) return data_fault(e, height, y);
            if (in_place && l.conv == Conv::kRgb8) {
                for (uint32_t x = 0; x < width; ++x) std::swap(target[3 * x], target[3 * x + 2]);
            } else if (direct && !in_place) {
                convert_row(l, width, png_row, target);
            }
            if (direct) {
                if ((y + 1) % block == 0 || y + 1 == height) {
                    const int32_t n = (y + 1) % block == 0 ? block : int32_t((y + 1) % block);
                    if (int32_t st = VPb_IO_raster_direct_done(s, n)) return st;
                }
            } else {
                convert_row(l, width, png_row, dib_row);
                if (int32_t st = VPb_IO_raster_set(s, int32_t(y), dib_row)) return st;
            }
        }
        if (l.bpp == 32) VPb_IO_alpha_extract(s);
        return VPb_IO_raster_post_process(s);
    }

    // Adam7: the whole image first.
    size_t bytes = 0;
    if (int e = spng_decoded_image_size(ctx, SPNG_FMT_PNG, &bytes)) return data_fault(e, height, 0);
    auto *image = static_cast<uint8_t *>(VPb_AF_mem_alloc(ss.tag(), bytes));
    auto *dib_row = filter_alloc_array<uint8_t>(ss.tag(), stride);
    if (!image || !dib_row) return QV_ERR(QVE_NO_MEMORY, bytes > INT32_MAX ? -1 : int32_t(bytes), ss.tag());
    if (int e = spng_decode_image(ctx, image, bytes, SPNG_FMT_PNG, 0)) return data_fault(e, height, 0);
    for (uint32_t y = 0; y < height; ++y) {
        convert_row(l, width, image + size_t(y) * l.png_row, dib_row);
        if (int32_t st = VPb_IO_raster_set(s, int32_t(y), dib_row)) return st;
    }
    if (l.bpp == 32) VPb_IO_alpha_extract(s);
    return VPb_IO_raster_post_process(s);
}

}  // namespace

int32_t png_read(VPb_STREAM *s, void *ctl, int32_t, int32_t) {
    Session ss(s);
    spng_ihdr ih;
    int32_t rc = read_header(ss, &ih);
    if (rc == 0) {
        // Chunks before the image data (PLTE, pHYs) are read with the header.
        if (int e = spng_decode_chunks(ss.ctx()); e != 0 && e != SPNG_ECHUNKAVAIL)
            rc = header_fault(e, ih);
    }
    if (rc == 0) {
        const Layout l = layout_of(ss.ctx(), ih, gray16_scaled(ctl));
        DibHead d;
        fill_header(ss.ctx(), ih, l, &d);
        rc = VPb_IO_DIB_create(s, &d.h, l.bpp <= 8 ? l.palette : nullptr);
        if (rc == 0) rc = decode(s, ss, ih, l);
    }
    if (rc < 0) ss.rewind();
    return rc;
}

int32_t png_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *ctl) {
    Session ss(s);
    spng_ihdr ih;
    int32_t rc = read_header(ss, &ih);
    if (rc == 0) {
        spng_decode_chunks(ss.ctx());
        const Layout l = layout_of(ss.ctx(), ih, gray16_scaled(ctl));
        DibHead d;
        fill_header(ss.ctx(), ih, l, &d);
        if (info) *info = d.h;
        if (format_type) *format_type = int32_t(kPngFormatType);
        if (value) *value = 9;  // Deflate
    }
    if (int32_t st = ss.rewind(); rc == 0) rc = st;
    return rc;
}

int32_t png_pages(VPb_STREAM *, void *, int32_t *count) {
    if (count) *count = 1;
    return 0;
}

}  // namespace qv
