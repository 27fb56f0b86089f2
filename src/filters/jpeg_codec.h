/*
 * jpeg_codec.h - the JPEG decoder and encoder over libjpeg-turbo, shared by
 * the JPEG filter and the TIFF reader's JPEG compressions.
 *
 * libjpeg reports fatal errors by longjmp. Every libjpeg call is made from a
 * few plain functions in jpeg_codec.cpp whose frames hold no object with a
 * destructor: the jump lands in the function that set it and turns into an
 * error code (pushed with its iVal/lVal), never skipping C++ unwinding. The
 * classes below hold the libjpeg state in a block under the caller's memory
 * tag; their destructors release libjpeg's own memory on every path.
 *
 * Decoding (JpegDecoder):
 *   1. read_header(params, &frame) reads from the stream's current position
 *      (after an abbreviated tables stream when params.tables is given, as
 *      TIFF's JPEGTables): size, components, colour space, Adobe transform,
 *      JFIF/EXIF resolution and EXIF orientation.
 *   2. start(params, &frame) chooses the DCT scale (1/1, 1/2, 1/4, 1/8) and
 *      the output: 8-bit grey rows, or 24-bit B, G, R rows (YCbCr, RGB, and
 *      CMYK/YCCK converted through their inverted Adobe or plain values).
 *      frame.width/height become the scaled size.
 *   3. read_rows(rows, n) decodes the next n rows into DIB-packed buffers.
 *   4. finish() reports data that ended before the last row (-2050, iVal
 *      the height, lVal the last complete row) and otherwise succeeds.
 *   position() is where the stream's next unread byte lies (the TIFF reader
 *   goes on from there). Data ending early inside the last block row is
 *   taken as complete (libjpeg pads it), as files without an EOI are.
 * Codes: libjpeg's message codes map to -2421 (markers damaged or out of
 * order), -2422 (frame header), -2423 (sampling factors), -2424 (scan
 * header or progression), -2426 (Huffman table with more than 256 codes),
 * positive 3 (unknown marker), 4 (Huffman table not defined), 5 (Huffman
 * table index), -1000 (memory), -2000 (anything else in the data); iVal is
 * libjpeg's message code, lVal its first parameter.
 *
 * Encoding (jpeg_encode): rows fetched through a callback, 8-bit grey or
 * 24-bit B, G, R, with quality, progressive and optimised Huffman tables,
 * and the resolution in the JFIF header (dots per inch). Codes: -2072
 * (short write), -2071 (libjpeg message code) for any other fault, or the
 * fetch callback's code.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

enum class JpegSpace { kGrey, kYCbCr, kRgb, kCmyk, kYcck, kOther };

struct JpegParams {
    const uint8_t *tables = nullptr;  // abbreviated tables stream, or null
    size_t tables_len = 0;
    int64_t data_end = -1;            // the stream's data for this image ends here (-1: its end)
    int32_t scale_denom = 1;          // 1, 2, 4 or 8
    bool no_colour_transform = false; // three components taken as RGB whatever the markers say
};

struct JpegFrame {
    int32_t full_width = 0, full_height = 0;  // as stored
    int32_t width = 0, height = 0;            // as delivered (after start: scaled)
    int32_t components = 0;
    JpegSpace space = JpegSpace::kOther;
    bool adobe = false;          // an Adobe APP14 marker (CMYK stored inverted)
    bool progressive = false;
    int32_t out_bpp = 0;         // 8 or 24, after start
    int32_t density_unit = 0;    // 0 none, 1 per inch, 2 per centimetre
    int32_t x_density = 0, y_density = 0;
    int32_t orientation = 0;     // EXIF orientation 1..8, 0 when absent
};

struct JpegDecodeState;  // jpeg_codec.cpp

class JpegDecoder {
public:
    JpegDecoder(VPb_STREAM *s, uint32_t tag);
    ~JpegDecoder();
    JpegDecoder(const JpegDecoder &) = delete;
    JpegDecoder &operator=(const JpegDecoder &) = delete;

    int32_t read_header(const JpegParams &p, JpegFrame *f);
    int32_t start(const JpegParams &p, JpegFrame *f);
    int32_t read_rows(uint8_t *const *rows, int32_t n);
    int32_t finish();
    int64_t position() const;

private:
    JpegDecodeState *st_ = nullptr;
    VPb_STREAM *s_;
    uint32_t tag_;
};

// The largest DCT scale denominator (1, 2, 4, 8) whose output still covers
// target_w x target_h for a width x height image; 1 when either target is 0
// (a load size of 0 keeps that axis at the stored size).
int32_t jpeg_scale_for(int32_t width, int32_t height, int32_t target_w, int32_t target_h);

// Row source of the encoder: fills row y (0 = top) in the input layout;
// returns 0 or a pushed negative code.
typedef int32_t (*JpegRowFetch)(void *user, int32_t y, uint8_t *row);

struct JpegEncodeParams {
    int32_t width = 0, height = 0;
    bool grey = false;          // 1 component from 8-bit rows, else B, G, R rows
    int32_t quality = 75;
    bool progressive = false;
    bool optimize = false;
    int32_t dpi_x = 0, dpi_y = 0;  // 0: no density in the JFIF header
    bool rgb = false;           // B, G, R rows stored as RGB components (no YCbCr)
};

int32_t jpeg_encode(VPb_STREAM *s, uint32_t tag, const JpegEncodeParams &p, JpegRowFetch fetch,
                    void *user);

}  // namespace qv
