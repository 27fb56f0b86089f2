// libFuzzer target for the JPEG reader: the input's first 2 bytes are forced to the start-of-image marker
// (so detection always picks it), and the file is loaded from memory,
// queried for its header and page count. Any image is deleted.
#include <cstdint>
#include <cstring>
#include <vector>

#include "vosk32pd.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    QV_load_pixel_limit_set(uint64_t(1) << 22);  // keep hostile sizes cheap
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const uint8_t kSig[] = {0xFF, 0xD8};
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < sizeof kSig) file.resize(sizeof kSig);
    std::memcpy(file.data(), kSig, sizeof kSig);
    QUORIN image = nullptr;
    QV_load_mem(file.data(), file.size(), 1, 1, &image);
    if (image) QV_image_delete(image);
    image = nullptr;
    // A load size and the thumbnail decode at a reduced DCT scale.
    QV_load_size_set(17, 9);
    QV_load_mem(file.data(), file.size(), 1, 1, &image);
    QV_load_size_set(0, 0);
    if (image) QV_image_delete(image);
    image = nullptr;
    QV_load_thumbnail_mem(file.data(), file.size(), &image);
    if (image) QV_image_delete(image);
    image = nullptr;
    int32_t type = 0, value = 0, pages = 0;
    QV_info_get_mem(file.data(), file.size(), &type, &value, nullptr);
    QV_page_count_get_mem(file.data(), file.size(), &pages);
    return 0;
}
