/*
 * errors.cpp - the process error stack.
 *
 * One error block per thread: a count, the debug-echo flag and 30 slots. A
 * push past 29 records overwrites slot 29 and keeps the count at 29, so
 * callers always see the oldest 29 records and never slot 29 itself.
 *
 * The block of the thread that attached the library is registered under
 * ERRBLOCK_KEY (872); every other thread gets its own block on its first
 * error-stack call (its debug-echo flag copied from the attaching thread's),
 * released when the thread ends. A registry lookup of 872 resolves to the
 * calling thread's block, so one thread sees exactly its own records and
 * concurrent loads never mix their errors. No lock is taken on the stack.
 *
 * Exported: QV_error_check, QV_error_get, QV_error_set, QV_error_clear,
 * VPb_AF_error_set/_check/_clear, VPb_error_clear_on_set/_get.
 */
#include "support/errors.h"

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <new>
#include <thread>

#include "os/os.h"
#include "support/memory.h"
#include "support/registry.h"
#include "support/settings.h"
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {

struct ErrorRecord {
    int32_t line;
    int32_t code;
    int32_t iVal;
    int32_t lVal;
    char file[16];
};

struct ErrorBlock {
    uint32_t owner_tag;
    int32_t count;
    int32_t debug_echo;
    ErrorRecord records[kErrorSlots];
};

// The thread that attached the library owns the registered block.
std::atomic<std::thread::id> g_attach_thread{};

// A thread's own block: made on first use, freed when the thread ends.
struct ThreadBlock {
    ErrorBlock *block = nullptr;
    ~ThreadBlock() { delete block; }
};
thread_local ThreadBlock t_block;

ErrorBlock *block() {
    void *p = nullptr;
    if (registry_lookup(kKeyErrorBlock, &p) != 0) return nullptr;
    return static_cast<ErrorBlock *>(p);
}

const char *last_component(const char *path) {
    const char *slash = std::strrchr(path, '\\');
    return slash ? slash + 1 : path;
}

}  // namespace

void *error_block_resolve(void *registered) {
    if (!registered || std::this_thread::get_id() == g_attach_thread.load()) return registered;
    if (!t_block.block) {
        auto *b = new (std::nothrow) ErrorBlock();
        if (!b) return nullptr;
        b->debug_echo = static_cast<ErrorBlock *>(registered)->debug_echo;
        t_block.block = b;
    }
    return t_block.block;
}

int32_t error_push(const char *path, int32_t line, int32_t code, int32_t iVal, int32_t lVal) {
    ErrorBlock *b = block();
    if (!b) return -101;
    int32_t n = b->count;
    if (n < 0 || n > kErrorMaxCount) n = kErrorMaxCount;  // never index outside the slots
    int32_t next = n + 1;
    b->count = next >= kErrorSlots ? kErrorMaxCount : next;
    ErrorRecord &r = b->records[n];
    std::memset(r.file, 0, sizeof r.file);
    if (path) std::strncpy(r.file, last_component(path), kErrorNameChars);
    r.line = line;
    r.code = code;
    r.iVal = iVal;
    r.lVal = lVal;
    if (b->debug_echo)
        os_debug_output("\n%s Line=%d Err=%d iVal=%d lVal=%ld\n", path ? path : "", line, code, iVal,
                        static_cast<long>(lVal));
    return code;
}

int32_t error_count() {
    ErrorBlock *b = block();
    return b ? b->count : 0;
}

void error_clear_on_entry() {
    Settings *s = settings_get();
    if (!s || s->clear_on_entry != 1) return;
    if (ErrorBlock *b = block()) b->count = 0;
}

int32_t error_debug_set(int32_t flag, int32_t *previous) {
    ErrorBlock *b = block();
    if (!b) return -101;
    if (previous) *previous = b->debug_echo;
    b->debug_echo = flag;
    return 0;
}

int32_t error_debug_get(int32_t *flag) {
    ErrorBlock *b = block();
    if (!b) return -101;
    if (flag) *flag = b->debug_echo;
    return 0;
}

int32_t error_block_create() {
    uint32_t tag = mem_process_tag();
    auto *b = static_cast<ErrorBlock *>(mem_alloc(tag, sizeof(ErrorBlock)));
    if (!b) return -100;
    std::memset(b, 0, sizeof *b);
    b->owner_tag = tag;
    g_attach_thread.store(std::this_thread::get_id());
    if (registry_register(kKeyErrorBlock, b) != 0) {
        mem_free(tag, b);
        return -101;
    }
    return 0;
}

int32_t error_block_destroy() {
    ErrorBlock *b = block();
    if (!b) return -101;
    registry_remove(kKeyErrorBlock);
    if (mem_free(b->owner_tag, b) != 0) return -102;
    return 0;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_error_check(void) { return error_count(); }

QV_API void QV_error_get(int32_t index, char *file, int32_t file_len, int32_t *line, int32_t *code,
                         int32_t *iVal, int32_t *lVal) {
    ErrorBlock *b = block();
    if (!b || index < 0 || index >= b->count) {
        if (file && file_len > 0) file[0] = 0;
        if (line) *line = 0;
        if (code) *code = 0;
        if (iVal) *iVal = 0;
        if (lVal) *lVal = 0;
        return;
    }
    const ErrorRecord &r = b->records[index];
    if (file && file_len > 0) {
        std::strncpy(file, r.file, static_cast<size_t>(file_len));
        file[file_len - 1] = 0;
    }
    if (line) *line = r.line;
    if (code) *code = r.code;
    if (iVal) *iVal = r.iVal;
    if (lVal) *lVal = r.lVal;
}

QV_API int32_t QV_error_set(const char *path, int32_t line, int32_t code, int32_t iVal,
                            int32_t lVal) {
    error_push(path, line, code, iVal, lVal);
    return code;
}

QV_API void QV_error_clear(void) { error_clear_on_entry(); }

QV_API int32_t VPb_AF_error_set(const char *path, int32_t line, int32_t code, int32_t iVal,
                                int32_t lVal) {
    error_push(path, line, code, iVal, lVal);
    return code;
}

QV_API int32_t VPb_AF_error_check(void) { return error_count(); }

QV_API void VPb_AF_error_clear(void) { error_clear_on_entry(); }

QV_API int32_t VPb_error_clear_on_set(int32_t flag) {
    Settings *s = nullptr;
    int32_t st = settings_lookup(&s);
    if (st != 0) return st;
    s->clear_on_entry = flag;
    return 0;
}

QV_API int32_t VPb_error_clear_on_get(int32_t *flag) {
    Settings *s = nullptr;
    int32_t st = settings_lookup(&s);
    if (st != 0) return st;
    if (flag) *flag = s->clear_on_entry;
    return 0;
}

QV_API int32_t iQV_error_debug_set(int32_t flag, int32_t *previous) {
    return error_debug_set(flag, previous);
}

QV_API int32_t iQV_error_debug_get(int32_t *flag) { return error_debug_get(flag); }

}  // extern "C"
