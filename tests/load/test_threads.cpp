// Several threads load and save different images at once: every load gives
// the same pixels as a load on its own, every thread sees exactly its own
// error records, and nothing is left allocated.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "vosk32pd.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Source {
    int32_t bpp;
    int32_t format;  // 2 BMP, 31 PCX, 8 DCX
    Bytes file;
    Bytes pixels;    // all rows, DIB packing, top row first
};

Bytes rows_of(QUORIN h, int32_t width, int32_t height, int32_t bpp) {
    const size_t stride = 4 * ((size_t(width) * size_t(bpp) + 31) / 32);
    Bytes out(stride * size_t(height));
    for (int32_t y = 0; y < height; ++y)
        if (QV_DIB_raster_get(h, y, out.data() + stride * size_t(y), 1) != 0) return {};
    return out;
}

// An image with a pattern that differs per depth, saved in `format`.
Source make_source(int32_t bpp, int32_t format, uint32_t seed) {
    const int32_t w = 160, h = 61;  // rows without padding bits at every depth
    QUORIN img = nullptr;
    EXPECT_EQ(QV_image_create_DIB(w, h, bpp, nullptr, &img), 0);
    const size_t stride = 4 * ((size_t(w) * size_t(bpp) + 31) / 32);
    Bytes row(stride);
    for (int32_t y = 0; y < h; ++y) {
        for (size_t i = 0; i < stride; ++i) row[i] = uint8_t((seed = seed * 1103515245u + 12345u) >> 16);
        QV_DIB_raster_set(img, y, row.data(), 1);
    }
    Source s{bpp, format, Bytes(1 << 20), {}};
    size_t written = 0;
    EXPECT_EQ(QV_save_mem(img, s.file.data(), s.file.size(), 0, 1, 1, format, &written), 0);
    s.file.resize(written);
    QV_image_delete(img);
    QUORIN back = nullptr;
    EXPECT_EQ(QV_load_mem(s.file.data(), s.file.size(), 1, 1, &back), 0);
    s.pixels = rows_of(back, w, h, bpp);
    QV_image_delete(back);
    return s;
}

TEST(Threads, ConcurrentLoadsAndSavesOfDifferentFiles) {
    std::vector<Source> sources = {make_source(24, 2, 1), make_source(8, 31, 2), make_source(1, 2, 3),
                                   make_source(24, 31, 4), make_source(4, 8, 5), make_source(8, 2, 6)};
    for (const Source &s : sources) {
        ASSERT_FALSE(s.pixels.empty());
        // A load and save on its own reproduces the file: the reference the threads compare to.
        QUORIN h = nullptr;
        ASSERT_EQ(QV_load_mem(s.file.data(), s.file.size(), 1, 1, &h), 0);
        Bytes out(1 << 20);
        size_t written = 0;
        ASSERT_EQ(QV_save_mem(h, out.data(), out.size(), 0, 1, 1, s.format, &written), 0);
        out.resize(written);
        EXPECT_EQ(out, s.file) << "bpp " << s.bpp << " format " << s.format;
        QV_image_delete(h);
    }
    const size_t live_before = iQV_mem_live_blocks();

    std::atomic<int> mismatches{0}, failures{0};
    std::vector<std::thread> threads;
    for (size_t t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 40; ++round) {
                const Source &s = sources[(t + size_t(round)) % sources.size()];
                QUORIN h = nullptr;
                if (QV_load_mem(s.file.data(), s.file.size(), 1, 1, &h) != 0 || !h) {
                    ++failures;
                    continue;
                }
                if (rows_of(h, 160, 61, s.bpp) != s.pixels) ++mismatches;
                Bytes out(1 << 20);
                size_t written = 0;
                if (QV_save_mem(h, out.data(), out.size(), 0, 1, 1, s.format, &written) != 0 ||
                    written != s.file.size() || std::memcmp(out.data(), s.file.data(), written) != 0)
                    ++mismatches;
                QV_image_delete(h);
            }
        });
    for (auto &th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_EQ(iQV_mem_live_blocks(), live_before);
}

// The error stack of the calling thread as (code, iVal, lVal) triples.
std::vector<std::array<int32_t, 3>> own_stack() {
    std::vector<std::array<int32_t, 3>> out;
    for (int32_t i = 0, n = QV_error_check(); i < n; ++i) {
        int32_t line, code, ival, lval;
        QV_error_get(i, nullptr, 0, &line, &code, &ival, &lval);
        out.push_back({code, ival, lval});
    }
    return out;
}

TEST(Threads, EachThreadSeesOnlyItsOwnErrors) {
    std::vector<Bytes> files = {make_source(24, 2, 7).file, make_source(8, 31, 8).file};
    Bytes truncated = files[0];
    truncated.resize(60);  // header and part of the first row
    files.push_back(truncated);
    files.push_back(Bytes(300, 0x5A));  // not an image
    files.push_back(Bytes{'B', 'M'});   // too short for a header
    // What each file gives on a thread of its own: count, handle and stack.
    struct Outcome {
        int32_t count;
        bool image;
        std::vector<std::array<int32_t, 3>> stack;
        bool operator==(const Outcome &) const = default;
    };
    auto load = [](const Bytes &f) {
        QUORIN h = nullptr;
        Outcome o{QV_load_mem(f.data(), f.size(), 1, 1, &h), h != nullptr, own_stack()};
        if (h) QV_image_delete(h);
        return o;
    };
    std::vector<Outcome> expected;
    for (const Bytes &f : files) expected.push_back(load(f));
    ASSERT_EQ(expected[0].count, 0);
    ASSERT_GT(expected[3].count, 0);

    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (size_t t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 60; ++round) {
                const size_t i = (t * 3 + size_t(round)) % files.size();
                if (!(load(files[i]) == expected[i])) ++wrong;
            }
        });
    for (auto &th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
