// Rotation by any angle: the vector (AVX2) span loops against the scalar ones, pixel for pixel,
// on random pictures of every depth they serve, in both modes and at angles of every quadrant.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "img_proc/rotate_any.h"
#include "vosk32pd.h"

namespace {

using Rows = std::vector<std::vector<uint8_t>>;

QUORIN random_image(int32_t w, int32_t h, int32_t bpp, uint32_t seed) {
    QUORIN img = nullptr;
    EXPECT_EQ(QV_image_create_DIB_ex(w, h, bpp, 0, nullptr, &img), 0);
    int32_t n = 0;
    QV_DIB_raster_size_get(img, 1, &n);
    std::mt19937 rng(seed);
    auto row = std::vector<uint8_t>(size_t(n));
    for (int32_t y = 0; y < h; ++y) {
        for (auto &b : row) b = uint8_t(rng());
        QV_DIB_raster_set(img, y, row.data(), 1);
    }
    return img;
}

Rows rasters(QUORIN img) {
    int32_t w = 0, h = 0, bpp = 0, n = 0;
    QV_image_dimensions_get(img, &w, &h, &bpp);
    QV_DIB_raster_size_get(img, 1, &n);
    auto rows = Rows(size_t(h), std::vector<uint8_t>(size_t(n)));
    for (int32_t y = 0; y < h; ++y) QV_DIB_raster_get(img, y, rows[size_t(y)].data(), 1);
    return rows;
}

Rows turned(int32_t w, int32_t h, int32_t bpp, double angle, int32_t mode, bool simd) {
    qv::rotate_any_simd = simd;
    QUORIN img = random_image(w, h, bpp, uint32_t(w * 131 + h * 7 + bpp));
    const uint8_t bg[3] = {1, 2, 3};
    EXPECT_EQ(QV_IP_rotate_any_angle_bkgrnd(img, angle, mode, bg), 0);
    qv::rotate_any_simd = true;
    Rows out = rasters(img);
    QV_image_delete(img);
    return out;
}

TEST(RotateAnySimd, VectorSpansMatchTheScalarLoops) {
    for (int32_t bpp : {1, 8, 16, 24})
        for (auto [w, h] : std::vector<std::pair<int32_t, int32_t>>{{200, 150}, {77, 41}, {9, 300}})
            for (double a : {17.0, -33.3, 123.4, -160.0, 271.5})
                for (int32_t mode : {0, 1}) {
                    SCOPED_TRACE(testing::Message() << bpp << " bits " << w << "x" << h << " at " << a << " mode " << mode);
                    EXPECT_TRUE(turned(w, h, bpp, a, mode, true) == turned(w, h, bpp, a, mode, false));
                }
}

}  // namespace
