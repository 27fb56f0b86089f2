/*
 * vosk32pd/bridge_registry.h - the filter registry for filters and
 * extension modules: iteration, search, per-filter entry points, control
 * blocks, format detection, and the layout of an extension module.
 *
 * Filter indexes: 0..44 are the built-in filters in table order; 4096 +
 * format type is the filter an extension module supplies for that type; a
 * negative value means none (or the end of an iteration).
 */
#ifndef VOSK32PD_BRIDGE_REGISTRY_H
#define VOSK32PD_BRIDGE_REGISTRY_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* ---- extension modules ---------------------------------------------------
 * A module is a shared object that exports one function, named by
 * VPb_MODULE_ENTRY_NAME, of type VPb_MODULE_ENTRY_FN. It returns the
 * module's table: a descriptor count and the descriptors (the fifteen
 * fields below, in this order; on 64-bit machines pointers are full
 * pointers). QV_ext_load copies the descriptors; the functions, control
 * block and extension text they point to must live as long as the module is
 * loaded. Filters in a module reach the library through the VPb_ bridge
 * (streams: vosk32pd/bridge_io.h) and link against libVOSK32PD.
 *
 * Descriptor fields:
 *   auto_detect  1: takes part in detection (QV_load_auto_detect_set
 *                changes the library's copy)
 *   kind         1 = format filter; descriptors of any other kind are
 *                skipped by every registry function
 *   reserved     not used by the registry
 *   format_type  1..65535; the filter's index is 4096 + format_type
 *   detect, info, read, write, pages, tiles, thumb: entry points as for the
 *                built-in filters (vosk32pd_bridge.h); read is required,
 *                the others may be null
 *   ctl, ctl_size  the filter's control block, copied for each call
 *   multipage    1 when a file holds several images (saves then add pages)
 *   extensions   file-name extensions, upper case, each followed by "|"
 *                ("QVX|"), used to choose the filter when saving by name;
 *                may be null */
typedef struct VPb_EXT_DESCRIPTOR {
    int32_t auto_detect;
    int32_t kind;
    int32_t reserved;
    int32_t format_type;
    VPb_DETECT_FN detect;
    VPb_INFO_FN info;
    VPb_READ_FN read;
    VPb_WRITE_FN write;
    VPb_PAGES_FN pages;
    VPb_TILES_FN tiles;
    VPb_THUMB_FN thumb;
    void *ctl;
    int32_t ctl_size;
    int32_t multipage;
    const char *extensions;
} VPb_EXT_DESCRIPTOR;

typedef struct VPb_EXT_TABLE {
    int32_t count;
    const VPb_EXT_DESCRIPTOR *descriptors;
} VPb_EXT_TABLE;

#define VPb_EXT_KIND_FILTER 1
#define VPb_EXT_INDEX_BASE 4096
#define VPb_MODULE_ENTRY_NAME "VPb_module_entry"
typedef const VPb_EXT_TABLE *(*VPb_MODULE_ENTRY_FN)(void);

/* ---- iteration and search ------------------------------------------------
 * filter_first: the first extension filter when a module supplies one, else
 * 0. filter_next: for 0..43 index + 1; for 44, -1; for an extension index
 * the next extension filter of the same and then the following modules, and
 * 0 after the last one (iteration continues into the built-in table); -1
 * for anything else. filter_count: 45 + the number of extension filters.
 * filter_search(type): the extension filter of the type (4096 + type), else
 * the first built-in row of the type, else the value -2110 itself (nothing
 * is pushed). */
QV_API int32_t VPb_VPr_filter_first(void);
QV_API int32_t VPb_VPr_filter_next(int32_t index);
QV_API int32_t VPb_VPr_filter_count(void);
QV_API int32_t VPb_VPr_filter_search(uint32_t format_type);

/* ---- per-filter accessors ------------------------------------------------
 * Each stores the entry and returns 1; for a negative or unknown index it
 * stores 0 (null) and returns 0. An entry the filter lacks is stored as null
 * with the result 1. thumb_exists answers 1 when the filter has a thumbnail
 * function. */
QV_API int32_t VPb_VPr_filter_type_get(int32_t index, uint32_t *format_type);
QV_API int32_t VPb_VPr_filter_detect_func_get(int32_t index, VPb_DETECT_FN *fn);
QV_API int32_t VPb_VPr_filter_info_func_get(int32_t index, VPb_INFO_FN *fn);
QV_API int32_t VPb_VPr_filter_read_func_get(int32_t index, VPb_READ_FN *fn);
QV_API int32_t VPb_VPr_filter_write_func_get(int32_t index, VPb_WRITE_FN *fn);
QV_API int32_t VPb_VPr_filter_pages_func_get(int32_t index, VPb_PAGES_FN *fn);
QV_API int32_t VPb_VPr_filter_tiles_func_get(int32_t index, VPb_TILES_FN *fn);
QV_API int32_t VPb_VPr_filter_thumb_func_get(int32_t index, VPb_THUMB_FN *fn);
QV_API int32_t VPb_VPr_filter_thumb_exists(int32_t index);
QV_API int32_t VPb_VPr_filter_multipage_get(int32_t index, int32_t *multipage);
/* The multi-page flag of the first BUILT-IN row of the type (extension
 * filters are not consulted); -2110 when no row has the type. */
QV_API int32_t VPb_VPr_filter_multipage_by_type(uint32_t format_type);

/* Copies the filter's control block (the settings record's current values
 * for a built-in filter, the descriptor's block for an extension filter)
 * into dest, which must hold VPb_VPr_filter_ctl_size_get(index) bytes.
 * Returns 1; 0 for a negative or unknown index or when the settings record
 * cannot be obtained. */
QV_API int32_t VPb_VPr_filter_image_flags_get(int32_t index, void *dest);
QV_API int32_t VPb_VPr_filter_ctl_size_get(int32_t index);
/* An extension filter's control block and its size; null (size 0) for any
 * other index. */
QV_API void *VPb_VPr_ext_filter_image_control_get(int32_t index, int32_t *size);

/* Copies into buf (at least 4 bytes) the first extension of the type's
 * built-in row, at most three characters (the text up to the first "|",
 * cut at three), and returns the row index; -2110 when no built-in row has
 * the type (buf then holds ""). Rows without extensions give "". */
QV_API int32_t VPb_VPr_filter_default_ext_get(uint32_t format_type, char *buf);

/* ---- detection -----------------------------------------------------------
 * VPb_VPr_filter_detect(stream, &index): finds the filter of the stream's
 * content and returns the error count.
 *   1. Reads up to 256 bytes at the current position; nothing read: -2100
 *      (iVal the read result, lVal 256), then -2010.
 *   2. With at least 5 bytes, files that are certainly not images are
 *      refused with three records: the specific one (-3601 "MZ" executable,
 *      -3602 "PK" archive, -3604 help file 3F 5F 03 00; iVal the bytes
 *      read, lVal 0), -3600 (iVal the specific code, lVal 0) and -2010.
 *   3. Otherwise the filters are asked in iteration order (extension filters
 *      first); those whose auto-detect flag is 0 or that have no detector
 *      are skipped; the first that answers wins (*index).
 *   4. When no filter answers or errors were recorded meanwhile: -2010
 *      (iVal the error count at that point, lVal *index, -1 when none).
 *   5. The stream is returned to its position on entry on every path.
 * The file name plays no part. */
QV_API int32_t VPb_VPr_filter_detect(VPb_STREAM *stream, int32_t *index);

QV_EXTERN_C_END

#endif /* VOSK32PD_BRIDGE_REGISTRY_H */
