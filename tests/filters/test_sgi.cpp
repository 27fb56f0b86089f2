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
    if (!fmttest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const std::string dir = qvtest::temp_path("sgiwrite");
    qvtest::run("mkdir -p '" + dir + "'");
    for (int32_t bpp : {4, 8, 16, 24, 32})
        for (int32_t comp : {0, 1}) {
            SCOPED_TRACE(std::to_string(bpp) + (comp ? " rle" : " verbatim"));
            const char *mode = bpp == 32 ? "RGBA" : "RGB";
            QUORIN img = bmptest::random_image(9 + bpp, 6, bpp, uint32_t(bpp * 5 + comp));
            const std::string path = dir + "/out" + std::to_string(bpp) + std::to_string(comp) + ".sgi";
            EXPECT_EQ(fmttest::pillow_md5_of_saved(img, path, 38 | comp << 16, mode),
                      qvtest::md5_hex(fmttest::pillow_bytes(img, mode)));
            QUORIN back = nullptr;
            ASSERT_EQ(QV_load_file(path.c_str(), &back), 0);
            EXPECT_EQ(bmptest::rgba_of(back).px, bmptest::rgba_of(img).px);
            QV_image_delete(back);
            QV_image_delete(img);
        }
    qvtest::run("rm -rf '" + dir + "'");
}

}  // namespace
