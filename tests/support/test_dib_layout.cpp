// DIB layout rules: row sizes, image, palette and whole sizes, positions, masks, the gray test
// and DIB allocation for a record.
#include <cstring>

#include "common/test_util.h"

namespace {

using V = std::vector<int64_t>;

TEST(DibLayout, InitAndBytesPerRowRoundedUpToFourBytes) {
    const struct {
        int32_t width, bpp;
        uint32_t bytes;
    } cases[] = {{1, 1, 4},   {31, 1, 4},  {32, 1, 4}, {33, 1, 8},  {1, 4, 4},
                 {31, 4, 16}, {32, 4, 16}, {33, 4, 20}, {5, 8, 8},   {3, 24, 12},
                 {1, 16, 4},  {3, 16, 8},  {1, 32, 4}, {7, 32, 28}};
    for (const auto &c : cases) {
        QV_DIB_HEADER h;
        VPb_DIB_init(&h, c.width, 7, c.bpp, 0, 0, 0);
        EXPECT_EQ((V{VPb_bytes_per_raster_calc(c.width, c.bpp), VPb_DIB_bytes_per_raster_get(&h),
                     h.biSizeImage}),
                  (V{c.bytes, c.bytes, c.bytes * 7}))
            << c.width << "x" << c.bpp;
    }
    QV_DIB_HEADER h, up;
    std::memset(&h, 0xAB, sizeof h);
    VPb_DIB_init(&h, 9, -4, 24, 0, 2835, 3937);
    EXPECT_EQ((V{h.biSize, h.biWidth, h.biHeight, h.biPlanes, h.biBitCount, h.biCompression,
                 h.biSizeImage, h.biXPelsPerMeter, h.biYPelsPerMeter, h.biClrUsed,
                 h.biClrImportant}),
              (V{40, 9, -4, 1, 24, 0, 28 * 4, 2835, 3937, 0, 0}));
    VPb_DIB_init(&h, 33, -10, 1, 0, 0, 0);  // a negative height has the same sizes
    VPb_DIB_init(&up, 33, 10, 1, 0, 0, 0);
    EXPECT_EQ((V{h.biSizeImage, up.biSizeImage, int64_t(VPb_DIB_DIB_size_get(&h))}),
              (V{80, 80, int64_t(VPb_DIB_DIB_size_get(&up))}));
}

TEST(DibLayout, WholeSizeOfHeaderMasksPaletteAndBits) {
    const struct {
        int32_t width, height, bpp;
        uint32_t compression;
        size_t palette, whole, bits_offset, palette_offset;  // palette_offset 0: none
    } cases[] = {
        {640, 480, 8, 0, 1024, 308264, 1064, 40},  // 40 + 1,024 + 307,200
        {1, 1, 1, 0, 8, 52, 48, 40},               {33, -3, 4, 0, 64, 40 + 64 + 60, 104, 40},
        {10, 10, 24, 0, 0, 40 + 320, 40, 0},
        {10, 10, 16, 0, 0, 40 + 200, 40, 0},  // no mask room at compression 0
        {10, 10, 16, 3, 0, 52 + 200, 52, 0},       {10, 10, 16, 503, 0, 52 + 200, 52, 0},
        {10, 10, 32, 3, 0, 52 + 400, 52, 0},
        // 16 bits at 504: 65,536 entries (262,144 bytes) after the masks
        {2, 2, 16, 504, 262144, 52 + 262144 + 8, 52 + 262144, 52},
        {2, 2, 8, 504, 1024, 52 + 1024 + 8, 52 + 1024, 52},
    };
    for (const auto &c : cases) {
        std::vector<uint8_t> block(c.whole + 16);
        auto *h = reinterpret_cast<QV_DIB_HEADER *>(block.data());
        VPb_DIB_init(h, c.width, c.height, c.bpp, c.compression, 0, 0);
        auto *bits = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(h));
        auto *pal = reinterpret_cast<uint8_t *>(VPb_DIB_palette_pointer_get(h));
        using S = std::vector<size_t>;
        EXPECT_EQ((S{VPb_DIB_palette_size_get(h), VPb_palette_size_calc(c.bpp, c.compression),
                     VPb_DIB_DIB_size_get(h), VPb_image_size_calc(h), size_t(bits - block.data()),
                     pal ? size_t(pal - block.data()) : 0}),
                  (S{c.palette, c.palette, c.whole, c.whole, c.bits_offset, c.palette_offset}))
            << c.width << "x" << c.height << "x" << c.bpp << " " << c.compression;
    }
    QV_DIB_HEADER h;  // run-encoded: the image size field counts
    VPb_DIB_init(&h, 100, 50, 1, 500, 0, 0);
    h.biSizeImage = 1234;
    EXPECT_EQ(VPb_DIB_DIB_size_get(&h), 40u + 8u + 1234u);
}

TEST(DibLayout, MasksFollowTheHeader) {
    std::vector<uint32_t> block(32);
    auto *h = reinterpret_cast<QV_DIB_HEADER *>(block.data());
    VPb_DIB_init(h, 2, 2, 16, 3, 0, 0);
    VPb_DIB_red_mask_set(h, 0xF800);
    VPb_DIB_green_mask_set(h, 0x07E0);
    VPb_DIB_blue_mask_set(h, 0x001F);
    EXPECT_EQ(std::vector<uint32_t>(block.begin() + 10, block.begin() + 13),
              (std::vector<uint32_t>{0xF800, 0x07E0, 0x001F}));
    EXPECT_EQ(VPb_DIB_green_mask_get(h), 0x07E0u);
}

// The gray test of a DIB whose identity-ramp palette has entry `bad` (if >= 0) off by delta.
int32_t gray_with(int32_t bpp, int bad, int delta = 1) {
    std::vector<uint8_t> block(40 + 1024 + 64);
    auto *h = reinterpret_cast<QV_DIB_HEADER *>(block.data());
    VPb_DIB_init(h, 1, 1, bpp, 0, 0, 0);
    QV_RGBQUAD *p = VPb_DIB_palette_pointer_get(h);
    for (int i = 0; i < (1 << bpp); ++i) p[i] = QV_RGBQUAD{uint8_t(i), uint8_t(i), uint8_t(i), 0};
    if (bad >= 0) p[bad].rgbRed = uint8_t(p[bad].rgbRed + delta);
    return VPb_DIB_is_gray_scale(h);
}

TEST(DibLayout, GrayTestIsTheIdentityRampOnly) {
    EXPECT_EQ(gray_with(8, -1), 1);
    EXPECT_EQ(gray_with(8, 200), 0);      // entry 200 is (200, 200, 201)
    EXPECT_EQ(gray_with(4, -1), 1);       // 0..15, not 0, 17, ...
    EXPECT_EQ(gray_with(1, 1, 254), 0);  // black and white: not gray by this test
    QV_DIB_HEADER rgb;
    VPb_DIB_init(&rgb, 1, 1, 24, 0, 0, 0);
    EXPECT_EQ(VPb_DIB_is_gray_scale(&rgb), 0);
}

class DibAlloc : public ::testing::Test {
protected:
    void SetUp() override {
        QV_error_clear();  // VPb_image_associate returns the error count
        live = iQV_mem_live_blocks();
        rec = VPb_image_alloc(tag);
        ASSERT_NE(rec, nullptr);
    }
    void TearDown() override { EXPECT_EQ(iQV_mem_live_blocks(), live); }
    size_t live = 0;
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    QUORIN rec = nullptr;
    QV_DIB_HEADER t;
};

TEST_F(DibAlloc, OneBitBecomesRunEncodedWithNoRowStored) {
    EXPECT_EQ(QV_image_is_valid(rec), 0);  // not bound yet
    VPb_DIB_init(&t, 100, 20, 1, 0, 0, 0);
    QV_RGBQUAD pal[2] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    QV_DIB_HEADER *dib = VPb_DIB_alloc(rec, &t, pal);
    ASSERT_NE(dib, nullptr);
    uint16_t runs[208];
    EXPECT_EQ((V{dib->biCompression, dib->biSizeImage, VPb_DIB_palette_pointer_get(dib)[0].rgbRed,
                 VPb_image_associate(dib, rec, 1), QV_image_is_valid(rec),
                 VPb_image_run_row_get(rec, 7, runs)}),
              (V{500, 16 * 20, 255, 0, 1, 0}));
    EXPECT_EQ(std::vector<uint16_t>(runs, runs + 4), (std::vector<uint16_t>{8, 100, 100, 100}));
    EXPECT_EQ(QV_image_delete(rec), 0);
}

TEST_F(DibAlloc, WideOneBitStaysPacked) {
    VPb_DIB_init(&t, 32764, 2, 1, 0, 0, 0);
    QV_DIB_HEADER *dib = VPb_DIB_alloc(rec, &t, nullptr);
    VPb_DIB_init(&t, 32763, 2, 1, 0, 0, 0);
    QV_DIB_HEADER *dib2 = VPb_DIB_alloc(rec, &t, nullptr);
    ASSERT_TRUE(dib && dib2);
    EXPECT_EQ((V{dib->biCompression, dib2->biCompression, VPb_DIB_free(rec, dib2),
                 VPb_image_associate(dib, rec, 1)}),
              (V{0, 500, 0, 0}));
    QV_image_delete(rec);
}

TEST_F(DibAlloc, LockedRecordIsRefused) {
    EXPECT_EQ((V{VPb_image_lock(rec), VPb_image_lock(rec)}), (V{1, 0}));
    VPb_DIB_init(&t, 4, 4, 8, 0, 0, 0);
    EXPECT_EQ(VPb_DIB_alloc(rec, &t, nullptr), nullptr);
    EXPECT_EQ((V{QV_error_check(), qvtest::error_at(0).code}), (V{1, QVE_LOCK_FAILED}));
    EXPECT_EQ((V{VPb_image_unlock(rec), VPb_image_unlock(rec)}), (V{1, 0}));
    QV_DIB_HEADER *dib = VPb_DIB_alloc(rec, &t, nullptr);
    ASSERT_NE(dib, nullptr);
    VPb_image_associate(dib, rec, 0);
    QV_image_delete(rec);
}

TEST_F(DibAlloc, FreeOfAForeignBlockReports3030) {
    VPb_DIB_init(&t, 1, 1, 8, 0, 0, 0);
    EXPECT_EQ(VPb_DIB_free(rec, &t), 1);
    EXPECT_EQ((V{qvtest::error_at(0).code, uint32_t(qvtest::error_at(0).lVal)}),
              (V{QVE_FREE_FAILED, tag}));
    VPb_image_associate(VPb_DIB_alloc(rec, &t, nullptr), rec, 1);
    QV_image_delete(rec);
}

}  // namespace
