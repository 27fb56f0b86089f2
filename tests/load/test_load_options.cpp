// Load options through the BMP reader: rectangle (clamped, shifted back
// inside), load size (row map by repeated double addition, nearest
// columns), every colour reduction mode on every source depth, the pixel
// limit on the target, and the option getters.
#include <gtest/gtest.h>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bmp;
using bmptest::Bytes;
using bmptest::Err;

class LoadOptions : public ::testing::Test {
protected:
    void TearDown() override {
        QV_load_rect_set(0, 0, 0, 0);
        QV_load_size_set(0, 0);
        QV_load_color_reduction_set(0);
        QV_load_pixel_limit_set(0);
    }
};

// w x h at 8 bits with a grey ramp palette; pixel (x, y) = y * 16 + x.
Bytes grid(int32_t w, int32_t h) {
    Bmp b;
    b.width = w, b.height = h;
    for (int i = 0; i < 256; ++i) b.palette.push_back(uint32_t(i * 0x010101));
    size_t stride = bmptest::stride_of(w, 8);
    b.data.assign(stride * h, 0);
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) b.data[size_t(h - 1 - y) * stride + x] = uint8_t(y * 16 + x);
    return b.bytes();
}

std::vector<Bytes> values(QUORIN h) {
    int32_t w, ht, bpp;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    std::vector<Bytes> rows;
    for (int32_t y = 0; y < ht; ++y) {
        Bytes raw = bmptest::raw_row(h, y), v;
        for (int32_t x = 0; x < w; ++x) v.push_back(uint8_t(bmptest::index_at(raw, x, bpp)));
        rows.push_back(v);
    }
    return rows;
}

std::vector<Bytes> load_values(const Bytes &file) {
    QUORIN h = bmptest::load_mem(file);
    EXPECT_NE(h, nullptr) << ::testing::PrintToString(bmptest::stack());
    if (!h) return {};
    std::vector<Bytes> v = values(h);
    QV_image_delete(h);
    return v;
}

TEST_F(LoadOptions, GettersReportTheOptionsInForce) {
    int32_t a = -1, b = -1, c = -1, d = -1, f = -1;
    QV_load_size_get(&a, &b, &f);
    EXPECT_EQ(f, 0);
    ASSERT_EQ(QV_load_size_set(0, 7), 0);
    QV_load_size_get(&a, &b, &f);
    EXPECT_EQ(a, 0); EXPECT_EQ(b, 7); EXPECT_EQ(f, 1);
    ASSERT_EQ(QV_load_rect_set(1, 2, 3, 0), 0);
    QV_load_rect_get(&a, &b, &c, &d, &f);
    EXPECT_EQ(a, 1); EXPECT_EQ(b, 2); EXPECT_EQ(c, 3); EXPECT_EQ(d, 0); EXPECT_EQ(f, 1);
    ASSERT_EQ(QV_load_rect_set(5, 5, 0, 0), 0);
    QV_load_rect_get(&a, &b, &c, &d, &f);
    EXPECT_EQ(f, 0);
    // Negative values are refused and nothing is stored.
    EXPECT_EQ(QV_load_size_set(4, -2), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_OUT_OF_RANGE, -2, 0}}));
    QV_load_size_get(&a, &b, &f);
    EXPECT_EQ(a, 0); EXPECT_EQ(b, 7);
    EXPECT_EQ(QV_load_rect_set(-1, 0, 1, 1), 1);
    ASSERT_EQ(QV_load_color_reduction_set(9), 0);
    QV_load_color_reduction_get(&a);
    EXPECT_EQ(a, 9);
    EXPECT_EQ(QV_load_color_reduction_get(nullptr), 1);
}

TEST_F(LoadOptions, RectangleIsClampedAndShiftedInside) {
    Bytes f = grid(10, 6);
    // Runs past the right and bottom edges: shifted back to 5..9, 3..5.
    QV_load_rect_set(8, 4, 5, 3);
    std::vector<Bytes> v = load_values(f);
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(v[0], (Bytes{0x35, 0x36, 0x37, 0x38, 0x39}));
    EXPECT_EQ(v[2], (Bytes{0x55, 0x56, 0x57, 0x58, 0x59}));
    // Larger than the image: the whole image.
    QV_load_rect_set(3, 2, 50, 40);
    v = load_values(f);
    ASSERT_EQ(v.size(), 6u);
    EXPECT_EQ(v[0].size(), 10u);
    EXPECT_EQ(v[5][9], 0x59);
    // Width 0: the whole width, rows 1..2.
    QV_load_rect_set(4, 1, 0, 2);
    v = load_values(f);
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[0], (Bytes{0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19}));
    // Inside the image: taken as it is.
    QV_load_rect_set(2, 1, 2, 2);
    EXPECT_EQ(load_values(f), (std::vector<Bytes>{{0x12, 0x13}, {0x22, 0x23}}));
}

TEST_F(LoadOptions, SizeShrinksAndEnlargesThroughTheRowMap) {
    Bytes f = grid(10, 6);
    QV_load_size_set(4, 3);  // rows 1, 3, 5; columns 0, 2, 5, 7
    EXPECT_EQ(load_values(f), (std::vector<Bytes>{{0x10, 0x12, 0x15, 0x17},
                                                  {0x30, 0x32, 0x35, 0x37},
                                                  {0x50, 0x52, 0x55, 0x57}}));
    QV_load_size_set(3, 9);  // step 1.5: rows 0,1,1,2,3,3,4,5,5
    std::vector<Bytes> v = load_values(f);
    ASSERT_EQ(v.size(), 9u);
    Bytes first;
    for (const Bytes &r : v) first.push_back(r[0]);
    EXPECT_EQ(first, (Bytes{0x00, 0x10, 0x10, 0x20, 0x30, 0x30, 0x40, 0x50, 0x50}));
    EXPECT_EQ(v[0], (Bytes{0x00, 0x03, 0x06}));
    // Only the height given: the width stays.
    QV_load_size_set(0, 2);
    v = load_values(f);
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[0].size(), 10u);
}

TEST_F(LoadOptions, RowMapAccumulatesTheStepInDoublePrecision) {
    // 30 rows to 3: ten additions of 0.1 stay below 1, so target row 0 is
    // source row 10 (a product would give row 9).
    Bmp b;
    b.width = 1, b.height = 30;
    for (int i = 0; i < 256; ++i) b.palette.push_back(uint32_t(i * 0x010101));
    for (int k = 0; k < 30; ++k) b.data.insert(b.data.end(), {uint8_t(29 - k), 0, 0, 0});
    QV_load_size_set(1, 3);
    EXPECT_EQ(load_values(b.bytes()), (std::vector<Bytes>{{10}, {19}, {29}}));
}

TEST_F(LoadOptions, RectangleThenSizeThenReduction) {
    Bmp b;
    b.width = 4, b.height = 4, b.bpp = 24;
    for (int k = 0; k < 4; ++k)
        for (int x = 0; x < 4; ++x) b.data.insert(b.data.end(), {uint8_t(x * 40), uint8_t(k * 50), 200});
    QV_load_rect_set(1, 0, 2, 2);   // columns 1..2, top two rows (file rows 3, 2)
    QV_load_size_set(4, 1);
    QV_load_color_reduction_set(4);
    std::vector<Bytes> v = load_values(b.bytes());
    // Row 1 of the crop (file row 2: G = 100); columns 1, 1, 2, 2.
    auto grey = [](int r, int g, int bl) { return uint8_t((299 * r + 587 * g + 114 * bl + 500) / 1000); };
    EXPECT_EQ(v, (std::vector<Bytes>{{grey(200, 100, 40), grey(200, 100, 40), grey(200, 100, 80),
                                      grey(200, 100, 80)}}));
}

TEST_F(LoadOptions, PixelLimitAppliesToTheTargetSize) {
    QV_load_pixel_limit_set(1000);
    QV_load_size_set(100, 11);
    size_t live = bmptest::live_blocks();
    int32_t n = 0;
    EXPECT_EQ(bmptest::load_mem(grid(10, 6), &n), nullptr);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_TOO_LARGE, 100, 11}}));
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

// ---- colour reduction ----------------------------------------------------

// Eight colours with their expected values under each mode.
struct Colour {
    uint8_t r, g, b;
    uint8_t grey, cube, vga;
};
const Colour kColours[8] = {
    {0, 0, 0, 0, 0, 0},         {255, 255, 255, 255, 251, 15}, {255, 0, 0, 76, 210, 9},
    {0, 128, 0, 75, 18, 2},     {200, 200, 200, 200, 255, 7},  {10, 100, 250, 90, 17, 12},
    {128, 128, 128, 128, 254, 8}, {51, 102, 153, 93, 57, 6},
};

// The eight colours as one row at the given depth.
Bytes colour_row_file(uint16_t bpp) {
    Bmp b;
    b.bpp = bpp;
    b.width = 8, b.height = 1;
    if (bpp <= 8) {
        for (const Colour &c : kColours) b.palette.push_back(uint32_t(c.r << 16 | c.g << 8 | c.b));
        b.palette.resize(size_t(1) << bpp, 0);
        if (bpp == 1) b.data = {0x55, 0, 0, 0};  // black, white, black, ...
        else if (bpp == 4) b.data = {0x01, 0x23, 0x45, 0x67};
        else b.data = {0, 1, 2, 3, 4, 5, 6, 7};
        return b.bytes();
    }
    for (const Colour &c : kColours) {
        if (bpp == 24) b.data.insert(b.data.end(), {c.b, c.g, c.r});
        else b.data.insert(b.data.end(), {c.b, c.g, c.r, 0});
    }
    return b.bytes();
}

struct ReductionCase {
    uint16_t source_bpp;
    int32_t mode;
    int32_t target_bpp;
};

class Reduction : public ::testing::TestWithParam<ReductionCase> {
protected:
    void TearDown() override { QV_load_color_reduction_set(0); }
};

TEST_P(Reduction, TargetDepthPaletteAndPixels) {
    const ReductionCase &c = GetParam();
    QV_load_color_reduction_set(c.mode);
    QUORIN h = bmptest::load_mem(colour_row_file(c.source_bpp));
    ASSERT_NE(h, nullptr) << ::testing::PrintToString(bmptest::stack());
    int32_t w, ht, bpp;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    EXPECT_EQ(bpp, c.target_bpp);
    Bytes got = values(h)[0];
    Bytes want;
    for (int i = 0; i < 8; ++i) {
        const Colour &k = kColours[i];
        bool reduces = c.mode == 4 || (c.mode == 1 && c.source_bpp > 1) ||
                       (c.mode == 2 && c.source_bpp > 4) || (c.mode == 3 && c.source_bpp > 8);
        switch (reduces ? c.mode : 0) {
        case 0: want.push_back(uint8_t(c.source_bpp == 1 ? i % 2 : i)); break;
        case 2: want.push_back(k.vga); break;
        case 3: want.push_back(k.cube); break;
        case 4: want.push_back(k.grey); break;
        }
    }
    if (c.mode != 4 && c.target_bpp == c.source_bpp && c.source_bpp > 8) {
        bmptest::Rgba im = bmptest::rgba_of(h);
        for (int i = 0; i < 8; ++i) EXPECT_EQ(im.at(i, 0)[0], kColours[i].r);
    } else if (c.mode != 1) {
        EXPECT_EQ(got, want);
    }
    QV_RGBQUAD *pal = nullptr;
    int32_t entries = 0;
    QV_image_DIB_palette_pntr_get(h, &pal, &entries);
    if (c.mode == 4) {
        ASSERT_EQ(entries, 256);
        EXPECT_EQ(pal[200].rgbRed, 200); EXPECT_EQ(pal[200].rgbGreen, 200); EXPECT_EQ(pal[200].rgbBlue, 200);
        int32_t grey = 0;
        QV_image_is_gray(h, &grey);
        EXPECT_EQ(grey, 1);
    } else if (c.mode == 3 && c.target_bpp == 8 && c.source_bpp > 8) {
        EXPECT_EQ(pal[57].rgbRed, 51); EXPECT_EQ(pal[57].rgbGreen, 85); EXPECT_EQ(pal[57].rgbBlue, 153);
        EXPECT_EQ(pal[253].rgbRed, 102); EXPECT_EQ(pal[253].rgbBlue, 102);
    } else if (c.mode == 2 && c.target_bpp == 4 && c.source_bpp > 4) {
        EXPECT_EQ(pal[7].rgbRed, 192); EXPECT_EQ(pal[12].rgbBlue, 255); EXPECT_EQ(pal[12].rgbRed, 0);
    } else if (c.mode == 1 && c.target_bpp == 1) {
        EXPECT_EQ(pal[0].rgbRed, 0); EXPECT_EQ(pal[1].rgbRed, 255); EXPECT_EQ(pal[1].rgbBlue, 255);
        EXPECT_EQ(got[0], 0);  // black stays black
        EXPECT_EQ(got[1], 1);  // white stays white
    }
    QV_image_delete(h);
}

INSTANTIATE_TEST_SUITE_P(
    Load, Reduction,
    ::testing::Values(
        // mode 1: above 1 bit -> 1 bit
        ReductionCase{4, 1, 1}, ReductionCase{8, 1, 1}, ReductionCase{24, 1, 1}, ReductionCase{32, 1, 1},
        // mode 2: above 4 bits -> 4 bits, VGA palette
        ReductionCase{1, 2, 1}, ReductionCase{4, 2, 4}, ReductionCase{8, 2, 4}, ReductionCase{24, 2, 4},
        ReductionCase{32, 2, 4},
        // mode 3: above 8 bits -> 8 bits, colour cube
        ReductionCase{4, 3, 4}, ReductionCase{8, 3, 8}, ReductionCase{24, 3, 8}, ReductionCase{32, 3, 8},
        // mode 4: always 8-bit grey
        ReductionCase{4, 4, 8}, ReductionCase{8, 4, 8}, ReductionCase{24, 4, 8}, ReductionCase{32, 4, 8}),
    [](const auto &info) {
        return "from" + std::to_string(info.param.source_bpp) + "_mode" + std::to_string(info.param.mode);
    });

// 1-bit sources: mode 1 keeps the palette as stored, mode 4 makes grey.
TEST_F(LoadOptions, OneBitSourceUnderModes1And4) {
    Bmp b;
    b.bpp = 1, b.width = 9, b.height = 1;
    b.palette = {0x0000FF, 0xFF0000};  // blue, red
    b.data = {0xA5, 0x80, 0, 0};
    QV_load_color_reduction_set(1);
    QUORIN h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr);
    QV_RGBQUAD *pal = nullptr;
    int32_t n = 0;
    QV_image_DIB_palette_pntr_get(h, &pal, &n);
    EXPECT_EQ(pal[0].rgbBlue, 255); EXPECT_EQ(pal[1].rgbRed, 255);
    EXPECT_EQ(values(h)[0], (Bytes{1, 0, 1, 0, 0, 1, 0, 1, 1}));
    QV_image_delete(h);
    QV_load_color_reduction_set(4);
    h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr);
    int32_t w, ht, bpp;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    EXPECT_EQ(bpp, 8);
    uint8_t blue = 29, red = 76;  // (114 * 255 + 500) / 1000, (299 * 255 + 500) / 1000
    EXPECT_EQ(values(h)[0], (Bytes{red, blue, red, blue, blue, red, blue, red, red}));
    QV_image_delete(h);
}

// 16-bit sources through their masks under each mode.
TEST_F(LoadOptions, SixteenBitSourceThroughItsMasks) {
    Bmp b;
    b.bpp = 16, b.width = 3, b.height = 1;
    b.data = {0x00, 0x7C, 0xFF, 0x7F, 0x00, 0x00, 0, 0};  // red, white, black (5-5-5)
    const Bytes want[5] = {{}, {1, 1, 0}, {9, 15, 0}, {210, 251, 0}, {76, 255, 0}};
    for (int mode = 1; mode <= 4; ++mode) {
        SCOPED_TRACE(mode);
        QV_load_color_reduction_set(mode);
        std::vector<Bytes> v = load_values(b.bytes());
        ASSERT_EQ(v.size(), 1u);
        if (mode == 1) {  // red diffuses to black, then white and black
            EXPECT_EQ(v[0], (Bytes{0, 1, 0}));
        } else {
            EXPECT_EQ(v[0], want[mode]);
        }
    }
}

// Error diffusion keeps the mean: a flat grey becomes about that share of
// white, spread over the rows.
TEST_F(LoadOptions, ErrorDiffusionKeepsTheMeanLevel) {
    for (uint8_t level : {64, 128, 191}) {
        Bmp b;
        b.bpp = 24, b.width = 64, b.height = 64;
        b.data.assign(64 * 64 * 3, level);
        QV_load_color_reduction_set(1);
        std::vector<Bytes> v = load_values(b.bytes());
        ASSERT_EQ(v.size(), 64u);
        int white = 0;
        for (const Bytes &r : v)
            for (uint8_t p : r) white += p;
        double share = white / 4096.0, want = level / 255.0;
        EXPECT_NEAR(share, want, 0.02) << int(level);
        for (const Bytes &r : {v[10], v[40]}) {  // no row is flat
            int row_white = 0;
            for (uint8_t p : r) row_white += p;
            EXPECT_GT(row_white, 0);
            EXPECT_LT(row_white, 64);
        }
    }
}

}  // namespace
