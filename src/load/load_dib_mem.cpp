/*
 * load_dib_mem.cpp - a new image from a DIB in memory, through the load
 * pipeline's BMP reader (bare DIB form): creation from a caller's DIB and
 * duplication of an ordinary image.
 *
 * The copy is exact: the load rectangle, load size and colour reduction in
 * force do not apply (the pixel limit does).
 *
 * Internal: image_load_dib_mem (support/image.h).
 */
#include "registry/filter_table.h"
#include "load/load_pipeline.h"
#include "support/errors.h"
#include "support/image.h"

namespace qv {
namespace {
constexpr char kModule[] = "LOAD\\LOADDIB.C";
}  // namespace

int32_t image_load_dib_mem(const void *dib, size_t size, QUORIN *out) {
    if (!out) return QV_ERR(QVE_NULL_POINTER, 0, 0);
    *out = nullptr;
    if (!dib) return QV_ERR(QVE_NULL_POINTER, 0, 0);
    LoadSource src;
    src.kind = LoadSource::kMem;
    src.buffer = dib;
    src.size = size;
    LoadCall call;
    call.handle = out;
    call.filter = filter_row_of_type(QV_FORMAT_BMP);
    call.ignore_options = true;
    return load_run(src, call);
}

}  // namespace qv
