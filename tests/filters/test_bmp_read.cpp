// The BMP reader on crafted files: every header size and depth, bit fields,
// top-down rows, RLE codes, bare DIBs (both byte orders and the library's
// own compressions), bitmap arrays, header information, and the exact code
// of each refusal.
#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bmp;
using bmptest::Bytes;
using bmptest::Err;
using Argb = std::vector<uint32_t>;

uint32_t pal_color(int i) { return uint32_t((i * 10) << 16 | (255 - i) << 8 | i); }
uint32_t opaque(uint32_t rgb) { return 0xFF000000u | rgb; }

// 4 x 2 at 8 bits: bottom row 0 1 2 3, top row 4 5 6 7.
Bmp eight_bit(uint32_t header_size = 40) {
    Bmp b{.header_size = header_size, .data = {0, 1, 2, 3, 4, 5, 6, 7}};
    for (int i = 0; i < 256; ++i) b.palette.push_back(pal_color(i));
    return b;
}
Bytes with(Bmp b, void (*edit)(Bmp &)) {
    edit(b);
    return b.bytes();
}
QV_DIB_HEADER *as_dib(Bytes &b) { return reinterpret_cast<QV_DIB_HEADER *>(b.data()); }

// Row y of an image as A R G B words.
Argb argb_row(QUORIN h, int32_t y) {
    const bmptest::Rgba im = bmptest::rgba_of(h);
    Argb v;
    for (int32_t x = 0; x < im.width; ++x) {
        const uint8_t *p = im.at(x, y);
        v.push_back(uint32_t(p[3]) << 24 | p[0] << 16 | p[1] << 8 | p[2]);
    }
    return v;
}

// Pixel (x, y) of a file loaded from memory.
uint32_t pixel(const Bytes &file, int32_t x, int32_t y) {
    QUORIN h = bmptest::load_mem(file);
    EXPECT_NE(h, nullptr) << ::testing::PrintToString(qvtest::stack());
    const uint32_t v = h ? argb_row(h, y)[size_t(x)] : 0;
    QV_image_delete(h);
    return v;
}

class HeaderSize : public ::testing::TestWithParam<uint32_t> {};

TEST_P(HeaderSize, EveryInfoHeaderGivesTheSameImage) {
    QUORIN h = bmptest::load_mem(eight_bit(GetParam()).bytes());
    ASSERT_NE(h, nullptr) << ::testing::PrintToString(qvtest::stack());
    EXPECT_EQ(bmptest::rgba_of(h).bpp, 8);
    for (int32_t y : {0, 1}) {
        Argb want;
        for (int i = 0; i < 4; ++i) want.push_back(opaque(pal_color(4 * (1 - y) + i)));
        EXPECT_EQ(argb_row(h, y), want);
    }
    QV_image_delete(h);
}
INSTANTIATE_TEST_SUITE_P(Bmp, HeaderSize,
                         ::testing::Values(12u, 16u, 40u, 52u, 56u, 64u, 108u, 124u));

struct DepthCase {
    const char *name;
    uint32_t header_size;
    uint16_t bpp;
    uint32_t compression;
    int32_t width;
    std::vector<uint32_t> masks, palette;
    Bytes row;          // one row, padded
    int32_t image_bpp;  // depth of the image made
    Argb argb;          // expected pixels
};

class Depth : public ::testing::TestWithParam<DepthCase> {};

TEST_P(Depth, PixelsAsStored) {
    const DepthCase &c = GetParam();
    QUORIN h = bmptest::load_mem(Bmp{.header_size = c.header_size, .width = c.width, .height = 1,
                                     .bpp = c.bpp, .compression = c.compression, .masks = c.masks,
                                     .palette = c.palette, .data = c.row}
                                     .bytes());
    ASSERT_NE(h, nullptr) << ::testing::PrintToString(qvtest::stack());
    EXPECT_EQ(bmptest::rgba_of(h).bpp, c.image_bpp);
    EXPECT_EQ(argb_row(h, 0), c.argb);
    QV_image_delete(h);
}

const uint32_t kR = 0xFF0000, kG = 0x00FF00, kB = 0x0000FF, kA = 0xFF000000;
INSTANTIATE_TEST_SUITE_P(
    Bmp, Depth,
    ::testing::Values(
        DepthCase{"bits1", 40, 1, 0, 10, {}, {0, kR}, {0xB0, 0x40, 0, 0}, 1,
                  {kA | kR, kA, kA | kR, kA | kR, kA, kA, kA, kA, kA, kA | kR}},
        DepthCase{"bits2", 40, 2, 0, 5, {}, {0, 0x112233, 0x445566, 0x778899}, {0x1B, 0xC0, 0, 0},
                  4, {kA, 0xFF112233, 0xFF445566, 0xFF778899, 0xFF778899}},
        DepthCase{"bits4", 40, 4, 0, 3, {}, {0, 0x010101, 0x020202, 0x030303}, {0x12, 0x30, 0, 0},
                  4, {0xFF010101, 0xFF020202, 0xFF030303}},
        DepthCase{"rgb555", 40, 16, 0, 3, {}, {}, {0x00, 0x7C, 0xE0, 0x03, 0x10, 0x00, 0, 0}, 16,
                  {kA | kR, kA | kG, 0xFF000083}},
        DepthCase{"rgb565", 40, 16, 3, 3, {0xF800, 0x07E0, 0x001F}, {},
                  {0x00, 0xF8, 0xE0, 0x07, 0x21, 0x08, 0, 0}, 16, {kA | kR, kA | kG, 0xFF080408}},
        DepthCase{"rgba4444", 108, 16, 3, 1, {0x0F00, 0x00F0, 0x000F, 0xF000}, {},
                  {0x21, 0x8F, 0, 0}, 32, {0x88FF2211}},
        DepthCase{"bgr24", 40, 24, 0, 2, {}, {}, {1, 2, 3, 4, 5, 6, 0, 0}, 24,
                  {0xFF030201, 0xFF060504}},
        DepthCase{"bgrx32", 40, 32, 0, 2, {}, {}, {1, 2, 3, 4, 5, 6, 7, 8}, 32,
                  {0x04030201, 0x08070605}},
        DepthCase{"fields32", 40, 32, 3, 1, {kR, kG, kB}, {}, {1, 2, 3, 0}, 32, {0x00030201}},
        DepthCase{"rgba32", 56, 32, 3, 2, {kB, kG, kR, kA}, {}, {1, 2, 3, 4, 9, 8, 7, 6}, 32,
                  {0x04010203, 0x06090807}},
        DepthCase{"alphafields32", 40, 32, 6, 1, {kA, kR, kG, kB}, {}, {1, 2, 3, 4}, 32,
                  {0x01040302}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(BmpRead, TopDownRowsMakeTheSameImage) {
    Bmp down = eight_bit();
    down.height = -2;
    down.data = {4, 5, 6, 7, 0, 1, 2, 3};
    QUORIN a = bmptest::load_mem(eight_bit().bytes()), b = bmptest::load_mem(down.bytes());
    ASSERT_TRUE(a && b);
    EXPECT_TRUE(bmptest::rgba_of(a).px == bmptest::rgba_of(b).px);
    QV_image_delete(a);
    QV_image_delete(b);
}

// 1-bit rows are kept as runs: from a buffer that ends with the last pixel
// byte (no padding after it), rows in either order, from memory and from a
// file, the image holds exactly the pixels (padding bits of the file
// dropped), across many chunks of rows, with white and repeated rows; a
// repeated row can be rewritten alone.
TEST(BmpRead, OneBitRowsFromMemoryAndFileAlike) {
    const int32_t w = 1001, h = 700;
    const size_t stride = bmptest::stride_of(w, 1), last = (w + 7) / 8;
    std::mt19937 rng(1001);
    std::vector<Bytes> rows(h, Bytes(stride));  // top row first, padding bits random
    for (size_t y = 0; y < rows.size(); ++y) {
        if (y % 7 == 3 || y % 7 == 4 || y % 7 == 5) {
            rows[y] = rows[y - 1];  // repeated rows, as text has them
            if (y % 7 == 5) rows[y][last - 1] ^= 1, rows[y][stride - 1] ^= 1;  // but for padding bits
            continue;
        }
        if (y % 50 < 5) continue;  // white
        for (size_t i = 0; i < stride; ++i) rows[y][i] = (rng() % 3) ? 0 : uint8_t(rng());
    }
    for (bool top_down : {false, true}) {
        Bmp b{.width = w, .height = top_down ? -h : h, .bpp = 1, .palette = {0xFFFFFF, 0}};
        for (int32_t i = 0; i < h; ++i) {
            const Bytes &r = rows[size_t(top_down ? i : h - 1 - i)];
            b.data.insert(b.data.end(), r.begin(), r.end());
        }
        Bytes file = b.bytes();
        file.resize(file.size() - (stride - last));
        bmptest::put32(file, 2, uint32_t(file.size()));
        std::string path = qvtest::temp_path("onebit_rows.bmp");
        ASSERT_TRUE(qvtest::write_file(path, file));
        QUORIN from_file = nullptr;
        ASSERT_EQ(QV_load_file(path.c_str(), &from_file), 0);
        QUORIN from_mem = bmptest::load_mem(file);
        ASSERT_NE(from_mem, nullptr) << ::testing::PrintToString(qvtest::stack());
        for (int32_t y = 0; y < h; ++y) {
            Bytes want = rows[size_t(y)];
            want[last - 1] &= uint8_t(0xFF << (8 * last - w));
            std::fill(want.begin() + long(last), want.end(), 0);
            ASSERT_EQ(bmptest::raw_row(from_mem, y), want) << "row " << y << (top_down ? " top-down" : "");
            ASSERT_EQ(bmptest::raw_row(from_file, y), want) << "row " << y << (top_down ? " top-down" : "");
        }
        // A repeated row rewritten (with fewer changes) leaves the rows it
        // repeats alone, in the image and in a copy of it.
        QUORIN copy = nullptr;
        ASSERT_EQ(QV_image_duplicate(from_mem, &copy), 0);
        Bytes dot(stride, 0);
        dot[0] = 0x40;
        const int32_t y = 7 * 20 + (top_down ? 3 : 4);  // rows y - 1, y, y + 1 alike
        ASSERT_EQ(bmptest::raw_row(from_mem, y - 1), bmptest::raw_row(from_mem, y));
        for (QUORIN img : {from_mem, copy}) {
            const Bytes was = bmptest::raw_row(img, y);
            ASSERT_EQ(QV_DIB_raster_set(img, y, dot.data(), 1), 0);
            EXPECT_EQ(bmptest::raw_row(img, y), dot);
            EXPECT_EQ(bmptest::raw_row(img, y - 1), was);
            EXPECT_EQ(bmptest::raw_row(img, y + 1), was);
        }
        QV_image_delete(copy);
        QV_image_delete(from_file);
        QV_image_delete(from_mem);
        std::remove(path.c_str());
    }
}

// ---- RLE ---------------------------------------------------------------------

struct RleCase {
    const char *name;
    uint16_t bpp;
    int32_t w, h;
    Bytes codes;
    std::vector<Bytes> rows;  // palette indices, top row first
};

class Rle : public ::testing::TestWithParam<RleCase> {};

TEST_P(Rle, DecodesToIndices) {
    const RleCase &c = GetParam();
    Bmp b{.width = c.w, .height = c.h, .bpp = c.bpp, .compression = c.bpp == 8 ? 1u : 2u,
          .data = c.codes};
    for (int i = 0; i < (1 << c.bpp); ++i) b.palette.push_back(pal_color(i));
    QUORIN h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr) << ::testing::PrintToString(qvtest::stack());
    EXPECT_EQ(bmptest::values(h), c.rows);
    QV_image_delete(h);
}

INSTANTIATE_TEST_SUITE_P(
    Bmp, Rle,
    ::testing::Values(
        // Rows bottom-up: runs and an absolute run (padded); a run then a
        // move of 2 right and 1 down; 10 pixels where 1 fits; end of line; end.
        RleCase{"Rle8RunsAbsoluteDeltaEndOfLineAndBitmap", 8, 6, 4,
                {3, 7, 0, 3, 1, 2, 3, 0, 0, 0, 2, 5, 0, 2, 2, 1, 2, 9, 10, 4, 0, 0, 0, 1},
                {{0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 9, 9}, {5, 5, 0, 0, 0, 0}, {7, 7, 7, 1, 2, 3}}},
        RleCase{"Rle8WithoutEndCode", 8, 3, 2, {2, 4}, {{0, 0, 0}, {4, 4, 0}}},
        // A move far below the image ends it; nothing is written outside.
        RleCase{"Rle8MovePastTheLastRow", 8, 3, 2, {1, 6, 0, 2, 0, 200, 3, 9},
                {{0, 0, 0}, {6, 0, 0}}},
        RleCase{"Rle8AbsoluteRunCutShort", 8, 4, 1, {0, 4, 1, 2}, {{1, 2, 0, 0}}},
        RleCase{"Rle4NibbleRunsAndAbsoluteRuns", 4, 5, 2,
                {5, 0x12, 0, 0, 0, 3, 0x34, 0x50, 0, 0, 0, 1}, {{3, 4, 5, 0, 0}, {1, 2, 1, 2, 1}}}),
    [](const auto &info) { return std::string(info.param.name); });

// ---- refusals ----------------------------------------------------------------

struct Refusal {
    const char *name;
    Bytes file;
    Err err;
};

std::vector<Refusal> refusals() {
    Bytes truncated = eight_bit().bytes(), short_palette = truncated;
    truncated.resize(truncated.size() - 3);
    short_palette.resize(14 + 40 + 10);
    auto edit = [](void (*f)(Bmp &)) { return with(eight_bit(), f); };
    return {
        {"short_file_header", {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {QVE_SHORT_HEADER, 14, 12}},
        {"header_size_66", edit([](Bmp &b) { b.header_size = 66; }),
         {QVE_UNSUPPORTED_VARIANT, 66, 0}},
        {"width_0", edit([](Bmp &b) { b.width = 0; }), {QVE_BAD_HEADER, 0, 2}},
        {"height_0", edit([](Bmp &b) { b.height = 0; }), {QVE_BAD_HEADER, 4, 0}},
        {"depth_3", edit([](Bmp &b) { b.bpp = 3; }), {QVE_DEPTH_UNSUPPORTED, 3, 0}},
        {"jpeg_inside", edit([](Bmp &b) { b.bpp = 24, b.compression = 4; }),
         {QVE_UNSUPPORTED_VARIANT, 4, 24}},
        {"rle8_at_4_bits", edit([](Bmp &b) { b.bpp = 4, b.compression = 1; }),
         {QVE_UNSUPPORTED_VARIANT, 1, 4}},
        {"os2_huffman", with(eight_bit(64), [](Bmp &b) { b.bpp = 1, b.compression = 3; }),
         {QVE_UNSUPPORTED_VARIANT, 3, 1}},
        {"pixels_truncated", truncated, {QVE_SHORT_READ, 8, 5}},
        {"palette_truncated", short_palette, {QVE_READ_PALETTE, 1024, 10}},
    };
}

class Refused : public ::testing::TestWithParam<Refusal> {};

TEST_P(Refused, CodeValuesAndNothingLeft) {
    qvtest::NoLeaks leaks;
    int32_t n = -1;
    EXPECT_EQ(bmptest::load_mem(GetParam().file, &n), nullptr);
    EXPECT_EQ(n, 1);
    EXPECT_STACK(GetParam().err);
}
INSTANTIATE_TEST_SUITE_P(Bmp, Refused, ::testing::ValuesIn(refusals()),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(BmpRead, PixelLimitRefusesBeforeAllocating) {
    ASSERT_EQ(QV_load_pixel_limit_set(199), 0);
    const Bytes f = Bmp{.width = 20, .height = 10, .bpp = 24, .data = Bytes(60 * 10, 7)}.bytes();
    const size_t live = bmptest::live_blocks();
    EXPECT_EQ(bmptest::load_mem(f), nullptr);
    EXPECT_STACK({QVE_TOO_LARGE, 20, 10});
    EXPECT_EQ(iQV_mem_live_blocks(), live);
    ASSERT_EQ(QV_load_pixel_limit_set(200), 0);
    EXPECT_NE(pixel(f, 0, 0), 0u);
    uint64_t limit = 0;  // 0 puts the default back
    EXPECT_EQ((std::vector<int64_t>{QV_load_pixel_limit_set(0), QV_load_pixel_limit_get(&limit)}),
              (std::vector<int64_t>{0, 0}));
    EXPECT_EQ(limit, uint64_t(1) << 28);
}

// ---- offsets, palettes and bare DIBs -------------------------------------------

TEST(BmpRead, PaletteAndPixelsWhereTheOffsetsPutThem) {
    // A bits offset pointing at the palette's start: the pixels follow it.
    Bmp b = eight_bit();
    b.off_bits = 54;
    Bytes f = b.bytes();
    f.resize(54 + 1024);
    f.insert(f.end(), b.data.begin(), b.data.end());
    EXPECT_EQ(pixel(f, 3, 0), opaque(pal_color(7)));
    // An OS/2 palette of 10 entries, ended by the bits offset.
    b = eight_bit(12);
    b.palette.resize(10);
    b.data[0] = 9;
    EXPECT_EQ(pixel(b.bytes(), 0, 1), opaque(pal_color(9)));
    EXPECT_EQ(pixel(b.bytes(), 0, 0), opaque(pal_color(4)));
    // Resolution goes to the image.
    b = eight_bit();
    b.xppm = 3780, b.yppm = 1890;
    QUORIN h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr);
    QV_DIB_HEADER *dib = nullptr;
    QV_image_DIB_pntr_get(h, &dib);
    EXPECT_EQ(dib->biXPelsPerMeter, 3780);
    EXPECT_EQ(dib->biYPelsPerMeter, 1890);
    QV_image_delete(h);
}

TEST(BmpRead, BareDibInEitherByteOrder) {
    Bytes f = with(eight_bit(), [](Bmp &b) { b.file_header = false; });
    EXPECT_EQ(pixel(f, 1, 0), opaque(pal_color(5)));
    auto swap = [&](size_t at, int n) { std::reverse(&f[at], &f[at] + n); };
    for (size_t at : {0, 4, 8, 16, 20, 24, 28, 32, 36}) swap(at, 4);
    swap(12, 2), swap(14, 2);
    for (size_t at = 40; at < 40 + 1024; at += 4) swap(at, 4);  // 0x00RRGGBB words
    EXPECT_EQ(pixel(f, 1, 0), opaque(pal_color(5)));
}

// An image made by QV_image_create_DIB from the DIB (header, masks,
// palette, pixels) that `b` describes.
QUORIN from_dib(Bmp b) {
    b.file_header = false;
    Bytes dib = b.bytes();
    QUORIN h = nullptr;
    EXPECT_EQ(QV_image_create_DIB(b.width, b.height, b.bpp, as_dib(dib), &h), 0)
        << ::testing::PrintToString(qvtest::stack());
    return h;
}

TEST(BmpRead, BareDibPaletteByColourCountOrByLibraryRule) {
    // From elsewhere: a colour count of 16 and 16 entries before the pixels.
    Bmp b = eight_bit();
    b.file_header = false, b.colors_used = 16, b.data[0] = 15;
    b.palette.resize(16);
    EXPECT_EQ(pixel(b.bytes(), 0, 1), opaque(pal_color(15)));
    // Made by the library rules: 256 entries whatever the colour count says.
    b = eight_bit();
    b.colors_used = 16, b.data[0] = 200;
    QUORIN h = from_dib(b);
    EXPECT_EQ(argb_row(h, 1)[0], opaque(pal_color(200)));
    QV_image_delete(h);
}

TEST(BmpRead, ImageFromADibPointerKeepsMasksAndPixels) {
    const Bmp b{.width = 2, .height = 2, .bpp = 16, .compression = 3,
                .masks = {0xF800, 0x07E0, 0x1F},
                .data = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}, .file_header = false};
    QUORIN h = from_dib(b);
    QV_DIB_HEADER *copy = nullptr;
    QV_image_DIB_pntr_get(h, &copy);
    EXPECT_EQ(copy->biCompression, 3u);
    EXPECT_EQ(0, std::memcmp(reinterpret_cast<uint8_t *>(copy) + 40, b.bytes().data() + 40, 20));
    QV_image_delete(h);
}

TEST(BmpRead, LibraryDibForms500_503_504) {
    // 500: two rows as run lists of 16-bit words, top first: (8,w,w,w) all
    // white, then one change at 2 (black from column 2 on).
    QUORIN h = from_dib({.width = 5, .height = 2, .bpp = 1, .compression = 500,
                         .palette = {0, 0xFFFFFF},
                         .data = {8, 0, 5, 0, 5, 0, 5, 0, 10, 0, 2, 0, 5, 0, 5, 0, 5, 0}});
    EXPECT_EQ(bmptest::raw_row(h, 0)[0], 0x00);
    EXPECT_EQ(bmptest::raw_row(h, 1)[0], 0x38);
    QV_image_delete(h);

    // 503: a duplicate keeps the single-channel layout and values.
    QUORIN g = nullptr, d = nullptr;
    ASSERT_EQ(QV_image_create_DIB_ex(3, 2, 16, 503, nullptr, &g), 0);
    const Bytes row = {0x34, 0x12, 0xFF, 0xFF, 0x00, 0x80, 0, 0};
    QV_DIB_raster_set(g, 1, row.data(), 1);
    ASSERT_EQ(QV_image_duplicate(g, &d), 0) << ::testing::PrintToString(qvtest::stack());
    QV_DIB_HEADER *dd = nullptr;
    QV_image_DIB_pntr_get(d, &dd);
    EXPECT_EQ(dd->biCompression, 503u);
    EXPECT_EQ(bmptest::raw_row(d, 1), row);
    QV_image_delete(g);
    QV_image_delete(d);

    // 504: 16-bit indices into a 65,536-entry palette after the masks.
    Bmp wide{.width = 2, .height = 1, .bpp = 16, .compression = 504, .masks = {0, 0, 0},
             .palette = std::vector<uint32_t>(65536), .data = {0x34, 0x12, 0, 0}};
    wide.palette[0x1234] = 0xABCDEF;
    h = from_dib(wide);
    EXPECT_EQ(argb_row(h, 0)[0], opaque(0xABCDEF));
    QV_image_delete(h);
}

// ---- arrays, information, page count --------------------------------------------

Bytes array_of(const std::vector<Bmp> &images) {
    Bytes f;
    for (size_t i = 0; i < images.size(); ++i) {
        Bytes one = images[i].bytes(), ba(14, 0);
        const size_t entry = f.size();
        ba[0] = 'B', ba[1] = 'A';
        bmptest::put32(ba, 2, 14 + uint32_t(one.size()));
        if (i + 1 < images.size()) bmptest::put32(ba, 6, uint32_t(entry + 14 + one.size()));
        // The bits offset inside an array counts from the start of the file.
        bmptest::put32(one, 10, uint32_t(entry + 14) + (one[10] | one[11] << 8));
        f.insert(f.end(), ba.begin(), ba.end());
        f.insert(f.end(), one.begin(), one.end());
    }
    return f;
}

TEST(BmpRead, BitmapArrayPagesAndCount) {
    Bmp b = eight_bit();
    b.data = {9, 9, 9, 9, 8, 8, 8, 8};
    const Bytes f = array_of({eight_bit(12), b});
    int32_t pages = 0, n = 0;
    ASSERT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 2);
    for (int32_t page : {1, 2}) {
        QUORIN h = bmptest::load_mem(f, &n, page);
        ASSERT_EQ(n, 0) << page;
        EXPECT_EQ(bmptest::raw_row(h, 0)[0], page == 1 ? 4 : 8);
        QV_image_delete(h);
    }
    EXPECT_EQ(bmptest::load_mem(f, &n, 3), nullptr);
    EXPECT_EQ(n, 1);
    EXPECT_STACK({QVE_OUT_OF_RANGE, 3, 2});
}

TEST(BmpRead, InformationFromTheHeaderOnly) {
    Bmp rle = eight_bit();
    rle.width = 6, rle.height = -4, rle.compression = 1, rle.xppm = 3780, rle.yppm = 1890;
    rle.data = {0, 1};
    const Bytes f = rle.bytes(), bad = with(eight_bit(), [](Bmp &x) { x.bpp = 3; });
    int32_t type = 0, value = -1, pages = 0;
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, &info), 0);
    EXPECT_EQ(std::tie(type, value, info.biWidth, info.biHeight, info.biBitCount),
              std::make_tuple(QV_FORMAT_BMP, 1, 6, -4, uint16_t(8)));
    EXPECT_EQ(std::tie(info.biCompression, info.biXPelsPerMeter, info.biYPelsPerMeter),
              std::make_tuple(1u, 3780, 1890));
    // Outputs may be null; a refused header stores nothing.
    EXPECT_EQ(QV_info_get_mem(f.data(), f.size(), nullptr, nullptr, nullptr), 0);
    type = 77;
    EXPECT_EQ(QV_info_get_mem(bad.data(), bad.size(), &type, &value, &info), 1);
    EXPECT_EQ(type, 77);
    EXPECT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 1);
}

}  // namespace
