// Pixel access at every depth, packed (format 1) and element (format 2)
// buffers, on ordinary and run-encoded images, against a per-pixel model;
// and the error codes of each operation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace {

using Bytes = std::vector<uint8_t>;
using qvtest::error_at;

void expect_error(int32_t code, int32_t ival, int32_t lval) {
    ASSERT_GE(QV_error_check(), 1);
    EXPECT_EQ(error_at(0).code, code);
    EXPECT_EQ(error_at(0).iVal, ival);
    EXPECT_EQ(error_at(0).lVal, lval);
}

size_t elem_bytes(int bpp) { return bpp <= 8 ? 1 : size_t(bpp / 8); }
uint32_t max_value(int bpp) { return bpp >= 32 ? 0xFFFFFFFFu : (1u << bpp) - 1; }

// Model: one value per pixel; pack/unpack written pixel by pixel.
struct Model {
    int32_t w, h, bpp;
    std::vector<uint32_t> px;
    uint32_t &at(int32_t x, int32_t y) { return px[size_t(y) * size_t(w) + size_t(x)]; }

    // Format 1 bytes of pixels [x0, x0 + n) of row y, from bit 0.
    Bytes packed(int32_t x0, int32_t n, int32_t y, size_t pad_to = 0) {
        Bytes out((size_t(n) * size_t(bpp) + 7) / 8, 0);
        for (int32_t i = 0; i < n; ++i) put_packed(out, i, at(x0 + i, y));
        if (out.size() < pad_to) out.resize(pad_to, 0);
        return out;
    }
    void put_packed(Bytes &out, int32_t i, uint32_t v) {
        if (bpp < 8) {
            size_t bit = size_t(i) * size_t(bpp);
            out[bit / 8] |= uint8_t(v << (8 - bpp - bit % 8));
        } else {
            for (size_t k = 0; k < size_t(bpp / 8); ++k) out[size_t(i) * (bpp / 8) + k] = uint8_t(v >> (8 * k));
        }
    }
    // Format 2 elements of a pixel sequence.
    Bytes elems(const std::vector<uint32_t> &vals) {
        Bytes out(vals.size() * elem_bytes(bpp));
        for (size_t i = 0; i < vals.size(); ++i) {
            if (bpp == 16) {
                auto v = uint16_t(vals[i]);
                std::memcpy(&out[2 * i], &v, 2);
            } else if (bpp <= 8) {
                out[i] = uint8_t(vals[i]);
            } else {
                for (size_t k = 0; k < elem_bytes(bpp); ++k) out[i * elem_bytes(bpp) + k] = uint8_t(vals[i] >> (8 * k));
            }
        }
        return out;
    }
    std::vector<uint32_t> row_vals(int32_t x0, int32_t n, int32_t y) {
        std::vector<uint32_t> v;
        for (int32_t i = 0; i < n; ++i) v.push_back(at(x0 + i, y));
        return v;
    }
};

struct Fixture {
    QUORIN img = nullptr;
    Model m;
};

enum class Form { Packed, Runs, TopDown };

QUORIN make_image(int32_t w, int32_t h, int32_t bpp, Form form) {
    QUORIN img = nullptr;
    if (form == Form::Runs) {
        img = VPb_image_alloc(VPb_AF_mem_unique_tag_get());
        QV_DIB_HEADER t;
        VPb_DIB_init(&t, w, h, 1, 0, 0, 0);
        VPb_image_associate(VPb_DIB_alloc(img, &t, nullptr), img, 1);
    } else {
        EXPECT_EQ(QV_image_create_DIB(w, h, bpp, nullptr, &img), 0);
        if (form == Form::TopDown) {
            // Export, flip to top-down storage, import back.
            QV_DIB_HEADER *d = nullptr;
            QV_image_export_DIB(img, &d);
            d->biHeight = -d->biHeight;
            QV_image_import_DIB(d, &img);
        }
    }
    return img;
}

struct Case {
    int32_t bpp;
    Form form;
};
class Access : public ::testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        const Case &c = GetParam();
        f.m = Model{kW, kH, c.bpp, std::vector<uint32_t>(size_t(kW) * kH, 0)};
        f.img = make_image(kW, kH, c.bpp, c.form);
        ASSERT_NE(f.img, nullptr);
        // Fill every row with random values through whole rasters (format 1).
        for (int32_t y = 0; y < kH; ++y) {
            for (int32_t x = 0; x < kW; ++x) f.m.at(x, y) = rng() & max_value(c.bpp);
            if (c.bpp == 1 && y % 3 == 0)  // long runs too
                for (int32_t x = 0; x < kW; ++x) f.m.at(x, y) = (x / 17) & 1;
            Bytes row = f.m.packed(0, kW, y, bpr());
            ASSERT_EQ(QV_DIB_raster_set(f.img, y, row.data(), 1), 0);
        }
        live_before = iQV_mem_live_blocks();
    }
    void TearDown() override {
        EXPECT_EQ(iQV_mem_live_blocks(), live_before);  // access leaves nothing behind
        QV_image_delete(f.img);
    }
    size_t bpr() const { return size_t((kW * GetParam().bpp + 31) / 32) * 4; }
    void check_all() {
        for (int32_t y = 0; y < kH; ++y) {
            Bytes got(bpr());
            ASSERT_EQ(QV_DIB_raster_get(f.img, y, got.data(), 1), 0);
            ASSERT_EQ(got, f.m.packed(0, kW, y, bpr())) << "row " << y;
            Bytes el(size_t(kW) * elem_bytes(GetParam().bpp));
            ASSERT_EQ(QV_DIB_raster_get(f.img, y, el.data(), 2), 0);
            ASSERT_EQ(el, f.m.elems(f.m.row_vals(0, kW, y))) << "row " << y;
        }
    }
    static constexpr int32_t kW = 67, kH = 9;
    Fixture f;
    std::mt19937 rng{4242};
    size_t live_before = 0;
};

TEST_P(Access, RastersInBothFormats) {
    check_all();
    int32_t size = 0;
    QV_DIB_raster_size_get(f.img, 1, &size);
    EXPECT_EQ(size_t(size), bpr());
    QV_DIB_raster_size_get(f.img, 2, &size);
    EXPECT_EQ(size_t(size), size_t(kW) * elem_bytes(GetParam().bpp));
    // Format-2 writes.
    for (int32_t x = 0; x < kW; ++x) f.m.at(x, 4) = (uint32_t(x) * 2654435761u) & max_value(GetParam().bpp);
    Bytes el = f.m.elems(f.m.row_vals(0, kW, 4));
    ASSERT_EQ(QV_DIB_raster_set(f.img, 4, el.data(), 2), 0);
    check_all();
}

TEST_P(Access, RowSpansAtEveryOffset) {
    int bpp = GetParam().bpp;
    for (int trial = 0; trial < 60; ++trial) {
        int32_t y = int32_t(rng() % kH), left = int32_t(rng() % kW);
        int32_t n = 1 + int32_t(rng() % uint32_t(kW - left));
        int format = 1 + trial % 2;
        std::vector<uint32_t> vals(static_cast<size_t>(n));
        for (auto &v : vals) v = rng() & max_value(bpp);
        Bytes buf;
        if (format == 2) {
            buf = f.m.elems(vals);
        } else {
            Model tmp{n, 1, bpp, vals};
            buf = tmp.packed(0, n, 0);
        }
        ASSERT_EQ(QV_DIB_row_set(f.img, left, y, n, buf.data(), format), 0);
        for (int32_t i = 0; i < n; ++i) f.m.at(left + i, y) = vals[size_t(i)];
        Bytes got(buf.size(), 0xCD);
        ASSERT_EQ(QV_DIB_row_get(f.img, left, y, n, got.data(), format), 0);
        ASSERT_EQ(got, buf) << "left " << left << " n " << n;
    }
    check_all();
}

TEST_P(Access, PixelsOneAtATime) {
    int bpp = GetParam().bpp;
    for (int trial = 0; trial < 80; ++trial) {
        int32_t x = int32_t(rng() % kW), y = int32_t(rng() % kH);
        uint8_t v[4] = {};
        if (bpp == 32) {
            EXPECT_EQ(QV_DIB_pixel_get(f.img, x, y, v), 1);
            expect_error(QVE_DEPTH_UNSUPPORTED, 32, 0);
            EXPECT_EQ(QV_DIB_pixel_set(f.img, x, y, v), 1);
            return;
        }
        ASSERT_EQ(QV_DIB_pixel_get(f.img, x, y, v), 0);
        Bytes want = f.m.elems({f.m.at(x, y)});
        ASSERT_EQ(Bytes(v, v + want.size()), want);
        uint32_t nv = rng() & max_value(bpp);
        Bytes put = f.m.elems({nv});
        ASSERT_EQ(QV_DIB_pixel_set(f.img, x, y, put.data()), 0);
        f.m.at(x, y) = nv;
    }
    check_all();
}

TEST_P(Access, AreasAndTheirSizes) {
    int bpp = GetParam().bpp;
    QV_RECT r{5, 2, 40, 7};
    int32_t aw = 36, ah = 6;
    size_t size1 = 0, size2 = 0;
    ASSERT_EQ(QV_DIB_area_size_get(f.img, &r, 1, &size1), 0);
    ASSERT_EQ(QV_DIB_area_size_get(f.img, &r, 2, &size2), 0);
    size_t stride1 = size_t((aw * bpp + 31) / 32) * 4;
    EXPECT_EQ(size1, stride1 * size_t(ah));
    EXPECT_EQ(size2, size_t(aw * ah) * elem_bytes(bpp));
    Bytes want1, want2;
    for (int32_t y = r.top; y <= r.bottom; ++y) {
        Bytes p = f.m.packed(r.left, aw, y, stride1);
        want1.insert(want1.end(), p.begin(), p.end());
        Bytes e = f.m.elems(f.m.row_vals(r.left, aw, y));
        want2.insert(want2.end(), e.begin(), e.end());
    }
    Bytes got1(size1, 0xEE), got2(size2, 0xEE);
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_DIB_area_get_info(f.img, &r, got1.data(), 1, &info), 0);
    EXPECT_EQ(got1, want1);
    EXPECT_EQ(info.biWidth, aw);
    EXPECT_EQ(info.biHeight, ah);
    EXPECT_EQ(info.biBitCount, bpp);
    EXPECT_EQ(info.biSizeImage, size1);
    ASSERT_EQ(QV_DIB_area_get(f.img, &r, got2.data(), 2), 0);
    EXPECT_EQ(got2, want2);
    if (GetParam().form == Form::Runs) {
        EXPECT_EQ(QV_DIB_area_set(f.img, &r, got1.data(), 1), 1);
        expect_error(QVE_DIB_LAYOUT, int32_t(reinterpret_cast<intptr_t>(f.img)), 1);
        return;
    }
    // Write the area back shifted by one row, in elements.
    QV_RECT r2{5, 1, 40, 6};
    ASSERT_EQ(QV_DIB_area_set(f.img, &r2, got2.data(), 2), 0);
    Model before = f.m;
    for (int32_t y = 0; y < ah; ++y)
        for (int32_t x = 0; x < aw; ++x) f.m.at(r2.left + x, r2.top + y) = before.at(r.left + x, r.top + y);
    check_all();
}

TEST_P(Access, ColumnsAndLines) {
    int bpp = GetParam().bpp;
    Bytes buf(64 * 4, 0);
    int32_t read = 0, count = 0;
    if (GetParam().form == Form::Runs) {
        EXPECT_EQ(QV_DIB_column_get(f.img, 3, 0, 4, buf.data(), 2, &read), 1);
        expect_error(QVE_DIB_LAYOUT, int32_t(reinterpret_cast<intptr_t>(f.img)), 1);
        EXPECT_EQ(QV_DIB_column_set(f.img, 3, 0, 4, buf.data(), 2), 1);
        EXPECT_EQ(QV_DIB_line_get(f.img, 0, 0, 5, 5, buf.data(), nullptr, &count), 1);
        expect_error(QVE_LINE_LAYOUT, int32_t(reinterpret_cast<intptr_t>(f.img)), 1);
        EXPECT_EQ(QV_DIB_line_set(f.img, 0, 0, 5, 5, buf.data(), 2), 1);
        return;
    }
    // Column: read past the bottom is cut short.
    std::vector<uint32_t> col;
    for (int32_t y = 3; y < kH; ++y) col.push_back(f.m.at(10, y));
    ASSERT_EQ(QV_DIB_column_get(f.img, 10, 3, 100, buf.data(), 2, &read), 0);
    EXPECT_EQ(read, kH - 3);
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + ptrdiff_t(col.size() * elem_bytes(bpp))), f.m.elems(col));
    Model seq{int32_t(col.size()), 1, bpp, col};
    Bytes packed = seq.packed(0, int32_t(col.size()), 0);
    std::fill(buf.begin(), buf.end(), 0xAB);
    ASSERT_EQ(QV_DIB_column_get(f.img, 10, 3, 6, buf.data(), 1, &read), 0);
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + ptrdiff_t(packed.size())), packed);
    // Column set in packed form, then compare everything.
    std::vector<uint32_t> nv;
    for (int i = 0; i < 5; ++i) nv.push_back(uint32_t(i * 77 + 1) & max_value(bpp));
    Model seq2{5, 1, bpp, nv};
    Bytes p2 = seq2.packed(0, 5, 0);
    ASSERT_EQ(QV_DIB_column_set(f.img, 66, 4, 5, p2.data(), 1), 0);
    for (int i = 0; i < 5; ++i) f.m.at(66, 4 + i) = nv[size_t(i)];
    EXPECT_EQ(QV_DIB_column_set(f.img, 66, 5, 5, p2.data(), 1), 1);
    expect_error(QVE_OUT_OF_RANGE, 5, 4);
    // Line: a diagonal with its points.
    std::vector<int32_t> pts(40, -1);
    ASSERT_EQ(QV_DIB_line_get(f.img, 2, 8, 10, 4, buf.data(), pts.data(), &count), 0);
    EXPECT_EQ(count, 9);
    std::vector<uint32_t> lv;
    for (int i = 0; i < count; ++i) {
        int32_t x = pts[size_t(2 * i)], y = pts[size_t(2 * i + 1)];
        EXPECT_EQ(x, 2 + i);
        EXPECT_EQ(y, 8 - (i + 1) / 2);  // Bresenham: y steps every other x
        lv.push_back(f.m.at(x, y));
    }
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + ptrdiff_t(lv.size() * elem_bytes(bpp))), f.m.elems(lv));
    // Paint a vertical line with one value (format 1).
    uint32_t paint = 0x5A5A5A5Au & max_value(bpp);
    Bytes one = f.m.elems({paint});
    ASSERT_EQ(QV_DIB_line_set(f.img, 20, 0, 20, 8, one.data(), 1), 0);
    for (int32_t y = 0; y < kH; ++y) f.m.at(20, y) = paint;
    check_all();
}

std::string case_name(const ::testing::TestParamInfo<Case> &info) {
    const char *form[] = {"Packed", "Runs", "TopDown"};
    return std::string(form[int(info.param.form)]) + std::to_string(info.param.bpp);
}

INSTANTIATE_TEST_SUITE_P(Depths, Access,
                         ::testing::Values(Case{1, Form::Packed}, Case{1, Form::Runs}, Case{4, Form::Packed},
                                           Case{8, Form::Packed}, Case{16, Form::Packed}, Case{24, Form::Packed},
                                           Case{32, Form::Packed}, Case{1, Form::TopDown},
                                           Case{24, Form::TopDown}),
                         case_name);

TEST(AccessErrors, FormatsRowsAndBuffers) {
    QUORIN img = nullptr;
    QV_image_create_DIB(8, 4, 8, nullptr, &img);
    uint8_t buf[64] = {};
    EXPECT_EQ(QV_DIB_raster_get(img, 0, buf, 3), 1);
    expect_error(QVE_OUT_OF_RANGE, 3, 0);
    EXPECT_EQ(QV_DIB_row_get(img, 0, 0, 4, buf, 3), 1);
    expect_error(QVE_ACCESS_MODE, 3, 0);
    EXPECT_EQ(QV_DIB_row_set(img, 0, 0, 4, buf, 7), 1);
    expect_error(QVE_OUT_OF_RANGE, 7, 0);
    EXPECT_EQ(QV_DIB_raster_get(img, 4, buf, 1), 1);
    expect_error(QVE_ROW_RANGE, 4, 4);
    EXPECT_EQ(QV_DIB_raster_set(img, 0, nullptr, 1), 1);
    expect_error(QVE_NULL_POINTER, 0, 0);
    EXPECT_EQ(QV_DIB_row_get(img, 5, 0, 4, buf, 2), 1);
    expect_error(QVE_OUT_OF_RANGE, 4, 3);
    EXPECT_EQ(QV_DIB_row_get(img, -1, 0, 4, buf, 2), 1);
    expect_error(QVE_OUT_OF_RANGE, -1, 8);
    EXPECT_EQ(QV_DIB_pixel_get(img, 8, 0, buf), 1);
    expect_error(QVE_OUT_OF_RANGE, 8, 8);
    QV_RECT bad{3, 0, 2, 1};
    EXPECT_EQ(QV_DIB_area_get(img, &bad, buf, 1), 1);
    expect_error(QVE_RECT_ORDER, 3, 2);
    QV_RECT out{0, 0, 2, 4};
    size_t size = 0;
    EXPECT_EQ(QV_DIB_area_size_get(img, &out, 2, &size), 1);
    expect_error(QVE_OUT_OF_RANGE, 4, 4);
    EXPECT_EQ(QV_DIB_area_size_get(img, nullptr, 2, &size), 0);  // null rect: whole image
    EXPECT_EQ(size, 32u);
    EXPECT_EQ(QV_DIB_line_get(img, 0, 0, 0, 9, buf, nullptr, nullptr), 1);
    expect_error(QVE_OUT_OF_RANGE, 9, 4);
    QV_image_delete(img);
    // A deleted handle does nothing at all.
    EXPECT_EQ(QV_DIB_raster_get(img, 0, buf, 3), 0);
    EXPECT_EQ(QV_error_check(), 0);
}

struct ChangeLog {
    int calls = 0;
    int32_t reason = 0, value = 0;
} g_changes;
void on_change(QUORIN, int32_t reason, int32_t value) {
    ++g_changes.calls;
    g_changes.reason = reason;
    g_changes.value = value;
}

TEST(AccessHooks, WritesRunTheChangedHook) {
    QUORIN img = nullptr;
    QV_image_create_DIB(8, 4, 8, nullptr, &img);
    g_changes = ChangeLog{};
    VPb_settings_hook_func_set(2, reinterpret_cast<void *>(&on_change));
    uint8_t v = 9;
    QV_DIB_pixel_set(img, 1, 3, &v);
    EXPECT_EQ(g_changes.calls, 1);
    EXPECT_EQ(g_changes.reason, QV_CHANGED_PIXELS);
    EXPECT_EQ(g_changes.value, 3);
    QV_DIB_pixel_get(img, 1, 3, &v);
    EXPECT_EQ(g_changes.calls, 1);
    VPb_settings_hook_func_set(2, nullptr);
    QV_image_delete(img);
}

}  // namespace
