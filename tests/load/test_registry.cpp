// The built-in registry: iteration order, search, per-index accessors, control-block copies,
// default extensions and the choice of a filter by a file name's extension.
#include <algorithm>

#include "common/test_util.h"

namespace {

// Format types of rows 0..44, in table order.
const std::vector<uint32_t> kTypes = {40, 2,  49, 14, 33, 13, 21, 31, 8,  16, 26, 42, 36, 29, 10,
                                      4,  18, 52, 47, 45, 43, 28, 37, 38, 25, 22, 20, 3,  23, 44,
                                      27, 5,  17, 39, 30, 7,  24, 41, 11, 53, 12, 54, 55, 57, 46};

TEST(Registry, IterationVisitsTheTableInOrder) {
    ASSERT_EQ(VPb_VPr_filter_count(), 45);
    std::vector<uint32_t> seen;
    for (int32_t i = VPb_VPr_filter_first(); i >= 0; i = VPb_VPr_filter_next(i)) {
        uint32_t t = 0;
        ASSERT_EQ(VPb_VPr_filter_type_get(i, &t), 1);
        seen.push_back(t);
        ASSERT_LT(seen.size(), 100u);
    }
    EXPECT_EQ(seen, kTypes);
    EXPECT_EQ(VPb_VPr_filter_next(44), -1);
    EXPECT_EQ(VPb_VPr_filter_next(45), -1);
    EXPECT_EQ(VPb_VPr_filter_next(4096 + 60), -1);  // no such extension filter
}

TEST(Registry, SearchReturnsTheFirstRowOrMinus2110) {
    QV_error_clear();
    for (uint32_t type : kTypes)
        EXPECT_EQ(VPb_VPr_filter_search(type),
                  std::find(kTypes.begin(), kTypes.end(), type) - kTypes.begin())
            << type;
    EXPECT_EQ(VPb_VPr_filter_search(0), -2110);
    EXPECT_EQ(VPb_VPr_filter_search(60), -2110);
    EXPECT_EQ(QV_error_check(), 0);  // returned, not pushed
}

TEST(Registry, AccessorsByIndex) {
    uint32_t t = 7;
    VPb_READ_FN r = nullptr;
    VPb_WRITE_FN w = reinterpret_cast<VPb_WRITE_FN>(1);
    VPb_TILES_FN tiles = nullptr;
    int32_t mp = -1, mp_bad = -1;
    using V = std::vector<int64_t>;
    EXPECT_EQ((V{VPb_VPr_filter_type_get(-1, &t), t, VPb_VPr_filter_read_func_get(-3, &r),
                 r == nullptr}),
              (V{0, 0, 0, 1}));
    for (int32_t i = 0; i < 45; ++i) {
        EXPECT_EQ(VPb_VPr_filter_read_func_get(i, &r), 1);
        EXPECT_NE(r, nullptr) << "every row has a read function: " << i;
    }
    // GEM (5) has no writer, JPEG (6) alone has thumbnails, TIFF (0) tiles; DCX (26) is multi-page.
    EXPECT_EQ((V{VPb_VPr_filter_write_func_get(5, &w), w == nullptr, VPb_VPr_filter_thumb_exists(6),
                 VPb_VPr_filter_thumb_exists(0), VPb_VPr_filter_tiles_func_get(0, &tiles),
                 tiles != nullptr, VPb_VPr_filter_multipage_get(17, &mp), mp,
                 VPb_VPr_filter_multipage_get(-1, &mp_bad), mp_bad,
                 VPb_VPr_filter_multipage_by_type(26), VPb_VPr_filter_multipage_by_type(16),
                 VPb_VPr_filter_multipage_by_type(99)}),
              (V{1, 1, 1, 0, 1, 1, 1, 1, 0, 0, 1, 0, -2110}));
}

TEST(Registry, ControlBlockCopyFollowsTheSettings) {
    EXPECT_EQ(VPb_VPr_filter_ctl_size_get(6), 72);
    EXPECT_EQ(VPb_VPr_filter_ctl_size_get(44), 0);
    std::vector<int32_t> jpeg(18, -1);
    ASSERT_EQ(VPb_VPr_filter_image_flags_get(6, jpeg.data()), 1);
    EXPECT_EQ(jpeg[1], 75);  // default quality, setting 277
    ASSERT_EQ(QV_image_control_set(1 * 256 + 21, 40), 0);
    ASSERT_EQ(VPb_VPr_filter_image_flags_get(6, jpeg.data()), 1);
    EXPECT_EQ(jpeg[1], 40);
    ASSERT_EQ(QV_image_control_set(1 * 256 + 21, 75), 0);
    EXPECT_EQ(VPb_VPr_filter_image_flags_get(-1, jpeg.data()), 0);
    int32_t size = 9;
    EXPECT_EQ(VPb_VPr_ext_filter_image_control_get(6, &size), nullptr);
    EXPECT_EQ(size, 0);
}

TEST(Registry, FormatsNotBuiltReportMinus500WithTheirType) {
    VPb_READ_FN read = nullptr;
    VPb_WRITE_FN write = nullptr;
    ASSERT_EQ(VPb_VPr_filter_read_func_get(14, &read), 1);  // EPS
    ASSERT_EQ(VPb_VPr_filter_write_func_get(43, &write), 1);
    QV_error_clear();
    EXPECT_EQ(read(nullptr, nullptr, 1, 1), -500);
    EXPECT_EQ(write(nullptr, nullptr, 0, 1, 0), -500);
    EXPECT_EQ(qvtest::error_at(0).iVal, 10);
    EXPECT_EQ(qvtest::error_at(1).iVal, 57);
}

TEST(Registry, DefaultExtension) {
    const struct {
        uint32_t type;
        int32_t row;
        const char *ext;
    } cases[] = {{40, 0, "TIF"}, {10, 14, "EPS"}, {38, 23, "SGI"}, {3, 27, "301"},
                 {46, 44, "IMG"}, {11, 38, ""},   {99, -2110, ""}};
    for (const auto &c : cases) {
        char buf[8] = "zzzzzzz";
        EXPECT_EQ(VPb_VPr_filter_default_ext_get(c.type, buf), c.row) << c.type;
        EXPECT_STREQ(buf, c.ext) << c.type;
    }
}

TEST(Registry, ByExtensionChoosesTheFirstListedRow) {
    const std::pair<const char *, int32_t> cases[] = {
        {"a.tif", 0},   {"dir/a.TIFF", 0}, {"x.Ras", 15},  // CALS lists RAS before Sun raster
        {"x.ica", 9},                                      // type 16 before 26
        {"x.tpic", 33}, {"x.bw", 23},      {"x.rgba", 23}, {"a.b.jpg", 6}, {"x.wd", 18},
        {"x.pal", 35},  {"x.301", -1},                     // digits lose bit 0x20
        {"x.img", -1},                                     // row 44 has no closing bar
        {"x.tifx", -1}, {"x.ti", -1},      {"x.", -1},     {"noext", -1},  {"x.jpeg", -1}};
    for (const auto &c : cases) EXPECT_EQ(iQV_filter_by_extension(c.first), c.second) << c.first;
}

}  // namespace
