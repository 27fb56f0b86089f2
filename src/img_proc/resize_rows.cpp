/*
 * resize_rows.cpp - row access of the resize workers in both
 * representations of 1-bit images, and the choice of worker.
 *
 * Internal: SrcRows, DstRows, resize_run (resize.h).
 */
#include <cstring>

#include "img_proc/resize.h"
#include "support/dib.h"
#include "support/errors.h"
#include "support/memory.h"
#include "support/runs.h"

namespace qv {
namespace {
constexpr const char *kModule = kResizeModule;
}  // namespace

SrcRows::SrcRows(ImageRecord *rec, QV_DIB_HEADER *dib)
    : rec_(rec), dib_(dib), runs_(dib->biCompression == QV_BI_RUNS && rec && rec->t.run_table),
      bytes_(size_t(dib_bytes_per_row(dib->biWidth, dib->biBitCount))) {
    if (!runs_) return;
    tag_ = mem_unique_tag();
    for (auto &s : slot_) {
        s = static_cast<uint8_t *>(mem_alloc(tag_, bytes_));
        if (!s) {
            QV_ERR(QVE_NO_MEMORY, bytes_, tag_);
            ok_ = false;
            return;
        }
    }
}

SrcRows::~SrcRows() {
    if (tag_) mem_free_all(tag_);
}

const uint8_t *SrcRows::row(int32_t y) {
    if (!runs_) return dib_row(dib_, y);
    for (int i = 0; i < 2; ++i)
        if (which_[i] == y) return slot_[i];
    int i = next_;
    next_ ^= 1;
    const uint16_t *list = image_run_list(rec_, y);
    if (list) runs_to_packed(list, dib_->biWidth, slot_[i]);
    else std::memset(slot_[i], 0, bytes_);
    which_[i] = y;
    return slot_[i];
}

DstRows::DstRows(const ResizeJob &job)
    : job_(job), runs_(job.ddib->biCompression == QV_BI_RUNS && job.drec && job.drec->t.run_table),
      bytes_(size_t(dib_bytes_per_row(job.ddib->biWidth, job.ddib->biBitCount))) {
    if (!runs_) return;
    tag_ = mem_unique_tag();
    scratch_ = static_cast<uint8_t *>(mem_alloc(tag_, bytes_));
    list_ = static_cast<uint16_t *>(mem_alloc(tag_, runs_max_bytes(job.ddib->biWidth)));
    if (!scratch_ || !list_) {
        QV_ERR(QVE_NO_MEMORY, runs_max_bytes(job.ddib->biWidth), tag_);
        ok_ = false;
    }
}

DstRows::~DstRows() {
    if (tag_) mem_free_all(tag_);
}

uint8_t *DstRows::row(int32_t y) { return runs_ ? scratch_ : dib_row(job_.ddib, y); }

int32_t DstRows::done(int32_t y, bool report) {
    if (runs_) {
        int32_t w = job_.ddib->biWidth;
        int32_t n = runs_from_packed(scratch_, w, list_, runs_max_words(w));
        if (n > 4) {
            if (int32_t rc = image_run_row_store(job_.drec, y, list_); rc != 0) return rc;
        }
    }
    if (report && job_.progress && !job_.progress->row_done(y)) return QVE_CANCELLED;
    return 0;
}

int32_t resize_run(const ResizeJob &job) {
    uint32_t bpp = job.sdib->biBitCount;
    bool common = bpp == 1 || bpp == 4 || bpp == 8 || bpp == 16 || bpp == 24;
    switch (job.method) {
    case 0:
        if (!common) return QV_ERR(QVE_DEPTH_UNSUPPORTED, bpp, 0);
        return resize_nearest(job, false);
    case 1:
    case 2:
        if (bpp == 4) return QV_ERR(QVE_DEPTH_NOT_APPLICABLE, bpp, job.method);
        if (!common) return QV_ERR(QVE_DEPTH_UNSUPPORTED, bpp, 0);
        return job.method == 1 ? resize_average(job) : resize_bilinear(job);
    case 3:
        if (bpp == 16) return QV_ERR(QVE_DEPTH_NOT_APPLICABLE, bpp, job.method);
        if (!common) return QV_ERR(QVE_DEPTH_UNSUPPORTED, bpp, 0);
        return resize_nearest(job, true);
    case 4:
        if (!common) return QV_ERR(QVE_DEPTH_NOT_APPLICABLE, bpp, job.method);
        return resize_canvas(job);
    default:
        return QV_ERR(QVE_OUT_OF_RANGE, job.method, 0);
    }
}

}  // namespace qv
