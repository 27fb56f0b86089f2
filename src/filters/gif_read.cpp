/*
 * gif_read.cpp - the GIF reader (format type 14) over giflib.
 *
 * Every frame is a page (the first selection value, from 1). A page is the
 * logical screen as a browser shows it after that frame is drawn:
 *   1. Page 1 is an 8-bit palette image with the frame's colour table (the
 *      local one, else the global one, else a grey ramp); the screen around
 *      the frame takes the transparent index when the frame has one, else
 *      the background index.
 *   2. A later page is composed: the screen starts transparent; each frame
 *      up to the page is drawn (its transparent pixels leave the screen as
 *      it was) and then disposed of as its graphic control block says (2:
 *      its area becomes transparent again, 3: the screen goes back to what
 *      it was before the frame). The page is 24-bit B, G, R when every
 *      pixel is covered, else 32-bit B, G, R, A (A = 0 where uncovered),
 *      the alpha also as the image's alpha companion.
 *   3. With the second selection value 2 a page is the frame alone: its own
 *      size and colour table, 8 bits, nothing composed.
 * Interlaced frames are put back in row order. The page count walks the
 * records without decoding pixels.
 *
 * The second value of the information entry is the compression code 8
 * (LZW).
 * Codes (iVal, lVal): -2060 (0x474946, 0) not a GIF; -2052 (13, 0) no
 * screen descriptor; -400 (width, height) a screen or frame of zero size;
 * -2060 (page - 1, page count) no such page; -2050 (frame height, row)
 * data ending early; -2000 (giflib error, 0) damaged data; -3400 (width,
 * height) a screen above the pixel limit; -1000 (size, tag) out of memory.
 */
#include <gif_lib.h>

#include <cstring>

#include "filters/filter_util.h"
#include "filters/gif_filter.h"
#include "filters/stream_input.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\GIFREAD.C";

int read_fn(GifFileType *g, GifByteType *dst, int n) {
    auto *in = static_cast<StreamInput *>(g->UserData);
    return n > 0 ? int(in->read(dst, size_t(n))) : 0;
}

// An open giflib decoder over the stream; closed (all of giflib's memory
// released) at the end of the scope.
class Gif {
public:
    Gif(VPb_STREAM *s, uint32_t tag) : in_(s, tag) {
        if (in_.ok()) g_ = DGifOpen(&in_, read_fn, &open_error_);
    }
    ~Gif() {
        int e = 0;
        if (g_) DGifCloseFile(g_, &e);
    }
    Gif(const Gif &) = delete;
    Gif &operator=(const Gif &) = delete;
    GifFileType *get() const { return g_; }
    int open_error() const { return open_error_; }
    bool buffer_ok() const { return in_.ok(); }

private:
    StreamInput in_;
    GifFileType *g_ = nullptr;
    int open_error_ = 0;
};

int32_t open_fault(const Gif &gif, uint32_t tag) {
    if (!gif.buffer_ok() || gif.open_error() == D_GIF_ERR_NOT_ENOUGH_MEM)
        return QV_ERR(QVE_NO_MEMORY, StreamInput::kBlock, tag);
    if (gif.open_error() == D_GIF_ERR_NOT_GIF_FILE) return QV_ERR(QVE_BAD_SIGNATURE, 0x474946, 0);
    return QV_ERR(QVE_SHORT_HEADER, 13, 0);
}

int32_t data_fault(GifFileType *g, int32_t height, int32_t row) {
    const int e = g->Error;
    if (e == D_GIF_ERR_NOT_ENOUGH_MEM) return QV_ERR(QVE_NO_MEMORY, 0, 0);
    if (e == D_GIF_ERR_READ_FAILED || e == D_GIF_ERR_EOF_TOO_SOON) return QV_ERR(QVE_SHORT_READ, height, row);
    return QV_ERR(QVE_READ_DATA, e, 0);
}

// The frame now described by g->Image, with its control block.
struct Frame {
    int32_t left, top, width, height;
    bool interlaced;
    int32_t transparent = -1;
    int32_t disposal = 0;
};

// Walks the records up to frame `want` (from 0), or to the end with want
// < 0; fn(frame, index) is called at each frame's descriptor and must read
// or skip its data. Returns the frame count walked, or a pushed code.
template <class Fn>
int32_t walk(GifFileType *g, int32_t want, Fn &&fn) {
    GraphicsControlBlock gcb{};
    bool have_gcb = false;
    int32_t index = 0;
    for (;;) {
        GifRecordType type = UNDEFINED_RECORD_TYPE;
        if (DGifGetRecordType(g, &type) == GIF_ERROR) {
            // Data ending after at least one whole frame ends the file.
            if (index > 0 && (g->Error == D_GIF_ERR_READ_FAILED || g->Error == D_GIF_ERR_EOF_TOO_SOON ||
                              g->Error == D_GIF_ERR_WRONG_RECORD))
                return index;
            return data_fault(g, 0, 0);
        }
        if (type == TERMINATE_RECORD_TYPE) return index;
        if (type == EXTENSION_RECORD_TYPE) {
            int code = 0;
            GifByteType *ext = nullptr;
            if (DGifGetExtension(g, &code, &ext) == GIF_ERROR) return data_fault(g, 0, 0);
            if (code == GRAPHICS_EXT_FUNC_CODE && ext && ext[0] >= 4) {
                DGifExtensionToGCB(ext[0], ext + 1, &gcb);
                have_gcb = true;
            }
            while (ext) {
                if (DGifGetExtensionNext(g, &ext) == GIF_ERROR) return data_fault(g, 0, 0);
            }
            continue;
        }
        if (type != IMAGE_DESC_RECORD_TYPE) continue;
        if (DGifGetImageDesc(g) == GIF_ERROR) return data_fault(g, 0, 0);
        Frame f{g->Image.Left, g->Image.Top, g->Image.Width, g->Image.Height, g->Image.Interlace};
        if (have_gcb) {
            f.transparent = gcb.TransparentColor;
            f.disposal = gcb.DisposalMode;
        }
        have_gcb = false;
        gcb = GraphicsControlBlock{};
        if (int32_t rc = fn(f, index)) return rc;
        ++index;
        if (want >= 0 && index > want) return index;
    }
}

// Skips the compressed data of the current frame.
int32_t skip_data(GifFileType *g) {
    int size = 0;
    GifByteType *block = nullptr;
    if (DGifGetCode(g, &size, &block) == GIF_ERROR) return data_fault(g, 0, 0);
    while (block)
        if (DGifGetCodeNext(g, &block) == GIF_ERROR) return data_fault(g, 0, 0);
    return 0;
}

// Row y of the frame for the i-th line stored (interlaced order).
int32_t stored_row(int32_t i, int32_t height, bool interlaced) {
    if (!interlaced) return i;
    static const int32_t start[4] = {0, 4, 2, 1}, step[4] = {8, 8, 4, 2};
    for (int p = 0; p < 4; ++p) {
        const int32_t n = height > start[p] ? (height - start[p] + step[p] - 1) / step[p] : 0;
        if (i < n) return start[p] + i * step[p];
        i -= n;
    }
    return -1;
}

// Decodes the current frame's lines, calling put(row, line) in row order
// of storage (row = the frame row).
template <class Put>
int32_t decode_lines(GifFileType *g, const Frame &f, uint8_t *line, Put &&put) {
    for (int32_t i = 0; i < f.height; ++i) {
        if (DGifGetLine(g, line, f.width) == GIF_ERROR) return data_fault(g, f.height, i);
        put(stored_row(i, f.height, f.interlaced), line);
    }
    return 0;
}

void palette_of(const ColorMapObject *map, QV_RGBQUAD pal[256]) {
    std::memset(pal, 0, 256 * sizeof(QV_RGBQUAD));
    if (!map) {
        for (int i = 0; i < 256; ++i) pal[i] = QV_RGBQUAD{uint8_t(i), uint8_t(i), uint8_t(i), 0};
        return;
    }
    for (int i = 0; i < map->ColorCount && i < 256; ++i)
        pal[i] = QV_RGBQUAD{map->Colors[i].Blue, map->Colors[i].Green, map->Colors[i].Red, 0};
}

const ColorMapObject *colours_of(GifFileType *g) { return g->Image.ColorMap ? g->Image.ColorMap : g->SColorMap; }

int32_t deliver_indices(VPb_STREAM *s, const uint8_t *pixels, int32_t w, int32_t h, const QV_RGBQUAD *pal,
                        uint32_t tag) {
    QV_DIB_HEADER d;
    VPb_DIB_init(&d, w, h, 8, QV_BI_RGB, 0, 0);
    d.biClrUsed = 256;
    if (int32_t rc = VPb_IO_DIB_create(s, &d, pal)) return rc;
    const size_t stride = size_t(raster_bytes(w, 8));
    auto *row = filter_alloc_array<uint8_t>(tag, stride);
    if (!row) return QV_ERR(QVE_NO_MEMORY, stride, tag);
    for (int32_t y = 0; y < h; ++y) {
        std::memcpy(row, pixels + size_t(y) * size_t(w), size_t(w));
        if (int32_t rc = VPb_IO_raster_set(s, y, row)) return rc;
    }
    return VPb_IO_raster_post_process(s);
}

// Page 1 or a frame alone: an index canvas.
int32_t read_indexed(VPb_STREAM *s, GifFileType *g, int32_t page, bool alone, uint32_t tag) {
    const int32_t sw = g->SWidth, sh = g->SHeight;
    uint8_t *canvas = nullptr;
    uint8_t *line = nullptr;
    QV_RGBQUAD pal[256];
    int32_t cw = 0, ch = 0;
    const int32_t n = walk(g, page, [&](const Frame &f, int32_t index) -> int32_t {
        if (index < page) return skip_data(g);
        if (f.width < 1 || f.height < 1) return QV_ERR(QVE_BAD_HEADER, f.width, f.height);
        cw = alone ? f.width : sw;
        ch = alone ? f.height : sh;
        if (int32_t rc = VPb_IO_pixel_limit_check(s, cw, ch)) return rc;
        canvas = filter_alloc_array<uint8_t>(tag, size_t(cw) * size_t(ch));
        line = filter_alloc_array<uint8_t>(tag, size_t(f.width));
        if (!canvas || !line) return QV_ERR(QVE_NO_MEMORY, cw * ch, tag);
        const int32_t fill = f.transparent >= 0 ? f.transparent : g->SBackGroundColor;
        std::memset(canvas, fill & 255, size_t(cw) * size_t(ch));
        palette_of(colours_of(g), pal);
        const int32_t ox = alone ? 0 : f.left, oy = alone ? 0 : f.top;
        return decode_lines(g, f, line, [&](int32_t y, const uint8_t *px) {
            const int32_t cy = oy + y;
            if (cy < 0 || cy >= ch || ox >= cw) return;
            const int32_t k = f.width < cw - ox ? f.width : cw - ox;
            std::memcpy(canvas + size_t(cy) * size_t(cw) + size_t(ox), px, size_t(k));
        });
    });
    if (n < 0) return n;
    if (!canvas) return QV_ERR(QVE_BAD_SIGNATURE, page, n);
    return deliver_indices(s, canvas, cw, ch, pal, tag);
}

// A later page: frames composed on an RGBA screen.
int32_t read_composed(VPb_STREAM *s, GifFileType *g, int32_t page, uint32_t tag) {
    const int32_t sw = g->SWidth, sh = g->SHeight;
    if (int32_t rc = VPb_IO_pixel_limit_check(s, sw, sh)) return rc;
    const size_t px = size_t(sw) * size_t(sh);
    auto *screen = filter_alloc_array<uint8_t>(tag, px * 4);  // B, G, R, A
    auto *saved = filter_alloc_array<uint8_t>(tag, px * 4);
    if (!screen || !saved) return QV_ERR(QVE_NO_MEMORY, px * 4, tag);
    uint8_t *line = nullptr;
    size_t line_size = 0;
    const int32_t n = walk(g, page, [&](const Frame &f, int32_t index) -> int32_t {
        if (f.width < 1 || f.height < 1) return QV_ERR(QVE_BAD_HEADER, f.width, f.height);
        if (size_t(f.width) > line_size) {
            line = filter_alloc_array<uint8_t>(tag, size_t(f.width));
            if (!line) return QV_ERR(QVE_NO_MEMORY, f.width, tag);
            line_size = size_t(f.width);
        }
        QV_RGBQUAD pal[256];
        palette_of(colours_of(g), pal);
        if (f.disposal == DISPOSE_PREVIOUS && index < page) std::memcpy(saved, screen, px * 4);
        const int32_t rc = decode_lines(g, f, line, [&](int32_t y, const uint8_t *p) {
            const int32_t cy = f.top + y;
            if (cy < 0 || cy >= sh) return;
            uint8_t *o = screen + (size_t(cy) * size_t(sw)) * 4;
            for (int32_t x = 0; x < f.width; ++x) {
                const int32_t cx = f.left + x;
                if (cx >= sw) break;
                if (p[x] == f.transparent) continue;
                const QV_RGBQUAD &q = pal[p[x]];
                uint8_t *d = o + size_t(cx) * 4;
                d[0] = q.rgbBlue, d[1] = q.rgbGreen, d[2] = q.rgbRed, d[3] = 255;
            }
        });
        if (rc || index == page) return rc;
        if (f.disposal == DISPOSE_BACKGROUND) {
            for (int32_t y = f.top; y < f.top + f.height && y < sh; ++y) {
                const int32_t x0 = f.left < sw ? f.left : sw;
                const int32_t x1 = f.left + f.width < sw ? f.left + f.width : sw;
                std::memset(screen + (size_t(y) * size_t(sw) + size_t(x0)) * 4, 0, size_t(x1 - x0) * 4);
            }
        } else if (f.disposal == DISPOSE_PREVIOUS) {
            std::memcpy(screen, saved, px * 4);
        }
        return 0;
    });
    if (n < 0) return n;
    if (n <= page) return QV_ERR(QVE_BAD_SIGNATURE, page, n);

    bool covered = true;
    for (size_t i = 0; i < px && covered; ++i) covered = screen[4 * i + 3] == 255;
    const int32_t bpp = covered ? 24 : 32;
    QV_DIB_HEADER d;
    VPb_DIB_init(&d, sw, sh, bpp, QV_BI_RGB, 0, 0);
    if (int32_t rc = VPb_IO_DIB_create(s, &d, nullptr)) return rc;
    const size_t stride = size_t(raster_bytes(sw, bpp));
    auto *row = filter_alloc_array<uint8_t>(tag, stride);
    if (!row) return QV_ERR(QVE_NO_MEMORY, stride, tag);
    for (int32_t y = 0; y < sh; ++y) {
        const uint8_t *src = screen + size_t(y) * size_t(sw) * 4;
        if (bpp == 32) {
            std::memcpy(row, src, size_t(sw) * 4);
        } else {
            for (int32_t x = 0; x < sw; ++x)
                row[3 * x] = src[4 * x], row[3 * x + 1] = src[4 * x + 1], row[3 * x + 2] = src[4 * x + 2];
        }
        if (int32_t rc = VPb_IO_raster_set(s, y, row)) return rc;
    }
    if (bpp == 32) VPb_IO_alpha_extract(s);
    return VPb_IO_raster_post_process(s);
}

int32_t read_page(VPb_STREAM *s, int32_t page, bool alone) {
    FilterTag tag;
    Gif gif(s, tag.tag());
    GifFileType *g = gif.get();
    if (!g) return open_fault(gif, tag.tag());
    if (g->SWidth < 1 || g->SHeight < 1) return QV_ERR(QVE_BAD_HEADER, g->SWidth, g->SHeight);
    if (page == 0 || alone) return read_indexed(s, g, page, alone, tag.tag());
    return read_composed(s, g, page, tag.tag());
}

}  // namespace

int32_t gif_read(VPb_STREAM *s, void *, int32_t sel1, int32_t sel2) {
    const int64_t entry = VPb_IO_tell(s);
    const int32_t rc = read_page(s, sel1 < 1 ? 0 : sel1 - 1, sel2 == 2);
    if (rc != 0) VPb_IO_seek(s, entry, 0);
    return rc;
}

int32_t gif_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *) {
    const int64_t entry = VPb_IO_tell(s);
    int32_t rc = 0;
    {
        FilterTag tag;
        Gif gif(s, tag.tag());
        GifFileType *g = gif.get();
        if (!g) rc = open_fault(gif, tag.tag());
        else if (g->SWidth < 1 || g->SHeight < 1) rc = QV_ERR(QVE_BAD_HEADER, g->SWidth, g->SHeight);
        if (rc == 0) {
            QV_DIB_HEADER d;
            VPb_DIB_init(&d, g->SWidth, g->SHeight, 8, QV_BI_RGB, 0, 0);
            d.biClrUsed = 256;
            if (info) *info = d;
            if (format_type) *format_type = int32_t(kGifFormatType);
            if (value) *value = 8;  // LZW
        }
    }
    VPb_IO_seek(s, entry, 0);
    return rc;
}

int32_t gif_pages(VPb_STREAM *s, void *, int32_t *count) {
    const int64_t entry = VPb_IO_tell(s);
    int32_t rc = 0;
    {
        FilterTag tag;
        Gif gif(s, tag.tag());
        GifFileType *g = gif.get();
        if (!g) {
            rc = open_fault(gif, tag.tag());
        } else {
            const int32_t n = walk(g, -1, [&](const Frame &, int32_t) { return skip_data(g); });
            if (n < 0) rc = n;
            else if (count) *count = n < 1 ? 1 : n;
        }
    }
    VPb_IO_seek(s, entry, 0);
    return rc;
}

}  // namespace qv
