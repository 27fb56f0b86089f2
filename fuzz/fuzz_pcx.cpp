// libFuzzer target for the PCX reader: the input becomes a PCX file (its
// first bytes are forced to what detection accepts) and is loaded from
// memory, queried for its header and page count. Any image is deleted.
#include <cstdint>
#include <cstring>
#include <vector>

#include "vosk32pd.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    QV_load_pixel_limit_set(uint64_t(1) << 22);  // keep hostile sizes cheap
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 3) file.resize(3);
    file[0] = 0x0A;
    file[1] = static_cast<uint8_t>(file[1] % 6);
    file[2] = 1;
    QUORIN image = nullptr;
    QV_load_mem(file.data(), file.size(), 1, 1, &image);
    if (image) QV_image_delete(image);
    int32_t type = 0, value = 0, pages = 0;
    QV_info_get_mem(file.data(), file.size(), &type, &value, nullptr);
    QV_page_count_get_mem(file.data(), file.size(), &pages);
    return 0;
}
