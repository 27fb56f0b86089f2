/*
 * load_dib_placeholder.cpp - stands in for loading a DIB from memory until
 * the load pipeline provides it: reports -500 and creates nothing.
 */
#include "support/errors.h"
#include "support/image.h"
#include "vosk32pd.h"

namespace qv {
namespace {
constexpr char kModule[] = "LOAD\\LOADDIB.C";
}  // namespace

int32_t image_load_dib_mem(const void *, size_t, QUORIN *out) {
    if (out) *out = nullptr;
    return QV_ERR(QVE_NOT_IMPLEMENTED, 0, 0);
}

}  // namespace qv
