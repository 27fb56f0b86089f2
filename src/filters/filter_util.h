/*
 * filter_util.h - what every built-in format filter shares, built on the
 * bridge alone (vosk32pd_bridge.h), exactly as an extension module could
 * build it: filters never include the library's internal headers.
 *
 *   QV_ERR(code, iVal, lVal)     push one record with this file's kModule
 *                                and line (VPb_AF_error_set); returns code
 *   FilterTag                    a fresh memory tag, all of it freed when
 *                                the scope ends
 *   filter_alloc_array<T>(tag, n)  zero-filled n elements, the byte count
 *                                overflow-checked (VPb_AF_mem_calloc)
 *   raster_bytes(width, bpp)     DIB bytes per row: 4 * ((w * bpp + 31) / 32)
 *   resolution_to_dib(ppm), resolution_from_dib(field)
 *                                pixels per metre <-> the DIB header's
 *                                resolution fields in the mode in force
 *   run_list_max_bytes(width)    largest run list of a row of that width
 *   ctl_word(ctl, field, fallback)  the 32-bit field of a control-block
 *                                copy (fallback when there is no copy)
 *
 * Sizes from file data are checked with VPb_size_mul / VPb_size_add before
 * they reach an allocation.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "vosk32pd_bridge.h"

#define QV_ERR(code, ival, lval)                                                          \
    VPb_AF_error_set(kModule, __LINE__, (code), static_cast<int32_t>(ival), \
                     static_cast<int32_t>(lval))

namespace qv {

class FilterTag {
public:
    FilterTag() : tag_(VPb_AF_mem_unique_tag_get()) {}
    ~FilterTag() { VPb_AF_mem_free_all(tag_); }
    FilterTag(const FilterTag &) = delete;
    FilterTag &operator=(const FilterTag &) = delete;
    uint32_t tag() const { return tag_; }

private:
    uint32_t tag_;
};

template <class T>
T *filter_alloc_array(uint32_t tag, size_t n) {
    return static_cast<T *>(VPb_AF_mem_calloc(tag, n, sizeof(T)));
}

inline uint64_t raster_bytes(int64_t width, int64_t bpp) {
    return 4 * ((uint64_t(width) * uint64_t(bpp) + 31) / 32);
}

// The DIB header's resolution field for a resolution in pixels per metre:
// the same value, or pixels per inch (rounded) when DIBs hold inches.
inline int32_t resolution_to_dib(int32_t ppm) {
    if (VPb_DIB_resolution_mode_get() == 3) return static_cast<int32_t>(ppm * 0.0254 + 0.5);
    return ppm;
}

// Pixels per metre of a DIB header's resolution field.
inline int32_t resolution_from_dib(int32_t field) {
    if (VPb_DIB_resolution_mode_get() == 3) return static_cast<int32_t>(field * 39.37 + 0.5);
    return field;
}

inline size_t run_list_max_bytes(int32_t width) { return 2 * size_t(width) + 8; }

inline int32_t ctl_word(const void *ctl, int field, int32_t fallback) {
    if (!ctl) return fallback;
    int32_t v = 0;
    __builtin_memcpy(&v, static_cast<const uint8_t *>(ctl) + 4 * field, 4);
    return v;
}

}  // namespace qv
