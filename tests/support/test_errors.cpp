// Error stack: clamp at 29, module-name trimming, clear-on-entry, debug echo.
#include <gtest/gtest.h>

#include <string>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace {

class ErrorStack : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(VPb_error_clear_on_set(1), 0);
        QV_error_clear();
    }
    void TearDown() override {
        VPb_error_clear_on_set(1);
        QV_error_clear();
    }
};

TEST_F(ErrorStack, ClampsAt29KeepingTheOldest) {
    for (int i = 0; i < 40; ++i) QV_error_set("A\\B.C", i, -(1000 + i), i, -i);
    EXPECT_EQ(QV_error_check(), 29);
    auto first = qvtest::error_at(0);
    EXPECT_EQ(first.code, -1000);
    EXPECT_EQ(first.line, 0);
    auto last = qvtest::error_at(28);
    EXPECT_EQ(last.code, -1028);
    EXPECT_EQ(last.lVal, -28);
    // Slot 29 holds the newest push but can never be read.
    auto hidden = qvtest::error_at(29);
    EXPECT_EQ(hidden.file, "");
    EXPECT_EQ(hidden.code, 0);
    EXPECT_EQ(hidden.line, 0);
    EXPECT_EQ(hidden.iVal, 0);
    EXPECT_EQ(hidden.lVal, 0);
}

TEST_F(ErrorStack, OutOfRangeIndexZeroesOutputs) {
    QV_error_set("X.C", 1, -5, 6, 7);
    char file[16] = "garbage";
    int32_t line = 9, code = 9, iv = 9, lv = 9;
    QV_error_get(1, file, sizeof file, &line, &code, &iv, &lv);
    EXPECT_EQ(file[0], 0);
    EXPECT_EQ(line + code + iv + lv, 0);
    QV_error_get(-1, file, sizeof file, &line, &code, &iv, &lv);
    EXPECT_EQ(code, 0);
    QV_error_get(0, nullptr, 0, nullptr, nullptr, nullptr, nullptr);  // all outputs optional
}

struct NameCase {
    const char *path;
    const char *stored;
};

class ModuleNames : public ErrorStack, public ::testing::WithParamInterface<NameCase> {};

TEST_P(ModuleNames, TrimmedAfterLastBackslashTo13) {
    QV_error_set(GetParam().path, 12, -1, 0, 0);
    EXPECT_EQ(qvtest::error_at(0).file, GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, ModuleNames,
    ::testing::Values(NameCase{"C:\\SRC\\FILTERS\\PCXREAD.C", "PCXREAD.C"},
                      NameCase{"noslash_name_that_is_long.c", "noslash_name_"},
                      NameCase{"a/b/unix/path.c", "a/b/unix/path"},
                      NameCase{"DIR\\", ""}, NameCase{"\\ABCDEFGHIJKLMNOP.C", "ABCDEFGHIJKLM"},
                      NameCase{"", ""}),
    [](const ::testing::TestParamInfo<NameCase> &info) { return "case" + std::to_string(info.index); });

TEST_F(ErrorStack, SetReturnsItsCodeAndDoesNotClear) {
    EXPECT_EQ(QV_error_set("A.C", 1, -2060, 1, 2), -2060);
    EXPECT_EQ(QV_error_set("A.C", 2, 77, 1, 2), 77);
    EXPECT_EQ(VPb_AF_error_set("A.C", 3, -3, 0, 0), -3);
    EXPECT_EQ(QV_error_check(), 3);
    EXPECT_EQ(VPb_AF_error_check(), 3);
}

TEST_F(ErrorStack, ClearOnEntryFlag) {
    QV_error_set("A.C", 1, -1, 0, 0);
    ASSERT_EQ(VPb_error_clear_on_set(0), 0);
    int32_t flag = -1;
    ASSERT_EQ(VPb_error_clear_on_get(&flag), 0);
    EXPECT_EQ(flag, 0);
    QV_error_clear();
    VPb_AF_error_clear();
    EXPECT_EQ(QV_error_check(), 1);
    // An entry point does not clear either: errors accumulate across calls.
    int32_t v = 0;
    QV_util_MMX_usage_get(&v);
    EXPECT_EQ(QV_error_check(), 1);
    ASSERT_EQ(VPb_error_clear_on_set(1), 0);
    QV_util_MMX_usage_get(&v);
    EXPECT_EQ(QV_error_check(), 0);
}

TEST_F(ErrorStack, FlagOtherThanOneDoesNotClear) {
    ASSERT_EQ(VPb_error_clear_on_set(2), 0);
    QV_error_set("A.C", 1, -1, 0, 0);
    QV_error_clear();
    EXPECT_EQ(QV_error_check(), 1);
}

TEST_F(ErrorStack, InvalidHandleReturnsZeroWithEmptyStack) {
    QV_error_set("A.C", 1, -1, 0, 0);
    EXPECT_EQ(QV_image_is_valid(nullptr), 0);
    EXPECT_EQ(QV_image_is_valid(reinterpret_cast<QUORIN>(255)), 0);
    EXPECT_EQ(QV_image_is_valid(reinterpret_cast<QUORIN>(-255)), 0);
    int local[400] = {0};
    EXPECT_EQ(QV_image_is_valid(reinterpret_cast<QUORIN>(local)), 0);
    EXPECT_EQ(QV_error_check(), 1);  // the validity test neither clears nor pushes
}

TEST_F(ErrorStack, NullOutputPushes3330) {
    EXPECT_EQ(QV_util_CutHeight_get(nullptr), QVE_NULL_OUTPUT);
    auto e = qvtest::error_at(0);
    EXPECT_EQ(e.code, QVE_NULL_OUTPUT);
    EXPECT_EQ(e.iVal, 0);
    EXPECT_EQ(e.lVal, 1);
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
    EXPECT_EQ(captured, "\nSRC\\DIR\\MOD.C Line=17 Err=-2050 iVal=128 lVal=-3\n");
    QV_error_set("X.C", 1, -1, 0, 0);  // echo off again
    iQV_debug_sink_set(nullptr, nullptr);
    EXPECT_EQ(captured, "\nSRC\\DIR\\MOD.C Line=17 Err=-2050 iVal=128 lVal=-3\n");
}

}  // namespace
