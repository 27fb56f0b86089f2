// The JPEG filter: the corpus's JPEG files load within 2 levels of Pillow
// (same libjpeg-turbo), load sizes and thumbnails decode at DCT scale like
// Pillow's draft(), EXIF orientation and JFIF resolution arrive in the
// image, damaged files are refused by code with nothing left behind, and
// files we write are read back by Pillow with the options asked for.
#include "filters/test_codec_util.h"

namespace {

using namespace codectest;
using qvtest::load_mem;

using qvtest::corpus;

std::string peer_info(const std::string &file) { return qvtest::run(kPeer + " info '" + file + "'"); }

TEST(Jpeg, CorpusFilesLoadWithinTwoLevelsOfPillow) {
    QV_SKIP_WITHOUT_CORPUS();
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    int checked = 0;
    for (const auto &m : qvtest::manifest("jpeg/")) {
        SCOPED_TRACE(m.path);
        int32_t errors = -1;
        const Rgba ours = load_rgba(corpus(m.path), 1, &errors);
        ASSERT_EQ(errors, 0) << ::testing::PrintToString(qvtest::stack());
        EXPECT_EQ(ours.bpp, m.mode == "L" ? 8 : 24);
        EXPECT_LE(max_diff(ours, pillow_rgba(corpus(m.path)), false), 2);
        ++checked;
    }
    EXPECT_EQ(checked, 6);
}

TEST(Jpeg, LoadSizeAndThumbnailDecodeAtDctScale) {
    QV_SKIP_WITHOUT_CORPUS();
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    const std::string file = corpus("jpeg/flower.jpg");  // 480 x 360
    const std::string out = qvtest::temp_path("draft.rgba");
    struct Case {
        int32_t w, h;
        std::vector<int32_t> scaled;  // what the DCT scale gives, as Pillow's draft()
    };
    for (const Case &c : {Case{60, 45, {60, 45, 24}}, Case{100, 80, {120, 90, 24}},
                          Case{240, 170, {240, 180, 24}}}) {
        SCOPED_TRACE(c.w);
        // The load size scales the DCT-scaled image: ask exactly that size.
        ASSERT_EQ(QV_load_size_set(c.scaled[0], c.scaled[1]), 0);
        const Rgba ours = load_rgba(file);
        QV_load_size_set(0, 0);
        EXPECT_EQ((std::vector<int32_t>{ours.width, ours.height, ours.bpp}), c.scaled);
        qvtest::run(kPeer + " draft '" + file + "' " + std::to_string(c.w) + " " + std::to_string(c.h) +
                    " '" + out + "'");
        EXPECT_LE(max_diff(ours, qvtest::read_file(out), false), 2);
    }
    // A load size of 0 on one axis keeps that axis whole: no DCT scaling.
    QV_load_size_set(240, 0);
    EXPECT_EQ(load_rgba(file).height, 360);
    QV_load_size_set(0, 0);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_thumbnail(file.c_str(), &h), 0);
    EXPECT_EQ(qvtest::dims(h), (std::vector<int32_t>{60, 45, 24}));
    QV_image_delete(h);
    ::unlink(out.c_str());
}

TEST(Jpeg, ExifOrientationAndJfifResolution) {
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    const std::string file = qvtest::temp_path("exif.jpg");
    ASSERT_EQ(qvtest::run(kPeer + " jpeg_exif '" + file + "' 6 150 && echo ok"), "ok\n");
    QV_image_orientation_enable_set(1);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file(file.c_str(), &h), 0);
    int32_t orientation = 0;
    QV_image_orientation_get(h, &orientation);
    EXPECT_EQ(orientation, 6);
    int32_t dpi = 0;
    QV_DIB_HEADER *dib = nullptr;
    QV_image_DIB_pntr_get(h, &dib);
    dpi = QV_convert_PPM_to_DPI(dib->biXPelsPerMeter);
    EXPECT_EQ(dpi, 150);
    QV_image_delete(h);
    QV_image_orientation_enable_set(0);
    int32_t type = 0, value = -1;
    const Bytes f = qvtest::read_file(file);
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, nullptr), 0);
    EXPECT_EQ(std::vector<int32_t>({type, value}), std::vector<int32_t>({21, 6}));
    ::unlink(file.c_str());
}

TEST(Jpeg, DamagedFilesAreRefusedByCode) {
    QV_SKIP_WITHOUT_CORPUS();
    const Bytes good = qvtest::read_file(corpus("jpeg/hopper.jpg"));
    NoLeaks no_leaks;
    // Cut in the middle of the scan: rows missing.
    Bytes cut(good.begin(), good.begin() + long(good.size() / 2));
    EXPECT_EQ(load_mem(cut), nullptr);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_SHORT_READ);
    EXPECT_EQ(qvtest::error_at(0).iVal, 128);
    // Only the start of image and a frame header cut short.
    EXPECT_EQ(load_mem(Bytes(good.begin(), good.begin() + 200)), nullptr);
    EXPECT_NE(qvtest::error_at(0).code, 0);
    // A DHT declaring more than 256 codes.
    Bytes dht = good;
    for (size_t i = 2; i + 4 < dht.size(); ++i)
        if (dht[i] == 0xFF && dht[i + 1] == 0xC4) {
            for (size_t k = 0; k < 16; ++k) dht[i + 5 + k] = 0x40;
            break;
        }
    EXPECT_EQ(load_mem(dht), nullptr);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_JPEG_TABLE);
    for (const auto &m : qvtest::manifest("malformed/jpeg/")) {
        SCOPED_TRACE(m.path);
        EXPECT_EQ(load_mem(qvtest::read_file(corpus(m.path))), nullptr);
        EXPECT_EQ(qvtest::error_at(0).code, QVE_SHORT_READ);
    }
}

TEST(Jpeg, PixelLimitComesBeforeTheDecoderBuffers) {
    // A progressive file whose frame header says 30000 x 30000: refused by
    // the pixel limit before the decompressor asks for its coefficients.
    NoLeaks no_leaks;
    const Bytes file = progressive_jpeg_claiming(30000, 30000);
    ASSERT_FALSE(file.empty());
    EXPECT_EQ(load_mem(file), nullptr);
    EXPECT_STACK({QVE_TOO_LARGE, 30000, 30000});
}

TEST(Jpeg, WrittenFilesAreReadBackByPillow) {
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    NoLeaks no_leaks;
    // A smooth 24-bit image and its grey twin.
    QUORIN rgb = nullptr;
    ASSERT_EQ(QV_image_create_DIB(96, 64, 24, nullptr, &rgb), 0);
    for (int32_t y = 0; y < 64; ++y) {
        Bytes row(96 * 3);
        for (int32_t x = 0; x < 96; ++x)
            row[3 * x] = uint8_t(x * 2), row[3 * x + 1] = uint8_t(y * 3), row[3 * x + 2] = uint8_t(x + y);
        QV_DIB_raster_set(rgb, y, row.data(), 1);
    }
    QV_image_resolution_set(rgb, 200, 1, 200, 1, QV_RES_UNIT_INCH);
    const std::string out = qvtest::temp_path("ours.jpg");
    struct Case {
        int32_t quality, progressive, optimize;
        int tolerance;
        const char *info;
    };
    size_t last_size = 0;
    for (const Case c : {Case{30, 0, 0, 24, "RGB 0 200 200 1\n"}, Case{90, 1, 1, 6, "RGB 1 200 200 1\n"}}) {
        SCOPED_TRACE(c.quality);
        ASSERT_EQ(QV_save_JPEG_quality_set(c.quality), 0);
        QV_image_control_set(QV_CTL_JPEG_PROGRESSIVE, c.progressive);
        QV_image_control_set(QV_CTL_JPEG_OPTIMIZE, c.optimize);
        ASSERT_EQ(QV_save_file(rgb, out.c_str(), 0), 0);
        EXPECT_LE(max_diff(bmptest::rgba_of(rgb), pillow_rgba(out), false), c.tolerance);
        EXPECT_EQ(peer_info(out), c.info);
        EXPECT_GT(qvtest::read_file(out).size(), last_size);
        last_size = qvtest::read_file(out).size();
    }
    QV_save_JPEG_quality_set(75);
    QV_image_control_set(QV_CTL_JPEG_PROGRESSIVE, 0);
    QV_image_control_set(QV_CTL_JPEG_OPTIMIZE, 0);
    QV_image_control_set(QV_CTL_JPEG_QUALITY, 75);
    QUORIN grey = nullptr;
    int32_t errors = 0;
    ASSERT_EQ(QV_save_file(rgb, out.c_str(), QV_FORMAT_JPEG), 0);
    QV_load_color_reduction_set(4);
    grey = qvtest::load_mem(qvtest::read_file(out), &errors);
    QV_load_color_reduction_set(0);
    ASSERT_NE(grey, nullptr);
    ASSERT_EQ(QV_save_file(grey, out.c_str(), QV_FORMAT_JPEG), 0);
    EXPECT_EQ(peer_info(out).substr(0, 2), "L ");
    EXPECT_LE(max_diff(bmptest::rgba_of(grey), pillow_rgba(out), false), 4);
    QV_image_delete(grey);
    QV_image_delete(rgb);
    ::unlink(out.c_str());
}

}  // namespace
