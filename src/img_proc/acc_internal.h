/*
 * acc_internal.h - shared pieces of the pixel-access operations
 * (acc_*.cpp): the opened image, format checks, and the per-depth span
 * workers that move pixels between a packed DIB row and a caller's buffer.
 *
 *   AccImage / acc_open(handle, &a)   record, DIB, width, |height|, depth,
 *                                     run form; -3000 for an unknown depth
 *   acc_format_ok(format, row_op)     1 or 2; 3 gives -100 for row
 *                                     operations; else -3320 (iVal format)
 *   acc_buffer_ok(p)                  null: -3060 (0, 0)
 *   acc_within(v, limit, code)        v outside 0..limit-1: code (v, limit)
 *   acc_elem_bytes(bpp)               bytes of one format-2 element
 *   acc_span_bytes(bpp, n, format)    bytes of n pixels in a format
 *   acc_get(bpp, row, x0, n, out, format)   n pixels from column x0
 *   acc_put(bpp, row, x0, n, in, format)    the other way
 *   acc_elems_to_packed / acc_packed_to_elems   format 2 <-> format 1 of a
 *                                     pixel sequence (columns, lines)
 *   RowAccess                         a row to read or change; run-encoded
 *                                     rows are decoded into scratch and
 *                                     encoded back on commit
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/dib.h"
#include "support/image.h"
#include "support/memory.h"

namespace qv {

struct AccImage {
    ImageRecord *rec = nullptr;
    QV_DIB_HEADER *dib = nullptr;
    int32_t width = 0;
    int32_t height = 0;
    int32_t bpp = 0;
    bool runs = false;
    size_t row_bytes = 0;
};

bool acc_open(void *handle, AccImage *a);
bool acc_format_ok(int32_t format, bool row_op);
void acc_report_run_form(const AccImage &a, int32_t code);
bool acc_buffer_ok(const void *p);
bool acc_within(int32_t v, int32_t limit, int32_t code);

inline size_t acc_elem_bytes(int32_t bpp) { return bpp <= 8 ? 1 : size_t(bpp) / 8; }
inline size_t acc_span_bytes(int32_t bpp, int64_t n, int32_t format) {
    return format == 1 ? size_t((n * bpp + 7) / 8) : size_t(n) * acc_elem_bytes(bpp);
}

void acc_get(int32_t bpp, const uint8_t *row, int32_t x0, int32_t n, void *out, int32_t format);
void acc_put(int32_t bpp, uint8_t *row, int32_t x0, int32_t n, const void *in, int32_t format);
void acc_elems_to_packed(int32_t bpp, const uint8_t *elems, int32_t n, uint8_t *packed);
void acc_packed_to_elems(int32_t bpp, const uint8_t *packed, int32_t n, uint8_t *elems);

/* One row of the image for reading or changing. Ordinary DIBs are used in
 * place; a run-encoded row is decoded into a scratch row (allocated once,
 * under a tag of its own) and encoded back by commit(). */
class RowAccess {
public:
    explicit RowAccess(const AccImage &a) : a_(a) {}
    ~RowAccess();
    RowAccess(const RowAccess &) = delete;
    RowAccess &operator=(const RowAccess &) = delete;
    // Null after pushing -1000 when the scratch row cannot be had.
    uint8_t *open(int32_t row);
    // Stores a changed run-encoded row; 0 or the error code pushed.
    int32_t commit(int32_t row);

private:
    const AccImage &a_;
    uint32_t tag_ = 0;
    uint8_t *scratch_ = nullptr;
};

}  // namespace qv
