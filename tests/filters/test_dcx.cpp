// DCX reading and writing: pages by number, each page's data ending at the
// next page (the 256-colour trailer is found there), stored pages, page
// counts, bad tables, and appending pages with the table-full rewrite (stored
// pages: test_pcx_write.cpp).
#include "test_pcx_util.h"

namespace {

using namespace pcxtest;

class Dcx : public PcxTest {};

// Page 1: 8-bit 3 x 1 with its trailer; page 2: 1-bit 9 x 2; page 3: 24-bit
// 1 x 1, stored.
std::vector<Bytes> three_pages() {
    return {cat(Header{.width = 3, .height = 1}.with({0x01, 0xC2, 0xFE, 0x00}), trailer()),
            Header{.bpp = 1, .width = 9}.with({0xC1, 0xF0, 0x80, 0x0F, 0x00}),
            Header{.encoding = 0, .planes = 3, .width = 1, .height = 1}.with(
                {0xC5, 0, 0x11, 0, 0x22, 0})};
}

TEST_F(Dcx, ReadsEachPageWithItsOwnTrailer) {
    const Bytes f = dcx(three_pages());
    const Loaded a = load(f, 1), b = load(f, 2), c = load(f, 3);
    ASSERT_EQ(std::make_tuple(a.errors, b.errors, c.errors), std::make_tuple(0, 0, 0));
    EXPECT_EQ(a.hdr.biBitCount, 8);
    EXPECT_EQ(a.rows[0], (Bytes{0x01, 0xFE, 0xFE, 0}));
    // The trailer lies before page 2, not before the end of the file.
    EXPECT_EQ(Loaded::color(a.palette[0xFE]), 0xFE017Fu);
    EXPECT_EQ(std::make_tuple(b.hdr.biBitCount, b.hdr.biWidth), std::make_tuple(1, 9));
    EXPECT_EQ(b.rows[1], (Bytes{0x0F, 0x00, 0, 0}));
    EXPECT_EQ(c.hdr.biBitCount, 24);
    EXPECT_EQ(c.rows[0], (Bytes{0x22, 0x11, 0xC5, 0}));  // stored: 0xC5 is a value
    int32_t pages = 0, type = 0, value = -1;
    ASSERT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 3);
    const Bytes empty = dcx({});  // an empty table counts one page (and loads none)
    ASSERT_EQ(QV_page_count_get_mem(empty.data(), empty.size(), &pages), 0);
    EXPECT_EQ(pages, 1);
    ASSERT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, nullptr), 0);
    EXPECT_EQ(std::make_tuple(type, value), std::make_tuple(kDcx, 7));
}

TEST_F(Dcx, OffersMagicAndTableBeforeThePage) {
    const Bytes f = dcx(three_pages());
    std::vector<Tag> tags;
    ASSERT_EQ(QV_load_tag_CB_register(collect_tag, &tags), 0);
    ASSERT_EQ(load(f, 2).errors, 0);
    ASSERT_EQ(tags.size(), 2u + 18u);
    EXPECT_EQ(tags[0], (Tag{500, 4, 4, kDcxMagic}));
    EXPECT_EQ(tags[1], (Tag{501, 14, 3, 4100}));
    EXPECT_EQ(tags[2].id, 400);
    // The writer offers the table it writes: one page at 4100.
    QUORIN h = image_of(f, 2);
    tags.clear();
    save(h, kDcx);
    ASSERT_GE(tags.size(), 2u);
    EXPECT_EQ(tags[0], (Tag{500, 4, 4, kDcxMagic}));
    EXPECT_EQ(tags[1], (Tag{501, 14, 1, 4100}));
}

struct BadCase {
    const char *name;
    Bytes file;
    int32_t page;
    qvtest::Err err;
};

class DcxBad : public Dcx, public ::testing::WithParamInterface<BadCase> {};

TEST_P(DcxBad, GivesItsCodeAndNoImage) {
    int32_t errors = 0;
    EXPECT_EQ(load_mem(GetParam().file, &errors, GetParam().page), nullptr);
    EXPECT_EQ(errors, 1);
    EXPECT_STACK(GetParam().err);
}

// The three pages with one change.
Bytes edited(void (*edit)(Bytes &)) {
    Bytes f = dcx(three_pages());
    edit(f);
    return f;
}

INSTANTIATE_TEST_SUITE_P(
    Codes, DcxBad,
    ::testing::Values(
        BadCase{"EmptyTable", dcx({}), 1, {-2060, 0, 0}},
        BadCase{"PageOutOfRange", dcx(three_pages()), 4, {-2060, 3, 3}},
        // Magic, two entries and half of the third.
        BadCase{"TablePastTheEnd", edited([](Bytes &f) { f.resize(14); }), 1, {-2060, 2, 0}},
        BadCase{"PagePastTheEnd", edited([](Bytes &f) { put32(f, 8, 1u << 20); }), 2,
                {-2052, 128, 0}},
        BadCase{"BadManufacturer", edited([](Bytes &f) { f[4100] = 11; }), 1, {-2060, 11, 10}},
        BadCase{"ShortStoredLine", edited([](Bytes &f) { f.resize(f.size() - 1); }), 3,
                {-2051, 6, 5}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(Dcx, AppendingBuildsTheTablePageByPage) {
    const Bytes src = dcx(three_pages());
    const std::string out = path("append.dcx"), fresh = path("fresh.dcx");
    ASSERT_EQ(QV_image_control_set(kDcxAppend, 1), 0);
    for (int p = 1; p <= 3; ++p)
        ASSERT_EQ(QV_save_file(image_of(src, p), out.c_str(), kDcx), 0) << p;
    const Bytes f = qvtest::read_file(out);
    ASSERT_GT(f.size(), 4100u);
    EXPECT_EQ(std::make_tuple(get32(f, 0), get32(f, 4), get32(f, 16)),
              std::make_tuple(kDcxMagic, 4100u, 0u));
    EXPECT_GT(get32(f, 8), 4100u);
    EXPECT_GT(get32(f, 12), get32(f, 8));
    int32_t pages = 0;
    ASSERT_EQ(QV_page_count_get(out.c_str(), &pages), 0);
    EXPECT_EQ(pages, 3);
    for (int p = 1; p <= 3; ++p) {
        const Loaded b = load(f, p);
        ASSERT_EQ(b.errors, 0) << p;
        EXPECT_EQ(b.rgb_bytes(), load(src, p).rgb_bytes()) << p;
    }
    // Without the append flag the file is written anew with one page.
    QV_image_control_set(kDcxAppend, 0);
    ASSERT_EQ(QV_save_file(images_[0], fresh.c_str(), kDcx), 0);
    ASSERT_EQ(QV_page_count_get(fresh.c_str(), &pages), 0);
    EXPECT_EQ(pages, 1);
}

// Appending to a full table, or to a file of another format, writes the
// file anew with the page as its only entry and nothing of the old file left.
TEST_F(Dcx, AppendingToAFullTableOrAnotherFormatRewritesTheFile) {
    Bytes full(4100, 0);
    put32(full, 0, kDcxMagic);
    for (int i = 0; i < 1024; ++i) put32(full, 4 + 4 * i, 4100);
    full = cat(full, three_pages()[0]);
    const std::string out = path("full.dcx"), other = path("notdcx.dcx");
    ASSERT_TRUE(qvtest::write_file(out, full));
    ASSERT_TRUE(qvtest::write_file(other, Bytes(5000, 0x55)));
    int32_t count = 0;
    ASSERT_EQ(QV_page_count_get(out.c_str(), &count), 0);
    EXPECT_EQ(count, 1024);
    QUORIN h = image_of(dcx({three_pages()[1]}));
    int64_t page_bytes = 0;
    ASSERT_EQ(QV_save_file_size_calc(h, kPcx, &page_bytes), 0);
    ASSERT_EQ(QV_image_control_set(kDcxAppend, 1), 0);
    for (const std::string &p : {out, other}) {
        SCOPED_TRACE(p);
        ASSERT_EQ(QV_save_file(h, p.c_str(), kDcx), 0);
        const Bytes f = qvtest::read_file(p);
        EXPECT_EQ(std::make_tuple(get32(f, 0), get32(f, 4), get32(f, 8)),
                  std::make_tuple(kDcxMagic, 4100u, 0u));
        EXPECT_EQ(f.size(), 4100u + uint64_t(page_bytes));
        const Loaded back = load(f, 1);
        ASSERT_EQ(back.errors, 0);
        EXPECT_EQ(back.hdr.biBitCount, 1);
    }
}

// An append into a memory buffer writes the same bytes as the same append
// to a file: the data a caller hands in is the file, the buffer's spare
// capacity (here filled with a pattern) is never read as part of it.
TEST_F(Dcx, AppendsInMemoryMatchAppendsToFiles) {
    Bytes magic(4, 0);
    put32(magic, 0, kDcxMagic);
    const std::vector<Bytes> starts = {{}, magic, dcx({three_pages()[0]}), dcx(three_pages()),
                                       Bytes(700, 0x55)};
    QUORIN h = image_of(dcx({three_pages()[1]}));
    ASSERT_EQ(QV_image_control_set(kDcxAppend, 1), 0);
    for (size_t i = 0; i < starts.size(); ++i) {
        SCOPED_TRACE(i);
        const std::string p = path("mem" + std::to_string(i) + ".dcx");
        ASSERT_TRUE(qvtest::write_file(p, starts[i]));
        ASSERT_EQ(QV_save_file(h, p.c_str(), kDcx), 0);
        Bytes buf(64 * 1024, 0xC3);
        std::copy(starts[i].begin(), starts[i].end(), buf.begin());
        size_t written = 0;
        ASSERT_EQ(QV_save_mem(h, buf.data(), buf.size(), starts[i].size(), 1, 1, kDcx, &written), 0);
        buf.resize(written);
        EXPECT_EQ(buf, qvtest::read_file(p));
    }
}

}  // namespace
