/*
 * vosk32pd_bridge.h - the VPb_ bridge interface for format filters and
 * extension modules.
 *
 * Bridge functions do not clear the error stack; they push onto it and, where
 * they return a count, return error_count. This header declares the stream
 * type, the filter entry-point types, the error and memory bridges and the
 * settings hooks; the sub-headers add streams, DIB helpers, image accessors
 * and the filter registry.
 */
#ifndef VOSK32PD_BRIDGE_H
#define VOSK32PD_BRIDGE_H

#include "vosk32pd.h"

QV_EXTERN_C_BEGIN

/* A stream: a file or memory stream with its byte order, tag callbacks and
 * the load/save callbacks that the pipelines install. Opaque to filters. */
/* ---- filter entry points ---------------------------------------------- */
/* All return 0 on success or a negative error code after pushing it, except
 * detect, which returns non-zero when the bytes belong to the format. */

/* buf holds the first `count` (<= 256) bytes of the stream; the detector may
 * seek and read the stream itself (detection restores the position). */
typedef int32_t (*VPb_DETECT_FN)(VPb_STREAM *stream, const uint8_t *buf, int32_t count);
/* Fills `info` (width, height, bit count, compression, resolution) from the
 * header; *format_type and *value receive the format type and the format's
 * compression code. */
typedef int32_t (*VPb_INFO_FN)(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type,
                               int32_t *value, void *ctl);
/* Loads one image: sel1 is the page (from 1), sel2 is passed through. */
typedef int32_t (*VPb_READ_FN)(VPb_STREAM *stream, void *ctl, int32_t sel1, int32_t sel2);
/* Writes the image behind the stream's save callbacks. */
typedef int32_t (*VPb_WRITE_FN)(VPb_STREAM *stream, void *ctl, int32_t sel1, int32_t sel2,
                                int32_t compression);
typedef int32_t (*VPb_PAGES_FN)(VPb_STREAM *stream, void *ctl, int32_t *count);
typedef int32_t (*VPb_TILES_FN)(VPb_STREAM *stream, void *ctl, int32_t page, int32_t *columns,
                                int32_t *rows);
typedef int32_t (*VPb_THUMB_FN)(VPb_STREAM *stream, void *ctl, int32_t sel1, int32_t sel2);

/* ---- errors ----------------------------------------------------------- */

QV_API int32_t VPb_AF_error_set(const char *path, int32_t line, int32_t code, int32_t iVal,
                                int32_t lVal);
QV_API int32_t VPb_AF_error_check(void);
QV_API void VPb_AF_error_clear(void);
/* Store/read the clear-on-entry flag: 0, or -4 (no process record) or -6
 * (settings record not registered). */
QV_API int32_t VPb_error_clear_on_set(int32_t flag);
QV_API int32_t VPb_error_clear_on_get(int32_t *flag);

/* ---- tagged memory ---------------------------------------------------- */

QV_API uint32_t VPb_AF_mem_unique_tag_get(void);
QV_API void *VPb_AF_mem_alloc(uint32_t tag, size_t size);
QV_API void *VPb_AF_mem_realloc(uint32_t tag, void *block, size_t size);
/* 0 when freed; non-zero when the block is not held under that tag. */
QV_API int32_t VPb_AF_mem_free(uint32_t tag, void *block);
QV_API void VPb_AF_mem_free_all(uint32_t tag);
/* A zero-filled block of count * size bytes under the tag; null when the
 * product overflows (checked with VPb_size_mul) or memory is exhausted. */
QV_API void *VPb_AF_mem_calloc(uint32_t tag, size_t count, size_t size);

/* ---- overflow-checked sizes -------------------------------------------
 * The one check for every size that comes from file data: each returns 1
 * and stores the result when it fits a size_t, else 0 (the caller reports
 * its error). Header-only, so they cost no call. */
static inline int VPb_size_mul(size_t a, size_t b, size_t *out) {
    return !__builtin_mul_overflow(a, b, out);
}
static inline int VPb_size_add(size_t a, size_t b, size_t *out) {
    return !__builtin_add_overflow(a, b, out);
}
static inline int VPb_size_mul3(size_t a, size_t b, size_t c, size_t *out) {
    size_t t;
    return VPb_size_mul(a, b, &t) && VPb_size_mul(t, c, out);
}

/* ---- settings hooks ----------------------------------------------------
 * Hook numbers and the signature each is called with:
 *   0  image created     void fn(QUORIN image, void *extension_area_68_bytes)
 *   1  image deleted     void fn(QUORIN image)
 *   2  image changed     void fn(QUORIN image, int32_t reason, int32_t value)
 *                        run by every operation that replaces or edits an
 *                        image's pixels; reasons are QV_CHANGED_* below
 *   3  palette update    void fn(QUORIN image, int32_t entries)
 *                        run by VPb_logical_palette_update after an
 *                        operation gave the image a new palette
 *  12  image duplicated  void fn(QUORIN source, QUORIN copy) (type 48 only)
 */
#define QV_HOOK_IMAGE_CREATE 0
#define QV_HOOK_IMAGE_DELETE 1
#define QV_HOOK_IMAGE_CHANGED 2
#define QV_HOOK_PALETTE_UPDATE 3
#define QV_HOOK_IMAGE_DUPLICATE 12
#define QV_CHANGED_PIXELS 1     /* value: first row touched */
#define QV_CHANGED_DIB 2        /* DIB replaced; value: new bit depth */
#define QV_CHANGED_RESOLUTION 3 /* value: resolution unit */
#define QV_CHANGED_PALETTE 4    /* value: entry count */
/* The geometric operations report their own reasons (3 and 4 are shared
 * with the two above: the operation that ran tells them apart). */
#define QV_CHANGED_QUARTER_TURN 0 /* QV_IP_rotate_multiple_90; value: the code */
#define QV_CHANGED_FLIP 3         /* QV_IP_flip; value: the direction */
#define QV_CHANGED_CROP 4         /* QV_IP_crop; value: the rectangle's address
                                     (its low 32 bits in a 64-bit build) */
#define QV_CHANGED_ROTATE 8       /* QV_IP_rotate_any_angle(_bkgrnd); value 0 */
#define QV_CHANGED_COLORS 7       /* colours reduced, DIB replaced; value: new depth */
QV_API void *VPb_settings_hook_func_get(int32_t number);
/* 0, -3320 for a number outside 0..15, or a registry status. */
QV_API int32_t VPb_settings_hook_func_set(int32_t number, void *fn);
/* Brings the image's logical (display) palette up to date with its DIB's
 * palette. This build has no display objects of its own: the call runs the
 * palette-update hook (3), when installed, with the image and its palette
 * entry count. Invalid handles are ignored. */
QV_API void VPb_logical_palette_update(QUORIN image);

QV_EXTERN_C_END

#include "vosk32pd/bridge_image.h"
#include "vosk32pd/bridge_io.h"
#include "vosk32pd/bridge_load.h"
#include "vosk32pd/bridge_ip.h"
#include "vosk32pd/bridge_tiff.h"
/* Filter registry and extension modules. A module exports
 *     const VPb_EXT_TABLE *VPb_module_entry(void);
 * returning its descriptor table (count + descriptors of fifteen fields);
 * QV_ext_load (vosk32pd/io.h) loads it. Layout: vosk32pd/bridge_registry.h. */
#include "vosk32pd/bridge_registry.h"

#endif /* VOSK32PD_BRIDGE_H */
