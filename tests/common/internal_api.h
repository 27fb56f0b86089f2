/*
 * internal_api.h - the library's iQV_ exports that tests use to look inside:
 * allocator accounting, the instance registry and the debug echo.
 */
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
int32_t iQV_error_debug_set(int32_t flag, int32_t *previous);
int32_t iQV_error_debug_get(int32_t *flag);
void iQV_debug_sink_set(void (*sink)(const char *text, void *user), void *user);
size_t iQV_mem_block_count(uint32_t tag);
size_t iQV_mem_live_blocks(void);
int32_t iQV_registry_register(int32_t key, void *ptr);
int32_t iQV_registry_lookup(int32_t key, void **ptr);
int32_t iQV_registry_remove(int32_t key);
}

/* PCX codec core (src/filters/pcx_internal.cpp). */
extern "C" {
int32_t iQV_pcx_rle_decode(const uint8_t *in, int32_t in_len, int32_t block, int32_t line_len,
                           int32_t lines, uint8_t *out);
int32_t iQV_pcx_rle_encode(const uint8_t *in, int32_t n, uint8_t *out);
int32_t iQV_pcx_line_to_dib(int32_t bpp, int32_t planes, int32_t width, int32_t bytes_per_line,
                            const uint8_t *line, uint8_t *row);
}
