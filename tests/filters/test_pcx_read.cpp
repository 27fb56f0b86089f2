// PCX reader on crafted files: decoding quirks, palettes by bit count and
// version, plane layouts, resolution, header information, tags, and the
// codes of short, corrupt and truncated files.
#include "test_pcx_util.h"

namespace {

using namespace pcxtest;

class PcxRead : public PcxTest {};

// A file as the reader delivers it: depth, rows, and some palette entries.
struct ReadCase {
    const char *name;
    Bytes file;
    uint16_t bpp;
    std::vector<Bytes> rows;
    std::vector<std::pair<int, uint32_t>> colors;  // index, 0xRRGGBB
};

class PcxReads : public PcxTest, public ::testing::WithParamInterface<ReadCase> {};

TEST_P(PcxReads, RowsAndPalette) {
    const ReadCase &c = GetParam();
    const Loaded l = load(c.file);
    ASSERT_EQ(l.errors, 0) << ::testing::PrintToString(qvtest::stack());
    EXPECT_EQ(l.hdr.biBitCount, c.bpp);
    EXPECT_EQ(l.rows, c.rows);
    EXPECT_EQ(l.palette.size(), c.bpp <= 8 ? 1u << c.bpp : 0u);
    for (auto [i, rgb] : c.colors) EXPECT_EQ(Loaded::color(l.palette.at(i)), rgb) << i;
}

std::vector<std::pair<int, uint32_t>> grey_ramp() {
    std::vector<std::pair<int, uint32_t>> v;
    for (int i = 0; i < 256; ++i) v.push_back({i, i * 0x010101u});
    return v;
}

// Four planes, 2 x 1: pixel 0 = planes 0 and 3 = 9; pixel 1 = plane 1 = 2.
Bytes four_planes(uint8_t version) {
    Header h{.version = version, .bpp = 1, .planes = 4, .width = 2, .height = 1,
             .palette16 = Bytes(48, 0x11)};
    h.palette16[3 * 9] = 0x77;
    return h.with({0x80, 0, 0x40, 0, 0x00, 0, 0x80, 0});
}

INSTANTIATE_TEST_SUITE_P(
    Pcx, PcxReads,
    ::testing::Values(
        ReadCase{"LiteralC0AndARunAcrossTheLineEnd",
                 cat(Header().with({0xC0, 0x01, 0xC6, 0x05}), trailer()), 8,
                 {{0xC0, 0x01, 0x05, 0x05}, {0x05, 0x05, 0x05, 0x05}}, {{0, 0x00FF00}}},
        // Lines 1 and 5 repeat the encoding of the line before; line 3 starts
        // inside a run and line 4 has line 3's pixels coded otherwise.
        ReadCase{"RepeatedLineEncodings",
                 cat(Header{.height = 6}.with({0xC4, 0x11, 0xC4, 0x11, 0xC6, 0x22, 0xC2, 0x33, 0xC2, 0x22, 0xC2,
                                               0x33, 0xC2, 0x22, 0xC2, 0x33}),
                     trailer()),
                 8,
                 {Bytes(4, 0x11), Bytes(4, 0x11), Bytes(4, 0x22), {0x22, 0x22, 0x33, 0x33},
                  {0x22, 0x22, 0x33, 0x33}, {0x22, 0x22, 0x33, 0x33}},
                 {}},
        // The trailer's marker is not checked: entry i = (i, 255 - i, i / 2).
        ReadCase{"TrailerMarkerNotChecked", cat(Header().with({0xC8, 0x00}), trailer(0x00)), 8,
                 {Bytes(4), Bytes(4)}, {{200, 0xC83764}}},
        ReadCase{"ShortEightBitFileGetsAGreyRamp",
                 Header{.width = 2, .height = 1}.with({0x01, 0xC1, 0xC8}), 8, {{0x01, 0xC8, 0, 0}},
                 grey_ramp()},
        ReadCase{"OneBitIsBlackAndWhiteWhateverTheHeaderSays",
                 Header{.bpp = 1, .width = 10, .palette16 = {9, 9, 9, 7, 7, 7}}.with(
                     {0xAB, 0xC0, 0xAB, 0xC0}),
                 1, {{0xAB, 0xC0, 0, 0}, {0xAB, 0xC0, 0, 0}}, {{0, 0}, {1, 0xFFFFFF}}},
        // The default palette in version 3 only.
        ReadCase{"FourPlanesVersion3", four_planes(3), 4, {{0x92, 0, 0, 0}},
                 {{9, 0x0000FF}, {8, 0xC0C0C0}}},
        ReadCase{"FourPlanesVersion5", four_planes(5), 4, {{0x92, 0, 0, 0}},
                 {{9, 0x771111}, {15, 0x111111}}},
        ReadCase{"ThreePlanesBecomeBgrPixels",
                 Header{.planes = 3, .width = 2, .height = 1}.with(
                     {0x10, 0x20, 0x30, 0x3F, 0xC1, 0x50, 0xC1, 0xE0}),
                 24, {{0x50, 0x30, 0x10, 0xE0, 0x3F, 0x20, 0, 0}}, {}},
        // Pixels 1, 2, 3 at 2 bits; the header palette.
        ReadCase{"TwoBitsPerPixelReadAsFourBits",
                 Header{.bpp = 2, .width = 3, .height = 1,
                        .palette16 = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}
                     .with({0x6C, 0x00}),
                 4, {{0x12, 0x30, 0, 0}}, {{3, 0x0A0B0C}}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(PcxRead, ResolutionGoesIntoTheDibInItsUnit) {
    const Bytes f = Header().with({0xC8, 0x00});
    const Loaded l = load(f);
    ASSERT_EQ(l.errors, 0);
    EXPECT_EQ(l.hdr.biXPelsPerMeter, 11811);  // 300 * 39.37 + 0.5
    EXPECT_EQ(l.hdr.biYPelsPerMeter, 5906);   // 150 * 39.37 + 0.5
    ASSERT_EQ(QV_DIB_resolution_units_set(3), 0);
    const Loaded inch = load(f);
    EXPECT_EQ(inch.hdr.biXPelsPerMeter, 300);
    EXPECT_EQ(inch.hdr.biYPelsPerMeter, 150);
}

TEST_F(PcxRead, InfoReportsTypeAndCompressionAndOnePage) {
    const Bytes f = Header{.planes = 3, .width = 7, .height = 3}.bytes();
    int32_t type = 0, value = -1, pages = 0;
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, &info), 0);
    EXPECT_EQ(std::tie(type, value, info.biWidth, info.biHeight, info.biBitCount),
              std::make_tuple(kPcx, 7, 7, 3, uint16_t(24)));
    ASSERT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 1);
}

TEST_F(PcxRead, OffersHeaderTagsWithTheResolutionTwice) {
    Bytes f = Header{.palette16 = {0x42}}.with({0xC8, 0x00});
    put16(f, 70, 640);  // screen size: not what tags 415/416 report
    put16(f, 72, 480);
    std::vector<Tag> tags;
    ASSERT_EQ(QV_load_tag_CB_register(collect_tag, &tags), 0);
    ASSERT_EQ(load(f).errors, 0);
    EXPECT_EQ(tags, (std::vector<Tag>{{400, 1, 1, 10},     {401, 1, 1, 5},    {402, 1, 1, 1},
                                      {403, 1, 1, 8},      {404, 3, 2, 0},    {405, 3, 2, 0},
                                      {406, 3, 2, 3},      {407, 3, 2, 1},    {408, 3, 2, 300},
                                      {409, 3, 2, 150},    {410, 13, 48, 0x42}, {411, 1, 1, 0},
                                      {412, 1, 1, 1},      {413, 3, 2, 4},    {414, 3, 2, 1},
                                      {415, 3, 2, 300},    {416, 3, 2, 150},  {417, 13, 54, 0}}));
}

// Rows built in the image (memory and file loads, the input read in place
// or copied) equal the rows handed over one by one (callback load, status
// bar) for every layout: odd widths, a stride wider than the DIB row, three
// planes, bit planes, runs crossing lines.
TEST_F(PcxRead, RowsBuiltInTheImageEqualRowsHandedOver) {
    const Header layouts[] = {
        {.width = 6001, .height = 5},
        {.width = 5, .height = 7, .bytes_per_line = 40},
        {.planes = 3, .width = 333, .height = 4},
        {.bpp = 1, .width = 1001, .height = 6},
        {.bpp = 4, .width = 999, .height = 3},
        {.bpp = 1, .planes = 4, .width = 77, .height = 5},
    };
    uint32_t seed = 7;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u, seed >> 16; };
    for (const Header &h : layouts) {
        const Bytes head = h.bytes();
        const size_t line = size_t(get16(head, 66)) * h.planes, bytes = line * h.height;
        Bytes data;
        // Runs of 1 to 40 that ignore line ends, the last one cut to fit.
        for (size_t out = 0; out < bytes;) {
            const size_t n = std::min<size_t>(1 + next() % 40, bytes - out);
            data.insert(data.end(), {uint8_t(0xC0 + n), uint8_t(next())});
            out += n;
        }
        const Bytes f = cat(h.with(data), trailer());
        const Loaded want = load(f);
        ASSERT_EQ(want.errors, 0) << h.width << ::testing::PrintToString(qvtest::stack());
        const std::string file = path("pcx_rows.pcx");
        ASSERT_TRUE(qvtest::write_file(file, f));
        qvtest::Progress progress;
        for (int how = 0; how < 3; ++how) {
            QUORIN img = nullptr;
            if (how == 2) QV_status_bar_CB_register(qvtest::Progress::on, &progress);
            const int32_t n = how == 1 ? QV_load_file(file.c_str(), &img) : QV_load_mem(f.data(), f.size(), 1, 1, &img);
            QV_status_bar_CB_register(nullptr, nullptr);
            keep(img);
            ASSERT_EQ(n, 0) << h.width << " load " << how;
            // The pixels of each row (a 1-bit image keeps no bits past its width).
            const size_t bits = size_t(h.width) * want.hdr.biBitCount, used = (bits + 7) / 8;
            const uint8_t last = uint8_t(0xFF << ((8 - bits % 8) % 8));
            for (int32_t y = 0; y < h.height; ++y) {
                Bytes row(want.rows[size_t(y)].size()), wanted = want.rows[size_t(y)];
                ASSERT_EQ(QV_DIB_raster_get(img, y, row.data(), 1), 0);
                row.resize(used), wanted.resize(used);
                row.back() &= last, wanted.back() &= last;
                EXPECT_EQ(row, wanted) << h.width << " load " << how << " row " << y;
            }
        }
        EXPECT_EQ(progress.calls.size(), size_t(h.height));
    }
}

struct BadCase {
    const char *name;
    Bytes file;
    qvtest::Err err;
};

class PcxBadFile : public PcxTest, public ::testing::WithParamInterface<BadCase> {};

TEST_P(PcxBadFile, GivesItsCodeAndNoImage) {
    int32_t errors = 0;
    EXPECT_EQ(load_mem(GetParam().file, &errors), nullptr);
    EXPECT_EQ(errors, 1);
    EXPECT_STACK(GetParam().err);
}

Bytes short_header() {
    Bytes b = Header().bytes();
    b.resize(100);
    return b;
}

INSTANTIATE_TEST_SUITE_P(
    Codes, PcxBadFile,
    ::testing::Values(
        BadCase{"ShortHeader", short_header(), {-2052, 128, 100}},
        BadCase{"TruncatedRuns", Header{.height = 3}.with({0xC8, 0x07}), {-2050, 3, 2}},
        BadCase{"CountByteWithoutValue", Header().with({0x01, 0xC3}), {-2050, 2, 0}},
        BadCase{"StrideTooShort", Header{.bytes_per_line = 3}.bytes(), {-400, 3, 4}},
        BadCase{"ZeroStride", Header{.bytes_per_line = 0}.bytes(), {-400, 0, 4}},
        BadCase{"XmaxBeforeXmin", Header{.xmin = 9, .width = 0}.bytes(), {-400, 9, 8}},
        BadCase{"ThreeBitsPerPixel", Header{.bpp = 3}.bytes(), {-2112, 3, 1}},
        BadCase{"SixPlanes", Header{.planes = 6}.bytes(), {-2112, 8, 6}},
        BadCase{"FiveBitPlanes", Header{.bpp = 1, .planes = 5}.bytes(), {-2112, 1, 5}}),
    [](const auto &info) { return std::string(info.param.name); });

}  // namespace
