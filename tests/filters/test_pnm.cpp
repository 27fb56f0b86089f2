// PBM/PGM/PPM/PAM: the corpus loads with Pillow's pixels, malformed and
// truncated files are refused with their codes, header comments and PAM
// forms load, and the raw and plain forms the writer makes read back in
// Pillow with the source pixels.
#include "filters/test_formats_util.h"

namespace {

std::vector<uint8_t> text(const std::string &s) { return std::vector<uint8_t>(s.begin(), s.end()); }

TEST(PnmCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    EXPECT_GE(fmttest::corpus_matches("pnm/"), 13);
    EXPECT_EQ(fmttest::refusal("malformed/pnm/negative_size.ppm"), (qvtest::Err{QVE_BAD_HEADER, 3, -1}));
}

TEST(PnmRead, FormsAndComments) {
    const struct {
        const char *file;
        std::vector<int32_t> dims;
        std::vector<std::vector<uint8_t>> rgba;  // first pixel, last pixel
    } cases[] = {
        {"P1\n# c\n3 2\n1 0 1\n010", {3, 2, 1}, {{0, 0, 0, 255}, {255, 255, 255, 255}}},
        {"P2 2 1 #x\n 15\n0 15\n", {2, 1, 8}, {{0, 0, 0, 255}, {255, 255, 255, 255}}},
        {"P3\n1 1\n255\n10 20 30\n", {1, 1, 24}, {{10, 20, 30, 255}, {10, 20, 30, 255}}},
        {"P5\n#a\n1 1\n#b\n255\n\x7f", {1, 1, 8}, {{127, 127, 127, 255}, {127, 127, 127, 255}}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.file);
        QUORIN h = qvtest::load_mem(text(c.file));
        ASSERT_NE(h, nullptr);
        EXPECT_EQ(qvtest::dims(h), c.dims);
        const bmptest::Rgba px = bmptest::rgba_of(h);
        EXPECT_EQ(std::vector<uint8_t>(px.px.begin(), px.px.begin() + 4), c.rgba[0]);
        EXPECT_EQ(std::vector<uint8_t>(px.px.end() - 4, px.px.end()), c.rgba[1]);
        QV_image_delete(h);
    }
}

TEST(PnmRead, Refusals) {
    const std::pair<const char *, qvtest::Err> cases[] = {
        {"P6\n2 2\n255\n\x01\x02\x03\x04\x05\x06", {-2461, 1, 2}},
        {"P2\n2 2\n255\n1 2 3", {-2461, 1, 2}},
        {"P5\n2 x\n255\n", {QVE_BAD_HEADER, 2, -1}},
        {"P5\n2 2\n70000\n", {QVE_BAD_HEADER, 3, 70000}},
        {"P6\n100000 100000\n255\n", {-2461, 0, 100000}},
    };
    for (const auto &[file, err] : cases) {
        SCOPED_TRACE(file);
        int32_t n = 0;
        std::string f(file);
        if (f.rfind("P6\n100000", 0) == 0) f.resize(f.size() + 64);
        EXPECT_EQ(qvtest::load_mem(text(f), &n), nullptr);
        EXPECT_STACK(err);
    }
}

TEST(PnmRead, PamSizesPastThirtyTwoBitsRefused) {
    // PAM headers take the other forms' size limit: a width past it, and a
    // height whose low 32 bits alone would make a one-row image. Detection
    // offers P1 to P6 only, so the filter's own entry point reads the PAM.
    const std::pair<std::string, qvtest::Err> cases[] = {
        {"P7\nWIDTH 300000000\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\nENDHDR\nA", {QVE_TOO_LARGE, 300000000, 1}},
        {"P7\nWIDTH 1\nHEIGHT 4294967297\nDEPTH 1\nMAXVAL 255\nENDHDR\nA", {QVE_TOO_LARGE, 1, 1}},
    };
    VPb_READ_FN read = nullptr;
    ASSERT_EQ(VPb_VPr_filter_read_func_get(VPb_VPr_filter_search(28), &read), 1);
    const size_t live = bmptest::live_blocks();
    for (const auto &[file, err] : cases) {
        SCOPED_TRACE(file);
        std::vector<uint8_t> bytes = text(file);
        QV_error_clear();
        VPb_STREAM *s = iQV_stream_mem_new(bytes.data(), int64_t(bytes.size()));
        EXPECT_EQ(read(s, nullptr, 1, 1), err.code);
        iQV_stream_free(s, 0);
        EXPECT_STACK(err);
        EXPECT_EQ(iQV_mem_live_blocks(), live);
    }
}

TEST(PnmWrite, PillowReadsRawAndPlain) {
    fmttest::pillow_round_trip("pbm", 28, {1, 4, 8, 16, 24, 32}, 11, 1, 3, false, true);
}

}  // namespace
