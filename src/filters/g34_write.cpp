/*
 * g34_write.cpp - the raw CCITT write filter shared by format types 11, 53
 * and 12: the compression of the save format value chooses the coding.
 *
 *   3  one-dimensional T.4: mode 4 when the control block's EOL alignment
 *      is set, else mode 3
 *   4  T.6 (mode 12)
 *   5  two-dimensional T.4 with fill bits (mode 11), K from the control
 *      block
 * Every page starts with an EOL (one-dimensional) and ends with its
 * end-of-page sequence; the fill order comes from the control block. White
 * is the brighter of the two palette entries.
 * Codes: -2080 (compression) for any other compression; -2477 (bits per
 * pixel) for an image that is not 1-bit; -2464 (the code, 0) when the
 * image's description cannot be had.
 */
#include <cstring>

#include "filters/ccitt_codec.h"
#include "filters/ccitt_filter.h"
#include "filters/filter_util.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\G34WRITE.C";

int32_t luminance(const QV_RGBQUAD &q) { return 299 * q.rgbRed + 587 * q.rgbGreen + 114 * q.rgbBlue; }

}  // namespace

int32_t ccitt_raw_write(VPb_STREAM *s, void *ctl, int32_t, int32_t, int32_t compression) {
    CcittControl c{0, 0, 1, 0, 2};
    if (ctl) std::memcpy(&c, ctl, sizeof c);
    CcittEncodeParams p;
    switch (compression) {
    case 3: p.mode = c.eol_align ? kCcittT4Fill : kCcittT4; break;
    case 4: p.mode = kCcittT6; break;
    case 5: p.mode = kCcitt2DFill; break;
    default: return QV_ERR(QVE_BAD_SAVE_OPTION, compression, 0);
    }
    QV_DIB_HEADER dib;
    QV_RGBQUAD pal[256];
    int32_t entries = 0;
    std::memset(&dib, 0, sizeof dib);
    std::memset(pal, 0, sizeof pal);
    if (int32_t rc = VPb_IO_DIB_get(s, &dib, pal, &entries); rc < 0) return QV_ERR(QVE_OUTPUT_POSITION, rc, 0);
    if (dib.biBitCount != 1) return QV_ERR(QVE_DEPTH_COMPRESSION, dib.biBitCount, 0);
    p.width = dib.biWidth;
    p.rows = dib.biHeight < 0 ? -dib.biHeight : dib.biHeight;
    p.fill_order = c.fill_order == 2 ? 2 : 1;
    p.k = c.k;
    p.leading_eol = true;
    p.end_of_page = true;
    const bool white_is_zero = luminance(pal[0]) >= luminance(pal[1]);
    FilterTag tag;
    return ccitt_encode_from_stream(s, tag.tag(), p, white_is_zero);
}

}  // namespace qv
