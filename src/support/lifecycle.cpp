/*
 * lifecycle.cpp - process attach and detach, and the frame's exception report.
 *
 * Attach (library constructor): the registry, the error block (872) and the
 * settings record (835). The I/O settings (879) and the auto-detect table
 * (832) are made on first use by their owners. Detach (library destructor)
 * releases every registered record with its memory tag, then the registry.
 *
 * Exported: QV_version_get.
 */
#include <cstring>
#include <mutex>

#include "support/errors.h"
#include "support/frame.h"
#include "support/lifecycle.h"
#include "support/registry.h"
#include "support/settings.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "SUPPORT\\QVDLL.C";

// Detach functions that subsystems register for their own global records.
constexpr int kMaxDetach = 16;
void (*g_detach[kMaxDetach])();
int g_detach_count = 0;
std::mutex g_detach_mutex;  // records made on first use may register from several threads

}  // namespace

void lifecycle_on_detach(void (*fn)()) {
    std::lock_guard<std::mutex> lock(g_detach_mutex);
    if (g_detach_count < kMaxDetach) g_detach[g_detach_count++] = fn;
}

void frame_report_exception(bool out_of_memory) {
    if (out_of_memory)
        QV_ERR(QVE_NO_MEMORY, 0, 0);
    else
        QV_ERR(QVE_FAILED, 0, 0);
}

int32_t process_attach() {
    if (registry_create() != 0) return -1;
    if (int32_t st = error_block_create(); st != 0) return st;
    if (int32_t st = settings_create(); st != 0) return st;
    return 0;
}

void process_detach() {
    for (int i = g_detach_count - 1; i >= 0; --i) g_detach[i]();
    g_detach_count = 0;
    settings_destroy();
    error_block_destroy();
    registry_destroy();
}

}  // namespace qv

__attribute__((constructor)) static void qv_library_attach() { qv::process_attach(); }
__attribute__((destructor)) static void qv_library_detach() { qv::process_detach(); }

using namespace qv;

extern "C" QV_API int32_t QV_version_get(char *buf, int32_t len) {
    return qv::api_frame([&] {
        if (!buf || len <= 0) {
            QV_ERR(QVE_NULL_OUTPUT, 0, 1);
            return;
        }
        std::strncpy(buf, VOSK32PD_VERSION_TEXT, static_cast<size_t>(len));
        buf[len - 1] = 0;
    });
}
