// Pixel access at every depth, packed (format 1) and element (format 2) buffers, on ordinary
// and run-encoded images, against a per-pixel model; and the error codes of each operation.
#include <algorithm>
#include <random>

#include "common/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Vals = std::vector<uint32_t>;
using V = std::vector<int64_t>;

size_t elem_bytes(int bpp) { return bpp <= 8 ? 1 : size_t(bpp / 8); }
uint32_t max_value(int bpp) { return bpp >= 32 ? 0xFFFFFFFFu : (1u << bpp) - 1; }

// Format 1: values packed from bit 0 (high bits first below 8 bits, else little-endian bytes),
// padded to pad_to bytes; format 2: one little-endian element per value.
Bytes packed(const Vals &vals, int bpp, size_t pad_to = 0) {
    Bytes out(std::max(pad_to, (vals.size() * size_t(bpp) + 7) / 8), 0);
    for (size_t i = 0; i < vals.size(); ++i) {
        size_t bit = i * size_t(bpp);
        if (bpp < 8) out[bit / 8] |= uint8_t(vals[i] << (8 - bpp - bit % 8));
        for (size_t k = 0; bpp >= 8 && k < size_t(bpp / 8); ++k)
            out[bit / 8 + k] = uint8_t(vals[i] >> (8 * k));
    }
    return out;
}
Bytes elems(const Vals &vals, int bpp) {
    Bytes out(vals.size() * elem_bytes(bpp));
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = uint8_t(vals[i / elem_bytes(bpp)] >> (8 * (i % elem_bytes(bpp))));
    return out;
}

enum class Form { Packed, Runs, TopDown };
struct Case {
    int32_t bpp;
    Form form;
};

class Access : public ::testing::TestWithParam<Case> {
protected:
    static constexpr int32_t kW = 67, kH = 9;
    void SetUp() override {
        const Case &c = GetParam();
        bpp = c.bpp;
        if (c.form == Form::Runs) {
            img = qvtest::reader_image(kW, kH);
        } else {
            ASSERT_EQ(QV_image_create_DIB(kW, kH, bpp, nullptr, &img), 0);
            if (c.form == Form::TopDown) {  // export, flip to top-down storage, import back
                QV_DIB_HEADER *d = nullptr;
                QV_image_export_DIB(img, &d);
                d->biHeight = -d->biHeight;
                QV_image_import_DIB(d, &img);
            }
        }
        ASSERT_NE(img, nullptr);
        // Fill every row with random values through whole rasters (format 1).
        for (int32_t y = 0; y < kH; ++y) {
            for (int32_t x = 0; x < kW; ++x)  // 1 bit: long runs too
                at(x, y) = bpp == 1 && y % 3 == 0 ? (x / 17) & 1 : rng() & max_value(bpp);
            ASSERT_EQ(QV_DIB_raster_set(img, y, packed(row(0, kW, y), bpp, bpr()).data(), 1), 0);
        }
        live_before = iQV_mem_live_blocks();
    }
    void TearDown() override {
        EXPECT_EQ(iQV_mem_live_blocks(), live_before);  // access leaves nothing behind
        QV_image_delete(img);
    }
    uint32_t &at(int32_t x, int32_t y) { return px[size_t(y) * kW + size_t(x)]; }
    Vals row(int32_t x0, int32_t n, int32_t y) {
        return Vals(px.begin() + y * kW + x0, px.begin() + y * kW + x0 + n);
    }
    size_t bpr() const { return size_t((kW * bpp + 31) / 32) * 4; }
    void check_all() {
        for (int32_t y = 0; y < kH; ++y) {
            Bytes got(bpr()), el(size_t(kW) * elem_bytes(bpp));
            ASSERT_EQ(QV_DIB_raster_get(img, y, got.data(), 1), 0);
            ASSERT_EQ(got, packed(row(0, kW, y), bpp, bpr())) << "row " << y;
            ASSERT_EQ(QV_DIB_raster_get(img, y, el.data(), 2), 0);
            ASSERT_EQ(el, elems(row(0, kW, y), bpp)) << "row " << y;
        }
    }
    // A failure naming the image itself (iVal its handle), for run-encoded images.
    qvtest::Err layout(int32_t code) { return {code, int32_t(reinterpret_cast<intptr_t>(img)), 1}; }
    QUORIN img = nullptr;
    int32_t bpp = 0;
    Vals px = Vals(size_t(kW) * kH, 0);
    std::mt19937 rng{4242};
    size_t live_before = 0;
};

TEST_P(Access, RastersInBothFormats) {
    check_all();
    int32_t size1 = 0, size2 = 0;
    EXPECT_EQ((V{QV_DIB_raster_size_get(img, 1, &size1), size1,
                 QV_DIB_raster_size_get(img, 2, &size2), size2}),
              (V{0, int64_t(bpr()), 0, int64_t(kW * elem_bytes(bpp))}));
    for (int32_t x = 0; x < kW; ++x) at(x, 4) = (uint32_t(x) * 2654435761u) & max_value(bpp);
    ASSERT_EQ(QV_DIB_raster_set(img, 4, elems(row(0, kW, 4), bpp).data(), 2), 0);  // format 2
    check_all();
}

TEST_P(Access, RowSpansAtEveryOffset) {
    for (int trial = 0; trial < 60; ++trial) {
        int32_t y = int32_t(rng() % kH), left = int32_t(rng() % kW);
        int32_t n = 1 + int32_t(rng() % uint32_t(kW - left)), format = 1 + trial % 2;
        Vals vals(static_cast<size_t>(n));
        for (auto &v : vals) v = rng() & max_value(bpp);
        Bytes buf = format == 2 ? elems(vals, bpp) : packed(vals, bpp), got(buf.size(), 0xCD);
        ASSERT_EQ(QV_DIB_row_set(img, left, y, n, buf.data(), format), 0);
        std::copy(vals.begin(), vals.end(), &at(left, y));
        ASSERT_EQ(QV_DIB_row_get(img, left, y, n, got.data(), format), 0);
        ASSERT_EQ(got, buf) << "left " << left << " n " << n;
    }
    check_all();
}

TEST_P(Access, PixelsOneAtATime) {
    uint8_t v[4] = {};
    if (bpp == 32) {
        EXPECT_FAILS(QV_DIB_pixel_get(img, 3, 2, v), {QVE_DEPTH_UNSUPPORTED, 32, 0});
        EXPECT_FAILS(QV_DIB_pixel_set(img, 3, 2, v), {QVE_DEPTH_UNSUPPORTED, 32, 0});
        return;
    }
    for (int trial = 0; trial < 80; ++trial) {
        int32_t x = int32_t(rng() % kW), y = int32_t(rng() % kH);
        ASSERT_EQ(QV_DIB_pixel_get(img, x, y, v), 0);
        Bytes want = elems({at(x, y)}, bpp);
        ASSERT_EQ(Bytes(v, v + want.size()), want);
        at(x, y) = rng() & max_value(bpp);
        ASSERT_EQ(QV_DIB_pixel_set(img, x, y, elems({at(x, y)}, bpp).data()), 0);
    }
    check_all();
}

TEST_P(Access, AreasAndTheirSizes) {
    QV_RECT r{5, 2, 40, 7};
    const int32_t aw = 36, ah = 6;
    const size_t stride1 = size_t((aw * bpp + 31) / 32) * 4;
    size_t size1 = 0, size2 = 0;
    EXPECT_EQ((V{QV_DIB_area_size_get(img, &r, 1, &size1), int64_t(size1),
                 QV_DIB_area_size_get(img, &r, 2, &size2), int64_t(size2)}),
              (V{0, int64_t(stride1) * ah, 0, int64_t(aw * ah * elem_bytes(bpp))}));
    Bytes want1, want2, got1(size1, 0xEE), got2(size2, 0xEE);
    for (int32_t y = r.top; y <= r.bottom; ++y) {
        Bytes p = packed(row(r.left, aw, y), bpp, stride1), e = elems(row(r.left, aw, y), bpp);
        want1.insert(want1.end(), p.begin(), p.end());
        want2.insert(want2.end(), e.begin(), e.end());
    }
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_DIB_area_get_info(img, &r, got1.data(), 1, &info), 0);
    EXPECT_EQ(got1, want1);
    EXPECT_EQ((V{info.biWidth, info.biHeight, info.biBitCount, info.biSizeImage}),
              (V{aw, ah, bpp, int64_t(size1)}));
    ASSERT_EQ(QV_DIB_area_get(img, &r, got2.data(), 2), 0);
    EXPECT_EQ(got2, want2);
    if (GetParam().form == Form::Runs) {
        EXPECT_FAILS(QV_DIB_area_set(img, &r, got1.data(), 1), layout(QVE_DIB_LAYOUT));
        return;
    }
    QV_RECT r2{5, 1, 40, 6};  // the area written back one row up, in elements
    ASSERT_EQ(QV_DIB_area_set(img, &r2, got2.data(), 2), 0);
    for (int32_t y = 0; y < ah; ++y) {
        Vals moved = row(r.left, aw, r.top + y);
        std::copy(moved.begin(), moved.end(), &at(r2.left, r2.top + y));
    }
    check_all();
}

TEST_P(Access, ColumnsAndLines) {
    Bytes buf(64 * 4, 0);
    int32_t read = 0, count = 0;
    if (GetParam().form == Form::Runs) {
        EXPECT_FAILS(QV_DIB_column_get(img, 3, 0, 4, buf.data(), 2, &read),
                     layout(QVE_DIB_LAYOUT));
        EXPECT_EQ(QV_DIB_column_set(img, 3, 0, 4, buf.data(), 2), 1);
        EXPECT_FAILS(QV_DIB_line_get(img, 0, 0, 5, 5, buf.data(), nullptr, &count),
                     layout(QVE_LINE_LAYOUT));
        EXPECT_EQ(QV_DIB_line_set(img, 0, 0, 5, 5, buf.data(), 2), 1);
        return;
    }
    // Column: a read past the bottom is cut short; in elements, then packed.
    Vals col;
    for (int32_t y = 3; y < kH; ++y) col.push_back(at(10, y));
    EXPECT_EQ((V{QV_DIB_column_get(img, 10, 3, 100, buf.data(), 2, &read), read}), (V{0, kH - 3}));
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + ptrdiff_t(col.size() * elem_bytes(bpp))),
              elems(col, bpp));
    Bytes p = packed(col, bpp);
    std::fill(buf.begin(), buf.end(), 0xAB);
    ASSERT_EQ(QV_DIB_column_get(img, 10, 3, 6, buf.data(), 1, &read), 0);
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + ptrdiff_t(p.size())), p);
    // Column set in packed form, then compare everything.
    Vals nv;
    for (int i = 0; i < 5; ++i) nv.push_back(uint32_t(i * 77 + 1) & max_value(bpp));
    ASSERT_EQ(QV_DIB_column_set(img, 66, 4, 5, packed(nv, bpp).data(), 1), 0);
    for (int i = 0; i < 5; ++i) at(66, 4 + i) = nv[size_t(i)];
    EXPECT_FAILS(QV_DIB_column_set(img, 66, 5, 5, packed(nv, bpp).data(), 1),
                 {QVE_OUT_OF_RANGE, 5, 4});
    // Line: a diagonal with its points.
    std::vector<int32_t> pts(40, -1);
    EXPECT_EQ((V{QV_DIB_line_get(img, 2, 8, 10, 4, buf.data(), pts.data(), &count), count}),
              (V{0, 9}));
    Vals lv;
    for (int i = 0; i < count; ++i) {
        int32_t x = pts[size_t(2 * i)], y = pts[size_t(2 * i + 1)];
        EXPECT_EQ(x, 2 + i);
        EXPECT_EQ(y, 8 - (i + 1) / 2);  // Bresenham: y steps every other x
        lv.push_back(at(x, y));
    }
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + ptrdiff_t(lv.size() * elem_bytes(bpp))),
              elems(lv, bpp));
    // Paint a vertical line with one value (format 1).
    uint32_t paint = 0x5A5A5A5Au & max_value(bpp);
    ASSERT_EQ(QV_DIB_line_set(img, 20, 0, 20, 8, elems({paint}, bpp).data(), 1), 0);
    for (int32_t y = 0; y < kH; ++y) at(20, y) = paint;
    check_all();
}

std::string case_name(const ::testing::TestParamInfo<Case> &info) {
    const char *form[] = {"Packed", "Runs", "TopDown"};
    return form[int(info.param.form)] + std::to_string(info.param.bpp);
}
INSTANTIATE_TEST_SUITE_P(Depths, Access,
                         ::testing::Values(Case{1, Form::Packed}, Case{1, Form::Runs},
                                           Case{4, Form::Packed}, Case{8, Form::Packed},
                                           Case{16, Form::Packed}, Case{24, Form::Packed},
                                           Case{32, Form::Packed}, Case{1, Form::TopDown},
                                           Case{24, Form::TopDown}),
                         case_name);

TEST(AccessErrors, FormatsRowsAndBuffers) {
    QUORIN img = nullptr;
    QV_image_create_DIB(8, 4, 8, nullptr, &img);
    uint8_t buf[64] = {};
    QV_RECT bad{3, 0, 2, 1}, out{0, 0, 2, 4};
    size_t size = 0;
    EXPECT_FAILS(QV_DIB_raster_get(img, 0, buf, 3), {QVE_OUT_OF_RANGE, 3, 0});
    EXPECT_FAILS(QV_DIB_row_get(img, 0, 0, 4, buf, 3), {QVE_ACCESS_MODE, 3, 0});
    EXPECT_FAILS(QV_DIB_row_set(img, 0, 0, 4, buf, 7), {QVE_OUT_OF_RANGE, 7, 0});
    EXPECT_FAILS(QV_DIB_raster_get(img, 4, buf, 1), {QVE_ROW_RANGE, 4, 4});
    EXPECT_FAILS(QV_DIB_raster_set(img, 0, nullptr, 1), {QVE_NULL_POINTER, 0, 0});
    EXPECT_FAILS(QV_DIB_row_get(img, 5, 0, 4, buf, 2), {QVE_OUT_OF_RANGE, 4, 3});
    EXPECT_FAILS(QV_DIB_row_get(img, -1, 0, 4, buf, 2), {QVE_OUT_OF_RANGE, -1, 8});
    EXPECT_FAILS(QV_DIB_pixel_get(img, 8, 0, buf), {QVE_OUT_OF_RANGE, 8, 8});
    EXPECT_FAILS(QV_DIB_area_get(img, &bad, buf, 1), {QVE_RECT_ORDER, 3, 2});
    EXPECT_FAILS(QV_DIB_area_size_get(img, &out, 2, &size), {QVE_OUT_OF_RANGE, 4, 4});
    EXPECT_EQ(QV_DIB_area_size_get(img, nullptr, 2, &size), 0);  // null rect: whole image
    EXPECT_EQ(size, 32u);
    EXPECT_FAILS(QV_DIB_line_get(img, 0, 0, 0, 9, buf, nullptr, nullptr), {QVE_OUT_OF_RANGE, 9, 4});
    QV_image_delete(img);
    EXPECT_EQ(QV_DIB_raster_get(img, 0, buf, 3), 0);  // a deleted handle does nothing at all
    EXPECT_EQ(QV_error_check(), 0);
}

struct ChangeLog {
    int calls = 0;
    int32_t reason = 0, value = 0;
} g_changes;
void on_change(QUORIN, int32_t reason, int32_t value) {
    g_changes = {g_changes.calls + 1, reason, value};
}

TEST(AccessHooks, WritesRunTheChangedHook) {
    QUORIN img = nullptr;
    QV_image_create_DIB(8, 4, 8, nullptr, &img);
    g_changes = ChangeLog{};
    VPb_settings_hook_func_set(2, reinterpret_cast<void *>(&on_change));
    uint8_t v = 9;
    QV_DIB_pixel_set(img, 1, 3, &v);
    QV_DIB_pixel_get(img, 1, 3, &v);  // reads do not
    EXPECT_EQ((std::vector<int32_t>{g_changes.calls, g_changes.reason, g_changes.value}),
              (std::vector<int32_t>{1, QV_CHANGED_PIXELS, 3}));
    VPb_settings_hook_func_set(2, nullptr);
    QV_image_delete(img);
}

}  // namespace
