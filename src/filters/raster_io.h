/*
 * raster_io.h - byte input and row output shared by the simple raster
 * filters (TGA, PNM, SGI, Sun raster, ICO, XBM, XPM, XWD, PSD, MSP), built
 * on the bridge alone.
 *
 *   ByteReader   a read buffer over the stream for decoders that take the
 *                data a byte or a block at a time; it tells how many bytes
 *                it could not deliver, so a reader can name a short file
 *   RasterOut    hands rows to the load pipeline: when the image takes the
 *                source rows unchanged the rows are written straight into
 *                the image's pixel memory, else through VPb_IO_raster_set
 *   put_le16/32, put_be16/32, get_le16/32, get_be16/32   field packing
 *   write_all(stream, data, n)   true when every byte was written
 */
#pragma once

#include <cstring>

#include "filters/filter_util.h"

// Codes of these readers that base.h does not name.
#ifndef QVE_XWD_DEPTH
#define QVE_XWD_DEPTH (-2391)  /* XWD colour depth above 8 bits */
#endif
#ifndef QVE_PBM_SHORT
#define QVE_PBM_SHORT (-2461)  /* PBM/PGM/PPM/PAM data truncated */
#endif
#ifndef QVE_PSD_SHORT
#define QVE_PSD_SHORT (-2462)  /* PSD channel data short */
#endif

namespace qv {

inline uint16_t get_le16(const uint8_t *p) { return uint16_t(p[0] | (p[1] << 8)); }
inline uint16_t get_be16(const uint8_t *p) { return uint16_t((p[0] << 8) | p[1]); }
inline uint32_t get_le32(const uint8_t *p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline uint32_t get_be32(const uint8_t *p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}
inline void put_le16(uint8_t *p, uint32_t v) { p[0] = uint8_t(v), p[1] = uint8_t(v >> 8); }
inline void put_be16(uint8_t *p, uint32_t v) { p[0] = uint8_t(v >> 8), p[1] = uint8_t(v); }
inline void put_le32(uint8_t *p, uint32_t v) { put_le16(p, v), put_le16(p + 2, v >> 16); }
inline void put_be32(uint8_t *p, uint32_t v) { put_be16(p, v >> 16), put_be16(p + 2, v); }

inline bool write_all(VPb_STREAM *s, const void *data, size_t n) {
    const auto *p = static_cast<const uint8_t *>(data);
    while (n > 0) {
        int32_t chunk = n > (size_t(1) << 30) ? int32_t(1) << 30 : int32_t(n);
        if (VPb_IO_write(s, p, chunk) != chunk) return false;
        p += chunk;
        n -= size_t(chunk);
    }
    return true;
}

// Reads the stream through a buffer. Bytes asked for past the end read as 0
// and are counted in missing().
class ByteReader {
public:
    static constexpr int32_t kSize = 1 << 16;
    static constexpr int32_t kDirect = 1 << 12;  // reads this large bypass the buffer
    static constexpr int32_t kChunk = 7680;  // below the size where memcpy turns to "rep movsb", slow on misaligned rows

    ByteReader(VPb_STREAM *s, uint32_t tag) : s_(s), buf_(filter_alloc_array<uint8_t>(tag, kSize)) {}
    bool ok() const { return buf_ != nullptr; }

    int get() {
        if (pos_ == len_ && !fill()) {
            ++missing_;
            return -1;
        }
        return buf_[pos_++];
    }
    uint8_t byte() {
        int c = get();
        return c < 0 ? 0 : uint8_t(c);
    }
    // Copies n bytes (the missing ones zeroed); returns the number present.
    size_t read(uint8_t *dst, size_t n) {
        size_t done = 0;
        while (done < n) {
            if (pos_ == len_) {
                if (n - done >= size_t(kDirect)) {  // large block: straight from the stream
                    size_t want = n - done > size_t(kChunk) ? size_t(kChunk) : n - done;
                    int32_t got = VPb_IO_read(s_, dst + done, int32_t(want));
                    if (got <= 0) break;
                    consumed_ += uint64_t(got);
                    done += size_t(got);
                    continue;
                }
                if (!fill()) break;
            }
            size_t take = size_t(len_ - pos_) < n - done ? size_t(len_ - pos_) : n - done;
            std::memcpy(dst + done, buf_ + pos_, take);
            pos_ += int32_t(take);
            done += take;
        }
        if (done < n) {
            std::memset(dst + done, 0, n - done);
            missing_ += n - done;
        }
        return done;
    }
    void skip(size_t n) {
        while (n > 0) {
            if (pos_ == len_ && !fill()) {
                missing_ += n;
                return;
            }
            size_t take = size_t(len_ - pos_) < n ? size_t(len_ - pos_) : n;
            pos_ += int32_t(take);
            n -= take;
        }
    }
    // Bytes delivered so far (from where the reader started).
    uint64_t offset() const { return consumed_ - uint64_t(len_ - pos_); }
    uint64_t missing() const { return missing_; }

private:
    bool fill() {
        if (eof_) return false;
        int32_t got = VPb_IO_read(s_, buf_, kSize);
        if (got <= 0) {
            eof_ = true;
            pos_ = len_ = 0;
            return false;
        }
        consumed_ += uint64_t(got);
        pos_ = 0;
        len_ = got;
        return true;
    }

    VPb_STREAM *s_;
    uint8_t *buf_;
    int32_t pos_ = 0, len_ = 0;
    bool eof_ = false;
    uint64_t consumed_ = 0, missing_ = 0;
};

// Row output to the load pipeline. begin() makes the image (header and
// palette as for VPb_IO_DIB_create: with compression 3 or 503 the header
// block holds the three masks after the 40 bytes); row(r) is where row r
// (0 = top) goes, in DIB packing at the source depth; put(r) hands it over.
class RasterOut {
public:
    int32_t begin(VPb_STREAM *s, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *palette, uint32_t tag) {
        s_ = s;
        height_ = hdr->biHeight;
        stride_ = size_t(raster_bytes(hdr->biWidth, hdr->biBitCount));
        if (int32_t st = VPb_IO_DIB_create(s, hdr, palette)) return st;
        direct_ = VPb_IO_raster_direct_get(s);
        if (!direct_) {
            scratch_ = filter_alloc_array<uint8_t>(tag, stride_ + 8);
            if (!scratch_) return QV_ERR_RASTER(QVE_NO_MEMORY, stride_ + 8, tag);
        }
        return 0;
    }
    bool direct() const { return direct_ != nullptr; }
    size_t stride() const { return stride_; }
    uint8_t *row(int32_t r) {
        return direct_ ? direct_ + size_t(height_ - 1 - r) * stride_ : scratch_;
    }
    int32_t put(int32_t r) {
        if (direct_) return VPb_IO_raster_direct_done(s_, 1);
        return VPb_IO_raster_set(s_, r, scratch_);
    }
    int32_t finish() { return VPb_IO_raster_post_process(s_); }

private:
    static int32_t QV_ERR_RASTER(int32_t code, size_t ival, uint32_t lval) {
        return VPb_AF_error_set("FILTERS\\RASTERIO.C", __LINE__, code, int32_t(ival),
                                int32_t(lval));
    }
    VPb_STREAM *s_ = nullptr;
    uint8_t *direct_ = nullptr, *scratch_ = nullptr;
    int32_t height_ = 0;
    size_t stride_ = 0;
};

// A 40-byte DIB header followed by the three colour masks.
struct MaskedHeader {
    QV_DIB_HEADER h;
    uint32_t masks[3];
};
static_assert(sizeof(MaskedHeader) == 52, "masks follow the 40 header bytes");

inline void dib_header_init(MaskedHeader *mh, int32_t width, int32_t height, int32_t bpp,
                            uint32_t compression = QV_BI_RGB) {
    std::memset(mh, 0, sizeof *mh);
    VPb_DIB_init(&mh->h, width, height, bpp, compression, 0, 0);
    if (compression == QV_BI_GRAY16) mh->masks[0] = mh->masks[1] = mh->masks[2] = 0xFFFF;
}

// A grey ramp of n entries (n = 2, 16 or 256).
inline void grey_palette(QV_RGBQUAD *pal, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        uint8_t v = uint8_t(i * 255 / (n - 1));
        pal[i] = QV_RGBQUAD{v, v, v, 0};
    }
}

// Rows of the image being saved, top row = 0, in DIB packing: straight from
// the image when it holds them unchanged, else fetched into a buffer.
class RasterIn {
public:
    int32_t begin(VPb_STREAM *s, const QV_DIB_HEADER &hdr, uint32_t tag) {
        s_ = s;
        height_ = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
        stride_ = size_t(raster_bytes(hdr.biWidth, hdr.biBitCount));
        direct_ = VPb_IO_DIB_direct_get(s);
        if (!direct_) {
            buf_ = filter_alloc_array<uint8_t>(tag, stride_ + 8);
            if (!buf_)
                return VPb_AF_error_set("FILTERS\\RASTERIO.C", __LINE__, QVE_NO_MEMORY,
                                        int32_t(stride_ + 8), int32_t(tag));
        }
        return 0;
    }
    size_t stride() const { return stride_; }
    // Row r, or null after the fetch failed (the error is on the stack).
    const uint8_t *get(int32_t r) {
        if (direct_) return direct_ + size_t(height_ - 1 - r) * stride_;
        return VPb_IO_raster_get(s_, r, buf_) == 0 ? buf_ : nullptr;
    }

private:
    VPb_STREAM *s_ = nullptr;
    const uint8_t *direct_ = nullptr;
    uint8_t *buf_ = nullptr;
    int32_t height_ = 0;
    size_t stride_ = 0;
};

// Whether a palette of `entries` entries is the 256-step grey ramp.
inline bool is_grey_ramp(const QV_RGBQUAD *pal, int32_t entries) {
    if (entries != 256) return false;
    for (int32_t i = 0; i < 256; ++i)
        if (pal[i].rgbRed != i || pal[i].rgbGreen != i || pal[i].rgbBlue != i) return false;
    return true;
}

// Where a writer of these formats starts: its save option (for a format
// with a second coding - run-length, or plain text for PNM - compression 1
// or 1 in field 0 of its control block asks for it; otherwise only
// compression 0 is taken), then the image's description and
// palette, with the depths every such writer takes (1, 4, 8, 16, 24, 32
// bits, not the wide-palette form) and the sizes it can record. A refusal is
// left in `code` with its two values for the writer to push under its own
// name; a nonzero result is the bridge's own error, already on the stack.
struct WriterStart {
    QV_DIB_HEADER hdr{};
    QV_RGBQUAD pal[256] = {};
    int32_t entries = 0;
    int32_t bpp = 0, width = 0, height = 0;
    bool second_coding = false;
    int32_t code = 0, ival = 0, lval = 0;
};

inline int32_t writer_start(VPb_STREAM *s, const void *ctl, int32_t compression, int32_t max_side,
                            WriterStart &w, bool has_second_coding = true) {
    if (compression != 0 && !(has_second_coding && compression == 1)) {
        w.code = QVE_BAD_SAVE_OPTION, w.ival = compression, w.lval = 0;
        return 0;
    }
    int32_t field0 = 0;
    if (ctl) std::memcpy(&field0, ctl, 4);
    w.second_coding = compression == 1 || field0 == 1;
    if (int32_t st = VPb_IO_DIB_get(s, &w.hdr, w.pal, &w.entries)) return st;
    w.bpp = w.hdr.biBitCount;
    w.width = w.hdr.biWidth;
    w.height = w.hdr.biHeight < 0 ? -w.hdr.biHeight : w.hdr.biHeight;
    const int32_t b = w.bpp;
    if (w.hdr.biCompression == QV_BI_PAL_WIDE || !(b == 1 || b == 4 || b == 8 || b == 16 || b == 24 || b == 32))
        w.code = QVE_SAVE_DEPTH, w.ival = b, w.lval = int32_t(w.hdr.biCompression);
    else if (w.width < 1 || w.height < 1 || (max_side > 0 && (w.width > max_side || w.height > max_side)))
        w.code = QVE_BAD_HEADER, w.ival = w.width, w.lval = w.height;
    return 0;
}

// Palette index of pixel x of a packed row at 1, 4 or 8 bits.
inline uint32_t index_at(const uint8_t *row, int32_t x, int32_t bpp) {
    if (bpp == 8) return row[x];
    uint32_t bit = uint32_t(x) * uint32_t(bpp);
    return (row[bit / 8] >> (8 - bpp - bit % 8)) & ((1u << bpp) - 1);
}

// The palette indexes of a packed row at 1, 4 or 8 bits, one byte a pixel.
inline void row_indexes(const uint8_t *src, int32_t bpp, int32_t w, uint8_t *out) {
    if (bpp == 8) {
        std::memcpy(out, src, size_t(w));
        return;
    }
    for (int32_t x = 0; x < w; ++x) out[x] = uint8_t(index_at(src, x, bpp));
}

// The colour masks of a 16-bit image being saved (5-5-5 when it has none).
inline void saved_masks16(VPb_STREAM *s, const QV_DIB_HEADER &hdr, VPb_MASK_CHANNEL m[3]) {
    uint32_t r = 0x7C00, g = 0x3E0, b = 0x1F;
    if (hdr.biCompression == QV_BI_BITFIELDS || hdr.biCompression == QV_BI_GRAY16)
        if (QV_DIB_HEADER *d = VPb_DIB_pointer_get(VPb_IO_image_get(s)))
            r = VPb_DIB_red_mask_get(d), g = VPb_DIB_green_mask_get(d), b = VPb_DIB_blue_mask_get(d);
    m[0] = VPb_mask_channel(r), m[1] = VPb_mask_channel(g), m[2] = VPb_mask_channel(b);
}

// One DIB row at 1, 4, 8, 16, 24 or 32 bits as R, G, B, A bytes (A is the
// fourth byte of 32-bit pixels, else 255). The depth is looked at once a row.
inline void row_to_rgba(const uint8_t *src, int32_t bpp, const QV_RGBQUAD *pal,
                        const VPb_MASK_CHANNEL m[3], int32_t w, uint8_t *rgba) {
    if (bpp <= 8) {
        for (int32_t x = 0; x < w; ++x, rgba += 4) {
            const QV_RGBQUAD &q = pal[index_at(src, x, bpp)];
            rgba[0] = q.rgbRed, rgba[1] = q.rgbGreen, rgba[2] = q.rgbBlue, rgba[3] = 255;
        }
    } else if (bpp == 16) {
        for (int32_t x = 0; x < w; ++x, rgba += 4) {
            const uint32_t v = get_le16(src + 2 * x);
            rgba[0] = VPb_mask_value(&m[0], v), rgba[1] = VPb_mask_value(&m[1], v);
            rgba[2] = VPb_mask_value(&m[2], v), rgba[3] = 255;
        }
    } else {
        const size_t step = size_t(bpp / 8);
        for (int32_t x = 0; x < w; ++x, rgba += 4, src += step)
            rgba[0] = src[2], rgba[1] = src[1], rgba[2] = src[0], rgba[3] = bpp == 32 ? src[3] : 255;
    }
}

// Byte c (0 red, 1 green, 2 blue, 3 alpha) of what row_to_rgba gives for
// each pixel, one byte a pixel: the planar writers take a row one channel
// at a time and so convert only the channel they write.
inline void row_channel(const uint8_t *src, int32_t bpp, const QV_RGBQUAD *pal,
                        const VPb_MASK_CHANNEL m[3], int32_t w, uint32_t c, uint8_t *out) {
    if (c == 3 && bpp != 32) {
        std::memset(out, 255, size_t(w));
    } else if (bpp <= 8) {
        uint8_t of[256];
        for (int i = 0; i < 1 << bpp; ++i)
            of[i] = c == 0 ? pal[i].rgbRed : c == 1 ? pal[i].rgbGreen : pal[i].rgbBlue;
        for (int32_t x = 0; x < w; ++x) out[x] = of[index_at(src, x, bpp)];
    } else if (bpp == 16) {
        for (int32_t x = 0; x < w; ++x) out[x] = uint8_t(VPb_mask_value(&m[c], get_le16(src + 2 * x)));
    } else {
        const size_t step = size_t(bpp / 8);
        src += c == 3 ? 3 : 2 - c;
        for (int32_t x = 0; x < w; ++x, src += step) out[x] = *src;
    }
}

// The alpha companion of the image being saved (an 8-bit image of the same
// size linked to it), row by row; begin() is false when there is none.
class AlphaIn {
public:
    bool begin(VPb_STREAM *s, int32_t width, uint32_t tag) {
        s_ = s;
        QUORIN a = VPb_IO_linked_image_get(s);
        QV_DIB_HEADER *d = a ? VPb_DIB_pointer_get(a) : nullptr;
        if (!d || d->biBitCount != 8) return false;
        buf_ = filter_alloc_array<uint8_t>(tag, size_t(raster_bytes(width, 8)) + 8);
        return buf_ != nullptr;
    }
    bool present() const { return buf_ != nullptr; }
    // Row r's alpha values, or null after the fetch failed (error pushed).
    const uint8_t *get(int32_t r) { return VPb_IO_linked_raster_get(s_, r, buf_) == 0 ? buf_ : nullptr; }

private:
    VPb_STREAM *s_ = nullptr;
    uint8_t *buf_ = nullptr;
};

}  // namespace qv
