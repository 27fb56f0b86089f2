/*
 * memory.h - the tagged allocator.
 *
 * Every block belongs to a 32-bit memory tag; all blocks of a tag can be
 * released at once. Requests of at most 1,024 bytes come from the run-time
 * heap; larger ones from the caller's callbacks (QV_mem_CB_register) or the
 * OS layer's global blocks. Blocks are zero-filled, except those of the
 * _uninit forms, for storage that is always written before it is read.
 *
 *   mem_unique_tag    counter | 0x10000000, counter incremented after use
 *   mem_process_tag   the tag taken at process attach
 *   mem_alloc, mem_realloc, mem_free (0 ok, non-zero: not under that tag),
 *   mem_alloc_uninit (bytes unspecified), mem_grow_uninit(tag, block, keep,
 *   size) (only the first `keep` bytes are kept; the rest unspecified),
 *   mem_free_all, mem_detach (block lives on, untracked), mem_owns,
 *   mem_block_count (accounting for tests and leak checks)
 *
 * All functions are safe to call from several threads.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/checked.h"

namespace qv {

inline constexpr size_t kSmallBlockMax = 1024;

uint32_t mem_unique_tag();
uint32_t mem_process_tag();
void *mem_alloc(uint32_t tag, size_t size);
void *mem_realloc(uint32_t tag, void *block, size_t size);
void *mem_alloc_uninit(uint32_t tag, size_t size);
void *mem_grow_uninit(uint32_t tag, void *block, size_t keep, size_t size);
int mem_free(uint32_t tag, void *block);
void mem_free_all(uint32_t tag);
int mem_detach(uint32_t tag, void *block);
bool mem_owns(uint32_t tag, const void *block);
size_t mem_block_count(uint32_t tag);
size_t mem_live_blocks();

/* Typed convenience: zero-filled array of n elements, with the byte count
 * checked for overflow. Null on overflow or exhaustion. */
template <class T>
T *mem_alloc_array(uint32_t tag, size_t n) {
    size_t bytes;
    if (!size_mul(n, sizeof(T), &bytes)) return nullptr;
    return static_cast<T *>(mem_alloc(tag, bytes));
}

/* Frees a tag when the scope ends (an operation's working memory). */
class TagScope {
public:
    TagScope() : tag_(mem_unique_tag()) {}
    ~TagScope() { mem_free_all(tag_); }
    TagScope(const TagScope &) = delete;
    TagScope &operator=(const TagScope &) = delete;
    uint32_t tag() const { return tag_; }

private:
    uint32_t tag_;
};

}  // namespace qv
