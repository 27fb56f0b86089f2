// Packed row -> run list: the scanners (64, 256 and 512 pixels a step) and the
// one chosen at run time against a pixel-at-a-time encoder, on random rows
// of every width up to 300 and at the widths where words, blocks and the
// list's length word change, with and without room for the whole list.
#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "support/runs.h"

namespace {

using Words = std::vector<uint16_t>;
using Scan = int32_t (*)(const uint8_t *, int32_t, uint16_t *, int32_t);

constexpr uint16_t kCanary = 0xEEEE;

size_t packed_bytes(int32_t w) { return size_t(w + 7) / 8; }

// The changes of a row (pixels before the width only), as a list.
Words reference(const std::vector<uint8_t> &bits, int32_t w) {
    Words out{0};
    int colour = 0;
    for (int32_t x = 0; x < w; ++x) {
        int v = (bits[size_t(x) / 8] >> (7 - x % 8)) & 1;
        if (v != colour) out.push_back(uint16_t(x)), colour = v;
    }
    out.insert(out.end(), 3, uint16_t(w));
    out[0] = uint16_t(out.size() * 2);
    return out;
}

// Exactly the row's bytes (nothing after them to read): runs of geometric
// length around `mean`, the padding bits random.
std::vector<uint8_t> random_row(std::mt19937 &rng, int32_t w, double mean) {
    std::vector<uint8_t> bits(packed_bytes(w), 0);
    std::geometric_distribution<int> len(1.0 / mean);
    int colour = int(rng() & 1);
    for (int32_t x = 0; x < w; colour ^= 1)
        for (int n = 1 + len(rng); n > 0 && x < w; --n, ++x)
            if (colour) bits[size_t(x) / 8] |= uint8_t(0x80 >> (x % 8));
    if (w % 8) bits.back() |= uint8_t(rng() & (0xFFu >> (w % 8)));
    return bits;
}

// Pixels [a, b) set to 1.
void paint(std::vector<uint8_t> &bits, int32_t a, int32_t b) {
    for (int32_t x = a; x < b; ++x) bits[size_t(x) / 8] |= uint8_t(0x80 >> (x % 8));
}

struct Named {
    const char *name;
    Scan scan;
};

std::vector<Named> scanners() {
    std::vector<Named> s{{"portable", qv::runs_from_packed_portable}, {"chosen", qv::runs_from_packed}};
    if (qv::runs_scan_avx512_usable()) s.push_back({"avx512", qv::runs_from_packed_avx512});
    if (qv::runs_scan_avx2_usable()) s.push_back({"avx2", qv::runs_from_packed_avx2});
    return s;
}

// Every scanner gives the reference list, or -1 when max_words cannot hold
// it, and writes nothing at or past max_words.
void expect_all_agree(const std::vector<uint8_t> &bits, int32_t w, int32_t max_words) {
    const Words ref = reference(bits, w);
    const bool fits = int32_t(ref.size()) <= max_words;
    for (const Named &s : scanners()) {
        Words out(size_t(max_words) + 64, kCanary);
        const int32_t n = s.scan(bits.data(), w, out.data(), max_words);
        ASSERT_EQ(n, fits ? int32_t(ref.size()) : -1) << s.name << " width " << w << " room " << max_words;
        if (fits) {
            ASSERT_EQ(Words(out.begin(), out.begin() + n), ref) << s.name << " width " << w;
        }
        for (size_t i = size_t(max_words); i < out.size(); ++i)
            ASSERT_EQ(out[i], kCanary) << s.name << " wrote past the room, width " << w;
    }
}

TEST(RunsScan, EveryWidthUpTo300) {
    std::mt19937 rng(300);
    for (int32_t w = 1; w <= 300; ++w)
        for (double mean : {1.2, 3.0, 20.0, 5000.0})
            for (int trial = 0; trial < 3; ++trial) expect_all_agree(random_row(rng, w, mean), w, w + 4);
}

TEST(RunsScan, WidthsAroundWordsBlocksAndTheLimit) {
    std::mt19937 rng(512);
    for (int32_t w : {511, 512, 513, 1023, 1024, 1025, 1535, 1536, 1537, 1728, 2480, 4095, 4096, 4097, 32763})
        for (double mean : {1.2, 3.0, 8.0, 60.0, 1e6})
            for (int trial = 0; trial < 4; ++trial) expect_all_agree(random_row(rng, w, mean), w, w + 4);
}

TEST(RunsScan, WholeBlocksOfOneColourAndChangesAtTheirEdges) {
    for (int32_t w : {64, 512, 1000, 1024, 2480, 32763}) {
        // White, black, a change at every pixel after the first, then one or
        // two changes in every byte.
        for (uint8_t pattern : {0x00, 0xFF, 0x55, 0x18, 0x80, 0x01, 0x0F})
            expect_all_agree(std::vector<uint8_t>(packed_bytes(w), pattern), w, w + 4);
        for (int32_t edge : {1, 63, 64, 65, 511, 512, 513, 1023, 1024}) {
            if (edge >= w) continue;
            // Black up to the edge then white; white up to it then black; a dot across it.
            for (auto [a, b] : {std::pair{0, edge}, {edge, w}, {edge - 1, edge + 1}}) {
                std::vector<uint8_t> bits(packed_bytes(w), 0);
                paint(bits, a, b);
                expect_all_agree(bits, w, w + 4);
            }
        }
    }
}

TEST(RunsScan, TooLittleRoomIsRefusedWithoutWritingPastIt) {
    std::mt19937 rng(4);
    for (int32_t w : {17, 300, 700, 2480}) {
        for (double mean : {1.5, 6.0}) {
            auto bits = random_row(rng, w, mean);
            int32_t need = int32_t(reference(bits, w).size());
            for (int32_t room = 4; room <= need + 40 && room <= w + 4; room += room < need - 40 ? 7 : 1)
                expect_all_agree(bits, w, room);
        }
    }
}

TEST(RunsScan, BadWidthsAndRoomsGiveMinusOne) {
    std::vector<uint8_t> bits(packed_bytes(32764) + 8, 0);
    Words out(32768 + 64, kCanary);
    for (const Named &s : scanners()) {
        EXPECT_EQ(s.scan(bits.data(), 0, out.data(), 40), -1) << s.name;
        EXPECT_EQ(s.scan(bits.data(), -5, out.data(), 40), -1) << s.name;
        EXPECT_EQ(s.scan(bits.data(), 32764, out.data(), 32768), -1) << s.name;
        EXPECT_EQ(s.scan(bits.data(), 8, out.data(), 3), -1) << s.name;
        EXPECT_EQ(s.scan(bits.data(), 8, out.data(), 4), 4) << s.name;
    }
}

}  // namespace
