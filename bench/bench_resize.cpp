// Resize of 6000 x 4000 pictures (24-bit colour and 8-bit grey) shrunk by 3.7 and enlarged by
// 1.6, and of a 1-bit A4 text page (packed and run-encoded), nearest neighbour and bilinear,
// timed with Google Benchmark as thumbnails (a new image each time, as the peers make one).
// Afterwards the same pixels are timed with Pillow (bench/resize_peer.py, Image.resize with
// reducing_gap off) and with libvips (vips_resize, linear or nearest kernel, loaded at run time
// when present), best of 3 to 15 runs each, and the time ratios printed. QV_BENCH_NO_PEER=1 skips peers.
#include <benchmark/benchmark.h>

#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "vosk32pd.h"

#include "bench_pictures.h"
#include "bench_timing.h"

namespace {

struct Case {
    const char *name;
    Picture pic;
    int32_t nw, nh;
    uint32_t method;  // 0 nearest, 2 bilinear
};

int32_t shrink(int32_t v) { return int32_t(std::lround(v / 3.7)); }
int32_t grow(int32_t v) { return int32_t(std::lround(v * 1.6)); }

const std::vector<Case> &cases() {
    static const std::vector<Case> c = {
        {"rgb shrink 3.7 nearest", kRgb, shrink(kW), shrink(kH), 0},
        {"rgb shrink 3.7 bilinear", kRgb, shrink(kW), shrink(kH), 2},
        {"rgb enlarge 1.6 nearest", kRgb, grow(kW), grow(kH), 0},
        {"rgb enlarge 1.6 bilinear", kRgb, grow(kW), grow(kH), 2},
        {"grey shrink 3.7 nearest", kGrey, shrink(kW), shrink(kH), 0},
        {"grey shrink 3.7 bilinear", kGrey, shrink(kW), shrink(kH), 2},
        {"grey enlarge 1.6 nearest", kGrey, grow(kW), grow(kH), 0},
        {"grey enlarge 1.6 bilinear", kGrey, grow(kW), grow(kH), 2},
        {"A4 1-bit shrink nearest", kPage, shrink(kA4W), shrink(kA4H), 0},
        {"A4 runs shrink nearest", kPageRuns, shrink(kA4W), shrink(kA4H), 0},
        {"A4 1-bit shrink bilinear", kPage, shrink(kA4W), shrink(kA4H), 2},
        {"A4 runs shrink bilinear", kPageRuns, shrink(kA4W), shrink(kA4H), 2},
        {"A4 1-bit enlarge nearest", kPage, grow(kA4W), grow(kA4H), 0},
        {"A4 runs enlarge nearest", kPageRuns, grow(kA4W), grow(kA4H), 0},
    };
    return c;
}

void run_ours(const Case &c) {
    QUORIN t = nullptr;
    if (QV_IP_thumbnail_create(picture(c.pic), &t, c.nw, c.nh, c.method) != 0) {
        std::fprintf(stderr, "resize failed: %s\n", c.name);
        std::exit(1);
    }
    QV_image_delete(t);
}

void BM_resize(benchmark::State &state) {
    const Case &c = cases()[size_t(state.range(0))];
    picture(c.pic);
    for (auto _ : state) run_ours(c);
    state.SetLabel(c.name);
}

BENCHMARK(BM_resize)->DenseRange(0, 13)->Unit(benchmark::kMillisecond)->MinTime(0.3);

// Best of the runs: elapsed seconds and the process's CPU seconds (all its threads). On a
// busy machine the CPU times compare the work done; the elapsed ones include waiting.
struct Time {
    double wall = -1, cpu = -1;
};
double cpu_now() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}
// At least n runs, more (up to 15) while they have taken less than half a second.
template <class F>
Time best_of(int n, F fn) {
    Time best{1e30, 1e30};
    const auto start = std::chrono::steady_clock::now();
    auto spent = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
    for (int i = 0; i < n || (i < 15 && spent() < 0.5); ++i) {
        auto t0 = std::chrono::steady_clock::now();
        const double c0 = cpu_now();
        fn();
        best.cpu = std::min(best.cpu, cpu_now() - c0);
        best.wall = std::min(best.wall, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
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
    std::string path = "/tmp/bench_resize_" + std::to_string(::getpid()) + "_" + std::to_string(int(p)) + ".raw";
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f) return "";
    for (int32_t y = 0; y < *h; ++y) {
        QV_DIB_raster_get(img, y, row.data(), 1);
        std::fwrite(row.data(), 1, n, f);
    }
    std::fclose(f);
    return path;
}

// libvips through its C interface, when the shared library is there.
struct Vips {
    void *lib = nullptr;
    int (*init)(const char *) = nullptr;
    void *(*from_memory)(const void *, size_t, int, int, int, int) = nullptr;
    int (*resize)(void *, void **, double, ...) = nullptr;
    void *(*to_memory)(void *, size_t *) = nullptr;
    void (*cache_max)(int) = nullptr;
    void (*unref)(void *) = nullptr;
    void (*gfree)(void *) = nullptr;

    bool open() {
        lib = ::dlopen("libvips.so.42", RTLD_NOW);
        if (!lib) return false;
        init = reinterpret_cast<decltype(init)>(::dlsym(lib, "vips_init"));
        from_memory = reinterpret_cast<decltype(from_memory)>(::dlsym(lib, "vips_image_new_from_memory"));
        resize = reinterpret_cast<decltype(resize)>(::dlsym(lib, "vips_resize"));
        to_memory = reinterpret_cast<decltype(to_memory)>(::dlsym(lib, "vips_image_write_to_memory"));
        cache_max = reinterpret_cast<decltype(cache_max)>(::dlsym(lib, "vips_cache_set_max"));
        unref = reinterpret_cast<decltype(unref)>(::dlsym(lib, "g_object_unref"));
        gfree = reinterpret_cast<decltype(gfree)>(::dlsym(lib, "g_free"));
        if (!init || !from_memory || !resize || !to_memory || !cache_max || !unref || !gfree) return false;
        if (init("bench_resize") != 0) return false;
        cache_max(0);  // no reuse of a result between runs
        return true;
    }
    // Best time of a resize of w x h x bands bytes to nw x nh (negative: failed).
    Time time(const std::vector<uint8_t> &px, int w, int h, int bands, int nw, int nh, bool linear) {
        void *in = from_memory(px.data(), px.size(), w, h, bands, 0 /* uchar */);
        if (!in) return Time{};
        Time t = best_of(3, [&] {
            void *out = nullptr;
            const int kernel = linear ? 1 : 0;  // VIPS_KERNEL_LINEAR, VIPS_KERNEL_NEAREST
            if (resize(in, &out, double(nw) / w, "vscale", double(nh) / h, "kernel", kernel, nullptr) != 0) return;
            size_t size = 0;
            void *mem = to_memory(out, &size);
            gfree(mem);
            unref(out);
        });
        unref(in);
        return t;
    }
};

void compare_with_peers() {
    std::string dir = __FILE__;
    dir = dir.substr(0, dir.find_last_of('/'));
    std::string cmd = "/usr/bin/python3 " + dir + "/resize_peer.py 3";
    std::string paths[kPictures], modes[kPictures];
    int32_t ws[kPictures] = {}, hs[kPictures] = {};
    for (int p : {kRgb, kGrey, kPage}) paths[p] = dump(Picture(p), &modes[p], &ws[p], &hs[p]);
    std::vector<Time> ours;
    for (size_t i = 0; i < cases().size(); ++i) {
        const Case &c = cases()[i];
        const Picture src = c.pic == kPageRuns ? kPage : c.pic;
        cmd += " " + std::to_string(i) + ":" + paths[src] + ":" + modes[src] + ":" + std::to_string(ws[src]) + ":" +
               std::to_string(hs[src]) + ":" + std::to_string(c.nw) + ":" + std::to_string(c.nh) + ":" +
               (c.method == 0 ? "nearest" : "bilinear");
        ours.push_back(best_of(3, [&] { run_ours(c); }));
    }
    std::vector<Time> pil(cases().size()), vips(cases().size());
    if (FILE *p = ::popen(cmd.c_str(), "r")) {
        char name[64], wall[64], cpu[64];
        while (std::fscanf(p, "%63s %63s %63s", name, wall, cpu) == 3) {
            size_t i = size_t(std::atoi(name));
            if (i < pil.size() && wall[0] != '-') pil[i] = Time{std::atof(wall), std::atof(cpu)};
        }
        ::pclose(p);
    }
    Vips v;
    if (v.open()) {
        for (size_t i = 0; i < cases().size(); ++i) {
            const Case &c = cases()[i];
            if (c.pic == kPage || c.pic == kPageRuns) continue;  // vips has no 1-bit pixels
            QUORIN img = picture(c.pic);
            const int bands = c.pic == kRgb ? 3 : 1;
            std::vector<uint8_t> px(size_t(kW) * kH * bands);
            for (int32_t y = 0; y < kH; ++y) QV_DIB_raster_get(img, y, px.data() + size_t(y) * kW * bands, 1);
            vips[i] = v.time(px, kW, kH, bands, c.nw, c.nh, c.method == 2);
        }
    }
    for (auto &path : paths)
        if (!path.empty()) std::remove(path.c_str());
    std::printf("\nBest of 3 to 15 runs, milliseconds elapsed (CPU). vips runs on all cores, so its CPU time\n"
                "is the sum of its threads; the ratio is ours over the faster peer, on CPU time.\n");
    std::printf("%-27s %17s %17s %17s %8s\n", "", "VOSK32PD", "Pillow", "vips", "ratio");
    auto ms = [](Time t) {
        if (t.wall < 0) return std::string("-");
        char b[64];
        std::snprintf(b, sizeof b, "%.2f (%.2f)", t.wall * 1e3, t.cpu * 1e3);
        return std::string(b);
    };
    for (size_t i = 0; i < cases().size(); ++i) {
        double best = -1;
        for (const Time &t : {pil[i], vips[i]})
            if (t.cpu > 0 && (best < 0 || t.cpu < best)) best = t.cpu;
        char ratio[32] = "-";
        if (best > 0) std::snprintf(ratio, sizeof ratio, "%.2fx", ours[i].cpu / best);
        std::printf("%-27s %17s %17s %17s %8s\n", cases()[i].name, ms(ours[i]).c_str(), ms(pil[i]).c_str(),
                    ms(vips[i]).c_str(), ratio);
    }
}

}  // namespace

int main(int argc, char **argv) {
    return bench_main(argc, argv, [] { if (!std::getenv("QV_BENCH_NO_PEER")) compare_with_peers(); });
}
