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
