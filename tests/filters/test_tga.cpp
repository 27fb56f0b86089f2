// TGA: the corpus loads with Pillow's pixels, the malformed files are
// refused with their codes, Pillow's files load, and every layout the writer
// makes (raw and run-length) reads back in Pillow with the source pixels.
#include "filters/test_formats_util.h"

namespace {

TEST(TgaCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    EXPECT_GE(fmttest::corpus_matches("tga/"), 30);
}

TEST(TgaCorpus, MalformedFilesAreRefused) {
    QV_SKIP_WITHOUT_CORPUS();
    const std::pair<const char *, qvtest::Err> cases[] = {
        {"malformed/tga/cross_scan_line_truncated.tga", {QVE_SHORT_READ, 63, 64}},
        {"malformed/tga/p_8.tga", {QVE_VARIANT, 1, 8}},
    };
    for (const auto &[path, err] : cases) EXPECT_EQ(fmttest::refusal(path), err) << path;
}

TEST(TgaRead, HeaderFaults) {
    using qvtest::bytes;
    std::vector<uint8_t> h(18, 0);
    h[2] = 2, h[16] = 24, h[12] = 2, h[14] = 1;
    struct Case {
        size_t at;
        uint8_t value;
        qvtest::Err err;
    } cases[] = {
        {16, 1, {QVE_VARIANT, 11, 1}},  // run-length 1-bit grey (header type 11 below)
        {12, 0, {QVE_BAD_HEADER, 0, 1}},
        {99, 0, {QVE_SHORT_READ, 6, 0}},
    };
    for (const Case &c : cases) {
        std::vector<uint8_t> f = h;
        if (c.at < f.size()) f[c.at] = c.value;
        if (c.at == 16) f[2] = 11;
        int32_t n = 0;
        EXPECT_EQ(qvtest::load_mem(f, &n), nullptr);
        EXPECT_STACK(c.err);
        QV_error_clear();
    }
    QUORIN img = nullptr;
    std::vector<uint8_t> short_file(h.begin(), h.begin() + 17);
    EXPECT_EQ(QV_load_mem(short_file.data(), short_file.size(), 1, 1, &img), 1);
    EXPECT_STACK({QVE_FILE_SHORT, 18, 17});
}

TEST(TgaWrite, PillowReadsEveryLayout) {
    if (!fmttest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const qvtest::TempDir dir("tgawrite");
    fmttest::pillow_round_trip("tga", 39, {1, 4, 8, 16, 24, 32}, 13, 1, 1, true);
    // A grey-ramp image is written as grey (type 3) and comes back as grey.
    QUORIN grey = nullptr;
    ASSERT_EQ(QV_image_create_DIB(5, 3, 8, nullptr, &grey), 0);
    bmptest::grey_palette(grey);
    EXPECT_EQ(fmttest::pillow_md5_of_saved(grey, dir + "/grey.tga", 39, "L"),
              qvtest::md5_hex(fmttest::pillow_bytes(grey, "L")));
    QV_image_delete(grey);
}

TEST(TgaWrite, ControlFieldZeroAsksForRunLength) {
    QUORIN img = bmptest::random_image(8, 3, 24, 4);
    std::vector<uint8_t> buf(4096);
    size_t written = 0;
    const struct {
        int32_t field, compression;
        uint8_t type;
    } cases[] = {{0, 0, 2}, {1, 0, 10}, {0, 1, 10}};
    for (const auto &c : cases) {
        ASSERT_EQ(QV_image_control_set(0 * 256 + 39, c.field), 0);
        ASSERT_EQ(QV_save_mem(img, buf.data(), buf.size(), 0, 0, 1, 39 | c.compression << 16, &written), 0);
        EXPECT_EQ(buf[2], c.type);
        QUORIN back = qvtest::load_mem(std::vector<uint8_t>(buf.begin(), buf.begin() + long(written)));
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(bmptest::rgba_of(back).px, bmptest::rgba_of(img).px);
        QV_image_delete(back);
    }
    ASSERT_EQ(QV_image_control_set(0 * 256 + 39, 0), 0);
    EXPECT_FAILS(QV_save_mem(img, buf.data(), buf.size(), 0, 0, 1, 39 | 2 << 16, &written),
                 {QVE_BAD_SAVE_OPTION, 2, 0});
    QV_image_delete(img);
}

}  // namespace
