/*
 * runs_convert.cpp - run lists <-> packed 1-bit rows, and list checks.
 *
 * Packed to runs scans the row 64 bits at a time (big-endian loads, so the
 * leftmost pixel is the top bit), turns each word into a word of its colour
 * changes and takes them with count-leading-zeros, four per word without a
 * branch (a second build of it for x86-64-v3 has lzcnt and popcnt); on
 * processors with AVX-512 (BW, VBMI, VBMI2, BITALG) and GFNI the scanner of runs_scan_avx512.cpp
 * (512 pixels a step) is used instead, and with AVX2 that of
 * runs_scan_avx2.cpp (256 pixels a step), chosen on the first call; runs to
 * packed clears the row once and fills each value-1 run with a masked head
 * byte, memset and a masked tail byte.
 *
 * Internal: runs_from_packed, runs_from_packed_portable, runs_to_packed, runs_to_elements, runs_pixel,
 * runs_valid, runs_canonical, runs_all_white (runs.h).
 * Exported: VPb_runs_from_packed, VPb_runs_to_packed, VPb_runs_valid.
 */
#include <algorithm>
#include <bit>
#include <cstring>

#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/runs.h"
#include "support/target_clones.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\RUNS.C";

// Eight bytes as a word whose top bit is the first pixel (big-endian).
inline uint64_t load_pixels64(const uint8_t *p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return __builtin_bswap64(v);
}

// Bytes [p, p + n) (n < 8) as the top bytes of a word, the rest zero.
inline uint64_t load_pixels_partial(const uint8_t *p, size_t n) {
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i) v |= uint64_t(p[i]) << (56 - 8 * i);
    return v;
}

// The first change of t at base (t's top bit is pixel base); the change is
// then cleared. On t == 0 the value is a stray one and t stays 0.
inline uint16_t take_change(uint64_t &t, uint32_t base) {
    const int lead = std::countl_zero(t);
    t &= 0x7FFFFFFFFFFFFFFFull >> (lead & 63);
    return uint16_t(base + uint32_t(lead));
}

// Sets bits [a, b) of a packed row (bit 7 of byte 0 is pixel 0).
inline void fill_ones(uint8_t *bits, uint32_t a, uint32_t b) {
    if (a >= b) return;
    uint32_t fa = a >> 3, lb = (b - 1) >> 3;
    uint8_t head = uint8_t(0xFFu >> (a & 7));
    uint8_t tail = uint8_t(0xFFu << (7 - ((b - 1) & 7)));
    if (fa == lb) {
        bits[fa] |= uint8_t(head & tail);
        return;
    }
    bits[fa] |= head;
    if (lb > fa + 1) std::memset(bits + fa + 1, 0xFF, lb - fa - 1);
    bits[lb] |= tail;
}

// Calls fn(a, b) for each value-1 run [a, b) of a list, positions clamped to
// the width and made non-decreasing, so any list is read safely.
template <class F>
inline void for_each_one_run(const uint16_t *runs, int32_t width, F &&fn) {
    uint32_t w = uint32_t(width);
    uint32_t nw = runs[0] / 2u;
    uint32_t prev = 0;
    for (uint32_t i = 1; i < nw; i += 2) {
        uint32_t a = std::min<uint32_t>(std::max<uint32_t>(runs[i], prev), w);
        if (a >= w) break;
        uint32_t b = i + 1 < nw ? runs[i + 1] : w;
        b = std::min<uint32_t>(std::max<uint32_t>(b, a), w);
        fn(a, b);
        prev = b;
    }
}

}  // namespace

void runs_all_white(uint16_t *runs, int32_t width) {
    runs[0] = 8;
    runs[1] = runs[2] = runs[3] = uint16_t(width);
}

// Built twice, for any x86-64 and for processors with count-leading-zeros
// and population-count instructions (chosen once when the library loads).
QV_TARGET_CLONES("default", "arch=x86-64-v3")
int32_t runs_from_packed_portable(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words) {
    if (width < 1 || width > kRunsMaxWidth || max_words < 4) return -1;
    const uint32_t w = uint32_t(width);
    const size_t nbytes = (w + 7) / 8;
    const size_t nfull = nbytes / 8;  // whole 64-bit words in the row
    const size_t nwords = (nbytes + 7) / 8;
    uint16_t *out = runs + 1;
    uint16_t *const limit = runs + max_words - 3;  // keep room for the terminator
    // Each word's changes at once: bit i of `t` (from the top) is set where
    // pixel i differs from the pixel before it (the row starts white). The
    // changes are taken top bit first with count-leading-zeros, bounds-
    // checked only when fewer than 64 places are left.
    uint64_t last = 0;  // the previous word's last pixel, as bit 63
    for (size_t wi = 0; wi < nwords; ++wi) {
        const uint64_t cur = wi < nfull ? load_pixels64(bits + wi * 8)
                                        : load_pixels_partial(bits + nfull * 8, nbytes - nfull * 8);
        uint64_t t = cur ^ ((cur >> 1) | last);
        last = cur << 63;
        const uint32_t base = uint32_t(wi * 64);
        if (limit - out >= 64) {
            // A word holds few changes on a page of text: four are written
            // whatever their number (places past the last get stray values
            // that later writes or the terminator cover) and the count is
            // added, so most words cost no branch at all; more than four
            // take a loop.
            const int count = std::popcount(t);
            uint16_t *o = out;
            out += count;
            o[0] = take_change(t, base);
            o[1] = take_change(t, base);
            o[2] = take_change(t, base);
            o[3] = take_change(t, base);
            if (count > 4) {
                o += 4;
                do {
                    *o++ = take_change(t, base);
                } while (t);
            }
            if (base + 64 >= w) {
                // A change at or past the width (padding bits) ends the row.
                while (out > runs + 1 && out[-1] >= w) --out;
                break;
            }
        } else if (t) {
            do {
                const uint32_t found = take_change(t, base);
                if (found >= w) goto done;
                if (out >= limit) return -1;
                *out++ = uint16_t(found);
            } while (t);
        }
    }
done:
    return runs_close(runs, out, w);
}

int32_t runs_from_packed(const uint8_t *bits, int32_t width, uint16_t *runs, int32_t max_words) {
    static const auto scan = runs_scan_avx512_usable() ? runs_from_packed_avx512
                             : runs_scan_avx2_usable() ? runs_from_packed_avx2
                                                       : runs_from_packed_portable;
    return scan(bits, width, runs, max_words);
}

void runs_to_packed(const uint16_t *runs, int32_t width, uint8_t *bits) {
    std::memset(bits, 0, dib_bytes_per_row(width, 1));
    for_each_one_run(runs, width, [bits](uint32_t a, uint32_t b) { fill_ones(bits, a, b); });
}

void runs_to_elements(const uint16_t *runs, int32_t width, uint8_t *out) {
    std::memset(out, 0, size_t(width));
    for_each_one_run(runs, width, [out](uint32_t a, uint32_t b) { std::memset(out + a, 1, b - a); });
}

int runs_pixel(const uint16_t *runs, int32_t x) {
    uint32_t nw = runs[0] / 2u;
    if (nw < 2) return 0;
    // Changes at or before x: the list is non-decreasing, so binary search.
    const uint16_t *first = runs + 1, *last = runs + nw;
    const uint16_t *it = std::upper_bound(first, last, uint16_t(x));
    return int((it - first) & 1);
}

bool runs_valid(const uint16_t *runs, size_t avail_bytes, int32_t width) {
    if (avail_bytes < 8 || width < 1 || width > kRunsMaxWidth) return false;
    uint32_t len = runs[0];
    if (len < 8 || (len & 1) || len > avail_bytes || len > runs_max_bytes(width)) return false;
    uint32_t nw = len / 2;
    uint32_t w = uint32_t(width);
    if (runs[nw - 1] != w || runs[nw - 2] != w || runs[nw - 3] != w) return false;
    uint32_t prev = 0;
    for (uint32_t i = 1; i < nw - 3; ++i) {
        if (runs[i] < prev || runs[i] > w) return false;
        prev = runs[i];
    }
    return true;
}

int32_t runs_canonical(const uint16_t *in, int32_t width, uint16_t *out) {
    uint32_t nw = in[0] / 2u;
    uint32_t w = uint32_t(width);
    uint32_t n = 1;
    for (uint32_t i = 1; i < nw; ++i) {
        uint32_t p = in[i];
        if (p >= w) break;
        if (n > 1 && out[n - 1] == p) {
            --n;  // two changes at one place: a zero-length run, drop both
            continue;
        }
        out[n++] = uint16_t(p);
    }
    out[n] = out[n + 1] = out[n + 2] = uint16_t(w);
    n += 3;
    out[0] = uint16_t(n * 2);
    return int32_t(n);
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t VPb_runs_from_packed(const uint8_t *bits, int32_t width, uint16_t *runs,
                                    int32_t max_words) {
    if (!bits || !runs) return QV_ERR(QVE_NULL_POINTER, 0, 0);
    if (width < 1 || width > kRunsMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, width, kRunsMaxWidth);
    int32_t n = runs_from_packed(bits, width, runs, max_words);
    if (n < 0) return QV_ERR(QVE_OUT_OF_RANGE, max_words, runs_max_words(width));
    return n;
}

QV_API int32_t VPb_runs_to_packed(const uint16_t *runs, int32_t width, uint8_t *bits) {
    if (!bits || !runs) return QV_ERR(QVE_NULL_POINTER, 0, 0);
    if (width < 1 || width > kRunsMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, width, kRunsMaxWidth);
    runs_to_packed(runs, width, bits);
    return 0;
}

QV_API int32_t VPb_runs_valid(const uint16_t *runs, size_t avail_bytes, int32_t width) {
    if (!runs || width < 1 || width > kRunsMaxWidth) return 0;
    return runs_valid(runs, avail_bytes, width) ? 1 : 0;
}

}  // extern "C"
