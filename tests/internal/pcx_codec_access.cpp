/*
 * pcx_codec_access.cpp - test-side entry points to the PCX codec core,
 * linked into the internal test suite from the library's own objects (the
 * shipped library exports none of this).
 *
 *   iQV_pcx_rle_decode(in, in_len, block, line_len, lines, out)
 *       decodes `lines` lines of line_len bytes, feeding the input in blocks
 *       of `block` bytes (0: all at once); returns the number of whole lines
 *       decoded (the rest of out is left as it was)
 *   iQV_pcx_rle_decode_cut(fast, in, in_len, cuts, ncuts, line_len, lines,
 *                          out, used)
 *       the same with the input cut at the given positions, by the vector
 *       decoder (fast != 0) or the word-at-a-time one; each line goes
 *       through its own buffer with 64 guard bytes after it; returns the
 *       whole lines decoded or -1 when a guard byte changed, *used the input
 *       bytes taken
 *   iQV_pcx_rle_fast_enable(on)      vector path on or off; previous setting
 *   iQV_pcx_rle_encode(in, n, out)   one line; out holds 2 * n; returns length
 *   iQV_pcx_line_to_dib(bpp, planes, width, bytes_per_line, line, row)
 *       one decoded line into a DIB row; returns the DIB depth, or a negative
 *       error code for a layout the reader refuses (nothing pushed)
 */
#include <cstring>
#include <vector>

#include "tests_internal.h"
#include "filters/pcx_codec.h"

using namespace qv;

extern "C" {

int32_t iQV_pcx_rle_decode(const uint8_t *in, int32_t in_len, int32_t block,
                                  int32_t line_len, int32_t lines, uint8_t *out) {
    if (!in || !out || in_len < 0 || line_len < 1 || lines < 0) return 0;
    if (block <= 0) block = in_len > 0 ? in_len : 1;
    PcxRleState st;
    const uint8_t *p = in, *e = in, *end = in + in_len;
    for (int32_t y = 0; y < lines; ++y) {
        uint8_t *line = out + size_t(y) * size_t(line_len);
        size_t pos = pcx_rle_decode(st, &p, e, line, 0, size_t(line_len));
        while (pos < size_t(line_len) && e < end) {
            e = end - e > block ? e + block : end;
            pos = pcx_rle_decode(st, &p, e, line, pos, size_t(line_len));
        }
        if (pos < size_t(line_len)) return y;
    }
    return lines;
}

int32_t iQV_pcx_rle_decode_cut(int32_t fast, const uint8_t *in, int32_t in_len, const int32_t *cuts,
                               int32_t ncuts, int32_t line_len, int32_t lines, uint8_t *out,
                               int32_t *used) {
    if (!in || !out || !used || in_len < 0 || line_len < 1 || lines < 0 || ncuts < 0) return 0;
    constexpr size_t kGuard = 64;
    std::vector<uint8_t> buf(size_t(line_len) + kGuard);
    PcxRleState st;
    const uint8_t *p = in, *e = in, *end = in + in_len;
    int32_t next_cut = 0;
    auto decode = fast ? pcx_rle_decode_fast : pcx_rle_decode;
    int32_t y = 0;
    for (; y < lines; ++y) {
        std::memset(buf.data(), 0xEE, buf.size());
        size_t pos = decode(st, &p, e, buf.data(), 0, size_t(line_len));
        while (pos < size_t(line_len) && e < end) {
            while (next_cut < ncuts && in + cuts[next_cut] <= e) ++next_cut;
            e = next_cut < ncuts && cuts[next_cut] < in_len ? in + cuts[next_cut] : end;
            pos = decode(st, &p, e, buf.data(), pos, size_t(line_len));
        }
        for (size_t k = 0; k < kGuard; ++k)
            if (buf[size_t(line_len) + k] != 0xEE) return -1;
        std::memcpy(out + size_t(y) * size_t(line_len), buf.data(), pos);
        if (pos < size_t(line_len)) break;
    }
    *used = int32_t(p - in);
    return y;
}

int32_t iQV_pcx_rle_fast_enable(int32_t on) { return pcx_rle_fast_enable(on != 0) ? 1 : 0; }

int32_t iQV_pcx_rle_encode(const uint8_t *in, int32_t n, uint8_t *out) {
    if (!in || !out || n < 0) return 0;
    return int32_t(pcx_rle_encode(in, size_t(n), out));
}

int32_t iQV_pcx_line_to_dib(int32_t bpp, int32_t planes, int32_t width,
                                   int32_t bytes_per_line, const uint8_t *line, uint8_t *row) {
    PcxHeader h{};
    h.manufacturer = kPcxManufacturer;
    h.version = 5;
    h.bpp = uint8_t(bpp);
    h.planes = uint8_t(planes);
    h.xmax = uint16_t(width - 1);
    h.bytes_per_line = uint16_t(bytes_per_line);
    PcxLayout l;
    PcxBad bad;
    if (width < 1 || width > 65536 || !pcx_layout(h, &l, &bad)) return width < 1 ? QVE_BAD_HEADER : bad.code;
    pcx_line_to_dib(l, line, row);
    return int32_t(l.dib_bpp);
}

}  // extern "C"
