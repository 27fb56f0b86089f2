/*
 * bench_bmp.cpp - BMP load and save of a 6000 x 4000 picture at 24 and 8
 * bits, side by side with Pillow in the same run.
 *
 * The two files are made once with the library (a colour pattern; the 8-bit
 * one with a 256-colour palette) in $TMPDIR. Each benchmark loads the file
 * into a new image (QV_load_file) or saves an image to a file
 * (QV_save_file). After the runs, bmp_peer.py (next to this file) times
 * Pillow on the same files and the ratios Pillow time / library time are
 * printed (above 1: the library is faster), for loads both against Pillow's
 * own file load and against reading the file and decoding it from memory.
 */
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "vosk32pd.h"

#include "bench_timing.h"

namespace {

constexpr int32_t kWidth = 6000, kHeight = 4000;

std::string temp_dir() {
    const char *t = std::getenv("TMPDIR");
    return t && *t ? t : "/tmp";
}

std::string bench_path(const char *stem, int bpp) {
    char name[64];
    std::snprintf(name, sizeof name, "/qvbench_%s%d.bmp", stem, bpp);
    return temp_dir().append(name);
}
std::string sample_path(int bpp) { return bench_path("bmp", bpp); }
std::string output_path(int bpp) { return bench_path("out", bpp); }

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

// Single runs, repeated: the best run is compared with Pillow's best run.
BENCHMARK(BM_load)->Arg(24)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(7);
BENCHMARK(BM_save)->Arg(24)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(7);

// Keeps the best real time (seconds per iteration) of each benchmark.
class Collect : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> seconds;
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs) {
            if (r.run_type != Run::RT_Iteration || r.iterations <= 0) continue;
            std::string name = r.run_name.str();
            double t = r.real_accumulated_time / double(r.iterations);
            auto it = seconds.find(name);
            if (it == seconds.end() || t < it->second) seconds[name] = t;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    Collect reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::string cmd = peer_command("bmp_peer.py");
    cmd.append(" 7 ").append(sample_path(24)).append(" ").append(sample_path(8));
    FILE *p = popen(cmd.c_str(), "r");
    if (!p) return 0;
    std::printf("\n%-13s %11s %11s %7s %16s %7s\n", "", "library ms", "Pillow ms", "ratio",
                "Pillow read+dec", "ratio");
    char path[4096];
    double load = 0, read_decode = 0, save = 0;
    for (int bpp : {24, 8}) {
        if (std::fscanf(p, "%4095s %lf %lf %lf", path, &load, &read_decode, &save) != 4) break;
        char load_name[96], save_name[96];
        std::snprintf(load_name, sizeof load_name, "BM_load/%d/iterations:1/repeats:7/real_time", bpp);
        std::snprintf(save_name, sizeof save_name, "BM_save/%d/iterations:1/repeats:7/real_time", bpp);
        double ours = reporter.seconds[load_name];
        std::printf("load %2d-bit   %11.1f %11.1f %7.2f %16.1f %7.2f\n", bpp, ours * 1e3, load * 1e3,
                    ours > 0 ? load / ours : 0.0, read_decode * 1e3, ours > 0 ? read_decode / ours : 0.0);
        ours = reporter.seconds[save_name];
        std::printf("save %2d-bit   %11.1f %11.1f %7.2f\n", bpp, ours * 1e3, save * 1e3,
                    ours > 0 ? save / ours : 0.0);
    }
    std::printf("ratio = Pillow time / library time (above 1: the library is faster). Pillow maps\n"
                "uncompressed 8-bit files instead of reading them; read+dec reads every pixel.\n");
    pclose(p);
    return 0;
}
