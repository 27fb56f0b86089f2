/*
 * diffuse.cpp - error diffusion to 1 bit (gray levels against a threshold)
 * or to 16 colours (through an inverse colour map).
 *
 * Both keep two error rows, exchanged at the start of every row, in which
 * slot s belongs to pixel s - 1. The parts of an error e are k/16 of it
 * truncated toward zero, worked as ((k * e) >> 4) for e >= 0 and
 * -((k * -e) >> 4) below, in 32-bit arithmetic that wraps.
 *
 * 1 bit: the error is scaled by K = min(T, 255 - T) / 128, so the further
 * the threshold T is from the middle the weaker the diffusion; 7/16 goes
 * right, 3/16 below left, 5/16 below, and 1/16 is set (not added) below
 * right. Neither error row is cleared between rows, so the slots of the
 * next row's first pixel (and its left margin) are only ever added to and
 * carry what they held two rows before.
 *
 * 4 bits: 7/16 right, 5/16 below, 1/16 set below right; nothing goes below
 * left, so 13/16 of the error travels. The first two slots of the next row
 * are cleared at the start of each row.
 *
 * Exported: QV_IP_color_reduce_diffuse.
 */
#include <algorithm>
#include <cstring>
#include <utility>

#include "dither/dither_frame.h"
#include "support/frame.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "DITHER\\DIFFUSE.C";

// The built-in 16 colours (blue, green, red, 0).
constexpr QV_RGBQUAD kPalette[16] = {
    {0, 0, 0, 0},       {128, 0, 0, 0},   {0, 128, 0, 0},   {128, 128, 0, 0},
    {0, 0, 128, 0},     {128, 0, 128, 0}, {0, 128, 128, 0}, {128, 128, 128, 0},
    {192, 192, 192, 0}, {255, 0, 0, 0},   {0, 255, 0, 0},   {255, 255, 0, 0},
    {0, 0, 255, 0},     {255, 0, 255, 0}, {0, 255, 255, 0}, {255, 255, 255, 0},
};

// 32-bit arithmetic that wraps, as the error rows hold it.
inline int32_t wadd(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
inline int32_t wmul(int32_t a, int32_t b) { return int32_t(uint32_t(a) * uint32_t(b)); }
inline int32_t part(int32_t k, int32_t e) {
    if (e >= 0) return wmul(k, e) >> 4;
    return int32_t(0u - uint32_t(wmul(k, int32_t(0u - uint32_t(e))) >> 4));
}
// x / 128 truncated toward zero.
inline int32_t div128(int32_t x) { return x / 128; }

/* What a value v (gray level plus incoming error) gives at threshold T:
 * its bit and the four parts of its scaled error. Values in a window around
 * 0..255 come from a table made per call; the rest (only met after the
 * never-cleared first slots have grown) are worked out in full. */
struct Share {
    int32_t p7, p3, p5, p1;
};
constexpr int32_t kTableLow = -768, kTableSize = 1792;

struct Scale {
    int64_t t;
    int32_t k;
    bool white(int32_t v) const { return int64_t(v) >= t; }
    Share at(int32_t v) const {
        const int32_t e = div128(wmul(white(v) ? wadd(v, -255) : v, k));
        return Share{part(7, e), part(3, e), part(5, e), part(1, e)};
    }
};

/* One row of the 1-bit diffusion, pixel by pixel. The 7/16 share travels
 * in `carry`: what it adds to this row's slots is never read again (the
 * row's slots from 2 on are set before they are added to when it next
 * serves as the row below). The row below is written once a slot is
 * complete: slot x gets 1/16 of pixel x - 2, 5/16 of x - 1 and 3/16 of x;
 * slots 0 and 1 add to what they held. */
struct Row1 {
    const Scale *scale;
    const Share *mid;   // table by value
    const int32_t *mid7;
    const uint8_t *g;
    const int32_t *cur;
    int32_t *nxt;
    uint8_t *out;
    int32_t carry = 0;
    uint32_t acc0 = 0, acc1 = 0, byte = 0;

    void start(const uint8_t *gray, const int32_t *from, int32_t *to, uint8_t *bits) {
        g = gray, cur = from, nxt = to, out = bits;
        carry = 0, byte = 0;
        acc0 = uint32_t(nxt[0]), acc1 = uint32_t(nxt[1]);
    }
    void step(int32_t x) {
        const int32_t v = wadd(wadd(g[x], cur[x + 1]), carry);
        Share s;
        if (uint32_t(v - kTableLow) < uint32_t(kTableSize)) {
            carry = mid7[v];
            s = mid[v];
        } else {
            s = scale->at(v);
            carry = s.p7;
        }
        nxt[x] = int32_t(acc0 + uint32_t(s.p3));
        acc0 = acc1 + uint32_t(s.p5);
        acc1 = uint32_t(s.p1);
        byte = (byte << 1) | uint32_t(scale->white(v));
        if ((x & 7) == 7) out[x >> 3] = uint8_t(byte), byte = 0;
    }
    void finish(int32_t w) {
        nxt[w] = int32_t(acc0);
        nxt[w + 1] = int32_t(acc1);
        if (w & 7) out[w >> 3] = uint8_t(byte << (8 - (w & 7)));
    }
};

/* Rows are worked two at a time where they can be: the upper row needs of
 * the lower one only the slots up to its own pixel + 1, so it follows two
 * pixels behind and the two chains of pixels run side by side. The upper
 * row's bits wait in a buffer until the lower row has been reported, so a
 * cancel leaves exactly the rows reported. */
void to_1(ImageRecord *rec, uint32_t threshold) {
    const int32_t w = image_width(rec), h = image_height(rec);
    ReduceFrame f(rec, kModule);
    Scratch scratch(kModule);
    SourceRows lower_src(rec->dib, scratch), upper_src(rec->dib, scratch);
    int32_t *rows[2] = {scratch.array<int32_t>(size_t(w) + 2), scratch.array<int32_t>(size_t(w) + 2)};
    // The 7/16 share, on which each pixel waits for the one before, in a
    // table of its own: one scaled load a pixel on that path.
    Share *table = scratch.array<Share>(kTableSize);
    int32_t *sevens = scratch.array<int32_t>(kTableSize);
    const size_t row_bytes = (size_t(w) + 7) / 8;
    uint8_t *upper_bits = scratch.array<uint8_t>(row_bytes);
    if (!lower_src.ok() || !upper_src.ok() || !rows[0] || !rows[1] || !table || !sevens || !upper_bits ||
        !f.dest(1, QV_BI_RGB, kBlackWhite, 2))
        return;
    const int64_t t64 = threshold;
    const Scale scale{t64, int32_t(std::min<int64_t>(t64, 255 - t64))};
    for (int32_t i = 0; i < kTableSize; ++i) table[i] = scale.at(kTableLow + i), sevens[i] = table[i].p7;
    Row1 lower{&scale, table - kTableLow, sevens - kTableLow, nullptr, nullptr, nullptr, nullptr};
    Row1 upper = lower;

    int32_t *cur = rows[1], *nxt = rows[0];  // exchanged before the first row
    for (int32_t y = h - 1; y >= 0;) {
        std::swap(cur, nxt);
        lower.start(lower_src.gray(y), cur, nxt, f.row(y));
        if (y == 0) {
            for (int32_t x = 0; x < w; ++x) lower.step(x);
            lower.finish(w);
            f.row_done(y);
            break;
        }
        const int32_t lead = w < 2 ? w : 2;
        for (int32_t x = 0; x < lead; ++x) lower.step(x);
        if (w <= 2) lower.finish(w);
        upper.start(upper_src.gray(y - 1), nxt, cur, upper_bits);
        for (int32_t x = 0; x < w; ++x) {
            if (x + 2 < w) lower.step(x + 2);
            else if (x + 2 == w && w > 2) lower.finish(w);
            upper.step(x);
        }
        upper.finish(w);
        if (!f.row_done(y)) break;
        std::memcpy(f.row(y - 1), upper_bits, row_bytes);
        if (!f.row_done(y - 1)) break;
        std::swap(cur, nxt);
        y -= 2;
    }
    f.finish();
}

inline uint32_t coord(int32_t v) { return v < 0 ? 0u : v >= 256 ? 15u : uint32_t(v) >> 4; }

void to_4(ImageRecord *rec, const QV_RGBQUAD *caller) {
    QV_RGBQUAD pal[16];
    std::memcpy(pal, caller ? caller : kPalette, sizeof pal);
    InverseMap map;
    map.build(pal);
    const int32_t w = image_width(rec), h = image_height(rec);
    ReduceFrame f(rec, kModule);
    Scratch scratch(kModule);
    SourceRows src(rec->dib, scratch);
    // Three values (blue, green, red) a slot, width + 2 slots.
    int32_t *rows[2] = {scratch.array<int32_t>(3 * size_t(w) + 6), scratch.array<int32_t>(3 * size_t(w) + 6)};
    if (!src.ok() || !rows[0] || !rows[1] || !f.dest(4, QV_BI_RGB, pal, 16)) return;
    // The 7/16 share travels in registers (what it adds to this row's slots
    // is never read again: they are set before use when the row next serves
    // as the row below), and each slot below is written once complete:
    // 1/16 of the pixel before plus 5/16 of its own; the first pixel's slot
    // has no 1/16 (cleared) and the slot before it stays 0.
    int32_t *cur = rows[1], *nxt = rows[0];
    for (int32_t y = h - 1; y >= 0; --y) {
        std::swap(cur, nxt);
        const uint8_t *p = src.bgr(y);
        uint8_t *out = f.row(y);
        int32_t seven[3] = {0, 0, 0}, one[3] = {0, 0, 0};
        const int32_t *in = cur + 3;  // slot of pixel 0
        int32_t *below = nxt + 3;
        for (int ch = 0; ch < 3; ++ch) nxt[ch] = 0;
        for (int32_t x = 0; x < w; ++x, p += 3, in += 3, below += 3) {
            int32_t v[3];
            for (int ch = 0; ch < 3; ++ch) v[ch] = wadd(wadd(p[ch], in[ch]), seven[ch]);
            const uint8_t idx = map.at(coord(v[2]), coord(v[1]), coord(v[0]));
            const int32_t ent[3] = {pal[idx].rgbBlue, pal[idx].rgbGreen, pal[idx].rgbRed};
            for (int ch = 0; ch < 3; ++ch) {
                const int32_t e = wadd(v[ch], -ent[ch]);
                seven[ch] = part(7, e);
                below[ch] = wadd(one[ch], part(5, e));
                one[ch] = part(1, e);
            }
            if (x & 1) out[x >> 1] |= idx;
            else out[x >> 1] = uint8_t(idx << 4);
        }
        for (int ch = 0; ch < 3; ++ch) below[ch] = one[ch];
        if (!f.row_done(y)) break;
    }
    f.finish();
}

void diffuse(ImageRecord *rec, uint32_t target, uint32_t threshold, const QV_RGBQUAD *palette) {
    const int32_t bpp = image_bpp(rec);
    if (!reduce_source_ok(kModule, bpp, int32_t(target))) return;
    if (target == 1) return to_1(rec, threshold);
    if (target == 4 && bpp != 4) return to_4(rec, palette);
    QV_ERR(QVE_DEPTH_NOT_APPLICABLE, bpp, target);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_color_reduce_diffuse(QUORIN image, uint32_t target_bits, uint32_t threshold,
                                          const QV_RGBQUAD *palette) {
    return api_frame_image(image, [&] { diffuse(image_from_handle(image), target_bits, threshold, palette); });
}

}  // extern "C"
