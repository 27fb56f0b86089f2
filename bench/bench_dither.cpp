// Colour reduction and dithering of a 6000 x 4000 photo-like 24-bit picture, timed with Google
// Benchmark; afterwards the library, Pillow and ImageMagick (bench/dither_peer.py) are timed
// on the same picture (best of 3 each) and the ratios printed with a quality figure for each
// result: the mean squared error against the source (colour results: over the three channels;
// 1-bit results: against the source's gray level, per pixel and over 8 x 8 block means (a whole period of
// the halftone), which
// is closer to what the eye sees of a dither). QV_BENCH_NO_PEER=1 skips the peers.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/dib.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

#include "bench_noise.h"

namespace {

constexpr int32_t kWidth = 6000, kHeight = 4000;

// Rows top first, red, green, blue: smooth shading of three waves with sensor noise.
const std::vector<uint8_t> &picture() {
    static std::vector<uint8_t> rgb;
    if (!rgb.empty()) return rgb;
    rgb.resize(size_t(kWidth) * kHeight * 3);
    std::vector<double> wx(kWidth), wy(kHeight);
    for (int32_t x = 0; x < kWidth; ++x) wx[size_t(x)] = std::sin(x * 0.0021);
    for (int32_t y = 0; y < kHeight; ++y) wy[size_t(y)] = std::cos(y * 0.0017);
    Noise n;
    uint8_t *p = rgb.data();
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x, p += 3) {
            double a = wx[size_t(x)], b = wy[size_t(y)];
            int32_t r = int32_t(128 + 100 * a * b) + int32_t(n.next() % 7) - 3;
            int32_t g = int32_t(120 + 90 * std::sin(3 * a + b)) + int32_t(n.next() % 7) - 3;
            int32_t bl = int32_t(110 + 80 * (a - b) / 2 + 40 * ((x / 750 + y / 500) & 1)) + int32_t(n.next() % 7) - 3;
            p[0] = uint8_t(std::clamp(r, 0, 255));
            p[1] = uint8_t(std::clamp(g, 0, 255));
            p[2] = uint8_t(std::clamp(bl, 0, 255));
        }
    return rgb;
}

uint8_t gray_of(const uint8_t *rgb) { return uint8_t((299 * rgb[0] + 587 * rgb[1] + 114 * rgb[2] + 500) / 1000); }

// A fresh image of the picture: 24-bit, or 8-bit gray (ramp palette).
QUORIN fresh(bool gray8) {
    QUORIN h = nullptr;
    QV_image_create_DIB_ex(kWidth, kHeight, gray8 ? 8 : 24, 0, nullptr, &h);
    QV_DIB_HEADER *d = nullptr;
    QV_image_DIB_pntr_get(h, &d);
    const uint8_t *src = picture().data();
    for (int32_t y = 0; y < kHeight; ++y) {
        uint8_t *row = qv::dib_row(d, y);
        const uint8_t *s = src + size_t(y) * kWidth * 3;
        for (int32_t x = 0; x < kWidth; ++x, s += 3) {
            if (gray8) {
                row[x] = gray_of(s);
            } else {
                row[3 * x] = s[2], row[3 * x + 1] = s[1], row[3 * x + 2] = s[0];
            }
        }
    }
    return h;
}

struct Op {
    const char *name;
    bool gray8;
    std::function<int32_t(QUORIN)> run;
};
const std::vector<Op> &ops() {
    static const std::vector<Op> v = {
        {"octree 256 + diffusion", false, [](QUORIN h) { return QV_IP_color_reduce_octree(h, 1, 256, 0, nullptr); }},
        {"diffusion 1 bit", false, [](QUORIN h) { return QV_IP_color_reduce_diffuse(h, 1, 128, nullptr); }},
        {"diffusion 16 colours", false, [](QUORIN h) { return QV_IP_color_reduce_diffuse(h, 4, 0, nullptr); }},
        {"bayer 1 bit", false, [](QUORIN h) { return QV_IP_color_reduce_bayer(h, 1, nullptr); }},
        {"bayer 1 bit, gray8 in", true, [](QUORIN h) { return QV_IP_color_reduce_bayer(h, 1, nullptr); }},
        {"bayer 16 colours", false, [](QUORIN h) { return QV_IP_color_reduce_bayer(h, 4, nullptr); }},
        {"halftone", false, [](QUORIN h) { return QV_IP_color_reduce_halftone(h, 0); }},
        {"halftone, gray8 in", true, [](QUORIN h) { return QV_IP_color_reduce_halftone(h, 0); }},
        {"threshold", false, [](QUORIN h) { return QV_IP_color_reduce_to_bitonal(h, 0, 128, 0, 0, 0); }},
        {"threshold, gray8 in", true, [](QUORIN h) { return QV_IP_color_reduce_to_bitonal(h, 0, 128, 0, 0, 0); }},
    };
    return v;
}

void BM_reduce(benchmark::State &state) {
    const Op &op = ops()[size_t(state.range(0))];
    for (auto _ : state) {
        state.PauseTiming();
        QUORIN h = fresh(op.gray8);
        state.ResumeTiming();
        if (op.run(h) != 0) state.SkipWithError("reduction failed");
        state.PauseTiming();
        QV_image_delete(h);
        state.ResumeTiming();
    }
    state.SetLabel(op.name);
    state.SetItemsProcessed(int64_t(state.iterations()) * kWidth * kHeight);
}
BENCHMARK(BM_reduce)->DenseRange(0, 9)->Unit(benchmark::kMillisecond)->Iterations(2);

// A result as red, green, blue rows (top first).
std::vector<uint8_t> rgb_of(QUORIN h) {
    std::vector<uint8_t> out(size_t(kWidth) * kHeight * 3);
    int32_t bpp = 0;
    QV_image_dimensions_get(h, nullptr, nullptr, &bpp);
    QV_RGBQUAD *pal = VPb_palette_pointer_get(h);
    std::vector<uint8_t> row(size_t(kWidth) * 3);
    for (int32_t y = 0; y < kHeight; ++y) {
        QV_DIB_raster_get(h, y, row.data(), 2);
        uint8_t *o = out.data() + size_t(y) * kWidth * 3;
        for (int32_t x = 0; x < kWidth; ++x, o += 3) {
            if (bpp == 24) {
                o[0] = row[3 * x + 2], o[1] = row[3 * x + 1], o[2] = row[3 * x];
            } else {
                const QV_RGBQUAD &q = pal[row[x]];
                o[0] = q.rgbRed, o[1] = q.rgbGreen, o[2] = q.rgbBlue;
            }
        }
    }
    return out;
}

std::vector<uint8_t> read_ppm(const std::string &path) {
    FILE *f = std::fopen(path.c_str(), "rb");
    if (!f) return {};
    int w = 0, h = 0, maxv = 0;
    if (std::fscanf(f, "P6 %d %d %d", &w, &h, &maxv) != 3 || w != kWidth || h != kHeight || maxv != 255) {
        std::fclose(f);
        return {};
    }
    std::fgetc(f);
    std::vector<uint8_t> out(size_t(w) * h * 3);
    size_t got = std::fread(out.data(), 1, out.size(), f);
    std::fclose(f);
    if (got != out.size()) return {};
    return out;
}

// Mean squared errors of a result against the source: colour (three channels), or for a
// black-and-white result against the gray level, per pixel and over 8 x 8 block means.
struct Quality {
    double mse = -1, block = -1;
};
Quality quality(const std::vector<uint8_t> &out, bool bw) {
    Quality q;
    if (out.empty()) return q;
    const std::vector<uint8_t> &src = picture();
    double se = 0;
    if (!bw) {
        for (size_t i = 0; i < out.size(); ++i) {
            double d = double(out[i]) - src[i];
            se += d * d;
        }
        q.mse = se / double(out.size());
        return q;
    }
    double sb = 0;
    for (int32_t by = 0; by < kHeight; by += 8)
        for (int32_t bx = 0; bx < kWidth; bx += 8) {
            double so = 0, ss = 0;
            for (int32_t y = by; y < by + 8; ++y)
                for (int32_t x = bx; x < bx + 8; ++x) {
                    size_t i = (size_t(y) * kWidth + size_t(x)) * 3;
                    double g = gray_of(&src[i]), o = out[i];
                    se += (o - g) * (o - g);
                    so += o, ss += g;
                }
            double d = (so - ss) / 64;
            sb += d * d;
        }
    q.mse = se / (double(kWidth) * kHeight);
    q.block = sb / (double(kWidth / 8) * (kHeight / 8));
    return q;
}

template <class F>
double best_of(int n, F fn) {
    double best = 1e30;
    for (int i = 0; i < n; ++i) best = std::min(best, fn());
    return best;
}

struct Row {
    std::string ours;
    size_t op;
    std::string peer;  // "tool op" as the peer script prints it
    bool bw;
};

void compare_with_peers() {
    const std::string dir = "/tmp/bench_dither_" + std::to_string(::getpid());
    if (std::system(("mkdir -p " + dir).c_str()) != 0) return;
    const std::string src = dir + "/src.ppm";
    {
        FILE *f = std::fopen(src.c_str(), "wb");
        if (!f) return;
        std::fprintf(f, "P6\n%d %d\n255\n", kWidth, kHeight);
        std::fwrite(picture().data(), 1, picture().size(), f);
        std::fclose(f);
    }
    // The peers are timed before and (Pillow) after the library, and each
    // keeps its better time, so a change of machine load between the runs
    // does not decide the ratios.
    std::string here = __FILE__;
    here = here.substr(0, here.find_last_of('/'));
    const std::string peer_cmd = "/usr/bin/python3 " + here + "/dither_peer.py 3 " + src + " " + dir;
    std::map<std::string, std::pair<double, std::string>> peer;
    auto run_peers = [&](const std::string &cmd) {
        FILE *p = ::popen(cmd.c_str(), "r");
        if (!p) return;
        char tool[64], name[64], path[512];
        double secs = 0;
        while (std::fscanf(p, "%63s %63s %lf %511s", tool, name, &secs, path) == 4) {
            auto &slot = peer[std::string(tool) + " " + name];
            if (slot.second.empty() || secs * 1e3 < slot.first) slot = {secs * 1e3, path};
        }
        ::pclose(p);
    };
    const bool peers = !std::getenv("QV_BENCH_NO_PEER");
    if (peers) run_peers(peer_cmd);
    // Ours: best of 3 (twice, between the peers' runs), and the quality of
    // one result.
    std::vector<double> ours_ms(ops().size(), 1e30);
    std::vector<Quality> ours_q(ops().size());
    auto time_ours = [&](size_t i) {
        const Op &op = ops()[i];
        ours_ms[i] = std::min(ours_ms[i], 1e3 * best_of(3, [&] {
                                              QUORIN h = fresh(op.gray8);
                                              auto t0 = std::chrono::steady_clock::now();
                                              op.run(h);
                                              double s = std::chrono::duration<double>(
                                                             std::chrono::steady_clock::now() - t0)
                                                             .count();
                                              QV_image_delete(h);
                                              return s;
                                          }));
    };
    for (size_t i = 0; i < ops().size(); ++i) {
        const Op &op = ops()[i];
        time_ours(i);
        QUORIN h = fresh(op.gray8);
        op.run(h);
        int32_t bpp = 0;
        QV_image_dimensions_get(h, nullptr, nullptr, &bpp);
        ours_q[i] = quality(rgb_of(h), bpp == 1);
        QV_image_delete(h);
    }
    if (peers) {
        run_peers(peer_cmd + " pillow");
        for (size_t i = 0; i < ops().size(); ++i) time_ours(i);
    }
    std::printf("\n6000x4000 photo-like 24-bit, best of 3       ms   MSE (1 bit: per pixel / 8x8 means)\n");
    for (size_t i = 0; i < ops().size(); ++i)
        std::printf("  VOSK32PD %-28s %8.1f   %8.1f %s\n", ops()[i].name, ours_ms[i], ours_q[i].mse,
                    ours_q[i].block >= 0 ? (" / " + std::to_string(ours_q[i].block).substr(0, 6)).c_str() : "");
    if (!peers) return;

    const std::vector<Row> rows = {
        {"octree 256 + diffusion", 0, "pillow octree256+fs", false},
        {"octree 256 + diffusion", 0, "magick colors256", false},
        {"diffusion 1 bit", 1, "pillow 1bit-fs", true},
        {"diffusion 1 bit", 1, "magick monochrome", true},
        {"bayer 1 bit", 3, "magick ordered-o8x8", true},
        {"bayer 1 bit", 3, "pillow threshold-L", true},
        {"bayer 1 bit, gray8 in", 4, "pillow threshold-L", true},
        {"halftone", 6, "pillow threshold-L", true},
        {"halftone, gray8 in", 7, "pillow threshold-L", true},
        {"threshold, gray8 in", 9, "pillow threshold-L", true},
        {"threshold, gray8 in", 9, "pillow threshold-L-nodither", true},
    };
    std::printf("\n%-24s %-28s %9s %9s %7s   %-17s %-17s\n", "VOSK32PD", "peer", "ours ms", "peer ms",
                "ratio", "MSE ours", "MSE peer");
    for (const Row &r : rows) {
        auto it = peer.find(r.peer);
        if (it == peer.end()) {
            std::printf("%-24s %-28s (peer timing unavailable)\n", r.ours.c_str(), r.peer.c_str());
            continue;
        }
        Quality pq = quality(read_ppm(it->second.second), r.bw);
        const Quality &oq = ours_q[r.op];
        auto fmt = [](const Quality &q) {
            char b[64];
            if (q.block >= 0) std::snprintf(b, sizeof b, "%.0f / %.1f", q.mse, q.block);
            else std::snprintf(b, sizeof b, "%.1f", q.mse);
            return std::string(b);
        };
        std::printf("%-24s %-28s %9.1f %9.1f %6.2fx   %-17s %-17s\n", r.ours.c_str(), r.peer.c_str(), ours_ms[r.op],
                    it->second.first, ours_ms[r.op] / it->second.first, fmt(oq).c_str(), fmt(pq).c_str());
    }
    std::printf("(ratio = ours / peer time: below 1 is faster)\n");
    if (std::system(("rm -rf " + dir).c_str()) != 0) return;
}

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (!std::getenv("QV_BENCH_ONLY_PEER")) benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    compare_with_peers();
    return 0;
}
