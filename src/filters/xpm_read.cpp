/*
 * xpm_read.cpp - the XPM reader, information and page-count entries.
 *
 * The text's C strings are taken in order, comments skipped: the values
 * string (width, height, colour count, characters per pixel, optional hot
 * spot), one string per colour (its key characters, then context and colour
 * pairs), one string per row (width x characters per pixel).
 * Codes: -50 the values string is malformed (iVal the field 1-4, lVal the
 * value read, -1 when not a number); -2456 more than two characters per
 * pixel (iVal the count); -51 a string is missing (iVal the colour or row
 * index, lVal 0 for the colour table, 1 for the rows); -52 a pixel whose key
 * is not in the table (iVal the row, lVal the column).
 */
#include <cstring>
#include <initializer_list>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/xpm_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\XPMREAD.C";

struct NamedColour {
    const char *name;
    uint8_t r, g, b;
};
// X11 colour names most often met in XPM files.
constexpr NamedColour kNames[] = {
    {"black", 0, 0, 0},         {"white", 255, 255, 255},   {"red", 255, 0, 0},
    {"green", 0, 255, 0},       {"blue", 0, 0, 255},        {"yellow", 255, 255, 0},
    {"cyan", 0, 255, 255},      {"magenta", 255, 0, 255},   {"gray", 190, 190, 190},
    {"grey", 190, 190, 190},    {"orange", 255, 165, 0},    {"purple", 160, 32, 240},
    {"brown", 165, 42, 42},     {"pink", 255, 192, 203},    {"navy", 0, 0, 128},
    {"maroon", 176, 48, 96},    {"darkgray", 169, 169, 169}, {"darkgrey", 169, 169, 169},
    {"lightgray", 211, 211, 211}, {"lightgrey", 211, 211, 211}, {"darkred", 139, 0, 0},
    {"darkgreen", 0, 100, 0},   {"darkblue", 0, 0, 139},    {"gold", 255, 215, 0},
    {"silver", 192, 192, 192},  {"violet", 238, 130, 238},  {"lightblue", 173, 216, 230},
};

struct XpmHeader {
    int64_t width = 0, height = 0, colours = 0, cpp = 0;
};

struct Entry {
    uint8_t r = 0, g = 0, b = 0, a = 255;
};

// Reads the next C string into buf (cut at cap - 1); false when none is left.
bool next_string(ByteReader &in, char *buf, size_t cap, size_t *len) {
    int c = in.get();
    for (;;) {
        if (c < 0) return false;
        if (c == '"') break;
        if (c == '/') {
            c = in.get();
            if (c == '*') {
                int prev = 0;
                for (c = in.get(); c >= 0 && !(prev == '*' && c == '/'); c = in.get()) prev = c;
                c = in.get();
            }
            continue;
        }
        c = in.get();
    }
    size_t n = 0;
    for (c = in.get(); c >= 0 && c != '"'; c = in.get()) {
        if (c == '\\') c = in.get();
        if (c >= 0 && n + 1 < cap) buf[n++] = char(c);
    }
    buf[n] = 0;
    *len = n;
    return c == '"';
}

int hexv(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

// A colour as written: #hex, None, greyN or a name (unknown: black).
Entry parse_colour(const char *text) {
    Entry e;
    if (text[0] == '#') {
        size_t n = 0;
        while (hexv(text[1 + n]) >= 0) ++n;
        if (n % 3 == 0 && n >= 3) {
            const size_t d = n / 3;
            uint8_t v[3];
            for (size_t k = 0; k < 3; ++k) {
                const char *p = text + 1 + k * d;
                int hi = hexv(p[0]), lo = d >= 2 ? hexv(p[1]) : hi;
                v[k] = uint8_t(hi << 4 | lo);
            }
            e.r = v[0], e.g = v[1], e.b = v[2];
        }
        return e;
    }
    char name[64];
    size_t n = 0;
    for (const char *p = text; *p && n + 1 < sizeof name; ++p)
        if (*p != ' ') name[n++] = lower(*p);
    name[n] = 0;
    if (std::strcmp(name, "none") == 0) {
        e.a = 0;
        return e;
    }
    if ((std::strncmp(name, "grey", 4) == 0 || std::strncmp(name, "gray", 4) == 0) && name[4] >= '0' &&
        name[4] <= '9') {
        int v = 0;
        for (const char *p = name + 4; *p >= '0' && *p <= '9'; ++p) v = v * 10 + (*p - '0');
        if (v > 100) v = 100;
        e.r = e.g = e.b = uint8_t((v * 255 + 50) / 100);
        return e;
    }
    for (const NamedColour &c : kNames)
        if (std::strcmp(name, c.name) == 0) {
            e.r = c.r, e.g = c.g, e.b = c.b;
            break;
        }
    return e;
}

// Splits a colour string after its key into the colour of the preferred
// context ("c", else "g", "g4", "m").
Entry colour_of(const char *rest) {
    const char *keys[] = {"c", "g", "g4", "m", "s"};
    const char *best[5] = {nullptr, nullptr, nullptr, nullptr, nullptr};
    char text[5][128] = {};
    int current = -1;
    const char *p = rest;
    while (*p) {
        while (*p == ' ' || *p == '\t') ++p;
        const char *t = p;
        while (*p && *p != ' ' && *p != '\t') ++p;
        const size_t n = size_t(p - t);
        if (n == 0) break;
        int key = -1;
        for (int k = 0; k < 5; ++k)
            if (std::strlen(keys[k]) == n && std::strncmp(t, keys[k], n) == 0) key = k;
        if (key >= 0 && (current < 0 || best[current])) {
            current = key;
            best[key] = nullptr;
            text[key][0] = 0;
            continue;
        }
        if (current < 0) continue;
        size_t have = std::strlen(text[current]);
        if (have + n + 2 < sizeof text[current]) {
            if (have) text[current][have++] = ' ';
            std::memcpy(text[current] + have, t, n);
            text[current][have + n] = 0;
        }
        best[current] = text[current];
    }
    for (int k : {0, 1, 2, 3})
        if (best[k]) return parse_colour(best[k]);
    return Entry{};
}

int32_t parse(ByteReader &in, XpmHeader *h) {
    char buf[256];
    size_t len = 0;
    if (!next_string(in, buf, sizeof buf, &len)) return QV_ERR(QVE_XPM_READ, 0, 0);
    int64_t v[4] = {-1, -1, -1, -1};
    const char *p = buf;
    for (int i = 0; i < 4; ++i) {
        while (*p == ' ' || *p == '\t') ++p;
        if (*p < '0' || *p > '9') return QV_ERR(QVE_XPM_SYNTAX, i + 1, -1);
        v[i] = 0;
        while (*p >= '0' && *p <= '9')
            if (v[i] < (int64_t(1) << 32)) v[i] = v[i] * 10 + (*p++ - '0');
            else ++p;
    }
    h->width = v[0], h->height = v[1], h->colours = v[2], h->cpp = v[3];
    for (int i = 0; i < 3; ++i)
        if (v[i] <= 0 || v[i] > 0x7FFFFFF) return QV_ERR(QVE_XPM_SYNTAX, i + 1, v[i]);
    if (h->cpp < 1 || h->cpp > 2) return QV_ERR(QVE_VARIANT, h->cpp, 0);
    if (h->colours > (h->cpp == 1 ? 256 : 65536)) return QV_ERR(QVE_XPM_SYNTAX, 3, h->colours);
    return 0;
}

uint16_t out_bpp(const XpmHeader &h, bool transparent) {
    return transparent ? 32 : h.colours <= 256 ? 8 : 24;
}

}  // namespace

int32_t xpm_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    ByteReader in(s, work.tag());
    if (!in.ok()) return QV_ERR(QVE_NO_MEMORY, ByteReader::kSize, work.tag());
    XpmHeader h;
    if (int32_t st = parse(in, &h)) return st;
    const uint32_t ncol = uint32_t(h.colours), cpp = uint32_t(h.cpp);
    auto *table = filter_alloc_array<Entry>(work.tag(), ncol);
    auto *lookup = filter_alloc_array<int32_t>(work.tag(), cpp == 1 ? 256 : 65536);
    // The colour strings go through a small buffer; the row buffer, as wide
    // as the header says, waits until the pixel limit has passed the image.
    const size_t row_cap = size_t(h.width) * cpp + 2;
    auto *text = filter_alloc_array<char>(work.tag(), 1024);
    if (!table || !lookup || !text) return QV_ERR(QVE_NO_MEMORY, row_cap, work.tag());
    for (size_t i = 0; i < (cpp == 1 ? 256u : 65536u); ++i) lookup[i] = -1;
    bool transparent = false;
    for (uint32_t i = 0; i < ncol; ++i) {
        size_t len = 0;
        if (!next_string(in, text, 1024, &len) || len < cpp) return QV_ERR(QVE_XPM_READ, i, 0);
        uint32_t key = uint8_t(text[0]) | (cpp == 2 ? uint32_t(uint8_t(text[1])) << 8 : 0);
        table[i] = colour_of(text + cpp);
        transparent = transparent || table[i].a == 0;
        if (lookup[key] < 0) lookup[key] = int32_t(i);
    }
    const uint16_t bpp = out_bpp(h, transparent);
    QV_RGBQUAD pal[256] = {};
    for (uint32_t i = 0; i < ncol && i < 256; ++i) pal[i] = QV_RGBQUAD{table[i].b, table[i].g, table[i].r, 0};
    MaskedHeader mh;
    dib_header_init(&mh, int32_t(h.width), int32_t(h.height), bpp);
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, bpp == 8 ? pal : nullptr, work.tag())) return st;
    text = filter_alloc_array<char>(work.tag(), row_cap);
    if (!text) return QV_ERR(QVE_NO_MEMORY, row_cap, work.tag());
    const int32_t width = int32_t(h.width), height = int32_t(h.height);
    for (int32_t r = 0; r < height; ++r) {
        size_t len = 0;
        if (!next_string(in, text, row_cap, &len)) return QV_ERR(QVE_XPM_READ, r, 1);
        if (len < size_t(width) * cpp) return QV_ERR(QVE_XPM_PIXEL, r, len / cpp);
        uint8_t *dst = out.row(r);
        for (int32_t x = 0; x < width; ++x) {
            const char *k = text + size_t(x) * cpp;
            uint32_t key = uint8_t(k[0]) | (cpp == 2 ? uint32_t(uint8_t(k[1])) << 8 : 0);
            int32_t idx = lookup[key];
            if (idx < 0) return QV_ERR(QVE_XPM_PIXEL, r, x);
            const Entry &e = table[idx];
            if (bpp == 8) {
                dst[x] = uint8_t(idx);
            } else {
                uint8_t *o = dst + size_t(x) * (bpp / 8);
                o[0] = e.b, o[1] = e.g, o[2] = e.r;
                if (bpp == 32) o[3] = e.a;
            }
        }
        if (int32_t st = out.put(r)) return st;
    }
    const int32_t st = out.finish();
    return st == 0 && transparent ? VPb_IO_alpha_split(s) : st;
}

int32_t xpm_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    FilterTag work;
    ByteReader in(stream, work.tag());
    if (!in.ok()) return QV_ERR(QVE_NO_MEMORY, ByteReader::kSize, work.tag());
    XpmHeader h;
    if (int32_t st = parse(in, &h)) return st;
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, int32_t(h.width), int32_t(h.height), out_bpp(h, false), QV_BI_RGB, 0, 0);
    *format_type = kXpmFormatType;
    *value = 0;
    return 0;
}

int32_t xpm_pages(VPb_STREAM *stream, void *, int32_t *count) {
    QV_DIB_HEADER info;
    int32_t type = 0, value = 0;
    if (int32_t st = xpm_info(stream, &info, &type, &value, nullptr)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
