/*
 * ico_read.cpp - the ICO/CUR reader, information and page-count entries.
 *
 * A 6-byte header (0, type 1 icon or 2 cursor, entry count) and 16-byte
 * directory entries (width, height (0 = 256), colours, reserved, planes or
 * hot-spot x, bit count or hot-spot y, data size, data offset). An entry's
 * data is a PNG file or a DIB without file header whose height counts the
 * colour rows and the 1-bit AND mask rows after them (both bottom-up, rows
 * padded to 4 bytes).
 * Codes: -2453 header or directory short (iVal the bytes needed, lVal the
 * bytes read); -400 no entries, or a DIB size of 0 (iVal width, lVal
 * height); -2005 the page is not in the file (iVal the page, lVal the
 * count); -2456 a DIB form not read (iVal the header size or bit count,
 * lVal the compression); -2050 colour data short (iVal bytes needed, lVal
 * present); a missing AND mask makes the entry opaque.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/ico_format.h"
#include "filters/raster_io.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\ICOREAD.C";
constexpr uint32_t kPngType = 33;

struct IcoEntry {
    uint32_t width = 0, height = 0, bpp = 0, size = 0, offset = 0;
};

struct IcoDir {
    int64_t start = 0;
    uint32_t type = 0, count = 0;
    IcoEntry *entries = nullptr;
};

int32_t read_dir(VPb_STREAM *s, uint32_t tag, IcoDir *d) {
    uint8_t b[6];
    d->start = VPb_IO_tell(s);
    int32_t got = VPb_IO_read(s, b, 6);
    if (got != 6) return QV_ERR(QVE_FILE_SHORT, 6, got < 0 ? 0 : got);
    d->type = get_le16(b + 2), d->count = get_le16(b + 4);
    if (d->count == 0) return QV_ERR(QVE_BAD_HEADER, 0, 0);
    const size_t bytes = size_t(d->count) * 16;
    auto *raw = filter_alloc_array<uint8_t>(tag, bytes);
    d->entries = filter_alloc_array<IcoEntry>(tag, d->count);
    if (!raw || !d->entries) return QV_ERR(QVE_NO_MEMORY, bytes, tag);
    got = VPb_IO_read(s, raw, int32_t(bytes));
    if (got != int32_t(bytes)) return QV_ERR(QVE_FILE_SHORT, 6 + bytes, 6 + (got < 0 ? 0 : got));
    for (uint32_t i = 0; i < d->count; ++i) {
        const uint8_t *e = raw + 16 * size_t(i);
        IcoEntry &x = d->entries[i];
        x.width = e[0] ? e[0] : 256;
        x.height = e[1] ? e[1] : 256;
        x.bpp = get_le16(e + 6);
        x.size = get_le32(e + 8);
        x.offset = get_le32(e + 12);
    }
    return 0;
}

// Directory index of page `page` (1 = the largest entry).
int32_t entry_of_page(const IcoDir &d, int32_t page, uint32_t *index) {
    if (page < 1) page = 1;
    if (uint32_t(page) > d.count) return QV_ERR(QVE_SEEK, page, d.count);
    uint32_t best = 0;
    for (uint32_t i = 1; i < d.count; ++i) {
        const IcoEntry &a = d.entries[i], &b = d.entries[best];
        uint64_t pa = uint64_t(a.width) * a.height, pb = uint64_t(b.width) * b.height;
        if (pa > pb || (pa == pb && a.bpp > b.bpp)) best = i;
    }
    if (page == 1) {
        *index = best;
    } else {
        uint32_t k = uint32_t(page - 2);  // among the others, in order
        *index = k < best ? k : k + 1;
    }
    return 0;
}

struct DibInfo {
    uint32_t header = 0, bpp = 0, compression = 0, colours = 0;
    int32_t width = 0, height = 0;  // height of the colour image
};

int32_t parse_dib(VPb_STREAM *s, DibInfo *di, QV_RGBQUAD *pal) {
    uint8_t h[40] = {};
    int32_t got = VPb_IO_read(s, h, 4);
    if (got != 4) return QV_ERR(QVE_FILE_SHORT, 4, got < 0 ? 0 : got);
    di->header = get_le32(h);
    if (di->header != 12 && (di->header < 40 || di->header > 124)) return QV_ERR(QVE_VARIANT, di->header, 0);
    const int32_t rest = (di->header == 12 ? 12 : 40) - 4;
    got = VPb_IO_read(s, h + 4, rest);
    if (got != rest) return QV_ERR(QVE_FILE_SHORT, rest + 4, got < 0 ? 4 : got + 4);
    uint32_t pal_entry = 4;
    int32_t stored_h;
    if (di->header == 12) {
        di->width = get_le16(h + 4), stored_h = int16_t(get_le16(h + 6)), di->bpp = get_le16(h + 10);
        pal_entry = 3;
    } else {
        di->width = int32_t(get_le32(h + 4)), stored_h = int32_t(get_le32(h + 8));
        di->bpp = get_le16(h + 14), di->compression = get_le32(h + 16), di->colours = get_le32(h + 32);
        // The rest of a longer header; a 40-byte one with bit fields is followed by the masks.
        const int64_t skip = int64_t(di->header) - 40 + (di->header == 40 && di->compression == 3 ? 12 : 0);
        if (VPb_IO_seek(s, skip, 1) < 0) return QV_ERR(QVE_SEEK, di->header, 0);
    }
    if (stored_h < 0) stored_h = -stored_h;
    di->height = stored_h / 2;
    if (di->bpp != 1 && di->bpp != 4 && di->bpp != 8 && di->bpp != 16 && di->bpp != 24 && di->bpp != 32)
        return QV_ERR(QVE_VARIANT, di->bpp, di->compression);
    if (di->compression != 0 && !(di->compression == 3 && di->bpp >= 16))
        return QV_ERR(QVE_VARIANT, di->bpp, di->compression);
    if (di->width <= 0 || di->height <= 0) return QV_ERR(QVE_BAD_HEADER, di->width, di->height);
    if (di->bpp <= 8) {
        uint32_t n = di->colours && di->colours < (1u << di->bpp) ? di->colours : 1u << di->bpp;
        uint8_t raw[1024];
        got = VPb_IO_read(s, raw, int32_t(n * pal_entry));
        if (got != int32_t(n * pal_entry)) return QV_ERR(QVE_SHORT_READ, n * pal_entry, got < 0 ? 0 : got);
        for (uint32_t i = 0; i < n; ++i)
            pal[i] = QV_RGBQUAD{raw[i * pal_entry], raw[i * pal_entry + 1], raw[i * pal_entry + 2], 0};
    }
    return 0;
}

int32_t read_bitmap(VPb_STREAM *s, const IcoEntry &e, int64_t at, uint32_t tag) {
    DibInfo di;
    QV_RGBQUAD pal[256] = {};
    if (VPb_IO_seek(s, at, 0) < 0) return QV_ERR(QVE_SEEK, at, 0);
    if (int32_t st = parse_dib(s, &di, pal)) return st;
    const int32_t w = di.width, h = di.height;
    const size_t xor_stride = size_t(raster_bytes(w, di.bpp)), and_stride = size_t(raster_bytes(w, 1));
    const uint64_t xor_bytes = uint64_t(xor_stride) * uint64_t(h);
    const uint64_t and_bytes = uint64_t(and_stride) * uint64_t(h);
    const int64_t data = VPb_IO_tell(s), end = VPb_IO_data_end(s);
    if (xor_bytes > (uint64_t(1) << 31)) return QV_ERR(QVE_TOO_LARGE, w, h);
    (void)e;

    MaskedHeader mh;
    dib_header_init(&mh, w, h, 32);
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, nullptr, tag)) return st;  // the pixel limit first
    if (end >= 0 && uint64_t(end > data ? end - data : 0) < xor_bytes)
        return QV_ERR(QVE_SHORT_READ, xor_bytes, end > data ? end - data : 0);
    auto *colour = filter_alloc_array<uint8_t>(tag, size_t(xor_bytes));
    auto *mask = filter_alloc_array<uint8_t>(tag, size_t(and_bytes));
    if (!colour || !mask) return QV_ERR(QVE_NO_MEMORY, xor_bytes + and_bytes, tag);
    int32_t got = VPb_IO_read(s, colour, int32_t(xor_bytes));
    if (got != int32_t(xor_bytes)) return QV_ERR(QVE_SHORT_READ, xor_bytes, got < 0 ? 0 : got);
    const bool has_mask = di.bpp != 32 && VPb_IO_read(s, mask, int32_t(and_bytes)) == int32_t(and_bytes);
    const VPb_MASK_CHANNEL m[3] = {VPb_mask_channel(0x7C00), VPb_mask_channel(0x3E0), VPb_mask_channel(0x1F)};
    auto *rgba = filter_alloc_array<uint8_t>(tag, 4 * size_t(w) + 8);
    if (!rgba) return QV_ERR(QVE_NO_MEMORY, 4 * size_t(w), tag);
    for (int32_t r = 0; r < h; ++r) {
        const uint8_t *src = colour + size_t(h - 1 - r) * xor_stride;
        const uint8_t *msk = mask + size_t(h - 1 - r) * and_stride;
        uint8_t *dst = out.row(r);
        if (di.bpp == 32) {
            std::memcpy(dst, src, size_t(w) * 4);
        } else {
            row_to_rgba(src, int32_t(di.bpp), pal, m, w, rgba);
            for (int32_t x = 0; x < w; ++x) {
                uint8_t *o = dst + 4 * size_t(x);
                const uint8_t *p = rgba + 4 * size_t(x);
                o[0] = p[2], o[1] = p[1], o[2] = p[0];
                o[3] = has_mask && index_at(msk, x, 1) ? 0 : 255;
            }
        }
        if (int32_t st = out.put(r)) return st;
    }
    const int32_t st = out.finish();
    return st == 0 ? VPb_IO_alpha_split(s) : st;
}

// A PNG entry goes to the registry's PNG filter, reading from its start.
int32_t read_png(VPb_STREAM *s, int64_t at) {
    int32_t index = VPb_VPr_filter_search(kPngType);
    VPb_READ_FN fn = nullptr;
    if (index < 0 || !VPb_VPr_filter_read_func_get(index, &fn) || !fn)
        return QV_ERR(QVE_VARIANT, kPngType, 0);
    uint64_t ctl[16] = {};
    VPb_VPr_filter_image_flags_get(index, ctl);
    if (VPb_IO_seek(s, at, 0) < 0) return QV_ERR(QVE_SEEK, at, 0);
    return fn(s, ctl, 1, 1);
}

int32_t locate(VPb_STREAM *s, int32_t page, uint32_t tag, IcoDir *d, uint32_t *index, bool *png) {
    if (int32_t st = read_dir(s, tag, d)) return st;
    if (int32_t st = entry_of_page(*d, page, index)) return st;
    const int64_t at = d->start + d->entries[*index].offset;
    uint8_t sig[8] = {};
    if (VPb_IO_seek(s, at, 0) < 0 || VPb_IO_read(s, sig, 8) != 8) return QV_ERR(QVE_SHORT_READ, 8, 0);
    *png = std::memcmp(sig, "\x89PNG\r\n\x1a\n", 8) == 0;
    return 0;
}

}  // namespace

int32_t ico_read(VPb_STREAM *stream, void *, int32_t sel1, int32_t) {
    FilterTag work;
    IcoDir d;
    uint32_t index = 0;
    bool png = false;
    if (int32_t st = locate(stream, sel1, work.tag(), &d, &index, &png)) return st;
    const int64_t at = d.start + d.entries[index].offset;
    if (png) return read_png(stream, at);
    return read_bitmap(stream, d.entries[index], at, work.tag());
}

int32_t ico_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    FilterTag work;
    IcoDir d;
    uint32_t index = 0;
    bool png = false;
    if (int32_t st = locate(stream, 1, work.tag(), &d, &index, &png)) return st;
    const IcoEntry &e = d.entries[index];
    int32_t w = int32_t(e.width), h = int32_t(e.height);
    if (!png) {
        DibInfo di;
        QV_RGBQUAD pal[256];
        if (VPb_IO_seek(stream, d.start + e.offset, 0) < 0) return QV_ERR(QVE_SEEK, e.offset, 0);
        if (int32_t st = parse_dib(stream, &di, pal)) return st;
        w = di.width, h = di.height;
    }
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, w, h, 32, QV_BI_RGB, 0, 0);
    *format_type = kIcoFormatType;
    *value = 0;
    return 0;
}

int32_t ico_pages(VPb_STREAM *stream, void *, int32_t *count) {
    FilterTag work;
    IcoDir d;
    if (int32_t st = read_dir(stream, work.tag(), &d)) return st;
    *count = int32_t(d.count);
    return 0;
}

}  // namespace qv
