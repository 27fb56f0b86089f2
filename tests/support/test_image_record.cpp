// Image records: validity, creation and its failures, binding defaults and
// hooks, deletion, import, export, duplication, resolution, orientation,
// alpha link, rectangle and the description getters.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace {

using qvtest::error_at;

void expect_error(int32_t code, int32_t ival, int32_t lval) {
    ASSERT_GE(QV_error_check(), 1);
    qvtest::ErrorRecord e = error_at(0);
    EXPECT_EQ(e.code, code);
    EXPECT_EQ(e.iVal, ival);
    EXPECT_EQ(e.lVal, lval);
}

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

TEST(ImageValid, SmallValuesNullAndDeletedHandlesAreRefused) {
    EXPECT_EQ(QV_image_is_valid(nullptr), 0);
    EXPECT_EQ(QV_image_is_valid(reinterpret_cast<QUORIN>(intptr_t(255))), 0);
    EXPECT_EQ(QV_image_is_valid(reinterpret_cast<QUORIN>(intptr_t(-255))), 0);
    int on_stack = 0;
    EXPECT_EQ(QV_image_is_valid(reinterpret_cast<QUORIN>(&on_stack)), 0);
    QUORIN img = create(3, 3, 8);
    EXPECT_EQ(QV_image_is_valid(img), 1);
    EXPECT_EQ(QV_image_delete(img), 0);
    EXPECT_EQ(QV_image_is_valid(img), 0);
    // A stale handle does nothing and pushes nothing.
    QV_error_set("T", 1, -1, 0, 0);
    int32_t w = -7;
    EXPECT_EQ(QV_image_dimensions_get(img, &w, nullptr, nullptr), 0);
    EXPECT_EQ(w, -7);
    EXPECT_EQ(QV_error_check(), 0);
}

struct CreateFail {
    int32_t w, h, bpp;
    uint32_t compression;
    int32_t code, ival;
};
class CreateFailures : public ::testing::TestWithParam<CreateFail> {};

TEST_P(CreateFailures, ReportOneErrorAndLeaveNothing) {
    const CreateFail &c = GetParam();
    size_t live = iQV_mem_live_blocks();
    QUORIN img = reinterpret_cast<QUORIN>(intptr_t(1));
    EXPECT_EQ(QV_image_create_DIB_ex(c.w, c.h, c.bpp, c.compression, nullptr, &img), 1);
    EXPECT_EQ(img, nullptr);
    ASSERT_EQ(QV_error_check(), 1);
    EXPECT_EQ(error_at(0).code, c.code);
    EXPECT_EQ(error_at(0).iVal, c.ival);
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

INSTANTIATE_TEST_SUITE_P(Arguments, CreateFailures,
                         ::testing::Values(CreateFail{10, -1, 8, 0, QVE_OUT_OF_RANGE, -1},
                                           CreateFail{10, 10, 8, 3, QVE_BAD_ARGUMENT, 3},
                                           CreateFail{10, 10, 1, 500, QVE_BAD_ARGUMENT, 500},
                                           CreateFail{0, 10, 8, 0, QVE_OUT_OF_RANGE, 0},
                                           CreateFail{10, 10, 2, 0, QVE_DEPTH_UNSUPPORTED, 2},
                                           CreateFail{10, 10, 8, 503, QVE_DEPTH_UNSUPPORTED, 8}));

TEST(ImageCreate, CreateFromADibGoesThroughTheLoadPipeline) {
    QUORIN src = create(5, 4, 24);
    QUORIN copy = reinterpret_cast<QUORIN>(intptr_t(1));
    int32_t n = QV_image_create_DIB(0, 0, 0, dib_of(src), &copy);
    if (n != 0) {
        // Until the pipeline loads DIBs from memory, it reports -500.
        EXPECT_EQ(copy, nullptr);
        EXPECT_EQ(error_at(0).code, QVE_NOT_IMPLEMENTED);
    } else {
        int32_t w = 0, h = 0, b = 0;
        QV_image_dimensions_get(copy, &w, &h, &b);
        EXPECT_EQ(w * 100 + h * 10 + b, 5 * 100 + 4 * 10 + 24);
        QV_image_delete(copy);
    }
    QV_image_delete(src);
}

TEST(ImageCreate, SixteenBitImagesKeepTheirMasks) {
    QUORIN a = create(8, 2, 16, 0);
    QV_DIB_HEADER *d = dib_of(a);
    EXPECT_EQ(VPb_DIB_red_mask_get(d), 0x7C00u);
    EXPECT_EQ(VPb_DIB_green_mask_get(d), 0x3E0u);
    EXPECT_EQ(VPb_DIB_blue_mask_get(d), 0x1Fu);
    auto *bits = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(d));
    for (int i = 12; i < 32; ++i) EXPECT_EQ(bits[i], 0) << i;
    QV_image_delete(a);

    QUORIN g = create(8, 2, 16, 503);
    d = dib_of(g);
    EXPECT_EQ(d->biCompression, 503u);
    EXPECT_EQ(VPb_DIB_red_mask_get(d), 65535u);
    EXPECT_EQ(VPb_DIB_blue_mask_get(d), 65535u);
    bits = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(d));
    for (int i = 0; i < 32; ++i) EXPECT_EQ(bits[i], 0) << i;
    QV_image_delete(g);

    QUORIN tiny = create(1, 1, 16, 0);  // 4 bytes of pixels: masks cut short
    EXPECT_EQ(VPb_DIB_red_mask_get(dib_of(tiny)), 0x7C00u);
    QV_image_delete(tiny);
}

TEST(ImageCreate, DefaultsOfANewImage) {
    QUORIN img = create(20, 10, 8);
    QV_RECT r{};
    QV_image_rect_get(img, &r);
    EXPECT_EQ(r.left, 0);
    EXPECT_EQ(r.top, 0);
    EXPECT_EQ(r.right, 19);
    EXPECT_EQ(r.bottom, 9);
    uint32_t v[5];
    QV_image_resolution_get(img, &v[0], &v[1], &v[2], &v[3], &v[4]);
    EXPECT_EQ(std::vector<uint32_t>(v, v + 5), (std::vector<uint32_t>{0, 1, 0, 1, 2}));
    int32_t gray = -1, entries = 0;
    QV_image_is_gray(img, &gray);
    EXPECT_EQ(gray, 1);
    QV_RGBQUAD *pal = nullptr;
    QV_image_DIB_palette_pntr_get(img, &pal, &entries);
    EXPECT_EQ(entries, 256);
    EXPECT_EQ(pal[200].rgbGreen, 200);
    QV_image_delete(img);

    QUORIN four = create(3, 3, 4);
    QV_image_is_gray(four, &gray);
    EXPECT_EQ(gray, 0);  // 0, 17, 34, ... is not the identity ramp
    QV_image_delete(four);

    QUORIN rgb = create(3, 3, 24);
    auto *marker = reinterpret_cast<QV_RGBQUAD *>(&gray);
    pal = marker;
    entries = 9;
    QV_image_DIB_palette_pntr_get(rgb, &pal, &entries);
    EXPECT_EQ(entries, 0);
    EXPECT_EQ(pal, marker);
    QV_image_delete(rgb);
}

struct HookLog {
    int creates = 0, deletes = 0, dups = 0;
    QUORIN last = nullptr;
    void *area = nullptr;
};
HookLog g_log;
void on_create(QUORIN h, void *area) {
    ++g_log.creates;
    g_log.last = h;
    g_log.area = area;
}
void on_delete(QUORIN h) {
    ++g_log.deletes;
    g_log.last = h;
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
    auto *area = static_cast<uint8_t *>(g_log.area);
    EXPECT_GT(area, reinterpret_cast<uint8_t *>(img));
    EXPECT_LE(area + 68, reinterpret_cast<uint8_t *>(img) + 1176);
    QV_image_delete(img);
    EXPECT_EQ(g_log.deletes, 1);
    // Binding without defaults does not run the create hook.
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    QUORIN rec = VPb_image_alloc(tag);
    QV_DIB_HEADER t;
    VPb_DIB_init(&t, 2, 2, 24, 0, 0, 0);
    VPb_image_associate(VPb_DIB_alloc(rec, &t, nullptr), rec, 0);
    EXPECT_EQ(g_log.creates, 1);
    uint32_t v[5];
    QV_image_resolution_get(rec, &v[0], &v[1], &v[2], &v[3], &v[4]);
    EXPECT_EQ(std::vector<uint32_t>(v, v + 5), (std::vector<uint32_t>{0, 1, 0, 1, 0}));
    QV_image_delete(rec);
    EXPECT_EQ(g_log.deletes, 2);
    VPb_settings_hook_func_set(0, nullptr);
    VPb_settings_hook_func_set(1, nullptr);
}

TEST(ImageBinding, FullBindingDefaults) {
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    QUORIN rec = VPb_image_alloc(tag);
    QV_DIB_HEADER t;
    VPb_DIB_init(&t, 7, -5, 8, 0, 0, 0);
    VPb_image_associate(VPb_DIB_alloc(rec, &t, nullptr), rec, 1);
    uint32_t v[5];
    QV_image_resolution_get(rec, &v[0], &v[1], &v[2], &v[3], &v[4]);
    EXPECT_EQ(std::vector<uint32_t>(v, v + 5), (std::vector<uint32_t>{300, 1, 300, 1, 3}));
    int32_t o = 0;
    QV_image_orientation_get(rec, &o);
    EXPECT_EQ(o, 1);
    QV_RECT r{};
    QV_image_rect_get(rec, &r);
    EXPECT_EQ(r.right, 6);
    EXPECT_EQ(r.bottom, 4);
    EXPECT_EQ(VPb_image_info_mem_tag_get(rec), tag);
    EXPECT_EQ(VPb_image_info_type_set(rec, 48), 1);
    EXPECT_EQ(VPb_image_info_type_get(rec), 48);
    QV_image_delete(rec);
    EXPECT_EQ(iQV_mem_block_count(tag), 0u);
}

TEST(ImageExport, HandsOverTheDibAndInvalidatesTheHandle) {
    size_t live = iQV_mem_live_blocks();
    QUORIN img = create(3, 2, 24);
    uint8_t px[3] = {1, 2, 3};
    QV_DIB_pixel_set(img, 2, 1, px);
    QV_DIB_HEADER *dib = nullptr;
    EXPECT_EQ(QV_image_export_DIB(img, &dib), 0);
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(QV_image_is_valid(img), 0);
    EXPECT_EQ(iQV_mem_live_blocks(), live);  // nothing left under any tag
    const uint8_t *bits = static_cast<uint8_t *>(VPb_DIB_image_pointer_get(dib));
    EXPECT_EQ(bits[6], 1);  // row 1 (bottom) is stored first
    EXPECT_EQ(bits[8], 3);
    // The DIB can come back as an image, which then owns it.
    QUORIN again = nullptr;
    EXPECT_EQ(QV_image_import_DIB(dib, &again), 0);
    uint8_t back[3] = {};
    QV_DIB_pixel_get(again, 2, 1, back);
    EXPECT_EQ(back[2], 3);
    QV_image_delete(again);  // frees the DIB with free(): ASan checks
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

TEST(ImageExport, ExportOfAnImportedDibCopiesIt) {
    QUORIN img = create(4, 4, 8);
    QV_DIB_HEADER *dib = nullptr;
    QV_image_export_DIB(img, &dib);
    QUORIN imp = nullptr;
    ASSERT_EQ(QV_image_import_DIB(dib, &imp), 0);
    QV_DIB_HEADER *out = nullptr;
    EXPECT_EQ(QV_image_export_DIB(imp, &out), 0);
    EXPECT_NE(out, nullptr);
    EXPECT_EQ(QV_image_is_valid(imp), 0);
    EXPECT_EQ(out->biWidth, 4);
    std::free(out);
}

TEST(ImageImport, BadHeadersAreRefusedAndStayTheCallers) {
    QV_DIB_HEADER h;
    VPb_DIB_init(&h, 4, 4, 8, 0, 0, 0);
    h.biSize = 108;
    QUORIN img = reinterpret_cast<QUORIN>(intptr_t(1));
    EXPECT_EQ(QV_image_import_DIB(&h, &img), 1);
    expect_error(QVE_BAD_HEADER, 108, 0);
    EXPECT_EQ(img, nullptr);
    VPb_DIB_init(&h, 4, 4, 8, 500, 0, 0);  // runs need 1 bit
    EXPECT_EQ(QV_image_import_DIB(&h, &img), 1);
    expect_error(QVE_BAD_HEADER, 40, 500);
    EXPECT_EQ(QV_image_import_DIB(nullptr, &img), 1);
    expect_error(QVE_NULL_POINTER, 0, 0);
}

// A malloc'ed run-encoded DIB of the given lists, one per row from the top.
QV_DIB_HEADER *run_dib(int32_t width, int32_t height, const std::vector<std::vector<uint16_t>> &lists) {
    size_t bytes = 0;
    for (auto &l : lists) bytes += l.size() * 2;
    auto *d = static_cast<QV_DIB_HEADER *>(std::calloc(1, 48 + bytes));
    VPb_DIB_init(d, width, height, 1, 500, 0, 0);
    d->biSizeImage = uint32_t(bytes);
    auto *p = reinterpret_cast<uint8_t *>(d) + 48;
    for (auto &l : lists) {
        std::memcpy(p, l.data(), l.size() * 2);
        p += l.size() * 2;
    }
    return d;
}

TEST(ImageImport, RunEncodedDibBuildsItsRunTable) {
    std::vector<std::vector<uint16_t>> lists = {
        {12, 2, 5, 10, 10, 10}, {8, 10, 10, 10}, {10, 0, 10, 10, 10},
        {12, 3, 1, 10, 10, 10},  // decreasing: malformed, ends the walk
    };
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_import_DIB(run_dib(10, 5, lists), &img), 0);
    const char *want[5] = {"0011100000", "0000000000", "1111111111", "0000000000", "0000000000"};
    for (int y = 0; y < 5; ++y) {
        uint8_t e[10];
        ASSERT_EQ(QV_DIB_raster_get(img, y, e, 2), 0);
        std::string s;
        for (uint8_t v : e) s += char('0' + v);
        EXPECT_EQ(s, want[y]) << y;
    }
    // Growing past the imported data moves the lists into the image's memory.
    for (int y = 0; y < 5; ++y) {
        uint8_t e[10] = {1, 0, 1, 0, 1, 0, 1, 0, 1, uint8_t(y & 1)};
        ASSERT_EQ(QV_DIB_raster_set(img, y, e, 2), 0);
    }
    uint16_t runs[28];
    ASSERT_EQ(QV_runs_row_get(img, 0, runs), 0);
    EXPECT_EQ(runs[0], 2 * (10 + 4));
    QV_DIB_HEADER *out = nullptr;
    ASSERT_EQ(QV_image_export_DIB(img, &out), 0);
    EXPECT_EQ(out->biCompression, 0u);
    EXPECT_EQ(static_cast<uint8_t *>(VPb_DIB_image_pointer_get(out))[0], 0xAA);  // bottom row
    EXPECT_EQ(static_cast<uint8_t *>(VPb_DIB_image_pointer_get(out))[1], 0x80);
    std::free(out);
}

// A run-encoded image made the way a reader makes one.
QUORIN run_image(int32_t w, int32_t h) {
    QUORIN rec = VPb_image_alloc(VPb_AF_mem_unique_tag_get());
    QV_DIB_HEADER t;
    VPb_DIB_init(&t, w, h, 1, 0, 0, 0);
    QV_RGBQUAD pal[2] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    VPb_image_associate(VPb_DIB_alloc(rec, &t, pal), rec, 1);
    return rec;
}

TEST(ImageDuplicate, RunEncodedImagesAreCopiedRecordToRecord) {
    size_t live = iQV_mem_live_blocks();
    QUORIN src = run_image(40, 3);
    uint8_t row[8] = {0xF0, 0x0F, 0, 0, 0xFF};
    QV_DIB_raster_set(src, 1, row, 1);
    VPb_image_info_type_set(src, 48);
    g_log = HookLog{};
    VPb_settings_hook_func_set(12, reinterpret_cast<void *>(&on_dup));
    QUORIN dup = nullptr;
    ASSERT_EQ(QV_image_duplicate(src, &dup), 0);
    EXPECT_EQ(g_log.dups, 1);
    VPb_settings_hook_func_set(12, nullptr);
    uint8_t zeros[8] = {};
    QV_DIB_raster_set(src, 1, zeros, 1);  // the copy is independent
    uint8_t got[8] = {};
    QV_DIB_raster_get(dup, 1, got, 1);
    EXPECT_EQ(std::vector<uint8_t>(got, got + 5), std::vector<uint8_t>(row, row + 5));
    QV_image_delete(src);
    QV_image_delete(dup);
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

// Process-wide records that a first load makes on first use stay; take
// them out of the leak count.
void warm_up_load_pipeline() {
    QUORIN a = create(2, 2, 8), b = nullptr;
    QV_image_duplicate(a, &b);
    QV_image_delete(a);
    QV_image_delete(b);
}

TEST(ImageDuplicate, OrdinaryImagesCopyPixelsResolutionAndAlpha) {
    warm_up_load_pipeline();
    size_t live = iQV_mem_live_blocks();
    QUORIN src = create(5, 4, 8);
    uint8_t v = 77;
    QV_DIB_pixel_set(src, 4, 0, &v);
    QV_image_resolution_set(src, 200, 1, 100, 1, 3);
    QUORIN alpha = create(5, 4, 8);
    QV_DIB_pixel_set(alpha, 1, 1, &v);
    QV_image_alpha_set(src, alpha);
    QUORIN dup = nullptr;
    ASSERT_EQ(QV_image_duplicate(src, &dup), 0);
    ASSERT_NE(dup, src);
    uint8_t got = 0;
    QV_DIB_pixel_get(dup, 4, 0, &got);
    EXPECT_EQ(got, 77);
    uint32_t r[5];
    QV_image_resolution_get(dup, &r[0], &r[1], &r[2], &r[3], &r[4]);
    EXPECT_EQ(std::vector<uint32_t>(r, r + 5), (std::vector<uint32_t>{200, 1, 100, 1, 3}));
    EXPECT_EQ(dib_of(dup)->biXPelsPerMeter, 7874);
    QUORIN dup_alpha = nullptr;
    QV_image_alpha_get(dup, &dup_alpha);
    ASSERT_EQ(QV_image_is_valid(dup_alpha), 1);
    EXPECT_NE(dup_alpha, alpha);
    got = 0;
    QV_DIB_pixel_get(dup_alpha, 1, 1, &got);
    EXPECT_EQ(got, 77);
    QV_image_delete(src);
    EXPECT_EQ(QV_image_is_valid(dup), 1);
    QV_image_delete(dup);
    EXPECT_EQ(QV_image_is_valid(dup_alpha), 0);
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

TEST(ImageDuplicate, FailedDuplicateLeavesNothing) {
    warm_up_load_pipeline();
    QUORIN src = create(6, 6, 8);
    QUORIN alpha = create(6, 6, 8);
    QV_image_alpha_set(src, alpha);
    size_t live = iQV_mem_live_blocks();
    uint64_t limit = 0;
    QV_load_pixel_limit_get(&limit);
    QV_load_pixel_limit_set(35);  // the 6 x 6 copy is refused by the loader
    QUORIN dup = reinterpret_cast<QUORIN>(intptr_t(1));
    EXPECT_GE(QV_image_duplicate(src, &dup), 1);
    EXPECT_EQ(dup, nullptr);
    EXPECT_EQ(iQV_mem_live_blocks(), live);
    QV_load_pixel_limit_set(limit);
    QV_image_delete(src);
}

struct ResCase {
    int32_t mode;
    uint32_t num, den, unit;
    int32_t field;
};
class Resolution : public ::testing::TestWithParam<ResCase> {};

TEST_P(Resolution, DibFieldFollowsTheMode) {
    const ResCase &c = GetParam();
    QV_DIB_resolution_units_set(c.mode);
    QUORIN img = create(2, 2, 8);
    EXPECT_EQ(QV_image_resolution_set(img, c.num, c.den, c.num, c.den, c.unit), 0);
    EXPECT_EQ(dib_of(img)->biXPelsPerMeter, c.field);
    EXPECT_EQ(dib_of(img)->biYPelsPerMeter, c.field);
    QV_image_delete(img);
    QV_DIB_resolution_units_set(2);
}

INSTANTIATE_TEST_SUITE_P(
    Units, Resolution,
    ::testing::Values(ResCase{2, 300, 1, 3, 11811}, ResCase{2, 1000, 3, 1, 333}, ResCase{2, 2835, 1, 2, 2835},
                      ResCase{2, 72, 1, 4, 7200}, ResCase{2, 150, 1, 5, 591},  // 590.55
                      ResCase{2, 7, 2, 6, 35}, ResCase{3, 11811, 1, 2, 300}, ResCase{3, 601, 2, 3, 300},
                      ResCase{3, 601, 2, 1, 300}, ResCase{3, 118, 1, 4, 300},  // 299.72
                      ResCase{3, 150, 1, 5, 15}, ResCase{3, 155, 1, 5, 15}, ResCase{3, 159, 1, 5, 15},
                      ResCase{3, 1181, 1, 6, 300}, ResCase{2, 300, 0, 3, 11811}));

TEST(Resolution, ZeroDenominatorIsStoredAsOne) {
    QUORIN img = create(2, 2, 8);
    QV_image_resolution_set(img, 200, 0, 100, 0, 3);
    uint32_t v[5];
    QV_image_resolution_get(img, &v[0], &v[1], &v[2], &v[3], &v[4]);
    EXPECT_EQ(std::vector<uint32_t>(v, v + 5), (std::vector<uint32_t>{200, 1, 100, 1, 3}));
    QV_image_delete(img);
}

TEST(Resolution, UnknownUnitLeavesTheDibAlone) {
    QUORIN img = create(2, 2, 8);
    QV_image_resolution_set(img, 300, 1, 300, 1, 3);
    EXPECT_EQ(QV_image_resolution_set(img, 100, 1, 100, 1, 7), 1);
    expect_error(QVE_RES_UNIT, 7, 0);
    EXPECT_EQ(dib_of(img)->biXPelsPerMeter, 11811);
    uint32_t unit = 0;
    QV_image_resolution_get(img, nullptr, nullptr, nullptr, nullptr, &unit);
    EXPECT_EQ(unit, 7u);
    QV_image_delete(img);
}

TEST(Resolution, CreationTakesTheHeaderInTheCurrentMode) {
    QV_DIB_resolution_units_set(3);
    QUORIN img = create(2, 2, 8);
    uint32_t unit = 0;
    QV_image_resolution_get(img, nullptr, nullptr, nullptr, nullptr, &unit);
    EXPECT_EQ(unit, 3u);
    QV_image_delete(img);
    QV_DIB_resolution_units_set(2);
}

TEST(Orientation, OnlyWhenEnabledAndInRange) {
    QUORIN img = create(2, 2, 8);
    QV_image_orientation_enable_set(0);
    EXPECT_EQ(QV_image_orientation_set(img, 9), 0);  // silently ignored
    EXPECT_EQ(QV_image_orientation_set(img, 6), 0);
    int32_t o = 0;
    QV_image_orientation_get(img, &o);
    EXPECT_EQ(o, 1);
    QV_image_orientation_enable_set(1);
    EXPECT_EQ(QV_image_orientation_set(img, 9), 1);
    expect_error(QVE_BAD_ARGUMENT, 9, 200);
    EXPECT_EQ(QV_image_orientation_set(img, 6), 0);
    QV_image_orientation_get(img, &o);
    EXPECT_EQ(o, 6);
    QV_image_orientation_enable_set(0);
    QV_image_delete(img);
    o = 5;
    EXPECT_EQ(QV_image_orientation_get(img, &o), 0);
    EXPECT_EQ(o, 0);
}

TEST(Alpha, WrongSizeDeletesThePreviousAlphaAndKeepsItsLink) {
    QUORIN img = create(8, 6, 24);
    QUORIN a1 = create(8, 6, 8);
    QUORIN a2 = create(8, 5, 8);
    EXPECT_EQ(QV_image_alpha_set(img, a1), 0);
    QUORIN got = nullptr;
    QV_image_alpha_get(img, &got);
    EXPECT_EQ(got, a1);
    EXPECT_EQ(QV_image_alpha_set(img, a2), 1);
    expect_error(QVE_TOO_LARGE, 8, 5);
    EXPECT_EQ(QV_image_is_valid(a1), 0);
    QV_image_alpha_get(img, &got);
    EXPECT_EQ(got, a1);  // the stale link stays
    QV_image_delete(img);
    EXPECT_EQ(QV_image_is_valid(a2), 1);
    QV_image_delete(a2);
}

TEST(Alpha, DeletedWithItsImage) {
    size_t live = iQV_mem_live_blocks();
    QUORIN img = create(4, 4, 24);
    QUORIN a = create(4, 4, 8);
    QV_image_alpha_set(img, a);
    QV_image_delete(img);
    EXPECT_EQ(QV_image_is_valid(a), 0);
    EXPECT_EQ(iQV_mem_live_blocks(), live);
}

TEST(ImageRect, SetChecksOrderAndBounds) {
    QUORIN img = create(10, 8, 8);
    QV_RECT r{2, 1, 5, 7};
    EXPECT_EQ(QV_image_rect_set(img, &r), 0);
    QV_RECT back{};
    QV_image_rect_get(img, &back);
    EXPECT_EQ(back.right, 5);
    r = QV_RECT{6, 1, 5, 7};
    EXPECT_EQ(QV_image_rect_set(img, &r), 1);
    expect_error(QVE_RECT_ORDER, 6, 5);
    r = QV_RECT{0, 0, 10, 7};
    EXPECT_EQ(QV_image_rect_set(img, &r), 1);
    expect_error(QVE_OUT_OF_RANGE, 10, 10);
    QV_image_delete(img);
}

}  // namespace
