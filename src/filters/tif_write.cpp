/*
 * tif_write.cpp - the TIFF writer (format type 40).
 *
 * Chooses the page's description from the DIB's depth, palette and the
 * control block, writes a new file or adds a page to the file in the
 * stream, writes the strips or tiles through the coder of the compression
 * and then the IFD, built in a tag store addressed by tag index and sorted
 * by tag number, with its long values following it without padding.
 *
 * Control block fields (32 bits each; QV_CTL_TIFF_* in support.h):
 *    0 byte order (0 "II", 1 "MM")       1 photometric choice (1 bilevel
 *    2 planar (1: PlanarConfiguration 2)   black is zero, 5 CMYK)
 *    3 strip mode (0 rows, 1 bytes per strip, 16 tiles)
 *    4 rows per strip (0: all)           5 bytes per strip
 *    6, 7 tile width and length (0: 256; rounded up to multiples of 16)
 *    8 page (insert position, 0: after the last)
 *    9 fax profile  10 grey palette written as grey  11 one JPEG stream
 *   12 NewSubfileType (255: the default 2)  13 PageNumber tag
 *   14 T.4 EOL alignment (fill bits)  15 K factor of two-dimensional T.4
 *   16 IFD before the data
 *   20..24 DateTime text, 25..47 DocumentName text (zero-terminated)
 *
 * Codes (iVal, lVal): -2080 (library code, 0) unknown compression,
 * (library code, bits) a compression the depth does not allow, (0, 0) CCITT
 * or LZW for 16 bits; -600 (photometric choice, bits) a depth without a
 * description; -2530 (rule, 0) fax profile (0 width, 1 photometric, 2
 * compression, 3 bits, 4 samples, 10 resolution unit, 11 resolution);
 * -2072 (bytes written, 8) header, (bytes written, bytes) data or IFD;
 * -1000 (size, tag) memory, (tag, type) an entry that cannot be written.
 */
#include <cstdio>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <new>

#include "filters/ccitt_codec.h"
#include "filters/filter_util.h"
#include "filters/jpeg_codec.h"
#include "filters/lzw_encode.h"
#include "filters/packbits.h"
#include "filters/tif_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\TIFWRITE.C";

// Tag indices of the store's index table that the writer fills.
enum WIndex : int32_t {
    kWiSubfile = 1, kWiDocName = 12, kWiSoftware = 38, kWiDateTime = 39, kWiArtist = 40,
    kWiPageNumber = 36, kWiJpegProc = 61, kWiJpegLen = 63, kWiJpegQ = 67, kWiJpegDC = 68,
    kWiJpegAC = 69, kWiExtraSamples = 56,
};

constexpr char kDefaultArtist[] = "VOSK32PD imaging toolkit";

struct Options {
    int32_t byte_order, photometric, planar, strip_mode, rows, bytes, tile_w, tile_h, page;
    int32_t fax, grey_palette, one_stream, subfile, page_number, eol_align, k, ifd_first;
    char date[21];
    char doc_name[93];
};

Options options_of(const void *ctl) {
    Options o{};
    o.byte_order = ctl_word(ctl, 0, 0) == 1 ? 1 : 0;
    o.photometric = ctl_word(ctl, 1, 0);
    o.planar = ctl_word(ctl, 2, 0);
    o.strip_mode = ctl_word(ctl, 3, 0);
    o.rows = ctl_word(ctl, 4, 0);
    o.bytes = ctl_word(ctl, 5, 0);
    o.tile_w = ctl_word(ctl, 6, 0);
    o.tile_h = ctl_word(ctl, 7, 0);
    o.page = ctl_word(ctl, 8, 0);
    o.fax = ctl_word(ctl, 9, 0);
    o.grey_palette = ctl_word(ctl, 10, 0);
    o.one_stream = ctl_word(ctl, 11, 0);
    o.subfile = ctl_word(ctl, 12, 255);
    o.page_number = ctl_word(ctl, 13, 0);
    o.eol_align = ctl_word(ctl, 14, 0);
    o.k = ctl_word(ctl, 15, 2);
    o.ifd_first = ctl_word(ctl, 16, 0);
    if (ctl) {
        std::memcpy(o.date, static_cast<const uint8_t *>(ctl) + 80, 20);
        std::memcpy(o.doc_name, static_cast<const uint8_t *>(ctl) + 100, 92);
    }
    return o;
}

// ---- the page description ----------------------------------------------------

enum class Src { k1, k4, k8, k8Rgb, k16, k16To8, k24, k32 };

struct Layout {
    int32_t width = 0, height = 0, bpp = 0;
    int32_t code = 0;          // library compression code
    uint16_t compression = 1;  // TIFF value
    uint16_t photometric = 0;
    uint16_t samples = 1, bits = 8;
    uint16_t planar = 1;
    bool invert = false, alpha = false, cmyk = false;
    Src src = Src::k8;
    QV_RGBQUAD pal[256];
    int32_t map_entries = 0;   // ColorMap entries (0: none)
    // Strips or tiles.
    bool tiled = false;
    int32_t tile_w = 0, tile_h = 0;  // chunk width and rows (strips: width, rows per strip)
    int32_t across = 1, down = 1, chunks = 1, per_plane = 1;
    // CCITT
    int32_t ccitt_mode = 0;
    uint32_t t4_options = 0;
    bool jpeg = false;
    int32_t file_row_bytes = 0;   // one chunky file row of the whole width
    int32_t plane_row_bytes = 0;  // one plane row of the whole width
};

bool grey_ramp(const QV_RGBQUAD *pal, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        const int v = i * 255 / (n - 1);
        if (pal[i].rgbRed != v || pal[i].rgbGreen != v || pal[i].rgbBlue != v) return false;
    }
    return true;
}

bool is_grey(const QV_RGBQUAD &q) { return q.rgbRed == q.rgbGreen && q.rgbGreen == q.rgbBlue; }

int32_t tiff_compression(int32_t code, bool tiled, const Options &o, uint16_t *out) {
    switch (code) {
    case 0: *out = 1; return 0;
    case 1: *out = 32773; return 0;
    case 2: *out = 2; return 0;
    case 3:
    case 5: *out = 3; return 0;
    case 4: *out = 4; return 0;
    case 6: *out = (!tiled && !o.one_stream) ? 6 : 7; return 0;
    case 8: *out = 5; return 0;
    default: return QV_ERR(QVE_BAD_SAVE_OPTION, code, 0);
    }
}

int32_t describe(const QV_DIB_HEADER &dib, const QV_RGBQUAD *pal, bool has_alpha, const Options &o,
                 int32_t code, Layout *L) {
    L->width = dib.biWidth;
    L->height = dib.biHeight < 0 ? -dib.biHeight : dib.biHeight;
    L->bpp = dib.biBitCount;
    L->code = code;
    L->tiled = o.strip_mode == 16;
    if (int32_t rc = tiff_compression(code, L->tiled, o, &L->compression)) return rc;
    const bool jpeg = code == 6, ccitt = code >= 2 && code <= 5, lzw = code == 8;
    const bool plain = code == 0 || code == 1 || lzw;
    L->jpeg = jpeg;
    std::memcpy(L->pal, pal, sizeof L->pal);
    switch (L->bpp) {
    case 1: {
        if (jpeg) return QV_ERR(QVE_BAD_SAVE_OPTION, code, 1);
        L->src = Src::k1;
        L->bits = 1;
        const QV_RGBQUAD &a = pal[0], &b = pal[1];
        const auto black = [](const QV_RGBQUAD &q) { return q.rgbRed == 0 && q.rgbGreen == 0 && q.rgbBlue == 0; };
        const auto white = [](const QV_RGBQUAD &q) { return q.rgbRed == 255 && q.rgbGreen == 255 && q.rgbBlue == 255; };
        if (is_grey(a) && is_grey(b) && ((black(a) && white(b)) || (white(a) && black(b)))) {
            L->photometric = o.photometric == 1 ? 1 : 0;
            // Entry 0 must be the colour of file value 0.
            L->invert = L->photometric == 0 ? !white(a) : !black(a);
        } else {
            L->photometric = 3;
            L->map_entries = 2;
        }
        break;
    }
    case 4:
        if (!plain) return QV_ERR(QVE_BAD_SAVE_OPTION, code, 4);
        L->src = Src::k4, L->bits = 4, L->photometric = 3, L->map_entries = 16;
        break;
    case 8:
        if (!plain && !jpeg) return QV_ERR(QVE_BAD_SAVE_OPTION, code, 8);
        L->src = Src::k8, L->bits = 8;
        if (jpeg) {
            if (grey_ramp(pal, 256)) {
                L->photometric = 1;
            } else {
                // RGB; old-style JPEG readers take three components as
                // YCbCr only, so there the colours are stored as YCbCr.
                L->src = Src::k8Rgb, L->samples = 3;
                L->photometric = L->compression == 6 ? 6 : 2;
            }
        } else if (grey_ramp(pal, 256) || o.grey_palette) {
            L->photometric = 1;
        } else {
            L->photometric = 3, L->map_entries = 256;
        }
        break;
    case 16: {
        if (dib.biCompression != QV_BI_GRAY16) return QV_ERR(QVE_BAD_ARGUMENT, o.photometric, 16);
        if (ccitt || lzw) return QV_ERR(QVE_BAD_SAVE_OPTION, 0, 0);
        if (!plain && !jpeg) return QV_ERR(QVE_BAD_SAVE_OPTION, code, 16);
        L->src = jpeg ? Src::k16To8 : Src::k16;
        L->bits = jpeg ? 8 : 16;
        L->photometric = 1;
        break;
    }
    case 24:
    case 32:
        if (!plain && !(jpeg && L->bpp == 24)) return QV_ERR(QVE_BAD_SAVE_OPTION, code, L->bpp);
        L->src = L->bpp == 24 ? Src::k24 : Src::k32;
        L->bits = 8;
        if (jpeg) {
            L->samples = 3, L->photometric = 6;
        } else if (o.photometric == 5) {
            L->samples = 4, L->photometric = 5, L->cmyk = true;
        } else {
            L->samples = 3, L->photometric = 2;
        }
        if (!jpeg && has_alpha) L->alpha = true, ++L->samples;
        if (!jpeg && o.planar) L->planar = 2;
        break;
    default:
        return QV_ERR(QVE_BAD_ARGUMENT, o.photometric, L->bpp);
    }
    if (L->samples * L->bits <= 1) L->planar = 1;
    if (L->samples == 1) L->planar = 1;

    if (ccitt) {
        switch (code) {
        case 2: L->ccitt_mode = kCcittMH; break;
        case 3: L->ccitt_mode = (o.fax || o.eol_align) ? kCcittT4Fill : kCcittT4; break;
        case 4: L->ccitt_mode = kCcittT6; break;
        case 5: L->ccitt_mode = (o.fax || o.eol_align) ? kCcitt2DFill : kCcitt2D; L->t4_options = 1; break;
        default: break;
        }
        if (code == 3 || code == 5) {
            if (o.fax || o.eol_align) L->t4_options |= 4;
        }
    }
    const int64_t total_bits = int64_t(L->samples) * L->bits;
    L->file_row_bytes = int32_t((total_bits * L->width + 7) / 8);
    L->plane_row_bytes = int32_t((int64_t(L->bits) * L->width + 7) / 8);
    return 0;
}

int32_t lay_out_chunks(const QV_DIB_HEADER &dib, const Options &o, Layout *L) {
    if (L->tiled) {
        const auto round16 = [](int32_t v) { return v <= 0 ? 256 : (v + 15) / 16 * 16; };
        L->tile_w = round16(o.tile_w);
        L->tile_h = round16(o.tile_h);
        L->across = (L->width - 1) / L->tile_w + 1;
        L->down = (L->height - 1) / L->tile_h + 1;
    } else {
        int32_t rows;
        if (L->jpeg) {
            rows = L->height;
        } else if (o.strip_mode == 1) {
            const int64_t rb = int64_t(raster_bytes(dib.biWidth, dib.biBitCount));
            rows = int32_t(int64_t(o.bytes) / (rb ? rb : 1));
            if (rows < 2) rows = 1;
        } else {
            rows = o.rows > 0 ? o.rows : L->height;
        }
        if (rows > L->height) rows = L->height;
        L->tile_w = L->width;
        L->tile_h = rows;
        L->across = 1;
        L->down = (L->height + rows - 1) / rows;
    }
    L->per_plane = L->across * L->down;
    L->chunks = L->per_plane * (L->planar == 2 ? L->samples : 1);
    return 0;
}

// ---- resolution --------------------------------------------------------------

struct Resolution {
    uint32_t xnum = 0, xden = 1, ynum = 0, yden = 1;
    uint16_t unit = 2;
};

bool user_value(VPb_STREAM *s, int32_t id, uint32_t *v) {
    int32_t type = 0, count = 0;
    const void *data = nullptr;
    if (!VPb_IO_tag_user_get(s, id, &type, &data, &count) || !data || count < 1) return false;
    const uint8_t *p = static_cast<const uint8_t *>(data);
    switch (type) {
    case kTifByte: *v = p[0]; return true;
    case kTifShort: { uint16_t w; std::memcpy(&w, p, 2); *v = w; return true; }
    case kTifLong:
    case kTifRational: std::memcpy(v, p, 4); return true;
    default: return false;
    }
}

// Text from the caller's callback (ASCII or BYTE), or null.
const char *user_text(VPb_STREAM *s, int32_t id, int32_t *len) {
    int32_t type = 0, count = 0;
    const void *data = nullptr;
    if (!VPb_IO_tag_user_get(s, id, &type, &data, &count) || !data || count < 1) return nullptr;
    if (type != kTifAscii && type != kTifByte) return nullptr;
    const char *t = static_cast<const char *>(data);
    *len = int32_t(strnlen(t, size_t(count)));
    return t;
}

Resolution resolution_of(VPb_STREAM *s, const QV_DIB_HEADER &dib) {
    Resolution r;
    uint32_t v[5];
    if (user_value(s, 10282, &v[0]) && user_value(s, 11282, &v[1]) && user_value(s, 10283, &v[2]) &&
        user_value(s, 11283, &v[3]) && user_value(s, 10296, &v[4])) {
        r.xnum = v[0], r.xden = v[1], r.ynum = v[2], r.yden = v[3], r.unit = uint16_t(v[4]);
        return r;
    }
    uint32_t xn, xd, yn, yd;
    int32_t unit;
    if (!VPb_image_resolution_get(VPb_IO_image_get(s), &xn, &xd, &yn, &yd, &unit)) {
        xn = uint32_t(resolution_from_dib(dib.biXPelsPerMeter));
        yn = uint32_t(resolution_from_dib(dib.biYPelsPerMeter));
        xd = yd = 1;
        unit = 2;
    }
    if (xd == 0) xd = 1;
    if (yd == 0) yd = 1;
    switch (unit) {
    case 1: r = {xn, xd, yn, yd, 1}; break;
    case 2: r = {xn / xd * 100, 3937, yn / yd * 100, 3937, 2}; break;
    case 4: r = {xn, xd, yn, yd, 3}; break;
    case 5: r = {xn / 10, xd / 10 ? xd / 10 : 1, yn / 10, yd / 10 ? yd / 10 : 1, 2}; break;
    case 6: r = {xn / 10, xd / 10 ? xd / 10 : 1, yn / 10, yd / 10 ? yd / 10 : 1, 3}; break;
    default: r = {xn, xd, yn, yd, 2}; break;
    }
    return r;
}

int32_t fax_check(const Layout &L, const Resolution &r) {
    if (L.width != 1728 && L.width != 2048 && L.width != 2482) return QV_ERR(QVE_FAX_PROFILE, 0, 0);
    if (L.photometric > 1) return QV_ERR(QVE_FAX_PROFILE, 1, 0);
    if (L.compression != 3) return QV_ERR(QVE_FAX_PROFILE, 2, 0);
    if (L.bits != 1) return QV_ERR(QVE_FAX_PROFILE, 3, 0);
    if (L.samples != 1) return QV_ERR(QVE_FAX_PROFILE, 4, 0);
    if (r.unit != 2 && r.unit != 3) return QV_ERR(QVE_FAX_PROFILE, 10, 0);
    double x = double(r.xnum) / double(r.xden ? r.xden : 1);
    double y = double(r.ynum) / double(r.yden ? r.yden : 1);
    if (r.unit == 3) {
        x = double(int64_t(x * 2.54 + 0.5));
        y = double(int64_t(y * 2.54 + 0.5));
    }
    // One-sided on purpose: any resolution up to the fax values passes.
    if (x - 204 > 0.05 || (y - 98 > 0.05 && y - 196 > 0.05)) return QV_ERR(QVE_FAX_PROFILE, 11, 0);
    return 0;
}

// ---- the tag store -----------------------------------------------------------------

class Store {
public:
    Store(uint32_t tag, VPb_TIF_TAGS *st) : tag_(tag), st_(st) {}
    // Stores (tag index, type, count, values in this machine's order);
    // an index outside 1..74 takes `number` as the tag. Replaces an entry
    // of the same tag. False when memory ran out (pushed).
    bool set(int32_t index, uint16_t type, uint32_t count, const void *values, uint16_t number = 0) {
        const uint16_t t = index >= 1 && index < kTifSlots ? tif_index_tag(index) : number;
        TifEntry *e = nullptr;
        for (uint32_t i = 0; i < st_->count; ++i)
            if (st_->entries[i].tag == t) e = &st_->entries[i];
        if (!e) e = &st_->entries[st_->count++];
        const size_t bytes = size_t(tif_type_size(type)) * count;
        void *d = bytes ? VPb_AF_mem_alloc(tag_, bytes) : nullptr;
        if (bytes && !d) {
            QV_ERR(QVE_NO_MEMORY, int32_t(bytes), tag_);
            return false;
        }
        if (bytes) std::memcpy(d, values, bytes);
        *e = TifEntry{t, type, count, d};
        return true;
    }
    bool shorts(int32_t index, std::initializer_list<uint32_t> v) {
        uint16_t w[8];
        uint32_t n = 0;
        for (uint32_t x : v) w[n++] = uint16_t(x);
        return set(index, kTifShort, n, w);
    }
    bool longs(int32_t index, std::initializer_list<uint32_t> v) {
        uint32_t w[8];
        uint32_t n = 0;
        for (uint32_t x : v) w[n++] = x;
        return set(index, kTifLong, n, w);
    }
    bool text(int32_t index, const char *t, size_t len) {
        char buf[256];
        if (len > sizeof buf - 1) len = sizeof buf - 1;
        std::memcpy(buf, t, len);
        buf[len] = 0;
        return set(index, kTifAscii, uint32_t(len + 1), buf);
    }
    VPb_TIF_TAGS *get() const { return st_; }

private:
    uint32_t tag_;
    VPb_TIF_TAGS *st_;
};

// Bytes of the IFD and its long values.
uint64_t ifd_size(const VPb_TIF_TAGS *st) {
    uint64_t n = 6 + 12 * uint64_t(st->count);
    for (uint32_t i = 0; i < st->count; ++i) {
        const TifEntry &e = st->entries[i];
        const uint64_t b = uint64_t(tif_type_size(e.type)) * e.count;
        if (b > 4 && e.count) n += b;
    }
    return n;
}

void put16(uint8_t *p, uint16_t v, int32_t order) {
    if (order) v = uint16_t(v >> 8 | v << 8);
    std::memcpy(p, &v, 2);
}
void put32(uint8_t *p, uint32_t v, int32_t order) {
    if (order) v = __builtin_bswap32(v);
    std::memcpy(p, &v, 4);
}

// Values of an entry in the file's order.
void put_values(uint8_t *p, const TifEntry &e, int32_t order) {
    const uint8_t *d = static_cast<const uint8_t *>(e.data);
    switch (e.type) {
    case kTifShort:
    case kTifSShort:
        for (uint32_t i = 0; i < e.count; ++i) {
            uint16_t v;
            std::memcpy(&v, d + 2 * i, 2);
            put16(p + 2 * i, v, order);
        }
        break;
    case kTifLong:
    case kTifSLong:
    case kTifFloat:
    case kTifRational:
    case kTifSRational:
    case kTifDouble: {
        const uint32_t words = uint32_t(uint64_t(tif_type_size(e.type)) * e.count / 4);
        for (uint32_t i = 0; i < words; ++i) {
            uint32_t v;
            std::memcpy(&v, d + 4 * i, 4);
            put32(p + 4 * i, v, order);
        }
        break;
    }
    default:
        std::memcpy(p, d, size_t(tif_type_size(e.type)) * e.count);
        break;
    }
}

// Sorts the store by tag number and writes it at `at` (relative to base):
// count, entries, next offset, then the long values one after another.
int32_t write_ifd(VPb_STREAM *s, uint32_t tag, VPb_TIF_TAGS *st, int64_t base, uint32_t at,
                  uint32_t next, int32_t order) {
    TifEntry *e = st->entries;
    for (uint32_t i = 1; i < st->count; ++i)  // insertion sort: a few dozen entries
        for (uint32_t j = i; j > 0 && e[j - 1].tag > e[j].tag; --j) {
            const TifEntry t = e[j];
            e[j] = e[j - 1];
            e[j - 1] = t;
        }
    uint32_t good = 0;
    for (uint32_t i = 0; i < st->count; ++i) {
        if (e[i].type == 0 || e[i].type > 12 || e[i].count == 0) {
            QV_ERR(QVE_NO_MEMORY, e[i].tag, e[i].type);
            continue;
        }
        e[good++] = e[i];
    }
    st->count = uint16_t(good);
    for (int i = 0; i < kTifSlots; ++i) st->slots[i].pos = 0;
    const uint64_t size = ifd_size(st);
    uint8_t *buf = filter_alloc_array<uint8_t>(tag, size_t(size));
    if (!buf) return QV_ERR(QVE_NO_MEMORY, int32_t(size), tag);
    put16(buf, uint16_t(good), order);
    uint32_t value_at = at + 12 * good + 6;
    uint8_t *vp = buf + 12 * size_t(good) + 6;
    for (uint32_t i = 0; i < good; ++i) {
        uint8_t *p = buf + 2 + 12 * size_t(i);
        put16(p, e[i].tag, order);
        put16(p + 2, e[i].type, order);
        put32(p + 4, e[i].count, order);
        const uint32_t b = uint32_t(tif_type_size(e[i].type)) * e[i].count;
        if (b <= 4) {
            put_values(p + 8, e[i], order);
        } else {
            put32(p + 8, value_at, order);
            put_values(vp, e[i], order);
            vp += b;
            value_at += b;
        }
    }
    put32(buf + 2 + 12 * size_t(good), next, order);
    if (VPb_IO_seek(s, base + at, 0) != base + at) return QV_ERR(QVE_OUTPUT_POSITION, int32_t(at), 0);
    const int32_t w = VPb_IO_write(s, buf, int32_t(size));
    VPb_AF_mem_free(tag, buf);
    if (w != int32_t(size)) return QV_ERR(QVE_SHORT_WRITE, w, int32_t(size));
    return 0;
}

// ---- output ----------------------------------------------------------------------

constexpr size_t kOutBytes = 1 << 18;  // the output buffer

// Buffered writes to the stream, counting the position (relative to base).
class Out {
public:
    Out(VPb_STREAM *s, uint8_t *buf, size_t cap, int64_t base, int64_t pos)
        : s_(s), buf_(buf), cap_(cap), base_(base), pos_(pos) {}
    // Room for n more bytes at the returned address (n <= capacity).
    uint8_t *room(size_t n) {
        if (used_ + n > cap_ && flush() < 0) return nullptr;
        return buf_ + used_;
    }
    void commit(size_t n) { used_ += n; }
    int32_t put(const uint8_t *p, size_t n) {
        if (used_ + n > cap_) {
            if (flush() < 0) return -1;
            if (n > cap_) {
                const int32_t w = VPb_IO_write(s_, p, int32_t(n));
                if (w != int32_t(n)) return fail(w, n);
                pos_ += int64_t(n);
                return 0;
            }
        }
        std::memcpy(buf_ + used_, p, n);
        used_ += n;
        return 0;
    }
    int32_t flush() {
        if (!used_) return 0;
        const int32_t w = VPb_IO_write(s_, buf_, int32_t(used_));
        if (w != int32_t(used_)) return fail(w, used_);
        pos_ += int64_t(used_);
        used_ = 0;
        return 0;
    }
    int64_t pos() const { return pos_ + int64_t(used_); }
    // After a coder wrote to the stream itself.
    void resync() { pos_ = VPb_IO_tell(s_) - base_; }

private:
    int32_t fail(int32_t w, size_t n) {
        QV_ERR(QVE_SHORT_WRITE, w, int32_t(n));
        return -1;
    }
    VPb_STREAM *s_;
    uint8_t *buf_;
    size_t cap_, used_ = 0;
    int64_t base_, pos_;
};

// ---- rows ------------------------------------------------------------------------

class Rows {
public:
    Rows(VPb_STREAM *s, const Layout &L, uint8_t *dib_row, uint8_t *alpha_row, uint8_t *file_row, int32_t order)
        : s_(s), L_(L), dib_row_(dib_row), alpha_row_(alpha_row), file_row_(file_row), order_(order) {
        stride_ = size_t(raster_bytes(L.width, L.bpp));
        direct_ = VPb_IO_DIB_direct_get(s);
    }
    // The file row y (chunky, all samples); null after a pushed error.
    const uint8_t *row(int32_t y) { return row_at(y, file_row_); }
    // The same converted straight into `dst` (file_row_bytes bytes).
    bool row_into(int32_t y, uint8_t *dst) {
        const uint8_t *r = row_at(y, dst);
        if (!r) return false;
        if (r != dst) std::memcpy(dst, r, size_t(L_.file_row_bytes));
        return true;
    }
    // JPEG input rows: grey or B, G, R.
    const uint8_t *jpeg_row(int32_t y, uint8_t *out) {
        const uint8_t *d = dib_row(y);
        if (!d) return nullptr;
        const int32_t w = L_.width;
        switch (L_.src) {
        case Src::k8: return d;
        case Src::k24: return d;
        case Src::k8Rgb:
            for (int32_t x = 0; x < w; ++x) {
                const QV_RGBQUAD &q = L_.pal[d[x]];
                out[3 * x] = q.rgbBlue, out[3 * x + 1] = q.rgbGreen, out[3 * x + 2] = q.rgbRed;
            }
            return out;
        case Src::k16To8:
            for (int32_t x = 0; x < w; ++x) out[x] = d[2 * x + 1];
            return out;
        default: return d;
        }
    }

private:
    // DIB row y (row 0 = top): in place when the DIB is at hand, else
    // fetched into dib_row_; null after a pushed error.
    const uint8_t *dib_row(int32_t y) {
        if (direct_) return direct_ + stride_ * size_t(L_.height - 1 - y);
        return VPb_IO_raster_get(s_, y, dib_row_) < 0 ? nullptr : dib_row_;
    }
    const uint8_t *row_at(int32_t y, uint8_t *o) {
        const uint8_t *d = dib_row(y);
        if (!d) return nullptr;
        const uint8_t *a = nullptr;
        if (L_.alpha) {
            if (VPb_IO_linked_raster_get(s_, y, alpha_row_) < 0) return nullptr;
            a = alpha_row_;
        }
        return convert(d, a, o);
    }
    // Converts DIB row d (and alpha row a) to the file's layout in `out`;
    // returns where the file row is (d itself when nothing changes).
    const uint8_t *convert(const uint8_t *d, const uint8_t *a, uint8_t *const out) {
        const int32_t w = L_.width;
        uint8_t *o = out;
        switch (L_.src) {
        case Src::k1: {
            const int32_t n = L_.file_row_bytes;
            if (!L_.invert && (w & 7) == 0) return d;
            if (L_.invert)
                for (int32_t i = 0; i < n; ++i) o[i] = uint8_t(~d[i]);
            else
                std::memcpy(o, d, size_t(n));
            if (w & 7) o[n - 1] &= uint8_t(0xFF00 >> (w & 7));
            return out;
        }
        case Src::k4:
        case Src::k8:
            return d;
        case Src::k16:
            if (!order_) return d;
            for (int32_t x = 0; x < w; ++x) o[2 * x] = d[2 * x + 1], o[2 * x + 1] = d[2 * x];
            return out;
        case Src::k24:
        case Src::k32: {
            const int32_t in = L_.bpp / 8;
            if (L_.cmyk) {
                for (int32_t x = 0; x < w; ++x, d += in) {
                    o[0] = uint8_t(255 - d[2]), o[1] = uint8_t(255 - d[1]), o[2] = uint8_t(255 - d[0]), o[3] = 0;
                    o += 4;
                    if (a) *o++ = a[x];
                }
            } else if (a) {
                for (int32_t x = 0; x < w; ++x, d += in, o += 4)
                    o[0] = d[2], o[1] = d[1], o[2] = d[0], o[3] = a[x];
            } else if (in == 3) {
                tif_swap_rgb(d, o, size_t(w));
            } else {
                for (int32_t x = 0; x < w; ++x, d += 4, o += 3) o[0] = d[2], o[1] = d[1], o[2] = d[0];
            }
            return out;
        }
        default:
            return d;
        }
    }
    VPb_STREAM *s_;
    const Layout &L_;
    uint8_t *dib_row_, *alpha_row_, *file_row_;
    int32_t order_;
    size_t stride_ = 0;
    const uint8_t *direct_ = nullptr;
};

// Sample `plane` of every pixel of a chunky 8- or 16-bit row.
void extract_plane(const uint8_t *row, int32_t width, int32_t samples, int32_t bytes, int32_t plane, uint8_t *out) {
    const uint8_t *p = row + plane * bytes;
    const int32_t step = samples * bytes;
    if (bytes == 1) {
        for (int32_t x = 0; x < width; ++x, p += step) out[x] = *p;
    } else {
        for (int32_t x = 0; x < width; ++x, p += step) out[2 * x] = p[0], out[2 * x + 1] = p[1];
    }
}

// ---- chunk coders (none, PackBits, LZW) ---------------------------------------------

class Coder {
public:
    Coder(Out &out, uint16_t compression, LzwEncoder *lzw) : out_(out), c_(compression), lzw_(lzw) {}
    int32_t begin() {
        start_ = out_.pos();
        if (c_ == 5) {
            uint8_t *p = out_.room(16);
            if (!p) return -1;
            out_.commit(lzw_->begin(p));
        }
        return 0;
    }
    int32_t row(const uint8_t *r, size_t n) {
        switch (c_) {
        case 32773: {
            uint8_t *p = out_.room(packbits_max(n));
            if (!p) return -1;
            out_.commit(packbits_encode(r, n, p));
            return 0;
        }
        case 5: {
            // In pieces so that the worst case fits the buffer.
            while (n) {
                const size_t k = n < 65536 ? n : 65536;
                uint8_t *p = out_.room(lzw_encode_max_bytes(k));
                if (!p) return -1;
                out_.commit(lzw_->encode(r, k, p));
                r += k, n -= k;
            }
            return 0;
        }
        default:
            return out_.put(r, n);
        }
    }
    // Bytes of the chunk.
    int32_t end(uint32_t *bytes) {
        if (c_ == 5) {
            uint8_t *p = out_.room(16);
            if (!p) return -1;
            out_.commit(lzw_->finish(p));
        }
        *bytes = uint32_t(out_.pos() - start_);
        return 0;
    }
    int64_t start() const { return start_; }

private:
    Out &out_;
    uint16_t c_;
    LzwEncoder *lzw_;
    int64_t start_ = 0;
};

// CCITT rows of a strip or tile from prepared file rows.
class CcittRows : public CcittRowSource {
public:
    CcittRows(Rows &rows, const uint8_t *band, size_t band_stride, int32_t width)
        : rows_(rows), band_(band), stride_(band_stride), width_(width) {}
    int32_t row(int32_t y, uint16_t *changes) override {
        const uint8_t *r = band_ ? band_ + stride_ * size_t(y) : rows_.row(y);
        if (!r) return -1;
        return ccitt_changes_from_packed(r, width_, true, changes);
    }

private:
    Rows &rows_;
    const uint8_t *band_;
    size_t stride_;
    int32_t width_;
};

struct JpegSource {
    Rows *rows;
    const uint8_t *band;  // tiles: rows of the band in JPEG input layout
    size_t stride;
    uint8_t *tmp;
    int32_t first;        // strips: first image row
};

int32_t jpeg_fetch(void *user, int32_t y, uint8_t *row) {
    auto *j = static_cast<JpegSource *>(user);
    const uint8_t *r;
    size_t n = j->stride;
    if (j->band) {
        r = j->band + j->stride * size_t(y);
    } else {
        r = j->rows->jpeg_row(j->first + y, j->tmp);
        if (!r) return -1;
    }
    std::memcpy(row, r, n);
    return 0;
}

// Where the quantisation and Huffman tables of a JPEG stream lie (offsets
// relative to the TIFF data's start), per component: component 0 uses the
// tables of id 0, the others those of id 1 (libjpeg's defaults).
struct JpegTables {
    uint32_t q[3] = {0, 0, 0}, dc[3] = {0, 0, 0}, ac[3] = {0, 0, 0};
};

// Reads the stream's markers back from `at` up to the first scan.
void find_jpeg_tables(VPb_STREAM *s, uint32_t tag, int64_t base, uint32_t at, uint32_t len, JpegTables *t) {
    const uint32_t n = len < 4096 ? len : 4096;
    uint8_t *b = filter_alloc_array<uint8_t>(tag, n + 4);
    if (!b || VPb_IO_seek(s, base + at, 0) != base + at || VPb_IO_read(s, b, int32_t(n)) != int32_t(n)) return;
    uint32_t q[2] = {0, 0}, dc[2] = {0, 0}, ac[2] = {0, 0};
    uint32_t i = 2;
    while (i + 4 <= n && b[i] == 0xFF && b[i + 1] != 0xDA) {
        const uint32_t seg = uint32_t(b[i + 2] << 8 | b[i + 3]);
        const uint32_t end = i + 2 + seg;
        if (b[i + 1] == 0xDB) {
            for (uint32_t k = i + 4; k + 65 <= end && k + 65 <= n; k += 65 + ((b[k] >> 4) ? 64 : 0))
                if ((b[k] & 15) < 2) q[b[k] & 15] = at + k + 1;
        } else if (b[i + 1] == 0xC4) {
            for (uint32_t k = i + 4; k + 17 <= end && k + 17 <= n;) {
                uint32_t count = 0;
                for (int j = 1; j <= 16; ++j) count += b[k + j];
                const uint32_t id = b[k] & 15;
                if (id < 2) ((b[k] >> 4) ? ac : dc)[id] = at + k + 1;
                k += 17 + count;
            }
        }
        i = end;
    }
    for (int c = 0; c < 3; ++c) {
        const int id = c ? 1 : 0;
        t->q[c] = q[id], t->dc[c] = dc[id], t->ac[c] = ac[id];
    }
}

// ---- the file ----------------------------------------------------------------------

struct Place {
    int32_t order = 0;
    int64_t base = 0;
    int32_t page = 1;        // page number of the new page
    uint32_t link_at = 4;    // where the offset of the new IFD goes (relative to base)
    uint32_t next = 0;       // the new IFD's next offset
    bool append = false;
};

// Finds where the new page goes in a file that has `pages` pages: after
// page `page - 1` (the header's first offset for page 1).
bool find_link(VPb_STREAM *s, Place *pl, int32_t pages) {
    uint8_t b[4];
    uint32_t at = 4;
    for (int32_t i = 1; i < pl->page && i <= pages; ++i) {
        if (VPb_IO_seek(s, pl->base + at, 0) < 0 || VPb_IO_read(s, b, 4) != 4) return false;
        const uint32_t off = tif_get32(b, pl->order);
        if (off == 0 || VPb_IO_seek(s, pl->base + off, 0) < 0 || VPb_IO_read(s, b, 2) != 2) return false;
        at = off + 2 + 12 * uint32_t(tif_get16(b, pl->order));
    }
    if (VPb_IO_seek(s, pl->base + at, 0) < 0 || VPb_IO_read(s, b, 4) != 4) return false;
    pl->link_at = at;
    pl->next = tif_get32(b, pl->order);
    return true;
}

int32_t place_page(VPb_STREAM *s, const Options &o, Place *pl) {
    pl->base = VPb_IO_tell(s);
    if (pl->base < 0) pl->base = 0;
    const int64_t end = VPb_IO_data_end(s);
    int32_t pages = 0;
    uint8_t h[8];
    if (end >= pl->base + 8) {
        pages = tif_count_pages(s);
        const bool valid = VPb_IO_read(s, h, 8) == 8 && ((h[0] == 'I' && h[1] == 'I') || (h[0] == 'M' && h[1] == 'M'));
        if (pages > 0 && valid && tif_get16(h + 2, h[0] == 'M') == 42) {
            pl->order = h[0] == 'M';
            pl->page = pages + 1;
            if (o.page > 0 && o.page < pl->page) pl->page = o.page;
            if (find_link(s, pl, pages)) {
                pl->append = true;
                if (VPb_IO_seek(s, 0, 2) < 0) return QV_ERR(QVE_OUTPUT_POSITION, 0, 2);
                return 0;
            }
        }
    }
    pl->order = o.byte_order;
    pl->page = 1;
    pl->link_at = 4;
    pl->next = 0;
    if (VPb_IO_seek(s, pl->base, 0) != pl->base) return QV_ERR(QVE_OUTPUT_POSITION, 0, 0);
    uint8_t hdr[8] = {'I', 'I', 0, 0, 0, 0, 0, 0};
    if (pl->order) hdr[0] = hdr[1] = 'M';
    put16(hdr + 2, 42, pl->order);
    const int32_t w = VPb_IO_write(s, hdr, 8);
    if (w != 8) return QV_ERR(QVE_SHORT_WRITE, w, 8);
    return 0;
}

void version_text(char *out, size_t n) {
    char v[32] = {0};
    QV_version_get(v, int32_t(sizeof v));
    int a = 0, b = 0, c = 0;
    std::sscanf(v, "%d.%d.%d", &a, &b, &c);
    std::snprintf(out, n, "Pelmora Version:  %01d.%02d.%03d", a, b, c);
}

// The tags that do not depend on the data.
bool fill_tags(VPb_STREAM *s, Store &st, const Layout &L, const Options &o, const Resolution &r,
               const Place &pl) {
    uint32_t subfile = 2;
    if (o.subfile != 255) subfile = uint32_t(o.subfile);
    uint32_t v;
    if (user_value(s, 10254, &v)) subfile = v;
    bool ok = st.longs(kWiSubfile, {subfile}) && st.longs(kTiWidth, {uint32_t(L.width)}) &&
              st.longs(kTiLength, {uint32_t(L.height)});
    if (L.tiled) ok = ok && st.longs(kTiTileWidth, {uint32_t(L.tile_w)}) && st.longs(kTiTileLength, {uint32_t(L.tile_h)});
    ok = ok && st.shorts(kTiSamples, {L.samples}) && st.shorts(kTiPhotometric, {L.photometric}) &&
         st.shorts(kTiFillOrder, {1});
    if (L.samples * L.bits > 1) ok = ok && st.shorts(kTiPlanar, {L.planar});
    ok = ok && st.shorts(kTiCompression, {L.compression});
    uint16_t bits[8];
    for (int i = 0; i < L.samples; ++i) bits[i] = L.bits;
    ok = ok && st.set(kTiBits, kTifShort, L.samples, bits);
    if (!L.tiled) {
        if (L.tile_h < 65536) ok = ok && st.shorts(kTiRowsPerStrip, {uint32_t(L.tile_h)});
        else ok = ok && st.longs(kTiRowsPerStrip, {uint32_t(L.tile_h)});
    }
    if (L.compression == 3) ok = ok && st.longs(kTiT4Options, {L.t4_options});
    if (L.alpha) ok = ok && st.shorts(kWiExtraSamples, {2});
    if (L.map_entries) {
        uint16_t map[768];
        const int32_t n = L.map_entries;
        for (int32_t i = 0; i < n; ++i) {
            map[i] = uint16_t(L.pal[i].rgbRed << 8);
            map[n + i] = uint16_t(L.pal[i].rgbGreen << 8);
            map[2 * n + i] = uint16_t(L.pal[i].rgbBlue << 8);
        }
        ok = ok && st.set(kTiColorMap, kTifShort, uint32_t(3 * n), map);
    }
    ok = ok && st.shorts(kTiOrientation, {1}) && st.shorts(kTiResUnit, {r.unit});
    const uint32_t xr[2] = {r.xnum, r.xden}, yr[2] = {r.ynum, r.yden};
    ok = ok && st.set(kTiXRes, kTifRational, 1, xr) && st.set(kTiYRes, kTifRational, 1, yr);
    if (o.page_number) ok = ok && st.shorts(kWiPageNumber, {uint32_t(pl.page - 1), 0});
    char sw[64];
    version_text(sw, sizeof sw);
    ok = ok && st.text(kWiSoftware, sw, std::strlen(sw));
    int32_t len = 0;
    if (const char *t = user_text(s, 10306, &len)) {
        ok = ok && st.text(kWiDateTime, t, size_t(len));
    } else if (o.date[0]) {
        ok = ok && st.text(kWiDateTime, o.date, std::strlen(o.date));
    } else {
        char now[32];
        const std::time_t tt = std::time(nullptr);
        std::tm tm{};
        localtime_r(&tt, &tm);
        std::strftime(now, sizeof now, "%Y:%m:%d %H:%M:%S", &tm);
        ok = ok && st.text(kWiDateTime, now, std::strlen(now));
    }
    if (!o.fax) {
        if (const char *t = user_text(s, 10315, &len)) ok = ok && st.text(kWiArtist, t, size_t(len));
        else ok = ok && st.text(kWiArtist, kDefaultArtist, sizeof kDefaultArtist - 1);
    }
    if (const char *t = user_text(s, 10269, &len)) ok = ok && st.text(kWiDocName, t, size_t(len));
    else if (o.doc_name[0]) ok = ok && st.text(kWiDocName, o.doc_name, std::strlen(o.doc_name));
    return ok;
}

// Writes every strip or tile; offsets and byte counts into the arrays.
int32_t write_data(VPb_STREAM *s, uint32_t tag, const Layout &L, const Options &o, Place &pl,
                   uint32_t *offsets, uint32_t *counts, Out &out, JpegTables *tables) {
    const size_t stride = size_t(raster_bytes(L.width, L.bpp));
    const size_t file_row = size_t(L.file_row_bytes) + 16;
    uint8_t *dib_row = filter_alloc_array<uint8_t>(tag, stride + 16);
    uint8_t *alpha_row = filter_alloc_array<uint8_t>(tag, size_t(L.width) + 16);
    uint8_t *conv = filter_alloc_array<uint8_t>(tag, file_row + size_t(L.width) * 3);
    uint8_t *plane = filter_alloc_array<uint8_t>(tag, size_t(L.plane_row_bytes) + 16);
    if (!dib_row || !alpha_row || !conv || !plane) return QV_ERR(QVE_NO_MEMORY, int32_t(file_row), tag);
    Rows rows(s, L, dib_row, alpha_row, conv, pl.order);
    const int32_t planes = L.planar == 2 ? L.samples : 1;
    const int32_t sample_bytes = L.bits / 8;

    // JPEG: one stream per strip (the whole page) or per tile.
    if (L.jpeg) {
        const bool grey = L.photometric == 1;
        JpegEncodeParams jp;
        jp.grey = grey;
        jp.rgb = L.photometric == 2;
        jp.quality = 75;
        uint8_t *tmp = filter_alloc_array<uint8_t>(tag, size_t(L.width) * 3 + 16);
        if (!tmp) return QV_ERR(QVE_NO_MEMORY, L.width * 3, tag);
        const size_t in_row = size_t(L.width) * (grey ? 1 : 3);
        if (!L.tiled) {
            if (out.flush() < 0) return QVE_SHORT_WRITE;
            offsets[0] = uint32_t(out.pos());
            JpegSource src{&rows, nullptr, in_row, tmp, 0};
            jp.width = L.width, jp.height = L.height;
            if (int32_t rc = jpeg_encode(s, tag, jp, jpeg_fetch, &src)) return rc;
            out.resync();
            counts[0] = uint32_t(out.pos() - offsets[0]);
            if (L.compression == 6) {
                const int64_t end = VPb_IO_tell(s);
                find_jpeg_tables(s, tag, pl.base, offsets[0], counts[0], tables);
                VPb_IO_seek(s, end, 0);
            }
            return 0;
        }
        const size_t tile_row = size_t(L.tile_w) * (grey ? 1 : 3);
        const size_t band_row = size_t(L.across) * tile_row;
        size_t band_bytes = 0;
        if (!VPb_size_mul(band_row, size_t(L.tile_h), &band_bytes)) return QV_ERR(QVE_NO_MEMORY, -1, tag);
        uint8_t *band = filter_alloc_array<uint8_t>(tag, band_bytes);
        uint8_t *tile = filter_alloc_array<uint8_t>(tag, tile_row * size_t(L.tile_h));
        if (!band || !tile) return QV_ERR(QVE_NO_MEMORY, int32_t(band_bytes), tag);
        for (int32_t ty = 0; ty < L.down; ++ty) {
            std::memset(band, 0, band_bytes);
            for (int32_t r = 0; r < L.tile_h && ty * L.tile_h + r < L.height; ++r) {
                const uint8_t *row = rows.jpeg_row(ty * L.tile_h + r, tmp);
                if (!row) return -1;
                std::memcpy(band + band_row * size_t(r), row, in_row);
            }
            for (int32_t tx = 0; tx < L.across; ++tx) {
                for (int32_t r = 0; r < L.tile_h; ++r)
                    std::memcpy(tile + tile_row * size_t(r), band + band_row * size_t(r) + tile_row * size_t(tx), tile_row);
                if (out.flush() < 0) return QVE_SHORT_WRITE;
                const int32_t i = ty * L.across + tx;
                offsets[i] = uint32_t(out.pos());
                JpegSource src{&rows, tile, tile_row, tmp, 0};
                jp.width = L.tile_w, jp.height = L.tile_h;
                if (int32_t rc = jpeg_encode(s, tag, jp, jpeg_fetch, &src)) return rc;
                out.resync();
                counts[i] = uint32_t(out.pos() - offsets[i]);
            }
        }
        return 0;
    }

    // CCITT strips of an untiled page straight from the image.
    if (L.ccitt_mode && !L.tiled) {
        CcittEncodeParams cp;
        cp.width = L.width;
        cp.mode = L.ccitt_mode;
        cp.k = o.k < 1 ? 2 : o.k;
        cp.fill_order = 1;
        cp.leading_eol = true;
        cp.end_of_page = L.ccitt_mode != kCcittMH;
        for (int32_t i = 0; i < L.down; ++i) {
            if (out.flush() < 0) return QVE_SHORT_WRITE;
            offsets[i] = uint32_t(out.pos());
            cp.first_row = i * L.tile_h;
            cp.rows = L.tile_h < L.height - cp.first_row ? L.tile_h : L.height - cp.first_row;
            // Coded white is file value 0: the image value that becomes 0.
            if (int32_t rc = ccitt_encode_from_stream(s, tag, cp, !L.invert)) return rc;
            out.resync();
            counts[i] = uint32_t(out.pos() - offsets[i]);
        }
        return 0;
    }

    LzwEncoder *lzw = nullptr;
    if (L.compression == 5) {
        lzw = static_cast<LzwEncoder *>(VPb_AF_mem_alloc(tag, sizeof(LzwEncoder)));
        if (!lzw) return QV_ERR(QVE_NO_MEMORY, int32_t(sizeof(LzwEncoder)), tag);
        new (lzw) LzwEncoder();
    }
    Coder coder(out, L.compression, lzw);

    if (!L.tiled && L.compression == 1 && planes == 1 && size_t(L.file_row_bytes) <= kOutBytes) {
        // Uncompressed rows converted straight into the output buffer.
        const size_t n = size_t(L.file_row_bytes);
        for (int32_t i = 0; i < L.down; ++i) {
            offsets[i] = uint32_t(out.pos());
            const int32_t y0 = i * L.tile_h, y1 = y0 + L.tile_h < L.height ? y0 + L.tile_h : L.height;
            for (int32_t y = y0; y < y1; ++y) {
                uint8_t *dst = out.room(n);
                if (!dst) return QVE_SHORT_WRITE;
                if (!rows.row_into(y, dst)) return -1;
                out.commit(n);
            }
            counts[i] = uint32_t(out.pos() - offsets[i]);
        }
        return 0;
    }
    if (!L.tiled) {
        const size_t n = size_t(planes == 1 ? L.file_row_bytes : L.plane_row_bytes);
        for (int32_t p = 0; p < planes; ++p)
            for (int32_t i = 0; i < L.down; ++i) {
                if (coder.begin() < 0) return QVE_SHORT_WRITE;
                const int32_t y0 = i * L.tile_h, y1 = y0 + L.tile_h < L.height ? y0 + L.tile_h : L.height;
                for (int32_t y = y0; y < y1; ++y) {
                    const uint8_t *r = rows.row(y);
                    if (!r) return -1;
                    if (planes > 1) {
                        extract_plane(r, L.width, L.samples, sample_bytes, p, plane);
                        r = plane;
                    }
                    if (coder.row(r, n) < 0) return QVE_SHORT_WRITE;
                }
                const int32_t k = p * L.per_plane + i;
                offsets[k] = uint32_t(coder.start());
                if (coder.end(&counts[k]) < 0) return QVE_SHORT_WRITE;
            }
        return 0;
    }

    // Tiles: a band of tile rows at a time, each plane apart when planar.
    const int32_t chunk_bits = (planes == 1 ? L.samples : 1) * L.bits;
    const size_t tile_row = size_t((int64_t(chunk_bits) * L.tile_w + 7) / 8);
    const size_t band_row = tile_row * size_t(L.across);
    size_t band_bytes = 0;
    if (!VPb_size_mul(band_row, size_t(L.tile_h), &band_bytes)) return QV_ERR(QVE_NO_MEMORY, -1, tag);
    uint8_t *band = filter_alloc_array<uint8_t>(tag, band_bytes);
    uint8_t *tile = filter_alloc_array<uint8_t>(tag, tile_row * size_t(L.tile_h) + 16);
    if (!band || !tile) return QV_ERR(QVE_NO_MEMORY, int32_t(band_bytes), tag);
    for (int32_t p = 0; p < planes; ++p)
        for (int32_t ty = 0; ty < L.down; ++ty) {
            std::memset(band, 0, band_bytes);
            for (int32_t r = 0; r < L.tile_h && ty * L.tile_h + r < L.height; ++r) {
                const uint8_t *row = rows.row(ty * L.tile_h + r);
                if (!row) return -1;
                if (planes > 1) {
                    extract_plane(row, L.width, L.samples, sample_bytes, p, plane);
                    row = plane;
                }
                std::memcpy(band + band_row * size_t(r), row, size_t(planes > 1 ? L.plane_row_bytes : L.file_row_bytes));
            }
            for (int32_t tx = 0; tx < L.across; ++tx) {
                const int32_t k = p * L.per_plane + ty * L.across + tx;
                for (int32_t r = 0; r < L.tile_h; ++r)
                    std::memcpy(tile + tile_row * size_t(r), band + band_row * size_t(r) + tile_row * size_t(tx), tile_row);
                if (L.ccitt_mode) {
                    if (out.flush() < 0) return QVE_SHORT_WRITE;
                    offsets[k] = uint32_t(out.pos());
                    CcittEncodeParams cp;
                    cp.width = L.tile_w;
                    cp.rows = L.tile_h;
                    cp.mode = L.ccitt_mode;
                    cp.k = o.k < 1 ? 2 : o.k;
                    cp.end_of_page = L.ccitt_mode != kCcittMH;
                    CcittRows src(rows, tile, tile_row, L.tile_w);
                    if (int32_t rc = ccitt_encode(s, tag, cp, src)) return rc;
                    out.resync();
                    counts[k] = uint32_t(out.pos() - offsets[k]);
                    continue;
                }
                if (coder.begin() < 0) return QVE_SHORT_WRITE;
                for (int32_t r = 0; r < L.tile_h; ++r)
                    if (coder.row(tile + tile_row * size_t(r), tile_row) < 0) return QVE_SHORT_WRITE;
                offsets[k] = uint32_t(coder.start());
                if (coder.end(&counts[k]) < 0) return QVE_SHORT_WRITE;
            }
        }
    return 0;
}

}  // namespace

int32_t tif_write(VPb_STREAM *s, void *ctl, int32_t, int32_t, int32_t compression) {
    const Options o = options_of(ctl);
    FilterTag tag;
    QV_DIB_HEADER dib[2];  // the header and the masks that follow it
    std::memset(dib, 0, sizeof dib);
    auto *pal = filter_alloc_array<QV_RGBQUAD>(tag.tag(), 256);
    auto *L = filter_alloc_array<Layout>(tag.tag(), 1);
    if (!pal || !L) return QV_ERR(QVE_NO_MEMORY, int32_t(sizeof(Layout)), tag.tag());
    new (L) Layout();
    int32_t entries = 0;
    if (int32_t rc = VPb_IO_DIB_get(s, dib, pal, &entries); rc < 0) return rc;
    if (dib->biWidth < 1 || dib->biHeight == 0) return QV_ERR(QVE_ZERO_SIZE, dib->biWidth, dib->biHeight);
    const bool alpha = VPb_IO_linked_image_get(s) != nullptr;
    if (int32_t rc = describe(*dib, pal, alpha, o, compression, L)) return rc;
    if (int32_t rc = lay_out_chunks(*dib, o, L)) return rc;
    const Resolution res = resolution_of(s, *dib);
    if (o.fax)
        if (int32_t rc = fax_check(*L, res)) return rc;

    Place pl;
    if (int32_t rc = place_page(s, o, &pl)) return rc;
    VPb_IO_byte_order_set(s, pl.order);

    // The store: every tag the page can have.
    const size_t store_bytes = offsetof(VPb_TIF_TAGS, entries) + sizeof(TifEntry) * 48;
    auto *raw = static_cast<VPb_TIF_TAGS *>(VPb_AF_mem_calloc(tag.tag(), 1, store_bytes));
    auto *offsets = filter_alloc_array<uint32_t>(tag.tag(), size_t(L->chunks));
    auto *counts = filter_alloc_array<uint32_t>(tag.tag(), size_t(L->chunks));
    auto *obuf = filter_alloc_array<uint8_t>(tag.tag(), kOutBytes);
    if (!raw || !offsets || !counts || !obuf) return QV_ERR(QVE_NO_MEMORY, int32_t(store_bytes), tag.tag());
    for (int i = 0; i < kTifSlots; ++i) raw->slots[i] = {tif_index_tag(i), 0};
    Store st(tag.tag(), raw);
    if (!fill_tags(s, st, *L, o, res, pl)) return QVE_NO_MEMORY;
    const int32_t off_index = L->tiled ? kTiTileOffsets : kTiStripOffsets;
    const int32_t cnt_index = L->tiled ? kTiTileByteCounts : kTiStripByteCounts;
    const bool ojpeg = L->compression == 6;
    JpegTables tables;
    auto add_data_tags = [&]() {
        bool ok = st.set(off_index, kTifLong, uint32_t(L->chunks), offsets) &&
                  st.set(cnt_index, kTifLong, uint32_t(L->chunks), counts) && st.shorts(kTiFillOrder, {1}) &&
                  st.longs(kTiLength, {uint32_t(L->height)});
        if (ojpeg) {
            ok = ok && st.shorts(kWiJpegProc, {1}) && st.set(kWiJpegQ, kTifLong, L->samples, tables.q) &&
                 st.set(kWiJpegDC, kTifLong, L->samples, tables.dc) &&
                 st.set(kWiJpegAC, kTifLong, L->samples, tables.ac) && st.longs(kTiJpegIF, {offsets[0]}) &&
                 st.longs(kWiJpegLen, {counts[0]});
        }
        return ok;
    };
    if (!add_data_tags()) return QVE_NO_MEMORY;

    int64_t start = VPb_IO_tell(s) - pl.base;
    uint32_t ifd_at = 0;
    if (o.ifd_first) {
        // The IFD first, written again once the data is known.
        ifd_at = uint32_t(start);
        const uint64_t size = ifd_size(raw);
        if (int32_t rc = write_ifd(s, tag.tag(), raw, pl.base, ifd_at, pl.next, pl.order)) return rc;
        start += int64_t(size);
    }
    Out out(s, obuf, kOutBytes, pl.base, start);
    if (int32_t rc = write_data(s, tag.tag(), *L, o, pl, offsets, counts, out, &tables)) return rc < 0 ? rc : -1;
    if (out.flush() < 0) return QVE_SHORT_WRITE;
    if (!add_data_tags()) return QVE_NO_MEMORY;
    if (!o.ifd_first) ifd_at = uint32_t(out.pos());
    if (int32_t rc = write_ifd(s, tag.tag(), raw, pl.base, ifd_at, pl.next, pl.order)) return rc;
    const int64_t end = VPb_IO_tell(s);
    // Link the page into the chain.
    uint8_t b[4];
    put32(b, ifd_at, pl.order);
    if (VPb_IO_seek(s, pl.base + pl.link_at, 0) < 0) return QV_ERR(QVE_OUTPUT_POSITION, int32_t(pl.link_at), 0);
    const int32_t w = VPb_IO_write(s, b, 4);
    if (w != 4) return QV_ERR(QVE_SHORT_WRITE, w, 4);
    const int64_t data_end = o.ifd_first ? pl.base + out.pos() : end;
    VPb_IO_seek(s, data_end > end ? data_end : end, 0);
    if (!pl.append) VPb_IO_truncate(s);
    return 0;
}

}  // namespace qv
