// TIFF writer: every depth with every compression it allows, both byte
// orders, strips, tiles and planar pages, read back by libtiff (tiffinfo -D
// without warnings), Pillow and this library with the source pixels;
// appended pages, the IFD-before-data option, the tag rules (types, ColorMap,
// RowsPerStrip, T4Options), refusals by code and values, exact bytes of a
// small file, and a load -> save -> load round trip over the corpus.
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "filters/test_bmp_util.h"
#include "filters/test_tiff_util.h"

namespace {

using Bytes = std::vector<uint8_t>;
using qvtest::Err;
using U = std::vector<uint32_t>;

int32_t fmt(int32_t code) { return QV_FORMAT_TIFF | code << 16; }

class TiffWrite : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override {
        reset();
        for (QUORIN h : images_) QV_image_delete(h);
    }
    static void reset() {
        for (int f = 0; f < 48; ++f) QV_image_control_set(f * 256 + 40, f == 12 ? 255 : f == 15 ? 2 : 0);
        // A fixed date keeps the files' bytes the same from run to run.
        set_text(20, "2024:01:02 03:04:05");
        QV_save_tag_CB_register(nullptr, nullptr, 0);
    }
    static void set_text(int field, const std::string &t) {
        char buf[20] = {0};
        std::memcpy(buf, t.data(), std::min<size_t>(t.size(), 19));
        for (int i = 0; i < 5; ++i) {
            int32_t w;
            std::memcpy(&w, buf + 4 * i, 4);
            QV_image_control_set((field + i) * 256 + 40, w);
        }
    }
    QUORIN keep(QUORIN h) {
        images_.push_back(h);
        return h;
    }
    QUORIN image(int32_t w, int32_t h, int32_t bpp, uint32_t seed, const char *palette = nullptr) {
        QUORIN img = keep(bmptest::random_image(w, h, bpp, seed));
        if (palette) set_palette(img, palette);
        return img;
    }
    static void set_palette(QUORIN img, const std::string &kind) {
        QV_RGBQUAD *pal = nullptr;
        int32_t n = 0;
        ASSERT_EQ(QV_image_DIB_palette_pntr_get(img, &pal, &n), 0);
        for (int32_t i = 0; i < n; ++i) {
            const uint8_t v = uint8_t(kind == "bw" ? i * 255 : kind == "wb" ? 255 - i * 255 : i * 255 / (n - 1));
            pal[i] = QV_RGBQUAD{v, v, v, 0};
        }
    }
    std::string path(const std::string &name) { return qvtest::temp_path("tiffw_" + name); }
    int32_t save(QUORIN h, const std::string &file, int32_t code) {
        unlink(file.c_str());
        return QV_save_file(h, file.c_str(), fmt(code));
    }
    std::vector<QUORIN> images_;
};

// tiffinfo's warnings and errors; `data` also decodes the data (-D), which
// tiffinfo cannot do for subsampled YCbCr tiles ("th * rowsize >
// tilesize"): those are checked through Pillow.
std::string tiffinfo_complaints(const std::string &file, bool data = true) {
    return qvtest::run(std::string("tiffinfo ") + (data ? "-D '" : "'") + file + "' 2>&1 >/dev/null");
}

// The largest R, G, B difference (alpha is not compared).
int max_diff(const bmptest::Rgba &a, const Bytes &b) {
    if (b.size() != a.px.size()) return 999;
    int worst = 0;
    for (size_t i = 0; i < b.size(); ++i)
        if (i % 4 != 3) worst = std::max(worst, std::abs(int(a.px[i]) - int(b[i])));
    return worst;
}

// This library's pixels of a page; empty when the load failed.
bmptest::Rgba ours(const std::string &file, int32_t page = 1) { return codectest::load_rgba(file, page); }

struct Case {
    const char *name;
    int32_t bpp;
    const char *palette;  // null: random
    std::vector<int32_t> codes;
};

TEST_F(TiffWrite, EveryDepthAndCompressionReadsBackWithTheSourcePixels) {
    if (!codectest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const Case cases[] = {
        {"bw", 1, "bw", {0, 1, 2, 3, 4, 5, 8}},
        {"wb", 1, "wb", {0, 1, 3, 4, 8}},
        {"mono_colour", 1, nullptr, {0, 1, 8}},
        {"pal4", 4, nullptr, {0, 1, 8}},
        {"pal8", 8, nullptr, {0, 1, 8, 6}},
        {"grey8", 8, "ramp", {0, 1, 8, 6}},
        {"rgb24", 24, nullptr, {0, 1, 8, 6}},
        {"rgb32", 32, nullptr, {0, 1, 8}},
    };
    struct Layout {
        const char *name;
        std::vector<std::pair<int32_t, int32_t>> ctl;  // (field, value)
    };
    const Layout layouts[] = {
        {"one", {}},
        {"black_is_zero", {{1, 1}}},
        {"cmyk_planar", {{1, 5}, {2, 1}, {4, 5}}},
        {"mm_rows7", {{0, 1}, {4, 7}}},
        {"tiles", {{3, 16}, {6, 16}, {7, 32}}},
        {"mm_planar_bytes", {{0, 1}, {2, 1}, {3, 1}, {5, 700}}},
        {"ifd_first_tiles_planar", {{16, 1}, {2, 1}, {3, 16}, {6, 32}, {7, 16}}},
    };
    std::vector<std::string> files;
    std::vector<bmptest::Rgba> sources;
    std::vector<bool> lossy;
    for (const Layout &lay : layouts)
        for (const Case &c : cases)
            for (int32_t code : c.codes) {
                reset();
                for (auto [f, v] : lay.ctl) QV_image_control_set(f * 256 + 40, v);
                if (code == 6) QV_image_control_set(QV_CTL_TIFF_ONE_JPEG_STREAM, 1);
                QUORIN img = image(45 + 8 * int32_t(files.size() % 3), 37, c.bpp, uint32_t(files.size()), c.palette);
                const std::string f = path(std::string(lay.name) + "_" + c.name + "_" + std::to_string(code) + ".tif");
                ASSERT_EQ(save(img, f, code), 0) << f;
                const bool tiled = std::string(lay.name).find("tiles") != std::string::npos;
                EXPECT_EQ(tiffinfo_complaints(f, !(tiled && code == 6)), "") << f;
                files.push_back(f);
                sources.push_back(bmptest::rgba_of(img));
                lossy.push_back(code == 6);
                // This library reads the file back with the same pixels (a
                // tiled page loads one tile at a time: Pillow checks those).
                if (code != 6 && !tiled) {
                    EXPECT_EQ(max_diff(ours(f), sources.back().px), 0) << f;
                }
                // JPEG: libtiff's decoding beside this library's.
                if (code == 6 && !tiled) sources.back() = ours(f);
            }
    const std::vector<Bytes> theirs = tifftest::pillow_batch(files);
    for (size_t i = 0; i < files.size(); ++i) {
        const int d = max_diff(sources[i], theirs[i]);
        if (!lossy[i]) EXPECT_EQ(d, 0) << files[i];
        else if (files[i].find("tiles") == std::string::npos) EXPECT_LE(d, 2) << files[i];
        else EXPECT_FALSE(theirs[i].empty()) << files[i];
    }
}

TEST_F(TiffWrite, AppendedPagesAreLinkedAndRead) {
    const std::string f = path("pages.tif");
    unlink(f.c_str());
    const int32_t depths[] = {24, 8, 1};
    std::vector<bmptest::Rgba> src;
    for (int i = 0; i < 3; ++i) {
        QUORIN img = image(20 + i, 10 + i, depths[i], 7 + i, depths[i] == 1 ? "bw" : nullptr);
        src.push_back(bmptest::rgba_of(img));
        ASSERT_EQ(QV_save_file(img, f.c_str(), fmt(i == 2 ? 4 : 8)), 0);
    }
    int32_t pages = 0;
    ASSERT_EQ(QV_page_count_get(f.c_str(), &pages), 0);
    EXPECT_EQ(pages, 3);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ours(f, i + 1).px, src[i].px) << i;
    EXPECT_EQ(tiffinfo_complaints(f), "");
    EXPECT_EQ(qvtest::run("tiffinfo '" + f + "' 2>&1 | grep -c 'TIFF Directory'"), "3\n");
    // A page inserted at position 1 goes before the others.
    QV_image_control_set(QV_CTL_TIFF_PAGE, 1);
    QV_image_control_set(QV_CTL_TIFF_PAGE_NUMBER, 1);
    QUORIN first = image(5, 5, 24, 99);
    ASSERT_EQ(QV_save_file(first, f.c_str(), fmt(0)), 0);
    ASSERT_EQ(QV_page_count_get(f.c_str(), &pages), 0);
    EXPECT_EQ(pages, 4);
    EXPECT_EQ(ours(f, 1).px, bmptest::rgba_of(first).px);
    EXPECT_EQ(ours(f, 4).px, src[2].px);
}

TEST_F(TiffWrite, AFileThatIsNotTiffIsWrittenAnew) {
    const std::string f = path("junk.tif");
    qvtest::write_file(f, Bytes(5000, 'x'));
    QUORIN img = image(9, 9, 8, 3);
    ASSERT_EQ(QV_save_file(img, f.c_str(), fmt(0)), 0);
    const Bytes b = qvtest::read_file(f);
    EXPECT_EQ(Bytes(b.begin(), b.begin() + 4), (Bytes{'I', 'I', 42, 0}));
    EXPECT_LT(b.size(), 5000u);
    EXPECT_EQ(ours(f).px, bmptest::rgba_of(img).px);
}

// The IFD of the first page: tag -> (type, count, first value or offset).
struct Entry {
    uint16_t type;
    uint32_t count, value;
};
std::map<uint16_t, Entry> first_ifd(const Bytes &b, uint32_t *at = nullptr) {
    const bool mm = b[0] == 'M';
    auto g16 = [&](size_t p) { return mm ? uint32_t(b[p] << 8 | b[p + 1]) : uint32_t(b[p] | b[p + 1] << 8); };
    auto g32 = [&](size_t p) { return mm ? (g16(p) << 16 | g16(p + 2)) : (g16(p) | g16(p + 2) << 16); };
    const uint32_t off = g32(4);
    if (at) *at = off;
    std::map<uint16_t, Entry> m;
    for (uint32_t i = 0; i < g16(off); ++i) {
        const size_t e = off + 2 + 12 * i;
        const uint16_t type = uint16_t(g16(e + 2));
        m[uint16_t(g16(e))] = {type, g32(e + 4), type == 3 ? g16(e + 8) : g32(e + 8)};
    }
    return m;
}

TEST_F(TiffWrite, TagsFollowTheRules) {
    const std::string f = path("tags.tif");
    QUORIN img = image(3, 70000, 1, 5, "wb");
    ASSERT_EQ(save(img, f, 3), 0);
    Bytes b = qvtest::read_file(f);
    auto m = first_ifd(b);
    // RowsPerStrip of 65536 or more is LONG; no PlanarConfiguration at one bit
    // per pixel; Software "Pelmora Version:  0.01.000" and its zero.
    EXPECT_EQ((U{m[278].type, m[278].value, m[254].value, m[256].type, m[262].value, m[292].value,
                 uint32_t(m.count(284)), m[305].count, uint32_t(m.count(315))}),
              (U{4, 70000, 2, 4, 0, 0, 0, 27, 1}));
    // White-then-black with photometric 0 is written without inversion.
    EXPECT_EQ(ours(f).px, bmptest::rgba_of(img).px);

    // Fax profile: fill bits in T4Options, no Artist; a palette ColorMap
    // scaled by 256; RowsPerStrip SHORT below 65536.
    QV_image_control_set(QV_CTL_TIFF_FAX, 1);
    QUORIN fax = image(1728, 20, 1, 6, "bw");
    QV_image_resolution_set(fax, 204, 1, 196, 1, 3);
    ASSERT_EQ(save(fax, f, 5), 0);
    m = first_ifd(qvtest::read_file(f));
    EXPECT_EQ((U{m[292].value, uint32_t(m.count(315)), m[278].type, m[282].type}), (U{5, 0, 3, 5}));
    EXPECT_EQ(tiffinfo_complaints(f), "");
    EXPECT_EQ(ours(f).px, bmptest::rgba_of(fax).px);
    reset();
    QUORIN pal = image(4, 4, 4, 8);
    ASSERT_EQ(save(pal, f, 0), 0);
    b = qvtest::read_file(f);
    m = first_ifd(b);
    EXPECT_EQ(m[320].count, 48u);
    QV_RGBQUAD *p = nullptr;
    int32_t n = 0;
    QV_image_DIB_palette_pntr_get(pal, &p, &n);
    EXPECT_EQ(qvtest::get16(b, m[320].value), uint32_t(p[0].rgbRed) << 8);
    EXPECT_EQ(qvtest::get16(b, m[320].value + 2 * (32 + 15)), uint32_t(p[15].rgbBlue) << 8);
    // The IFD-before-data option puts the IFD right after the header.
    QV_image_control_set(QV_CTL_TIFF_IFD_FIRST, 1);
    ASSERT_EQ(save(pal, f, 8), 0);
    uint32_t at = 0;
    first_ifd(qvtest::read_file(f), &at);
    EXPECT_EQ(at, 8u);
    EXPECT_EQ(ours(f).px, bmptest::rgba_of(pal).px);
    EXPECT_EQ(tiffinfo_complaints(f), "");
}

TEST_F(TiffWrite, RefusalsByCodeAndValues) {
    const std::string f = path("refused.tif");
    struct R {
        int32_t bpp, code;
        Err want;
    };
    const R cases[] = {
        {4, 4, {QVE_BAD_SAVE_OPTION, 4, 4}},  {8, 3, {QVE_BAD_SAVE_OPTION, 3, 8}},
        {1, 6, {QVE_BAD_SAVE_OPTION, 6, 1}},  {32, 6, {QVE_BAD_SAVE_OPTION, 6, 32}},
        {24, 7, {QVE_BAD_SAVE_OPTION, 7, 0}}, {24, 9, {QVE_BAD_SAVE_OPTION, 9, 0}},
    };
    for (const R &r : cases) {
        QUORIN img = image(8, 8, r.bpp, 1);
        EXPECT_EQ(save(img, f, r.code), 1);
        EXPECT_EQ(qvtest::stack(), std::vector<Err>{r.want}) << r.bpp << " " << r.code;
    }
    // Fax profile rules.
    QV_image_control_set(QV_CTL_TIFF_FAX, 1);
    struct F {
        int32_t w, bpp, code;
        uint32_t x, y, unit;
        int32_t rule;
    };
    const F fax[] = {
        {1700, 1, 3, 204, 196, 3, 0}, {1728, 1, 4, 204, 196, 3, 2}, {1728, 1, 3, 204, 196, 1, 10},
        {1728, 1, 3, 205, 98, 3, 11}, {1728, 1, 3, 204, 197, 3, 11}, {1728, 1, 3, 81, 78, 4, 11},
        // Rule -1, saved: one-sided low resolutions; centimetres are converted first.
        {1728, 1, 3, 100, 50, 3, -1}, {2048, 1, 3, 80, 38, 4, -1},
    };
    for (const F &c : fax) {
        QUORIN img = image(c.w, 4, c.bpp, 2, "bw");
        QV_image_resolution_set(img, c.x, 1, c.y, 1, int32_t(c.unit));
        EXPECT_EQ(save(img, f, c.code), c.rule < 0 ? 0 : 1) << c.x;
        if (c.rule >= 0)
            EXPECT_EQ(qvtest::stack(), (std::vector<Err>{{QVE_FAX_PROFILE, c.rule, 0}})) << c.w << " " << c.x;
    }
}

TEST_F(TiffWrite, SmallFileBytesAreExact) {
    const std::string f = path("exact.tif");
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_create_DIB(2, 2, 8, nullptr, &img), 0);
    keep(img);
    set_palette(img, "ramp");
    const uint8_t rows[2][4] = {{1, 2, 0, 0}, {3, 4, 0, 0}};
    for (int y = 0; y < 2; ++y) ASSERT_EQ(QV_DIB_raster_set(img, y, rows[y], 1), 0);
    QV_image_resolution_set(img, 300, 1, 300, 1, 3);
    ASSERT_EQ(save(img, f, 1), 0);
    const Bytes b = qvtest::read_file(f);
    // Header, the PackBits strip (two literal rows), then the IFD.
    EXPECT_EQ(Bytes(b.begin(), b.begin() + 14), (Bytes{'I', 'I', 42, 0, 14, 0, 0, 0, 1, 1, 2, 1, 3, 4}));
    uint32_t at = 0;
    auto m = first_ifd(b, &at);
    std::vector<uint16_t> tags;
    for (auto &[t, e] : m) tags.push_back(t);
    EXPECT_EQ(tags, (std::vector<uint16_t>{254, 256, 257, 258, 259, 262, 266, 273, 274, 277, 278, 279, 282,
                                           283, 284, 296, 305, 306, 315}));
    // Long values follow the IFD one after another.
    const uint32_t values = at + 2 + 12 * 19 + 4;
    EXPECT_EQ((U{m[282].value, m[283].value, m[305].value, m[306].value, m[315].value}),
              (U{values, values + 8, values + 16, values + 16 + 27, values + 16 + 27 + 20}));
    EXPECT_EQ(b.size(), size_t(values + 16 + 27 + 20 + 25));
    EXPECT_EQ(std::string(b.begin() + values + 43, b.begin() + values + 62), "2024:01:02 03:04:05");
    EXPECT_EQ(qvtest::md5_hex(b), "a6e4bcaf8f37cb4bfbd5eca54f0e5175");
}

TEST_F(TiffWrite, OldStyleJpegPointsIntoItsStream) {
    if (!codectest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    std::vector<std::string> files;
    std::vector<bmptest::Rgba> back;
    const std::pair<int32_t, const char *> kinds[] = {{24, nullptr}, {8, nullptr}};
    for (auto [bpp, pal] : kinds) {
        const std::string f = path("ojpeg" + std::to_string(bpp) + ".tif");
        // Smooth pixels: chroma subsampling keeps them close.
        QUORIN img = image(48, 32, bpp, 11, pal);
        Bytes row(48 * 3 + 4);
        for (int32_t y = 0; y < 32; ++y) {
            for (int32_t x = 0; x < 48; ++x) {
                if (bpp == 8) row[x] = uint8_t(x * 4 + y);
                else row[3 * x] = uint8_t(x * 5), row[3 * x + 1] = uint8_t(y * 7), row[3 * x + 2] = uint8_t(x + y * 2);
            }
            ASSERT_EQ(QV_DIB_raster_set(img, y, row.data(), 1), 0);
        }
        if (bpp == 8) {
            QV_RGBQUAD *p = nullptr;
            int32_t n = 0;
            QV_image_DIB_palette_pntr_get(img, &p, &n);
            for (int32_t i = 0; i < n; ++i) p[i] = QV_RGBQUAD{uint8_t(i), uint8_t(255 - i), uint8_t(i / 2), 0};
        }
        const bmptest::Rgba src = bmptest::rgba_of(img);
        ASSERT_EQ(save(img, f, 6), 0);
        // libtiff only says that the compression is deprecated.
        const std::string said = tiffinfo_complaints(f);
        EXPECT_NE(said.find("Deprecated"), std::string::npos) << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
        const Bytes b = qvtest::read_file(f);
        auto m = first_ifd(b);
        EXPECT_EQ((U{m[259].value, m[262].value, m[512].value, m[513].value, m[514].value}),
                  (U{6, 6, 1, m[273].value, m[279].value}));
        for (uint16_t t : {519, 520, 521}) EXPECT_EQ(m[t].count, 3u) << t;
        // JPEGQTables' first offset holds the 64 values after a DQT's id byte.
        const uint32_t q = qvtest::get32(b, m[519].value);
        EXPECT_EQ(b[q - 1], 0);
        files.push_back(f);
        EXPECT_LE(max_diff(ours(f), src.px), 16) << f;
        back.push_back(src);
    }
    const std::vector<Bytes> theirs = tifftest::pillow_batch(files);
    for (size_t i = 0; i < files.size(); ++i) EXPECT_LE(max_diff(back[i], theirs[i]), 16) << files[i];
}

TEST_F(TiffWrite, SixteenBitGreyKeepsItsSamples) {
    if (!codectest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    QUORIN img = nullptr;
    ASSERT_EQ(QV_image_create_DIB_ex(7, 3, 16, QV_BI_GRAY16, nullptr, &img), 0);
    keep(img);
    Bytes row(16);
    for (int32_t y = 0; y < 3; ++y) {
        for (int32_t x = 0; x < 7; ++x) qvtest::put16(row, size_t(2 * x), uint32_t(x * 9000 + y * 11));
        ASSERT_EQ(QV_DIB_raster_set(img, y, row.data(), 1), 0);
    }
    for (int32_t order : {0, 1})
        for (int32_t code : {0, 1}) {
            reset();
            QV_image_control_set(QV_CTL_TIFF_BYTE_ORDER, order);
            const std::string f = path("g16_" + std::to_string(order) + std::to_string(code) + ".tif");
            ASSERT_EQ(save(img, f, code), 0);
            EXPECT_EQ(tiffinfo_complaints(f), "") << f;
            // Pillow's 16-bit values, as text.
            const std::string vals = qvtest::run("/usr/bin/python3 -c \"from PIL import Image; im=Image.open('" + f +
                                                 "'); print(im.mode, list(im.getdata())[:3], im.getpixel((6,2)))\"");
            EXPECT_EQ(vals, "I;16" + std::string(order ? "B" : "") + " [0, 9000, 18000] 54022\n") << f;
        }
    EXPECT_FAILS(save(img, path("g16.tif"), 8), {QVE_BAD_SAVE_OPTION, 0, 0});
    EXPECT_FAILS(save(img, path("g16.tif"), 4), {QVE_BAD_SAVE_OPTION, 0, 0});
    EXPECT_EQ(save(img, path("g16.tif"), 6), 0);
}

// The caller's answers to the writer's tag requests.
int32_t answer(void *, int32_t tag, int32_t *type, const void **data, int32_t *count) {
    static const uint32_t x = 150, xd = 1, y = 75, yd = 1, unit = 3, subfile = 0;
    static const char date[] = "1999:12:31 23:59:59", artist[] = "Someone", doc[] = "Report";
    const std::map<int32_t, std::pair<int32_t, const void *>> longs = {
        {10282, {4, &x}}, {11282, {4, &xd}}, {10283, {4, &y}}, {11283, {4, &yd}}, {10296, {4, &unit}}, {10254, {4, &subfile}}};
    if (auto it = longs.find(tag); it != longs.end()) {
        *type = it->second.first, *data = it->second.second, *count = 1;
        return 1;
    }
    const char *t = tag == 10306 ? date : tag == 10315 ? artist : tag == 10269 ? doc : nullptr;
    if (!t) return 0;
    *type = 2, *data = t, *count = int32_t(std::strlen(t) + 1);
    return 1;
}

TEST_F(TiffWrite, TheCallersTagsAreUsed) {
    ASSERT_EQ(QV_save_tag_CB_register(answer, nullptr, 0), 0);
    const std::string f = path("callback.tif");
    QUORIN img = image(5, 5, 24, 1);
    QV_image_resolution_set(img, 300, 1, 300, 1, 3);
    ASSERT_EQ(save(img, f, 0), 0);
    const std::string info = qvtest::run("tiffinfo '" + f + "' 2>&1");
    for (const char *said : {"Resolution: 150, 75 pixels/cm", "DateTime: 1999:12:31 23:59:59",
                             "Artist: Someone", "DocumentName: Report"})
        EXPECT_NE(info.find(said), std::string::npos) << info;
    EXPECT_EQ(first_ifd(qvtest::read_file(f))[254].value, 0u);
    // Without the callback: the record's resolution, the option texts.
    QV_save_tag_CB_register(nullptr, nullptr, 0);
    set_text(25, "Name");
    QV_image_control_set(QV_CTL_TIFF_SUBFILE_TYPE, 1);
    ASSERT_EQ(save(img, f, 0), 0);
    const std::string info2 = qvtest::run("tiffinfo '" + f + "' 2>&1");
    for (const char *said : {"Resolution: 300, 300 pixels/inch", "DocumentName: Name", "DateTime: 2024:01:02 03:04:05"})
        EXPECT_NE(info2.find(said), std::string::npos) << info2;
    EXPECT_EQ(first_ifd(qvtest::read_file(f))[254].value, 1u);
}

TEST_F(TiffWrite, MemorySizesShortWritesAndLeaks) {
    QUORIN img = image(33, 21, 24, 4), pal4 = image(8, 8, 4, 1);
    const size_t before = bmptest::live_blocks();
    for (int32_t code : {0, 1, 8, 6}) {
        Bytes buf(1 << 16);
        size_t written = 0;
        ASSERT_EQ(QV_save_mem(img, buf.data(), buf.size(), 0, 0, 1, fmt(code), &written), 0) << code;
        int64_t size = 0;
        ASSERT_EQ(QV_save_file_size_calc(img, fmt(code), &size), 0) << code;
        EXPECT_EQ(size_t(size), written) << code;
        buf.resize(written);
        QUORIN back = nullptr;
        ASSERT_EQ(QV_load_mem(buf.data(), buf.size(), 1, 1, &back), 0);
        if (code != 6) {
            EXPECT_EQ(bmptest::rgba_of(back).px, bmptest::rgba_of(img).px);
        }
        QV_image_delete(back);
    }
    // A buffer too small for the header, then for the data.
    Bytes tiny(4);
    size_t written = 0;
    EXPECT_FAILS(QV_save_mem(img, tiny.data(), tiny.size(), 0, 0, 1, fmt(0), &written), {QVE_SHORT_WRITE, 4, 8});
    Bytes small(500);
    EXPECT_FAILS(QV_save_mem(img, small.data(), small.size(), 0, 0, 1, fmt(0), &written),
                 {QVE_SHORT_WRITE, 492, int32_t(33 * 21 * 3)});
    EXPECT_EQ(save(pal4, path("leak.tif"), 4), 1);
    EXPECT_EQ(bmptest::live_blocks(), before);
}

TEST_F(TiffWrite, AlphaBecomesAnExtraSample) {
    if (!codectest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    std::vector<std::string> files;
    for (int32_t planar : {0, 1}) {
        reset();
        QV_image_control_set(QV_CTL_TIFF_PLANAR, planar);
        QUORIN img = image(10, 6, 24, 3);
        ASSERT_EQ(QV_image_create_alpha(img, 77), 0);
        const std::string f = path("alpha" + std::to_string(planar) + ".tif");
        ASSERT_EQ(save(img, f, 8), 0);
        EXPECT_EQ(tiffinfo_complaints(f), "");
        auto m = first_ifd(qvtest::read_file(f));
        EXPECT_EQ((U{m[277].value, m[338].value}), (U{4, 2}));
        files.push_back(f);
        const Bytes theirs = tifftest::pillow_batch({f})[0];
        const bmptest::Rgba src = bmptest::rgba_of(img);
        ASSERT_EQ(theirs.size(), src.px.size());
        for (size_t i = 0; i < theirs.size(); ++i)
            ASSERT_EQ(theirs[i], i % 4 == 3 ? 77 : src.px[i]) << i;
    }
}

TEST_F(TiffWrite, CorpusRoundTripKeepsEveryPixel) {
    QV_SKIP_WITHOUT_CORPUS();
    const auto entries = qvtest::manifest("tiff/");
    int done = 0;
    const std::string f = path("round.tif");
    for (const auto &e : entries) {
        const std::string in = qvtest::corpus_dir() + "/" + e.path;
        QUORIN h = nullptr;
        if (QV_load_file(in.c_str(), &h) != 0 || !h) {
            QV_image_delete(h);
            continue;
        }
        const bmptest::Rgba a = bmptest::rgba_of(h);
        int32_t w = 0, ht = 0, bpp = 0;
        QV_image_dimensions_get(h, &w, &ht, &bpp);
        const int32_t code = bpp == 16 ? 1 : 8;
        unlink(f.c_str());
        EXPECT_EQ(QV_save_file(h, f.c_str(), fmt(code)), 0) << e.path;
        QV_image_delete(h);
        EXPECT_EQ(ours(f).px, a.px) << e.path;
        ++done;
    }
    EXPECT_GT(done, 100);
}

}  // namespace
