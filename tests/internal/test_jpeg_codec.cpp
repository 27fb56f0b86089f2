// The shared JPEG decoder as the TIFF reader uses it: an image embedded at a
// position inside a larger stream (its data ending before the stream does),
// and an abbreviated image whose tables come in a separate tables stream;
// both decode to the rows of the whole file decoded on its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "filters/jpeg_codec.h"
#include "support/stream.h"

namespace {

using Bytes = std::vector<uint8_t>;

// All rows (B, G, R, top first) of a JPEG decoded from `pos` of `stream`.
Bytes decode_at(const Bytes &stream, int64_t pos, int64_t end, const Bytes &tables, int64_t *after) {
    qv::Stream s;
    EXPECT_EQ(qv::stream_init(&s), 0);
    qv::stream_attach_mem(&s, const_cast<uint8_t *>(stream.data()), int64_t(stream.size()));
    s.high_water = int64_t(stream.size());
    VPb_STREAM *bs = qv::bridge_of(&s);
    VPb_IO_seek(bs, pos, 0);
    const uint32_t tag = VPb_AF_mem_unique_tag_get();
    Bytes rows;
    {
        qv::JpegDecoder dec(bs, tag);
        qv::JpegParams p;
        p.data_end = end;
        if (!tables.empty()) p.tables = tables.data(), p.tables_len = tables.size();
        qv::JpegFrame f;
        EXPECT_EQ(dec.read_header(p, &f), 0);
        EXPECT_EQ(dec.start(p, &f), 0);
        EXPECT_EQ(f.out_bpp, 24);
        Bytes row(size_t(f.width) * 3 + 4);
        uint8_t *r = row.data();
        for (int32_t y = 0; y < f.height; ++y) {
            EXPECT_EQ(dec.read_rows(&r, 1), 0);
            rows.insert(rows.end(), row.begin(), row.begin() + 3 * f.width);
        }
        EXPECT_EQ(dec.finish(), 0);
        *after = dec.position();
    }
    VPb_AF_mem_free_all(tag);
    return rows;
}

// Splits a JPEG into a tables-only stream (SOI, DQT, DHT, EOI) and the
// image without them.
void split_tables(const Bytes &jpeg, Bytes *tables, Bytes *image) {
    *tables = {0xFF, 0xD8};
    *image = {0xFF, 0xD8};
    size_t i = 2;
    while (i + 4 <= jpeg.size()) {
        const uint8_t m = jpeg[i + 1];
        const size_t len = size_t(jpeg[i + 2]) << 8 | jpeg[i + 3];
        Bytes &to = (m == 0xDB || m == 0xC4) ? *tables : *image;
        if (m == 0xDA) break;
        to.insert(to.end(), jpeg.begin() + long(i), jpeg.begin() + long(i + 2 + len));
        i += 2 + len;
    }
    image->insert(image->end(), jpeg.begin() + long(i), jpeg.end());
    tables->insert(tables->end(), {0xFF, 0xD9});
}

int32_t gradient(void *, int32_t y, uint8_t *row) {
    for (int32_t x = 0; x < 128; ++x)
        row[3 * x] = uint8_t(x * 2), row[3 * x + 1] = uint8_t(y * 2), row[3 * x + 2] = uint8_t((x ^ y) & 0xF0);
    return 0;
}

// A 128 x 128 JPEG made by the shared encoder.
Bytes make_jpeg() {
    Bytes buf(1 << 20);
    qv::Stream s;
    EXPECT_EQ(qv::stream_init(&s), 0);
    qv::stream_attach_mem(&s, buf.data(), int64_t(buf.size()));
    const uint32_t tag = VPb_AF_mem_unique_tag_get();
    qv::JpegEncodeParams p;
    p.width = p.height = 128;
    p.quality = 85;
    EXPECT_EQ(qv::jpeg_encode(qv::bridge_of(&s), tag, p, gradient, nullptr), 0);
    VPb_AF_mem_free_all(tag);
    buf.resize(size_t(s.high_water));
    return buf;
}

TEST(JpegCodec, DecodesFromAStreamPositionAndWithSeparateTables) {
    const Bytes jpeg = make_jpeg();
    ASSERT_GT(jpeg.size(), 200u);
    int64_t after = 0;
    const Bytes whole = decode_at(jpeg, 0, -1, {}, &after);
    ASSERT_EQ(whole.size(), size_t(128 * 128 * 3));

    Bytes embedded(100 + jpeg.size() + 64, 0xAA);
    std::fill(embedded.begin(), embedded.begin() + 100, uint8_t(0x55));
    std::copy(jpeg.begin(), jpeg.end(), embedded.begin() + 100);
    EXPECT_EQ(decode_at(embedded, 100, 100 + int64_t(jpeg.size()), {}, &after), whole);
    EXPECT_GT(after, 100);
    EXPECT_LE(after, 100 + int64_t(jpeg.size()));

    Bytes tables, image;
    split_tables(jpeg, &tables, &image);
    ASSERT_LT(image.size(), jpeg.size());
    EXPECT_EQ(decode_at(image, 0, -1, tables, &after), whole);
}

}  // namespace
