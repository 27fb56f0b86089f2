/*
 * pnm_read.cpp - the PBM/PGM/PPM/PAM reader, information and page-count
 * entries.
 *
 * Header: "P" and a digit, then width, height and (but for bitmaps) maxval
 * as decimal numbers separated by white space, "#" comments running to the
 * line end anywhere between them, and one white-space byte before raw data.
 * P7 has a header of "NAME value" lines ending with ENDHDR (WIDTH, HEIGHT,
 * DEPTH, MAXVAL, TUPLTYPE). Raw samples are bytes up to maxval 255, else
 * big-endian 16-bit words; P4 rows are packed bits padded to a byte.
 * Codes: -2453 header short (iVal 2, lVal bytes present); -400 a header
 * field missing or out of range (iVal the field: 1 width, 2 height,
 * 3 maxval, 4 depth; lVal the value read, -1 when not a number); -2456 a
 * form not read (iVal the digit, lVal the PAM depth); -2461 data truncated
 * (iVal the rows complete, lVal the rows).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pixel_shuffle.h"
#include "filters/pnm_format.h"
#include "filters/raster_io.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\PBMREAD.C";

struct PnmHeader {
    int32_t form = 0;  // 1 to 7
    int64_t width = 0, height = 0, maxval = 1, depth = 1;
    bool plain() const { return form <= 3; }
    bool bitmap() const { return form == 1 || form == 4; }
    int32_t channels() const { return int32_t(depth); }
    uint16_t out_bpp() const {
        if (bitmap()) return 1;
        if (depth == 1) return maxval > 255 ? 16 : 8;
        return depth == 3 ? 24 : 32;
    }
};

bool space(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

// Next decimal number of the header, comments and white space skipped.
// -1 when something else stands there.
int64_t header_number(ByteReader &in) {
    int c = in.get();
    while (c >= 0 && (space(c) || c == '#')) {
        if (c == '#')
            while (c >= 0 && c != '\n' && c != '\r') c = in.get();
        c = in.get();
    }
    if (c < '0' || c > '9') return -1;
    int64_t v = 0;
    while (c >= '0' && c <= '9') {
        if (v < (int64_t(1) << 40)) v = v * 10 + (c - '0');
        c = in.get();
    }
    // The byte after the number (one white space before raw data) is used up.
    return v;
}

// One line of a PAM header into buf (without the line end); false at the end.
bool pam_line(ByteReader &in, char *buf, size_t cap) {
    size_t n = 0;
    int c = in.get();
    if (c < 0) return false;
    while (c >= 0 && c != '\n') {
        if (n + 1 < cap) buf[n++] = char(c);
        c = in.get();
    }
    buf[n] = 0;
    return true;
}

int32_t parse_pam(ByteReader &in, PnmHeader *h) {
    char line[256];
    h->depth = 0;
    while (pam_line(in, line, sizeof line)) {
        char *p = line;
        while (space(*p)) ++p;
        if (*p == '#' || *p == 0) continue;
        if (std::strncmp(p, "ENDHDR", 6) == 0) {
            if (h->width <= 0) return QV_ERR(QVE_BAD_HEADER, 1, h->width);
            if (h->height <= 0) return QV_ERR(QVE_BAD_HEADER, 2, h->height);
            if (h->maxval < 1 || h->maxval > 65535) return QV_ERR(QVE_BAD_HEADER, 3, h->maxval);
            if (h->depth < 1 || h->depth > 4) return QV_ERR(QVE_VARIANT, 7, h->depth);
            return 0;
        }
        char *v = p;
        while (*v && !space(*v)) ++v;
        size_t name_len = size_t(v - p);
        int64_t num = -1;
        while (space(*v)) ++v;
        if (*v >= '0' && *v <= '9') {
            num = 0;
            while (*v >= '0' && *v <= '9' && num < (int64_t(1) << 40)) num = num * 10 + (*v++ - '0');
        }
        auto is = [&](const char *name) { return name_len == std::strlen(name) && std::strncmp(p, name, name_len) == 0; };
        if (is("WIDTH")) h->width = num;
        else if (is("HEIGHT")) h->height = num;
        else if (is("DEPTH")) h->depth = num;
        else if (is("MAXVAL")) h->maxval = num;
    }
    return QV_ERR(QVE_BAD_HEADER, 4, -1);
}

int32_t parse(ByteReader &in, PnmHeader *h) {
    uint8_t magic[2];
    size_t got = in.read(magic, 2);
    if (got < 2) return QV_ERR(QVE_FILE_SHORT, 2, int32_t(got));
    if (magic[0] != 'P' || magic[1] < '1' || magic[1] > '7') return QV_ERR(QVE_VARIANT, magic[1], 0);
    h->form = magic[1] - '0';
    if (h->form == 7) {
        if (int32_t st = parse_pam(in, h)) return st;
    } else {
        h->width = header_number(in);
        if (h->width <= 0) return QV_ERR(QVE_BAD_HEADER, 1, h->width);
        h->height = header_number(in);
        if (h->height <= 0) return QV_ERR(QVE_BAD_HEADER, 2, h->height);
        h->depth = (h->form == 3 || h->form == 6) ? 3 : 1;
        if (!h->bitmap()) {
            h->maxval = header_number(in);
            if (h->maxval < 1 || h->maxval > 65535) return QV_ERR(QVE_BAD_HEADER, 3, h->maxval);
        }
    }
    // Every form's sizes are 32-bit image sizes from here on (PAM's too).
    if (h->width > INT32_MAX / 8 || h->height > INT32_MAX) return QV_ERR(QVE_TOO_LARGE, h->width, h->height);
    return 0;
}

// The next plain sample (P2, P3) or bit (P1); -1 at the end of the data.
int64_t plain_value(ByteReader &in, bool bit) {
    int c = in.get();
    while (c >= 0 && (space(c) || c == '#')) {
        if (c == '#')
            while (c >= 0 && c != '\n' && c != '\r') c = in.get();
        c = in.get();
    }
    if (c < '0' || c > '9') return -1;
    if (bit) return c - '0';
    int64_t v = 0;
    while (c >= '0' && c <= '9') {
        if (v < 65536) v = v * 10 + (c - '0');
        c = in.get();
    }
    return v;
}

void fill_info(const PnmHeader &h, QV_DIB_HEADER *info) {
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, int32_t(h.width), int32_t(h.height), h.out_bpp(),
                 h.out_bpp() == 16 ? QV_BI_GRAY16 : QV_BI_RGB, 0, 0);
}

// Samples of one row (channels * width values) -> the delivered row.
void convert(const PnmHeader &h, const uint32_t *v, uint8_t *out) {
    const int64_t w = h.width, m = h.maxval;
    auto eight = [&](uint32_t s) -> uint8_t {
        if (s > uint32_t(m)) s = uint32_t(m);
        if (m == 255) return uint8_t(s);
        return uint8_t((s * 255u + uint32_t(m) / 2) / uint32_t(m));
    };
    switch (h.out_bpp()) {
    case 1:
        std::memset(out, 0, size_t((w + 7) / 8));
        for (int64_t x = 0; x < w; ++x)
            if (v[x]) out[x >> 3] |= uint8_t(0x80 >> (x & 7));
        break;
    case 8:
        for (int64_t x = 0; x < w; ++x) out[x] = eight(v[x]);
        break;
    case 16:
        for (int64_t x = 0; x < w; ++x) put_le16(out + 2 * x, v[x]);
        break;
    case 24:
        for (int64_t x = 0; x < w; ++x)
            out[3 * x] = eight(v[3 * x + 2]), out[3 * x + 1] = eight(v[3 * x + 1]),
                    out[3 * x + 2] = eight(v[3 * x]);
        break;
    default:  // 32 bits: grey + alpha, RGB + alpha
        for (int64_t x = 0; x < w; ++x) {
            const uint32_t *p = v + x * h.depth;
            uint8_t *o = out + 4 * x;
            if (h.depth == 2) o[0] = o[1] = o[2] = eight(p[0]), o[3] = eight(p[1]);
            else o[0] = eight(p[2]), o[1] = eight(p[1]), o[2] = eight(p[0]), o[3] = eight(p[3]);
        }
    }
}

}  // namespace

int32_t pnm_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    ByteReader in(s, work.tag());
    if (!in.ok()) return QV_ERR(QVE_NO_MEMORY, ByteReader::kSize, work.tag());
    const int64_t start = VPb_IO_tell(s);
    PnmHeader h;
    if (int32_t st = parse(in, &h)) return st;
    const int32_t width = int32_t(h.width), height = int32_t(h.height);
    const size_t samples = size_t(h.width) * size_t(h.depth);
    const size_t sample_bytes = h.maxval > 255 ? 2 : 1;
    const size_t raw_row = h.bitmap() ? (size_t(h.width) + 7) / 8 : samples * sample_bytes;
    if (!h.plain()) {  // raw data shorter than the rows: refused before the image is made
        int64_t end = VPb_IO_data_end(s);
        int64_t have = end - (start + int64_t(in.offset()));
        if (end >= 0 && uint64_t(have < 0 ? 0 : have) < uint64_t(raw_row) * uint64_t(height))
            return QV_ERR(QVE_PBM_SHORT, have < 0 ? 0 : uint64_t(have) / raw_row, height);
    }
    QV_RGBQUAD pal[256];
    grey_palette(pal, 256);
    if (h.bitmap()) pal[0] = QV_RGBQUAD{255, 255, 255, 0}, pal[1] = QV_RGBQUAD{0, 0, 0, 0};
    MaskedHeader mh;
    dib_header_init(&mh, width, height, h.out_bpp(), h.out_bpp() == 16 ? QV_BI_GRAY16 : QV_BI_RGB);
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, h.out_bpp() <= 8 ? pal : nullptr, work.tag())) return st;
    auto *vals = filter_alloc_array<uint32_t>(work.tag(), samples + 8);
    auto *raw = filter_alloc_array<uint8_t>(work.tag(), raw_row + 8);
    if (!vals || !raw) return QV_ERR(QVE_NO_MEMORY, samples * 4, work.tag());
    const bool same_bytes = !h.plain() && ((h.out_bpp() == 8 && h.maxval == 255) || h.bitmap());
    for (int32_t r = 0; r < height; ++r) {
        uint8_t *dst = out.row(r);
        if (h.plain()) {
            for (size_t i = 0; i < samples; ++i) {
                int64_t v = plain_value(in, h.bitmap());
                if (v < 0) return QV_ERR(QVE_PBM_SHORT, r, height);
                vals[i] = uint32_t(v);
            }
            convert(h, vals, dst);
        } else if (same_bytes) {
            in.read(dst, raw_row);
            if (h.bitmap() && (h.width & 7)) dst[raw_row - 1] &= uint8_t(0xFF00 >> (h.width & 7));
        } else if (h.out_bpp() == 24 && h.maxval == 255) {
            in.read(raw, raw_row);  // a cached row, then one pass over the image's memory
            swap3(raw, size_t(width), dst);
        } else {
            in.read(raw, raw_row);
            if (sample_bytes == 2)
                for (size_t i = 0; i < samples; ++i) vals[i] = get_be16(raw + 2 * i);
            else
                for (size_t i = 0; i < samples; ++i) vals[i] = raw[i];
            if (h.form == 7 && h.maxval == 1 && h.depth <= 2)  // black-and-white PAM: 1 = white
                for (size_t i = 0; i < samples; i += size_t(h.depth)) vals[i] *= 255u;
            PnmHeader hh = h;
            if (h.form == 7 && h.maxval == 1 && h.depth <= 2) hh.maxval = 255;
            convert(hh, vals, dst);
        }
        if (in.missing()) return QV_ERR(QVE_PBM_SHORT, r, height);
        if (int32_t st = out.put(r)) return st;
    }
    const int32_t st = out.finish();
    return st == 0 && h.out_bpp() == 32 ? VPb_IO_alpha_split(s) : st;
}

int32_t pnm_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    FilterTag work;
    ByteReader in(stream, work.tag());
    if (!in.ok()) return QV_ERR(QVE_NO_MEMORY, ByteReader::kSize, work.tag());
    PnmHeader h;
    if (int32_t st = parse(in, &h)) return st;
    fill_info(h, info);
    *format_type = kPnmFormatType;
    *value = 0;
    return 0;
}

int32_t pnm_pages(VPb_STREAM *stream, void *, int32_t *count) {
    FilterTag work;
    ByteReader in(stream, work.tag());
    if (!in.ok()) return QV_ERR(QVE_NO_MEMORY, ByteReader::kSize, work.tag());
    PnmHeader h;
    if (int32_t st = parse(in, &h)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
