/*
 * op_frame.cpp - rectangle clipping, destination DIBs, DIB replacement and
 * progress reporting shared by the image operations (op_frame.h).
 *
 * Exported: VPb_IP_check_rect_for_NULL_and_clip, VPb_IP_allocate_dest_DIB,
 * VPb_IP_replace_DIB, VPb_IP_status_bar_row.
 */
#include "img_proc/op_frame.h"

#include <algorithm>
#include <cstring>

#include "support/dib.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/memory.h"
#include "support/runs.h"
#include "support/settings.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr char kModule[] = "IMG_PROC\\IPFRAME.C";

QV_RECT clip_to(int32_t w, int32_t h, const QV_RECT &in) {
    QV_RECT r = in;
    r.left = std::clamp(r.left, 0, w - 1);
    r.right = std::clamp(r.right, r.left, w - 1);
    r.top = std::clamp(r.top, 0, h - 1);
    r.bottom = std::clamp(r.bottom, r.top, h - 1);
    return r;
}

}  // namespace

QV_RECT op_clip_rect(const ImageRecord *rec, const QV_RECT *in) {
    int32_t w = image_width(rec), h = image_height(rec);
    if (!in) return QV_RECT{0, 0, w - 1, h - 1};
    return clip_to(w, h, *in);
}

QV_DIB_HEADER *op_alloc_dest(ImageRecord *rec, const QV_RGBQUAD *palette, int32_t width, int32_t height,
                             int32_t bpp, uint32_t compression, int32_t xres, int32_t yres) {
    if (!image_lock(rec)) {
        QV_ERR(QVE_LOCK_FAILED, 0, 0);
        return nullptr;
    }
    bool runs = compression == QV_BI_RUNS && bpp == 1;
    QV_DIB_HEADER tmpl;
    dib_init(&tmpl, width, height, uint32_t(bpp), runs ? QV_BI_RGB : compression, xres, yres);
    const QV_RGBQUAD *pal = bpp == 24 || bpp == 32 ? nullptr : palette;
    QV_DIB_HEADER *dib = dib_alloc_locked(rec, &tmpl, pal, runs);
    image_unlock(rec);
    return dib;
}

int32_t op_replace_dib(ImageRecord *rec, QV_DIB_HEADER *dib, ImageRecord *runs_from) {
    int32_t old_w = rec->dib ? image_width(rec) : 0, old_h = rec->dib ? image_height(rec) : 0;
    QV_RECT old = rec->image_rect;
    bool whole = old.left <= 0 && old.top <= 0 && old.right >= old_w - 1 && old.bottom >= old_h - 1;
    if (rec->dib) {
        if (int32_t rc = dib_free(rec, rec->dib); rc != 0) return rc;
    }
    image_runs_release(rec);
    if (runs_from && dib->biCompression == QV_BI_RUNS) {
        rec->t.run_table = runs_from->t.run_table;
        rec->t.run_data = runs_from->t.run_data;
        rec->t.run_used = runs_from->t.run_used;
        rec->t.run_capacity = runs_from->t.run_capacity;
        rec->t.run_data_owned = runs_from->t.run_data_owned;
        rec->t.run_lists_shared = runs_from->t.run_lists_shared;
        runs_from->t.run_table = nullptr;
        runs_from->t.run_data = nullptr;
        runs_from->t.run_used = runs_from->t.run_capacity = 0;
        runs_from->t.run_data_owned = 0;
        runs_from->t.run_lists_shared = 0;
    }
    image_associate(dib, rec, false);
    int32_t w = dib->biWidth, h = dib_abs_height(dib);
    rec->image_rect = whole ? QV_RECT{0, 0, w - 1, h - 1} : clip_to(w, h, old);
    return 0;
}

OpProgress::OpProgress(const char *module, int32_t total) : module_(module), total_(total) {
    if (Settings *s = settings_get()) {
        cb_ = reinterpret_cast<int32_t (*)(int32_t, int32_t, void *)>(s->status_cb);
        user_ = s->status_user;
    }
}

bool OpProgress::report(int32_t row) {
    if (cb_(row, total_, user_) != 0) return true;
    error_push(module_, __LINE__, QVE_CANCELLED, row, total_);
    return false;
}

OpInPlace::OpInPlace(ImageRecord *image, const char *module) : image_(image), module_(module) {
    work_ = image_alloc(image->mem_tag);
}

OpInPlace::~OpInPlace() {
    if (!work_) return;
    if (dib_) dib_free(work_, dib_);
    image_runs_release(work_);
    image_release_record(work_);
}

QV_DIB_HEADER *OpInPlace::dest(int32_t width, int32_t height, int32_t bpp, uint32_t compression) {
    if (!work_) return nullptr;
    const QV_DIB_HEADER *src = image_->dib;
    dib_ = op_alloc_dest(work_, dib_palette(image_->dib), width, height, bpp, compression,
                         src->biXPelsPerMeter, src->biYPelsPerMeter);
    return dib_;
}

int32_t OpInPlace::commit() {
    if (!dib_) return 0;
    int32_t rc = op_replace_dib(image_, dib_, work_);
    if (rc == 0) dib_ = nullptr;
    return rc;
}

void OpInPlace::finish() { image_changed(image_, QV_CHANGED_DIB, image_bpp(image_)); }

}  // namespace qv

using namespace qv;

extern "C" {

QV_API void VPb_IP_check_rect_for_NULL_and_clip(QUORIN image, const QV_RECT *in, QV_RECT *out) {
    api_guard([&] {
        if (image_handle_valid(image) && out) *out = op_clip_rect(image_from_handle(image), in);
    });
}

QV_API QV_DIB_HEADER *VPb_IP_allocate_dest_DIB(QUORIN image, const QV_RGBQUAD *palette, int32_t width,
                                              int32_t height, int32_t bpp, uint32_t compression,
                                              int32_t xres, int32_t yres) {
    QV_DIB_HEADER *dib = nullptr;
    api_guard([&] {
        if (!image_record_live(image)) {
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(image), 0);
            return;
        }
        // A record's run storage serves its own DIB: the bridge hands out packed ones.
        uint32_t c = compression == QV_BI_RUNS ? QV_BI_RGB : compression;
        dib = op_alloc_dest(image_from_handle(image), palette, width, height, bpp, c, xres, yres);
    });
    return dib;
}

QV_API int32_t VPb_IP_replace_DIB(QUORIN image, QV_DIB_HEADER *dib) {
    return api_guard([&] {
        if (!image_handle_valid(image)) {
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(image), 0);
            return;
        }
        if (!dib) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        op_replace_dib(image_from_handle(image), dib, nullptr);
    });
}

QV_API int32_t VPb_IP_status_bar_row(int32_t row, int32_t rows) {
    int32_t go_on = 1;
    api_guard([&] { go_on = OpProgress(kModule, rows).row_done(row) ? 1 : 0; });
    return go_on;
}

}  // extern "C"
