// BMP against Pillow (and ImageMagick for RLE8): every file they write loads
// with their pixels, and every depth the library writes reads back in
// Pillow with the library's pixels.
#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bytes;

// Reads a NAME.rgba file: "W H\n" then the pixels.
bool read_rgba(const std::string &path, bmptest::Rgba *out) {
    const Bytes f = qvtest::read_file(path);
    const auto nl = std::find(f.begin(), f.end(), uint8_t('\n'));
    if (nl == f.end()) return false;
    if (std::sscanf(std::string(f.begin(), nl).c_str(), "%d %d", &out->width, &out->height) != 2)
        return false;
    out->px.assign(nl + 1, f.end());
    return out->px.size() == size_t(out->width) * out->height * 4;
}

class BmpPeers : public ::testing::Test {
protected:
    void SetUp() override {
        if (!qvtest::command_ok("/usr/bin/python3 -c 'import PIL, numpy'"))
            GTEST_SKIP() << "Pillow not available";
        dir_ = qvtest::temp_path("bmppeers");
        qvtest::run("rm -rf '" + dir_ + "' && mkdir -p '" + dir_ + "'");
    }
    void TearDown() override {
        if (!dir_.empty()) qvtest::run("rm -rf '" + dir_ + "'");
    }
    // Runs the peer script; true on success.
    static bool peer(const std::string &args) {
        int st = 1;
        qvtest::run("/usr/bin/python3 " QV_SOURCE_DIR "/tests/filters/test_bmp_peers.py " + args,
                    &st);
        return st == 0;
    }
    std::string dir_;
};

TEST_F(BmpPeers, LoadsWhatPeersWrite) {
    ASSERT_TRUE(peer("make '" + dir_ + "'"));
    int checked = 0;
    for (const char *name : {"rgb24", "rgba32", "grey8", "pal8", "pal4", "bw1", "wide1", "odd8",
                             "rle4", "rle8", "rle8few"}) {
        SCOPED_TRACE(name);
        bmptest::Rgba want;
        if (!read_rgba(dir_ + "/" + name + ".rgba", &want)) {
            EXPECT_EQ(std::string(name).rfind("rle8", 0), 0u) << "peer file missing";
            continue;  // ImageMagick absent
        }
        QUORIN h = nullptr;
        ASSERT_EQ(QV_load_file((dir_ + "/" + name + ".bmp").c_str(), &h), 0);
        bmptest::Rgba got = bmptest::rgba_of(h);
        EXPECT_EQ(got.width, want.width);
        EXPECT_EQ(got.height, want.height);
        // Pillow reads a 32-bit BI_RGB file as opaque RGB; the library keeps
        // the fourth byte (the corpus test checks alpha where it is defined).
        for (size_t i = 3; i < want.px.size(); i += 4) want.px[i] = got.px[i] = 255;
        EXPECT_TRUE(got.px == want.px);
        QV_image_delete(h);
        ++checked;
    }
    EXPECT_GE(checked, 9);
}

TEST_F(BmpPeers, PillowReadsWhatWeWrite) {
    std::vector<std::string> files;
    std::vector<bmptest::Rgba> ours;
    auto save = [&](QUORIN img, const std::string &name, int32_t format) {
        files.push_back(dir_ + "/" + name + ".bmp");
        EXPECT_EQ(QV_save_file(img, files.back().c_str(), format), 0) << name;
        ours.push_back(bmptest::rgba_of(img));
        QV_image_delete(img);
    };
    const int32_t cases[][3] = {{1, 77, 9},   {4, 13, 7},  {8, 31, 6},
                                {16, 17, 5},  {24, 9, 11}, {32, 21, 4}};
    for (auto [bpp, w, h] : cases)
        save(bmptest::random_image(w, h, bpp, uint32_t(bpp * 7 + 1)), "out" + std::to_string(bpp),
             QV_FORMAT_BMP);
    // A 5-6-5 image keeps its masks: made by loading a BITFIELDS file.
    bmptest::Bmp b565{.width = 5, .height = 3, .bpp = 16, .compression = 3,
                      .masks = {0xF800, 0x07E0, 0x001F}};
    for (int i = 0; i < 3 * 12; ++i) b565.data.push_back(uint8_t(i * 37 + 11));
    QUORIN img = bmptest::load_mem(b565.bytes());
    ASSERT_NE(img, nullptr);
    save(img, "out565", 0);

    std::string args = "dump";
    for (const auto &f : files) args += " '" + f + "'";
    ASSERT_TRUE(peer(args));
    for (size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(files[i]);
        bmptest::Rgba theirs;
        ASSERT_TRUE(read_rgba(files[i] + ".rgba", &theirs));
        ASSERT_EQ(theirs.width, ours[i].width);
        ASSERT_EQ(theirs.height, ours[i].height);
        for (size_t k = 3; k < ours[i].px.size(); k += 4) ours[i].px[k] = 255;  // X of BI_RGB
        EXPECT_TRUE(ours[i].px == theirs.px);
    }
}

}  // namespace
