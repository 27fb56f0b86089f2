/*
 * pcx_read.cpp - the PCX reader (format type 31).
 *
 * Reads the 128-byte header field by field, offers its fields as tags 400 to
 * 417, picks the palette (black/white, the default 16 colours, the header's
 * 16, the 256-colour trailer before the end of the image data, or a grey
 * ramp), then decodes the lines top to bottom through a buffer of five
 * encoded lines (a memory stream's bytes are decoded where they lie) and
 * delivers them as DIB rows to the load pipeline, built in the image itself
 * when it takes the rows unchanged, else handed over 64 at a time. A line
 * encoded exactly as the one before it is not decoded again.
 *
 *   pcx_read_image, pcx_info_image (used by the DCX reader too)
 *   pcx_read, pcx_info, pcx_pages  (filter-table entries)
 *
 * Layouts: 1, 2, 4 or 8 bits in 1 to 4 planes. 1 bit in 1 plane, 4 bits and
 * 8 bits in 1 plane are DIB rows already; 1-bit planes are combined into
 * 4-bit pixels (bit p from plane p); 2 bits, and 4 bits in 2 planes, become
 * 4- or 8-bit indices the same way; 8 bits in 3 planes (R, G, B) become
 * 24-bit B, G, R, in 4 planes 32-bit B, G, R, A (in 2 planes B is 0); 4 bits
 * in 3 or 4 planes are colour channels widened to 8 bits. Palettes: 1 bit
 * black and white; 2 to 7 bits the default 16 colours (version 3) or the
 * header's; 8 bits the trailer (version 5) or a grey ramp.
 *
 * Codes (iVal, lVal): -2052 (128, bytes read) short header; -2060 (found,
 * 10) manufacturer; -400 (xmin, xmax) or (ymin, ymax) when the maximum lies
 * before the minimum, (bytes per line, bytes a row needs) for a short line;
 * -2112 (bits per pixel, planes) for other layouts; -2050 (rows, rows
 * decoded) when the encoded data ends before the last row; -2051 (line
 * length, bytes read) for a short stored line; -1000 (size, memory tag).
 * On any failure the stream goes back to where the reader found it.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pcx_codec.h"
#include "filters/pcx_filter.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\PCXREAD.C";

// Reads fields one after another, adding up the bytes that arrived; after
// the first short field nothing more is read.
class FieldReader {
public:
    explicit FieldReader(VPb_STREAM *s) : s_(s) {}
    void byte(uint8_t *v) {
        if (ok_) take(VPb_IO_byte_read(s_, v), 1);
    }
    void word(uint16_t *v) {
        if (ok_) take(VPb_IO_ii_word_read(s_, v), 2);
    }
    void block(uint8_t *p, int32_t n) {
        if (ok_) take(VPb_IO_read(s_, p, n), n);
    }
    int32_t count() const { return got_; }

private:
    void take(int32_t n, int32_t want) {
        if (n > 0) got_ += n;
        if (n != want) ok_ = false;
    }
    VPb_STREAM *s_;
    int32_t got_ = 0;
    bool ok_ = true;
};

// Header from the current position; -2052 (128, count) when short,
// -2060 (found, 10) for a wrong manufacturer byte.
int32_t read_header(VPb_STREAM *s, PcxHeader *h) {
    *h = PcxHeader{};
    FieldReader r(s);
    r.byte(&h->manufacturer);
    r.byte(&h->version);
    r.byte(&h->encoding);
    r.byte(&h->bpp);
    r.word(&h->xmin);
    r.word(&h->ymin);
    r.word(&h->xmax);
    r.word(&h->ymax);
    r.word(&h->hres);
    r.word(&h->vres);
    r.block(h->palette, sizeof h->palette);
    r.byte(&h->reserved);
    r.byte(&h->planes);
    r.word(&h->bytes_per_line);
    r.word(&h->palette_info);
    r.word(&h->hscreen);
    r.word(&h->vscreen);
    r.block(h->filler, sizeof h->filler);
    if (r.count() != kPcxHeaderSize) return QV_ERR(QVE_SHORT_HEADER, kPcxHeaderSize, r.count());
    if (h->manufacturer != kPcxManufacturer) {
        return QV_ERR(QVE_BAD_SIGNATURE, h->manufacturer, kPcxManufacturer);
    }
    return 0;
}

// Header resolution (dots per inch) in the unit of the DIB's fields.
int32_t dib_resolution(uint16_t dpi) {
    if (VPb_DIB_resolution_mode_get() == 3) return dpi;
    return int32_t(double(dpi) * 39.37 + 0.5);
}

void fill_dib_header(const PcxHeader &h, const PcxLayout &l, QV_DIB_HEADER *d) {
    std::memset(d, 0, sizeof *d);
    d->biSize = 40;
    d->biWidth = l.width;
    d->biHeight = l.height;
    d->biPlanes = 1;
    d->biBitCount = static_cast<uint16_t>(l.dib_bpp);
    d->biCompression = QV_BI_RGB;
    d->biSizeImage = static_cast<uint32_t>(l.dib_row_bytes * size_t(l.height));
    d->biXPelsPerMeter = dib_resolution(h.hres);
    d->biYPelsPerMeter = dib_resolution(h.vres);
    d->biClrUsed = l.dib_bpp <= 8 ? (1u << l.dib_bpp) : 0;
}

// Where the image data ends: the caller's end (a DCX page), else the
// stream's end of data.
int64_t data_end_of(VPb_STREAM *s, int64_t data_end) {
    return data_end >= 0 ? data_end : VPb_IO_data_end(s);
}

// The 256 colours of the trailer 769 bytes before data_end (the marker byte
// is not checked); false when they cannot all be read or would overlap the
// header.
bool read_trailer(VPb_STREAM *s, int64_t header_end, int64_t data_end, uint8_t colours[768]) {
    if (data_end < 0 || data_end - kPcxTrailerSize < header_end) return false;
    const int64_t here = VPb_IO_tell(s);
    bool ok = false;
    uint8_t buf[kPcxTrailerSize];
    if (VPb_IO_seek(s, data_end - kPcxTrailerSize, 0) == data_end - kPcxTrailerSize) {
        ok = VPb_IO_read(s, buf, kPcxTrailerSize) == kPcxTrailerSize;
        if (ok) std::memcpy(colours, buf + 1, 768);
    }
    VPb_IO_seek(s, here, 0);
    return ok;
}

// Feeds encoded bytes to the decoder, never past the end of the image data:
// from a memory stream all of it at once where it lies (VPb_IO_read_view),
// else five lines at a time through the buffer.
class LineInput {
public:
    LineInput(VPb_STREAM *s, uint8_t *buf, size_t size, int64_t data_end)
        : s_(s), buf_(buf), size_(size), end_(data_end), pos_(VPb_IO_tell(s)) {}

    // Reads the next block; false at the end of the input.
    bool refill() {
        int64_t left = kWhole;
        if (end_ >= 0 && pos_ >= 0) {
            left = end_ - pos_;
            if (left <= 0) return false;
        }
        if (view_) {
            const uint8_t *v = nullptr;
            const int32_t got = VPb_IO_read_view(s_, int32_t(left < kWhole ? left : kWhole), &v);
            if (got >= 0) return take(v, got);
            view_ = false;
        }
        const int32_t n = VPb_IO_read(s_, buf_, int32_t(uint64_t(left) < size_ ? size_t(left) : size_));
        return take(buf_, n);
    }
    const uint8_t *p_ = nullptr;
    const uint8_t *e_ = nullptr;
    uint32_t blocks_ = 0;  // blocks taken: bytes from an earlier block may be gone

private:
    static constexpr int64_t kWhole = 0x40000000;  // the most taken at once
    bool take(const uint8_t *at, int32_t n) {
        if (n <= 0) return false;
        ++blocks_;
        pos_ += n;
        p_ = at;
        e_ = at + n;
        return true;
    }
    VPb_STREAM *s_;
    uint8_t *buf_;
    size_t size_;
    int64_t end_;
    int64_t pos_;
    bool view_ = true;
};

// Rows are handed to the load pipeline this many at a time.
constexpr int32_t kRowBatch = 64;

// Where each decoded row goes: built in the image itself when it takes the
// rows unchanged (VPb_IO_raster_direct_get), else gathered kRowBatch at a
// time and handed over together (VPb_IO_raster_rows_set).
class RowSink {
public:
    RowSink(VPb_STREAM *s, const PcxLayout &l, uint8_t *batch)
        : s_(s), height_(l.height), stride_(l.dib_row_bytes), direct_(VPb_IO_raster_direct_get(s)), batch_(batch) {}
    uint8_t *row(int32_t y) const {
        return direct_ ? direct_ + size_t(height_ - 1 - y) * stride_ : batch_ + size_t(pending_) * stride_;
    }
    // Row y (the next one) is built.
    int32_t done(int32_t y) {
        if (++pending_ < kRowBatch && y + 1 < height_) return 0;
        return flush(y);
    }
    // Hands over the rows built so far, the last one being row y.
    int32_t flush(int32_t y) {
        const int32_t n = pending_;
        pending_ = 0;
        if (n == 0) return 0;
        const int32_t rc = direct_ ? VPb_IO_raster_direct_done(s_, n)
                                   : VPb_IO_raster_rows_set(s_, y + 1 - n, 1, n, batch_, ptrdiff_t(stride_));
        return rc < 0 ? rc : 0;
    }

private:
    VPb_STREAM *s_;
    int32_t height_;
    size_t stride_;
    uint8_t *direct_;
    uint8_t *batch_;
    int32_t pending_ = 0;
};

// Decodes the lines top to bottom into the rows of a RowSink: a line
// already in DIB packing that fits the row is decoded straight into it (its
// padding cleared after), other layouts are decoded into the line buffer
// and converted into the row. A line whose encoded bytes repeat those of
// the line before it, both starting and ending on a record boundary, is the
// same line: the row before is copied instead (text and line art repeat
// rows all the time).
int32_t decode_rows(VPb_STREAM *s, const PcxHeader &h, const PcxLayout &l, int64_t data_end) {
    FilterTag tag;
    size_t in_size = 0, work = 0, batch = 0;
    if (!VPb_size_mul(l.line_bytes, kPcxBufferedLines, &in_size) || !VPb_size_add(in_size, l.line_bytes, &work) ||
        !VPb_size_mul(l.dib_row_bytes, kRowBatch, &batch) || !VPb_size_add(work, batch, &work)) {
        return QV_ERR(QVE_NO_MEMORY, -1, tag.tag());
    }
    uint8_t *in = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag.tag(), work));
    if (!in) return QV_ERR(QVE_NO_MEMORY, int32_t(work), tag.tag());
    uint8_t *line = in + in_size;
    RowSink rows(s, l, line + l.line_bytes);
    const bool in_place = l.kind == PcxLineKind::Copy && l.line_bytes <= l.dib_row_bytes;

    LineInput input(s, in, in_size, data_end);
    PcxRleState st;
    const size_t L = l.line_bytes;
    const uint8_t *last_code = nullptr;  // the line before's encoded bytes, when they can be matched
    size_t last_code_len = 0;
    const uint8_t *last_row = nullptr;
    for (int32_t y = 0; y < l.height; ++y) {
        uint8_t *dib_row = rows.row(y);
        uint8_t *dst = in_place ? dib_row : line;
        if (h.encoding != 0) {
            const bool clean = st.pending == 0 && st.count_waiting == 0;
            if (clean && last_code && size_t(input.e_ - input.p_) >= last_code_len &&
                std::memcmp(input.p_, last_code, last_code_len) == 0) {
                input.p_ += last_code_len;
                std::memcpy(dib_row, last_row, l.dib_row_bytes);
                last_code = input.p_ - last_code_len;
                last_row = dib_row;
                if (int32_t rc = rows.done(y)) return rc;
                continue;
            }
            const uint8_t *code = input.p_;
            const uint32_t block = input.blocks_;
            size_t pos = pcx_rle_decode_fast(st, &input.p_, input.e_, dst, 0, L);
            while (pos < L && input.refill()) pos = pcx_rle_decode_fast(st, &input.p_, input.e_, dst, pos, L);
            if (pos < L) {
                rows.flush(y - 1);
                return QV_ERR(QVE_SHORT_READ, l.height, y);
            }
            const bool whole = clean && block == input.blocks_ && st.pending == 0 && st.count_waiting == 0;
            last_code = whole ? code : nullptr;
            last_code_len = whole ? size_t(input.p_ - code) : 0;
        } else {
            size_t pos = 0;
            while (pos < L) {
                if (input.p_ == input.e_ && !input.refill()) break;
                size_t n = size_t(input.e_ - input.p_);
                if (n > L - pos) n = L - pos;
                std::memcpy(dst + pos, input.p_, n);
                input.p_ += n;
                pos += n;
            }
            if (pos < L) {
                rows.flush(y - 1);
                return QV_ERR(QVE_BUFFER_FAILED, int32_t(L), int32_t(pos));
            }
        }
        if (in_place) {
            std::memset(dib_row + l.plane_bytes, 0, l.dib_row_bytes - l.plane_bytes);
        } else {
            pcx_line_to_dib(l, line, dib_row);
        }
        last_row = dib_row;
        if (int32_t rc = rows.done(y)) return rc;
    }
    return 0;
}

int32_t read_at(VPb_STREAM *s, int64_t data_end) {
    const int64_t start = VPb_IO_tell(s);
    PcxHeader h;
    if (int32_t rc = read_header(s, &h)) return rc;
    pcx_offer_tags(s, h);
    PcxLayout l;
    PcxBad bad;
    if (!pcx_layout(h, &l, &bad)) return QV_ERR(bad.code, bad.iVal, bad.lVal);

    const int64_t end = data_end_of(s, data_end);
    QV_RGBQUAD palette[256];
    const PcxPaletteRule rule = pcx_palette_rule(h, l);
    uint8_t colours[768];
    const bool trailer = rule == PcxPaletteRule::Trailer256 &&
                         read_trailer(s, start + kPcxHeaderSize, end, colours);
    pcx_palette_build(rule, h, trailer ? colours : nullptr, palette);

    QV_DIB_HEADER dib;
    fill_dib_header(h, l, &dib);
    if (int32_t rc = VPb_IO_DIB_create(s, &dib, l.dib_bpp <= 8 ? palette : nullptr); rc < 0) return rc;
    if (int32_t rc = decode_rows(s, h, l, end)) return rc;
    return VPb_IO_raster_post_process(s);
}

}  // namespace

int32_t pcx_read_image(VPb_STREAM *s, int64_t data_end) {
    const int64_t entry = VPb_IO_tell(s);
    const int32_t before = VPb_AF_error_check();
    int32_t rc = read_at(s, data_end);
    if (rc < 0 || VPb_AF_error_check() > before) {
        VPb_IO_seek(s, entry, 0);
        return rc < 0 ? rc : -1;
    }
    return 0;
}

int32_t pcx_info_image(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *compression) {
    const int64_t entry = VPb_IO_tell(s);
    PcxHeader h;
    int32_t rc = read_header(s, &h);
    PcxLayout l;
    PcxBad bad;
    if (rc == 0 && !pcx_layout(h, &l, &bad)) rc = QV_ERR(bad.code, bad.iVal, bad.lVal);
    VPb_IO_seek(s, entry, 0);
    if (rc) return rc;
    if (info) fill_dib_header(h, l, info);
    if (compression) *compression = h.encoding ? kPcxCompressionRle : 0;
    return 0;
}

int32_t pcx_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *) {
    int32_t compression = 0;
    if (int32_t rc = pcx_info_image(s, info, &compression)) return rc;
    if (format_type) *format_type = kPcxFormatType;
    if (value) *value = compression;
    return 0;
}

int32_t pcx_read(VPb_STREAM *s, void *, int32_t, int32_t) { return pcx_read_image(s, -1); }

int32_t pcx_pages(VPb_STREAM *, void *, int32_t *count) {
    if (count) *count = 1;
    return 0;
}

}  // namespace qv
