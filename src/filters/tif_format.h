/*
 * tif_format.h - what the TIFF reader's files share: the tag store of one
 * IFD, the page description built from it, and the entries the registry
 * calls.
 *
 *   tif_tags.cpp    header and page selection, IFD parsing into the tag
 *                   store, tag lookups, tag reporting, page count
 *   tif_page.cpp    the page description (defaults and checks), palette,
 *                   the DIB the page becomes
 *   tif_rows.cpp    row conversions to DIB rows
 *   tif_strips.cpp  strip decoding by compression
 *   tif_lzw.cpp     the LZW strip codec (codec slot 8)
 *   tif_read.cpp    info, read, page-count and tile-count entries
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "filters/tif_filter.h"
#include "vosk32pd_bridge.h"

namespace qv {

inline constexpr uint32_t kTifFormatType = 40;
inline constexpr int kTifSlots = 75;

// TIFF tag indices of the store's index table used by the reader.
enum TifIndex : int32_t {
    kTiWidth = 3, kTiLength = 4, kTiBits = 5, kTiCompression = 6, kTiPhotometric = 7,
    kTiFillOrder = 11, kTiStripOffsets = 16, kTiOrientation = 17, kTiSamples = 18,
    kTiRowsPerStrip = 19, kTiStripByteCounts = 20, kTiXRes = 23, kTiYRes = 24, kTiPlanar = 25,
    kTiT4Options = 33, kTiResUnit = 35, kTiPredictor = 42, kTiColorMap = 45, kTiTileWidth = 47,
    kTiTileLength = 48, kTiTileOffsets = 49, kTiTileByteCounts = 50, kTiJpegIF = 62,
    kTiYCbCrSubSampling = 71,
};

enum TifType : uint16_t {
    kTifByte = 1, kTifAscii = 2, kTifShort = 3, kTifLong = 4, kTifRational = 5, kTifSByte = 6,
    kTifUndefined = 7, kTifSShort = 8, kTifSLong = 9, kTifSRational = 10, kTifFloat = 11,
    kTifDouble = 12,
};

// The tag number of a tag index of the store's index table (0 outside 1..74).
uint16_t tif_index_tag(int32_t index);

// Bytes per value of a field type (0 for unknown types).
int32_t tif_type_size(uint32_t type);

struct TifEntry {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    void *data;  // owned by the store's memory tag; null without data
};

struct TifSlot {
    uint16_t tag;
    uint16_t pos;  // 0 not looked up yet, 65535 absent, else entry number from 1
};

// The 16- and 32-bit value at p in a file of byte order `order` (1: the
// other order than this machine's).
inline uint16_t tif_get16(const uint8_t *p, int32_t order) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return order ? uint16_t(v >> 8 | v << 8) : v;
}
inline uint32_t tif_get32(const uint8_t *p, int32_t order) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return order ? __builtin_bswap32(v) : v;
}

}  // namespace qv

// The tag store (the bridge's opaque VPb_TIF_TAGS).
struct VPb_TIF_TAGS_s {
    uint16_t count;
    uint32_t next_ifd;
    qv::TifSlot slots[qv::kTifSlots];
    qv::TifEntry entries[1];  // `count` entries (at least one slot kept)
};

namespace qv {

// One parsed page.
struct TifPage {
    int32_t byte_order;  // 0 little-endian, 1 big-endian
    int64_t base;
    int32_t tiled;
    int32_t first_tile;
    int32_t width, height;
    uint32_t xres_num, xres_den, yres_num, yres_den;
    int32_t res_unit;
    uint16_t compression;
    uint16_t samples;
    uint16_t bits[7];
    int32_t total_bits;
    int32_t color_bits;
    uint16_t photometric;
    int32_t photometric_given;  // the tag was present
    int32_t extra;
    uint16_t fill_order;
    uint16_t planar;
    int64_t after_ifd;
    uint32_t *offsets;
    uint32_t *byte_counts;  // null when unknown
    int32_t offset_count;
    int32_t strips;
    int32_t strips_per_plane;
    int32_t rows_per_strip;
    int32_t gray_min, gray_max, gray_sig_bits;
    uint16_t predictor;
    uint16_t t4_options;
    uint16_t orientation;
    uint16_t ycc_h, ycc_v;
    // The DIB the page becomes.
    int32_t dib_bpp;
    uint32_t dib_code;
    int32_t keep16;       // 16-bit grey delivered as 16 bits (code 503)
    int32_t measure;      // 16-bit grey range measured in a first pass
    QV_RGBQUAD palette[256];
    int32_t palette_entries;
};

// Reader settings from the TIFF control block (fields of 32 bits).
inline constexpr int kTifCtlGray16 = 48;    // 1: 16-bit grey kept (DIB code 503)
inline constexpr int kTifCtlMeasure = 49;   // 1: measure the 16-bit grey range first
inline constexpr int kTifCtlCompression = 50;  // library code used when the tag is absent
inline constexpr int kTifCtlInfoPage = 51;     // page the information entry describes (0: 1)

struct TifControl {
    int32_t gray16 = 0;
    int32_t measure = 0;
    int32_t compression = 0;
    int32_t info_page = 0;
};
TifControl tif_control(const void *ctl);

// ---- tif_tags.cpp ------------------------------------------------------------

// Reads the header at the stream's position (the base) and moves to the IFD
// of `page` (from 1). Sets page->byte_order and base. 0 or a pushed code.
int32_t tif_seek_page(VPb_STREAM *s, int32_t page_no, TifPage *page);
// Parses the IFD at the stream's position into a new store under `tag`.
int32_t tif_parse_ifd(VPb_STREAM *s, uint32_t tag, const TifPage &page, VPb_TIF_TAGS **out,
                      int64_t *after_ifd);
// Offers every entry to the stream's tag callbacks.
void tif_report_tags(VPb_STREAM *s, VPb_TIF_TAGS *store);
// The entry for a tag index (or, outside 1..74, the tag number); null when absent.
const TifEntry *tif_entry(VPb_TIF_TAGS *store, int32_t index, int32_t tag);
// The i-th value of an integer entry (BYTE, SHORT, LONG and their signed
// forms; SHORT unsigned), or `def` when absent or out of range.
uint32_t tif_value(const TifEntry *e, uint32_t i, uint32_t def);
// Page count from the stream's position; restores the position.
int32_t tif_count_pages(VPb_STREAM *s);

// ---- tif_page.cpp ------------------------------------------------------------

// Builds the page description and its DIB; `compression_code` is the
// library code used when the Compression tag is absent.
int32_t tif_describe(VPb_TIF_TAGS *store, uint32_t tag, const TifControl &ctl, TifPage *page);
// Library compression code of a TIFF compression value.
int32_t tif_library_compression(uint32_t tiff);
// The DIB header for the page (52 bytes: masks follow for code 503).
struct TifDibHeader {
    QV_DIB_HEADER h;
    uint32_t masks[3];
};
void tif_dib_header(const TifPage &page, TifDibHeader *d);

// ---- tif_rows.cpp ------------------------------------------------------------

// Bytes of one decoded row: chunky all samples, planar one sample.
size_t tif_row_bytes(const TifPage &page);
size_t tif_plane_row_bytes(const TifPage &page);

// Converts decoded rows to DIB rows and hands them on.
class TifRowSink {
public:
    // `work` must hold tif_sink_work_bytes(page) bytes.
    TifRowSink(VPb_STREAM *s, TifPage &page, uint8_t *work);
    // One decoded row (plane `plane` of it when planar). Returns 0 or a code.
    int32_t row(int32_t y, int32_t plane, const uint8_t *data);
    // First pass of the 16-bit range measurement: rows only update min/max.
    void set_measuring(bool on) { measuring_ = on; }
    int32_t delivered() const { return delivered_; }
    // A finished DIB row (the YCbCr groups of the strip decoder).
    int32_t deliver(int32_t y, const uint8_t *dib_row);
    // Rows written straight into the image are reported; call before
    // VPb_IO_raster_post_process.
    int32_t finish();

private:
    int32_t convert_and_deliver(int32_t y, const uint8_t *data);
    uint8_t *target(int32_t y) { return direct_ ? direct_ + direct_stride_ * size_t(p_.height - 1 - y) : out_; }
    VPb_STREAM *s_;
    uint8_t *direct_ = nullptr;  // the image's rows when the pipeline lets us write them
    uint8_t *extra_ = nullptr;   // the alpha image's rows (RGB and CMYK extra samples)
    size_t extra_stride_ = 0;
    size_t direct_stride_ = 0;
    int32_t pending_ = 0;        // rows written there since the last report
    TifPage &p_;
    uint8_t *planes_;  // planar rows gathered until the last plane
    uint8_t *raw_;     // one chunky row
    uint8_t *out_;     // one DIB row
    uint8_t *tmp_;     // unpacked samples
    size_t plane_bytes_;
    size_t row_bytes_;
    bool measuring_ = false;
    int32_t delivered_ = 0;
};
size_t tif_sink_work_bytes(const TifPage &page);
// One YCbCr pixel to B, G, R.
void tif_ycbcr_pixel(int32_t y, int32_t cb, int32_t cr, uint8_t *bgr);

// px pixels of three bytes from s to d with the first and third byte of each
// swapped (R, G, B to B, G, R and back); s may be d. Five pixels per 16-byte
// shuffle where the CPU has SSSE3 and s is not d.
void tif_swap_rgb(const uint8_t *s, uint8_t *d, size_t px);
int32_t tif_sink_row_fn(void *user, int32_t row, int32_t plane, const uint8_t *data);

// ---- tif_strips.cpp -----------------------------------------------------------

// Decodes the page's strips into the sink by compression.
int32_t tif_decode(VPb_STREAM *s, VPb_TIF_TAGS *store, TifPage &page, TifRowSink &sink,
                   uint32_t tag);

// ---- tif_lzw.cpp ----------------------------------------------------------------

// Decodes one LZW strip: src to at most dst_len bytes; returns the bytes
// written. dst needs 8 bytes of slack past dst_len.
size_t tif_lzw_decode(const uint8_t *src, size_t src_len, uint8_t *dst, size_t dst_len);

}  // namespace qv
