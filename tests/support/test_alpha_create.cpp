// A built alpha companion, and the declared-but-absent internet load.
#include "common/test_util.h"

namespace {

TEST(AlphaCreate, SameSizeConstantFillReplacesThePreviousOne) {
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_create_DIB(37, 5, 24, nullptr, &img), 0);
    ASSERT_EQ(QV_image_create_alpha(img, 200), 0);
    QUORIN first = nullptr;
    ASSERT_EQ(QV_image_alpha_get(img, &first), 0);
    ASSERT_EQ(QV_image_is_valid(first), 1);
    int32_t gray = 0;
    EXPECT_EQ(qvtest::dims(first), (std::vector<int32_t>{37, 5, 8}));
    ASSERT_EQ(QV_image_is_gray(first, &gray), 0);
    EXPECT_EQ(gray, 1);
    std::vector<uint8_t> row(40);
    for (int32_t y = 0; y < 5; ++y) {
        ASSERT_EQ(QV_DIB_raster_get(first, y, row.data(), 1), 0);
        for (int x = 0; x < 37; ++x) ASSERT_EQ(row[size_t(x)], 200) << x << "," << y;
    }
    ASSERT_EQ(QV_image_create_alpha(img, 0), 0);
    EXPECT_EQ(QV_image_is_valid(first), 0);  // the previous companion was deleted
    EXPECT_EQ(QV_image_create_alpha(img, 256), 1);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_BAD_ARGUMENT);
    EXPECT_EQ(qvtest::error_at(0).iVal, 256);
    ASSERT_EQ(QV_image_delete(img), 0);
}

TEST(LoadInternet, NotAvailable) {
    QUORIN h = reinterpret_cast<QUORIN>(1);
    EXPECT_EQ(QV_load_internet("http://example.invalid/a.bmp", &h), 1);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_NOT_AVAILABLE);
}

}  // namespace
