/*
 * resize_canvas.cpp - canvas change (method 4): no scaling; the picture
 * stays at the top left and is cropped or padded with a background.
 *
 * Packed rows:
 *  1. The top min(old, new height) rows keep min(old, new bytes per row)
 *     bytes of their source row (padding included).
 *  2. A wider row is filled from the first whole byte after the old width.
 *     1 bit: fill byte 0xFF for a 1-bit background, 0x00 otherwise, from
 *     byte old width / 8; a partly used byte is first completed (OR 0xFF >> r
 *     or AND 0xFF << (8 - r), r = old width mod 8) and filling starts after
 *     it. 4 bits: fill byte b * 16 | b; an odd old width first makes the
 *     shared byte (its high nibble) | b. Filling ends before byte new width
 *     / 8 (4 bits: / 2), plus one when the old width left a partly used
 *     byte, and never past the row: a new width that leaves a partly used
 *     last byte while the old one did not keeps that byte as copied.
 *     8 bits: the index fills pixels old width .. new width - 1; 16 and 24
 *     bits: the background bytes, pixel by pixel.
 *  3. Rows below the old height are all background (1 and 4 bits: the
 *     whole bytes covering the width).
 * Run lists: each row's changes are cut at the new width and extended with
 * the background colour; new rows are one run of the background. The pixels
 * agree with the packed rule except in the byte that rule keeps as copied
 * (an old width of whole bytes widened to a partly used one), which run
 * lists fill with the background.
 *
 * Internal: resize_canvas (resize.h).
 */
#include <algorithm>
#include <cstring>

#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/runs.h"

namespace qv {
namespace {

void fill_pixels(uint8_t *d, int32_t from, int32_t to, const uint8_t *bg, int32_t size) {
    for (int32_t x = from; x < to; ++x) std::memcpy(d + size_t(x) * size_t(size), bg, size_t(size));
}

// Step 2 for 1 and 4 bits: complete the partly used byte, then whole bytes.
void widen_sub_byte(uint8_t *d, size_t dbytes, int32_t bpp, int32_t ow, int32_t nw, uint8_t b) {
    const int32_t per = 8 / bpp;  // pixels per byte
    const int32_t r = ow % per;
    size_t start = size_t(ow / per);
    uint8_t fill;
    if (bpp == 1) {
        fill = b ? 0xFF : 0x00;
        if (r) d[start] = b ? uint8_t(d[start] | (0xFFu >> r)) : uint8_t(d[start] & (0xFFu << (8 - r)));
    } else {
        fill = uint8_t(b * 16u | b);
        if (r) d[start] = uint8_t((d[start] & 0xF0u) | b);
    }
    if (r) ++start;
    size_t end = std::min(size_t(nw / per) + (r ? 1 : 0), dbytes);
    if (start < end) std::memset(d + start, fill, end - start);
}

int32_t canvas_packed(const ResizeJob &job, const uint8_t *bg) {
    const int32_t ow = job.sdib->biWidth, oh = dib_abs_height(job.sdib);
    const int32_t nw = job.ddib->biWidth, nh = dib_abs_height(job.ddib);
    const int32_t bpp = job.sdib->biBitCount;
    SrcRows src(job.src, job.sdib);
    DstRows dst(job);
    if (!src.ok() || !dst.ok()) return QVE_NO_MEMORY;
    const size_t copy = std::min(src.bytes(), dst.bytes());
    const uint8_t b1 = bpp == 1 ? (bg[0] ? 1 : 0) : bg[0];
    for (int32_t y = 0; y < nh; ++y) {
        uint8_t *d = dst.row(y);
        if (y < oh) {
            std::memcpy(d, src.row(y), copy);
            if (nw > ow) {
                switch (bpp) {
                case 1:
                case 4: widen_sub_byte(d, dst.bytes(), bpp, ow, nw, b1); break;
                case 8: std::memset(d + ow, bg[0], size_t(nw - ow)); break;
                default: fill_pixels(d, ow, nw, bg, bpp / 8); break;
                }
            }
        } else {
            switch (bpp) {
            case 1: std::memset(d, b1 ? 0xFF : 0x00, size_t((nw + 7) / 8)); break;
            case 4: std::memset(d, uint8_t(b1 * 16u | b1), size_t((nw + 1) / 2)); break;
            case 8: std::memset(d, bg[0], size_t(nw)); break;
            default: fill_pixels(d, 0, nw, bg, bpp / 8); break;
            }
        }
        if (int32_t rc = dst.done(y, false); rc != 0) return rc;
    }
    return 0;
}

// Run lists to run lists: changes kept below the new width, the background
// colour from the old width on, new rows of the background alone.
int32_t canvas_runs(const ResizeJob &job, uint32_t colour) {
    const int32_t ow = job.sdib->biWidth, oh = dib_abs_height(job.sdib);
    const int32_t nw = job.ddib->biWidth, nh = dib_abs_height(job.ddib);
    const int32_t keep = std::min(ow, nw);
    WorkArea work;
    uint16_t *list = work.array<uint16_t>(size_t(runs_max_words(nw)) + 1);
    if (!list) return QVE_NO_MEMORY;
    for (int32_t y = 0; y < nh; ++y) {
        size_t n = 1;
        if (y < oh) {
            uint32_t parity = 0;
            if (const uint16_t *s = image_run_list(job.src, y)) {
                const size_t changes = s[0] / 2 - 4;
                for (size_t i = 1; i <= changes && s[i] < keep; ++i, parity ^= 1u) list[n++] = s[i];
            }
            if (nw > ow && parity != colour) list[n++] = uint16_t(ow);
        } else if (colour) {
            list[n++] = 0;
        }
        if (n == 1) continue;  // all of the first colour: not stored
        for (int i = 0; i < 3; ++i) list[n++] = uint16_t(nw);
        list[0] = uint16_t(2 * n);
        if (int32_t rc = image_run_row_store(job.drec, y, list); rc != 0) return rc;
    }
    return 0;
}

}  // namespace

int32_t resize_canvas(const ResizeJob &job) {
    static const uint8_t kDefault1[3] = {1, 0, 0};
    static const uint8_t kDefault[3] = {0, 0, 0};
    const int32_t bpp = job.sdib->biBitCount;
    const uint8_t *bg = job.background ? job.background : bpp == 1 ? kDefault1 : kDefault;
    bool src_runs = job.sdib->biCompression == QV_BI_RUNS && job.src && job.src->t.run_table;
    bool dst_runs = job.ddib->biCompression == QV_BI_RUNS && job.drec && job.drec->t.run_table;
    if (src_runs && dst_runs) return canvas_runs(job, bg[0] ? 1u : 0u);
    return canvas_packed(job, bg);
}

}  // namespace qv
