/*
 * tif_strips.cpp - decoding a TIFF page's strips by compression.
 *
 *   1      rows read as they are, a block of rows at a time (planar pages:
 *          each plane from its own strip, merged row by row); YCbCr with
 *          subsampling read in row groups of (h x v + 2)-byte units
 *   32773  PackBits, row by row
 *   2, 3, 4  CCITT through the shared codec: the mode from the compression
 *          and T4Options, one call per strip
 *   5      LZW through codec slot 8 (predictor passed on)
 *   32780  through codec slot 11, the stream at the first offset - 20
 *   7      JPEG: each strip (the one tile) a JPEG stream, with JPEGTables
 *   6      old JPEG: from JPEGInterchangeFormat (one strip) after the next
 *          start-of-image marker, else each strip as a JPEG stream
 * Anything else is refused.
 * Codes (iVal, lVal): -2051 (row bytes, row) a row that cannot be read;
 * -3000 (total bits, 0) CCITT data on a page of more than one bit per
 * pixel; -3320 (width, 0) CCITT data wider than 65535;
 * -2459 (strip, offsets) a strip without an offset; -2460 (90, compression)
 * compression not supported; -2480 (90, 8) no LZW codec; -2485 (11, 0) no
 * codec for 32780; -1000 (size, 0) out of memory; JPEG codes from the
 * shared decoder.
 */
#include <cstring>

#include "filters/ccitt_codec.h"
#include "filters/filter_util.h"
#include "filters/jpeg_codec.h"
#include "filters/packbits.h"
#include "filters/tif_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\TIFREAD.C";
constexpr size_t kBlockBytes = size_t(1) << 18;  // rows read per call, about

int32_t strip_rows(const TifPage &p, int32_t y) {
    const int32_t left = p.height - y;
    return left < p.rows_per_strip ? left : p.rows_per_strip;
}

// Offset index of strip s of plane `plane`; -1 when the page has none.
int64_t strip_at(const TifPage &p, int32_t s, int32_t plane, int32_t *index) {
    const int64_t i = int64_t(plane) * p.strips_per_plane + s;
    if (i >= p.offset_count) return -1;
    *index = int32_t(i);
    return p.base + p.offsets[i];
}

bool seek_to(VPb_STREAM *s, int64_t pos) { return pos >= 0 && VPb_IO_seek(s, pos, 0) == pos; }

// ---- none --------------------------------------------------------------------

int32_t decode_none(VPb_STREAM *s, TifPage &p, TifRowSink &sink, uint32_t tag) {
    const int32_t planes = p.planar == 2 ? p.samples : 1;
    const size_t rb = tif_plane_row_bytes(p);
    if (rb == 0 || rb > 0x7FFFFFFF) return QV_ERR(QVE_BUFFER_FAILED, int32_t(rb), 0);
    size_t block_rows = kBlockBytes / rb;
    if (block_rows < 5) block_rows = 5;
    if (block_rows > size_t(p.rows_per_strip)) block_rows = size_t(p.rows_per_strip);
    size_t bytes = 0;
    if (!VPb_size_mul3(block_rows, rb, size_t(planes), &bytes)) return QV_ERR(QVE_NO_MEMORY, -1, 0);
    uint8_t *buf = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, bytes));
    if (!buf) return QV_ERR(QVE_NO_MEMORY, int32_t(bytes), 0);
    int32_t y = 0;
    for (int32_t st = 0; st < p.strips && y < p.height; ++st) {
        const int32_t rows = strip_rows(p, y);
        for (int32_t done = 0; done < rows;) {
            const int32_t k = int32_t(size_t(rows - done) < block_rows ? size_t(rows - done) : block_rows);
            for (int32_t pl = 0; pl < planes; ++pl) {
                int32_t idx = 0;
                const int64_t at = strip_at(p, st, pl, &idx);
                if (at < 0) return QV_ERR(QVE_TIFF_OFFSETS, st, p.offset_count);
                uint8_t *dst = buf + size_t(pl) * block_rows * rb;
                const int32_t want = int32_t(size_t(k) * rb);
                if (!seek_to(s, at + int64_t(done) * int64_t(rb))) return QV_ERR(QVE_BUFFER_FAILED, int32_t(rb), y + done);
                const int32_t got = VPb_IO_read(s, dst, want);
                if (got != want) return QV_ERR(QVE_BUFFER_FAILED, int32_t(rb), y + done + (got > 0 ? got : 0) / int32_t(rb));
            }
            for (int32_t r = 0; r < k; ++r)
                for (int32_t pl = 0; pl < planes; ++pl)
                    if (int32_t rc = sink.row(y + done + r, pl, buf + (size_t(pl) * block_rows + size_t(r)) * rb)) return rc;
            done += k;
        }
        y += rows;
    }
    VPb_AF_mem_free(tag, buf);
    return 0;
}

// YCbCr with subsampling h x v: row groups of v rows, units of h x v luma
// samples then Cb and Cr for each block of h pixels.
int32_t decode_ycbcr(VPb_STREAM *s, TifPage &p, TifRowSink &sink, uint32_t tag) {
    const int32_t h = p.ycc_h, v = p.ycc_v, w = p.width;
    const size_t unit = size_t(h) * v + 2;
    const size_t blocks = (size_t(w) + h - 1) / size_t(h);
    const size_t group = blocks * unit;
    const size_t out_bytes = size_t(raster_bytes(w, 24));
    size_t total = 0;
    if (!VPb_size_mul(out_bytes, size_t(v), &total) || !VPb_size_add(total, group, &total))
        return QV_ERR(QVE_NO_MEMORY, -1, 0);
    uint8_t *in = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, total));
    if (!in) return QV_ERR(QVE_NO_MEMORY, int32_t(total), 0);
    uint8_t *rows = in + group;
    int32_t y = 0;
    for (int32_t st = 0; st < p.strips && y < p.height; ++st) {
        int32_t idx = 0;
        const int64_t at = strip_at(p, st, 0, &idx);
        if (at < 0) return QV_ERR(QVE_TIFF_OFFSETS, st, p.offset_count);
        if (!seek_to(s, at)) return QV_ERR(QVE_BUFFER_FAILED, int32_t(group), y);
        const int32_t strip_end = y + strip_rows(p, y);
        for (; y < strip_end; y += v) {
            if (VPb_IO_read(s, in, int32_t(group)) != int32_t(group)) return QV_ERR(QVE_BUFFER_FAILED, int32_t(group), y);
            for (size_t b = 0; b < blocks; ++b) {
                const uint8_t *u = in + b * unit;
                const int32_t cb = u[size_t(h) * v], cr = u[size_t(h) * v + 1];
                for (int32_t j = 0; j < v; ++j)
                    for (int32_t i = 0; i < h; ++i) {
                        const size_t x = b * size_t(h) + size_t(i);
                        if (x >= size_t(w)) continue;
                        tif_ycbcr_pixel(u[size_t(j) * h + i], cb, cr, rows + size_t(j) * out_bytes + 3 * x);
                    }
            }
            for (int32_t j = 0; j < v && y + j < p.height; ++j)
                if (int32_t rc = sink.deliver(y + j, rows + size_t(j) * out_bytes)) return rc;
        }
        y = strip_end;
    }
    VPb_AF_mem_free(tag, in);
    return 0;
}

// ---- input from a strip --------------------------------------------------------

// Buffered bytes of one strip, at most `limit` of them (negative: to the
// end of the data).
class StripInput {
public:
    StripInput(VPb_STREAM *s, uint8_t *buf, size_t size) : s_(s), buf_(buf), size_(size) {}
    bool open(int64_t at, int64_t limit) {
        p_ = e_ = buf_;
        left_ = limit < 0 ? INT64_MAX : limit;
        return seek_to(s_, at);
    }
    // Moves what is left to the front and reads more; false when nothing came.
    bool refill() {
        const size_t keep = size_t(e_ - p_);
        std::memmove(buf_, p_, keep);
        p_ = buf_;
        e_ = buf_ + keep;
        size_t want = size_ - keep;
        if (int64_t(want) > left_) want = size_t(left_);
        if (want == 0) return false;
        const int32_t got = VPb_IO_read(s_, buf_ + keep, int32_t(want));
        if (got <= 0) {
            left_ = 0;
            return false;
        }
        e_ += got;
        left_ -= got;
        return true;
    }
    const uint8_t *p_ = nullptr, *e_ = nullptr;

private:
    VPb_STREAM *s_;
    uint8_t *buf_;
    size_t size_;
    int64_t left_ = 0;
};

int32_t decode_packbits(VPb_STREAM *s, TifPage &p, TifRowSink &sink, uint32_t tag) {
    const int32_t planes = p.planar == 2 ? p.samples : 1;
    const size_t rb = tif_plane_row_bytes(p);
    const size_t in_size = 1 << 16;
    size_t bytes = 0;
    if (!VPb_size_mul(rb, size_t(planes), &bytes) || !VPb_size_add(bytes, in_size, &bytes))
        return QV_ERR(QVE_NO_MEMORY, -1, 0);
    uint8_t *row = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, bytes));
    if (!row) return QV_ERR(QVE_NO_MEMORY, int32_t(bytes), 0);
    StripInput in(s, row + rb * planes, in_size);
    int32_t y = 0;
    for (int32_t st = 0; planes == 1 && st < p.strips && y < p.height; ++st) {
        const int32_t rows = strip_rows(p, y);
        int32_t idx = 0;
        const int64_t at = strip_at(p, st, 0, &idx);
        if (at < 0) return QV_ERR(QVE_TIFF_OFFSETS, st, p.offset_count);
        const int64_t limit = p.byte_counts ? int64_t(p.byte_counts[idx]) : -1;
        if (!in.open(at, limit)) return QV_ERR(QVE_BUFFER_FAILED, int32_t(rb), y);
        for (int32_t r = 0; r < rows; ++r) {
            size_t filled = 0;
            for (;;) {
                in.p_ += packbits_decode_row(in.p_, size_t(in.e_ - in.p_), row, rb, &filled);
                if (filled == rb || !in.refill()) break;
            }
            if (filled < rb) return QV_ERR(QVE_BUFFER_FAILED, int32_t(rb), y + r);
            if (int32_t rc = sink.row(y + r, 0, row)) return rc;
        }
        y += rows;
    }
    if (planes > 1) {
        // Planar PackBits: each plane's strips decoded into a page buffer of
        // that plane, then rows merged.
        size_t page_bytes = 0;
        if (!VPb_size_mul3(rb, size_t(p.height), size_t(planes), &page_bytes)) return QV_ERR(QVE_NO_MEMORY, -1, 0);
        uint8_t *all = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, page_bytes));
        if (!all) return QV_ERR(QVE_NO_MEMORY, int32_t(page_bytes), 0);
        for (int32_t pl = 0; pl < planes; ++pl) {
            int32_t yy = 0;
            for (int32_t st = 0; st < p.strips && yy < p.height; ++st) {
                const int32_t rows = strip_rows(p, yy);
                int32_t idx = 0;
                const int64_t at = strip_at(p, st, pl, &idx);
                if (at < 0) return QV_ERR(QVE_TIFF_OFFSETS, st, p.offset_count);
                const int64_t limit = p.byte_counts ? int64_t(p.byte_counts[idx]) : -1;
                if (!in.open(at, limit)) return QV_ERR(QVE_BUFFER_FAILED, int32_t(rb), yy);
                for (int32_t r = 0; r < rows; ++r) {
                    uint8_t *dst = all + (size_t(pl) * p.height + size_t(yy + r)) * rb;
                    size_t filled = 0;
                    for (;;) {
                        in.p_ += packbits_decode_row(in.p_, size_t(in.e_ - in.p_), dst, rb, &filled);
                        if (filled == rb || !in.refill()) break;
                    }
                    if (filled < rb) return QV_ERR(QVE_BUFFER_FAILED, int32_t(rb), yy + r);
                }
                yy += rows;
            }
        }
        for (int32_t r = 0; r < p.height; ++r)
            for (int32_t pl = 0; pl < planes; ++pl)
                if (int32_t rc = sink.row(r, pl, all + (size_t(pl) * p.height + size_t(r)) * rb)) return rc;
        VPb_AF_mem_free(tag, all);
    }
    VPb_AF_mem_free(tag, row);
    return 0;
}

// ---- CCITT -------------------------------------------------------------------------

int32_t decode_ccitt(VPb_STREAM *s, TifPage &p, uint32_t tag) {
    int32_t mode = 3;
    if (p.compression == 2) mode = kCcittMH;
    else if (p.compression == 4) mode = kCcittT6;
    else if (p.t4_options == 1) mode = kCcitt2D;
    else if (p.t4_options == 4) mode = kCcittT4Fill;
    else if (p.t4_options == 5) mode = kCcitt2DFill;
    else mode = kCcittT4;
    const CcittEntry entry = mode == kCcittT6 ? CcittEntry::kT6
                             : (mode == kCcitt2D || mode == kCcitt2DFill) ? CcittEntry::k2D
                                                                           : CcittEntry::k1D;
    if (p.width > kCcittMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, p.width, 0);
    // Fax data is one bit per pixel; other depths cannot be coded so.
    if (p.dib_bpp != 1) return QV_ERR(QVE_DEPTH_UNSUPPORTED, p.total_bits, 0);
    constexpr int32_t kBuf = 65534;
    uint8_t *buf = filter_alloc_array<uint8_t>(tag, kBuf);
    if (!buf) return QV_ERR(QVE_NO_MEMORY, kBuf, 0);
    int32_t y = 0;
    for (int32_t st = 0; st < p.strips && y < p.height; ++st) {
        int32_t idx = 0;
        const int64_t at = strip_at(p, st, 0, &idx);
        if (at < 0) return QV_ERR(QVE_TIFF_OFFSETS, st, p.offset_count);
        int64_t count = p.byte_counts ? int64_t(p.byte_counts[idx]) : 0;
        if (mode == kCcittT6 && count < 10) count = 0;
        const int32_t size = count == 0 || count > kBuf ? kBuf : int32_t(count);
        if (!seek_to(s, at)) return QV_ERR(QVE_BUFFER_FAILED, size, y);
        CcittByteSource src;
        src.stream = s;
        src.buf = buf;
        src.size = size;
        src.held = 0;
        src.stream_bytes = count > 0 ? count : -1;
        CcittDecodeParams cp;
        cp.width = p.width;
        cp.rows = strip_rows(p, y);
        cp.first_row = y;
        cp.fill_order = p.fill_order;
        cp.mode = mode;
        cp.first_strip = st == 0;
        // White runs are pixel value 1 (palette white) on WhiteIsZero pages,
        // value 0 otherwise (as the photometric reads the bits).
        if (int32_t rc = ccitt_decode_to_stream(entry, src, cp, p.photometric != 0, tag); rc < 0) return rc;
        y += cp.rows;
    }
    return 0;
}

// ---- codec slots ---------------------------------------------------------------------

int32_t decode_slot(VPb_STREAM *s, TifPage &p, TifRowSink &sink, uint32_t tag, int32_t slot) {
    VPb_TIF_CODEC_FN fn = VPb_TIF_codec_get(slot);
    if (!fn) {
        if (slot == QV_CODEC_SLOT_LZW) return QV_ERR(QVE_NO_LZW_CODEC, 90, 8);
        return QV_ERR(QVE_NO_CODEC, 11, 0);
    }
    VPb_TIF_CODEC_ARGS a{};
    a.stream = s;
    a.tag = tag;
    a.base = p.base;
    a.offsets = p.offsets;
    a.byte_counts = p.byte_counts;
    a.offset_count = p.offset_count;
    a.strips = p.strips;
    a.strips_per_plane = p.strips_per_plane;
    a.rows_per_strip = p.rows_per_strip;
    a.width = p.width;
    a.height = p.height;
    a.planar = p.planar;
    a.photometric = p.photometric;
    a.fill_order = p.fill_order;
    for (int i = 0; i < 7; ++i) a.bits[i] = p.bits[i];
    a.samples = p.samples;
    a.extra_samples = p.extra;
    a.predictor = slot == QV_CODEC_SLOT_LZW ? p.predictor : 1;
    a.byte_order = p.byte_order;
    a.row = tif_sink_row_fn;
    a.user = &sink;
    if (slot == QV_CODEC_SLOT_32780) VPb_IO_seek(s, int64_t(p.offsets[0]) - 20, 0);
    return fn(&a);
}

// ---- JPEG ------------------------------------------------------------------------

// One JPEG stream from the stream's position: rows y0.. of the page.
int32_t jpeg_part(VPb_STREAM *s, TifPage &p, TifRowSink &sink, uint32_t tag, const JpegParams &jp,
                  int32_t y0, int32_t rows, uint8_t *dib_row) {
    JpegDecoder dec(s, tag);
    JpegFrame f;
    if (int32_t rc = dec.read_header(jp, &f)) return rc;
    // The stream's own size, which may pass the page's, meets the pixel
    // limit before the decompressor sizes its buffers for it (a progressive
    // stream's coefficients are held whole).
    if (int32_t rc = VPb_IO_pixel_limit_check(s, f.full_width, f.full_height)) return rc;
    if (int32_t rc = dec.start(jp, &f)) return rc;
    // The stream's own width may pass the page's.
    const size_t row_bytes = size_t(f.width > p.width ? f.width : p.width) * 3 + 64;
    uint8_t *row = filter_alloc_array<uint8_t>(tag, row_bytes);
    if (!row) return QV_ERR(QVE_NO_MEMORY, int32_t(row_bytes), 0);
    const int32_t n = f.height < rows ? f.height : rows;
    const int32_t w = f.width < p.width ? f.width : p.width;
    for (int32_t r = 0; r < n; ++r) {
        uint8_t *rp = row;
        if (int32_t rc = dec.read_rows(&rp, 1)) return rc;
        if (p.dib_bpp == f.out_bpp) {
            std::memcpy(dib_row, row, size_t(w) * size_t(f.out_bpp / 8));
        } else if (p.dib_bpp == 24) {
            for (int32_t x = 0; x < w; ++x) dib_row[3 * x] = dib_row[3 * x + 1] = dib_row[3 * x + 2] = row[x];
        } else if (p.dib_bpp == 8) {
            for (int32_t x = 0; x < w; ++x) dib_row[x] = row[3 * x + 1];
        } else {
            return QV_ERR(QVE_DEPTH_UNSUPPORTED, p.dib_bpp, 0);
        }
        if (int32_t rc = sink.deliver(y0 + r, dib_row)) return rc;
    }
    VPb_AF_mem_free(tag, row);
    // Rows the stream does not hold stay as the image was made.
    return 0;
}

int32_t decode_jpeg(VPb_STREAM *s, VPb_TIF_TAGS *st, TifPage &p, TifRowSink &sink, uint32_t tag) {
    if (p.dib_bpp != 8 && p.dib_bpp != 24) return QV_ERR(QVE_DEPTH_UNSUPPORTED, p.total_bits, 0);
    JpegParams jp;
    int32_t type = 0, count = 0, size = 0;
    const void *tables = VPb_TIF_tag_data_get(st, 0, 347, &type, &count, &size);
    if (tables && size > 0) {
        jp.tables = static_cast<const uint8_t *>(tables);
        jp.tables_len = size_t(size);
    }
    jp.no_colour_transform = p.photometric == 2;
    const size_t dib = size_t(raster_bytes(p.width, 24)) + 16;
    uint8_t *dib_row = filter_alloc_array<uint8_t>(tag, dib);
    if (!dib_row) return QV_ERR(QVE_NO_MEMORY, int32_t(dib), 0);

    if (p.compression == 6) {
        const TifEntry *jif = tif_entry(st, kTiJpegIF, 513);
        const uint32_t at = tif_value(jif, 0, 0);
        if (at != 0 && p.strips == 1) {
            // The next start-of-image marker from JPEGInterchangeFormat on.
            if (!seek_to(s, p.base + at)) return QV_ERR(QVE_BUFFER_FAILED, 1000, 0);
            int64_t pos = p.base + at;
            uint8_t buf[1000];
            int64_t found = -1;
            uint8_t prev = 0;
            for (int32_t got; found < 0 && (got = VPb_IO_read(s, buf, sizeof buf)) > 0; pos += got) {
                for (int32_t i = 0; i < got; ++i) {
                    if (prev == 0xFF && buf[i] == 0xD8) {
                        found = pos + i - 1;
                        break;
                    }
                    prev = buf[i];
                }
            }
            if (found < 0 || !seek_to(s, found)) return QV_ERR(QVE_BUFFER_FAILED, 1000, 0);
            return jpeg_part(s, p, sink, tag, jp, 0, p.height, dib_row);
        }
    }
    int32_t y = 0;
    for (int32_t k = 0; k < p.strips && y < p.height; ++k) {
        int32_t idx = 0;
        const int64_t at = strip_at(p, k, 0, &idx);
        if (at < 0) return QV_ERR(QVE_TIFF_OFFSETS, k, p.offset_count);
        if (!seek_to(s, at)) return QV_ERR(QVE_BUFFER_FAILED, 0, y);
        JpegParams part = jp;
        if (p.byte_counts && p.byte_counts[idx]) part.data_end = at + p.byte_counts[idx];
        const int32_t rows = strip_rows(p, y);
        if (int32_t rc = jpeg_part(s, p, sink, tag, part, y, rows, dib_row)) return rc;
        y += rows;
    }
    return 0;
}

}  // namespace

int32_t tif_decode(VPb_STREAM *s, VPb_TIF_TAGS *st, TifPage &p, TifRowSink &sink, uint32_t tag) {
    switch (p.compression) {
    case 1:
        // Grouped only for factors of 1 to 4 (not both 1); any other pair,
        // a 0 among them, is read as one sample set a pixel.
        if (p.photometric == 6 && (p.ycc_h > 1 || p.ycc_v > 1) && p.planar != 2 && p.ycc_h >= 1 &&
            p.ycc_v >= 1 && p.ycc_h <= 4 && p.ycc_v <= 4)
            return decode_ycbcr(s, p, sink, tag);
        return decode_none(s, p, sink, tag);
    case 32773:
        return decode_packbits(s, p, sink, tag);
    case 2:
    case 3:
    case 4:
        return decode_ccitt(s, p, tag);
    case 5:
        return decode_slot(s, p, sink, tag, QV_CODEC_SLOT_LZW);
    case 32780:
        return decode_slot(s, p, sink, tag, QV_CODEC_SLOT_32780);
    case 6:
    case 7:
        return decode_jpeg(s, st, p, sink, tag);
    default:
        return QV_ERR(QVE_TIFF_COMPRESSION, 90, p.compression);
    }
}

}  // namespace qv
