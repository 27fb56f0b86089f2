// Large images at memory speed: BMP and PCX loads and saves of the 6000 x
// 4000 photo (24 bits), its grey version (8 bits) and an A4 1-bit text page,
// from memory and from files, timed with Google Benchmark; afterwards one
// table puts each beside Pillow (bench/large_peer.py, same files, same run)
// and beside a memcpy of the image's pixel bytes. Ratios are ours / peer
// (below 1: the library is faster). QV_BENCH_NO_PEER=1 skips Pillow.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "vosk32pd.h"

#include "bench_pictures.h"
#include "bench_timing.h"

namespace {

constexpr int32_t kBmpType = QV_FORMAT_BMP, kPcxType = QV_FORMAT_PCX;
constexpr Picture kShown[] = {kRgb, kGrey, kPage};
const char *const kNames[] = {"photo 24", "grey 8", "A4 1-bit"};

struct Sample {
    std::vector<uint8_t> bytes;  // the file
    std::string path;            // the same bytes on disk
    size_t pixel_bytes = 0;      // the DIB's pixel bytes (packed for 1 bit)
};

// The file of a picture in a format (BMP or PCX), written by the library.
const Sample &sample(Picture p, int32_t format) {
    static Sample made[kPictures][2];
    Sample &s = made[p][format == kPcxType];
    if (!s.bytes.empty()) return s;
    QUORIN h = picture(p);
    size_t size = 0;
    s.bytes.resize(size_t(kW) * kH * 3 * 2 + 65536);  // room for PCX's worst case
    if (QV_save_mem(h, s.bytes.data(), s.bytes.size(), 0, 0, 1, format, &size) != 0) std::exit(1);
    s.bytes.resize(size);
    s.path = "/tmp/bench_large_" + std::to_string(::getpid()) + "_" + std::to_string(int(p)) +
             (format == kPcxType ? ".pcx" : ".bmp");
    FILE *f = std::fopen(s.path.c_str(), "wb");
    if (!f) std::exit(1);
    std::fwrite(s.bytes.data(), 1, s.bytes.size(), f);
    std::fclose(f);
    int32_t w = 0, ht = 0, bpp = 0;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    s.pixel_bytes = size_t((int64_t(w) * bpp + 31) / 32 * 4) * size_t(ht);
    return s;
}

void load_mem(const Sample &s) {
    QUORIN h = nullptr;
    if (QV_load_mem(s.bytes.data(), s.bytes.size(), 1, 1, &h) != 0 || !h) std::exit(1);
    QV_image_delete(h);
}

void load_file(const Sample &s) {
    QUORIN h = nullptr;
    if (QV_load_file(s.path.c_str(), &h) != 0 || !h) std::exit(1);
    QV_image_delete(h);
}

void save_mem(QUORIN h, std::vector<uint8_t> &out) {
    size_t written = 0;
    if (QV_save_mem(h, out.data(), out.size(), 0, 0, 1, kPcxType, &written) != 0) std::exit(1);
}

void BM_bmp_load_mem(benchmark::State &st) {
    const Sample &s = sample(Picture(st.range(0)), kBmpType);
    for (auto _ : st) load_mem(s);
    st.SetBytesProcessed(int64_t(st.iterations() * s.pixel_bytes));
}
void BM_bmp_load_file(benchmark::State &st) {
    const Sample &s = sample(Picture(st.range(0)), kBmpType);
    for (auto _ : st) load_file(s);
    st.SetBytesProcessed(int64_t(st.iterations() * s.pixel_bytes));
}
void BM_pcx_load_mem(benchmark::State &st) {
    const Sample &s = sample(Picture(st.range(0)), kPcxType);
    for (auto _ : st) load_mem(s);
    st.SetBytesProcessed(int64_t(st.iterations() * s.pixel_bytes));
}
void BM_pcx_save_mem(benchmark::State &st) {
    const Sample &s = sample(Picture(st.range(0)), kPcxType);
    std::vector<uint8_t> out(s.bytes.size() * 2 + 65536);
    for (auto _ : st) save_mem(picture(Picture(st.range(0))), out);
    st.SetBytesProcessed(int64_t(st.iterations() * s.pixel_bytes));
}

void pictures(benchmark::internal::Benchmark *b) {
    for (Picture p : kShown) b->Arg(p);
}
BENCHMARK(BM_bmp_load_mem)->Apply(pictures)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_bmp_load_file)->Apply(pictures)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_pcx_load_mem)->Apply(pictures)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_pcx_save_mem)->Apply(pictures)->Unit(benchmark::kMillisecond);

// One row of the table: ours, the peer and the memcpy in ms, the ratios
// against both and the goal each is held to (0 where there is none).
void row(const char *what, const char *pic, double ours, double peer, double copy, double peer_goal,
         double copy_goal) {
    char peer_ratio[32] = "-", copy_ratio[32] = "-";
    if (peer > 0) std::snprintf(peer_ratio, sizeof peer_ratio, "%.2f%s", ours / peer,
                                peer_goal > 0 ? (ours / peer <= peer_goal ? " ok" : " MISS") : "");
    if (copy > 0 && copy_goal > 0)
        std::snprintf(copy_ratio, sizeof copy_ratio, "%.2f%s", ours / copy, ours / copy <= copy_goal ? " ok" : " MISS");
    std::printf("%-16s %-9s %9.2f %9.2f %9.3f %11s %11s\n", what, pic, ours, peer, copy, peer_ratio, copy_ratio);
}

void table() {
    const bool peer = !std::getenv("QV_BENCH_NO_PEER");
    std::string cmd = "/usr/bin/python3 " + std::string(__FILE__).substr(0, std::string(__FILE__).find_last_of('/')) +
                      "/large_peer.py 3";
    for (Picture p : kShown) cmd += " " + sample(p, kBmpType).path + " " + sample(p, kPcxType).path;
    struct PeerTimes {
        double mem = 0, file = 0, save = 0;
    } bmp[3], pcx[3];
    if (peer) {
        if (FILE *f = ::popen(cmd.c_str(), "r")) {
            char name[512];
            for (int i = 0; i < 6; ++i) {
                PeerTimes &t = i % 2 ? pcx[i / 2] : bmp[i / 2];
                if (std::fscanf(f, "%511s %lf %lf %lf", name, &t.mem, &t.file, &t.save) != 4) break;
                t.mem *= 1e3, t.file *= 1e3, t.save *= 1e3;
            }
            ::pclose(f);
        }
    }
    constexpr int kRuns = 5;
    std::printf("\nbest of %d, ms      picture        ours    Pillow    memcpy  ours/Pillow ours/memcpy\n", kRuns);
    for (int i = 0; i < 3; ++i) {
        const Picture p = kShown[i];
        const Sample &b = sample(p, kBmpType), &x = sample(p, kPcxType);
        std::vector<uint8_t> to(b.pixel_bytes);
        const double copy = best_ms(CLOCK_MONOTONIC, kRuns, [&] {
            std::memcpy(to.data(), b.bytes.data() + (b.bytes.size() - b.pixel_bytes), b.pixel_bytes);
            benchmark::DoNotOptimize(to.data());
        });
        const double copy_goal = p == kPage ? 3.0 : 2.0;
        row("BMP load memory", kNames[i], best_ms(CLOCK_MONOTONIC, kRuns, [&] { load_mem(b); }), bmp[i].mem, copy,
            p == kPage ? 0 : 0.5, copy_goal);
        row("BMP load file", kNames[i], best_ms(CLOCK_MONOTONIC, kRuns, [&] { load_file(b); }), bmp[i].file, copy,
            p == kPage ? 0 : 0.5, copy_goal);
        row("PCX load memory", kNames[i], best_ms(CLOCK_MONOTONIC, kRuns, [&] { load_mem(x); }), pcx[i].mem, copy,
            0.25, p == kPage ? 3.0 : 0);
        std::vector<uint8_t> out(x.bytes.size() * 2 + 65536);
        row("PCX save memory", kNames[i], best_ms(CLOCK_MONOTONIC, kRuns, [&] { save_mem(picture(p), out); }),
            pcx[i].save, copy, 0.25, 0);
    }
    std::printf("Goals: BMP loads <= 0.5 x Pillow and <= 2 x memcpy; PCX loads and saves <= 0.25 x Pillow;\n"
                "1-bit loads <= 3 x a memcpy of the packed bytes. Pillow's file time reads the file, then decodes.\n");
    for (Picture p : kShown) {
        std::remove(sample(p, kBmpType).path.c_str());
        std::remove(sample(p, kPcxType).path.c_str());
    }
}

}  // namespace

int main(int argc, char **argv) {
    return bench_main(argc, argv, table);
}
