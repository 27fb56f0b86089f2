/*
 * memory.cpp - the tagged allocator (SUPPORT\QVH_UTIL).
 *
 * Bookkeeping is 32 bucket chains indexed by tag & 31. A node holds one tag
 * and a fixed array of (block, kind, free function) entries; a new node is
 * linked in when the last node of that tag is full. A block remembers its
 * kind so that it is released by the function that made it:
 *   kind 1 - OS global block, kind 2 - run-time heap (<= 1,024 bytes),
 *   kind 3 - the caller's callbacks from QV_mem_CB_register.
 * One mutex guards the buckets and the callbacks; a single thread sees the
 * plain behaviour.
 *
 * Exported: QV_mem_CB_register, VPb_AF_mem_unique_tag_get, VPb_AF_mem_alloc,
 * VPb_AF_mem_realloc, VPb_AF_mem_free, VPb_AF_mem_free_all,
 * iQV_mem_block_count, iQV_mem_live_blocks.
 */
#include "support/memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "os/os.h"
#include "support/frame.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

constexpr int kBuckets = 32;
constexpr int kNodeEntries = 16;

enum Kind : uint8_t { kKindGlobal = 1, kKindHeap = 2, kKindCaller = 3 };

struct Entry {
    void *block;
    QV_MEM_REALLOC_CB realloc_fn;  // kind 3 only
    QV_MEM_FREE_CB free_fn;        // kind 3 only
    size_t size;
    Kind kind;
};

struct Node {
    uint32_t tag;
    int count;
    Entry entries[kNodeEntries];
    Node *prev;
    Node *next;
};

std::atomic<uint32_t> g_counter{0};
uint32_t g_process_tag = 0;
std::mutex g_mutex;
Node *g_buckets[kBuckets];
size_t g_live = 0;
QV_MEM_ALLOC_CB g_alloc_cb = nullptr;
QV_MEM_REALLOC_CB g_realloc_cb = nullptr;
QV_MEM_FREE_CB g_free_cb = nullptr;

void release(const Entry &e) {
    switch (e.kind) {
        case kKindHeap: std::free(e.block); break;
        case kKindGlobal: os_global_free(e.block); break;
        case kKindCaller:
            if (e.free_fn) e.free_fn(e.block);
            break;
    }
}

// Caller holds g_mutex. Appends an entry for `tag`.
bool track(uint32_t tag, const Entry &e) {
    Node *&head = g_buckets[tag & 31];
    Node *last_of_tag = nullptr;
    for (Node *n = head; n; n = n->next)
        if (n->tag == tag && n->count < kNodeEntries) {
            last_of_tag = n;
            break;
        }
    if (!last_of_tag) {
        auto *n = static_cast<Node *>(std::calloc(1, sizeof(Node)));
        if (!n) return false;
        n->tag = tag;
        n->next = head;
        if (head) head->prev = n;
        head = n;
        last_of_tag = n;
    }
    last_of_tag->entries[last_of_tag->count++] = e;
    ++g_live;
    return true;
}

// Caller holds g_mutex. Finds the entry of `block` under `tag`.
Entry *find(uint32_t tag, const void *block, Node **node_out) {
    for (Node *n = g_buckets[tag & 31]; n; n = n->next) {
        if (n->tag != tag) continue;
        for (int i = 0; i < n->count; ++i)
            if (n->entries[i].block == block) {
                *node_out = n;
                return &n->entries[i];
            }
    }
    return nullptr;
}

// Caller holds g_mutex. Removes an entry, unlinking the node when empty.
void untrack(uint32_t tag, Node *n, Entry *e) {
    *e = n->entries[--n->count];
    --g_live;
    if (n->count == 0) {
        if (n->prev) n->prev->next = n->next;
        else g_buckets[tag & 31] = n->next;
        if (n->next) n->next->prev = n->prev;
        std::free(n);
    }
}

Entry make_block(size_t size, bool zero = true) {
    Entry e{};
    e.size = size;
    if (size <= kSmallBlockMax) {
        e.kind = kKindHeap;
        e.block = zero ? std::calloc(1, size ? size : 1) : std::malloc(size ? size : 1);
    } else if (g_alloc_cb) {
        e.kind = kKindCaller;
        e.block = g_alloc_cb(size);
        if (e.block && zero) std::memset(e.block, 0, size);
        e.realloc_fn = g_realloc_cb;
        e.free_fn = g_free_cb;
    } else {
        e.kind = kKindGlobal;
        e.block = zero ? os_global_alloc(size) : os_global_alloc_uninit(size);
    }
    return e;
}

}  // namespace

uint32_t mem_unique_tag() { return g_counter.fetch_add(1) | 0x10000000u; }

uint32_t mem_process_tag() {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_process_tag) g_process_tag = g_counter.fetch_add(1) | 0x10000000u;
    return g_process_tag;
}

namespace {

// A new tracked block, zero-filled or not.
void *alloc_tracked(uint32_t tag, size_t size, bool zero) {
    std::lock_guard<std::mutex> lock(g_mutex);
    Entry e = make_block(size, zero);
    if (!e.block) return nullptr;
    if (!track(tag, e)) {
        release(e);
        return nullptr;
    }
    return e.block;
}

// A tracked block resized, its first `keep` bytes kept; with `zero` the
// bytes past the old size are cleared (and keep is the whole old size).
void *resize_tracked(uint32_t tag, void *block, size_t keep, size_t size, bool zero) {
    if (!block) return alloc_tracked(tag, size, zero);
    std::lock_guard<std::mutex> lock(g_mutex);
    Node *n = nullptr;
    Entry *e = find(tag, block, &n);
    if (!e) return nullptr;
    if (keep > e->size) keep = e->size;
    void *p = nullptr;
    if (e->kind == kKindHeap && size <= kSmallBlockMax) {
        p = std::realloc(block, size ? size : 1);
    } else if (e->kind == kKindGlobal) {
        p = zero ? os_global_realloc(block, size) : os_global_grow_uninit(block, keep, size);
    } else if (e->kind == kKindCaller && e->realloc_fn) {
        p = e->realloc_fn(block, size);
    } else {
        // A small block growing past the small limit (or a caller block with
        // no realloc): move it into a block of the right kind.
        Entry ne = make_block(size, zero);
        if (!ne.block) return nullptr;
        std::memcpy(ne.block, block, keep < size ? keep : size);
        release(*e);
        *e = ne;
        return ne.block;
    }
    if (!p) return nullptr;
    if (zero && size > e->size) std::memset(static_cast<char *>(p) + e->size, 0, size - e->size);
    e->block = p;
    e->size = size;
    return p;
}

}  // namespace

void *mem_alloc(uint32_t tag, size_t size) { return alloc_tracked(tag, size, true); }

void *mem_realloc(uint32_t tag, void *block, size_t size) {
    return resize_tracked(tag, block, SIZE_MAX, size, true);
}

void *mem_alloc_uninit(uint32_t tag, size_t size) { return alloc_tracked(tag, size, false); }

void *mem_grow_uninit(uint32_t tag, void *block, size_t keep, size_t size) {
    return resize_tracked(tag, block, keep, size, false);
}

int mem_free(uint32_t tag, void *block) {
    Entry e{};
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        Node *n = nullptr;
        Entry *found = find(tag, block, &n);
        if (!found) return 1;
        e = *found;
        untrack(tag, n, found);
    }
    release(e);
    return 0;
}

void mem_free_all(uint32_t tag) {
    std::lock_guard<std::mutex> lock(g_mutex);
    Node *n = g_buckets[tag & 31];
    while (n) {
        Node *next = n->next;
        if (n->tag == tag) {
            for (int i = 0; i < n->count; ++i) release(n->entries[i]);
            g_live -= static_cast<size_t>(n->count);
            if (n->prev) n->prev->next = n->next;
            else g_buckets[tag & 31] = n->next;
            if (n->next) n->next->prev = n->prev;
            std::free(n);
        }
        n = next;
    }
}

int mem_detach(uint32_t tag, void *block) {
    std::lock_guard<std::mutex> lock(g_mutex);
    Node *n = nullptr;
    Entry *e = find(tag, block, &n);
    if (!e) return 1;
    untrack(tag, n, e);
    return 0;
}

bool mem_owns(uint32_t tag, const void *block) {
    std::lock_guard<std::mutex> lock(g_mutex);
    Node *n = nullptr;
    return find(tag, block, &n) != nullptr;
}

size_t mem_block_count(uint32_t tag) {
    std::lock_guard<std::mutex> lock(g_mutex);
    size_t c = 0;
    for (Node *n = g_buckets[tag & 31]; n; n = n->next)
        if (n->tag == tag) c += static_cast<size_t>(n->count);
    return c;
}

size_t mem_live_blocks() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_live;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_mem_CB_register(QV_MEM_ALLOC_CB alloc_fn, QV_MEM_REALLOC_CB realloc_fn,
                                  QV_MEM_FREE_CB free_fn) {
    return api_frame([&] {
        std::lock_guard<std::mutex> lock(g_mutex);
        if (alloc_fn && free_fn) {
            g_alloc_cb = alloc_fn;
            g_realloc_cb = realloc_fn;
            g_free_cb = free_fn;
        } else {
            g_alloc_cb = nullptr;
            g_realloc_cb = nullptr;
            g_free_cb = nullptr;
        }
    });
}

QV_API uint32_t VPb_AF_mem_unique_tag_get(void) { return mem_unique_tag(); }
QV_API void *VPb_AF_mem_alloc(uint32_t tag, size_t size) { return mem_alloc(tag, size); }
QV_API void *VPb_AF_mem_realloc(uint32_t tag, void *block, size_t size) {
    return mem_realloc(tag, block, size);
}
QV_API int32_t VPb_AF_mem_free(uint32_t tag, void *block) { return mem_free(tag, block); }
QV_API void VPb_AF_mem_free_all(uint32_t tag) { mem_free_all(tag); }
QV_API void *VPb_AF_mem_calloc(uint32_t tag, size_t count, size_t size) {
    size_t bytes;
    return size_mul(count, size, &bytes) ? mem_alloc(tag, bytes) : nullptr;
}
QV_API size_t iQV_mem_block_count(uint32_t tag) { return mem_block_count(tag); }
QV_API size_t iQV_mem_live_blocks(void) { return mem_live_blocks(); }

}  // extern "C"
