/*
 * checked.h - overflow-checked size arithmetic for the library's own code.
 *
 * The checks are the bridge's (VPb_size_mul, VPb_size_add, VPb_size_mul3 in
 * vosk32pd_bridge.h), so the library, its built-in filters and extension
 * modules share one helper. Every allocation whose size derives from file
 * data goes through them, or through mem_alloc_array / VPb_AF_mem_calloc,
 * which use them: they return false instead of wrapping, and the caller
 * reports the error.
 *   size_mul(a, b, &out), size_add(a, b, &out), size_mul3(a, b, c, &out)
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

inline bool size_mul(size_t a, size_t b, size_t *out) { return VPb_size_mul(a, b, out) != 0; }
inline bool size_add(size_t a, size_t b, size_t *out) { return VPb_size_add(a, b, out) != 0; }
inline bool size_mul3(size_t a, size_t b, size_t c, size_t *out) {
    return VPb_size_mul3(a, b, c, out) != 0;
}

}  // namespace qv
