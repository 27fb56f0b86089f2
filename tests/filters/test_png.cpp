// The PNG filter: the corpus's PNG files load with Pillow's pixels (exact),
// 16-bit grey keeps its words, damaged files are refused by code with
// nothing left behind, and files we write are read back by Pillow.
#include <map>

#include "filters/test_codec_util.h"

namespace {

using namespace codectest;
using qvtest::load_mem;

using qvtest::corpus;

using bmptest::grey_palette;

TEST(Png, CorpusFilesLoadWithPillowsPixels) {
    QV_SKIP_WITHOUT_CORPUS();
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    // Depth of the image each file becomes.
    const std::map<std::string, int32_t> depth = {
        {"1_trns.png", 1},  {"hopper.png", 24},  {"hopper_bw_500.png", 1}, {"i_trns.png", 16},
        {"l_trns.png", 8},  {"p_16.png", 32},    {"pil123p.png", 8},       {"pil123rgba.png", 32}};
    int checked = 0;
    for (const auto &m : qvtest::manifest("png/")) {
        SCOPED_TRACE(m.path);
        int32_t errors = -1;
        const Rgba ours = load_rgba(corpus(m.path), 1, &errors);
        ASSERT_EQ(errors, 0) << ::testing::PrintToString(qvtest::stack());
        EXPECT_EQ(ours.bpp, depth.at(m.path.substr(4)));
        if (ours.bpp == 16) {
            // Words as stored, against Pillow's 16-bit values.
            const std::string out = qvtest::temp_path("png16.raw");
            qvtest::run(kPeer + " decode16 '" + corpus(m.path) + "' '" + out + "'");
            QUORIN h = qvtest::load_mem(qvtest::read_file(corpus(m.path)));
            Bytes words;
            for (int32_t y = 0; y < ours.height; ++y) {
                Bytes r = bmptest::raw_row(h, y);
                words.insert(words.end(), r.begin(), r.begin() + 2 * ours.width);
            }
            QV_image_delete(h);
            EXPECT_EQ(words, qvtest::read_file(out));
            ::unlink(out.c_str());
        } else {
            EXPECT_EQ(max_diff(ours, pillow_rgba(corpus(m.path)), ours.bpp == 32), 0);
        }
        ++checked;
    }
    EXPECT_EQ(checked, 8);
}

TEST(Png, InfoPagesAndResolution) {
    QV_SKIP_WITHOUT_CORPUS();
    const Bytes f = qvtest::read_file(corpus("png/pil123rgba.png"));
    int32_t type = 0, value = 0, pages = 0;
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, &info), 0);
    EXPECT_EQ(std::vector<int32_t>({type, value, info.biWidth, info.biHeight, info.biBitCount}),
              std::vector<int32_t>({33, 9, 162, 150, 32}));
    ASSERT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 1);
    // 16-bit grey scaled to 8 bits when the control block asks.
    const Bytes g16 = qvtest::read_file(corpus("png/i_trns.png"));
    ASSERT_EQ(QV_image_control_set(QV_CTL_PNG_GRAY16, 1), 0);
    QUORIN g = qvtest::load_mem(g16);
    QV_image_control_set(QV_CTL_PNG_GRAY16, 0);
    EXPECT_EQ(qvtest::dims(g), (std::vector<int32_t>{64, 64, 8}));
    QV_image_delete(g);
    EXPECT_FAILS(QV_image_control_set(QV_CTL_PNG_LEVEL, 10), {QVE_CONTROL_VALUE, QV_CTL_PNG_LEVEL, 10});
    // The alpha is also the image's alpha companion.
    QUORIN h = qvtest::load_mem(f), alpha = nullptr;
    ASSERT_EQ(QV_image_alpha_get(h, &alpha), 0);
    ASSERT_EQ(QV_image_is_valid(alpha), 1);
    const Rgba px = bmptest::rgba_of(h);
    const std::vector<Bytes> a = bmptest::values(alpha);
    for (int32_t y = 0; y < px.height; y += 7)
        for (int32_t x = 0; x < px.width; x += 5) ASSERT_EQ(a[size_t(y)][size_t(x)], px.at(x, y)[3]);
    QV_image_delete(h);
}

TEST(Png, DamagedFilesAreRefusedByCode) {
    QV_SKIP_WITHOUT_CORPUS();
    const Bytes good = qvtest::read_file(corpus("png/hopper.png"));
    NoLeaks no_leaks;
    Bytes crc = good;
    crc[29] ^= 1;  // IHDR's CRC
    EXPECT_EQ(load_mem(crc), nullptr);
    EXPECT_STACK({QVE_PNG_CHUNK, 18, 0});  // libspng: chunk CRC
    Bytes cut(good.begin(), good.begin() + long(good.size() / 2));
    EXPECT_EQ(load_mem(cut), nullptr);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_SHORT_READ);
    EXPECT_EQ(qvtest::error_at(0).iVal, 128);
    for (const auto &m : qvtest::manifest("malformed/png/")) {
        SCOPED_TRACE(m.path);
        const Bytes f = qvtest::read_file(corpus(m.path));
        int32_t n = 0;
        QUORIN h = load_mem(f, &n);
        EXPECT_EQ(n == 0, h != nullptr);
        if (m.path.find("truncated_image") != std::string::npos) {
            EXPECT_EQ(h, nullptr);
        }
        QV_image_delete(h);
    }
}

TEST(Png, WrittenFilesAreReadBackByPillow) {
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    NoLeaks no_leaks;
    struct Case {
        int32_t bpp;
        bool grey;
    };
    for (const Case c : {Case{1, true}, Case{4, false}, Case{8, true}, Case{8, false}, Case{24, false},
                         Case{32, false}}) {
        SCOPED_TRACE(c.bpp);
        QUORIN h = bmptest::random_image(37, 23, c.bpp, 7);
        if (c.grey) grey_palette(h);
        const std::string out = qvtest::temp_path("ours.png");
        for (int32_t interlace : {0, 1}) {
            QV_image_control_set(QV_CTL_PNG_INTERLACE, interlace);
            ASSERT_EQ(QV_save_file(h, out.c_str(), QV_FORMAT_PNG), 0);
            const Rgba ours = bmptest::rgba_of(h);
            EXPECT_EQ(max_diff(ours, pillow_rgba(out), c.bpp == 32), 0);
            EXPECT_EQ(load_rgba(out).px, ours.px);
        }
        QV_image_control_set(QV_CTL_PNG_INTERLACE, 0);
        QV_image_delete(h);
        ::unlink(out.c_str());
    }
    // A 24-bit image with an alpha companion is written as RGBA.
    QUORIN h = bmptest::random_image(19, 11, 24, 3);
    ASSERT_EQ(QV_image_create_alpha(h, 77), 0);
    const std::string out = qvtest::temp_path("alpha.png");
    ASSERT_EQ(QV_save_file(h, out.c_str(), QV_FORMAT_PNG), 0);
    Rgba want = bmptest::rgba_of(h);
    for (size_t i = 3; i < want.px.size(); i += 4) want.px[i] = 77;
    EXPECT_EQ(max_diff(want, pillow_rgba(out), true), 0);
    QV_image_delete(h);
    ::unlink(out.c_str());
}

}  // namespace
