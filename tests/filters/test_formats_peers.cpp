// Files Pillow writes in the simple raster formats it can write (TGA,
// PPM/PGM/PBM, SGI, ICO with bitmap and PNG entries, XBM, MSP) load with the
// pixels Pillow reads back from them.
#include <sstream>

#include "filters/test_formats_util.h"

namespace {

TEST(FormatPeers, LoadsWhatPillowWrites) {
    if (!fmttest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const std::string dir = qvtest::temp_path("fmtpeers");
    qvtest::run("rm -rf '" + dir + "' && mkdir -p '" + dir + "'");
    bool ok = false;
    std::istringstream lines(fmttest::peer("make '" + dir + "'", &ok));
    ASSERT_TRUE(ok);
    std::string name, mode, md5;
    int checked = 0;
    while (lines >> name >> mode >> md5) {
        SCOPED_TRACE(name);
        QUORIN h = nullptr;
        ASSERT_EQ(QV_load_file((dir + "/" + name).c_str(), &h), 0) << qvtest::error_codes().front();
        EXPECT_EQ(qvtest::md5_hex(fmttest::pillow_bytes(h, mode)), md5);
        QV_image_delete(h);
        ++checked;
    }
    EXPECT_GE(checked, 13);
    qvtest::run("rm -rf '" + dir + "'");
}

}  // namespace
