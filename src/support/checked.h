/*
 * checked.h - overflow-checked size arithmetic.
 *
 * Every allocation whose size derives from file data goes through these:
 * they return false instead of wrapping, and the caller reports the error.
 *   size_mul(a, b, &out), size_add(a, b, &out), size_mul3(a, b, c, &out)
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

inline bool size_mul(size_t a, size_t b, size_t *out) {
    return !__builtin_mul_overflow(a, b, out);
}

inline bool size_add(size_t a, size_t b, size_t *out) {
    return !__builtin_add_overflow(a, b, out);
}

inline bool size_mul3(size_t a, size_t b, size_t c, size_t *out) {
    size_t t;
    return size_mul(a, b, &t) && size_mul(t, c, out);
}

}  // namespace qv
