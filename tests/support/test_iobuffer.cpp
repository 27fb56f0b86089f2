// The buffered reader/writer: the strict refill at the last bytes, peeks, seeks with their
// clamps, the hand-back of the position on close, and buffered writing in both byte orders.
#include <numeric>

#include "common/test_util.h"

namespace {

using V = std::vector<int64_t>;

// A memory stream of bytes 0x10, 0x11, ... whose whole content has been seen, so that its end
// (the high-water mark) is the data's end.
struct Source {
    std::vector<uint8_t> bytes;
    VPb_STREAM *s;
    explicit Source(size_t n) : bytes(n) {
        std::iota(bytes.begin(), bytes.end(), uint8_t(0x10));
        s = iQV_stream_mem_new(bytes.data(), int64_t(n));
        VPb_IO_seek(s, int64_t(n), 0);
        VPb_IO_seek(s, 0, 0);
    }
    ~Source() { iQV_stream_free(s, 0); }
};

TEST(IoBuffer, SmallBufferRefusesRefillsReachingTheEnd) {
    Source src(10);
    VPb_IOBUF *b = VPb_IOB_open(src.s, 0, 1, 4);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(VPb_IOB_size(b), 10);
    uint32_t d[2];
    uint16_t w;
    uint8_t c[3];
    // Refills at 0 and 4 (4 + 4 < 10); at 8 a word would end exactly at the end: refused. A byte
    // may refill (8 + 1 < 10), which brings in bytes 8 and 9: the last is served from the buffer.
    EXPECT_EQ((V{VPb_IOB_dword_read(b, &d[0]), VPb_IOB_dword_read(b, &d[1]),
                 VPb_IOB_word_read(b, &w), VPb_IOB_tell(b), VPb_IOB_byte_read(b, &c[0]),
                 VPb_IOB_byte_read(b, &c[1]), VPb_IOB_byte_read(b, &c[2])}),
              (V{1, 1, 0, 8, 1, 1, 0}));
    EXPECT_EQ((V{d[0], d[1], w, c[0], c[1]}), (V{0x13121110, 0x17161514, 0, 0x18, 0x19}));
    EXPECT_EQ(VPb_IOB_close(b), 0);
    EXPECT_EQ(VPb_IO_tell(src.s), 10);
}

TEST(IoBuffer, LargeBufferAndValueEndingExactlyAtTheEnd) {
    Source six(6), four(4);
    VPb_IOBUF *b = VPb_IOB_open(six.s, 0, 1, 64);
    uint16_t w;
    uint32_t d = 1;
    EXPECT_EQ(VPb_IOB_word_read(b, &w), 1);   // 0 + 2 < 6: fills all six bytes
    EXPECT_EQ(VPb_IOB_dword_read(b, &d), 1);  // ends at the end, but buffered
    EXPECT_EQ(d, 0x15141312u);
    VPb_IOB_close(b);
    b = VPb_IOB_open(four.s, 0, 1, 64);  // nothing buffered yet: refused
    EXPECT_EQ(VPb_IOB_dword_read(b, &d), 0);
    EXPECT_EQ(d, 0u);
    uint8_t two[2];
    EXPECT_EQ(VPb_IOB_peek2(b, two), 1);  // 0 + 2 < 4: fills
    EXPECT_EQ(VPb_IOB_dword_read(b, &d), 1);
    VPb_IOB_close(b);
}

TEST(IoBuffer, BigEndianOrderIsCopiedAtSetUpAndPeekDoesNotAdvance) {
    Source src(8);
    VPb_IO_byte_order_set(src.s, 1);
    VPb_IOBUF *b = VPb_IOB_open(src.s, 0, 1, 16);
    VPb_IO_byte_order_set(src.s, 0);  // later changes do not matter
    uint8_t two[2] = {};
    uint16_t w;
    uint32_t d;
    EXPECT_EQ(VPb_IOB_peek2(b, two), 1);
    EXPECT_EQ((V{two[0], two[1], VPb_IOB_tell(b)}), (V{0x10, 0x11, 0}));
    VPb_IOB_word_read(b, &w);
    VPb_IOB_dword_read(b, &d);
    EXPECT_EQ((V{w, d}), (V{0x1011, 0x12131415}));
    VPb_IOB_close(b);
}

TEST(IoBuffer, SeeksClampAndLandOnTheRightByte) {
    const struct {
        const char *name;
        int64_t first;  // absolute seek before the tested one
        int64_t offset;
        int32_t whence;
        int64_t result;
        uint8_t byte_there;
    } cases[] = {
        {"RelativeInsideBuffer", 2, 3, 1, 5, 0x15},
        {"RelativeBackInsideBuffer", 5, -4, 1, 1, 0x11},
        {"RelativeOutsideRefills", 2, 12, 1, 14, 0x1E},
        {"AbsolutePastEndClamped", 0, 50, 0, 19, 0x23},
        {"FromEndCountsBack", 0, 4, 2, 15, 0x1F},
        {"FromEndZeroIsLastByte", 0, 0, 2, 19, 0x23},
        {"FromEndClampedAtZero", 7, 40, 2, 0, 0x10},
        {"AbsoluteNegativeClamped", 3, -5, 0, 0, 0x10},
    };
    for (const auto &c : cases) {
        Source src(20);  // 0x10 .. 0x23
        VPb_IOBUF *b = VPb_IOB_open(src.s, 0, 1, 8);
        uint8_t v = 0;
        VPb_IOB_byte_read(b, &v);
        EXPECT_EQ((V{VPb_IOB_seek(b, c.first, 0), VPb_IOB_seek(b, c.offset, c.whence),
                     VPb_IOB_tell(b), VPb_IOB_byte_read(b, &v), v}),
                  (V{c.first, c.result, c.result, 1, c.byte_there}))
            << c.name;
        VPb_IOB_close(b);
    }
}

TEST(IoBuffer, CloseHandsTheStreamBackAtTheLogicalPosition) {
    Source src(20);
    VPb_IO_seek(src.s, 3, 0);
    VPb_IOBUF *b = VPb_IOB_open(src.s, 0, 1, 8);
    uint16_t w;
    VPb_IOB_word_read(b, &w);  // the stream itself has moved to 11
    EXPECT_EQ((V{w, VPb_IO_tell(src.s), VPb_IOB_close(b), VPb_IO_tell(src.s)}),
              (V{0x1413, 11, 0, 5}));
}

TEST(IoBuffer, WritingFlushesWhenFullAndOnClose) {
    std::vector<uint8_t> out(16, 0);
    VPb_STREAM *s = iQV_stream_mem_new(out.data(), 16);
    VPb_IO_byte_order_set(s, 1);
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    VPb_IOBUF *b = VPb_IOB_open(s, tag, 2, 4);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(VPb_IOB_dword_write(b, 0x01020304), 1);
    EXPECT_EQ(VPb_IOB_word_write(b, 0x0506), 1);  // the first four bytes go out
    EXPECT_EQ(iQV_stream_high_water(s), 4);
    EXPECT_EQ(VPb_IOB_write(b, "\x07\x08\x09", 3), 3);
    EXPECT_EQ(VPb_IOB_tell(b), 9);
    EXPECT_EQ(VPb_IOB_close(b), 0);
    EXPECT_EQ(iQV_stream_high_water(s), 9);
    EXPECT_EQ(out, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(iQV_mem_block_count(tag), 0u);  // the buffer went back to the caller's tag
    iQV_stream_free(s, 0);
}

TEST(IoBuffer, UnknownModeAndImpossibleSizeGiveMinus1000) {
    Source src(4);
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    QV_error_clear();
    EXPECT_EQ(VPb_IOB_open(src.s, tag, 3, 16), nullptr);
    EXPECT_EQ(VPb_IOB_open(src.s, tag, 1, 0), nullptr);
    EXPECT_STACK({-1000, 16, int32_t(tag)}, {-1000, 0, int32_t(tag)});
    EXPECT_EQ(iQV_mem_block_count(tag), 0u);
}

}  // namespace
