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
