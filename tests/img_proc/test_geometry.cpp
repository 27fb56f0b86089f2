// Quarter and half turns, flips and crops against plain index mappings on every depth and
// awkward sizes (1-bit widths that are not whole bytes), run form against the packed form,
// padding bits, the image-changed hook's reasons, cancelling and argument errors.
#include <cstdlib>
#include <cstring>
#include <functional>

#include "img_proc/resize_util.h"

namespace {

using rs::Bytes;
using rs::Rows;

// out(x, y) = in(map(x, y)) for an output of ow x oh elements.
using Map = std::function<std::pair<int32_t, int32_t>(int32_t x, int32_t y)>;
Rows remap(const Rows &in, int32_t bpp, int32_t ow, int32_t oh, const Map &map) {
    const size_t e = rs::elem(bpp);
    Rows out = Rows(size_t(oh), Bytes(size_t(ow) * e));
    for (int32_t y = 0; y < oh; ++y)
        for (int32_t x = 0; x < ow; ++x) {
            auto [sx, sy] = map(x, y);
            for (size_t k = 0; k < e; ++k) out[size_t(y)][size_t(x) * e + k] = in[size_t(sy)][size_t(sx) * e + k];
        }
    return out;
}

// The turn of each code as written: new (c, y) = old (y, h - 1 - c) for 1, old (w - 1 - y, c)
// for 3, old (w - 1 - c, h - 1 - y) for 2.
Rows turned(const Rows &in, int32_t bpp, int32_t w, int32_t h, int32_t code) {
    if (code == 1) return remap(in, bpp, h, w, [&](int32_t c, int32_t y) { return std::pair{y, h - 1 - c}; });
    if (code == 3) return remap(in, bpp, h, w, [&](int32_t c, int32_t y) { return std::pair{w - 1 - y, c}; });
    return remap(in, bpp, w, h, [&](int32_t c, int32_t y) { return std::pair{w - 1 - c, h - 1 - y}; });
}
Rows mirrored(const Rows &in, int32_t bpp, int32_t w, int32_t h, int32_t direction) {
    if (direction == 0) return remap(in, bpp, w, h, [&](int32_t x, int32_t y) { return std::pair{w - 1 - x, y}; });
    return remap(in, bpp, w, h, [&](int32_t x, int32_t y) { return std::pair{x, h - 1 - y}; });
}

// Whole rasters of a fresh image holding `rows`: padding bits and bytes all zero.
Rows clean_rasters(const Rows &rows, int32_t bpp, int32_t w, int32_t h) {
    QUORIN ref = rs::make(w, h, bpp, rows);
    Rows out = rs::packed(ref);
    QV_image_delete(ref);
    return out;
}

const std::vector<std::pair<int32_t, int32_t>> kSizes = {{1, 1},  {13, 7},  {7, 13},  {8, 8},  {70, 9},
                                                         {9, 70}, {64, 64}, {129, 67}, {3, 200}, {203, 2}};

struct Form {
    int32_t bpp;
    bool runs;
};
const std::vector<Form> kForms = {{1, false}, {1, true}, {4, false}, {8, false}, {16, false}, {24, false}};

TEST(QuarterTurn, EveryDepthFollowsTheIndexMapping) {
    for (const Form &f : kForms)
        for (auto [w, h] : kSizes)
            for (int32_t code : {1, 2, 3}) {
                SCOPED_TRACE(testing::Message() << f.bpp << (f.runs ? " bits runs " : " bits ") << w << "x" << h
                                                << " code " << code);
                qvtest::NoLeaks leaks;
                const Rows src = rs::random_rows(w, h, f.bpp, uint32_t(w * 31 + h + code));
                QUORIN img = rs::make(w, h, f.bpp, src, f.runs);
                ASSERT_EQ(QV_IP_rotate_multiple_90(img, code), 0);
                EXPECT_STACK();
                const int32_t nw = code == 2 ? w : h, nh = code == 2 ? h : w;
                EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{nw, nh, f.bpp}));
                const Rows want = turned(src, f.bpp, w, h, code);
                EXPECT_EQ(rs::read(img), want);
                EXPECT_EQ(rs::is_runs(img), f.runs);
                if (!f.runs) {
                    EXPECT_EQ(rs::packed(img), clean_rasters(want, f.bpp, nw, nh));
                }
                QV_image_delete(img);
            }
}

TEST(QuarterTurn, RunFormTallerThanARunListTurnsPacked) {
    const Rows src = rs::random_rows(3, 33000, 1, 4);
    QUORIN img = rs::make(3, 33000, 1, src, true);
    ASSERT_EQ(QV_IP_rotate_multiple_90(img, 1), 0);
    EXPECT_FALSE(rs::is_runs(img));
    EXPECT_EQ(rs::read(img), turned(src, 1, 3, 33000, 1));
    QV_image_delete(img);
}

// An imported DIB stored top row first (negative height), 24 bits.
QUORIN top_down(int32_t w, int32_t h, const Rows &rows) {
    const size_t stride = (size_t(w) * 3 + 3) & ~size_t(3);
    auto *dib = static_cast<QV_DIB_HEADER *>(std::calloc(1, 40 + stride * size_t(h)));
    *dib = QV_DIB_HEADER{40, w, -h, 1, 24, 0, uint32_t(stride * size_t(h)), 0, 0, 0, 0};
    auto *bits = reinterpret_cast<uint8_t *>(dib) + 40;
    for (int32_t y = 0; y < h; ++y) std::memcpy(bits + stride * size_t(y), rows[size_t(y)].data(), size_t(w) * 3);
    QUORIN img = nullptr;
    EXPECT_EQ(QV_image_import_DIB(dib, &img), 0);
    return img;
}

TEST(Geometry, TopDownSourcesKeepTheirPicture) {
    const Rows src = rs::random_rows(11, 6, 24, 3);
    for (int32_t code : {1, 2, 3}) {
        QUORIN img = top_down(11, 6, src);
        ASSERT_EQ(rs::read(img), src);
        ASSERT_EQ(QV_IP_rotate_multiple_90(img, code), 0);
        EXPECT_EQ(rs::read(img), turned(src, 24, 11, 6, code));
        QV_image_delete(img);
    }
    for (int32_t dir : {0, 1}) {
        QUORIN img = top_down(11, 6, src);
        ASSERT_EQ(QV_IP_flip(img, dir), 0);
        EXPECT_EQ(rs::read(img), mirrored(src, 24, 11, 6, dir));
        QV_image_delete(img);
    }
    QUORIN img = top_down(11, 6, src);
    const QV_RECT r{2, 1, 7, 3};
    ASSERT_EQ(QV_IP_crop(img, &r), 0);
    EXPECT_EQ(rs::read(img), remap(src, 24, 6, 3, [](int32_t x, int32_t y) { return std::pair{x + 2, y + 1}; }));
    QV_image_delete(img);
    img = top_down(11, 6, src);
    QUORIN ref = rs::make(11, 6, 24, src);
    ASSERT_EQ(QV_IP_rotate_any_angle(img, 33, 1), 0);
    ASSERT_EQ(QV_IP_rotate_any_angle(ref, 33, 1), 0);
    EXPECT_EQ(rs::read(img), rs::read(ref));
    QV_image_delete(img);
    QV_image_delete(ref);
}

TEST(QuarterTurn, ResolutionIsNotExchanged) {
    for (int32_t code : {1, 2, 3}) {
        QUORIN img = rs::make(10, 4, 8);
        ASSERT_EQ(QV_image_resolution_set(img, 300, 1, 200, 1, 2), 0);
        ASSERT_EQ(QV_IP_rotate_multiple_90(img, code), 0);
        uint32_t xn = 0, xd = 0, yn = 0, yd = 0, unit = 0;
        QV_image_resolution_get(img, &xn, &xd, &yn, &yd, &unit);
        EXPECT_EQ((std::vector<uint32_t>{xn, xd, yn, yd, unit}), (std::vector<uint32_t>{300, 1, 200, 1, 2}));
        QV_DIB_HEADER *d = nullptr;
        QV_image_DIB_pntr_get(img, &d);
        EXPECT_EQ((std::vector<int32_t>{d->biXPelsPerMeter, d->biYPelsPerMeter}), (std::vector<int32_t>{300, 200}));
        QV_image_delete(img);
    }
}

TEST(QuarterTurn, Gray16KeepsItsVariantAndMask) {
    for (int32_t code : {1, 2, 3}) {
        const Rows src = rs::random_rows(5, 3, 16, 1);
        QUORIN img = rs::make(5, 3, 16, src, false, QV_BI_GRAY16);
        QV_DIB_HEADER *d = nullptr;
        QV_image_DIB_pntr_get(img, &d);
        VPb_DIB_red_mask_set(d, 0x0FFF);
        ASSERT_EQ(QV_IP_rotate_multiple_90(img, code), 0);
        QV_image_DIB_pntr_get(img, &d);
        EXPECT_EQ(d->biCompression, QV_BI_GRAY16);
        EXPECT_EQ((std::vector<uint32_t>{VPb_DIB_red_mask_get(d), VPb_DIB_green_mask_get(d), VPb_DIB_blue_mask_get(d)}),
                  (std::vector<uint32_t>{0x0FFF, code == 2 ? 65535u : 0x0FFFu, code == 2 ? 65535u : 0x0FFFu}));
        EXPECT_EQ(rs::read(img), turned(src, 16, 5, 3, code));
        QV_image_delete(img);
    }
}

struct Refusal {
    int32_t bpp, arg;
    qvtest::Err want;
};

int g_reason = -1, g_value = -1, g_calls = 0;
void on_changed(QUORIN, int32_t reason, int32_t value) {
    g_reason = reason, g_value = value, ++g_calls;
}
struct HookScope {
    HookScope() {
        g_reason = g_value = -1, g_calls = 0;
        VPb_settings_hook_func_set(QV_HOOK_IMAGE_CHANGED, reinterpret_cast<void *>(&on_changed));
    }
    ~HookScope() { VPb_settings_hook_func_set(QV_HOOK_IMAGE_CHANGED, nullptr); }
};

TEST(QuarterTurn, RefusalsStillRunTheHook) {
    const std::vector<Refusal> cases = {
        {8, 0, {QVE_OUT_OF_RANGE, 0, 0}},   {8, 4, {QVE_OUT_OF_RANGE, 4, 0}},
        {8, -1, {QVE_OUT_OF_RANGE, -1, 0}}, {32, 1, {QVE_DEPTH_UNSUPPORTED, 32, 0}},
        {32, 3, {QVE_DEPTH_UNSUPPORTED, 32, 0}}, {32, 2, {QVE_DEPTH_UNSUPPORTED, 32, 0}},
    };
    HookScope hook;
    for (const Refusal &c : cases) {
        SCOPED_TRACE(c.bpp * 10 + c.arg);
        QUORIN img = rs::make(6, 4, c.bpp);
        g_calls = 0;
        EXPECT_FAILS(QV_IP_rotate_multiple_90(img, c.arg), c.want);
        EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{6, 4, c.bpp}));
        EXPECT_EQ((std::vector<int32_t>{g_calls, g_reason, g_value}), (std::vector<int32_t>{1, 0, c.arg}));
        QV_image_delete(img);
    }
}

TEST(Geometry, NullAndInvalidImages) {
    alignas(8) static uint8_t not_an_image[1176] = {};
    QUORIN bad = reinterpret_cast<QUORIN>(not_an_image);
    const int32_t bad_value = int32_t(reinterpret_cast<intptr_t>(bad));
    QV_RECT r{0, 0, 1, 1};
    EXPECT_FAILS(QV_IP_rotate_multiple_90(nullptr, 1), {QVE_NULL_POINTER, 0, 0});
    EXPECT_FAILS(QV_IP_rotate_multiple_90(bad, 1), {QVE_INVALID_IMAGE, bad_value, 0});
    EXPECT_FAILS(QV_IP_flip(nullptr, 0), {QVE_NULL_POINTER, 0, 0});
    EXPECT_FAILS(QV_IP_flip(bad, 0), {QVE_INVALID_IMAGE, bad_value, 0});
    EXPECT_FAILS(QV_IP_crop(nullptr, &r), {QVE_NULL_POINTER, 0, 0});
    EXPECT_FAILS(QV_IP_crop(bad, &r), {QVE_INVALID_IMAGE, bad_value, 0});
    EXPECT_FAILS(iQV_IP_crop(bad, &r), {QVE_INVALID_IMAGE, bad_value, 0});
}

TEST(QuarterTurn, CancelLeavesTheImage) {
    for (const Form &f : kForms) {
        SCOPED_TRACE(f.bpp * 10 + f.runs);
        qvtest::NoLeaks leaks;
        const Rows src = rs::random_rows(90, 20, f.bpp, 2);
        QUORIN img = rs::make(90, 20, f.bpp, src, f.runs);
        qvtest::Progress p;
        p.cancel_at = 2;
        QV_status_bar_CB_register(&qvtest::Progress::on, &p);
        EXPECT_FAILS(QV_IP_rotate_multiple_90(img, 1), {QVE_CANCELLED, 2, 90});
        QV_status_bar_CB_register(nullptr, nullptr);
        EXPECT_EQ(p.calls, (std::vector<std::pair<int32_t, int32_t>>{{0, 90}, {1, 90}, {2, 90}}));
        EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{90, 20, f.bpp}));
        EXPECT_EQ(rs::read(img), src);
        EXPECT_EQ(rs::is_runs(img), f.runs);
        QV_image_delete(img);
    }
}

TEST(HalfTurn, CancelKeepsThePairsDone) {
    const Rows src = rs::random_rows(9, 6, 8, 4);
    QUORIN img = rs::make(9, 6, 8, src);
    qvtest::Progress p;
    p.cancel_at = 1;
    QV_status_bar_CB_register(&qvtest::Progress::on, &p);
    EXPECT_FAILS(QV_IP_rotate_multiple_90(img, 2), {QVE_CANCELLED, 1, 3});
    QV_status_bar_CB_register(nullptr, nullptr);
    Rows want = turned(src, 8, 9, 6, 2);
    want[2] = src[2], want[3] = src[3];  // the third pair was not reached
    EXPECT_EQ(rs::read(img), want);
    QV_image_delete(img);
}

TEST(Flip, EveryDepthFollowsTheIndexMapping) {
    HookScope hook;
    for (const Form &f : kForms)
        for (auto [w, h] : kSizes)
            for (int32_t dir : {0, 1}) {
                SCOPED_TRACE(testing::Message() << f.bpp << (f.runs ? " bits runs " : " bits ") << w << "x" << h
                                                << " direction " << dir);
                qvtest::NoLeaks leaks;
                const Rows src = rs::random_rows(w, h, f.bpp, uint32_t(w * 7 + h + dir));
                QUORIN img = rs::make(w, h, f.bpp, src, f.runs);
                g_calls = 0;
                ASSERT_EQ(QV_IP_flip(img, dir), 0);
                EXPECT_EQ((std::vector<int32_t>{g_calls, g_reason, g_value}), (std::vector<int32_t>{1, 3, dir}));
                const Rows want = mirrored(src, f.bpp, w, h, dir);
                EXPECT_EQ(rs::read(img), want);
                EXPECT_EQ(rs::is_runs(img), f.runs);
                if (!f.runs) {
                    EXPECT_EQ(rs::packed(img), clean_rasters(want, f.bpp, w, h));
                }
                QV_image_delete(img);
            }
}

TEST(Flip, OneBitThirteenWideKeepsThePaddingOut) {
    // Stored bits after the width, set on purpose, must not come into the picture.
    QUORIN img = rs::make(13, 1, 1, {{1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}});
    QV_DIB_HEADER *d = nullptr;
    QV_image_DIB_pntr_get(img, &d);
    static_cast<uint8_t *>(VPb_DIB_image_pointer_get(d))[1] |= 0x07;
    ASSERT_EQ(QV_IP_flip(img, 0), 0);
    EXPECT_EQ(rs::packed(img), (Rows{{0x00, 0x18, 0, 0}}));
    QV_image_delete(img);
}

TEST(Flip, RefusalsAndCancel) {
    HookScope hook;
    QUORIN img = rs::make(6, 4, 32);
    g_calls = 0;
    EXPECT_FAILS(QV_IP_flip(img, 0), {QVE_DEPTH_UNSUPPORTED, 32, 0});
    EXPECT_EQ(QV_IP_flip(img, 1), 0);  // rows move whatever the depth
    EXPECT_FAILS(QV_IP_flip(img, 2), {QVE_OUT_OF_RANGE, 2, 0});
    EXPECT_FAILS(QV_IP_flip(img, -1), {QVE_OUT_OF_RANGE, -1, 0});
    EXPECT_EQ(g_calls, 1);
    QV_image_delete(img);

    const Rows src = rs::random_rows(5, 7, 24, 8);
    img = rs::make(5, 7, 24, src);
    g_calls = 1;
    qvtest::Progress p;
    p.cancel_at = 1;
    QV_status_bar_CB_register(&qvtest::Progress::on, &p);
    EXPECT_FAILS(QV_IP_flip(img, 1), {QVE_CANCELLED, 1, 3});
    Rows want = src;
    std::swap(want[0], want[6]);
    std::swap(want[1], want[5]);
    EXPECT_EQ(rs::read(img), want);
    p.calls.clear();
    EXPECT_FAILS(QV_IP_flip(img, 0), {QVE_CANCELLED, 1, 7});
    QV_status_bar_CB_register(nullptr, nullptr);
    EXPECT_EQ(p.calls, (std::vector<std::pair<int32_t, int32_t>>{{0, 7}, {1, 7}}));
    for (int y : {0, 1}) want[size_t(y)] = mirrored(want, 24, 5, 7, 0)[size_t(y)];
    EXPECT_EQ(rs::read(img), want);
    EXPECT_EQ(g_calls, 1);  // failures run no hook
    QV_image_delete(img);
}

TEST(Crop, EveryDepthClipsAndCuts) {
    HookScope hook;
    const std::vector<QV_RECT> rects = {{0, 0, 12, 6}, {3, 1, 9, 4},   {1, 2, 1, 2},     {-5, -3, 4, 2},
                                        {5, 4, 40, 40}, {8, 0, 12, 0}, {7, 3, 2, 1},     {-9, -9, -2, -2},
                                        {2, 0, 11, 6}};
    for (const Form &f : kForms)
        for (const QV_RECT &r : rects) {
            SCOPED_TRACE(testing::Message() << f.bpp << (f.runs ? " bits runs " : " bits ") << r.left << ","
                                            << r.top << "," << r.right << "," << r.bottom);
            qvtest::NoLeaks leaks;
            const Rows src = rs::random_rows(13, 7, f.bpp, uint32_t(r.left + 50));
            QUORIN img = rs::make(13, 7, f.bpp, src, f.runs);
            QV_RECT clipped{};
            VPb_IP_check_rect_for_NULL_and_clip(img, &r, &clipped);
            g_calls = 0;
            ASSERT_EQ(QV_IP_crop(img, &r), 0);
            EXPECT_EQ((std::vector<int32_t>{g_calls, g_reason, g_value}),
                      (std::vector<int32_t>{1, 4, int32_t(uint32_t(reinterpret_cast<uintptr_t>(&r)))}));
            const int32_t nw = clipped.right - clipped.left + 1, nh = clipped.bottom - clipped.top + 1;
            const Rows want = remap(src, f.bpp, nw, nh, [&](int32_t x, int32_t y) {
                return std::pair{x + clipped.left, y + clipped.top};
            });
            EXPECT_EQ(rs::read(img), want);
            EXPECT_EQ(rs::is_runs(img), f.runs);
            if (!f.runs) {
                EXPECT_EQ(rs::packed(img), clean_rasters(want, f.bpp, nw, nh));
            }
            QV_image_delete(img);
        }
}

TEST(Crop, NullRectangleRefusalsAndCancel) {
    HookScope hook;
    const Rows src = rs::random_rows(10, 8, 8, 3);
    QUORIN img = rs::make(10, 8, 8, src);
    ASSERT_EQ(QV_image_resolution_set(img, 300, 1, 200, 1, 2), 0);
    g_calls = 0;
    EXPECT_EQ(QV_IP_crop(img, nullptr), 0);
    EXPECT_EQ((std::vector<int32_t>{g_calls, g_reason, g_value}), (std::vector<int32_t>{1, 4, 0}));
    EXPECT_EQ(rs::read(img), src);

    qvtest::Progress p;
    p.cancel_at = 1;
    QV_status_bar_CB_register(&qvtest::Progress::on, &p);
    QV_RECT r{2, 2, 6, 5};
    EXPECT_FAILS(QV_IP_crop(img, &r), {QVE_CANCELLED, 1, 4});
    QV_status_bar_CB_register(nullptr, nullptr);
    EXPECT_EQ(rs::read(img), src);
    EXPECT_EQ(g_calls, 1);

    ASSERT_EQ(QV_IP_crop(img, &r), 0);
    EXPECT_EQ(qvtest::dims(img), (std::vector<int32_t>{5, 4, 8}));
    uint32_t xn = 0, xd = 0, yn = 0, yd = 0, unit = 0;
    QV_image_resolution_get(img, &xn, &xd, &yn, &yd, &unit);
    EXPECT_EQ((std::vector<uint32_t>{xn, yn, unit}), (std::vector<uint32_t>{300, 200, 2}));
    QV_image_delete(img);

    img = rs::make(6, 4, 32);
    EXPECT_FAILS(QV_IP_crop(img, &r), {QVE_DEPTH_UNSUPPORTED, 32, 0});
    QV_image_delete(img);
}

TEST(Crop, Gray16KeepsItsVariant) {
    QUORIN img = rs::make(5, 3, 16, rs::random_rows(5, 3, 16, 1), false, QV_BI_GRAY16);
    QV_RECT r{1, 1, 3, 2};
    ASSERT_EQ(QV_IP_crop(img, &r), 0);
    QV_DIB_HEADER *d = nullptr;
    QV_image_DIB_pntr_get(img, &d);
    EXPECT_EQ(d->biCompression, QV_BI_GRAY16);
    EXPECT_EQ(VPb_DIB_blue_mask_get(d), 65535u);
    QV_image_delete(img);
}

}  // namespace
