/*
 * dither_frame.cpp - source rows, the inverse colour map and the result
 * frame shared by the colour reductions (dither_frame.h).
 */
#include "dither/dither_frame.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "support/dib.h"
#include "support/runs.h"
#include "vosk32pd_bridge.h"
#include "support/target_clones.h"

namespace qv {
namespace {

// Gray levels of a blue-green-red row. The sum fits 16 bits (at most
// 256 * 255), which lets the compiler work 16 pixels a vector; a second
// build for x86-64-v3 is chosen at load where the processor has it.
QV_TARGET_CLONES("default", "arch=x86-64-v3") void gray_bgr(const uint8_t *s, uint8_t *o, int32_t n) {
    for (int32_t x = 0; x < n; ++x) {
        const uint16_t sum = uint16_t(uint16_t(77 * s[3 * x + 2]) + uint16_t(151 * s[3 * x + 1]) + uint16_t(28 * s[3 * x]));
        o[x] = uint8_t(sum >> 8);
    }
}

}  // namespace

SourceRows::SourceRows(QV_DIB_HEADER *dib, Scratch &scratch)
    : dib_(dib), width_(dib->biWidth), bpp_(dib->biBitCount) {
    if (bpp_ <= 8) {
        const QV_RGBQUAD *pal = dib_palette(dib);
        uint32_t n = 1u << bpp_;
        for (uint32_t i = 0; i < n; ++i) {
            QV_RGBQUAD q = pal ? pal[i] : QV_RGBQUAD{0, 0, 0, 0};
            pal_bgr_[3 * i] = q.rgbBlue;
            pal_bgr_[3 * i + 1] = q.rgbGreen;
            pal_bgr_[3 * i + 2] = q.rgbRed;
            gray_of_[i] = uint8_t(gray_level(q.rgbRed, q.rgbGreen, q.rgbBlue));
        }
        bgr_row_ = scratch.array<uint8_t>(size_t(width_) * 3 + 8);
        identity_ = bpp_ == 8;
        for (uint32_t i = 0; i < n && identity_; ++i) identity_ = gray_of_[i] == i;
    }
    gray_row_ = scratch.array<uint8_t>(size_t(width_) + 8);
    ok_ = gray_row_ && (bpp_ > 8 || bgr_row_);
}

const uint8_t *SourceRows::raw(int32_t y) const { return dib_row(dib_, y); }

const uint8_t *SourceRows::gray(int32_t y) {
    const uint8_t *s = dib_row(dib_, y);
    if (identity_) return s;  // gray ramp: the index is the gray level
    uint8_t *o = gray_row_;
    const int32_t w = width_;
    switch (bpp_) {
    case 4:
        for (int32_t x = 0; x < w; ++x) o[x] = gray_of_[(s[x >> 1] >> ((x & 1) ? 0 : 4)) & 15];
        break;
    case 8:
        for (int32_t x = 0; x < w; ++x) o[x] = gray_of_[s[x]];
        break;
    default:
        gray_bgr(s, o, w);
        break;
    }
    return o;
}

const uint8_t *SourceRows::bgr(int32_t y) {
    const uint8_t *s = dib_row(dib_, y);
    if (bpp_ == 24) return s;
    uint8_t *o = bgr_row_;
    const int32_t w = width_;
    for (int32_t x = 0; x < w; ++x) {
        uint32_t i = bpp_ == 8 ? s[x] : (s[x >> 1] >> ((x & 1) ? 0 : 4)) & 15u;
        std::memcpy(o + 3 * size_t(x), pal_bgr_ + 3 * i, 3);
    }
    return o;
}

void InverseMap::build(const QV_RGBQUAD palette[16]) {
    for (int32_t r = 0; r < 16; ++r)
        for (int32_t g = 0; g < 16; ++g)
            for (int32_t b = 0; b < 16; ++b) {
                int32_t best = 0, best_d = INT32_MAX;
                for (int32_t i = 0; i < 16 && best_d != 0; ++i) {
                    int32_t dr = 17 * r - palette[i].rgbRed, dg = 17 * g - palette[i].rgbGreen,
                            db = 17 * b - palette[i].rgbBlue;
                    int32_t d = dr * dr + dg * dg + db * db;
                    if (d < best_d) best_d = d, best = i;
                }
                cell[(r * 16 + g) * 16 + b] = uint8_t(best);
            }
}

ReduceFrame::ReduceFrame(ImageRecord *rec, const char *module)
    : rec_(rec), before_(error_count()), op_(rec, module),
      progress_(module, image_height(rec)), scratch_(module) {}

bool ReduceFrame::dest(int32_t bpp, uint32_t compression, const QV_RGBQUAD *palette, uint32_t entries) {
    dib_ = op_.dest(image_width(rec_), image_height(rec_), bpp, compression);
    if (!dib_) return false;
    if (QV_RGBQUAD *p = dib_palette(dib_)) {
        uint32_t n = 1u << bpp;
        std::memset(p, 0, size_t(n) * 4);
        if (palette) std::memcpy(p, palette, size_t(entries < n ? entries : n) * 4);
    }
    runs_ = dib_->biCompression == QV_BI_RUNS;
    if (runs_) {
        // Run lists are stored through the work record, which addresses its
        // rows through the DIB it holds.
        op_.work()->dib = dib_;
        packed_ = scratch_.array<uint8_t>(size_t(dib_bytes_per_row(dib_->biWidth, 1)));
        list_ = scratch_.array<uint16_t>(size_t(runs_max_words(dib_->biWidth)));
        if (!packed_ || !list_) return false;
    }
    return true;
}

uint8_t *ReduceFrame::row(int32_t y) { return runs_ ? packed_ : dib_row(dib_, y); }

bool ReduceFrame::row_done(int32_t y) {
    if (runs_) {
        const int32_t w = dib_->biWidth;
        runs_from_packed(packed_, w, list_, runs_max_words(w));
        // A fresh destination reads every row not stored as all bit value 0.
        if (list_[0] > 8 && image_run_row_store(op_.work(), y, list_) != 0) return false;
    }
    return progress_.row_done(y);
}

void ReduceFrame::finish() {
    if (!dib_) return;
    int32_t bpp = dib_->biBitCount;
    if (op_.commit() != 0) return;
    VPb_logical_palette_update(handle_from_image(rec_));
    if (error_count() == before_) image_changed(rec_, QV_CHANGED_COLORS, bpp);
}

namespace {

// Bit order reversed within a byte: a compare mask has pixel 0 in bit 0,
// a packed row wants it in bit 7.
struct Reversed {
    uint8_t v[256];
};
constexpr Reversed make_reversed() {
    Reversed r{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t b = 0;
        for (int k = 0; k < 8; ++k) b |= ((i >> k) & 1u) << (7 - k);
        r.v[i] = uint8_t(b);
    }
    return r;
}
constexpr Reversed kReversed = make_reversed();

}  // namespace

void pack_at_least(const uint8_t *gray, const uint8_t thr[16], int32_t n, uint8_t *out) {
    int32_t x = 0;
#if defined(__SSE2__)
    const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i *>(thr));
    for (; x + 16 <= n; x += 16) {
        const __m128i g = _mm_loadu_si128(reinterpret_cast<const __m128i *>(gray + x));
        const uint32_t m = uint32_t(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(g, t), g)));
        out[x >> 3] = kReversed.v[m & 255];
        out[(x >> 3) + 1] = kReversed.v[m >> 8];
    }
#endif
    uint32_t byte = 0;
    int bits = 0;
    for (; x < n; ++x) {
        byte = (byte << 1) | uint32_t(gray[x] >= thr[x & 15]);
        if (++bits == 8) out[x >> 3] = uint8_t(byte), byte = 0, bits = 0;
    }
    if (bits) out[(n - 1) >> 3] = uint8_t(byte << (8 - bits));
}

void reduce_by_matrix(ImageRecord *rec, const char *module, uint32_t compression, const uint8_t (*thr)[16],
                      int32_t rows) {
    ReduceFrame f(rec, module);
    Scratch scratch(module);
    SourceRows src(rec->dib, scratch);
    if (!src.ok() || !f.dest(1, compression, kBlackWhite, 2)) return;
    const int32_t w = src.width(), h = image_height(rec);
    for (int32_t y = h - 1, i = 0; y >= 0; --y, ++i) {
        pack_at_least(src.gray(y), thr[i & (rows - 1)], w, f.row(y));
        if (!f.row_done(y)) break;
    }
    f.finish();
}

bool reduce_source_ok(const char *module, int32_t bpp, int32_t target) {
    if (bpp == 4 || bpp == 8 || bpp == 24) return true;
    if (bpp == 1) error_push(module, __LINE__, QVE_DEPTH_NOT_APPLICABLE, 1, 0);
    else error_push(module, __LINE__, QVE_DEPTH_NOT_APPLICABLE, bpp, target);
    return false;
}

}  // namespace qv
