// Helpers of the JPEG, PNG and GIF tests: Pillow's pixels of a file (as
// R, G, B, A bytes), ours, and their comparison within a tolerance.
#pragma once

#include <unistd.h>

#include <string>

#include "filters/test_bmp_util.h"

namespace codectest {

using Bytes = std::vector<uint8_t>;
using bmptest::Rgba;

inline const std::string kPeer = "/usr/bin/python3 '" QV_SOURCE_DIR "/tests/filters/codec_peers.py'";

inline bool have_pillow() {
    static const bool ok = qvtest::command_ok("/usr/bin/python3 -c 'import PIL.Image'");
    return ok;
}

// Pillow's frame `frame` (from 0) of a file as R, G, B, A bytes; empty when
// Pillow fails.
inline Bytes pillow_rgba(const std::string &file, int frame = 0) {
    const std::string out = qvtest::temp_path("codec_peer.rgba");
    int st = -1;
    qvtest::run(kPeer + " decode '" + file + "' " + std::to_string(frame) + " '" + out + "' 2>&1", &st);
    Bytes b = st == 0 ? qvtest::read_file(out) : Bytes{};
    ::unlink(out.c_str());
    return b;
}

// Loads a file (page from 1); px empty when the load failed.
inline Rgba load_rgba(const std::string &file, int32_t page = 1, int32_t *errors = nullptr) {
    const Bytes f = qvtest::read_file(file);
    int32_t n = 0;
    QUORIN h = qvtest::load_mem(f, &n, page);
    if (errors) *errors = n;
    Rgba px;
    if (h) px = bmptest::rgba_of(h);
    QV_image_delete(h);
    return px;
}

// The largest difference of R, G, B (and A where `alpha`) between ours and
// Pillow's; 256 when the sizes differ. Pixels Pillow makes transparent are
// compared only where `alpha`.
inline int max_diff(const Rgba &ours, const Bytes &theirs, bool alpha) {
    if (ours.px.size() != theirs.size() || theirs.empty()) return 256;
    int worst = 0;
    for (size_t i = 0; i < theirs.size(); i += 4) {
        if (!alpha && theirs[i + 3] == 0) continue;
        for (size_t c = 0; c < (alpha ? 4u : 3u); ++c) {
            const int d = std::abs(int(ours.px[i + c]) - int(theirs[i + c]));
            if (d > worst) worst = d;
        }
    }
    return worst;
}

using qvtest::NoLeaks;

// A 16 x 16 progressive JPEG written by the library, its frame header then
// made to claim width x height (the scan data stays that of 16 x 16).
inline Bytes progressive_jpeg_claiming(uint16_t width, uint16_t height) {
    QUORIN img = nullptr;
    if (QV_image_create_DIB(16, 16, 24, nullptr, &img) != 0) return {};
    const std::string out = qvtest::temp_path("claiming.jpg");
    QV_image_control_set(QV_CTL_JPEG_PROGRESSIVE, 1);
    const int32_t saved = QV_save_file(img, out.c_str(), QV_FORMAT_JPEG);
    QV_image_control_set(QV_CTL_JPEG_PROGRESSIVE, 0);
    QV_image_delete(img);
    if (saved != 0) return {};
    Bytes file = qvtest::read_file(out);
    for (size_t i = 2; i + 9 < file.size(); ++i)
        if (file[i] == 0xFF && file[i + 1] == 0xC2) {
            file[i + 5] = uint8_t(height >> 8), file[i + 6] = uint8_t(height);
            file[i + 7] = uint8_t(width >> 8), file[i + 8] = uint8_t(width);
            return file;
        }
    return {};
}

}  // namespace codectest
