// TIFF writing beside libtiff: a 6000 x 4000 RGB page uncompressed, in
// PackBits and in LZW (strips of 16 rows), and an A4 300 dpi text page in
// G4 (one strip). libtiff writes prepared R, G, B strips with
// TIFFWriteEncodedStrip into memory; ours saves the image (B, G, R rows
// turned to R, G, B, the strips coded, the IFD) into a memory buffer.
// Afterwards the best of 5 of each and the ratio ours / libtiff are printed,
// with a check that libtiff reads our file back with the source pixels.
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "vosk32pd.h"

#include "bench_libtiff.h"
#include "bench_tiff_pages.h"

#include "bench_timing.h"

namespace {

struct Case {
    const char *name;
    int compression;  // TIFF value
    int32_t code;     // library code
    bool fax;
};
constexpr Case kCases[] = {
    {"rgb none", COMPRESSION_NONE, 0, false},
    {"rgb packbits", COMPRESSION_PACKBITS, 1, false},
    {"rgb lzw", COMPRESSION_LZW, 8, false},
    {"a4 300dpi g4", COMPRESSION_CCITTFAX4, 4, true},
};
constexpr int kCaseCount = int(sizeof kCases / sizeof kCases[0]);

struct Prepared {
    int32_t w = 0, h = 0, rps = 0;
    std::vector<uint8_t> pixels;  // file rows (R, G, B or 1-bit, 1 black)
    QUORIN image = nullptr;
    std::vector<uint8_t> out;     // our file
    size_t written = 0;
    MemFile lt;                   // libtiff's file
};

Prepared &prepared(int i) {
    static Prepared cache[kCaseCount];
    Prepared &p = cache[i];
    if (p.image) return p;
    const Case &c = kCases[i];
    p.w = c.fax ? 2480 : 6000;
    p.h = c.fax ? 3508 : 4000;
    p.rps = c.fax ? p.h : 16;
    static const std::vector<uint8_t> rgb = make_rgb(6000, 4000);
    static const std::vector<uint8_t> text = make_text(2480, 3508);
    p.pixels = c.fax ? text : rgb;
    QV_image_create_DIB(p.w, p.h, c.fax ? 1 : 24, nullptr, &p.image);
    const size_t row = c.fax ? size_t(p.w + 7) / 8 : size_t(p.w) * 3;
    std::vector<uint8_t> dib((size_t(p.w) * (c.fax ? 1 : 24) + 31) / 32 * 4 + 8);
    for (int32_t y = 0; y < p.h; ++y) {
        const uint8_t *src = p.pixels.data() + row * size_t(y);
        if (c.fax) {
            // Palette black, white: DIB value 1 is white, so invert.
            for (size_t k = 0; k < row; ++k) dib[k] = uint8_t(~src[k]);
        } else {
            for (int32_t x = 0; x < p.w; ++x)
                dib[3 * x] = src[3 * x + 2], dib[3 * x + 1] = src[3 * x + 1], dib[3 * x + 2] = src[3 * x];
        }
        QV_DIB_raster_set(p.image, y, dib.data(), 1);
    }
    if (c.fax) {
        QV_RGBQUAD *pal = nullptr;
        int32_t n = 0;
        QV_image_DIB_palette_pntr_get(p.image, &pal, &n);
        pal[0] = {0, 0, 0, 0}, pal[1] = {255, 255, 255, 0};
    }
    p.out.resize(p.pixels.size() * 2 + 65536);
    return p;
}

bool ours_save(Prepared &p, const Case &c) {
    QV_image_control_set(QV_CTL_TIFF_ROWS_PER_STRIP, p.rps);
    return QV_save_mem(p.image, p.out.data(), p.out.size(), 0, 0, 1, QV_FORMAT_TIFF | c.code << 16, &p.written) == 0;
}

void libtiff_write(Prepared &p, const Case &c) {
    p.lt.data.clear();
    TIFF *t = mem_open(&p.lt, "w");
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(p.w));
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(p.h));
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, c.fax ? 1 : 8);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, c.fax ? 1 : 3);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, c.fax ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_RGB);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, uint32_t(p.rps));
    TIFFSetField(t, TIFFTAG_COMPRESSION, c.compression);
    const size_t row = c.fax ? size_t(p.w + 7) / 8 : size_t(p.w) * 3;
    const uint32_t strips = uint32_t((p.h + p.rps - 1) / p.rps);
    for (uint32_t s = 0; s < strips; ++s) {
        const int32_t rows = std::min(p.rps, p.h - int32_t(s) * p.rps);
        TIFFWriteEncodedStrip(t, s, p.pixels.data() + row * size_t(p.rps) * s, tmsize_t(row * size_t(rows)));
    }
    TIFFClose(t);
}

// libtiff reads our file back with the source rows (1-bit: 1 black, as
// photometric 0 says).
bool check(Prepared &p, const Case &c) {
    MemFile m;
    m.data.assign(p.out.begin(), p.out.begin() + long(p.written));
    TIFF *t = mem_open(&m, "r");
    if (!t) return false;
    const size_t row = c.fax ? size_t(p.w + 7) / 8 : size_t(p.w) * 3;
    std::vector<uint8_t> buf(row);
    bool ok = true;
    for (int32_t y = 0; y < p.h && ok; ++y) {
        ok = TIFFReadScanline(t, buf.data(), uint32_t(y), 0) == 1 &&
             std::memcmp(buf.data(), p.pixels.data() + row * size_t(y), row) == 0;
    }
    TIFFClose(t);
    return ok;
}

void BM_ours_save(benchmark::State &st) {
    const Case &c = kCases[st.range(0)];
    Prepared &p = prepared(int(st.range(0)));
    for (auto _ : st) benchmark::DoNotOptimize(ours_save(p, c));
    st.SetLabel(c.name);
}
void BM_libtiff_write(benchmark::State &st) {
    const Case &c = kCases[st.range(0)];
    Prepared &p = prepared(int(st.range(0)));
    for (auto _ : st) libtiff_write(p, c);
    st.SetLabel(c.name);
}
BENCHMARK(BM_ours_save)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_libtiff_write)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);


void compare() {
    std::printf("\n%-16s %9s %9s %8s %11s %11s\n", "best of 5, ms", "ours", "libtiff", "ours/lt", "our bytes",
                "lt bytes");
    for (int i = 0; i < kCaseCount; ++i) {
        const Case &c = kCases[i];
        Prepared &p = prepared(i);
        const bool ok = ours_save(p, c) && check(p, c);
        libtiff_write(p, c);
        const double o = best_ms(CLOCK_MONOTONIC, 5, [&] { ours_save(p, c); });
        const double l = best_ms(CLOCK_MONOTONIC, 5, [&] { libtiff_write(p, c); });
        std::printf("%-16s %9.2f %9.2f %7.2fx %11zu %11zu%s\n", c.name, o, l, o / l, p.written, p.lt.data.size(),
                    ok ? "" : "  (check failed!)");
    }
}

}  // namespace

int main(int argc, char **argv) {
    TIFFSetWarningHandler(nullptr);
    return bench_main(argc, argv, compare);
}
