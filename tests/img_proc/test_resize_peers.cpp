// Resize against ImageMagick on pictures it reads from our files: whole-number enlargement by
// nearest neighbour (-sample) picks the same pixels as method 0, and the canvas change matches
// -extent anchored at the top left with a background colour (growing and cropping).
#include "img_proc/resize_util.h"

namespace {

using rs::Rows;

struct Peer {
    const char *what;
    int32_t nw, nh;
    uint32_t method;
    std::string args;  // ImageMagick options between input and output
};

TEST(ResizePeers, ImageMagickSampleAndExtent) {
    if (!qvtest::command_ok("convert -version >/dev/null 2>&1")) GTEST_SKIP() << "ImageMagick convert not found";
    const uint8_t bg[3] = {30, 20, 10};  // blue, green, red: #0a141e
    const std::vector<Peer> cases = {
        {"twice the width, three times the height", 46, 51, 0, "-sample 46x51!"},
        {"four times both ways", 92, 68, 0, "-sample 92x68!"},
        {"a larger canvas", 40, 30, 4, "-background '#0a141e' -gravity NorthWest -extent 40x30"},
        {"a crop to the top left", 9, 5, 4, "-background '#0a141e' -gravity NorthWest -extent 9x5"},
        {"wider, shorter", 31, 7, 4, "-background '#0a141e' -gravity NorthWest -extent 31x7"},
    };
    const std::string in = qvtest::temp_path("resize_peer_in.bmp"), out = qvtest::temp_path("resize_peer_out.bmp");
    const Rows src = rs::random_rows(23, 17, 24, 5);
    for (const Peer &c : cases) {
        SCOPED_TRACE(c.what);
        QUORIN img = rs::make(23, 17, 24, src);
        ASSERT_EQ(QV_save_file(img, in.c_str(), QV_FORMAT_BMP), 0);
        int status = -1;
        qvtest::run("convert '" + in + "' " + c.args + " -type TrueColor 'BMP3:" + out + "' 2>&1", &status);
        ASSERT_EQ(status, 0);
        QUORIN peer = nullptr;
        ASSERT_EQ(QV_load_file(out.c_str(), &peer), 0);
        ASSERT_EQ(QV_IP_resize_bkgrnd(img, c.nw, c.nh, c.method, bg), 0);
        EXPECT_EQ(qvtest::dims(peer), qvtest::dims(img));
        EXPECT_EQ(rs::read(peer), rs::read(img));
        QV_image_delete(peer);
        QV_image_delete(img);
    }
    std::remove(in.c_str());
    std::remove(out.c_str());
}

}  // namespace
