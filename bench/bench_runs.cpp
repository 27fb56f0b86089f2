// Packed 1-bit rows <-> run lists on an A4 page at 300 dpi (2480 x 3508)
// of synthetic text: lines of glyph-like strokes (black share reported).
// Reports time per page and throughput in packed bytes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "vosk32pd.h"
#include "vosk32pd_bridge.h"
#include "text_page.h"

namespace {

using text_page::kHeight;
using text_page::kRowBytes;
using text_page::kWidth;

const std::vector<uint8_t> &page() { return text_page::get(); }

void BM_PackedToRuns(benchmark::State &state) {
    const auto &p = page();
    std::vector<uint16_t> runs(size_t(kWidth + 4) * kHeight);
    size_t words = 0;
    for (auto _ : state) {
        words = 0;
        for (int32_t y = 0; y < kHeight; ++y) {
            int32_t n = VPb_runs_from_packed(p.data() + size_t(y) * kRowBytes, kWidth,
                                             runs.data() + size_t(y) * (kWidth + 4), kWidth + 4);
            words += size_t(n);
        }
        benchmark::DoNotOptimize(runs.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(p.size()));
    state.counters["run_words_per_page"] = double(words);
    size_t black = 0;
    for (uint8_t b : p) black += size_t(__builtin_popcount(b));
    state.counters["black_percent"] = 100.0 * double(black) / (double(kWidth) * kHeight);
}

void BM_RunsToPacked(benchmark::State &state) {
    const auto &p = page();
    std::vector<uint16_t> runs(size_t(kWidth + 4) * kHeight);
    for (int32_t y = 0; y < kHeight; ++y)
        VPb_runs_from_packed(p.data() + size_t(y) * kRowBytes, kWidth, runs.data() + size_t(y) * (kWidth + 4),
                             kWidth + 4);
    std::vector<uint8_t> out(p.size());
    for (auto _ : state) {
        for (int32_t y = 0; y < kHeight; ++y)
            VPb_runs_to_packed(runs.data() + size_t(y) * (kWidth + 4), kWidth, out.data() + size_t(y) * kRowBytes);
        benchmark::DoNotOptimize(out.data());
    }
    if (out != p) state.SkipWithError("round trip differs");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(p.size()));
}

// A whole page stored into a run-encoded image row by row and read back,
// as a reader and a writer would.
void BM_RunImageRowsInAndOut(benchmark::State &state) {
    const auto &p = page();
    std::vector<uint8_t> row(kRowBytes);
    for (auto _ : state) {
        QUORIN img = VPb_image_alloc(VPb_AF_mem_unique_tag_get());
        QV_DIB_HEADER t;
        VPb_DIB_init(&t, kWidth, kHeight, 1, 0, 11811, 11811);
        VPb_image_associate(VPb_DIB_alloc(img, &t, nullptr), img, 1);
        for (int32_t y = 0; y < kHeight; ++y) QV_DIB_raster_set(img, y, p.data() + size_t(y) * kRowBytes, 1);
        for (int32_t y = 0; y < kHeight; ++y) QV_DIB_raster_get(img, y, row.data(), 1);
        benchmark::DoNotOptimize(row.data());
        QV_image_delete(img);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(p.size()) * 2);
}

}  // namespace

BENCHMARK(BM_PackedToRuns)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RunsToPacked)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RunImageRowsInAndOut)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
