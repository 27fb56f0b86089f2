// The qv tool as a user runs it: help and usage errors, info on good and
// missing files, conversions with each option, the progress bar, and
// failures reported from the error stack with their code names.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "common/test_util.h"
#include "filters/test_bmp_util.h"

namespace {

std::string qv_binary() { return std::string(QV_BUILD_DIR) + "/tools/qv"; }
std::string sample() { return std::string(QV_SOURCE_DIR) + "/examples/data/sample.bmp"; }

class Qv : public ::testing::Test {
protected:
    void SetUp() override {
        struct stat st;
        if (::stat(qv_binary().c_str(), &st) != 0) GTEST_SKIP() << "qv not built";
        dir_ = qvtest::temp_path("qvtool");
        ::mkdir(dir_.c_str(), 0700);
    }
    void TearDown() override {
        if (!dir_.empty()) bmptest::run("rm -rf '" + dir_ + "'");
    }
    // Runs qv with `args`; stdout and stderr together, and the exit status.
    std::string qv(const std::string &args, int *status) {
        return bmptest::run(qv_binary() + " " + args + " 2>&1", status);
    }
    std::string dir_;
};

TEST_F(Qv, HelpAndUsageErrors) {
    int st = -1;
    EXPECT_NE(qv("--help", &st).find("usage: qv info"), std::string::npos);
    EXPECT_EQ(st, 0);
    qv("", &st);
    EXPECT_EQ(st, 2);
    qv("frobnicate", &st);
    EXPECT_EQ(st, 2);
    qv("convert only_one_file", &st);
    EXPECT_EQ(st, 2);
    EXPECT_NE(qv("convert a b --reduce 9", &st).find("bad reduction mode"), std::string::npos);
    EXPECT_EQ(st, 2);
    EXPECT_NE(qv("convert a b --format nosuch", &st).find("unknown format"), std::string::npos);
    EXPECT_EQ(st, 2);
}

TEST_F(Qv, InfoShowsTheHeader) {
    int st = -1;
    std::string out = qv("info '" + sample() + "'", &st);
    EXPECT_EQ(st, 0);
    EXPECT_NE(out.find("BMP (format 2, compression 0), 64 x 40, 24 bits per pixel, 1 page"), std::string::npos)
        << out;
    out = qv("info /nonexistent/x.bmp '" + sample() + "'", &st);
    EXPECT_EQ(st, 1);
    EXPECT_NE(out.find("-2030 QVE_OPEN_FAILED in LOAD.C line"), std::string::npos) << out;
    EXPECT_NE(out.find("64 x 40"), std::string::npos);  // the good file is still shown
}

TEST_F(Qv, ConvertWithOptions) {
    int st = -1;
    std::string grey = dir_ + "/grey.bmp", part = dir_ + "/part.pcx", vga = dir_ + "/vga.out";
    qv("convert '" + sample() + "' '" + grey + "' --reduce 4 --size 32x20 --quiet", &st);
    ASSERT_EQ(st, 0);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file(grey.c_str(), &h), 0);
    int32_t w, ht, bpp, is_grey = 0;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    QV_image_is_gray(h, &is_grey);
    EXPECT_EQ(w, 32); EXPECT_EQ(ht, 20); EXPECT_EQ(bpp, 8); EXPECT_EQ(is_grey, 1);
    QV_image_delete(h);

    qv("convert '" + sample() + "' '" + part + "' --rect 8,4,48,32 --quiet", &st);
    ASSERT_EQ(st, 0);
    int32_t type = 0;
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get(part.c_str(), &type, nullptr, &info), 0);
    EXPECT_EQ(type, QV_FORMAT_PCX); EXPECT_EQ(info.biWidth, 48); EXPECT_EQ(info.biHeight, 32);

    // --format overrides the extension; the progress bar goes to stderr.
    std::string out = qv("convert '" + sample() + "' '" + vga + "' --format bmp --reduce 2 --progress", &st);
    ASSERT_EQ(st, 0);
    EXPECT_NE(out.find("100%"), std::string::npos);
    ASSERT_EQ(QV_info_get(vga.c_str(), &type, nullptr, &info), 0);
    EXPECT_EQ(type, QV_FORMAT_BMP); EXPECT_EQ(info.biBitCount, 4);
}

TEST_F(Qv, FailuresPrintTheErrorStack) {
    int st = -1;
    std::string out = qv("convert '" + sample() + "' '" + dir_ + "/x.Ras' --quiet", &st);
    EXPECT_EQ(st, 1);
    EXPECT_NE(out.find("-500 QVE_NOT_IMPLEMENTED in NOTBUILT.C line"), std::string::npos) << out;
    EXPECT_NE(out.find("(iVal 4, lVal 0)"), std::string::npos) << out;
    out = qv("convert '" + sample() + "' '" + dir_ + "/nodot' --quiet", &st);
    EXPECT_EQ(st, 1);
    EXPECT_NE(out.find("QVE_SAVE_FORMAT"), std::string::npos) << out;
    out = qv("convert /nonexistent.bmp '" + dir_ + "/y.bmp'", &st);
    EXPECT_EQ(st, 1);
}

}  // namespace
