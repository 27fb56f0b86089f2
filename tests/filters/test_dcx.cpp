// DCX reading and writing: pages by number, each page's data ending at the
// next page (the 256-colour trailer is found there), stored pages, page
// counts, bad tables, and appending pages with the table-full rewrite.
#include <gtest/gtest.h>

#include <unistd.h>

#include <tuple>

#include "common/test_util.h"
#include "test_pcx_util.h"
#include "vosk32pd_bridge.h"

namespace {

using namespace pcxtest;

constexpr int32_t kDcx = 8;
constexpr int32_t kAppendSetting = 1 * 256 + 8;

class Dcx : public ::testing::Test {
protected:
    void SetUp() override {
        VPb_error_clear_on_set(1);
        QV_error_clear();
    }
    void TearDown() override {
        QV_load_tag_CB_register(nullptr, nullptr);
        QV_image_control_set(kAppendSetting, 0);
        QV_image_control_set(kDcx, 1);
        for (QUORIN h : images_) QV_image_delete(h);
        for (const auto &p : paths_) ::unlink(p.c_str());
        QV_error_clear();
    }
    static std::tuple<int32_t, int32_t, int32_t> first_error() {
        auto e = qvtest::error_at(0);
        return {e.code, e.iVal, e.lVal};
    }
    std::string path(const std::string &name) {
        paths_.push_back(qvtest::temp_path(name));
        ::unlink(paths_.back().c_str());
        return paths_.back();
    }
    QUORIN keep(QUORIN h) {
        if (h) images_.push_back(h);
        return h;
    }
    std::vector<QUORIN> images_;
    std::vector<std::string> paths_;
};

// Page 1: 8-bit 3 x 1 with its trailer; page 2: 1-bit 9 x 2; page 3: 24-bit
// 1 x 1, stored.
std::vector<Bytes> three_pages() {
    Header p1;
    p1.width = 3;
    p1.height = 1;
    Header p2;
    p2.bpp = 1;
    p2.width = 9;
    Header p3;
    p3.planes = 3;
    p3.width = 1;
    p3.height = 1;
    p3.encoding = 0;
    return {cat(cat(p1.bytes(), {0x01, 0xC2, 0xFE, 0x00}), trailer()),
            cat(p2.bytes(), {0xC1, 0xF0, 0x80, 0x0F, 0x00}), cat(p3.bytes(), {0xC5, 0, 0x11, 0, 0x22, 0})};
}

TEST_F(Dcx, ReadsEachPageWithItsOwnTrailer) {
    Bytes f = dcx(three_pages());
    Loaded a = load(f, 1), b = load(f, 2), c = load(f, 3);
    ASSERT_EQ(a.errors, 0);
    ASSERT_EQ(b.errors, 0);
    ASSERT_EQ(c.errors, 0);
    EXPECT_EQ(a.hdr.biBitCount, 8);
    EXPECT_EQ(a.rows[0], (Bytes{0x01, 0xFE, 0xFE, 0}));
    // The trailer lies before page 2, not before the end of the file.
    EXPECT_EQ(a.palette[0xFE].rgbRed, 0xFE);
    EXPECT_EQ(a.palette[0xFE].rgbGreen, 0x01);
    EXPECT_EQ(b.hdr.biBitCount, 1);
    EXPECT_EQ(b.hdr.biWidth, 9);
    EXPECT_EQ(b.rows[1], (Bytes{0x0F, 0x00, 0, 0}));
    EXPECT_EQ(c.hdr.biBitCount, 24);
    EXPECT_EQ(c.rows[0], (Bytes{0x22, 0x11, 0xC5, 0}));  // stored: 0xC5 is a value
    int32_t pages = 0, type = 0, value = -1;
    ASSERT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 3);
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, nullptr), 0);
    EXPECT_EQ(type, 8);
    EXPECT_EQ(value, 7);
}

TEST_F(Dcx, OffersMagicAndTableBeforeThePage) {
    Bytes f = dcx(three_pages());
    std::vector<Tag> tags;
    ASSERT_EQ(QV_load_tag_CB_register(collect_tag, &tags), 0);
    ASSERT_EQ(load(f, 2).errors, 0);
    ASSERT_EQ(tags.size(), 2u + 18u);
    EXPECT_EQ(tags[0].id, 500);
    EXPECT_EQ(tags[0].type, 4);
    EXPECT_EQ(tags[0].value, 987654321u);
    EXPECT_EQ(tags[1].id, 501);
    EXPECT_EQ(tags[1].type, 14);
    EXPECT_EQ(tags[1].count, 3);
    EXPECT_EQ(tags[1].value, 4100u);
    EXPECT_EQ(tags[2].id, 400);
    // The writer offers the table it writes: one page at 4100.
    QUORIN h = keep(load_image(f, 2));
    tags.clear();
    Bytes out(16384);
    size_t written = 0;
    ASSERT_EQ(QV_save_mem(h, out.data(), out.size(), 0, 0, 1, kDcx, &written), 0);
    ASSERT_GE(tags.size(), 2u);
    EXPECT_EQ(tags[0].id, 500);
    EXPECT_EQ(tags[1].id, 501);
    EXPECT_EQ(tags[1].count, 1);
    EXPECT_EQ(tags[1].value, 4100u);
}

TEST_F(Dcx, EmptyTableCountsOnePageButHasNone) {
    Bytes f = dcx({});
    int32_t pages = 0;
    ASSERT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 1);
    EXPECT_GE(load(f, 1).errors, 1);
    EXPECT_EQ(first_error(), std::make_tuple(-2060, 0, 0));
}

struct BadCase {
    const char *name;
    Bytes file;
    int32_t page;
    int32_t code, iVal, lVal;
};

class DcxBad : public Dcx, public ::testing::WithParamInterface<BadCase> {};

TEST_P(DcxBad, GivesItsCodeAndNoImage) {
    const BadCase &c = GetParam();
    int32_t errors = 0;
    EXPECT_EQ(load_image(c.file, c.page, &errors), nullptr);
    ASSERT_GE(errors, 1);
    EXPECT_EQ(first_error(), std::make_tuple(c.code, c.iVal, c.lVal));
}

Bytes cut_table() {
    Bytes f = dcx(three_pages());
    f.resize(14);  // magic, two entries and half of the third
    return f;
}
Bytes page_past_end() {
    Bytes f = dcx(three_pages());
    put32(f, 8, 1u << 20);
    return f;
}
Bytes bad_manufacturer() {
    Bytes f = dcx(three_pages());
    f[4100] = 11;
    return f;
}
Bytes short_stored_line() {
    std::vector<Bytes> p = three_pages();
    p[2].resize(128 + 5);
    return dcx(p);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, DcxBad,
    ::testing::Values(BadCase{"PageOutOfRange", dcx(three_pages()), 4, -2060, 3, 3},
                      BadCase{"TablePastTheEnd", cut_table(), 1, -2060, 2, 0},
                      BadCase{"PagePastTheEnd", page_past_end(), 2, -2052, 128, 0},
                      BadCase{"BadManufacturer", bad_manufacturer(), 1, -2060, 11, 10},
                      BadCase{"ShortStoredLine", short_stored_line(), 3, -2051, 6, 5}),
    [](const auto &info) { return std::string(info.param.name); });

// Writes each page of `f` into `out` in turn, appending.
void append_pages(const Bytes &f, int pages, const std::string &out, std::vector<QUORIN> &keep) {
    ASSERT_EQ(QV_image_control_set(kAppendSetting, 1), 0);
    for (int p = 1; p <= pages; ++p) {
        QUORIN h = load_image(f, p);
        ASSERT_NE(h, nullptr);
        keep.push_back(h);
        ASSERT_EQ(QV_save_file(h, out.c_str(), kDcx), 0) << "page " << p;
    }
}

TEST_F(Dcx, AppendingBuildsTheTablePageByPage) {
    const Bytes src = dcx(three_pages());
    const std::string out = path("append.dcx");
    append_pages(src, 3, out, images_);
    Bytes f = qvtest::read_file(out);
    ASSERT_GT(f.size(), 4100u);
    EXPECT_EQ(get32(f, 0), 987654321u);
    EXPECT_EQ(get32(f, 4), 4100u);
    EXPECT_GT(get32(f, 8), 4100u);
    EXPECT_GT(get32(f, 12), get32(f, 8));
    EXPECT_EQ(get32(f, 16), 0u);
    int32_t pages = 0;
    ASSERT_EQ(QV_page_count_get(out.c_str(), &pages), 0);
    EXPECT_EQ(pages, 3);
    for (int p = 1; p <= 3; ++p) {
        Loaded a = load(src, p), b = load(f, p);
        ASSERT_EQ(b.errors, 0) << p;
        EXPECT_EQ(b.rgb_bytes(), a.rgb_bytes()) << p;
    }
    // Without the append flag the file is written anew with one page.
    QV_image_control_set(kAppendSetting, 0);
    const std::string fresh = path("fresh.dcx");
    ASSERT_EQ(QV_save_file(images_[0], fresh.c_str(), kDcx), 0);
    ASSERT_EQ(QV_page_count_get(fresh.c_str(), &pages), 0);
    EXPECT_EQ(pages, 1);
}

TEST_F(Dcx, AppendingToAFullTableRewritesTheFile) {
    std::vector<Bytes> pages(1024, three_pages()[0]);
    Bytes full(4100, 0);
    put32(full, 0, 987654321u);
    for (int i = 0; i < 1024; ++i) put32(full, 4 + 4 * i, 4100);
    full = cat(full, pages[0]);
    const std::string out = path("full.dcx");
    ASSERT_TRUE(qvtest::write_file(out, full));
    int32_t count = 0;
    ASSERT_EQ(QV_page_count_get(out.c_str(), &count), 0);
    EXPECT_EQ(count, 1024);
    Bytes one = dcx({three_pages()[1]});
    QUORIN h = keep(load_image(one, 1));
    ASSERT_EQ(QV_image_control_set(kAppendSetting, 1), 0);
    ASSERT_EQ(QV_save_file(h, out.c_str(), kDcx), 0);
    Bytes f = qvtest::read_file(out);
    EXPECT_EQ(get32(f, 4), 4100u);
    EXPECT_EQ(get32(f, 8), 0u);
    // The file ends with the new page: nothing of the longer old file is left.
    int64_t page_bytes = 0;
    ASSERT_EQ(QV_save_file_size_calc(h, 31, &page_bytes), 0);
    EXPECT_EQ(f.size(), 4100u + uint64_t(page_bytes));
    Loaded back = load(f, 1);
    ASSERT_EQ(back.errors, 0);
    EXPECT_EQ(back.hdr.biBitCount, 1);
}

TEST_F(Dcx, AppendingToAnotherFormatRewritesTheFile) {
    const std::string out = path("notdcx.dcx");
    ASSERT_TRUE(qvtest::write_file(out, Bytes(5000, 0x55)));
    append_pages(dcx(three_pages()), 1, out, images_);
    Bytes f = qvtest::read_file(out);
    EXPECT_EQ(get32(f, 0), 987654321u);
    EXPECT_EQ(get32(f, 4), 4100u);
    EXPECT_EQ(get32(f, 8), 0u);
}

TEST_F(Dcx, StoredPagesWhenTheCompressionFlagIsOff) {
    QUORIN h = keep(load_image(dcx(three_pages()), 3));
    ASSERT_EQ(QV_image_control_set(kDcx, 0), 0);
    Bytes out(8192);
    size_t written = 0;
    ASSERT_EQ(QV_save_mem(h, out.data(), out.size(), 0, 0, 1, kDcx, &written), 0);
    out.resize(written);
    ASSERT_EQ(out.size(), 4100u + 128 + 6);
    EXPECT_EQ(out[4100 + 2], 0);
    EXPECT_EQ(Bytes(out.begin() + 4228, out.end()), (Bytes{0xC5, 0, 0x11, 0, 0x22, 0}));
    int32_t type = 0, value = -1;
    ASSERT_EQ(QV_info_get_mem(out.data(), out.size(), &type, &value, nullptr), 0);
    EXPECT_EQ(value, 0);
}

TEST_F(Dcx, WriterRefusesOtherDepths) {
    QUORIN h = nullptr;
    ASSERT_EQ(QV_image_create_DIB(2, 2, 32, nullptr, &h), 0);
    keep(h);
    Bytes out(8192);
    size_t written = 0;
    EXPECT_GE(QV_save_mem(h, out.data(), out.size(), 0, 0, 1, kDcx, &written), 1);
    EXPECT_EQ(first_error(), std::make_tuple(-2413, 32, 0));
    EXPECT_EQ(written, 0u);
}

}  // namespace
