/*
 * vosk32pd/bridge_ip.h - the frame of image operations, for extension
 * modules that add operations of their own.
 *
 * An operation on an image clips the caller's rectangle, builds a
 * destination DIB of the result's size and depth, fills it, and puts it in
 * the image's place:
 *
 *     QV_RECT r;
 *     VPb_IP_check_rect_for_NULL_and_clip(image, caller_rect, &r);
 *     QV_DIB_HEADER *d = VPb_IP_allocate_dest_DIB(work, pal, w, h, bpp, 0, xres, yres);
 *     ... fill d ...
 *     VPb_IP_replace_DIB(image, d);   (or VPb_DIB_free(work, d) on failure)
 *
 * where `work` is a record made with VPb_image_alloc under the image's
 * memory tag (VPb_image_info_mem_tag_get), so the new DIB belongs to the
 * image's tag. Report each finished row with VPb_IP_status_bar_row and stop
 * when it answers 0.
 */
#ifndef VOSK32PD_BRIDGE_IP_H
#define VOSK32PD_BRIDGE_IP_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* The rectangle an operation works on. Null `in`: the whole image
 * (0, 0, width - 1, height - 1). Otherwise `in` clipped in this order: left
 * to 0..width-1, right to left..width-1, top to 0..height-1, bottom to
 * top..height-1, so an inverted or outside rectangle shrinks to one column
 * or row at the edge. Never fails; an invalid image or null `out` leaves
 * `out` untouched. */
QV_API void VPb_IP_check_rect_for_NULL_and_clip(QUORIN image, const QV_RECT *in, QV_RECT *out);

/* A new DIB under the record's memory tag: the given size, depth,
 * compression and resolution fields, a copy of `palette` for depths below
 * 24 (null leaves it zero), and 12 bytes of (zero) masks after the header
 * at compressions 3, 503 and 504. Returns it, or null after pushing:
 *   -3010 (0, 0) the record is locked; it is locked while allocating
 *   -1000 (size, tag) no memory
 *   -2061 not a record.
 * 1-bit destinations are packed (compression 500 is made 0): convert them
 * after the replacement when the image should be run-encoded. */
QV_API QV_DIB_HEADER *VPb_IP_allocate_dest_DIB(QUORIN image, const QV_RGBQUAD *palette, int32_t width,
                                              int32_t height, int32_t bpp, uint32_t compression,
                                              int32_t xres, int32_t yres);

/* Frees the image's DIB and binds `dib` in its place (it must come from
 * the image's memory tag). The image rectangle follows: when it covered the
 * whole old image it becomes the whole new image; otherwise it is kept,
 * clipped to the new size as VPb_IP_check_rect_for_NULL_and_clip clips.
 * Returns the error count (-2061 invalid image, -3060 null DIB). */
QV_API int32_t VPb_IP_replace_DIB(QUORIN image, QV_DIB_HEADER *dib);

/* Reports row `row` of `rows` written to the status-bar callback
 * (QV_status_bar_CB_register). Returns 1 to go on (also when no callback is
 * registered), or 0 after pushing -2113 (row, rows) when the callback
 * answered 0: the operation then stops and leaves the image as it was. */
QV_API int32_t VPb_IP_status_bar_row(int32_t row, int32_t rows);

/* Turns a display's device rectangle about its centre for quarter-turn
 * codes 1 and 3 (width and height exchanged); other codes leave it. The
 * display record starts with that rectangle (QV_RECT). Null display: -3060.
 * Returns the error count (the stack is not cleared). */
QV_API int32_t VPb_device_rect_rotate(void *display, int32_t code);

/* QV_IP_crop under its bridge name. */
QV_API int32_t iQV_IP_crop(QUORIN image, const QV_RECT *rect);

QV_EXTERN_C_END

#endif /* VOSK32PD_BRIDGE_IP_H */
