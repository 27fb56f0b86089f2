// libFuzzer target for the Sun raster reader: the input starts with the magic number.
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    static const uint8_t kMagic[4] = {0x59, 0xA6, 0x6A, 0x95};
    if (file.size() < 4) file.resize(4);
    std::memcpy(file.data(), kMagic, 4);
    fuzz_raster_file(file);
    return 0;
}
