/*
 * vosk32pd/bridge_tiff.h - TIFF tag stores and the run-time codec slots.
 *
 * A tag store holds one parsed image file directory (IFD) of a TIFF file:
 * its entries in file order and an index table of 75 well-known tags. A
 * filter that parses TIFF data (the TIFF reader, containers that embed TIFF)
 * reads entries through the two calls below.
 *
 * Codec slots: a table of decoder entries looked up when a strip needs
 * them. Slot 8 decodes LZW (the library registers its own decoder there at
 * start-up) and slot 11 compression 32780; a caller may replace either.
 */
#ifndef VOSK32PD_BRIDGE_TIFF_H
#define VOSK32PD_BRIDGE_TIFF_H

#include "base.h"

QV_EXTERN_C_BEGIN

typedef struct VPb_TIF_TAGS_s VPb_TIF_TAGS;

/* The entry of tag index `index` (1..74: through the index table; any other
 * index: the first entry whose tag number is `tag`). Result: its value data
 * (null when absent or without data), with *type, *count and *size (type
 * size x count) set; all 0 when the entry is absent. Output pointers may be
 * null. */
QV_API const void *VPb_TIF_tag_data_get(VPb_TIF_TAGS *store, int32_t index, int32_t tag,
                                        int32_t *type, int32_t *count, int32_t *size);
/* Copies min(dest_size, type size x count) bytes of the entry's data to
 * dest and returns 1; returns 0 with *copied 0 when the entry is absent. */
QV_API int32_t VPb_TIF_tag_val_return(VPb_TIF_TAGS *store, int32_t index, int32_t tag, void *dest,
                                      int32_t dest_size, int32_t *copied);

/* ---- codec slots ----------------------------------------------------------
 * A strip codec decodes the strips of one page and hands each decoded row
 * (in the file's sample layout, before any conversion) to row(). Chunky
 * pages (planar 1) give plane 0 rows of all samples; planar pages (planar 2)
 * give, for each row, planes 0 .. samples - 1 in order before the next row.
 * Strip s of plane p is offsets[p * strips_per_plane + s]. */
typedef int32_t (*VPb_TIF_ROW_FN)(void *user, int32_t row, int32_t plane, const uint8_t *data);

typedef struct VPb_TIF_CODEC_ARGS {
    VPb_STREAM *stream;
    uint32_t tag;                 /* memory tag for the codec's buffers */
    int64_t base;                 /* added to every offset */
    const uint32_t *offsets;      /* strip offsets */
    const uint32_t *byte_counts;  /* strip byte counts, or null when unknown */
    int32_t offset_count;
    int32_t strips;               /* strips to decode per plane */
    int32_t strips_per_plane;
    int32_t rows_per_strip;
    int32_t width;
    int32_t height;               /* rows to deliver */
    int32_t planar;               /* 1 chunky, 2 planar */
    int32_t photometric;
    int32_t fill_order;
    int32_t bits[7];              /* bits per sample */
    int32_t samples;
    int32_t extra_samples;
    int32_t predictor;            /* 1 none, 2 horizontal differencing */
    int32_t byte_order;           /* 0 little-endian, 1 big-endian */
    VPb_TIF_ROW_FN row;
    void *user;
} VPb_TIF_CODEC_ARGS;

/* Returns 0 or a negative code (pushed). */
typedef int32_t (*VPb_TIF_CODEC_FN)(const VPb_TIF_CODEC_ARGS *args);

#define QV_CODEC_SLOT_COUNT 16
#define QV_CODEC_SLOT_LZW 8
#define QV_CODEC_SLOT_32780 11
/* Installs fn in the slot (null empties it). 0, or -3320 (iVal the slot)
 * for a slot outside 0..15. */
QV_API int32_t VPb_TIF_codec_set(int32_t slot, VPb_TIF_CODEC_FN fn);
/* The slot's entry; null when empty or outside 0..15. */
QV_API VPb_TIF_CODEC_FN VPb_TIF_codec_get(int32_t slot);

QV_EXTERN_C_END

#endif /* VOSK32PD_BRIDGE_TIFF_H */
