/*
 * pcx_write.cpp - the PCX writer (format type 31).
 *
 * Writes images of 1, 4, 8 and 24 bits: the 128-byte header field by field
 * (offered as tags 400 to 417 first), the rows top to bottom with each line
 * run-length encoded on its own (or stored when the control block's
 * compression flag is 0), and for 8 bits the 256-colour trailer.
 *
 *   pcx_write_image (used by the DCX writer too), pcx_write (table entry)
 *
 * Codes (iVal, lVal): -2413 (depth, 0) for depths other than 1, 4, 8, 24,
 * before anything is written; -3400 (width, height) when the size does not
 * fit the 16-bit header fields; -2061 (depth, 0) when a depth without a
 * header layout reaches the header; -2072 (128, bytes written) header;
 * -2071 (position in the line, run length) of the first run not written;
 * -2070 (bytes written, 769) trailer; -1000 (size, memory tag).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pcx_codec.h"
#include "filters/pcx_filter.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\PCXWRITE.C";

bool writable_depth(uint32_t depth) { return depth == 1 || depth == 4 || depth == 8 || depth == 24; }

// One axis of the image resolution in dots per inch: numerator over
// denominator first (integer division), then the unit. Unit 5 (per ten
// inches) is truncated where the others are rounded.
uint16_t axis_dpi(uint32_t num, uint32_t den, uint32_t unit) {
    const uint32_t v = num / (den ? den : 1);
    double dpi;
    switch (unit) {
    case 2: dpi = double(v) * 0.0254 + 0.5; break;
    case 4: dpi = double(v) * 2.54 + 0.5; break;
    case 6: dpi = double(v) * 0.254 + 0.5; break;
    case 5: dpi = double(v) * 0.1; break;
    default: return static_cast<uint16_t>(v);
    }
    return static_cast<uint16_t>(uint32_t(dpi));
}

void set_resolution(VPb_STREAM *s, const QV_DIB_HEADER &dib, PcxHeader *h) {
    uint32_t xnum, xden, ynum, yden;
    int32_t unit;
    if (VPb_image_resolution_get(VPb_IO_image_get(s), &xnum, &xden, &ynum, &yden, &unit)) {
        h->hres = axis_dpi(xnum, xden, uint32_t(unit));
        h->vres = axis_dpi(ynum, yden, uint32_t(unit));
        return;
    }
    h->hres = axis_dpi(uint32_t(dib.biXPelsPerMeter), 1, 2);
    h->vres = axis_dpi(uint32_t(dib.biYPelsPerMeter), 1, 2);
}

int32_t write_header(VPb_STREAM *s, const PcxHeader &h) {
    int32_t n = 0;
    n += VPb_IO_byte_write(s, h.manufacturer);
    n += VPb_IO_byte_write(s, h.version);
    n += VPb_IO_byte_write(s, h.encoding);
    n += VPb_IO_byte_write(s, h.bpp);
    n += VPb_IO_ii_word_write(s, h.xmin);
    n += VPb_IO_ii_word_write(s, h.ymin);
    n += VPb_IO_ii_word_write(s, h.xmax);
    n += VPb_IO_ii_word_write(s, h.ymax);
    n += VPb_IO_ii_word_write(s, h.hres);
    n += VPb_IO_ii_word_write(s, h.vres);
    n += VPb_IO_write(s, h.palette, int32_t(sizeof h.palette));
    n += VPb_IO_byte_write(s, h.reserved);
    n += VPb_IO_byte_write(s, h.planes);
    n += VPb_IO_ii_word_write(s, h.bytes_per_line);
    n += VPb_IO_ii_word_write(s, h.palette_info);
    n += VPb_IO_ii_word_write(s, h.hscreen);
    n += VPb_IO_ii_word_write(s, h.vscreen);
    n += VPb_IO_write(s, h.filler, int32_t(sizeof h.filler));
    if (n != kPcxHeaderSize) return QV_ERR(QVE_SHORT_WRITE, kPcxHeaderSize, n);
    return 0;
}

// A short write of an encoded line: report the position in the line of the
// run that did not get out, and that run's length.
int32_t report_short_line(const uint8_t *enc, size_t enc_len, int32_t written, bool encoded) {
    if (!encoded) return QV_ERR(QVE_WRITE_DATA, written < 0 ? 0 : written, int32_t(enc_len));
    size_t at = 0, pos = 0;
    while (at < enc_len) {
        const bool run = enc[at] > 0xC0;
        const size_t unit = run ? 2 : 1, len = run ? (enc[at] & 0x3F) : 1;
        if (int64_t(at + unit) > written) return QV_ERR(QVE_WRITE_DATA, int32_t(pos), int32_t(len));
        at += unit;
        pos += len;
    }
    return QV_ERR(QVE_WRITE_DATA, int32_t(pos), 0);
}

int32_t write_rows(VPb_STREAM *s, const QV_DIB_HEADER &dib, const PcxHeader &h) {
    FilterTag tag;
    const size_t row_bytes = size_t(raster_bytes(dib.biWidth, dib.biBitCount));
    const size_t line_bytes = size_t(h.planes) * h.bytes_per_line;
    size_t total = 0;
    if (!VPb_size_mul(line_bytes, 3, &total) || !VPb_size_add(total, row_bytes, &total)) {
        return QV_ERR(QVE_NO_MEMORY, -1, tag.tag());
    }
    uint8_t *row = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag.tag(), total));
    if (!row) return QV_ERR(QVE_NO_MEMORY, int32_t(total), tag.tag());
    uint8_t *line = row + row_bytes;
    uint8_t *enc = line + line_bytes;

    const int32_t height = dib.biHeight < 0 ? -dib.biHeight : dib.biHeight;
    // The image's own rows (bottom row first) when it hands them out as
    // they are, else each row fetched into `row`.
    const uint8_t *direct = VPb_IO_DIB_direct_get(s);
    for (int32_t y = 0; y < height; ++y) {
        const uint8_t *src = row;
        if (direct) {
            src = direct + size_t(height - 1 - y) * row_bytes;
        } else if (int32_t rc = VPb_IO_raster_get(s, y, row); rc < 0) {
            return rc;
        }
        pcx_dib_to_line(h, src, dib.biWidth, line);
        const uint8_t *out = line;
        size_t n = line_bytes;
        if (h.encoding) {
            n = pcx_rle_encode(line, line_bytes, enc);
            out = enc;
        }
        const int32_t w = VPb_IO_write(s, out, int32_t(n));
        if (w != int32_t(n)) return report_short_line(out, n, w, h.encoding != 0);
    }
    return 0;
}

int32_t write_trailer(VPb_STREAM *s, const QV_RGBQUAD *pal, int32_t entries) {
    uint8_t buf[kPcxTrailerSize] = {kPcxTrailerMarker};
    for (int32_t i = 0; i < entries && i < 256; ++i) {
        buf[1 + 3 * i] = pal[i].rgbRed;
        buf[2 + 3 * i] = pal[i].rgbGreen;
        buf[3 + 3 * i] = pal[i].rgbBlue;
    }
    const int32_t n = VPb_IO_write(s, buf, kPcxTrailerSize);
    if (n != kPcxTrailerSize) return QV_ERR(QVE_WRITE_FAILED, n, kPcxTrailerSize);
    return 0;
}

}  // namespace

int32_t pcx_write_image(VPb_STREAM *s, int32_t compress) {
    QV_DIB_HEADER dib;
    QV_RGBQUAD pal[256];
    int32_t entries = 0;
    std::memset(&dib, 0, sizeof dib);
    std::memset(pal, 0, sizeof pal);
    if (int32_t rc = VPb_IO_DIB_get(s, &dib, pal, &entries); rc < 0) return rc;
    if (!writable_depth(dib.biBitCount)) return QV_ERR(QVE_SAVE_DEPTH, dib.biBitCount, 0);
    if (entries <= 0 && dib.biBitCount <= 8) entries = 1 << dib.biBitCount;
    const int32_t height = dib.biHeight < 0 ? -dib.biHeight : dib.biHeight;
    // xmax, ymax and the bytes per line are 16-bit fields.
    const uint64_t line = ((uint64_t(dib.biWidth) * (dib.biBitCount == 24 ? 8 : dib.biBitCount) + 7) / 8 + 1) & ~1ull;
    if (dib.biWidth < 1 || height < 1 || dib.biWidth > 65536 || height > 65536 || line > 65535) {
        return QV_ERR(QVE_TOO_LARGE, dib.biWidth, height);
    }

    PcxHeader h;
    if (!pcx_header_for_depth(dib.biBitCount, dib.biWidth, height, &h)) {
        return QV_ERR(QVE_INVALID_IMAGE, dib.biBitCount, 0);
    }
    h.encoding = compress ? 1 : 0;
    set_resolution(s, dib, &h);
    if (entries >= 1 && entries <= 16) {
        for (int32_t i = 0; i < entries; ++i) {
            h.palette[3 * i] = pal[i].rgbRed;
            h.palette[3 * i + 1] = pal[i].rgbGreen;
            h.palette[3 * i + 2] = pal[i].rgbBlue;
        }
    }
    pcx_offer_tags(s, h);
    if (int32_t rc = write_header(s, h)) return rc;
    if (int32_t rc = write_rows(s, dib, h)) return rc;
    if (dib.biBitCount == 8) return write_trailer(s, pal, entries);
    return 0;
}

int32_t pcx_write(VPb_STREAM *s, void *ctl, int32_t, int32_t, int32_t) {
    int32_t compress = 1;
    if (ctl) std::memcpy(&compress, ctl, sizeof compress);
    return pcx_write_image(s, compress);
}

}  // namespace qv
