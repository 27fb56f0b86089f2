// Resize: the sampling rules of each method on small images worked out by hand, the canvas
// fills byte by byte, argument errors in their order, cancelling, the image rectangle and the
// thumbnail copy.
#include "img_proc/resize_util.h"

namespace {

using rs::Bytes;
using rs::Rows;

struct Sample {
    const char *what;
    int32_t bpp, sw, sh;
    Rows src;
    int32_t dw, dh;
    uint32_t method;
    Rows want;
};

// Bits as one element per pixel, rows of a square block pattern.
Rows bits_where(int32_t w, int32_t h, bool (*on)(int32_t x, int32_t y)) {
    Rows r = Rows(size_t(h), Bytes(size_t(w)));
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) r[size_t(y)][size_t(x)] = on(x, y) ? 1 : 0;
    return r;
}
// 20 -> 2 keeps columns (and rows) 1..4 and 8..12 after trimming.
bool in_trimmed(int32_t v) { return (v >= 1 && v <= 4) || (v >= 8 && v <= 12); }

const std::vector<Sample> &samples() {
    static const std::vector<Sample> s = {
        {"m0 truncates 2.5 to 2", 8, 5, 1, {{10, 20, 30, 40, 50}}, 2, 1, 0, {{10, 30}}},
        {"m0 truncates 2.67 to 2", 8, 4, 1, {{1, 2, 3, 4}}, 3, 1, 0, {{1, 2, 3}}},
        {"m3 rounds 2.67 to 3", 8, 4, 1, {{1, 2, 3, 4}}, 3, 1, 3, {{1, 2, 4}}},
        {"m3 takes 2.5 down to 2", 8, 5, 1, {{10, 20, 30, 40, 50}}, 2, 1, 3, {{10, 30}}},
        {"m3 rows: position 2.5 goes to row 2", 8, 1, 5, {{1}, {2}, {3}, {4}, {5}}, 1, 2, 3, {{1}, {3}}},
        {"m3 4 bits", 4, 4, 1, {{1, 2, 3, 4}}, 3, 1, 3, {{1, 2, 4}}},
        {"m0 4 bits odd width", 4, 3, 1, {{7, 8, 9}}, 5, 1, 0, {{7, 7, 8, 8, 9}}},
        {"m1 drops the remainder; x1 at the width is the last column", 8, 4, 1, {{10, 20, 30, 41}}, 2, 1, 1,
         {{20, 35}}},
        {"m1 24 bits per byte", 24, 2, 2, {{1, 2, 3, 5, 6, 7}, {9, 10, 11, 13, 14, 16}}, 1, 1, 1, {{7, 8, 9}}},
        {"m1 16 bits unsigned words", 16, 2, 1, {{0xFD, 0xFF, 0, 0}}, 1, 1, 1, {{0xFE, 0x7F}}},
        {"m2 8 bits quarter steps", 8, 2, 1, {{0, 100}}, 4, 1, 2, {{0, 25, 75, 100}}},
        {"m2 8 bits truncates 15.5", 8, 2, 1, {{10, 21}}, 1, 1, 2, {{15}}},
        {"m2 16 bits whole words", 16, 2, 1, {{0, 0, 0, 1}}, 4, 1, 2, {{0, 0, 64, 0, 192, 0, 0, 1}}},
        {"m0 16 bits", 16, 3, 1, {{1, 2, 3, 4, 5, 6}}, 2, 1, 0, {{1, 2, 3, 4}}},
        {"m2 1 bit: exactly 0.5 gives 0", 1, 2, 1, {{0, 1}}, 1, 1, 2, {{0}}},
        {"m2 1 bit: above 0.5 gives 1", 1, 2, 1, {{0, 1}}, 4, 1, 2, {{0, 0, 1, 1}}},
        {"m2 24 bits per byte", 24, 2, 1, {{0, 8, 200, 100, 16, 0}}, 4, 1, 2,
         {{0, 8, 200, 25, 10, 150, 75, 14, 50, 100, 16, 0}}},
        {"m1 1 bit shrinking: a half-set block gives 0", 1, 4, 4, {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}},
         2, 2, 1, {{0, 0}, {0, 0}}},
        {"m1 1 bit shrinking: 3 of 4 gives 1", 1, 4, 4, {{1, 1, 0, 0}, {0, 1, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}},
         2, 2, 1, {{1, 0}, {0, 0}}},
        {"m1 1 bit shrinking: set bits outside the trimmed blocks", 1, 20, 20,
         bits_where(20, 20, [](int32_t x, int32_t y) { return !(in_trimmed(x) && in_trimmed(y)); }), 2, 2, 1,
         {{0, 0}, {0, 0}}},
        {"m1 1 bit shrinking: trimmed blocks full", 1, 20, 20,
         bits_where(20, 20, [](int32_t x, int32_t y) { return in_trimmed(x) && in_trimmed(y); }), 2, 2, 1,
         {{1, 1}, {1, 1}}},
        {"m1 1 bit growing: 3 of the 4 samples", 1, 2, 2, {{1, 1}, {1, 0}}, 4, 4, 1,
         {{1, 1, 1, 0}, {1, 1, 1, 0}, {1, 1, 1, 0}, {0, 0, 0, 0}}},
    };
    return s;
}

TEST(Resize, SamplingRules) {
    for (bool runs : {false, true})
        for (const Sample &c : samples()) {
            if (runs && c.bpp != 1) continue;
            SCOPED_TRACE(std::string(c.what) + (runs ? " (run form)" : ""));
            QUORIN img = rs::make(c.sw, c.sh, c.bpp, c.src, runs);
            ASSERT_EQ(QV_IP_resize(img, c.dw, c.dh, c.method), 0);
            EXPECT_STACK();
            EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{c.dw, c.dh, c.bpp}));
            EXPECT_EQ(rs::read(img), c.want);
            EXPECT_EQ(rs::is_runs(img), runs);
            QV_image_delete(img);
        }
}

TEST(Resize, SignedWordsAverageTowardZero) {
    QUORIN img = rs::make(2, 1, 16, {{0xFD, 0xFF, 0, 0}});
    ASSERT_EQ(QV_image_is_signed_set(img, 1), 0);
    ASSERT_EQ(QV_IP_resize(img, 1, 1, 1), 0);
    EXPECT_EQ(rs::read(img), (Rows{{0xFF, 0xFF}}));  // (-3 - 3 + 0 + 0) / 4 = -1
    QV_image_delete(img);
}

TEST(Resize, SameSizeCopies) {
    for (int32_t bpp : {1, 4, 8, 16, 24})
        for (uint32_t method : {0u, 3u, 4u}) {
            if (bpp == 16 && method == 3) continue;
            SCOPED_TRACE(bpp * 10 + int32_t(method));
            Rows src = rs::random_rows(37, 11, bpp, uint32_t(bpp));
            QUORIN img = rs::make(37, 11, bpp, src);
            ASSERT_EQ(QV_IP_resize(img, 37, 11, method), 0);
            EXPECT_EQ(rs::read(img), src);
            QV_image_delete(img);
        }
}

// Method 4, byte by byte: raster bytes (padding included) after the change.
struct Canvas {
    const char *what;
    int32_t bpp, ow, oh;
    Rows src;  // elements
    int32_t nw, nh;
    Bytes bg;  // empty: QV_IP_resize's default
    Rows want; // rasters (format 1)
};

TEST(Resize, CanvasFills) {
    const std::vector<Canvas> cases = {
        {"1 bit 13 -> 20, default: bits 13.. become 1", 1, 13, 1, {}, 20, 1, {}, {{0x00, 0x07, 0xFF, 0x00}}},
        {"1 bit 13 -> 32: the fill stops at the row's end", 1, 13, 2, {}, 32, 2, {}, {{0, 0x07, 0xFF, 0xFF}, {0, 0x07, 0xFF, 0xFF}}},
        {"1 bit 13 -> 20, 0 background on set bits", 1, 13, 1, {Bytes(13, 1)}, 20, 1, {0}, {{0xFF, 0xF8, 0x00, 0x00}}},
        {"1 bit 16 -> 20: the new partly used byte is left", 1, 16, 1, {}, 20, 1, {1}, {{0, 0, 0, 0}}},
        {"1 bit new rows: whole bytes", 1, 5, 1, {{1, 0, 1, 0, 1}}, 12, 2, {7}, {{0xAF, 0xFF, 0, 0}, {0xFF, 0xFF, 0, 0}}},
        {"4 bits odd width: shared byte, then b * 16 | b", 4, 3, 1, {{1, 2, 3}}, 8, 1, {5}, {{0x12, 0x35, 0x55, 0x55}}},
        {"4 bits even old width: the new partly used byte is left; new rows", 4, 2, 1, {{1, 2}}, 3, 2, {4},
         {{0x12, 0, 0, 0}, {0x44, 0x44, 0, 0}}},
        {"8 bits", 8, 2, 1, {{1, 2}}, 5, 2, {9}, {{1, 2, 9, 9, 9, 0, 0, 0}, {9, 9, 9, 9, 9, 0, 0, 0}}},
        {"8 bits default index 0, crop", 8, 3, 2, {{1, 2, 3}, {4, 5, 6}}, 2, 1, {}, {{1, 2, 3, 0}}},
        {"16 bits", 16, 1, 1, {{1, 2}}, 2, 2, {0x34, 0x12}, {{1, 2, 0x34, 0x12}, {0x34, 0x12, 0x34, 0x12}}},
        {"24 bits", 24, 1, 1, {{1, 2, 3}}, 2, 2, {7, 8, 9}, {{1, 2, 3, 7, 8, 9, 0, 0}, {7, 8, 9, 7, 8, 9, 0, 0}}},
        {"24 bits crop to the top left (a whole new raster is copied)", 24, 2, 2,
         {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}}, 1, 1, {}, {{1, 2, 3, 4}}},
    };
    for (const Canvas &c : cases) {
        SCOPED_TRACE(c.what);
        QUORIN img = rs::make(c.ow, c.oh, c.bpp, c.src);
        int32_t n = c.bg.empty() ? QV_IP_resize(img, c.nw, c.nh, 4)
                                 : QV_IP_resize_bkgrnd(img, c.nw, c.nh, 4, c.bg.data());
        ASSERT_EQ(n, 0);
        EXPECT_EQ(rs::packed(img), c.want);
        QV_image_delete(img);
    }
}

struct Refusal {
    int32_t bpp;
    uint32_t compression_or_gray;  // 8 bits: 1 makes the palette colour
    int32_t w, h;
    uint32_t method;
    qvtest::Err want;
};

TEST(Resize, RefusalsLeaveTheImage) {
    const std::vector<Refusal> cases = {
        {8, 0, 0, 5, 0, {QVE_OUT_OF_RANGE, 0, 0}},
        {8, 0, 4, -2, 0, {QVE_OUT_OF_RANGE, -2, 0}},
        {8, 0, 0, 0, 9, {QVE_OUT_OF_RANGE, 0, 0}},  // width before method
        {4, 0, 3, 3, 1, {QVE_DEPTH_NOT_APPLICABLE, 4, 1}},
        {4, 0, 3, 3, 2, {QVE_DEPTH_NOT_APPLICABLE, 4, 2}},
        {4, 0, 3, 3, 9, {QVE_DEPTH_NOT_APPLICABLE, 4, 9}},  // depth before an unknown method
        {8, 1, 3, 3, 1, {QVE_BUFFER_UNAVAILABLE, 8, 1}},
        {8, 1, 3, 3, 2, {QVE_BUFFER_UNAVAILABLE, 8, 2}},
        {8, 0, 3, 3, 5, {QVE_OUT_OF_RANGE, 5, 0}},
        {16, 0, 3, 3, 3, {QVE_DEPTH_NOT_APPLICABLE, 16, 3}},
        {32, 0, 3, 3, 0, {QVE_DEPTH_UNSUPPORTED, 32, 0}},
        {32, 0, 3, 3, 1, {QVE_DEPTH_UNSUPPORTED, 32, 0}},
        {32, 0, 3, 3, 3, {QVE_DEPTH_UNSUPPORTED, 32, 0}},
        {32, 0, 3, 3, 4, {QVE_DEPTH_NOT_APPLICABLE, 32, 4}},
    };
    for (const Refusal &c : cases) {
        SCOPED_TRACE(c.bpp * 100 + int32_t(c.method));
        Rows src = rs::random_rows(6, 4, c.bpp == 32 ? 8 : c.bpp, 3);
        QUORIN img = rs::make(6, 4, c.bpp, c.bpp == 32 ? Rows{} : src);
        if (c.compression_or_gray) {
            QV_RGBQUAD *pal = nullptr;
            QV_image_DIB_palette_pntr_get(img, &pal, nullptr);
            pal[200].rgbRed = 201;
        }
        Rows before = c.bpp == 32 ? Rows{} : rs::read(img);
        EXPECT_FAILS(QV_IP_resize(img, c.w, c.h, c.method), c.want);
        EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{6, 4, c.bpp}));
        if (c.bpp != 32) {
            EXPECT_EQ(rs::read(img), before);
        }
        QUORIN t = nullptr;
        EXPECT_FAILS(QV_IP_thumbnail_create(img, &t, c.w, c.h, c.method), c.want);
        QV_image_delete(img);
    }
    QUORIN img = rs::make(6, 4, 8);
    EXPECT_FAILS(QV_IP_thumbnail_create(img, nullptr, 0, 3, 0), {QVE_OUT_OF_RANGE, 0, 0});
    EXPECT_FAILS(QV_IP_thumbnail_create(img, nullptr, 3, 3, 0), {QVE_TARGET_ZERO, 0, 0});
    QV_image_delete(img);
}

TEST(Resize, CancelLeavesTheImage) {
    for (bool runs : {false, true})
        for (uint32_t method : {0u, 1u, 2u, 3u}) {
            SCOPED_TRACE(method + (runs ? 10 : 0));
            qvtest::NoLeaks leaks;
            Rows src = rs::random_rows(40, 30, runs ? 1 : 24, method);
            QUORIN img = rs::make(40, 30, runs ? 1 : 24, src, runs);
            qvtest::Progress p;
            p.cancel_at = 2;
            QV_status_bar_CB_register(&qvtest::Progress::on, &p);
            EXPECT_FAILS(QV_IP_resize(img, 17, 9, method), {QVE_CANCELLED, 2, 9});
            QV_status_bar_CB_register(nullptr, nullptr);
            EXPECT_EQ(p.calls, (std::vector<std::pair<int32_t, int32_t>>{{0, 9}, {1, 9}, {2, 9}}));
            EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{40, 30, runs ? 1 : 24}));
            EXPECT_EQ(rs::read(img), src);
            EXPECT_EQ(rs::is_runs(img), runs);
            QUORIN t = nullptr;
            p.calls.clear();
            QV_status_bar_CB_register(&qvtest::Progress::on, &p);
            EXPECT_FAILS(QV_IP_thumbnail_create(img, &t, 17, 9, method), {QVE_CANCELLED, 2, 9});
            QV_status_bar_CB_register(nullptr, nullptr);
            EXPECT_EQ(QV_image_is_valid(t), 0);
            EXPECT_EQ(rs::read(img), src);
            QV_image_delete(img);
        }
}

int g_changed = 0;
void on_changed(QUORIN, int32_t reason, int32_t value) { g_changed += reason == QV_CHANGED_DIB ? value : 1000; }

TEST(Resize, ChangedHookRunsOnceTheWorkerRan) {
    VPb_settings_hook_func_set(QV_HOOK_IMAGE_CHANGED, reinterpret_cast<void *>(&on_changed));
    QUORIN img = rs::make(5, 5, 8);
    g_changed = 0;
    QV_IP_resize(img, 3, 3, 0);
    EXPECT_EQ(g_changed, 8);
    QV_IP_resize(img, 3, 3, 7);  // fails in the worker: still reported
    EXPECT_EQ(g_changed, 16);
    QV_IP_resize(img, 0, 3, 0);  // refused before: not
    EXPECT_EQ(g_changed, 16);
    VPb_settings_hook_func_set(QV_HOOK_IMAGE_CHANGED, nullptr);
    QV_image_delete(img);
}

TEST(Resize, ImageRectangleFollows) {
    QUORIN img = rs::make(10, 10, 8);
    QV_RECT r{};
    ASSERT_EQ(QV_IP_resize(img, 4, 6, 0), 0);
    QV_image_rect_get(img, &r);
    EXPECT_EQ((std::vector<int32_t>{r.left, r.top, r.right, r.bottom}), (std::vector<int32_t>{0, 0, 3, 5}));
    QV_RECT part{1, 2, 3, 4};
    QV_image_rect_set(img, &part);
    ASSERT_EQ(QV_IP_resize(img, 3, 3, 2), 0);
    QV_image_rect_get(img, &r);
    EXPECT_EQ((std::vector<int32_t>{r.left, r.top, r.right, r.bottom}), (std::vector<int32_t>{1, 2, 2, 2}));
    QV_image_delete(img);
}

TEST(Resize, ThumbnailLeavesTheSource) {
    qvtest::NoLeaks leaks;
    Rows src = rs::random_rows(30, 20, 24, 9);
    QUORIN img = rs::make(30, 20, 24, src);
    QV_image_resolution_set(img, 150, 1, 75, 1, 3);
    QUORIN t = nullptr;
    ASSERT_EQ(QV_IP_thumbnail_create(img, &t, 10, 5, 0), 0);
    EXPECT_EQ(rs::read(img), src);
    QUORIN same = rs::make(30, 20, 24, src);
    QV_IP_resize(same, 10, 5, 0);
    EXPECT_EQ(rs::read(t), rs::read(same));
    uint32_t xn = 0, xd = 0, yn = 0, yd = 0;
    uint32_t unit = 0;
    QV_image_resolution_get(t, &xn, &xd, &yn, &yd, &unit);
    EXPECT_EQ((std::vector<uint32_t>{xn, xd, yn, yd, unit}), (std::vector<uint32_t>{150, 1, 75, 1, 3}));
    for (QUORIN h : {img, t, same}) QV_image_delete(h);
}

TEST(Resize, ThumbnailCopiesTheGray16DisplayTable) {
    QUORIN img = rs::make(8, 8, 16, {}, false, QV_BI_GRAY16);
    QUORIN t = nullptr;
    // No table on the source: reported, and the copy is made all the same.
    EXPECT_FAILS(QV_IP_thumbnail_create(img, &t, 4, 4, 1), {QVE_FAILED, 0, 0});
    EXPECT_EQ(qvtest::dims(t), (std::vector<int32_t>{4, 4, 16}));
    QV_image_delete(t);
    uint8_t *lut = VPb_image_display_LUT16_get(img, 1);
    ASSERT_NE(lut, nullptr);
    for (int v = 0; v < 65536; ++v) lut[v] = uint8_t(v * 7);
    ASSERT_EQ(QV_IP_thumbnail_create(img, &t, 3, 5, 2), 0);
    const uint8_t *copy = VPb_image_display_LUT16_get(t, 0);
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(std::equal(lut, lut + 65536, copy));
    QV_DIB_HEADER *d = nullptr;
    QV_image_DIB_pntr_get(t, &d);
    EXPECT_EQ(d->biCompression, QV_BI_GRAY16);
    EXPECT_EQ(VPb_DIB_green_mask_get(d), 65535u);
    QV_image_delete(t);
    QV_image_delete(img);
}

TEST(OperationFrame, RectangleClipping) {
    QUORIN img = rs::make(10, 8, 8);
    struct C {
        QV_RECT in;
        QV_RECT want;
    };
    const std::vector<C> cases = {
        {{2, 3, 5, 6}, {2, 3, 5, 6}},   {{-4, -1, 20, 30}, {0, 0, 9, 7}}, {{6, 5, 2, 1}, {6, 5, 6, 5}},
        {{30, 40, 50, 60}, {9, 7, 9, 7}}, {{-9, -9, -5, -5}, {0, 0, 0, 0}},
    };
    for (const C &c : cases) {
        QV_RECT out{};
        VPb_IP_check_rect_for_NULL_and_clip(img, &c.in, &out);
        EXPECT_EQ((std::vector<int32_t>{out.left, out.top, out.right, out.bottom}),
                  (std::vector<int32_t>{c.want.left, c.want.top, c.want.right, c.want.bottom}));
    }
    QV_RECT out{};
    VPb_IP_check_rect_for_NULL_and_clip(img, nullptr, &out);
    EXPECT_EQ((std::vector<int32_t>{out.left, out.top, out.right, out.bottom}), (std::vector<int32_t>{0, 0, 9, 7}));
    QV_image_delete(img);
}

TEST(OperationFrame, StatusBarRows) {
    EXPECT_EQ(VPb_IP_status_bar_row(3, 9), 1);  // no callback: go on
    qvtest::Progress p;
    p.cancel_at = 4;
    QV_status_bar_CB_register(&qvtest::Progress::on, &p);
    EXPECT_EQ(VPb_IP_status_bar_row(3, 9), 1);
    EXPECT_STACK();
    EXPECT_EQ(VPb_IP_status_bar_row(4, 9), 0);
    EXPECT_STACK({QVE_CANCELLED, 4, 9});
    QV_status_bar_CB_register(nullptr, nullptr);
    VPb_AF_error_clear();
}

TEST(OperationFrame, DestinationAndReplacement) {
    QUORIN img = rs::make(10, 8, 8);
    const uint32_t tag = VPb_image_info_mem_tag_get(img);
    QUORIN work = VPb_image_alloc(tag);
    QV_RGBQUAD *pal = nullptr;
    QV_image_DIB_palette_pntr_get(img, &pal, nullptr);
    QV_DIB_HEADER *d = VPb_IP_allocate_dest_DIB(work, pal, 4, 3, 8, 0, 11, 12);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ((std::vector<int64_t>{d->biWidth, d->biHeight, d->biBitCount, d->biXPelsPerMeter, d->biYPelsPerMeter}),
              (std::vector<int64_t>{4, 3, 8, 11, 12}));
    EXPECT_EQ(VPb_DIB_palette_pointer_get(d)[255].rgbRed, pal[255].rgbRed);
    VPb_image_lock(work);
    EXPECT_EQ(VPb_IP_allocate_dest_DIB(work, pal, 4, 3, 8, 0, 0, 0), nullptr);
    EXPECT_STACK({QVE_LOCK_FAILED, 0, 0});
    VPb_image_unlock(work);
    VPb_AF_error_clear();
    ASSERT_EQ(VPb_IP_replace_DIB(img, d), 0);
    EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{4, 3, 8}));
    VPb_AF_mem_free(tag, work);
    QV_image_delete(img);
}

}  // namespace

namespace {

// The four-point average and bilinear rules written pixel by pixel, straight from their
// description, against the row-wise workers on random pictures of awkward sizes.
double centre_of(int32_t i, double s) {
    double c = (i + 0.5) * s - 0.5;
    return c < 0.0 ? 0.0 : c;
}

Rows reference(const Rows &src, int32_t sw, int32_t sh, int32_t ch, int32_t dw, int32_t dh, uint32_t method) {
    const double sx = double(sw) / dw, sy = double(sh) / dh;
    Rows out = Rows(size_t(dh), rs::Bytes(size_t(dw) * size_t(ch)));
    for (int32_t y = 0; y < dh; ++y)
        for (int32_t x = 0; x < dw; ++x)
            for (int32_t c = 0; c < ch; ++c) {
                auto p = [&](int32_t px, int32_t py) { return double(src[size_t(py)][size_t(px) * ch + c]); };
                uint8_t v;
                if (method == 1) {
                    int32_t x0 = int32_t(x * sx), x1 = int32_t((x + 1) * sx), y0 = int32_t(y * sy), y1 = int32_t((y + 1) * sy);
                    if (x1 == sw) x1 = sw - 1;
                    if (y1 == sh) y1 = sh - 1;
                    v = uint8_t((int32_t(p(x0, y0)) + int32_t(p(x1, y0)) + int32_t(p(x0, y1)) + int32_t(p(x1, y1))) / 4);
                } else {
                    const double xc = centre_of(x, sx), yc = centre_of(y, sy);
                    const int32_t x0 = int32_t(xc), y0 = int32_t(yc);
                    const int32_t x1 = x0 == sw - 1 ? x0 : x0 + 1, y1 = y0 == sh - 1 ? y0 : y0 + 1;
                    const double fx = xc - x0, fy = yc - y0;
                    const double top = p(x0, y0) + (p(x1, y0) - p(x0, y0)) * fx;
                    const double bottom = p(x0, y1) + (p(x1, y1) - p(x0, y1)) * fx;
                    v = uint8_t(int32_t(top + (bottom - top) * fy));
                }
                out[size_t(y)][size_t(x) * ch + c] = v;
            }
    return out;
}

TEST(Resize, RowWorkersMatchThePixelRule) {
    const std::vector<std::pair<int32_t, int32_t>> sizes = {{13, 7}, {100, 3}, {3, 100}, {61, 47}, {29, 29}, {1, 1}};
    for (int32_t bpp : {8, 24})
        for (uint32_t method : {1u, 2u})
            for (auto [w, h] : sizes) {
                SCOPED_TRACE(testing::Message() << bpp << " bits, m" << method << ", " << w << "x" << h);
                const Rows src = rs::random_rows(29, 31, bpp, uint32_t(w * h));
                QUORIN img = rs::make(29, 31, bpp, src);
                ASSERT_EQ(QV_IP_resize(img, w, h, method), 0);
                EXPECT_EQ(rs::read(img), reference(src, 29, 31, bpp / 8, w, h, method));
                QV_image_delete(img);
            }
}

}  // namespace
