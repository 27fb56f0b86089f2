// Raw CCITT fax: strips libtiff codes decode to libtiff's pixels, what the
// writer codes decodes in libtiff (and fax2tiff) to the source pixels, the
// framing bits of small pages, damaged data, and the error codes.
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include "common/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;

const std::string kScript = "/usr/bin/python3 '" QV_SOURCE_DIR "/tests/filters/test_ccitt_peers.py'";

struct Case {
    std::string name;
    int32_t width, height, coding, fill;
};

// Rows of (w + 7) / 8 bytes, 1 = black, of any 1-bit image.
Bytes black_bits(QUORIN h) {
    int32_t w = 0, ht = 0, bpp = 0;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    QV_RGBQUAD *pal = nullptr;
    int32_t entries = 0;
    QV_image_DIB_palette_pntr_get(h, &pal, &entries);
    auto dark = [&](int v) { return pal[v].rgbRed + pal[v].rgbGreen + pal[v].rgbBlue < 384; };
    const size_t stride = size_t(w + 7) / 8;
    Bytes out(stride * size_t(ht), 0);
    std::vector<uint16_t> runs(size_t(w) + 8);
    for (int32_t y = 0; y < ht; ++y) {
        if (QV_runs_row_get(h, y, runs.data()) != 0) return {};
        int v = 0;
        int32_t x = 0;
        for (size_t i = 1;; ++i) {
            const int32_t to = std::min<int32_t>(runs[i], w);
            if (dark(v))
                for (int32_t p = x; p < to; ++p) out[size_t(y) * stride + size_t(p / 8)] |= uint8_t(0x80 >> (p % 8));
            x = to;
            v ^= 1;
            if (x >= w) break;
        }
    }
    return out;
}

QUORIN load_ccitt(const Bytes &data, int32_t w, int32_t h, int32_t coding, int32_t fill,
                  int32_t *errors = nullptr) {
    QUORIN img = nullptr;
    const int32_t n = QV_load_CCITT_mem(data.data(), data.size(), w, h, coding, fill, &img);
    if (errors) *errors = n;
    return img;
}

Bytes save(QUORIN h, int32_t format, int32_t *errors = nullptr) {
    Bytes buf(1 << 22);
    size_t written = 0;
    const int32_t n = QV_save_mem(h, buf.data(), buf.size(), 0, 0, 1, format, &written);
    if (errors) *errors = n;
    buf.resize(n ? 0 : written);
    return buf;
}

using qvtest::pack;
using qvtest::rep;
const std::string kEol = "000000000001";

class Ccitt : public ::testing::Test {
protected:
    void SetUp() override {
        QV_error_clear();
        for (int32_t type : {11, 53, 12}) {
            QV_image_control_set(2 * 256 + type, 1);
            QV_image_control_set(3 * 256 + type, 0);
            QV_image_control_set(4 * 256 + type, 2);
        }
    }
    static const std::string &peer_dir() {
        static const std::string dir = [] {
            if (!qvtest::command_ok("tiffcp 2>&1 | grep -q usage; which pnmtotiff >/dev/null"))
                return std::string();
            const std::string d = qvtest::temp_path("ccitt_peers");
            return qvtest::command_ok("rm -rf '" + d + "' && " + kScript + " make '" + d + "'") ? d
                                                                                            : std::string();
        }();
        return dir;
    }
    static std::vector<Case> cases() {
        std::vector<Case> out;
        std::ifstream in(peer_dir() + "/list.txt");
        Case c;
        while (in >> c.name >> c.width >> c.height >> c.coding >> c.fill) out.push_back(c);
        return out;
    }
    // A white page of w x h with black spans from a text picture.
    static QUORIN page(int32_t w, int32_t h, int seed) {
        const std::string d = qvtest::temp_path("ccitt_page");
        qvtest::command_ok(kScript + " page '" + d + ".pbm' " + std::to_string(w) + " " +
                           std::to_string(h) + " " + std::to_string(seed));
        Bytes pbm = qvtest::read_file(d + ".pbm");
        std::remove((d + ".pbm").c_str());
        const size_t stride = size_t(w + 7) / 8;
        QUORIN img = nullptr;
        if (QV_image_create_DIB(w, h, 1, nullptr, &img) != 0) return nullptr;
        // The new image's palette is black (0), white (1).
        std::vector<uint8_t> row(size_t((w + 31) / 32) * 4);
        const size_t header = pbm.size() - stride * size_t(h);
        for (int32_t y = 0; y < h; ++y) {
            std::fill(row.begin(), row.end(), 0);
            for (size_t i = 0; i < stride; ++i) row[i] = uint8_t(~pbm[header + size_t(y) * stride + i]);
            QV_DIB_raster_set(img, y, row.data(), 1);
        }
        return img;
    }
};

TEST_F(Ccitt, LibtiffStripsDecodeToLibtiffPixels) {
    if (peer_dir().empty()) GTEST_SKIP() << "tiffcp / pnmtotiff not available";
    const auto all = cases();
    ASSERT_EQ(all.size(), 11u);
    for (const Case &c : all) {
        SCOPED_TRACE(c.name);
        const Bytes raw = qvtest::read_file(peer_dir() + "/" + c.name + ".raw");
        const Bytes want = qvtest::read_file(peer_dir() + "/" + c.name + ".bits");
        int32_t errors = -1;
        QUORIN img = load_ccitt(raw, c.width, c.height, c.coding, c.fill, &errors);
        ASSERT_EQ(errors, 0) << ::testing::PrintToString(qvtest::stack());
        EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{c.width, c.height, 1}));
        EXPECT_TRUE(black_bits(img) == want);
        QV_image_delete(img);
    }
}

// The corpus's raw G3 pages (1728 wide) against fax2tiff's decoding. Rows
// whose EOL comes early, inside a black run, keep that run to the end of
// the row here, where libtiff makes the rest white; so do rows cut by an
// invalid code inside a white run (that run is never set, and unset pixels
// are black): 4 of g3test's. Every other row is the same.
TEST_F(Ccitt, CorpusFaxPagesMatchFax2tiff) {
    QV_SKIP_WITHOUT_CORPUS();
    if (peer_dir().empty()) GTEST_SKIP() << "libtiff tools not available";
    struct C {
        const char *name;
        int32_t rows, short_rows;
    };
    for (const C &c : {C{"miniswhite-1c-1b", 1734, 0}, C{"g3test", 1103, 107}}) {
        SCOPED_TRACE(c.name);
        const std::string src = qvtest::corpus_dir() + "/fax/" + c.name + ".g3";
        const std::string out = peer_dir() + "/" + c.name;
        ASSERT_TRUE(qvtest::command_ok("fax2tiff -M -o '" + out + ".tif' '" + src + "' 2>/dev/null && " + kScript +
                                       " tiffbits '" + out + ".tif' '" + out + ".fax'"));
        const Bytes want = qvtest::read_file(out + ".fax");
        ASSERT_EQ(want.size(), size_t(216) * size_t(c.rows));
        int32_t errors = -1;
        QUORIN img = load_ccitt(qvtest::read_file(src), 1728, c.rows, 3, 1, &errors);
        ASSERT_EQ(errors, 0);
        const Bytes got = black_bits(img);
        int32_t short_rows = 0, other = 0;
        for (int32_t y = 0; y < c.rows; ++y) {
            const uint8_t *a = got.data() + 216 * y, *b = want.data() + 216 * y;
            if (std::equal(a, a + 216, b)) continue;
            // the first difference starts a black tail here, white there
            int32_t x = 0;
            while (((a[x / 8] ^ b[x / 8]) >> (7 - x % 8) & 1) == 0) ++x;
            bool tail = true;
            for (int32_t p = x; p < 1728 && tail; ++p)
                tail = (a[p / 8] >> (7 - p % 8) & 1) == 1 && (b[p / 8] >> (7 - p % 8) & 1) == 0;
            ++(tail ? short_rows : other);
        }
        EXPECT_EQ(other, 0);
        EXPECT_EQ(short_rows, c.short_rows);
        QV_image_delete(img);
    }
}

TEST_F(Ccitt, DescriptorLoadStartsAtTheOffsetAndPutsItBack) {
    if (peer_dir().empty()) GTEST_SKIP() << "tiffcp / pnmtotiff not available";
    const std::string path = peer_dir() + "/g4.raw";
    Bytes padded(10, 0xAB);
    const Bytes raw = qvtest::read_file(path);
    padded.insert(padded.end(), raw.begin(), raw.end());
    const std::string file = qvtest::temp_path("ccitt_fd.bin");
    qvtest::write_file(file, padded);
    FILE *f = std::fopen(file.c_str(), "rb");
    ASSERT_NE(f, nullptr);
    QUORIN img = nullptr;
    EXPECT_EQ(QV_load_CCITT_FD(fileno(f), 10, 1728, 120, 4, 1, &img), 0);
    EXPECT_EQ(ftell(f), 0);
    EXPECT_TRUE(black_bits(img) == qvtest::read_file(peer_dir() + "/g4.bits"));
    QV_image_delete(img);
    std::fclose(f);
    std::remove(file.c_str());
}

TEST_F(Ccitt, WrittenPagesDecodeInLibtiffToTheSource) {
    if (peer_dir().empty()) GTEST_SKIP() << "tiffcp / pnmtotiff not available";
    struct W {
        int32_t coding, fill, width, k, align;
    };
    const W writes[] = {{3, 1, 1728, 2, 0}, {3, 2, 1728, 2, 1}, {4, 1, 1728, 2, 0}, {4, 2, 2900, 2, 0},
                        {5, 1, 1728, 2, 0}, {5, 2, 2900, 4, 0}, {5, 1, 333, 1, 0},  {3, 1, 2900, 2, 1}};
    const std::string d = qvtest::temp_path("ccitt_w");
    int seed = 40;
    for (const W &t : writes) {
        SCOPED_TRACE(::testing::Message() << t.coding << " fill " << t.fill << " w " << t.width);
        const int32_t type = t.coding == 3 ? 11 : t.coding == 4 ? 12 : 53;
        QV_image_control_set(2 * 256 + type, t.fill);
        QV_image_control_set(3 * 256 + type, t.align);
        QV_image_control_set(4 * 256 + type, t.k);
        QUORIN img = page(t.width, 70, seed++);
        ASSERT_NE(img, nullptr);
        const Bytes src = black_bits(img);
        const Bytes coded = save(img, QV_SAVE_FORMAT(type, t.coding));
        ASSERT_FALSE(coded.empty()) << ::testing::PrintToString(qvtest::stack());
        qvtest::write_file(d + ".raw", coded);
        ASSERT_TRUE(qvtest::command_ok(kScript + " wrap '" + d + ".raw' " + std::to_string(t.width) +
                                       " 70 " + std::to_string(t.coding) + " " + std::to_string(t.fill) +
                                       " '" + d + ".tif' && " + kScript + " tiffbits '" + d + ".tif' '" +
                                       d + ".bits' 2>/dev/null"));
        EXPECT_TRUE(qvtest::read_file(d + ".bits") == src);
        // and back through the raw load
        QUORIN back = load_ccitt(coded, t.width, 70, t.coding, t.fill);
        ASSERT_NE(back, nullptr);
        EXPECT_TRUE(black_bits(back) == src);
        if (t.coding != 4) {
            // fax2tiff reads the raw Group 3 file as it stands.
            const std::string opts = std::string(t.coding == 5 ? " -2" : " -1") + (t.fill == 2 ? " -L" : " -M") +
                                     (t.align ? " -A" : "") + " -X " + std::to_string(t.width);
            ASSERT_TRUE(qvtest::command_ok("fax2tiff" + opts + " -o '" + d + ".fax.tif' '" + d +
                                           ".raw' 2>/dev/null && " + kScript + " tiffbits '" + d +
                                           ".fax.tif' '" + d + ".fbits'"));
            // fax2tiff takes the EOLs of the end of page for five more rows.
            Bytes fax = qvtest::read_file(d + ".fbits");
            ASSERT_GE(fax.size(), src.size());
            fax.resize(src.size());
            EXPECT_TRUE(fax == src);
        }
        QV_image_delete(back);
        QV_image_delete(img);
    }
    qvtest::run("rm -f '" + d + "'.*");
}

// A Group 4 page loaded (a run-encoded image) and saved again gives back
// libtiff's strip byte for byte: same codes, same end-of-facsimile block.
TEST_F(Ccitt, Group4PagesSaveAsLibtiffWroteThem) {
    if (peer_dir().empty()) GTEST_SKIP() << "tiffcp / pnmtotiff not available";
    int checked = 0;
    for (const Case &c : cases()) {
        if (c.coding != 4) continue;
        SCOPED_TRACE(c.name);
        const Bytes raw = qvtest::read_file(peer_dir() + "/" + c.name + ".raw");
        QUORIN img = load_ccitt(raw, c.width, c.height, 4, c.fill);
        ASSERT_NE(img, nullptr);
        QV_image_control_set(2 * 256 + 12, c.fill);
        EXPECT_TRUE(save(img, QV_SAVE_FORMAT(12, 4)) == raw);
        QV_image_delete(img);
        ++checked;
    }
    EXPECT_EQ(checked, 4);
}

// An 8-pixel page of `rows` white rows, in the writer's framing.
TEST_F(Ccitt, FramingBitsOfSmallPages) {
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_create_DIB(8, 2, 1, nullptr, &img), 0);
    const uint8_t white[4] = {0xFF, 0, 0, 0};
    QV_DIB_raster_set(img, 0, white, 1);
    QV_DIB_raster_set(img, 1, white, 1);
    const std::string w8 = "10011";  // white run of 8
    struct F {
        int32_t type, coding, align, fill;
        std::string bits;
    };
    const F frames[] = {
        // 16-bit leading EOL, rows separated by EOLs, six EOLs at the end.
        {11, 3, 0, 1, "0000000000000001" + w8 + kEol + w8 + rep(kEol, 6)},
        // EOLs padded to end on byte boundaries; six 32-bit EOLs after padding.
        {11, 3, 1, 1, "0000000000000001" + w8 + "0000000" + kEol + w8 + "000" + rep(rep("0", 31) + "1", 6)},
        // mode 11: (free bits + 4) zeros before each EOL, tag 1 then 0 (V0).
        {53, 5, 0, 1, rep("0", 12) + kEol + "1" + w8 + rep("0", 6) + kEol + "0" + "1" + rep(kEol + "1", 6)},
        // T.6: V0 twice and the end-of-facsimile block.
        {12, 4, 0, 1, "11" + kEol + kEol},
    };
    for (const F &f : frames) {
        SCOPED_TRACE(f.bits);
        QV_image_control_set(3 * 256 + f.type, f.align);
        const Bytes got = save(img, QV_SAVE_FORMAT(f.type, f.coding));
        EXPECT_EQ(got, pack(f.bits));
    }
    // Fill order 2 reverses every byte.
    QV_image_control_set(2 * 256 + 12, 2);
    EXPECT_EQ(save(img, QV_SAVE_FORMAT(12, 4)), (Bytes{0x03, 0x20, 0x00, 0x02}));
    QV_image_delete(img);
}

TEST_F(Ccitt, DamagedDataLeavesWhiteRowsAndLoads) {
    // 1-D: white 4 ("1011") and black 2 ("11"), then the data ends where a
    // white run begins: the row ends white; rows 1 and 2 are fill rows.
    {
        const Bytes data = pack(kEol + "1011 11");
        int32_t errors = -1;
        QUORIN img = load_ccitt(data, 16, 3, 3, 1, &errors);
        ASSERT_EQ(errors, 0);
        EXPECT_EQ(black_bits(img), (Bytes{0x0C, 0x00, 0x00, 0x00, 0x00, 0x00}));
        QV_image_delete(img);
    }
    // Fill bits of any length before the EOLs: W4 B2 W6, then 40 zeros
    // before the EOL of a row W0 B12.
    {
        const Bytes data = pack("0000" + kEol + "1011 11 1110" + rep("0", 40) + "1 00110101 0000111");
        QUORIN img = load_ccitt(data, 12, 2, 3, 1);
        ASSERT_NE(img, nullptr);
        EXPECT_EQ(black_bits(img), (Bytes{0x0C, 0x00, 0xFF, 0xF0}));
        QV_image_delete(img);
    }
    // T.6 cut short: later rows are white, the load succeeds.
    if (!peer_dir().empty()) {
        Bytes raw = qvtest::read_file(peer_dir() + "/g4.raw");
        raw.resize(raw.size() / 2);
        int32_t errors = -1;
        QUORIN img = load_ccitt(raw, 1728, 120, 4, 1, &errors);
        ASSERT_EQ(errors, 0);
        const Bytes got = black_bits(img), want = qvtest::read_file(peer_dir() + "/g4.bits");
        const size_t stride = 216;
        EXPECT_TRUE(std::equal(got.begin(), got.begin() + 40 * stride, want.begin()));
        EXPECT_TRUE(std::all_of(got.end() - 10 * stride, got.end(), [](uint8_t b) { return b == 0; }));
        QV_image_delete(img);
    }
}

TEST_F(Ccitt, RandomBytesNeverFailTheLoad) {
    std::mt19937 rng(7);
    for (int i = 0; i < 300; ++i) {
        Bytes data(size_t(rng() % 600));
        for (auto &b : data) b = uint8_t(rng() % 4 ? rng() : 0);
        const int32_t coding = 3 + i % 3;
        int32_t errors = -1;
        QUORIN img = load_ccitt(data, 1 + int32_t(rng() % 3000), 1 + int32_t(rng() % 50), coding, 1 + i % 2, &errors);
        EXPECT_EQ(errors, 0);
        QV_image_delete(img);
    }
}

TEST_F(Ccitt, ErrorCodes) {
    const Bytes data = pack(kEol);
    QUORIN img = reinterpret_cast<QUORIN>(1);
    // (width, height, coding, fill) and the value reported with -3320.
    const int32_t bad_args[][5] = {{8, 1, 9, 1, 9}, {0, 1, 3, 1, 0}, {65536, 1, 4, 1, 65536}, {8, 0, 4, 1, 0},
                                   {8, 1, 4, 3, 3}};
    for (const auto &[w, h, coding, fill, bad] : bad_args) {
        EXPECT_FAILS(QV_load_CCITT_mem(data.data(), data.size(), w, h, coding, fill, &img), {-3320, bad, 0});
        EXPECT_EQ(img, nullptr);
    }
    // Two-dimensional data ending with an EOL on a byte boundary: no byte
    // for the tag bit.
    const Bytes cut = pack("0000 " + kEol);
    EXPECT_FAILS(QV_load_CCITT_mem(cut.data(), cut.size(), 8, 2, 5, 1, &img), {-2051, 1, 0});
    EXPECT_EQ(img, nullptr);

    QUORIN one = nullptr, eight = nullptr;
    ASSERT_EQ(QV_image_create_DIB(8, 1, 1, nullptr, &one), 0);
    ASSERT_EQ(QV_image_create_DIB(8, 1, 8, nullptr, &eight), 0);
    Bytes buf(256);
    EXPECT_FAILS(QV_save_mem(one, buf.data(), buf.size(), 0, 0, 1, QV_SAVE_FORMAT(11, 2), nullptr),
                 {-2080, 2, 0});
    EXPECT_FAILS(QV_save_mem(one, buf.data(), buf.size(), 0, 0, 1, QV_SAVE_FORMAT(12, 0), nullptr),
                 {-2080, 0, 0});
    EXPECT_FAILS(QV_save_mem(eight, buf.data(), buf.size(), 0, 0, 1, QV_SAVE_FORMAT(53, 5), nullptr),
                 {-2477, 8, 0});
    QV_image_delete(one);
    QV_image_delete(eight);
}

}  // namespace
