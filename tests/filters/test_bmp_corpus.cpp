// The corpus's BMP files: every file Pillow decodes loads with the
// manifest's MD5 of Pillow's pixels, except where Pillow 9.4 is known to be
// wrong (checked against the suite's uncompressed twin instead); the "bad"
// and malformed files never crash and leave nothing behind.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "filters/test_bmp_util.h"

namespace {

struct Entry {
    std::string path, mode, md5;
    bool decodes = false;
};

std::vector<Entry> manifest(const std::string &prefix) {
    std::vector<Entry> out;
    std::ifstream in(qvtest::corpus_dir() + "/MANIFEST.tsv");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind(prefix, 0) != 0) continue;
        std::istringstream ls(line);
        std::string field;
        std::vector<std::string> f;
        while (std::getline(ls, field, '\t')) f.push_back(field);
        if (f.size() < 5) continue;
        Entry e;
        e.path = f[0];
        size_t m = f[4].find("md5[");
        if (f[4].rfind("decodes", 0) == 0 && m != std::string::npos) {
            size_t close = f[4].find(']', m);
            e.mode = f[4].substr(m + 4, close - m - 4);
            e.md5 = f[4].substr(close + 2, 32);
            e.decodes = true;
        }
        out.push_back(e);
    }
    return out;
}

// Files where Pillow 9.4's pixels are not the image: its RLE4 decoder drops
// every second pixel of encoded runs, and its RLE decoder loses the rows
// above a delta code. Compared with the suite's uncompressed twin where
// there is one (the transparent-pixel files have none).
const std::map<std::string, std::string> kPillowWrong = {
    {"bmp/bmpsuite-g/pal4rle.bmp", "bmp/bmpsuite-g/pal4.bmp"},
    {"bmp/bmpsuite-q/pal4rletrns.bmp", ""},
    {"bmp/bmpsuite-q/pal8rletrns.bmp", ""},
};

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
    std::string dir = qvtest::corpus_dir() + "/";
    int matched = 0;
    for (const Entry &e : manifest("bmp/")) {
        if (!e.decodes || e.path.find("bmpsuite-bad") != std::string::npos) continue;
        SCOPED_TRACE(e.path);
        auto wrong = kPillowWrong.find(e.path);
        bmptest::Rgba px = load_rgba(dir + e.path);
        if (wrong != kPillowWrong.end()) {
            if (!wrong->second.empty()) {
                EXPECT_TRUE(px.px == load_rgba(dir + wrong->second).px);
            }
            continue;
        }
        EXPECT_EQ(bmptest::md5_hex(bmptest::pillow_bytes(px, e.mode)), e.md5);
        ++matched;
    }
    EXPECT_GE(matched, 38);
}

TEST(BmpCorpus, RleTwinsMatchTheirUncompressedFiles) {
    QV_SKIP_WITHOUT_CORPUS();
    std::string g = qvtest::corpus_dir() + "/bmp/bmpsuite-g/";
    EXPECT_TRUE(load_rgba(g + "pal8rle.bmp").px == load_rgba(g + "pal8.bmp").px);
    EXPECT_TRUE(load_rgba(g + "pal4rle.bmp").px == load_rgba(g + "pal4.bmp").px);
}

// Hostile files: a code or an image, never a crash, and nothing left over.
TEST(BmpCorpus, BadAndMalformedFilesAreRefusedCleanly) {
    QV_SKIP_WITHOUT_CORPUS();
    std::string dir = qvtest::corpus_dir() + "/";
    std::vector<Entry> files = manifest("bmp/bmpsuite-bad/");
    for (const Entry &e : manifest("malformed/bmp/")) files.push_back(e);
    ASSERT_GE(files.size(), 14u);
    size_t live = bmptest::live_blocks();
    for (const Entry &e : files) {
        SCOPED_TRACE(e.path);
        QUORIN h = nullptr;
        int32_t n = QV_load_file((dir + e.path).c_str(), &h);
        if (n != 0) {
            EXPECT_EQ(h, nullptr);
        } else {
            ASSERT_NE(h, nullptr);
            QV_image_delete(h);
        }
        EXPECT_EQ(iQV_mem_live_blocks(), live);
    }
}

// The refusals carry the reader's code and values.
TEST(BmpCorpus, BadFilesReportTheirFault) {
    QV_SKIP_WITHOUT_CORPUS();
    std::string bad = qvtest::corpus_dir() + "/bmp/bmpsuite-bad/";
    struct Case {
        const char *file;
        bmptest::Err err;
    };
    const Case cases[] = {
        {"badbitcount.bmp", {QVE_DEPTH_UNSUPPORTED, 30000, 0}},
        {"badheadersize.bmp", {QVE_UNSUPPORTED_VARIANT, 66, 0}},
        {"badwidth.bmp", {QVE_BAD_HEADER, -127, 64}},
        {"shortfile.bmp", {QVE_SHORT_READ, 1024, 211}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        QUORIN h = nullptr;
        EXPECT_EQ(QV_load_file((bad + c.file).c_str(), &h), 1);
        EXPECT_EQ(h, nullptr);
        EXPECT_EQ(bmptest::stack(), std::vector<bmptest::Err>{c.err});
    }
}

}  // namespace
