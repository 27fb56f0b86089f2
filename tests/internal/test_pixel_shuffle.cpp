// Row shuffles: the SIMD steps and the plain tail give the same bytes
// as the rule, at widths around the step.
#include <gtest/gtest.h>

#include <vector>

#include "filters/pixel_shuffle.h"

namespace {

TEST(PixelShuffle, InterleaveAndSwapMatchTheRule) {
    for (size_t w : {0u, 1u, 15u, 16u, 17u, 47u, 100u}) {
        std::vector<uint8_t> a(w), b(w), c(w), in(3 * w), out(3 * w), sw(3 * w);
        for (size_t i = 0; i < w; ++i) a[i] = uint8_t(i), b[i] = uint8_t(i + 100), c[i] = uint8_t(i * 7);
        for (size_t i = 0; i < 3 * w; ++i) in[i] = uint8_t(i * 13 + 5);
        qv::interleave3(a.data(), b.data(), c.data(), w, out.data());
        qv::swap3(in.data(), w, sw.data());
        std::vector<uint8_t> in4(4 * w), d0(3 * w), d1(3 * w);
        for (size_t i = 0; i < 4 * w; ++i) in4[i] = uint8_t(i * 3 + 1);
        qv::drop4(in4.data(), w, 0, d0.data());
        qv::drop4(in4.data(), w, 1, d1.data());
        for (size_t x = 0; x < w; ++x) {
            EXPECT_EQ(out[3 * x], a[x]) << w;
            EXPECT_EQ(out[3 * x + 1], b[x]) << w;
            EXPECT_EQ(out[3 * x + 2], c[x]) << w;
            EXPECT_EQ(sw[3 * x], in[3 * x + 2]) << w;
            EXPECT_EQ(sw[3 * x + 1], in[3 * x + 1]) << w;
            EXPECT_EQ(sw[3 * x + 2], in[3 * x]) << w;
            const uint8_t *p = in4.data() + 4 * x;
            EXPECT_EQ(std::vector<uint8_t>(d0.begin() + long(3 * x), d0.begin() + long(3 * x + 3)),
                      (std::vector<uint8_t>{p[0], p[1], p[2]})) << w;
            EXPECT_EQ(std::vector<uint8_t>(d1.begin() + long(3 * x), d1.begin() + long(3 * x + 3)),
                      (std::vector<uint8_t>{p[3], p[2], p[1]})) << w;
        }
    }
}

}  // namespace
