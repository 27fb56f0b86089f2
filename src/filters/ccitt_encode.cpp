/*
 * ccitt_encode.cpp - the CCITT encoders: one-dimensional T.4 (modified
 * Huffman with EOLs, byte-aligned EOLs, or byte-aligned rows without EOLs),
 * two-dimensional T.4 in groups of K rows, and T.6; each writes through a
 * 64-bit bit buffer into a 32767-byte output buffer (or a caller's sized
 * sink) and codes rows from their change lists.
 *
 * Codes: -3320 (the mode) for a mode no encoder takes or a width outside
 * 1..65535; -3300 (bits per pixel) for an image that is not 1-bit; -2070
 * (bytes written, bytes to write) for a short write to the stream; -2071
 * (sink size, bytes to write) when a sized sink is full; -1000 (bytes, tag).
 */
#include <algorithm>
#include <cstring>

#include "filters/ccitt_codec.h"
#include "filters/ccitt_tables.h"
#include "filters/filter_util.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\GROUP4.C";
constexpr int32_t kOutBufferSize = 32767;

enum class Family { k1D, k2D, kT6 };

bool family_of(int32_t mode, Family *f) {
    switch (mode) {
    case kCcittMH:
    case kCcittT4:
    case kCcittT4Fill:
    case kCcittSink1D:
    case kCcittSink1DB: *f = Family::k1D; return true;
    case kCcitt2D:
    case kCcitt2DFill:
    case kCcittSink2D:
    case kCcittSink2DB: *f = Family::k2D; return true;
    case kCcittT6:
    case kCcittSinkT6:
    case kCcittSinkT6B: *f = Family::kT6; return true;
    default: return false;
    }
}

bool sink_mode(int32_t mode) { return mode >= kCcittSink1D && mode <= kCcittSink2DB; }

class BitWriter {
public:
    BitWriter(VPb_STREAM *s, uint8_t *out, int32_t size, bool to_sink, const uint8_t *rev)
        : s_(s), out_(out), size_(size), sink_(to_sink), rev_(rev) {}

    // Appends the low `len` bits of `code` (len <= 32).
    void put(uint32_t code, int len) {
        acc_ |= uint64_t(code) << (64 - nbits_ - len);
        nbits_ += len;
        if (nbits_ >= 32) drain();
    }
    void zeros(int n) {
        while (n > 32) {
            put(0, 32);
            n -= 32;
        }
        if (n > 0) put(0, n);
    }
    // Free bits left in the current output byte (8 when it is empty).
    int free_bits() const { return 8 - (nbits_ & 7); }
    void align() {
        if (nbits_ & 7) put(0, 8 - (nbits_ & 7));
    }
    // Pads the last byte and writes everything out.
    int32_t finish() {
        align();
        drain();
        return flush();
    }
    int32_t status() const { return rc_; }
    int32_t written() const { return total_ + used_; }

    // Hands the bit buffer to a row coder and takes it back (below).
    void take_bits(uint64_t *acc, int *nbits) const {
        *acc = acc_;
        *nbits = nbits_;
    }
    void give_bits(uint64_t acc, int nbits) {
        acc_ = acc;
        nbits_ = nbits;
        drain();
    }
    // The top 32 bits of a full buffer.
    void put32(uint32_t v) {
        if (!rev_ && size_ - used_ >= 4) {
            const uint32_t be = __builtin_bswap32(v);
            std::memcpy(out_ + used_, &be, 4);
            used_ += 4;
            return;
        }
        for (int i = 3; i >= 0; --i) emit(uint8_t(v >> (8 * i)));
    }

private:
    void drain() {
        if (!rev_ && nbits_ >= 32 && size_ - used_ >= 4) {
            const uint32_t top = __builtin_bswap32(uint32_t(acc_ >> 32));
            std::memcpy(out_ + used_, &top, 4);
            used_ += 4;
            acc_ <<= 32;
            nbits_ -= 32;
        }
        while (nbits_ >= 8) {
            emit(uint8_t(acc_ >> 56));
            acc_ <<= 8;
            nbits_ -= 8;
        }
    }
    void emit(uint8_t b) {
        if (used_ == size_) {
            if (sink_) {
                if (rc_ == 0) rc_ = QV_ERR(QVE_WRITE_DATA, size_, used_ + 1);
                return;
            }
            flush();
        }
        out_[used_++] = rev_ ? rev_[b] : b;
    }
    int32_t flush() {
        if (sink_ || rc_ < 0 || used_ == 0) return rc_;
        const int32_t n = VPb_IO_write(s_, out_, used_);
        if (n != used_) rc_ = QV_ERR(QVE_WRITE_FAILED, n, used_);
        total_ += used_;
        used_ = 0;
        return rc_;
    }

    VPb_STREAM *s_;
    uint8_t *out_;
    int32_t size_;
    bool sink_;
    const uint8_t *rev_;
    uint64_t acc_ = 0;
    int nbits_ = 0;
    int32_t used_ = 0;
    int32_t total_ = 0;
    int32_t rc_ = 0;
};

// A row coder's own copy of the bit buffer, kept in registers while the
// row is coded (bytes stored into the output could otherwise alias it).
struct RowBits {
    explicit RowBits(BitWriter &w) : w_(w) { w.take_bits(&acc, &nbits); }
    ~RowBits() { w_.give_bits(acc, nbits); }
    void put(CcittCode c) {
        acc |= uint64_t(c.bits) << (64 - nbits - c.len);
        nbits += c.len;
        if (nbits >= 32) {
            w_.put32(uint32_t(acc >> 32));
            acc <<= 32;
            nbits -= 32;
        }
    }
    BitWriter &w_;
    uint64_t acc;
    int nbits;
};

class Coder {
public:
    Coder(BitWriter &out, const CcittTables &t, int32_t width) : out_(out), t_(t), width_(width) {}

    static void run(RowBits &b, const CcittTables &t, int colour, int32_t r) {
        while (r >= 2624) {
            b.put(t.makeup[colour][39]);
            r -= 2560;
        }
        if (r >= 64) {
            b.put(t.makeup[colour][r / 64 - 1]);
            r &= 63;
        }
        b.put(t.term[colour][r]);
    }

    void row_1d(const uint16_t *c, int32_t n) {
        RowBits b(out_);
        const CcittTables &t = t_;
        const int32_t w = width_;
        int32_t a0 = 0;
        int colour = 0;
        for (int32_t i = 0; i <= n; ++i) {
            const int32_t x = i < n ? c[i] : w;
            run(b, t, colour, x - a0);
            a0 = x;
            colour ^= 1;
            if (x >= w) break;
        }
    }

    void row_2d(const uint16_t *ref, const uint16_t *cur) {
        RowBits b(out_);
        const CcittTables &t = t_;
        const int32_t w = width_;
        int32_t a0 = -1;
        int colour = 0;
        int32_t pb = 0, ia = 0;
        while (a0 < w) {
            while (ref[pb] <= a0 && ref[pb] < w) pb += 2;
            const int32_t b1 = ref[pb], b2 = ref[pb + 1];
            const int32_t a1 = cur[ia];
            if (b2 < a1) {
                b.put(t.pass);
                a0 = b2;
                pb += 2;
                continue;
            }
            const int32_t d = a1 - b1;
            if (d >= -3 && d <= 3) {
                b.put(t.vertical[d + 3]);
                a0 = a1;
                colour ^= 1;
                ++ia;
                pb = pb > 0 ? pb - 1 : pb + 1;
                continue;
            }
            const int32_t a2 = cur[ia + 1];
            b.put(t.horizontal);
            run(b, t, colour, a1 - (a0 < 0 ? 0 : a0));
            run(b, t, colour ^ 1, a2 - a1);
            a0 = a2;
            ia += 2;
        }
    }

private:
    BitWriter &out_;
    const CcittTables &t_;
    int32_t width_;
};

// Rows fetched from the save pipeline.
class PipelineSource : public CcittRowSource {
public:
    PipelineSource(VPb_STREAM *s, int32_t width, int32_t height, bool white_is_zero, uint8_t *row,
                   const uint8_t *direct, size_t stride)
        : s_(s), width_(width), height_(height), one_is_black_(white_is_zero), row_(row),
          direct_(direct), stride_(stride) {}

    int32_t row(int32_t y, uint16_t *changes) override {
        const uint8_t *bits = row_;
        if (direct_) {
            bits = direct_ + size_t(height_ - 1 - y) * stride_;
        } else if (int32_t rc = VPb_IO_raster_get(s_, y, row_); rc < 0) {
            return rc;
        }
        return ccitt_changes_from_packed(bits, width_, one_is_black_, changes);
    }

private:
    VPb_STREAM *s_;
    int32_t width_, height_;
    bool one_is_black_;
    uint8_t *row_;
    const uint8_t *direct_;
    size_t stride_;
};

// Rows of a run-encoded image taken as run lists (no packed rows between).
class RunListSource : public CcittRowSource {
public:
    RunListSource(QUORIN img, bool white_is_zero, uint16_t *list) : img_(img), wiz_(white_is_zero), list_(list) {}

    int32_t row(int32_t y, uint16_t *changes) override {
        const int32_t before = VPb_AF_error_check();
        VPb_image_run_row_get(img_, y, list_);
        if (VPb_AF_error_check() > before) return QVE_FAILED;
        const int32_t words = list_[0] / 2;
        int32_t n = words - 4;  // the length word and three terminators
        const uint16_t *from = list_ + 1;
        uint16_t *out = changes;
        if (!wiz_) {  // pixel value 1 is white: the first run is black
            if (n > 0 && from[0] == 0) {
                ++from;
                --n;
            } else {
                *out++ = 0;
            }
        }
        std::memcpy(out, from, size_t(n + 3) * sizeof(uint16_t));
        return n + int32_t(out - changes);
    }

private:
    QUORIN img_;
    bool wiz_;
    uint16_t *list_;
};

}  // namespace

int32_t ccitt_encode(VPb_STREAM *stream, uint32_t tag, const CcittEncodeParams &p,
                     CcittRowSource &src) {
    Family family;
    if (!family_of(p.mode, &family)) return QV_ERR(QVE_OUT_OF_RANGE, p.mode, 0);
    if (p.width < 1 || p.width > kCcittMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, p.width, 0);
    const CcittTables &t = ccitt_tables();
    const bool to_sink = sink_mode(p.mode) || p.sink;
    if (!to_sink && !stream) return QV_ERR(QVE_NULL_POINTER, 0, 0);
    uint8_t *out = to_sink ? p.sink : filter_alloc_array<uint8_t>(tag, kOutBufferSize);
    if (!out && !to_sink) return QV_ERR(QVE_NO_MEMORY, kOutBufferSize, tag);
    const size_t words = size_t(p.width) + 8;
    uint16_t *rows = filter_alloc_array<uint16_t>(tag, 2 * words);
    if (!rows) return QV_ERR(QVE_NO_MEMORY, int32_t(4 * words), tag);
    uint16_t *ref = rows, *cur = rows + words;
    ref[0] = ref[1] = ref[2] = uint16_t(p.width);

    BitWriter bw(stream, out, to_sink ? (out ? p.sink_size : 0) : kOutBufferSize, to_sink,
                 p.fill_order == 2 ? t.reverse : nullptr);
    Coder coder(bw, t, p.width);
    const int32_t k = p.k < 1 ? 1 : p.k;
    const int32_t m = p.mode;

    if (family == Family::k1D) {
        if ((m == kCcittT4 || m == kCcittT4Fill) && p.leading_eol) bw.put(1, 16);
        if (m == kCcittSink1D || m == kCcittSink1DB) bw.put(1, 12);
    }
    for (int32_t i = 0; i < p.rows; ++i) {
        const int32_t n = src.row(p.first_row + i, cur);
        if (n < 0) return n;
        switch (family) {
        case Family::k1D:
            if (i > 0 && m != kCcittMH) {
                if (m == kCcittT4Fill) bw.zeros((bw.free_bits() + 4) & 7);
                bw.put(1, 12);
            }
            coder.row_1d(cur, n);
            if (m == kCcittMH) bw.align();
            break;
        case Family::k2D: {
            if (m == kCcitt2DFill) bw.zeros(bw.free_bits() + 4);
            const bool one_d = i % k == 0;
            bw.put(one_d ? 3 : 2, 13);
            if (one_d) coder.row_1d(cur, n);
            else coder.row_2d(ref, cur);
            break;
        }
        case Family::kT6: coder.row_2d(ref, cur); break;
        }
        if (bw.status() < 0) return bw.status();
        std::swap(ref, cur);
    }
    if (p.end_of_page) {
        switch (family) {
        case Family::k1D:
            if (m == kCcittT4Fill) {
                bw.align();
                for (int j = 0; j < 6; ++j) bw.put(1, 32);
            } else if (m != kCcittMH) {
                for (int j = 0; j < 6; ++j) bw.put(1, 12);
            }
            break;
        case Family::k2D:
            for (int j = 0; j < 6; ++j) bw.put(3, 13);
            break;
        case Family::kT6:
            bw.put(1, 12);
            bw.put(1, 12);
            break;
        }
    }
    const int32_t rc = bw.finish();
    if (to_sink && p.sink_used) *p.sink_used = bw.written();
    return rc;
}

int32_t ccitt_encode_from_stream(VPb_STREAM *stream, uint32_t tag, const CcittEncodeParams &p,
                                 bool white_is_zero) {
    QV_DIB_HEADER dib;
    std::memset(&dib, 0, sizeof dib);
    if (int32_t rc = VPb_IO_DIB_get(stream, &dib, nullptr, nullptr); rc < 0) return rc;
    if (dib.biBitCount != 1) return QV_ERR(QVE_DEPTH_NOT_APPLICABLE, dib.biBitCount, 0);
    const int32_t height = dib.biHeight < 0 ? -dib.biHeight : dib.biHeight;
    const size_t stride = size_t(raster_bytes(dib.biWidth, 1));
    uint8_t *row = filter_alloc_array<uint8_t>(tag, stride + 8);
    if (!row) return QV_ERR(QVE_NO_MEMORY, int32_t(stride), tag);
    CcittEncodeParams q = p;
    q.width = dib.biWidth;
    if (QUORIN img = VPb_IO_runs_direct_get(stream); img && dib.biWidth <= 32763) {
        uint16_t *list = filter_alloc_array<uint16_t>(tag, size_t(dib.biWidth) + 8);
        if (!list) return QV_ERR(QVE_NO_MEMORY, int32_t(2 * dib.biWidth + 16), tag);
        RunListSource src(img, white_is_zero, list);
        return ccitt_encode(stream, tag, q, src);
    }
    const uint8_t *direct = dib.biHeight > 0 ? VPb_IO_DIB_direct_get(stream) : nullptr;
    PipelineSource src(stream, dib.biWidth, height, white_is_zero, row, direct, stride);
    return ccitt_encode(stream, tag, q, src);
}

}  // namespace qv
