/*
 * tests_internal.h - test-side entry points to internal code, for the
 * internal suite, which links the library's objects statically instead of
 * the shared library (see tests/CMakeLists.txt).
 */
#pragma once

#include <cstdint>


/* PCX codec core (pcx_codec_access.cpp). */
extern "C" {
int32_t iQV_pcx_rle_decode(const uint8_t *in, int32_t in_len, int32_t block, int32_t line_len,
                           int32_t lines, uint8_t *out);
int32_t iQV_pcx_rle_decode_cut(int32_t fast, const uint8_t *in, int32_t in_len, const int32_t *cuts,
                               int32_t ncuts, int32_t line_len, int32_t lines, uint8_t *out,
                               int32_t *used);
int32_t iQV_pcx_rle_fast_enable(int32_t on);
int32_t iQV_pcx_rle_encode(const uint8_t *in, int32_t n, uint8_t *out);
int32_t iQV_pcx_line_to_dib(int32_t bpp, int32_t planes, int32_t width, int32_t bytes_per_line,
                            const uint8_t *line, uint8_t *row);
}
