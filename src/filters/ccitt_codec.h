/*
 * ccitt_codec.h - the CCITT Group 3 / Group 4 codec shared by the raw fax
 * filters (g34_read.cpp, g34_write.cpp) and the TIFF reader and writer.
 *
 * Rows travel as change lists: the columns at which the colour changes,
 * the first run being white, followed by three copies of the width (the
 * terminators that let the two-dimensional coders look at b1 and b2 past
 * the last change). An all-white row of width w is (w, w, w) with no
 * changes. This is the run-list form of run-encoded 1-bit images minus its
 * length word, so run-encoded images take decoded rows without a pass over
 * their pixels.
 *
 * Modes (every entry takes one):
 *    2  one-dimensional, no EOLs, each row starts on a byte boundary
 *    3  one-dimensional with EOLs          4  the same, EOLs byte aligned
 *   10  two-dimensional with EOL + tag bit 11  the same with fill bits
 *   12  T.6
 *  100, 110  1-D into a sized sink (a 12-bit EOL first, ends like 3)
 *  101, 111  T.6 into a sized sink      102, 112  2-D into a sized sink
 *  120, 121  decoder modes carrying a packed parameter word (kept in the
 *            decoder, not interpreted): 1-D for the 1-D entry, mode 10 for
 *            the 2-D entry, T.6 for the T.6 entry
 * The 1-D decoding entry takes 2, 3, 4, 120, 121; the 2-D entry 10, 11,
 * 120, 121; the T.6 entry 12, 120, 121; anything else is -3320 (iVal the
 * mode).
 *
 * Colours: with `white_is_zero` set, white is pixel value 0 (bit 0 of a
 * packed row, the first run of a run list); clear, white is value 1 (packed
 * rows are inverted, run lists gain or lose a zero-length first run).
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

enum CcittMode : int32_t {
    kCcittMH = 2,
    kCcittT4 = 3,
    kCcittT4Fill = 4,
    kCcitt2D = 10,
    kCcitt2DFill = 11,
    kCcittT6 = 12,
    kCcittSink1D = 100,
    kCcittSinkT6 = 101,
    kCcittSink2D = 102,
    kCcittSink1DB = 110,
    kCcittSinkT6B = 111,
    kCcittSink2DB = 112,
    kCcittParam = 120,
    kCcittParam2 = 121,
};

enum class CcittEntry { k1D, k2D, kT6 };

inline constexpr int32_t kCcittMaxWidth = 65535;

// Where decoded rows go. `changes` holds `n` change columns then three
// copies of the width; the first run is white. Return 0, or a negative
// code (already pushed) to stop decoding.
class CcittRowSink {
public:
    virtual ~CcittRowSink() = default;
    virtual int32_t row(int32_t y, const uint16_t *changes, int32_t n) = 0;
};

// The coded bytes: `held` bytes already in `buf` (of `size` bytes), then
// what the stream gives (at most `stream_bytes` when that is >= 0). A null
// stream means the buffer is all there is.
struct CcittByteSource {
    VPb_STREAM *stream = nullptr;
    uint8_t *buf = nullptr;
    int32_t size = 0;
    int32_t held = 0;
    int64_t stream_bytes = -1;
};

struct CcittDecodeParams {
    int32_t width = 0;
    int32_t rows = 0;
    int32_t first_row = 0;    // row number of the first row delivered
    int32_t fill_order = 1;   // 1: first bit is the byte's high bit; 2: low bit
    int32_t mode = kCcittT4;
    bool first_strip = true;  // the first strip of a page (every call accepts
                              // fill and an EOL before its first row)
    bool strict = false;      // a bad code fails the call instead of being skipped
    uint32_t param = 0;       // modes 120 / 121: the packed parameter word
};

// Decodes `rows` rows into `sink` (rows first_row .. first_row + rows - 1).
// Result: 0, or a negative code (pushed).
// Notes:
//  1. Rows that cannot be decoded (the data ends, no EOL follows, a code
//     that cannot be recovered from) are delivered all white: a damaged
//     strip never fails the call unless `strict` is set.
//  2. Invalid codes and stray EOLs: at the start of the first row the
//     decoder resynchronises on the next EOL; inside a row the row ends in
//     the colour it had reached and the next row starts after the next EOL
//     (mode 2: on the next byte).
//  3. Fill bits of any length before an EOL are skipped.
//  4. Work per row is proportional to the number of runs: codes are read
//     through lookup tables on a 64-bit bit buffer.
int32_t ccitt_decode(CcittEntry entry, const CcittByteSource &src, const CcittDecodeParams &p,
                     CcittRowSink &sink);

// Decoding into the load pipeline: rows are delivered through
// VPb_IO_raster_runs_set when the image is run-encoded and takes them as
// they are, else expanded to packed rows (VPb_IO_raster_set).
// `white_is_zero` chooses the colours as above. `tag` is the caller's memory
// tag for the row buffers. Result: 0 or a negative code (pushed).
int32_t ccitt_decode_to_stream(CcittEntry entry, const CcittByteSource &src,
                               const CcittDecodeParams &p, bool white_is_zero, uint32_t tag);

// ---- encoding ---------------------------------------------------------------

// Where encoded rows come from: `changes` receives the change list of row
// y (room for width + 3 words; first run white); return the number of
// changes or a negative code.
class CcittRowSource {
public:
    virtual ~CcittRowSource() = default;
    virtual int32_t row(int32_t y, uint16_t *changes) = 0;
};

struct CcittEncodeParams {
    int32_t width = 0;
    int32_t rows = 0;
    int32_t first_row = 0;
    int32_t fill_order = 1;
    int32_t mode = kCcittT4;
    int32_t k = 2;              // 2-D modes: rows per group (the first coded 1-D)
    bool leading_eol = true;    // modes 3 and 4: a 16-bit EOL first
    bool end_of_page = true;    // RTC (T.4) or EOFB (T.6) at the end
    // Modes 100 to 112 (and any mode when set): the output goes here
    // instead of the stream.
    uint8_t *sink = nullptr;
    int32_t sink_size = 0;
    int32_t *sink_used = nullptr;
};

// Encodes rows first_row .. first_row + rows - 1 of `src` to `stream` (or
// the sized sink). Result: 0 or a negative code (pushed).
// Notes:
//  1. Framing by mode: 3 and 4 write a 16-bit EOL first when asked and an
//     EOL before every later row (4 pads each EOL with zeros so that it ends
//     on a byte boundary); 100 and 110 always start with a 12-bit EOL.
//     2-D rows are taken in groups of k: each row opens with an EOL and a
//     tag bit (1: coded 1-D, 0: coded against the row above); mode 11 puts
//     (free bits of the current byte + 4) zero bits before each EOL so the
//     tag bit opens a byte. Mode 2 starts every row on a byte boundary.
//  2. End of page: six 12-bit EOLs (3, 100, 110), six 31-zero + 1 groups
//     (4, after padding to a byte boundary), six EOLs with tag bit 1 (10,
//     11, 102, 112), two EOLs (12, 101, 111).
//  3. The last byte is padded with zeros; fill order 2 reverses the bits of
//     every byte written.
//  4. A sized sink too small for the output: -2071 (iVal the sink size,
//     lVal the bytes that were to be written).
int32_t ccitt_encode(VPb_STREAM *stream, uint32_t tag, const CcittEncodeParams &p,
                     CcittRowSource &src);

// Encoding the image being saved: rows come from the save pipeline
// (VPb_IO_raster_get or the DIB's own rows, or straight from the run lists
// of a run-encoded image saved whole). 1-bit
// images only (-3300, iVal the depth). `white_is_zero` tells which pixel
// value is white.
int32_t ccitt_encode_from_stream(VPb_STREAM *stream, uint32_t tag, const CcittEncodeParams &p,
                                 bool white_is_zero);

// ---- row helpers (also used by tests and benchmarks) -----------------------

// Change list of a packed row (bit 7 of byte 0 is column 0; a set bit is
// black when `one_is_black`). Writes the changes and three terminators;
// returns the number of changes.
int32_t ccitt_changes_from_packed(const uint8_t *bits, int32_t width, bool one_is_black,
                                  uint16_t *changes);
// Packed row (4 * ((width + 31) / 32) bytes, padding zero) of a change list;
// white pixels get bit value `white_bit`.
void ccitt_changes_to_packed(const uint16_t *changes, int32_t n, int32_t width, int white_bit,
                             uint8_t *bits);

}  // namespace qv
