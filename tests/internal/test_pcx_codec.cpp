// PCX codec core on plain buffers: run-length decoding (runs across lines
// and input blocks, the 0xC0 literal), the encoder's escaping and run limit,
// both checked against straightforward models on random data, and the
// conversion of plane layouts into DIB rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "tests_internal.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes decode(const Bytes &in, int32_t line_len, int32_t lines, int32_t block, int32_t *done) {
    Bytes out(size_t(line_len) * size_t(lines), 0xEE);
    *done = iQV_pcx_rle_decode(in.data(), int32_t(in.size()), block, line_len, lines, out.data());
    return out;
}

Bytes encode(const Bytes &in) {
    Bytes out(in.size() * 2 + 2);
    out.resize(size_t(iQV_pcx_rle_encode(in.data(), int32_t(in.size()), out.data())));
    return out;
}

Bytes run_of(size_t n, uint8_t v, Bytes tail = {}) {
    tail.insert(tail.begin(), n, v);
    return tail;
}

TEST(PcxDecode, SameOutputWhateverTheInputBlocks) {
    const struct {
        Bytes in;
        int32_t line_len, lines;
        Bytes want;
    } cases[] = {
        {{0x00, 0x3F, 0x40, 0xBF}, 4, 1, {0x00, 0x3F, 0x40, 0xBF}},  // literals
        {{0xC1, 0xC5, 0xC1, 0x00}, 2, 1, {0xC5, 0x00}},              // C1 repeats once
        {{0xFF, 0x07, 0x09}, 64, 1, run_of(63, 0x07, {0x09})},       // the longest run
        {{0xC7, 0x05, 0x09, 0x01}, 3, 3, run_of(7, 5, {9, 1})},      // a run over three lines
        {{0xC2, 0x04, 0x03, 0xC2, 0x00}, 2, 2, {4, 4, 3, 0}},        // a run ending a line
    };
    for (const auto &c : cases)
        for (int32_t block : {0, 1, 2, 3}) {  // 1 puts every count byte at the end of a block
            int32_t done = -1;
            EXPECT_EQ(decode(c.in, c.line_len, c.lines, block, &done), c.want) << "block " << block;
            EXPECT_EQ(done, c.lines) << "block " << block;
        }
    int32_t done = -1;
    // The end of the input ends the line early: 7 bytes, two whole lines and one byte of the third.
    EXPECT_EQ(decode({0xC7, 0x05}, 3, 3, 0, &done), (Bytes{5, 5, 5, 5, 5, 5, 5, 0xEE, 0xEE}));
    EXPECT_EQ(done, 2);
    decode({0x01, 0xC4}, 2, 2, 1, &done);  // count byte with no value byte
    EXPECT_EQ(done, 0);
}

TEST(PcxEncode, ExactBytes) {
    const std::pair<Bytes, Bytes> cases[] = {
        {{0x00, 0x3F, 0x01}, {0x00, 0x3F, 0x01}},  // plain below 0x40
        {{0x40}, {0xC1, 0x40}},                    // single values from 0x40 up are escaped
        {{0x80}, {0xC1, 0x80}},
        {{0x01, 0x01}, {0xC2, 0x01}},  // a pair is a run
        {run_of(63, 0x00), {0xFF, 0x00}},
        {run_of(64, 0x00), {0xFF, 0x00, 0x00}},  // split at 63
        {run_of(64, 0x80), {0xFF, 0x80, 0xC1, 0x80}},
        {run_of(65, 0x02), {0xFF, 0x02, 0xC2, 0x02}},
        {{0x05, 0xC8, 0xC8, 0xC8, 0x05, 0x7F}, {0x05, 0xC3, 0xC8, 0x05, 0xC1, 0x7F}},
    };
    for (const auto &[in, want] : cases) EXPECT_EQ(encode(in), want) << ::testing::PrintToString(in);
}

// Straightforward model of the decoder: literals up to 0xC0, counts above,
// runs continuing over line ends; returns the whole lines decoded.
int32_t model_decode(const Bytes &in, size_t line_len, int32_t lines, Bytes &out) {
    out.assign(line_len * size_t(lines), 0xEE);
    size_t pos = 0, i = 0;
    while (pos < out.size() && i < in.size()) {
        const uint8_t b = in[i++];
        if (b <= 0xC0) out[pos++] = b;
        else if (i < in.size())
            for (int k = 0, v = in[i++]; k < (b & 0x3F) && pos < out.size(); ++k)
                out[pos++] = uint8_t(v);
    }
    return int32_t(pos / line_len);
}

TEST(PcxDecodeModel, RandomStreamsMatchTheModelWhateverTheBlocks) {
    std::mt19937 rng(11);
    for (int t = 0; t < 300; ++t) {
        Bytes in(1 + rng() % 2000), want;
        // Mostly literals or mostly runs, depending on the trial.
        const uint32_t run_share = 1 + t % 7, longest = t % 2 ? 63 : 8;
        for (auto &b : in)
            b = uint8_t((rng() % 8 < run_share) ? (0xC1 + rng() % longest) : (rng() % 0xC1));
        const int32_t line_len = int32_t(1 + rng() % 400), lines = int32_t(1 + rng() % 12);
        const int32_t want_lines = model_decode(in, size_t(line_len), lines, want);
        const int32_t block = (t % 3 == 0) ? 0 : int32_t(1 + rng() % 97);
        int32_t done = -1;
        const Bytes got = decode(in, line_len, lines, block, &done);
        ASSERT_EQ(done, want_lines) << "trial " << t;
        ASSERT_TRUE(std::equal(got.begin(), got.begin() + done * line_len, want.begin()))
            << "trial " << t;
    }
}

// Straightforward model of the encoder: maximal runs of at most 63.
Bytes model_encode(const Bytes &in) {
    Bytes out;
    for (size_t i = 0, j; i < in.size(); i = j) {
        for (j = i + 1; j < in.size() && j - i < 63 && in[j] == in[i];) ++j;
        if (j - i >= 2 || in[i] >= 0x40) out.push_back(uint8_t(0xC0 + (j - i)));
        out.push_back(in[i]);
    }
    return out;
}

TEST(PcxEncodeModel, RandomLinesMatchTheModel) {
    std::mt19937 rng(5);
    for (int t = 0; t < 400; ++t) {
        // Runs of every length next to single bytes of both kinds.
        Bytes line(1 + rng() % 700);
        uint8_t v = 0;
        for (auto &b : line) {
            if (rng() % (t % 10 == 9 ? 150 : 1 + t % 9) == 0) v = uint8_t(rng() % (t % 4 == 0 ? 0x40 : 256));
            b = v;
        }
        ASSERT_EQ(encode(line), model_encode(line)) << "trial " << t;
    }
}

TEST(PcxLayout, LineBecomesDibRow) {
    const struct {
        int32_t bpp, planes, width, bpl;
        Bytes line;
        int32_t want_bpp;
        Bytes want_row;  // first bytes of the DIB row
    } cases[] = {
        // Nine pixels: the second plane byte feeds pixel 8 (high nibble of byte 4).
        {1, 4, 9, 2, {0xFF, 0x80, 0, 0, 0, 0, 0, 0x80}, 4, {0x11, 0x11, 0x11, 0x11, 0x90, 0, 0, 0}},
        {1, 2, 4, 2, {0x90, 0, 0x50, 0}, 4, {0x12, 0x03, 0, 0}},      // two bit planes
        {8, 4, 1, 2, {1, 0, 2, 0, 3, 0, 4, 0}, 32, {3, 2, 1, 4}},     // RGBA planes
        {8, 1, 3, 4, {9, 8, 7, 6}, 8, {9, 8, 7, 0}},                  // an odd stride
    };
    for (const auto &c : cases) {
        Bytes row(64, 0xEE);
        EXPECT_EQ(iQV_pcx_line_to_dib(c.bpp, c.planes, c.width, c.bpl, c.line.data(), row.data()),
                  c.want_bpp);
        row.resize(c.want_row.size());
        EXPECT_EQ(row, c.want_row) << c.bpp << " bits, " << c.planes << " planes";
    }
}

}  // namespace
