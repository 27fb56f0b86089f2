// Image records: creation and its failures, binding defaults and hooks, deletion,
// import, export, duplication, resolution, orientation, alpha link and a built alpha companion,
// rectangle, and the declared-but-absent internet load.
#include <cstdlib>
#include <cstring>

#include "common/test_util.h"

namespace {

using qvtest::error_at;
using qvtest::reader_image;
using U = std::vector<uint32_t>;
using V = std::vector<int64_t>;

QUORIN create(int32_t w, int32_t h, int32_t bpp, uint32_t compression = 0) {
    QUORIN img = nullptr;
    EXPECT_EQ(QV_image_create_DIB_ex(w, h, bpp, compression, nullptr, &img), 0);
    return img;
}
QV_DIB_HEADER *dib_of(QUORIN img) {
    QV_DIB_HEADER *d = nullptr;
    QV_image_DIB_pntr_get(img, &d);
    return d;
}
U resolution(QUORIN img) {
    U v(5);
    QV_image_resolution_get(img, &v[0], &v[1], &v[2], &v[3], &v[4]);
    return v;
}

TEST(ImageCreate, FailuresReportOneErrorAndLeaveNothing) {
    const struct {
        int32_t w, h, bpp;
        uint32_t compression;
        int32_t code, ival;
    } cases[] = {{10, -1, 8, 0, QVE_OUT_OF_RANGE, -1}, {10, 10, 8, 3, QVE_BAD_ARGUMENT, 3},
                 {10, 10, 1, 500, QVE_BAD_ARGUMENT, 500}, {0, 10, 8, 0, QVE_OUT_OF_RANGE, 0},
                 {10, 10, 2, 0, QVE_DEPTH_UNSUPPORTED, 2},
                 {10, 10, 8, 503, QVE_DEPTH_UNSUPPORTED, 8}};
    for (const auto &c : cases) {
        qvtest::NoLeaks no_leaks;
        QUORIN img = reinterpret_cast<QUORIN>(intptr_t(1));
        EXPECT_EQ(QV_image_create_DIB_ex(c.w, c.h, c.bpp, c.compression, nullptr, &img), 1);
        EXPECT_EQ((V{QV_error_check(), error_at(0).code, error_at(0).iVal}), (V{1, c.code, c.ival}))
            << c.w << "x" << c.h << "x" << c.bpp << " " << c.compression;
        EXPECT_EQ(img, nullptr);
    }
}

TEST(ImageCreate, SixteenBitImagesKeepTheirMasks) {
    QUORIN a = create(8, 2, 16, 0), g = create(8, 2, 16, 503), tiny = create(1, 1, 16, 0);
    QV_DIB_HEADER *d = dib_of(a), *dg = dib_of(g);
    EXPECT_EQ((U{VPb_DIB_red_mask_get(d), VPb_DIB_green_mask_get(d), VPb_DIB_blue_mask_get(d),
                 dg->biCompression, VPb_DIB_red_mask_get(dg), VPb_DIB_blue_mask_get(dg),
                 VPb_DIB_red_mask_get(dib_of(tiny))}),  // tiny: 4 bytes of pixels, masks cut short
              (U{0x7C00, 0x3E0, 0x1F, 503, 65535, 65535, 0x7C00}));
    auto *bits = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(d));
    auto *gbits = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(dg));
    for (int i = 12; i < 32; ++i) EXPECT_EQ(bits[i], 0) << i;  // after the masks
    for (int i = 0; i < 32; ++i) EXPECT_EQ(gbits[i], 0) << i;
    for (QUORIN h : {a, g, tiny}) QV_image_delete(h);
}

TEST(ImageCreate, NewPalettes) {
    QUORIN img = create(20, 10, 8), four = create(3, 3, 4), rgb = create(3, 3, 24);
    int32_t gray = -1, gray4 = -1, entries = 0;
    QV_image_is_gray(img, &gray);
    QV_image_is_gray(four, &gray4);
    EXPECT_EQ((std::vector<int32_t>{gray, gray4}), (std::vector<int32_t>{1, 0}));  // 0, 17, ...
    auto *marker = reinterpret_cast<QV_RGBQUAD *>(&gray), *pal = marker;
    QV_image_DIB_palette_pntr_get(rgb, &pal, &entries);
    EXPECT_EQ(entries, 0);
    EXPECT_EQ(pal, marker);
    for (QUORIN h : {img, four, rgb}) QV_image_delete(h);
}

struct HookLog {
    int creates = 0, deletes = 0, dups = 0;
    QUORIN last = nullptr;
    void *area = nullptr;
} g_log;
void on_create(QUORIN h, void *area) { ++g_log.creates, g_log.last = h, g_log.area = area; }
void on_delete(QUORIN h) {
    ++g_log.deletes, g_log.last = h;
    EXPECT_EQ(QV_image_is_valid(h), 1);  // still whole when the hook runs
}
void on_dup(QUORIN, QUORIN) { ++g_log.dups; }

TEST(ImageHooks, CreateAndDeleteHooksRun) {
    g_log = HookLog{};
    VPb_settings_hook_func_set(0, reinterpret_cast<void *>(&on_create));
    VPb_settings_hook_func_set(1, reinterpret_cast<void *>(&on_delete));
    QUORIN img = create(2, 2, 8);
    EXPECT_EQ(g_log.creates, 1);
    EXPECT_EQ(g_log.last, img);
    auto *area = static_cast<uint8_t *>(g_log.area), *record = reinterpret_cast<uint8_t *>(img);
    EXPECT_TRUE(area > record && area + 68 <= record + 1176);  // inside the record
    QV_image_delete(img);
    EXPECT_EQ(g_log.deletes, 1);
    QUORIN rec = reader_image(2, 2, 24, 0);  // bound without defaults: no create hook
    EXPECT_EQ(resolution(rec), (U{0, 1, 0, 1, 0}));
    QV_image_delete(rec);
    EXPECT_EQ((V{g_log.creates, g_log.deletes}), (V{1, 2}));
    VPb_settings_hook_func_set(0, nullptr);
    VPb_settings_hook_func_set(1, nullptr);
}

TEST(ImageBinding, FullBindingDefaults) {
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    QUORIN rec = reader_image(7, -5, 8, 1, tag);
    EXPECT_EQ(resolution(rec), (U{300, 1, 300, 1, 3}));
    QV_RECT r{};
    QV_image_rect_get(rec, &r);
    EXPECT_EQ((std::vector<int32_t>{r.right, r.bottom}), (std::vector<int32_t>{6, 4}));
    QV_image_delete(rec);
    EXPECT_EQ(iQV_mem_block_count(tag), 0u);
}

TEST(ImageExport, HandsOverTheDibAndInvalidatesTheHandle) {
    size_t live = iQV_mem_live_blocks();
    QUORIN img = create(3, 2, 24);
    uint8_t px[3] = {1, 2, 3};
    QV_DIB_pixel_set(img, 2, 1, px);
    QV_DIB_HEADER *dib = nullptr;
    EXPECT_EQ((V{QV_image_export_DIB(img, &dib), QV_image_is_valid(img)}), (V{0, 0}));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(iQV_mem_live_blocks(), live);  // nothing left under any tag
    const uint8_t *bits = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(dib));
    EXPECT_EQ((U{bits[6], bits[8]}), (U{1, 3}));  // row 1 (bottom) is stored first
    QUORIN again = nullptr;  // the DIB can come back as an image, which then owns it
    EXPECT_EQ(QV_image_import_DIB(dib, &again), 0);
    uint8_t back[3] = {};
    QV_DIB_pixel_get(again, 2, 1, back);
    EXPECT_EQ(back[2], 3);
    QV_DIB_HEADER *out = nullptr;  // an imported DIB is exported as a copy
    EXPECT_EQ((V{QV_image_export_DIB(again, &out), QV_image_is_valid(again)}), (V{0, 0}));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->biWidth, 3);
    EXPECT_EQ(QV_image_import_DIB(out, &again), 0);
    QV_image_delete(again);  // frees the DIB with free(): ASan checks
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

TEST(ImageImport, BadHeadersAreRefusedAndStayTheCallers) {
    QV_DIB_HEADER h;
    VPb_DIB_init(&h, 4, 4, 8, 0, 0, 0);
    h.biSize = 108;
    QUORIN img = reinterpret_cast<QUORIN>(intptr_t(1));
    EXPECT_FAILS(QV_image_import_DIB(&h, &img), {QVE_BAD_HEADER, 108, 0});
    EXPECT_EQ(img, nullptr);
    VPb_DIB_init(&h, 4, 4, 8, 500, 0, 0);  // runs need 1 bit
    EXPECT_FAILS(QV_image_import_DIB(&h, &img), {QVE_BAD_HEADER, 40, 500});
    EXPECT_FAILS(QV_image_import_DIB(nullptr, &img), {QVE_NULL_POINTER, 0, 0});
}

TEST(ImageImport, RunEncodedDibBuildsItsRunTable) {
    // A malloc'ed run-encoded DIB, one list per row from the top.
    const std::vector<uint16_t> lists = {12, 2, 5, 10, 10, 10, 8, 10, 10, 10, 10, 0, 10, 10, 10,
                                         12, 3, 1, 10, 10, 10};  // decreasing: ends the walk
    auto *d = static_cast<QV_DIB_HEADER *>(std::calloc(1, 48 + lists.size() * 2));
    VPb_DIB_init(d, 10, 5, 1, 500, 0, 0);
    d->biSizeImage = uint32_t(lists.size() * 2);
    std::memcpy(reinterpret_cast<uint8_t *>(d) + 48, lists.data(), lists.size() * 2);
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_import_DIB(d, &img), 0);
    const char *want[5] = {"0011100000", "0000000000", "1111111111", "0000000000", "0000000000"};
    for (int y = 0; y < 5; ++y) {
        uint8_t e[10];
        ASSERT_EQ(QV_DIB_raster_get(img, y, e, 2), 0);
        std::string s;
        for (uint8_t v : e) s += char('0' + v);
        EXPECT_EQ(s, want[y]) << y;
    }
    for (int y = 0; y < 5; ++y) {  // growing past the imported data moves the lists
        uint8_t e[10] = {1, 0, 1, 0, 1, 0, 1, 0, 1, uint8_t(y & 1)};
        ASSERT_EQ(QV_DIB_raster_set(img, y, e, 2), 0);
    }
    uint16_t runs[28];
    EXPECT_EQ((V{QV_runs_row_get(img, 0, runs), runs[0]}), (V{0, 2 * (10 + 4)}));
    QV_DIB_HEADER *out = nullptr;
    ASSERT_EQ(QV_image_export_DIB(img, &out), 0);
    auto *bits = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(out));
    EXPECT_EQ((U{out->biCompression, bits[0], bits[1]}), (U{0, 0xAA, 0x80}));  // bottom row
    std::free(out);
}

TEST(ImageDuplicate, RunEncodedImagesAreCopiedRecordToRecord) {
    qvtest::NoLeaks no_leaks;
    QUORIN src = reader_image(40, 3, 1, 1);
    uint8_t row[8] = {0xF0, 0x0F, 0, 0, 0xFF}, zeros[8] = {}, got[8] = {};
    QV_DIB_raster_set(src, 1, row, 1);
    VPb_image_info_type_set(src, 48);
    g_log = HookLog{};
    VPb_settings_hook_func_set(12, reinterpret_cast<void *>(&on_dup));
    QUORIN dup = nullptr;
    EXPECT_EQ((V{QV_image_duplicate(src, &dup), g_log.dups}), (V{0, 1}));
    VPb_settings_hook_func_set(12, nullptr);
    QV_DIB_raster_set(src, 1, zeros, 1);  // the copy is independent
    QV_DIB_raster_get(dup, 1, got, 1);
    EXPECT_EQ(std::vector<uint8_t>(got, got + 5), std::vector<uint8_t>(row, row + 5));
    QV_image_delete(src);
    QV_image_delete(dup);
}

// Process-wide records that a first load makes on first use stay; take them out of the count.
void warm_up_load_pipeline() {
    QUORIN a = create(2, 2, 8), b = nullptr;
    QV_image_duplicate(a, &b);
    QV_image_delete(a);
    QV_image_delete(b);
}

TEST(ImageDuplicate, OrdinaryImagesCopyPixelsResolutionAndAlpha) {
    warm_up_load_pipeline();
    qvtest::NoLeaks no_leaks;
    QUORIN src = create(5, 4, 8), alpha = create(5, 4, 8), dup = nullptr, dup_alpha = nullptr;
    uint8_t v = 77, got = 0, got_alpha = 0;
    QV_DIB_pixel_set(src, 4, 0, &v);
    QV_image_resolution_set(src, 200, 1, 100, 1, 3);
    QV_DIB_pixel_set(alpha, 1, 1, &v);
    QV_image_alpha_set(src, alpha);
    ASSERT_EQ(QV_image_duplicate(src, &dup), 0);
    ASSERT_NE(dup, src);
    EXPECT_EQ(resolution(dup), (U{200, 1, 100, 1, 3}));
    QV_image_alpha_get(dup, &dup_alpha);
    ASSERT_EQ(QV_image_is_valid(dup_alpha), 1);
    EXPECT_NE(dup_alpha, alpha);
    QV_DIB_pixel_get(dup, 4, 0, &got);
    QV_DIB_pixel_get(dup_alpha, 1, 1, &got_alpha);
    EXPECT_EQ((V{got, got_alpha, dib_of(dup)->biXPelsPerMeter}), (V{77, 77, 7874}));
    QV_image_delete(src);
    EXPECT_EQ(QV_image_is_valid(dup), 1);
    QV_image_delete(dup);
    EXPECT_EQ(QV_image_is_valid(dup_alpha), 0);
}

TEST(ImageDuplicate, FailedDuplicateLeavesNothing) {
    warm_up_load_pipeline();
    QUORIN src = create(6, 6, 8), dup = reinterpret_cast<QUORIN>(intptr_t(1));
    QV_image_alpha_set(src, create(6, 6, 8));
    size_t live = iQV_mem_live_blocks();
    uint64_t limit = 0;
    QV_load_pixel_limit_get(&limit);
    QV_load_pixel_limit_set(35);  // the 6 x 6 copy is refused by the loader
    EXPECT_GE(QV_image_duplicate(src, &dup), 1);
    EXPECT_EQ(dup, nullptr);
    EXPECT_EQ(iQV_mem_live_blocks(), live);
    QV_load_pixel_limit_set(limit);
    QV_image_delete(src);
}

TEST(Resolution, DibFieldFollowsTheMode) {
    const struct {
        int32_t mode;
        uint32_t num, den, unit;
        int32_t field;
    } cases[] = {{2, 300, 1, 3, 11811}, {2, 1000, 3, 1, 333}, {2, 2835, 1, 2, 2835},
                 {2, 72, 1, 4, 7200},   {2, 150, 1, 5, 591},  // 590.55
                 {2, 7, 2, 6, 35},      {3, 11811, 1, 2, 300}, {3, 601, 2, 3, 300},
                 {3, 601, 2, 1, 300},   {3, 118, 1, 4, 300},   // 299.72
                 {3, 150, 1, 5, 15},    {3, 159, 1, 5, 15},
                 {3, 1181, 1, 6, 300},  {2, 300, 0, 3, 11811}};
    for (const auto &c : cases) {
        QV_DIB_resolution_units_set(c.mode);
        QUORIN img = create(2, 2, 8);
        EXPECT_EQ((V{QV_image_resolution_set(img, c.num, c.den, c.num, c.den, c.unit),
                     dib_of(img)->biXPelsPerMeter, dib_of(img)->biYPelsPerMeter}),
                  (V{0, c.field, c.field}))
            << c.mode << " " << c.num << "/" << c.den << " unit " << c.unit;
        QV_image_delete(img);
    }
    QV_DIB_resolution_units_set(3);  // creation takes the header in the current mode
    QUORIN img = create(2, 2, 8);
    EXPECT_EQ(resolution(img)[4], 3u);
    QV_image_delete(img);
    QV_DIB_resolution_units_set(2);
}

TEST(Resolution, ZeroDenominatorIsStoredAsOneAndUnknownUnitLeavesTheDibAlone) {
    QUORIN img = create(2, 2, 8);
    QV_image_resolution_set(img, 200, 0, 100, 0, 3);
    EXPECT_EQ(resolution(img), (U{200, 1, 100, 1, 3}));
    QV_image_resolution_set(img, 300, 1, 300, 1, 3);
    EXPECT_FAILS(QV_image_resolution_set(img, 100, 1, 100, 1, 7), {QVE_RES_UNIT, 7, 0});
    uint32_t unit = 0;  // every output is optional
    EXPECT_EQ((V{QV_image_resolution_get(img, nullptr, nullptr, nullptr, nullptr, &unit), unit,
                 dib_of(img)->biXPelsPerMeter}),
              (V{0, 7, 11811}));
    QV_image_delete(img);
}

TEST(Orientation, OnlyWhenEnabledAndInRange) {
    QUORIN img = create(2, 2, 8);
    int32_t o = 0;
    QV_image_orientation_enable_set(0);  // disabled: silently ignored
    EXPECT_EQ((V{QV_image_orientation_set(img, 9), QV_image_orientation_set(img, 6),
                 QV_image_orientation_get(img, &o), o}),
              (V{0, 0, 0, 1}));
    QV_image_orientation_enable_set(1);
    EXPECT_FAILS(QV_image_orientation_set(img, 9), {QVE_BAD_ARGUMENT, 9, 200});
    EXPECT_EQ((V{QV_image_orientation_set(img, 6), QV_image_orientation_get(img, &o), o}),
              (V{0, 0, 6}));
    QV_image_orientation_enable_set(0);
    QV_image_delete(img);
    EXPECT_EQ((V{QV_image_orientation_get(img, &o), o}), (V{0, 0}));
}

TEST(Alpha, WrongSizeDeletesThePreviousAlphaAndKeepsItsLink) {
    QUORIN img = create(8, 6, 24), a1 = create(8, 6, 8), a2 = create(8, 5, 8), got = nullptr;
    EXPECT_EQ(QV_image_alpha_set(img, a1), 0);
    QV_image_alpha_get(img, &got);
    EXPECT_EQ(got, a1);
    EXPECT_FAILS(QV_image_alpha_set(img, a2), {QVE_TOO_LARGE, 8, 5});
    EXPECT_EQ(QV_image_is_valid(a1), 0);
    QV_image_alpha_get(img, &got);
    EXPECT_EQ(got, a1);  // the stale link stays
    QV_image_delete(img);
    EXPECT_EQ(QV_image_is_valid(a2), 1);
    QV_image_delete(a2);
}

TEST(AlphaCreate, SameSizeConstantFillReplacesThePreviousOne) {
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_create_DIB(37, 5, 24, nullptr, &img), 0);
    ASSERT_EQ(QV_image_create_alpha(img, 200), 0);
    QUORIN first = nullptr;
    ASSERT_EQ(QV_image_alpha_get(img, &first), 0);
    ASSERT_EQ(QV_image_is_valid(first), 1);
    int32_t gray = 0;
    EXPECT_EQ(qvtest::dims(first), (std::vector<int32_t>{37, 5, 8}));
    ASSERT_EQ(QV_image_is_gray(first, &gray), 0);
    EXPECT_EQ(gray, 1);
    std::vector<uint8_t> row(40);
    for (int32_t y = 0; y < 5; ++y) {
        ASSERT_EQ(QV_DIB_raster_get(first, y, row.data(), 1), 0);
        for (int x = 0; x < 37; ++x) ASSERT_EQ(row[size_t(x)], 200) << x << "," << y;
    }
    ASSERT_EQ(QV_image_create_alpha(img, 0), 0);
    EXPECT_EQ(QV_image_is_valid(first), 0);  // the previous companion was deleted
    EXPECT_EQ(QV_image_create_alpha(img, 256), 1);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_BAD_ARGUMENT);
    EXPECT_EQ(qvtest::error_at(0).iVal, 256);
    ASSERT_EQ(QV_image_delete(img), 0);
}

TEST(LoadInternet, NotAvailable) {
    QUORIN h = reinterpret_cast<QUORIN>(1);
    EXPECT_EQ(QV_load_internet("http://example.invalid/a.bmp", &h), 1);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_NOT_AVAILABLE);
}

TEST(ImageRect, SetChecksOrderAndBounds) {
    QUORIN img = create(10, 8, 8);
    QV_RECT unordered{6, 1, 5, 7}, outside{0, 0, 10, 7};
    EXPECT_FAILS(QV_image_rect_set(img, &unordered), {QVE_RECT_ORDER, 6, 5});
    EXPECT_FAILS(QV_image_rect_set(img, &outside), {QVE_OUT_OF_RANGE, 10, 10});
    QV_image_delete(img);
}

}  // namespace
