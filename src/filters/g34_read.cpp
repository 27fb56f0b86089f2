/*
 * g34_read.cpp - the raw CCITT read filters: headerless Group 3 and Group 4
 * data whose width, height and fill order come from the control block
 * (QV_load_CCITT_FD / QV_load_CCITT_mem fill it for the call).
 *
 *   g3_read     one-dimensional T.4 (mode 4)   format type 11
 *   g3_2d_read  two-dimensional T.4 (mode 10)  format type 53
 *   g4_read     T.6 (mode 12)                   format type 12
 *
 * The image is 1-bit with palette entry 0 white and entry 1 black, so that
 * a run-encoded image takes the decoded run lists as they are. Data that
 * ends early leaves the remaining rows white; the load still succeeds.
 * Codes: -3320 (width or height, 0) for a size outside 1..65535 (height:
 * above 0); -1000 (65534, tag) when the input buffer cannot be had.
 */
#include <cstring>

#include "filters/ccitt_codec.h"
#include "filters/ccitt_filter.h"
#include "filters/filter_util.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\G34READ.C";
constexpr int32_t kInputBuffer = 65534;

int32_t read_raw(VPb_STREAM *s, const void *ctl, CcittEntry entry, int32_t mode) {
    CcittControl c{};
    if (ctl) std::memcpy(&c, ctl, sizeof c);
    if (c.width < 1 || c.width > kCcittMaxWidth) return QV_ERR(QVE_OUT_OF_RANGE, c.width, 0);
    if (c.height < 1) return QV_ERR(QVE_OUT_OF_RANGE, c.height, 0);

    QV_DIB_HEADER dib;
    VPb_DIB_init(&dib, c.width, c.height, 1, QV_BI_RGB, 0, 0);
    const QV_RGBQUAD palette[2] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    if (int32_t rc = VPb_IO_DIB_create(s, &dib, palette); rc < 0) return rc;

    FilterTag tag;
    uint8_t *buf = filter_alloc_array<uint8_t>(tag.tag(), kInputBuffer);
    if (!buf) return QV_ERR(QVE_NO_MEMORY, kInputBuffer, tag.tag());
    CcittByteSource src;
    src.stream = s;
    src.buf = buf;
    src.size = kInputBuffer;
    CcittDecodeParams p;
    p.width = c.width;
    p.rows = c.height;
    p.fill_order = c.fill_order == 2 ? 2 : 1;
    p.mode = mode;
    if (int32_t rc = ccitt_decode_to_stream(entry, src, p, true, tag.tag()); rc < 0) return rc;
    return VPb_IO_raster_post_process(s);
}

}  // namespace

int32_t g3_read(VPb_STREAM *s, void *ctl, int32_t, int32_t) {
    return read_raw(s, ctl, CcittEntry::k1D, kCcittT4Fill);
}

int32_t g3_2d_read(VPb_STREAM *s, void *ctl, int32_t, int32_t) {
    return read_raw(s, ctl, CcittEntry::k2D, kCcitt2D);
}

int32_t g4_read(VPb_STREAM *s, void *ctl, int32_t, int32_t) {
    return read_raw(s, ctl, CcittEntry::kT6, kCcittT6);
}

}  // namespace qv
