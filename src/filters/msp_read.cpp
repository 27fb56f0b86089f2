/*
 * msp_read.cpp - the MSP reader, information and page-count entries.
 *
 * A 32-byte little-endian header: the key ("DanM" version 1, "LinS"
 * version 2), width, height, four aspect words, two more size words, a
 * reserved dword and a checksum word that makes the exclusive or of the
 * first 13 words 0. Version 1 rows of (width + 7) / 8 bytes follow; version
 * 2 has a table of height 16-bit row lengths and then the rows, each a
 * series of records: a type byte 0 followed by a count and a byte repeated
 * count times, or a type byte n > 0 followed by n literal bytes.
 * Codes: -2453 header short (iVal 32, lVal bytes read); -400 zero size
 * (iVal width, lVal height) or a checksum that does not hold (iVal the
 * exclusive or of the header words, lVal 13); -2050 data short (iVal the
 * rows complete, lVal the rows).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/msp_format.h"
#include "filters/raster_io.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\MSPREAD.C";

struct MspHeader {
    int32_t version = 1;
    uint32_t width = 0, height = 0;
};

int32_t parse(VPb_STREAM *s, MspHeader *h) {
    uint8_t b[32];
    int32_t got = VPb_IO_read(s, b, 32);
    if (got != 32) return QV_ERR(QVE_FILE_SHORT, 32, got < 0 ? 0 : got);
    h->version = std::memcmp(b, "LinS", 4) == 0 ? 2 : 1;
    if (h->version == 1 && std::memcmp(b, "DanM", 4) != 0) return QV_ERR(QVE_BAD_HEADER, get_le32(b), 0);
    h->width = get_le16(b + 4), h->height = get_le16(b + 6);
    if (h->width == 0 || h->height == 0) return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
    uint32_t x = 0;
    for (int i = 0; i < 13; ++i) x ^= get_le16(b + 2 * i);
    if (x != 0) return QV_ERR(QVE_BAD_HEADER, x, 13);
    return 0;
}

}  // namespace

int32_t msp_read(VPb_STREAM *stream, void *, int32_t, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    MspHeader h;
    if (int32_t st = parse(s, &h)) return st;
    const size_t row = (size_t(h.width) + 7) / 8;
    uint16_t *lengths = nullptr;
    if (h.version == 2) {
        auto *raw = filter_alloc_array<uint8_t>(work.tag(), 2 * size_t(h.height));
        lengths = filter_alloc_array<uint16_t>(work.tag(), h.height);
        if (!raw || !lengths) return QV_ERR(QVE_NO_MEMORY, 2 * size_t(h.height), work.tag());
        int32_t got = VPb_IO_read(s, raw, int32_t(2 * h.height));
        if (got != int32_t(2 * h.height)) return QV_ERR(QVE_SHORT_READ, 0, h.height);
        for (uint32_t i = 0; i < h.height; ++i) lengths[i] = get_le16(raw + 2 * i);
    } else {
        int64_t at = VPb_IO_tell(s), end = VPb_IO_data_end(s);
        if (end >= 0 && uint64_t(end - at) < uint64_t(row) * h.height)
            return QV_ERR(QVE_SHORT_READ, uint64_t(end - at) / row, h.height);
    }
    const QV_RGBQUAD pal[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
    MaskedHeader mh;
    dib_header_init(&mh, int32_t(h.width), int32_t(h.height), 1);
    RasterOut out;
    if (int32_t st = out.begin(s, &mh.h, pal, work.tag())) return st;
    ByteReader in(s, work.tag());
    auto *packed = filter_alloc_array<uint8_t>(work.tag(), 65536 + 8);
    if (!in.ok() || !packed) return QV_ERR(QVE_NO_MEMORY, 65536, work.tag());
    for (uint32_t r = 0; r < h.height; ++r) {
        uint8_t *dst = out.row(int32_t(r));
        std::memset(dst, 0, out.stride());
        if (h.version == 1) {
            in.read(dst, row);
        } else {
            const size_t n = lengths[r];
            in.read(packed, n);
            size_t i = 0, o = 0;
            while (i < n && o < row) {
                const uint8_t type = packed[i++];
                if (type == 0) {
                    if (i + 2 > n) break;
                    size_t count = packed[i];
                    if (count > row - o) count = row - o;
                    std::memset(dst + o, packed[i + 1], count);
                    o += count, i += 2;
                } else {
                    size_t count = type;
                    if (count > n - i) count = n - i;
                    if (count > row - o) count = row - o;
                    std::memcpy(dst + o, packed + i, count);
                    o += count, i += type;
                }
            }
        }
        if (in.missing()) return QV_ERR(QVE_SHORT_READ, r, h.height);
        if (h.width & 7) dst[row - 1] &= uint8_t(0xFF00 >> (h.width & 7));
        if (int32_t st = out.put(int32_t(r))) return st;
    }
    return out.finish();
}

int32_t msp_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    MspHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    std::memset(info, 0, sizeof *info);
    VPb_DIB_init(info, int32_t(h.width), int32_t(h.height), 1, QV_BI_RGB, 0, 0);
    *format_type = kMspFormatType;
    *value = h.version == 2 ? 7 : 0;  // RLE, none
    return 0;
}

int32_t msp_pages(VPb_STREAM *stream, void *, int32_t *count) {
    MspHeader h;
    if (int32_t st = parse(stream, &h)) return st;
    *count = 1;
    return 0;
}

}  // namespace qv
