/*
 * xbm_read.cpp - the XBM reader, information and page-count entries.
 *
 * The text is scanned once: "#define" lines before the opening brace give
 * the width and height (names ending in "_width" and "_height"; others such
 * as the hot spot are passed over); the word "short" before the brace marks
 * an X10 bitmap; after the brace come the values, hexadecimal ("0x..") or
 * decimal, separated by anything else, up to the closing brace.
 * Set bits are handed over as white (palette black, white), as Pillow and
 * ImageMagick show them.
 * Codes: -400 width or height missing or 0 (iVal width, lVal height); -2050
 * fewer values than the rows need (iVal the values needed, lVal found).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/xbm_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\XBMREAD.C";

struct XbmHeader {
    int64_t width = 0, height = 0;
    bool x10 = false;
};

bool ident(int c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; }

bool ends_with(const char *s, size_t n, const char *suffix) {
    size_t k = std::strlen(suffix);
    return n >= k && std::memcmp(s + n - k, suffix, k) == 0;
}

// Reads up to the opening brace; the reader then stands on the first value.
int32_t parse(ByteReader &in, XbmHeader *h) {
    char word[256];
    size_t n = 0;
    bool define = false;
    int want = 0;  // 1: the next number is the width, 2: the height
    int c = in.get();
    while (c >= 0 && c != '{') {
        if (ident(c)) {
            n = 0;
            while (c >= 0 && ident(c)) {
                if (n + 1 < sizeof word) word[n++] = char(c);
                c = in.get();
            }
            word[n] = 0;
            if (want && word[0] >= '0' && word[0] <= '9') {
                int64_t v = 0;
                for (size_t i = 0; i < n && word[i] >= '0' && word[i] <= '9'; ++i)
                    if (v < (int64_t(1) << 32)) v = v * 10 + (word[i] - '0');
                (want == 1 ? h->width : h->height) = v;
                want = 0;
            } else if (define) {
                want = ends_with(word, n, "_width") ? 1 : ends_with(word, n, "_height") ? 2 : 0;
                define = false;
            } else if (std::strcmp(word, "short") == 0) {
                h->x10 = true;
            }
            continue;
        }
        if (c == '#') {
            n = 0;
            c = in.get();
            while (c >= 0 && ident(c) && n + 1 < sizeof word) word[n++] = char(c), c = in.get();
            word[n] = 0;
            define = std::strcmp(word, "define") == 0;
            want = 0;
            continue;
        }
        if (c == '\n') define = false;
        c = in.get();
    }
    if (h->width <= 0 || h->height <= 0 || h->width > 0x7FFFFFF || h->height > 0x7FFFFFF)
        return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
    return 0;
}

int hex(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The next value, or -1 at the closing brace or the end.
int64_t next_value(ByteReader &in) {
    int c = in.get();
    while (c >= 0 && c != '}' && !(c >= '0' && c <= '9')) c = in.get();
    if (c < 0 || c == '}') return -1;
    int64_t v = 0;
    int d = in.get();
    if (c == '0' && (d == 'x' || d == 'X')) {
        for (c = in.get(); hex(c) >= 0; c = in.get()) v = (v << 4 | hex(c)) & 0xFFFF;
    } else {
        v = c - '0';
        for (c = d; c >= '0' && c <= '9'; c = in.get()) v = (v * 10 + (c - '0')) & 0xFFFF;
    }
    return v;
}

uint8_t reverse_bits(uint8_t b) {
    b = uint8_t((b & 0xF0) >> 4 | (b & 0x0F) << 4);
    b = uint8_t((b & 0xCC) >> 2 | (b & 0x33) << 2);
    return uint8_t((b & 0xAA) >> 1 | (b & 0x55) << 1);
}

}  // namespace

int32_t xbm_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    ByteReader in(s, work.tag());
    if (!in.ok()) return QV_ERR(QVE_NO_MEMORY, ByteReader::kSize, work.tag());
    XbmHeader h;
    if (int32_t st = parse(in, &h)) return st;
    const int32_t width = int32_t(h.width), height = int32_t(h.height);
    QV_RGBQUAD pal[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
    MaskedHeader mh;
    dib_header_init(&mh, width, height, 1);
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, pal, work.tag())) return st;
    const size_t unit = h.x10 ? 2 : 1;
    const size_t per_row = (size_t(width) + 8 * unit - 1) / (8 * unit);
    const size_t bytes = (size_t(width) + 7) / 8;
    for (int32_t r = 0; r < height; ++r) {
        uint8_t *dst = out.row(r);
        std::memset(dst, 0, out.stride());
        for (size_t i = 0; i < per_row; ++i) {
            int64_t v = next_value(in);
            if (v < 0)
                return QV_ERR(QVE_SHORT_READ, per_row * size_t(height), size_t(r) * per_row + i);
            for (size_t k = 0; k < unit; ++k) {
                size_t at = i * unit + k;
                if (at < bytes) dst[at] = reverse_bits(uint8_t(v >> (8 * k)));
            }
        }
        if (width & 7) dst[bytes - 1] &= uint8_t(0xFF00 >> (width & 7));
        if (int32_t st = out.put(r)) return st;
    }
    return out.finish();
}

int32_t xbm_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    FilterTag work;
    ByteReader in(stream, work.tag());
    if (!in.ok()) return QV_ERR(QVE_NO_MEMORY, ByteReader::kSize, work.tag());
    XbmHeader h;
    if (int32_t st = parse(in, &h)) return st;
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, int32_t(h.width), int32_t(h.height), 1, QV_BI_RGB, 0, 0);
    *format_type = kXbmFormatType;
    *value = 0;
    return 0;
}

int32_t xbm_pages(VPb_STREAM *stream, void *, int32_t *count) {
    QV_DIB_HEADER info;
    int32_t type = 0, value = 0;
    if (int32_t st = xbm_info(stream, &info, &type, &value, nullptr)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
