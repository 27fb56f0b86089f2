// The qv tool as a user runs it: help and usage errors, info lines,
// conversions with each option, failures told in words with their code and
// name, and saves that never destroy an existing output.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <functional>

#include "common/test_util.h"
#include "common/tiff_build.h"
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

// The image saved at `path` has the pixels of `want` (format 2 rows).
void expect_same_pixels(const std::string &path, QUORIN want) {
    QUORIN got = nullptr;
    ASSERT_EQ(QV_load_file(path.c_str(), &got), 0) << path;
    const auto d = qvtest::dims(want);
    ASSERT_EQ(qvtest::dims(got), d) << path;
    std::vector<uint8_t> a(size_t(d[0]) * 3), b(a.size());
    for (int32_t y = 0; y < d[1]; ++y) {
        QV_DIB_raster_get(got, y, a.data(), 2);
        QV_DIB_raster_get(want, y, b.data(), 2);
        ASSERT_EQ(a, b) << path << " row " << y;
    }
    QV_image_delete(got);
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
// directory, an EPS signature, a 1-bit BMP and a DCX of three pages.
TEST_F(Qv, TellsWhatHappenedInWords) {
    ASSERT_TRUE(qvtest::write_file(at("@/empty.bmp"), {}));
    ::mkdir(at("@/adir").c_str(), 0700);
    const auto eps = qvtest::bytes("\xC5\xD0\xD3\xC6\x20\0\0\0\0\0\0\0\0\0\0\0");
    ASSERT_TRUE(qvtest::write_file(at("@/p.eps"), eps));
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
        {"info @/p.eps", 1,
         "\": EPS is recognised but cannot be read yet (-500 QVE_NOT_IMPLEMENTED)"},
        {"convert SAMPLE @/o.xyz", 1,
         "qv: cannot save \"@/o.xyz\": no image format is known for the extension \".xyz\" "
         "(-2110 QVE_SAVE_FORMAT)\nqv: choose the output format with --format"},
        {"convert SAMPLE @/o.eps", 1, "\": EPS is recognised but cannot be written yet (-500"},
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
    ASSERT_TRUE(qvtest::write_file(at("@/keep.eps"), old));
    ASSERT_TRUE(qvtest::write_file(at("@/keep.bmp"), old));
    ::chmod(at("@/keep.bmp").c_str(), 0640);
    for (const char *out : {"@/keep.eps", "@/new.eps", "@/new.xyz", "@/nodot"})
        qv("convert " + kSample + at(std::string(" ") + out + " --quiet"), 1);
    EXPECT_EQ(qvtest::read_file(at("@/keep.eps")), old);
    EXPECT_EQ(qvtest::run("ls '" + dir_ + "'"), "keep.bmp\nkeep.eps\n");

    qv("convert " + kSample + at(" @/keep.bmp --quiet"), 0);
    EXPECT_EQ(qvtest::read_file(at("@/keep.bmp")), qvtest::read_file(kSamplePath));
    struct stat st {};
    ::stat(at("@/keep.bmp").c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(qvtest::run("ls '" + dir_ + "'"), "keep.bmp\nkeep.eps\n");
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

TEST_F(Qv, RawFaxInAndOut) {
    // sample.bmp reduced to 1 bit, written as raw fax by extension and by
    // --format, and read back with the caller's size and coding.
    qv("convert " + kSample + at(" @/bw.bmp --reduce 1 --quiet"), 0);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file(at("@/bw.bmp").c_str(), &h), 0);
    const std::vector<int32_t> d = qvtest::dims(h);
    QV_image_delete(h);
    const std::string size = " --width " + std::to_string(d[0]) + " --height " + std::to_string(d[1]);
    qv(at("convert @/bw.bmp @/page.g4 --quiet"), 0);
    qv(at("convert @/bw.bmp @/page.fax --quiet --fill-order 2"), 0);
    qv(at("convert @/bw.bmp @/page.raw --format g3-2d --quiet"), 0);
    qv(at("convert @/page.g4 @/g4.bmp --ccitt g4 --quiet") + size, 0);
    qv(at("convert @/page.fax @/g3.bmp --ccitt g3 --fill-order 2 --quiet") + size, 0);
    qv(at("convert @/page.raw @/g32d.bmp --ccitt g3-2d --quiet") + size, 0);
    // The same colour at every pixel (the palettes may be ordered apart).
    auto red = [](QUORIN img, int32_t x, int32_t y) {
        uint8_t v = 0;
        QV_RGBQUAD *pal = nullptr;
        int32_t n = 0;
        QV_DIB_pixel_get(img, x, y, &v);
        QV_image_DIB_palette_pntr_get(img, &pal, &n);
        return pal[v & 1].rgbRed;
    };
    QUORIN a = nullptr;
    ASSERT_EQ(QV_load_file(at("@/bw.bmp").c_str(), &a), 0);
    for (const char *out : {"@/g4.bmp", "@/g3.bmp", "@/g32d.bmp"}) {
        QUORIN b = nullptr;
        ASSERT_EQ(QV_load_file(at(out).c_str(), &b), 0) << out;
        int differ = 0;
        for (int32_t y = 0; y < d[1]; ++y)
            for (int32_t x = 0; x < d[0]; ++x) differ += red(a, x, y) != red(b, x, y);
        EXPECT_EQ(differ, 0) << out;
        QV_image_delete(b);
    }
    QV_image_delete(a);
    EXPECT_NE(qv(at("convert @/page.g4 @/x.bmp --ccitt g5") + size, 2).find("unknown fax coding"),
              std::string::npos);
    EXPECT_NE(qv(at("convert @/page.g4 @/x.bmp --ccitt g4"), 2).find("needs --width"), std::string::npos);
}

// JPEG with a chosen quality, PNG, and GIF pages appended one by one and
// taken back out by page; info names each format and compression.
TEST_F(Qv, JpegPngAndGifPages) {
    const std::string hi = dir_ + "/hi.jpg", lo = dir_ + "/lo.jpg", png = dir_ + "/s.png";
    const std::string gif = dir_ + "/pages.gif", back = dir_ + "/p2.png";
    qv("convert " + kSample + " '" + hi + "' --quality 95 --quiet", 0);
    qv("convert " + kSample + " '" + lo + "' --quality 20 --quiet", 0);
    EXPECT_GT(qvtest::read_file(hi).size(), qvtest::read_file(lo).size());
    EXPECT_NE(qv("convert a b --quality 0", 2).find("bad quality"), std::string::npos);
    qv("convert " + kSample + " '" + png + "' --quiet", 0);
    EXPECT_NE(qv("info '" + png + "' '" + hi + "'", 0).find("PNG (format 33), 64 x 40, 24 bits per pixel, "
                                                            "Deflate, 1 page"),
              std::string::npos);
    for (int i = 0; i < 3; ++i) qv("convert " + kSample + " '" + gif + "' --reduce 3 --append --quiet", 0);
    EXPECT_NE(qv("info '" + gif + "'", 0).find("GIF (format 14), 64 x 40, 8 bits per pixel, LZW, 3 pages"),
              std::string::npos);
    qv("convert '" + gif + "' '" + back + "' --page 2 --quiet", 0);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file(back.c_str(), &h), 0);
    EXPECT_EQ(qvtest::dims(h), (std::vector<int32_t>{64, 40, 24}));
    QV_image_delete(h);
}

TEST_F(Qv, Resize) {
    const std::string out = dir_ + "/r.bmp";
    qv("resize " + kSample + " '" + out + "' 50x30 --quiet", 0);
    QUORIN got = nullptr, want = nullptr;
    ASSERT_EQ(QV_load_file(kSamplePath.c_str(), &want), 0);
    ASSERT_EQ(QV_IP_resize(want, 50, 30, 2), 0);  // bilinear by default
    expect_same_pixels(out, want);
    QV_image_delete(want);

    // Canvas padding with a grey index; refusals in words.
    qv("resize " + kSample + " '" + out + "' 2000x10 --reduce 4 --method 4 --background 200 --quiet", 0);
    ASSERT_EQ(QV_load_file(out.c_str(), &got), 0);
    uint8_t px = 0;
    QV_DIB_pixel_get(got, 1999, 9, &px);
    EXPECT_EQ(px, 200);
    QV_image_delete(got);
    EXPECT_NE(qv("resize " + kSample + " '" + out + "' 20x20 --reduce 2 --method 1 --quiet", 1)
                  .find("cannot resize \"" + kSamplePath + "\": not possible at 4 bits per pixel (-3300"),
              std::string::npos);
    qv("resize " + kSample + " '" + out + "'", 2);
    qv("resize " + kSample + " '" + out + "' 0x5", 2);
    qv("resize " + kSample + " '" + out + "' 5x5 --method 9", 2);
    qv("resize " + kSample + " '" + out + "' 5x5 --background 1,2,3,4", 2);
}

TEST_F(Qv, TiffPagesListedAndPicked) {
    tifftest::Page rgb;
    rgb.add(256, 3, {2}).add(257, 3, {2}).add(258, 3, {8, 8, 8}).add(259, 3, {1}).add(262, 3, {2}).add(277, 3, {3});
    rgb.strips.push_back(std::vector<uint8_t>(12, 7));
    tifftest::Page grey = tifftest::grey_page(3, 1, 8, 1, {1, 2, 3});
    grey.add(282, 5, {300, 1}).add(283, 5, {300, 1}).add(296, 3, {2});
    ASSERT_TRUE(qvtest::write_file(at("@/two.tif"), tifftest::Builder(true).build({rgb, grey})));
    const std::string out = qv(at("info @/two.tif"), 0);
    EXPECT_NE(out.find("2 pages"), std::string::npos) << out;
    EXPECT_NE(out.find("  page 1: 2 x 2, 24 bits per pixel, uncompressed, no resolution\n"), std::string::npos) << out;
    EXPECT_NE(out.find("  page 2: 3 x 1, 8 bits per pixel, uncompressed, 300 x 300 dpi\n"), std::string::npos) << out;
    qv(at("convert @/two.tif @/p2.bmp --page 2"), 0);
    EXPECT_NE(qv(at("info @/p2.bmp"), 0).find("3 x 1, 8 bits per pixel"), std::string::npos);
    EXPECT_NE(qv(at("convert @/two.tif @/p3.bmp --page 3"), 1).find("page 3 of 2 does not exist"), std::string::npos);
}

TEST_F(Qv, ReduceAndDither) {
    struct Case {
        const char *args;
        int32_t bpp;
        uint32_t compression;
    };
    for (const Case &c : std::vector<Case>{{"reduce @IN @/o256.bmp --octree 300", 8, 0},
                                            {"reduce @IN @/o16.bmp --octree 16 --search", 4, 0},
                                            {"dither @IN @/fs.bmp fs --threshold 100", 1, 0},
                                            {"dither @IN @/fs16.bmp fs --colors 16", 4, 0},
                                            {"dither @IN @/bayer.bmp bayer", 1, 0},
                                            {"dither @IN @/bayer16.bmp bayer --colors 16", 4, 0},
                                            {"dither @IN @/half.pcx halftone", 1, 0},
                                            {"dither @IN @/thr.bmp threshold --mode 2 --weights 0,0,1", 1, 0}}) {
        std::string args = c.args;
        args.replace(args.find("@IN"), 3, kSample);
        qv(at(args), 0);
        std::string out = at(args.substr(args.find('@'), args.find(' ', args.find('@')) - args.find('@')));
        QUORIN h = nullptr;
        ASSERT_EQ(QV_load_file(out.c_str(), &h), 0) << out;
        EXPECT_EQ(qvtest::dims(h), (std::vector<int32_t>{64, 40, c.bpp})) << args;
        QV_image_delete(h);
    }
    // The library's own result, saved and read back, is what qv wrote.
    QUORIN mine = nullptr, theirs = nullptr;
    ASSERT_EQ(QV_load_file(kSamplePath.c_str(), &mine), 0);
    ASSERT_EQ(QV_IP_color_reduce_bayer(mine, 1, nullptr), 0);
    ASSERT_EQ(QV_load_file(at("@/bayer.bmp").c_str(), &theirs), 0);
    std::vector<uint8_t> a(64), b(64);
    for (int32_t y = 0; y < 40; ++y) {
        QV_DIB_raster_get(mine, y, a.data(), 2);
        QV_DIB_raster_get(theirs, y, b.data(), 2);
        EXPECT_EQ(a, b) << y;
    }
    QV_image_delete(mine);
    QV_image_delete(theirs);

    EXPECT_NE(qv(at("dither " + kSample + " @/x.bmp spray"), 2).find("unknown dither method"), std::string::npos);
    EXPECT_NE(qv(at("dither " + kSample + " @/x.bmp halftone --colors 16"), 2).find("unknown dither method"),
              std::string::npos);
    EXPECT_NE(qv(at("reduce " + kSample + " @/x.bmp --octree 0"), 2).find("bad colour count"), std::string::npos);
    qv(at("reduce " + kSample + " @/x.bmp"), 2);
    // A 1-bit input cannot be reduced further: told in words, with the code.
    EXPECT_NE(qv(at("reduce @/fs.bmp @/x.bmp --octree 8"), 1)
                  .find("cannot reduce \"" + at("@/fs.bmp") + "\": not possible at 1 bits per pixel (-3300"),
              std::string::npos);
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

TEST_F(Qv, RotateFlipCrop) {
    const std::string out = dir_ + "/g.bmp";
    struct C {
        std::string args;
        std::function<int32_t(QUORIN)> op;
    };
    const uint8_t red[3] = {0, 0, 255};
    const std::vector<C> cases = {
        {"rotate " + kSample + " '" + out + "' -90", [](QUORIN h) { return QV_IP_rotate_multiple_90(h, 3); }},
        {"rotate " + kSample + " '" + out + "' 17", [](QUORIN h) { return QV_IP_rotate_any_angle(h, 17, 0); }},
        {"rotate " + kSample + " '" + out + "' 17 --grow --background 0,0,255",
         [&](QUORIN h) { return QV_IP_rotate_any_angle_bkgrnd(h, 17, 1, red); }},
        {"flip " + kSample + " '" + out + "' h", [](QUORIN h) { return QV_IP_flip(h, 0); }},
        {"flip " + kSample + " '" + out + "' v", [](QUORIN h) { return QV_IP_flip(h, 1); }},
        {"crop " + kSample + " '" + out + "' -5,2,30,20", [](QUORIN h) {
             const QV_RECT r{-5, 2, 30, 20};
             return QV_IP_crop(h, &r);
         }},
        {"convert " + kSample + " '" + out + "' --crop 1,1,40,30 --rotate 30 --flip v", [](QUORIN h) {
             const QV_RECT r{1, 1, 40, 30};
             return QV_IP_crop(h, &r) + QV_IP_rotate_any_angle(h, 30, 0) + QV_IP_flip(h, 1);
         }},
    };
    for (const C &c : cases) {
        SCOPED_TRACE(c.args);
        qv(c.args + " --quiet", 0);
        QUORIN want = nullptr;
        ASSERT_EQ(QV_load_file(kSamplePath.c_str(), &want), 0);
        ASSERT_EQ(c.op(want), 0);
        expect_same_pixels(out, want);
        QV_image_delete(want);
    }
    for (const char *bad : {"rotate @in @out", "rotate @in @out abc", "rotate @in @out 1e999", "flip @in @out x",
                            "flip @in @out", "crop @in @out 1,2,3", "crop @in @out", "flip @in @out h --grow",
                            "convert @in @out --flip d"}) {
        std::string args = bad;
        args.replace(args.find("@in"), 3, kSample);
        args.replace(args.find("@out"), 4, "'" + out + "'");
        qv(args, 2);
    }
}

}  // namespace

namespace {

TEST_F(Qv, TiffPagesWrittenWithEachCompression) {
    // Without --append the output is replaced; with it each page is added.
    qv("convert " + kSample + at(" @/c.tif --compression lzw --quiet"), 0);
    qv("convert " + kSample + at(" @/c.tif --compression packbits --quiet"), 0);
    EXPECT_NE(qv(at("info @/c.tif"), 0).find("PackBits"), std::string::npos);
    const char *names[] = {"none", "lzw", "jpeg", "mh", "g3", "g3-2d", "g4"};
    for (const char *c : names)
        qv("convert " + kSample + at(" @/c.tif --append --quiet --size 32x24 --compression ") + c +
               (c[0] == 'g' || c[0] == 'm' ? " --reduce 1" : ""),
           0);
    const std::string out = qv(at("info @/c.tif"), 0);
    EXPECT_NE(out.find("8 pages"), std::string::npos) << out;
    EXPECT_NE(qv(at("convert @/c.tif @/d.tif --compression zip"), 2).find("unknown compression"), std::string::npos);
    EXPECT_NE(qv(at("convert @/c.tif @/d.bmp --compression lzw"), 2).find("applies to TIFF"), std::string::npos);
}

}  // namespace
