/*
 * dcx_read.cpp - the DCX reader (format type 8): a magic number, a table of
 * up to 1024 page offsets ending at the first zero entry, and a complete PCX
 * image at each offset.
 *
 *   dcx_read   page p (the first selection value, counted from 1) through
 *              the PCX reader; the page's data ends at the next page
 *   dcx_info   the header of the first page, reported as format type 8
 *   dcx_pages  the number of table entries, at least 1
 *
 * Codes (iVal, lVal): -2060 (987654321, magic found) wrong magic; -2060
 * (entry number, 0) table cut short; -2060 (page - 1, page count) no such
 * page (a page number below 1 reads page 1); -2052 (128, 0) a page offset
 * beyond the data; then the PCX reader's codes.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/pcx_filter.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\DCXREAD.C";

struct PageTable {
    uint32_t offsets[kDcxMaxPages];
    int32_t count;
};

// Magic and offsets from position 0: -2060 (987654321, found) for a wrong
// magic, -2060 (entry number) when the table is cut short.
int32_t read_table(VPb_STREAM *s, PageTable *t) {
    t->count = 0;
    uint32_t magic = 0;
    VPb_IO_seek(s, 0, 0);
    if (VPb_IO_ii_dword_read(s, &magic) != 4 || magic != kDcxMagic) {
        return QV_ERR(QVE_BAD_SIGNATURE, int32_t(kDcxMagic), int32_t(magic));
    }
    for (int32_t i = 0; i < kDcxMaxPages; ++i) {
        uint32_t v = 0;
        if (VPb_IO_ii_dword_read(s, &v) != 4) return QV_ERR(QVE_BAD_SIGNATURE, i, 0);
        if (v == 0) break;
        t->offsets[t->count++] = v;
    }
    return 0;
}

void offer_tags(VPb_STREAM *s, const PageTable &t) {
    if (!VPb_IO_tag_set_exists(s)) return;
    VPb_IO_tag_dword_set(s, 500, kDcxMagic);
    VPb_IO_tag_set(s, 501, 14, t.offsets, t.count);
}

int32_t read_page(VPb_STREAM *s, int32_t page) {
    PageTable t;
    if (int32_t rc = read_table(s, &t)) return rc;
    if (page > t.count) return QV_ERR(QVE_BAD_SIGNATURE, page - 1, t.count);
    offer_tags(s, t);
    const int64_t start = t.offsets[page - 1];
    // The page runs to the next page, or to the end of the data for the last
    // one (also when the next offset does not lie beyond this one); never
    // past the end of the data.
    int64_t end = VPb_IO_data_end(s);
    if (page < t.count && int64_t(t.offsets[page]) > start && int64_t(t.offsets[page]) < end) {
        end = t.offsets[page];
    }
    // A page that starts beyond the data has no header to read.
    if (VPb_IO_seek(s, start, 0) != start) return QV_ERR(QVE_SHORT_HEADER, 128, 0);
    return pcx_read_image(s, end);
}

}  // namespace

int32_t dcx_read(VPb_STREAM *s, void *, int32_t sel1, int32_t) {
    const int64_t entry = VPb_IO_tell(s);
    const int32_t rc = read_page(s, sel1 < 1 ? 1 : sel1);
    if (rc < 0) VPb_IO_seek(s, entry, 0);
    return rc;
}

int32_t dcx_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *) {
    const int64_t entry = VPb_IO_tell(s);
    PageTable t;
    int32_t rc = read_table(s, &t);
    int32_t compression = 0;
    if (rc == 0 && t.count == 0) rc = QV_ERR(QVE_BAD_SIGNATURE, 0, 0);
    if (rc == 0 && VPb_IO_seek(s, t.offsets[0], 0) != int64_t(t.offsets[0])) {
        rc = QV_ERR(QVE_SHORT_HEADER, 128, 0);
    }
    if (rc == 0) rc = pcx_info_image(s, info, &compression);
    VPb_IO_seek(s, entry, 0);
    if (rc) return rc;
    if (format_type) *format_type = kDcxFormatType;
    if (value) *value = compression;
    return 0;
}

int32_t dcx_pages(VPb_STREAM *s, void *, int32_t *count) {
    const int64_t entry = VPb_IO_tell(s);
    int32_t rc = 0, n = 0;
    uint32_t magic = 0;
    VPb_IO_seek(s, 0, 0);
    if (VPb_IO_ii_dword_read(s, &magic) != 4 || magic != kDcxMagic) {
        rc = QV_ERR(QVE_BAD_SIGNATURE, int32_t(kDcxMagic), int32_t(magic));
    } else {
        uint32_t v = 0;
        while (n < kDcxMaxPages && VPb_IO_ii_dword_read(s, &v) == 4 && int32_t(v) > 0) ++n;
    }
    VPb_IO_seek(s, entry, 0);
    if (rc == 0 && count) *count = n < 1 ? 1 : n;
    return rc;
}

}  // namespace qv
