// PSD: the corpus's merged images load with Pillow's pixels (alpha
// included), ImageMagick's files with its pixels, the malformed files either
// load or are refused cleanly with their codes, and the grey, indexed and
// RGB files the writer makes (raw and PackBits) read back in Pillow with the
// source pixels.
#include "filters/test_formats_util.h"

namespace {

TEST(PsdCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    EXPECT_GE(fmttest::corpus_matches("psd/"), 4);
}

TEST(PsdCorpus, MalformedFiles) {
    QV_SKIP_WITHOUT_CORPUS();
    const std::pair<const char *, qvtest::Err> refused[] = {
        {"malformed/psd/combined_larger_than_size.psd", {QVE_SEEK, 3, 0}},  // layer section
    };
    for (const auto &[path, err] : refused) EXPECT_EQ(fmttest::refusal(path), err) << path;
    // Every other one loads (its merged image is sound) or is refused without leaving anything.
    const size_t live = bmptest::live_blocks();
    for (const auto &e : qvtest::manifest("malformed/psd/")) {
        QUORIN h = nullptr;
        const int32_t n = QV_load_file((qvtest::corpus_dir() + "/" + e.path).c_str(), &h);
        EXPECT_EQ(n == 0, h != nullptr) << e.path;
        if (h && e.decodes) {
            EXPECT_EQ(qvtest::md5_hex(fmttest::pillow_bytes(h, e.mode)), e.md5) << e.path;
        }
        QV_image_delete(h);
        EXPECT_EQ(iQV_mem_live_blocks(), live) << e.path;
    }
}

TEST(PsdRead, ChannelDataShort) {
    QUORIN img = bmptest::random_image(4, 3, 24, 9);
    std::vector<uint8_t> buf(4096);
    size_t written = 0;
    for (int32_t comp : {0, 1}) {
        ASSERT_EQ(QV_save_mem(img, buf.data(), buf.size(), 0, 0, 1, 36 | comp << 16, &written), 0);
        std::vector<uint8_t> file(buf.begin(), buf.begin() + long(written) - 5);
        EXPECT_EQ(qvtest::load_mem(file), nullptr);
        EXPECT_STACK({-2462, 2, comp ? 2 : 1});  // blue, the first row cut
    }
    QV_image_delete(img);
}

TEST(PsdWrite, PillowReadsRawAndPackBits) {
    fmttest::pillow_round_trip("psd", 36, {1, 4, 8, 16, 24, 32}, 10, 1, 7, true);
}

// ImageMagick's PSD files (RGB of 8 and 16 bits, grey, CMYK) load with the
// pixels ImageMagick converts them to.
TEST(PsdPeers, LoadsWhatImageMagickWrites) {
    QV_SKIP_WITHOUT_CORPUS();
    if (!qvtest::command_ok("convert -version >/dev/null 2>&1")) GTEST_SKIP() << "ImageMagick not available";
    const qvtest::TempDir dir("psdpeer");
    const std::string src = qvtest::corpus_dir() + "/pnm/hopper.ppm";
    auto rgb = [](const std::string &path) {
        QUORIN h = nullptr;
        EXPECT_EQ(QV_load_file(path.c_str(), &h), 0) << path;
        bmptest::Bytes px = h ? fmttest::pillow_bytes(h, "RGB") : bmptest::Bytes{};
        QV_image_delete(h);
        return px;
    };
    for (const char *opts : {"", "-depth 16", "-colorspace gray", "-colorspace cmyk"}) {
        SCOPED_TRACE(opts);
        qvtest::run("convert '" + src + "' " + opts + " '" + dir + "/a.psd' && convert '" + dir +
                    "/a.psd' -depth 8 '" + dir + "/a.ppm'");
        EXPECT_EQ(rgb(dir + "/a.psd"), rgb(dir + "/a.ppm"));
    }
}

}  // namespace
