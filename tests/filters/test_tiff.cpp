// TIFF reader: every TIFF of the corpus and files Pillow and tiffcp write
// here load with Pillow's pixels (the layouts converted differently by
// design are listed); hand-built pages check the codes, defaults and
// entries (pages, tiles, info, tags, 16-bit grey, codec slots).
#include <unistd.h>

#include <fstream>
#include <map>
#include <sstream>

#include "common/tiff_build.h"
#include "filters/test_tiff_util.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tifftest::Builder;
using tifftest::Page;
using qvtest::Err;

using tifftest::kTiffPeer;
using tifftest::pillow_batch;

// The largest difference of R, G, B between ours and Pillow's w x h image
// over the part both hold (ours may be one tile: the top-left one, or a
// tile larger than the image); 256 when the sizes say nothing is shared.
int diff_rgb(const bmptest::Rgba &ours, const Bytes &theirs, int32_t w, int32_t h) {
    if (theirs.size() != size_t(w) * h * 4 || ours.px.empty()) return 256;
    const int32_t cw = std::min(w, ours.width), ch = std::min(h, ours.height);
    int worst = 0;
    for (int32_t y = 0; y < ch; ++y)
        for (int32_t x = 0; x < cw; ++x)
            for (int c = 0; c < 3; ++c) {
                const int d = std::abs(int(ours.at(x, y)[c]) - int(theirs[(size_t(y) * w + x) * 4 + c]));
                worst = std::max(worst, d);
            }
    return worst;
}

struct Loaded {
    bmptest::Rgba px;
    std::vector<Err> stack;
    Bytes alpha;  // the alpha image's pixels, top row first; empty without one
};
Loaded load(const Bytes &file, int32_t page = 1, int32_t tile = 1) {
    QUORIN h = nullptr;
    QV_load_mem(file.data(), file.size(), page, tile, &h);
    Loaded l;
    l.stack = qvtest::stack();
    if (h) l.px = bmptest::rgba_of(h);
    QUORIN a = nullptr;
    if (h && QV_image_alpha_get(h, &a) == 0 && a)
        for (int32_t y = 0; y < l.px.height; ++y) {
            const Bytes row = bmptest::raw_row(a, y);
            l.alpha.insert(l.alpha.end(), row.begin(), row.begin() + l.px.width);
        }
    QV_image_delete(h);
    return l;
}

// Corpus files whose pixels differ from Pillow's by design, and why.
const std::map<std::string, std::string> kConvertedOtherwise = {
    {"libtiff-pics/ycbcr-cat.tif", "subsampled YCbCr is grouped only when uncompressed"},
    {"libtiff-pics/strike.tif", "associated alpha is not divided out"},
    {"pillow/pil136.tiff", "associated alpha is not divided out"},
    {"image-tiff/seq/seq-4c-8b-rgba-50969cda.tiff", "associated alpha is not divided out"},
    {"image-tiff/seq/seq-4c-16b-rgba-5181991f.tiff", "associated alpha is not divided out"},
    {"pillow/tiff_16bit_RGBa.tiff", "associated alpha is not divided out"},
    {"pillow/tiff_tiled_planar_16bit_RGBa.tiff", "associated alpha is not divided out"},
    {"libtiff/32bpp-None.tiff", "associated alpha is not divided out"},
    {"libtiff-pics/depth/flower-rgb-planar-16.tif",
     "Pillow misreads planar 16-bit RGB; ours equals flower-rgb-contig-16.tif"},
    {"pillow/hopper.Lab.tif", "CIELab through this reader's own formula"},
    {"pillow/lab-green.tif", "CIELab through this reader's own formula"},
    {"pillow/lab-red.tif", "CIELab through this reader's own formula"},
    {"pillow/lab.tif", "CIELab through this reader's own formula"},
    {"image-tiff/seq/seq-4c-8b-cmyk-352ac1da.tiff", "CMYK with K added to each ink"},
    {"libtiff-pics/depth/flower-separated-contig-08.tif", "CMYK with K added to each ink"},
    {"libtiff-pics/depth/flower-separated-planar-08.tif", "CMYK with K added to each ink"},
    {"pillow/tiff_strip_cmyk_16l_jpeg.tif", "CMYK with K added to each ink"},
    {"pillow/tiff_strip_cmyk_jpeg.tif", "CMYK with K added to each ink"},
    {"image-tiff/hpredict-1c-12b.tiff", "12-bit samples with a predictor"},
};

// Codes a corpus file may be refused with (compressions and layouts the
// reader does not take, BigTIFF, damaged JPEG streams).
bool refusal_expected(int32_t code) {
    switch (code) {
    case QVE_TIFF_COMPRESSION: case QVE_TIFF_PHOTOMETRIC: case QVE_DEPTH_UNSUPPORTED:
    case QVE_NO_MEMORY: case QVE_SHORT_HEADER: case QVE_JPEG_STREAM: case QVE_JPEG_FRAME:
    case QVE_TIFF_OFFSETS: case QVE_BUFFER_FAILED: case QVE_READ_DATA:
        return true;
    default:
        return false;
    }
}

TEST(Tiff, CorpusLoadsWithPillowsPixels) {
    QV_SKIP_WITHOUT_CORPUS();
    if (!codectest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    const auto entries = qvtest::manifest("tiff/");
    ASSERT_GT(entries.size(), 150u);
    std::vector<std::string> files;
    for (const auto &e : entries) files.push_back(qvtest::corpus_dir() + "/" + e.path);
    std::vector<std::pair<int32_t, int32_t>> sizes;
    const std::vector<Bytes> theirs = pillow_batch(files, &sizes);
    int exact = 0, refused = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        const std::string name = entries[i].path.substr(5);
        SCOPED_TRACE(name);
        const Loaded l = load(qvtest::read_file(files[i]));
        if (l.px.px.empty()) {
            ASSERT_FALSE(l.stack.empty());
            EXPECT_TRUE(refusal_expected(l.stack[0].code)) << l.stack[0].code;
            ++refused;
            continue;
        }
        const std::string &mode = entries[i].mode;
        if (theirs[i].empty() || kConvertedOtherwise.count(name) || mode.rfind("I", 0) == 0) continue;
        const auto [w, ht] = sizes[i];  // ours may be the first tile only
        EXPECT_EQ(diff_rgb(l.px, theirs[i], w, ht), 0);
        ++exact;
    }
    EXPECT_GE(exact, 80);
    std::cout << exact << " files pixel-exact, " << refused << " refused\n";
}

TEST(Tiff, GeneratedFilesLoadWithPillowsPixels) {
    if (!codectest::have_pillow() || !qvtest::command_ok("which tiffcp >/dev/null"))
        GTEST_SKIP() << "Pillow or tiffcp not available";
    const std::string dir = qvtest::temp_path("tiff_gen");
    ASSERT_TRUE(qvtest::command_ok("rm -rf '" + dir + "' && " + kTiffPeer + " make '" + dir + "'"));
    std::ifstream list(dir + "/list.txt");
    std::vector<std::pair<std::string, int>> names;
    for (std::string n; list >> n;) {
        int pages = 0;
        list >> pages;
        names.push_back({n, pages});
    }
    ASSERT_GE(names.size(), 30u);
    std::vector<std::string> files;
    for (auto &n : names) files.push_back(dir + "/" + n.first);
    const std::vector<Bytes> theirs = pillow_batch(files);
    for (size_t i = 0; i < names.size(); ++i) {
        SCOPED_TRACE(names[i].first);
        const Bytes f = qvtest::read_file(files[i]);
        int32_t pages = 0;
        EXPECT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
        EXPECT_EQ(pages, names[i].second);
        const Loaded l = load(f);
        ASSERT_FALSE(l.px.px.empty()) << (l.stack.empty() ? 0 : l.stack[0].code);
        EXPECT_EQ(diff_rgb(l.px, theirs[i], 83, 57), 0);
        if (names[i].first.rfind("rgba", 0) == 0) {
            // The fourth sample is the image's alpha image.
            ASSERT_EQ(l.alpha.size(), size_t(83) * 57);
            Bytes want;
            for (size_t k = 3; k < theirs[i].size(); k += 4) want.push_back(theirs[i][k]);
            EXPECT_EQ(l.alpha, want);
        }
    }
    qvtest::run("rm -rf '" + dir + "'");
}

// ---- hand-built pages ---------------------------------------------------------

// One strip of `data`; entries in the order 256, 257, 258, 259, 262, 277.
Page colour_page(uint32_t w, uint32_t h, uint32_t photometric, std::vector<uint32_t> bits, Bytes data,
                 uint32_t comp = 1) {
    Page p;
    p.add(256, 3, {w}).add(257, 3, {h}).add(258, 3, bits).add(259, 3, {comp}).add(262, 3, {photometric});
    p.add(277, 3, {uint32_t(bits.size())});
    p.strips.push_back(std::move(data));
    return p;
}
Page rgb_page(uint32_t comp = 1) {
    return colour_page(2, 2, 2, {8, 8, 8}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, comp);
}

TEST(Tiff, RefusalsCarryTheirCodes) {
    struct Case {
        const char *what;
        Page page;
        Err err;
    };
    Page photometric4 = rgb_page();
    photometric4.tags[4].values = {4};
    Page deflate = rgb_page(8);
    Page zero = tifftest::grey_page(0, 2, 8, 1, Bytes(2, 0));
    Page samples8 = rgb_page();
    samples8.tags[5].values = {8};
    Page deep = tifftest::grey_page(2, 2, 24, 1, Bytes(12, 0));
    Page no_width = tifftest::grey_page(2, 2, 8, 1, Bytes(4, 0));
    no_width.tags.erase(no_width.tags.begin());
    Page cmap = tifftest::grey_page(2, 2, 8, 3, Bytes(4, 0));
    cmap.add(320, 3, std::vector<uint32_t>(771, 0));
    Page tile = tifftest::grey_page(2, 2, 8, 1, {});
    tile.strips.clear();
    tile.add(322, 3, {16}).add(323, 3, {16});
    const Case cases[] = {
        {"photometric 4", photometric4, {QVE_TIFF_PHOTOMETRIC, 4, 0}},
        {"deflate", deflate, {QVE_TIFF_COMPRESSION, 90, 8}},
        {"zero width", zero, {QVE_ZERO_SIZE, 0, 2}},
        {"8 samples", samples8, {QVE_NO_MEMORY, 8, 7}},
        {"24-bit grey", deep, {QVE_DEPTH_UNSUPPORTED, 24, 0}},
        {"no width", no_width, {QVE_NO_MEMORY, 0, 0}},
        {"colour map of 771", cmap, {QVE_NO_MEMORY, 771, 768}},
        {"tile without offsets", tile, {QVE_TIFF_OFFSETS, 0, 0}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        qvtest::NoLeaks leaks;
        const Loaded l = load(Builder().build({c.page}));
        EXPECT_TRUE(l.px.px.empty());
        EXPECT_EQ(l.stack, (std::vector<Err>{c.err}));
    }
}

TEST(Tiff, StripDefaults) {
    // Without StripOffsets the strip starts past the furthest IFD byte; a
    // RowsPerStrip of 1 with one strip is raised to the height.
    Page p = tifftest::grey_page(4, 3, 8, 1, {});
    p.strips.clear();
    p.add(278, 3, {1});
    Bytes f = Builder().build({p});
    const Bytes pixels = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
    f.insert(f.end(), pixels.begin(), pixels.end());
    const Loaded l = load(f);
    ASSERT_EQ(l.px.height, 3);
    EXPECT_EQ(l.px.at(3, 2)[0], 120);
    EXPECT_EQ(l.px.at(1, 0)[1], 20);
    // WhiteIsZero inverts; FillOrder 2 reverses bits first.
    Page w = tifftest::grey_page(8, 1, 1, 0, Bytes{0x01});
    w.add(266, 3, {2});
    const Loaded lw = load(Builder(true).build({w}));
    ASSERT_EQ(lw.px.width, 8);
    EXPECT_EQ(lw.px.at(0, 0)[0], 0);
    EXPECT_EQ(lw.px.at(1, 0)[0], 255);
}

TEST(Tiff, PalettesOf8And16BitValues) {
    for (uint32_t scale : {1u, 257u}) {
        Page p = tifftest::grey_page(2, 1, 1, 3, Bytes{0x40});
        p.add(320, 3, {10 * scale, 200 * scale, 20 * scale, 210 * scale, 30 * scale, 220 * scale});
        const Loaded l = load(Builder().build({p}));
        ASSERT_EQ(l.px.width, 2);
        EXPECT_EQ((Bytes(l.px.at(0, 0), l.px.at(0, 0) + 3)), (Bytes{10, 20, 30}));
        EXPECT_EQ((Bytes(l.px.at(1, 0), l.px.at(1, 0) + 3)), (Bytes{200, 210, 220}));
    }
}

TEST(Tiff, PagesTilesInfoAndTags) {
    Page a = rgb_page(), b = tifftest::grey_page(3, 1, 8, 1, Bytes{1, 2, 3});
    const Bytes f = Builder(true).build({a, b});
    int32_t pages = 0;
    EXPECT_EQ(QV_page_count_get_mem(f.data(), f.size(), &pages), 0);
    EXPECT_EQ(pages, 2);
    EXPECT_EQ(load(f, 2).px.width, 3);
    EXPECT_EQ(load(f, 3).stack, (std::vector<Err>{{QVE_SEEK, 1, 0}}));
    int32_t type = 0, value = 0;
    QV_DIB_HEADER dib{};
    EXPECT_EQ(QV_info_get_mem(f.data(), f.size(), &type, &value, &dib), 0);
    EXPECT_EQ((std::vector<int32_t>{type, value, dib.biWidth, dib.biBitCount}), (std::vector<int32_t>{40, 0, 2, 24}));
    // Tiles: 37 x 51 in 16 x 16 tiles is 3 across, 4 down; tile 5 loads.
    Page t = tifftest::grey_page(37, 51, 8, 1, {});
    t.strips.clear();
    std::vector<uint32_t> offs, counts;
    Bytes tiles;
    for (uint32_t i = 0; i < 12; ++i) {
        offs.push_back(8 + 256 * i);
        counts.push_back(256);
        tiles.insert(tiles.end(), 256, uint8_t(i * 10));
    }
    t.strips.push_back(tiles);
    t.auto_offsets = false;
    t.add(322, 3, {16}).add(323, 3, {16}).add(324, 4, offs).add(325, 4, counts);
    const Bytes tf = Builder().build({t});
    int32_t across = 0, down = 0;
    EXPECT_EQ(QV_tile_count_get_mem(tf.data(), tf.size(), 1, &across, &down), 0);
    EXPECT_EQ((std::vector<int32_t>{across, down}), (std::vector<int32_t>{3, 4}));
    const Loaded l5 = load(tf, 1, 5);
    ASSERT_EQ(l5.px.width, 16);
    EXPECT_EQ(l5.px.at(7, 7)[0], 40);
    EXPECT_EQ(load(tf, 1, 13).stack, (std::vector<Err>{{QVE_TIFF_OFFSETS, 12, 12}}));
}

std::vector<std::pair<int32_t, int32_t>> g_tags;
int32_t on_tag(void *, int32_t tag, int32_t, const void *, int32_t size) {
    g_tags.push_back({tag, size});
    return 1;
}

TEST(Tiff, EveryEntryIsOfferedAsTenThousandPlusTag) {
    g_tags.clear();
    QV_load_tag_CB_register(on_tag, nullptr);
    load(Builder().build({rgb_page()}));
    QV_load_tag_CB_register(nullptr, nullptr);
    EXPECT_EQ(g_tags, (std::vector<std::pair<int32_t, int32_t>>{
                          {10256, 2}, {10257, 2}, {10258, 6}, {10259, 2}, {10262, 2}, {10273, 4}, {10277, 2}, {10279, 4}}));
}

TEST(Tiff, SixteenBitGreyScaledOrKept) {
    Page p = tifftest::grey_page(2, 1, 16, 1, Bytes{0xFF, 0xFF, 0x00, 0x80});
    const Bytes f = Builder().build({p});
    const Loaded l = load(f);
    ASSERT_EQ(l.px.width, 2);
    EXPECT_EQ((std::vector<int>{l.px.at(0, 0)[0], l.px.at(1, 0)[0]}), (std::vector<int>{255, 127}));
    ASSERT_EQ(QV_image_control_set(48 * 256 + 40, 1), 0);
    QUORIN h = nullptr;
    EXPECT_EQ(QV_load_mem(f.data(), f.size(), 1, 1, &h), 0);
    EXPECT_EQ(qvtest::dims(h), (std::vector<int32_t>{2, 1, 16}));
    QV_image_delete(h);
    ASSERT_EQ(QV_image_control_set(48 * 256 + 40, 0), 0);
    // Range measured first: the maximum 0x8000 scales to 255.
    ASSERT_EQ(QV_image_control_set(49 * 256 + 40, 1), 0);
    Page q = tifftest::grey_page(2, 1, 16, 1, Bytes{0x00, 0x40, 0x00, 0x80});
    const Loaded m = load(Builder().build({q}));
    ASSERT_EQ(QV_image_control_set(49 * 256 + 40, 0), 0);
    ASSERT_EQ(m.px.width, 2);
    EXPECT_EQ((std::vector<int>{m.px.at(0, 0)[0], m.px.at(1, 0)[0]}), (std::vector<int>{127, 255}));
}

TEST(Tiff, LzwComesFromCodecSlotEight) {
    if (!qvtest::command_ok("which tiffcp >/dev/null")) GTEST_SKIP() << "tiffcp not available";
    const std::string raw = qvtest::temp_path("slot_raw.tif"), lzw = qvtest::temp_path("slot_lzw.tif");
    qvtest::write_file(raw, Builder().build({rgb_page()}));
    ASSERT_TRUE(qvtest::command_ok("tiffcp -c lzw '" + raw + "' '" + lzw + "'"));
    const Bytes f = qvtest::read_file(lzw);
    EXPECT_EQ(load(f).px.px, load(qvtest::read_file(raw)).px.px);
    VPb_TIF_CODEC_FN mine = VPb_TIF_codec_get(8);
    ASSERT_NE(mine, nullptr);
    ASSERT_EQ(VPb_TIF_codec_set(8, nullptr), 0);
    EXPECT_EQ(load(f).stack, (std::vector<Err>{{QVE_NO_LZW_CODEC, 90, 8}}));
    ASSERT_EQ(VPb_TIF_codec_set(8, mine), 0);
    ::unlink(raw.c_str());
    ::unlink(lzw.c_str());
}

// Hostile files: each loads or is refused with its codes, never leaves
// memory behind, and the whole set runs in well under a second per file.
TEST(Tiff, MalformedFilesAreRefusedCleanly) {
    QV_SKIP_WITHOUT_CORPUS();
    const std::string dir = qvtest::corpus_dir() + "/malformed/tiff";
    const std::string list = qvtest::run("find '" + dir + "' -type f | sort");
    std::istringstream in(list);
    int files = 0, loaded = 0;
    load(Builder().build({rgb_page()}));  // records made on first use are not a leak
    for (std::string f; std::getline(in, f);) {
        SCOPED_TRACE(f);
        const size_t live = iQV_mem_live_blocks();
        const Bytes b = qvtest::read_file(f);
        QUORIN h = nullptr;
        const int32_t n = QV_load_mem(b.data(), b.size(), 1, 1, &h);
        EXPECT_EQ(n == 0, h != nullptr);
        if (h) ++loaded;
        QV_image_delete(h);
        EXPECT_EQ(iQV_mem_live_blocks(), live);
        int32_t pages = 0, across = 0, down = 0;
        QV_page_count_get_mem(b.data(), b.size(), &pages);
        QV_tile_count_get_mem(b.data(), b.size(), 1, &across, &down);
        ++files;
    }
    EXPECT_GT(files, 100);
    std::cout << files << " hostile files, " << loaded << " with a decodable first page\n";
}

// 16-bit grey kept at 16 bits (TIFF field 48) holds Pillow's values in both
// byte orders, whatever the compression.
TEST(Tiff, CorpusSixteenBitGreyKeepsPillowsValues) {
    QV_SKIP_WITHOUT_CORPUS();
    if (!codectest::have_pillow()) GTEST_SKIP() << "Pillow not available";
    int checked = 0;
    ASSERT_EQ(QV_image_control_set(QV_CTL_TIFF_GRAY16, 1), 0);
    for (const auto &m : qvtest::manifest("tiff/")) {
        if (!m.decodes || (m.mode != "I;16" && m.mode != "I;16B")) continue;
        SCOPED_TRACE(m.path);
        const std::string file = qvtest::corpus_dir() + "/" + m.path;
        const std::string out = qvtest::temp_path("tiff16.raw");
        qvtest::run(kTiffPeer + " gray16 '" + file + "' '" + out + "'");
        const Bytes want = qvtest::read_file(out);
        ::unlink(out.c_str());
        const Bytes f = qvtest::read_file(file);
        QUORIN h = nullptr;
        QV_load_mem(f.data(), f.size(), 1, 1, &h);
        if (!h) {
            EXPECT_EQ(qvtest::error_at(0).code, QVE_TIFF_COMPRESSION);  // Deflate
            continue;
        }
        int32_t w = 0, ht = 0, bpp = 0;
        QV_image_dimensions_get(h, &w, &ht, &bpp);
        ASSERT_EQ(bpp, 16);
        const int32_t pw = int32_t(want.size() / 2 / size_t(ht > 0 ? ht : 1));
        const int32_t cw = std::min(w, pw);
        Bytes ours, theirs;
        for (int32_t y = 0; y < ht && size_t(y + 1) * pw * 2 <= want.size(); ++y) {
            const Bytes row = bmptest::raw_row(h, y);
            ours.insert(ours.end(), row.begin(), row.begin() + 2 * cw);
            theirs.insert(theirs.end(), want.begin() + size_t(y) * pw * 2, want.begin() + size_t(y) * pw * 2 + 2 * cw);
        }
        QV_image_delete(h);
        if (m.path.find("hpredict") != std::string::npos) continue;  // 12 bits with a predictor
        EXPECT_EQ(ours, theirs);
        ++checked;
    }
    ASSERT_EQ(QV_image_control_set(QV_CTL_TIFF_GRAY16, 0), 0);
    EXPECT_GE(checked, 10);
}

// B, G, R of pixel x of row 0.
Bytes bgr_at(const Loaded &l, int32_t x) {
    const uint8_t *q = l.px.at(x, 0);
    return {q[2], q[1], q[0]};
}

TEST(Tiff, CmykLabAndYCbCrFormulas) {
    // CMYK: each ink plus K, taken from 255.
    const Loaded c = load(Builder().build({colour_page(2, 1, 5, {8, 8, 8, 8}, {10, 20, 30, 240, 0, 0, 0, 0})}));
    ASSERT_EQ(c.px.width, 2);
    EXPECT_EQ(bgr_at(c, 0), (Bytes{0, 0, 5}));
    EXPECT_EQ(bgr_at(c, 1), (Bytes{255, 255, 255}));
    // CIELab: L = 50% grey with a = b = 0, and a saturated red, through the
    // reader's own XYZ formula.
    auto lab = [](int Lb, int a, int b) {
        const double L = Lb * 0.3921568627450981, t = (L + 16) * 0.04, fy = 0.215443469 * t;
        const double Y = t * t * t * 0.01, fx = a * 0.002 + fy, fz = fy - b * 0.005;
        const double X = fx * fx * fx * 0.982, Z = fz * fz * fz * 1.183;
        auto cl = [](double v) { v *= 255; return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v); };
        return Bytes{cl(0.058 * X - 0.118 * Y + 0.898 * Z), cl(-0.985 * X + 2.0 * Y - 0.028 * Z),
                     cl(1.91 * X - 0.532 * Y - 0.288 * Z)};
    };
    const Loaded l = load(Builder().build({colour_page(2, 1, 8, {8, 8, 8}, {128, 0, 0, 140, 80, 70})}));
    ASSERT_EQ(l.px.width, 2);
    EXPECT_EQ(bgr_at(l, 0), lab(128, 0, 0));
    EXPECT_EQ(bgr_at(l, 1), lab(140, 80, 70));
    EXPECT_EQ(bgr_at(l, 0), (Bytes{47, 47, 47}));
    // YCbCr 2 x 1 subsampling: units of Y0 Y1 Cb Cr.
    Page y = colour_page(4, 1, 6, {8, 8, 8}, {100, 200, 128, 128, 50, 60, 90, 200});
    y.add(530, 3, {2, 1});
    const Loaded yc = load(Builder().build({y}));
    ASSERT_EQ(yc.px.width, 4);
    EXPECT_EQ(bgr_at(yc, 0), (Bytes{100, 100, 100}));
    EXPECT_EQ(bgr_at(yc, 1), (Bytes{200, 200, 200}));
    // Y 50, Cb 90, Cr 200: R = 50 + 1.402 * 72, G = 50 - 0.344 * -38 - 0.714 * 72, B = 50 + 1.772 * -38,
    // rounded.
    EXPECT_EQ(bgr_at(yc, 2), (Bytes{0, 12, 151}));
}

TEST(Tiff, JpegStreamLargerThanThePixelLimitRefusedBeforeDecoding) {
    // A 16 x 16 page whose strip is a progressive stream claiming 30000 x
    // 30000: the stream's size meets the pixel limit first.
    codectest::NoLeaks no_leaks;
    const Bytes jpeg = codectest::progressive_jpeg_claiming(30000, 30000);
    ASSERT_FALSE(jpeg.empty());
    Page p;
    p.add(256, 3, {16}).add(257, 3, {16}).add(258, 3, {8, 8, 8}).add(259, 3, {7}).add(262, 3, {6});
    p.add(277, 3, {3});
    p.strips.push_back(jpeg);
    const Loaded l = load(Builder().build({p}));
    EXPECT_EQ(l.px.width, 0);
    EXPECT_EQ(l.stack, (std::vector<Err>{{QVE_TOO_LARGE, 30000, 30000}}));
}

TEST(Tiff, YCbCrFactorOfZeroReadsUngrouped) {
    // A 0 among the subsampling factors (once a division by zero, or rows
    // that never advanced) reads as the pair 1 x 1 does.
    const Bytes samples = {100, 128, 128, 200, 90, 200, 50, 60, 70, 10, 20, 30};
    auto with = [&](std::vector<uint32_t> factors) {
        Page y = colour_page(2, 2, 6, {8, 8, 8}, samples);
        y.add(530, 3, factors);
        return load(Builder().build({y}));
    };
    const Loaded plain = with({1, 1});
    ASSERT_EQ(plain.px.width, 2);
    for (const std::vector<uint32_t> &f : {std::vector<uint32_t>{0, 2}, {2, 0}, {0, 0}}) {
        const Loaded l = with(f);
        EXPECT_EQ(l.px.px, plain.px.px) << f[0] << " x " << f[1];
        EXPECT_EQ(l.stack.size(), 0u);
    }
}

}  // namespace
