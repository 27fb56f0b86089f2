/*
 * bench_pictures.h - the pictures the operation benchmarks work on, made once
 * per program: a 6000 x 4000 photo-like image at 24 and 8 bits, and a 1-bit
 * A4 text page at 300 dpi, packed and run-encoded (as the TIFF and fax
 * readers deliver pages).
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vosk32pd.h"

#include "bench_noise.h"

namespace {


constexpr int32_t kW = 6000, kH = 4000;    // photo
constexpr int32_t kA4W = 2480, kA4H = 3508;  // A4 at 300 dpi

enum Picture { kRgb, kGrey, kPage, kPageRuns, kPictures };

// Smooth shading with a little noise; bpp 24 or 8 (grey palette).
QUORIN make_photo(int32_t bpp) {
    QUORIN h = nullptr;
    QV_image_create_DIB(kW, kH, bpp, nullptr, &h);
    const int32_t ch = bpp / 8;
    std::vector<uint8_t> row(size_t(kW) * ch);
    Noise n;
    for (int32_t y = 0; y < kH; ++y) {
        for (int32_t x = 0; x < kW; ++x)
            for (int32_t c = 0; c < ch; ++c)
                row[size_t(x) * ch + c] =
                    uint8_t(128 + 100 * std::sin(x * 0.003 + c) * std::cos(y * 0.002 - c) + (n.next() & 7));
        QV_DIB_raster_set(h, y, row.data(), 1);
    }
    return h;
}

// Lines of text: letters 14 pixels wide made of 3-pixel stems and bars, in words of 2 to 9
// letters, 30-pixel lines 50 pixels apart, with a little scanner noise, as a letter
// scanned at 300 dpi.
QUORIN make_page() {
    QUORIN h = nullptr;
    QV_image_create_DIB(kA4W, kA4H, 1, nullptr, &h);
    std::vector<uint8_t> row(static_cast<size_t>(kA4W));
    Noise n;
    for (int32_t y = 0; y < kA4H; ++y) {
        std::fill(row.begin(), row.end(), 0);
        const int32_t in_line = y % 50;
        if (y > 200 && y < kA4H - 200 && in_line < 30) {
            Noise words;
            words.s += uint64_t(y / 50) * 7919;
            for (int32_t x = 200; x < kA4W - 300;) {
                const int32_t letters = 2 + int32_t(words.next() % 8);
                for (int32_t l = 0; l < letters; ++l, x += 14) {
                    const uint32_t shape = words.next();
                    for (int32_t k = 0; k < 11; ++k) {
                        const bool stem = (k < 3 && (shape & 1)) || (k >= 8 && (shape & 2)) || (k >= 4 && k < 7 && (shape & 4));
                        const bool bar = (in_line < 3 && (shape & 8)) || (in_line >= 13 && in_line < 16 && (shape & 16)) ||
                                         (in_line >= 27 && (shape & 32));
                        if ((stem && in_line >= 3 * int32_t((shape >> 6) & 3)) || bar) row[size_t(x + k)] = 1;
                    }
                }
                x += 20;
            }
        }
        if ((n.next() & 1023) == 0) row[n.next() % kA4W] ^= 1;  // a speck
        QV_DIB_raster_set(h, y, row.data(), 2);
    }
    return h;
}

QUORIN picture(Picture p) {
    static QUORIN made[kPictures] = {};
    if (!made[p]) {
        switch (p) {
        case kRgb: made[p] = make_photo(24); break;
        case kGrey: made[p] = make_photo(8); break;
        case kPage: made[p] = make_page(); break;
        case kPageRuns: {
            // The same page run-encoded (as the TIFF and fax readers deliver pages): a DIB of
            // compression 500 whose run lists follow the palette, imported.
            QUORIN packed = picture(kPage);
            std::vector<uint16_t> runs(size_t(kA4W) + 8);
            std::vector<uint8_t> blob;
            for (int32_t y = 0; y < kA4H; ++y) {
                QV_runs_row_get(packed, y, runs.data());
                const uint8_t *b = reinterpret_cast<const uint8_t *>(runs.data());
                blob.insert(blob.end(), b, b + runs[0]);
            }
            const size_t head = 40 + 8;
            auto *dib = static_cast<QV_DIB_HEADER *>(std::calloc(1, head + blob.size()));
            *dib = QV_DIB_HEADER{40, kA4W, kA4H, 1, 1, QV_BI_RUNS, uint32_t(blob.size()), 0, 0, 0, 0};
            auto *pal = reinterpret_cast<uint8_t *>(dib) + 40;
            pal[4] = pal[5] = pal[6] = 0;
            pal[0] = pal[1] = pal[2] = 255;
            std::memcpy(reinterpret_cast<uint8_t *>(dib) + head, blob.data(), blob.size());
            if (QV_image_import_DIB(dib, &made[p]) != 0) std::exit(1);
            break;
        }
        default: break;
        }
    }
    return made[p];
}

}  // namespace
