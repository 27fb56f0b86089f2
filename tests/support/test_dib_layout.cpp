// DIB layout rules: row sizes, image, palette and whole sizes, positions,
// masks, the gray test and DIB allocation for a record.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace {

struct RowCase {
    int32_t width, bpp;
    uint32_t bytes;
};
class BytesPerRow : public ::testing::TestWithParam<RowCase> {};

TEST_P(BytesPerRow, RoundsUpToFourBytes) {
    const RowCase &c = GetParam();
    EXPECT_EQ(VPb_bytes_per_raster_calc(c.width, c.bpp), c.bytes);
    QV_DIB_HEADER h;
    VPb_DIB_init(&h, c.width, 7, c.bpp, 0, 0, 0);
    EXPECT_EQ(VPb_DIB_bytes_per_raster_get(&h), c.bytes);
    EXPECT_EQ(h.biSizeImage, c.bytes * 7);
}

INSTANTIATE_TEST_SUITE_P(Widths, BytesPerRow,
                         ::testing::Values(RowCase{1, 1, 4}, RowCase{31, 1, 4}, RowCase{32, 1, 4},
                                           RowCase{33, 1, 8}, RowCase{1, 4, 4}, RowCase{31, 4, 16},
                                           RowCase{32, 4, 16}, RowCase{33, 4, 20}, RowCase{5, 8, 8},
                                           RowCase{3, 24, 12}, RowCase{1, 16, 4}, RowCase{3, 16, 8},
                                           RowCase{1, 32, 4}, RowCase{7, 32, 28}));

TEST(DibLayout, NegativeHeightHasTheSameImageSize) {
    QV_DIB_HEADER up, down;
    VPb_DIB_init(&up, 33, 10, 1, 0, 0, 0);
    VPb_DIB_init(&down, 33, -10, 1, 0, 0, 0);
    EXPECT_EQ(up.biSizeImage, 80u);
    EXPECT_EQ(down.biSizeImage, 80u);
    EXPECT_EQ(VPb_DIB_DIB_size_get(&up), VPb_DIB_DIB_size_get(&down));
}

struct SizeCase {
    int32_t width, height, bpp;
    uint32_t compression;
    size_t palette, whole, bits_offset, palette_offset;  // palette_offset 0: none
};
class WholeSize : public ::testing::TestWithParam<SizeCase> {};

TEST_P(WholeSize, HeaderMasksPaletteAndBits) {
    const SizeCase &c = GetParam();
    std::vector<uint8_t> block(c.whole + 16);
    auto *h = reinterpret_cast<QV_DIB_HEADER *>(block.data());
    VPb_DIB_init(h, c.width, c.height, c.bpp, c.compression, 0, 0);
    EXPECT_EQ(VPb_DIB_palette_size_get(h), c.palette);
    EXPECT_EQ(VPb_palette_size_calc(c.bpp, c.compression), c.palette);
    EXPECT_EQ(VPb_DIB_DIB_size_get(h), c.whole);
    EXPECT_EQ(VPb_image_size_calc(h), c.whole);
    EXPECT_EQ(static_cast<uint8_t *>(VPb_DIB_image_pointer_get(h)) - block.data(), ptrdiff_t(c.bits_offset));
    QV_RGBQUAD *pal = VPb_DIB_palette_pointer_get(h);
    if (c.palette_offset == 0) EXPECT_EQ(pal, nullptr);
    else EXPECT_EQ(reinterpret_cast<uint8_t *>(pal) - block.data(), ptrdiff_t(c.palette_offset));
}

INSTANTIATE_TEST_SUITE_P(
    Depths, WholeSize,
    ::testing::Values(SizeCase{640, 480, 8, 0, 1024, 308264, 1064, 40},   // 40 + 1,024 + 307,200
                      SizeCase{1, 1, 1, 0, 8, 52, 48, 40}, SizeCase{33, -3, 4, 0, 64, 40 + 64 + 60, 104, 40},
                      SizeCase{10, 10, 24, 0, 0, 40 + 320, 40, 0},
                      SizeCase{10, 10, 16, 0, 0, 40 + 200, 40, 0},  // no mask room at compression 0
                      SizeCase{10, 10, 16, 3, 0, 52 + 200, 52, 0},
                      SizeCase{10, 10, 16, 503, 0, 52 + 200, 52, 0},
                      SizeCase{10, 10, 32, 3, 0, 52 + 400, 52, 0},
                      // 16 bits at 504: 65,536 entries (262,144 bytes) after the masks
                      SizeCase{2, 2, 16, 504, 262144, 52 + 262144 + 8, 52 + 262144, 52},
                      SizeCase{2, 2, 8, 504, 1024, 52 + 1024 + 8, 52 + 1024, 52}));

TEST(DibLayout, RunEncodedWholeSizeUsesTheImageSizeField) {
    QV_DIB_HEADER h;
    VPb_DIB_init(&h, 100, 50, 1, 500, 0, 0);
    h.biSizeImage = 1234;
    EXPECT_EQ(VPb_DIB_DIB_size_get(&h), 40u + 8u + 1234u);
}

TEST(DibLayout, InitWritesTheFixedFields) {
    QV_DIB_HEADER h;
    std::memset(&h, 0xAB, sizeof h);
    VPb_DIB_init(&h, 9, -4, 24, 0, 2835, 3937);
    EXPECT_EQ(h.biSize, 40u);
    EXPECT_EQ(h.biPlanes, 1);
    EXPECT_EQ(h.biWidth, 9);
    EXPECT_EQ(h.biHeight, -4);
    EXPECT_EQ(h.biSizeImage, 28u * 4u);
    EXPECT_EQ(h.biXPelsPerMeter, 2835);
    EXPECT_EQ(h.biYPelsPerMeter, 3937);
    EXPECT_EQ(h.biClrUsed, 0u);
    EXPECT_EQ(h.biClrImportant, 0u);
}

TEST(DibLayout, MasksFollowTheHeader) {
    std::vector<uint32_t> block(32);
    auto *h = reinterpret_cast<QV_DIB_HEADER *>(block.data());
    VPb_DIB_init(h, 2, 2, 16, 3, 0, 0);
    VPb_DIB_red_mask_set(h, 0xF800);
    VPb_DIB_green_mask_set(h, 0x07E0);
    VPb_DIB_blue_mask_set(h, 0x001F);
    EXPECT_EQ(block[10], 0xF800u);
    EXPECT_EQ(block[11], 0x07E0u);
    EXPECT_EQ(block[12], 0x001Fu);
    EXPECT_EQ(VPb_DIB_green_mask_get(h), 0x07E0u);
}

// A DIB with a palette whose entry `bad` (if >= 0) is off the ramp.
std::vector<uint8_t> ramp_dib(int32_t bpp, int bad, int delta = 1) {
    std::vector<uint8_t> block(40 + 1024 + 64);
    auto *h = reinterpret_cast<QV_DIB_HEADER *>(block.data());
    VPb_DIB_init(h, 1, 1, bpp, 0, 0, 0);
    QV_RGBQUAD *p = VPb_DIB_palette_pointer_get(h);
    for (int i = 0; i < (1 << bpp); ++i) p[i] = QV_RGBQUAD{uint8_t(i), uint8_t(i), uint8_t(i), 0};
    if (bad >= 0) p[bad].rgbRed = uint8_t(p[bad].rgbRed + delta);
    return block;
}

TEST(DibLayout, GrayTestIsTheIdentityRampOnly) {
    auto ok8 = ramp_dib(8, -1);
    EXPECT_EQ(VPb_DIB_is_gray_scale(reinterpret_cast<QV_DIB_HEADER *>(ok8.data())), 1);
    auto off = ramp_dib(8, 200);  // entry 200 is (200, 200, 201)
    EXPECT_EQ(VPb_DIB_is_gray_scale(reinterpret_cast<QV_DIB_HEADER *>(off.data())), 0);
    auto ok4 = ramp_dib(4, -1);  // 0..15, not 0, 17, ...
    EXPECT_EQ(VPb_DIB_is_gray_scale(reinterpret_cast<QV_DIB_HEADER *>(ok4.data())), 1);
    auto bw = ramp_dib(1, 1, 254);  // black and white: not gray by this test
    EXPECT_EQ(VPb_DIB_is_gray_scale(reinterpret_cast<QV_DIB_HEADER *>(bw.data())), 0);
    QV_DIB_HEADER rgb;
    VPb_DIB_init(&rgb, 1, 1, 24, 0, 0, 0);
    EXPECT_EQ(VPb_DIB_is_gray_scale(&rgb), 0);
}

TEST(DibAlloc, OneBitBecomesRunEncodedWithNoRowStored) {
    size_t live = iQV_mem_live_blocks();
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    QUORIN rec = VPb_image_alloc(tag);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(QV_image_is_valid(rec), 0);  // not bound yet
    QV_DIB_HEADER t;
    VPb_DIB_init(&t, 100, 20, 1, 0, 0, 0);
    QV_RGBQUAD pal[2] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    QV_DIB_HEADER *dib = VPb_DIB_alloc(rec, &t, pal);
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->biCompression, 500u);
    EXPECT_EQ(dib->biSizeImage, 16u * 20u);
    EXPECT_EQ(VPb_DIB_palette_pointer_get(dib)[0].rgbRed, 255);
    EXPECT_EQ(VPb_image_associate(dib, rec, 1), 0);
    EXPECT_EQ(QV_image_is_valid(rec), 1);
    uint16_t runs[208];
    EXPECT_EQ(VPb_image_run_row_get(rec, 7, runs), 0);
    EXPECT_EQ(std::vector<uint16_t>(runs, runs + 4), (std::vector<uint16_t>{8, 100, 100, 100}));
    EXPECT_EQ(QV_image_delete(rec), 0);
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

TEST(DibAlloc, WideOneBitStaysPacked) {
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    QUORIN rec = VPb_image_alloc(tag);
    QV_DIB_HEADER t;
    VPb_DIB_init(&t, 32764, 2, 1, 0, 0, 0);
    QV_DIB_HEADER *dib = VPb_DIB_alloc(rec, &t, nullptr);
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->biCompression, 0u);
    VPb_DIB_init(&t, 32763, 2, 1, 0, 0, 0);
    QV_DIB_HEADER *dib2 = VPb_DIB_alloc(rec, &t, nullptr);
    EXPECT_EQ(dib2->biCompression, 500u);
    EXPECT_EQ(VPb_DIB_free(rec, dib2), 0);
    EXPECT_EQ(VPb_image_associate(dib, rec, 1), 0);
    QV_image_delete(rec);
    EXPECT_EQ(iQV_mem_block_count(tag), 0u);
}

TEST(DibAlloc, LockedRecordIsRefused) {
    QUORIN rec = VPb_image_alloc(VPb_AF_mem_unique_tag_get());
    EXPECT_EQ(VPb_image_lock(rec), 1);
    EXPECT_EQ(VPb_image_lock(rec), 0);
    QV_error_clear();
    QV_DIB_HEADER t;
    VPb_DIB_init(&t, 4, 4, 8, 0, 0, 0);
    EXPECT_EQ(VPb_DIB_alloc(rec, &t, nullptr), nullptr);
    ASSERT_EQ(QV_error_check(), 1);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_LOCK_FAILED);
    EXPECT_EQ(VPb_image_unlock(rec), 1);
    EXPECT_EQ(VPb_image_unlock(rec), 0);
    QV_DIB_HEADER *dib = VPb_DIB_alloc(rec, &t, nullptr);
    ASSERT_NE(dib, nullptr);
    VPb_image_associate(dib, rec, 0);
    QV_image_delete(rec);
}

TEST(DibAlloc, FreeOfAForeignBlockReports3030) {
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    QUORIN rec = VPb_image_alloc(tag);
    QV_DIB_HEADER not_ours;
    VPb_DIB_init(&not_ours, 1, 1, 8, 0, 0, 0);
    QV_error_clear();
    EXPECT_EQ(VPb_DIB_free(rec, &not_ours), 1);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_FREE_FAILED);
    EXPECT_EQ(uint32_t(qvtest::error_at(0).lVal), tag);
    QV_DIB_HEADER *dib = VPb_DIB_alloc(rec, &not_ours, nullptr);
    VPb_image_associate(dib, rec, 1);
    QV_image_delete(rec);
    EXPECT_EQ(iQV_mem_block_count(tag), 0u);
}

}  // namespace
