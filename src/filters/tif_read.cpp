/*
 * tif_read.cpp - the TIFF reader's entries (format type 40): information,
 * read, page count and tile count.
 *
 * Each call parses afresh: the header, the IFD of the page asked for (from
 * 1), the page description; everything it allocates belongs to one memory
 * tag freed when the call ends. The information, page-count and tile-count
 * entries leave the stream where they found it; a failed read does too.
 *
 * A tiled page is read one tile at a time: the read entry's second value
 * picks the tile (from 1; 0 is taken as 1) and the image is that tile. The
 * tile-count entry tells how many tiles across and down the first page has.
 *
 * 16-bit grey becomes 8 bits (value * 255 / 65535) unless field 48 of the
 * TIFF control block is 1 (kept as 16 bits, DIB code 503); with field 49 set
 * the range is measured in a first pass over the data and values are scaled
 * by the maximum found. Field 50 holds the library compression code assumed
 * when a page has no Compression tag, field 51 the page the information
 * entry describes (0 or 1: the first).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/tif_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\TIFREAD.C";

struct Parsed {
    VPb_TIF_TAGS *store = nullptr;
    TifPage page{};
};

int32_t parse(VPb_STREAM *s, int32_t page_no, int32_t tile, const TifControl &ctl, uint32_t tag,
              Parsed *out, bool report) {
    std::memset(&out->page, 0, sizeof out->page);
    if (int32_t rc = tif_seek_page(s, page_no < 1 ? 1 : page_no, &out->page)) return rc;
    if (int32_t rc = tif_parse_ifd(s, tag, out->page, &out->store, &out->page.after_ifd)) return rc;
    if (report) tif_report_tags(s, out->store);
    out->page.first_tile = tile;
    return tif_describe(out->store, tag, ctl, &out->page);
}

// The sample layout names the unusual pages may not be decoded in.
int32_t decode_page(VPb_STREAM *s, Parsed &ps, uint32_t tag) {
    TifPage &p = ps.page;
    TifDibHeader dib;
    tif_dib_header(p, &dib);
    if (int32_t rc = VPb_IO_DIB_create(s, &dib.h, p.dib_bpp <= 8 ? p.palette : nullptr); rc < 0) return rc;
    VPb_IO_orientation_set(s, p.orientation ? p.orientation : 1);
    const size_t work = tif_sink_work_bytes(p);
    uint8_t *buf = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, work));
    if (!buf) return QV_ERR(QVE_NO_MEMORY, int32_t(work > 0x7FFFFFFF ? 0x7FFFFFFF : work), 0);
    TifRowSink sink(s, p, buf);
    const bool gray16 = (p.photometric == 0 || p.photometric == 1) && p.color_bits > 8 &&
                        p.compression != 6 && p.compression != 7;
    if (gray16 && p.measure) {
        sink.set_measuring(true);
        if (int32_t rc = tif_decode(s, ps.store, p, sink, tag)) return rc;
        sink.set_measuring(false);
        int bits = 0;
        while (bits < 16 && (p.gray_max >> bits) != 0) ++bits;
        p.gray_sig_bits = bits;
    } else if (gray16) {
        p.gray_min = 0, p.gray_max = 65535, p.gray_sig_bits = 16;
    }
    if (int32_t rc = tif_decode(s, ps.store, p, sink, tag)) return rc;
    if (int32_t rc = sink.finish()) return rc;
    return VPb_IO_raster_post_process(s);
}

}  // namespace

int32_t tif_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                 void *ctl) {
    const int64_t entry = VPb_IO_tell(s);
    FilterTag tag;
    Parsed ps;
    const TifControl c = tif_control(ctl);
    const int32_t rc = parse(s, c.info_page > 1 ? c.info_page : 1, 0, c, tag.tag(), &ps, false);
    VPb_IO_seek(s, entry, 0);
    if (rc) return rc;
    if (info) {
        TifDibHeader dib;
        tif_dib_header(ps.page, &dib);
        *info = dib.h;
    }
    if (format_type) *format_type = int32_t(kTifFormatType);
    if (value) *value = tif_library_compression(ps.page.compression);
    return 0;
}

int32_t tif_read(VPb_STREAM *s, void *ctl, int32_t page, int32_t tile) {
    const int64_t entry = VPb_IO_tell(s);
    const int32_t before = VPb_AF_error_check();
    FilterTag tag;
    Parsed ps;
    int32_t rc = parse(s, page, tile > 1 ? tile - 1 : 0, tif_control(ctl), tag.tag(), &ps, true);
    if (rc == 0) rc = decode_page(s, ps, tag.tag());
    if (rc < 0 || VPb_AF_error_check() > before) {
        VPb_IO_seek(s, entry, 0);
        return rc < 0 ? rc : -1;
    }
    return 0;
}

int32_t tif_pages(VPb_STREAM *s, void *, int32_t *count) {
    const int32_t n = tif_count_pages(s);
    if (count) *count = n;
    return 0;
}

int32_t tif_tiles(VPb_STREAM *s, void *, int32_t, int32_t *columns, int32_t *rows) {
    const int64_t entry = VPb_IO_tell(s);
    FilterTag tag;
    TifPage page{};
    VPb_TIF_TAGS *st = nullptr;
    int32_t rc = tif_seek_page(s, 1, &page);
    if (rc == 0) rc = tif_parse_ifd(s, tag.tag(), page, &st, &page.after_ifd);
    VPb_IO_seek(s, entry, 0);
    if (rc) return rc;
    int32_t across = 1, down = 1;
    const TifEntry *tw = tif_entry(st, kTiTileWidth, 322), *tl = tif_entry(st, kTiTileLength, 323);
    const TifEntry *iw = tif_entry(st, kTiWidth, 256), *il = tif_entry(st, kTiLength, 257);
    if (tw && tl && iw && il) {
        auto tile_dim = [](const TifEntry *e) -> int64_t {
            const uint32_t v = tif_value(e, 0, 0);
            const int64_t d = e->type == kTifShort ? int64_t(int16_t(v)) : int64_t(int32_t(v));
            return d < 1 ? 1 : d;
        };
        const int64_t w = tif_value(iw, 0, 0), h = tif_value(il, 0, 0);
        const int64_t a = (w + tile_dim(tw) - 1) / tile_dim(tw), d = (h + tile_dim(tl) - 1) / tile_dim(tl);
        across = int32_t(a > 0x7FFFFFFF ? 0x7FFFFFFF : a);
        down = int32_t(d > 0x7FFFFFFF ? 0x7FFFFFFF : d);
    }
    if (columns) *columns = across;
    if (rows) *rows = down;
    return 0;
}

}  // namespace qv
