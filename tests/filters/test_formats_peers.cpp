// Files Pillow writes in the simple raster formats it can write (TGA,
// PPM/PGM/PBM, SGI, ICO with bitmap and PNG entries, XBM, MSP) load with the
// pixels Pillow reads back from them.
#include <sstream>

#include "filters/test_formats_util.h"

namespace {

TEST(FormatPeers, LoadsWhatPillowWrites) {
    if (!fmttest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const qvtest::TempDir dir("fmtpeers");
    bool ok = false;
    std::istringstream lines(fmttest::peer("make '" + dir + "'", &ok));
    ASSERT_TRUE(ok);
    std::string name, mode, md5;
    int checked = 0;
    while (lines >> name >> mode >> md5) {
        SCOPED_TRACE(name);
        QUORIN h = nullptr;
        ASSERT_EQ(QV_load_file((dir + "/" + name).c_str(), &h), 0) << qvtest::error_codes().front();
        EXPECT_EQ(qvtest::md5_hex(fmttest::pillow_bytes(h, mode)), md5);
        QV_image_delete(h);
        ++checked;
    }
    EXPECT_GE(checked, 13);
}

}  // namespace

namespace {

// An image with an alpha companion is written with the companion's values as
// alpha by the writers of formats with alpha; Pillow reads them back.
TEST(FormatPeers, AlphaCompanionIsWritten) {
    if (!fmttest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const qvtest::TempDir dir("fmtalpha");
    QUORIN img = bmptest::random_image(19, 11, 24, 77);
    ASSERT_EQ(QV_image_create_alpha(img, 255), 0);
    QUORIN alpha = nullptr;
    ASSERT_EQ(QV_image_alpha_get(img, &alpha), 0);
    std::vector<uint8_t> row(20);
    for (int32_t y = 0; y < 11; ++y) {
        for (int32_t x = 0; x < 19; ++x) row[size_t(x)] = uint8_t(x * 13 + y * 7);
        ASSERT_EQ(QV_DIB_raster_set(alpha, y, row.data(), 1), 0);
    }
    const bmptest::Bytes rgb = fmttest::pillow_bytes(img, "RGB");
    bmptest::Bytes want;
    for (int32_t y = 0; y < 11; ++y)
        for (int32_t x = 0; x < 19; ++x) {
            const size_t i = 3 * (size_t(y) * 19 + size_t(x));
            want.insert(want.end(), {rgb[i], rgb[i + 1], rgb[i + 2], uint8_t(x * 13 + y * 7)});
        }
    for (const auto &[name, format] : {std::pair<const char *, int32_t>{"a.tga", 39}, {"a.sgi", 38},
                                       {"a.psd", 36}, {"a.ico", 17}}) {
        EXPECT_EQ(fmttest::pillow_md5_of_saved(img, dir + "/" + name, format, "RGBA"), qvtest::md5_hex(want))
            << name;
    }
    QV_image_delete(img);
}

}  // namespace

namespace {

// A file with alpha loads as 32-bit pixels whose fourth byte is the alpha,
// with the same values as the image's alpha companion; one without has none.
TEST(FormatPeers, LoadedAlphaBecomesTheCompanion) {
    QV_SKIP_WITHOUT_CORPUS();
    const std::string dir = qvtest::corpus_dir() + "/";
    for (const char *path : {"tga/200x32_rgba_bl_rle.tga", "tga/la.tga", "sgi/transparent.sgi", "psd/rgba.psd",
                             "ico/hopper_mask.ico", "tga/200x32_rgb_bl_raw.tga"}) {
        SCOPED_TRACE(path);
        QUORIN h = nullptr, alpha = nullptr;
        ASSERT_EQ(QV_load_file((dir + path).c_str(), &h), 0);
        ASSERT_EQ(QV_image_alpha_get(h, &alpha), 0);
        const std::vector<int32_t> d = qvtest::dims(h);
        if (d[2] != 32) {
            EXPECT_EQ(alpha, nullptr);
        } else {
            ASSERT_NE(alpha, nullptr);
            EXPECT_EQ(qvtest::dims(alpha), (std::vector<int32_t>{d[0], d[1], 8}));
            const bmptest::Rgba px = bmptest::rgba_of(h);
            const std::vector<bmptest::Bytes> a = bmptest::values(alpha);
            int differ = 0;
            for (int32_t y = 0; y < d[1]; ++y)
                for (int32_t x = 0; x < d[0]; ++x) differ += a[size_t(y)][size_t(x)] != px.at(x, y)[3];
            EXPECT_EQ(differ, 0);
        }
        QV_image_delete(h);
    }
}

}  // namespace
