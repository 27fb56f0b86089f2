// Streams: memory-stream boundaries, counting streams, file streams with replaced I/O slots,
// byte orders, tags, the raster hand-over and the run-length helper.
#include <unistd.h>
#include <cstring>
#include <numeric>

#include "common/test_util.h"

namespace {

using qvtest::error_at;
using Bytes = std::vector<uint8_t>;
using V = std::vector<int64_t>;

struct MemStream {  // n bytes 0, 1, 2, ...
    Bytes bytes;
    VPb_STREAM *s;
    explicit MemStream(size_t n) : bytes(n), s(iQV_stream_mem_new(bytes.data(), int64_t(n))) {
        std::iota(bytes.begin(), bytes.end(), 0);
    }
    ~MemStream() { iQV_stream_free(s, 0); }
};

TEST(MemoryStream, ReadIsCutAtTheSize) {
    MemStream m(100), ten(10);
    uint8_t buf[40];
    EXPECT_EQ((V{VPb_IO_seek(m.s, 80, 0), VPb_IO_read(m.s, buf, 40), VPb_IO_tell(m.s),
                 VPb_IO_read(m.s, buf + 30, 1), iQV_stream_high_water(m.s)}),
              (V{80, 20, 100, 0, 100}));
    EXPECT_EQ(Bytes(buf, buf + 20), Bytes(m.bytes.begin() + 80, m.bytes.end()));
    EXPECT_EQ((V{VPb_IO_read(ten.s, buf, 10), VPb_IO_tell(ten.s)}), (V{10, 10}));  // to the end
}

TEST(MemoryStream, ReadViewLendsTheBytesAndMovesLikeARead) {
    MemStream m(100);
    const uint8_t *view = nullptr;
    EXPECT_EQ((V{VPb_IO_seek(m.s, 30, 0), VPb_IO_read_view(m.s, 50, &view), VPb_IO_tell(m.s)}), (V{30, 50, 80}));
    EXPECT_EQ(view, m.bytes.data() + 30);
    EXPECT_EQ((V{VPb_IO_read_view(m.s, 50, &view), VPb_IO_tell(m.s), iQV_stream_high_water(m.s)}),
              (V{20, 100, 100}));  // cut at the end, as a read is
    EXPECT_EQ(view, m.bytes.data() + 80);
    EXPECT_EQ(VPb_IO_read_view(m.s, 5, &view), 0);
    // Streams that do not hold their bytes lend nothing and stay where they are.
    VPb_STREAM *count = iQV_stream_count_new();
    std::string path = qvtest::temp_path("stream_view.bin");
    ASSERT_TRUE(qvtest::write_file(path, m.bytes));
    VPb_STREAM *file = iQV_stream_file_new(path.c_str(), 0);
    ASSERT_NE(file, nullptr);
    view = m.bytes.data();
    EXPECT_EQ((V{VPb_IO_read_view(count, 5, &view), VPb_IO_tell(count), VPb_IO_read_view(file, 5, &view),
                 VPb_IO_tell(file), VPb_IO_read_view(nullptr, 5, &view), VPb_IO_read_view(m.s, 5, nullptr)}),
              (V{-1, 0, -1, 0, -1, -1}));
    EXPECT_EQ(view, nullptr);
    iQV_stream_free(count, 0);
    iQV_stream_free(file, 1);
    ::unlink(path.c_str());
}

TEST(MemoryStream, SeekBoundaries) {
    const struct {
        int64_t start, offset;  // start: reached by an absolute seek
        int32_t whence;
        int64_t result, after;
    } cases[] = {
        {0, 100, 0, 100, 100},  // to the size
        {0, 101, 0, -1, 0},     // size + 1
        {50, 51, 1, -1, 50},    // relative past
        {50, -51, 1, -1, 50},   // below 0
        {50, -50, 1, 0, 0},     // to 0
        {0, 0, 2, 0, 0},        // a fresh stream's end is high water 0
        {60, 0, 2, 60, 60},     // a seek beyond raises it
        {30, -10, 2, 20, 20},   // end = high water 30
        {30, 71, 2, -1, 30},    // high water + 71 > size
        {10, 0, 7, -1, 10},     // unknown whence
    };
    for (const auto &c : cases) {
        MemStream m(100);
        ASSERT_EQ(VPb_IO_seek(m.s, c.start, 0), c.start);
        EXPECT_EQ((V{VPb_IO_seek(m.s, c.offset, c.whence), VPb_IO_tell(m.s)}),
                  (V{c.result, c.after}))
            << c.start << " " << c.offset << " " << c.whence;
    }
    MemStream m(100);  // a read raises it too
    uint8_t b[5];
    EXPECT_EQ((V{VPb_IO_read(m.s, b, 5), VPb_IO_seek(m.s, 0, 2)}), (V{5, 5}));
}

TEST(MemoryStream, WriteIsCutAndNeverGrows) {
    QV_error_clear();
    Bytes buf(8, 0xEE);
    VPb_STREAM *s = iQV_stream_mem_new(buf.data(), 6);
    const uint8_t data[5] = {1, 2, 3, 4, 5};
    EXPECT_EQ((V{VPb_IO_write(s, data, 5), VPb_IO_write(s, data, 5), VPb_IO_write(s, data, 5)}),
              (V{5, 1, 0}));
    EXPECT_EQ(iQV_stream_high_water(s), 6);
    EXPECT_EQ(buf, (Bytes{1, 2, 3, 4, 5, 1, 0xEE, 0xEE}));
    iQV_stream_free(s, 0);
    EXPECT_STACK();
}

TEST(MemoryStream, CountingStreamMovesButStoresAndReadsNothing) {
    VPb_STREAM *s = iQV_stream_count_new();
    uint8_t data[300] = {};
    EXPECT_EQ((V{VPb_IO_write(s, data, 300), VPb_IO_ii_dword_write(s, 7), iQV_stream_high_water(s),
                 VPb_IO_seek(s, 0, 0), VPb_IO_read(s, data, 10), VPb_IO_tell(s)}),
              (V{300, 4, 304, 0, 0, 0}));
    iQV_stream_free(s, 0);
}

TEST(ByteOrder, AccessorsWriteAndReadExactBytes) {
    Bytes buf(24);
    VPb_STREAM *s = iQV_stream_mem_new(buf.data(), 24);
    EXPECT_EQ(VPb_IO_byte_order_get(s), 0);
    VPb_IO_byte_write(s, 0xAB);
    VPb_IO_ii_word_write(s, 0x1234);
    VPb_IO_mm_word_write(s, 0x1234);
    VPb_IO_ii_dword_write(s, 0x11223344);
    VPb_IO_mm_dword_write(s, 0x11223344);
    EXPECT_EQ(VPb_IO_byte_order_set(s, 1), 1);
    VPb_IO_word_write(s, 0xA1B2);
    VPb_IO_dword_write(s, 0x01020304);
    EXPECT_EQ(VPb_IO_byte_order_set(s, 0), 1);
    VPb_IO_word_write(s, 0xA1B2);
    EXPECT_EQ(buf, (Bytes{0xAB, 0x34, 0x12, 0x12, 0x34, 0x44, 0x33, 0x22, 0x11, 0x11, 0x22, 0x33,
                          0x44, 0xA1, 0xB2, 0x01, 0x02, 0x03, 0x04, 0xB2, 0xA1, 0, 0, 0}));
    VPb_IO_seek(s, 0, 0);
    uint8_t b;
    uint16_t w[3];
    uint32_t d[4];
    EXPECT_EQ((V{VPb_IO_byte_read(s, &b), VPb_IO_ii_word_read(s, &w[0]),
                 VPb_IO_mm_word_read(s, &w[1]), VPb_IO_ii_dword_read(s, &d[0]),
                 VPb_IO_mm_dword_read(s, &d[1]), VPb_IO_byte_order_set(s, 1),
                 VPb_IO_byte_order_set(s, 2), VPb_IO_byte_order_set(s, -1),
                 VPb_IO_byte_order_get(s), VPb_IO_word_read(s, &w[2]),
                 VPb_IO_dword_read(s, &d[2])}),
              (V{1, 2, 2, 4, 4, 1, 0, 0, 1, 2, 4}));  // orders other than 0 and 1 are refused
    EXPECT_EQ((V{b, w[0], w[1], w[2], d[0], d[1], d[2]}),
              (V{0xAB, 0x1234, 0x1234, 0xA1B2, 0x11223344, 0x11223344, 0x01020304}));
    VPb_IO_seek(s, 23, 0);  // a short read reports the bytes it got; the missing ones read as 0
    EXPECT_EQ((V{VPb_IO_mm_dword_read(s, &d[3]), d[3]}), (V{1, 0}));
    iQV_stream_free(s, 0);
    EXPECT_EQ((V{VPb_ii_word_swap(0x1234), VPb_ii_dword_swap(0x12345678u), VPb_mm_word_swap(0x1234),
                 VPb_mm_dword_swap(0x12345678u)}),
              (V{0x1234, 0x12345678, 0x3412, 0x78563412}));
}

// ---- file streams and replaced I/O slots ----------------------------------

int g_reads = 0;
int32_t counting_read(intptr_t fd, void *buf, int32_t n) {
    ++g_reads;
    return int32_t(::read(int(fd), buf, size_t(n)));
}
int32_t short_write(intptr_t, const void *, int32_t n) { return n > 3 ? 3 : n; }

TEST(FileStream, CreateWriteSeekRead) {
    std::string path = qvtest::temp_path("stream_file.bin");
    VPb_STREAM *w = iQV_stream_file_new(path.c_str(), 2);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ((V{VPb_IO_write(w, "abcdef", 6), VPb_IO_seek(w, 2, 0), VPb_IO_write(w, "XY", 2),
                 VPb_IO_seek(w, 0, 2)}),
              (V{6, 2, 2, 6}));
    iQV_stream_free(w, 1);
    EXPECT_EQ(qvtest::read_file(path), qvtest::bytes("abXYef"));
    EXPECT_EQ(iQV_stream_file_new((path + ".missing").c_str(), 0), nullptr);
    // Opened and created for modules through a memory stream.
    VPb_STREAM *s = iQV_stream_mem_new(nullptr, 0);
    ASSERT_GE(VPb_IO_create(s, path.c_str()), 0);
    EXPECT_EQ(VPb_IO_write(s, "hi", 2), 2);
    VPb_IO_close(s);
    ASSERT_GE(VPb_IO_open(s, path.c_str(), 1), 0);
    char got[3] = {};
    EXPECT_EQ(VPb_IO_read(s, got, 2), 2);
    EXPECT_STREQ(got, "hi");
    VPb_IO_close(s);
    iQV_stream_free(s, 0);
    ::unlink(path.c_str());
}

TEST(FileStream, ReplacedSlotsAndTheirRestoration) {
    std::string path = qvtest::temp_path("stream_slots.bin");
    qvtest::write_file(path, {1, 2, 3, 4, 5, 6});
    ASSERT_EQ(QV_file_IO_register(counting_read, short_write, nullptr), 0);
    g_reads = 0;
    VPb_STREAM *s = iQV_stream_file_new(path.c_str(), 1);
    ASSERT_NE(s, nullptr);
    uint8_t buf[4];
    QV_error_clear();
    EXPECT_EQ((V{VPb_IO_read(s, buf, 4), g_reads, VPb_IO_write(s, "12345", 5)}), (V{4, 1, 3}));
    EXPECT_STACK({-2393, 5, 3});
    iQV_stream_free(s, 1);
    // Null restores the built-in functions: later streams no longer call ours.
    ASSERT_EQ(QV_file_IO_register(nullptr, nullptr, nullptr), 0);
    g_reads = 0;
    s = iQV_stream_file_new(path.c_str(), 1);
    EXPECT_EQ((V{VPb_IO_read(s, buf, 2), VPb_IO_write(s, "12345", 5), g_reads, QV_error_check()}),
              (V{2, 5, 0, 0}));
    iQV_stream_free(s, 1);
    ::unlink(path.c_str());
}

// ---- tags -------------------------------------------------------------------

std::vector<std::string> g_offers;  // "who tag type size value"

int32_t record_offer(void *user, int32_t tag, int32_t type, const void *data, int32_t size) {
    uint32_t v = 0;
    std::memcpy(&v, data, size_t(size < 4 ? size : 4));
    g_offers.push_back(std::string(static_cast<const char *>(user)) + " " + std::to_string(tag) +
                       " " + std::to_string(type) + " " + std::to_string(size) + " " +
                       std::to_string(v));
    return 0;
}

TEST(Tags, OffersReachPipelineThenCallerAndStreamsKeepTheSettingsOfTheirStart) {
    char pipeline[] = "pipeline", caller[] = "caller";
    MemStream before(4);
    ASSERT_EQ(QV_load_tag_CB_register(record_offer, caller), 0);
    MemStream m(4);  // created after the registration: carries the caller's callback
    EXPECT_EQ(VPb_IO_tag_set_exists(before.s), 0);
    EXPECT_EQ(VPb_IO_tag_set_exists(m.s), 1);
    VPb_IO_tag_set_CB_register(m.s, record_offer, pipeline);
    g_offers.clear();
    VPb_IO_tag_byte_set(m.s, 400, 0x7F);
    VPb_IO_tag_word_set(m.s, 401, 0xBEEF);
    VPb_IO_tag_dword_set(m.s, 402, 0xDEADBEEF);
    EXPECT_EQ(g_offers, (std::vector<std::string>{
                            "pipeline 400 1 1 127", "caller 400 1 1 127", "pipeline 401 3 2 48879",
                            "caller 401 3 2 48879", "pipeline 402 4 4 3735928559",
                            "caller 402 4 4 3735928559"}));
    ASSERT_EQ(QV_load_tag_CB_register(nullptr, nullptr), 0);
    MemStream plain(4);
    EXPECT_EQ(VPb_IO_tag_set_exists(plain.s), 0);
}

uint16_t g_pipe_value = 11, g_user_value = 22;
int32_t answer(uint16_t *value, int32_t *type, const void **data, int32_t *count) {
    *type = 3, *data = value, *count = 1;
    return 1;
}
int32_t pipe_answer(void *, int32_t tag, int32_t *type, const void **data, int32_t *count) {
    return tag == 5 ? answer(&g_pipe_value, type, data, count) : 0;
}
int32_t user_answer(void *, int32_t tag, int32_t *type, const void **data, int32_t *count) {
    return tag == 5 || tag == 6 ? answer(&g_user_value, type, data, count) : 0;
}

TEST(Tags, RequestsAndTheOverrideFlag) {
    int32_t type = -1, count = -1;
    const void *data = &type;
    uint16_t w = 1;
    {
        MemStream m(4);
        EXPECT_EQ(VPb_IO_tag_user_get(m.s, 5, &type, &data, &count), 0);
        EXPECT_EQ((V{type, count, VPb_IO_tag_word_get(m.s, 5, &w), w}), (V{0, 0, 0, 0}));
        EXPECT_EQ(data, nullptr);
    }
    ASSERT_EQ(QV_save_tag_CB_register(user_answer, nullptr, 0), 0);
    {
        MemStream m(4);
        VPb_IO_tag_get_CB_register(m.s, pipe_answer, nullptr);
        EXPECT_EQ((V{VPb_IO_tag_get_exists(m.s), VPb_IO_tag_user_get_exists(m.s),
                     VPb_IO_tag_word_get(m.s, 5, &w), w, VPb_IO_tag_word_get(m.s, 6, &w)}),
                  (V{1, 1, 1, 11, 0}));  // ordinary requests: the pipeline only
        EXPECT_EQ(VPb_IO_tag_user_get(m.s, 5, &type, &data, &count), 1);
        EXPECT_EQ(*static_cast<const uint16_t *>(data), 22);  // the caller first
    }
    ASSERT_EQ(QV_save_tag_CB_register(user_answer, nullptr, QV_SAVE_TAG_OVERRIDE), 0);
    {
        MemStream m(4);
        VPb_IO_tag_get_CB_register(m.s, pipe_answer, nullptr);
        uint32_t d = 0;
        EXPECT_EQ((V{VPb_IO_tag_dword_get(m.s, 5, &d), d}), (V{1, 22}));
    }
    EXPECT_EQ(QV_save_tag_CB_register(user_answer, nullptr, 6), 1);
    EXPECT_STACK({-600, 6, 0});
    ASSERT_EQ(QV_save_tag_CB_register(nullptr, nullptr, 0), 0);
}

// ---- raster hand-over -------------------------------------------------------

int32_t g_rows = 0;
int32_t fake_dib_create(void *, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *) {
    return hdr->biWidth == 3 ? 0 : -5;
}
int32_t fake_raster_set(void *ctx, int32_t, const uint8_t *) {
    return ++*static_cast<int32_t *>(ctx), 0;
}
int32_t fake_plane_set(void *ctx, int32_t, int32_t, int32_t, const uint8_t *) {
    return ++*static_cast<int32_t *>(ctx), 0;
}

TEST(RasterHandOver, EmptySlotsAndUnhandledRasters) {
    MemStream m(4);
    QV_DIB_HEADER hdr = {40, 3, 2, 1, 8, 0, 0, 0, 0, 0, 0};
    uint8_t row[4] = {};
    QV_error_clear();
    EXPECT_EQ((V{VPb_IO_DIB_create(m.s, &hdr, nullptr), VPb_IO_raster_get(m.s, 0, row)}),
              (V{-2111, -2111}));
    EXPECT_EQ(VPb_IO_image_get(m.s), nullptr);
    EXPECT_STACK({-2111, 0, 1}, {-2111, 0, 1}, {-2111, 0, 1});
    QV_error_clear();
    iQV_stream_load_slots_set(m.s, reinterpret_cast<void *>(fake_dib_create),
                              reinterpret_cast<void *>(fake_raster_set),
                              reinterpret_cast<void *>(fake_plane_set), nullptr, &g_rows);
    EXPECT_EQ(VPb_IO_DIB_create(m.s, &hdr, nullptr), 0);
    hdr.biWidth = 4;
    EXPECT_EQ(VPb_IO_DIB_create(m.s, &hdr, nullptr), -5);  // the pipeline's answer, unchanged
    hdr.biBitCount = 2;
    g_rows = 0;
    EXPECT_EQ((V{VPb_IO_DIB_create(m.s, &hdr, nullptr), VPb_IO_raster_plane_set(m.s, 0, 3, 3, row),
                 VPb_IO_raster_set(m.s, 0, row), VPb_IO_raster_plane_set(m.s, 0, 2, 3, row), g_rows,
                 VPb_IO_raster_post_process(m.s)}),
              (V{-2413, -2413, 0, 0, 2, -2111}));
    EXPECT_STACK({-2413, 0, 1}, {-2413, 0, 1}, {-2111, 0, 1});
}

// ---- run-length expansion ---------------------------------------------------

TEST(RleExpand, Records) {
    const struct {
        Bytes src;
        int32_t dst_len;
        Bytes out;
        int32_t consumed;
    } cases[] = {
        {{2, 'a', 'b', 0x83, 'z'}, 10, {'a', 'b', 'z', 'z', 'z'}, 5},  // literal then run
        {{1, 'a', 0x80, 'q', 1, 'b'}, 10, {'a'}, 3},                  // zero length stops
        {{0xFF, 7}, 5, {7, 7, 7, 7, 7}, 2},                           // run cut at output
        {{5, 'a', 'b'}, 10, {'a', 'b'}, 3},                           // literal cut at input
        {{4, 1, 2, 3, 4, 2, 9, 9}, 3, {1, 2, 3}, 4},                  // literal cut at output
        {{1, 'x', 0x84}, 10, {'x'}, 3},                               // run without its byte
        {{}, 4, {}, 0},
    };
    for (const auto &c : cases) {
        Bytes dst(size_t(c.dst_len) + 4, 0xEE);
        int32_t consumed = -1;
        int32_t n = VPb_IO_rle_expand(c.src.data(), int32_t(c.src.size()), dst.data(), c.dst_len,
                                      &consumed);
        ASSERT_EQ(n, int32_t(c.out.size())) << ::testing::PrintToString(c.src);
        EXPECT_EQ(Bytes(dst.begin(), dst.begin() + n), c.out);
        EXPECT_EQ(Bytes(dst.begin() + c.dst_len, dst.end()), Bytes(4, 0xEE));  // never past
        EXPECT_EQ(consumed, c.consumed);
    }
}

}  // namespace
