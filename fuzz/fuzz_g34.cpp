// libFuzzer target for the raw CCITT readers (g34_read.cpp): the first four
// bytes choose the width (1..4096), the height (1..512), the fill order and
// the coding (one-dimensional Group 3, two-dimensional Group 3, Group 4); the
// rest is the coded data, loaded from memory. Damaged data leaves white rows,
// so the load must succeed - except a two-dimensional Group 3 page whose data
// ends right after a row's EOL, where the tag bit should be (-2051 (1, 0)).
// The image is deleted.
#include <cstdint>
#include <cstdlib>

#include "vosk32pd.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) return 0;
    static const int32_t kCodings[4] = {3, 5, 4, 3};
    const int32_t width = 1 + ((data[0] | (data[1] << 8)) & 0xFFF);
    const int32_t height = 1 + (data[2] | ((data[3] & 1) << 8));
    const int32_t fill_order = (data[3] & 2) ? 2 : 1;
    const int32_t coding = kCodings[(data[3] >> 2) & 3];
    QUORIN image = nullptr;
    QV_error_clear();
    if (QV_load_CCITT_mem(data + 4, size - 4, width, height, coding, fill_order, &image) != 0) {
        int32_t code = 0, ival = 0, lval = 0;
        char module[64];
        QV_error_get(0, module, sizeof module, nullptr, &code, &ival, &lval);
        if (coding != 5 || code != -2051 || ival != 1 || lval != 0 || image) std::abort();
    }
    QV_image_delete(image);
    return 0;
}
