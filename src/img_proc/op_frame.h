/*
 * op_frame.h - the frame every image operation works through.
 *
 * An operation that changes an image in place is written in four steps:
 *
 *     OpInPlace op(rec, kModule);          // work record under rec's tag
 *     QV_DIB_HEADER *d = op.dest(w, h, bpp, compression);   // or null
 *     if (d && worker(..., op.progress(rows)) == 0) op.commit();
 *     op.finish();                         // image-changed hook, always
 *
 * A destination that is not committed is freed with the work record when
 * `op` goes out of scope, so the image keeps its old DIB on every failure.
 * Compression 500 asks for a run-encoded 1-bit destination: its run table
 * lives in the work record and moves to the image on commit.
 *
 *   op_clip_rect(rec, in)      null: the whole image; else clipped left,
 *                              right, top, bottom in that order (never fails)
 *   op_alloc_dest(...)         VPb_IP_allocate_dest_DIB: lock, the record's
 *                              tag, palette copied below 24 bits, room for
 *                              masks at 3/503/504
 *   op_replace_dib(rec, dib, runs_from)   VPb_IP_replace_DIB, with the run
 *                              storage of `runs_from` moved over
 *   OpProgress                 the status-bar report of each written row and
 *                              its cancel (-2113: row, rows)
 *   Scratch                    zero-filled work buffers under a tag of
 *                              their own, released with the object
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/errors.h"
#include "support/image.h"
#include "support/memory.h"

namespace qv {

QV_RECT op_clip_rect(const ImageRecord *rec, const QV_RECT *in);

QV_DIB_HEADER *op_alloc_dest(ImageRecord *rec, const QV_RGBQUAD *palette, int32_t width, int32_t height,
                             int32_t bpp, uint32_t compression, int32_t xres, int32_t yres);

/* Frees rec's DIB, binds `dib` and sets the image rectangle: whole new image
 * when the old one covered the whole old image, else the old one clipped.
 * With `runs_from` (a work record under rec's tag holding dib's run table)
 * the run storage moves to rec. Returns 0 or the code pushed. */
int32_t op_replace_dib(ImageRecord *rec, QV_DIB_HEADER *dib, ImageRecord *runs_from);

/* Zero-filled buffers released with the object; null after pushing -1000
 * (bytes asked for, 0) under `module`. */
class Scratch {
public:
    explicit Scratch(const char *module) : module_(module) {}
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    template <class T>
    T *array(size_t n) {
        T *p = mem_alloc_array<T>(tag_.tag(), n ? n : 1);
        if (!p) {
            size_t bytes = n > SIZE_MAX / sizeof(T) ? SIZE_MAX : n * sizeof(T);
            error_push(module_, __LINE__, QVE_NO_MEMORY, int32_t(bytes > INT32_MAX ? INT32_MAX : bytes), 0);
        }
        return p;
    }
    uint32_t tag() const { return tag_.tag(); }

private:
    const char *module_;
    TagScope tag_;
};

/* Reports rows to the status-bar callback registered with
 * QV_status_bar_CB_register. row_done(y) calls it with (y, total); a zero
 * answer pushes -2113 (y, total) under `module` and returns false. Without
 * a callback row_done is one test. */
class OpProgress {
public:
    OpProgress(const char *module, int32_t total);
    bool row_done(int32_t row) { return !cb_ || report(row); }
    int32_t total() const { return total_; }

private:
    bool report(int32_t row);
    const char *module_;
    int32_t total_;
    int32_t (*cb_)(int32_t, int32_t, void *) = nullptr;
    void *user_ = nullptr;
};

class OpInPlace {
public:
    OpInPlace(ImageRecord *image, const char *module);
    ~OpInPlace();
    OpInPlace(const OpInPlace &) = delete;
    OpInPlace &operator=(const OpInPlace &) = delete;

    /* A destination with the image's palette and resolution fields; null
     * after pushing when it cannot be had. */
    QV_DIB_HEADER *dest(int32_t width, int32_t height, int32_t bpp, uint32_t compression);
    ImageRecord *work() const { return work_; }
    QV_DIB_HEADER *dest_dib() const { return dib_; }
    /* Puts the destination into the image; 0 or the code pushed. */
    int32_t commit();
    /* Runs the image-changed hook (QV_CHANGED_DIB, the image's depth). */
    void finish();

private:
    ImageRecord *image_;
    const char *module_;
    ImageRecord *work_ = nullptr;
    QV_DIB_HEADER *dib_ = nullptr;
};

}  // namespace qv
