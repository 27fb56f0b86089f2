// Rotation by any angle: the size rule's examples, the angles that become quarter turns (or
// nothing), background corners, every depth against a pixel-by-pixel rendering of the
// fixed-point rule, run form against packed, the 16-bit destination's variant, cancelling,
// and the device rectangle of a display.
#include <cmath>

#include "img_proc/resize_util.h"

namespace {

using rs::Bytes;
using rs::Rows;

std::vector<int32_t> size_of(int32_t w, int32_t h, double angle, int32_t mode) {
    QUORIN img = rs::make(w, h, 8);
    int32_t nw = -1, nh = -1;
    EXPECT_EQ(QV_IP_rotate_compute_size(img, angle, mode, &nw, &nh), 0);
    QV_image_delete(img);
    return {nw, nh};
}

TEST(RotateSize, Examples) {
    EXPECT_EQ(size_of(100, 50, 45, 1), (std::vector<int32_t>{106, 106}));
    EXPECT_EQ(size_of(100, 50, 30, 1), (std::vector<int32_t>{112, 94}));
    EXPECT_EQ(size_of(10, 10, 45, 1), (std::vector<int32_t>{14, 14}));
    EXPECT_EQ(size_of(100, 50, 45, 0), (std::vector<int32_t>{100, 50}));
    EXPECT_EQ(size_of(100, 50, 90.5, 0), (std::vector<int32_t>{100, 50}));
    EXPECT_EQ(size_of(100, 50, 90.5, 1), (std::vector<int32_t>{50, 100}));
    for (double a : {90.0, -90.0, 270.0, 450.0, -630.0})
        for (int32_t mode : {0, 1}) EXPECT_EQ(size_of(100, 50, a, mode), (std::vector<int32_t>{50, 100})) << a;
    for (double a : {0.0, 180.0, -180.0, 360.0, 720.0})
        for (int32_t mode : {0, 2}) EXPECT_EQ(size_of(100, 50, a, mode), (std::vector<int32_t>{100, 50})) << a;
    QUORIN img = rs::make(4, 4, 8);
    EXPECT_FAILS(QV_IP_rotate_compute_size(img, NAN, 1, nullptr, nullptr), {QVE_OUT_OF_RANGE, 0, 0});
    EXPECT_EQ(QV_IP_rotate_compute_size(img, 10, 1, nullptr, nullptr), 0);
    QV_image_delete(img);
    EXPECT_FAILS(QV_IP_rotate_compute_size(nullptr, 10, 1, nullptr, nullptr), {QVE_NULL_POINTER, 0, 0});
}

int g_calls = 0, g_reason = -1, g_value = -1;
void on_changed(QUORIN, int32_t reason, int32_t value) { ++g_calls, g_reason = reason, g_value = value; }

TEST(RotateAny, MultiplesOfNinetyAreQuarterTurns) {
    struct C {
        double angle;
        int32_t code;  // 0: nothing happens
    };
    const std::vector<C> cases = {{0, 0},   {360, 0},  {-360, 0}, {720, 0}, {90, 1},   {-90, 3}, {450, 1},
                                  {180, 2}, {-180, 2}, {270, 3},  {-270, 1}, {-450, 3}, {810, 1}};
    const Rows src = rs::random_rows(9, 5, 8, 1);
    VPb_settings_hook_func_set(QV_HOOK_IMAGE_CHANGED, reinterpret_cast<void *>(&on_changed));
    for (const C &c : cases)
        for (int32_t mode : {0, 1}) {
            SCOPED_TRACE(testing::Message() << c.angle << " mode " << mode);
            QUORIN img = rs::make(9, 5, 8, src);
            QUORIN ref = rs::make(9, 5, 8, src);
            if (c.code) QV_IP_rotate_multiple_90(ref, c.code);
            g_calls = 0;
            ASSERT_EQ(QV_IP_rotate_any_angle(img, c.angle, mode), 0);
            EXPECT_EQ(rs::read(img), rs::read(ref));
            if (c.code) {
                EXPECT_EQ((std::vector<int32_t>{g_calls, g_reason, g_value}), (std::vector<int32_t>{1, 0, c.code}));
            } else {
                EXPECT_EQ(g_calls, 0);
            }
            QV_image_delete(img);
            QV_image_delete(ref);
        }
    // A quarter turn of a depth without workers reports as the quarter turn does.
    QUORIN img = rs::make(4, 4, 32);
    g_calls = 0;
    EXPECT_FAILS(QV_IP_rotate_any_angle(img, -90, 0), {QVE_DEPTH_UNSUPPORTED, 32, 0});
    EXPECT_EQ((std::vector<int32_t>{g_calls, g_reason, g_value}), (std::vector<int32_t>{1, 0, 3}));
    g_calls = 0;
    EXPECT_FAILS(QV_IP_rotate_any_angle(img, 10, 0), {QVE_DEPTH_UNSUPPORTED, 32, 0});
    EXPECT_EQ(g_calls, 0);
    QV_image_delete(img);
    img = rs::make(4, 4, 8);
    ASSERT_EQ(QV_IP_rotate_any_angle(img, 10, 0), 0);
    EXPECT_EQ((std::vector<int32_t>{g_calls, g_reason, g_value}), (std::vector<int32_t>{1, 8, 0}));
    EXPECT_FAILS(QV_IP_rotate_any_angle(img, INFINITY, 0), {QVE_OUT_OF_RANGE, 0, 0});
    QV_image_delete(img);
    VPb_settings_hook_func_set(QV_HOOK_IMAGE_CHANGED, nullptr);
}

// Uniform picture of element value `v` (1 bit: 0/1; 24 bits: three bytes).
Rows uniform(int32_t w, int32_t h, int32_t bpp, const Bytes &v) {
    Rows r = Rows(size_t(h), Bytes());
    for (auto &row : r)
        for (int32_t x = 0; x < w; ++x) row.insert(row.end(), v.begin(), v.end());
    (void)bpp;
    return r;
}
Bytes pixel(const Rows &r, int32_t bpp, int32_t x, int32_t y) {
    const size_t e = rs::elem(bpp);
    return Bytes(r[size_t(y)].begin() + ptrdiff_t(size_t(x) * e), r[size_t(y)].begin() + ptrdiff_t(size_t(x + 1) * e));
}

TEST(RotateAny, FortyFiveKeepsTheSizeAndFillsTheCorners) {
    struct C {
        int32_t bpp;
        Bytes fill, bg, want_bg;  // bg empty: the default
    };
    const std::vector<C> cases = {
        {1, {0}, {}, {1}},        {1, {1}, {0}, {0}},        {4, {5}, {}, {0}},       {4, {5}, {11}, {11}},
        {8, {7}, {}, {0}},        {8, {7}, {200}, {200}},    {16, {1, 2}, {}, {0, 0}}, {16, {1, 2}, {3, 4}, {3, 4}},
        {24, {1, 2, 3}, {}, {0, 0, 0}}, {24, {1, 2, 3}, {9, 8, 7}, {9, 8, 7}},
    };
    for (const C &c : cases)
        for (bool runs : {false, true}) {
            if (runs && c.bpp != 1) continue;
            SCOPED_TRACE(testing::Message() << c.bpp << " bits, bg " << c.bg.size() << (runs ? " runs" : ""));
            QUORIN img = rs::make(20, 14, c.bpp, uniform(20, 14, c.bpp, c.fill), runs);
            ASSERT_EQ(c.bg.empty() ? QV_IP_rotate_any_angle(img, 45, 0)
                                   : QV_IP_rotate_any_angle_bkgrnd(img, 45, 0, c.bg.data()),
                      0);
            EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{20, 14, c.bpp}));
            EXPECT_EQ(rs::is_runs(img), runs);
            const Rows out = rs::read(img);
            for (auto [x, y] : std::vector<std::pair<int32_t, int32_t>>{{0, 0}, {19, 0}, {0, 13}, {19, 13}})
                EXPECT_EQ(pixel(out, c.bpp, x, y), c.want_bg) << x << "," << y;
            EXPECT_EQ(pixel(out, c.bpp, 10, 7), c.fill);
            QV_image_delete(img);
        }
}

// The stepping rule pixel by pixel: destination (x, r) samples the source at
// ((cx * 65536 - dcx * C + S * (r - dcy) + x * C) >> 16, (cy * 65536 + S * dcx + C * (r - dcy) - x * S) >> 16),
// sums in 32-bit two's complement, shifted results taken as signed 16-bit values.
Rows reference(const Rows &src, int32_t bpp, int32_t w, int32_t h, double angle, int32_t nw, int32_t nh, bool grow,
               const Bytes &bg) {
    const double rad = bpp == 1 ? angle * 6.283185308 * 0.002777777777777778 : angle * 0.017453292519944444;
    const int64_t S = int64_t(std::sin(rad) * 65536), C = int64_t(std::cos(rad) * 65536);
    const int64_t cx = (w + 1) / 2, cy = (h + 1) / 2, dcx = grow ? nw / 2 : cx, dcy = grow ? nh / 2 : cy;
    const size_t e = rs::elem(bpp);
    Rows out = Rows(size_t(nh), Bytes(size_t(nw) * e));
    for (int64_t r = 0; r < nh; ++r)
        for (int64_t x = 0; x < nw; ++x) {
            const auto X = uint32_t(cx * 65536 - dcx * C + S * (r - dcy) + x * C);
            const auto Y = uint32_t(cy * 65536 + S * dcx + C * (r - dcy) - x * S);
            const int64_t sx = int16_t(int32_t(X) >> 16), sy = int16_t(int32_t(Y) >> 16);
            for (size_t k = 0; k < e; ++k)
                out[size_t(r)][size_t(x) * e + k] = sx >= 0 && sx < w && sy >= 0 && sy < h
                                                        ? src[size_t(sy)][size_t(sx) * e + k]
                                                        : bg[k];
        }
    return out;
}

TEST(RotateAny, EveryDepthFollowsTheSteppingRule) {
    const std::vector<double> angles = {17, -33.3, 45, 123.4, 0.001, -179.5, 200, 1000.25};
    const std::vector<std::pair<int32_t, int32_t>> sizes = {{31, 17}, {8, 40}, {1, 1}, {2, 3}, {65, 64}};
    for (int32_t bpp : {1, 4, 8, 16, 24})
        for (auto [w, h] : sizes)
            for (double a : angles)
                for (int32_t mode : {0, 1}) {
                    SCOPED_TRACE(testing::Message() << bpp << " bits " << w << "x" << h << " at " << a << " mode " << mode);
                    const Rows src = rs::random_rows(w, h, bpp, uint32_t(w + h + bpp));
                    const Bytes bg = bpp == 1 ? Bytes{1} : Bytes{3, 4, 5};
                    QUORIN img = rs::make(w, h, bpp, src);
                    int32_t nw = 0, nh = 0;
                    QV_IP_rotate_compute_size(img, a, mode, &nw, &nh);
                    ASSERT_EQ(QV_IP_rotate_any_angle_bkgrnd(img, a, mode, bpp == 4 ? Bytes{3}.data() : bg.data()), 0);
                    EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{nw, nh, bpp}));
                    EXPECT_EQ(rs::read(img), reference(src, bpp, w, h, a, nw, nh, mode != 0, bg));
                    QV_image_delete(img);
                }
}

TEST(RotateAny, WidePicturesWrapAsSixteenBitPositions) {
    // Past 32767 columns the positions wrap: the far part of a row samples the picture again.
    for (int32_t bpp : {1, 8})
        for (double a : {3.0, -10.0})
            for (int32_t mode : {0}) {
                SCOPED_TRACE(testing::Message() << bpp << " bits at " << a << " mode " << mode);
                const Rows src = rs::random_rows(40000, 3, bpp, 9);
                const Bytes bg = {1, 0, 0};
                QUORIN img = rs::make(40000, 3, bpp, src);
                int32_t nw = 0, nh = 0;
                QV_IP_rotate_compute_size(img, a, mode, &nw, &nh);
                ASSERT_EQ(QV_IP_rotate_any_angle_bkgrnd(img, a, mode, bg.data()), 0);
                EXPECT_TRUE(rs::read(img) == reference(src, bpp, 40000, 3, a, nw, nh, mode != 0, bg));
                QV_image_delete(img);
            }
}

TEST(RotateAny, RunFormMatchesPacked) {
    for (double a : {17.0, -61.0, 135.5})
        for (int32_t mode : {0, 1}) {
            qvtest::NoLeaks leaks;
            const Rows src = rs::random_rows(77, 41, 1, 12, 30);
            QUORIN packed = rs::make(77, 41, 1, src);
            QUORIN runs = rs::make(77, 41, 1, src, true);
            ASSERT_EQ(QV_IP_rotate_any_angle(packed, a, mode), 0);
            ASSERT_EQ(QV_IP_rotate_any_angle(runs, a, mode), 0);
            EXPECT_TRUE(rs::is_runs(runs));
            EXPECT_EQ(rs::read(runs), rs::read(packed));
            QV_image_delete(packed);
            QV_image_delete(runs);
        }
}

TEST(RotateAny, SixteenBitsBecomeTheSingleChannelVariant) {
    for (uint32_t compression : {uint32_t(QV_BI_RGB), uint32_t(QV_BI_GRAY16)}) {
        QUORIN img = rs::make(6, 5, 16, rs::random_rows(6, 5, 16, 2), false, compression);
        QV_DIB_HEADER *d = nullptr;
        QV_image_DIB_pntr_get(img, &d);
        if (compression == QV_BI_GRAY16) VPb_DIB_red_mask_set(d, 0x3FF);
        ASSERT_EQ(QV_IP_rotate_any_angle(img, 30, 1), 0);
        QV_image_DIB_pntr_get(img, &d);
        const uint32_t m = compression == QV_BI_GRAY16 ? 0x3FFu : 0u;
        EXPECT_EQ(d->biCompression, QV_BI_GRAY16);
        EXPECT_EQ((std::vector<uint32_t>{VPb_DIB_red_mask_get(d), VPb_DIB_green_mask_get(d), VPb_DIB_blue_mask_get(d)}),
                  (std::vector<uint32_t>{m, m, m}));
        QV_image_delete(img);
    }
}

TEST(RotateAny, CancelLeavesTheImageAndResolutionStays) {
    for (bool runs : {false, true}) {
        qvtest::NoLeaks leaks;
        const int32_t bpp = runs ? 1 : 24;
        const Rows src = rs::random_rows(30, 20, bpp, 6);
        QUORIN img = rs::make(30, 20, bpp, src, runs);
        ASSERT_EQ(QV_image_resolution_set(img, 300, 1, 200, 1, 2), 0);
        qvtest::Progress p;
        p.cancel_at = 2;
        QV_status_bar_CB_register(&qvtest::Progress::on, &p);
        int32_t nw = 0, nh = 0;
        QV_IP_rotate_compute_size(img, 20, 1, &nw, &nh);
        EXPECT_FAILS(QV_IP_rotate_any_angle(img, 20, 1), {QVE_CANCELLED, 2, nh});
        QV_status_bar_CB_register(nullptr, nullptr);
        EXPECT_EQ(p.calls, (std::vector<std::pair<int32_t, int32_t>>{{0, nh}, {1, nh}, {2, nh}}));
        EXPECT_EQ(rs::read(img), src);
        EXPECT_EQ(rs::is_runs(img), runs);
        ASSERT_EQ(QV_IP_rotate_any_angle(img, 20, 1), 0);
        uint32_t xn = 0, xd = 0, yn = 0, yd = 0, unit = 0;
        QV_image_resolution_get(img, &xn, &xd, &yn, &yd, &unit);
        EXPECT_EQ((std::vector<uint32_t>{xn, yn, unit}), (std::vector<uint32_t>{300, 200, 2}));
        QV_image_delete(img);
    }
}

TEST(DeviceRect, QuarterTurnsAboutTheCentre) {
    QV_RECT r{10, 20, 30, 60};
    EXPECT_EQ(VPb_device_rect_rotate(&r, 2), 0);
    EXPECT_EQ((std::vector<int32_t>{r.left, r.top, r.right, r.bottom}), (std::vector<int32_t>{10, 20, 30, 60}));
    EXPECT_EQ(VPb_device_rect_rotate(&r, 1), 0);
    EXPECT_EQ((std::vector<int32_t>{r.left, r.top, r.right, r.bottom}), (std::vector<int32_t>{0, 30, 40, 50}));
    EXPECT_EQ(VPb_device_rect_rotate(&r, 3), 0);
    EXPECT_EQ((std::vector<int32_t>{r.left, r.top, r.right, r.bottom}), (std::vector<int32_t>{10, 20, 30, 60}));
    VPb_AF_error_clear();
    EXPECT_EQ(VPb_device_rect_rotate(nullptr, 1), 1);
    EXPECT_STACK({QVE_NULL_POINTER, 0, 0});
    VPb_AF_error_clear();
}

}  // namespace
