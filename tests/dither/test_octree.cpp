// Octree reduction: the target count rules, few-colour images kept exactly, the reduction's tie
// rule and the palette's depth-first order on a hand-built set of colours, the caller's colour
// list and -600, depth errors, cancel, and a photo-like image mapped with a bounded error.
#include <random>
#include <set>

#include "dither/dither_util.h"

namespace {

using dt::Bytes;
using dt::Rows;
using Rgb = std::array<uint8_t, 3>;

QUORIN row_of(const std::vector<Rgb> &px, int32_t rows = 1) {
    Bytes r;
    for (const Rgb &c : px) r.insert(r.end(), {c[2], c[1], c[0]});
    return dt::make(int32_t(px.size()), rows, 24, Rows(size_t(rows), r));
}
Rgb rgb(const QV_RGBQUAD &q) { return {q.rgbRed, q.rgbGreen, q.rgbBlue}; }

// A smooth image with noise, like a photograph.
QUORIN photo(int32_t w, int32_t h, uint32_t seed) {
    std::mt19937 rng(seed);
    Rows rows(size_t(h), Bytes(size_t(w) * 3));
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
            uint8_t *p = &rows[size_t(y)][size_t(x) * 3];
            p[0] = uint8_t((x * 255 / w + rng() % 9) & 255);
            p[1] = uint8_t(((x + y) * 127 / (w + h) + 64 + rng() % 9) & 255);
            p[2] = uint8_t((y * 255 / h) ^ (rng() % 5));
        }
    return dt::make(w, h, 24, rows);
}

TEST(Octree, CountRules) {
    struct Case {
        uint32_t count;
        int32_t bpp;
        size_t at_most;
    };
    for (const Case &c : std::vector<Case>{{300, 8, 256}, {0, 4, 8}, {2, 4, 8}, {16, 4, 16}, {17, 8, 17}, {256, 8, 256}}) {
        QUORIN img = photo(48, 40, 7);
        ASSERT_EQ(QV_IP_color_reduce_octree(img, 1, c.count, 0, nullptr), 0) << c.count;
        EXPECT_EQ(qvtest::dims(img)[2], c.bpp) << c.count;
        std::set<uint8_t> used;
        for (const Bytes &r : dt::read(img)) used.insert(r.begin(), r.end());
        EXPECT_LE(used.size(), c.at_most) << c.count;
        EXPECT_GT(used.size(), c.at_most / 2) << c.count;
        auto pal = dt::palette(img);
        for (size_t i = c.at_most; i < pal.size(); ++i) EXPECT_TRUE(dt::same(pal[i], {0, 0, 0, 0})) << i;
        QV_image_delete(img);
    }
}

TEST(Octree, TwoHundredFiftySixColoursAreKeptExactly) {
    // Every palette entry is used, the last (255) too.
    Rows rows(16, Bytes(16 * 3));
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            uint8_t *p = &rows[y][x * 3];
            p[0] = uint8_t(x * 17), p[1] = uint8_t(y * 16 + 15), p[2] = uint8_t(255 - x * 16 - y);
        }
    QUORIN img = dt::make(16, 16, 24, rows);
    ASSERT_EQ(QV_IP_color_reduce_octree(img, 1, 256, 0, nullptr), 0);
    auto pal = dt::palette(img);
    Rows r = dt::read(img);
    std::set<uint8_t> used;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            used.insert(r[y][x]);
            const uint8_t *p = &rows[y][x * 3];
            EXPECT_EQ(rgb(pal[r[y][x]]), (Rgb{p[2], p[1], p[0]})) << x << "," << y;
        }
    EXPECT_EQ(used.size(), 256u);
    QV_image_delete(img);
}

TEST(Octree, FewColoursAreKeptExactly) {
    qvtest::NoLeaks leaks;
    std::mt19937 rng(3);
    std::vector<Rgb> colours;
    for (int i = 0; i < 12; ++i) colours.push_back({uint8_t(rng()), uint8_t(rng()), uint8_t(rng())});
    Rows rows(9, Bytes(23 * 3));
    std::vector<std::vector<int>> which(9, std::vector<int>(23));
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 23; ++x) {
            int k = int(rng() % colours.size());
            which[y][x] = k;
            const Rgb &c = colours[size_t(k)];
            rows[y][x * 3] = c[2], rows[y][x * 3 + 1] = c[1], rows[y][x * 3 + 2] = c[0];
        }
    for (uint32_t flag : {0u, 1u}) {
        for (uint32_t count : {16u, 256u}) {
            QUORIN img = dt::make(23, 9, 24, rows);
            ASSERT_EQ(QV_IP_color_reduce_octree(img, flag, count, 0, nullptr), 0);
            auto pal = dt::palette(img);
            Rows r = dt::read(img);
            for (int y = 0; y < 9; ++y)
                for (int x = 0; x < 23; ++x)
                    EXPECT_EQ(rgb(pal[r[y][x]]), colours[size_t(which[y][x])]) << flag << " " << count;
            QV_image_delete(img);
        }
    }
}

// Nine colours for eight entries: two pairs split only at the last level (A under black, B
// under white) and five lone colours. The lone nodes go first (fewest colours), then the two
// pairs tie and the earlier, A, is merged into its mean (2, 0, 0).
const std::vector<Rgb> kNine = {{0, 0, 0},   {4, 0, 0},     {255, 255, 255}, {251, 255, 255}, {255, 0, 0},
                                {0, 255, 0}, {0, 0, 255},   {255, 255, 0},   {0, 255, 255}};

TEST(Octree, TieRuleAndDepthFirstPalette) {
    QUORIN img = row_of(kNine);
    ASSERT_EQ(QV_IP_color_reduce_octree(img, 1, 8, 0, nullptr), 0);
    EXPECT_EQ(qvtest::dims(img)[2], 4);
    auto pal = dt::palette(img);
    std::vector<Rgb> got;
    for (int i = 0; i < 8; ++i) got.push_back(rgb(pal[size_t(i)]));
    EXPECT_EQ(got, (std::vector<Rgb>{{2, 0, 0}, {0, 0, 255}, {0, 255, 0}, {0, 255, 255},
                                      {255, 0, 0}, {255, 255, 0}, {251, 255, 255}, {255, 255, 255}}));
    EXPECT_EQ(dt::read(img), (Rows{{0, 0, 7, 6, 4, 2, 1, 5, 3}}));
    QV_image_delete(img);
}

TEST(Octree, CallersColourList) {
    // Ten entries (blue, green, red) for eight colours build the palette; the image is only
    // mapped. The tenth, (128, 0, 0), splits red's branch at level 1: its lone level-5 node goes
    // first, then pair B (the only level-5 node left) is merged. Seven entries are ignored and
    // the pixels are used.
    Bytes list;
    for (const Rgb &c : kNine) list.insert(list.end(), {c[2], c[1], c[0]});
    list.insert(list.end(), {0, 0, 128});
    QUORIN img = row_of({{250, 250, 250}, {1, 1, 1}});
    ASSERT_EQ(QV_IP_color_reduce_octree(img, 1, 8, 10, list.data()), 0);
    auto pal = dt::palette(img);
    EXPECT_EQ(rgb(pal[0]), (Rgb{2, 0, 0}));
    EXPECT_EQ(rgb(pal[4]), (Rgb{128, 0, 0}));
    EXPECT_EQ(rgb(pal[5]), (Rgb{255, 0, 0}));
    EXPECT_EQ(rgb(pal[7]), (Rgb{253, 255, 255}));
    EXPECT_EQ(dt::read(img), (Rows{{7, 0}}));
    QV_image_delete(img);

    QUORIN own = row_of({{250, 250, 250}, {1, 1, 1}});
    ASSERT_EQ(QV_IP_color_reduce_octree(own, 1, 8, 7, list.data()), 0);
    pal = dt::palette(own);
    EXPECT_EQ(rgb(pal[0]), (Rgb{1, 1, 1}));
    EXPECT_EQ(rgb(pal[1]), (Rgb{250, 250, 250}));
    QV_image_delete(own);

    QUORIN refused = row_of({{250, 250, 250}, {1, 1, 1}});
    EXPECT_FAILS(QV_IP_color_reduce_octree(refused, 1, 16, 10, list.data()), {-600, 10, 0});
    EXPECT_EQ(qvtest::dims(refused)[2], 24);
    QV_image_delete(refused);
}

TEST(Octree, DepthErrorsAndEightBitSources) {
    for (int32_t bpp : {1, 4, 16}) {
        QUORIN img = dt::make(4, 2, bpp);
        EXPECT_FAILS(QV_IP_color_reduce_octree(img, 1, 16, 0, nullptr), {-3300, bpp, 0});
        EXPECT_EQ(qvtest::dims(img)[2], bpp);
        QV_image_delete(img);
    }
    // An 8-bit image is read through its palette.
    std::vector<QV_RGBQUAD> pal = {{0, 0, 200, 0}, {200, 0, 0, 0}, {0, 200, 0, 0}};
    QUORIN img = dt::make(3, 2, 8, {{0, 1, 2}, {2, 1, 0}}, pal);
    dt::Hooks hooks;
    ASSERT_EQ(QV_IP_color_reduce_octree(img, 0, 8, 0, nullptr), 0);
    auto out = dt::palette(img);
    Rows r = dt::read(img);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) {
            uint8_t src = y == 0 ? uint8_t(x) : uint8_t(2 - x);
            EXPECT_TRUE(dt::same(out[r[y][x]], pal[src]));
        }
    EXPECT_EQ(hooks.changed, (std::vector<std::pair<int32_t, int32_t>>{{QV_CHANGED_COLORS, 4}}));
    EXPECT_EQ(hooks.palettes, (std::vector<int32_t>{16}));
    QV_image_delete(img);
}

TEST(Octree, CancelLeavesTheRowsNotReachedAsAllocated) {
    qvtest::NoLeaks leaks;
    QUORIN img = row_of({{200, 10, 10}, {10, 200, 10}}, 3);
    dt::StatusBar bar(1);
    EXPECT_FAILS(QV_IP_color_reduce_octree(img, 1, 256, 0, nullptr), {-2113, 1, 3});
    EXPECT_EQ(bar.p.calls, (std::vector<std::pair<int32_t, int32_t>>{{2, 3}, {1, 3}}));
    auto pal = dt::palette(img);
    EXPECT_EQ(rgb(pal[0]), (Rgb{10, 200, 10}));  // green's path (child 2) before red's (4)
    EXPECT_EQ(dt::read(img), (Rows{{0, 0}, {1, 0}, {1, 0}}));
    QV_image_delete(img);
}

TEST(Octree, PhotoLikeImageStaysClose) {
    for (uint32_t count : {256u, 16u}) {
        QUORIN img = photo(96, 64, 11);
        Rows before = dt::read(img);
        ASSERT_EQ(QV_IP_color_reduce_octree(img, 0, count, 0, nullptr), 0);
        auto pal = dt::palette(img);
        Rows after = dt::read(img);
        double se = 0;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 96; ++x) {
                const QV_RGBQUAD &q = pal[after[y][x]];
                const uint8_t *p = &before[y][x * 3];
                se += (p[0] - q.rgbBlue) * (p[0] - q.rgbBlue) + (p[1] - q.rgbGreen) * (p[1] - q.rgbGreen) +
                      (p[2] - q.rgbRed) * (p[2] - q.rgbRed);
            }
        double mse = se / (96.0 * 64 * 3);
        EXPECT_LT(mse, count == 256 ? 60.0 : 900.0) << count;  // dither noise included
        QV_image_delete(img);
    }
}

}  // namespace
