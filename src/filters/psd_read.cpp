/*
 * psd_read.cpp - the PSD reader (merged image), information and page-count
 * entries.
 *
 * A 26-byte big-endian header ("8BPS", version, 6 reserved bytes, channels,
 * height, width, depth, colour mode), then three sections each preceded by
 * its 32-bit length: colour mode data (the 768-byte colour table of indexed
 * images: 256 reds, greens, blues), image resources and layer and mask
 * information (both passed over); then the merged image: a compression word
 * (0 raw, 1 PackBits) and the channels one after the other, rows top first.
 * PackBits data starts with a 16-bit byte count per row of every channel.
 * Codes: -2453 header short (iVal 26, lVal bytes read); -400 signature, size
 * or channel count wrong (iVal the value, lVal the field: 1 signature,
 * 2 channels, 3 height, 4 width); -2456 version, depth, mode or compression
 * not read (iVal the value, lVal the field: 1 version, 2 depth, 3 mode,
 * 4 compression); -2462 channel data short (iVal the channel, lVal the
 * row); -2005 a section runs past the end (iVal the section, lVal 0).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/packbits.h"
#include "filters/pixel_shuffle.h"
#include "filters/psd_format.h"
#include "filters/raster_io.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\PSDREAD.C";

enum Mode : uint32_t { kBitmap = 0, kGrey = 1, kIndexed = 2, kRgb = 3, kCmyk = 4, kDuotone = 8 };

struct PsdHeader {
    uint32_t channels = 0, height = 0, width = 0, depth = 0, mode = 0;
    uint32_t colours() const { return mode == kRgb ? 3 : mode == kCmyk ? 4 : 1; }
    bool alpha() const { return (mode == kGrey || mode == kDuotone || mode == kRgb) && channels > colours(); }
    uint16_t out_bpp() const {
        if (mode == kBitmap) return 1;
        if (alpha()) return 32;
        return mode == kRgb || mode == kCmyk ? 24 : 8;
    }
};

int32_t parse(VPb_STREAM *s, PsdHeader *h) {
    uint8_t b[26];
    int32_t got = VPb_IO_read(s, b, 26);
    if (got != 26) return QV_ERR(QVE_FILE_SHORT, 26, got < 0 ? 0 : got);
    if (std::memcmp(b, "8BPS", 4) != 0) return QV_ERR(QVE_BAD_HEADER, get_be32(b), 1);
    if (get_be16(b + 4) != 1) return QV_ERR(QVE_VARIANT, get_be16(b + 4), 1);
    h->channels = get_be16(b + 12), h->height = get_be32(b + 14), h->width = get_be32(b + 18);
    h->depth = get_be16(b + 22), h->mode = get_be16(b + 24);
    if (h->channels < 1 || h->channels > 56) return QV_ERR(QVE_BAD_HEADER, h->channels, 2);
    if (h->height < 1 || h->height > 300000) return QV_ERR(QVE_BAD_HEADER, h->height, 3);
    if (h->width < 1 || h->width > 300000) return QV_ERR(QVE_BAD_HEADER, h->width, 4);
    if (h->mode > 8 || h->mode == 5 || h->mode == 6 || h->mode == 7) return QV_ERR(QVE_VARIANT, h->mode, 3);
    if (h->mode == kBitmap ? h->depth != 1 : (h->depth != 8 && h->depth != 16))
        return QV_ERR(QVE_VARIANT, h->depth, 2);
    if (h->channels < h->colours()) return QV_ERR(QVE_BAD_HEADER, h->channels, 2);
    return 0;
}

// Skips a section of a 32-bit length; its bytes may be copied to `keep`.
int32_t section(VPb_STREAM *s, int32_t which, uint8_t *keep, size_t keep_len, int64_t end) {
    uint8_t b[4];
    if (VPb_IO_read(s, b, 4) != 4) return QV_ERR(QVE_SEEK, which, 0);
    const uint32_t len = get_be32(b);
    const int64_t at = VPb_IO_tell(s);
    if (end >= 0 && at + int64_t(len) > end) return QV_ERR(QVE_SEEK, which, 0);
    if (keep && len >= keep_len && VPb_IO_read(s, keep, int32_t(keep_len)) != int32_t(keep_len))
        return QV_ERR(QVE_SEEK, which, 0);
    if (VPb_IO_seek(s, at + int64_t(len), 0) < 0) return QV_ERR(QVE_SEEK, which, 0);
    return 0;
}

}  // namespace

int32_t psd_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    PsdHeader h;
    if (int32_t st = parse(s, &h)) return st;
    const int64_t end = VPb_IO_data_end(s);
    uint8_t table[768] = {};
    if (int32_t st = section(s, 1, h.mode == kIndexed ? table : nullptr, 768, end)) return st;
    if (int32_t st = section(s, 2, nullptr, 0, end)) return st;
    if (int32_t st = section(s, 3, nullptr, 0, end)) return st;
    uint8_t cw[2];
    if (VPb_IO_read(s, cw, 2) != 2) return QV_ERR(QVE_PSD_SHORT, 0, 0);
    const uint32_t compression = get_be16(cw);
    if (compression > 1) return QV_ERR(QVE_VARIANT, compression, 4);

    const uint32_t used = h.colours() + (h.alpha() ? 1 : 0);
    const uint32_t rows = h.height, w = h.width;
    const size_t row_bytes = (size_t(w) * h.depth + 7) / 8;
    const size_t n_rows = size_t(h.channels) * rows;
    // A run-length page's table of row lengths must be in the file before
    // anything is allocated for it.
    if (const int64_t here = VPb_IO_tell(s);
        compression == 1 && end >= 0 && here >= 0 && uint64_t(end - here) < 2 * uint64_t(n_rows))
        return QV_ERR(QVE_PSD_SHORT, 0, 0);
    int64_t *starts = filter_alloc_array<int64_t>(work.tag(), size_t(used) * rows);
    uint32_t *counts = nullptr;
    if (!starts) return QV_ERR(QVE_NO_MEMORY, size_t(used) * rows * 8, work.tag());
    int64_t at = VPb_IO_tell(s);
    if (compression == 1) {
        auto *raw = filter_alloc_array<uint8_t>(work.tag(), 2 * n_rows);
        counts = filter_alloc_array<uint32_t>(work.tag(), size_t(used) * rows);
        if (!raw || !counts) return QV_ERR(QVE_NO_MEMORY, 2 * n_rows, work.tag());
        int32_t got = VPb_IO_read(s, raw, int32_t(2 * n_rows));
        if (got != int32_t(2 * n_rows)) return QV_ERR(QVE_PSD_SHORT, 0, 0);
        at += int64_t(2 * n_rows);
        for (size_t i = 0; i < size_t(used) * rows; ++i) {
            starts[i] = at;
            counts[i] = get_be16(raw + 2 * i);
            at += counts[i];
        }
    } else {
        for (size_t i = 0; i < size_t(used) * rows; ++i) starts[i] = at + int64_t(i * row_bytes);
        at += int64_t(size_t(used) * rows * row_bytes);
    }
    if (end >= 0 && at > end) {  // the data of the channels used runs past the end
        size_t i = 0;
        while (i < size_t(used) * rows &&
               starts[i] + int64_t(compression == 1 ? counts[i] : row_bytes) <= end)
            ++i;
        return QV_ERR(QVE_PSD_SHORT, i / rows, i % rows);
    }

    QV_RGBQUAD pal[256];
    grey_palette(pal, 256);
    if (h.mode == kBitmap) pal[0] = QV_RGBQUAD{255, 255, 255, 0}, pal[1] = QV_RGBQUAD{0, 0, 0, 0};
    if (h.mode == kIndexed)
        for (int i = 0; i < 256; ++i) pal[i] = QV_RGBQUAD{table[512 + i], table[256 + i], table[i], 0};
    const uint16_t bpp = h.out_bpp();
    MaskedHeader mh;
    dib_header_init(&mh, int32_t(w), int32_t(rows), bpp);
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, bpp <= 8 ? pal : nullptr, work.tag())) return st;
    size_t packed_cap = 2 * row_bytes + 64;
    auto *packed = filter_alloc_array<uint8_t>(work.tag(), packed_cap);
    auto *plane = filter_alloc_array<uint8_t>(work.tag(), size_t(used) * (row_bytes + 8));
    if (!packed || !plane) return QV_ERR(QVE_NO_MEMORY, packed_cap, work.tag());
    const uint32_t px = bpp / 8;
    for (uint32_t y = 0; y < rows; ++y) {
        for (uint32_t c = 0; c < used; ++c) {
            const size_t i = size_t(c) * rows + y;
            uint8_t *p = plane + size_t(c) * (row_bytes + 8);
            if (VPb_IO_seek(s, starts[i], 0) < 0) return QV_ERR(QVE_PSD_SHORT, c, y);
            if (compression == 1) {
                const uint32_t n = counts[i] < packed_cap ? counts[i] : uint32_t(packed_cap);
                if (VPb_IO_read(s, packed, int32_t(n)) != int32_t(n)) return QV_ERR(QVE_PSD_SHORT, c, y);
                if (packbits_decode(packed, n, p, row_bytes, nullptr) != row_bytes) return QV_ERR(QVE_PSD_SHORT, c, y);
            } else if (VPb_IO_read(s, p, int32_t(row_bytes)) != int32_t(row_bytes)) {
                return QV_ERR(QVE_PSD_SHORT, c, y);
            }
            if (h.depth == 16)  // 16-bit samples scaled to 8 bits, rounded
                for (size_t x = 0; x < w; ++x) p[x] = uint8_t((get_be16(p + 2 * x) * 255u + 32767u) / 65535u);
        }
        uint8_t *dst = out.row(int32_t(y));
        const uint8_t *p0 = plane, *p1 = plane + (row_bytes + 8), *p2 = plane + 2 * (row_bytes + 8),
                      *p3 = plane + 3 * (row_bytes + 8);
        if (bpp == 1) {
            std::memcpy(dst, p0, row_bytes);
            if (w & 7) dst[row_bytes - 1] &= uint8_t(0xFF00 >> (w & 7));
        } else if (bpp == 8) {
            std::memcpy(dst, p0, w);
        } else if (h.mode == kCmyk) {
            auto ink = [](uint32_t c, uint32_t k) { return uint8_t((c * k + 127) / 255); };  // stored inverted
            for (size_t x = 0; x < w; ++x)
                dst[3 * x] = ink(p2[x], p3[x]), dst[3 * x + 1] = ink(p1[x], p3[x]), dst[3 * x + 2] = ink(p0[x], p3[x]);
        } else if (h.mode == kRgb && px == 3) {
            interleave3(p2, p1, p0, w, dst);
        } else if (h.mode == kRgb) {
            for (size_t x = 0; x < w; ++x) {
                uint8_t *o = dst + x * px;
                o[0] = p2[x], o[1] = p1[x], o[2] = p0[x];
                if (px == 4) o[3] = p3[x];
            }
        } else {  // grey with alpha
            for (size_t x = 0; x < w; ++x) dst[4 * x] = dst[4 * x + 1] = dst[4 * x + 2] = p0[x], dst[4 * x + 3] = p1[x];
        }
        if (int32_t st = out.put(int32_t(y))) return st;
    }
    const int32_t st = out.finish();
    return st == 0 && h.alpha() ? VPb_IO_alpha_split(s) : st;
}

int32_t psd_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    PsdHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    const int64_t end = VPb_IO_data_end(stream);
    for (int32_t which = 1; which <= 3; ++which)
        if (int32_t st = section(stream, which, nullptr, 0, end)) return st;
    uint8_t cw[2] = {0, 0};
    if (VPb_IO_read(stream, cw, 2) != 2) return QV_ERR(QVE_PSD_SHORT, 0, 0);
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, int32_t(h.width), int32_t(h.height), h.out_bpp(), QV_BI_RGB, 0, 0);
    *format_type = kPsdFormatType;
    *value = get_be16(cw) == 1 ? 1 : 0;  // PackBits, none
    return 0;
}

int32_t psd_pages(VPb_STREAM *stream, void *, int32_t *count) {
    PsdHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
