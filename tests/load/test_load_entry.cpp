// Every load entry point end to end through BMP: named file, descriptor at a relative offset
// (position put back), memory, the caller-callback loads, the display load, the raw loads,
// thumbnails, the header queries, the status bar, a context set up for a nested load, and the
// failure rule (no image and no memory left behind).
#include <fcntl.h>
#include <unistd.h>

#include "filters/test_bmp_util.h"

namespace {

using bmptest::Bmp;
using bmptest::Bytes;
using V = std::vector<int32_t>;

// 5 x 3 at 24 bits; pixel (x, y) = (R = x * 50, G = y * 100, B = 7).
Bytes sample() {
    Bmp b{.width = 5, .height = 3, .bpp = 24};
    for (int k = 0; k < 3; ++k) {
        for (int x = 0; x < 5; ++x)
            b.data.insert(b.data.end(), {7, uint8_t((2 - k) * 100), uint8_t(x * 50)});
        b.data.push_back(0);
    }
    return b.bytes();
}

void expect_sample(QUORIN h) {
    ASSERT_NE(h, nullptr);
    bmptest::Rgba im = bmptest::rgba_of(h);
    ASSERT_EQ((V{im.width, im.height}), (V{5, 3}));
    EXPECT_EQ(Bytes(im.at(4, 2), im.at(4, 2) + 4), (Bytes{200, 200, 7, 255}));
    EXPECT_EQ(Bytes(im.at(1, 0), im.at(1, 0) + 4), (Bytes{50, 0, 7, 255}));
}

class LoadEntry : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = qvtest::temp_path("load_entry.bmp");
        file_ = sample();
        ASSERT_TRUE(qvtest::write_file(path_, file_));
        live_ = bmptest::live_blocks();
    }
    void TearDown() override {
        QV_status_bar_CB_register(nullptr, nullptr);
        std::remove(path_.c_str());
    }
    std::string path_;
    Bytes file_;
    size_t live_ = 0;
};

TEST_F(LoadEntry, MissingFileAndNullHandle) {
    QUORIN h = reinterpret_cast<QUORIN>(0x1234);
    EXPECT_EQ(QV_load_file("/nonexistent/dir/x.bmp", &h), 1);
    EXPECT_EQ(h, nullptr);
    EXPECT_STACK({QVE_OPEN_FAILED, 0, -1});
    EXPECT_EQ((V{QV_load_file(path_.c_str(), nullptr), qvtest::error_at(0).code}),
              (V{1, QVE_NULL_POINTER}));
}

TEST_F(LoadEntry, DescriptorAtAnOffsetIsPutBack) {
    // 100 bytes of text before the picture; the descriptor sits at 40.
    Bytes f(100 + file_.size(), 'x');
    std::copy(file_.begin(), file_.end(), f.begin() + 100);
    ASSERT_TRUE(qvtest::write_file(path_, f));
    int fd = ::open(path_.c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::lseek(fd, 40, SEEK_SET), 40);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_FD(fd, 60, 1, 1, &h), 0);
    expect_sample(h);
    QV_image_delete(h);
    EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), 40);
    // A failed load (offset into the text) puts it back too.
    EXPECT_GE(QV_load_FD(fd, 10, 1, 1, &h), 1);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(qvtest::error_codes().back(), QVE_DETECT_FAILED);
    EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), 40);
    ::close(fd);
    EXPECT_EQ(iQV_mem_live_blocks(), live_);
}

TEST_F(LoadEntry, DisplayLoadAndNotAnImage) {
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_file_display(path_.c_str(), 0, 10, 20, &h), 0);
    expect_sample(h);
    QV_image_delete(h);
    const char text[] = "\x01\x02 not an image at all";
    EXPECT_GE(QV_load_mem(text, sizeof text, 1, 1, &h), 1);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(qvtest::error_codes().back(), QVE_DETECT_FAILED);
    EXPECT_EQ(iQV_mem_live_blocks(), live_);
}

struct Seen {
    int32_t header_result = 0, stop_at = -1, width = 0, height = 0, bpp = 0;
    std::vector<int32_t> rows{};
    std::vector<Bytes> data{};
};

int32_t on_header(void *user, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *) {
    auto *s = static_cast<Seen *>(user);
    s->width = hdr->biWidth, s->height = hdr->biHeight, s->bpp = hdr->biBitCount;
    return s->header_result;
}

int32_t on_row(void *user, int32_t row, const uint8_t *data, int32_t bytes) {
    auto *s = static_cast<Seen *>(user);
    s->rows.push_back(row);
    s->data.emplace_back(data, data + bytes);
    return row == s->stop_at ? 5 : 0;
}

TEST_F(LoadEntry, CallbackLoadsHandRowsAndMakeNoImage) {
    Seen s;
    ASSERT_EQ(QV_load_mem_CB(file_.data(), file_.size(), 1, 1, on_row, on_header, &s), 0);
    EXPECT_EQ((V{s.width, s.height, s.bpp}), (V{5, 3, 24}));
    EXPECT_EQ(s.rows, (V{2, 1, 0}));  // bottom-up file
    ASSERT_EQ(s.data.size(), 3u);
    EXPECT_EQ((V{int32_t(s.data[0].size()), s.data[0][14]}), (V{16, 200}));  // row 2, pixel 4: R
    EXPECT_EQ(iQV_mem_live_blocks(), live_);

    Seen stop{.stop_at = 1}, refuse{.header_result = 7};
    EXPECT_FAILS(QV_load_mem_CB(file_.data(), file_.size(), 1, 1, on_row, nullptr, &stop),
                 {QVE_THUMB_NO_READ, 5, 1});
    EXPECT_FAILS(QV_load_mem_CB(file_.data(), file_.size(), 1, 1, on_row, on_header, &refuse),
                 {QVE_LOAD_CALLBACK, 7, 0});
    EXPECT_TRUE(refuse.rows.empty());
    EXPECT_EQ(QV_load_mem_CB(file_.data(), file_.size(), 1, 1, nullptr, nullptr, nullptr), 1);

    int fd = ::open(path_.c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    Seen from_fd;
    ASSERT_EQ(QV_load_FD_CB(fd, 0, 1, 1, on_row, on_header, &from_fd), 0);
    EXPECT_EQ(from_fd.data, s.data);
    EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), 0);
    ::close(fd);
    EXPECT_EQ(iQV_mem_live_blocks(), live_);
}

TEST_F(LoadEntry, RawLoadsDoNothing) {
    QUORIN sentinel = reinterpret_cast<QUORIN>(0x77), h = sentinel;
    QV_error_set("APP\\TEST.C", 1, -1, 0, 0);
    EXPECT_EQ((V{QV_load_raw_file(path_.c_str(), &h), QV_load_raw_FD(0, 0, &h),
                 QV_load_raw_mem(file_.data(), file_.size(), &h), QV_error_check()}),
              (V{0, 0, 0, 1}));  // nothing recorded, nothing cleared
    EXPECT_EQ(h, sentinel);
}

TEST_F(LoadEntry, ThumbnailOfAFormatWithoutThumbnails) {
    QUORIN h = nullptr;
    EXPECT_FAILS(QV_load_thumbnail(path_.c_str(), &h), {QVE_LOAD_CALLBACK, 0, 1});  // BMP: filter 1
    EXPECT_EQ(h, nullptr);
    int fd = ::open(path_.c_str(), O_RDONLY);
    EXPECT_EQ((V{QV_load_thumbnail_mem(file_.data(), file_.size(), &h),
                 QV_load_thumbnail_FD(fd, 0, &h), int32_t(::lseek(fd, 0, SEEK_CUR))}),
              (V{1, 1, 0}));
    ::close(fd);
    EXPECT_EQ(iQV_mem_live_blocks(), live_);
}

TEST_F(LoadEntry, HeaderQueriesOnEverySource) {
    int32_t type = 0, value = -1, pages = 0, cols = -1, rows = -1;
    QV_DIB_HEADER info{};
    ASSERT_EQ(QV_info_get(path_.c_str(), &type, &value, &info), 0);
    EXPECT_EQ((V{type, value, info.biWidth}), (V{QV_FORMAT_BMP, 0, 5}));
    int fd = ::open(path_.c_str(), O_RDONLY);
    EXPECT_EQ((V{QV_info_get_FD(fd, 0, &type, nullptr, nullptr),
                 QV_page_count_get_FD(fd, 0, &pages), pages,
                 QV_tile_count_get_FD(fd, 0, 1, &cols, &rows), cols, rows,
                 int32_t(::lseek(fd, 0, SEEK_CUR))}),
              (V{0, 0, 1, 0, 0, 0, 0}));  // BMP has no tiles
    ::close(fd);
    EXPECT_EQ((V{QV_page_count_get(path_.c_str(), &pages),
                 QV_tile_count_get(path_.c_str(), 1, nullptr, nullptr),
                 QV_tile_count_get_mem(file_.data(), file_.size(), 1, &cols, &rows)}),
              (V{0, 0, 0}));
    EXPECT_FAILS(QV_page_count_get(path_.c_str(), nullptr), {QVE_NULL_POINTER, 0, 0});
    EXPECT_EQ(QV_info_get("/nonexistent.bmp", &type, &value, &info), 1);
}

TEST_F(LoadEntry, StatusBarCountsRowsAndCancels) {
    qvtest::Progress p;
    ASSERT_EQ(QV_status_bar_CB_register(qvtest::Progress::on, &p), 0);
    QUORIN h = nullptr;
    ASSERT_EQ(QV_load_mem(file_.data(), file_.size(), 1, 1, &h), 0);
    EXPECT_EQ(p.calls.back(), (std::pair<int32_t, int32_t>{3, 3}));
    QV_image_delete(h);
    // Cancelled after the second row: the half-built image goes away.
    qvtest::Progress stop{.cancel_at = 2};
    QV_status_bar_CB_register(qvtest::Progress::on, &stop);
    EXPECT_FAILS(QV_load_file(path_.c_str(), &h), {QVE_CANCELLED, 1, 1});
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(iQV_mem_live_blocks(), live_);
}

TEST_F(LoadEntry, ContextForANestedLoad) {
    VPb_STREAM *s = iQV_stream_mem_new(file_.data(), int64_t(file_.size()));
    ASSERT_NE(s, nullptr);
    VPb_LOAD_CONTEXT ctx;
    QUORIN h = reinterpret_cast<QUORIN>(0x55);
    ASSERT_EQ(VPb_VPr_load_CB_data_init(&ctx, s, &h), 0);
    EXPECT_EQ(h, nullptr);
    QV_DIB_HEADER hdr{};
    hdr.biSize = 40, hdr.biWidth = 2, hdr.biHeight = 1, hdr.biPlanes = 1, hdr.biBitCount = 24;
    ASSERT_EQ(VPb_IO_DIB_create(s, &hdr, nullptr), 0);
    const uint8_t row[8] = {1, 2, 3, 4, 5, 6, 0, 0};
    ASSERT_EQ(VPb_IO_raster_set(s, 0, row), 0);
    ASSERT_EQ(VPb_IO_raster_post_process(s), 0);
    VPb_VPr_load_CB_data_release(&ctx);
    ASSERT_TRUE(QV_image_is_valid(h));
    EXPECT_EQ(bmptest::raw_row(h, 0), Bytes(row, row + 8));
    QV_image_delete(h);
    iQV_stream_free(s, 0);
    EXPECT_EQ(VPb_VPr_load_CB_data_init(nullptr, nullptr, nullptr), QVE_NULL_POINTER);
}

}  // namespace
