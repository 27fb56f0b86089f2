// BMP against Pillow (and ImageMagick for RLE8): every file they write loads
// with their pixels, and every depth the library writes reads back in
// Pillow with the library's pixels.
#include <gtest/gtest.h>

#include <random>

#include "common/test_util.h"
#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bytes;

std::string peer_script() { return std::string(QV_SOURCE_DIR) + "/tests/filters/test_bmp_peers.py"; }

// Reads a NAME.rgba file: "W H\n" then the pixels.
bool read_rgba(const std::string &path, bmptest::Rgba *out) {
    Bytes f = qvtest::read_file(path);
    auto nl = std::find(f.begin(), f.end(), uint8_t('\n'));
    if (nl == f.end()) return false;
    std::string head(f.begin(), nl);
    if (std::sscanf(head.c_str(), "%d %d", &out->width, &out->height) != 2) return false;
    out->px.assign(nl + 1, f.end());
    return out->px.size() == size_t(out->width) * out->height * 4;
}

class BmpPeers : public ::testing::Test {
protected:
    void SetUp() override {
        QV_SKIP_WITHOUT_PILLOW();
        dir_ = qvtest::temp_path("bmppeers");
        bmptest::run("rm -rf '" + dir_ + "' && mkdir -p '" + dir_ + "'");
    }
    void TearDown() override {
        if (!dir_.empty()) bmptest::run("rm -rf '" + dir_ + "'");
    }
    std::string dir_;
};

TEST_F(BmpPeers, LoadsWhatPeersWrite) {
    int st = 1;
    bmptest::run("/usr/bin/python3 " + peer_script() + " make '" + dir_ + "'", &st);
    ASSERT_EQ(st, 0);
    const char *names[] = {"rgb24", "rgba32", "grey8", "pal8", "pal4", "bw1", "wide1", "odd8",
                           "rle4", "rle8", "rle8few"};
    int checked = 0;
    for (const char *name : names) {
        SCOPED_TRACE(name);
        bmptest::Rgba want;
        if (!read_rgba(dir_ + "/" + name + ".rgba", &want)) {
            EXPECT_TRUE(std::string(name).rfind("rle8", 0) == 0) << "peer file missing";
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

// An image of each depth with random pixels (and palette), saved by the
// library; Pillow must see the same pixels.
QUORIN random_image(int32_t w, int32_t h, int32_t bpp, uint32_t seed) {
    QUORIN img = nullptr;
    EXPECT_EQ(QV_image_create_DIB(w, h, bpp, nullptr, &img), 0);
    std::mt19937 rng(seed);
    Bytes row(bmptest::stride_of(w, bpp));
    for (int32_t y = 0; y < h; ++y) {
        for (auto &b : row) b = uint8_t(rng());
        EXPECT_EQ(QV_DIB_raster_set(img, y, row.data(), 1), 0);
    }
    QV_RGBQUAD *pal = nullptr;
    int32_t n = 0;
    if (bpp <= 8 && QV_image_DIB_palette_pntr_get(img, &pal, &n) == 0)
        for (int32_t i = 0; i < n; ++i) pal[i] = QV_RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
    return img;
}

TEST_F(BmpPeers, PillowReadsWhatWeWrite) {
    struct Case {
        int32_t bpp, w, h;
    };
    const Case cases[] = {{1, 77, 9}, {4, 13, 7}, {8, 31, 6}, {16, 17, 5}, {24, 9, 11}, {32, 21, 4}};
    std::vector<std::string> files;
    std::vector<bmptest::Rgba> ours;
    for (const Case &c : cases) {
        QUORIN img = random_image(c.w, c.h, c.bpp, uint32_t(c.bpp * 7 + 1));
        std::string path = dir_ + "/out" + std::to_string(c.bpp) + ".bmp";
        ASSERT_EQ(QV_save_file(img, path.c_str(), QV_FORMAT_BMP), 0) << c.bpp;
        ours.push_back(bmptest::rgba_of(img));
        files.push_back(path);
        QV_image_delete(img);
    }
    // A 5-6-5 image keeps its masks: made by loading a BITFIELDS file.
    bmptest::Bmp b565;
    b565.width = 5, b565.height = 3, b565.bpp = 16, b565.compression = 3;
    b565.masks = {0xF800, 0x07E0, 0x001F};
    for (int i = 0; i < 3 * 12; ++i) b565.data.push_back(uint8_t(i * 37 + 11));
    QUORIN img = bmptest::load_mem(b565.bytes());
    ASSERT_NE(img, nullptr);
    files.push_back(dir_ + "/out565.bmp");
    ASSERT_EQ(QV_save_file(img, files.back().c_str(), 0), 0);
    ours.push_back(bmptest::rgba_of(img));
    QV_image_delete(img);

    std::string cmd = "/usr/bin/python3 " + peer_script() + " dump";
    for (const auto &f : files) cmd += " '" + f + "'";
    int st = 1;
    bmptest::run(cmd, &st);
    ASSERT_EQ(st, 0);
    for (size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(files[i]);
        bmptest::Rgba theirs;
        ASSERT_TRUE(read_rgba(files[i] + ".rgba", &theirs));
        ASSERT_EQ(theirs.width, ours[i].width);
        ASSERT_EQ(theirs.height, ours[i].height);
        Bytes mine = ours[i].px;
        for (size_t k = 3; k < mine.size(); k += 4) mine[k] = 255;  // X byte of 32-bit BI_RGB
        EXPECT_TRUE(mine == theirs.px);
    }
}

}  // namespace
