/*
 * os_large_blocks.cpp - the large blocks of the tagged allocator (images,
 * run tables, working rows): os_global_alloc/_realloc/_free, and
 * os_global_alloc_uninit/os_global_grow_uninit for blocks not zero-filled.
 *
 * Blocks of at least 1 MiB are whole mappings of their own, aligned to
 * 2 MiB and advised for transparent huge pages, so that a fresh image costs
 * a few dozen page faults instead of one per 4 KiB. Freed mappings go to a
 * small cache (at most kCacheBlocks blocks and kCacheBytes bytes, oldest
 * evicted first) from which the next large request of a similar size is
 * served: loading one image after another reuses warm memory instead of
 * faulting in new pages and giving them back. A reused block is zero-filled
 * over the size asked for, as every new block is, except for the _uninit
 * forms, whose callers write before they read (a grown block keeps only the
 * bytes asked for). Smaller blocks come from calloc (malloc for _uninit). Sanitizer builds use calloc throughout, so every block keeps its
 * redzones.
 */
#include <malloc.h>
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <cstdint>
#include <unordered_map>

#include "os/os.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QV_PLAIN_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define QV_PLAIN_BLOCKS 1
#endif
#endif

namespace qv {

#ifdef QV_PLAIN_BLOCKS

void *os_global_alloc(size_t size) { return std::calloc(1, size ? size : 1); }
void *os_global_realloc(void *block, size_t size) { return std::realloc(block, size ? size : 1); }
void os_global_free(void *block) { std::free(block); }
void *os_global_alloc_uninit(size_t size) { return std::malloc(size ? size : 1); }
void *os_global_grow_uninit(void *block, size_t, size_t size) { return std::realloc(block, size ? size : 1); }

#else

namespace {

constexpr size_t kMapMin = size_t(1) << 20;   // smaller requests: calloc
constexpr size_t kHuge = size_t(2) << 20;     // mapping granule and alignment
constexpr int kCacheBlocks = 4;
constexpr size_t kCacheBytes = size_t(512) << 20;

struct Cached {
    void *block;
    size_t capacity;
};

std::mutex g_mutex;
std::unordered_map<void *, size_t> g_mapped;  // live mappings: capacity
Cached g_cache[kCacheBlocks];                 // oldest first
int g_cached = 0;
size_t g_cached_bytes = 0;

size_t round_up(size_t n) { return (n + kHuge - 1) & ~(kHuge - 1); }

// A new mapping of `capacity` bytes (a multiple of kHuge) aligned to kHuge.
void *map_aligned(size_t capacity) {
    const size_t span = capacity + kHuge;
    void *raw = ::mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (raw == MAP_FAILED) return nullptr;
    const uintptr_t start = reinterpret_cast<uintptr_t>(raw);
    const uintptr_t aligned = (start + kHuge - 1) & ~uintptr_t(kHuge - 1);
    if (aligned > start) ::munmap(raw, aligned - start);
    const uintptr_t tail = aligned + capacity, end = start + span;
    if (end > tail) ::munmap(reinterpret_cast<void *>(tail), end - tail);
    void *p = reinterpret_cast<void *>(aligned);
#ifdef MADV_HUGEPAGE
    ::madvise(p, capacity, MADV_HUGEPAGE);
#endif
    return p;
}

// Caller holds g_mutex. The cached block that best fits `capacity` (no
// more than twice as large), taken out of the cache; null when none.
void *take_cached(size_t capacity, size_t *got) {
    int best = -1;
    for (int i = 0; i < g_cached; ++i)
        if (g_cache[i].capacity >= capacity && g_cache[i].capacity / 2 <= capacity &&
            (best < 0 || g_cache[i].capacity < g_cache[best].capacity))
            best = i;
    if (best < 0) return nullptr;
    void *p = g_cache[best].block;
    *got = g_cache[best].capacity;
    g_cached_bytes -= *got;
    for (int i = best; i + 1 < g_cached; ++i) g_cache[i] = g_cache[i + 1];
    --g_cached;
    return p;
}

// Caller holds g_mutex. Keeps a freed mapping for reuse, unmapping what no
// longer fits the cache's bounds (oldest first).
void cache_or_unmap(void *block, size_t capacity) {
    if (capacity > kCacheBytes) {
        ::munmap(block, capacity);
        return;
    }
    while (g_cached == kCacheBlocks || g_cached_bytes + capacity > kCacheBytes) {
        ::munmap(g_cache[0].block, g_cache[0].capacity);
        g_cached_bytes -= g_cache[0].capacity;
        for (int i = 0; i + 1 < g_cached; ++i) g_cache[i] = g_cache[i + 1];
        --g_cached;
    }
    g_cache[g_cached++] = {block, capacity};
    g_cached_bytes += capacity;
}

}  // namespace

namespace {

// A mapped block of at least `size` bytes (size >= kMapMin): a cached one
// (*reused set, its bytes as they were left) or a fresh one (zero pages).
void *map_block(size_t size, bool *reused) {
    *reused = false;
    if (size > SIZE_MAX - 2 * kHuge) return nullptr;
    const size_t capacity = round_up(size);
    size_t got = 0;
    void *p;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        p = take_cached(capacity, &got);
        if (p) g_mapped.emplace(p, got);
    }
    if (p) {
        *reused = true;
        return p;
    }
    p = map_aligned(capacity);
    if (!p) return nullptr;
    std::lock_guard<std::mutex> lock(g_mutex);
    g_mapped.emplace(p, capacity);
    return p;
}

}  // namespace

void *os_global_alloc(size_t size) {
    if (size < kMapMin) return std::calloc(1, size ? size : 1);
    bool reused = false;
    void *p = map_block(size, &reused);
    if (p && reused) std::memset(p, 0, size);  // a reused block starts zero-filled like a new one
    return p;
}

void *os_global_alloc_uninit(size_t size) {
    if (size < kMapMin) return std::malloc(size ? size : 1);
    bool reused = false;
    return map_block(size, &reused);
}

void os_global_free(void *block) {
    if (!block) return;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        auto it = g_mapped.find(block);
        if (it != g_mapped.end()) {
            const size_t capacity = it->second;
            g_mapped.erase(it);
            cache_or_unmap(block, capacity);
            return;
        }
    }
    std::free(block);
}

void *os_global_realloc(void *block, size_t size) {
    if (!block) return os_global_alloc(size);
    size_t old_capacity = 0;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        auto it = g_mapped.find(block);
        if (it != g_mapped.end()) old_capacity = it->second;
    }
    if (old_capacity == 0 && size < kMapMin) return std::realloc(block, size ? size : 1);
    if (old_capacity != 0 && size <= old_capacity && size >= kMapMin) return block;
    // Between the two kinds, or growing a mapping: a new block and a copy.
    // The old size is not known for a calloc block, so its usable size is.
    const size_t old_size = old_capacity ? old_capacity : malloc_usable_size(block);
    void *p = os_global_alloc(size);
    if (!p) return nullptr;
    std::memcpy(p, block, old_size < size ? old_size : size);
    os_global_free(block);
    return p;
}

void *os_global_grow_uninit(void *block, size_t keep, size_t size) {
    if (!block) return os_global_alloc_uninit(size);
    size_t capacity = 0;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        auto it = g_mapped.find(block);
        if (it != g_mapped.end()) capacity = it->second;
    }
    if (capacity == 0 && size < kMapMin) return std::realloc(block, size ? size : 1);
    if (capacity != 0 && size <= capacity) return block;
    void *p = os_global_alloc_uninit(size);
    if (!p) return nullptr;
    std::memcpy(p, block, keep < size ? keep : size);
    os_global_free(block);
    return p;
}

#endif

}  // namespace qv
