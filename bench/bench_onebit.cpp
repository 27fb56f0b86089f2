/*
 * bench_onebit.cpp - loading a 1-bit A4 page (2480 x 3508, 300 dpi,
 * synthetic text) from a BMP file and from memory, against a memcpy of the
 * page's packed bytes in the same run and against Pillow.
 *
 * The BMP (bottom-up rows, palette white then black) is built here from the
 * page of text_page.h and written to $TMPDIR. After the Google Benchmark
 * runs, a table gives the best of many runs on the thread's CPU clock (so
 * other programs on a shared machine count less): the load, the memcpy, the
 * ratio load / memcpy (the goal is at most 3) and Pillow's load of the same
 * file and bytes (bench/onebit_peer.py) with the ratio Pillow / library;
 * "runs only" is the packed-to-runs conversion of the page by itself.
 */
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_timing.h"
#include "text_page.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace {

using text_page::kHeight;
using text_page::kRowBytes;
using text_page::kWidth;

void put32(std::vector<uint8_t> &v, size_t at, uint32_t x) {
    for (int i = 0; i < 4; ++i) v[at + size_t(i)] = uint8_t(x >> (8 * i));
}

// File header (14) + BITMAPINFOHEADER (40) + two palette entries + rows.
std::vector<uint8_t> make_bmp() {
    const auto &page = text_page::get();
    const size_t bits_at = 14 + 40 + 8;
    std::vector<uint8_t> f(bits_at + page.size(), 0);
    f[0] = 'B', f[1] = 'M';
    put32(f, 2, uint32_t(f.size()));
    put32(f, 10, uint32_t(bits_at));
    put32(f, 14, 40);
    put32(f, 18, uint32_t(kWidth));
    put32(f, 22, uint32_t(kHeight));
    f[26] = 1, f[28] = 1;  // planes, bits per pixel
    put32(f, 34, uint32_t(page.size()));
    put32(f, 38, 11811), put32(f, 42, 11811);  // 300 dpi
    const uint8_t palette[8] = {255, 255, 255, 0, 0, 0, 0, 0};
    std::memcpy(f.data() + 54, palette, 8);
    for (int32_t y = 0; y < kHeight; ++y)  // bottom-up: file row 0 is the last page row
        std::memcpy(f.data() + bits_at + size_t(y) * kRowBytes, page.data() + size_t(kHeight - 1 - y) * kRowBytes,
                    kRowBytes);
    return f;
}

const std::vector<uint8_t> &bmp() {
    static const std::vector<uint8_t> b = make_bmp();
    return b;
}

std::string bmp_path() {
    static std::string path;
    if (!path.empty()) return path;
    const char *t = std::getenv("TMPDIR");
    path = std::string(t && *t ? t : "/tmp") + "/qvbench_onebit.bmp";
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f || std::fwrite(bmp().data(), 1, bmp().size(), f) != bmp().size()) std::abort();
    std::fclose(f);
    return path;
}

// The loaded image must hold the page exactly.
void check(QUORIN h) {
    static bool checked = false;
    if (checked) return;
    int32_t w = 0, hh = 0, bpp = 0;
    QV_image_dimensions_get(h, &w, &hh, &bpp);
    if (w != kWidth || hh != kHeight || bpp != 1) std::abort();
    std::vector<uint8_t> row(kRowBytes);
    for (int32_t y = 0; y < kHeight; ++y) {
        QV_DIB_raster_get(h, y, row.data(), 1);
        if (std::memcmp(row.data(), text_page::get().data() + size_t(y) * kRowBytes, kRowBytes) != 0) {
            std::fprintf(stderr, "row %d differs\n", y);
            std::abort();
        }
    }
    checked = true;
}

void load_mem() {
    QUORIN h = nullptr;
    if (QV_load_mem(bmp().data(), bmp().size(), 1, 0, &h) != 0) std::abort();
    check(h);
    QV_image_delete(h);
}

void load_file() {
    QUORIN h = nullptr;
    if (QV_load_file(bmp_path().c_str(), &h) != 0) std::abort();
    check(h);
    QV_image_delete(h);
}

std::vector<uint8_t> &copy_target() {
    static std::vector<uint8_t> v(text_page::get().size(), 1);
    return v;
}

void copy_packed() {
    std::memcpy(copy_target().data(), text_page::get().data(), text_page::get().size());
    benchmark::DoNotOptimize(copy_target().data());
}

// The page's rows to run lists one after another, as a load stores them:
// the conversion alone, without reading or storing the image.
void convert_page() {
    static std::vector<uint16_t> runs(size_t(kWidth + 4) * kHeight);
    uint16_t *o = runs.data();
    const auto &page = text_page::get();
    for (int32_t y = 0; y < kHeight; ++y) o += VPb_runs_from_packed(page.data() + size_t(y) * kRowBytes, kWidth, o, kWidth + 4);
    benchmark::DoNotOptimize(runs.data());
}

void BM_MemcpyPacked(benchmark::State &state) {
    for (auto _ : state) copy_packed();
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text_page::get().size()));
}

void BM_LoadMem(benchmark::State &state) {
    for (auto _ : state) load_mem();
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text_page::get().size()));
}

void BM_LoadFile(benchmark::State &state) {
    for (auto _ : state) load_file();
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text_page::get().size()));
}

BENCHMARK(BM_MemcpyPacked)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadMem)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadFile)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    const int n = 200;
    const clockid_t clk = CLOCK_THREAD_CPUTIME_ID;
    double copy = best_ms(clk, n, copy_packed);
    double convert = best_ms(clk, n, convert_page);
    double mem = best_ms(clk, n, load_mem);
    double file = best_ms(clk, n, load_file);
    double pil_file = 0, pil_mem = 0;
    std::string cmd = peer_command("onebit_peer.py") + " 30 " + bmp_path();
    if (FILE *p = popen(cmd.c_str(), "r")) {
        if (std::fscanf(p, "%lf %lf", &pil_file, &pil_mem) != 2) pil_file = pil_mem = 0;
        pclose(p);
    }
    std::printf("\nA4 1-bit page, %zu packed bytes; best of %d, thread CPU time\n", text_page::get().size(), n);
    std::printf("%-14s %9s %9s %12s %10s %14s\n", "", "ours ms", "memcpy ms", "ours/memcpy", "Pillow ms",
                "Pillow/ours");
    std::printf("%-14s %9.3f %9.3f %12.2f %10s %14s\n", "runs only", convert, copy, convert / copy, "", "");
    std::printf("%-14s %9.3f %9.3f %12.2f %10.3f %14.2f\n", "load memory", mem, copy, mem / copy, pil_mem * 1e3,
                pil_mem * 1e3 / mem);
    std::printf("%-14s %9.3f %9.3f %12.2f %10.3f %14.2f\n", "load file", file, copy, file / copy, pil_file * 1e3,
                pil_file * 1e3 / file);
    return 0;
}
