/*
 * ext_modules.cpp - extension modules: shared objects that add format
 * filters at run time.
 *
 * The loaded modules form a linked list kept as global record 837, in load
 * order; each module record holds the module's handle, its id, and its own
 * copy of the descriptor table (so auto-detect flags can be changed and the
 * module's table may be read-only). The registry walks the list in order.
 * Modules still loaded at library detach are closed then.
 *
 * Exported: QV_ext_load, QV_ext_unload.
 */
#include <dlfcn.h>

#include <cstring>
#include <mutex>

#include "registry/filter_registry.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/lifecycle.h"
#include "support/memory.h"
#include "support/registry.h"

namespace qv {
namespace {

constexpr char kModule[] = "LOAD\\EXTMOD.C";
constexpr int32_t kMaxFormatType = 65535;

struct ExtModule {
    int32_t id;
    void *handle;
    int32_t count;
    VPb_EXT_DESCRIPTOR *descriptors;
    ExtModule *next;
};

struct ExtList {
    uint32_t tag;
    int32_t next_id;
    ExtModule *first;
};

std::mutex g_ext_mutex;

ExtList *ext_list() {
    void *p = nullptr;
    return registry_lookup(kKeyExtModules, &p) == 0 ? static_cast<ExtList *>(p) : nullptr;
}

void ext_release_all() {
    ExtList *list = ext_list();
    if (!list) return;
    registry_remove(kKeyExtModules);
    for (ExtModule *m = list->first; m; m = m->next)
        if (m->handle) dlclose(m->handle);
    mem_free_all(list->tag);
}

ExtList *ext_list_make() {
    if (ExtList *list = ext_list()) return list;
    uint32_t tag = mem_unique_tag();
    auto *list = static_cast<ExtList *>(mem_alloc(tag, sizeof(ExtList)));
    if (!list) {
        QV_ERR(QVE_NO_MEMORY, sizeof(ExtList), tag);
        return nullptr;
    }
    list->tag = tag;
    list->next_id = 1;
    if (registry_register(kKeyExtModules, list) != 0) {
        mem_free_all(tag);
        QV_ERR(QVE_REGISTRY, kKeyExtModules, 0);
        return nullptr;
    }
    lifecycle_on_detach(ext_release_all);
    return list;
}

bool is_filter(const VPb_EXT_DESCRIPTOR &d) { return d.kind == VPb_EXT_KIND_FILTER; }

// Checks and copies a module's table into memory of the list's tag; filters
// of a type another loaded module already serves are turned into kind 0.
int32_t adopt_table(ExtList *list, const VPb_EXT_TABLE *table, ExtModule *m) {
    if (!table || table->count < 0 || (table->count > 0 && !table->descriptors))
        return QV_ERR(QVE_EXT_BAD_MODULE, 3, table ? table->count : 0);
    for (int32_t i = 0; i < table->count; ++i) {
        const VPb_EXT_DESCRIPTOR &d = table->descriptors[i];
        if (!is_filter(d)) continue;
        if (!d.read || d.format_type < 1 || d.format_type > kMaxFormatType ||
            d.ctl_size < 0 || (d.ctl_size > 0 && !d.ctl))
            return QV_ERR(QVE_EXT_BAD_MODULE, 4, i);
    }
    m->count = table->count;
    if (table->count == 0) return 0;
    m->descriptors = mem_alloc_array<VPb_EXT_DESCRIPTOR>(list->tag, size_t(table->count));
    if (!m->descriptors)
        return QV_ERR(QVE_NO_MEMORY, int64_t(table->count) * int64_t(sizeof(VPb_EXT_DESCRIPTOR)), list->tag);
    std::memcpy(m->descriptors, table->descriptors, sizeof(VPb_EXT_DESCRIPTOR) * size_t(table->count));
    for (int32_t i = 0; i < m->count; ++i) {
        VPb_EXT_DESCRIPTOR &d = m->descriptors[i];
        if (!is_filter(d)) continue;
        bool taken = ext_filter_of_type(d.format_type) != nullptr;
        for (int32_t j = 0; j < i && !taken; ++j)
            taken = is_filter(m->descriptors[j]) && m->descriptors[j].format_type == d.format_type;
        if (taken) d.kind = 0;
    }
    return 0;
}

}  // namespace

VPb_EXT_DESCRIPTOR *ext_filter_at(int32_t n) {
    ExtList *list = ext_list();
    if (!list || n < 0) return nullptr;
    for (ExtModule *m = list->first; m; m = m->next)
        for (int32_t i = 0; i < m->count; ++i)
            if (is_filter(m->descriptors[i]) && n-- == 0) return &m->descriptors[i];
    return nullptr;
}

VPb_EXT_DESCRIPTOR *ext_filter_of_type(int64_t type) {
    ExtList *list = ext_list();
    if (!list) return nullptr;
    for (ExtModule *m = list->first; m; m = m->next)
        for (int32_t i = 0; i < m->count; ++i)
            if (is_filter(m->descriptors[i]) && m->descriptors[i].format_type == type)
                return &m->descriptors[i];
    return nullptr;
}

int32_t ext_filter_count() {
    int32_t n = 0;
    while (ext_filter_at(n)) ++n;
    return n;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_ext_load(const char *path, int32_t *module_id) {
    return api_frame([&] {
        if (module_id) *module_id = 0;
        if (!path || !module_id) {
            QV_ERR(QVE_NULL_POINTER, 0, 1);
            return;
        }
        std::lock_guard<std::mutex> lock(g_ext_mutex);
        void *handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (!handle) {
            QV_ERR(QVE_EXT_BAD_MODULE, 1, 0);
            return;
        }
        auto entry = reinterpret_cast<VPb_MODULE_ENTRY_FN>(dlsym(handle, VPb_MODULE_ENTRY_NAME));
        if (!entry) {
            dlclose(handle);
            QV_ERR(QVE_EXT_BAD_MODULE, 2, 0);
            return;
        }
        ExtList *list = ext_list_make();
        auto *m = list ? static_cast<ExtModule *>(mem_alloc(list->tag, sizeof(ExtModule))) : nullptr;
        if (!m) {
            if (list) QV_ERR(QVE_NO_MEMORY, sizeof(ExtModule), list->tag);
            dlclose(handle);
            return;
        }
        if (adopt_table(list, entry(), m) != 0) {
            if (m->descriptors) mem_free(list->tag, m->descriptors);
            mem_free(list->tag, m);
            dlclose(handle);
            return;
        }
        m->handle = handle;
        m->id = list->next_id++;
        ExtModule **tail = &list->first;
        while (*tail) tail = &(*tail)->next;
        *tail = m;
        *module_id = m->id;
    });
}

QV_API int32_t QV_ext_unload(int32_t module_id) {
    return api_frame([&] {
        std::lock_guard<std::mutex> lock(g_ext_mutex);
        ExtList *list = ext_list();
        ExtModule **link = list ? &list->first : nullptr;
        while (link && *link && (*link)->id != module_id) link = &(*link)->next;
        if (!link || !*link) {
            QV_ERR(QVE_REGISTRY, module_id, 0);
            return;
        }
        ExtModule *m = *link;
        *link = m->next;
        dlclose(m->handle);
        if (m->descriptors) mem_free(list->tag, m->descriptors);
        mem_free(list->tag, m);
    });
}

}  // extern "C"
