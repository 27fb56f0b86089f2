// JPEG and PNG through their libraries on a 6000 x 4000 photo-like image
// (smooth shading with sensor noise): JPEG decode and encode at quality 90,
// PNG decode and encode, and a JPEG thumbnail to 256 x 256 (DCT-scaled
// decode, then the load size), timed with Google Benchmark; afterwards the
// same files are timed with Pillow (bench/codecs_peer.py, best of 3 each
// side, the seconds-long PNG encode once, in process CPU time) and the
// ratios printed (ours / Pillow's time: below 1 is faster).
// QV_BENCH_NO_PEER=1 skips Pillow.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "vosk32pd.h"

#include "bench_timing.h"
#include "bench_noise.h"

namespace {

constexpr int32_t kWidth = 6000, kHeight = 4000;
constexpr int32_t kThumbW = 256, kThumbH = 171;  // 256 x 256 keeping the aspect

QUORIN make_photo() {
    QUORIN h = nullptr;
    if (QV_image_create_DIB(kWidth, kHeight, 24, nullptr, &h) != 0) std::exit(1);
    std::vector<double> wx(kWidth), wy(kHeight);
    for (int32_t i = 0; i < kWidth; ++i) wx[size_t(i)] = std::sin(i * 0.0011);
    for (int32_t i = 0; i < kHeight; ++i) wy[size_t(i)] = std::cos(i * 0.0017);
    std::vector<uint8_t> row(size_t(kWidth) * 3 + 4);
    Noise n;
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth; ++x)
            for (int c = 0; c < 3; ++c)
                row[3 * size_t(x) + c] = uint8_t(120 + 60 * wx[size_t(x)] * (c + 1) / 3 +
                                                 50 * wy[size_t(y)] * (3 - c) / 3 + (n.next() & 7));
        QV_DIB_raster_set(h, y, row.data(), 1);
    }
    return h;
}

QUORIN photo() {
    static QUORIN h = make_photo();
    return h;
}

// Saves into one buffer kept for every save (allocated and touched once,
// outside the timings); the bytes written.
size_t save(QUORIN h, int32_t format) {
    static std::vector<uint8_t> out(size_t(kWidth) * kHeight * 4 + 65536, 1);
    size_t written = 0;
    if (QV_save_mem(h, out.data(), out.size(), 0, 0, 1, format, &written) != 0) {
        std::fprintf(stderr, "save failed\n");
        std::exit(1);
    }
    return written;
}

std::vector<uint8_t> save_copy(QUORIN h, int32_t format) {
    static std::vector<uint8_t> out(size_t(kWidth) * kHeight * 4 + 65536, 1);
    size_t written = 0;
    if (QV_save_mem(h, out.data(), out.size(), 0, 0, 1, format, &written) != 0) {
        std::fprintf(stderr, "save failed\n");
        std::exit(1);
    }
    return std::vector<uint8_t>(out.begin(), out.begin() + long(written));
}

const std::vector<uint8_t> &file_of(int32_t format) {
    static std::map<int32_t, std::vector<uint8_t>> files;
    auto &f = files[format];
    if (f.empty()) {
        QV_save_JPEG_quality_set(90);
        f = save_copy(photo(), format);
    }
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

QUORIN thumbnail(const std::vector<uint8_t> &f) {
    QV_load_size_set(kThumbW, kThumbH);
    QUORIN h = load(f);
    QV_load_size_set(0, 0);
    return h;
}

void BM_jpeg_load(benchmark::State &state) {
    const auto &f = file_of(QV_FORMAT_JPEG);
    for (auto _ : state) QV_image_delete(load(f));
}
void BM_jpeg_save(benchmark::State &state) {
    QV_save_JPEG_quality_set(90);
    for (auto _ : state) benchmark::DoNotOptimize(save(photo(), QV_FORMAT_JPEG));
}
void BM_png_load(benchmark::State &state) {
    const auto &f = file_of(QV_FORMAT_PNG);
    for (auto _ : state) QV_image_delete(load(f));
}
void BM_png_save(benchmark::State &state) {
    for (auto _ : state) benchmark::DoNotOptimize(save(photo(), QV_FORMAT_PNG));
}
void BM_jpeg_thumbnail(benchmark::State &state) {
    const auto &f = file_of(QV_FORMAT_JPEG);
    for (auto _ : state) QV_image_delete(thumbnail(f));
}

BENCHMARK(BM_jpeg_load)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_jpeg_save)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_png_load)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_png_save)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_jpeg_thumbnail)->Unit(benchmark::kMillisecond)->MinTime(0.5);


std::string write_temp(const std::vector<uint8_t> &f, const char *ext) {
    const std::string path = "/tmp/bench_codecs_" + std::to_string(::getpid()) + ext;
    FILE *out = std::fopen(path.c_str(), "wb");
    if (!out) return "";
    std::fwrite(f.data(), 1, f.size(), out);
    std::fclose(out);
    return path;
}

// Times the library and Pillow on the same files and prints the ratios.
void compare_with_pillow() {
    std::string dir = __FILE__;
    dir = dir.substr(0, dir.find_last_of('/'));
    const auto &jpeg = file_of(QV_FORMAT_JPEG);
    const auto &png = file_of(QV_FORMAT_PNG);
    const std::string jp = write_temp(jpeg, ".jpg"), pp = write_temp(png, ".png");
    if (jp.empty() || pp.empty()) return;
    std::map<std::string, double> ours;
    ours["jpeg_load"] = best_seconds(CLOCK_PROCESS_CPUTIME_ID, 3, [&] { QV_image_delete(load(jpeg)); });
    QV_save_JPEG_quality_set(90);
    ours["jpeg_save"] = best_seconds(CLOCK_PROCESS_CPUTIME_ID, 3, [&] { save(photo(), QV_FORMAT_JPEG); });
    ours["png_load"] = best_seconds(CLOCK_PROCESS_CPUTIME_ID, 3, [&] { QV_image_delete(load(png)); });
    ours["png_save"] = best_seconds(CLOCK_PROCESS_CPUTIME_ID, 1, [&] { save(photo(), QV_FORMAT_PNG); });
    ours["jpeg_thumb"] = best_seconds(CLOCK_PROCESS_CPUTIME_ID, 3, [&] { QV_image_delete(thumbnail(jpeg)); });
    const std::string cmd = "/usr/bin/python3 " + dir + "/codecs_peer.py 3 " + jp + " " + pp;
    FILE *p = ::popen(cmd.c_str(), "r");
    if (!p) return;
    std::map<std::string, double> pil;
    char name[64];
    double t = 0;
    while (std::fscanf(p, "%63s %lf", name, &t) == 2) pil[name] = t;
    ::pclose(p);
    std::remove(jp.c_str());
    std::remove(pp.c_str());
    std::printf("\n6000x4000 photo, CPU time, best of 3 (JPEG %zu bytes, PNG %zu bytes)\n", jpeg.size(),
                png.size());
    std::printf("%-28s %12s %12s %12s\n", "", "VOSK32PD ms", "Pillow ms", "ours/Pillow");
    const char *const names[][2] = {{"jpeg_load", "JPEG decode"},   {"jpeg_save", "JPEG encode q90"},
                                    {"png_load", "PNG decode"},     {"png_save", "PNG encode"},
                                    {"jpeg_thumb", "JPEG thumbnail 256x256"}};
    for (const auto &n : names) {
        if (pil.count(n[0]) == 0) {
            std::printf("Pillow timing unavailable\n");
            return;
        }
        std::printf("%-28s %12.1f %12.1f %11.2fx\n", n[1], ours[n[0]] * 1e3, pil[n[0]] * 1e3,
                    ours[n[0]] / pil[n[0]]);
    }
}

}  // namespace

int main(int argc, char **argv) {
    return bench_main(argc, argv, [] {
        if (!std::getenv("QV_BENCH_NO_PEER")) compare_with_pillow();
        QV_image_delete(photo());
    });
}
