// libFuzzer target for the raw CCITT reader, two-dimensional Group 3 (mode 10): the
// first four bytes choose the width (1..4096), the height (1..512) and the
// fill order; the rest is the coded data, loaded from memory. The load must
// succeed (damaged data leaves white rows) unless the data ends right after
// a row's EOL, where the tag bit should be (-2051); the image is deleted.
#include <cstdint>
#include <cstdlib>

#include "vosk32pd.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) return 0;
    const int32_t width = 1 + ((data[0] | (data[1] << 8)) & 0xFFF);
    const int32_t height = 1 + (data[2] | ((data[3] & 1) << 8));
    const int32_t fill_order = (data[3] & 2) ? 2 : 1;
    QUORIN image = nullptr;
    QV_error_clear();
    if (QV_load_CCITT_mem(data + 4, size - 4, width, height, 5, fill_order, &image) != 0) {
        int32_t code = 0, ival = 0, lval = 0;
        char module[64];
        QV_error_get(0, module, sizeof module, nullptr, &code, &ival, &lval);
        if (code != -2051 || ival != 1 || lval != 0 || image) std::abort();
    }
    QV_image_delete(image);
    return 0;
}
