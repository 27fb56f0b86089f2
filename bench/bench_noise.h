/*
 * bench_noise.h - the one pseudo-random source the benchmark pictures are
 * made with: a 64-bit xorshift (shifts 13, 7, 17) from a fixed seed, so every
 * run times the same pixels.
 */
#pragma once

#include <cstdint>

namespace {

struct Noise {
    uint64_t s = 88172645463325252ull;
    uint32_t next() {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return uint32_t(s);
    }
};

}  // namespace
