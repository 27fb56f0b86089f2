// Resize of run-encoded 1-bit pages: every method gives the pixels of the packed form, and
// each image comes back in the form it had (method 1 converts run lists and back, method 3
// packed rows and back).
#include "img_proc/resize_util.h"

namespace {

using rs::Rows;

struct Page {
    int32_t w, h, density;
};

TEST(ResizeRuns, SamePixelsAsPacked) {
    const std::vector<Page> pages = {{203, 157, 50}, {200, 120, 10}, {64, 33, 90}};
    const std::vector<std::pair<int32_t, int32_t>> sizes = {{97, 61}, {411, 300}, {1, 1}, {250, 40}, {64, 200}, {203, 157}};
    uint32_t seed = 1;
    for (const Page &p : pages) {
        Rows src = rs::random_rows(p.w, p.h, 1, seed++, p.density);
        for (auto [w, h] : sizes)
            for (uint32_t method = 0; method <= 5; ++method) {
                const uint8_t bg = method == 5 ? 0 : 1;  // 5: method 4 with a 0-bit background
                const uint32_t m = method == 5 ? 4 : method;
                // Widening a whole-byte width to a partly used byte keeps the packed row's
                // allocated bits there, where run lists take the background: not compared.
                if (m == 4 && bg == 1 && p.w % 8 == 0 && w % 8 != 0 && w > p.w) continue;
                SCOPED_TRACE(testing::Message() << p.w << "x" << p.h << " -> " << w << "x" << h << " m" << method);
                QUORIN packed = rs::make(p.w, p.h, 1, src, false);
                QUORIN runs = rs::make(p.w, p.h, 1, src, true);
                ASSERT_EQ(QV_IP_resize_bkgrnd(packed, w, h, m, &bg), 0);
                ASSERT_EQ(QV_IP_resize_bkgrnd(runs, w, h, m, &bg), 0);
                EXPECT_FALSE(rs::is_runs(packed));
                EXPECT_TRUE(rs::is_runs(runs));
                EXPECT_EQ(rs::read(runs), rs::read(packed));
                QUORIN thumb = nullptr, from = rs::make(p.w, p.h, 1, src, true);
                if (m != 4) {  // thumbnails take the default background
                    ASSERT_EQ(QV_IP_thumbnail_create(from, &thumb, w, h, m), 0);
                    EXPECT_TRUE(rs::is_runs(thumb));
                    EXPECT_EQ(rs::read(thumb), rs::read(packed));
                }
                for (QUORIN img : {packed, runs, thumb, from})
                    if (img) QV_image_delete(img);
            }
    }
}

TEST(ResizeRuns, CanvasExtendsListsWithTheBackground) {
    // Packed rows keep the allocated byte past a whole-byte old width (16 -> 20); run lists
    // take the background there; new rows are one run of it, cut rows end at the new width.
    const uint8_t one = 1;
    QUORIN runs = rs::make(16, 2, 1, {rs::Bytes(16, 0), rs::Bytes(16, 1)}, true);
    ASSERT_EQ(QV_IP_resize_bkgrnd(runs, 20, 3, 4, &one), 0);
    rs::Bytes row0(20, 0), row1(20, 1);
    std::fill(row0.begin() + 16, row0.end(), 1);
    EXPECT_EQ(rs::read(runs), (Rows{row0, row1, row1}));
    ASSERT_EQ(QV_IP_resize(runs, 5, 2, 4), 0);
    EXPECT_EQ(rs::read(runs), (Rows{rs::Bytes(5, 0), rs::Bytes(5, 1)}));
    EXPECT_TRUE(rs::is_runs(runs));
    QV_image_delete(runs);
}

TEST(ResizeRuns, ThumbnailKeepsTheSourceForm) {
    Rows src = rs::random_rows(90, 70, 1, 77);
    for (bool runs : {false, true})
        for (uint32_t m : {1u, 3u}) {
            QUORIN img = rs::make(90, 70, 1, src, runs);
            QUORIN t = nullptr;
            ASSERT_EQ(QV_IP_thumbnail_create(img, &t, 41, 33, m), 0);
            EXPECT_EQ(rs::is_runs(img), runs);
            EXPECT_EQ(rs::is_runs(t), runs);
            EXPECT_EQ(rs::read(img), src);
            QV_image_delete(t);
            QV_image_delete(img);
        }
}

}  // namespace

namespace {

// Random sizes, depths and methods: the in-place resize and the thumbnail agree, a
// run-encoded page agrees with the packed one, and (under the sanitizers) no worker reads
// or writes outside its rows.
TEST(ResizeRuns, RandomShapes) {
    std::mt19937 rng(2024);
    auto pick = [&](int32_t lo, int32_t hi) { return lo + int32_t(rng() % uint32_t(hi - lo + 1)); };
    for (int round = 0; round < 300; ++round) {
        const int32_t bpps[] = {1, 4, 8, 16, 24};
        const int32_t bpp = bpps[rng() % 5];
        const uint32_t method = rng() % 5;
        if ((bpp == 4 && (method == 1 || method == 2)) || (bpp == 16 && method == 3)) continue;
        const int32_t sw = pick(1, 70), sh = pick(1, 40), dw = pick(1, 90), dh = pick(1, 50);
        SCOPED_TRACE(testing::Message() << bpp << " bits m" << method << " " << sw << "x" << sh << " -> " << dw << "x" << dh);
        const Rows src = rs::random_rows(sw, sh, bpp, uint32_t(round));
        QUORIN img = rs::make(sw, sh, bpp, src), thumb = nullptr;
        ASSERT_EQ(QV_IP_thumbnail_create(img, &thumb, dw, dh, method), 0);
        ASSERT_EQ(QV_IP_resize(img, dw, dh, method), 0);
        EXPECT_EQ(rs::read(thumb), rs::read(img));
        if (bpp == 1 && !(method == 4 && sw % 8 == 0 && dw % 8 != 0 && dw > sw)) {
            QUORIN runs = rs::make(sw, sh, 1, src, true);
            ASSERT_EQ(QV_IP_resize(runs, dw, dh, method), 0);
            EXPECT_EQ(rs::read(runs), rs::read(img));
            QV_image_delete(runs);
        }
        QV_image_delete(thumb);
        QV_image_delete(img);
    }
}

}  // namespace
