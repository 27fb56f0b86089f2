/*
 * frame.h - the entry frame of every exported QV_ function.
 *
 *   api_frame(fn)          clear on entry, run fn, return the error count
 *   api_frame_image(h, fn) the same, but return 0 at once (nothing pushed,
 *                          nothing done) when h is not a valid image handle
 *   api_guard(fn)          run fn without clearing (bridge functions)
 *
 * Exceptions never leave the library: std::bad_alloc becomes -1000 and any
 * other exception -1, pushed on the error stack.
 */
#pragma once

#include <cstdint>
#include <new>

#include "support/errors.h"

namespace qv {

bool image_handle_valid(const void *handle);  // defined with the image records
void frame_report_exception(bool out_of_memory);

template <class F>
inline int32_t api_guard(F &&fn) {
    try {
        fn();
    } catch (const std::bad_alloc &) {
        frame_report_exception(true);
    } catch (...) {
        frame_report_exception(false);
    }
    return error_count();
}

template <class F>
inline int32_t api_frame(F &&fn) {
    error_clear_on_entry();
    return api_guard(static_cast<F &&>(fn));
}

template <class F>
inline int32_t api_frame_image(const void *handle, F &&fn) {
    error_clear_on_entry();
    if (!image_handle_valid(handle)) return 0;
    return api_guard(static_cast<F &&>(fn));
}

}  // namespace qv
