// Files Pillow writes (progressive and CMYK JPEG, grey and 4-bit palette
// PNG, RGBA PNG, an animated GIF, an interlaced GIF) load with the pixels
// Pillow reads back from them, frame by frame.
#include <fstream>

#include "filters/test_codec_util.h"

namespace {

using namespace codectest;

TEST(CodecPeers, PillowFilesLoadWithPillowsPixels) {
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    const std::string dir = qvtest::temp_path("codec_peers");
    ASSERT_EQ(qvtest::run("rm -rf '" + dir + "' && " + kPeer + " make '" + dir + "' && echo ok"), "ok\n");
    std::ifstream list(dir + "/list.txt");
    std::string name;
    int32_t frames = 0, checked = 0;
    while (list >> name >> frames) {
        const std::string file = dir + "/" + name;
        const bool jpeg = name.find(".jpg") != std::string::npos;
        int32_t pages = 0;
        ASSERT_EQ(QV_page_count_get(file.c_str(), &pages), 0);
        EXPECT_EQ(pages, frames) << name;
        for (int32_t f = 0; f < frames; ++f) {
            SCOPED_TRACE(name + " frame " + std::to_string(f));
            int32_t errors = -1;
            const Rgba ours = load_rgba(file, f + 1, &errors);
            ASSERT_EQ(errors, 0) << ::testing::PrintToString(qvtest::stack());
            EXPECT_LE(max_diff(ours, pillow_rgba(file, f), ours.bpp == 32), jpeg ? 2 : 0);
            ++checked;
        }
    }
    EXPECT_EQ(checked, 12);
    qvtest::run("rm -rf '" + dir + "'");
}

}  // namespace
