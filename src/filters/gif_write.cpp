/*
 * gif_write.cpp - the GIF writer (format type 14) over giflib.
 *
 * Writes 1-, 4- and 8-bit palette images (colour table of 2^bpp entries);
 * other depths give -2413 (iVal the depth, lVal the compression). The GIF
 * control block holds the append flag (field 0), interlacing (field 1) and
 * the transparent index (field 2, -1 for none; written in a graphic control
 * block, which makes the file GIF89a).
 * Appending (the save pipeline opens an existing multi-page file for
 * update): when the file ends in a GIF trailer, the image becomes its next
 * frame, written over the trailer, and the screen size grows to hold it.
 * Otherwise, or without the append flag, the file is written anew from its
 * start and cut after the new data. The save value's compression must be 0
 * (-2080). giflib failures give -2071 (giflib error, 0), short writes -2072.
 */
#include <gif_lib.h>

#include <cstring>

#include "filters/filter_util.h"
#include "filters/gif_filter.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\GIFWRITE.C";

struct Sink {
    VPb_STREAM *s;
    bool discard;  // the screen descriptor of an appended frame is not written
    bool failed;
};

int write_fn(GifFileType *g, const GifByteType *p, int n) {
    auto *k = static_cast<Sink *>(g->UserData);
    if (k->discard) return n;
    if (VPb_IO_write(k->s, p, n) != n) {
        k->failed = true;
        return 0;
    }
    return n;
}

// Where an appended frame goes (the old trailer), growing the screen
// descriptor to w x h; -1 when the stream does not hold a GIF to add to.
int64_t append_position(VPb_STREAM *s, int32_t w, int32_t h) {
    uint8_t head[10];
    if (VPb_IO_seek(s, 0, 0) != 0 || VPb_IO_read(s, head, 10) != 10) return -1;
    if (std::memcmp(head, "GIF8", 4) != 0) return -1;
    const int64_t end = VPb_IO_seek(s, 0, 2);
    uint8_t last = 0;
    if (end < 14 || VPb_IO_seek(s, end - 1, 0) != end - 1 || VPb_IO_read(s, &last, 1) != 1 || last != 0x3B)
        return -1;
    const int32_t sw = head[6] | head[7] << 8, sh = head[8] | head[9] << 8;
    if (w > sw || h > sh) {
        const uint16_t nw = uint16_t(w > sw ? w : sw), nh = uint16_t(h > sh ? h : sh);
        const uint8_t size[4] = {uint8_t(nw), uint8_t(nw >> 8), uint8_t(nh), uint8_t(nh >> 8)};
        if (VPb_IO_seek(s, 6, 0) != 6 || VPb_IO_write(s, size, 4) != 4) return -1;
    }
    return end - 1;
}

class Encoder {
public:
    explicit Encoder(Sink *sink) { g_ = EGifOpen(sink, write_fn, &error_); }
    ~Encoder() {
        int e = 0;
        if (g_) EGifCloseFile(g_, &e);
    }
    Encoder(const Encoder &) = delete;
    Encoder &operator=(const Encoder &) = delete;
    GifFileType *get() const { return g_; }
    // Writes the trailer and frees the encoder.
    int close() {
        int e = 0;
        const int rc = EGifCloseFile(g_, &e);
        g_ = nullptr;
        return rc == GIF_OK ? 0 : (e ? e : -1);
    }

private:
    GifFileType *g_ = nullptr;
    int error_ = 0;
};

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

}  // namespace

int32_t gif_write(VPb_STREAM *s, void *ctl, int32_t, int32_t, int32_t compression) {
    if (compression != 0) return QV_ERR(QVE_BAD_SAVE_OPTION, compression, 0);
    QV_DIB_HEADER hdr{};
    QV_RGBQUAD pal[256] = {};
    int32_t entries = 0;
    if (int32_t rc = VPb_IO_DIB_get(s, &hdr, pal, &entries)) return rc;
    const int32_t bpp = hdr.biBitCount, width = hdr.biWidth;
    const int32_t rows = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
    if ((bpp != 1 && bpp != 4 && bpp != 8) || hdr.biCompression != QV_BI_RGB)
        return QV_ERR(QVE_SAVE_DEPTH, bpp, hdr.biCompression);
    if (width < 1 || rows < 1 || width > 65535 || rows > 65535) return QV_ERR(QVE_BAD_HEADER, width, rows);

    const bool interlace = ctl_word(ctl, 1, 0) == 1;
    const int32_t transparent = ctl_word(ctl, 2, -1);
    int64_t at = ctl_word(ctl, 0, 0) == 1 ? append_position(s, width, rows) : -1;
    const bool append = at >= 0;
    if (!append) at = 0;
    if (VPb_IO_seek(s, at, 0) != at) return QV_ERR(QVE_SEEK, int32_t(at), 0);

    FilterTag tag;
    const size_t stride = size_t(raster_bytes(width, bpp));
    auto *in = filter_alloc_array<uint8_t>(tag.tag(), stride);
    auto *line = filter_alloc_array<uint8_t>(tag.tag(), size_t(width));
    if (!in || !line) return QV_ERR(QVE_NO_MEMORY, stride, tag.tag());

    Sink sink{s, append, false};
    Encoder enc(&sink);
    GifFileType *g = enc.get();
    if (!g) return QV_ERR(QVE_NO_MEMORY, 0, tag.tag());
    GifColorType colours[256];
    const int n = 1 << bpp;
    for (int i = 0; i < n; ++i) colours[i] = GifColorType{pal[i].rgbRed, pal[i].rgbGreen, pal[i].rgbBlue};
    ColorMapObject *map = GifMakeMapObject(n, colours);
    if (!map) return QV_ERR(QVE_NO_MEMORY, n, tag.tag());
    const bool gcb = transparent >= 0 && transparent < n;
    EGifSetGifVersion(g, gcb);
    int rc = EGifPutScreenDesc(g, width, rows, bpp, 0, append ? nullptr : map);
    sink.discard = false;
    if (rc == GIF_OK && gcb) {
        GraphicsControlBlock b{};
        b.DisposalMode = DISPOSAL_UNSPECIFIED;
        b.DelayTime = 0;
        b.TransparentColor = transparent;
        GifByteType ext[4];
        const size_t len = EGifGCBToExtension(&b, ext);
        rc = EGifPutExtension(g, GRAPHICS_EXT_FUNC_CODE, int(len), ext);
    }
    if (rc == GIF_OK) rc = EGifPutImageDesc(g, 0, 0, width, rows, interlace, append ? map : nullptr);
    GifFreeMapObject(map);
    for (int32_t i = 0; rc == GIF_OK && i < rows; ++i) {
        const int32_t y = stored_row(i, rows, interlace);
        if (int32_t st = VPb_IO_raster_get(s, y, in)) return st;
        for (int32_t x = 0; x < width; ++x) {
            const uint32_t bit = uint32_t(x) * uint32_t(bpp);
            line[x] = uint8_t((in[bit / 8] >> (8 - bpp - int(bit % 8))) & (n - 1));
        }
        rc = EGifPutLine(g, line, width);
    }
    if (rc != GIF_OK) {
        if (sink.failed) return QV_ERR(QVE_SHORT_WRITE, 0, 0);
        return QV_ERR(QVE_WRITE_DATA, g->Error, 0);
    }
    if (int e = enc.close()) {
        if (sink.failed) return QV_ERR(QVE_SHORT_WRITE, 0, 0);
        return QV_ERR(QVE_WRITE_DATA, e, 0);
    }
    VPb_IO_truncate(s);
    return 0;
}

}  // namespace qv
