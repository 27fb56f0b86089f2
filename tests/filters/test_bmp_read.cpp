// The BMP reader on crafted files: every header size and depth, bit fields,
// top-down rows, RLE codes, bare DIBs (both byte orders and the library's
// own compressions), bitmap arrays, header information, and the exact code
// of each refusal.
#include <gtest/gtest.h>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bmp;
using bmptest::Bytes;
using bmptest::Err;

uint32_t pal_color(int i) { return uint32_t((i * 10) << 16 | (255 - i) << 8 | i); }

// 4 x 2 at 8 bits: bottom row 0 1 2 3, top row 4 5 6 7.
Bmp eight_bit(uint32_t header_size) {
    Bmp b;
    b.header_size = header_size;
    for (int i = 0; i < 256; ++i) b.palette.push_back(pal_color(i));
    b.data = {0, 1, 2, 3, 4, 5, 6, 7};
    return b;
}

std::vector<uint32_t> rgb_row(const bmptest::Rgba &im, int32_t y) {
    std::vector<uint32_t> v;
    for (int32_t x = 0; x < im.width; ++x) {
        const uint8_t *p = im.at(x, y);
        v.push_back(uint32_t(p[3]) << 24 | p[0] << 16 | p[1] << 8 | p[2]);
    }
    return v;
}

uint32_t opaque(uint32_t rgb) { return 0xFF000000u | rgb; }

class HeaderSize : public ::testing::TestWithParam<uint32_t> {};

TEST_P(HeaderSize, EveryInfoHeaderGivesTheSameImage) {
    QUORIN h = bmptest::load_mem(eight_bit(GetParam()).bytes());
    ASSERT_NE(h, nullptr) << ::testing::PrintToString(bmptest::stack());
    bmptest::Rgba im = bmptest::rgba_of(h);
    EXPECT_EQ(im.bpp, 8);
    EXPECT_EQ(rgb_row(im, 0), (std::vector<uint32_t>{opaque(pal_color(4)), opaque(pal_color(5)),
                                                     opaque(pal_color(6)), opaque(pal_color(7))}));
    EXPECT_EQ(rgb_row(im, 1), (std::vector<uint32_t>{opaque(pal_color(0)), opaque(pal_color(1)),
                                                     opaque(pal_color(2)), opaque(pal_color(3))}));
    QV_image_delete(h);
}
INSTANTIATE_TEST_SUITE_P(Bmp, HeaderSize, ::testing::Values(12u, 16u, 40u, 52u, 56u, 64u, 108u, 124u));

struct DepthCase {
    const char *name;
    uint32_t header_size;
    uint16_t bpp;
    uint32_t compression;
    int32_t width;
    std::vector<uint32_t> masks;
    std::vector<uint32_t> palette;
    Bytes row;                    // one row, padded
    int32_t image_bpp;            // depth of the image made
    std::vector<uint32_t> argb;   // expected pixels, A R G B
};

class Depth : public ::testing::TestWithParam<DepthCase> {};

TEST_P(Depth, PixelsAsStored) {
    const DepthCase &c = GetParam();
    Bmp b;
    b.header_size = c.header_size;
    b.bpp = c.bpp;
    b.compression = c.compression;
    b.width = c.width;
    b.height = 1;
    b.masks = c.masks;
    b.palette = c.palette;
    b.data = c.row;
    QUORIN h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr) << ::testing::PrintToString(bmptest::stack());
    bmptest::Rgba im = bmptest::rgba_of(h);
    EXPECT_EQ(im.bpp, c.image_bpp);
    EXPECT_EQ(rgb_row(im, 0), c.argb);
    QV_image_delete(h);
}

const uint32_t kR = 0xFF0000, kG = 0x00FF00, kB = 0x0000FF;
INSTANTIATE_TEST_SUITE_P(
    Bmp, Depth,
    ::testing::Values(
        DepthCase{"bits1", 40, 1, 0, 10, {}, {0x000000, 0xFF0000}, {0xB0, 0x40, 0, 0}, 1,
                  {0xFFFF0000, 0xFF000000, 0xFFFF0000, 0xFFFF0000, 0xFF000000, 0xFF000000,
                   0xFF000000, 0xFF000000, 0xFF000000, 0xFFFF0000}},
        DepthCase{"bits2", 40, 2, 0, 5, {}, {0x000000, 0x112233, 0x445566, 0x778899},
                  {0x1B, 0xC0, 0, 0}, 4,
                  {0xFF000000, 0xFF112233, 0xFF445566, 0xFF778899, 0xFF778899}},
        DepthCase{"bits4", 40, 4, 0, 3, {}, {0, 0x010101, 0x020202, 0x030303}, {0x12, 0x30, 0, 0}, 4,
                  {0xFF010101, 0xFF020202, 0xFF030303}},
        DepthCase{"rgb555", 40, 16, 0, 3, {}, {}, {0x00, 0x7C, 0xE0, 0x03, 0x10, 0x00, 0, 0}, 16,
                  {0xFFFF0000, 0xFF00FF00, 0xFF000083}},
        DepthCase{"rgb565", 40, 16, 3, 3, {0xF800, 0x07E0, 0x001F}, {},
                  {0x00, 0xF8, 0xE0, 0x07, 0x21, 0x08, 0, 0}, 16,
                  {0xFFFF0000, 0xFF00FF00, 0xFF080408}},
        DepthCase{"rgba4444", 108, 16, 3, 1, {0x0F00, 0x00F0, 0x000F, 0xF000}, {}, {0x21, 0x8F, 0, 0},
                  32, {0x88FF2211}},
        DepthCase{"bgr24", 40, 24, 0, 2, {}, {}, {1, 2, 3, 4, 5, 6, 0, 0}, 24, {0xFF030201, 0xFF060504}},
        DepthCase{"bgrx32", 40, 32, 0, 2, {}, {}, {1, 2, 3, 4, 5, 6, 7, 8}, 32, {0x04030201, 0x08070605}},
        DepthCase{"fields32", 40, 32, 3, 1, {kR, kG, kB}, {}, {1, 2, 3, 0}, 32, {0x00030201}},
        DepthCase{"rgba32", 56, 32, 3, 2, {kB, kG, kR, 0xFF000000}, {}, {1, 2, 3, 4, 9, 8, 7, 6}, 32,
                  {0x04010203, 0x06090807}},
        DepthCase{"alphafields32", 40, 32, 6, 1, {0xFF000000, 0xFF0000, 0xFF00, 0xFF}, {}, {1, 2, 3, 4},
                  32, {0x01040302}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(BmpRead, TopDownRowsMakeTheSameImage) {
    Bmp up = eight_bit(40), down = eight_bit(40);
    down.height = -2;
    down.data = {4, 5, 6, 7, 0, 1, 2, 3};
    QUORIN a = bmptest::load_mem(up.bytes()), b = bmptest::load_mem(down.bytes());
    ASSERT_TRUE(a && b);
    EXPECT_TRUE(bmptest::rgba_of(a).px == bmptest::rgba_of(b).px);
    QV_image_delete(a);
    QV_image_delete(b);
}

// RLE rows as palette indices, top row first.
std::vector<Bytes> rle_rows(const Bmp &b) {
    std::vector<Bytes> rows;
    QUORIN h = bmptest::load_mem(b.bytes());
    EXPECT_NE(h, nullptr) << ::testing::PrintToString(bmptest::stack());
    if (!h) return rows;
    int32_t w, ht, bpp;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    for (int32_t y = 0; y < ht; ++y) {
        Bytes raw = bmptest::raw_row(h, y), idx;
        for (int32_t x = 0; x < w; ++x) idx.push_back(uint8_t(bmptest::index_at(raw, x, bpp)));
        rows.push_back(idx);
    }
    QV_image_delete(h);
    return rows;
}

Bmp rle(uint16_t bpp, int32_t w, int32_t h, Bytes codes) {
    Bmp b;
    b.bpp = bpp;
    b.compression = bpp == 8 ? 1 : 2;
    b.width = w, b.height = h;
    for (int i = 0; i < (1 << bpp); ++i) b.palette.push_back(pal_color(i));
    b.data = std::move(codes);
    return b;
}

TEST(BmpRead, Rle8RunsAbsoluteDeltaEndOfLineAndBitmap) {
    // Rows bottom-up: runs and an absolute run (padded); a run then a move
    // of 2 right and 1 down; 10 pixels where 1 fits; end of line; end.
    Bmp b = rle(8, 6, 4,
                {3, 7, 0, 3, 1, 2, 3, 0, 0, 0,   //
                 2, 5, 0, 2, 2, 1,               //
                 2, 9, 10, 4, 0, 0,              //
                 0, 1});
    std::vector<Bytes> rows = rle_rows(b);
    std::vector<Bytes> want = {{0, 0, 0, 0, 0, 0},
                               {0, 0, 0, 0, 9, 9},
                               {5, 5, 0, 0, 0, 0},
                               {7, 7, 7, 1, 2, 3}};
    EXPECT_EQ(rows, want);
}

TEST(BmpRead, Rle8WithoutEndCodeOrPastTheLastRowStopsInside) {
    EXPECT_EQ(rle_rows(rle(8, 3, 2, {2, 4})), (std::vector<Bytes>{{0, 0, 0}, {4, 4, 0}}));
    // A move far below the image ends it; nothing is written outside.
    EXPECT_EQ(rle_rows(rle(8, 3, 2, {1, 6, 0, 2, 0, 200, 3, 9})),
              (std::vector<Bytes>{{0, 0, 0}, {6, 0, 0}}));
    // An absolute run cut short by the end of the data.
    EXPECT_EQ(rle_rows(rle(8, 4, 1, {0, 4, 1, 2})), (std::vector<Bytes>{{1, 2, 0, 0}}));
}

TEST(BmpRead, Rle4NibbleRunsAndAbsoluteRuns) {
    Bmp b = rle(4, 5, 2, {5, 0x12, 0, 0, 0, 3, 0x34, 0x50, 0, 0, 0, 1});
    EXPECT_EQ(rle_rows(b), (std::vector<Bytes>{{3, 4, 5, 0, 0}, {1, 2, 1, 2, 1}}));
}

// ---- refusals ------------------------------------------------------------

struct Refusal {
    const char *name;
    Bytes file;
    Err err;
};

Bytes with(Bmp b, void (*edit)(Bmp &)) {
    edit(b);
    return b.bytes();
}

std::vector<Refusal> refusals() {
    Bytes short_header = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    Bytes truncated = eight_bit(40).bytes();
    truncated.resize(truncated.size() - 3);
    Bmp short_palette = eight_bit(40);
    Bytes sp = short_palette.bytes();
    sp.resize(14 + 40 + 10);
    return {
        {"short_file_header", short_header, {QVE_SHORT_HEADER, 14, 12}},
        {"header_size_66", with(eight_bit(40), [](Bmp &b) { b.header_size = 66; }),
         {QVE_UNSUPPORTED_VARIANT, 66, 0}},
        {"width_0", with(eight_bit(40), [](Bmp &b) { b.width = 0; }), {QVE_BAD_HEADER, 0, 2}},
        {"width_negative", with(eight_bit(40), [](Bmp &b) { b.width = -4; }), {QVE_BAD_HEADER, -4, 2}},
        {"height_0", with(eight_bit(40), [](Bmp &b) { b.height = 0; }), {QVE_BAD_HEADER, 4, 0}},
        {"depth_3", with(eight_bit(40), [](Bmp &b) { b.bpp = 3; }), {QVE_DEPTH_UNSUPPORTED, 3, 0}},
        {"jpeg_inside", with(eight_bit(40), [](Bmp &b) { b.bpp = 24, b.compression = 4; }),
         {QVE_UNSUPPORTED_VARIANT, 4, 24}},
        {"rle8_at_4_bits", with(eight_bit(40), [](Bmp &b) { b.bpp = 4, b.compression = 1; }),
         {QVE_UNSUPPORTED_VARIANT, 1, 4}},
        {"os2_huffman", with(eight_bit(64), [](Bmp &b) { b.bpp = 1, b.compression = 3; }),
         {QVE_UNSUPPORTED_VARIANT, 3, 1}},
        {"pixels_truncated", truncated, {QVE_SHORT_READ, 8, 5}},
        {"palette_truncated", sp, {QVE_READ_PALETTE, 1024, 10}},
    };
}

class Refused : public ::testing::TestWithParam<Refusal> {};

TEST_P(Refused, CodeValuesAndNothingLeft) {
    size_t live = bmptest::live_blocks();
    int32_t n = -1;
    QUORIN h = bmptest::load_mem(GetParam().file, &n);
    EXPECT_EQ(n, 1);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(bmptest::stack(), std::vector<Err>{GetParam().err});
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}
INSTANTIATE_TEST_SUITE_P(Bmp, Refused, ::testing::ValuesIn(refusals()),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(BmpRead, PixelLimitRefusesBeforeAllocating) {
    ASSERT_EQ(QV_load_pixel_limit_set(199), 0);
    Bmp b;
    b.width = 20, b.height = 10, b.bpp = 24;
    b.data.assign(60 * 10, 7);
    size_t live = bmptest::live_blocks();
    int32_t n = 0;
    QUORIN h = bmptest::load_mem(b.bytes(), &n);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_TOO_LARGE, 20, 10}}));
    EXPECT_EQ(iQV_mem_live_blocks(), live);
    ASSERT_EQ(QV_load_pixel_limit_set(200), 0);
    h = bmptest::load_mem(b.bytes());
    EXPECT_NE(h, nullptr);
    QV_image_delete(h);
    uint64_t limit = 0;
    QV_load_pixel_limit_set(0);
    QV_load_pixel_limit_get(&limit);
    EXPECT_EQ(limit, uint64_t(1) << 28);
}

// ---- offsets and palettes ------------------------------------------------

TEST(BmpRead, BitsOffsetAtThePaletteStartIsIgnored) {
    Bmp b = eight_bit(40);
    b.off_bits = 54;  // points at the palette: the pixels follow it
    Bytes f = b.bytes();
    f.resize(54 + 1024);
    f.insert(f.end(), b.data.begin(), b.data.end());
    QUORIN h = bmptest::load_mem(f);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(rgb_row(bmptest::rgba_of(h), 0)[3], opaque(pal_color(7)));
    QV_image_delete(h);
}

TEST(BmpRead, Os2PaletteShortenedByTheBitsOffset) {
    Bmp b = eight_bit(12);
    b.palette.resize(10);
    b.data = {9, 1, 2, 3, 4, 5, 6, 7};
    QUORIN h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr);
    bmptest::Rgba im = bmptest::rgba_of(h);
    EXPECT_EQ(rgb_row(im, 1)[0], opaque(pal_color(9)));
    EXPECT_EQ(rgb_row(im, 0)[0], opaque(pal_color(4)));
    QV_image_delete(h);
}

// ---- bare DIBs ---------------------------------------------------------

Bytes bare_dib(bool big_endian) {
    Bmp b = eight_bit(40);
    b.file_header = false;
    Bytes f = b.bytes();
    if (big_endian) {
        auto swap32 = [&](size_t at) { std::reverse(f.begin() + at, f.begin() + at + 4); };
        auto swap16 = [&](size_t at) { std::reverse(f.begin() + at, f.begin() + at + 2); };
        for (size_t at : {0, 4, 8, 16, 20, 24, 28, 32, 36}) swap32(at);
        swap16(12), swap16(14);
        for (size_t at = 40; at < 40 + 1024; at += 4) swap32(at);  // 0x00RRGGBB words
    }
    return f;
}

TEST(BmpRead, BareDibInEitherByteOrder) {
    for (bool be : {false, true}) {
        SCOPED_TRACE(be);
        QUORIN h = bmptest::load_mem(bare_dib(be));
        ASSERT_NE(h, nullptr) << ::testing::PrintToString(bmptest::stack());
        EXPECT_EQ(rgb_row(bmptest::rgba_of(h), 0)[1], opaque(pal_color(5)));
        QV_image_delete(h);
    }
}

TEST(BmpRead, BareDibPaletteByColourCountOrByLibraryRule) {
    // From elsewhere: a colour count of 16 and 16 entries before the pixels.
    Bmp b = eight_bit(40);
    b.file_header = false;
    b.colors_used = 16;
    b.palette.resize(16);
    b.data = {15, 1, 2, 3, 4, 5, 6, 7};
    QUORIN h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(rgb_row(bmptest::rgba_of(h), 1)[0], opaque(pal_color(15)));
    QV_image_delete(h);
    // Made by the library rules: 256 entries whatever the colour count says.
    Bmp lib = eight_bit(40);
    lib.file_header = false;
    lib.colors_used = 16;
    lib.data = {200, 1, 2, 3, 4, 5, 6, 7};
    Bytes dib = lib.bytes();
    ASSERT_EQ(QV_image_create_DIB(4, 2, 8, reinterpret_cast<QV_DIB_HEADER *>(dib.data()), &h), 0);
    EXPECT_EQ(rgb_row(bmptest::rgba_of(h), 1)[0], opaque(pal_color(200)));
    QV_image_delete(h);
}

TEST(BmpRead, ImageFromADibPointerKeepsMasksAndPixels) {
    // 16-bit 5-6-5 DIB: header, three masks, rows.
    Bytes dib(40 + 12 + 8, 0);
    bmptest::put32(dib, 0, 40);
    bmptest::put32(dib, 4, 2);
    bmptest::put32(dib, 8, 2);
    bmptest::put16(dib, 12, 1);
    bmptest::put16(dib, 14, 16);
    bmptest::put32(dib, 16, 3);
    bmptest::put32(dib, 40, 0xF800), bmptest::put32(dib, 44, 0x07E0), bmptest::put32(dib, 48, 0x1F);
    for (int i = 0; i < 8; ++i) dib[52 + i] = uint8_t(0x11 * (i + 1));
    QUORIN h = nullptr;
    ASSERT_EQ(QV_image_create_DIB(2, 2, 16, reinterpret_cast<QV_DIB_HEADER *>(dib.data()), &h), 0);
    QV_DIB_HEADER *copy = nullptr;
    QV_image_DIB_pntr_get(h, &copy);
    EXPECT_EQ(copy->biCompression, 3u);
    EXPECT_EQ(0, std::memcmp(reinterpret_cast<uint8_t *>(copy) + 40, dib.data() + 40, 20));
    QV_image_delete(h);
}

TEST(BmpRead, LibraryDibForms500_503_504LoadFromMemory) {
    // 500: two rows as run lists, top first: (8,w,w,w) all white, then one
    // change at 2 (black from column 2 on).
    Bytes runs(40 + 8 + 8 + 10, 0);
    bmptest::put32(runs, 0, 40);
    bmptest::put32(runs, 4, 5);
    bmptest::put32(runs, 8, 2);
    bmptest::put16(runs, 12, 1);
    bmptest::put16(runs, 14, 1);
    bmptest::put32(runs, 16, 500);
    bmptest::put32(runs, 20, 18);
    bmptest::put32(runs, 44, 0xFFFFFF);
    const uint16_t lists[] = {8, 5, 5, 5, 10, 2, 5, 5, 5};
    std::memcpy(runs.data() + 48, lists, sizeof lists);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_image_create_DIB(5, 2, 1, reinterpret_cast<QV_DIB_HEADER *>(runs.data()), &h), 0)
        << ::testing::PrintToString(bmptest::stack());
    EXPECT_EQ(bmptest::raw_row(h, 0)[0], 0x00);
    EXPECT_EQ(bmptest::raw_row(h, 1)[0], 0x38);
    QV_image_delete(h);

    // 503: a duplicate keeps the single-channel layout and values.
    QUORIN g = nullptr, d = nullptr;
    ASSERT_EQ(QV_image_create_DIB_ex(3, 2, 16, 503, nullptr, &g), 0);
    const uint8_t row[8] = {0x34, 0x12, 0xFF, 0xFF, 0x00, 0x80, 0, 0};
    QV_DIB_raster_set(g, 1, row, 1);
    ASSERT_EQ(QV_image_duplicate(g, &d), 0) << ::testing::PrintToString(bmptest::stack());
    QV_DIB_HEADER *dd = nullptr;
    QV_image_DIB_pntr_get(d, &dd);
    EXPECT_EQ(dd->biCompression, 503u);
    EXPECT_EQ(bmptest::raw_row(d, 1), Bytes(row, row + 8));
    QV_image_delete(g);
    QV_image_delete(d);

    // 504: 16-bit indices into a 65,536-entry palette after the masks.
    Bytes wide(40 + 12 + 4 * 65536 + 4, 0);
    bmptest::put32(wide, 0, 40);
    bmptest::put32(wide, 4, 2);
    bmptest::put32(wide, 8, 1);
    bmptest::put16(wide, 12, 1);
    bmptest::put16(wide, 14, 16);
    bmptest::put32(wide, 16, 504);
    bmptest::put32(wide, 52 + 4 * 0x1234, 0x00ABCDEF);
    size_t bits = 52 + 4 * 65536;
    wide[bits] = 0x34, wide[bits + 1] = 0x12;
    ASSERT_EQ(QV_image_create_DIB(2, 1, 16, reinterpret_cast<QV_DIB_HEADER *>(wide.data()), &h), 0)
        << ::testing::PrintToString(bmptest::stack());
    bmptest::Rgba im = bmptest::rgba_of(h);
    EXPECT_EQ(rgb_row(im, 0)[0], opaque(0xABCDEF));
    QV_image_delete(h);
}

// ---- arrays, information, page count ------------------------------------

Bytes array_of(const std::vector<Bmp> &images) {
    Bytes f;
    for (size_t i = 0; i < images.size(); ++i) {
        Bytes one = images[i].bytes();
        size_t entry = f.size();
        Bytes ba(14, 0);
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
    Bmp a = eight_bit(12), b = eight_bit(40);
    b.data = {9, 9, 9, 9, 8, 8, 8, 8};
    Bytes f = array_of({a, b});
    int32_t pages = 0;
    ASSERT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 2);
    for (int32_t page : {1, 2}) {
        QUORIN h = nullptr;
        ASSERT_EQ(QV_load_mem(f.data(), f.size(), page, 1, &h), 0) << page;
        EXPECT_EQ(bmptest::raw_row(h, 0)[0], page == 1 ? 4 : 8);
        QV_image_delete(h);
    }
    QUORIN h = nullptr;
    EXPECT_EQ(QV_load_mem(f.data(), f.size(), 3, 1, &h), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_OUT_OF_RANGE, 3, 2}}));
}

TEST(BmpRead, InformationFromTheHeaderOnly) {
    Bmp b = rle(8, 6, -4, {0, 1});
    b.xppm = 3780, b.yppm = 1890;
    Bytes f = b.bytes();
    int32_t type = 0, value = -1;
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, &info), 0);
    EXPECT_EQ(type, QV_FORMAT_BMP);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(info.biWidth, 6);
    EXPECT_EQ(info.biHeight, -4);
    EXPECT_EQ(info.biBitCount, 8);
    EXPECT_EQ(info.biCompression, 1u);
    EXPECT_EQ(info.biXPelsPerMeter, 3780);
    EXPECT_EQ(info.biYPelsPerMeter, 1890);
    // Outputs may be null; a refused header stores nothing.
    EXPECT_EQ(QV_info_get_mem(f.data(), f.size(), nullptr, nullptr, nullptr), 0);
    Bytes bad = with(eight_bit(40), [](Bmp &x) { x.bpp = 3; });
    type = 77;
    EXPECT_EQ(QV_info_get_mem(bad.data(), bad.size(), &type, &value, &info), 1);
    EXPECT_EQ(type, 77);
    int32_t pages = 0;
    EXPECT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 1);
}

TEST(BmpRead, ResolutionGoesToTheImage) {
    Bmp b = eight_bit(40);
    b.xppm = 3780, b.yppm = 1890;
    QUORIN h = bmptest::load_mem(b.bytes());
    ASSERT_NE(h, nullptr);
    QV_DIB_HEADER *dib = nullptr;
    QV_image_DIB_pntr_get(h, &dib);
    EXPECT_EQ(dib->biXPelsPerMeter, 3780);
    EXPECT_EQ(dib->biYPelsPerMeter, 1890);
    QV_image_delete(h);
}

}  // namespace
