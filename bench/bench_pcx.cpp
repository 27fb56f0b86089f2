// PCX load and save of 6000 x 4000 images, 8-bit palette and 24-bit, timed
// with Google Benchmark; afterwards the same files are timed with Pillow
// (bench/pcx_peer.py) and the ratios printed side by side.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "vosk32pd.h"

extern "C" int32_t iQV_pcx_rle_encode(const uint8_t *in, int32_t n, uint8_t *out);

namespace {

constexpr int32_t kWidth = 6000, kHeight = 4000;
constexpr int32_t kPcxType = 31;

void put16(std::vector<uint8_t> &b, size_t at, uint16_t v) {
    b[at] = uint8_t(v);
    b[at + 1] = uint8_t(v >> 8);
}

// A photo-like test picture: smooth ramps (short and medium runs) with a
// sprinkling of noise, as a run-length PCX file of 1 or 3 planes.
std::vector<uint8_t> make_pcx(int planes) {
    std::vector<uint8_t> f(128, 0);
    f[0] = 10;
    f[1] = 5;
    f[2] = 1;
    f[3] = 8;
    put16(f, 8, kWidth - 1);
    put16(f, 10, kHeight - 1);
    put16(f, 12, 300);
    put16(f, 14, 300);
    f[65] = uint8_t(planes);
    put16(f, 66, kWidth);
    put16(f, 68, 1);
    std::mt19937 rng(1);
    std::vector<uint8_t> line(size_t(kWidth) * planes), enc(line.size() * 2);
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int p = 0; p < planes; ++p) {
            uint8_t *l = line.data() + size_t(p) * kWidth;
            for (int32_t x = 0; x < kWidth; ++x) {
                uint32_t v = p == 0 ? (x / 24 + y / 16) : p == 1 ? (y * 255 / kHeight + x / 40) : ((x * y) >> 12);
                if ((rng() & 7) == 0) v += rng() & 3;
                l[x] = uint8_t(v);
            }
        }
        const int32_t n = iQV_pcx_rle_encode(line.data(), int32_t(line.size()), enc.data());
        f.insert(f.end(), enc.begin(), enc.begin() + n);
    }
    if (planes == 1) {
        f.push_back(0x0C);
        for (int i = 0; i < 256; ++i) {
            f.push_back(uint8_t(i));
            f.push_back(uint8_t(255 - i));
            f.push_back(uint8_t(i * 7));
        }
    }
    return f;
}

const std::vector<uint8_t> &file_of(int planes) {
    static const std::vector<uint8_t> f8 = make_pcx(1), f24 = make_pcx(3);
    return planes == 1 ? f8 : f24;
}

QUORIN load(const std::vector<uint8_t> &f) {
    QUORIN h = nullptr;
    if (QV_load_mem(f.data(), f.size(), 1, 1, &h) != 0 || !h) {
        std::fprintf(stderr, "load failed\n");
        std::exit(1);
    }
    return h;
}

size_t save(QUORIN h, std::vector<uint8_t> &out) {
    size_t written = 0;
    if (QV_save_mem(h, out.data(), out.size(), 0, 0, 1, kPcxType, &written) != 0) {
        std::fprintf(stderr, "save failed\n");
        std::exit(1);
    }
    return written;
}

void BM_load(benchmark::State &state) {
    const auto &f = file_of(int(state.range(0)));
    for (auto _ : state) QV_image_delete(load(f));
    state.SetBytesProcessed(int64_t(state.iterations()) * kWidth * kHeight * (state.range(0) == 1 ? 1 : 3));
}

void BM_save(benchmark::State &state) {
    QUORIN h = load(file_of(int(state.range(0))));
    std::vector<uint8_t> out(size_t(kWidth) * kHeight * 3 * 2 + 4096);
    for (auto _ : state) benchmark::DoNotOptimize(save(h, out));
    QV_image_delete(h);
    state.SetBytesProcessed(int64_t(state.iterations()) * kWidth * kHeight * (state.range(0) == 1 ? 1 : 3));
}

BENCHMARK(BM_load)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_save)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->MinTime(1.0);

template <class F>
double best_of(int n, F fn) {
    double best = 1e30;
    for (int i = 0; i < n; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        fn();
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
    }
    return best;
}

// Times the library and Pillow on the same files and prints the ratios.
void compare_with_pillow() {
    std::string dir = __FILE__;
    dir = dir.substr(0, dir.find_last_of('/'));
    const std::string peer = dir + "/pcx_peer.py";
    const int planes[2] = {1, 3};
    std::string paths[2], cmd = "/usr/bin/python3 " + peer + " 3";
    double ours_load[2], ours_save[2];
    for (int i = 0; i < 2; ++i) {
        const auto &f = file_of(planes[i]);
        paths[i] = "/tmp/bench_pcx_" + std::to_string(::getpid()) + (i ? "_24.pcx" : "_8.pcx");
        FILE *out = std::fopen(paths[i].c_str(), "wb");
        if (!out) return;
        std::fwrite(f.data(), 1, f.size(), out);
        std::fclose(out);
        cmd += " " + paths[i];
        ours_load[i] = best_of(3, [&] { QV_image_delete(load(f)); });
        QUORIN h = load(f);
        std::vector<uint8_t> buf(size_t(kWidth) * kHeight * 3 * 2 + 4096);
        ours_save[i] = best_of(3, [&] { save(h, buf); });
        QV_image_delete(h);
    }
    FILE *p = ::popen(cmd.c_str(), "r");
    if (!p) return;
    char name[512];
    double pil_load[2] = {0, 0}, pil_save[2] = {0, 0};
    for (int i = 0; i < 2 && std::fscanf(p, "%511s %lf %lf", name, &pil_load[i], &pil_save[i]) == 3; ++i) {
    }
    ::pclose(p);
    for (auto &path : paths) std::remove(path.c_str());
    std::printf("\n%-22s %12s %12s %8s\n", "6000x4000 PCX", "VOSK32PD ms", "Pillow ms", "ratio");
    const char *names[2] = {"8-bit", "24-bit"};
    for (int i = 0; i < 2; ++i) {
        if (pil_load[i] <= 0) {
            std::printf("Pillow timing unavailable\n");
            return;
        }
        std::printf("%-22s %12.1f %12.1f %7.2fx\n", (std::string("load ") + names[i]).c_str(),
                    ours_load[i] * 1e3, pil_load[i] * 1e3, pil_load[i] / ours_load[i]);
        std::printf("%-22s %12.1f %12.1f %7.2fx\n", (std::string("save ") + names[i]).c_str(),
                    ours_save[i] * 1e3, pil_save[i] * 1e3, pil_save[i] / ours_save[i]);
    }
}

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (!std::getenv("QV_BENCH_NO_PEER")) compare_with_pillow();
    return 0;
}
