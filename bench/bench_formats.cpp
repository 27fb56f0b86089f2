// Loads of 6000 x 4000 uncompressed files of the simple raster formats (TGA,
// PPM, PGM, SGI, Sun raster, XWD, PSD, MSP; ICO at its largest, 256 x 256)
// timed with Google Benchmark against a memcpy of the image's pixel bytes
// (between two buffers already touched, so the copy pays no page faults). The
// files are written by the library's own writers from one test picture.
// Afterwards the best of 7 of each side (processor time of the thread) is
// printed with the ratio load / copy (the goal: at most 2).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vosk32pd.h"

#include "bench_timing.h"

namespace {

struct Case {
    const char *name;
    int32_t format;  // save format value (uncompressed)
    int32_t bpp;     // depth of the image written
    int32_t width, height;
};
const Case kCases[] = {
    {"TGA 24-bit", 39, 24, 6000, 4000},    {"TGA 32-bit", 39, 32, 6000, 4000},
    {"PPM 24-bit", 28, 24, 6000, 4000},    {"PGM 8-bit", 28, 8, 6000, 4000},
    {"SGI 24-bit", 38, 24, 6000, 4000},    {"Sun 24-bit", 37, 24, 6000, 4000},
    {"XWD 24-bit", 47, 24, 6000, 4000},    {"PSD 24-bit", 36, 24, 6000, 4000},
    {"ICO 32-bit", 17, 32, 256, 256},      {"MSP 1-bit", 25, 1, 6000, 4000},
};

// MSP has no writer: a version 1 file is put together here.
std::vector<uint8_t> msp_file(const Case &c) {
    std::vector<uint8_t> f(32, 0);
    std::memcpy(f.data(), "DanM", 4);
    f[4] = uint8_t(c.width), f[5] = uint8_t(c.width >> 8), f[6] = uint8_t(c.height), f[7] = uint8_t(c.height >> 8);
    uint32_t x = 0;
    for (int i = 0; i < 12; ++i) x ^= uint32_t(f[2 * i] | f[2 * i + 1] << 8);
    f[24] = uint8_t(x), f[25] = uint8_t(x >> 8);
    const size_t row = size_t(c.width + 7) / 8;
    for (int32_t y = 0; y < c.height; ++y)
        for (size_t i = 0; i < row; ++i) f.push_back(uint8_t((i / 40 + y / 30) & 1 ? 0xFF : 0x0F));
    return f;
}

// A picture of smooth ramps; 8-bit images get the grey ramp palette.
QUORIN picture(const Case &c) {
    QUORIN img = nullptr;
    if (QV_image_create_DIB(c.width, c.height, c.bpp, nullptr, &img) != 0) std::exit(1);
    std::vector<uint8_t> row(size_t((c.width * c.bpp + 31) / 32 * 4));
    for (int32_t y = 0; y < c.height; ++y) {
        for (size_t i = 0; i < row.size(); ++i) row[i] = uint8_t(i / 7 + y / 3 + (i % 3) * 50);
        QV_DIB_raster_set(img, y, row.data(), 1);
    }
    QV_RGBQUAD *pal = nullptr;
    int32_t n = 0;
    if (c.bpp == 8 && QV_image_DIB_palette_pntr_get(img, &pal, &n) == 0)
        for (int32_t i = 0; i < n; ++i) pal[i] = QV_RGBQUAD{uint8_t(i), uint8_t(i), uint8_t(i), 0};
    return img;
}

struct File {
    std::vector<uint8_t> bytes;
    size_t pixel_bytes = 0;       // the loaded image's DIB pixel bytes
    std::vector<uint8_t> source;  // that many bytes to copy from
    std::vector<uint8_t> target;  // and to (touched once, so no page faults)
};

File &file_of(size_t i) {
    static File files[sizeof kCases / sizeof kCases[0]];
    File &f = files[i];
    if (f.bytes.empty()) {
        const Case &c = kCases[i];
        if (c.format == 25) f.bytes = msp_file(c);
        QUORIN img = f.bytes.empty() ? picture(c) : nullptr;
        if (img) {
            std::vector<uint8_t> buf(size_t(c.width) * c.height * 4 + (1 << 20));
            size_t written = 0;
            if (QV_save_mem(img, buf.data(), buf.size(), 0, 0, 1, c.format, &written) != 0) std::exit(2);
            QV_image_delete(img);
            f.bytes.assign(buf.begin(), buf.begin() + long(written));
        }
        QUORIN h = nullptr;
        if (QV_load_mem(f.bytes.data(), f.bytes.size(), 1, 1, &h) != 0) std::exit(3);
        int32_t w = 0, ht = 0, bpp = 0;
        QV_image_dimensions_get(h, &w, &ht, &bpp);
        f.pixel_bytes = size_t((w * bpp + 31) / 32 * 4) * size_t(ht);
        f.source.assign(f.pixel_bytes, 0x5A);
        f.target.assign(f.pixel_bytes, 0);
        QV_image_delete(h);
    }
    return f;
}

void load_once(const File &f) {
    QUORIN h = nullptr;
    if (QV_load_mem(f.bytes.data(), f.bytes.size(), 1, 1, &h) != 0 || !h) std::exit(4);
    QV_image_delete(h);
}

void copy_once(File &f) {
    std::memcpy(f.target.data(), f.source.data(), f.pixel_bytes);
    benchmark::ClobberMemory();
}

void BM_load(benchmark::State &state) {
    const File &f = file_of(size_t(state.range(0)));
    for (auto _ : state) load_once(f);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.pixel_bytes));
    state.SetLabel(kCases[state.range(0)].name);
}

void BM_copy(benchmark::State &state) {
    File &f = file_of(size_t(state.range(0)));
    for (auto _ : state) copy_once(f);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.pixel_bytes));
    state.SetLabel(kCases[state.range(0)].name);
}

void args(benchmark::internal::Benchmark *b) {
    for (size_t i = 0; i < sizeof kCases / sizeof kCases[0]; ++i) b->Arg(int64_t(i));
}

BENCHMARK(BM_load)->Apply(args)->Unit(benchmark::kMillisecond)->MinTime(0.3);
BENCHMARK(BM_copy)->Apply(args)->Unit(benchmark::kMillisecond)->MinTime(0.3);


void print_ratios() {
    std::printf("\n%-14s %10s %10s %8s\n", "best of 7, cpu", "load ms", "copy ms", "ratio");
    for (size_t i = 0; i < sizeof kCases / sizeof kCases[0]; ++i) {
        File &f = file_of(i);
        const double load = best_seconds(CLOCK_THREAD_CPUTIME_ID, 7, [&] { load_once(f); });
        const double copy = best_seconds(CLOCK_THREAD_CPUTIME_ID, 7, [&] { copy_once(f); });
        std::printf("%-14s %10.2f %10.2f %7.2fx\n", kCases[i].name, load * 1e3, copy * 1e3, load / copy);
    }
}

}  // namespace

int main(int argc, char **argv) {
    return bench_main(argc, argv, print_ratios);
}
