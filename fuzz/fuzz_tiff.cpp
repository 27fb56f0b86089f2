// libFuzzer target for the TIFF reader: the input's first two bytes are
// forced to "II" or "MM" (so detection always picks TIFF; the first input
// byte's low bit chooses), and the file is loaded from memory at page 1 and
// 2 (tile 1 and 2), queried for its header, page count and tile count. Any
// image is deleted.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 8) file.resize(8);
    const uint8_t order = (file[0] == 'M' || (file[0] & 1)) ? 'M' : 'I';
    file[0] = file[1] = order;
    for (int32_t sel = 1; sel <= 2; ++sel) fuzz_load(file.data(), file.size(), sel, sel);
    fuzz_query(file.data(), file.size());
    int32_t across = 0, down = 0;
    QV_tile_count_get_mem(file.data(), file.size(), 1, &across, &down);
    return 0;
}
