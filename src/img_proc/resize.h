/*
 * resize.h - the resize workers behind QV_IP_resize, QV_IP_resize_bkgrnd
 * and QV_IP_thumbnail_create (resize_api.cpp).
 *
 * A job names the source (its DIB, or its record when run-encoded) and a
 * destination DIB of the new size and the source's depth; resize_run picks
 * the worker by method and depth. Workers write every destination row, top
 * row first and return 0 or the code pushed.
 *
 *   resize_nearest   methods 0 (position truncated) and 3 (rounded, halves
 *                    down): whole pixels through a column table
 *   resize_average   method 1: four-point average; 1 bit: block count when
 *                    shrinking both ways, else 3 of 4 samples
 *   resize_bilinear  method 2: bilinear in double precision
 *   resize_canvas    method 4: no scaling; crop or pad with the background
 *
 * SrcRows and DstRows hide the representation: a run-encoded row is decoded
 * into packed bits on reading and encoded into the destination's run table
 * after writing, so a worker written for packed rows gives the same pixels
 * in run form. Nearest neighbour and the canvas change also work on run
 * lists directly when source and destination are both run-encoded (the
 * canvas extends rows with the background colour there, see
 * resize_canvas.cpp). Methods 0 to 3 report rows to the progress; the canvas
 * change does not.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <climits>

#include "img_proc/op_frame.h"
#include "support/errors.h"
#include "support/image.h"
#include "support/memory.h"

namespace qv {

inline constexpr char kResizeModule[] = "IMG_PROC\\RESIZE.C";

/* Work buffers of one worker (Scratch under the resize module): array<T>(n)
 * is zero-filled; null after pushing -1000 (the bytes asked for, 0). */
class WorkArea : public Scratch {
public:
    WorkArea() : Scratch(kResizeModule) {}
};

struct ResizeJob {
    ImageRecord *src = nullptr;   // source record (run storage when run-encoded)
    QV_DIB_HEADER *sdib = nullptr;
    ImageRecord *drec = nullptr;  // record holding the destination's run storage
    QV_DIB_HEADER *ddib = nullptr;
    uint32_t method = 0;
    const uint8_t *background = nullptr;  // method 4: 1 to 3 bytes by depth
    bool is_signed = false;               // 16-bit samples are signed
    OpProgress *progress = nullptr;
};

/* Source rows as packed bits, whatever the representation. Two decoded rows
 * are kept, so a worker may ask for rows y0 and y1 in turn. */
class SrcRows {
public:
    SrcRows(ImageRecord *rec, QV_DIB_HEADER *dib);
    ~SrcRows();
    SrcRows(const SrcRows &) = delete;
    SrcRows &operator=(const SrcRows &) = delete;
    bool ok() const { return ok_; }
    const uint8_t *row(int32_t y);
    size_t bytes() const { return bytes_; }

private:
    ImageRecord *rec_;
    QV_DIB_HEADER *dib_;
    bool runs_;
    bool ok_ = true;
    size_t bytes_;
    uint32_t tag_ = 0;
    uint8_t *slot_[2] = {nullptr, nullptr};
    int32_t which_[2] = {-1, -1};
    int32_t next_ = 0;
};

/* Destination rows: row(y) is where row y is written; done(y) stores a
 * run-encoded row and reports progress. Both give 0 or the code pushed. */
class DstRows {
public:
    DstRows(const ResizeJob &job);
    ~DstRows();
    DstRows(const DstRows &) = delete;
    DstRows &operator=(const DstRows &) = delete;
    bool ok() const { return ok_; }
    bool runs() const { return runs_; }
    uint8_t *row(int32_t y);
    int32_t done(int32_t y, bool report = true);
    size_t bytes() const { return bytes_; }

private:
    const ResizeJob &job_;
    bool runs_;
    bool ok_ = true;
    size_t bytes_;
    uint32_t tag_ = 0;
    uint8_t *scratch_ = nullptr;
    uint16_t *list_ = nullptr;
};

int32_t resize_nearest(const ResizeJob &job, bool rounded);
int32_t resize_average(const ResizeJob &job);
int32_t resize_bilinear(const ResizeJob &job);
int32_t resize_canvas(const ResizeJob &job);
/* Picks the worker; unknown method -3320 (method, 0), unsupported depth
 * -3000 (bpp, 0) or -3300 (bpp, method). */
int32_t resize_run(const ResizeJob &job);

}  // namespace qv
