/*
 * ccitt_decode.cpp - the CCITT decoders: one-dimensional T.4 (modified
 * Huffman, with or without EOLs), two-dimensional T.4 (modified READ) and
 * T.6, all producing change lists, and their delivery into the load
 * pipeline as run lists or packed rows.
 *
 * Bits are read through a 64-bit buffer filled eight bytes at a time from
 * the input buffer (refilled from the stream; byte by byte near its end and
 * for reversed fill order); run codes are looked up on the next 8 bits and,
 * for longer codes, 12 (white) or 13 (black) bits, mode codes on 7 bits. A
 * row costs work in proportion to its codes, and a run-encoded image takes
 * the change lists without a pass over its pixels.
 *
 * Codes: -3320 (the mode) for a mode the entry does not take, or a width
 * outside 1..65535 (iVal the width, lVal 0); -2403 (row, mode) for a bad
 * code in strict decoding; -1000 (bytes, tag) for row buffers.
 */
#include <algorithm>
#include <cstring>

#include "filters/ccitt_codec.h"
#include "filters/ccitt_tables.h"
#include "filters/filter_util.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\GROUP4.C";

enum RowStatus { kRowOk, kRowOutOfData, kRowEol, kRowInvalid };
enum : int32_t { kRunOutOfData = -1, kRunEol = -2, kRunInvalid = -3 };
constexpr int32_t kRunCap = 1 << 20;  // longer runs are cut at the width anyway

class BitReader {
public:
    BitReader(const CcittByteSource &src, const uint8_t *reverse)
        : stream_(src.stream),
          buf_(src.buf),
          size_(src.size),
          end_(src.held),
          left_(src.stream_bytes),
          rev_(reverse) {}

    // Loads whole bytes until more than 56 bits are held or the data ends.
    void fill() {
        if (!rev_ && end_ - pos_ >= 8) {
            // Eight bytes at once: the bits past the whole bytes taken are
            // the data's own and are loaded again (the same) next time.
            uint64_t v;
            std::memcpy(&v, buf_ + pos_, 8);
            v = __builtin_bswap64(v);
            acc_ |= v >> nbits_;
            const int take = (63 - nbits_) >> 3;
            pos_ += take;
            nbits_ += take * 8;
            return;
        }
        while (nbits_ <= 56) {
            if (pos_ >= end_ && !refill()) return;
            uint32_t b = buf_[pos_++];
            if (rev_) b = rev_[b];
            acc_ |= uint64_t(b) << (56 - nbits_);
            nbits_ += 8;
        }
    }
    uint32_t peek(int n) const { return uint32_t(acc_ >> (64 - n)); }
    void skip(int n) {
        acc_ = n >= 64 ? 0 : acc_ << n;
        nbits_ -= n;
    }
    int held() const { return nbits_; }
    // Moves to the next byte boundary of the coded data.
    void align() { skip(nbits_ & 7); }

    // Skips to just past the next EOL: at least 11 zero bits then a 1
    // (`counted` zeros are taken as seen already). False when the data ends.
    bool find_eol(int counted) {
        int zeros = counted;
        for (;;) {
            if (nbits_ < 32) fill();
            if (nbits_ <= 0) return false;
            const int lz = acc_ ? __builtin_clzll(acc_) : 64;
            if (lz >= nbits_) {
                zeros += nbits_;
                skip(nbits_);
                continue;
            }
            zeros += lz;
            skip(lz + 1);
            if (zeros >= 11) return true;
            zeros = 0;
        }
    }

    // The next run of one colour (make-up codes summed): its length, or
    // kRunOutOfData / kRunEol (nothing consumed) / kRunInvalid.
    // Codes of up to 8 bits come from the small table, longer ones from the
    // full table of `index_bits` bits.
    int32_t run(const CcittRunEntry *small, const CcittRunEntry *table, int index_bits) {
        int32_t total = 0;
        for (;;) {
            if (nbits_ < 16) fill();
            CcittRunEntry e = small[peek(kShortBits)];
            if (e.kind == kCodeLong) e = table[peek(index_bits)];
            // Entries that are not codes have a length no buffer holds.
            if (e.len > nbits_) {
                if (e.kind == kCodeInvalid) return nbits_ < 12 ? kRunOutOfData : kRunInvalid;
                if (e.kind == kCodeEolZeros) return nbits_ < 12 ? kRunOutOfData : kRunEol;
                return kRunOutOfData;
            }
            skip(e.len);
            if (e.kind == kCodeTerm) return total + e.value;
            total += e.value;
            if (total > kRunCap) total = kRunCap;
        }
    }

    // Whether the next bits are zeros that can only begin an EOL.
    bool at_eol_zeros() {
        if (nbits_ < 16) fill();
        return nbits_ >= 12 && peek(8) == 0;
    }

private:
    bool refill() {
        if (!stream_ || left_ == 0) return false;
        int32_t want = size_;
        if (left_ > 0 && left_ < want) want = int32_t(left_);
        const int32_t got = VPb_IO_read(stream_, buf_, want);
        if (got <= 0) {
            left_ = 0;
            return false;
        }
        if (left_ > 0) left_ -= got;
        pos_ = 0;
        end_ = got;
        return true;
    }

    VPb_STREAM *stream_;
    uint8_t *buf_;
    int32_t size_;
    int32_t pos_ = 0;
    int32_t end_;
    int64_t left_;
    const uint8_t *rev_;
    uint64_t acc_ = 0;
    int nbits_ = 0;
};

// One row's changes being built; pushes beyond the capacity are refused.
// The decoders store only changes inside the row and note when one is not
// beyond the one before (a zero-length run or damaged data).
struct RowBuf {
    uint16_t *c;
    int32_t n;
    int32_t cap;
    bool dirty = false;
    bool push(int32_t x) {
        if (n >= cap) return false;
        c[n++] = uint16_t(x);
        dirty = true;
        return true;
    }
};

// Drops changes at or past the width and cancels zero-length runs, so the
// list is strictly increasing (as an encoder sees the pixels); appends the
// terminators. Returns the number of changes.
int32_t finish_row(const RowBuf &row, int32_t width) {
    uint16_t *c = row.c;
    const int32_t n = row.n;
    if (!row.dirty) {
        c[n] = c[n + 1] = c[n + 2] = uint16_t(width);
        return n;
    }
    int32_t m = 0;
    for (int32_t i = 0; i < n; ++i) {
        const int32_t x = c[i];
        if (x >= width) break;
        if (m > 0 && x <= c[m - 1]) --m;
        else c[m++] = uint16_t(x);
    }
    c[m] = c[m + 1] = c[m + 2] = uint16_t(width);
    return m;
}

class Decoder {
public:
    Decoder(BitReader &in, const CcittTables &t, int32_t width) : in_(in), t_(t), width_(width) {}

    // Alternating white and black runs from column 0 to the width. (The row
    // and its count are kept in locals so that stores to the row never make
    // the compiler reload the bit buffer.)
    RowStatus row_1d(RowBuf &cur, int *colour_out) {
        const int32_t w = width_;
        uint16_t *const c = cur.c;
        int32_t n = cur.n;
        const int32_t cap = cur.cap - 2;
        int32_t a0 = 0;
        int32_t r = 0;
        int colour = 0;
        bool zero = false;  // a zero-length run after the first
        while (a0 < w) {
            if (n > cap) {
                r = kRunInvalid;
                break;
            }
            r = in_.run(t_.white8, t_.white, kWhiteBits);
            if (r < 0) break;
            zero |= r == 0 && n > 0;
            a0 += r;
            if (a0 >= w) {
                colour = 1;
                break;
            }
            c[n++] = uint16_t(a0);
            r = in_.run(t_.black8, t_.black, kBlackBits);
            if (r < 0) {
                colour = 1;
                break;
            }
            zero |= r == 0;
            a0 += r;
            if (a0 >= w) break;
            c[n++] = uint16_t(a0);
        }
        cur.n = n;
        cur.dirty |= zero;
        *colour_out = colour;
        return r >= 0 ? kRowOk : status_of(r);
    }

    // The status of a row that stopped on run result r (< 0).
    static RowStatus status_of(int32_t r) {
        return r == kRunEol ? kRowEol : r == kRunInvalid ? kRowInvalid : kRowOutOfData;
    }

    // One row coded against the reference row `ref` (changes + terminators).
    RowStatus row_2d(const uint16_t *ref, RowBuf &cur, int32_t *a0_out, int *colour_out) {
        const int32_t w = width_;
        uint16_t *const c = cur.c;
        int32_t n = cur.n;
        const int32_t cap = cur.cap - 2;
        const CcittModeEntry *const modes = t_.modes;
        int32_t a0 = -1;
        int colour = 0;
        int32_t pb = 0;
        bool dirty = false;  // a change not beyond the one before
        RowStatus st = kRowOk;
        while (a0 < w) {
            if (n > cap) {
                st = kRowInvalid;
                break;
            }
            while (ref[pb] <= a0) pb += 2;  // the terminators (w) stop it: a0 < w
            const int32_t b1 = ref[pb];
            if (in_.held() < 16) in_.fill();
            const CcittModeEntry e = modes[in_.peek(kModeBits)];
            if (e.mode >= kModeEol || e.len > in_.held()) {
                st = e.mode == kModeInvalid ? kRowInvalid
                     : e.mode == kModeEol && in_.held() >= 12 ? kRowEol
                                                              : kRowOutOfData;
                break;
            }
            in_.skip(e.len);
            const int32_t start = a0 < 0 ? 0 : a0;
            if (e.mode <= kModeVR3) {
                // Vertical: a1 = b1 + offset.
                // (a0 is the last change stored, or past it after a pass.)
                int32_t a1 = b1 + int32_t(e.mode) - kModeV0;
                if (a1 <= a0) {
                    a1 = start;
                    dirty = true;
                }
                if (a1 < w) c[n++] = uint16_t(a1);
                else a1 = w;
                a0 = a1;
                colour ^= 1;
                pb = pb > 0 ? pb - 1 : pb + 1;
                continue;
            }
            if (e.mode == kModePass) {
                const int32_t b2 = ref[pb + 1];
                a0 = b2 < start ? start : b2;
                pb += 2;
                continue;
            }
            // Horizontal: one run of each colour, the current colour first.
            const int32_t r1 = colour ? in_.run(t_.black8, t_.black, kBlackBits) : in_.run(t_.white8, t_.white, kWhiteBits);
            if (r1 < 0) {
                st = status_of(r1);
                break;
            }
            const int32_t a1 = std::min(start + r1, w);
            dirty |= n > 0 && a1 <= c[n - 1];
            if (a1 < w) c[n++] = uint16_t(a1);
            const int32_t r2 = colour ? in_.run(t_.white8, t_.white, kWhiteBits) : in_.run(t_.black8, t_.black, kBlackBits);
            if (r2 < 0) {
                a0 = a1;
                colour ^= 1;
                st = status_of(r2);
                break;
            }
            const int32_t a2 = std::min(a1 + r2, w);
            dirty |= r2 == 0 && a1 < w;
            if (a2 < w) c[n++] = uint16_t(a2);
            a0 = a2;
        }
        cur.n = n;
        cur.dirty |= dirty;
        *a0_out = a0 < 0 ? 0 : a0;
        *colour_out = colour;
        return st;
    }

private:
    BitReader &in_;
    const CcittTables &t_;
    int32_t width_;
};

bool entry_takes(CcittEntry entry, int32_t mode) {
    switch (entry) {
    case CcittEntry::k1D:
        return mode == kCcittMH || mode == kCcittT4 || mode == kCcittT4Fill || mode == kCcittParam ||
               mode == kCcittParam2;
    case CcittEntry::k2D:
        return mode == kCcitt2D || mode == kCcitt2DFill || mode == kCcittParam || mode == kCcittParam2;
    case CcittEntry::kT6:
        return mode == kCcittT6 || mode == kCcittParam || mode == kCcittParam2;
    }
    return false;
}

class Run {
public:
    Run(CcittEntry entry, const CcittByteSource &src, const CcittDecodeParams &p, CcittRowSink &sink,
        uint16_t *a, uint16_t *b)
        : t_(ccitt_tables()),
          in_(src, p.fill_order == 2 ? t_.reverse : nullptr),
          dec_(in_, t_, p.width),
          p_(p),
          entry_(entry),
          sink_(sink),
          ref_(a),
          cur_(b) {}

    int32_t go() {
        const int32_t w = p_.width;
        ref_[0] = ref_[1] = ref_[2] = uint16_t(w);
        for (int32_t i = 0; i < p_.rows; ++i) {
            int32_t n = 0;
            if (!eod_) {
                const int32_t st = entry_ == CcittEntry::k1D ? row_1d(i, &n)
                                   : entry_ == CcittEntry::k2D ? row_2d(i, &n)
                                                               : row_t6(i, &n);
                if (st < 0) return st;
            }
            if (eod_ && n == 0) cur_[0] = cur_[1] = cur_[2] = uint16_t(w);  // a fill row: all white
            if (int32_t rc = sink_.row(p_.first_row + i, cur_, n); rc < 0) return rc;
            std::swap(ref_, cur_);
        }
        return 0;
    }

private:
    // Decodes row i into cur_ (n changes), or sets eod_ (then a fill row).
    int32_t row_1d(int32_t i, int32_t *n) {
        const bool eols = p_.mode != kCcittMH;
        const bool last = i + 1 == p_.rows;
        if (i == 0 && eols && in_.at_eol_zeros() && !in_.find_eol(0)) return end_of_data(n);
        for (int attempt = 0;; ++attempt) {
            RowBuf cur{cur_, 0, p_.width + 2};
            int colour = 0;
            const RowStatus st = dec_.row_1d(cur, &colour);
            const bool at_start = i == 0 && cur.n == 0 && attempt < 64;
            if ((st == kRowInvalid || st == kRowEol) && p_.strict)
                return QV_ERR(QVE_CCITT_CODE, p_.first_row + i, p_.mode);
            if (st == kRowInvalid || st == kRowEol) {
                if (at_start) {  // resynchronise on the next EOL and start again
                    if (!in_.find_eol(0)) return end_of_data(n);
                    continue;
                }
            }
            *n = finish_row(cur, p_.width);
            if (st == kRowOutOfData) {  // the row keeps what was decoded
                eod_ = true;
                return 0;
            }
            if (st == kRowEol) {
                // This EOL ends the row and opens the next one; without EOL
                // coding the next row starts on the byte after it.
                if (!in_.find_eol(0)) eod_ = true;
                if (!eols) in_.align();
                return 0;
            }
            if (!eols) in_.align();
            else if (!last && !in_.find_eol(0)) eod_ = true;
            return 0;
        }
    }

    int32_t row_2d(int32_t i, int32_t *n) {
        if (!pending_eol_ && !in_.find_eol(0)) return end_of_data(n);
        pending_eol_ = false;
        in_.fill();
        if (in_.held() < 1) return end_of_data(n);
        const bool one_d = in_.peek(1) != 0;
        in_.skip(1);
        RowBuf cur{cur_, 0, p_.width + 2};
        RowStatus st;
        int32_t a0 = 0;
        int colour = 0;
        if (one_d) st = dec_.row_1d(cur, &colour);
        else st = dec_.row_2d(ref_, cur, &a0, &colour);
        if (st == kRowInvalid && p_.strict) return QV_ERR(QVE_CCITT_CODE, p_.first_row + i, p_.mode);
        if (st == kRowEol) {
            // The EOL ends this row (white from a0 in a 2-D row) and opens
            // the next one.
            if (!one_d && colour == 1) cur.push(a0);
            if (in_.find_eol(0)) pending_eol_ = true;
            else eod_ = true;
        } else if (st == kRowOutOfData) {
            eod_ = true;
        }
        *n = finish_row(cur, p_.width);
        return 0;
    }

    int32_t row_t6(int32_t i, int32_t *n) {
        RowBuf cur{cur_, 0, p_.width + 2};
        int32_t a0 = 0;
        int colour = 0;
        const RowStatus st = dec_.row_2d(ref_, cur, &a0, &colour);
        if (st == kRowInvalid && p_.strict) return QV_ERR(QVE_CCITT_CODE, p_.first_row + i, p_.mode);
        if (st != kRowOk) {
            // End of the facsimile block, the data or an unreadable code:
            // the row is white from a0 and the rest are fill rows.
            if (st == kRowEol && colour == 1) cur.push(a0);
            eod_ = true;
        }
        *n = finish_row(cur, p_.width);
        return 0;
    }

    int32_t end_of_data(int32_t *n) {
        eod_ = true;
        *n = 0;
        return 0;
    }

    const CcittTables &t_;
    BitReader in_;
    Decoder dec_;
    const CcittDecodeParams &p_;
    CcittEntry entry_;
    CcittRowSink &sink_;
    uint16_t *ref_;
    uint16_t *cur_;
    bool eod_ = false;
    bool pending_eol_ = false;
};

// Delivers rows to the load pipeline.
class PipelineSink : public CcittRowSink {
public:
    PipelineSink(VPb_STREAM *s, int32_t width, bool white_is_zero, uint16_t *runs, uint8_t *packed)
        : s_(s), width_(width), wiz_(white_is_zero), runs_(runs), packed_(packed),
          direct_(VPb_IO_raster_runs_accepted(s) != 0) {}

    int32_t row(int32_t y, const uint16_t *c, int32_t n) override {
        if (!direct_) {
            ccitt_changes_to_packed(c, n, width_, wiz_ ? 0 : 1, packed_);
            return VPb_IO_raster_set(s_, y, packed_);
        }
        // Run lists start with pixel value 0: white unless inverted.
        uint16_t *out = runs_ + 1;
        int32_t m = n;
        const uint16_t *from = c;
        if (!wiz_) {
            if (n > 0 && c[0] == 0) {
                ++from;
                --m;
            } else {
                *out++ = 0;
            }
        }
        std::memcpy(out, from, size_t(m + 3) * sizeof(uint16_t));
        const int32_t words = int32_t(out - runs_) + m + 3;
        runs_[0] = uint16_t(words * 2);
        return VPb_IO_raster_runs_set(s_, y, runs_);
    }

private:
    VPb_STREAM *s_;
    int32_t width_;
    bool wiz_;
    uint16_t *runs_;
    uint8_t *packed_;
    bool direct_;
};

}  // namespace

int32_t ccitt_decode(CcittEntry entry, const CcittByteSource &src, const CcittDecodeParams &p,
                     CcittRowSink &sink) {
    if (!entry_takes(entry, p.mode)) return QV_ERR(QVE_OUT_OF_RANGE, p.mode, 0);
    if (p.width < 1 || p.width > kCcittMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, p.width, 0);
    if (p.rows <= 0) return 0;
    FilterTag tag;
    const size_t words = size_t(p.width) + 8;
    uint16_t *rows = filter_alloc_array<uint16_t>(tag.tag(), 2 * words);
    if (!rows) return QV_ERR(QVE_NO_MEMORY, int32_t(4 * words), tag.tag());
    CcittDecodeParams q = p;
    if (q.mode == kCcittParam || q.mode == kCcittParam2) q.mode = entry == CcittEntry::k2D ? kCcitt2D : kCcittT4;
    Run run(entry, src, q, sink, rows, rows + words);
    return run.go();
}

int32_t ccitt_decode_to_stream(CcittEntry entry, const CcittByteSource &src,
                               const CcittDecodeParams &p, bool white_is_zero, uint32_t tag) {
    if (p.width < 1 || p.width > kCcittMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, p.width, 0);
    const size_t run_words = size_t(p.width) + 8;
    const size_t packed = size_t(raster_bytes(p.width, 1));
    uint16_t *runs = filter_alloc_array<uint16_t>(tag, run_words);
    uint8_t *row = filter_alloc_array<uint8_t>(tag, packed);
    if (!runs || !row) return QV_ERR(QVE_NO_MEMORY, int32_t(2 * run_words + packed), tag);
    PipelineSink sink(src.stream, p.width, white_is_zero, runs, row);
    return ccitt_decode(entry, src, p, sink);
}

int32_t ccitt_changes_from_packed(const uint8_t *bits, int32_t width, bool one_is_black,
                                  uint16_t *changes) {
    // 64 pixels at a time: after the XOR a set bit marks a pixel of the
    // colour the row is not in at that point; each change flips the word.
    const size_t nbytes = size_t(width + 7) / 8;
    const uint64_t to_black = one_is_black ? 0 : ~0ull;
    uint64_t flip = 0;  // 0 while white, all ones while black
    int32_t n = 0;
    for (size_t byte = 0; byte < nbytes; byte += 8) {
        uint64_t v = 0;
        int valid = 64;
        if (byte + 8 <= nbytes) {
            std::memcpy(&v, bits + byte, 8);
            v = __builtin_bswap64(v);
        } else {
            valid = int(nbytes - byte) * 8;
            for (size_t i = byte; i < nbytes; ++i) v |= uint64_t(bits[i]) << (56 - 8 * (i - byte));
        }
        uint64_t cur = v ^ to_black ^ flip;
        int pos = 0;
        while (pos < valid) {
            const uint64_t t = cur << pos;
            if (t == 0) break;
            const int at = pos + __builtin_clzll(t);
            if (at >= valid) break;
            const int32_t x = int32_t(byte * 8) + at;
            if (x >= width) break;
            changes[n++] = uint16_t(x);
            cur = ~cur;
            flip = ~flip;
            pos = at;
        }
    }
    changes[n] = changes[n + 1] = changes[n + 2] = uint16_t(width);
    return n;
}

void ccitt_changes_to_packed(const uint16_t *c, int32_t n, int32_t width, int white_bit,
                             uint8_t *bits) {
    // 32 pixels at a time (rows are whole 32-bit words): the black spans
    // [c[2k], c[2k+1]) that meet a word are ORed into it.
    const uint32_t invert = white_bit ? ~0u : 0u;
    const int32_t words = (width + 31) / 32;
    int32_t k = 0;
    for (int32_t wd = 0; wd < words; ++wd) {
        const int32_t base = wd * 32, end = base + 32;
        uint32_t v = 0;
        while (k < n) {
            const int32_t from = c[k];
            if (from >= end) break;
            const int32_t to = k + 1 < n ? c[k + 1] : width;
            const int32_t lo = from > base ? from - base : 0;
            const int32_t hi = to < end ? to - base : 32;
            if (lo < hi) v |= (~0u >> lo) & ~(hi == 32 ? 0u : ~0u >> hi);
            if (to > end) break;  // the span goes on into the next word
            k += 2;
        }
        v ^= invert;
        if (end > width) v &= ~(~0u >> (width - base));  // padding bits are zero
        const uint32_t be = __builtin_bswap32(v);
        std::memcpy(bits + 4 * size_t(wd), &be, 4);
    }
}

}  // namespace qv
