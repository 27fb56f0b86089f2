// libFuzzer target for the BMP reader and the load pipeline's conversions:
// arbitrary bytes are loaded from memory as they are, then once more with a
// load rectangle, load size and colour reduction chosen from the input's
// length; the header and page count are queried. Every image is deleted.
#include <cstdint>

#include "vosk32pd.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    QV_load_pixel_limit_set(uint64_t(1) << 22);  // keep hostile sizes cheap
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    QUORIN image = nullptr;
    QV_load_mem(data, size, 1, 2, &image);
    if (image) QV_image_delete(image);

    int32_t n = int32_t(size);
    QV_load_color_reduction_set(n % 5);
    QV_load_rect_set(n % 3, n % 2, n % 7, n % 4);
    QV_load_size_set(n % 11, (n / 11) % 9);
    image = nullptr;
    QV_load_mem(data, size, 1, 1, &image);
    if (image) QV_image_delete(image);
    QV_load_color_reduction_set(0);
    QV_load_rect_set(0, 0, 0, 0);
    QV_load_size_set(0, 0);

    int32_t type = 0, value = 0, pages = 0;
    QV_info_get_mem(data, size, &type, &value, nullptr);
    QV_page_count_get_mem(data, size, &pages);
    return 0;
}
