// Ordered dither, halftone and plain threshold: flat fields' counts and periods, the matrix
// anomalies, the extremes, the checkerboard from the bottom band, the 16-colour corners, the
// threshold modes and their errors, and the frame every reduction shares (progress, cancel,
// hooks, run form).
#include "dither/dither_util.h"

namespace {

using dt::Bytes;
using dt::Rows;

// Whites in the 16 x 16 tile of a flat gray field (the count of matrix values <= g*256/255).
size_t bayer_whites(uint8_t g) {
    QUORIN img = dt::flat24(16, 16, g, g, g);
    EXPECT_EQ(QV_IP_color_reduce_bayer(img, 1, nullptr), 0);
    size_t n = dt::count(dt::read(img), 1);
    QV_image_delete(img);
    return n;
}

TEST(Bayer, FlatFieldCountsFollowTheMatrixAsListed) {
    EXPECT_EQ(bayer_whites(0), 0u);
    EXPECT_EQ(bayer_whites(255), 256u);  // its largest value is 256
    EXPECT_EQ(bayer_whites(128), 129u);  // s = 128: 1..128 with 64 twice
    EXPECT_EQ(bayer_whites(63), 63u);    // s = 63
    EXPECT_EQ(bayer_whites(64), 65u);    // s = 64 takes both 64s
    EXPECT_EQ(bayer_whites(163), 164u);  // s = 163
    EXPECT_EQ(bayer_whites(164), 164u);  // s = 164 adds nothing: 164 is missing
    EXPECT_EQ(bayer_whites(1), 1u);      // s = 1
}

TEST(Bayer, MidGrayRepeatsEvery16BothWaysFromTheBottomRow) {
    qvtest::NoLeaks leaks;
    QUORIN img = dt::flat24(40, 37, 128, 128, 128);
    ASSERT_EQ(QV_IP_color_reduce_bayer(img, 1, nullptr), 0);
    EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{40, 37, 1}));
    Rows r = dt::read(img);
    for (int32_t y = 0; y < 37; ++y) {
        EXPECT_EQ(Bytes(r[y].begin(), r[y].end() - 16), Bytes(r[y].begin() + 16, r[y].end())) << y;
        if (y + 16 < 37) {
            EXPECT_EQ(r[y], r[y + 16]) << y;
        }
    }
    // Matrix row 0 is on the bottom row: 2 236 60 220 16 232 56 216 3 233 ...
    EXPECT_EQ(Bytes(r[36].begin(), r[36].begin() + 10), (Bytes{1, 0, 1, 0, 1, 0, 1, 0, 1, 0}));
    // The row above it takes matrix row 1: 130 66 188 124 144 80 184 120 131 67.
    EXPECT_EQ(Bytes(r[35].begin(), r[35].begin() + 10), (Bytes{0, 1, 0, 1, 0, 1, 0, 1, 0, 1}));
    EXPECT_EQ(dt::palette(img).size(), 2u);
    EXPECT_TRUE(dt::same(dt::palette(img)[0], {0, 0, 0, 0}));
    EXPECT_TRUE(dt::same(dt::palette(img)[1], {255, 255, 255, 0}));
    QV_image_delete(img);
}

TEST(Bayer, PalettedSourcesUseTheirColours) {
    // 8 bits: entry 3 is white, entry 0 black; 4 bits likewise.
    for (int32_t bpp : {4, 8}) {
        QUORIN img = dt::make(3, 1, bpp, {{3, 0, 3}}, {{0, 0, 0, 0}, {1, 1, 1, 0}, {2, 2, 2, 0}, {255, 255, 255, 0}});
        ASSERT_EQ(QV_IP_color_reduce_bayer(img, 1, nullptr), 0);
        EXPECT_EQ(dt::read(img), (Rows{{1, 0, 1}})) << bpp;
        QV_image_delete(img);
    }
}

TEST(Bayer, PureRedTo16ColoursIsIndex9) {
    QUORIN img = dt::flat24(19, 9, 255, 0, 0);
    ASSERT_EQ(QV_IP_color_reduce_bayer(img, 4, nullptr), 0);
    EXPECT_EQ(qvtest::dims(img)[2], 4);
    EXPECT_EQ(dt::count(dt::read(img), 9), size_t(19 * 9));
    auto pal = dt::palette(img);
    ASSERT_EQ(pal.size(), 16u);
    EXPECT_TRUE(dt::same(pal[7], {128, 128, 128, 0}));
    EXPECT_TRUE(dt::same(pal[8], {192, 192, 192, 0}));
    EXPECT_TRUE(dt::same(pal[9], {0, 0, 255, 0}));
    QV_image_delete(img);
}

TEST(Bayer, SixteenColoursSwitchChannelsByTheirHighNibble) {
    // Red 0x80: L = 8 * 64 / 15 = 34, on where the 8 x 8 value <= 34 (34 of 64 as a field,
    // row 0 on the bottom: 2 60 16 56 3 57 13 53); green 0xFF always on, blue 0x0F off.
    QUORIN img = dt::flat24(8, 8, 0x80, 0xFF, 0x0F);
    ASSERT_EQ(QV_IP_color_reduce_bayer(img, 4, nullptr), 0);
    Rows r = dt::read(img);
    EXPECT_EQ(r[7], (Bytes{11, 10, 11, 10, 11, 10, 11, 10}));  // yellow where red is on, lime else
    EXPECT_EQ(dt::count(r, 11), 34u);
    // A caller's palette: its nearest entries to the corners are chosen.
    std::vector<QV_RGBQUAD> pal(16, QV_RGBQUAD{0, 0, 0, 0});
    pal[5] = {0, 250, 250, 0};
    QUORIN img2 = dt::flat24(4, 2, 0xF0, 0xF0, 0);
    ASSERT_EQ(QV_IP_color_reduce_bayer(img2, 4, pal.data()), 0);
    EXPECT_EQ(dt::read(img2), (Rows{{5, 5, 5, 5}, {5, 5, 5, 5}}));
    EXPECT_TRUE(dt::same(dt::palette(img2)[5], pal[5]));
    QV_image_delete(img);
    QV_image_delete(img2);
}

TEST(Bayer, DepthErrors) {
    struct Case {
        int32_t bpp;
        uint32_t target;
        qvtest::Err err;
    };
    for (const Case &c : std::vector<Case>{{1, 1, {-3300, 1, 0}},
                                            {1, 4, {-3300, 1, 0}},
                                            {4, 4, {-3300, 4, 4}},
                                            {24, 8, {-3300, 24, 8}},
                                            {16, 1, {-3300, 16, 1}}}) {
        QUORIN img = dt::make(4, 2, c.bpp);
        EXPECT_FAILS(QV_IP_color_reduce_bayer(img, c.target, nullptr), c.err);
        EXPECT_EQ(qvtest::dims(img)[2], c.bpp);
        QV_image_delete(img);
    }
    EXPECT_EQ(QV_IP_color_reduce_bayer(nullptr, 1, nullptr), 0);
}

TEST(Halftone, FlatFieldRepeatsEvery8AndStartsWithCellAAtTheBottomLeft) {
    qvtest::NoLeaks leaks;
    // s = 16 * 32 / 255 = 2: thresholds 1 and 2 of cell A are white, all of cell B black.
    QUORIN img = dt::flat24(21, 19, 16, 16, 16);
    ASSERT_EQ(QV_IP_color_reduce_halftone(img, 7), 0);
    EXPECT_EQ(dt::dib(img)->biCompression, uint32_t(QV_BI_RUNS));
    Rows r = dt::read(img);
    for (int32_t y = 0; y < 19; ++y) {
        EXPECT_EQ(Bytes(r[y].begin(), r[y].end() - 8), Bytes(r[y].begin() + 8, r[y].end())) << y;
        if (y + 8 < 19) {
            EXPECT_EQ(r[y], r[y + 8]) << y;
        }
    }
    EXPECT_EQ(dt::count(r, 1), 26u);  // two a whole cell A: 3 + 2 + 3 + 2 + 3 cells by band
    // Third row of the bottom band (row 16 from the top): cell A's row 2 is 6 1 2 11.
    EXPECT_EQ(Bytes(r[16].begin(), r[16].begin() + 8), (Bytes{0, 1, 1, 0, 0, 0, 0, 0}));
    // The band above starts with B, then A.
    EXPECT_EQ(Bytes(r[12].begin(), r[12].begin() + 8), (Bytes{0, 0, 0, 0, 0, 1, 1, 0}));
    QV_image_delete(img);
}

TEST(Halftone, ExtremesAndDepths) {
    for (uint8_t g : {uint8_t(0), uint8_t(255)}) {
        QUORIN img = dt::flat24(9, 9, g, g, g);
        ASSERT_EQ(QV_IP_color_reduce_halftone(img, 0), 0);
        EXPECT_EQ(dt::count(dt::read(img), g ? 1 : 0), 81u);
        QV_image_delete(img);
    }
    QUORIN one = dt::make(4, 4, 1);
    EXPECT_FAILS(QV_IP_color_reduce_halftone(one, 0), {-3300, 1, 0});
    QUORIN sixteen = dt::make(4, 4, 16);
    EXPECT_FAILS(QV_IP_color_reduce_halftone(sixteen, 0), {-3300, 16, 1});
    QV_image_delete(one);
    QV_image_delete(sixteen);
}

TEST(Bitonal, ModesOnOneRow) {
    // Pixels (b, g, r): gray (77r + 151g + 28b) >> 8, mean, weighted mean.
    Rows src = {{0, 0, 200, 200, 0, 0, 90, 90, 90, 10, 250, 10}};
    struct Case {
        uint32_t mode, threshold, wr, wg, wb;
        Bytes want;
    };
    for (const Case &c : std::vector<Case>{
             {0, 60, 0, 0, 0, {1, 0, 1, 1}},      // grays 60, 21, 90, 151
             {0, 61, 0, 0, 0, {0, 0, 1, 1}},
             {1, 67, 0, 0, 0, {0, 0, 1, 1}},      // means 66, 66, 90, 90
             {1, 66, 0, 0, 0, {1, 1, 1, 1}},
             {2, 200, 0, 0, 1, {0, 1, 0, 0}},     // blue only: 0, 200, 90, 10
             {2, 100, 1, 1, 0, {1, 0, 0, 1}},     // (g + r) / 2: 100, 0, 90, 130
             {0, 65536 + 60, 0, 0, 0, {1, 0, 1, 1}},  // compared on 16 bits
         }) {
        QUORIN img = dt::make(4, 1, 24, src);
        ASSERT_EQ(QV_IP_color_reduce_to_bitonal(img, c.mode, c.threshold, c.wr, c.wg, c.wb), 0);
        EXPECT_EQ(dt::read(img)[0], c.want) << c.mode << " " << c.threshold;
        EXPECT_EQ(dt::dib(img)->biCompression, uint32_t(QV_BI_RUNS));
        QV_image_delete(img);
    }
}

TEST(Bitonal, Errors) {
    QUORIN img = dt::make(3, 2, 24);
    EXPECT_FAILS(QV_IP_color_reduce_to_bitonal(img, 2, 1, 0, 0, 0), {-600, 0, 0});
    EXPECT_EQ(qvtest::dims(img)[2], 24);
    // An unknown mode: one record a pixel, the value 0 for every pixel; the result still stands.
    EXPECT_EQ(QV_IP_color_reduce_to_bitonal(img, 9, 0, 0, 0, 0), 6);
    EXPECT_STACK({-600, 9, 0}, {-600, 9, 0}, {-600, 9, 0}, {-600, 9, 0}, {-600, 9, 0}, {-600, 9, 0});
    EXPECT_EQ(dt::read(img), (Rows{{1, 1, 1}, {1, 1, 1}}));  // 0 >= threshold 0
    QUORIN big = dt::make(40, 40, 8);
    EXPECT_EQ(QV_IP_color_reduce_to_bitonal(big, 3, 1, 0, 0, 0), 29);  // the stack's capacity
    QUORIN one = dt::make(4, 4, 1);
    EXPECT_FAILS(QV_IP_color_reduce_to_bitonal(one, 0, 1, 0, 0, 0), {-3300, 1, 0});
    QV_image_delete(img);
    QV_image_delete(big);
    QV_image_delete(one);
}

TEST(ReduceFrame, ReportsFromTheBottomAndKeepsThePartialResultOnCancel) {
    qvtest::NoLeaks leaks;
    {
        dt::StatusBar bar;
        QUORIN img = dt::flat24(5, 4, 255, 255, 255);
        ASSERT_EQ(QV_IP_color_reduce_halftone(img, 0), 0);
        EXPECT_EQ(bar.p.calls, (std::vector<std::pair<int32_t, int32_t>>{{3, 4}, {2, 4}, {1, 4}, {0, 4}}));
        QV_image_delete(img);
    }
    using Reduce = std::function<int32_t(QUORIN)>;
    for (const Reduce &reduce : std::vector<Reduce>{
             [](QUORIN i) { return QV_IP_color_reduce_halftone(i, 0); },
             [](QUORIN i) { return QV_IP_color_reduce_bayer(i, 1, nullptr); },
             [](QUORIN i) { return QV_IP_color_reduce_to_bitonal(i, 0, 1, 0, 0, 0); }}) {
        QUORIN img = dt::flat24(5, 4, 255, 255, 255);
        dt::StatusBar bar(2);  // stops after the second row from the bottom
        dt::Hooks hooks;
        EXPECT_FAILS(reduce(img), {-2113, 2, 4});
        EXPECT_EQ(dt::read(img), (Rows{{0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, {1, 1, 1, 1, 1}, {1, 1, 1, 1, 1}}));
        EXPECT_TRUE(hooks.changed.empty());  // the hook runs on success only
        EXPECT_EQ(hooks.palettes, (std::vector<int32_t>{2}));
        QV_image_delete(img);
    }
}

TEST(ReduceFrame, HooksOnSuccess) {
    QUORIN img = dt::flat24(5, 4, 255, 0, 0);
    dt::Hooks hooks;
    ASSERT_EQ(QV_IP_color_reduce_bayer(img, 4, nullptr), 0);
    EXPECT_EQ(hooks.changed, (std::vector<std::pair<int32_t, int32_t>>{{QV_CHANGED_COLORS, 4}}));
    EXPECT_EQ(hooks.palettes, (std::vector<int32_t>{16}));
    QV_image_delete(img);
}

}  // namespace
