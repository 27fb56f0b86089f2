/*
 * vosk32pd/bridge_io.h - streams for filters: reading, writing, seeking,
 * byte order, tags, the raster hand-over to the load and save pipelines,
 * the run-length helper and the buffered reader/writer.
 *
 * A filter receives its stream from the pipeline; it never opens files
 * itself. A stream is either a file stream (a descriptor driven through the
 * I/O slots of QV_file_IO_register) or a memory stream (a buffer with a
 * position, a size and a high-water mark = the largest position reached).
 * None of these functions clears the error stack.
 */
#ifndef VOSK32PD_BRIDGE_IO_H
#define VOSK32PD_BRIDGE_IO_H

#include "base.h"
#include "io.h"

QV_EXTERN_C_BEGIN

/* ---- transfers and positioning ------------------------------------------
 * VPb_IO_read / VPb_IO_write return the number of bytes moved.
 *   1. Memory streams cut a transfer at the buffer's size (they never grow);
 *      the position advances by what was moved and the high-water mark
 *      follows it. A counting stream (the save-size calculation) moves
 *      positions but stores nothing, and reads nothing (returns 0).
 *   2. File streams return what the read or write slot returned. A short
 *      write pushes -2393 (iVal bytes asked, lVal bytes written); a short
 *      read pushes nothing (the reader reports its own code).
 * VPb_IO_seek(stream, offset, whence) returns the new position or -1.
 *   3. Whence 0 from the start, 1 from the current position, 2 from the end.
 *      For a memory stream "the end" is the high-water mark, not the buffer
 *      size; a result below 0 or above the size fails with -1 and keeps the
 *      position; a result beyond the high-water mark raises it.
 * VPb_IO_tell is a seek of 0 from the current position.
 * VPb_IO_truncate ends the stream's data at the current position: a file is
 *   cut there, a memory stream's high-water mark moves there. 0 or -1.
 *   Writers that rewrite a multi-page file opened for update use it so that
 *   no tail of the old file is left behind. */
QV_API int32_t VPb_IO_read(VPb_STREAM *stream, void *buffer, int32_t count);
/* VPb_IO_read_view(stream, count, view): a read that lends instead of
 * copying, for streams over memory: *view receives the address of the next
 * bytes inside the caller's buffer, the position moves past them and the
 * count VPb_IO_read would have returned is returned. The bytes are only
 * read, and only while the load or save runs. Any other stream (files,
 * descriptors, the caller's I/O functions, counting streams) returns -1 with
 * *view null and the position unchanged: the reader then reads into a
 * buffer of its own with VPb_IO_read. */
QV_API int32_t VPb_IO_read_view(VPb_STREAM *stream, int32_t count, const uint8_t **view);
QV_API int32_t VPb_IO_write(VPb_STREAM *stream, const void *buffer, int32_t count);
QV_API int64_t VPb_IO_seek(VPb_STREAM *stream, int64_t offset, int32_t whence);
QV_API int64_t VPb_IO_tell(VPb_STREAM *stream);
QV_API int32_t VPb_IO_truncate(VPb_STREAM *stream);

/* ---- values --------------------------------------------------------------
 * Reads store the value and return the number of bytes read (the full size
 * on success; bytes missing after a short read count as 0). Writes return
 * the number of bytes written. "ii" = little-endian, "mm" = big-endian
 * whatever the stream's order; the plain forms follow the stream's byte
 * order (0 little-endian, 1 big-endian; 0 for a new stream). */
QV_API int32_t VPb_IO_byte_read(VPb_STREAM *stream, uint8_t *value);
QV_API int32_t VPb_IO_byte_write(VPb_STREAM *stream, uint8_t value);
QV_API int32_t VPb_IO_ii_word_read(VPb_STREAM *stream, uint16_t *value);
QV_API int32_t VPb_IO_ii_word_write(VPb_STREAM *stream, uint16_t value);
QV_API int32_t VPb_IO_ii_dword_read(VPb_STREAM *stream, uint32_t *value);
QV_API int32_t VPb_IO_ii_dword_write(VPb_STREAM *stream, uint32_t value);
QV_API int32_t VPb_IO_mm_word_read(VPb_STREAM *stream, uint16_t *value);
QV_API int32_t VPb_IO_mm_word_write(VPb_STREAM *stream, uint16_t value);
QV_API int32_t VPb_IO_mm_dword_read(VPb_STREAM *stream, uint32_t *value);
QV_API int32_t VPb_IO_mm_dword_write(VPb_STREAM *stream, uint32_t value);
QV_API int32_t VPb_IO_word_read(VPb_STREAM *stream, uint16_t *value);
QV_API int32_t VPb_IO_word_write(VPb_STREAM *stream, uint16_t value);
QV_API int32_t VPb_IO_dword_read(VPb_STREAM *stream, uint32_t *value);
QV_API int32_t VPb_IO_dword_write(VPb_STREAM *stream, uint32_t value);

/* Byte order: set accepts only 0 and 1 (stores it and returns 1); any other
 * value returns 0 and changes nothing. */
QV_API int32_t VPb_IO_byte_order_set(VPb_STREAM *stream, int32_t order);
QV_API int32_t VPb_IO_byte_order_get(VPb_STREAM *stream);

/* Value conversions between a file's byte order and this machine's
 * (little-endian): the ii forms return the value unchanged, the mm forms
 * reverse its bytes. */
QV_API uint16_t VPb_ii_word_swap(uint16_t value);
QV_API uint32_t VPb_ii_dword_swap(uint32_t value);
QV_API uint16_t VPb_mm_word_swap(uint16_t value);
QV_API uint32_t VPb_mm_dword_swap(uint32_t value);

/* ---- files for extension modules -----------------------------------------
 * VPb_IO_open: access 1 reads an existing file; access with bit 2 (write)
 * opens for update, creating the file when missing. VPb_IO_create creates
 * or truncates. Both make the stream a file stream and return the handle,
 * negative on failure. VPb_IO_close closes a file stream (nothing for a
 * memory stream). */
QV_API intptr_t VPb_IO_open(VPb_STREAM *stream, const char *name, int32_t access);
QV_API intptr_t VPb_IO_create(VPb_STREAM *stream, const char *name);
QV_API void VPb_IO_close(VPb_STREAM *stream);

/* ---- tag offers (readers) ------------------------------------------------
 * Each installed offer callback is called, the pipeline's first, then the
 * caller's (QV_load_tag_CB_register): byte_set with (user, tag, 1, &value,
 * 1), word_set with type 3 and size 2, dword_set with type 4 and size 4;
 * VPb_IO_tag_set passes type, data and count through. tag_set_exists is
 * non-zero when either callback is installed (a reader may skip building
 * its offers otherwise). VPb_IO_tag_set_CB_register installs the pipeline's
 * callback of this stream (null removes it). */
QV_API void VPb_IO_tag_set_CB_register(VPb_STREAM *stream, QV_TAG_SET_CB fn, void *user);
QV_API void VPb_IO_tag_set(VPb_STREAM *stream, int32_t tag, int32_t type, const void *data,
                           int32_t count);
QV_API void VPb_IO_tag_byte_set(VPb_STREAM *stream, int32_t tag, uint8_t value);
QV_API void VPb_IO_tag_word_set(VPb_STREAM *stream, int32_t tag, uint16_t value);
QV_API void VPb_IO_tag_dword_set(VPb_STREAM *stream, int32_t tag, uint32_t value);
QV_API int32_t VPb_IO_tag_set_exists(VPb_STREAM *stream);

/* ---- tag requests (writers) ----------------------------------------------
 * VPb_IO_tag_get asks the save pipeline's request callback (preceded by the
 * caller's when it was registered with QV_SAVE_TAG_OVERRIDE) and returns 1
 * with type, data and count when answered; VPb_IO_tag_user_get asks the
 * caller's callback first and the pipeline's when it answers 0. Unanswered
 * (or with no callback installed): type, data and count are set to 0 and 0
 * is returned. The typed getters store the first value of a byte, short or
 * long answer and return 1; otherwise they store 0 and return 0.
 * tag_get_exists tells whether the pipeline's callback is installed,
 * tag_user_get_exists whether the caller's is. */
QV_API void VPb_IO_tag_get_CB_register(VPb_STREAM *stream, QV_TAG_GET_CB fn, void *user);
QV_API int32_t VPb_IO_tag_get(VPb_STREAM *stream, int32_t tag, int32_t *type, const void **data,
                              int32_t *count);
QV_API int32_t VPb_IO_tag_byte_get(VPb_STREAM *stream, int32_t tag, uint8_t *value);
QV_API int32_t VPb_IO_tag_word_get(VPb_STREAM *stream, int32_t tag, uint16_t *value);
QV_API int32_t VPb_IO_tag_dword_get(VPb_STREAM *stream, int32_t tag, uint32_t *value);
QV_API int32_t VPb_IO_tag_user_get(VPb_STREAM *stream, int32_t tag, int32_t *type,
                                   const void **data, int32_t *count);
QV_API int32_t VPb_IO_tag_get_exists(VPb_STREAM *stream);
QV_API int32_t VPb_IO_tag_user_get_exists(VPb_STREAM *stream);

/* ---- raster hand-over (readers) -----------------------------------------
 * A reader that knows its image calls VPb_IO_DIB_create with the source
 * header (width, height = number of rows it will deliver, bit count,
 * compression, resolution fields in the DIB's unit) and palette (2^bpp
 * entries for bpp <= 8, else null). It then delivers rows with
 * VPb_IO_raster_set (row 0 = top, DIB packing at the source depth) in any
 * order, and finishes with VPb_IO_raster_post_process. Each returns 0 or a
 * negative error code (already pushed); a reader stops at the first error.
 * Notes:
 *   1. When no pipeline callback is installed in the stream for the call,
 *      -2111 (iVal 0, lVal 1) is pushed and returned.
 *   2. A bit count other than 1, 4, 8, 16, 24 or 32 in VPb_IO_DIB_create,
 *      and a plane outside 0..planes-1 (or planes < 1) in
 *      VPb_IO_raster_plane_set, push -2413 (iVal 0, lVal 1).
 *   3. Source layouts the load pipeline builds: 1, 4, 8 bits (compression
 *      0; palette of 2^bpp entries), 16 bits with compression 0 (5-5-5), 3
 *      (colour masks), 503 (single channel) or 504 (palette of 65,536
 *      entries), 24 bits (B, G, R), 32 bits (B, G, R, X; compression 0, or 3
 *      with the masks 0xFF0000, 0xFF00, 0xFF). Any other is refused with
 *      -2112 (iVal the compression, lVal the bit count).
 *   4. When hdr->biCompression is 3, 503 or 504 the three 32-bit colour
 *      masks (red, green, blue) FOLLOW the 40 header bytes in the caller's
 *      memory: pass a block of 52 bytes, as a DIB holds them.
 *   5. Planar rows (VPb_IO_raster_plane_set): planes of 8 bits in the order
 *      red, green, blue (, alpha) make 24- or 32-bit pixels; 4 or 8 planes
 *      of 1 bit make 4- or 8-bit pixels, plane p giving bit p. The row is
 *      delivered when its last plane arrives. */
QV_API int32_t VPb_IO_DIB_create(VPb_STREAM *stream, const QV_DIB_HEADER *hdr,
                                 const QV_RGBQUAD *palette);
QV_API int32_t VPb_IO_raster_set(VPb_STREAM *stream, int32_t row, const uint8_t *data);
QV_API int32_t VPb_IO_raster_plane_set(VPb_STREAM *stream, int32_t row, int32_t plane,
                                       int32_t planes, const uint8_t *data);
QV_API int32_t VPb_IO_raster_post_process(VPb_STREAM *stream);
/* In-place delivery for readers whose rows need no conversion: when the
 * image would take the source rows unchanged (no load option in force, no
 * status bar, an ordinary DIB of the source's layout, rows stored bottom-up
 * in the file), VPb_IO_raster_direct_get returns the address of the image's
 * pixel rows (bottom row first) for the reader to fill; else null, and the
 * reader delivers rows with VPb_IO_raster_set. A reader that fills them
 * calls VPb_IO_raster_direct_done with the number of rows completed after
 * each block (status and bookkeeping), then VPb_IO_raster_post_process.
 * Call after VPb_IO_DIB_create. */
QV_API uint8_t *VPb_IO_raster_direct_get(VPb_STREAM *stream);
/* An extra 8-bit channel (alpha) beside the image being built: when the
 * image takes the source rows unchanged (as for VPb_IO_raster_direct_get),
 * an 8-bit grey image of the same size, every pixel 255, is linked to it as
 * its alpha image (QV_image_alpha_get) and the address of its pixel rows is
 * returned (bottom row first, rows of 4 * ((width + 3) / 4) bytes) for the
 * reader to fill; else null and the channel is not kept. Call after
 * VPb_IO_DIB_create. */
QV_API uint8_t *VPb_IO_extra_DIB_create(VPb_STREAM *stream);
QV_API int32_t VPb_IO_raster_direct_done(VPb_STREAM *stream, int32_t rows);
/* Alpha companion for readers of formats with alpha: after
 * VPb_IO_raster_post_process, when the image just loaded holds 32-bit
 * B, G, R, A pixels (no colour reduction turned it into another depth), an
 * 8-bit image of its fourth bytes (grey-ramp palette) is linked to it as its
 * alpha image (QV_image_alpha_get); the pixels keep their fourth byte.
 * Callback loads and other depths: nothing. Returns 0 or the code pushed. */
QV_API int32_t VPb_IO_alpha_split(VPb_STREAM *stream);
/* Run-list delivery for readers that decode 1-bit rows as run lists (the
 * fax codecs): VPb_IO_raster_runs_accepted is 1 when the image being built
 * is run-encoded and takes the source rows unchanged (no rectangle, size or
 * colour reduction, not a callback load), else 0 and the reader delivers
 * packed rows with VPb_IO_raster_set. VPb_IO_raster_runs_set stores row
 * `row` (0 = top) from a run list in the form of QV_runs_row_get (pixel
 * value 0 first); zero-length runs are kept as given. Returns 0, or after
 * pushing: -600 (iVal word 0, lVal the row) for a list that is not well
 * formed, -2111 (0, 1) when the image does not take run lists, -3420 (row,
 * height) for a row outside the image. Call after VPb_IO_DIB_create. */
QV_API int32_t VPb_IO_raster_runs_accepted(VPb_STREAM *stream);
QV_API int32_t VPb_IO_raster_runs_set(VPb_STREAM *stream, int32_t row, const uint16_t *runs);

/* The size the load will scale the image to, for readers that can decode
 * at a reduced scale themselves (JPEG's DCT scaling): 1 with *width and
 * *height set when a load size is in force for the image being built and no
 * load rectangle is (a rectangle counts in source pixels); else 0 with both
 * set to 0 (a 0 in force keeps that axis at the source size). A reader
 * that decodes smaller hands the smaller header to
 * VPb_IO_DIB_create and the pipeline scales the rest of the way. */
QV_API int32_t VPb_IO_load_size_hint_get(VPb_STREAM *stream, int32_t *width, int32_t *height);
/* The orientation (1..8, TIFF meaning) the file records, stored into the
 * image being built (after VPb_IO_DIB_create; the image is not turned).
 * 1 when stored; 0 outside an image-building load or for other values. */
QV_API int32_t VPb_IO_orientation_set(VPb_STREAM *stream, int32_t value);
/* For readers that build a working image of their own before
 * VPb_IO_DIB_create (composed animation frames): 0 when width x height is
 * within the pixel limit in force (QV_load_pixel_limit_set), else -3400
 * pushed (iVal the width, lVal the height) and returned. */
QV_API int32_t VPb_IO_pixel_limit_check(VPb_STREAM *stream, int32_t width, int32_t height);
/* For readers of images with alpha, after the last row of a 32-bit B, G, R,
 * A source and before VPb_IO_raster_post_process: builds the alpha
 * companion of the image being built (8 bits, grey-ramp palette, the
 * image's size, QV_image_alpha_get) from the fourth bytes, which the image
 * keeps. 1 when made; 0 when the image did not stay 32-bit (a colour
 * reduction changed it), outside an image-building load, or when the
 * companion could not be allocated (its code pushed). */
QV_API int32_t VPb_IO_alpha_extract(VPb_STREAM *stream);

/* ---- raster hand-over (writers) -----------------------------------------
 * VPb_IO_DIB_get describes the image to write (its current rectangle
 * applied): header, palette (up to 256 entries copied when palette is not
 * null) and entry count. VPb_IO_raster_get fetches row `row` (0 = top) in
 * DIB packing into data (bytes per row of that header). VPb_IO_image_get
 * returns the image being saved (null, with -2111 pushed, outside a save). */
QV_API int32_t VPb_IO_DIB_get(VPb_STREAM *stream, QV_DIB_HEADER *hdr, QV_RGBQUAD *palette,
                              int32_t *entries);
QV_API int32_t VPb_IO_raster_get(VPb_STREAM *stream, int32_t row, uint8_t *data);
QV_API int32_t VPb_IO_linked_raster_get(VPb_STREAM *stream, int32_t row, uint8_t *data);
QV_API QUORIN VPb_IO_image_get(VPb_STREAM *stream);
/* The linked (alpha) image whose rows VPb_IO_linked_raster_get fetches: an
 * 8-bit image of the same size; null when there is none or outside a save
 * (nothing is pushed). */
QV_API QUORIN VPb_IO_linked_image_get(VPb_STREAM *stream);
/* Direct rows for writers: when the writer would get the image's rows
 * unchanged (whole image, ordinary bottom-up DIB, no status bar), the
 * address of its pixel rows in DIB order (bottom row first); else null and
 * the writer fetches rows with VPb_IO_raster_get. */
QV_API const uint8_t *VPb_IO_DIB_direct_get(VPb_STREAM *stream);
/* Direct run lists for writers of 1-bit data: when the image is run-encoded
 * and the writer would get its rows unchanged (whole image, no status bar),
 * the image itself, whose rows VPb_image_run_row_get copies as run lists;
 * else null. */
QV_API QUORIN VPb_IO_runs_direct_get(VPb_STREAM *stream);

/* ---- the end of the data -------------------------------------------------
 * Where a stream's data ends, for readers whose data runs to the end (a
 * trailer found before it, the last page of a container): the end set by
 * a reader that embeds this one, else for a memory stream the end of the
 * data the caller handed in (never the buffer's spare capacity), else the
 * file's size. The position is left where it was. -1 when it cannot be told. */
QV_API int64_t VPb_IO_data_end(VPb_STREAM *stream);

/* ---- run-length expansion ------------------------------------------------
 * VPb_IO_rle_expand(src, src_len, dst, dst_len, consumed) expands records
 * of byte-oriented run-length data: a first byte with the high bit clear
 * copies the next (first byte) bytes literally; one with the high bit set
 * repeats the following byte (first byte & 0x7F) times.
 *   Result: the number of bytes written to dst. *consumed (may be null)
 *   receives the number of source bytes used.
 * Notes:
 *   1. Output never passes dst_len and a literal never reads past src_len
 *      (both are cut).
 *   2. Expansion stops at a record of length 0 (consumed includes it), when
 *      the input is exhausted, or when the output is full. */
QV_API int32_t VPb_IO_rle_expand(const uint8_t *src, int32_t src_len, uint8_t *dst,
                                 int32_t dst_len, int32_t *consumed);

/* ---- buffered access -----------------------------------------------------
 * A buffer over a stream for readers and writers of many small values.
 * VPb_IOB_open(stream, tag, mode, size): mode 1 reads, mode 2 writes; size
 * is the buffer size (> 0); tag the memory tag the buffer is taken from (0:
 * a fresh tag). Result: the buffer, or null with -1000 pushed (iVal the
 * size, lVal the tag) when it cannot be allocated and also (deliberately the
 * same code) for any other mode.
 * Notes (reading):
 *   1. Opening records the stream's position as the logical position, seeks
 *      to the end to learn the total size and seeks back; the byte order is
 *      copied from the stream at that moment.
 *   2. A value read takes its bytes from the buffer; when fewer are left the
 *      buffer is refilled at the logical position, except that the refill is
 *      refused (the read returns 0) when position + the value's size reaches
 *      or passes the total size. So the last bytes of a stream are reached
 *      only through bytes already buffered. Success returns 1.
 *   3. VPb_IOB_peek2 stores the next two bytes without advancing.
 *   4. VPb_IOB_seek: whence 0 absolute; 1 relative (inside the buffer when
 *      possible, otherwise the buffer is refilled at the new position); 2
 *      counts `offset` bytes back from the last byte (total size - 1 -
 *      offset) and is clamped at 0. The result is clamped to total size - 1
 *      and returned.
 *   5. VPb_IOB_close seeks the stream to the logical position, so the
 *      stream continues where the buffered reads stopped.
 * Notes (writing):
 *   6. Values are stored in the buffer and written to the stream when it is
 *      full, by VPb_IOB_flush and by VPb_IOB_close. Writes return 1 (bulk:
 *      the count) or 0 when the stream refused the bytes.
 * VPb_IOB_close releases the buffer in both modes and returns 0, or -1000
 * for a record of any other mode. */
typedef struct VPb_IOBUF_s VPb_IOBUF;
QV_API VPb_IOBUF *VPb_IOB_open(VPb_STREAM *stream, uint32_t tag, int32_t mode, int32_t size);
QV_API int32_t VPb_IOB_close(VPb_IOBUF *buf);
QV_API int32_t VPb_IOB_byte_read(VPb_IOBUF *buf, uint8_t *value);
QV_API int32_t VPb_IOB_word_read(VPb_IOBUF *buf, uint16_t *value);
QV_API int32_t VPb_IOB_dword_read(VPb_IOBUF *buf, uint32_t *value);
QV_API int32_t VPb_IOB_peek2(VPb_IOBUF *buf, uint8_t *two_bytes);
QV_API int64_t VPb_IOB_seek(VPb_IOBUF *buf, int64_t offset, int32_t whence);
QV_API int64_t VPb_IOB_tell(VPb_IOBUF *buf);
QV_API int64_t VPb_IOB_size(VPb_IOBUF *buf);
QV_API int32_t VPb_IOB_byte_write(VPb_IOBUF *buf, uint8_t value);
QV_API int32_t VPb_IOB_word_write(VPb_IOBUF *buf, uint16_t value);
QV_API int32_t VPb_IOB_dword_write(VPb_IOBUF *buf, uint32_t value);
QV_API int32_t VPb_IOB_write(VPb_IOBUF *buf, const void *data, int32_t count);
QV_API int32_t VPb_IOB_flush(VPb_IOBUF *buf);

QV_EXTERN_C_END

#endif /* VOSK32PD_BRIDGE_IO_H */
