// PCX reader on crafted files: decoding quirks, palettes by bit count and
// version, plane layouts, resolution, header information, tags, and the
// codes of short, corrupt and truncated files.
#include <gtest/gtest.h>

#include <tuple>

#include "common/test_util.h"
#include "test_pcx_util.h"
#include "vosk32pd_bridge.h"

namespace {

using namespace pcxtest;

class PcxRead : public ::testing::Test {
protected:
    void SetUp() override {
        VPb_error_clear_on_set(1);
        QV_error_clear();
    }
    void TearDown() override {
        QV_DIB_resolution_units_set(2);
        QV_load_tag_CB_register(nullptr, nullptr);
        QV_error_clear();
    }
    // The first error on the stack.
    static std::tuple<int32_t, int32_t, int32_t> first_error() {
        auto e = qvtest::error_at(0);
        return {e.code, e.iVal, e.lVal};
    }
};

QV_RGBQUAD rgbq(uint8_t r, uint8_t g, uint8_t b) { return QV_RGBQUAD{b, g, r, 0}; }
bool same(const QV_RGBQUAD &a, const QV_RGBQUAD &b) {
    return a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen && a.rgbBlue == b.rgbBlue;
}

TEST_F(PcxRead, LiteralC0AndARunAcrossTheLineEnd) {
    Header h;  // 8 bits, 4 x 2
    Bytes f = cat(cat(h.bytes(), {0xC0, 0x01, 0xC6, 0x05}), trailer());
    Loaded l = load(f);
    ASSERT_EQ(l.errors, 0);
    EXPECT_EQ(l.hdr.biBitCount, 8);
    EXPECT_EQ(l.rows[0], (Bytes{0xC0, 0x01, 0x05, 0x05}));
    EXPECT_EQ(l.rows[1], (Bytes{0x05, 0x05, 0x05, 0x05}));
    // The trailer's marker is not checked: entry i = (i, 255 - i, i / 2).
    Loaded m = load(cat(cat(h.bytes(), {0xC8, 0x00}), trailer(0x00)));
    ASSERT_EQ(m.errors, 0);
    EXPECT_TRUE(same(m.palette[200], rgbq(200, 55, 100)));
}

TEST_F(PcxRead, ShortEightBitFileGetsAGreyRamp) {
    Header h;
    h.width = 2;
    h.height = 1;
    Loaded l = load(cat(h.bytes(), {0x01, 0xC1, 0xC8}));
    ASSERT_EQ(l.errors, 0);
    ASSERT_EQ(l.palette.size(), 256u);
    for (int i = 0; i < 256; ++i) ASSERT_TRUE(same(l.palette[i], rgbq(i, i, i))) << i;
    EXPECT_EQ(l.rows[0], (Bytes{0x01, 0xC8, 0, 0}));
}

TEST_F(PcxRead, OneBitIsBlackAndWhiteWhateverTheHeaderSays) {
    Header h;
    h.bpp = 1;
    h.width = 10;
    h.palette16 = {9, 9, 9, 7, 7, 7};
    Loaded l = load(cat(h.bytes(), {0xAB, 0xC0, 0xAB, 0xC0}));
    ASSERT_EQ(l.errors, 0);
    EXPECT_EQ(l.hdr.biBitCount, 1);
    EXPECT_TRUE(same(l.palette[0], rgbq(0, 0, 0)));
    EXPECT_TRUE(same(l.palette[1], rgbq(255, 255, 255)));
    EXPECT_EQ(l.rows[1], (Bytes{0xAB, 0xC0, 0, 0}));
}

TEST_F(PcxRead, FourPlanesUseTheDefaultPaletteInVersion3Only) {
    Header h;
    h.bpp = 1;
    h.planes = 4;
    h.width = 2;
    h.height = 1;
    h.palette16 = Bytes(48, 0x11);
    h.palette16[3 * 9] = 0x77;
    // Pixel 0 = planes 0 and 3 = 9; pixel 1 = plane 1 = 2.
    const Bytes planes = {0x80, 0, 0x40, 0, 0x00, 0, 0x80, 0};
    h.version = 3;
    Loaded v3 = load(cat(h.bytes(), planes));
    ASSERT_EQ(v3.errors, 0);
    EXPECT_EQ(v3.hdr.biBitCount, 4);
    EXPECT_EQ(v3.rows[0][0], 0x92);
    EXPECT_TRUE(same(v3.palette[9], rgbq(0, 0, 255)));
    EXPECT_TRUE(same(v3.palette[8], rgbq(192, 192, 192)));
    h.version = 5;
    Loaded v5 = load(cat(h.bytes(), planes));
    ASSERT_EQ(v5.errors, 0);
    EXPECT_TRUE(same(v5.palette[9], rgbq(0x77, 0x11, 0x11)));
    EXPECT_TRUE(same(v5.palette[15], rgbq(0x11, 0x11, 0x11)));
}

TEST_F(PcxRead, ThreePlanesBecomeBgrPixels) {
    Header h;
    h.planes = 3;
    h.width = 2;
    h.height = 1;
    Loaded l = load(cat(h.bytes(), {0x10, 0x20, 0x30, 0x3F, 0xC1, 0x50, 0xC1, 0xE0}));
    ASSERT_EQ(l.errors, 0);
    EXPECT_EQ(l.hdr.biBitCount, 24);
    EXPECT_TRUE(l.palette.empty());
    EXPECT_EQ(l.rows[0], (Bytes{0x50, 0x30, 0x10, 0xE0, 0x3F, 0x20, 0, 0}));
}

TEST_F(PcxRead, TwoBitsPerPixelReadAsFourBitsWithTheHeaderPalette) {
    Header h;
    h.bpp = 2;
    h.width = 3;
    h.height = 1;
    h.palette16 = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    Loaded l = load(cat(h.bytes(), {0x6C, 0x00}));  // pixels 1, 2, 3
    ASSERT_EQ(l.errors, 0);
    EXPECT_EQ(l.hdr.biBitCount, 4);
    EXPECT_EQ(l.rows[0][0], 0x12);
    EXPECT_EQ(l.rows[0][1], 0x30);
    EXPECT_TRUE(same(l.palette[3], rgbq(10, 11, 12)));
}

TEST_F(PcxRead, ResolutionGoesIntoTheDibInItsUnit) {
    Header h;
    Bytes f = cat(h.bytes(), {0xC8, 0x00});
    Loaded l = load(f);
    ASSERT_EQ(l.errors, 0);
    EXPECT_EQ(l.hdr.biXPelsPerMeter, 11811);  // 300 * 39.37 + 0.5
    EXPECT_EQ(l.hdr.biYPelsPerMeter, 5906);   // 150 * 39.37 + 0.5
    ASSERT_EQ(QV_DIB_resolution_units_set(3), 0);
    Loaded inch = load(f);
    EXPECT_EQ(inch.hdr.biXPelsPerMeter, 300);
    EXPECT_EQ(inch.hdr.biYPelsPerMeter, 150);
}

TEST_F(PcxRead, InfoReportsTypeAndCompressionAndOnePage) {
    Header h;
    h.width = 7;
    h.height = 3;
    h.planes = 3;
    Bytes f = h.bytes();
    int32_t type = 0, value = -1, pages = 0;
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, &info), 0);
    EXPECT_EQ(type, 31);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(info.biWidth, 7);
    EXPECT_EQ(info.biHeight, 3);
    EXPECT_EQ(info.biBitCount, 24);
    ASSERT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 1);
}

TEST_F(PcxRead, OffersHeaderTagsWithTheResolutionTwice) {
    Header h;
    h.palette16 = {0x42};
    Bytes f = cat(h.bytes(), {0xC8, 0x00});
    put16(f, 70, 640);  // screen size: not what tags 415/416 report
    put16(f, 72, 480);
    std::vector<Tag> tags;
    ASSERT_EQ(QV_load_tag_CB_register(collect_tag, &tags), 0);
    ASSERT_EQ(load(f).errors, 0);
    ASSERT_EQ(tags.size(), 18u);
    const std::vector<Tag> want = {{400, 1, 1, 10},  {401, 1, 1, 5},   {402, 1, 1, 1},   {403, 1, 1, 8},
                                   {404, 3, 2, 0},   {405, 3, 2, 0},   {406, 3, 2, 3},   {407, 3, 2, 1},
                                   {408, 3, 2, 300}, {409, 3, 2, 150}, {410, 13, 48, 0x42}, {411, 1, 1, 0},
                                   {412, 1, 1, 1},   {413, 3, 2, 4},   {414, 3, 2, 1},   {415, 3, 2, 300},
                                   {416, 3, 2, 150}, {417, 13, 54, 0}};
    for (size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(tags[i].id, want[i].id) << i;
        EXPECT_EQ(tags[i].type, want[i].type) << want[i].id;
        EXPECT_EQ(tags[i].count, want[i].count) << want[i].id;
        EXPECT_EQ(tags[i].value, want[i].value) << want[i].id;
    }
}

struct BadCase {
    const char *name;
    Bytes file;
    int32_t code, iVal, lVal;
};

class PcxBadFile : public PcxRead, public ::testing::WithParamInterface<BadCase> {};

TEST_P(PcxBadFile, GivesItsCodeAndNoImage) {
    const BadCase &c = GetParam();
    int32_t errors = 0;
    QUORIN image = load_image(c.file, 1, &errors);
    EXPECT_EQ(image, nullptr);
    ASSERT_GE(errors, 1);
    EXPECT_EQ(first_error(), std::make_tuple(c.code, c.iVal, c.lVal));
}

Bytes with(Header h, void (*edit)(Header &), Bytes data) {
    edit(h);
    return cat(h.bytes(), data);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, PcxBadFile,
    ::testing::Values(
        BadCase{"ShortHeader", [] { Bytes b = Header().bytes(); b.resize(100); return b; }(), -2052, 128, 100},
        BadCase{"TruncatedRuns", with(Header(), [](Header &h) { h.height = 3; }, {0xC8, 0x07}), -2050, 3, 2},
        BadCase{"CountByteWithoutValue", with(Header(), [](Header &) {}, {0x01, 0xC3}), -2050, 2, 0},
        BadCase{"StrideTooShort", with(Header(), [](Header &h) { h.bytes_per_line = 3; }, {}), -400, 3, 4},
        BadCase{"ZeroStride", with(Header(), [](Header &h) { h.bytes_per_line = 0; }, {}), -400, 0, 4},
        BadCase{"XmaxBeforeXmin", with(Header(), [](Header &h) { h.xmin = 9; h.width = 0; }, {}), -400, 9, 8},
        BadCase{"ThreeBitsPerPixel", with(Header(), [](Header &h) { h.bpp = 3; }, {}), -2112, 3, 1},
        BadCase{"SixPlanes", with(Header(), [](Header &h) { h.planes = 6; }, {}), -2112, 8, 6}),
    [](const auto &info) { return std::string(info.param.name); });

}  // namespace
