// Rotation and mirroring of a 6000 x 4000 24-bit picture and of a 1-bit A4 text page
// (packed and run-encoded): any angle (17 degrees, nearest, size kept), quarter and half
// turns, left-right and top-bottom flips, timed with Google Benchmark on a fresh copy of the
// picture each time (the operations work in place). Afterwards the same pixels are timed with
// Pillow (bench/rotate_peer.py: rotate NEAREST, transpose ROTATE_90 / ROTATE_180 /
// FLIP_LEFT_RIGHT / FLIP_TOP_BOTTOM), best of 5 each, and the time ratios printed, both of
// the wall clock and of the thread's processor time: on a machine shared with other work the
// processor time is the fairer measure. QV_BENCH_NO_PEER=1 skips the peer.
#include <benchmark/benchmark.h>

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

#include "bench_pictures.h"
#include "bench_timing.h"

namespace {

enum class Op { Rotate17, Quarter, Half, FlipLR, FlipTB };

struct Case {
    const char *name;
    Picture pic;
    Op op;
    const char *peer_op;
};

const std::vector<Case> &cases() {
    static const std::vector<Case> c = {
        {"rgb rotate 17 nearest", kRgb, Op::Rotate17, "rotate17"},
        {"rgb quarter turn", kRgb, Op::Quarter, "rotate90"},
        {"rgb half turn", kRgb, Op::Half, "rotate180"},
        {"rgb flip left-right", kRgb, Op::FlipLR, "fliplr"},
        {"rgb flip top-bottom", kRgb, Op::FlipTB, "fliptb"},
        {"A4 1-bit rotate 17", kPage, Op::Rotate17, "rotate17"},
        {"A4 1-bit quarter turn", kPage, Op::Quarter, "rotate90"},
        {"A4 1-bit half turn", kPage, Op::Half, "rotate180"},
        {"A4 1-bit flip left-right", kPage, Op::FlipLR, "fliplr"},
        {"A4 1-bit flip top-bottom", kPage, Op::FlipTB, "fliptb"},
        {"A4 runs rotate 17", kPageRuns, Op::Rotate17, "rotate17"},
        {"A4 runs quarter turn", kPageRuns, Op::Quarter, "rotate90"},
        {"A4 runs half turn", kPageRuns, Op::Half, "rotate180"},
        {"A4 runs flip left-right", kPageRuns, Op::FlipLR, "fliplr"},
        {"A4 runs flip top-bottom", kPageRuns, Op::FlipTB, "fliptb"},
    };
    return c;
}

void apply(const Case &c, QUORIN img) {
    int32_t n = 0;
    switch (c.op) {
    case Op::Rotate17: n = QV_IP_rotate_any_angle(img, 17, 0); break;
    case Op::Quarter: n = QV_IP_rotate_multiple_90(img, 3); break;  // counter-clockwise, as ROTATE_90
    case Op::Half: n = QV_IP_rotate_multiple_90(img, 2); break;
    case Op::FlipLR: n = QV_IP_flip(img, 0); break;
    case Op::FlipTB: n = QV_IP_flip(img, 1); break;
    }
    if (n != 0) {
        std::fprintf(stderr, "operation failed: %s\n", c.name);
        std::exit(1);
    }
}

// A copy to work on in the picture's own form: run-encoded pages are duplicated (which keeps
// the run lists), packed pictures copied raster for raster into a new packed image.
QUORIN fresh(const Case &c) {
    QUORIN src = picture(c.pic), copy = nullptr;
    if (c.pic == kPageRuns) {
        if (QV_image_duplicate(src, &copy) != 0) std::exit(1);
        return copy;
    }
    int32_t w = 0, h = 0, bpp = 0;
    QV_image_dimensions_get(src, &w, &h, &bpp);
    if (QV_image_create_DIB(w, h, bpp, nullptr, &copy) != 0) std::exit(1);
    QV_DIB_HEADER *from = nullptr, *to = nullptr;
    QV_image_DIB_pntr_get(src, &from);
    QV_image_DIB_pntr_get(copy, &to);
    std::memcpy(VPb_DIB_image_pointer_get(to), VPb_DIB_image_pointer_get(from), size_t(from->biSizeImage));
    return copy;
}

void BM_rotate(benchmark::State &state) {
    const Case &c = cases()[size_t(state.range(0))];
    picture(c.pic);
    for (auto _ : state) {
        state.PauseTiming();
        QUORIN img = fresh(c);
        state.ResumeTiming();
        apply(c, img);
        state.PauseTiming();
        QV_image_delete(img);
        state.ResumeTiming();
    }
    state.SetLabel(c.name);
}

BENCHMARK(BM_rotate)->DenseRange(0, 14)->Unit(benchmark::kMillisecond)->MinTime(0.3);

struct Timing {
    double wall = 1e30, cpu = 1e30;
};

double now(clockid_t clock) {
    timespec t{};
    clock_gettime(clock, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

Timing best_ours(const Case &c, int n) {
    Timing best;
    for (int i = 0; i < n; ++i) {
        QUORIN img = fresh(c);
        const double w0 = now(CLOCK_MONOTONIC), c0 = now(CLOCK_THREAD_CPUTIME_ID);
        apply(c, img);
        best.cpu = std::min(best.cpu, now(CLOCK_THREAD_CPUTIME_ID) - c0);
        best.wall = std::min(best.wall, now(CLOCK_MONOTONIC) - w0);
        QV_image_delete(img);
    }
    return best;
}

// Raw pixels of a picture, top row first, as Pillow reads them ("RGB" order is immaterial
// to the timing; 1-bit rows packed to whole bytes).
std::string dump(Picture p, std::string *mode, int32_t *w, int32_t *h) {
    QUORIN img = picture(p);
    int32_t bpp = 0;
    QV_image_dimensions_get(img, w, h, &bpp);
    *mode = bpp == 24 ? "RGB" : bpp == 8 ? "L" : "1";
    const size_t n = bpp == 1 ? size_t(*w + 7) / 8 : size_t(*w) * size_t(bpp / 8);
    std::vector<uint8_t> row(size_t(*w) * 4 + 64);
    std::string path = "/tmp/bench_rotate_" + std::to_string(::getpid()) + "_" + std::to_string(int(p)) + ".raw";
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f) return "";
    for (int32_t y = 0; y < *h; ++y) {
        QV_DIB_raster_get(img, y, row.data(), 1);
        std::fwrite(row.data(), 1, n, f);
    }
    std::fclose(f);
    return path;
}

void compare_with_peer() {
    constexpr int kRepeats = 5;
    std::string dir = __FILE__;
    dir = dir.substr(0, dir.find_last_of('/'));
    std::string cmd = "/usr/bin/python3 " + dir + "/rotate_peer.py " + std::to_string(kRepeats);
    std::string paths[kPictures], modes[kPictures];
    int32_t ws[kPictures] = {}, hs[kPictures] = {};
    for (int p : {kRgb, kPage}) paths[p] = dump(Picture(p), &modes[p], &ws[p], &hs[p]);
    std::vector<Timing> ours, pil(cases().size(), Timing{-1, -1});
    for (size_t i = 0; i < cases().size(); ++i) {
        const Case &c = cases()[i];
        const Picture src = c.pic == kPageRuns ? kPage : c.pic;
        cmd += " " + std::to_string(i) + ":" + paths[src] + ":" + modes[src] + ":" + std::to_string(ws[src]) + ":" +
               std::to_string(hs[src]) + ":" + c.peer_op;
        ours.push_back(best_ours(c, kRepeats));
    }
    if (FILE *p = ::popen(cmd.c_str(), "r")) {
        char name[64], wall[64], cpu[64];
        while (std::fscanf(p, "%63s %63s %63s", name, wall, cpu) == 3) {
            size_t i = size_t(std::atoi(name));
            if (i < pil.size()) pil[i] = Timing{std::atof(wall), std::atof(cpu)};
        }
        ::pclose(p);
    }
    for (auto &path : paths)
        if (!path.empty()) std::remove(path.c_str());
    auto ms = [](double s) { return s < 0 ? std::string("-") : std::to_string(s * 1e3).substr(0, 7); };
    auto ratio = [](double a, double b) { return b > 0 ? std::to_string(a / b).substr(0, 5) + "x" : std::string("-"); };
    std::printf("\n%-26s %22s %22s %18s\n", "best of 5, ms", "VOSK32PD cpu / wall", "Pillow cpu / wall",
                "ours/Pillow cpu");
    for (size_t i = 0; i < cases().size(); ++i) {
        const Timing &o = ours[i], &p = pil[i];
        std::printf("%-26s %10s / %-9s %10s / %-9s %9s (wall %s)\n", cases()[i].name, ms(o.cpu).c_str(),
                    ms(o.wall).c_str(), ms(p.cpu).c_str(), ms(p.wall).c_str(), ratio(o.cpu, p.cpu).c_str(),
                    ratio(o.wall, p.wall).c_str());
    }
}

}  // namespace

int main(int argc, char **argv) {
    return bench_main(argc, argv, [] { if (!std::getenv("QV_BENCH_NO_PEER")) compare_with_peer(); });
}
