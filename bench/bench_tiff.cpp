// TIFF reading beside libtiff: a 6000 x 4000 RGB page uncompressed, in
// PackBits and in LZW (with and without predictor 2), and an A4 300 dpi G4
// page, all written by libtiff in memory in strips of 16 rows (the G4 page
// one strip). libtiff reads every strip with TIFFReadEncodedStrip into one
// buffer; ours loads the file from memory into an image (header, strips,
// R, G, B to B, G, R) and, for LZW, also decodes the strips alone. A memcpy
// of the pixel bytes is the floor. Afterwards the best of 5 of each and the
// ratios (ours / libtiff, ours / memcpy) are printed, in thread CPU time.
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "filters/tif_format.h"
#include "vosk32pd.h"

#include "bench_libtiff.h"
#include "bench_tiff_pages.h"

#include "bench_timing.h"

namespace {

struct Case {
    const char *name;
    int compression;  // TIFF value
    int predictor;
    bool fax;
};
constexpr Case kCases[] = {
    {"rgb none", COMPRESSION_NONE, 1, false},   {"rgb packbits", COMPRESSION_PACKBITS, 1, false},
    {"rgb lzw", COMPRESSION_LZW, 1, false},     {"rgb lzw pred2", COMPRESSION_LZW, 2, false},
    {"a4 300dpi g4", COMPRESSION_CCITTFAX4, 1, true},
};
constexpr int kCaseCount = int(sizeof kCases / sizeof kCases[0]);

struct Prepared {
    MemFile file;
    std::vector<uint8_t> pixels;  // what the strips hold
    std::vector<uint8_t> out;
    int32_t w = 0, h = 0, rps = 0;
};

Prepared &prepared(int i) {
    static Prepared cache[kCaseCount];
    Prepared &p = cache[i];
    if (!p.file.data.empty()) return p;
    const Case &c = kCases[i];
    p.w = c.fax ? 2480 : 6000;
    p.h = c.fax ? 3508 : 4000;
    p.rps = c.fax ? p.h : 16;
    static const std::vector<uint8_t> rgb = make_rgb(6000, 4000);
    static const std::vector<uint8_t> text = make_text(2480, 3508);
    p.pixels = c.fax ? text : rgb;
    TIFF *t = mem_open(&p.file, "w");
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(p.w));
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(p.h));
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, c.fax ? 1 : 8);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, c.fax ? 1 : 3);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, c.fax ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, uint32_t(p.rps));
    TIFFSetField(t, TIFFTAG_COMPRESSION, c.compression);
    if (c.predictor == 2) TIFFSetField(t, TIFFTAG_PREDICTOR, 2);
    const size_t row = c.fax ? size_t(p.w + 7) / 8 : size_t(p.w) * 3;
    if (c.fax) TIFFSetField(t, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
    // Strip by strip, through a copy (the writer's predictor works in place).
    for (int32_t y = 0, s = 0; y < p.h; y += p.rps, ++s) {
        const size_t n = row * size_t(std::min(p.rps, p.h - y));
        std::vector<uint8_t> strip(p.pixels.begin() + row * y, p.pixels.begin() + row * y + n);
        TIFFWriteEncodedStrip(t, tstrip_t(s), strip.data(), tmsize_t(n));
    }
    TIFFClose(t);
    p.out.resize(p.pixels.size() + 4096);
    return p;
}

void libtiff_read(Prepared &p) {
    TIFF *t = mem_open(&p.file, "rm");
    const tstrip_t n = TIFFNumberOfStrips(t);
    size_t at = 0;
    for (tstrip_t s = 0; s < n; ++s) {
        const tmsize_t got = TIFFReadEncodedStrip(t, s, p.out.data() + at, tmsize_t(p.out.size() - at));
        if (got > 0) at += size_t(got);
    }
    TIFFClose(t);
}

bool ours_load(Prepared &p) {
    QUORIN h = nullptr;
    const bool ok = QV_load_mem(p.file.data.data(), p.file.data.size(), 1, 1, &h) == 0;
    QV_image_delete(h);
    return ok;
}

// The LZW strips alone through the reader's decoder (as libtiff delivers them).
void ours_lzw_strips(Prepared &p, int predictor) {
    TIFF *t = mem_open(&p.file, "rm");
    const tstrip_t n = TIFFNumberOfStrips(t);
    uint64_t *offs = nullptr, *counts = nullptr;
    TIFFGetField(t, TIFFTAG_STRIPOFFSETS, &offs);
    TIFFGetField(t, TIFFTAG_STRIPBYTECOUNTS, &counts);
    std::vector<uint64_t> o(offs, offs + n), c(counts, counts + n);
    TIFFClose(t);
    const size_t strip = size_t(p.w) * 3 * p.rps;
    for (tstrip_t s = 0; s < n; ++s) {
        uint8_t *dst = p.out.data() + strip * s;
        const size_t want = std::min(strip, p.pixels.size() - strip * s);
        qv::tif_lzw_decode(p.file.data.data() + o[s], size_t(c[s]), dst, want);
        if (predictor == 2)
            for (size_t r = 0; r < want / (size_t(p.w) * 3); ++r) {
                uint8_t *row = dst + r * size_t(p.w) * 3;
                for (size_t i = 3; i < size_t(p.w) * 3; ++i) row[i] = uint8_t(row[i] + row[i - 3]);
            }
    }
}

void BM_ours_load(benchmark::State &st) {
    Prepared &p = prepared(int(st.range(0)));
    for (auto _ : st) benchmark::DoNotOptimize(ours_load(p));
    st.SetLabel(kCases[st.range(0)].name);
}
void BM_libtiff_read(benchmark::State &st) {
    Prepared &p = prepared(int(st.range(0)));
    for (auto _ : st) libtiff_read(p);
    st.SetLabel(kCases[st.range(0)].name);
}
BENCHMARK(BM_ours_load)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_libtiff_read)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);


void compare() {
    std::printf("\nbest of 5 in thread CPU time");
    std::printf("\n%-16s %9s %9s %9s %9s %8s %8s %8s\n", "best of 5, ms", "ours", "strips", "libtiff", "memcpy",
                "ours/lt", "strip/lt", "ours/cpy");
    for (int i = 0; i < kCaseCount; ++i) {
        Prepared &p = prepared(i);
        const bool ok = ours_load(p);
        libtiff_read(p);
        const bool lt_ok = std::memcmp(p.out.data(), p.pixels.data(), p.pixels.size()) == 0;
        bool strips_ok = true;
        double strips = 0;
        if (kCases[i].compression == COMPRESSION_LZW) {
            ours_lzw_strips(p, kCases[i].predictor);
            strips_ok = std::memcmp(p.out.data(), p.pixels.data(), p.pixels.size()) == 0;
            strips = best_ms(CLOCK_THREAD_CPUTIME_ID, 5, [&] { ours_lzw_strips(p, kCases[i].predictor); });
        }
        const double o = best_ms(CLOCK_THREAD_CPUTIME_ID, 5, [&] { ours_load(p); });
        const double l = best_ms(CLOCK_THREAD_CPUTIME_ID, 5, [&] { libtiff_read(p); });
        const double m = best_ms(CLOCK_THREAD_CPUTIME_ID, 5, [&] { std::memcpy(p.out.data(), p.pixels.data(), p.pixels.size()); });
        std::printf("%-16s %9.2f %9.2f %9.2f %9.2f %7.2fx %7.2fx %7.2fx%s\n", kCases[i].name, o, strips, l, m, o / l,
                    strips / l, o / m, ok && lt_ok && strips_ok ? "" : (!ok ? "  (load failed!)" : !lt_ok ? "  (libtiff pixels differ!)" : "  (strip pixels differ!)"));
    }
}

}  // namespace

int main(int argc, char **argv) {
    TIFFSetWarningHandler(nullptr);
    return bench_main(argc, argv, compare);
}
