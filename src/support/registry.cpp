/*
 * registry.cpp - the per-process instance registry (SUPPORT\SETTINGS).
 *
 * One process record (this library serves one process at a time, so the
 * process key is implicit) holding a chain of nodes of 13 (key, pointer)
 * slots. Nodes are allocated under the process memory tag.
 *
 * Exported: iQV_registry_register, iQV_registry_lookup, iQV_registry_remove
 * (for tests and diagnostics).
 */
#include "support/registry.h"

#include <mutex>

#include "support/errors.h"
#include "support/memory.h"
#include "vosk32pd/base.h"

namespace qv {
namespace {

constexpr int kSlots = 13;

struct Slot {
    int32_t key;
    void *ptr;
};

struct RegNode {
    int count;
    Slot slots[kSlots];
    RegNode *next;
};

struct ProcessRecord {
    RegNode *first;
};

std::recursive_mutex g_mutex;
ProcessRecord *g_process = nullptr;

Slot *find_slot(int32_t key, RegNode **node) {
    for (RegNode *n = g_process->first; n; n = n->next)
        for (int i = 0; i < n->count; ++i)
            if (n->slots[i].key == key) {
                if (node) *node = n;
                return &n->slots[i];
            }
    return nullptr;
}

}  // namespace

int32_t registry_create() {
    std::lock_guard<std::recursive_mutex> lock(g_mutex);
    if (g_process) return kRegOk;
    auto *p = static_cast<ProcessRecord *>(mem_alloc(mem_process_tag(), sizeof(ProcessRecord)));
    if (!p) return kRegNoMemory;
    g_process = p;
    return kRegOk;
}

void registry_destroy() {
    std::lock_guard<std::recursive_mutex> lock(g_mutex);
    if (!g_process) return;
    uint32_t tag = mem_process_tag();
    for (RegNode *n = g_process->first; n;) {
        RegNode *next = n->next;
        mem_free(tag, n);
        n = next;
    }
    mem_free(tag, g_process);
    g_process = nullptr;
}

int32_t registry_register(int32_t key, void *ptr) {
    std::lock_guard<std::recursive_mutex> lock(g_mutex);
    if (!g_process) return kRegNoProcess;
    if (find_slot(key, nullptr)) return kRegDuplicate;
    RegNode *n = g_process->first;
    while (n && n->count == kSlots) n = n->next;
    if (!n) {
        n = static_cast<RegNode *>(mem_alloc(mem_process_tag(), sizeof(RegNode)));
        if (!n) return kRegNoMemory;
        n->next = g_process->first;
        g_process->first = n;
    }
    n->slots[n->count++] = Slot{key, ptr};
    return kRegOk;
}

int32_t registry_lookup(int32_t key, void **ptr) {
    std::lock_guard<std::recursive_mutex> lock(g_mutex);
    if (ptr) *ptr = nullptr;
    if (!g_process) return kRegNoProcess;
    Slot *s = find_slot(key, nullptr);
    if (!s) return kRegNotFound;
    if (ptr) *ptr = key == kKeyErrorBlock ? error_block_resolve(s->ptr) : s->ptr;
    return kRegOk;
}

int32_t registry_remove(int32_t key) {
    std::lock_guard<std::recursive_mutex> lock(g_mutex);
    if (!g_process) return kRegNoProcess;
    RegNode *n = nullptr;
    Slot *s = find_slot(key, &n);
    if (!s) return kRegNotFound;
    *s = n->slots[--n->count];
    return kRegOk;
}

}  // namespace qv

extern "C" {
QV_API int32_t iQV_registry_register(int32_t key, void *ptr) { return qv::registry_register(key, ptr); }
QV_API int32_t iQV_registry_lookup(int32_t key, void **ptr) { return qv::registry_lookup(key, ptr); }
QV_API int32_t iQV_registry_remove(int32_t key) { return qv::registry_remove(key); }
}
