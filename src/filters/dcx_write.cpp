/*
 * dcx_write.cpp - the DCX writer (format type 8).
 *
 * The control block holds two 32-bit words: the compression flag handed to
 * the PCX writer, and the append flag. Appending adds the page at the end of
 * an existing DCX file and its offset to the table; when the file is not a
 * DCX file, its table cannot be read in full or already holds 1024 pages,
 * the file is written anew with the page as its only entry (offset 4100).
 *
 *   dcx_write (table entry)
 *
 * Codes (iVal, lVal): -2413 (depth, 0) for depths other than 1, 4, 8, 24;
 * -2072 (4100, bytes written) header and table; -2005 (offset, 0) when the
 * page position cannot be reached; then the PCX writer's codes. Writing
 * anew over a longer existing file (opened for update) cuts the file after
 * the new page, so no tail of the old file is left behind.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pcx_filter.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\DCXWRITE.C";

// The existing table when the new page can be appended to it: its entries
// in offsets[0..count), true. False when the file has to be written anew.
bool existing_table(VPb_STREAM *s, uint32_t *offsets, int32_t *count) {
    *count = 0;
    uint32_t magic = 0;
    if (VPb_IO_seek(s, 0, 0) != 0) return false;
    if (VPb_IO_ii_dword_read(s, &magic) != 4 || magic != kDcxMagic) return false;
    for (int32_t i = 0; i < kDcxMaxPages; ++i) {
        uint32_t v = 0;
        if (VPb_IO_ii_dword_read(s, &v) != 4) return false;
        if (v == 0) return true;
        offsets[(*count)++] = v;
    }
    return false;  // full
}

}  // namespace

int32_t dcx_write(VPb_STREAM *s, void *ctl, int32_t, int32_t, int32_t) {
    int32_t words[2] = {1, 0};
    if (ctl) std::memcpy(words, ctl, sizeof words);
    const int32_t compress = words[0], append = words[1];

    QV_DIB_HEADER dib;
    int32_t entries = 0;
    std::memset(&dib, 0, sizeof dib);
    if (int32_t rc = VPb_IO_DIB_get(s, &dib, nullptr, &entries); rc < 0) return rc;
    const uint32_t depth = dib.biBitCount;
    if (depth != 1 && depth != 4 && depth != 8 && depth != 24) {
        return QV_ERR(QVE_SAVE_DEPTH, int32_t(depth), 0);
    }

    uint32_t offsets[kDcxMaxPages] = {};
    int32_t count = 0;
    int64_t page_at = -1;
    if (append && existing_table(s, offsets, &count)) {
        page_at = VPb_IO_seek(s, 0, 2);
        if (page_at >= 0 && page_at <= int64_t(UINT32_MAX)) {
            offsets[count++] = uint32_t(page_at);
        } else {
            page_at = -1;
        }
    }
    if (page_at < 0) {
        std::memset(offsets, 0, sizeof offsets);
        offsets[0] = kDcxHeaderSize;
        count = 1;
        page_at = kDcxHeaderSize;
    }

    if (VPb_IO_tag_set_exists(s)) {
        VPb_IO_tag_dword_set(s, 500, kDcxMagic);
        VPb_IO_tag_set(s, 501, 14, offsets, count);
    }

    uint8_t head[kDcxHeaderSize];
    const uint32_t magic = kDcxMagic;
    for (int i = 0; i < 4; ++i) head[i] = uint8_t(magic >> (8 * i));
    for (int32_t e = 0; e < kDcxMaxPages; ++e) {
        for (int i = 0; i < 4; ++i) head[4 + 4 * e + i] = uint8_t(offsets[e] >> (8 * i));
    }
    VPb_IO_seek(s, 0, 0);
    const int32_t n = VPb_IO_write(s, head, kDcxHeaderSize);
    if (n != kDcxHeaderSize) return QV_ERR(QVE_SHORT_WRITE, kDcxHeaderSize, n);
    if (VPb_IO_seek(s, page_at, 0) != page_at) return QV_ERR(QVE_SEEK, int32_t(page_at), 0);
    if (int32_t rc = pcx_write_image(s, compress); rc < 0) return rc;
    if (count == 1) VPb_IO_truncate(s);  // written anew: nothing of an older file may follow
    return 0;
}

}  // namespace qv
