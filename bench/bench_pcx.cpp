// PCX load and save of 6000 x 4000 images, 8-bit palette and 24-bit, of
// three kinds of content, timed with Google Benchmark; afterwards the same
// files are timed with Pillow (bench/pcx_peer.py, best of 3 each side) and
// the ratios printed side by side. QV_BENCH_NO_PEER=1 skips Pillow.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <cmath>
#include <string>
#include <vector>

#include "filters/pcx_codec.h"
#include "vosk32pd.h"

#include "bench_timing.h"
#include "bench_noise.h"

namespace {

constexpr int32_t kWidth = 6000, kHeight = 4000;
constexpr int32_t kPcxType = 31;

void put16(std::vector<uint8_t> &b, size_t at, uint16_t v) {
    b[at] = uint8_t(v);
    b[at + 1] = uint8_t(v >> 8);
}

// Test pictures, one value per plane and pixel:
//   graphic  flat rectangles with thin lines (long runs),
//   photo    smooth shading with sensor noise on every pixel (few runs),
//   ramps    ramps broken by sparse noise (short runs of every length).
enum Content { kGraphic, kPhoto, kRamps, kContents };
const char *const kContentNames[kContents] = {"graphic", "photo", "ramps"};

void fill_row(Content c, int p, int32_t y, Noise &n, uint8_t *l) {
    static const std::vector<double> wave = [] {
        std::vector<double> w(kWidth + kHeight);
        for (int32_t i = 0; i < kWidth + kHeight; ++i) w[size_t(i)] = std::sin(i * 0.004);
        return w;
    }();
    for (int32_t x = 0; x < kWidth; ++x) {
        uint32_t v;
        if (c == kGraphic) {
            v = (x % 500 < 2 || y % 400 < 2) ? 0 : ((x / 97) * 31 + (y / 61) * 17 + p * 50);
        } else if (c == kPhoto) {
            v = uint32_t(128 + 90 * wave[size_t(x)] * wave[size_t(y + p * 300)]) + (n.next() & 3);
        } else {
            v = p == 0 ? (x / 24 + y / 16) : p == 1 ? (y * 255 / kHeight + x / 40) : ((x * y) >> 12);
            if ((n.next() & 7) == 0) v += n.next() & 3;
        }
        l[x] = uint8_t(v);
    }
}

// A run-length PCX file of 1 plane (with a 256-colour trailer) or 3 planes.
std::vector<uint8_t> make_pcx(Content c, int planes) {
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
    Noise noise;
    std::vector<uint8_t> line(size_t(kWidth) * planes), enc(line.size() * 2);
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int p = 0; p < planes; ++p) fill_row(c, p, y, noise, line.data() + size_t(p) * kWidth);
        const size_t n = qv::pcx_rle_encode(line.data(), line.size(), enc.data());
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

// Benchmark argument: content * 4 + planes (1 or 3).
const std::vector<uint8_t> &file_of(int64_t arg) {
    static std::vector<uint8_t> files[kContents][4];
    std::vector<uint8_t> &f = files[arg / 4][arg % 4];
    if (f.empty()) f = make_pcx(Content(arg / 4), int(arg % 4));
    return f;
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

int64_t pixels_bytes(int64_t arg) { return int64_t(kWidth) * kHeight * (arg % 4); }

void BM_load(benchmark::State &state) {
    const auto &f = file_of(state.range(0));
    for (auto _ : state) QV_image_delete(load(f));
    state.SetBytesProcessed(int64_t(state.iterations()) * pixels_bytes(state.range(0)));
    state.SetLabel(std::string(kContentNames[state.range(0) / 4]) + (state.range(0) % 4 == 1 ? " 8-bit" : " 24-bit"));
}

// The same loads with the word-at-a-time run-length decoder alone (no
// vector path), for comparison.
void BM_load_word(benchmark::State &state) {
    const bool was = qv::pcx_rle_fast_enable(false);
    BM_load(state);
    qv::pcx_rle_fast_enable(was);
}

void BM_save(benchmark::State &state) {
    QUORIN h = load(file_of(state.range(0)));
    std::vector<uint8_t> out(size_t(kWidth) * kHeight * 3 * 2 + 4096);
    for (auto _ : state) benchmark::DoNotOptimize(save(h, out));
    QV_image_delete(h);
    state.SetBytesProcessed(int64_t(state.iterations()) * pixels_bytes(state.range(0)));
    state.SetLabel(std::string(kContentNames[state.range(0) / 4]) + (state.range(0) % 4 == 1 ? " 8-bit" : " 24-bit"));
}

void args(benchmark::internal::Benchmark *b) {
    for (int c = 0; c < kContents; ++c) b->Arg(c * 4 + 1)->Arg(c * 4 + 3);
}

BENCHMARK(BM_load)->Apply(args)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_load_word)->Apply(args)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_save)->Apply(args)->Unit(benchmark::kMillisecond)->MinTime(0.5);


// Times the library and Pillow on the same files and prints the ratios.
void compare_with_pillow() {
    std::string dir = __FILE__;
    dir = dir.substr(0, dir.find_last_of('/'));
    std::string cmd = "/usr/bin/python3 " + dir + "/pcx_peer.py 3";
    std::vector<int64_t> argsv;
    std::vector<std::string> paths;
    std::vector<double> ours_load, ours_save;
    for (int c = 0; c < kContents; ++c) {
        for (int planes : {1, 3}) {
            const int64_t arg = c * 4 + planes;
            const auto &f = file_of(arg);
            std::string path = "/tmp/bench_pcx_" + std::to_string(::getpid()) + "_" + std::to_string(arg) + ".pcx";
            FILE *out = std::fopen(path.c_str(), "wb");
            if (!out) return;
            std::fwrite(f.data(), 1, f.size(), out);
            std::fclose(out);
            cmd += " " + path;
            argsv.push_back(arg);
            paths.push_back(path);
            ours_load.push_back(best_seconds(CLOCK_MONOTONIC, 3, [&] { QV_image_delete(load(f)); }));
            QUORIN h = load(f);
            std::vector<uint8_t> buf(size_t(kWidth) * kHeight * 3 * 2 + 4096);
            ours_save.push_back(best_seconds(CLOCK_MONOTONIC, 3, [&] { save(h, buf); }));
            QV_image_delete(h);
        }
    }
    FILE *p = ::popen(cmd.c_str(), "r");
    if (!p) return;
    std::vector<double> pil_load(paths.size(), 0), pil_save(paths.size(), 0);
    char name[512];
    for (size_t i = 0; i < paths.size() && std::fscanf(p, "%511s %lf %lf", name, &pil_load[i], &pil_save[i]) == 3; ++i) {
    }
    ::pclose(p);
    for (auto &path : paths) std::remove(path.c_str());
    std::printf("\n%-26s %12s %12s %8s\n", "6000x4000 PCX, best of 3", "VOSK32PD ms", "Pillow ms", "ratio");
    for (size_t i = 0; i < paths.size(); ++i) {
        if (pil_load[i] <= 0) {
            std::printf("Pillow timing unavailable\n");
            return;
        }
        const std::string what = std::string(kContentNames[argsv[i] / 4]) + (argsv[i] % 4 == 1 ? " 8-bit" : " 24-bit");
        std::printf("%-26s %12.1f %12.1f %7.2fx\n", ("load " + what).c_str(), ours_load[i] * 1e3,
                    pil_load[i] * 1e3, pil_load[i] / ours_load[i]);
        std::printf("%-26s %12.1f %12.1f %7.2fx\n", ("save " + what).c_str(), ours_save[i] * 1e3,
                    pil_save[i] * 1e3, pil_save[i] / ours_save[i]);
    }
}

}  // namespace

int main(int argc, char **argv) {
    return bench_main(argc, argv, [] { if (!std::getenv("QV_BENCH_NO_PEER")) compare_with_pillow(); });
}
