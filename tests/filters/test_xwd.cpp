// XWD against ImageMagick (Pillow reads no XWD): the dumps it writes
// (DirectColor 24 bits, PseudoColor 8 bits) load with its pixels, depths
// above 8 that are not true colour are refused with -2391, and the dumps the
// writer makes are read back by ImageMagick with the source pixels.
#include "filters/test_formats_util.h"

namespace {

bool have_convert() { return qvtest::command_ok("convert -version >/dev/null 2>&1"); }

bmptest::Bytes rgb_of(const std::string &path) {
    QUORIN h = nullptr;
    EXPECT_EQ(QV_load_file(path.c_str(), &h), 0) << path;
    bmptest::Bytes px = h ? fmttest::pillow_bytes(h, "RGB") : bmptest::Bytes{};
    QV_image_delete(h);
    return px;
}

TEST(XwdPeers, LoadsWhatImageMagickWrites) {
    QV_SKIP_WITHOUT_CORPUS();
    if (!have_convert()) GTEST_SKIP() << "ImageMagick not available";
    const qvtest::TempDir dir("xwdpeer");
    const std::string src = qvtest::corpus_dir() + "/pnm/hopper.ppm";
    for (const char *opts : {"", "-colors 200 -type Palette", "-colors 2 -type Palette"}) {
        SCOPED_TRACE(opts);
        qvtest::run("convert '" + src + "' " + opts + " '" + dir + "/a.xwd' && convert '" + dir + "/a.xwd' '" +
                    dir + "/a.ppm'");
        EXPECT_EQ(rgb_of(dir + "/a.xwd"), rgb_of(dir + "/a.ppm"));
    }
}

TEST(XwdRead, DepthAboveEightNeedsTrueColour) {
    std::vector<uint8_t> f(100 + 8 + 64, 0);
    const uint32_t fields[25] = {108, 7, 2, 16, 4, 2, 0, 1, 32, 1, 32, 16, 8, 3};
    for (int i = 0; i < 25; ++i)
        for (int k = 0; k < 4; ++k) f[4 * i + k] = uint8_t(fields[i] >> (24 - 8 * k));
    EXPECT_EQ(qvtest::load_mem(f), nullptr);
    EXPECT_STACK({-2391, 16, 16});
    f.resize(60);
    EXPECT_EQ(qvtest::load_mem(f), nullptr);
    EXPECT_STACK({QVE_FILE_SHORT, 100, 60});
}

TEST(XwdWrite, ImageMagickReadsWhatWeWrite) {
    if (!have_convert()) GTEST_SKIP() << "ImageMagick not available";
    const qvtest::TempDir dir("xwdwrite");
    for (int32_t bpp : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bpp);
        QUORIN img = bmptest::random_image(13 + bpp, 7, bpp, uint32_t(bpp + 17));
        const std::string path = dir + "/out" + std::to_string(bpp) + ".xwd";
        ASSERT_EQ(QV_save_file(img, path.c_str(), 47), 0);
        qvtest::run("convert '" + path + "' '" + path + ".ppm'");
        EXPECT_EQ(rgb_of(path + ".ppm"), fmttest::pillow_bytes(img, "RGB"));
        EXPECT_EQ(rgb_of(path), fmttest::pillow_bytes(img, "RGB"));
        QV_image_delete(img);
    }
}

}  // namespace
