// PCX writer: exact header and row bytes (escaping, 63-byte runs, runs kept
// inside a line), stored rows (PCX and DCX), the 256-colour trailer, resolution units,
// refused depths and short writes; round trips through the reader.
#include "test_pcx_util.h"

namespace {

using namespace pcxtest;

class PcxWrite : public PcxTest {};

Bytes slice(const Bytes &f, size_t from, size_t to) {
    return Bytes(f.begin() + long(from), f.begin() + long(to));
}

// An 8-bit image of 69 x 2 (bytes per line 70): row 0 is 0x40, 64 x 0x07,
// 0xC0, 0x3F, 0x00, 0x00; row 1 is all zero.
Bytes crafted_8bit() {
    Bytes row0 = {0x40};
    row0.insert(row0.end(), 64, 0x07);
    row0.insert(row0.end(), {0xC0, 0x3F, 0x00, 0x00, 0x00});
    const Bytes rows = cat(ones(row0), {0xFF, 0x00, 0xC7, 0x00});
    return cat(Header{.width = 69, .height = 2}.with(rows), trailer());
}

TEST_F(PcxWrite, EightBitBytesAreExact) {
    const Bytes f = save(image_of(crafted_8bit()));
    ASSERT_EQ(f.size(), 128u + 10 + 4 + 769);
    EXPECT_EQ(slice(f, 0, 12), (Bytes{0x0A, 0x05, 0x01, 0x08, 0, 0, 0, 0, 68, 0, 1, 0}));
    EXPECT_EQ(get16(f, 12), 300u);  // 11811 per metre back to dots per inch
    EXPECT_EQ(get16(f, 14), 150u);
    EXPECT_EQ(slice(f, 16, 65), Bytes(49, 0));  // 256 colours: no header palette
    EXPECT_EQ(slice(f, 65, 70), (Bytes{1, 70, 0, 1, 0}));
    EXPECT_EQ(slice(f, 70, 128), Bytes(58, 0));
    // 0x40 escaped, 63 + 1 (plain 0x07), 0xC0 escaped, 0x3F plain, three
    // zeros (two pixels and the pad byte) that do not run into row 1.
    EXPECT_EQ(slice(f, 128, 142), (Bytes{0xC1, 0x40, 0xFF, 0x07, 0x07, 0xC1, 0xC0, 0x3F, 0xC3, 0x00,
                                         0xFF, 0x00, 0xC7, 0x00}));
    EXPECT_EQ(slice(f, 142, f.size()), trailer());
}

TEST_F(PcxWrite, OffersTheFieldsItWrites) {
    QUORIN h = image_of(crafted_8bit());
    std::vector<Tag> tags;
    ASSERT_EQ(QV_load_tag_CB_register(collect_tag, &tags), 0);
    const Bytes f = save(h);
    EXPECT_EQ(tags, (std::vector<Tag>{{400, 1, 1, 10},    {401, 1, 1, 5},   {402, 1, 1, 1},
                                      {403, 1, 1, 8},     {404, 3, 2, 0},   {405, 3, 2, 0},
                                      {406, 3, 2, 68},    {407, 3, 2, 1},   {408, 3, 2, 300},
                                      {409, 3, 2, 150},   {410, 13, 48, 0}, {411, 1, 1, 0},
                                      {412, 1, 1, 1},     {413, 3, 2, 70},  {414, 3, 2, 1},
                                      {415, 3, 2, 300},   {416, 3, 2, 150}, {417, 13, 54, 0}}));
    EXPECT_EQ(get16(f, 70), 0u);  // the screen size is written as 0 whatever 415/416 say
}

TEST_F(PcxWrite, StoredRowsWhenTheCompressionFlagIsOff) {
    QUORIN h = image_of(crafted_8bit());
    ASSERT_EQ(QV_image_control_set(kPcx, 0), 0);
    const Bytes f = save(h);
    ASSERT_EQ(f.size(), 128u + 140 + 769);
    EXPECT_EQ(f[2], 0);
    EXPECT_EQ(f[128], 0x40);
    EXPECT_EQ(f[129 + 63], 0x07);
    EXPECT_EQ(f[128 + 65], 0xC0);
    EXPECT_EQ(slice(f, 128 + 67, 268), Bytes(73, 0));
    // The DCX writer's own flag: its page is that same stored file.
    QV_image_control_set(kPcx, 1);
    ASSERT_EQ(QV_image_control_set(kDcx, 0), 0);
    const Bytes d = save(h, kDcx);
    EXPECT_EQ(slice(d, 4100, d.size()), f);
    int32_t type = 0, value = -1;
    ASSERT_EQ(QV_info_get_mem(d.data(), d.size(), &type, &value, nullptr), 0);
    EXPECT_EQ(std::make_tuple(type, value), std::make_tuple(kDcx, 0));
}

TEST_F(PcxWrite, OneBitHeaderCarriesThePaletteAndAnEvenStride) {
    const Bytes rows = {0xC1, 0xFF, 0x00, 0xC1, 0x80, 0x00};
    // 17 pixels: 3 bytes, 4 per line.
    const Bytes f = save(image_of(Header{.bpp = 1, .width = 17, .height = 1}.with(rows)));
    EXPECT_EQ(std::make_tuple(f[1], f[3], f[65], get16(f, 66)), std::make_tuple(5, 1, 1, 4u));
    EXPECT_EQ(slice(f, 16, 64), cat({0, 0, 0, 255, 255, 255}, Bytes(42, 0)));
    EXPECT_EQ(slice(f, 128, f.size()), rows);
}

TEST_F(PcxWrite, TwentyFourBitsWriteThreePlanes) {
    const Bytes line = {1, 2, 3, 0, 4, 4, 4, 0, 0x90, 0x90, 0x90, 0};  // 4 bytes per plane
    const Bytes f = save(image_of(Header{.planes = 3, .width = 3, .height = 1}.with(ones(line))));
    EXPECT_EQ(std::make_tuple(f[3], f[65], get16(f, 66)), std::make_tuple(8, 3, 4u));
    EXPECT_EQ(slice(f, 128, f.size()), (Bytes{1, 2, 3, 0, 0xC3, 4, 0, 0xC3, 0x90, 0}));
    const Loaded back = load(f);
    ASSERT_EQ(back.errors, 0);
    EXPECT_EQ(back.rows[0], (Bytes{0x90, 4, 1, 0x90, 4, 2, 0x90, 4, 3, 0, 0, 0}));
}

TEST_F(PcxWrite, FourBitImagesRoundTrip) {
    Header h{.bpp = 1, .planes = 4, .width = 5, .height = 2, .palette16 = Bytes(48)};
    for (int i = 0; i < 48; ++i) h.palette16[i] = uint8_t(i * 5);
    const Bytes src =
        h.with(ones({0xF8, 0, 0x50, 0, 0x28, 0, 0x08, 0, 0x00, 0, 0xF8, 0, 0x00, 0, 0xA8, 0}));
    const Bytes f = save(image_of(src));
    // (5 + 1) / 2 = 3 bytes per line, rounded up to even.
    EXPECT_EQ(std::make_tuple(f[3], f[65], get16(f, 66)), std::make_tuple(4, 1, 4u));
    EXPECT_EQ(slice(f, 16, 64), h.palette16);
    const Loaded back = load(f);
    ASSERT_EQ(back.errors, 0);
    EXPECT_EQ(back.rgb_bytes(), load(src).rgb_bytes());
}

TEST_F(PcxWrite, DotsPerInchFromTheImageResolution) {
    QUORIN h = image_of(crafted_8bit());
    struct {
        uint32_t num, den, unit, dpi;
    } const cases[] = {{300, 1, 3, 300}, {601, 2, 3, 300},   {11811, 1, 2, 300},
                       {19, 1, 2, 0},    {20, 1, 2, 1},      {118, 1, 4, 300},
                       {1181, 1, 6, 300}, {159, 1, 5, 15},   {72, 1, 1, 72}};
    for (const auto &c : cases) {
        QV_image_resolution_set(h, c.num, c.den, c.num, c.den, c.unit);
        const Bytes f = save(h);
        EXPECT_EQ(get16(f, 12), c.dpi) << c.num << "/" << c.den << " unit " << c.unit;
        EXPECT_EQ(get16(f, 14), c.dpi) << c.num << "/" << c.den << " unit " << c.unit;
    }
}

// PCX and DCX writers alike.
TEST_F(PcxWrite, DepthsOtherThan1_4_8_24AreRefusedBeforeWriting) {
    // 8 bits in four planes load as 32 bits.
    QUORIN img =
        image_of(Header{.planes = 4, .width = 1, .height = 1}.with({1, 0, 2, 0, 3, 0, 4, 0}));
    QUORIN sixteen = nullptr;
    ASSERT_EQ(QV_image_create_DIB(3, 3, 16, nullptr, &sixteen), 0);
    keep(sixteen);
    for (int32_t format : {kPcx, kDcx})
        for (QUORIN h : {img, sixteen}) {
            int32_t errors = 0;
            EXPECT_TRUE(save(h, format, 8192, &errors).empty());
            EXPECT_EQ(errors, 1);
            EXPECT_STACK({-2413, h == img ? 32 : 16, 0});
        }
}

TEST_F(PcxWrite, ShortWritesReportWhereTheyStopped) {
    QUORIN h = image_of(crafted_8bit());
    int32_t errors = 0;
    // Five bytes of row 0 get out: C1 40, FF 07, 07; the run at pixel 65
    // (0xC0, length 1) does not.
    for (auto [room, err] : {std::pair<size_t, qvtest::Err>{100, {-2072, 128, 100}},
                             {133, {-2071, 65, 1}},
                             {128 + 14 + 768, {-2070, 768, 769}}}) {
        save(h, kPcx, room, &errors);
        EXPECT_EQ(errors, 1) << room;
        EXPECT_STACK(err);
    }
}

}  // namespace
