/*
 * bench_tiff_pages.h - the two pages the TIFF benchmarks read and write, as
 * file rows: a photo-like RGB page (smooth gradients with texture and mild
 * noise) and a text-like 1-bit page of glyph blocks (1 black, rows packed
 * from the high bit).
 */
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

std::vector<uint8_t> make_rgb(int32_t w, int32_t h) {
    std::vector<uint8_t> p(size_t(w) * h * 3);
    uint32_t s = 12345;
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
            s = s * 1103515245u + 12345u;
            const int n = int((s >> 16) & 7) - 3;
            uint8_t *q = &p[(size_t(y) * w + x) * 3];
            q[0] = uint8_t(std::clamp((x / 24 + y / 40) % 256 + n, 0, 255));
            q[1] = uint8_t(std::clamp(((x * y) >> 12) % 256 + n, 0, 255));
            q[2] = uint8_t(std::clamp(((x + 2 * y) / 16) % 256 + ((x / 64 + y / 64) % 3) * 20 + n, 0, 255));
        }
    return p;
}

std::vector<uint8_t> make_text(int32_t w, int32_t h) {
    const size_t stride = size_t(w + 7) / 8;
    std::vector<uint8_t> p(stride * h, 0);
    uint32_t s = 99;
    for (int32_t y0 = 150; y0 + 50 < h - 150; y0 += 50)
        for (int32_t x0 = 200; x0 + 40 < w - 200;) {
            s = s * 1103515245u + 12345u;
            const int32_t gw = 14 + int32_t((s >> 16) % 16);
            for (int32_t y = y0; y < y0 + 30; ++y)
                for (int32_t x = x0; x < x0 + gw; ++x)
                    if (x - x0 < 4 || y - y0 < 4 || ((s >> 8) & 1 && x - x0 >= gw - 4) || ((s >> 9) & 1 && std::abs(y - y0 - 15) < 2))
                        p[size_t(y) * stride + size_t(x / 8)] |= uint8_t(0x80 >> (x % 8));
            x0 += gw + 6 + int32_t((s >> 20) % 10);
        }
    return p;
}

}  // namespace
