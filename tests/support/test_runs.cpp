// Run lists: conversion against a pixel-by-pixel reference, list checks, run-encoded storage
// under many rewrites, whole-image conversion.
#include <algorithm>
#include <cstdlib>
#include <random>

#include "common/test_util.h"

namespace {

using Words = std::vector<uint16_t>;

size_t row_bytes(int32_t w) { return size_t((w + 31) / 32) * 4; }

// Reference encoder: one pixel at a time.
Words reference_runs(const std::vector<uint8_t> &bits, int32_t w) {
    Words out{0};
    int colour = 0;
    for (int32_t x = 0; x < w; ++x) {
        int v = (bits[size_t(x) / 8] >> (7 - x % 8)) & 1;
        if (v != colour) {
            out.push_back(uint16_t(x));
            colour = v;
        }
    }
    for (int i = 0; i < 3; ++i) out.push_back(uint16_t(w));
    out[0] = uint16_t(out.size() * 2);
    return out;
}

// A packed row with runs of random length: `density` = mean run length.
std::vector<uint8_t> random_row(std::mt19937 &rng, int32_t w, int density, bool garbage_tail) {
    std::vector<uint8_t> bits(row_bytes(w), 0);
    std::geometric_distribution<int> len(1.0 / density);
    int colour = int(rng() & 1);
    for (int32_t x = 0; x < w;) {
        int n = 1 + len(rng);
        for (int k = 0; k < n && x < w; ++k, ++x)
            if (colour) bits[size_t(x) / 8] |= uint8_t(0x80 >> (x % 8));
        colour ^= 1;
    }
    for (size_t b = size_t(w); garbage_tail && b < bits.size() * 8; ++b)  // must not matter
        bits[b / 8] |= uint8_t(0x80 >> (b % 8));
    return bits;
}

std::vector<uint8_t> masked(std::vector<uint8_t> bits, int32_t w) {
    for (size_t b = size_t(w); b < bits.size() * 8; ++b) bits[b / 8] &= uint8_t(~(0x80 >> (b % 8)));
    return bits;
}

TEST(Runs, ConvertMatchesTheReferenceBothWays) {
    // The reference itself on a known row: length in bytes, changes, the width three times.
    ASSERT_EQ(reference_runs({0x0F, 0x00, 0x10, 0}, 20), (Words{14, 4, 8, 19, 20, 20, 20}));
    for (int32_t w : {1, 2, 7, 8, 9, 31, 32, 33, 63, 64, 65, 127, 128, 129, 1728, 2480, 32763}) {
        std::mt19937 rng(uint32_t(w) * 7919u);
        for (int density : {1, 2, 5, 40, 100000}) {
            for (int trial = 0; trial < 20; ++trial) {
                auto bits = random_row(rng, w, density, trial & 1);
                Words runs(size_t(w) + 4, 0xEEEE);
                int32_t n = VPb_runs_from_packed(bits.data(), w, runs.data(), w + 4);
                Words ref = reference_runs(bits, w);
                ASSERT_EQ(n, int32_t(ref.size()));
                ASSERT_EQ(Words(runs.begin(), runs.begin() + n), ref) << w << " " << density;
                std::vector<uint8_t> back(row_bytes(w), 0x5A);
                ASSERT_EQ(VPb_runs_to_packed(runs.data(), w, back.data()), 0);
                ASSERT_EQ(back, masked(bits, w));
            }
        }
    }
}

TEST(Runs, TooSmallABufferIsRefused) {
    uint8_t alt[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    uint16_t r[40];
    QV_error_clear();
    EXPECT_EQ(VPb_runs_from_packed(alt, 32, r, 20), QVE_OUT_OF_RANGE);
    EXPECT_STACK({QVE_OUT_OF_RANGE, 20, 36});
    EXPECT_EQ((Words{uint16_t(VPb_runs_from_packed(alt, 32, r, 36)),
                     uint16_t(VPb_runs_from_packed(alt, 32764, r, 40))}),
              (Words{36, uint16_t(QVE_OUT_OF_RANGE)}));
}

TEST(Runs, MalformedListsDecodeSafely) {
    uint8_t out[4];
    Words bad = {14, 12, 3, 9, 500, 8, 8};  // decreasing and past the width
    EXPECT_EQ(VPb_runs_to_packed(bad.data(), 10, out), 0);
    EXPECT_EQ((std::vector<uint8_t>{out[0], out[1]}), (std::vector<uint8_t>{0, 0}));
    Words tail = {6, 2, 10};  // no terminator: the last run goes to the end
    VPb_runs_to_packed(tail.data(), 10, out);
    EXPECT_EQ((std::vector<uint8_t>{out[0], out[1]}), (std::vector<uint8_t>{0x3F, 0xC0}));
}

TEST(RunRows, SetChecksTheListAndDropsZeroLengthRuns) {
    QUORIN img = qvtest::reader_image(10, 3);
    Words bad = {12, 5, 3, 10, 10, 10}, noterm = {10, 2, 5, 10, 9};
    Words zero_len = {20, 0, 0, 2, 4, 4, 6, 10, 10, 10};  // = changes 2, 6
    EXPECT_FAILS(QV_runs_row_set(img, 1, bad.data()), {QVE_BAD_ARGUMENT, 12, 1});
    EXPECT_EQ(QV_runs_row_set(img, 1, noterm.data()), 1);
    uint16_t got[28];
    EXPECT_EQ(QV_runs_row_set(img, 1, zero_len.data()) + QV_runs_row_get(img, 1, got), 0);
    EXPECT_EQ(Words(got, got + 6), (Words{12, 2, 6, 10, 10, 10}));
    uint8_t px[10];
    QV_DIB_raster_get(img, 1, px, 2);
    EXPECT_EQ(std::vector<uint8_t>(px, px + 10),
              (std::vector<uint8_t>{0, 0, 1, 1, 1, 1, 0, 0, 0, 0}));
    EXPECT_FAILS(QV_runs_row_get(img, 3, got), {QVE_ROW_RANGE, 3, 3});
    QV_image_delete(img);
    QUORIN gray = nullptr;
    QV_image_create_DIB(4, 4, 8, nullptr, &gray);
    EXPECT_FAILS(QV_runs_row_get(gray, 0, got), {QVE_DEPTH_NOT_APPLICABLE, 8, 0});
    QV_image_delete(gray);
}

TEST(RunRows, OrdinaryOneBitImagesSpeakRunsToo) {
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_create_DIB(12, 2, 1, nullptr, &img), 0);
    Words list = {12, 3, 7, 12, 12, 12};
    EXPECT_EQ(QV_runs_row_set(img, 0, list.data()), 0);
    uint8_t packed[4];
    QV_DIB_raster_get(img, 0, packed, 1);
    EXPECT_EQ(packed[0], 0x1E);
    uint16_t got[32];
    QV_runs_row_get(img, 0, got);
    EXPECT_EQ(Words(got, got + 6), list);
    QV_image_delete(img);
}

// Many random rewrites of a run-encoded image against a packed shadow copy: in-place rewrites,
// appends, growth and packing of dead lists.
TEST(RunStorage, RandomRewritesKeepEveryRow) {
    qvtest::NoLeaks no_leaks;
    const int32_t w = 700, h = 60;
    QUORIN img = qvtest::reader_image(w, h);
    std::vector<std::vector<uint8_t>> shadow(h, std::vector<uint8_t>(row_bytes(w), 0));
    std::mt19937 rng(12345);
    for (int i = 0; i < 3000; ++i) {
        int32_t y = int32_t(rng() % h);
        int density = (i % 7 == 0) ? 1 : int(2 + rng() % 60);
        shadow[size_t(y)] = masked(random_row(rng, w, density, false), w);
        if (i % 13 == 0) std::fill(shadow[size_t(y)].begin(), shadow[size_t(y)].end(), 0);
        ASSERT_EQ(QV_DIB_raster_set(img, y, shadow[size_t(y)].data(), 1), 0);
        if (i % 500 == 499)
            for (int32_t r = 0; r < h; ++r) {
                std::vector<uint8_t> got(row_bytes(w));
                ASSERT_EQ(QV_DIB_raster_get(img, r, got.data(), 1), 0);
                ASSERT_EQ(got, shadow[size_t(r)]) << "row " << r << " after " << i;
            }
    }
    // Both whole-image conversions keep the rows.
    QV_DIB_HEADER *dib = nullptr;
    ASSERT_EQ(iQV_image_runs_convert(img, 0), 0);
    QV_image_DIB_pntr_get(img, &dib);
    EXPECT_EQ(dib->biCompression, 0u);
    ASSERT_EQ(iQV_image_runs_convert(img, 1), 0);
    QV_image_DIB_pntr_get(img, &dib);
    EXPECT_EQ(dib->biCompression, 500u);
    for (int32_t r = 0; r < h; ++r) {
        std::vector<uint8_t> got(row_bytes(w));
        QV_DIB_raster_get(img, r, got.data(), 1);
        ASSERT_EQ(got, shadow[size_t(r)]) << r;
    }
    ASSERT_EQ(QV_image_export_DIB(img, &dib), 0);
    for (int32_t r = 0; r < h; ++r) {
        const uint8_t *p = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(dib)) +
                           size_t(h - 1 - r) * row_bytes(w);
        ASSERT_EQ(std::vector<uint8_t>(p, p + row_bytes(w)), shadow[size_t(r)]) << r;
    }
    std::free(dib);
}

TEST(RunImage, RepeatedRowsShareListsAndStayApartWhenRewritten) {
    const int32_t w = 700, h = 40;
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_create_DIB_ex(w, h, 1, 0, nullptr, &img), 0);
    std::mt19937 rng(40);
    std::vector<std::vector<uint8_t>> shadow(h);
    for (int32_t y = 0; y < h; ++y) {
        shadow[size_t(y)] = y % 4 && y > 0 ? shadow[size_t(y) - 1] : masked(random_row(rng, w, 9, false), w);
        if (y >= 30) shadow[size_t(y)].assign(row_bytes(w), 0);  // white, repeated
        ASSERT_EQ(QV_DIB_raster_set(img, y, shadow[size_t(y)].data(), 1), 0);
    }
    ASSERT_EQ(iQV_image_runs_convert(img, 1), 0);
    QUORIN copy = nullptr;
    ASSERT_EQ(QV_image_duplicate(img, &copy), 0);
    std::vector<uint8_t> dot(row_bytes(w), 0), got(row_bytes(w));
    dot[1] = 0x10;
    for (QUORIN image : {img, copy}) {
        auto rows = shadow;
        for (int32_t y : {2, 5, 31}) {  // inside runs of repeated rows
            ASSERT_EQ(QV_DIB_raster_set(image, y, dot.data(), 1), 0);
            rows[size_t(y)] = dot;
        }
        for (int32_t y = 0; y < h; ++y) {
            ASSERT_EQ(QV_DIB_raster_get(image, y, got.data(), 1), 0);
            ASSERT_EQ(got, rows[size_t(y)]) << "row " << y;
        }
    }
    QV_image_delete(copy);
    QV_image_delete(img);
}

}  // namespace
