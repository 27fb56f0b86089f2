// SGI: the corpus loads with Pillow's pixels, the malformed run-length
// files are refused with their codes, and the verbatim and run-length files
// the writer makes read back in Pillow with the source pixels.
#include "filters/test_formats_util.h"

namespace {

TEST(SgiCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    EXPECT_GE(fmttest::corpus_matches("sgi/"), 5);
}

TEST(SgiCorpus, MalformedFilesAreRefused) {
    QV_SKIP_WITHOUT_CORPUS();
    const auto files = qvtest::manifest("malformed/sgi/");
    ASSERT_GE(files.size(), 14u);
    for (const auto &e : files) {
        const qvtest::Err first = fmttest::refusal(e.path);
        EXPECT_TRUE(first.code == QVE_SHORT_READ || first.code == QVE_READ_DATA) << e.path << " " << first.code;
    }
    EXPECT_EQ(fmttest::refusal("malformed/sgi/sgi_overrun_expandrow.bin"), (qvtest::Err{QVE_READ_DATA, 0, 1}));
}

TEST(SgiRead, HeaderFaults) {
    std::vector<uint8_t> f(512 + 4, 0);
    qvtest::put16(f, 0, 0xDA01);  // 474 big-endian
    const struct {
        size_t at;
        uint8_t value;
        qvtest::Err err;
    } cases[] = {
        {2, 2, {QVE_VARIANT, 2, 0}},      // storage
        {3, 3, {QVE_VARIANT, 3, 0}},      // bytes per sample
        {5, 4, {QVE_BAD_HEADER, 4, 0}},   // dimension
        {11, 5, {QVE_VARIANT, 5, 0}},     // channels
    };
    for (const auto &c : cases) {
        std::vector<uint8_t> g = f;
        g[3] = 1, g[5] = 3, g[7] = 2, g[9] = 2, g[11] = 1;
        g[c.at] = c.value;
        EXPECT_EQ(qvtest::load_mem(g), nullptr);
        EXPECT_STACK(c.err);
    }
    std::vector<uint8_t> short_file(f.begin(), f.begin() + 100);
    EXPECT_EQ(qvtest::load_mem(short_file), nullptr);
    EXPECT_STACK({QVE_FILE_SHORT, 512, 100});
}

TEST(SgiWrite, PillowReadsVerbatimAndRunLength) {
    fmttest::pillow_round_trip("sgi", 38, {4, 8, 16, 24, 32}, 9, 1, 5, true);
}

}  // namespace
