// The vector PCX run-length decoder against the word-at-a-time one: random
// token streams of every line length up to 300 cut at every input
// position, long lines cut into blocks of every awkward size, runs and
// count bytes crossing lines and blocks, truncated streams; no store past
// the end of a line.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests_internal.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Result {
    int32_t lines = 0, used = 0;
    Bytes out;
    bool operator==(const Result &o) const { return lines == o.lines && used == o.used && out == o.out; }
};

Result run(bool fast, const Bytes &in, const std::vector<int32_t> &cuts, int32_t line_len, int32_t lines) {
    Result r;
    r.out.assign(size_t(line_len) * size_t(lines), 0xEE);
    r.lines = iQV_pcx_rle_decode_cut(fast ? 1 : 0, in.data(), int32_t(in.size()), cuts.data(),
                                     int32_t(cuts.size()), line_len, lines, r.out.data(), &r.used);
    return r;
}

// Token mixes: shares (of 16) of literals, single escaped bytes (C1 v),
// short runs (2..9) and long runs (10..longest); `high_values` makes most
// run values bytes above 0xC0 (long stretches of such bytes).
struct Style {
    uint32_t literal, single, short_run;  // the rest are long runs
    uint32_t longest;
    bool high_values;
};
constexpr Style kStyles[] = {
    {4, 10, 2, 63, false},  // photo-like: escaped singles and pairs
    {2, 4, 8, 16, false},   // ramps-like: short runs of every length
    {2, 2, 2, 63, false},   // graphic-like: long runs
    {6, 6, 2, 32, true},    // values above 0xC0 after the counts
    {16, 0, 0, 63, false},  // literals only, 0xC0 among them
    {0, 16, 0, 63, true},   // pairs only, stretches of bytes above 0xC0
    {3, 3, 6, 24, false},   // runs up to 24
};

// At least `bytes` bytes of output as a stream of tokens of the style.
Bytes make_stream(std::mt19937 &rng, const Style &s, size_t bytes) {
    Bytes in;
    size_t out = 0;
    auto value = [&] { return uint8_t(s.high_values && rng() % 4 ? 0xC1 + rng() % 63 : rng() % 256); };
    while (out < bytes) {
        const uint32_t pick = rng() % 16;
        if (pick < s.literal) {
            in.push_back(uint8_t(rng() % 8 == 0 ? 0xC0 : rng() % 0xC1));
            ++out;
            continue;
        }
        const uint32_t count = pick < s.literal + s.single ? 1
                               : pick < s.literal + s.single + s.short_run ? 2 + rng() % 8
                                                                           : 10 + rng() % (s.longest - 9);
        in.push_back(uint8_t(0xC0 + count));
        in.push_back(value());
        out += count;
    }
    return in;
}

// Input cut into blocks of `block` bytes.
std::vector<int32_t> cuts_every(int32_t block, const Bytes &in) {
    std::vector<int32_t> cuts;
    for (int32_t c = block; c < int32_t(in.size()); c += block) cuts.push_back(c);
    return cuts;
}

TEST(PcxDecodeFast, EveryLineLengthCutAtEveryInputPosition) {
    std::mt19937 rng(17);
    for (int32_t line_len = 1; line_len <= 300; ++line_len) {
        const Style &s = kStyles[size_t(line_len) % std::size(kStyles)];
        const int32_t lines = std::max(2, 700 / line_len);
        const Bytes in = make_stream(rng, s, size_t(line_len) * size_t(lines));
        const Result want = run(false, in, {}, line_len, lines);
        ASSERT_EQ(want.lines, lines);
        for (int32_t cut = 0; cut <= int32_t(in.size()); ++cut) {
            const Result got = run(true, in, {cut}, line_len, lines);
            ASSERT_EQ(got.lines, want.lines) << "line " << line_len << " cut " << cut;
            ASSERT_TRUE(got == want) << "line " << line_len << " cut " << cut;
        }
    }
}

TEST(PcxDecodeFast, LongLinesInBlocksOfAwkwardSizes) {
    std::mt19937 rng(3);
    for (int t = 0; t < 60; ++t) {
        const Style &s = kStyles[size_t(t) % std::size(kStyles)];
        const int32_t line_len = t % 3 == 0 ? 6000 : int32_t(200 + rng() % 3000), lines = 4;
        const Bytes in = make_stream(rng, s, size_t(line_len) * size_t(lines));
        const Result want = run(false, in, {}, line_len, lines);
        // Blocks ending just before, on and after a 64-byte boundary, and random ones.
        for (int32_t block : {63, 64, 65, 127, 128, 129, int32_t(1 + rng() % 400)})
            ASSERT_TRUE(run(true, in, cuts_every(block, in), line_len, lines) == want)
                << "trial " << t << " block " << block;
    }
}

TEST(PcxDecodeFast, CountBytesAtBlockEndsAndRunsOverLines) {
    // 63 literals put the count byte last in the first 64 bytes; a run of 63
    // then crosses the end of a 100-byte line; a stretch of 130 bytes above
    // 0xC0 (65 pairs C1 C5) crosses two 64-byte blocks; 120 literals end it.
    Bytes in(63, 0x11);
    in.push_back(0xFF);
    in.push_back(0xC3);
    for (int k = 0; k < 130; ++k) in.push_back(k % 2 ? 0xC5 : 0xC1);
    in.insert(in.end(), 120, 0x22);
    const int32_t line_len = 100, lines = 3;
    Bytes want(63, 0x11);
    want.insert(want.end(), 63, 0xC3);
    want.insert(want.end(), 65, 0xC5);
    want.insert(want.end(), 120, 0x22);
    want.resize(size_t(line_len) * lines);
    for (int32_t cut : {0, 63, 64, 65, 128, 129}) {
        const Result got = run(true, in, {cut}, line_len, lines);
        EXPECT_EQ(got.lines, lines) << "cut " << cut;
        EXPECT_EQ(got.out, want) << "cut " << cut;
    }
}

TEST(PcxDecodeFast, TruncatedStreamsStopWhereTheReferenceStops) {
    std::mt19937 rng(29);
    for (int t = 0; t < 200; ++t) {
        const Style &s = kStyles[size_t(t) % std::size(kStyles)];
        const int32_t line_len = int32_t(64 + rng() % 700), lines = 5;
        Bytes in = make_stream(rng, s, size_t(line_len) * size_t(lines));
        in.resize(rng() % in.size());
        if (t % 4 == 0) in.push_back(0xC0 + uint8_t(1 + rng() % 63));  // a count byte last
        const std::vector<int32_t> cuts = cuts_every(int32_t(1 + rng() % 200), in);
        const Result want = run(false, in, cuts, line_len, lines);
        ASSERT_TRUE(run(true, in, cuts, line_len, lines) == want) << "trial " << t;
    }
}

TEST(PcxDecodeFast, VectorPathOffIsTheReference) {
    std::mt19937 rng(41);
    const Bytes in = make_stream(rng, kStyles[1], 4 * 1000);
    const Result want = run(false, in, {}, 1000, 4);
    const int32_t was = iQV_pcx_rle_fast_enable(0);
    const Result off = run(true, in, {}, 1000, 4);
    iQV_pcx_rle_fast_enable(was);
    EXPECT_TRUE(off == want);
    if (!was) GTEST_SKIP() << "no AVX-512 here: only the word-at-a-time decoder ran";
}

}  // namespace
