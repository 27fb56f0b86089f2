/*
 * bmp_rle.cpp - RLE8 and RLE4 decoding of BMP pixel data.
 *
 * Codes: a count byte n > 0 repeats the next byte's value (RLE8) or its two
 * nibbles alternately (RLE4) n times; 0,0 ends the line; 0,1 ends the
 * bitmap; 0,2,dx,dy moves right and down; 0,n (n >= 3) copies n values
 * (bytes or nibbles) padded to a 16-bit boundary. Decoding is lenient and
 * never leaves the image: pixels past the row end are dropped, moves past
 * the last row end the image, and data that ends without an end-of-bitmap
 * code leaves the remaining pixels at index 0, as are pixels skipped by
 * moves and line ends. Every row is handed on, in file order.
 *
 * Internal: bmp_read_rle (bmp_format.h).
 */
#include <cstring>
#include <memory>

#include "filters/filter_util.h"
#include "filters/bmp_format.h"

namespace qv {
namespace {

constexpr int32_t kInputBytes = 64 * 1024;

// Byte source over the stream with a block buffer.
class ByteSource {
public:
    explicit ByteSource(VPb_STREAM *s) : s_(s) {}
    bool next(uint8_t *b) {
        if (pos_ == len_ && !fill()) return false;
        *b = buf_[pos_++];
        return true;
    }

private:
    bool fill() {
        int32_t got = VPb_IO_read(s_, buf_, kInputBytes);
        pos_ = 0;
        len_ = got > 0 ? got : 0;
        return len_ > 0;
    }
    VPb_STREAM *s_;
    int32_t pos_ = 0, len_ = 0;
    uint8_t buf_[kInputBytes];
};

class Decoder {
public:
    Decoder(const BmpHeader &h, uint8_t *row, BmpRowSink sink, void *user)
        : w_(h.width), rows_(h.rows()), four_(h.bpp == 4), row_(row), sink_(sink), user_(user) {
        std::memset(row_, 0, size_t(w_));
    }
    void put(uint8_t v) {
        if (x_ < w_) row_[x_++] = v;  // pixels past the row end are dropped
    }
    // Hands on the current row and starts the next; false past the last row.
    bool next_row(int32_t *status) {
        *status = sink_(user_, y_, row_);
        std::memset(row_, 0, size_t(w_));
        x_ = 0;
        return *status == 0 && ++y_ < rows_;
    }
    int32_t finish() {
        int32_t st = 0;
        while (y_ < rows_ && next_row(&st)) {
        }
        return st;
    }
    int32_t run(uint32_t n, uint8_t v) {
        if (!four_) {
            for (uint32_t k = 0; k < n && x_ < w_; ++k) row_[x_++] = v;
        } else {
            uint8_t a = v >> 4, b = v & 15;
            for (uint32_t k = 0; k < n && x_ < w_; ++k) row_[x_++] = (k & 1) ? b : a;
        }
        return 0;
    }
    void move(uint32_t dx) {
        int64_t nx = int64_t(x_) + dx;
        x_ = nx > w_ ? w_ : int32_t(nx);
    }
    bool four() const { return four_; }
    int32_t x() const { return x_; }

private:
    int32_t w_, rows_;
    bool four_;
    uint8_t *row_;
    BmpRowSink sink_;
    void *user_;
    int32_t x_ = 0, y_ = 0;
};

}  // namespace

int32_t bmp_read_rle(VPb_STREAM *s, const BmpHeader &h, uint8_t *row, BmpRowSink sink, void *user) {
    auto src = std::make_unique<ByteSource>(s);
    Decoder d(h, row, sink, user);
    int32_t st = 0;
    uint8_t n, v;
    while (src->next(&n) && src->next(&v)) {
        if (n > 0) {
            d.run(n, v);
            continue;
        }
        if (v == 0) {  // end of line
            if (!d.next_row(&st)) return st;
        } else if (v == 1) {  // end of bitmap
            break;
        } else if (v == 2) {  // move right dx, down dy
            uint8_t dx, dy;
            if (!src->next(&dx) || !src->next(&dy)) break;
            for (uint32_t k = 0; k < dy; ++k) {
                int32_t keep = d.x();
                if (!d.next_row(&st)) return st;
                d.move(uint32_t(keep));
            }
            d.move(dx);
        } else {  // absolute run of v values, padded to 16 bits
            uint32_t bytes = d.four() ? (v + 1u) / 2 : v;
            uint32_t left = v;
            for (uint32_t k = 0; k < bytes; ++k) {
                uint8_t b;
                if (!src->next(&b)) return d.finish();
                if (d.four()) {
                    d.put(b >> 4);
                    if (--left > 0) d.put(b & 15), --left;
                } else {
                    d.put(b);
                }
            }
            if (bytes & 1) {
                uint8_t pad;
                if (!src->next(&pad)) break;
            }
        }
    }
    return d.finish();
}

}  // namespace qv
