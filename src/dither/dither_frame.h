/*
 * dither_frame.h - what the colour reductions (octree, diffusion, ordered
 * dither, halftone, plain threshold) share.
 *
 * Every reduction turns the image's DIB into a new one of 1, 4 or 8 bits
 * built through the operation frame (op_frame.h): rows are worked from the
 * bottom raster up, each finished row is reported to the status-bar
 * callback as (its row number from the top, height), and a cancel keeps the
 * partly built result, which replaces the image's DIB like a whole one.
 *
 *   gray_level(r, g, b)   (77 r + 151 g + 28 b) >> 8
 *   SourceRows            a 4-, 8- or 24-bit source row as gray levels or
 *                         as blue-green-red triples (palette colours for
 *                         4 and 8 bits)
 *   pack_at_least         gray levels against a repeating row of 16
 *                         thresholds, packed 8 pixels a byte
 *   reduce_by_matrix      the whole 1-bit reduction by a threshold matrix
 *                         (ordered dither, halftone)
 *   InverseMap            16 x 16 x 16 cells of the nearest entry of a
 *                         16-colour palette
 *   ReduceFrame           destination, row output (packed or run form),
 *                         progress, commit, palette update and the
 *                         image-changed hook (reason QV_CHANGED_COLORS)
 *   Scratch               (op_frame.h) zero-filled work buffers under a tag
 *                         of their own
 */
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

#include "img_proc/op_frame.h"
#include "support/errors.h"
#include "support/image.h"
#include "support/memory.h"

namespace qv {

// The palette of every 1-bit result: black, white.
inline constexpr QV_RGBQUAD kBlackWhite[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};

inline uint32_t gray_level(uint32_t r, uint32_t g, uint32_t b) { return (77 * r + 151 * g + 28 * b) >> 8; }

/* Rows of a 4-, 8- or 24-bit source (row 0 = top). gray() gives one gray
 * level a pixel; bgr() three bytes a pixel (the row itself at 24 bits). */
class SourceRows {
public:
    SourceRows(QV_DIB_HEADER *dib, Scratch &scratch);
    bool ok() const { return ok_; }
    const uint8_t *gray(int32_t y);
    const uint8_t *bgr(int32_t y);
    int32_t width() const { return width_; }
    /* The palette colour of index i (4 and 8 bits). */
    const uint8_t *entry(uint32_t i) const { return pal_bgr_ + 3 * i; }
    int32_t bpp() const { return bpp_; }
    const uint8_t *raw(int32_t y) const;

private:
    QV_DIB_HEADER *dib_;
    int32_t width_, bpp_;
    bool ok_ = true;
    bool identity_ = false;  // 8 bits whose entry i has gray level i
    uint8_t gray_of_[256] = {};
    uint8_t pal_bgr_[256 * 3] = {};
    uint8_t *gray_row_ = nullptr;
    uint8_t *bgr_row_ = nullptr;
};

/* Nearest entry of a 16-colour palette for the 4,096 cells at levels
 * 0, 17, ..., 255 per channel (sum of squared differences, the earliest
 * entry on a tie). Cell (r, g, b) is at (r * 16 + g) * 16 + b. */
struct InverseMap {
    uint8_t cell[4096];
    void build(const QV_RGBQUAD palette[16]);
    uint8_t at(uint32_t r, uint32_t g, uint32_t b) const { return cell[(r * 16 + g) * 16 + b]; }
};

/* The destination of a reduction and its rows. */
class ReduceFrame {
public:
    ReduceFrame(ImageRecord *rec, const char *module);
    /* Allocates the destination (the image's size and resolution) with
     * `entries` palette entries; compression QV_BI_RUNS asks for a run-form
     * 1-bit result. False after pushing. */
    bool dest(int32_t bpp, uint32_t compression, const QV_RGBQUAD *palette, uint32_t entries);
    QV_DIB_HEADER *dib() const { return dib_; }
    /* Where row y (from the top) is written: the DIB row, or a packed row
     * buffer for a run-form result (stored by row_done). */
    uint8_t *row(int32_t y);
    /* Stores a run-form row and reports row y; false when the caller
     * cancelled or storing failed (pushed). */
    bool row_done(int32_t y);
    /* Replaces the image's DIB with the result (also a partial one), brings
     * the logical palette up to date and, when nothing was pushed since the
     * frame began, runs the image-changed hook with the result's depth. */
    void finish();

private:
    ImageRecord *rec_;
    int32_t before_;
    OpInPlace op_;
    OpProgress progress_;
    Scratch scratch_;
    QV_DIB_HEADER *dib_ = nullptr;
    bool runs_ = false;
    uint8_t *packed_ = nullptr;
    uint16_t *list_ = nullptr;
};

/* Packs n gray levels into 1-bit pixels, the first in bit 7: 1 where the
 * level is at least the threshold at (x mod 16) of `thr`. */
void pack_at_least(const uint8_t *gray, const uint8_t thr[16], int32_t n, uint8_t *out);

/* Reduces rec to 1 bit (black, white; compression `compression`) by a
 * threshold matrix of `rows` rows, a power of two: the i-th row worked,
 * from the bottom raster up, is tested against thr[i & (rows - 1)] through
 * pack_at_least. Errors are pushed under `module`. */
void reduce_by_matrix(ImageRecord *rec, const char *module, uint32_t compression, const uint8_t (*thr)[16],
                      int32_t rows);

/* Depth checks shared by the reductions: true when `bpp` is 4, 8 or 24;
 * else pushes -3300 (1, 0) for a 1-bit source or (bpp, target). */
bool reduce_source_ok(const char *module, int32_t bpp, int32_t target);

}  // namespace qv
