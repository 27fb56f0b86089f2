// Every save entry point end to end through BMP: named files (by format
// value and by extension, update versus truncation, the order of
// failures), descriptors, memory, the caller sinks, the size calculation,
// the image's current rectangle, the status bar and the save options.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bytes;

int64_t file_size(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? int64_t(st.st_size) : -1;
}

class Save : public ::testing::Test {
protected:
    void SetUp() override {
        img_ = bmptest::random_image(7, 5, 24, 1);
        dir_ = qvtest::temp_path("save");
        ::mkdir(dir_.c_str(), 0700);
        QV_info_get_mem(nullptr, 0, nullptr, nullptr, nullptr);  // first-use records
    }
    void TearDown() override {
        QV_image_delete(img_);
        QV_status_bar_CB_register(nullptr, nullptr);
        QV_image_control_set(1 * 256 + QV_FORMAT_DCX, 0);  // DCX append flag
        qvtest::run("rm -rf '" + dir_ + "'");
    }
    std::string path(const std::string &name) const { return dir_ + "/" + name; }
    // `img` saved as BMP into memory.
    static Bytes saved_bytes(QUORIN img) {
        int64_t n = 0;
        EXPECT_EQ(QV_save_file_size_calc(img, QV_FORMAT_BMP, &n), 0);
        Bytes buf(static_cast<size_t>(n));
        size_t written = 0;
        EXPECT_EQ(QV_save_mem(img, buf.data(), buf.size(), 0, 0, 1, QV_FORMAT_BMP, &written), 0);
        EXPECT_EQ(written, buf.size());
        return buf;
    }
    QUORIN img_ = nullptr;
    std::string dir_;
};

TEST_F(Save, NamedFilesByFormatValueOrExtension) {
    ASSERT_EQ(QV_save_file(img_, path("a.bmp").c_str(), QV_FORMAT_BMP), 0);
    EXPECT_EQ(qvtest::read_file(path("a.bmp")), saved_bytes(img_));
    ASSERT_EQ(QV_save_file(img_, path("b.BmP").c_str(), 0), 0);
    EXPECT_EQ(qvtest::read_file(path("b.BmP")), saved_bytes(img_));
    // RAS is listed by the CALS row before the Sun raster row: CALS, whose
    // writer is not built.
    EXPECT_EQ(QV_save_file(img_, path("c.Ras").c_str(), 0), 1);
    EXPECT_STACK({QVE_NOT_IMPLEMENTED, 4, 0});
    ASSERT_EQ(QV_save_file(img_, path("e.pcx").c_str(), 0), 0);
    EXPECT_EQ(qvtest::read_file(path("e.pcx"))[0], 0x0A);
    // No dot, digits (bit 0x20 cleared never matches "301"), IMG (stored
    // without its bar): no filter, and no file.
    for (const char *name : {"nodot", "f.301", "g.img", "h."}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(QV_save_file(img_, path(name).c_str(), 0), 1);
        EXPECT_STACK({QVE_SAVE_FORMAT, 0, 0});
        EXPECT_EQ(file_size(path(name)), -1);
    }
}

TEST_F(Save, OrderOfFailures) {
    EXPECT_EQ(QV_save_file(img_, path("x.bmp").c_str(), 999), 1);
    EXPECT_STACK({QVE_SAVE_FORMAT, 999, 0});
    EXPECT_EQ(file_size(path("x.bmp")), -1);
    EXPECT_EQ(QV_save_file(img_, path("no/such/dir.bmp").c_str(), QV_FORMAT_BMP), 1);
    EXPECT_STACK({QVE_SAVE_TARGET, 0, -1});
    // GEM (type 13, filter 5) has no writer: reported after the file exists.
    EXPECT_EQ(QV_save_file(img_, path("y.gem").c_str(), 13), 1);
    EXPECT_STACK({QVE_SAVE_CALLBACK, 13, 5});
    EXPECT_EQ(file_size(path("y.gem")), 0);
    // An invalid handle: success, nothing written, nothing recorded.
    EXPECT_EQ(QV_save_file(reinterpret_cast<QUORIN>(0x10), path("z.bmp").c_str(), 2), 0);
    EXPECT_EQ(QV_error_check(), 0);
    EXPECT_EQ(file_size(path("z.bmp")), -1);
}

TEST_F(Save, MultiPageFormatsOpenForUpdateOthersTruncate) {
    ASSERT_TRUE(qvtest::write_file(path("m.bmp"), Bytes(50000, 'Z')));
    ASSERT_EQ(QV_save_file(img_, path("m.bmp").c_str(), 0), 0);
    EXPECT_EQ(file_size(path("m.bmp")), int64_t(saved_bytes(img_).size()));
    // A second page appended to a DCX file needs the first one kept.
    ASSERT_EQ(QV_save_file(img_, path("m.dcx").c_str(), 0), 0);
    ASSERT_EQ(QV_image_control_set(1 * 256 + QV_FORMAT_DCX, 1), 0);
    ASSERT_EQ(QV_save_file(img_, path("m.dcx").c_str(), 0), 0);
    int32_t pages = 0;
    ASSERT_EQ(QV_page_count_get(path("m.dcx").c_str(), &pages), 0);
    EXPECT_EQ(pages, 2);
}

TEST_F(Save, DescriptorAtItsPosition) {
    const std::string p = path("fd.bin");
    const int fd = ::open(p.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "0123456789", 10), 10);
    ASSERT_EQ(QV_save_FD(img_, fd, 0, 1, QV_FORMAT_BMP), 0);
    EXPECT_EQ(QV_save_FD(img_, fd, 0, 1, 0), 1);  // the format must be given
    EXPECT_STACK({QVE_SAVE_FORMAT, 0, 0});
    ::close(fd);
    Bytes want = saved_bytes(img_);
    want.insert(want.begin(), {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'});
    EXPECT_EQ(qvtest::read_file(p), want);
}

TEST_F(Save, MemoryBufferAndSizeCalculation) {
    const Bytes want = saved_bytes(img_);
    EXPECT_EQ(want.size(), 54u + 24u * 5u);
    // Room for the header only: the rows' write comes up short.
    Bytes buf(want.size() + 100, 0xEE);
    size_t written = 99;
    EXPECT_EQ(QV_save_mem(img_, buf.data(), 60, 0, 0, 1, QV_FORMAT_BMP, &written), 1);
    EXPECT_STACK({QVE_SHORT_WRITE, 6, 120});
    EXPECT_EQ(written, 60u);
    EXPECT_EQ(QV_save_mem(img_, buf.data(), 20, 0, 0, 1, QV_FORMAT_BMP, &written), 1);
    EXPECT_STACK({QVE_WRITE_HEADER, 20, 54});
    // A buffer already in use up to `used`: the written count is its end.
    std::fill(buf.begin(), buf.end(), 0xEE);
    ASSERT_EQ(QV_save_mem(img_, buf.data(), buf.size(), buf.size(), 0, 1, QV_FORMAT_BMP, &written),
              0);
    EXPECT_EQ(written, buf.size());
    EXPECT_TRUE(std::equal(want.begin(), want.end(), buf.begin()));
    int64_t n = -1;
    EXPECT_EQ(QV_save_file_size_calc(img_, QV_FORMAT_BMP, nullptr), 1);
    EXPECT_EQ(QV_save_file_size_calc(img_, QV_FORMAT_PCX, &n), 0);
    Bytes pcx(size_t(n) + 16);
    ASSERT_EQ(QV_save_mem(img_, pcx.data(), pcx.size(), 0, 0, 1, QV_FORMAT_PCX, &written), 0);
    EXPECT_EQ(int64_t(written), n);
}

struct Sink {
    Bytes data{};
    std::vector<int64_t> positions{};
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
    const Bytes want = saved_bytes(img_);
    Sink buffered, direct, tap, only, short_sink{.limit = 10};
    ASSERT_EQ(QV_save_mem_CB(img_, 0, 1, QV_FORMAT_BMP, sink_fn, &buffered), 0);
    EXPECT_EQ(buffered.data, want);
    EXPECT_EQ(buffered.positions, (std::vector<int64_t>{0}));  // one block under 64 KiB
    ASSERT_EQ(QV_save_mem_CB_direct(img_, 0, 1, QV_FORMAT_BMP, sink_fn, &direct), 0);
    EXPECT_EQ(direct.data, want);
    EXPECT_EQ(direct.positions, (std::vector<int64_t>{0, 54}));  // header, then the rows

    const std::string p = path("tap.bin");
    const int fd = ::open(p.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    ASSERT_EQ(::write(fd, "abc", 3), 3);
    ASSERT_EQ(QV_save_FD_CB(img_, fd, 0, 1, QV_FORMAT_BMP, sink_fn, &tap), 0);
    EXPECT_EQ(tap.positions.front(), 3);
    EXPECT_TRUE(std::equal(want.begin(), want.end(), tap.data.begin() + 3));
    EXPECT_EQ(file_size(p), int64_t(want.size() + 3));
    ASSERT_EQ(QV_save_FD_CB_direct(img_, fd, 0, 1, QV_FORMAT_BMP, sink_fn, &only), 0);
    EXPECT_EQ(only.positions.front(), int64_t(want.size() + 3));
    EXPECT_EQ(file_size(p), int64_t(want.size() + 3));  // the descriptor is not written
    ::close(fd);

    EXPECT_EQ(QV_save_mem_CB_direct(img_, 0, 1, QV_FORMAT_BMP, sink_fn, &short_sink), 2);
    EXPECT_STACK({QVE_COLOR_COUNT, 54, 10}, {QVE_WRITE_HEADER, 10, 54});
    EXPECT_EQ(QV_save_mem_CB(img_, 0, 1, QV_FORMAT_BMP, nullptr, nullptr), 1);
}

TEST_F(Save, CurrentRectangleAndReloadedImages) {
    for (int32_t bpp : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bpp);
        // Saved, loaded (1-bit images come back run-encoded) and saved
        // again: the same bytes.
        QUORIN img = bmptest::random_image(19, 6, bpp, uint32_t(bpp)), back = nullptr;
        const Bytes first = saved_bytes(img);
        ASSERT_NE(back = bmptest::load_mem(first), nullptr);
        EXPECT_EQ(saved_bytes(back), first);
        QV_image_delete(back);
        // The writer sees the current rectangle: 11 x 4, starting mid-byte
        // for 1 and 4 bits.
        QV_RECT r{3, 1, 13, 4};
        ASSERT_EQ(QV_image_rect_set(img, &r), 0);
        const std::string p = path("rect" + std::to_string(bpp) + ".bmp");
        ASSERT_EQ(QV_save_file(img, p.c_str(), QV_FORMAT_BMP), 0);
        ASSERT_EQ(QV_load_file(p.c_str(), &back), 0);
        const bmptest::Rgba whole = bmptest::rgba_of(img), part = bmptest::rgba_of(back);
        ASSERT_EQ(part.width, 11);
        ASSERT_EQ(part.height, 4);
        for (int32_t y = 0; y < 4; ++y)
            for (int32_t x = 0; x < 11; ++x)
                ASSERT_EQ(0, std::memcmp(part.at(x, y), whole.at(x + 3, y + 1), 4)) << x << y;
        QV_image_delete(img);
        QV_image_delete(back);
    }
}

TEST_F(Save, StatusBarDuringSaves) {
    qvtest::Progress p, stop{.cancel_at = 2};
    QV_status_bar_CB_register(qvtest::Progress::on, &p);
    ASSERT_EQ(QV_save_file(img_, path("p.bmp").c_str(), QV_FORMAT_BMP), 0);
    EXPECT_EQ(p.calls.size(), 5u);
    EXPECT_EQ(p.calls.back(), (std::pair<int32_t, int32_t>{5, 5}));
    QV_status_bar_CB_register(qvtest::Progress::on, &stop);
    EXPECT_EQ(QV_save_file(img_, path("q.bmp").c_str(), QV_FORMAT_BMP), 1);
    EXPECT_STACK({QVE_CANCELLED, 3, 3});  // rows fetched bottom-up
}

TEST_F(Save, Options) {
    EXPECT_EQ(QV_save_JPEG_quality_set(0), 1);
    EXPECT_STACK({QVE_CONTROL_VALUE, 277, 0});
    // Thumbnail sizes go to both the JPEG (21) and TGA (39) settings.
    ASSERT_EQ(QV_save_thumbnail_set(11, 22, 33), 0);
    const int32_t ids[] = {3 * 256 + 21, 4 * 256 + 21, 5 * 256 + 21, 1 * 256 + 39, 2 * 256 + 39,
                           3 * 256 + 39};
    for (int i = 0; i < 6; ++i) {
        int32_t v = 0;
        ASSERT_EQ(QV_image_control_get(ids[i], &v), 0);
        EXPECT_EQ(v, 11 * (i % 3 + 1)) << ids[i];
    }
    QV_save_thumbnail_set(0, 0, 0);
}

}  // namespace
