// Shared pieces of the format fuzz targets. Each target makes the input pass
// its format's detector (fuzz_<fmt>.cpp) and drives the readers with these:
// fuzz_load loads from memory and deletes the image, fuzz_load_options loads
// once more with a load rectangle, size and colour reduction chosen from the
// input's length, fuzz_query asks for the header and page count. The simple
// raster formats (TGA, PNM, SGI, Sun raster, ICO, XBM, XPM, XWD, PSD, MSP)
// hand their file to fuzz_raster_file, which does all of these.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "vosk32pd.h"

// Keeps hostile sizes cheap: a pixel limit of 4 Mi for every load.
inline void fuzz_raster_setup() { QV_load_pixel_limit_set(uint64_t(1) << 22); }

// Loads page `page` with selection `sel` from memory; any image is deleted.
inline void fuzz_load(const uint8_t *data, size_t size, int32_t page, int32_t sel) {
    QUORIN image = nullptr;
    QV_load_mem(data, size, page, sel, &image);
    if (image) QV_image_delete(image);
}

// Loads page 1 with a colour reduction, load rectangle and load size taken
// from the input's length, then sets all three back to none.
inline void fuzz_load_options(const uint8_t *data, size_t size) {
    const int32_t n = int32_t(size);
    QV_load_color_reduction_set(n % 5);
    QV_load_rect_set(n % 3, n % 2, n % 7, n % 4);
    QV_load_size_set(n % 11, (n / 11) % 9);
    fuzz_load(data, size, 1, 1);
    QV_load_color_reduction_set(0);
    QV_load_rect_set(0, 0, 0, 0);
    QV_load_size_set(0, 0);
}

// Asks for the header and the page count.
inline void fuzz_query(const uint8_t *data, size_t size) {
    int32_t type = 0, value = 0, pages = 0;
    QV_info_get_mem(data, size, &type, &value, nullptr);
    QV_page_count_get_mem(data, size, &pages);
}

// The input with its first n bytes made `start` (a shorter input is first
// grown to n bytes of zeros).
inline std::vector<uint8_t> fuzz_start_forced(const uint8_t *data, size_t size, const void *start, size_t n) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < n) file.resize(n);
    std::memcpy(file.data(), start, n);
    return file;
}

// The input after the n bytes of `start`.
inline std::vector<uint8_t> fuzz_start_put_before(const uint8_t *data, size_t size, const char *start, size_t n) {
    std::vector<uint8_t> file(start, start + n);
    file.insert(file.end(), data, data + size);
    return file;
}

// Pages 1 and 2, page 1 with load options, then the header and page count.
inline void fuzz_raster_file(const std::vector<uint8_t> &file) {
    const uint8_t *data = file.data();
    const size_t size = file.size();
    for (int32_t page : {1, 2}) fuzz_load(data, size, page, 1);
    fuzz_load_options(data, size);
    fuzz_query(data, size);
}
