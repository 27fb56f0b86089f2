/*
 * lifecycle.cpp - the detach list of records made on first use, and the
 * frame's exception report. Process attach and detach themselves live with
 * the library's start-up (library/attach.cpp), above every layer.
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

void lifecycle_run_detach() {
    std::lock_guard<std::mutex> lock(g_detach_mutex);
    for (int i = g_detach_count - 1; i >= 0; --i) g_detach[i]();
    g_detach_count = 0;
}

void frame_report_exception(bool out_of_memory) {
    if (out_of_memory)
        QV_ERR(QVE_NO_MEMORY, 0, 0);
    else
        QV_ERR(QVE_FAILED, 0, 0);
}

}  // namespace qv

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
