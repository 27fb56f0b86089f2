// The qv tool as a user runs it: help and usage errors, info lines,
// conversions with each option, failures told in words with their code and
// name, and saves that never destroy an existing output.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "common/test_util.h"
#include "vosk32pd.h"

namespace {

const std::string kQv = QV_BUILD_DIR "/tools/qv";
const std::string kSamplePath = QV_SOURCE_DIR "/examples/data/sample.bmp";
const std::string kSample = "'" + kSamplePath + "'";

// A 1 x 1 BMP of 1 bit per pixel without resolution.
std::vector<uint8_t> one_bit_bmp() {
    std::vector<uint8_t> b;
    auto le = [&b](uint32_t v, int n) {
        for (int i = 0; i < n; ++i) b.push_back(uint8_t(v >> (8 * i)));
    };
    b = {'B', 'M'};
    le(66, 4), le(0, 4), le(62, 4);                       // file header
    le(40, 4), le(1, 4), le(1, 4), le(1, 2), le(1, 2);    // size, 1 x 1, planes, 1 bit
    le(0, 4), le(4, 4), le(0, 4), le(0, 4), le(2, 4), le(0, 4);
    le(0, 4), le(0x00FFFFFF, 4), le(0x80, 4);             // palette, the one row
    return b;
}

class Qv : public ::testing::Test {
protected:
    void SetUp() override {
        struct stat st;
        if (::stat(kQv.c_str(), &st) != 0) GTEST_SKIP() << "qv not built";
        dir_ = qvtest::temp_path("qvtool");
        ::mkdir(dir_.c_str(), 0700);
    }
    void TearDown() override {
        if (!dir_.empty()) qvtest::run("rm -rf '" + dir_ + "'");
    }
    // `text` with every "@" replaced by the test's folder.
    std::string at(const std::string &text) const {
        std::string out;
        for (char c : text) out += c == '@' ? dir_ : std::string(1, c);
        return out;
    }
    // Runs qv with `args`: stdout and stderr together; the exit status must be `want`.
    std::string qv(const std::string &args, int want) {
        int st = -1;
        std::string out = qvtest::run(kQv + " " + args + " 2>&1", &st);
        EXPECT_EQ(st, want) << args << "\n" << out;
        return out;
    }
    std::string dir_;
};

TEST_F(Qv, HelpAndUsageErrors) {
    EXPECT_NE(qv("--help", 0).find("usage: qv info"), std::string::npos);
    for (const char *args : {"", "frobnicate", "convert only_one_file", "info --bogus"})
        qv(args, 2);
    EXPECT_NE(qv("convert a b --reduce 9", 2).find("bad reduction mode"), std::string::npos);
    EXPECT_NE(qv("convert a b --format nosuch", 2).find("unknown format"), std::string::npos);
}

// Each case: qv's arguments, its exit status, and a text its output holds
// ("@" stands for the test's folder). The folder holds an empty file, a
// directory, a PNG signature, a 1-bit BMP and a DCX of three pages.
TEST_F(Qv, TellsWhatHappenedInWords) {
    ASSERT_TRUE(qvtest::write_file(at("@/empty.bmp"), {}));
    ::mkdir(at("@/adir").c_str(), 0700);
    const auto png = qvtest::bytes("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x10\0\0\0\x10\x08\x02");
    ASSERT_TRUE(qvtest::write_file(at("@/p.png"), png));
    ASSERT_TRUE(qvtest::write_file(at("@/one.bmp"), one_bit_bmp()));
    for (int i = 0; i < 3; ++i) qv("convert " + kSample + at(" @/three.dcx --append --quiet"), 0);

    struct Case {
        const char *args;
        int status;
        const char *says;
    } const cases[] = {
        {"info @/missing.bmp", 1,
         "qv: cannot open \"@/missing.bmp\": file not found (-2030 QVE_OPEN_FAILED)\n"},
        {"convert @/missing.bmp @/o.bmp", 1,
         "qv: cannot open \"@/missing.bmp\": file not found (-2030 QVE_OPEN_FAILED)\n"},
        {"info @/empty.bmp", 1,
         "\": not an image file: the file is empty (-2010 QVE_DETECT_FAILED)"},
        {"convert @/empty.bmp @/o.bmp", 1,
         "\": not an image file: the file is empty (-2010 QVE_DETECT_FAILED)"},
        {"info @/adir", 1, "\": not an image file: it is a directory (-2010 QVE_DETECT_FAILED)"},
        {"info @/p.png", 1,
         "\": PNG is recognised but cannot be read yet (-500 QVE_NOT_IMPLEMENTED)"},
        {"convert SAMPLE @/o.xyz", 1,
         "qv: cannot save \"@/o.xyz\": no image format is known for the extension \".xyz\" "
         "(-2110 QVE_SAVE_FORMAT)\nqv: choose the output format with --format"},
        {"convert SAMPLE @/o.png", 1, "\": PNG is recognised but cannot be written yet (-500"},
        {"convert @/three.dcx @/o.bmp --page 9", 1,
         "cannot open \"@/three.dcx\": page 9 of 3 does not exist"},
        {"convert SAMPLE @/o.bmp --rect 50,30,40,40 --quiet", 0,
         "--rect 50,30,40,40 reaches outside the 64 x 40 image; loading 24,0,40,40 instead"},
        {"info @/one.bmp", 0,
         "BMP (format 2), 1 x 1, 1 bit per pixel, uncompressed, 1 page, no resolution\n"},
        {"info @/three.dcx", 0,
         "DCX (format 8), 64 x 40, 24 bits per pixel, RLE, 3 pages, 96 x 96 dpi\n"},
        {"info @/empty.bmp --verbose", 1, "\n  -2100 QVE_BAD_OFFSET in VPR_DET.C line"},
    };
    for (const Case &c : cases) {
        std::string args = at(c.args);
        if (size_t p = args.find("SAMPLE"); p != std::string::npos) args.replace(p, 6, kSample);
        EXPECT_NE(qv(args, c.status).find(at(c.says)), std::string::npos) << args;
    }
    // The page taken from the 3-page file has the layout of the pages written.
    qv(at("convert @/three.dcx @/p3.bmp --page 3 --quiet"), 0);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file(at("@/p3.bmp").c_str(), &h), 0);
    EXPECT_EQ(qvtest::dims(h), (std::vector<int32_t>{64, 40, 24}));
    QV_image_delete(h);
}

// A failed save leaves an existing output as it was and creates nothing; a
// good one replaces the output, keeping its permissions.
TEST_F(Qv, SavesNeverDestroyTheOutput) {
    const std::vector<uint8_t> old = qvtest::bytes("not replaced");
    ASSERT_TRUE(qvtest::write_file(at("@/keep.png"), old));
    ASSERT_TRUE(qvtest::write_file(at("@/keep.bmp"), old));
    ::chmod(at("@/keep.bmp").c_str(), 0640);
    for (const char *out : {"@/keep.png", "@/new.png", "@/new.xyz", "@/nodot"})
        qv("convert " + kSample + at(std::string(" ") + out + " --quiet"), 1);
    EXPECT_EQ(qvtest::read_file(at("@/keep.png")), old);
    EXPECT_EQ(qvtest::run("ls '" + dir_ + "'"), "keep.bmp\nkeep.png\n");

    qv("convert " + kSample + at(" @/keep.bmp --quiet"), 0);
    EXPECT_EQ(qvtest::read_file(at("@/keep.bmp")), qvtest::read_file(kSamplePath));
    struct stat st {};
    ::stat(at("@/keep.bmp").c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(qvtest::run("ls '" + dir_ + "'"), "keep.bmp\nkeep.png\n");
}

TEST_F(Qv, ConvertWithOptions) {
    const std::string grey = dir_ + "/grey.bmp", part = dir_ + "/part.pcx", vga = dir_ + "/vga.out";
    qv("convert " + kSample + " '" + grey + "' --reduce 4 --size 32x20 --quiet", 0);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file(grey.c_str(), &h), 0);
    int32_t is_grey = 0, type = 0;
    QV_image_is_gray(h, &is_grey);
    EXPECT_EQ(qvtest::dims(h), (std::vector<int32_t>{32, 20, 8}));
    EXPECT_EQ(is_grey, 1);
    QV_image_delete(h);

    qv("convert " + kSample + " '" + part + "' --rect 8,4,48,32 --quiet", 0);
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get(part.c_str(), &type, nullptr, &info), 0);
    EXPECT_EQ(std::tie(type, info.biWidth, info.biHeight), std::make_tuple(QV_FORMAT_PCX, 48, 32));

    // --format overrides the extension; the progress bar goes to stderr.
    const std::string out =
        qv("convert " + kSample + " '" + vga + "' --format bmp --reduce 2 --progress", 0);
    EXPECT_NE(out.find("100%"), std::string::npos);
    ASSERT_EQ(QV_info_get(vga.c_str(), &type, nullptr, &info), 0);
    EXPECT_EQ(std::tie(type, info.biBitCount), std::make_tuple(QV_FORMAT_BMP, 4));
}

TEST_F(Qv, ConvertsToEveryRasterFormatByExtension) {
    // The library's extension lists, and the .ppm/.pgm/.pnm names qv adds.
    const std::pair<const char *, const char *> outs[] = {
        {"a.tga", "TGA (format 39)"}, {"a.pbm", "PBM (format 28)"}, {"a.ppm", "PBM (format 28)"},
        {"a.sgi", "SGI (format 38)"}, {"a.rgb", "SGI (format 38)"}, {"a.xbm", "XBM (format 43)"},
        {"a.xpm", "XPM (format 45)"}, {"a.xwd", "XWD (format 47)"}, {"a.psd", "PSD (format 36)"},
        {"a.ico", "ICO (format 17)"},
    };
    for (const auto &[name, says] : outs) {
        qv("convert " + kSample + at(" @/") + name + " --size 64x48 --quiet", 0);
        EXPECT_NE(qv(at("info @/") + name, 0).find(says), std::string::npos) << name;
    }
    qv(at("convert @/a.tga @/b.ras --format 37 --quiet"), 0);
    EXPECT_NE(qv(at("info @/b.ras"), 0).find("RAS (format 37), 64 x 48"), std::string::npos);
}

}  // namespace
