/*
 * cpu_bytes.h - whether the processor runs the byte-wide AVX-512 paths of
 * the filters (byte compare and blend from BW, byte permutes from VBMI,
 * byte compress from VBMI2, bit deposit from BMI2), asked once.
 */
#pragma once

namespace qv {

inline bool cpu_has_avx512_bytes() {
#if defined(__x86_64__)
    static const bool yes = [] {
        __builtin_cpu_init();  // may run before the run-time's own initialisation
        return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
               __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
               __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
    }();
    return yes;
#else
    return false;
#endif
}

}  // namespace qv
