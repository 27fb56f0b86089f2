// XPM: the corpus loads with Pillow's pixels (and the two-character file
// Pillow refuses with the one-character file's colours), named, short-hex
// and None colours load, malformed text is refused with its codes, and the
// files the writer makes read back in Pillow.
#include <cstdlib>

#include "filters/test_formats_util.h"

namespace {

std::vector<uint8_t> text(const std::string &s) { return std::vector<uint8_t>(s.begin(), s.end()); }

TEST(XpmCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    // Pillow 9.4 takes the "/* pixels */" comment line for the first row:
    // its rows 1 and on are the file's rows 0 to 126.
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file((qvtest::corpus_dir() + "/xpm/hopper.xpm").c_str(), &h), 0);
    bmptest::Bytes ours = fmttest::pillow_bytes(h, "RGB");
    ours.resize(ours.size() - 128 * 3);
    QV_image_delete(h);
    if (fmttest::have_pillow()) {
        EXPECT_EQ(fmttest::peer("md5 RGB '" + qvtest::corpus_dir() + "/xpm/hopper.xpm' 1"),
                  qvtest::md5_hex(ours) + "\n");
    }
    ASSERT_EQ(QV_load_file((qvtest::corpus_dir() + "/xpm/hopper_bpp2.xpm").c_str(), &h), 0);
    EXPECT_EQ(qvtest::dims(h), (std::vector<int32_t>{128, 128, 8}));
    QV_image_delete(h);
}

TEST(XpmRead, ColoursAndFaults) {
    const char *file = "/* XPM */\nstatic char *x[] = {\n/* values */\n\"3 1 3 2\",\n"
                       "\"a. c #f00\",\n\"b. s x c None\",\n\"c. c gray50\",\n\"a.b.c.\"};\n";
    QUORIN h = qvtest::load_mem(text(file));
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(bmptest::rgba_of(h).px, (bmptest::Bytes{255, 0, 0, 255, 0, 0, 0, 0, 128, 128, 128, 255}));
    QV_image_delete(h);
    const std::pair<const char *, qvtest::Err> cases[] = {
        {"/* XPM */\n\"3 x 1 1\",", {QVE_XPM_SYNTAX, 2, -1}},
        {"/* XPM */\n\"3 1 1 3\",", {QVE_VARIANT, 3, 0}},
        {"/* XPM */\n\"3 1 2 1\",\n\"a c #000\"};", {QVE_XPM_READ, 1, 0}},
        {"/* XPM */\n\"2 2 1 1\",\n\"a c #000\",\n\"aa\"};", {QVE_XPM_READ, 1, 1}},
        {"/* XPM */\n\"2 1 1 1\",\n\"a c #000\",\n\"ab\"};", {QVE_XPM_PIXEL, 0, 1}},
    };
    for (const auto &[f, err] : cases) {
        EXPECT_EQ(qvtest::load_mem(text(f)), nullptr) << f;
        EXPECT_STACK(err);
    }
}

size_t g_largest = 0;  // the largest block asked of the caller's allocator

TEST(XpmRead, RowWiderThanThePixelLimitAllowsIsRefusedBeforeItsBuffer) {
    // 134217727 x 3 pixels are past the default limit; a row of two-character
    // keys would want 268 MB, which the allocator below refuses to give.
    const char *file = "/* XPM */\n\"134217727 3 1 2\",\n\"aa c #000\",\n\"aaaa\"};\n";
    const size_t live = bmptest::live_blocks();
    g_largest = 0;
    ASSERT_EQ(QV_mem_CB_register(
                  [](size_t n) -> void * {
                      g_largest = n > g_largest ? n : g_largest;
                      return n > (size_t(1) << 24) ? nullptr : std::malloc(n);
                  },
                  [](void *p, size_t n) -> void * { return std::realloc(p, n); }, [](void *p) { std::free(p); }),
              0);
    QUORIN h = qvtest::load_mem(text(file));
    const std::vector<qvtest::Err> stack = qvtest::stack();  // before the next call clears it
    ASSERT_EQ(QV_mem_CB_register(nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(stack, (std::vector<qvtest::Err>{{QVE_TOO_LARGE, 134217727, 3}}));
    EXPECT_LT(g_largest, size_t(1) << 20);
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

TEST(XpmWrite, PillowReadsWhatWeWrite) {
    if (!fmttest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const qvtest::TempDir dir("xpmwrite");
    for (int32_t bpp : {1, 4, 24}) {  // Pillow reads one key character only
        SCOPED_TRACE(bpp);
        // 24 bits: 6 x 5 random pixels, 30 colours at most (one key character).
        QUORIN img = bmptest::random_image(6, 5, bpp, uint32_t(bpp + 40));
        const std::string path = dir + "/out" + std::to_string(bpp) + ".xpm";
        EXPECT_EQ(fmttest::pillow_md5_of_saved(img, path, 45, "RGB"),
                  qvtest::md5_hex(fmttest::pillow_bytes(img, "RGB")));
        QV_image_delete(img);
    }
    // Two key characters and None: read back by the library itself.
    QUORIN pal8 = bmptest::random_image(9, 4, 8, 2);
    ASSERT_EQ(QV_save_file(pal8, (dir + "/pal8.xpm").c_str(), 45), 0);
    QUORIN back8 = nullptr;
    ASSERT_EQ(QV_load_file((dir + "/pal8.xpm").c_str(), &back8), 0);
    EXPECT_EQ(bmptest::rgba_of(back8).px, bmptest::rgba_of(pal8).px);
    QV_image_delete(back8);
    QV_image_delete(pal8);
    QUORIN img = bmptest::random_image(40, 30, 32, 3);
    const std::string path = dir + "/rgba.xpm";
    ASSERT_EQ(QV_save_file(img, path.c_str(), 45), 0);
    QUORIN back = nullptr;
    ASSERT_EQ(QV_load_file(path.c_str(), &back), 0);
    bmptest::Rgba want = bmptest::rgba_of(img), got = bmptest::rgba_of(back);
    for (size_t i = 0; i < want.px.size(); i += 4)
        if (want.px[i + 3] == 0) want.px[i] = want.px[i + 1] = want.px[i + 2] = 0;
        else want.px[i + 3] = 255;
    EXPECT_EQ(got.px, want.px);
    QV_image_delete(back);
    QV_image_delete(img);
}

}  // namespace
