// Format detection: every built-in detector with minimal accepting inputs and near misses, the
// refusals of non-image files with their three records, the position hand-back, and the
// auto-detect switches.
#include <cstring>

#include "common/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;
using qvtest::bytes;

// `size` zero bytes with `patch` written at `at`.
Bytes Z(size_t size, size_t at = 0, const Bytes &patch = {}) {
    Bytes b(size, 0);
    for (size_t i = 0; i < patch.size() && at + i < size; ++i) b[at + i] = patch[i];
    return b;
}
Bytes tga_header(uint8_t map, uint8_t kind, uint8_t entry, uint8_t depth, size_t size = 17) {
    Bytes b(size, 0);
    b[1] = map, b[2] = kind, b[7] = entry;
    if (size > 16) b[16] = depth;
    return b;
}
Bytes with_tga_footer(Bytes b) {
    static const char kFooter[] = "TRUEVISION-XFILE.";  // with its NUL
    b.resize(b.size() + 8, 0);
    b.insert(b.end(), kFooter, kFooter + sizeof kFooter);
    return b;
}

// The detector of `row` over a memory stream whose end (high-water mark) is the data's end, as
// a file stream would have it; the first 256 bytes in the buffer.
int32_t run_detector(int32_t row, Bytes data) {
    VPb_DETECT_FN fn = nullptr;
    EXPECT_EQ(VPb_VPr_filter_detect_func_get(row, &fn), 1);
    if (!fn) return -1;
    VPb_STREAM *s = iQV_stream_mem_new(data.data(), int64_t(data.size()));
    VPb_IO_seek(s, int64_t(data.size()), 0);
    VPb_IO_seek(s, 0, 0);
    int32_t count = int32_t(data.size() < 256 ? data.size() : 256);
    Bytes head(data.begin(), data.begin() + count);
    int32_t r = fn(s, head.data(), count);
    iQV_stream_free(s, 0);
    return r;
}

TEST(Detector, EachAcceptsItsMagicAndDeclinesNearMisses) {
    Bytes emf = Z(44, 40, bytes(" EMF"));
    emf[0] = 1;
    const Bytes ico = bytes("\0\0\x01\0\x01\0\0\0\x10");
    const struct {
        int32_t row;
        std::vector<Bytes> accept, decline;
    } rows[] = {
        {0, {bytes("II*"), bytes("MM\0")}, {bytes("II"), bytes("IM*")}},
        {1, {bytes("BM"), bytes("BA"), bytes("\x28\0\0\0"), bytes("\0\0\0\x28")},
         {bytes("B"), bytes("\x28\0\0"), bytes("\x29\0\0\0")}},
        {2, {bytes("xAFX")}, {bytes("xAF")}}, {3, {bytes("GIF")}, {bytes("GI")}},
        {4, {bytes("\x89PNG\r\n\x1a\n")}, {bytes("\x89PNG\r\n\x1a")}},
        {5, {bytes("\0\x01\0\x08"), bytes("\0\x01\0\x09")},
         {bytes("\0\x01\0\x0A"), bytes("\0\x01\0")}},
        {6, {bytes("\xFF\xD8")}, {bytes("\xFF")}},
        {7, {bytes("\x0A\x05\x01")}, {bytes("\x0A\x06\x01"), bytes("\x0A\x05")}},
        {8, {bytes("\xB1\x68\xDE\x3A")}, {bytes("\xB1\x68\xDE")}},
        {9, {bytes("p\0"), bytes("p\x04")}, {bytes("p\x01"), bytes("p")}},
        {10, {bytes("xx\xD3\xA6\xFB"), bytes("xx\xD3\xA8\xA8")},
         {bytes("xx\xD3\xA6"), bytes("xx\xD3\xA6\xA8")}},
        {11, {bytes("\xFFWPC")}, {bytes("\xFFWP")}}, {12, {bytes("8BPS")}, {bytes("8BP")}},
        {13, {Z(2055, 2048, bytes("PCD_IPI"))}, {Z(2054, 2048, bytes("PCD_IPI"))}},
        {14, {bytes("\xC5\xD0\xD3\xC6")}, {bytes("\xC5\xD0\xD3")}},
        {15, {bytes("xxsrcsys:"), bytes("abcspecversion:"), bytes("srcdocid:")},
         {bytes("srcsys srcdocid")}},
        {16, {bytes("FORM"), bytes("LI\0\0")}, {bytes("LI\0\x01"), bytes("FOR")}},
        {17, {bytes("RIFF1234AVI ")}, {bytes("RIFF1234AVI")}},
        {18, {bytes("\0\0\0\x64\0\0\0\x07"), bytes("\0\0\0\x64\0\0\0\x06")},
         {bytes("\0\0\0\x64\0\0\0\x08"), bytes("\0\0\0\x64\0\0\0")}},
        {19, {bytes("/* XPM"), bytes("! XPM"), bytes("#define x_format 1\n#define x_width 2\n")},
         {bytes("/* XP"), bytes("! XP"), bytes("#define x_width 2\n#define x_format 1\n")}},
        {20, {bytes("#define abc_width 16\n"), bytes("#define\tabc_width 16\n")},
         {bytes("#define ab_width 16\n"), bytes("#define abc_height 16\n")}},
        {21, {bytes("P6")}, {bytes("P7"), bytes("P")}},
        {22, {bytes("\x59\xA6\x6A\x95")}, {bytes("\x59\xA6\x6A")}},
        {23, {bytes("\x01\xDA")}, {bytes("\x01")}},
        {24, {bytes("DanM"), bytes("LinS")}, {bytes("Dan")}}, {25, {bytes(".KF")}, {bytes(".K")}},
        {26, {bytes("\x27" "C1\0")}, {bytes("\x27" "C1")}}, {27, {bytes("\xBB")}, {bytes("\xBA")}},
        {28, {bytes("\xDC\xDC")}, {bytes("\xDC")}},
        {29, {bytes("\xD7\xCD\xC6\x9A"), bytes("\x01\0\x09\0"), bytes("\x02\0\x09\0"), emf},
         {bytes("\xD7\xCD\xC6"), Bytes(emf.begin(), emf.end() - 1)}},
        {30, {bytes("nn\n\0")}, {bytes("nn\n")}}, {31, {bytes("\x50\xC3")}, {bytes("\x50")}},
        {32, {Z(14, 0, ico)},  // then: short, four colours, no images
         {Z(13, 0, ico), Z(14, 0, bytes("\0\0\x01\0\x01\0\0\0\x04")),
          Z(14, 0, bytes("\0\0\x01\0\0\0\0\0\x10"))}},
        {33,  // a footer wins over a bad header; mapped, true colour, grey
         {with_tga_footer(tga_header(0, 0, 0, 0)), tga_header(1, 1, 24, 8), tga_header(0, 2, 0, 24),
          tga_header(1, 10, 32, 32), tga_header(0, 3, 0, 8)},
         {tga_header(1, 1, 24, 8, 16), tga_header(0, 1, 0, 8), tga_header(1, 10, 16, 24),
          tga_header(0, 11, 0, 4), tga_header(0, 12, 0, 8)}},
        {34, {Z(524, 522, bytes("\x11\x01")), Z(526, 522, bytes("\0\x11\x02\xFF"))},
         {Z(525, 522, bytes("\0\x11\x02\xFF")), Z(523, 522, bytes("\x11\x01"))}},
        {35, {bytes("\x01\0\xFF\x03\0\0")}, {bytes("\x01\0\0\x04\0\0"), bytes("\x01\0\x01\0\0")}},
        {36, {Z(512, 0, bytes("\0\0\0\x02")), Z(640, 128, bytes("\0\0\0\x02"))},  // version 2
         {Z(511, 0, bytes("\0\0\0\x02")), Z(512, 308, bytes("\x01")),
          Z(639, 128, bytes("\0\0\0\x02")), Z(512, 0, bytes("\0\0\0\x03"))}},
        {37, {bytes("hello\n")}, {bytes("hell\x80")}},
        {44, {bytes("interpress/XEROX/2.0/imgformat/2.00 ")},
         {bytes("Interpress/Xerox/2.0/ImgFormat/2.00")}},
    };
    for (const auto &r : rows) {
        for (const Bytes &d : r.accept)
            EXPECT_NE(run_detector(r.row, d), 0) << r.row << ": " << ::testing::PrintToString(d);
        for (const Bytes &d : r.decline)
            EXPECT_EQ(run_detector(r.row, d), 0) << r.row << ": " << ::testing::PrintToString(d);
    }
    for (int32_t row = 38; row <= 43; ++row) {  // headerless rows have no detector
        VPb_DETECT_FN fn = reinterpret_cast<VPb_DETECT_FN>(1);
        EXPECT_EQ(VPb_VPr_filter_detect_func_get(row, &fn), 1);
        EXPECT_EQ(fn, nullptr) << row;
    }
    // NCR reads the fourth byte from the stream when the buffer holds only three.
    VPb_DETECT_FN fn = nullptr;
    VPb_VPr_filter_detect_func_get(30, &fn);
    Bytes ncr = bytes("nn\n\0");
    VPb_STREAM *s = iQV_stream_mem_new(ncr.data(), 4);
    VPb_IO_seek(s, 3, 0);
    EXPECT_NE(fn(s, ncr.data(), 3), 0);
    iQV_stream_free(s, 0);
}

// ---- the detection driver -------------------------------------------------

using V = std::vector<int64_t>;

// The detection driver from `start`: {error count returned, index found, position after}.
V detect(Bytes data, int64_t start = 0) {
    QV_error_clear();
    VPb_STREAM *s = iQV_stream_mem_new(data.data(), int64_t(data.size()));
    VPb_IO_seek(s, start, 0);
    int32_t index = -7, count = VPb_VPr_filter_detect(s, &index);
    V d = {count, index, VPb_IO_tell(s)};
    iQV_stream_free(s, 0);
    return d;
}
const V kUnknown = {1, -1, 0};
V found(int64_t index) { return {0, index, 0}; }

TEST(Detection, NonImageFilesAreRefusedWithThreeRecords) {
    const std::pair<Bytes, int32_t> cases[] = {{bytes("MZ\x90\0\x03\0"), -3601},  // executable
                                               {bytes("PK\x03\x04\x14"), -3602},  // archive
                                               {bytes("\x3F\x5F\x03\0\x44\0"), -3604}};  // help
    for (const auto &[data, code] : cases) {
        EXPECT_EQ(detect(data), (V{3, -1, 0}));
        EXPECT_STACK({code, int32_t(data.size()), 0}, {-3600, code, 0}, {-2010, 2, -1});
    }
    EXPECT_EQ(detect(bytes("PK\x03\x04")), kUnknown);  // below 5 bytes no refusal
    EXPECT_STACK({-2010, 0, -1});
    EXPECT_EQ(detect({}), (V{2, -1, 0}));
    EXPECT_STACK({-2100, 0, 256}, {-2010, 1, -1});
}

TEST(Detection, FirstDetectorInTableOrderWins) {
    EXPECT_EQ(detect(bytes("II this is not a TIFF file")), found(0));  // TIFF whatever follows
    // TGA (33) header bytes that also open a CUT (35) file: TGA comes first.
    Bytes both = tga_header(0, 2, 0, 24);
    both[0] = 1;  // CUT width 1 ... but word 1 (map/kind) = 0x0200 = 512, word 2 = 0
    EXPECT_EQ(detect(both), found(33));
    Bytes tga = with_tga_footer(tga_header(0, 1, 0, 8, 40));  // type 1 without a map
    for (size_t i = 18; i < 40; ++i) tga[i] = 0x80;
    EXPECT_EQ(detect(tga), found(33));  // the footer wins over a failing header
    EXPECT_EQ(detect(Bytes(tga.begin(), tga.begin() + 40)), kUnknown);
}

TEST(Detection, PositionIsRestoredFromANonZeroStart) {
    EXPECT_EQ(detect(bytes("0123456789\x89PNG\r\n\x1a\n\0\0\0\x0DIHDR"), 10), (V{0, 4, 10}));
    // Unrecognised, after detectors that seek (PCD, TGA, PICT, MAC); refused.
    Bytes junk = Z(600, 0, bytes("0123456789\x01\x02"));
    for (auto &b : junk) b = uint8_t(b | 0x80);
    EXPECT_EQ(detect(junk, 7), (V{1, -1, 7}));
    EXPECT_EQ(detect(bytes("xxxMZ\x90\0\x03\0"), 3), (V{3, -1, 3}));
}

TEST(AutoDetect, AsciiIsRecognisedOnlyWithTextOn) {
    Bytes text = bytes("just some words\nand more\n");
    EXPECT_EQ(detect(text), kUnknown);
    ASSERT_EQ(QV_load_auto_detect_set(41, 1), 0);
    EXPECT_EQ(detect(text), found(37));
    ASSERT_EQ(QV_load_auto_detect_set(41, 0), 0);
}

TEST(AutoDetect, TypeZeroSwitchesOnlyTheFirstFilterVisited) {
    ASSERT_EQ(VPb_VPr_filter_first(), 0);  // no extension module here
    ASSERT_EQ(QV_load_auto_detect_set(0, 0), 0);
    int32_t tiff = -1, bmp = -1;
    QV_load_auto_detect_get(40, &tiff);
    QV_load_auto_detect_get(2, &bmp);
    EXPECT_EQ((V{tiff, bmp}), (V{0, 1}));
    EXPECT_EQ(detect(bytes("II*\0")), kUnknown);
    EXPECT_EQ(detect(bytes("BM")), found(1));
    ASSERT_EQ(QV_load_auto_detect_set(40, 1), 0);
    EXPECT_EQ(detect(bytes("II*\0")), found(0));
}

TEST(AutoDetect, UnknownTypesAndNullFlag) {
    int32_t flag = 5;
    EXPECT_EQ(QV_load_auto_detect_set(99, 1), 1);
    EXPECT_EQ((V{qvtest::error_at(0).code, qvtest::error_at(0).iVal}), (V{-2110, 99}));
    EXPECT_EQ(QV_load_auto_detect_get(0, &flag), 1);  // no filter has type 0
    EXPECT_EQ(qvtest::error_at(0).code, -2110);
    EXPECT_FAILS(QV_load_auto_detect_get(40, nullptr), {-3330, 0, 1});
}

}  // namespace
