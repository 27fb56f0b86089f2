/*
 * bitonal.cpp - one threshold to a run-encoded 1-bit image.
 *
 * The value compared is the gray level (mode 0), the plain mean of the
 * three channels (mode 1) or a weighted mean with the caller's weights
 * (mode 2); a pixel is white when the value is at least the threshold.
 *
 * Exported: QV_IP_color_reduce_to_bitonal.
 */
#include <cstring>

#include "dither/dither_frame.h"
#include "support/frame.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "DITHER\\BITONAL.C";

struct Rule {
    uint32_t mode;
    uint16_t threshold;
    uint64_t wr, wg, wb, sum;

    uint16_t value(uint32_t b, uint32_t g, uint32_t r) const {
        switch (mode) {
        case 0: return uint16_t(gray_level(r, g, b));
        case 1: return uint16_t((b + r + g) / 3);
        default: return uint16_t((b * wb + g * wg + r * wr) / sum);
        }
    }
};

// Unknown modes push one record a pixel; once the stack is full further
// records only rewrite its last slot with the same values.
struct ModeReports {
    uint32_t mode;
    bool pushed = false;
    void pixels(int64_t n) {
        for (; n > 0; --n) {
            if (pushed && error_count() >= kErrorMaxCount) return;
            QV_ERR(QVE_BAD_ARGUMENT, mode, 0);
            pushed = true;
        }
    }
};

// One byte (0 or 1) a pixel to a packed row, the first pixel in bit 7.
void pack_bits(const uint8_t *v, int32_t n, uint8_t *out) {
    int32_t x = 0;
    for (; x + 8 <= n; x += 8) {
        uint32_t byte = 0;
        for (int k = 0; k < 8; ++k) byte = (byte << 1) | v[x + k];
        out[x >> 3] = uint8_t(byte);
    }
    if (x < n) {
        uint32_t byte = 0;
        int k = 0;
        for (; x < n; ++x, ++k) byte = (byte << 1) | v[x];
        out[(n - 1) >> 3] = uint8_t(byte << (8 - k));
    }
}

void to_bitonal(ImageRecord *rec, const Rule &rule) {
    int32_t bpp = image_bpp(rec);
    if (rule.mode == 2 && rule.sum == 0) {
        QV_ERR(QVE_BAD_ARGUMENT, 0, 0);
        return;
    }
    if (!reduce_source_ok(kModule, bpp, 1)) return;
    ReduceFrame f(rec, kModule);
    Scratch scratch(kModule);
    SourceRows src(rec->dib, scratch);
    if (!src.ok() || !f.dest(1, QV_BI_RUNS, kBlackWhite, 2)) return;
    const int32_t w = src.width(), h = image_height(rec);
    const bool known = rule.mode <= 2;
    ModeReports reports{rule.mode};
    // White when the value reaches the threshold; a palette source decides
    // once per entry.
    uint8_t white_of[256] = {};
    if (bpp <= 8 && known)
        for (uint32_t i = 0; i < (1u << bpp); ++i) {
            const uint8_t *e = src.entry(i);
            white_of[i] = rule.value(e[0], e[1], e[2]) >= rule.threshold;
        }
    const bool zero_white = rule.threshold == 0;  // the value 0 of an unknown mode
    uint8_t *white = scratch.array<uint8_t>(size_t(w) + 8);
    if (!white) return;
    uint8_t level16[16];
    std::memset(level16, rule.threshold > 255 ? 255 : rule.threshold, sizeof level16);
    for (int32_t y = h - 1; y >= 0; --y) {
        const uint8_t *s = src.raw(y);
        if (!known) {
            std::memset(white, zero_white, size_t(w));
        } else if (bpp == 8) {
            for (int32_t x = 0; x < w; ++x) white[x] = white_of[s[x]];
        } else if (bpp == 4) {
            for (int32_t x = 0; x < w; ++x) white[x] = white_of[(s[x >> 1] >> ((x & 1) ? 0 : 4)) & 15];
        } else if (rule.mode == 0) {
            // Gray levels are at most 255: a higher threshold leaves all black.
            if (rule.threshold > 255) std::memset(f.row(y), 0, (size_t(w) + 7) / 8);
            else pack_at_least(src.gray(y), level16, w, f.row(y));
            if (!f.row_done(y)) break;
            continue;
        } else {
            for (int32_t x = 0; x < w; ++x, s += 3) white[x] = rule.value(s[0], s[1], s[2]) >= rule.threshold;
        }
        pack_bits(white, w, f.row(y));
        if (!known) reports.pixels(w);
        if (!f.row_done(y)) break;
    }
    f.finish();
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_color_reduce_to_bitonal(QUORIN image, uint32_t mode, uint32_t threshold,
                                             uint32_t red_weight, uint32_t green_weight,
                                             uint32_t blue_weight) {
    Rule rule{mode, uint16_t(threshold), red_weight, green_weight, blue_weight,
              uint64_t(red_weight) + green_weight + blue_weight};
    return api_frame_image(image, [&] { to_bitonal(image_from_handle(image), rule); });
}

}  // extern "C"
