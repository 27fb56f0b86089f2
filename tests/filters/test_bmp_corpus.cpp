// The corpus's BMP files: every file Pillow decodes loads with the
// manifest's MD5 of Pillow's pixels, except where Pillow 9.4 is known to be
// wrong (checked against the suite's uncompressed twin instead); the "bad"
// and malformed files never crash, leave nothing behind, and the refused
// ones carry the reader's code and values.
#include <map>

#include "filters/test_bmp_util.h"

namespace {

// Pillow's form of the pixels for the manifest's MD5: mode RGB, RGBA, L or
// 1 (packed, 1 = white).
bmptest::Bytes pillow_bytes(const bmptest::Rgba &im, const std::string &mode) {
    bmptest::Bytes out;
    const size_t take = mode == "RGBA" ? 4 : mode == "RGB" ? 3 : 1;
    for (int32_t y = 0; y < im.height; ++y) {
        uint32_t acc = 0, n = 0;
        for (int32_t x = 0; x < im.width; ++x) {
            const uint8_t *p = im.at(x, y);
            if (mode != "1") out.insert(out.end(), p, p + take);
            else acc = acc << 1 | (p[0] > 127), ++n;
            if (n == 8) out.push_back(uint8_t(acc)), acc = n = 0;
        }
        if (n) out.push_back(uint8_t(acc << (8 - n)));
    }
    return out;
}

bmptest::Rgba load_rgba(const std::string &path) {
    QUORIN h = nullptr;
    EXPECT_EQ(QV_load_file(path.c_str(), &h), 0) << path;
    bmptest::Rgba px;
    if (h) px = bmptest::rgba_of(h);
    QV_image_delete(h);
    return px;
}

TEST(BmpCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    // Where Pillow 9.4's pixels are not the image (its RLE4 decoder drops
    // every second pixel of encoded runs; its RLE decoder loses the rows
    // above a delta code): the suite's uncompressed twin, where there is one.
    const std::map<std::string, std::string> pillow_wrong = {
        {"bmp/bmpsuite-g/pal4rle.bmp", "bmp/bmpsuite-g/pal4.bmp"},
        {"bmp/bmpsuite-q/pal4rletrns.bmp", ""},
        {"bmp/bmpsuite-q/pal8rletrns.bmp", ""},
    };
    const std::string dir = qvtest::corpus_dir() + "/";
    int matched = 0;
    for (const auto &e : qvtest::manifest("bmp/")) {
        if (!e.decodes || e.path.find("bmpsuite-bad") != std::string::npos) continue;
        SCOPED_TRACE(e.path);
        const auto wrong = pillow_wrong.find(e.path);
        const bmptest::Rgba px = load_rgba(dir + e.path);
        if (wrong == pillow_wrong.end()) {
            EXPECT_EQ(qvtest::md5_hex(pillow_bytes(px, e.mode)), e.md5);
            ++matched;
        } else if (!wrong->second.empty()) {
            EXPECT_TRUE(px.px == load_rgba(dir + wrong->second).px);
        }
    }
    EXPECT_GE(matched, 38);
    const std::string g = dir + "bmp/bmpsuite-g/";
    EXPECT_TRUE(load_rgba(g + "pal8rle.bmp").px == load_rgba(g + "pal8.bmp").px);
}

TEST(BmpCorpus, BadAndMalformedFilesAreRefusedCleanly) {
    QV_SKIP_WITHOUT_CORPUS();
    const std::string dir = qvtest::corpus_dir() + "/";
    std::vector<qvtest::ManifestEntry> files = qvtest::manifest("bmp/bmpsuite-bad/");
    for (const auto &e : qvtest::manifest("malformed/bmp/")) files.push_back(e);
    ASSERT_GE(files.size(), 14u);
    const std::map<std::string, bmptest::Err> faults = {
        {"badbitcount.bmp", {QVE_DEPTH_UNSUPPORTED, 30000, 0}},
        {"badheadersize.bmp", {QVE_UNSUPPORTED_VARIANT, 66, 0}},
        {"badwidth.bmp", {QVE_BAD_HEADER, -127, 64}},
        {"shortfile.bmp", {QVE_SHORT_READ, 1024, 211}},
    };
    const size_t live = bmptest::live_blocks();
    size_t refused = 0;
    for (const auto &e : files) {
        SCOPED_TRACE(e.path);
        QUORIN h = nullptr;
        const int32_t n = QV_load_file((dir + e.path).c_str(), &h);
        EXPECT_EQ(n == 0, h != nullptr);
        const auto fault = faults.find(e.path.substr(e.path.rfind('/') + 1));
        if (fault != faults.end() && e.path.find("bmpsuite-bad") != std::string::npos) {
            EXPECT_EQ(n, 1);
            EXPECT_STACK(fault->second);
            ++refused;
        }
        QV_image_delete(h);
        EXPECT_EQ(iQV_mem_live_blocks(), live);
    }
    EXPECT_EQ(refused, faults.size());
}

}  // namespace
