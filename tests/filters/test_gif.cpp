// The GIF filter: every frame of the corpus's GIF files loads as the
// screen Pillow composes (exact where Pillow's pixel is opaque), page
// counts, the frame-alone read, damaged files refused with nothing left
// behind, and files we write (also frame by frame, appended) read back by
// Pillow.
#include "filters/test_codec_util.h"

namespace {

using namespace codectest;
using qvtest::load_mem;

using qvtest::corpus;

int32_t pages_of(const Bytes &f) {
    int32_t n = -1;
    EXPECT_EQ(QV_page_count_get_mem(f.data(), f.size(), &n), 0);
    return n;
}

TEST(Gif, EveryFrameLoadsAsPillowComposesIt) {
    QV_SKIP_WITHOUT_CORPUS();
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    int frames = 0;
    for (const auto &m : qvtest::manifest("gif/")) {
        SCOPED_TRACE(m.path);
        const Bytes f = qvtest::read_file(corpus(m.path));
        const int32_t pages = pages_of(f);
        for (int32_t page = 1; page <= pages; ++page) {
            SCOPED_TRACE(page);
            int32_t errors = -1;
            const Rgba ours = load_rgba(corpus(m.path), page, &errors);
            ASSERT_EQ(errors, 0) << ::testing::PrintToString(qvtest::stack());
            if (page == 1) {
                EXPECT_EQ(ours.bpp, 8);
            }
            EXPECT_EQ(max_diff(ours, pillow_rgba(corpus(m.path), page - 1), false), 0);
            ++frames;
        }
    }
    EXPECT_EQ(frames, 12);
}

TEST(Gif, PagesInfoAndTheFrameAlone) {
    QV_SKIP_WITHOUT_CORPUS();
    const Bytes f = qvtest::read_file(corpus("gif/dispose_bgnd.gif"));
    EXPECT_EQ(pages_of(f), 5);
    int32_t type = 0, value = 0;
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, &info), 0);
    EXPECT_EQ(std::vector<int32_t>({type, value, info.biWidth, info.biHeight, info.biBitCount}),
              std::vector<int32_t>({14, 8, 100, 100, 8}));
    QUORIN h = nullptr;
    EXPECT_FAILS(QV_load_mem(f.data(), f.size(), 6, 1, &h), {QVE_BAD_SIGNATURE, 5, 5});
    EXPECT_EQ(h, nullptr);
    // The second frame alone: its own size, 8 bits.
    ASSERT_EQ(QV_load_mem(f.data(), f.size(), 2, 2, &h), 0);
    const std::vector<int32_t> d = qvtest::dims(h);
    EXPECT_EQ(d[2], 8);
    EXPECT_LE(d[0], 100);
    QV_image_delete(h);
}

TEST(Gif, DamagedFilesAreRefusedByCode) {
    QV_SKIP_WITHOUT_CORPUS();
    const Bytes good = qvtest::read_file(corpus("gif/hopper.gif"));
    NoLeaks no_leaks;
    EXPECT_EQ(load_mem(Bytes(good.begin(), good.begin() + long(good.size() / 2))), nullptr);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_SHORT_READ);
    EXPECT_EQ(load_mem(Bytes(good.begin(), good.begin() + 10)), nullptr);
    EXPECT_STACK({QVE_SHORT_HEADER, 13, 0});
    for (const auto &m : qvtest::manifest("malformed/gif/")) {
        SCOPED_TRACE(m.path);
        const Bytes f = qvtest::read_file(corpus(m.path));
        int32_t n = 0;
        QUORIN h = load_mem(f, &n);
        EXPECT_EQ(n == 0, h != nullptr);
        if (m.path.find("zero_width") != std::string::npos) {
            EXPECT_STACK({QVE_BAD_HEADER, 0, 32});
        }
        QV_image_delete(h);
    }
}

TEST(Gif, WrittenFramesAreReadBackByPillow) {
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    NoLeaks no_leaks;
    const std::string out = qvtest::temp_path("ours.gif");
    ::unlink(out.c_str());
    std::vector<Rgba> written;
    QV_image_control_set(QV_CTL_GIF_APPEND, 1);
    int32_t frame = 0;
    for (const int32_t bpp : {8, 4, 1}) {
        for (const int32_t interlace : {0, 1}) {
            SCOPED_TRACE(bpp * 10 + interlace);
            QV_image_control_set(QV_CTL_GIF_INTERLACE, interlace);
            QUORIN h = bmptest::random_image(41, 29, bpp, uint32_t(bpp + interlace));
            ASSERT_EQ(QV_save_file(h, out.c_str(), 0), 0);
            written.push_back(bmptest::rgba_of(h));
            QV_image_delete(h);
            EXPECT_EQ(max_diff(written.back(), pillow_rgba(out, frame), false), 0);
            EXPECT_EQ(load_rgba(out, frame + 1).px, written.back().px);
            ++frame;
        }
    }
    EXPECT_EQ(pages_of(qvtest::read_file(out)), 6);
    // Without the append flag the file is written anew.
    QV_image_control_set(QV_CTL_GIF_APPEND, 0);
    QV_image_control_set(QV_CTL_GIF_INTERLACE, 0);
    QUORIN h = bmptest::random_image(41, 29, 8, 99);
    ASSERT_EQ(QV_save_file(h, out.c_str(), 0), 0);
    EXPECT_EQ(pages_of(qvtest::read_file(out)), 1);
    // A transparent index from the control block: Pillow sees it.
    ASSERT_EQ(QV_image_control_set(QV_CTL_GIF_TRANSPARENT, 5), 0);
    ASSERT_EQ(QV_save_file(h, out.c_str(), 0), 0);
    QV_image_control_set(QV_CTL_GIF_TRANSPARENT, -1);
    EXPECT_EQ(qvtest::run("/usr/bin/python3 -c \"from PIL import Image; "
                          "print(Image.open('" + out + "').info.get('transparency'))\""),
              "5\n");
    QUORIN rgb = nullptr;
    QV_image_create_DIB(4, 4, 24, nullptr, &rgb);
    EXPECT_FAILS(QV_save_file(rgb, out.c_str(), QV_FORMAT_GIF), {QVE_SAVE_DEPTH, 24, 0});
    QV_image_delete(rgb);
    QV_image_delete(h);
    ::unlink(out.c_str());
}

}  // namespace
