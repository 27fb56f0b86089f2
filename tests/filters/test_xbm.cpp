// XBM: the corpus loads with Pillow's pixels, X10 bitmaps and hot-spot
// lines load, missing sizes and short data are refused with their codes,
// and the bitmaps the writer makes read back in Pillow.
#include "filters/test_formats_util.h"

namespace {

std::vector<uint8_t> text(const std::string &s) { return std::vector<uint8_t>(s.begin(), s.end()); }

TEST(XbmCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    EXPECT_GE(fmttest::corpus_matches("xbm/"), 2);
}

TEST(XbmRead, FormsAndFaults) {
    const char *x11 = "#define a_width 10\n#define a_height 2\n#define a_x_hot 1\n"
                      "static unsigned char a_bits[] = { 0x01, 0x02, 0xff, 0x03 };\n";
    const char *x10 = "#define b_width 10\n#define b_height 2\nstatic short b_bits[] = {\n 0x0201, 0x03ff};\n";
    for (const char *f : {x11, x10}) {
        QUORIN h = qvtest::load_mem(text(f));
        ASSERT_NE(h, nullptr) << f;
        EXPECT_EQ(bmptest::values(h), (std::vector<bmptest::Bytes>{{1, 0, 0, 0, 0, 0, 0, 0, 0, 1},
                                                                   {1, 1, 1, 1, 1, 1, 1, 1, 1, 1}}));
        EXPECT_EQ(bmptest::rgba_of(h).px[0], 255);  // a set bit is white
        QV_image_delete(h);
    }
    const std::pair<const char *, qvtest::Err> cases[] = {
        {"#define a_width 10\nstatic char a_bits[] = { 0x01 };", {QVE_BAD_HEADER, 10, 0}},
        {"#define a_width 10\n#define a_height 2\nstatic char a_bits[] = { 0x01, 0x02, 0x03 };", {QVE_SHORT_READ, 4, 3}},
    };
    for (const auto &[file, err] : cases) {
        EXPECT_EQ(qvtest::load_mem(text(std::string(file) + std::string(40, ' '))), nullptr);
        EXPECT_STACK(err);
    }
}

TEST(XbmWrite, PillowReadsWhatWeWrite) {
    if (!fmttest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const qvtest::TempDir dir("xbmwrite");
    QUORIN img = bmptest::random_image(21, 9, 1, 5);
    QV_RGBQUAD *pal = nullptr;
    int32_t n = 0;
    ASSERT_EQ(QV_image_DIB_palette_pntr_get(img, &pal, &n), 0);
    pal[0] = QV_RGBQUAD{0, 0, 0, 0}, pal[1] = QV_RGBQUAD{255, 255, 255, 0};
    EXPECT_EQ(fmttest::pillow_md5_of_saved(img, dir + "/a.xbm", 43, "1"),
              qvtest::md5_hex(fmttest::pillow_bytes(img, "1")));
    QUORIN back = nullptr;
    ASSERT_EQ(QV_load_file((dir + "/a.xbm").c_str(), &back), 0);
    EXPECT_EQ(bmptest::rgba_of(back).px, bmptest::rgba_of(img).px);
    QV_image_delete(back);
    QV_image_delete(img);
}

}  // namespace
