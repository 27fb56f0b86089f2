// PCX/DCX against other programs: the corpus files load with the pixels
// Pillow decodes (manifest MD5), hostile files are refused, files written by
// Pillow and ImageMagick load with their pixels, and files the library
// writes are read back by Pillow or ImageMagick with ours.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <sstream>

#include "common/test_util.h"
#include "test_pcx_util.h"
#include "vosk32pd_bridge.h"

namespace {

using namespace pcxtest;

class PcxPeers : public ::testing::Test {
protected:
    void SetUp() override {
        VPb_error_clear_on_set(1);
        QV_error_clear();
    }
    void TearDown() override {
        QV_image_control_set(1 * 256 + 8, 0);
        QV_error_clear();
    }
    // Peer files made once for the whole suite; empty when a peer is missing.
    static const std::string &peer_dir() {
        static std::string dir = [] {
            if (!have_pillow() || !have_imagemagick()) return std::string();
            std::string d = qvtest::temp_path("pcx_peers");
            std::string cmd = "rm -rf '" + d + "' && /usr/bin/python3 '" + source_dir() +
                              "/tests/filters/test_pcx_peers.py' make '" + d + "' >/dev/null 2>&1";
            return run(cmd) ? d : std::string();
        }();
        return dir;
    }
    static void TearDownTestSuite() {
        if (!peer_dir().empty()) run("rm -rf '" + peer_dir() + "'");
    }
};

// Bytes as Pillow hashes mode "1": rows packed MSB first, 1 = white.
Bytes packed_bilevel(const Loaded &l) {
    Bytes v;
    uint8_t px[3];
    for (int32_t y = 0; y < l.hdr.biHeight; ++y) {
        for (int32_t x0 = 0; x0 < l.hdr.biWidth; x0 += 8) {
            uint8_t b = 0;
            for (int32_t x = x0; x < x0 + 8 && x < l.hdr.biWidth; ++x) {
                l.rgb(x, y, px);
                if (px[0]) b |= uint8_t(0x80 >> (x - x0));
            }
            v.push_back(b);
        }
    }
    return v;
}

struct ManifestLine {
    std::string path, mode, md5;
    bool decodes;
};

std::vector<ManifestLine> manifest(const std::string &prefix) {
    std::vector<ManifestLine> out;
    std::ifstream in(qvtest::corpus_dir() + "/MANIFEST.tsv");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind(prefix, 0) != 0) continue;
        ManifestLine m;
        m.path = line.substr(0, line.find('\t'));
        const std::string last = line.substr(line.rfind('\t') + 1);
        m.decodes = last.rfind("decodes:", 0) == 0;
        const size_t at = last.find("md5[");
        if (m.decodes && at != std::string::npos) {
            m.mode = last.substr(at + 4, last.find(']', at) - at - 4);
            m.md5 = last.substr(last.find('=', at) + 1, 32);
        }
        out.push_back(m);
    }
    return out;
}

TEST_F(PcxPeers, CorpusFilesMatchPillow) {
    QV_SKIP_WITHOUT_CORPUS();
    int checked = 0;
    for (const ManifestLine &m : manifest("pcx/")) {
        Bytes f = qvtest::read_file(qvtest::corpus_dir() + "/" + m.path);
        Loaded l = load(f);
        if (!m.decodes) {
            // Pillow refuses it (01r_00.pcx: 12 bytes per line for 88 pixels).
            EXPECT_GE(l.errors, 1) << m.path;
            continue;
        }
        ASSERT_EQ(l.errors, 0) << m.path << " " << qvtest::error_at(0).code;
        if (m.path == "pcx/p_4_planes.pcx") {
            // Pillow 9.4 takes the planes 1 byte apart although each line of
            // a plane is 2 bytes long; with the planes where the header puts
            // them the pixel is 3 (planes 0 and 1 set), red in the palette.
            EXPECT_EQ(l.index(0, 0), 3u);
            EXPECT_EQ(l.rgb_bytes(), (Bytes{255, 0, 0}));
            ++checked;
            continue;
        }
        const Bytes pixels = m.mode == "1" ? packed_bilevel(l) : l.rgb_bytes();
        EXPECT_EQ(md5_hex(pixels), m.md5) << m.path;
        ++checked;
    }
    EXPECT_EQ(checked, 4);
}

TEST_F(PcxPeers, MalformedFilesAreRefusedCleanly) {
    QV_SKIP_WITHOUT_CORPUS();
    for (const ManifestLine &m : manifest("malformed/pcx/")) {
        Bytes f = qvtest::read_file(qvtest::corpus_dir() + "/" + m.path);
        int32_t errors = 0;
        EXPECT_EQ(load_image(f, 1, &errors), nullptr) << m.path;
        EXPECT_GE(errors, 1) << m.path;
        int32_t type = 0, value = 0;
        QV_info_get_mem(f.data(), f.size(), &type, &value, nullptr);
    }
}

TEST_F(PcxPeers, FilesWrittenByPillowAndImageMagickLoadWithTheirPixels) {
    if (peer_dir().empty()) GTEST_SKIP() << "Pillow or ImageMagick not available";
    std::ifstream list(peer_dir() + "/list.txt");
    std::string name;
    int32_t page = 0, w = 0, h = 0, checked = 0;
    while (list >> name >> page >> w >> h) {
        const std::string file = peer_dir() + "/" + name + (name == "im_pages" ? ".dcx" : ".pcx");
        Loaded l = load(qvtest::read_file(file), page);
        ASSERT_EQ(l.errors, 0) << name << " page " << page;
        EXPECT_EQ(l.hdr.biWidth, w) << name;
        EXPECT_EQ(l.hdr.biHeight, h) << name;
        const Bytes want = qvtest::read_file(peer_dir() + "/" + name + ".p" + std::to_string(page) + ".rgb");
        EXPECT_EQ(l.rgb_bytes(), want) << name << " page " << page;
        ++checked;
    }
    EXPECT_EQ(checked, 17);
}

// Which peer checks a file the library wrote. Pillow 9.4 is the reference
// except where it is known to misread: planes of an odd width (it takes the
// planes of a line `width` bytes apart, ignoring the padding byte) and 8-bit
// DCX pages (it looks for the 256-colour trailer at the end of the file, not
// of the page); ImageMagick reads those, but not 1-bit pages, which it reads
// with 1 as black.
bool pillow_reads(const Loaded &l, bool dcx_page) {
    if (l.hdr.biBitCount == 1) return true;
    if (l.hdr.biBitCount == 24 && l.hdr.biWidth % 2) return false;
    return !dcx_page || l.hdr.biBitCount == 24;
}

std::string peer_decode(bool pillow, const std::string &file, int32_t page, const std::string &rgb) {
    if (!pillow) return "convert '" + file + "[" + std::to_string(page - 1) + "]' -depth 8 'rgb:" + rgb + "'";
    return "/usr/bin/python3 '" + source_dir() + "/tests/filters/test_pcx_peers.py' decode '" + file + "' " +
           std::to_string(page) + " '" + rgb + "'";
}

TEST_F(PcxPeers, FilesWrittenByTheLibraryAreReadByPeers) {
    if (peer_dir().empty()) GTEST_SKIP() << "Pillow or ImageMagick not available";
    std::ifstream list(peer_dir() + "/list.txt");
    std::string name;
    int32_t page = 0, w = 0, h = 0, checked = 0;
    const std::string dcx_out = qvtest::temp_path("ours_pages.dcx");
    ::unlink(dcx_out.c_str());
    std::vector<Loaded> dcx_pages;
    while (list >> name >> page >> w >> h) {
        if (name == "im_pages") continue;
        const Bytes src = qvtest::read_file(peer_dir() + "/" + name + ".pcx");
        QUORIN image = load_image(src, 1);
        ASSERT_NE(image, nullptr) << name;
        const Loaded ours = load(src);
        const std::string out = qvtest::temp_path("ours_" + name + ".pcx");
        ASSERT_EQ(QV_save_file(image, out.c_str(), 31), 0) << out;
        const std::string rgb = out + ".rgb";
        ASSERT_TRUE(run(peer_decode(pillow_reads(ours, false), out, 1, rgb) + " 2>/dev/null")) << name;
        EXPECT_EQ(qvtest::read_file(rgb), ours.rgb_bytes()) << name;
        ::unlink(rgb.c_str());
        ::unlink(out.c_str());
        // Every image also becomes a page of one DCX file.
        QV_image_control_set(1 * 256 + 8, 1);
        ASSERT_EQ(QV_save_file(image, dcx_out.c_str(), 8), 0) << name;
        dcx_pages.push_back(ours);
        QV_image_delete(image);
        ++checked;
    }
    EXPECT_EQ(checked, 13);
    for (size_t p = 0; p < dcx_pages.size(); ++p) {
        const std::string rgb = dcx_out + ".rgb";
        ASSERT_TRUE(run(peer_decode(pillow_reads(dcx_pages[p], true), dcx_out, int32_t(p + 1), rgb) +
                        " 2>/dev/null"));
        EXPECT_EQ(qvtest::read_file(rgb), dcx_pages[p].rgb_bytes()) << "page " << p + 1;
        ::unlink(rgb.c_str());
    }
    ::unlink(dcx_out.c_str());
}

TEST_F(PcxPeers, FourBitFilesAreReadByImageMagick) {
    if (peer_dir().empty()) GTEST_SKIP() << "Pillow or ImageMagick not available";
    // 13 x 5 pixels of 16 colours in four bit planes, loaded as a 4-bit image.
    Header h;
    h.bpp = 1;
    h.planes = 4;
    h.width = 13;
    h.height = 5;
    h.palette16.resize(48);
    for (int i = 0; i < 48; ++i) h.palette16[i] = uint8_t(i * 37 + 11);
    Bytes data;
    for (int y = 0; y < 5; ++y) {
        for (int p = 0; p < 4; ++p) {
            for (int b = 0; b < 2; ++b) data.insert(data.end(), {0xC1, uint8_t((y * 53 + p * 97 + b * 29) & 0xFF)});
        }
    }
    const Bytes src = cat(h.bytes(), data);
    QUORIN image = load_image(src, 1);
    ASSERT_NE(image, nullptr);
    const std::string out = qvtest::temp_path("ours_4bit.pcx");
    ASSERT_EQ(QV_save_file(image, out.c_str(), 31), 0);
    ASSERT_TRUE(run(peer_decode(false, out, 1, out + ".rgb")));
    EXPECT_EQ(qvtest::read_file(out + ".rgb"), load(src).rgb_bytes());
    ::unlink((out + ".rgb").c_str());
    Bytes f = qvtest::read_file(out);
    EXPECT_EQ(f[3], 4);
    ::unlink(out.c_str());
    QV_image_delete(image);
}

}  // namespace
