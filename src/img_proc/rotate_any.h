/*
 * rotate_any.h - the sampling workers of rotation by any angle
 * (rotate_any.cpp holds the entry points and the geometry).
 *
 * A job carries the source and destination rasters, the 16.16 sine and
 * cosine and the two centres. For destination row r (from the top), with
 * dy = r - dcy, the row starts at source position
 *     X = cx * 65536 - dcx * C + S * dy,   Y = cy * 65536 + S * dcx + C * dy
 * and each column takes the source pixel (X >> 16, Y >> 16), arithmetic
 * shifts, held as signed 16-bit values, before X += C, Y -= S; all in
 * 32-bit two's complement. A position outside the source takes the
 * background. Sampling is nearest.
 */
#pragma once

#include <cstdint>

#include "img_proc/geometry.h"

namespace qv {

struct AngleJob {
    QV_DIB_HEADER *src = nullptr;
    QV_DIB_HEADER *dst = nullptr;
    int32_t S = 0, C = 0;    // sine and cosine times 65536, truncated
    int32_t cx = 0, cy = 0;  // source centre
    int32_t dcx = 0, dcy = 0;
    uint8_t background[3] = {0, 0, 0};  // 1 bit: 0 or 1; 4 bits: the index
};

/* Whether inside spans may be sampled with AVX2 where the processor has
 * it (the default); the internal tests turn it off to compare the scalar
 * loops with the vector ones. */
extern bool rotate_any_simd;

/* Fills every destination row, reporting each as (row, height); 0, or
 * -2113 after the progress pushed it. Depths 1, 4, 8, 16, 24. */
int32_t rotate_any_rows(const AngleJob &job, OpProgress &progress);

}  // namespace qv
