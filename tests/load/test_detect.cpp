// Format detection: every built-in detector with a minimal accepting input
// and a near miss, the refusals of non-image files with their three
// records, the position hand-back, and the auto-detect switches.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "vosk32pd_bridge.h"

namespace {

using Bytes = std::vector<uint8_t>;
using qvtest::error_at;

Bytes B(const char *s, size_t n) { return Bytes(reinterpret_cast<const uint8_t *>(s), reinterpret_cast<const uint8_t *>(s) + n); }
Bytes S(const std::string &s) { return Bytes(s.begin(), s.end()); }

// `size` zero bytes with `patch` written at `at`.
Bytes Z(size_t size, size_t at = 0, const Bytes &patch = {}) {
    Bytes b(size, 0);
    for (size_t i = 0; i < patch.size() && at + i < size; ++i) b[at + i] = patch[i];
    return b;
}

Bytes tga_header(uint8_t map, uint8_t kind, uint8_t entry, uint8_t depth, size_t size = 17) {
    Bytes b(size, 0);
    b[1] = map;
    b[2] = kind;
    b[7] = entry;
    if (size > 16) b[16] = depth;
    return b;
}

Bytes with_tga_footer(Bytes b) {
    static const char kFooter[18] = "TRUEVISION-XFILE.";
    Bytes f(8, 0);
    f.insert(f.end(), kFooter, kFooter + 18);
    b.insert(b.end(), f.begin(), f.end());
    return b;
}

struct DetectCase {
    const char *name;
    int32_t row;
    Bytes data;
    bool accept;
};

std::string case_name(const ::testing::TestParamInfo<DetectCase> &i) { return i.param.name; }

// The memory stream over the whole data, its end (high-water mark) at the
// data's end, as a file stream would have it.
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

class Detector : public ::testing::TestWithParam<DetectCase> {};

TEST_P(Detector, AcceptsOrDeclines) {
    const DetectCase &c = GetParam();
    EXPECT_EQ(run_detector(c.row, c.data) != 0, c.accept);
}

const std::string kEmf = [] {
    std::string s(44, '\0');
    s[0] = 1;
    std::memcpy(&s[40], " EMF", 4);
    return s;
}();

INSTANTIATE_TEST_SUITE_P(
    Table, Detector,
    ::testing::Values(
        DetectCase{"TiffII", 0, S("II*"), true}, DetectCase{"TiffMM", 0, B("MM\0", 3), true},
        DetectCase{"TiffTwoBytes", 0, S("II"), false}, DetectCase{"TiffMixed", 0, S("IM*"), false},
        DetectCase{"BmpBM", 1, S("BM"), true}, DetectCase{"BmpBA", 1, S("BA"), true},
        DetectCase{"BmpOneByte", 1, S("B"), false}, DetectCase{"BmpBareLE", 1, B("\x28\0\0\0", 4), true},
        DetectCase{"BmpBareBE", 1, B("\0\0\0\x28", 4), true}, DetectCase{"BmpBareShort", 1, B("\x28\0\0", 3), false},
        DetectCase{"BmpBare41", 1, B("\x29\0\0\0", 4), false},
        DetectCase{"Afx", 2, S("xAFX"), true}, DetectCase{"AfxShort", 2, S("xAF"), false},
        DetectCase{"Gif", 3, S("GIF"), true}, DetectCase{"GifShort", 3, S("GI"), false},
        DetectCase{"Png", 4, B("\x89PNG\r\n\x1a\n", 8), true}, DetectCase{"PngShort", 4, B("\x89PNG\r\n\x1a", 7), false},
        DetectCase{"Gem8", 5, B("\0\x01\0\x08", 4), true}, DetectCase{"Gem9", 5, B("\0\x01\0\x09", 4), true},
        DetectCase{"GemA", 5, B("\0\x01\0\x0A", 4), false}, DetectCase{"GemShort", 5, B("\0\x01\0", 3), false},
        DetectCase{"Jpg", 6, B("\xFF\xD8", 2), true}, DetectCase{"JpgShort", 6, B("\xFF", 1), false},
        DetectCase{"Pcx", 7, B("\x0A\x05\x01", 3), true}, DetectCase{"PcxVersion6", 7, B("\x0A\x06\x01", 3), false},
        DetectCase{"PcxShort", 7, B("\x0A\x05", 2), false},
        DetectCase{"Dcx", 8, B("\xB1\x68\xDE\x3A", 4), true}, DetectCase{"DcxShort", 8, B("\xB1\x68\xDE", 3), false},
        DetectCase{"Ica16a", 9, B("p\0", 2), true}, DetectCase{"Ica16b", 9, B("p\x04", 2), true},
        DetectCase{"Ica16Other", 9, B("p\x01", 2), false}, DetectCase{"Ica16Short", 9, S("p"), false},
        DetectCase{"Ica26a", 10, B("xx\xD3\xA6\xFB", 5), true}, DetectCase{"Ica26b", 10, B("xx\xD3\xA8\xA8", 5), true},
        DetectCase{"Ica26Short", 10, B("xx\xD3\xA6", 4), false}, DetectCase{"Ica26Other", 10, B("xx\xD3\xA6\xA8", 5), false},
        DetectCase{"Wpg", 11, S("\xFFWPC"), true}, DetectCase{"WpgShort", 11, S("\xFFWP"), false},
        DetectCase{"Psd", 12, S("8BPS"), true}, DetectCase{"PsdShort", 12, S("8BP"), false},
        DetectCase{"Pcd", 13, Z(2055, 2048, S("PCD_IPI")), true},
        DetectCase{"PcdCut", 13, Z(2054, 2048, S("PCD_IPI")), false},
        DetectCase{"Eps", 14, B("\xC5\xD0\xD3\xC6", 4), true}, DetectCase{"EpsShort", 14, B("\xC5\xD0\xD3", 3), false},
        DetectCase{"CalsSrcsys", 15, S("xxsrcsys:"), true}, DetectCase{"CalsSpec", 15, S("abcspecversion:"), true},
        DetectCase{"CalsDocid", 15, S("srcdocid:"), true}, DetectCase{"CalsNoColon", 15, S("srcsys srcdocid"), false},
        DetectCase{"IffForm", 16, S("FORM"), true}, DetectCase{"IffLI", 16, B("LI\0\0", 4), true},
        DetectCase{"IffLIOther", 16, B("LI\0\x01", 4), false}, DetectCase{"IffShort", 16, S("FOR"), false},
        DetectCase{"Avi", 17, S("RIFF1234AVI "), true}, DetectCase{"AviShort", 17, S("RIFF1234AVI"), false},
        DetectCase{"Xwd7", 18, B("\0\0\0\x64\0\0\0\x07", 8), true}, DetectCase{"Xwd6", 18, B("\0\0\0\x64\0\0\0\x06", 8), true},
        DetectCase{"Xwd8", 18, B("\0\0\0\x64\0\0\0\x08", 8), false}, DetectCase{"XwdShort", 18, B("\0\0\0\x64\0\0\0", 7), false},
        DetectCase{"XpmComment", 19, S("/* XPM"), true}, DetectCase{"XpmCommentShort", 19, S("/* XP"), false},
        DetectCase{"XpmBang", 19, S("! XPM"), true}, DetectCase{"XpmBangShort", 19, S("! XP"), false},
        DetectCase{"Xpm1Define", 19, S("#define x_format 1\n#define x_width 2\n"), true},
        DetectCase{"XpmDefineWidth", 19, S("#define x_width 2\n#define x_format 1\n"), false},
        DetectCase{"Xbm", 20, S("#define abc_width 16\n"), true}, DetectCase{"XbmTab", 20, S("#define\tabc_width 16\n"), true},
        DetectCase{"XbmShort", 20, S("#define ab_width 16\n"), false},
        DetectCase{"XbmHeight", 20, S("#define abc_height 16\n"), false},
        DetectCase{"Pbm", 21, S("P6"), true}, DetectCase{"Pbm7", 21, S("P7"), false}, DetectCase{"PbmShort", 21, S("P"), false},
        DetectCase{"Ras", 22, B("\x59\xA6\x6A\x95", 4), true}, DetectCase{"RasShort", 22, B("\x59\xA6\x6A", 3), false},
        DetectCase{"Sgi", 23, B("\x01\xDA", 2), true}, DetectCase{"SgiShort", 23, B("\x01", 1), false},
        DetectCase{"MspDanM", 24, S("DanM"), true}, DetectCase{"MspLinS", 24, S("LinS"), true},
        DetectCase{"MspShort", 24, S("Dan"), false},
        DetectCase{"Kfx", 25, S(".KF"), true}, DetectCase{"KfxShort", 25, S(".K"), false},
        DetectCase{"Imt", 26, B("\x27" "C1\0", 4), true}, DetectCase{"ImtShort", 26, S("\x27" "C1"), false},
        DetectCase{"Brk", 27, B("\xBB", 1), true}, DetectCase{"BrkOther", 27, B("\xBA", 1), false},
        DetectCase{"Lv", 28, B("\xDC\xDC", 2), true}, DetectCase{"LvShort", 28, B("\xDC", 1), false},
        DetectCase{"WmfPlaceable", 29, B("\xD7\xCD\xC6\x9A", 4), true},
        DetectCase{"WmfMemory", 29, B("\x01\0\x09\0", 4), true}, DetectCase{"WmfDisk", 29, B("\x02\0\x09\0", 4), true},
        DetectCase{"WmfShort", 29, B("\xD7\xCD\xC6", 3), false}, DetectCase{"Emf", 29, S(kEmf), true},
        DetectCase{"EmfShort", 29, S(kEmf.substr(0, 43)), false},
        DetectCase{"Ncr", 30, B("nn\n\0", 4), true}, DetectCase{"NcrShort", 30, B("nn\n", 3), false},
        DetectCase{"Clp", 31, B("\x50\xC3", 2), true}, DetectCase{"ClpShort", 31, B("\x50", 1), false},
        DetectCase{"Ico", 32, Z(14, 0, B("\0\0\x01\0\x01\0\0\0\x10", 9)), true},
        DetectCase{"IcoShort", 32, Z(13, 0, B("\0\0\x01\0\x01\0\0\0\x10", 9)), false},
        DetectCase{"IcoFourColours", 32, Z(14, 0, B("\0\0\x01\0\x01\0\0\0\x04", 9)), false},
        DetectCase{"IcoNoImages", 32, Z(14, 0, B("\0\0\x01\0\0\0\0\0\x10", 9)), false},
        DetectCase{"TgaFooterBadHeader", 33, with_tga_footer(tga_header(0, 0, 0, 0)), true},
        DetectCase{"TgaMapped", 33, tga_header(1, 1, 24, 8), true},
        DetectCase{"TgaMappedShort", 33, tga_header(1, 1, 24, 8, 16), false},
        DetectCase{"TgaMappedWithoutMap", 33, tga_header(0, 1, 0, 8), false},
        DetectCase{"TgaTrue", 33, tga_header(0, 2, 0, 24), true},
        DetectCase{"TgaTrueMapEntryMismatch", 33, tga_header(1, 10, 16, 24), false},
        DetectCase{"TgaTrueMapEntryMatch", 33, tga_header(1, 10, 32, 32), true},
        DetectCase{"TgaGrey", 33, tga_header(0, 3, 0, 8), true}, DetectCase{"TgaGrey4", 33, tga_header(0, 11, 0, 4), false},
        DetectCase{"TgaType12", 33, tga_header(0, 12, 0, 8), false},
        DetectCase{"PictV1", 34, Z(524, 522, B("\x11\x01", 2)), true},
        DetectCase{"PictV2", 34, Z(526, 522, B("\0\x11\x02\xFF", 4)), true},
        DetectCase{"PictV2Cut", 34, Z(525, 522, B("\0\x11\x02\xFF", 4)), false},
        DetectCase{"PictV1Cut", 34, Z(523, 522, B("\x11\x01", 2)), false},
        DetectCase{"Cut", 35, B("\x01\0\xFF\x03\0\0", 6), true}, DetectCase{"Cut1024", 35, B("\x01\0\0\x04\0\0", 6), false},
        DetectCase{"CutShort", 35, B("\x01\0\x01\0\0", 5), false},
        DetectCase{"Mac", 36, Z(512, 0, B("\0\0\0\x02", 4)), true},
        DetectCase{"MacShort", 36, Z(511, 0, B("\0\0\0\x02", 4)), false},
        DetectCase{"MacPaddingSet", 36, Z(512, 308, B("\x01", 1)), false},
        DetectCase{"MacWrapped", 36, Z(640, 128, B("\0\0\0\x02", 4)), true},
        DetectCase{"MacWrappedShort", 36, Z(639, 128, B("\0\0\0\x02", 4)), false},
        DetectCase{"Txt", 37, S("hello\n"), true}, DetectCase{"TxtHigh", 37, S("hell\x80"), false},
        DetectCase{"Img", 44, S("interpress/XEROX/2.0/imgformat/2.00 "), true},
        DetectCase{"ImgShort", 44, S("Interpress/Xerox/2.0/ImgFormat/2.00"), false}),
    case_name);

TEST(Detector, MacVersionMustBeTwo) {
    Bytes d = Z(512, 0, B("\0\0\0\x03", 4));
    EXPECT_EQ(run_detector(36, d), 0);
}

TEST(Detector, NcrReadsMoreWhenTheBufferIsShort) {
    // Only 3 bytes in the buffer, but the stream has the fourth.
    VPb_DETECT_FN fn = nullptr;
    VPb_VPr_filter_detect_func_get(30, &fn);
    Bytes data = B("nn\n\0", 4);
    VPb_STREAM *s = iQV_stream_mem_new(data.data(), 4);
    VPb_IO_seek(s, 3, 0);
    EXPECT_NE(fn(s, data.data(), 3), 0);
    iQV_stream_free(s, 0);
}

TEST(Detector, HeaderlessRowsHaveNoDetector) {
    for (int32_t row = 38; row <= 43; ++row) {
        VPb_DETECT_FN fn = reinterpret_cast<VPb_DETECT_FN>(1);
        EXPECT_EQ(VPb_VPr_filter_detect_func_get(row, &fn), 1);
        EXPECT_EQ(fn, nullptr) << row;
    }
}

// ---- the detection driver -------------------------------------------------

struct Detected {
    int32_t count;  // error count returned
    int32_t index;
    int64_t position_after;
};

Detected detect(Bytes data, int64_t start = 0) {
    QV_error_clear();
    VPb_STREAM *s = iQV_stream_mem_new(data.data(), int64_t(data.size()));
    VPb_IO_seek(s, start, 0);
    Detected d;
    d.count = VPb_VPr_filter_detect(s, &d.index);
    d.position_after = VPb_IO_tell(s);
    iQV_stream_free(s, 0);
    return d;
}

struct RefusalCase {
    const char *name;
    Bytes data;
    int32_t code;
};

class Refusal : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(Refusal, ThreeRecords) {
    const RefusalCase &c = GetParam();
    Detected d = detect(c.data);
    EXPECT_EQ(d.index, -1);
    EXPECT_EQ(d.position_after, 0);
    ASSERT_EQ(d.count, 3);
    EXPECT_EQ(error_at(0).code, c.code);
    EXPECT_EQ(error_at(0).iVal, int32_t(c.data.size()));
    EXPECT_EQ(error_at(0).lVal, 0);
    EXPECT_EQ(error_at(1).code, -3600);
    EXPECT_EQ(error_at(1).iVal, c.code);
    EXPECT_EQ(error_at(1).lVal, 0);
    EXPECT_EQ(error_at(2).code, -2010);
    EXPECT_EQ(error_at(2).iVal, 2);
    EXPECT_EQ(error_at(2).lVal, -1);
}

INSTANTIATE_TEST_SUITE_P(Files, Refusal,
                         ::testing::Values(RefusalCase{"Executable", B("MZ\x90\0\x03\0", 6), -3601},
                                           RefusalCase{"Archive", B("PK\x03\x04\x14", 5), -3602},
                                           RefusalCase{"HelpFile", B("\x3F\x5F\x03\0\x44\0", 6), -3604}),
                         [](const ::testing::TestParamInfo<RefusalCase> &i) { return std::string(i.param.name); });

TEST(Detection, FourByteExecutableSkipsTheRefusal) {
    // Below 5 bytes no refusal; "PK" then falls through every detector.
    Detected d = detect(B("PK\x03\x04", 4));
    ASSERT_EQ(d.count, 1);
    EXPECT_EQ(error_at(0).code, -2010);
    EXPECT_EQ(error_at(0).iVal, 0);
    EXPECT_EQ(error_at(0).lVal, -1);
}

TEST(Detection, EmptyStream) {
    Detected d = detect({});
    EXPECT_EQ(d.index, -1);
    ASSERT_EQ(d.count, 2);
    EXPECT_EQ(error_at(0).code, -2100);
    EXPECT_EQ(error_at(0).iVal, 0);
    EXPECT_EQ(error_at(0).lVal, 256);
    EXPECT_EQ(error_at(1).code, -2010);
    EXPECT_EQ(error_at(1).iVal, 1);
    EXPECT_EQ(error_at(1).lVal, -1);
}

TEST(Detection, IIIsTiffWhateverFollows) {
    Detected d = detect(S("II this is not a TIFF file"));
    EXPECT_EQ(d.count, 0);
    EXPECT_EQ(d.index, 0);
}

TEST(Detection, FirstDetectorInTableOrderWins) {
    // "BM" + 0x0A 0x05 0x01 would suit no other row; a BMP whose bytes also
    // look like a bare DIB header stays BMP; a PCX header is row 7.
    EXPECT_EQ(detect(B("\x0A\x05\x01\0\0\0", 6)).index, 7);
    EXPECT_EQ(detect(S("GIF89a")).index, 3);
    // TGA (33) header bytes that also open a CUT (35) file: TGA comes first.
    Bytes both = tga_header(0, 2, 0, 24);
    both[0] = 1;  // CUT width 1 ... but word 1 (map/kind) = 0x0200 = 512, word 2 = 0
    EXPECT_EQ(detect(both).index, 33);
}

TEST(Detection, PositionIsRestoredFromANonZeroStart) {
    Bytes data = S("0123456789");
    Bytes png = B("\x89PNG\r\n\x1a\n\0\0\0\x0DIHDR", 16);
    data.insert(data.end(), png.begin(), png.end());
    Detected d = detect(data, 10);
    EXPECT_EQ(d.index, 4);
    EXPECT_EQ(d.position_after, 10);
    // Unrecognised, after detectors that seek (PCD, TGA, PICT, MAC).
    Bytes junk = Z(600, 0, S("0123456789\x01\x02"));
    for (auto &b : junk) b = uint8_t(b | 0x80);
    Detected e = detect(junk, 7);
    EXPECT_EQ(e.index, -1);
    EXPECT_EQ(e.position_after, 7);
    // Refused.
    Bytes exe = B("xxxMZ\x90\0\x03\0", 9);
    Detected f = detect(exe, 3);
    EXPECT_EQ(f.count, 3);
    EXPECT_EQ(f.position_after, 3);
}

TEST(Detection, TgaFooterWinsOverAFailingHeader) {
    Bytes tga = with_tga_footer(tga_header(0, 1, 0, 8, 40));  // type 1 without a map
    for (size_t i = 18; i < 40; ++i) tga[i] = 0x80;
    EXPECT_EQ(detect(tga).index, 33);
    Bytes plain(tga.begin(), tga.begin() + 40);
    EXPECT_EQ(detect(plain).index, -1);
}

TEST(AutoDetect, AsciiIsRecognisedOnlyWithTextOn) {
    int32_t flag = -1;
    ASSERT_EQ(QV_load_auto_detect_get(41, &flag), 0);
    EXPECT_EQ(flag, 0);
    Bytes text = S("just some words\nand more\n");
    EXPECT_EQ(detect(text).index, -1);
    ASSERT_EQ(QV_load_auto_detect_set(41, 1), 0);
    EXPECT_EQ(detect(text).index, 37);
    ASSERT_EQ(QV_load_auto_detect_set(41, 0), 0);
    EXPECT_EQ(detect(text).index, -1);
}

TEST(AutoDetect, TypeZeroSwitchesOnlyTheFirstFilterVisited) {
    ASSERT_EQ(VPb_VPr_filter_first(), 0);  // no extension module here
    ASSERT_EQ(QV_load_auto_detect_set(0, 0), 0);
    int32_t tiff = -1, bmp = -1;
    QV_load_auto_detect_get(40, &tiff);
    QV_load_auto_detect_get(2, &bmp);
    EXPECT_EQ(tiff, 0);
    EXPECT_EQ(bmp, 1);
    EXPECT_EQ(detect(B("II*\0", 4)).index, -1);
    EXPECT_EQ(detect(S("BM")).index, 1);
    ASSERT_EQ(QV_load_auto_detect_set(40, 1), 0);
    EXPECT_EQ(detect(B("II*\0", 4)).index, 0);
}

TEST(AutoDetect, UnknownTypesAndNullFlag) {
    EXPECT_EQ(QV_load_auto_detect_set(99, 1), 1);
    EXPECT_EQ(error_at(0).code, -2110);
    EXPECT_EQ(error_at(0).iVal, 99);
    int32_t flag = 5;
    EXPECT_EQ(QV_load_auto_detect_get(0, &flag), 1);  // no filter has type 0
    EXPECT_EQ(error_at(0).code, -2110);
    EXPECT_EQ(QV_load_auto_detect_get(40, nullptr), 1);
    EXPECT_EQ(error_at(0).code, -3330);
    EXPECT_EQ(error_at(0).lVal, 1);
}

}  // namespace
