/*
 * resize_nearest.cpp - nearest-neighbour resize (methods 0 and 3).
 *
 * Method 0 takes source column trunc(x * sx) and row trunc(y * sy). Method 3
 * takes round(x * sx) for columns, where a fraction of exactly one half
 * goes down, and for rows the rounded value of a position that starts at 0
 * and grows by sy after each row (so rows follow the running sum, not
 * y * sy). Both are limited to the source. Columns are computed once into
 * a table; a destination row whose source row equals the previous one is a
 * copy of the previous destination row.
 *
 * 1 bit, packed: the destination row starts as all 1-bits and bits whose
 * source bit is 0 are cleared, so the padding bits past the width are 1.
 * The source row is spread to one byte per pixel, eight gathered bytes are
 * folded into one destination byte with a multiply.
 * 1 bit, run lists to run lists: first[p], the first destination column
 * whose source column is p or beyond, maps each colour change of the source
 * to the destination; changes that meet at one column cancel in pairs.
 *
 * Internal: resize_nearest (resize.h).
 */
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/runs.h"

namespace qv {
namespace {

int32_t round_half_down(double v) {
    double f = std::floor(v);
    return int32_t(v - f > 0.5 ? std::ceil(v) : f);
}

// Byte i (in memory order) of kSpread[b] is bit 7 - i of b.
const std::array<uint64_t, 256> kSpread = [] {
    std::array<uint64_t, 256> t{};
    for (uint32_t b = 0; b < 256; ++b)
        for (uint32_t i = 0; i < 8; ++i) t[b] |= uint64_t((b >> (7 - i)) & 1u) << (8 * i);
    return t;
}();

// `bits` spread from a packed row of n pixels (whole bytes).
void spread(const uint8_t *s, int32_t n, uint8_t *bits) {
    for (int32_t j = 0; j < (n + 7) / 8; ++j) std::memcpy(bits + 8 * size_t(j), &kSpread[s[j]], 8);
}

// Eight 0/1 bytes, the first in the low byte, folded into bit 7 .. bit 0.
inline uint8_t fold(uint64_t v) { return uint8_t((v * 0x8040201008040201ull) >> 56); }

void row1(const uint8_t *bits, const int32_t *col, int32_t n, uint8_t *d, size_t bytes) {
    const int32_t whole = n / 8;
    for (int32_t b = 0; b < whole; ++b) {
        const int32_t *c = col + 8 * b;
        uint8_t g[8];
        for (int i = 0; i < 8; ++i) g[i] = bits[c[i]];
        uint64_t v;
        std::memcpy(&v, g, 8);
        d[b] = fold(v);
    }
    size_t done = size_t(whole);
    if (n % 8) {
        uint8_t g[8] = {1, 1, 1, 1, 1, 1, 1, 1};  // bits past the width stay 1
        for (int32_t i = 0; i < n % 8; ++i) g[i] = bits[col[8 * whole + i]];
        uint64_t v;
        std::memcpy(&v, g, 8);
        d[done++] = fold(v);
    }
    if (done < bytes) std::memset(d + done, 0xFF, bytes - done);
}

void row4(const uint8_t *s, const int32_t *col, int32_t n, uint8_t *d) {
    auto nib = [&](int32_t c) { return uint8_t((s[c >> 1] >> ((c & 1) ? 0 : 4)) & 15u); };
    int32_t x = 0;
    for (; x + 1 < n; x += 2) d[x >> 1] = uint8_t(nib(col[x]) << 4 | nib(col[x + 1]));
    if (x < n) d[x >> 1] = uint8_t(nib(col[x]) << 4);
}

void row8(const uint8_t *s, const int32_t *col, int32_t n, uint8_t *d) {
    for (int32_t x = 0; x < n; ++x) d[x] = s[col[x]];
}

// Byte offsets: col holds 2 * column.
void row16(const uint8_t *s, const int32_t *off, int32_t n, uint8_t *d) {
    for (int32_t x = 0; x < n; ++x) std::memcpy(d + 2 * size_t(x), s + off[x], 2);
}

// Byte offsets 3 * column. Three-byte pixels move as 4-byte words up to
// `fast` (the extra byte is overwritten by the next pixel), then singly.
void row24(const uint8_t *s, const int32_t *off, int32_t fast, int32_t n, uint8_t *d) {
    int32_t x = 0;
    for (; x < fast; ++x) {
        uint32_t v;
        std::memcpy(&v, s + off[x], 4);
        std::memcpy(d + 3 * size_t(x), &v, 4);
    }
    for (; x < n; ++x) std::memcpy(d + 3 * size_t(x), s + off[x], 3);
}

class RowPlan {
public:
    RowPlan(double sy, int32_t sh, bool rounded) : sy_(sy), sh_(sh), rounded_(rounded) {}
    int32_t next() {
        int32_t r;
        if (rounded_) {
            r = round_half_down(pos_);
            pos_ += sy_;
        } else {
            r = int32_t(double(y_) * sy_);
        }
        ++y_;
        return std::clamp(r, 0, sh_ - 1);
    }

private:
    double sy_;
    int32_t sh_;
    bool rounded_;
    double pos_ = 0.0;
    int32_t y_ = 0;
};

int32_t nearest_runs(const ResizeJob &job, const int32_t *col, bool rounded, WorkArea &work) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    int32_t *first = work.array<int32_t>(size_t(sw) + 1);
    uint16_t *out = work.array<uint16_t>(size_t(runs_max_words(dw)));
    if (!first || !out) return QVE_NO_MEMORY;
    for (int32_t p = 0, x = 0; p <= sw; ++p) {
        while (x < dw && col[x] < p) ++x;
        first[p] = x;
    }
    RowPlan rows(double(sh) / double(dh), sh, rounded);
    int32_t prev_sr = -1;
    bool stored = false;
    for (int32_t y = 0; y < dh; ++y) {
        const int32_t sr = rows.next();
        if (sr != prev_sr) {
            // Mapped changes come in order; a change at the column of the one before
            // cancels it while that one stands (`open`), else it stands again. Kept in
            // registers, so no step waits on the list in memory.
            size_t n = 1;
            if (const uint16_t *s = image_run_list(job.src, sr)) {
                const size_t changes = s[0] / 2 - 4;
                int32_t prev = -1;
                bool open = false;
                for (size_t i = 1; i <= changes; ++i) {
                    const int32_t v = first[std::min<int32_t>(s[i], sw)];
                    if (v >= dw) break;
                    const bool cancel = v == prev && open;
                    out[n] = uint16_t(v);
                    n = cancel ? n - 1 : n + 1;
                    open = !cancel;
                    prev = v;
                }
            }
            stored = n > 1;
            for (int i = 0; i < 3; ++i) out[n++] = uint16_t(dw);
            out[0] = uint16_t(2 * n);
            prev_sr = sr;
        }
        if (stored) {
            if (int32_t rc = image_run_row_store(job.drec, y, out); rc != 0) return rc;
        }
        if (job.progress && !job.progress->row_done(y)) return QVE_CANCELLED;
    }
    return 0;
}

}  // namespace

int32_t resize_nearest(const ResizeJob &job, bool rounded) {
    const int32_t sw = job.sdib->biWidth, sh = dib_abs_height(job.sdib);
    const int32_t dw = job.ddib->biWidth, dh = dib_abs_height(job.ddib);
    const int32_t bpp = job.sdib->biBitCount;
    const double sx = double(sw) / double(dw), sy = double(sh) / double(dh);
    WorkArea work;
    int32_t *col = work.array<int32_t>(size_t(dw));
    if (!col) return QVE_NO_MEMORY;
    for (int32_t x = 0; x < dw; ++x) {
        int32_t c = rounded ? round_half_down(double(x) * sx) : int32_t(double(x) * sx);
        col[x] = std::clamp(c, 0, sw - 1);
    }
    const bool src_runs = job.sdib->biCompression == QV_BI_RUNS && job.src && job.src->t.run_table;
    const bool dst_runs = job.ddib->biCompression == QV_BI_RUNS && job.drec && job.drec->t.run_table;
    if (src_runs && dst_runs) return nearest_runs(job, col, rounded, work);

    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    if (!src.ok() || !dst.ok()) return QVE_NO_MEMORY;
    const size_t sbytes = src.bytes(), dbytes = dst.bytes();
    uint8_t *bits = nullptr;
    int32_t fast = dw;
    if (bpp == 1) {
        bits = work.array<uint8_t>(size_t(sw + 7) / 8 * 8);
        if (!bits) return QVE_NO_MEMORY;
    } else if (bpp >= 16) {
        const int32_t unit = bpp / 8;
        for (int32_t x = 0; x < dw; ++x) col[x] *= unit;
        // Four-byte moves while both rows have a byte past the pixel.
        while (fast > 0 && (size_t(col[fast - 1]) + 4 > sbytes || 3 * size_t(fast - 1) + 4 > dbytes)) --fast;
    }
    RowPlan rows(sy, sh, rounded);
    int32_t prev_sr = -1;
    const uint8_t *prev = nullptr;
    for (int32_t y = 0; y < dh; ++y) {
        const int32_t sr = rows.next();
        uint8_t *d = dst.row(y);
        if (sr == prev_sr && prev) {
            if (prev != d) std::memcpy(d, prev, dbytes);
        } else {
            const uint8_t *s = src.row(sr);
            switch (bpp) {
            case 1:
                spread(s, sw, bits);
                row1(bits, col, dw, d, dbytes);
                break;
            case 4: row4(s, col, dw, d); break;
            case 8: row8(s, col, dw, d); break;
            case 16: row16(s, col, dw, d); break;
            default: row24(s, col, fast, dw, d); break;
            }
        }
        prev_sr = sr;
        prev = d;
        if (int32_t rc = dst.done(y); rc != 0) return rc;
    }
    return 0;
}

}  // namespace qv
