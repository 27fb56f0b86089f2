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


/* Streams outside a load or save (src/support/stream.cpp) and the choice of
 * a filter by file-name extension (src/registry/filter_registry.cpp). */
struct VPb_STREAM_s;
extern "C" {
VPb_STREAM_s *iQV_stream_mem_new(void *base, int64_t size);
VPb_STREAM_s *iQV_stream_count_new(void);
VPb_STREAM_s *iQV_stream_fd_new(intptr_t fd);
VPb_STREAM_s *iQV_stream_file_new(const char *name, int32_t how);  // 0 read, 1 update, 2 create
void iQV_stream_free(VPb_STREAM_s *stream, int32_t close_file);
int64_t iQV_stream_high_water(VPb_STREAM_s *stream);
void iQV_stream_load_slots_set(VPb_STREAM_s *stream, void *dib_create, void *raster_set,
                               void *raster_plane_set, void *post_process, void *ctx);
void iQV_stream_save_slots_set(VPb_STREAM_s *stream, void *dib_get, void *raster_get, void *ctx);
int32_t iQV_filter_by_extension(const char *file_name);
}
extern "C" {
int32_t iQV_image_runs_convert(struct QV_image_record_s *image, int32_t to_runs);
}
