// PCX writer: exact header and row bytes (escaping, 63-byte runs, runs kept
// inside a line), stored rows, the 256-colour trailer, resolution units,
// refused depths and short writes; round trips through the reader.
#include <gtest/gtest.h>

#include <tuple>

#include "common/test_util.h"
#include "test_pcx_util.h"
#include "vosk32pd_bridge.h"

namespace {

using namespace pcxtest;

constexpr int32_t kPcx = 31;

class PcxWrite : public ::testing::Test {
protected:
    void SetUp() override {
        VPb_error_clear_on_set(1);
        QV_error_clear();
    }
    void TearDown() override {
        QV_load_tag_CB_register(nullptr, nullptr);
        QV_image_control_set(31, 1);
        for (QUORIN h : images_) QV_image_delete(h);
        QV_error_clear();
    }
    QUORIN image_of(const Bytes &pcx) {
        int32_t errors = 0;
        QUORIN h = load_image(pcx, 1, &errors);
        EXPECT_EQ(errors, 0);
        if (h) images_.push_back(h);
        return h;
    }
    static Bytes save(QUORIN h, size_t room = 1 << 20, int32_t *errors = nullptr) {
        Bytes out(room);
        size_t written = 0;
        int32_t n = QV_save_mem(h, out.data(), out.size(), 0, 0, 1, kPcx, &written);
        if (errors) *errors = n;
        else EXPECT_EQ(n, 0);
        out.resize(written);
        return out;
    }
    static bool has_error(int32_t code, int32_t iVal, int32_t lVal) {
        for (const auto &e : qvtest::errors()) {
            if (e.code == code && e.iVal == iVal && e.lVal == lVal) return true;
        }
        return false;
    }
    std::vector<QUORIN> images_;
};

// An 8-bit image of 69 x 2 (bytes per line 70): row 0 is 0x40, 64 x 0x07,
// 0xC0, 0x3F, 0x00, 0x00; row 1 is all zero.
Bytes crafted_8bit() {
    Header h;
    h.width = 69;
    h.height = 2;
    Bytes row0 = {0x40};
    row0.insert(row0.end(), 64, 0x07);
    row0.insert(row0.end(), {0xC0, 0x3F, 0x00, 0x00, 0x00});
    Bytes data;
    for (uint8_t b : row0) data.insert(data.end(), {0xC1, b});
    data.insert(data.end(), {0xFF, 0x00, 0xC7, 0x00});
    return cat(cat(h.bytes(), data), trailer());
}

TEST_F(PcxWrite, EightBitBytesAreExact) {
    QUORIN h = image_of(crafted_8bit());
    ASSERT_NE(h, nullptr);
    Bytes f = save(h);
    ASSERT_EQ(f.size(), 128u + 10 + 4 + 769);
    const Bytes head = {0x0A, 0x05, 0x01, 0x08, 0, 0, 0, 0, 68, 0, 1, 0};
    EXPECT_EQ(Bytes(f.begin(), f.begin() + 12), head);
    EXPECT_EQ(get16(f, 12), 300u);  // 11811 per metre back to dots per inch
    EXPECT_EQ(get16(f, 14), 150u);
    EXPECT_EQ(Bytes(f.begin() + 16, f.begin() + 65), Bytes(49, 0));  // 256 colours: no header palette
    EXPECT_EQ(f[65], 1);
    EXPECT_EQ(get16(f, 66), 70u);
    EXPECT_EQ(get16(f, 68), 1u);
    EXPECT_EQ(Bytes(f.begin() + 70, f.begin() + 128), Bytes(58, 0));
    // 0x40 escaped, 63 + 1 (plain 0x07), 0xC0 escaped, 0x3F plain, three
    // zeros (two pixels and the pad byte) that do not run into row 1.
    const Bytes rows = {0xC1, 0x40, 0xFF, 0x07, 0x07, 0xC1, 0xC0, 0x3F, 0xC3, 0x00,
                        0xFF, 0x00, 0xC7, 0x00};
    EXPECT_EQ(Bytes(f.begin() + 128, f.begin() + 142), rows);
    EXPECT_EQ(Bytes(f.begin() + 142, f.end()), trailer());
}

TEST_F(PcxWrite, OffersTheFieldsItWrites) {
    QUORIN h = image_of(crafted_8bit());
    std::vector<Tag> tags;
    ASSERT_EQ(QV_load_tag_CB_register(collect_tag, &tags), 0);
    Bytes f = save(h);
    ASSERT_EQ(tags.size(), 18u);
    const uint32_t want[18] = {10, 5, 1, 8, 0, 0, 68, 1, 300, 150, 0, 0, 1, 70, 1, 300, 150, 0};
    for (int i = 0; i < 18; ++i) {
        EXPECT_EQ(tags[size_t(i)].id, 400 + i);
        EXPECT_EQ(tags[size_t(i)].value, want[i]) << 400 + i;
    }
    EXPECT_EQ(tags[10].type, 13);
    EXPECT_EQ(tags[10].count, 48);
    EXPECT_EQ(tags[17].count, 54);
    EXPECT_EQ(get16(f, 70), 0u);  // the screen size is written as 0 whatever 415/416 say
}

TEST_F(PcxWrite, StoredRowsWhenTheCompressionFlagIsOff) {
    QUORIN h = image_of(crafted_8bit());
    ASSERT_EQ(QV_image_control_set(31, 0), 0);
    Bytes f = save(h);
    ASSERT_EQ(f.size(), 128u + 140 + 769);
    EXPECT_EQ(f[2], 0);
    EXPECT_EQ(f[128], 0x40);
    EXPECT_EQ(f[129 + 63], 0x07);
    EXPECT_EQ(f[128 + 65], 0xC0);
    EXPECT_EQ(Bytes(f.begin() + 128 + 67, f.begin() + 268), Bytes(73, 0));
}

TEST_F(PcxWrite, OneBitHeaderCarriesThePaletteAndAnEvenStride) {
    Header h;
    h.bpp = 1;
    h.width = 17;  // 3 bytes of pixels, 4 per line
    h.height = 1;
    QUORIN img = image_of(cat(h.bytes(), {0xC1, 0xFF, 0x00, 0xC1, 0x80, 0x00}));
    Bytes f = save(img);
    EXPECT_EQ(f[1], 5);
    EXPECT_EQ(f[3], 1);
    EXPECT_EQ(f[65], 1);
    EXPECT_EQ(get16(f, 66), 4u);
    EXPECT_EQ(Bytes(f.begin() + 16, f.begin() + 22), (Bytes{0, 0, 0, 255, 255, 255}));
    EXPECT_EQ(Bytes(f.begin() + 22, f.begin() + 64), Bytes(42, 0));
    EXPECT_EQ(Bytes(f.begin() + 128, f.end()), (Bytes{0xC1, 0xFF, 0x00, 0xC1, 0x80, 0x00}));
}

TEST_F(PcxWrite, TwentyFourBitsWriteThreePlanes) {
    Header h;
    h.planes = 3;
    h.width = 3;  // 4 bytes per plane
    h.height = 1;
    Bytes line = {1, 2, 3, 0, 4, 4, 4, 0, 0x90, 0x90, 0x90, 0};
    Bytes enc;
    for (uint8_t b : line) enc.insert(enc.end(), {0xC1, b});
    QUORIN img = image_of(cat(h.bytes(), enc));
    Bytes f = save(img);
    EXPECT_EQ(f[3], 8);
    EXPECT_EQ(f[65], 3);
    EXPECT_EQ(get16(f, 66), 4u);
    EXPECT_EQ(Bytes(f.begin() + 128, f.end()), (Bytes{1, 2, 3, 0, 0xC3, 4, 0, 0xC3, 0x90, 0}));
    Loaded back = load(f);
    ASSERT_EQ(back.errors, 0);
    EXPECT_EQ(back.rows[0], (Bytes{0x90, 4, 1, 0x90, 4, 2, 0x90, 4, 3, 0, 0, 0}));
}

TEST_F(PcxWrite, FourBitImagesRoundTrip) {
    Header h;
    h.bpp = 1;
    h.planes = 4;
    h.width = 5;
    h.height = 2;
    h.palette16 = Bytes(48, 0);
    for (int i = 0; i < 48; ++i) h.palette16[i] = uint8_t(i * 5);
    Bytes planes;
    for (uint8_t b : {0xF8, 0, 0x50, 0, 0x28, 0, 0x08, 0, 0x00, 0, 0xF8, 0, 0x00, 0, 0xA8, 0}) {
        planes.insert(planes.end(), {0xC1, b});
    }
    QUORIN img = image_of(cat(h.bytes(), planes));
    Loaded src = load(cat(h.bytes(), planes));
    Bytes f = save(img);
    EXPECT_EQ(f[3], 4);
    EXPECT_EQ(f[65], 1);
    EXPECT_EQ(get16(f, 66), 4u);  // (5 + 1) / 2 = 3, rounded up to even
    EXPECT_EQ(Bytes(f.begin() + 16, f.begin() + 64), h.palette16);
    Loaded back = load(f);
    ASSERT_EQ(back.errors, 0);
    EXPECT_EQ(back.rgb_bytes(), src.rgb_bytes());
}

struct ResCase {
    uint32_t num, den, unit;
    uint32_t dpi;
};

class PcxWriteRes : public PcxWrite, public ::testing::WithParamInterface<ResCase> {};

TEST_P(PcxWriteRes, DotsPerInchFromTheImageResolution) {
    QUORIN h = image_of(crafted_8bit());
    const ResCase &c = GetParam();
    QV_image_resolution_set(h, c.num, c.den, c.num, c.den, c.unit);
    QV_error_clear();
    Bytes f = save(h);
    EXPECT_EQ(get16(f, 12), c.dpi);
    EXPECT_EQ(get16(f, 14), c.dpi);
}

INSTANTIATE_TEST_SUITE_P(Units, PcxWriteRes,
                         ::testing::Values(ResCase{300, 1, 3, 300}, ResCase{601, 2, 3, 300},
                                           ResCase{11811, 1, 2, 300}, ResCase{19, 1, 2, 0},
                                           ResCase{20, 1, 2, 1}, ResCase{118, 1, 4, 300},
                                           ResCase{1181, 1, 6, 300}, ResCase{159, 1, 5, 15},
                                           ResCase{72, 1, 1, 72}));

TEST_F(PcxWrite, DepthsOtherThan1_4_8_24AreRefusedBeforeWriting) {
    Header h;
    h.planes = 4;  // 8 bits in four planes load as 32 bits
    h.width = 1;
    h.height = 1;
    QUORIN img = image_of(cat(h.bytes(), {1, 0, 2, 0, 3, 0, 4, 0}));
    int32_t errors = 0;
    Bytes f = save(img, 4096, &errors);
    EXPECT_GE(errors, 1);
    EXPECT_TRUE(has_error(-2413, 32, 0));
    EXPECT_TRUE(f.empty());
    QUORIN sixteen = nullptr;
    ASSERT_EQ(QV_image_create_DIB(3, 3, 16, nullptr, &sixteen), 0);
    images_.push_back(sixteen);
    QV_error_clear();
    save(sixteen, 4096, &errors);
    EXPECT_TRUE(has_error(-2413, 16, 0));
}

TEST_F(PcxWrite, ShortWritesReportWhereTheyStopped) {
    QUORIN h = image_of(crafted_8bit());
    int32_t errors = 0;
    save(h, 100, &errors);
    EXPECT_TRUE(has_error(-2072, 128, 100));
    QV_error_clear();
    // Five bytes of row 0 get out: C1 40, FF 07, 07; the run at pixel 65
    // (0xC0, length 1) does not.
    save(h, 133, &errors);
    EXPECT_TRUE(has_error(-2071, 65, 1));
    QV_error_clear();
    save(h, 128 + 14 + 768, &errors);
    EXPECT_TRUE(has_error(-2070, 768, 769));
}

}  // namespace
