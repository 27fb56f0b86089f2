/*
 * acc_common.cpp - opening an image for pixel access, format checks, and
 * the row reader/writer that hides the run-encoded form.
 *
 * Internal: acc_open, acc_format_ok, acc_report_run_form, RowAccess
 * (acc_internal.h).
 */
#include <cstring>

#include "img_proc/acc_internal.h"
#include "support/errors.h"
#include "support/runs.h"

namespace qv {
namespace {
constexpr char kModule[] = "IMG_PROC\\ACC_LINE.C";
}  // namespace

bool acc_open(void *handle, AccImage *a) {
    a->rec = image_from_handle(static_cast<QUORIN>(handle));
    a->dib = a->rec->dib;
    a->width = a->dib->biWidth;
    a->height = dib_abs_height(a->dib);
    a->bpp = a->dib->biBitCount;
    a->runs = image_is_run_form(a->rec);
    a->row_bytes = size_t(dib_bytes_per_row(a->width, a->bpp));
    if (!dib_depth_known(uint32_t(a->bpp))) {
        QV_ERR(QVE_DEPTH_UNSUPPORTED, a->bpp, 0);
        return false;
    }
    return true;
}

bool acc_format_ok(int32_t format, bool row_op) {
    if (format == 1 || format == 2) return true;
    if (row_op && format == 3) QV_ERR(QVE_ACCESS_MODE, format, 0);
    else QV_ERR(QVE_OUT_OF_RANGE, format, 0);
    return false;
}

bool acc_buffer_ok(const void *p) {
    if (p) return true;
    QV_ERR(QVE_NULL_POINTER, 0, 0);
    return false;
}

bool acc_within(int32_t v, int32_t limit, int32_t code) {
    if (v >= 0 && v < limit) return true;
    QV_ERR(code, v, limit);
    return false;
}

void acc_report_run_form(const AccImage &a, int32_t code) {
    QV_ERR(code, static_cast<int32_t>(reinterpret_cast<intptr_t>(a.rec)), 1);
}

RowAccess::~RowAccess() {
    if (tag_) mem_free_all(tag_);
}

uint8_t *RowAccess::open(int32_t row) {
    if (!a_.runs) return dib_row(a_.dib, row);
    if (!scratch_) {
        tag_ = mem_unique_tag();
        scratch_ = static_cast<uint8_t *>(mem_alloc(tag_, a_.row_bytes));
        if (!scratch_) {
            QV_ERR(QVE_NO_MEMORY, a_.row_bytes, 0);
            return nullptr;
        }
    }
    if (image_row_get(a_.rec, row, scratch_) != 0) return nullptr;
    return scratch_;
}

int32_t RowAccess::commit(int32_t row) {
    if (!a_.runs) return 0;
    return image_row_set(a_.rec, row, scratch_);
}

}  // namespace qv
