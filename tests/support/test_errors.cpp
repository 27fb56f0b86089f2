// Error stack: clamp at 29, module-name trimming, clear-on-entry, debug echo.
#include "common/test_util.h"

namespace {

using qvtest::error_at;

class ErrorStack : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(VPb_error_clear_on_set(1), 0);
        QV_error_clear();
    }
    void TearDown() override { SetUp(); }
};
using V = std::vector<int32_t>;

TEST_F(ErrorStack, ClampsAt29KeepingTheOldest) {
    for (int i = 0; i < 40; ++i) QV_error_set("A\\B.C", i, -(1000 + i), i, -i);
    std::vector<qvtest::Err> want;
    for (int i = 0; i < 29; ++i) want.push_back({-(1000 + i), i, -i});
    EXPECT_EQ(qvtest::stack(), want);
    EXPECT_EQ(error_at(0).line, 0);
    EXPECT_EQ(error_at(28).line, 28);
    // Slot 29 holds the newest push but can never be read.
    auto hidden = error_at(29);
    EXPECT_EQ(hidden.file, "");
    EXPECT_EQ((V{hidden.code, hidden.line, hidden.iVal, hidden.lVal}), (V{0, 0, 0, 0}));
    char file[8] = "garbage";  // an index out of range zeroes every output
    int32_t code = 9, line = 9, iv = 9;
    QV_error_get(-1, file, sizeof file, &line, &code, &iv, nullptr);
    EXPECT_EQ((V{file[0], code, line, iv}), (V{0, 0, 0, 0}));
    QV_error_get(0, nullptr, 0, nullptr, nullptr, nullptr, nullptr);  // all outputs optional
}

TEST_F(ErrorStack, ModuleNameTrimmedAfterLastBackslashTo13) {
    const char *cases[][2] = {{"C:\\SRC\\FILTERS\\PCXREAD.C", "PCXREAD.C"},
                              {"noslash_name_that_is_long.c", "noslash_name_"},
                              {"a/b/unix/path.c", "a/b/unix/path"}, {"DIR\\", ""},
                              {"\\ABCDEFGHIJKLMNOP.C", "ABCDEFGHIJKLM"}, {"", ""}};
    for (auto &c : cases) {
        QV_error_clear();
        QV_error_set(c[0], 12, -1, 0, 0);
        EXPECT_EQ(error_at(0).file, c[1]) << c[0];
    }
}

TEST_F(ErrorStack, SetReturnsItsCodeAndDoesNotClear) {
    EXPECT_EQ((V{QV_error_set("A.C", 1, -2060, 1, 2), QV_error_set("A.C", 2, 77, 1, 2),
                 VPb_AF_error_set("A.C", 3, -3, 0, 0), QV_error_check(), VPb_AF_error_check()}),
              (V{-2060, 77, -3, 3, 3}));
}

TEST_F(ErrorStack, ClearOnEntryFlag) {
    QV_error_set("A.C", 1, -1, 0, 0);
    int32_t flag = -1, v = 0;
    for (int32_t off : {0, 2}) {  // only 1 clears
        ASSERT_EQ(VPb_error_clear_on_set(off), 0);
        EXPECT_EQ((V{VPb_error_clear_on_get(&flag), flag}), (V{0, off}));
        QV_error_clear();
        VPb_AF_error_clear();
        QV_util_MMX_usage_get(&v);  // an entry point does not clear either
        EXPECT_EQ(QV_error_check(), 1) << off;
    }
    ASSERT_EQ(VPb_error_clear_on_set(1), 0);
    QV_util_MMX_usage_get(&v);
    EXPECT_EQ(QV_error_check(), 0);
}

TEST_F(ErrorStack, ValidityTestNeitherClearsNorPushes) {
    QV_error_set("A.C", 1, -1, 0, 0);
    int local[400] = {0}, one = 0;
    for (intptr_t h : {intptr_t(0), intptr_t(255), intptr_t(-255), intptr_t(local), intptr_t(&one)})
        EXPECT_EQ(QV_image_is_valid(reinterpret_cast<QUORIN>(h)), 0) << h;
    EXPECT_EQ(QV_error_check(), 1);
}

TEST_F(ErrorStack, DebugEchoFormatUsesFullPath) {
    static std::string captured;
    captured.clear();
    iQV_debug_sink_set([](const char *text, void *) { captured += text; }, nullptr);
    int32_t prev = -1;
    ASSERT_EQ(iQV_error_debug_set(1, &prev), 0);
    EXPECT_EQ(prev, 0);
    QV_error_set("SRC\\DIR\\MOD.C", 17, -2050, 128, -3);
    iQV_error_debug_set(0, nullptr);
    QV_error_set("X.C", 1, -1, 0, 0);  // echo off again
    iQV_debug_sink_set(nullptr, nullptr);
    EXPECT_EQ(captured, "\nSRC\\DIR\\MOD.C Line=17 Err=-2050 iVal=128 lVal=-3\n");
}

}  // namespace
