/*
 * errors.h - the process error stack (internal side).
 *
 *   error_push            push one record, return its code
 *   error_count           records on the stack (0 when the block is absent)
 *   error_clear_on_entry  empty the stack when the clear-on-entry flag is 1
 *   error_debug_set/_get  the debug-echo flag
 *   error_block_create/_destroy  process attach and detach
 *   error_block_resolve   the calling thread's block behind key 872
 *
 * Every source file that reports errors defines its module path once:
 *     static constexpr char kModule[] = "FILTERS\\PCXREAD.C";
 * and reports with QV_ERR(code, iVal, lVal), which supplies the line.
 */
#pragma once

#include <cstdint>

namespace qv {

inline constexpr int kErrorSlots = 30;
inline constexpr int kErrorMaxCount = 29;
inline constexpr int kErrorNameChars = 13;

int32_t error_push(const char *path, int32_t line, int32_t code, int32_t iVal, int32_t lVal);
int32_t error_count();
void error_clear_on_entry();
int32_t error_debug_set(int32_t flag, int32_t *previous);
int32_t error_debug_get(int32_t *flag);

/* Attach/detach: -100 allocation failed, -101 registration failed or block
 * absent, -102 the block could not be freed. */
int32_t error_block_create();
int32_t error_block_destroy();

/* The block a lookup of key 872 gives the calling thread: `registered` (the
 * attaching thread's block) for that thread, the thread's own block (made on
 * first use) for any other; null when there is none. */
void *error_block_resolve(void *registered);

}  // namespace qv

#define QV_ERR(code, ival, lval) \
    ::qv::error_push(kModule, __LINE__, (code), static_cast<int32_t>(ival), static_cast<int32_t>(lval))
