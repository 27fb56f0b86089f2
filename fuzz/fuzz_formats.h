// Shared body of the fuzz targets of the simple raster formats (TGA, PNM,
// SGI, Sun raster, ICO, XBM, XPM, XWD, PSD, MSP): each target makes the
// input pass its format's detector (fuzz_<fmt>.cpp) and hands it here: it
// is loaded from memory (page 1 and page 2), once more with a load
// rectangle, size and colour reduction chosen from its length, and queried
// for its header and page count. Every image is deleted.
#pragma once

#include <cstdint>
#include <vector>

#include "vosk32pd.h"

inline void fuzz_raster_setup() { QV_load_pixel_limit_set(uint64_t(1) << 22); }

inline void fuzz_raster_file(const std::vector<uint8_t> &file) {
    const uint8_t *data = file.data();
    const size_t size = file.size();
    for (int32_t page : {1, 2}) {
        QUORIN image = nullptr;
        QV_load_mem(data, size, page, 1, &image);
        if (image) QV_image_delete(image);
    }
    const int32_t n = int32_t(size);
    QV_load_color_reduction_set(n % 5);
    QV_load_rect_set(n % 3, n % 2, n % 7, n % 4);
    QV_load_size_set(n % 11, (n / 11) % 9);
    QUORIN image = nullptr;
    QV_load_mem(data, size, 1, 1, &image);
    if (image) QV_image_delete(image);
    QV_load_color_reduction_set(0);
    QV_load_rect_set(0, 0, 0, 0);
    QV_load_size_set(0, 0);
    int32_t type = 0, value = 0, pages = 0;
    QV_info_get_mem(data, size, &type, &value, nullptr);
    QV_page_count_get_mem(data, size, &pages);
}
