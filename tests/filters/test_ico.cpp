// ICO and CUR: the corpus loads with Pillow's pixels (alpha from the AND
// mask or the fourth byte), pages are the entries with the largest first,
// the malformed files are refused, and the icons the writer makes read back
// in Pillow with the source pixels and alpha.
#include "filters/test_formats_util.h"

namespace {

TEST(IcoCorpus, DecodesLikePillow) {
    QV_SKIP_WITHOUT_CORPUS();
    EXPECT_GE(fmttest::corpus_matches("ico/", {"ico/deerstalker.cur", "ico/mask_1.cur"}), 4);
    // Detection takes resource type 1 only: a cursor (type 2) is not
    // recognised, while its entries decode as an icon's do.
    for (const auto &e : qvtest::manifest("ico/")) {
        if (e.path.find(".cur") == std::string::npos) continue;
        SCOPED_TRACE(e.path);
        std::vector<uint8_t> file = qvtest::read_file(qvtest::corpus_dir() + "/" + e.path);
        EXPECT_EQ(qvtest::load_mem(file), nullptr);
        EXPECT_EQ(qvtest::error_codes().back(), QVE_DETECT_FAILED);
        file[2] = 1;
        QUORIN h = qvtest::load_mem(file);
        ASSERT_NE(h, nullptr);
        EXPECT_EQ(qvtest::md5_hex(fmttest::pillow_bytes(h, e.mode)), e.md5);
        QV_image_delete(h);
    }
    EXPECT_EQ(fmttest::refusal("malformed/ico/decompression_bomb.ico"), (qvtest::Err{QVE_TOO_LARGE, 65535, 32767}));
}

TEST(IcoCorpus, PagesAreEntriesLargestFirst) {
    QV_SKIP_WITHOUT_CORPUS();
    const std::string path = qvtest::corpus_dir() + "/ico/python.ico";
    int32_t pages = 0;
    ASSERT_EQ(QV_page_count_get(path.c_str(), &pages), 0);
    EXPECT_EQ(pages, 3);
    const std::vector<uint8_t> file = qvtest::read_file(path);
    const int32_t sizes[] = {48, 16, 32};
    for (int32_t page = 1; page <= 3; ++page) {
        QUORIN h = qvtest::load_mem(file, nullptr, page);
        ASSERT_NE(h, nullptr) << page;
        EXPECT_EQ(qvtest::dims(h), (std::vector<int32_t>{sizes[page - 1], sizes[page - 1], 32}));
        QV_image_delete(h);
    }
    EXPECT_EQ(qvtest::load_mem(file, nullptr, 4), nullptr);
    EXPECT_STACK({QVE_SEEK, 4, 3});
}

TEST(IcoWrite, PillowReadsWhatWeWrite) {
    if (!fmttest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const qvtest::TempDir dir("icowrite");
    for (int32_t bpp : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bpp);
        QUORIN img = bmptest::random_image(16 + bpp % 5, 16, bpp, uint32_t(bpp * 13));
        const std::string path = dir + "/out" + std::to_string(bpp) + ".ico";
        EXPECT_EQ(fmttest::pillow_md5_of_saved(img, path, 17, "RGBA"),
                  qvtest::md5_hex(fmttest::pillow_bytes(img, "RGBA")));
        QUORIN back = nullptr;
        ASSERT_EQ(QV_load_file(path.c_str(), &back), 0);
        EXPECT_EQ(bmptest::rgba_of(back).px, bmptest::rgba_of(img).px);
        QV_image_delete(back);
        QV_image_delete(img);
    }
    QUORIN big = bmptest::random_image(257, 2, 24, 1);
    EXPECT_FAILS(QV_save_file(big, (dir + "/big.ico").c_str(), 17), {QVE_TOO_LARGE, 257, 2});
    QV_image_delete(big);
}

}  // namespace
