/*
 * pcx_codec.h - the PCX codec core: plain functions over buffers, shared by
 * the PCX and DCX readers and writers (no stream access here).
 *
 *   PcxHeader                      the 128-byte header as fields
 *   pcx_layout(hdr, &layout)       sizes, DIB depth and line kind from the
 *                                  header; false with *bad filled when the
 *                                  header cannot describe an image
 *   pcx_palette_rule(hdr)          which palette the header calls for
 *   pcx_palette_build(rule, hdr, trailer, out)   256 RGBQUAD entries
 *   PcxRleState, pcx_rle_decode    run-length decoding with runs that carry
 *                                  over line ends and across input refills
 *   pcx_rle_decode_fast            the same, 64 input bytes at a time
 *                                  where the processor allows
 *   pcx_rle_encode                 one line, runs of at most 63, escaping
 *   pcx_line_to_dib(layout, line, row)      planes -> one DIB row
 *   pcx_header_for_depth(depth, width, height, &hdr)   writer's header
 *   pcx_dib_to_line(hdr, row, width, line)  one DIB row -> planes
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "vosk32pd/base.h"

namespace qv {

inline constexpr uint8_t kPcxManufacturer = 10;
inline constexpr int32_t kPcxHeaderSize = 128;
inline constexpr int32_t kPcxTrailerSize = 769;  // 0x0C + 256 RGB triples
inline constexpr uint8_t kPcxTrailerMarker = 0x0C;
inline constexpr int32_t kPcxMaxRun = 63;
inline constexpr int32_t kPcxBufferedLines = 5;  // input is read five encoded lines at a time
inline constexpr int32_t kPcxCompressionRle = 7;  // compression code reported by the info entry

/* The default 16-colour palette of version-3 files, as R, G, B. */
extern const uint8_t kPcxDefaultPalette[16][3];

struct PcxHeader {
    uint8_t manufacturer;
    uint8_t version;
    uint8_t encoding;
    uint8_t bpp;  // bits per pixel per plane
    uint16_t xmin, ymin, xmax, ymax;
    uint16_t hres, vres;  // dots per inch
    uint8_t palette[48];
    uint8_t reserved;
    uint8_t planes;
    uint16_t bytes_per_line;  // per plane
    uint16_t palette_info;
    uint16_t hscreen, vscreen;
    uint8_t filler[54];
};

/* Offers the header as tags 400-417 when a tag callback is registered. */
void pcx_offer_tags(VPb_STREAM *s, const PcxHeader &h);

/* How one decoded line becomes a DIB row. */
enum class PcxLineKind {
    Copy,        // one plane already in DIB packing (1, 4 or 8 bits)
    BitPlanes,   // 1-bit planes combined into 4-bit pixels (bit p from plane p)
    Channels,    // 8-bit planes R, G, B (, A) interleaved to B, G, R (, A)
    Generic,     // any other layout, pixel by pixel
};

struct PcxLayout {
    int32_t width;
    int32_t height;
    uint32_t bpp;           // bits per plane pixel
    uint32_t planes;
    uint32_t bits;          // bpp * planes
    uint32_t bytes_per_line;  // per plane
    size_t line_bytes;      // planes * bytes per line: one encoded line
    size_t plane_bytes;     // bytes of one plane that hold pixels
    uint32_t dib_bpp;       // 1, 4, 8, 24 or 32
    size_t dib_row_bytes;
    PcxLineKind kind;
};

/* Why a header cannot describe an image: the error code and its two values. */
struct PcxBad {
    int32_t code;
    int32_t iVal;
    int32_t lVal;
};

bool pcx_layout(const PcxHeader &hdr, PcxLayout *layout, PcxBad *bad);

enum class PcxPaletteRule { BlackWhite, Default16, Header16, Trailer256, GreyRamp, None };
PcxPaletteRule pcx_palette_rule(const PcxHeader &hdr, const PcxLayout &layout);

/* Fills 256 entries (unused ones zero). `trailer` is the 768 colour bytes
 * after the marker for Trailer256, or null to fall back to a grey ramp. */
void pcx_palette_build(PcxPaletteRule rule, const PcxHeader &hdr, const uint8_t *trailer,
                       QV_RGBQUAD out[256]);

/* Decoder state carried from line to line and from one input block to the
 * next: the unfinished part of a run, or a count byte whose value byte has
 * not been read yet. */
struct PcxRleState {
    uint32_t pending = 0;    // bytes of the last run not yet emitted
    uint8_t value = 0;
    uint8_t count_waiting = 0;  // a count byte was the last input byte
};

/* Decodes into out[pos .. line_len) from [*in, end); returns the new pos.
 * Stops when the line is full or the input is used up (then *in == end and
 * the caller refills). A run longer than the rest of the line keeps its
 * remainder in `st` for the next line. */
size_t pcx_rle_decode(PcxRleState &st, const uint8_t **in, const uint8_t *end, uint8_t *out,
                      size_t pos, size_t line_len);

/* Vector run-length decoding (pcx_decode_simd.cpp): the same contract and
 * the same output, input position and state as pcx_rle_decode, whole
 * blocks of 64 input bytes at a time on processors with AVX-512 (BW and
 * VBMI2), pcx_rle_decode for the rest and on other processors.
 * pcx_rle_fast_enable(false) makes it pcx_rle_decode alone (tests and
 * benchmarks compare the two); it returns the previous setting. */
size_t pcx_rle_decode_fast(PcxRleState &st, const uint8_t **in, const uint8_t *end, uint8_t *out,
                           size_t pos, size_t line_len);
bool pcx_rle_fast_enable(bool on);

/* Encodes n bytes as one line; out must hold 2 * n bytes. Returns the
 * encoded length. Runs of 2..63 become 0xC0 + count, value; single bytes
 * are written plainly unless either top bit is set (then 0xC1, value). */
size_t pcx_rle_encode(const uint8_t *in, size_t n, uint8_t *out);

/* The encoder's wide path (pcx_encode_simd.cpp), for processors with
 * AVX-512 byte compress and permutes: encodes whole tokens from in[0] while
 * 64 input bytes are left, moves *out past what it wrote and returns the
 * input bytes it took (a token boundary; the caller encodes the rest). */
bool pcx_encode_wide_available();
size_t pcx_encode_wide(const uint8_t *in, size_t n, uint8_t **out);

/* One decoded line (planes * bytes per line) into one DIB row of
 * layout.dib_row_bytes (padding bytes are cleared). */
void pcx_line_to_dib(const PcxLayout &layout, const uint8_t *line, uint8_t *row);

/* Header fields the writer sets for a depth of 1, 4, 8 or 24 bits; false
 * for any other depth. Resolution, palette and encoding are left zero. */
bool pcx_header_for_depth(uint32_t depth, int32_t width, int32_t height, PcxHeader *hdr);

/* One DIB row into the planes of an encoded line (planes * bytes per line,
 * padding bytes zero): 24-bit B, G, R becomes the planes R, G, B. */
void pcx_dib_to_line(const PcxHeader &hdr, const uint8_t *row, int32_t width, uint8_t *line);

}  // namespace qv
