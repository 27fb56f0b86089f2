/*
 * vosk32pd/load.h - the load pipeline: files, descriptors, memory, caller
 * callbacks, header queries and the process-wide load options.
 *
 *   QV_load_file, QV_load_FD, QV_load_mem, QV_load_mem_CB, QV_load_FD_CB,
 *   QV_load_file_display, QV_load_raw_file/_FD/_mem,
 *   QV_load_thumbnail/_FD/_mem, QV_load_CCITT_FD/_mem,
 *   QV_info_get/_FD/_mem, QV_page_count_get/_FD/_mem, QV_tile_count_get/_FD/_mem,
 *   QV_load_size_set/_get, QV_load_rect_set/_get,
 *   QV_load_color_reduction_set/_get, QV_load_pixel_limit_set/_get,
 *   QV_status_bar_CB_register
 *
 * Every function returns the number of error records on the stack when it
 * leaves (0 = success); details are read with QV_error_get.
 *
 * How a load runs. The source is opened as a stream, its format is detected
 * from its first bytes (the file name's extension plays no part), and the
 * format's reader parses the header and hands its rows to the pipeline, which
 * builds the new image with the load options in force:
 *   1. the load rectangle crops the source,
 *   2. the load size scales the cropped area (nearest row and column),
 *   3. the colour reduction converts the pixels to the target depth.
 * A load that records any error deletes the half-built image (and its alpha
 * image) and leaves the caller's handle 0: a failed load leaves nothing
 * behind, neither an image nor memory.
 *
 * Colour reduction modes (QV_load_color_reduction_set):
 *   0  none: the image keeps the source depth and palette.
 *   1  sources above 1 bit become 1-bit black (entry 0) and white (entry 1)
 *      by Floyd-Steinberg error diffusion of the luminance (errors kept as
 *      16-bit values, weights 7/16 right, 3/16, 5/16, 1/16 on the next row
 *      delivered; rows are diffused in the order the reader delivers them).
 *      A 1-bit source keeps its palette as stored.
 *   2  sources above 4 bits become 4-bit with the 16-colour VGA palette
 *      (black, maroon, green, olive, navy, purple, teal, silver, grey, red,
 *      lime, yellow, blue, fuchsia, aqua, white), each pixel taking the
 *      nearest entry by squared RGB distance (the lower index on ties).
 *   3  sources above 8 bits become 8-bit with a fixed 256-entry palette:
 *      entries 0..251 a colour cube of 6 red x 7 green x 6 blue levels
 *      (index = (r6 * 7 + g7) * 6 + b6; red and blue levels 0, 51, ..., 255,
 *      green levels round(k * 255 / 6)), entries 252..255 the greys 51, 102,
 *      153 and 204. Pixels are mapped by direct quantisation of each channel
 *      to its nearest level; a grey pixel (R = G = B) is mapped to the
 *      nearest of the six greys 0, 51, 102, 153, 204, 255 instead.
 *   4  every source becomes 8-bit grey with the ramp palette (entry i =
 *      i, i, i); the grey value is the integer luminance
 *      (299 R + 587 G + 114 B + 500) / 1000. Palette sources use the colours
 *      of their palette.
 *   any other value: no reduction.
 * Sources of 1, 4 and 8 bits are always converted through their own
 * palette; 16-bit sources through their colour masks.
 *
 * Pixel limit: every load refuses an image whose width x height (of the
 * source, and of the target when a load size is in force) exceeds the limit
 * (default 2^28 pixels) with -3400 (iVal the width, lVal the height), before
 * any pixel memory is allocated.
 *
 * Codes a load reports itself (readers add their own):
 *   -2002  a thumbnail was asked of a format without thumbnails (lVal the
 *          filter index), or a caller's header callback refused the image
 *          (iVal the callback's result)
 *   -2010  format not recognised (detection, iVal the error count, lVal -1)
 *   -2030  the file could not be opened (iVal 0, lVal the OS result)
 *   -2112  the reader described a layout the pipeline cannot build (iVal the
 *          compression or bit depth)
 *   -2113  the status-bar callback returned 0 (iVal rows remaining, lVal the
 *          current row)
 *   -2436  a caller's row callback asked to stop (iVal its result, lVal the
 *          row), or no read function for a thumbnail load
 *   -3020  no image record could be allocated
 *   -3060  a required output pointer is null
 *   -3320  a negative load size or rectangle value (iVal the value)
 *   -3400  pixel limit exceeded (iVal width, lVal height)
 */
#ifndef VOSK32PD_LOAD_H
#define VOSK32PD_LOAD_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* Progress callback: done of total units (rows) finished. Return non-zero
 * to go on; 0 cancels the operation with -2113. */
typedef int32_t (*QV_STATUS_BAR_CB)(int32_t done, int32_t total, void *user);

/* Row callback of the callback loads: one source row as the reader delivers
 * it (row 0 = top, DIB packing at the header's depth, `bytes` bytes). Return
 * 0 to go on; any other value stops the load with -2436. */
typedef int32_t (*QV_LOAD_ROW_CB)(void *user, int32_t row, const uint8_t *data, int32_t bytes);
/* Header callback of the callback loads: the source header (width, height,
 * depth, compression, resolution fields) and palette (2^bpp entries for
 * depths up to 8, else null), before the first row. Return 0 to accept; any
 * other value refuses the image with -2002 (iVal that value). */
typedef int32_t (*QV_LOAD_HEADER_CB)(void *user, const QV_DIB_HEADER *hdr,
                                     const QV_RGBQUAD *palette);

/* ---- loading ------------------------------------------------------------ */

/* Loads the first page of the named file into a new image.
 * handle: receives the new image, or 0 on failure (set to 0 first).
 * Notes: 1. The format is detected from the content. 2. The load options in
 * force (rectangle, size, colour reduction, pixel limit, status bar) apply.
 * 3. A null handle pointer pushes -3060. */
QV_API int32_t QV_load_file(const char *file_name, QUORIN *handle);

/* Loads from an open descriptor.
 * offset: the stream starts `offset` bytes from the descriptor's current
 *   position (a relative seek); the descriptor is put back at the position
 *   it had on entry afterwards, on success and failure alike.
 * sel1: the page to load (from 1) for multi-page formats; sel2: passed to
 *   the reader unchanged (readers that know no use for it ignore it).
 * Notes: 1. The descriptor is not closed. 2. Otherwise as QV_load_file. */
QV_API int32_t QV_load_FD(int32_t fd, int64_t offset, int32_t sel1, int32_t sel2,
                          QUORIN *handle);

/* Loads from a memory buffer of `size` bytes holding a file image (or, for
 * BMP, a bare DIB). The buffer is only read. Otherwise as QV_load_FD. */
QV_API int32_t QV_load_mem(const void *buffer, size_t size, int32_t sel1, int32_t sel2,
                           QUORIN *handle);

/* Callback loads: the reader's rows go to the caller instead of building an
 * image; no image is created.
 * header_cb (may be null) sees the source header first; row_cb (required,
 * -3060 when null) receives every source row as delivered. The load options
 * do not apply (rows are the source's own), except the pixel limit.
 * QV_load_FD_CB reads from a descriptor at the relative `offset` and puts it
 * back afterwards, as QV_load_FD. */
QV_API int32_t QV_load_mem_CB(const void *buffer, size_t size, int32_t sel1, int32_t sel2,
                              QV_LOAD_ROW_CB row_cb, QV_LOAD_HEADER_CB header_cb, void *user);
QV_API int32_t QV_load_FD_CB(int32_t fd, int64_t offset, int32_t sel1, int32_t sel2,
                             QV_LOAD_ROW_CB row_cb, QV_LOAD_HEADER_CB header_cb, void *user);

/* As QV_load_file, with each delivered row also passed on for display while
 * the load runs. window, x, y: where the rows would be drawn. This build has
 * no display subsystem: the three values are accepted and the load behaves
 * exactly as QV_load_file. */
/* Declared for loading from a URL but not provided: sets *handle to 0 and
 * pushes -300. */
QV_API int32_t QV_load_internet(const char *url, QUORIN *handle);

QV_API int32_t QV_load_file_display(const char *file_name, intptr_t window, int32_t x, int32_t y,
                                    QUORIN *handle);

/* Raw loads: present in the interface, they do nothing. They return 0 at
 * once, record no error, create no image and leave *handle untouched. */
QV_API int32_t QV_load_raw_file(const char *file_name, QUORIN *handle);
QV_API int32_t QV_load_raw_FD(int32_t fd, int64_t offset, QUORIN *handle);
QV_API int32_t QV_load_raw_mem(const void *buffer, size_t size, QUORIN *handle);

/* Loads headerless CCITT fax data (a raw Group 3 or Group 4 page): the
 * caller gives what a header would.
 * width: pixels per row, 1..65535; height: rows, at least 1.
 * coding: 3 one-dimensional Group 3 (modified Huffman rows with EOLs, fill
 *   bits allowed; format type 11), 5 two-dimensional Group 3 (each row
 *   after an EOL and a tag bit; format type 53), 4 Group 4 (T.6; format
 *   type 12).
 * fill_order: 1 when the first pixel of a byte is its high bit, 2 when it is
 *   the low bit.
 * handle: receives the new image (1-bit, palette entry 0 white, entry 1
 *   black), or 0 on failure.
 * Notes:
 *  1. Data that ends early, or damaged data, leaves the rows that could not
 *     be decoded white (a row cut by a bad code inside a white run is black
 *     from there); the load still succeeds, except for two-dimensional
 *     Group 3 data that ends right after a row's EOL, before its tag bit:
 *     -2051 (1, 0). Leading fill bits and EOLs are skipped.
 *  2. The load options in force apply as for any load.
 *  3. Codes: -3320 (iVal the value) for a coding, width, height or fill
 *     order out of range; -3060 for a null handle pointer. The descriptor
 *     form reads from `offset` bytes past the descriptor's position and puts
 *     the descriptor back, as QV_load_FD. */
QV_API int32_t QV_load_CCITT_FD(int32_t fd, int64_t offset, int32_t width, int32_t height,
                                int32_t coding, int32_t fill_order, QUORIN *handle);
QV_API int32_t QV_load_CCITT_mem(const void *buffer, size_t size, int32_t width, int32_t height,
                                 int32_t coding, int32_t fill_order, QUORIN *handle);

/* Loads the reduced image a format stores as its thumbnail.
 * Notes: 1. A format without thumbnails reports -2002 (lVal the filter
 * index, iVal 0) and creates nothing. 2. The thumbnail reader builds the image with
 * the second option set of the load (the same options in force). 3. When
 * the thumbnail reader made no image, the format's read function is called
 * next with the same settings; without one: -2436. */
QV_API int32_t QV_load_thumbnail(const char *file_name, QUORIN *handle);
QV_API int32_t QV_load_thumbnail_FD(int32_t fd, int64_t offset, QUORIN *handle);
QV_API int32_t QV_load_thumbnail_mem(const void *buffer, size_t size, QUORIN *handle);

/* ---- header queries ----------------------------------------------------- */

/* Reads the header only.
 * format_type: receives the format type (2 BMP, 31 PCX, 40 TIFF, ...);
 * value: receives a second value the format reports (its compression code);
 * info: when not null, receives width, height, depth, compression and
 *   resolution in a DIB header record.
 * Notes: 1. Any output pointer may be null. 2. The two words are stored only
 * when the format's information function succeeds. */
QV_API int32_t QV_info_get(const char *file_name, int32_t *format_type, int32_t *value,
                           QV_DIB_HEADER *info);
QV_API int32_t QV_info_get_FD(int32_t fd, int64_t offset, int32_t *format_type, int32_t *value,
                              QV_DIB_HEADER *info);
QV_API int32_t QV_info_get_mem(const void *buffer, size_t size, int32_t *format_type,
                               int32_t *value, QV_DIB_HEADER *info);

/* Number of pages (images) in the source. A format without a page-count
 * function holds one page. count may not be null (-3060). */
QV_API int32_t QV_page_count_get(const char *file_name, int32_t *count);
QV_API int32_t QV_page_count_get_FD(int32_t fd, int64_t offset, int32_t *count);
QV_API int32_t QV_page_count_get_mem(const void *buffer, size_t size, int32_t *count);

/* Tiles of page `page` (from 1) as columns x rows. A format without tiles
 * reports 0 x 0 and no error. Null outputs are allowed. */
QV_API int32_t QV_tile_count_get(const char *file_name, int32_t page, int32_t *columns,
                                 int32_t *rows);
QV_API int32_t QV_tile_count_get_FD(int32_t fd, int64_t offset, int32_t page, int32_t *columns,
                                    int32_t *rows);
QV_API int32_t QV_tile_count_get_mem(const void *buffer, size_t size, int32_t page,
                                     int32_t *columns, int32_t *rows);

/* ---- load options (process-wide, in force until changed) ----------------- */

/* Load size: the new image gets this width and height. In force when either
 * is non-zero; a zero one of the two keeps the (cropped) source's value.
 * Negative values: -3320 (iVal the value), nothing stored.
 * The getter's in_force (may be null) receives 1 when the option is in force. */
QV_API int32_t QV_load_size_set(int32_t width, int32_t height);
QV_API int32_t QV_load_size_get(int32_t *width, int32_t *height, int32_t *in_force);

/* Load rectangle: left, top, width, height of the part of the source to
 * load. In force when width or height is non-zero (a zero one of the two
 * means the whole source extent). At load time the width and height are
 * clamped to the image and a rectangle running past the right or bottom
 * edge is shifted back inside. Negative values: -3320 (iVal the value). */
QV_API int32_t QV_load_rect_set(int32_t left, int32_t top, int32_t width, int32_t height);
QV_API int32_t QV_load_rect_get(int32_t *left, int32_t *top, int32_t *width, int32_t *height,
                                int32_t *in_force);

/* Colour reduction mode, see above. Any value is stored. */
QV_API int32_t QV_load_color_reduction_set(int32_t mode);
QV_API int32_t QV_load_color_reduction_get(int32_t *mode);

/* Pixel limit of every load (width x height). 0 restores the default of
 * 2^28 pixels. */
QV_API int32_t QV_load_pixel_limit_set(uint64_t pixels);
QV_API int32_t QV_load_pixel_limit_get(uint64_t *pixels);

/* Progress callback for loads (per delivered row) and saves (per fetched
 * row); null removes it. It is copied into each operation when it starts. */
QV_API int32_t QV_status_bar_CB_register(QV_STATUS_BAR_CB callback, void *user);

QV_EXTERN_C_END

#endif /* VOSK32PD_LOAD_H */
