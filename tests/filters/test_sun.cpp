// Sun raster: the corpus loads with Pillow's pixels, header faults and
// short data are refused with their codes, a byte-encoded file with escaped
// 0x80 bytes decodes, and what the writer makes reads back in Pillow.
#include "filters/test_formats_util.h"

namespace {

std::vector<uint8_t> sun_file(uint32_t w, uint32_t h, uint32_t depth, uint32_t type,
                              const std::vector<uint8_t> &data) {
    std::vector<uint8_t> f(32 + data.size(), 0);
    std::copy(data.begin(), data.end(), f.begin() + 32);
    const uint32_t v[8] = {0x59A66A95u, w, h, depth, uint32_t(data.size()), type, 0, 0};
    for (int i = 0; i < 8; ++i)
        for (int k = 0; k < 4; ++k) f[4 * i + k] = uint8_t(v[i] >> (24 - 8 * k));
    return f;
}

TEST(SunCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    EXPECT_GE(fmttest::corpus_matches("sunras/"), 2);
}

TEST(SunRead, ByteEncodedRunsAndFaults) {
    // 3 x 2 grey: 0x80 escaped, a run of five 7s over the row end (rows padded to 4 bytes).
    QUORIN h = qvtest::load_mem(sun_file(3, 2, 8, 2, {0x80, 0x00, 1, 2, 0x80, 4, 7}));
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(bmptest::values(h), (std::vector<bmptest::Bytes>{{0x80, 1, 2}, {7, 7, 7}}));
    QV_image_delete(h);
    const std::pair<std::vector<uint8_t>, qvtest::Err> cases[] = {
        {sun_file(3, 2, 8, 4, {}), {QVE_VARIANT, 4, 1}},
        {sun_file(3, 2, 16, 1, {}), {QVE_VARIANT, 16, 2}},
        {sun_file(0, 2, 8, 1, {}), {QVE_BAD_HEADER, 0, 2}},
        {sun_file(3, 2, 8, 1, {1, 2, 3, 4}), {QVE_SHORT_READ, 1, 2}},
        {sun_file(3, 2, 8, 2, {1, 2, 3, 4}), {QVE_SHORT_READ, 1, 2}},
    };
    for (const auto &[file, err] : cases) {
        EXPECT_EQ(qvtest::load_mem(file), nullptr);
        EXPECT_STACK(err);
    }
}

TEST(SunWrite, PillowReadsStandardAndEncoded) {
    // Even row lengths: Pillow decodes byte-encoded rows without their pad byte.
    fmttest::pillow_round_trip("ras", 37, {1, 4, 8, 16, 24}, 6, 2, 11, false);
}

}  // namespace
