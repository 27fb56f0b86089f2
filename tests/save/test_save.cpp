// Every save entry point end to end through BMP: named files (by format
// value and by extension, update versus truncation, the order of
// failures), descriptors, memory, the caller sinks, the size calculation,
// the image's current rectangle, the status bar and the save options.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>

#include "common/internal_api.h"
#include "common/test_util.h"
#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bytes;
using bmptest::Err;

QUORIN make(int32_t w, int32_t h, int32_t bpp, uint32_t seed = 1) {
    QUORIN img = nullptr;
    EXPECT_EQ(QV_image_create_DIB(w, h, bpp, nullptr, &img), 0);
    std::mt19937 rng(seed);
    Bytes row(bmptest::stride_of(w, bpp));
    for (int32_t y = 0; y < h; ++y) {
        for (auto &b : row) b = uint8_t(rng());
        // Padding after the last pixel is zero, as every reader makes it.
        size_t bits = size_t(w) * size_t(bpp);
        for (size_t k = bits; k < row.size() * 8; ++k) row[k / 8] &= uint8_t(~(0x80u >> (k % 8)));
        QV_DIB_raster_set(img, y, row.data(), 1);
    }
    QV_RGBQUAD *pal = nullptr;
    int32_t n = 0;
    if (bpp <= 8 && QV_image_DIB_palette_pntr_get(img, &pal, &n) == 0)
        for (int32_t i = 0; i < n; ++i) pal[i] = QV_RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
    return img;
}

int64_t file_size(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? int64_t(st.st_size) : -1;
}

class Save : public ::testing::Test {
protected:
    void SetUp() override {
        img_ = make(7, 5, 24);
        dir_ = qvtest::temp_path("save");
        ::mkdir(dir_.c_str(), 0700);
        QV_info_get_mem(nullptr, 0, nullptr, nullptr, nullptr);  // first-use records
    }
    void TearDown() override {
        QV_image_delete(img_);
        QV_status_bar_CB_register(nullptr, nullptr);
        bmptest::run("rm -rf '" + dir_ + "'");
    }
    std::string path(const std::string &name) const { return dir_ + "/" + name; }
    Bytes saved_bytes() {
        int64_t n = 0;
        EXPECT_EQ(QV_save_file_size_calc(img_, QV_FORMAT_BMP, &n), 0);
        Bytes buf(static_cast<size_t>(n));
        size_t written = 0;
        EXPECT_EQ(QV_save_mem(img_, buf.data(), buf.size(), 0, 0, 1, QV_FORMAT_BMP, &written), 0);
        EXPECT_EQ(written, buf.size());
        return buf;
    }
    QUORIN img_ = nullptr;
    std::string dir_;
};

TEST_F(Save, NamedFileRoundTrip) {
    std::string p = path("a.bmp");
    ASSERT_EQ(QV_save_file(img_, p.c_str(), QV_FORMAT_BMP), 0);
    QUORIN back = nullptr;
    ASSERT_EQ(QV_load_file(p.c_str(), &back), 0);
    EXPECT_TRUE(bmptest::rgba_of(back).px == bmptest::rgba_of(img_).px);
    QV_image_delete(back);
    EXPECT_EQ(qvtest::read_file(p), saved_bytes());
}

TEST_F(Save, ChoiceByExtension) {
    ASSERT_EQ(QV_save_file(img_, path("b.BmP").c_str(), 0), 0);
    EXPECT_EQ(qvtest::read_file(path("b.BmP")), saved_bytes());
    // RAS is listed by the CALS row before the Sun raster row: CALS, whose
    // writer is not built.
    EXPECT_EQ(QV_save_file(img_, path("c.Ras").c_str(), 0), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_NOT_IMPLEMENTED, 4, 0}}));
    EXPECT_EQ(QV_save_file(img_, path("d.ica").c_str(), 0), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_NOT_IMPLEMENTED, 16, 0}}));
    ASSERT_EQ(QV_save_file(img_, path("e.pcx").c_str(), 0), 0);
    EXPECT_EQ(qvtest::read_file(path("e.pcx"))[0], 0x0A);
    // No dot, digits (bit 0x20 cleared never matches "301"), IMG (stored
    // without its bar): no filter, and no file.
    for (const char *name : {"nodot", "f.301", "g.img", "h."}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(QV_save_file(img_, path(name).c_str(), 0), 1);
        EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_SAVE_FORMAT, 0, 0}}));
        EXPECT_EQ(file_size(path(name)), -1);
    }
}

TEST_F(Save, OrderOfFailures) {
    EXPECT_EQ(QV_save_file(img_, path("x.bmp").c_str(), 999), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_SAVE_FORMAT, 999, 0}}));
    EXPECT_EQ(file_size(path("x.bmp")), -1);
    EXPECT_EQ(QV_save_file(img_, path("no/such/dir.bmp").c_str(), QV_FORMAT_BMP), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_SAVE_TARGET, 0, -1}}));
    // GEM (type 13, filter 5) has no writer: reported after the file exists.
    EXPECT_EQ(QV_save_file(img_, path("y.gem").c_str(), 13), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_SAVE_CALLBACK, 13, 5}}));
    EXPECT_EQ(file_size(path("y.gem")), 0);
    // An invalid handle: success, nothing written, nothing recorded.
    EXPECT_EQ(QV_save_file(reinterpret_cast<QUORIN>(0x10), path("z.bmp").c_str(), 2), 0);
    EXPECT_EQ(QV_error_check(), 0);
    EXPECT_EQ(file_size(path("z.bmp")), -1);
}

TEST_F(Save, MultiPageFormatsOpenForUpdateOthersTruncate) {
    Bytes junk(50000, 'Z');
    ASSERT_TRUE(qvtest::write_file(path("m.dcx"), junk));
    ASSERT_TRUE(qvtest::write_file(path("m.bmp"), junk));
    ASSERT_EQ(QV_save_file(img_, path("m.bmp").c_str(), 0), 0);
    EXPECT_EQ(file_size(path("m.bmp")), int64_t(saved_bytes().size()));
    ASSERT_EQ(QV_save_file(img_, path("m.dcx").c_str(), 0), 0);
    Bytes dcx = qvtest::read_file(path("m.dcx"));
    EXPECT_GE(dcx.size(), junk.size());  // written in place, not truncated
    EXPECT_EQ(Bytes(dcx.begin(), dcx.begin() + 4), (Bytes{0xB1, 0x68, 0xDE, 0x3A}));  // 987654321
}

TEST_F(Save, DescriptorAtItsPosition) {
    std::string p = path("fd.bin");
    int fd = ::open(p.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "0123456789", 10), 10);
    ASSERT_EQ(QV_save_FD(img_, fd, 0, 1, QV_FORMAT_BMP), 0);
    EXPECT_EQ(QV_save_FD(img_, fd, 0, 1, 0), 1);  // the format must be given
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_SAVE_FORMAT, 0, 0}}));
    ::close(fd);
    Bytes f = qvtest::read_file(p);
    Bytes want = saved_bytes();
    ASSERT_EQ(f.size(), want.size() + 10);
    EXPECT_TRUE(std::equal(want.begin(), want.end(), f.begin() + 10));
}

TEST_F(Save, MemoryBufferAndSizeCalculation) {
    Bytes want = saved_bytes();
    EXPECT_EQ(want.size(), 54u + 24u * 5u);
    // Room for the header only: the rows' write comes up short.
    Bytes small(60, 0);
    size_t written = 99;
    EXPECT_EQ(QV_save_mem(img_, small.data(), small.size(), 0, 0, 1, QV_FORMAT_BMP, &written), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_SHORT_WRITE, 6, 120}}));
    EXPECT_EQ(written, 60u);
    Bytes tiny(20, 0);
    EXPECT_EQ(QV_save_mem(img_, tiny.data(), tiny.size(), 0, 0, 1, QV_FORMAT_BMP, &written), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_WRITE_HEADER, 20, 54}}));
    // A buffer already in use up to `used`: the written count is its end.
    Bytes big(want.size() + 100, 0xEE);
    ASSERT_EQ(QV_save_mem(img_, big.data(), big.size(), big.size(), 0, 1, QV_FORMAT_BMP, &written), 0);
    EXPECT_EQ(written, big.size());
    EXPECT_TRUE(std::equal(want.begin(), want.end(), big.begin()));
    int64_t n = -1;
    EXPECT_EQ(QV_save_file_size_calc(img_, QV_FORMAT_BMP, nullptr), 1);
    EXPECT_EQ(QV_save_file_size_calc(img_, QV_FORMAT_PCX, &n), 0);
    Bytes pcx(size_t(n) + 16);
    ASSERT_EQ(QV_save_mem(img_, pcx.data(), pcx.size(), 0, 0, 1, QV_FORMAT_PCX, &written), 0);
    EXPECT_EQ(int64_t(written), n);
}

struct Sink {
    Bytes data;
    std::vector<int64_t> positions;
    int32_t limit = -1;
};

int32_t sink_fn(void *user, int64_t position, const void *data, int32_t count) {
    auto *s = static_cast<Sink *>(user);
    s->positions.push_back(position);
    if (s->limit >= 0 && count > s->limit) count = s->limit;
    if (s->data.size() < size_t(position + count)) s->data.resize(size_t(position + count));
    std::memcpy(s->data.data() + position, data, size_t(count));
    return count;
}

TEST_F(Save, CallerSinks) {
    Bytes want = saved_bytes();
    Sink buffered, direct;
    ASSERT_EQ(QV_save_mem_CB(img_, 0, 1, QV_FORMAT_BMP, sink_fn, &buffered), 0);
    EXPECT_EQ(buffered.data, want);
    EXPECT_EQ(buffered.positions, (std::vector<int64_t>{0}));  // one block under 64 KiB
    ASSERT_EQ(QV_save_mem_CB_direct(img_, 0, 1, QV_FORMAT_BMP, sink_fn, &direct), 0);
    EXPECT_EQ(direct.data, want);
    EXPECT_EQ(direct.positions, (std::vector<int64_t>{0, 54}));  // header, then the rows

    std::string p = path("tap.bin");
    int fd = ::open(p.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    ASSERT_EQ(::write(fd, "abc", 3), 3);
    Sink tap, only;
    ASSERT_EQ(QV_save_FD_CB(img_, fd, 0, 1, QV_FORMAT_BMP, sink_fn, &tap), 0);
    EXPECT_EQ(tap.positions.front(), 3);
    EXPECT_TRUE(std::equal(want.begin(), want.end(), tap.data.begin() + 3));
    EXPECT_EQ(file_size(p), int64_t(want.size() + 3));
    ASSERT_EQ(QV_save_FD_CB_direct(img_, fd, 0, 1, QV_FORMAT_BMP, sink_fn, &only), 0);
    EXPECT_EQ(only.positions.front(), int64_t(want.size() + 3));
    EXPECT_EQ(file_size(p), int64_t(want.size() + 3));  // the descriptor is not written
    ::close(fd);

    Sink short_sink;
    short_sink.limit = 10;
    EXPECT_EQ(QV_save_mem_CB_direct(img_, 0, 1, QV_FORMAT_BMP, sink_fn, &short_sink), 2);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_COLOR_COUNT, 54, 10}, {QVE_WRITE_HEADER, 10, 54}}));
    EXPECT_EQ(QV_save_mem_CB(img_, 0, 1, QV_FORMAT_BMP, nullptr, nullptr), 1);
}

TEST_F(Save, CurrentRectangleIsWhatTheWriterSees) {
    for (int32_t bpp : {1, 4, 8, 24}) {
        SCOPED_TRACE(bpp);
        QUORIN img = make(19, 6, bpp, uint32_t(bpp));
        QV_RECT r{3, 1, 13, 4};  // 11 x 4, starting mid-byte for 1 and 4 bits
        ASSERT_EQ(QV_image_rect_set(img, &r), 0);
        std::string p = path("rect" + std::to_string(bpp) + ".bmp");
        ASSERT_EQ(QV_save_file(img, p.c_str(), QV_FORMAT_BMP), 0);
        QUORIN back = nullptr;
        ASSERT_EQ(QV_load_file(p.c_str(), &back), 0);
        bmptest::Rgba whole = bmptest::rgba_of(img), part = bmptest::rgba_of(back);
        ASSERT_EQ(part.width, 11);
        ASSERT_EQ(part.height, 4);
        for (int32_t y = 0; y < 4; ++y)
            for (int32_t x = 0; x < 11; ++x)
                ASSERT_EQ(0, std::memcmp(part.at(x, y), whole.at(x + 3, y + 1), 4)) << x << "," << y;
        QV_image_delete(img);
        QV_image_delete(back);
    }
}

TEST_F(Save, ReloadedImagesSaveToTheSameBytes) {
    // Each depth: save, load (1-bit images come back run-encoded), save again.
    for (int32_t bpp : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bpp);
        QUORIN img = make(33, 7, bpp, 9);
        int64_t n = 0;
        ASSERT_EQ(QV_save_file_size_calc(img, QV_FORMAT_BMP, &n), 0);
        Bytes first(static_cast<size_t>(n)), second(static_cast<size_t>(n));
        size_t w = 0;
        ASSERT_EQ(QV_save_mem(img, first.data(), first.size(), 0, 0, 1, QV_FORMAT_BMP, &w), 0);
        QUORIN back = bmptest::load_mem(first);
        ASSERT_NE(back, nullptr);
        ASSERT_EQ(QV_save_mem(back, second.data(), second.size(), 0, 0, 1, QV_FORMAT_BMP, &w), 0);
        EXPECT_EQ(first, second);
        QV_image_delete(img);
        QV_image_delete(back);
    }
}

struct Progress {
    int32_t calls = 0, last_done = 0, total = 0, cancel_at = -1;
};
int32_t on_progress(int32_t done, int32_t total, void *user) {
    auto *p = static_cast<Progress *>(user);
    ++p->calls, p->last_done = done, p->total = total;
    return done == p->cancel_at ? 0 : 1;
}

TEST_F(Save, StatusBarDuringSaves) {
    Progress p;
    QV_status_bar_CB_register(on_progress, &p);
    ASSERT_EQ(QV_save_file(img_, path("p.bmp").c_str(), QV_FORMAT_BMP), 0);
    EXPECT_EQ(p.calls, 5);
    EXPECT_EQ(p.last_done, 5);
    EXPECT_EQ(p.total, 5);
    Progress stop;
    stop.cancel_at = 2;
    QV_status_bar_CB_register(on_progress, &stop);
    EXPECT_EQ(QV_save_file(img_, path("q.bmp").c_str(), QV_FORMAT_BMP), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_CANCELLED, 3, 3}}));  // rows fetched bottom-up
}

TEST_F(Save, Options) {
    int32_t q = 0;
    ASSERT_EQ(QV_save_JPEG_quality_get(&q), 0);
    EXPECT_EQ(q, 75);
    ASSERT_EQ(QV_save_JPEG_quality_set(90), 0);
    QV_image_control_get(277, &q);
    EXPECT_EQ(q, 90);
    EXPECT_EQ(QV_save_JPEG_quality_set(0), 1);
    EXPECT_EQ(bmptest::stack(), (std::vector<Err>{{QVE_CONTROL_VALUE, 277, 0}}));
    QV_save_JPEG_quality_set(75);
    ASSERT_EQ(QV_save_thumbnail_set(11, 22, 33), 0);
    const int32_t ids[] = {3 * 256 + 21, 4 * 256 + 21, 5 * 256 + 21, 1 * 256 + 39, 2 * 256 + 39, 3 * 256 + 39};
    const int32_t want[] = {11, 22, 33, 11, 22, 33};
    for (int i = 0; i < 6; ++i) {
        int32_t v = 0;
        ASSERT_EQ(QV_image_control_get(ids[i], &v), 0);
        EXPECT_EQ(v, want[i]) << ids[i];
    }
    QV_save_thumbnail_set(0, 0, 0);
}

}  // namespace
