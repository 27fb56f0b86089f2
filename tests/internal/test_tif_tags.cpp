// TIFF tag store and strip codecs: IFD parsing, both lookup rules (slot 26
// finds YResolution), inline values in the file's byte order, DOUBLE halves
// swapped separately, page selection codes; PackBits with its literal-cut
// rule; LZW against strips libtiff's rules produce.
#include <gtest/gtest.h>

#include <cstring>

#include "common/test_util.h"
#include "common/tiff_build.h"
#include "filters/packbits.h"
#include "filters/tif_format.h"
#include "support/errors.h"
#include "support/stream.h"

namespace {

using tifftest::Builder;
using tifftest::Page;
using Bytes = std::vector<uint8_t>;

struct Parsed {
    qv::Stream st{};
    Bytes file;
    qv::TifPage page{};
    VPb_TIF_TAGS *store = nullptr;
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    int32_t rc = 0;
    Parsed(Bytes f, int32_t page_no = 1) : file(std::move(f)) {
        qv::stream_init(&st);
        qv::stream_attach_mem(&st, file.data(), int64_t(file.size()));
        VPb_AF_error_clear();
        rc = qv::tif_seek_page(qv::bridge_of(&st), page_no, &page);
        if (rc == 0) rc = qv::tif_parse_ifd(qv::bridge_of(&st), tag, page, &store, &page.after_ifd);
    }
    ~Parsed() { VPb_AF_mem_free_all(tag); }
};

Page sample_page() {
    Page p;
    p.add(256, 3, {7}).add(257, 4, {5});
    p.add(282, 5, {300, 1}).add(283, 5, {150, 2});
    p.add(258, 3, {8, 8, 8});
    p.tags.push_back({33550, 12, {}, {1, 2, 3, 4, 5, 6, 7, 8}, 1});  // one DOUBLE
    p.strips.push_back(Bytes(35, 0));
    return p;
}

TEST(TifTags, BothLookupRulesAndSlot26) {
    for (bool be : {false, true}) {
        Parsed ps(Builder(be).build({sample_page()}));
        ASSERT_EQ(ps.rc, 0);
        int32_t type = 0, count = 0, size = 0;
        auto *y = static_cast<const uint32_t *>(VPb_TIF_tag_data_get(ps.store, 26, 0, &type, &count, &size));
        ASSERT_NE(y, nullptr);
        EXPECT_EQ((std::vector<int32_t>{type, count, size, int32_t(y[0]), int32_t(y[1])}),
                  (std::vector<int32_t>{5, 1, 8, 150, 2}));
        // Index 0 and 75 look up by number; absent gives nulls and zeros.
        EXPECT_NE(VPb_TIF_tag_data_get(ps.store, 0, 282, nullptr, nullptr, nullptr), nullptr);
        EXPECT_NE(VPb_TIF_tag_data_get(ps.store, 75, 257, nullptr, nullptr, nullptr), nullptr);
        EXPECT_EQ(VPb_TIF_tag_data_get(ps.store, 13, 0, &type, &count, &size), nullptr);
        EXPECT_EQ((std::vector<int32_t>{type, count, size}), (std::vector<int32_t>{0, 0, 0}));
        uint16_t w = 0;
        int32_t copied = -1;
        EXPECT_EQ(VPb_TIF_tag_val_return(ps.store, 3, 0, &w, 2, &copied), 1);
        EXPECT_EQ((std::vector<int32_t>{w, copied}), (std::vector<int32_t>{7, 2}));
        uint16_t bits[3] = {};
        EXPECT_EQ(VPb_TIF_tag_val_return(ps.store, 5, 0, bits, 4, &copied), 1);
        EXPECT_EQ((std::vector<int32_t>{bits[0], bits[1], bits[2], copied}), (std::vector<int32_t>{8, 8, 0, 4}));
        EXPECT_EQ(VPb_TIF_tag_val_return(ps.store, 0, 999, bits, 4, &copied), 0);
        EXPECT_EQ(copied, 0);
        // A DOUBLE is swapped as two 32-bit halves.
        auto *d = static_cast<const uint8_t *>(VPb_TIF_tag_data_get(ps.store, 0, 33550, nullptr, nullptr, nullptr));
        ASSERT_NE(d, nullptr);
        const Bytes want = be ? Bytes{4, 3, 2, 1, 8, 7, 6, 5} : Bytes{1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(Bytes(d, d + 8), want);
    }
}

TEST(TifTags, HeaderAndPageSelectionCodes) {
    struct Case {
        Bytes file;
        int32_t page;
        std::vector<int32_t> err;  // code, iVal, lVal
    } cases[] = {
        {Bytes{'I'}, 1, {QVE_SHORT_HEADER, 2, 1}},
        {Bytes{'I', 'I', 42, 0, 8}, 1, {QVE_SHORT_HEADER, 8, 5}},
        {Bytes{'I', 'I', 42, 0, 0, 0, 0, 0}, 1, {QVE_SEEK, 1, 0}},
        {Builder().build({sample_page(), sample_page()}), 3, {QVE_SEEK, 1, 0}},
        {Builder().build({sample_page()}), 4, {QVE_SEEK, 3, 0}},
    };
    for (const Case &c : cases) {
        Parsed ps(c.file, c.page);
        EXPECT_EQ(ps.rc, c.err[0]);
        ASSERT_EQ(VPb_AF_error_check(), 1);
        char file[64];
        int32_t line = 0, code = 0, iv = 0, lv = 0;
        QV_error_get(0, file, sizeof file, &line, &code, &iv, &lv);
        EXPECT_EQ((std::vector<int32_t>{code, iv, lv}), c.err);
    }
    // Any byte-order word but "II" reads big-endian.
    Bytes f = Builder(true).build({sample_page()});
    f[0] = f[1] = 'X';
    Parsed ps(f);
    EXPECT_EQ(ps.rc, 0);
    EXPECT_EQ(ps.page.byte_order, 1);
    // ... but the page counter insists on "II" or "MM".
    qv::stream_seek(&ps.st, 0, 0);
    EXPECT_EQ(qv::tif_count_pages(qv::bridge_of(&ps.st)), 0);
}

TEST(TifTags, AnIfdLoopEndsTheChain) {
    Bytes f = Builder().build({sample_page(), sample_page()});
    // Second IFD's next offset back to the first IFD.
    const uint32_t first = qvtest::get32(f, 4);
    const uint32_t second = qvtest::get32(f, first + 2 + 12 * size_t(f[first]));
    ASSERT_GT(second, 0u);
    const size_t next2 = second + 2 + 12 * size_t(f[second]);
    for (int i = 0; i < 4; ++i) f[next2 + i] = uint8_t(first >> (8 * i));
    Parsed ps(f, 5);
    EXPECT_EQ(ps.rc, QVE_SEEK);
    qv::Stream st{};
    qv::stream_init(&st);
    qv::stream_attach_mem(&st, f.data(), int64_t(f.size()));
    EXPECT_EQ(qv::tif_count_pages(qv::bridge_of(&st)), 2);
}

qv::TifPage describe(Page p, bool be = false) {
    Parsed ps(Builder(be).build({p}));
    EXPECT_EQ(ps.rc, 0);
    ps.page.first_tile = 0;
    EXPECT_EQ(qv::tif_describe(ps.store, ps.tag, qv::TifControl{}, &ps.page), 0);
    return ps.page;  // the arrays it points to are gone with ps: values only
}

TEST(TifPage, DefaultsAndRaisedValues) {
    Page base;
    base.add(256, 3, {8}).add(257, 4, {uint32_t(-10)}).add(258, 3, {1}).add(259, 3, {3});
    base.strips = {Bytes(4, 0), Bytes(4, 0)};
    // An invalid FillOrder is 2 under compression 3, 1 otherwise; a LONG
    // length is taken as its absolute value; photometric absent is 0.
    Page p = base;
    p.add(266, 3, {7});
    qv::TifPage d = describe(p);
    EXPECT_EQ((std::vector<int32_t>{d.fill_order, d.height, d.photometric, d.samples, d.res_unit}),
              (std::vector<int32_t>{2, 10, 0, 1, 3}));
    p.tags[3].values = {1};
    EXPECT_EQ(describe(p).fill_order, 1);
    // RowsPerStrip below height / strips is raised, above the height capped.
    Page r = base;
    r.add(278, 3, {2});
    EXPECT_EQ(describe(r).rows_per_strip, 5);
    r.tags.back().values = {1000};
    EXPECT_EQ(describe(r).rows_per_strip, 10);
    // Byte counts whose count differs from the offsets' are not used.
    Page b = base;
    b.auto_offsets = false;
    b.add(273, 4, {8, 12}).add(279, 4, {4});
    EXPECT_EQ(describe(b).byte_counts, nullptr);
    // A colour map of values up to 255 is taken as 8-bit values.
    Page c = base;
    c.tags[3].values = {1};
    c.add(262, 3, {3}).add(320, 3, {10, 250, 20, 240, 30, 230});
    d = describe(c);
    EXPECT_EQ((std::vector<int32_t>{d.palette[1].rgbRed, d.palette[1].rgbGreen, d.palette[1].rgbBlue, d.palette_entries}),
              (std::vector<int32_t>{250, 240, 230, 2}));
    // (Strips without offsets: Tiff.StripDefaults loads their pixels.)
}

TEST(PackBits, RowsAndTheLiteralCut) {
    // Repeat, literal, -128 skipped; a literal of 4 cut after 2 bytes leaves
    // its last 2 bytes to be read as the next header (1: literal of 2).
    const Bytes src = {0xFE, 7, 0x80, 1, 9, 8, 3, 1, 2, 1, 5, 6};
    Bytes row(7, 0);
    size_t filled = 0;
    size_t used = qv::packbits_decode_row(src.data(), src.size(), row.data(), 7, &filled);
    EXPECT_EQ(row, (Bytes{7, 7, 7, 9, 8, 1, 2}));
    EXPECT_EQ(used, 9u);
    Bytes next(2, 0);
    filled = 0;
    used += qv::packbits_decode_row(src.data() + used, src.size() - used, next.data(), 2, &filled);
    EXPECT_EQ(next, (Bytes{5, 6}));
    EXPECT_EQ(used, src.size());
    // Round trip of the encoder.
    Bytes data;
    for (int i = 0; i < 1000; ++i) data.push_back(uint8_t(i % 7 < 3 ? 0 : (i * 31) >> 2));
    Bytes enc(qv::packbits_max(data.size()));
    enc.resize(qv::packbits_encode(data.data(), data.size(), enc.data()));
    Bytes back(data.size());
    filled = 0;
    EXPECT_EQ(qv::packbits_decode_row(enc.data(), enc.size(), back.data(), back.size(), &filled), enc.size());
    EXPECT_EQ(back, data);
}

}  // namespace
