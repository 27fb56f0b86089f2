/*
 * pcx_tags.cpp - the PCX header offered field by field as tags 400-417, by
 * the reader for what it read and by the writer for what it is about to write.
 */
#include "filters/pcx_codec.h"
#include "vosk32pd_bridge.h"

namespace qv {

// Tags 400-417. Positions 415 and 416 carry the resolution again, as the
// format's tag list has always had it.
void pcx_offer_tags(VPb_STREAM *s, const PcxHeader &h) {
    if (!VPb_IO_tag_set_exists(s)) return;
    VPb_IO_tag_byte_set(s, 400, h.manufacturer);
    VPb_IO_tag_byte_set(s, 401, h.version);
    VPb_IO_tag_byte_set(s, 402, h.encoding);
    VPb_IO_tag_byte_set(s, 403, h.bpp);
    VPb_IO_tag_word_set(s, 404, h.xmin);
    VPb_IO_tag_word_set(s, 405, h.ymin);
    VPb_IO_tag_word_set(s, 406, h.xmax);
    VPb_IO_tag_word_set(s, 407, h.ymax);
    VPb_IO_tag_word_set(s, 408, h.hres);
    VPb_IO_tag_word_set(s, 409, h.vres);
    VPb_IO_tag_set(s, 410, 13, h.palette, int32_t(sizeof h.palette));
    VPb_IO_tag_byte_set(s, 411, h.reserved);
    VPb_IO_tag_byte_set(s, 412, h.planes);
    VPb_IO_tag_word_set(s, 413, h.bytes_per_line);
    VPb_IO_tag_word_set(s, 414, h.palette_info);
    VPb_IO_tag_word_set(s, 415, h.hres);
    VPb_IO_tag_word_set(s, 416, h.vres);
    VPb_IO_tag_set(s, 417, 13, h.filler, int32_t(sizeof h.filler));
}

}  // namespace qv
