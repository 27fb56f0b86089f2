/*
 * codec_slots.cpp - the run-time codec slot table: decoder entries that the
 * TIFF reader looks up by slot when a strip needs them (slot 8 LZW, slot 11
 * compression 32780). The registry puts the library's own LZW decoder into
 * slot 8 at start-up; a caller may replace or empty any slot.
 *
 * Exported: VPb_TIF_codec_set, VPb_TIF_codec_get.
 */
#include <atomic>

#include "support/errors.h"
#include "vosk32pd_bridge.h"

namespace qv {
namespace {
constexpr char kModule[] = "SUPPORT\\CODECS.C";
std::atomic<VPb_TIF_CODEC_FN> g_slots[QV_CODEC_SLOT_COUNT];
}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t VPb_TIF_codec_set(int32_t slot, VPb_TIF_CODEC_FN fn) {
    if (slot < 0 || slot >= QV_CODEC_SLOT_COUNT) return QV_ERR(QVE_OUT_OF_RANGE, slot, 0);
    g_slots[slot].store(fn, std::memory_order_relaxed);
    return 0;
}

QV_API VPb_TIF_CODEC_FN VPb_TIF_codec_get(int32_t slot) {
    if (slot < 0 || slot >= QV_CODEC_SLOT_COUNT) return nullptr;
    return g_slots[slot].load(std::memory_order_relaxed);
}

}  // extern "C"
