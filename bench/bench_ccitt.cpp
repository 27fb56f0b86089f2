// CCITT decoding and encoding of A4 pages (200 dpi 1728 x 2292, 300 dpi
// 2480 x 3508) of text-like and halftone-like content in G3 1-D, G3 2-D and
// G4, timed with Google Benchmark beside libtiff (TIFFReadEncodedStrip /
// TIFFWriteEncodedStrip on the same page, one strip, in memory); afterwards
// the best of 7 of each side and their ratios (ours / libtiff time) are
// printed (thread CPU time). Ours is timed two ways each: decoding into
// packed rows (what libtiff delivers) and as a whole raw load into a
// run-encoded image; encoding from packed rows and as a whole raw save of
// that run-encoded image.
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <algorithm>
#include <ctime>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "filters/ccitt_codec.h"
#include "vosk32pd.h"

#include "bench_libtiff.h"

#include "bench_timing.h"
#include "bench_noise.h"

namespace {

struct Page {
    int32_t w, h;
    std::vector<uint8_t> bits;  // rows of (w + 7) / 8 bytes, 1 = black
    size_t stride() const { return size_t(w + 7) / 8; }
};

// Text: lines of glyph-like blocks of strokes; halftone: an 8 x 8 ordered
// dither of a smooth gradient over the middle half of the page.
Page make_page(int32_t w, int32_t h, bool halftone) {
    Page p{w, h, std::vector<uint8_t>(size_t(w + 7) / 8 * size_t(h), 0)};
    auto set = [&](int32_t x, int32_t y) { p.bits[size_t(y) * p.stride() + size_t(x / 8)] |= uint8_t(0x80 >> (x % 8)); };
    Noise r;
    const int32_t line = w > 2000 ? 50 : 34, glyph_h = line * 6 / 10, margin = w / 12;
    for (int32_t y0 = margin; y0 + line < h - margin; y0 += line) {
        int32_t x = margin;
        while (x < w - margin - 30) {
            const int32_t gw = glyph_h / 2 + int32_t(r.next() % uint32_t(glyph_h / 2));
            const uint32_t shape = r.next();
            const int32_t stroke = w > 2000 ? 4 : 3;
            for (int32_t y = y0; y < y0 + glyph_h; ++y)
                for (int32_t xx = x; xx < x + gw; ++xx) {
                    const int32_t gx = xx - x, gy = y - y0;
                    bool on = ((shape & 1) && gx < stroke) || ((shape & 2) && gx >= gw - stroke) ||
                              ((shape & 4) && gy < stroke) || ((shape & 8) && gy >= glyph_h - stroke) ||
                              ((shape & 16) && std::abs(gy - glyph_h / 2) < stroke / 2 + 1) ||
                              ((shape & 32) && std::abs(gx * glyph_h - gy * gw) < stroke * gw);
                    if (on) set(xx, y);
                }
            x += gw + 4 + int32_t(r.next() % 8) + ((r.next() % 6) == 0 ? glyph_h : 0);
        }
    }
    if (halftone) {
        static const int bayer[8][8] = {{0, 32, 8, 40, 2, 34, 10, 42},  {48, 16, 56, 24, 50, 18, 58, 26},
                                        {12, 44, 4, 36, 14, 46, 6, 38}, {60, 28, 52, 20, 62, 30, 54, 22},
                                        {3, 35, 11, 43, 1, 33, 9, 41},  {51, 19, 59, 27, 49, 17, 57, 25},
                                        {15, 47, 7, 39, 13, 45, 5, 37}, {63, 31, 55, 23, 61, 29, 53, 21}};
        for (int32_t y = h / 4; y < h * 3 / 4; ++y) {
            std::memset(p.bits.data() + size_t(y) * p.stride(), 0, p.stride());
            for (int32_t x = 0; x < w; ++x) {
                const int level = int(64.0 * (0.5 + 0.45 * std::sin(x * 0.01) * std::cos(y * 0.013)));
                if (bayer[y & 7][x & 7] < level) set(x, y);
            }
        }
    }
    return p;
}

// ---- libtiff in memory (bench_libtiff.h) -----------------------------------

// coding: 3 G3 1-D, 5 G3 2-D, 4 G4.
void set_tags(TIFF *t, const Page &p, int coding) {
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(p.w));
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(p.h));
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, uint32_t(p.h));
    TIFFSetField(t, TIFFTAG_COMPRESSION, coding == 4 ? COMPRESSION_CCITTFAX4 : COMPRESSION_CCITTFAX3);
    if (coding == 5) TIFFSetField(t, TIFFTAG_GROUP3OPTIONS, uint32_t(GROUP3OPT_2DENCODING));
}

// A one-strip TIFF of the page written by libtiff.
MemFile libtiff_file(const Page &p, int coding) {
    MemFile m;
    TIFF *t = mem_open(&m, "w");
    set_tags(t, p, coding);
    TIFFWriteEncodedStrip(t, 0, const_cast<uint8_t *>(p.bits.data()), tsize_t(p.bits.size()));
    TIFFClose(t);
    return m;
}

void libtiff_encode(const Page &p, int coding) {
    MemFile m;
    m.data.reserve(p.bits.size());
    TIFF *t = mem_open(&m, "w");
    set_tags(t, p, coding);
    TIFFWriteEncodedStrip(t, 0, const_cast<uint8_t *>(p.bits.data()), tsize_t(p.bits.size()));
    TIFFClose(t);
}

// ---- the cases --------------------------------------------------------------

struct Case {
    const char *name;
    int32_t w, h;
    bool halftone;
    int coding;
};
const Case kCases[] = {
    {"text200 G3", 1728, 2292, false, 3},   {"text200 G3-2D", 1728, 2292, false, 5},
    {"text200 G4", 1728, 2292, false, 4},   {"text300 G3", 2480, 3508, false, 3},
    {"text300 G3-2D", 2480, 3508, false, 5}, {"text300 G4", 2480, 3508, false, 4},
    {"halftone300 G3", 2480, 3508, true, 3}, {"halftone300 G3-2D", 2480, 3508, true, 5},
    {"halftone300 G4", 2480, 3508, true, 4},
};
constexpr int kCaseCount = int(sizeof kCases / sizeof kCases[0]);

struct Prepared {
    Page page;
    MemFile tiff;              // libtiff's file of the page
    std::vector<uint8_t> raw;  // its strip
    std::vector<uint8_t> out;  // decode target
};

Prepared &prepared(int i) {
    static Prepared all[kCaseCount];
    Prepared &p = all[i];
    if (p.page.w == 0) {
        const Case &c = kCases[i];
        p.page = make_page(c.w, c.h, c.halftone);
        p.tiff = libtiff_file(p.page, c.coding);
        TIFF *t = mem_open(&p.tiff, "r");
        uint64_t *offs = nullptr, *counts = nullptr;
        TIFFGetField(t, TIFFTAG_STRIPOFFSETS, &offs);
        TIFFGetField(t, TIFFTAG_STRIPBYTECOUNTS, &counts);
        p.raw.assign(p.tiff.data.begin() + long(offs[0]), p.tiff.data.begin() + long(offs[0] + counts[0]));
        TIFFClose(t);
        p.out.resize(p.page.bits.size());
    }
    return p;
}

qv::CcittEntry entry_of(int coding) {
    return coding == 3 ? qv::CcittEntry::k1D : coding == 5 ? qv::CcittEntry::k2D : qv::CcittEntry::kT6;
}
int32_t mode_of(int coding) { return coding == 3 ? qv::kCcittT4 : coding == 5 ? qv::kCcitt2D : qv::kCcittT6; }

// Decoded rows expanded into a page of packed rows (1 = black).
class PackedSink : public qv::CcittRowSink {
public:
    PackedSink(uint8_t *out, int32_t w) : out_(out), w_(w), stride_(size_t(w + 7) / 8), row_((w + 31) / 32 * 4) {}
    int32_t row(int32_t y, const uint16_t *c, int32_t n) override {
        qv::ccitt_changes_to_packed(c, n, w_, 0, row_.data());
        std::memcpy(out_ + size_t(y) * stride_, row_.data(), stride_);
        return 0;
    }

private:
    uint8_t *out_;
    int32_t w_;
    size_t stride_;
    std::vector<uint8_t> row_;
};

class PageSource : public qv::CcittRowSource {
public:
    explicit PageSource(const Page &p) : p_(p) {}
    int32_t row(int32_t y, uint16_t *changes) override {
        return qv::ccitt_changes_from_packed(p_.bits.data() + size_t(y) * p_.stride(), p_.w, true, changes);
    }

private:
    const Page &p_;
};

void ours_decode(Prepared &p, int coding) {
    qv::CcittByteSource src;
    src.buf = p.raw.data();
    src.size = int32_t(p.raw.size());
    src.held = src.size;
    qv::CcittDecodeParams d;
    d.width = p.page.w;
    d.rows = p.page.h;
    d.mode = mode_of(coding);
    PackedSink sink(p.out.data(), p.page.w);
    qv::ccitt_decode(entry_of(coding), src, d, sink);
}

void ours_load(Prepared &p, int coding) {
    QUORIN h = nullptr;
    QV_load_CCITT_mem(p.raw.data(), p.raw.size(), p.page.w, p.page.h, coding, 1, &h);
    QV_image_delete(h);
}

void ours_encode(Prepared &p, int coding, std::vector<uint8_t> &sink) {
    PageSource src(p.page);
    qv::CcittEncodeParams e;
    e.width = p.page.w;
    e.rows = p.page.h;
    e.mode = coding == 3 ? qv::kCcittSink1D : coding == 5 ? qv::kCcittSink2D : qv::kCcittSinkT6;
    e.k = 2;  // as libtiff at this resolution
    e.sink = sink.data();
    e.sink_size = int32_t(sink.size());
    int32_t used = 0;
    e.sink_used = &used;
    qv::ccitt_encode(nullptr, 0, e, src);
}

// The whole raw save of the page loaded as a run-encoded image.
void ours_save(QUORIN img, int coding, std::vector<uint8_t> &sink) {
    size_t written = 0;
    const int32_t type = coding == 3 ? 11 : coding == 5 ? 53 : 12;
    QV_save_mem(img, sink.data(), sink.size(), 0, 0, 1, QV_SAVE_FORMAT(type, coding), &written);
}

void libtiff_decode(Prepared &p) {
    TIFF *t = mem_open(&p.tiff, "r");
    TIFFReadEncodedStrip(t, 0, p.out.data(), tsize_t(p.out.size()));
    TIFFClose(t);
}

void BM_ours_decode(benchmark::State &s) {
    Prepared &p = prepared(int(s.range(0)));
    for (auto _ : s) ours_decode(p, kCases[s.range(0)].coding);
    s.SetLabel(kCases[s.range(0)].name);
}
void BM_ours_load(benchmark::State &s) {
    Prepared &p = prepared(int(s.range(0)));
    for (auto _ : s) ours_load(p, kCases[s.range(0)].coding);
    s.SetLabel(kCases[s.range(0)].name);
}
void BM_libtiff_decode(benchmark::State &s) {
    Prepared &p = prepared(int(s.range(0)));
    for (auto _ : s) libtiff_decode(p);
    s.SetLabel(kCases[s.range(0)].name);
}
void BM_ours_encode(benchmark::State &s) {
    Prepared &p = prepared(int(s.range(0)));
    std::vector<uint8_t> sink(p.page.bits.size() * 2 + 4096);
    for (auto _ : s) ours_encode(p, kCases[s.range(0)].coding, sink);
    s.SetLabel(kCases[s.range(0)].name);
}
void BM_libtiff_encode(benchmark::State &s) {
    Prepared &p = prepared(int(s.range(0)));
    for (auto _ : s) libtiff_encode(p.page, kCases[s.range(0)].coding);
    s.SetLabel(kCases[s.range(0)].name);
}
BENCHMARK(BM_ours_decode)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ours_load)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_libtiff_decode)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ours_encode)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_libtiff_encode)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMillisecond);


// Checks that both sides decode the page to its pixels, then prints the
// best-of-5 times and ratios.
void compare() {
    std::printf("\n%-20s %9s %9s %9s %7s %7s | %9s %9s %9s %7s %7s\n", "best of 7, CPU ms", "decode", "load",
                "libtiff", "ratio", "load/lt", "encode", "save", "libtiff", "ratio", "save/lt");
    for (int i = 0; i < kCaseCount; ++i) {
        Prepared &p = prepared(i);
        const int coding = kCases[i].coding;
        ours_decode(p, coding);
        const bool ours_ok = p.out == p.page.bits;
        libtiff_decode(p);
        const bool tiff_ok = p.out == p.page.bits;
        std::vector<uint8_t> sink(p.page.bits.size() * 2 + 4096);
        const double d = best_ms(CLOCK_THREAD_CPUTIME_ID, 7, [&] { ours_decode(p, coding); });
        const double l = best_ms(CLOCK_THREAD_CPUTIME_ID, 7, [&] { ours_load(p, coding); });
        const double td = best_ms(CLOCK_THREAD_CPUTIME_ID, 7, [&] { libtiff_decode(p); });
        const double e = best_ms(CLOCK_THREAD_CPUTIME_ID, 7, [&] { ours_encode(p, coding, sink); });
        const double te = best_ms(CLOCK_THREAD_CPUTIME_ID, 7, [&] { libtiff_encode(p.page, coding); });
        QUORIN img = nullptr;
        QV_load_CCITT_mem(p.raw.data(), p.raw.size(), p.page.w, p.page.h, coding, 1, &img);
        const double sv = best_ms(CLOCK_THREAD_CPUTIME_ID, 7, [&] { ours_save(img, coding, sink); });
        QV_image_delete(img);
        std::printf("%-20s %9.2f %9.2f %9.2f %6.2fx %6.2fx | %9.2f %9.2f %9.2f %6.2fx %6.2fx%s\n", kCases[i].name, d,
                    l, td, d / td, l / td, e, sv, te, e / te, sv / te, ours_ok && tiff_ok ? "" : "  (pixels differ!)");
    }
}

}  // namespace

int main(int argc, char **argv) {
    TIFFSetWarningHandler(nullptr);
    return bench_main(argc, argv, compare);
}
