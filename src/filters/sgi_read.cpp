/*
 * sgi_read.cpp - the SGI reader, information and page-count entries.
 *
 * A 512-byte big-endian header (magic 474, storage, bytes per sample,
 * dimension, x size, y size, channels) is followed by the samples of each
 * channel as separate planes of rows, the bottom row first. Run-length
 * images hold a table of row starts and a table of row lengths (one entry
 * per row and channel, channel-major) and then the rows: a count unit whose
 * low 7 bits n end the row when 0, copy n units when the high bit is set,
 * else repeat the next unit n times (units are bytes or 16-bit words).
 * Codes: -2453 header short (iVal 512, lVal bytes read); -400 magic, size
 * or dimension wrong (iVal the field value, lVal 0); -2456 storage, sample
 * size or channel count not read (iVal the value, lVal 0); -2050 data short
 * (iVal the row, lVal the channel); -2000 a run-length row that overruns
 * the width (iVal the row, lVal the channel).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pixel_shuffle.h"
#include "filters/raster_io.h"
#include "filters/sgi_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\SGIREAD.C";

struct SgiHeader {
    uint8_t storage = 0, bpc = 1;
    uint16_t dimension = 0, xsize = 0, ysize = 0, zsize = 0;
    int64_t start = 0;
    uint16_t out_bpp() const { return zsize == 1 ? 8 : zsize == 3 ? 24 : 32; }
};

int32_t parse(VPb_STREAM *s, SgiHeader *h) {
    uint8_t b[512];
    h->start = VPb_IO_tell(s);
    int32_t got = VPb_IO_read(s, b, 512);
    if (got != 512) return QV_ERR(QVE_FILE_SHORT, 512, got < 0 ? 0 : got);
    if (get_be16(b) != 474) return QV_ERR(QVE_BAD_HEADER, get_be16(b), 0);
    h->storage = b[2], h->bpc = b[3];
    h->dimension = get_be16(b + 4), h->xsize = get_be16(b + 6), h->ysize = get_be16(b + 8);
    h->zsize = get_be16(b + 10);
    if (h->storage > 1) return QV_ERR(QVE_VARIANT, h->storage, 0);
    if (h->bpc != 1 && h->bpc != 2) return QV_ERR(QVE_VARIANT, h->bpc, 0);
    if (h->dimension < 1 || h->dimension > 3) return QV_ERR(QVE_BAD_HEADER, h->dimension, 0);
    if (h->dimension < 3) h->zsize = 1;
    if (h->zsize < 1 || h->zsize > 4) return QV_ERR(QVE_VARIANT, h->zsize, 0);
    if (h->xsize == 0 || h->ysize == 0) return QV_ERR(QVE_BAD_HEADER, h->xsize, 0);
    return 0;
}

// Where channel z of the delivered pixel lies (B, G, R, A order).
int32_t out_offset(const SgiHeader &h, int32_t z) {
    switch (h.zsize) {
    case 1: return 0;
    case 2: return z == 0 ? 0 : 3;
    default: return z == 3 ? 3 : 2 - z;
    }
}

// Expands one run-length row into `w` bytes (the high byte of 16-bit
// units). False when a run passes the width.
bool expand_row(const uint8_t *src, size_t len, uint32_t bpc, uint8_t *dst, uint32_t w) {
    uint32_t x = 0;
    size_t i = 0;
    while (i + bpc <= len) {
        uint32_t c = src[i + bpc - 1];
        i += bpc;
        uint32_t n = c & 0x7F;
        if (n == 0) break;
        if (x + n > w) return false;
        if (c & 0x80) {
            if (i + size_t(n) * bpc > len) return false;
            if (bpc == 1) std::memcpy(dst + x, src + i, n);
            else
                for (uint32_t k = 0; k < n; ++k) dst[x + k] = src[i + 2 * size_t(k)];
            i += size_t(n) * bpc;
        } else {
            if (i + bpc > len) return false;
            std::memset(dst + x, src[i], n);
            i += bpc;
        }
        x += n;
    }
    if (x < w) std::memset(dst + x, 0, w - x);
    return true;
}

}  // namespace

int32_t sgi_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    SgiHeader h;
    if (int32_t st = parse(s, &h)) return st;
    const uint32_t w = h.xsize, rows = h.ysize, planes = h.zsize, bpc = h.bpc;
    const size_t plane_row = size_t(w) * bpc;
    const int64_t data = h.start + 512;
    const int64_t end = VPb_IO_data_end(s);
    uint32_t *starts = nullptr, *lengths = nullptr;
    uint8_t *packed = nullptr;
    size_t packed_cap = 0;
    if (h.storage == 1) {
        const size_t n = size_t(rows) * planes;
        // The offset and length tables must be in the file before they are
        // given memory.
        const int64_t at = VPb_IO_tell(s);
        if (end >= 0 && at >= 0 && uint64_t(end - at) < 8 * uint64_t(n)) return QV_ERR(QVE_SHORT_READ, 0, 0);
        starts = filter_alloc_array<uint32_t>(work.tag(), n);
        lengths = filter_alloc_array<uint32_t>(work.tag(), n);
        auto *raw = filter_alloc_array<uint8_t>(work.tag(), 8 * n);
        if (!starts || !lengths || !raw) return QV_ERR(QVE_NO_MEMORY, 8 * n, work.tag());
        int32_t got = VPb_IO_read(s, raw, int32_t(8 * n));
        if (got != int32_t(8 * n)) return QV_ERR(QVE_SHORT_READ, 0, 0);
        for (size_t i = 0; i < n; ++i) {
            starts[i] = get_be32(raw + 4 * i);
            lengths[i] = get_be32(raw + 4 * (n + i));
            if (end >= 0 && int64_t(starts[i]) + lengths[i] > end - h.start)
                return QV_ERR(QVE_SHORT_READ, i % rows, i / rows);
            if (lengths[i] > packed_cap) packed_cap = lengths[i];
        }
        packed = filter_alloc_array<uint8_t>(work.tag(), packed_cap + 8);
        if (!packed) return QV_ERR(QVE_NO_MEMORY, packed_cap, work.tag());
    } else if (end >= 0 && uint64_t(end - data) < uint64_t(plane_row) * rows * planes) {
        return QV_ERR(QVE_SHORT_READ, 0, planes - 1);
    }

    MaskedHeader mh;
    dib_header_init(&mh, int32_t(w), int32_t(rows), h.out_bpp());
    QV_RGBQUAD pal[256];
    grey_palette(pal, 256);
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, h.out_bpp() == 8 ? pal : nullptr, work.tag())) return st;
    auto *line = filter_alloc_array<uint8_t>(work.tag(), plane_row + 8);
    auto *chans = filter_alloc_array<uint8_t>(work.tag(), 4 * (size_t(w) + 16));
    if (!line || !chans) return QV_ERR(QVE_NO_MEMORY, plane_row, work.tag());
    const uint32_t px = h.out_bpp() / 8;
    for (uint32_t y = 0; y < rows; ++y) {
        const int32_t r = int32_t(rows - 1 - y);
        uint8_t *dst = out.row(r);
        const uint8_t *chan[4] = {};
        for (uint32_t z = 0; z < planes; ++z) {  // each channel's row as bytes
            uint8_t *c = chans + size_t(z) * (size_t(w) + 16);
            if (planes == 1 && bpc == 1) c = dst;  // a grey row is the delivered row
            chan[z] = c;
            if (h.storage == 1) {
                const size_t i = size_t(z) * rows + y;
                if (VPb_IO_seek(s, h.start + starts[i], 0) < 0 ||
                    VPb_IO_read(s, packed, int32_t(lengths[i])) != int32_t(lengths[i]))
                    return QV_ERR(QVE_SHORT_READ, y, z);
                if (!expand_row(packed, lengths[i], bpc, c, w)) return QV_ERR(QVE_READ_DATA, y, z);
            } else {
                const int64_t at = data + (int64_t(z) * rows + y) * int64_t(plane_row);
                uint8_t *into = bpc == 1 ? c : line;
                if (VPb_IO_seek(s, at, 0) < 0 || VPb_IO_read(s, into, int32_t(plane_row)) != int32_t(plane_row))
                    return QV_ERR(QVE_SHORT_READ, y, z);
                if (bpc == 2)
                    for (uint32_t x = 0; x < w; ++x) c[x] = line[2 * x];
            }
        }
        if (px == 1) {
            if (chan[0] != dst) std::memcpy(dst, chan[0], w);
        } else if (planes == 3) {
            interleave3(chan[2], chan[1], chan[0], w, dst);
        } else {
            for (uint32_t z = 0; z < planes; ++z) {
                uint8_t *o = dst + out_offset(h, int32_t(z));
                for (uint32_t x = 0; x < w; ++x) o[size_t(x) * px] = chan[z][x];
            }
            if (planes == 2)
                for (uint32_t x = 0; x < w; ++x) dst[4 * x + 1] = dst[4 * x + 2] = chan[0][x];
        }
        if (int32_t st = out.put(r)) return st;
    }
    const int32_t st = out.finish();
    return st == 0 && (planes == 2 || planes == 4) ? VPb_IO_alpha_split(s) : st;
}

int32_t sgi_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    SgiHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, h.xsize, h.ysize, h.out_bpp(), QV_BI_RGB, 0, 0);
    *format_type = kSgiFormatType;
    *value = h.storage == 1 ? 7 : 0;  // RLE, none
    return 0;
}

int32_t sgi_pages(VPb_STREAM *stream, void *, int32_t *count) {
    SgiHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
