// libFuzzer target for the JPEG reader: the input's first 2 bytes are forced to the start-of-image marker
// (so detection always picks it), and the file is loaded from memory,
// queried for its header and page count. Any image is deleted.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const uint8_t kSig[] = {0xFF, 0xD8};
    const std::vector<uint8_t> file = fuzz_start_forced(data, size, kSig, sizeof kSig);
    fuzz_load(file.data(), file.size(), 1, 1);
    // A load size and the thumbnail decode at a reduced DCT scale.
    QV_load_size_set(17, 9);
    QUORIN image = nullptr;
    QV_load_mem(file.data(), file.size(), 1, 1, &image);
    QV_load_size_set(0, 0);
    if (image) QV_image_delete(image);
    image = nullptr;
    QV_load_thumbnail_mem(file.data(), file.size(), &image);
    if (image) QV_image_delete(image);
    fuzz_query(file.data(), file.size());
    return 0;
}
