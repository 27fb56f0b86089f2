/*
 * bmp_read.cpp - the BMP reader, information and page-count entries.
 *
 * Rows are handed to the load pipeline in the layout the library keeps:
 *   1, 4, 8, 24 bits as stored; 2 bits widened to 4 bits; 16 bits as 5-5-5
 *   (compression 0) or with their colour masks (compression 3); 32 bits as
 *   B, G, R, X (compression 0, or 3 with the standard masks); colour masks
 *   with alpha or any other 32-bit masks are converted to B, G, R, A;
 *   big-endian bare DIBs have their 16/32-bit pixels put in little-endian
 *   order; RLE4/RLE8 are decoded (bmp_rle.cpp); run lists (500) are expanded
 *   to packed rows. An image whose rows need no change is read straight into
 *   the new image's pixel memory; other uncompressed rows are delivered a
 *   cache-sized chunk at a time, from a memory stream without a copy
 *   (VPb_IO_read_view).
 * Uncompressed data shorter than the header promises is refused before the
 * image is made (-2050 with the bytes needed and the bytes present).
 *
 * Internal: bmp_read, bmp_info, bmp_pages (bmp_format.h).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/bmp_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\BMPREAD.C";
constexpr size_t kChunkBytes = size_t(64) << 10;      // rows read per call, about (cache-sized)
constexpr size_t kDirectChunkBytes = size_t(16) << 20;

enum class RowConv { kNone, kExpand2, kSwap16, kSwap32, kMasksTo32 };

// The header handed to the pipeline, with the masks right after it.
struct SourceHeader {
    QV_DIB_HEADER h;
    uint32_t masks[3];
};
static_assert(sizeof(SourceHeader) == 52, "masks follow the 40 header bytes");

// Two 2-bit indices per output byte -> 4-bit pixels (n indices, one a byte).
void pack4(const uint8_t *indices, int32_t n, uint8_t *out) {
    int32_t i = 0;
    for (; i + 1 < n; i += 2) *out++ = uint8_t((indices[i] << 4) | (indices[i + 1] & 15));
    if (i < n) *out = uint8_t(indices[i] << 4);
}

bool masks_are(const uint32_t *m, uint32_t r, uint32_t g, uint32_t b) {
    return m[0] == r && m[1] == g && m[2] == b;
}

// Chooses the delivered layout for an uncompressed image.
RowConv plan_rows(const BmpHeader &b, SourceHeader *out) {
    QV_DIB_HEADER &h = out->h;
    h.biBitCount = uint16_t(b.bpp);
    h.biCompression = QV_BI_RGB;
    bool fields = b.compression == kBmpBitfields || b.compression == kBmpAlphaBitfields;
    switch (b.bpp) {
    case 2: h.biBitCount = 4; return RowConv::kExpand2;
    case 16:
        if (b.compression == QV_BI_GRAY16 || b.compression == QV_BI_PAL_WIDE) {
            h.biCompression = b.compression;
            std::memcpy(out->masks, b.masks, 12);
        } else if (fields && b.masks[3] != 0) {
            h.biBitCount = 32;
            return RowConv::kMasksTo32;
        } else if (fields && !masks_are(b.masks, 0x7C00, 0x3E0, 0x1F)) {
            h.biCompression = QV_BI_BITFIELDS;
            std::memcpy(out->masks, b.masks, 12);
        }
        return b.big_endian ? RowConv::kSwap16 : RowConv::kNone;
    case 32:
        if (fields) {
            if (!masks_are(b.masks, 0xFF0000, 0xFF00, 0xFF)) return RowConv::kMasksTo32;
            if (b.masks[3] == 0) {
                h.biCompression = QV_BI_BITFIELDS;
                std::memcpy(out->masks, b.masks, 12);
            } else if (b.masks[3] != 0xFF000000u) {
                return RowConv::kMasksTo32;
            }
        }
        return b.big_endian ? RowConv::kSwap32 : RowConv::kNone;
    default: return RowConv::kNone;
    }
}

void convert_row(RowConv conv, const BmpHeader &b, const uint8_t *in, uint8_t *out) {
    int32_t w = b.width;
    switch (conv) {
    case RowConv::kNone: break;
    case RowConv::kExpand2:
        for (int32_t x = 0; x < w; x += 2) {
            uint32_t v0 = (in[x >> 2] >> (6 - 2 * (x & 3))) & 3u;
            uint32_t v1 = x + 1 < w ? (in[(x + 1) >> 2] >> (6 - 2 * ((x + 1) & 3))) & 3u : 0u;
            out[x >> 1] = static_cast<uint8_t>((v0 << 4) | v1);
        }
        break;
    case RowConv::kSwap16:
        for (int32_t x = 0; x < w; ++x) out[2 * x] = in[2 * x + 1], out[2 * x + 1] = in[2 * x];
        break;
    case RowConv::kSwap32:
        for (int32_t x = 0; x < w; ++x) {
            uint32_t v;
            std::memcpy(&v, in + 4 * size_t(x), 4);
            v = __builtin_bswap32(v);
            std::memcpy(out + 4 * size_t(x), &v, 4);
        }
        break;
    case RowConv::kMasksTo32: {
        const VPb_MASK_CHANNEL r = VPb_mask_channel(b.masks[0]), g = VPb_mask_channel(b.masks[1]),
                               bl = VPb_mask_channel(b.masks[2]), a = VPb_mask_channel(b.masks[3]);
        for (int32_t x = 0; x < w; ++x) {
            uint32_t v;
            if (b.bpp == 16) {
                v = b.big_endian ? uint32_t(in[2 * x] << 8 | in[2 * x + 1])
                                 : uint32_t(in[2 * x] | in[2 * x + 1] << 8);
            } else {
                std::memcpy(&v, in + 4 * size_t(x), 4);
                if (b.big_endian) v = __builtin_bswap32(v);
            }
            uint8_t *p = out + 4 * size_t(x);
            p[0] = VPb_mask_value(&bl, v);
            p[1] = VPb_mask_value(&g, v);
            p[2] = VPb_mask_value(&r, v);
            p[3] = VPb_mask_value(&a, v);
        }
        break;
    }
    }
}

void fill_source_header(const BmpHeader &b, SourceHeader *sh) {
    std::memset(sh, 0, sizeof *sh);
    sh->h.biSize = 40;
    sh->h.biWidth = b.width;
    sh->h.biHeight = b.rows();
    sh->h.biPlanes = 1;
    sh->h.biXPelsPerMeter = resolution_to_dib(b.xppm);
    sh->h.biYPelsPerMeter = resolution_to_dib(b.yppm);
}

int32_t delivered_row(const BmpHeader &b, int32_t file_row) {
    return b.top_down() ? file_row : b.rows() - 1 - file_row;
}

// Uncompressed pixel data.
int32_t read_plain(VPb_STREAM *s, VPb_STREAM *bs, const BmpHeader &b, uint32_t tag) {
    SourceHeader sh;
    fill_source_header(b, &sh);
    RowConv conv = plan_rows(b, &sh);
    uint64_t stride = raster_bytes(b.width, b.bpp);
    uint64_t last = (uint64_t(b.width) * b.bpp + 7) / 8;
    int32_t rows = b.rows();
    uint64_t needed = stride * uint64_t(rows - 1) + last;
    if (stride > (uint64_t(1) << 30)) return QV_ERR(QVE_BAD_HEADER, b.width, b.bpp);
    if (b.end >= 0 && uint64_t(b.end > b.bits ? b.end - b.bits : 0) < needed)
        return QV_ERR(QVE_SHORT_READ, needed > INT32_MAX ? INT32_MAX : needed,
                      b.end > b.bits ? b.end - b.bits : 0);
    if (VPb_IO_seek(s, b.bits, 0) < 0) return QV_ERR(QVE_SEEK, b.bits, 0);
    if (int32_t st = VPb_IO_DIB_create(bs, &sh.h, b.palette)) return st;

    if (conv == RowConv::kNone && !b.top_down()) {
        if (uint8_t *bits = VPb_IO_raster_direct_get(s)) {
            uint64_t done = 0;
            int32_t rows_done = 0;
            while (done < needed) {
                uint64_t n = needed - done < kDirectChunkBytes ? needed - done : kDirectChunkBytes;
                int32_t got = VPb_IO_read(s, bits + done, int32_t(n));
                if (got != int32_t(n)) return QV_ERR(QVE_SHORT_READ, n, got);
                done += n;
                int32_t now = done >= needed ? rows : int32_t(done / stride);
                if (int32_t st = VPb_IO_raster_direct_done(s, now - rows_done)) return st;
                rows_done = now;
            }
            return VPb_IO_raster_post_process(bs);
        }
    }

    // Rows are taken a chunk at a time: from a memory stream straight out of
    // the caller's buffer, else read into a buffer small enough to stay in
    // the cache while its rows are delivered.
    size_t chunk_rows = size_t(kChunkBytes / stride);
    if (chunk_rows < 1) chunk_rows = 1;
    if (chunk_rows > size_t(rows)) chunk_rows = size_t(rows);
    size_t out_stride = size_t(raster_bytes(b.width, sh.h.biBitCount));
    uint8_t *chunk = nullptr;
    uint8_t *conv_row = nullptr;
    if (conv != RowConv::kNone && !(conv_row = filter_alloc_array<uint8_t>(tag, out_stride)))
        return QV_ERR(QVE_NO_MEMORY, out_stride, tag);
    int32_t file_row = 0;
    while (file_row < rows) {
        int32_t n = int32_t(size_t(rows - file_row) < chunk_rows ? size_t(rows - file_row) : chunk_rows);
        uint64_t want = stride * uint64_t(n);
        if (file_row + n == rows) want -= stride - last;
        const uint8_t *data = nullptr;
        int32_t got = VPb_IO_read_view(s, int32_t(want), &data);
        if (got < 0) {
            if (!chunk && !(chunk = filter_alloc_array<uint8_t>(tag, chunk_rows * size_t(stride))))
                return QV_ERR(QVE_NO_MEMORY, chunk_rows * stride, tag);
            got = VPb_IO_read(s, chunk, int32_t(want));
            data = chunk;
        }
        if (got != int32_t(want)) return QV_ERR(QVE_SHORT_READ, want, got);
        int32_t k = 0;
        if (conv == RowConv::kNone) {
            // Rows as stored go on together (all but a last row that needs
            // the padding below), in file order.
            const int32_t together = file_row + n == rows && data != chunk && last < stride ? n - 1 : n;
            if (int32_t st = VPb_IO_raster_rows_set(bs, delivered_row(b, file_row), b.top_down() ? 1 : -1, together,
                                                    data, ptrdiff_t(stride)))
                return st;
            k = together;
            file_row += together;
        }
        for (; k < n; ++k, ++file_row) {
            const uint8_t *in = data + size_t(k) * stride;
            if (file_row + 1 == rows && data != chunk && last < stride) {
                // The caller's buffer may end with the last pixel byte: the
                // last row is handed on padded with zeros.
                uint8_t *padded = filter_alloc_array<uint8_t>(tag, size_t(stride));
                if (!padded) return QV_ERR(QVE_NO_MEMORY, stride, tag);
                std::memcpy(padded, in, size_t(last));
                in = padded;
            }
            const uint8_t *row = in;
            if (conv != RowConv::kNone) {
                convert_row(conv, b, in, conv_row);
                row = conv_row;
            }
            if (int32_t st = VPb_IO_raster_set(bs, delivered_row(b, file_row), row)) return st;
        }
    }
    return VPb_IO_raster_post_process(bs);
}

struct RleSink {
    VPb_STREAM *bs;
    const BmpHeader *b;
    uint8_t *packed;
};

int32_t rle_row(void *user, int32_t file_row, const uint8_t *indices) {
    auto *k = static_cast<RleSink *>(user);
    const uint8_t *row = indices;
    if (k->b->bpp == 4) {
        pack4(indices, k->b->width, k->packed);
        row = k->packed;
    }
    return VPb_IO_raster_set(k->bs, delivered_row(*k->b, file_row), row);
}

int32_t read_rle(VPb_STREAM *s, VPb_STREAM *bs, const BmpHeader &b, uint32_t tag) {
    SourceHeader sh;
    fill_source_header(b, &sh);
    sh.h.biBitCount = uint16_t(b.bpp);
    if (VPb_IO_seek(s, b.bits, 0) < 0) return QV_ERR(QVE_SEEK, b.bits, 0);
    if (int32_t st = VPb_IO_DIB_create(bs, &sh.h, b.palette)) return st;
    size_t width = size_t(b.width);
    auto *indices = filter_alloc_array<uint8_t>(tag, width + 8);
    auto *packed = filter_alloc_array<uint8_t>(tag, width / 2 + 8);
    if (!indices || !packed) return QV_ERR(QVE_NO_MEMORY, width + 8, tag);
    RleSink sink{bs, &b, packed};
    if (int32_t st = bmp_read_rle(s, b, indices, rle_row, &sink)) return st;
    return VPb_IO_raster_post_process(bs);
}

// The library's run-encoded 1-bit DIB: one run list per row, top row first.
int32_t read_runs(VPb_STREAM *s, VPb_STREAM *bs, const BmpHeader &b, uint32_t tag) {
    SourceHeader sh;
    fill_source_header(b, &sh);
    sh.h.biBitCount = 1;
    uint64_t avail = b.size_image;
    if (b.end >= 0) avail = avail < uint64_t(b.end - b.bits) ? avail : uint64_t(b.end - b.bits);
    uint64_t most = uint64_t(b.rows()) * run_list_max_bytes(b.width);
    if (avail > most) avail = most;
    if (avail > INT32_MAX) return QV_ERR(QVE_BAD_HEADER, b.size_image, b.rows());
    if (VPb_IO_seek(s, b.bits, 0) < 0) return QV_ERR(QVE_SEEK, b.bits, 0);
    if (int32_t st = VPb_IO_DIB_create(bs, &sh.h, b.palette)) return st;
    auto *data = filter_alloc_array<uint16_t>(tag, size_t(avail / 2) + 1);
    auto *row = filter_alloc_array<uint8_t>(tag, size_t(raster_bytes(b.width, 1)));
    if (!data || !row) return QV_ERR(QVE_NO_MEMORY, avail, tag);
    int32_t got = VPb_IO_read(s, data, int32_t(avail));
    if (got < 0) got = 0;
    size_t off = 0, have = size_t(got) & ~size_t(1);
    bool lists = true;
    for (int32_t r = 0; r < b.rows(); ++r) {
        const uint16_t *list = data + off / 2;
        lists = lists && have - off >= 8 && VPb_runs_valid(list, have - off, b.width);
        if (lists) {
            VPb_runs_to_packed(list, b.width, row);
            off += list[0];
        } else {
            std::memset(row, 0, size_t(raster_bytes(b.width, 1)));
        }
        if (int32_t st = VPb_IO_raster_set(bs, r, row)) return st;
    }
    return VPb_IO_raster_post_process(bs);
}

}  // namespace

int32_t bmp_read(VPb_STREAM *stream, void *, int32_t sel1, int32_t) {
    VPb_STREAM *s = stream;
    FilterTag work;
    QV_RGBQUAD palette[256];
    BmpHeader b;
    if (int32_t st = bmp_parse(s, sel1, work.tag(), palette, &b)) return st;
    switch (b.compression) {
    case kBmpRle8:
    case kBmpRle4: return read_rle(s, stream, b, work.tag());
    case QV_BI_RUNS: return read_runs(s, stream, b, work.tag());
    default: return read_plain(s, stream, b, work.tag());
    }
}

int32_t bmp_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *) {
    VPb_STREAM *s = stream;
    FilterTag work;
    QV_RGBQUAD palette[256];
    BmpHeader b;
    if (int32_t st = bmp_parse(s, 1, work.tag(), palette, &b)) return st;
    std::memset(info, 0, sizeof *info);
    info->biSize = 40;
    info->biWidth = b.width;
    info->biHeight = b.height;
    info->biPlanes = 1;
    info->biBitCount = uint16_t(b.bpp);
    info->biCompression = b.compression;
    info->biSizeImage = b.size_image;
    info->biXPelsPerMeter = resolution_to_dib(b.xppm);
    info->biYPelsPerMeter = resolution_to_dib(b.yppm);
    info->biClrUsed = b.colors_used;
    *format_type = QV_FORMAT_BMP;
    *value = int32_t(b.compression);
    return 0;
}

int32_t bmp_pages(VPb_STREAM *stream, void *, int32_t *count) {
    return bmp_array_count(stream, count);
}

}  // namespace qv
