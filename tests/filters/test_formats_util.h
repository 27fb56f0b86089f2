// Helpers of the tests of the simple raster formats (TGA, PNM, SGI, Sun
// raster, ICO, XBM, XPM, XWD, PSD, MSP): an image as Pillow's bytes of a
// mode (the corpus manifest's MD5 form), corpus loads, and the peer script.
#pragma once

#include "filters/test_bmp_util.h"

namespace fmttest {

using bmptest::Bytes;

// Pillow's bytes of mode RGB, RGBA, L, 1 (packed rows, 1 = white), I
// (32-bit little-endian values: a 16-bit grey image's samples) or P (taken
// as RGB, the manifest's form for palette images).
inline Bytes pillow_bytes(QUORIN h, const std::string &mode) {
    Bytes out;
    const std::vector<int32_t> d = qvtest::dims(h);
    if (mode == "I") {
        for (int32_t y = 0; y < d[1]; ++y) {
            const Bytes row = bmptest::raw_row(h, y);
            for (int32_t x = 0; x < d[0]; ++x) {
                const uint32_t v = d[2] == 16 ? row[2 * x] | row[2 * x + 1] << 8 : row[x];
                for (int k = 0; k < 4; ++k) out.push_back(uint8_t(v >> (8 * k)));
            }
        }
        return out;
    }
    const bmptest::Rgba im = bmptest::rgba_of(h);
    const size_t take = mode == "RGBA" ? 4 : (mode == "RGB" || mode == "P") ? 3 : 1;
    for (int32_t y = 0; y < im.height; ++y) {
        uint32_t acc = 0, n = 0;
        for (int32_t x = 0; x < im.width; ++x) {
            const uint8_t *p = im.at(x, y);
            if (mode != "1") out.insert(out.end(), p, p + take);
            else acc = acc << 1 | (p[0] > 127), ++n;
            if (n == 8) out.push_back(uint8_t(acc)), acc = n = 0;
        }
        if (n) out.push_back(uint8_t(acc << (8 - n)));
    }
    return out;
}

// Every file under `prefix` that Pillow decodes (except `skip`) loads with
// Pillow's pixels; returns how many matched.
inline int corpus_matches(const std::string &prefix, const std::vector<std::string> &skip = {}) {
    const std::string dir = qvtest::corpus_dir() + "/";
    int matched = 0;
    for (const auto &e : qvtest::manifest(prefix)) {
        if (!e.decodes || std::find(skip.begin(), skip.end(), e.path) != skip.end()) continue;
        SCOPED_TRACE(e.path);
        QUORIN h = nullptr;
        EXPECT_EQ(QV_load_file((dir + e.path).c_str(), &h), 0) << qvtest::stack().size();
        if (!h) continue;
        const std::string got = qvtest::md5_hex(pillow_bytes(h, e.mode));
        EXPECT_EQ(got, e.md5) << e.mode;
        matched += got == e.md5;
        QV_image_delete(h);
    }
    return matched;
}

// Loads a corpus file expecting refusal: the handle stays 0, nothing is
// left allocated, and the stack's first record is returned.
inline qvtest::Err refusal(const std::string &path) {
    const size_t live = bmptest::live_blocks();
    QUORIN h = nullptr;
    const int32_t n = QV_load_file((qvtest::corpus_dir() + "/" + path).c_str(), &h);
    EXPECT_GE(n, 1) << path;
    EXPECT_EQ(h, nullptr) << path;
    const auto st = qvtest::stack();
    QV_image_delete(h);
    EXPECT_EQ(iQV_mem_live_blocks(), live) << path;
    return st.empty() ? qvtest::Err{} : st.front();
}

// Runs tests/filters/test_formats_peers.py with `args`; its output, or ""
// with *ok false when it failed.
inline std::string peer(const std::string &args, bool *ok = nullptr) {
    int st = 1;
    std::string out = qvtest::run(
        "/usr/bin/python3 " QV_SOURCE_DIR "/tests/filters/test_formats_peers.py " + args, &st);
    if (ok) *ok = st == 0;
    return out;
}

inline bool have_pillow() { return qvtest::command_ok("/usr/bin/python3 -c 'import PIL, numpy'"); }

// Saves `img` as `path` in `format` (compression in the high 16 bits) and
// returns Pillow's MD5 of the file read back in `mode`, "" on failure.
inline std::string pillow_md5_of_saved(QUORIN img, const std::string &path, int32_t format,
                                       const std::string &mode) {
    EXPECT_EQ(QV_save_file(img, path.c_str(), format), 0) << path;
    bool ok = false;
    std::string out = peer("md5 " + mode + " '" + path + "'", &ok);
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
    return ok ? out : "";
}

// Saves (as out<bpp><comp>.<ext>) random images of each bit count in `bpps` as `format | comp << 16`
// for each comp in {0, 1} (width `w0 + wstep * bpp`); Pillow reads each file
// as the image's pixels (mode RGBA for 32 bits when `rgba32`, else RGB) and
// the file loads back to them (alpha taken as opaque when `opaque`).
inline void pillow_round_trip(const std::string &ext, int32_t format,
                              std::initializer_list<int32_t> bpps, int32_t w0, int32_t wstep,
                              uint32_t seed, bool rgba32, bool opaque = false) {
    if (!have_pillow()) GTEST_SKIP() << "Pillow not available";
    const qvtest::TempDir dir(ext + "roundtrip");
    for (int32_t bpp : bpps)
        for (int32_t comp : {0, 1}) {
            SCOPED_TRACE(std::to_string(bpp) + " comp " + std::to_string(comp));
            const char *mode = rgba32 && bpp == 32 ? "RGBA" : "RGB";
            QUORIN img = bmptest::random_image(w0 + wstep * bpp, 5, bpp, uint32_t(bpp) * seed + uint32_t(comp));
            const std::string path = dir + "/out" + std::to_string(bpp) + std::to_string(comp) + "." + ext;
            EXPECT_EQ(pillow_md5_of_saved(img, path, format | comp << 16, mode),
                      qvtest::md5_hex(pillow_bytes(img, mode)));
            QUORIN back = nullptr;
            EXPECT_EQ(QV_load_file(path.c_str(), &back), 0);
            bmptest::Rgba want = bmptest::rgba_of(img);
            if (opaque)
                for (size_t i = 3; i < want.px.size(); i += 4) want.px[i] = 255;
            if (back) {
                EXPECT_EQ(bmptest::rgba_of(back).px, want.px);
            }
            QV_image_delete(back);
            QV_image_delete(img);
        }
}

}  // namespace fmttest
