// The qv tool as a user runs it: help and usage errors, info on good and
// missing files, conversions with each option, the progress bar, and
// failures reported from the error stack with their code names.
#include <sys/stat.h>

#include "common/test_util.h"

namespace {

const std::string kQv = QV_BUILD_DIR "/tools/qv";
const std::string kSample = "'" QV_SOURCE_DIR "/examples/data/sample.bmp'";

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
    for (const char *args : {"", "frobnicate", "convert only_one_file"}) qv(args, 2);
    EXPECT_NE(qv("convert a b --reduce 9", 2).find("bad reduction mode"), std::string::npos);
    EXPECT_NE(qv("convert a b --format nosuch", 2).find("unknown format"), std::string::npos);
}

TEST_F(Qv, InfoShowsTheHeader) {
    std::string out = qv("info " + kSample, 0);
    EXPECT_NE(out.find("BMP (format 2, compression 0), 64 x 40, 24 bits per pixel, 1 page"),
              std::string::npos)
        << out;
    out = qv("info /nonexistent/x.bmp " + kSample, 1);
    EXPECT_NE(out.find("-2030 QVE_OPEN_FAILED in LOAD.C line"), std::string::npos) << out;
    EXPECT_NE(out.find("64 x 40"), std::string::npos);  // the good file is still shown
}

TEST_F(Qv, ConvertWithOptions) {
    const std::string grey = dir_ + "/grey.bmp", part = dir_ + "/part.pcx", vga = dir_ + "/vga.out";
    qv("convert " + kSample + " '" + grey + "' --reduce 4 --size 32x20 --quiet", 0);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file(grey.c_str(), &h), 0);
    int32_t w, ht, bpp, is_grey = 0, type = 0;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    QV_image_is_gray(h, &is_grey);
    EXPECT_EQ(std::tie(w, ht, bpp, is_grey), std::make_tuple(32, 20, 8, 1));
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

TEST_F(Qv, FailuresPrintTheErrorStack) {
    std::string out = qv("convert " + kSample + " '" + dir_ + "/x.Ras' --quiet", 1);
    EXPECT_NE(out.find("-500 QVE_NOT_IMPLEMENTED in NOTBUILT.C line"), std::string::npos) << out;
    EXPECT_NE(out.find("(iVal 4, lVal 0)"), std::string::npos) << out;
    out = qv("convert " + kSample + " '" + dir_ + "/nodot' --quiet", 1);
    EXPECT_NE(out.find("QVE_SAVE_FORMAT"), std::string::npos) << out;
    qv("convert /nonexistent.bmp '" + dir_ + "/y.bmp'", 1);
}

}  // namespace
