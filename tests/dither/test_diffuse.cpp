// Error diffusion: tiny images worked through by hand with the error-sharing rules (the scaled
// 1-bit error, the 1/16 set below right, the first slot carried from two rows before, the 4-bit
// target's missing below-left share), the extremes of the threshold, exact colours kept, and
// the depth pairs.
#include "dither/dither_util.h"

namespace {

using dt::Bytes;
using dt::Rows;

// Gray levels as a 24-bit image (r = g = b, so the gray level is the value itself).
QUORIN gray24(const Rows &gray) {
    Rows rows;
    for (const Bytes &g : gray) {
        Bytes r;
        for (uint8_t v : g) r.insert(r.end(), {v, v, v});
        rows.push_back(r);
    }
    return dt::make(int32_t(gray[0].size()), int32_t(gray.size()), 24, rows);
}
// Colours given red, green, blue per pixel, stored blue, green, red.
QUORIN rgb24(const std::vector<std::vector<std::array<uint8_t, 3>>> &px) {
    Rows rows;
    for (const auto &line : px) {
        Bytes r;
        for (const auto &c : line) r.insert(r.end(), {c[2], c[1], c[0]});
        rows.push_back(r);
    }
    return dt::make(int32_t(px[0].size()), int32_t(px.size()), 24, rows);
}

TEST(Diffuse1, OneRowByHand) {
    // T 128, K 127. x0: 100 black, e = 100*127/128 = 99, 7/16 -> 43 right. x1: 243 white,
    // e = -12*127/128 = -11, 7/16 -> -4. x2: 46 black.
    QUORIN img = gray24({{100, 200, 50}});
    ASSERT_EQ(QV_IP_color_reduce_diffuse(img, 1, 128, nullptr), 0);
    EXPECT_EQ(dt::read(img), (Rows{{0, 1, 0}}));
    EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{3, 1, 1}));
    EXPECT_TRUE(dt::same(dt::palette(img)[1], {255, 255, 255, 0}));
    QV_image_delete(img);
}

TEST(Diffuse1, ErrorSharingQuirksDecideBits) {
    // Worked from the bottom row up with threshold 100 (K 100). Adding the 1/16 below right
    // instead of setting it gives 0 0 1 on the second row; clearing the first pixel's slot
    // between rows gives 1 0 0 on the top row; an unscaled error gives 0 0 1 on the second.
    QUORIN img = gray24({{128, 128, 40}, {0, 128, 250}, {160, 40, 200}, {128, 250, 90}});
    ASSERT_EQ(QV_IP_color_reduce_diffuse(img, 1, 100, nullptr), 0);
    EXPECT_EQ(dt::read(img), (Rows{{0, 1, 0}, {0, 1, 1}, {1, 0, 1}, {1, 1, 0}}));
    QV_image_delete(img);
}

TEST(Diffuse1, NarrowImagesByHand) {
    // Widths of 2 and 1 over an odd and an even number of rows.
    QUORIN two = gray24({{200, 30}, {90, 140}, {60, 250}, {128, 10}, {77, 180}});
    ASSERT_EQ(QV_IP_color_reduce_diffuse(two, 1, 128, nullptr), 0);
    EXPECT_EQ(dt::read(two), (Rows{{1, 0}, {0, 1}, {0, 1}, {1, 0}, {0, 1}}));
    QUORIN one = gray24({{200}, {90}, {160}, {128}});
    ASSERT_EQ(QV_IP_color_reduce_diffuse(one, 1, 100, nullptr), 0);
    EXPECT_EQ(dt::read(one), (Rows{{1}, {0}, {1}, {1}}));
    QV_image_delete(two);
    QV_image_delete(one);
}

TEST(Diffuse1, CancelAfterALowerRowDropsTheRowAbove) {
    QUORIN img = dt::flat24(5, 4, 255, 255, 255);
    dt::StatusBar bar(1);  // rows 3 and 2 go as a pair, then 1 and 0: stop after 1
    EXPECT_FAILS(QV_IP_color_reduce_diffuse(img, 1, 128, nullptr), {-2113, 1, 4});
    EXPECT_EQ(dt::read(img), (Rows{{0, 0, 0, 0, 0}, {1, 1, 1, 1, 1}, {1, 1, 1, 1, 1}, {1, 1, 1, 1, 1}}));
    QV_image_delete(img);
}

TEST(Diffuse1, ThresholdExtremes) {
    Rows field(6, Bytes(7, 90));
    field[2][3] = 255;
    field[4][1] = 0;
    QUORIN white = gray24(field);  // T 0: K 0 and every value reaches it
    ASSERT_EQ(QV_IP_color_reduce_diffuse(white, 1, 0, nullptr), 0);
    EXPECT_EQ(dt::count(dt::read(white), 1), 42u);
    QUORIN alone = gray24(field);  // T 255: K 0, each pixel on its own
    ASSERT_EQ(QV_IP_color_reduce_diffuse(alone, 1, 255, nullptr), 0);
    Rows r = dt::read(alone);
    EXPECT_EQ(dt::count(r, 1), 1u);
    EXPECT_EQ(r[2][3], 1);
    QV_image_delete(white);
    QV_image_delete(alone);
}

TEST(Diffuse1, DensityFollowsTheGrayLevel) {
    size_t prev = 0;
    for (uint8_t g : {uint8_t(32), uint8_t(96), uint8_t(160), uint8_t(224)}) {
        QUORIN img = dt::flat24(64, 64, g, g, g);
        ASSERT_EQ(QV_IP_color_reduce_diffuse(img, 1, 128, nullptr), 0);
        size_t whites = dt::count(dt::read(img), 1);
        // Within a few percent of g / 255 (the first column runs on its own).
        EXPECT_NEAR(double(whites) / 4096.0, g / 255.0, 0.05) << int(g);
        EXPECT_GT(whites, prev);
        prev = whites;
        QV_image_delete(img);
    }
}

TEST(Diffuse1, PalettedSources) {
    // Entry 1 is light gray 200: T 128, one row: 200 white (e -54*127/128 = -53, -23 right),
    // 177 white.
    for (int32_t bpp : {4, 8}) {
        QUORIN img = dt::make(2, 1, bpp, {{1, 1}}, {{0, 0, 0, 0}, {200, 200, 200, 0}});
        ASSERT_EQ(QV_IP_color_reduce_diffuse(img, 1, 128, nullptr), 0) << bpp;
        EXPECT_EQ(dt::read(img), (Rows{{1, 1}}));
        QV_image_delete(img);
    }
}

TEST(Diffuse4, ErrorSharingByHand) {
    // Built-in palette, three rows. With a 3/16 share below left the top row would start
    // 9 6 7; adding the 1/16 below right instead of setting it would give 3 12 7.
    QUORIN img = rgb24({{{0, 100, 220}, {220, 100, 0}, {100, 100, 100}},
                        {{60, 255, 220}, {128, 255, 255}, {180, 220, 255}},
                        {{0, 100, 180}, {60, 128, 100}, {60, 100, 128}}});
    ASSERT_EQ(QV_IP_color_reduce_diffuse(img, 4, 0, nullptr), 0);
    EXPECT_EQ(dt::read(img), (Rows{{3, 6, 7}, {11, 15, 8}, {3, 3, 7}}));
    EXPECT_EQ(qvtest::dims(img)[2], 4);
    QV_image_delete(img);
}

TEST(Diffuse4, BuiltInColoursStayExact) {
    // The 16 built-in colours (red, green, blue) in index order, twice over two rows.
    static const uint8_t kRgb[16][3] = {{0, 0, 0},     {0, 0, 128},   {0, 128, 0},     {0, 128, 128},
                                        {128, 0, 0},   {128, 0, 128}, {128, 128, 0},   {128, 128, 128},
                                        {192, 192, 192}, {0, 0, 255}, {0, 255, 0},     {0, 255, 255},
                                        {255, 0, 0},   {255, 0, 255}, {255, 255, 0},   {255, 255, 255}};
    std::vector<std::vector<std::array<uint8_t, 3>>> px(2);
    Bytes want;
    for (int i = 0; i < 16; ++i) {
        px[0].push_back({kRgb[i][0], kRgb[i][1], kRgb[i][2]});
        px[1].push_back({kRgb[15 - i][0], kRgb[15 - i][1], kRgb[15 - i][2]});
        want.push_back(uint8_t(i));
    }
    QUORIN img = rgb24(px);
    ASSERT_EQ(QV_IP_color_reduce_diffuse(img, 4, 0, nullptr), 0);
    Rows r = dt::read(img);
    EXPECT_EQ(r[0], want);
    EXPECT_EQ(r[1], Bytes(want.rbegin(), want.rend()));
    auto pal = dt::palette(img);
    for (int i = 0; i < 16; ++i)
        EXPECT_TRUE(dt::same(pal[i], {kRgb[i][2], kRgb[i][1], kRgb[i][0], 0})) << i;
    QV_image_delete(img);
}

TEST(Diffuse4, EightBitSourceFollowsItsPaletteColours) {
    // An 8-bit image and the 24-bit image of its colours give the same indices.
    std::vector<QV_RGBQUAD> pal;
    for (int i = 0; i < 256; ++i) pal.push_back({uint8_t(i * 7), uint8_t(255 - i), uint8_t(i * 3), 0});
    Rows idx = {{3, 77, 200, 15, 90}, {250, 1, 128, 64, 33}, {8, 9, 10, 11, 12}};
    QUORIN eight = dt::make(5, 3, 8, idx, pal);
    Rows bgr;
    for (const Bytes &line : idx) {
        Bytes r;
        for (uint8_t i : line) r.insert(r.end(), {pal[i].rgbBlue, pal[i].rgbGreen, pal[i].rgbRed});
        bgr.push_back(r);
    }
    QUORIN true_colour = dt::make(5, 3, 24, bgr);
    ASSERT_EQ(QV_IP_color_reduce_diffuse(eight, 4, 0, nullptr), 0);
    ASSERT_EQ(QV_IP_color_reduce_diffuse(true_colour, 4, 0, nullptr), 0);
    EXPECT_EQ(dt::read(eight), dt::read(true_colour));
    QV_image_delete(eight);
    QV_image_delete(true_colour);
}

TEST(Diffuse4, CallersPalette) {
    std::vector<QV_RGBQUAD> pal(16, QV_RGBQUAD{255, 255, 255, 0});
    pal[0] = {10, 20, 30, 0};
    pal[4] = {10, 20, 30, 0};  // the same colour later: entry 0 wins the tie
    QUORIN img = dt::flat24(3, 2, 30, 20, 10);
    ASSERT_EQ(QV_IP_color_reduce_diffuse(img, 4, 0, pal.data()), 0);
    EXPECT_EQ(dt::read(img), (Rows{{0, 0, 0}, {0, 0, 0}}));
    EXPECT_TRUE(dt::same(dt::palette(img)[0], pal[0]));
    QV_image_delete(img);
}

TEST(Diffuse, DepthErrorsAndHooks) {
    struct Case {
        int32_t bpp;
        uint32_t target;
        qvtest::Err err;
    };
    for (const Case &c : std::vector<Case>{{1, 1, {-3300, 1, 0}},
                                            {4, 4, {-3300, 4, 4}},
                                            {24, 8, {-3300, 24, 8}},
                                            {8, 2, {-3300, 8, 2}},
                                            {32, 1, {-3300, 32, 1}}}) {
        QUORIN img = dt::make(4, 2, c.bpp);
        EXPECT_FAILS(QV_IP_color_reduce_diffuse(img, c.target, 128, nullptr), c.err);
        EXPECT_EQ(qvtest::dims(img)[2], c.bpp);
        QV_image_delete(img);
    }
    QUORIN img = dt::make(4, 2, 24);
    dt::Hooks hooks;
    ASSERT_EQ(QV_IP_color_reduce_diffuse(img, 4, 0, nullptr), 0);
    EXPECT_EQ(hooks.changed, (std::vector<std::pair<int32_t, int32_t>>{{QV_CHANGED_COLORS, 4}}));
    EXPECT_EQ(hooks.palettes, (std::vector<int32_t>{16}));
    QV_image_delete(img);
}

TEST(Diffuse, CancelKeepsTheRowsDone) {
    qvtest::NoLeaks leaks;
    QUORIN img = dt::flat24(4, 3, 255, 255, 255);
    dt::StatusBar bar(2);
    EXPECT_FAILS(QV_IP_color_reduce_diffuse(img, 1, 128, nullptr), {-2113, 2, 3});
    EXPECT_EQ(bar.p.calls, (std::vector<std::pair<int32_t, int32_t>>{{2, 3}}));
    EXPECT_EQ(dt::read(img), (Rows{{0, 0, 0, 0}, {0, 0, 0, 0}, {1, 1, 1, 1}}));
    QV_image_delete(img);
}

}  // namespace
