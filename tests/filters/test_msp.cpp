// MSP: the corpus file loads with Pillow's pixels, a version 2 file's
// run-length rows decode, and a bad checksum or short data is refused.
#include "filters/test_formats_util.h"

namespace {

std::vector<uint8_t> msp_file(const char *key, uint16_t w, uint16_t h, const std::vector<uint8_t> &rest) {
    std::vector<uint8_t> f(32 + rest.size(), 0);
    std::copy(rest.begin(), rest.end(), f.begin() + 32);
    std::memcpy(f.data(), key, 4);
    qvtest::put16(f, 4, w), qvtest::put16(f, 6, h);
    uint32_t x = 0;
    for (int i = 0; i < 12; ++i) x ^= qvtest::get16(f, 2 * size_t(i));
    qvtest::put16(f, 24, x);
    return f;
}

TEST(MspCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    EXPECT_GE(fmttest::corpus_matches("msp/"), 1);
    const qvtest::Err bad = fmttest::refusal("malformed/msp/hopper_bad_checksum.msp");
    EXPECT_EQ(bad.code, QVE_BAD_HEADER);
    EXPECT_EQ(bad.lVal, 13);
}

TEST(MspRead, VersionTwoRowsAndFaults) {
    // 12 x 2: row 0 = a run of two 0xF0 bytes, row 1 = literal 0x0F 0xFF.
    const std::vector<uint8_t> v2 = msp_file("LinS", 12, 2, {3, 0, 3, 0, 0, 2, 0xF0, 2, 0x0F, 0xFF});
    QUORIN h = qvtest::load_mem(v2);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(bmptest::values(h), (std::vector<bmptest::Bytes>{{1, 1, 1, 1, 0, 0, 0, 0, 1, 1, 1, 1},
                                                               {0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1}}));
    QV_image_delete(h);
    EXPECT_EQ(qvtest::load_mem(msp_file("DanM", 16, 3, {1, 2, 3, 4})), nullptr);
    EXPECT_STACK({QVE_SHORT_READ, 2, 3});
    std::vector<uint8_t> bad = msp_file("DanM", 8, 1, {0});
    bad[24] ^= 1;
    EXPECT_EQ(qvtest::load_mem(bad), nullptr);
    EXPECT_STACK({QVE_BAD_HEADER, 1, 13});
}

}  // namespace
