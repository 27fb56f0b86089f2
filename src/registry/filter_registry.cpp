/*
 * filter_registry.cpp - the filter registry: iteration, search, entry points,
 * control blocks, auto-detect flags and the choice of a filter by file-name
 * extension.
 *
 * The auto-detect record (global record 832) is made on first use: a
 * memory tag, the filter count at that moment and one 32-bit flag per
 * filter, all 1 except plain text (type 41), which is switched off the way
 * QV_load_auto_detect_set does it. Extension filters keep their flag in
 * their descriptor.
 *
 * Exported: QV_load_auto_detect_set/_get, VPb_VPr_filter_first/_next/
 * _count/_search, VPb_VPr_filter_type_get, VPb_VPr_filter_*_func_get,
 * VPb_VPr_filter_thumb_exists, VPb_VPr_filter_multipage_get/_by_type,
 * VPb_VPr_filter_image_flags_get, VPb_VPr_filter_ctl_size_get,
 * VPb_VPr_ext_filter_image_control_get, VPb_VPr_filter_default_ext_get,
 * iQV_filter_by_extension.
 */
#include "registry/filter_registry.h"

#include <cstring>
#include <mutex>

#include "support/errors.h"
#include "support/frame.h"
#include "support/lifecycle.h"
#include "support/memory.h"
#include "support/registry.h"
#include "support/settings.h"

namespace qv {
namespace {

constexpr char kModule[] = "LOAD\\VPR_REG.C";
constexpr uint32_t kTextType = 41;

struct AutoDetect {
    uint32_t tag;
    int32_t count;
    int32_t *flags() { return reinterpret_cast<int32_t *>(reinterpret_cast<uint8_t *>(this) + 8); }
};
static_assert(sizeof(AutoDetect) == 8);

std::mutex g_auto_mutex;

bool builtin(int32_t index) { return index >= 0 && index < kFilterCount; }

VPb_EXT_DESCRIPTOR *ext_of(int32_t index) {
    if (index <= kExtIndexBase) return nullptr;
    return ext_filter_of_type(int64_t(index) - kExtIndexBase);
}

void auto_detect_release() {
    void *p = nullptr;
    if (registry_lookup(kKeyAutoDetect, &p) != 0 || !p) return;
    registry_remove(kKeyAutoDetect);
    auto *rec = static_cast<AutoDetect *>(p);
    uint32_t tag = rec->tag;
    if (mem_free(tag, rec) != 0) QV_ERR(QVE_FREE_FAILED, 0, tag);
    mem_free_all(tag);
}

// Sets the flag of the first filter of `type` in iteration order (type 0:
// the first filter visited). False when no filter matched.
bool set_flag(AutoDetect *rec, uint32_t type, int32_t flag) {
    for (int32_t i = filter_first(); i >= 0; i = filter_next(i)) {
        if (type != 0 && filter_type(i) != int64_t(type)) continue;
        if (VPb_EXT_DESCRIPTOR *d = ext_of(i))
            d->auto_detect = flag;
        else if (rec && builtin(i))
            rec->flags()[i] = flag;
        return true;
    }
    return false;
}

AutoDetect *auto_detect_record() {
    std::lock_guard<std::mutex> lock(g_auto_mutex);
    void *p = nullptr;
    if (registry_lookup(kKeyAutoDetect, &p) == 0 && p) return static_cast<AutoDetect *>(p);
    int32_t count = filter_count();
    size_t bytes = 8 + 4 * size_t(count);
    uint32_t tag = mem_unique_tag();
    auto *rec = static_cast<AutoDetect *>(mem_alloc(tag, bytes));
    if (!rec) {
        QV_ERR(QVE_NO_MEMORY, bytes, tag);
        return nullptr;
    }
    std::memset(rec, 0, bytes);
    rec->tag = tag;
    rec->count = count;
    if (registry_register(kKeyAutoDetect, rec) != 0) {
        mem_free_all(tag);
        QV_ERR(QVE_REGISTRY, kKeyAutoDetect, 0);
        return nullptr;
    }
    lifecycle_on_detach(auto_detect_release);
    for (int32_t i = 0; i < count; ++i) rec->flags()[i] = 1;
    set_flag(rec, kTextType, 0);
    return rec;
}

template <class T>
int32_t store(int32_t index, T *out, T FilterFns::*field) {
    FilterFns f;
    if (!filter_fns(index, &f)) {
        if (out) *out = nullptr;
        return 0;
    }
    if (out) *out = f.*field;
    return 1;
}

}  // namespace

int32_t filter_first() {
    VPb_EXT_DESCRIPTOR *d = ext_filter_at(0);
    return d ? kExtIndexBase + d->format_type : 0;
}

int32_t filter_next(int32_t index) {
    if (index >= 0 && index < kFilterCount - 1) return index + 1;
    if (index == kFilterCount - 1) return -1;
    VPb_EXT_DESCRIPTOR *d = ext_of(index);
    if (!d) return -1;
    for (int32_t n = 0; VPb_EXT_DESCRIPTOR *e = ext_filter_at(n); ++n)
        if (e == d) {
            VPb_EXT_DESCRIPTOR *next = ext_filter_at(n + 1);
            return next ? kExtIndexBase + next->format_type : 0;
        }
    return 0;
}

int32_t filter_count() { return kFilterCount + ext_filter_count(); }

int32_t filter_search(uint32_t type) {
    if (type <= uint32_t(INT32_MAX - kExtIndexBase) && ext_filter_of_type(type))
        return kExtIndexBase + int32_t(type);
    int row = filter_row_of_type(type);
    return row >= 0 ? row : QVE_SAVE_FORMAT;
}

int64_t filter_type(int32_t index) {
    if (builtin(index)) return kFilterTable[index].type;
    if (VPb_EXT_DESCRIPTOR *d = ext_of(index)) return d->format_type;
    return -1;
}

bool filter_fns(int32_t index, FilterFns *out) {
    if (builtin(index)) {
        *out = *kFilterTable[index].fns;
        return true;
    }
    if (VPb_EXT_DESCRIPTOR *d = ext_of(index)) {
        *out = FilterFns{d->detect, d->info, d->read, d->write, d->pages, d->tiles, d->thumb};
        return true;
    }
    return false;
}

uint32_t filter_ctl_size(int32_t index) {
    if (builtin(index)) return kFilterTable[index].ctl_size;
    if (VPb_EXT_DESCRIPTOR *d = ext_of(index)) return d->ctl ? uint32_t(d->ctl_size) : 0;
    return 0;
}

int32_t filter_ctl_copy(int32_t index, void *dest, size_t size) {
    const uint8_t *src = nullptr;
    size_t n = 0;
    if (builtin(index)) {
        Settings *s = settings_get();
        if (!s) return 0;
        src = s->filter_ctl + kFilterTable[index].ctl_offset;
        n = kFilterTable[index].ctl_size;
    } else if (VPb_EXT_DESCRIPTOR *d = ext_of(index)) {
        src = static_cast<const uint8_t *>(d->ctl);
        n = src ? size_t(d->ctl_size) : 0;
    } else {
        return 0;
    }
    if (n > size) n = size;
    if (n) std::memcpy(dest, src, n);
    if (size > n) std::memset(static_cast<uint8_t *>(dest) + n, 0, size - n);
    return 1;
}

int32_t filter_multipage(int32_t index) {
    if (builtin(index)) return int32_t(kFilterTable[index].multipage);
    if (VPb_EXT_DESCRIPTOR *d = ext_of(index)) return d->multipage ? 1 : 0;
    return 0;
}

int32_t filter_auto_detect(int32_t index) {
    if (VPb_EXT_DESCRIPTOR *d = ext_of(index)) return d->auto_detect;
    if (!builtin(index)) return 0;
    AutoDetect *rec = auto_detect_record();
    if (!rec) return kFilterTable[index].type != kTextType;
    return index < rec->count ? rec->flags()[index] : 1;
}

namespace {

// True when `key` (upper-cased extension + "|") equals, over its own length,
// one entry of the list.
bool list_has(const char *list, const char *key, size_t len) {
    if (!list) return false;
    for (const char *entry = list; *entry;) {
        if (std::strncmp(entry, key, len) == 0) return true;
        const char *bar = std::strchr(entry, '|');
        if (!bar) break;
        entry = bar + 1;
    }
    return false;
}

}  // namespace

int32_t filter_by_extension(const char *file_name) {
    if (!file_name) return -1;
    const char *dot = std::strrchr(file_name, '.');
    if (!dot) return -1;
    // Upper case by clearing bit 0x20 of every byte (digits change too, so a
    // numeric extension never matches), then the closing bar.
    char key[264];
    size_t len = 0;
    for (const char *p = dot + 1; *p && len < sizeof key - 2; ++p)
        key[len++] = static_cast<char>(static_cast<uint8_t>(*p) & ~0x20u);
    key[len++] = '|';
    key[len] = 0;
    for (int32_t n = 0; VPb_EXT_DESCRIPTOR *d = ext_filter_at(n); ++n)
        if (list_has(d->extensions, key, len)) return kExtIndexBase + d->format_type;
    for (int32_t i = 0; i < kFilterCount; ++i)
        if (list_has(kFilterTable[i].extensions, key, len)) return i;
    return -1;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_load_auto_detect_set(int32_t format_type, int32_t enable) {
    return api_frame([&] {
        AutoDetect *rec = auto_detect_record();
        if (!rec) return;
        if (format_type < 0 || !set_flag(rec, uint32_t(format_type), enable))
            QV_ERR(QVE_SAVE_FORMAT, format_type, 0);
    });
}

QV_API int32_t QV_load_auto_detect_get(int32_t format_type, int32_t *flag) {
    return api_frame([&] {
        if (!flag) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        for (int32_t i = filter_first(); i >= 0; i = filter_next(i))
            if (filter_type(i) == int64_t(format_type)) {
                *flag = filter_auto_detect(i);
                return;
            }
        QV_ERR(QVE_SAVE_FORMAT, format_type, 0);
    });
}

QV_API int32_t VPb_VPr_filter_first(void) { return filter_first(); }
QV_API int32_t VPb_VPr_filter_next(int32_t index) { return filter_next(index); }
QV_API int32_t VPb_VPr_filter_count(void) { return filter_count(); }
QV_API int32_t VPb_VPr_filter_search(uint32_t format_type) { return filter_search(format_type); }

QV_API int32_t VPb_VPr_filter_type_get(int32_t index, uint32_t *format_type) {
    int64_t t = filter_type(index);
    if (format_type) *format_type = t < 0 ? 0 : uint32_t(t);
    return t < 0 ? 0 : 1;
}

QV_API int32_t VPb_VPr_filter_detect_func_get(int32_t index, VPb_DETECT_FN *fn) {
    return store(index, fn, &FilterFns::detect);
}
QV_API int32_t VPb_VPr_filter_info_func_get(int32_t index, VPb_INFO_FN *fn) {
    return store(index, fn, &FilterFns::info);
}
QV_API int32_t VPb_VPr_filter_read_func_get(int32_t index, VPb_READ_FN *fn) {
    return store(index, fn, &FilterFns::read);
}
QV_API int32_t VPb_VPr_filter_write_func_get(int32_t index, VPb_WRITE_FN *fn) {
    return store(index, fn, &FilterFns::write);
}
QV_API int32_t VPb_VPr_filter_pages_func_get(int32_t index, VPb_PAGES_FN *fn) {
    return store(index, fn, &FilterFns::pages);
}
QV_API int32_t VPb_VPr_filter_tiles_func_get(int32_t index, VPb_TILES_FN *fn) {
    return store(index, fn, &FilterFns::tiles);
}
QV_API int32_t VPb_VPr_filter_thumb_func_get(int32_t index, VPb_THUMB_FN *fn) {
    return store(index, fn, &FilterFns::thumb);
}

QV_API int32_t VPb_VPr_filter_thumb_exists(int32_t index) {
    FilterFns f;
    return filter_fns(index, &f) && f.thumb ? 1 : 0;
}

QV_API int32_t VPb_VPr_filter_multipage_get(int32_t index, int32_t *multipage) {
    bool known = filter_type(index) >= 0;
    if (multipage) *multipage = known ? filter_multipage(index) : 0;
    return known ? 1 : 0;
}

QV_API int32_t VPb_VPr_filter_multipage_by_type(uint32_t format_type) {
    int row = filter_row_of_type(format_type);
    return row >= 0 ? int32_t(kFilterTable[row].multipage) : QVE_SAVE_FORMAT;
}

QV_API int32_t VPb_VPr_filter_image_flags_get(int32_t index, void *dest) {
    if (!dest) return 0;
    return filter_ctl_copy(index, dest, filter_ctl_size(index));
}

QV_API int32_t VPb_VPr_filter_ctl_size_get(int32_t index) { return int32_t(filter_ctl_size(index)); }

QV_API void *VPb_VPr_ext_filter_image_control_get(int32_t index, int32_t *size) {
    VPb_EXT_DESCRIPTOR *d = ext_of(index);
    if (size) *size = d && d->ctl ? d->ctl_size : 0;
    return d ? d->ctl : nullptr;
}

QV_API int32_t VPb_VPr_filter_default_ext_get(uint32_t format_type, char *buf) {
    if (buf) buf[0] = 0;
    int row = filter_row_of_type(format_type);
    if (row < 0) return QVE_SAVE_FORMAT;
    const char *list = kFilterTable[row].extensions;
    if (buf && list) {
        size_t n = 0;
        while (n < 3 && list[n] && list[n] != '|') {
            buf[n] = list[n];
            ++n;
        }
        buf[n] = 0;
    }
    return row;
}

QV_API int32_t iQV_filter_by_extension(const char *file_name) { return filter_by_extension(file_name); }

}  // extern "C"
