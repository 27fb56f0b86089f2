// The PackBits codec: literal, repeat and no-op records, output cut at its
// end, and encoding that decodes back.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "filters/packbits.h"

namespace {

TEST(PackBits, DecodesAndEncodes) {
    const uint8_t src[] = {2, 'a', 'b', 'c', 0xFE, 'x', 0x80, 0, 'z'};
    uint8_t out[16] = {};
    size_t used = 0;
    EXPECT_EQ(qv::packbits_decode(src, sizeof src, out, sizeof out, &used), 7u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out), 7), "abcxxxz");
    EXPECT_EQ(used, sizeof src);
    EXPECT_EQ(qv::packbits_decode(src, sizeof src, out, 4, &used), 4u);  // output full mid-run
    const uint8_t plain[] = {1, 1, 1, 1, 2, 3, 4, 4};
    uint8_t enc[16], back[8];
    const size_t n = qv::packbits_encode(plain, sizeof plain, enc);
    EXPECT_EQ(qv::packbits_decode(enc, n, back, sizeof back, nullptr), sizeof plain);
    EXPECT_EQ(std::memcmp(back, plain, sizeof plain), 0);
}

}  // namespace
