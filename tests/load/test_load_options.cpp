// Load options through the BMP reader: rectangle (clamped, shifted back inside), load size (row
// map by repeated double addition, nearest columns), every colour reduction mode on every
// source depth, the pixel limit on the target, and the option getters.
#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bmp;
using bmptest::Bytes;
using Rows = std::vector<Bytes>;

class LoadOptions : public ::testing::Test {
protected:
    void TearDown() override {
        QV_load_rect_set(0, 0, 0, 0);
        QV_load_size_set(0, 0);
        QV_load_color_reduction_set(0);
        QV_load_pixel_limit_set(0);
    }
};

std::vector<uint32_t> grey_ramp() {
    std::vector<uint32_t> p;
    for (int i = 0; i < 256; ++i) p.push_back(uint32_t(i * 0x010101));
    return p;
}

// w x h at 8 bits with a grey ramp palette; pixel (x, y) = y * 16 + x.
Bytes grid(int32_t w, int32_t h) {
    Bmp b{.width = w, .height = h, .palette = grey_ramp()};
    size_t stride = bmptest::stride_of(w, 8);
    b.data.assign(stride * h, 0);
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x)
            b.data[size_t(h - 1 - y) * stride + x] = uint8_t(y * 16 + x);
    return b.bytes();
}

using bmptest::values;

Rows load_values(const Bytes &file) {
    QUORIN h = bmptest::load_mem(file);
    EXPECT_NE(h, nullptr) << ::testing::PrintToString(qvtest::stack());
    if (!h) return {};
    Rows v = values(h);
    QV_image_delete(h);
    return v;
}

TEST_F(LoadOptions, SizeInForceWithEitherValueAndRefusedValuesNotStored) {
    int32_t a = -1, b = -1, f = -1;
    using V = std::vector<int32_t>;
    ASSERT_EQ(QV_load_size_set(0, 7), 0);
    EXPECT_FAILS(QV_load_size_set(4, -2), {QVE_OUT_OF_RANGE, -2, 0});
    EXPECT_EQ((V{QV_load_size_get(&a, &b, &f), a, b, f, QV_load_rect_set(-1, 0, 1, 1)}),
              (V{0, 0, 7, 1, 1}));
}

// Rows y0.. and columns x0.. of grid().
Rows part(int x0, int y0, int w, int h) {
    Rows r(static_cast<size_t>(h));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) r[size_t(y)].push_back(uint8_t((y0 + y) * 16 + x0 + x));
    return r;
}

TEST_F(LoadOptions, RectangleIsClampedAndShiftedInside) {
    Bytes f = grid(10, 6);
    QV_load_rect_set(8, 4, 5, 3);  // past the right and bottom edges: shifted back to 5..9, 3..5
    EXPECT_EQ(load_values(f), part(5, 3, 5, 3));
    QV_load_rect_set(3, 2, 50, 40);  // larger than the image: the whole image
    EXPECT_EQ(load_values(f), part(0, 0, 10, 6));
    QV_load_rect_set(4, 1, 0, 2);  // width 0: the whole width, rows 1..2
    EXPECT_EQ(load_values(f), part(0, 1, 10, 2));
    QV_load_rect_set(2, 1, 2, 2);  // inside the image: taken as it is
    EXPECT_EQ(load_values(f), part(2, 1, 2, 2));
}

TEST_F(LoadOptions, SizeShrinksAndEnlargesThroughTheRowMap) {
    Bytes f = grid(10, 6);
    QV_load_size_set(4, 3);  // rows 1, 3, 5; columns 0, 2, 5, 7
    EXPECT_EQ(load_values(f),
              (Rows{{0x10, 0x12, 0x15, 0x17}, {0x30, 0x32, 0x35, 0x37}, {0x50, 0x52, 0x55, 0x57}}));
    QV_load_size_set(3, 9);  // step 1.5: rows 0,1,1,2,3,3,4,5,5; columns 0, 3, 6
    Rows nine;
    for (int y : {0, 1, 1, 2, 3, 3, 4, 5, 5})
        nine.push_back({uint8_t(y * 16), uint8_t(y * 16 + 3), uint8_t(y * 16 + 6)});
    EXPECT_EQ(load_values(f), nine);
    QV_load_size_set(0, 2);  // only the height given: the width stays
    Rows v = load_values(f);
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[0].size(), 10u);
    // 30 rows to 3: ten additions of 0.1 stay below 1, so target row 0 is source row 10 (a
    // product would give row 9).
    Bmp tall{.width = 1, .height = 30, .palette = grey_ramp()};
    for (int k = 0; k < 30; ++k) tall.data.insert(tall.data.end(), {uint8_t(29 - k), 0, 0, 0});
    QV_load_size_set(1, 3);
    EXPECT_EQ(load_values(tall.bytes()), (Rows{{10}, {19}, {29}}));
}

uint8_t grey(int r, int g, int b) { return uint8_t((299 * r + 587 * g + 114 * b + 500) / 1000); }

TEST_F(LoadOptions, RectangleThenSizeThenReductionAndThePixelLimitOnTheTarget) {
    Bmp b{.width = 4, .height = 4, .bpp = 24};
    for (int k = 0; k < 4; ++k)
        for (int x = 0; x < 4; ++x)
            b.data.insert(b.data.end(), {uint8_t(x * 40), uint8_t(k * 50), 200});
    QV_load_rect_set(1, 0, 2, 2);  // columns 1..2, top two rows (file rows 3, 2)
    QV_load_size_set(4, 1);
    QV_load_color_reduction_set(4);
    // Row 1 of the crop (file row 2: G = 100); columns 1, 1, 2, 2.
    EXPECT_EQ(load_values(b.bytes()), (Rows{{grey(200, 100, 40), grey(200, 100, 40),
                                             grey(200, 100, 80), grey(200, 100, 80)}}));
    QV_load_rect_set(0, 0, 0, 0);
    QV_load_pixel_limit_set(1000);
    QV_load_size_set(100, 11);
    size_t live = bmptest::live_blocks();
    EXPECT_EQ(bmptest::load_mem(grid(10, 6)), nullptr);
    EXPECT_STACK({QVE_TOO_LARGE, 100, 11});
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

// ---- colour reduction ----------------------------------------------------

// Eight colours with their expected values under each mode.
struct Colour {
    uint8_t r, g, b;
    uint8_t grey, cube, vga;
};
const Colour kColours[8] = {
    {0, 0, 0, 0, 0, 0},           {255, 255, 255, 255, 251, 15}, {255, 0, 0, 76, 210, 9},
    {0, 128, 0, 75, 18, 2},       {200, 200, 200, 200, 255, 7},  {10, 100, 250, 90, 17, 12},
    {128, 128, 128, 128, 254, 8}, {51, 102, 153, 93, 57, 6},
};

// The eight colours as one row at the given depth.
Bytes colour_row_file(uint16_t bpp) {
    Bmp b{.width = 8, .height = 1, .bpp = bpp};
    if (bpp <= 8) {
        for (const Colour &c : kColours) b.palette.push_back(uint32_t(c.r << 16 | c.g << 8 | c.b));
        b.palette.resize(size_t(1) << bpp, 0);
        b.data = bpp == 1 ? Bytes{0x55, 0, 0, 0}  // black, white, black, ...
                 : bpp == 4 ? Bytes{0x01, 0x23, 0x45, 0x67}
                            : Bytes{0, 1, 2, 3, 4, 5, 6, 7};
        return b.bytes();
    }
    for (const Colour &c : kColours) {
        b.data.insert(b.data.end(), {c.b, c.g, c.r});
        if (bpp == 32) b.data.push_back(0);
    }
    return b.bytes();
}

TEST_F(LoadOptions, ReductionTargetDepthPaletteAndPixels) {
    // Mode 1: above 1 bit -> 1 bit; 2: above 4 bits -> 4 bits, VGA palette; 3: above 8 bits ->
    // 8 bits, colour cube; 4: always 8-bit grey.
    const struct {
        uint16_t source_bpp;
        int32_t mode, target_bpp;
    } cases[] = {{4, 1, 1}, {8, 1, 1}, {24, 1, 1}, {32, 1, 1}, {1, 2, 1},  {4, 2, 4},
                 {8, 2, 4}, {24, 2, 4}, {32, 2, 4}, {4, 3, 4}, {8, 3, 8},  {24, 3, 8},
                 {32, 3, 8}, {4, 4, 8}, {8, 4, 8},  {24, 4, 8}, {32, 4, 8}};
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::Message() << "from " << c.source_bpp << " mode " << c.mode);
        QV_load_color_reduction_set(c.mode);
        QUORIN h = bmptest::load_mem(colour_row_file(c.source_bpp));
        ASSERT_NE(h, nullptr) << ::testing::PrintToString(qvtest::stack());
        EXPECT_EQ(qvtest::dims(h)[2], c.target_bpp);
        Bytes got = values(h)[0], want;
        bool reduces = c.mode == 4 || (c.mode == 1 && c.source_bpp > 1) ||
                       (c.mode == 2 && c.source_bpp > 4) || (c.mode == 3 && c.source_bpp > 8);
        for (int i = 0; i < 8; ++i) {
            const Colour &k = kColours[i];
            int mode = reduces ? c.mode : 0;
            want.push_back(mode == 2 ? k.vga : mode == 3 ? k.cube : mode == 4 ? k.grey
                           : uint8_t(c.source_bpp == 1 ? i % 2 : i));
        }
        if (c.mode != 4 && c.target_bpp == c.source_bpp && c.source_bpp > 8) {
            bmptest::Rgba im = bmptest::rgba_of(h);
            for (int i = 0; i < 8; ++i) EXPECT_EQ(im.at(i, 0)[0], kColours[i].r);
        } else if (c.mode != 1) {
            EXPECT_EQ(got, want);
        }
        QV_RGBQUAD *pal = nullptr;
        int32_t entries = 0, is_grey = 0;
        QV_image_DIB_palette_pntr_get(h, &pal, &entries);
        using E = std::vector<int>;
        auto entry = [&](int i) { return E{pal[i].rgbRed, pal[i].rgbGreen, pal[i].rgbBlue}; };
        if (c.mode == 4) {
            ASSERT_EQ(entries, 256);
            EXPECT_EQ(entry(200), (E{200, 200, 200}));
            QV_image_is_gray(h, &is_grey);
            EXPECT_EQ(is_grey, 1);
        } else if (c.mode == 3 && c.target_bpp == 8 && c.source_bpp > 8) {
            EXPECT_EQ(entry(57), (E{51, 85, 153}));
            EXPECT_EQ((E{pal[253].rgbRed, pal[253].rgbBlue}), (E{102, 102}));
        } else if (c.mode == 2 && c.target_bpp == 4 && c.source_bpp > 4) {
            EXPECT_EQ(entry(7), (E{192, 192, 192}));
            EXPECT_EQ(entry(12), (E{0, 0, 255}));
        } else if (c.mode == 1 && c.target_bpp == 1) {
            EXPECT_EQ(entry(0), (E{0, 0, 0}));
            EXPECT_EQ(entry(1), (E{255, 255, 255}));
            EXPECT_EQ((E{got[0], got[1]}), (E{0, 1}));  // black stays black, white white
        }
        QV_image_delete(h);
    }
}

TEST_F(LoadOptions, OneBitSourceUnderModes1And4) {
    // Mode 1 keeps the palette as stored, mode 4 makes grey.
    Bmp b{.width = 9, .height = 1, .bpp = 1, .palette = {0x0000FF, 0xFF0000}};  // blue, red
    b.data = {0xA5, 0x80, 0, 0};
    QV_load_color_reduction_set(1);
    QUORIN h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr);
    QV_RGBQUAD *pal = nullptr;
    int32_t n = 0;
    QV_image_DIB_palette_pntr_get(h, &pal, &n);
    EXPECT_EQ(pal[0].rgbBlue, 255);
    EXPECT_EQ(pal[1].rgbRed, 255);
    EXPECT_EQ(values(h)[0], (Bytes{1, 0, 1, 0, 0, 1, 0, 1, 1}));
    QV_image_delete(h);
    QV_load_color_reduction_set(4);
    h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(qvtest::dims(h)[2], 8);
    uint8_t blue = grey(0, 0, 255), red = grey(255, 0, 0);  // 29, 76
    EXPECT_EQ(values(h)[0], (Bytes{red, blue, red, blue, blue, red, blue, red, red}));
    QV_image_delete(h);
}

TEST_F(LoadOptions, SixteenBitSourceThroughItsMasks) {
    Bmp b{.width = 3, .height = 1, .bpp = 16};
    b.data = {0x00, 0x7C, 0xFF, 0x7F, 0x00, 0x00, 0, 0};  // red, white, black (5-5-5)
    // Mode 1: red diffuses to black, then white and black.
    const Bytes want[5] = {{}, {0, 1, 0}, {9, 15, 0}, {210, 251, 0}, {76, 255, 0}};
    for (int mode = 1; mode <= 4; ++mode) {
        QV_load_color_reduction_set(mode);
        EXPECT_EQ(load_values(b.bytes()), Rows{want[mode]}) << mode;
    }
}

// Error diffusion keeps the mean: a flat grey becomes about that share of white, spread over
// the rows.
TEST_F(LoadOptions, ErrorDiffusionKeepsTheMeanLevel) {
    for (uint8_t level : {64, 128, 191}) {
        Bmp b{.width = 64, .height = 64, .bpp = 24};
        b.data.assign(64 * 64 * 3, level);
        QV_load_color_reduction_set(1);
        Rows v = load_values(b.bytes());
        ASSERT_EQ(v.size(), 64u);
        int white = 0;
        for (const Bytes &r : v)
            for (uint8_t p : r) white += p;
        EXPECT_NEAR(white / 4096.0, level / 255.0, 0.02) << int(level);
        for (const Bytes &r : {v[10], v[40]}) {  // no row is flat
            int row_white = 0;
            for (uint8_t p : r) row_white += p;
            EXPECT_GT(row_white, 0);
            EXPECT_LT(row_white, 64);
        }
    }
}

}  // namespace
