/*
 * bench_bmp.cpp - BMP load and save of a 6000 x 4000 picture at 24 and 8
 * bits, side by side with Pillow in the same run.
 *
 * The two files are made once with the library (a colour pattern; the 8-bit
 * one with a 256-colour palette) in $TMPDIR. Each benchmark loads the file
 * into a new image (QV_load_file) or saves an image to a file
 * (QV_save_file). After the runs, bmp_peer.py (next to this file) times
 * Pillow on the same files and the ratios Pillow time / library time are
 * printed (above 1: the library is faster).
 */
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "vosk32pd.h"

namespace {

constexpr int32_t kWidth = 6000, kHeight = 4000;

std::string temp_dir() {
    const char *t = std::getenv("TMPDIR");
    return t && *t ? t : "/tmp";
}

std::string sample_path(int bpp) { return temp_dir() + "/qvbench_bmp" + std::to_string(bpp) + ".bmp"; }
std::string output_path(int bpp) { return temp_dir() + "/qvbench_out" + std::to_string(bpp) + ".bmp"; }

QUORIN make_image(int bpp) {
    QUORIN h = nullptr;
    if (QV_image_create_DIB(kWidth, kHeight, bpp, nullptr, &h) != 0) return nullptr;
    uint8_t *bits = nullptr;
    QV_image_DIB_bitmap_pntr_get(h, reinterpret_cast<void **>(&bits));
    size_t stride = size_t((kWidth * bpp + 31) / 32 * 4);
    for (int32_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < stride; ++x) bits[size_t(y) * stride + x] = uint8_t(x * 7 + y * 3 + (x * y >> 9));
    if (bpp == 8) {
        QV_RGBQUAD *pal = nullptr;
        int32_t n = 0;
        QV_image_DIB_palette_pntr_get(h, &pal, &n);
        for (int i = 0; i < n; ++i) pal[i] = QV_RGBQUAD{uint8_t(i), uint8_t(255 - i), uint8_t(i * 3), 0};
    }
    return h;
}

void ensure_samples() {
    static bool done = false;
    if (done) return;
    for (int bpp : {24, 8}) {
        QUORIN h = make_image(bpp);
        if (!h || QV_save_file(h, sample_path(bpp).c_str(), QV_FORMAT_BMP) != 0) std::abort();
        QV_image_delete(h);
    }
    done = true;
}

void BM_load(benchmark::State &state) {
    ensure_samples();
    std::string path = sample_path(int(state.range(0)));
    for (auto _ : state) {
        QUORIN h = nullptr;
        if (QV_load_file(path.c_str(), &h) != 0) state.SkipWithError("load failed");
        QV_image_delete(h);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kWidth * kHeight * state.range(0) / 8);
}

void BM_save(benchmark::State &state) {
    ensure_samples();
    int bpp = int(state.range(0));
    QUORIN h = nullptr;
    QV_load_file(sample_path(bpp).c_str(), &h);
    std::string out = output_path(bpp);
    for (auto _ : state)
        if (QV_save_file(h, out.c_str(), QV_FORMAT_BMP) != 0) state.SkipWithError("save failed");
    QV_image_delete(h);
    std::remove(out.c_str());
    state.SetBytesProcessed(int64_t(state.iterations()) * kWidth * kHeight * bpp / 8);
}

BENCHMARK(BM_load)->Arg(24)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_save)->Arg(24)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime();

// Keeps each run's real time (seconds per iteration) by name.
class Collect : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> seconds;
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs)
            if (r.run_type == Run::RT_Iteration && r.iterations > 0)
                seconds[r.benchmark_name()] = r.real_accumulated_time / double(r.iterations);
        ConsoleReporter::ReportRuns(runs);
    }
};

std::string peer_script() {
    std::string here = __FILE__;
    return here.substr(0, here.find_last_of('/') + 1) + "bmp_peer.py";
}

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    Collect reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::string cmd = "/usr/bin/python3 " + peer_script() + " 5 " + sample_path(24) + " " + sample_path(8);
    FILE *p = popen(cmd.c_str(), "r");
    if (!p) return 0;
    std::printf("\n%-10s %12s %12s %8s\n", "", "library ms", "Pillow ms", "ratio");
    char path[4096];
    double load = 0, save = 0;
    for (int bpp : {24, 8}) {
        if (std::fscanf(p, "%4095s %lf %lf", path, &load, &save) != 3) break;
        std::string tag = "/" + std::to_string(bpp) + "/real_time";
        for (auto [what, peer] : {std::pair<const char *, double>{"load", load}, {"save", save}}) {
            double ours = reporter.seconds[std::string("BM_") + what + tag];
            std::printf("%s %2d-bit %12.1f %12.1f %8.2f\n", what, bpp, ours * 1e3, peer * 1e3,
                        ours > 0 ? peer / ours : 0.0);
        }
    }
    pclose(p);
    return 0;
}
