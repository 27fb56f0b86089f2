/*
 * image_valid.cpp - the handle validity test and QV_image_is_valid.
 *
 * A handle is valid when it is not null, not a small value (-255..255), is
 * a live image record known to the OS layer (which answers without touching
 * the memory, so stale and foreign pointers are refused safely), and its
 * first four bytes read "REEB".
 */
#include <cstring>

#include "os/os.h"
#include "support/image.h"
#include "vosk32pd.h"

namespace qv {

bool image_record_live(const void *handle) {
    auto v = reinterpret_cast<intptr_t>(handle);
    if (v >= -255 && v <= 255) return false;
    return os_record_is_live(handle);
}

bool image_handle_valid(const void *handle) {
    if (!image_record_live(handle)) return false;
    return std::memcmp(static_cast<const ImageRecord *>(handle)->signature, kImageSignature, 4) == 0;
}

}  // namespace qv

extern "C" QV_API int32_t QV_image_is_valid(QUORIN handle) {
    return qv::image_handle_valid(handle) ? 1 : 0;
}
