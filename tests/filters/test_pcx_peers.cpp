// PCX/DCX against other programs: the corpus files load with the pixels
// Pillow decodes (manifest MD5), hostile files are refused, files written by
// Pillow and ImageMagick load with their pixels, and files the library
// writes are read back by Pillow or ImageMagick with ours.
#include <fstream>

#include "test_pcx_util.h"

namespace {

using namespace pcxtest;

const std::string kScript = "/usr/bin/python3 '" QV_SOURCE_DIR "/tests/filters/test_pcx_peers.py'";

class PcxPeers : public PcxTest {
protected:
    // Peer files made once for the whole suite; empty when a peer is missing.
    static const std::string &peer_dir() {
        static const std::string dir = [] {
            if (!qvtest::command_ok("/usr/bin/python3 -c 'import PIL.Image'") ||
                !qvtest::command_ok("convert -version"))
                return std::string();
            const std::string d = qvtest::temp_path("pcx_peers");
            const std::string make = "rm -rf '" + d + "' && " + kScript + " make '" + d + "'";
            return qvtest::command_ok(make) ? d : std::string();
        }();
        return dir;
    }
    static void TearDownTestSuite() {
        if (!peer_dir().empty()) qvtest::run("rm -rf '" + peer_dir() + "'");
    }
};

TEST_F(PcxPeers, CorpusFilesMatchPillow) {
    QV_SKIP_WITHOUT_CORPUS();
    int checked = 0;
    for (const auto &m : qvtest::manifest("pcx/")) {
        SCOPED_TRACE(m.path);
        const Loaded l = load(qvtest::read_file(qvtest::corpus_dir() + "/" + m.path));
        if (!m.decodes) {
            // Pillow refuses it (01r_00.pcx: 12 bytes per line for 88 pixels).
            EXPECT_GE(l.errors, 1);
            continue;
        }
        ASSERT_EQ(l.errors, 0) << ::testing::PrintToString(qvtest::stack());
        ++checked;
        if (m.path == "pcx/p_4_planes.pcx") {
            // Pillow 9.4 takes the planes 1 byte apart although each line of
            // a plane is 2 bytes long; with the planes where the header puts
            // them the pixel is 3 (planes 0 and 1 set), red in the palette.
            EXPECT_EQ(l.index(0, 0), 3u);
            EXPECT_EQ(l.rgb_bytes(), (Bytes{255, 0, 0}));
            continue;
        }
        // Mode "1" is hashed as rows packed MSB first, 1 = white.
        Bytes pixels = l.rgb_bytes();
        if (m.mode == "1") {
            pixels.clear();
            for (int32_t y = 0; y < l.hdr.biHeight; ++y)
                for (int32_t x = 0; x < l.hdr.biWidth; ++x) {
                    if (x % 8 == 0) pixels.push_back(0);
                    if (l.rgb(x, y)) pixels.back() |= uint8_t(0x80 >> (x % 8));
                }
        }
        EXPECT_EQ(qvtest::md5_hex(pixels), m.md5);
    }
    EXPECT_EQ(checked, 4);
}

TEST_F(PcxPeers, MalformedFilesAreRefusedCleanly) {
    QV_SKIP_WITHOUT_CORPUS();
    for (const auto &m : qvtest::manifest("malformed/pcx/")) {
        const Bytes f = qvtest::read_file(qvtest::corpus_dir() + "/" + m.path);
        int32_t errors = 0, type = 0, value = 0;
        EXPECT_EQ(load_mem(f, &errors), nullptr) << m.path;
        EXPECT_GE(errors, 1) << m.path;
        QV_info_get_mem(f.data(), f.size(), &type, &value, nullptr);
    }
}

// Which peer checks a file the library wrote. Pillow 9.4 is the reference
// except where it is known to misread: planes of an odd width (it takes the
// planes of a line `width` bytes apart, ignoring the padding byte) and 8-bit
// DCX pages (it looks for the 256-colour trailer at the end of the file, not
// of the page); ImageMagick reads those, but not 1-bit pages, which it reads
// with 1 as black.
bool pillow_reads(const Loaded &l, bool dcx_page) {
    const int bpp = l.hdr.biBitCount;
    return bpp == 1 || (bpp == 24 ? l.hdr.biWidth % 2 == 0 : !dcx_page);
}

// The peer's decoding of page `page` of `file` must be `want`.
void expect_peer_reads(bool pillow, const std::string &file, int32_t page, const Loaded &want) {
    const std::string rgb = file + ".rgb", n = std::to_string(page);
    const std::string cmd = pillow ? kScript + " decode '" + file + "' " + n + " '" + rgb + "'"
                                   : "convert '" + file + "[" + std::to_string(page - 1) +
                                         "]' -depth 8 'rgb:" + rgb + "'";
    int st = -1;
    qvtest::run(cmd + " 2>&1", &st);
    ASSERT_EQ(st, 0) << cmd;
    EXPECT_EQ(qvtest::read_file(rgb), want.rgb_bytes()) << file << " page " << page;
    ::unlink(rgb.c_str());
}

TEST_F(PcxPeers, PeerFilesLoadWithTheirPixelsAndOursAreReadByPeers) {
    if (peer_dir().empty()) GTEST_SKIP() << "Pillow or ImageMagick not available";
    std::ifstream list(peer_dir() + "/list.txt");
    std::string name;
    int32_t page = 0, w = 0, h = 0, checked = 0;
    const std::string dcx_out = path("ours_pages.dcx"), out = path("ours.pcx");
    std::vector<Loaded> dcx_pages;
    while (list >> name >> page >> w >> h) {
        SCOPED_TRACE(name + " page " + std::to_string(page));
        // Theirs: loads with the pixels of their program.
        const std::string base = peer_dir() + "/" + name;
        const Bytes src = qvtest::read_file(base + (name == "im_pages" ? ".dcx" : ".pcx"));
        const Loaded theirs = load(src, page);
        ASSERT_EQ(theirs.errors, 0);
        EXPECT_EQ(std::make_tuple(theirs.hdr.biWidth, theirs.hdr.biHeight), std::make_tuple(w, h));
        const Bytes want = qvtest::read_file(base + ".p" + std::to_string(page) + ".rgb");
        EXPECT_EQ(theirs.rgb_bytes(), want);
        ++checked;
        if (name == "im_pages") continue;
        // Ours: written as PCX and as a page of one DCX file.
        QUORIN image = image_of(src);
        ASSERT_EQ(QV_save_file(image, out.c_str(), kPcx), 0);
        expect_peer_reads(pillow_reads(theirs, false), out, 1, theirs);
        QV_image_control_set(kDcxAppend, 1);
        ASSERT_EQ(QV_save_file(image, dcx_out.c_str(), kDcx), 0);
        dcx_pages.push_back(theirs);
    }
    EXPECT_EQ(checked, 17);
    EXPECT_EQ(dcx_pages.size(), 13u);
    for (size_t p = 0; p < dcx_pages.size(); ++p)
        expect_peer_reads(pillow_reads(dcx_pages[p], true), dcx_out, int32_t(p + 1), dcx_pages[p]);

    // 13 x 5 pixels of 16 colours in four bit planes, loaded as a 4-bit image.
    Header four{.bpp = 1, .planes = 4, .width = 13, .height = 5, .palette16 = Bytes(48)};
    for (int i = 0; i < 48; ++i) four.palette16[i] = uint8_t(i * 37 + 11);
    Bytes data;
    for (int i = 0; i < 5 * 4 * 2; ++i)  // row i / 8, plane i / 2 % 4, byte i % 2
        data.push_back(uint8_t((i / 8 * 53 + i / 2 % 4 * 97 + i % 2 * 29) & 0xFF));
    const Bytes src = four.with(ones(data));
    ASSERT_EQ(QV_save_file(image_of(src), out.c_str(), kPcx), 0);
    EXPECT_EQ(qvtest::read_file(out)[3], 4);
    expect_peer_reads(false, out, 1, load(src));
}

}  // namespace
