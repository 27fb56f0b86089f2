/*
 * pnm_write.cpp - the PBM/PGM/PPM writer.
 *
 * Chooses the form from the image:
 *   1 bit, palette black and white      P4 (P1): 1 = the darker entry
 *   8 bits with the grey ramp           P5 (P2), maxval 255
 *   16-bit grey (compression 503)       P5 (P2), maxval 65535, big-endian
 *   any other palette image, 16, 24 and 32 bits
 *                                       P6 (P3), maxval 255 (32 bits: the
 *                                       fourth byte is not written)
 * The plain forms (P1, P2, P3; at most 70 characters a line) are written
 * when the save compression is 1 or field 0 of the control block is 1.
 * Codes: -2080 compression other than 0 or 1 (iVal the value); -2413 a
 * layout not written (iVal the depth, lVal the compression); -2041 short
 * header write; -2072 short row write (iVal the row).
 */
#include <cstdio>
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pnm_format.h"
#include "filters/raster_io.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\PBMWRITE.C";

enum class Form { kBits, kGrey, kGrey16, kColour };

// Text output of the plain forms: numbers separated by blanks, lines kept
// to at most 70 characters.
struct PlainText {
    uint8_t *buf;
    size_t n = 0, line = 0;
    void number(uint32_t v, bool bit) {
        char tmp[8];
        int len = bit ? 1 : std::snprintf(tmp, sizeof tmp, "%u", v);
        if (bit) tmp[0] = char('0' + v);
        if (line + size_t(len) + 1 > 70) buf[n++] = '\n', line = 0;
        else if (line > 0 && !bit) buf[n++] = ' ', ++line;
        std::memcpy(buf + n, tmp, size_t(len));
        n += size_t(len);
        line += size_t(len);
    }
};

}  // namespace

int32_t pnm_write(VPb_STREAM *stream, void *ctl, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    WriterStart w;
    if (int32_t st = writer_start(s, ctl, compression, 0, w)) return st;
    if (w.code) return QV_ERR(w.code, w.ival, w.lval);
    const bool plain = w.second_coding;
    const QV_DIB_HEADER &hdr = w.hdr;
    const QV_RGBQUAD *pal = w.pal;
    const int32_t entries = w.entries, bpp = w.bpp, width = w.width, height = w.height;
    auto luma = [](const QV_RGBQUAD &q) { return 299 * q.rgbRed + 587 * q.rgbGreen + 114 * q.rgbBlue; };
    auto is_bw = [&](const QV_RGBQUAD &q) {
        return (q.rgbRed == 0 || q.rgbRed == 255) && q.rgbRed == q.rgbGreen && q.rgbGreen == q.rgbBlue;
    };
    Form form = Form::kColour;
    if (bpp == 1 && is_bw(pal[0]) && is_bw(pal[1]) && pal[0].rgbRed != pal[1].rgbRed) form = Form::kBits;
    else if (bpp == 8 && is_grey_ramp(pal, entries)) form = Form::kGrey;
    else if (bpp == 16 && hdr.biCompression == QV_BI_GRAY16) form = Form::kGrey16;
    // 16-bit colour: the image's masks (5-5-5 without masks).
    VPb_MASK_CHANNEL mr = VPb_mask_channel(0x7C00), mg = VPb_mask_channel(0x3E0), mb = VPb_mask_channel(0x1F);
    if (bpp == 16 && hdr.biCompression == QV_BI_BITFIELDS)
        if (QV_DIB_HEADER *d = VPb_DIB_pointer_get(VPb_IO_image_get(s))) {
            mr = VPb_mask_channel(VPb_DIB_red_mask_get(d));
            mg = VPb_mask_channel(VPb_DIB_green_mask_get(d));
            mb = VPb_mask_channel(VPb_DIB_blue_mask_get(d));
        }

    const int digit = (form == Form::kBits ? 1 : form == Form::kColour ? 3 : 2) + (plain ? 0 : 3);
    char head[64];
    int hn = form == Form::kBits
                 ? std::snprintf(head, sizeof head, "P%d\n%d %d\n", digit, width, height)
                 : std::snprintf(head, sizeof head, "P%d\n%d %d\n%d\n", digit, width, height,
                                 form == Form::kGrey16 ? 65535 : 255);
    if (!write_all(s, head, size_t(hn))) return QV_ERR(QVE_WRITE_HEADER, 0, hn);

    FilterTag work;
    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    const size_t channels = form == Form::kColour ? 3 : 1;
    const size_t sample_bytes = form == Form::kGrey16 ? 2 : 1;
    const size_t raw_row = form == Form::kBits ? (size_t(width) + 7) / 8 : size_t(width) * channels * sample_bytes;
    const size_t cap = plain ? size_t(width) * channels * 7 + 8 : raw_row + 8;
    auto *line = filter_alloc_array<uint8_t>(work.tag(), cap);
    auto *vals = filter_alloc_array<uint32_t>(work.tag(), size_t(width) * channels + 8);
    if (!line || !vals) return QV_ERR(QVE_NO_MEMORY, cap, work.tag());
    const bool dark0 = luma(pal[0]) < luma(pal[1]);
    for (int32_t r = 0; r < height; ++r) {
        const uint8_t *src = rows.get(r);
        if (!src) return QVE_SAVE_CALLBACK;
        size_t n = size_t(width) * channels;
        switch (form) {
        case Form::kBits:
            for (int32_t x = 0; x < width; ++x) vals[x] = index_at(src, x, 1) ^ (dark0 ? 1u : 0u);
            break;
        case Form::kGrey:
            for (int32_t x = 0; x < width; ++x) vals[x] = src[x];
            break;
        case Form::kGrey16:
            for (int32_t x = 0; x < width; ++x) vals[x] = get_le16(src + 2 * x);
            break;
        case Form::kColour:
            for (int32_t x = 0; x < width; ++x) {
                uint32_t *v = vals + 3 * x;
                if (bpp <= 8) {
                    const QV_RGBQUAD &q = pal[index_at(src, x, bpp)];
                    v[0] = q.rgbRed, v[1] = q.rgbGreen, v[2] = q.rgbBlue;
                } else if (bpp == 16) {
                    uint32_t p = get_le16(src + 2 * x);
                    v[0] = VPb_mask_value(&mr, p), v[1] = VPb_mask_value(&mg, p), v[2] = VPb_mask_value(&mb, p);
                } else {
                    const uint8_t *p = src + size_t(x) * size_t(bpp / 8);
                    v[0] = p[2], v[1] = p[1], v[2] = p[0];
                }
            }
            break;
        }
        size_t bytes;
        if (plain) {
            PlainText t{line};
            for (size_t i = 0; i < n; ++i) t.number(vals[i], form == Form::kBits);
            line[t.n++] = '\n';
            bytes = t.n;
        } else if (form == Form::kBits) {
            std::memset(line, 0, raw_row);
            for (int32_t x = 0; x < width; ++x)
                if (vals[x]) line[x >> 3] |= uint8_t(0x80 >> (x & 7));
            bytes = raw_row;
        } else if (sample_bytes == 2) {
            for (size_t i = 0; i < n; ++i) put_be16(line + 2 * i, vals[i]);
            bytes = raw_row;
        } else {
            for (size_t i = 0; i < n; ++i) line[i] = uint8_t(vals[i]);
            bytes = raw_row;
        }
        if (!write_all(s, line, bytes)) return QV_ERR(QVE_SHORT_WRITE, r, int32_t(bytes));
    }
    return 0;
}

}  // namespace qv
