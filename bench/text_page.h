/*
 * text_page.h - a synthetic A4 page of text at 300 dpi (2480 x 3508, 1 bit,
 * DIB packing with rows padded to 4 bytes, row 0 at the top, bit value 1 =
 * ink) shared by the 1-bit benchmarks: lines of glyph-like strokes.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace text_page {

constexpr int32_t kWidth = 2480, kHeight = 3508;
constexpr size_t kRowBytes = size_t((kWidth + 31) / 32) * 4;

inline void set_black(std::vector<uint8_t> &page, int32_t y, int32_t x0, int32_t x1) {
    uint8_t *row = page.data() + size_t(y) * kRowBytes;
    for (int32_t x = x0; x < x1 && x < kWidth; ++x) row[x / 8] |= uint8_t(0x80 >> (x % 8));
}

// Text lines 42 rows apart inside 150-pixel margins; each glyph cell is
// 24 x 30 with a random mix of stems, bowls and bars; words of 2-9 glyphs.
inline std::vector<uint8_t> make() {
    std::vector<uint8_t> page(kRowBytes * kHeight, 0);
    std::mt19937 rng(2480);
    for (int32_t top = 200; top + 30 < kHeight - 200; top += 42) {
        int32_t x = 150;
        while (x < kWidth - 150 - 24 * 9) {
            int glyphs = 2 + int(rng() % 8);
            for (int g = 0; g < glyphs; ++g, x += 24) {
                uint32_t shape = rng();
                for (int32_t dy = 0; dy < 30; ++dy) {
                    int32_t y = top + dy;
                    bool ascender = dy < 8, body = dy >= 8 && dy < 26;
                    if ((shape & 1) && (body || ((shape & 2) && ascender))) set_black(page, y, x + 2, x + 5);
                    if ((shape & 4) && body) set_black(page, y, x + 15, x + 18);
                    if ((shape & 8) && (dy == 8 || dy == 9 || dy == 24 || dy == 25)) set_black(page, y, x + 4, x + 16);
                    if ((shape & 16) && body && (dy - 8) % 6 < 2) set_black(page, y, x + 6 + (dy - 8) / 3, x + 10 + (dy - 8) / 3);
                    if ((shape & 32) && dy == 16) set_black(page, y, x + 3, x + 17);
                }
            }
            x += 14;  // word space
        }
    }
    return page;
}

// The page made once.
inline const std::vector<uint8_t> &get() {
    static const std::vector<uint8_t> p = make();
    return p;
}

}  // namespace text_page
