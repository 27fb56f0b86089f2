/*
 * bench_io.h - loading and saving in memory for the benchmarks that time
 * the codecs: a failure prints what failed and ends the program (exit 1),
 * so a broken reader or writer never shows as a fast one.
 */
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "vosk32pd.h"

namespace {

// Page 1 of the file held in f.
QUORIN load_or_exit(const std::vector<uint8_t> &f) {
    QUORIN h = nullptr;
    if (QV_load_mem(f.data(), f.size(), 1, 1, &h) != 0 || !h) {
        std::fprintf(stderr, "load failed\n");
        std::exit(1);
    }
    return h;
}

// Saves h as `format` into out (its whole size the room); the bytes written.
size_t save_or_exit(QUORIN h, std::vector<uint8_t> &out, int32_t format) {
    size_t written = 0;
    if (QV_save_mem(h, out.data(), out.size(), 0, 0, 1, format, &written) != 0) {
        std::fprintf(stderr, "save failed\n");
        std::exit(1);
    }
    return written;
}

}  // namespace
