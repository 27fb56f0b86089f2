// CCITT codec core on plain buffers: every run length of both colours codes
// and decodes back in each coding, the sized-sink framing, byte-aligned
// modified Huffman rows (with a stray EOL), the modes each entry takes,
// strict decoding, and change lists to and from packed rows.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "common/test_util.h"
#include "filters/ccitt_codec.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

extern "C" {
VPb_STREAM *iQV_stream_mem_new(void *base, int64_t size);
void iQV_stream_free(VPb_STREAM *stream, int32_t close_file);
}

namespace {

using namespace qv;

struct FilterTagHolder {
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    ~FilterTagHolder() { VPb_AF_mem_free_all(tag); }
};
using Bytes = std::vector<uint8_t>;
using Rows = std::vector<std::vector<uint16_t>>;  // change lists without terminators

class ListSource : public CcittRowSource {
public:
    ListSource(const Rows &rows, int32_t w) : rows_(rows), w_(w) {}
    int32_t row(int32_t y, uint16_t *c) override {
        const auto &r = rows_[size_t(y)];
        std::copy(r.begin(), r.end(), c);
        const size_t n = r.size();
        c[n] = c[n + 1] = c[n + 2] = uint16_t(w_);
        return int32_t(n);
    }

private:
    const Rows &rows_;
    int32_t w_;
};

class ListSink : public CcittRowSink {
public:
    int32_t row(int32_t, const uint16_t *c, int32_t n) override {
        rows.emplace_back(c, c + n);
        return 0;
    }
    Rows rows;
};

Bytes encode(const Rows &rows, int32_t w, int32_t mode, int32_t k = 2, int32_t *rc = nullptr) {
    Bytes out(1 << 20);
    int32_t used = 0;
    const CcittEncodeParams p{.width = w, .rows = int32_t(rows.size()), .mode = mode, .k = k, .sink = out.data(),
                              .sink_size = int32_t(out.size()), .sink_used = &used};
    ListSource src(rows, w);
    const int32_t r = ccitt_encode(nullptr, 0, p, src);
    if (rc) *rc = r;
    out.resize(size_t(used));
    return out;
}

Rows decode(Bytes data, int32_t w, int32_t rows, CcittEntry entry, int32_t mode, int32_t *rc = nullptr,
            bool strict = false) {
    CcittByteSource src{.buf = data.data(), .size = int32_t(data.size()), .held = int32_t(data.size())};
    const CcittDecodeParams p{.width = w, .rows = rows, .mode = mode, .strict = strict};
    ListSink sink;
    const int32_t r = ccitt_decode(entry, src, p, sink);
    if (rc) *rc = r;
    return sink.rows;
}

using qvtest::pack;
using qvtest::rep;
const std::string E = "000000000001 ";  // an EOL

TEST(CcittCodec, EveryRunLengthRoundTripsInEveryCoding) {
    // Rows of one black run of length r after a white run of length r, for
    // r = 0..2700 (terminating, make-up and extended make-up codes, the
    // 2560 repeat), 5401 pixels wide.
    const int32_t w = 5401;
    Rows rows;
    for (int32_t r = 0; r <= 2700; r += (r < 130 ? 1 : 7)) rows.push_back({uint16_t(r), uint16_t(2 * r)});
    rows.front() = {};  // W0 B0: an all-white row
    struct M {
        CcittEntry entry;
        int32_t enc, dec;
    };
    for (const M &m : {M{CcittEntry::k1D, kCcittMH, kCcittMH}, M{CcittEntry::k1D, kCcittSink1D, kCcittT4},
                       M{CcittEntry::k2D, kCcittSink2D, kCcitt2D}, M{CcittEntry::kT6, kCcittSinkT6, kCcittT6}}) {
        SCOPED_TRACE(m.enc);
        const Bytes coded = encode(rows, w, m.enc);
        EXPECT_EQ(decode(coded, w, int32_t(rows.size()), m.entry, m.dec), rows);
    }
}

TEST(CcittCodec, RandomPagesRoundTrip) {
    std::mt19937 rng(3);
    for (int page = 0; page < 20; ++page) {
        const int32_t w = 1 + int32_t(rng() % 3000);
        Rows rows(size_t(1 + rng() % 30));
        for (auto &r : rows) {
            int32_t x = int32_t(rng() % 3);
            while (true) {
                x += 1 + int32_t(rng() % (rng() % 2 ? 4 : 300));
                if (x >= w) break;
                r.push_back(uint16_t(x));
            }
        }
        for (int32_t mode : {kCcittSink1D, kCcittSink2DB, kCcittSinkT6B}) {
            const CcittEntry e = mode == kCcittSink1D ? CcittEntry::k1D : mode == kCcittSink2DB ? CcittEntry::k2D : CcittEntry::kT6;
            const int32_t dm = mode == kCcittSink1D ? kCcittT4 : mode == kCcittSink2DB ? kCcitt2D : kCcittT6;
            EXPECT_EQ(decode(encode(rows, w, mode, 3), w, int32_t(rows.size()), e, dm), rows) << w << " " << mode;
        }
    }
}

TEST(CcittCodec, SizedSinkFraming) {
    const Rows white = {{}};
    const std::string w8 = "10011";
    EXPECT_EQ(encode(white, 8, kCcittSink1D), pack(E + w8 + rep(E, 6)));
    EXPECT_EQ(encode(white, 8, kCcittSink1DB), pack(E + w8 + rep(E, 6)));
    EXPECT_EQ(encode(white, 8, kCcittSinkT6), pack("1" + E + E));
    EXPECT_EQ(encode(white, 8, kCcittSink2D), pack(E + "1" + w8 + rep(E + "1", 6)));

    // A sink too small: -2071 (sink size, bytes to write).
    Bytes small(2);
    int32_t used = 0;
    const CcittEncodeParams p{.width = 8, .rows = 1, .mode = kCcittSinkT6, .sink = small.data(), .sink_size = 2,
                              .sink_used = &used};
    ListSource src(white, 8);
    QV_error_clear();
    EXPECT_EQ(ccitt_encode(nullptr, 0, p, src), -2071);
    int32_t code = 0, ival = 0, lval = 0;
    char module[64];
    QV_error_get(0, module, sizeof module, nullptr, &code, &ival, &lval);
    EXPECT_EQ(std::make_tuple(code, ival, lval), std::make_tuple(-2071, 2, 3));
}

TEST(CcittCodec, ByteAlignedRowsAndAStrayEol) {
    // Mode 2: W3 B5 (row 0), then an EOL inside row 1 after W2: the row
    // ends there (the black run it was in goes to the end) and row 2 starts
    // on the byte after the EOL.
    const Bytes data = pack("1000 0011 | 0111 0000 00000001 | 1000 0011");
    int32_t rc = -1;
    EXPECT_EQ(decode(data, 8, 3, CcittEntry::k1D, kCcittMH, &rc), (Rows{{3}, {2}, {3}}));
    EXPECT_EQ(rc, 0);
}

TEST(CcittCodec, ModesEachEntryTakes) {
    const Bytes data = pack(E + "1");
    struct T {
        CcittEntry e;
        int32_t mode;
        bool ok;
    };
    for (const T &t : {T{CcittEntry::k1D, 2, true}, T{CcittEntry::k1D, 4, true}, T{CcittEntry::k1D, 10, false},
                       T{CcittEntry::k2D, 11, true}, T{CcittEntry::k2D, 3, false}, T{CcittEntry::kT6, 12, true},
                       T{CcittEntry::kT6, 4, false}, T{CcittEntry::kT6, 121, true}, T{CcittEntry::k2D, 120, true},
                       T{CcittEntry::k1D, 12, false}}) {
        QV_error_clear();
        int32_t rc = 0;
        decode(data, 8, 1, t.e, t.mode, &rc);
        EXPECT_EQ(rc, t.ok ? 0 : -3320) << t.mode;
    }
    int32_t rc = 0;
    decode(data, 0, 1, CcittEntry::kT6, 12, &rc);
    EXPECT_EQ(rc, -3320);
    decode(data, 65536, 1, CcittEntry::kT6, 12, &rc);
    EXPECT_EQ(rc, -3320);
}

TEST(CcittCodec, StrictDecodingFailsOnBadCodes) {
    // T.6 with an extension code (0000001 xxx) where a mode is expected.
    const Bytes data = pack("0000001 000 1111 1111");
    int32_t rc = 0;
    const Rows lenient = decode(data, 8, 2, CcittEntry::kT6, kCcittT6, &rc);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(lenient, (Rows{{}, {}}));  // fill rows
    QV_error_clear();
    decode(data, 8, 2, CcittEntry::kT6, kCcittT6, &rc, true);
    EXPECT_EQ(rc, -2403);
}

// Decoding into an image through the load pipeline with white as pixel
// value 1: run lists gain a zero-length first run, or lose the one they
// start with; packed rows (a load rectangle in force) are inverted.
TEST(CcittCodec, WhiteAsOneInvertsTheDeliveredRows) {
    const int32_t w = 40;
    const Rows rows = {{5, 9}, {0, 12}, {}};
    Bytes coded = encode(rows, w, kCcittSinkT6);
    for (bool rect : {false, true}) {
        SCOPED_TRACE(rect);
        if (rect) QV_load_rect_set(0, 0, 32, 3);  // cropped: packed rows
        VPb_STREAM *s = iQV_stream_mem_new(coded.data(), int64_t(coded.size()));
        VPb_LOAD_CONTEXT ctx;
        QUORIN h = nullptr;
        ASSERT_EQ(VPb_VPr_load_CB_data_init(&ctx, s, &h), 0);
        QV_DIB_HEADER hdr;
        VPb_DIB_init(&hdr, w, 3, 1, 0, 0, 0);
        const QV_RGBQUAD pal[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
        ASSERT_EQ(VPb_IO_DIB_create(s, &hdr, pal), 0);
        EXPECT_EQ(VPb_IO_raster_runs_accepted(s), rect ? 0 : 1);
        Bytes buf(4096);
        CcittByteSource src{.stream = s, .buf = buf.data(), .size = int32_t(buf.size())};
        const CcittDecodeParams p{.width = w, .rows = 3, .mode = kCcittT6};
        FilterTagHolder tag;
        ASSERT_EQ(ccitt_decode_to_stream(CcittEntry::kT6, src, p, false, tag.tag), 0);
        ASSERT_EQ(VPb_IO_raster_post_process(s), 0);
        VPb_VPr_load_CB_data_release(&ctx);
        ASSERT_TRUE(QV_image_is_valid(h));
        std::vector<uint16_t> list(size_t(w) + 8);
        const std::vector<std::vector<uint16_t>> want = {{0, 5, 9}, {12}, {0}};
        for (int32_t y = 0; y < 3; ++y) {
            ASSERT_EQ(QV_runs_row_get(h, y, list.data()), 0);
            const std::vector<uint16_t> got(list.begin() + 1, list.begin() + list[0] / 2 - 3);
            EXPECT_EQ(got, want[size_t(y)]) << y;
        }
        QV_image_delete(h);
        iQV_stream_free(s, 0);
        QV_load_rect_set(0, 0, 0, 0);
    }
}

TEST(CcittCodec, ChangeListsAndPackedRows) {
    std::mt19937 rng(11);
    for (int i = 0; i < 200; ++i) {
        const int32_t w = 1 + int32_t(rng() % 200);
        Bytes row(size_t((w + 31) / 32) * 4, 0);
        for (int32_t x = 0; x < w; ++x)
            if (rng() % (i % 2 ? 2 : 9) == 0) row[size_t(x / 8)] |= uint8_t(0x80 >> (x % 8));
        std::vector<uint16_t> c(size_t(w) + 8);
        const int32_t n = ccitt_changes_from_packed(row.data(), w, true, c.data());
        Bytes back(row.size(), 0xAA);
        ccitt_changes_to_packed(c.data(), n, w, 0, back.data());
        EXPECT_EQ(back, row) << w;
        // Read with 1 = white, the same bits give the complementary list.
        const int32_t m = ccitt_changes_from_packed(row.data(), w, false, c.data());
        ccitt_changes_to_packed(c.data(), m, w, 1, back.data());
        EXPECT_EQ(back, row) << w;
    }
}

// One-dimensional rows, width 8, codes W8 10011, W3 1000, W2 0111, B5 0011,
// B1 010; E is an EOL.
TEST(CcittCodec, ZerosAtTheFirstRowDependOnTheBitPosition) {
    struct T {
        const char *name;
        std::string bits;
        Rows rows;
    };
    const T cases[] = {
        // After the EOL the row starts at bit 12 (bit 4 of a byte): 8 zeros
        // and a 1 inside the next byte are an invalid code; the search
        // starts at the code with 12 zeros counted and stops after its 1, so
        // row 0 is the W8 that follows.
        {"invalid at bit 4", E + "000000001 10011 " + E + "1000 0011", {{}, {3}}},
        // At bit 0 the byte of zeros is an EOL: the search, 8 zeros
        // counted, needs 3 more before a 1, so it skips to the real EOL.
        {"zeros at bit 0", "00000000 1 10011 " + E + "1000 0011", {{3}, {}}},
        // Eleven zeros then a 1 at bit 4: an EOL, skipped as such.
        {"eol at bit 4", E + E + "10011 " + E + "1000 0011", {{}, {3}}},
    };
    for (const T &t : cases) {
        int32_t rc = -1;
        EXPECT_EQ(decode(pack(t.bits), 8, 2, CcittEntry::k1D, kCcittT4, &rc), t.rows) << t.name;
        EXPECT_EQ(rc, 0) << t.name;
    }
}

TEST(CcittCodec, DamageInsideALaterRow) {
    int32_t rc = -1;
    // Row 1: W2 B1, then at bit 36 (bit 4) 8 zeros and a 1: an invalid
    // code in the white run, whose pixels stay unset (black); the next EOL
    // opens row 2.
    EXPECT_EQ(decode(pack(E + "10011 " + E + "0111 010 000000001 " + E + "1000 0011"), 8, 3, CcittEntry::k1D,
                     kCcittT4, &rc),
              (Rows{{}, {2}, {3}}));
    EXPECT_EQ(rc, 0);
    // The same row with 11 zeros and a 1 there: an EOL, the rest white.
    EXPECT_EQ(decode(pack(E + "10011 " + E + "0111 010 " + E + "1000 0011"), 8, 3, CcittEntry::k1D, kCcittT4, &rc),
              (Rows{{}, {2, 3}, {3}}));
    // Mode 2: a byte of zeros where row 1 starts ends it (white) and row 2
    // starts on the next byte, no EOL needed.
    EXPECT_EQ(decode(pack("10011 000 | 00000000 | 1000 0011"), 8, 3, CcittEntry::k1D, kCcittMH, &rc),
              (Rows{{}, {}, {3}}));
    // An EOL in a row with no EOL after it: that row and the rest are fill.
    EXPECT_EQ(decode(pack(E + "10011 " + E + "0111 010 " + "00000000 0000"), 8, 3, CcittEntry::k1D, kCcittT4, &rc),
              (Rows{{}, {}, {}}));
}

TEST(CcittCodec, NoByteForTheTagBitIs2051) {
    struct T {
        std::string bits;
        int32_t rc;
        Rows rows;
    };
    const T cases[] = {
        {"00000000 00000001", -2051, {}},                 // the first EOL ends the data
        {E + "1 10011 00 " + E, -2051, {{}}},             // the EOL after row 0 does
        {E + "1 10011 00 0000", 0, {{}, {}}},             // no EOL: a fill row
        {E + "1 10011 00 " + E + "1 1000 0011", 0, {{}, {3}}},
    };
    for (const T &t : cases) {
        QV_error_clear();
        int32_t rc = 1;
        EXPECT_EQ(decode(pack(t.bits), 8, 2, CcittEntry::k2D, kCcitt2D, &rc), t.rows) << t.bits;
        EXPECT_EQ(rc, t.rc) << t.bits;
        if (t.rc == 0) continue;
        int32_t code = 0, ival = -1, lval = -1;
        char module[64];
        QV_error_get(0, module, sizeof module, nullptr, &code, &ival, &lval);
        EXPECT_EQ(std::make_tuple(code, ival, lval), std::make_tuple(-2051, 1, 0));
    }
}

TEST(CcittCodec, ParameterWordOfModes120And121) {
    EXPECT_EQ(ccitt_param_word(120, 0x12345678u), (CcittParamWord{0x5678, 0}));
    EXPECT_EQ(ccitt_param_word(121, 0x12345678u), (CcittParamWord{0x5678, 0x1234}));
    EXPECT_EQ(ccitt_param_word(3, 0x12345678u), (CcittParamWord{0, 0}));
    // With EOLs for the 1-D entry, as mode 10 for the 2-D entry.
    int32_t rc = -1;
    EXPECT_EQ(decode(pack(E + "1000 0011 " + E + "10011"), 8, 2, CcittEntry::k1D, 121, &rc), (Rows{{3}, {}}));
    EXPECT_EQ(decode(pack(E + "1 1000 0011 " + E + "0 1"), 8, 2, CcittEntry::k2D, 120, &rc), (Rows{{3}, {3}}));
}

}  // namespace
