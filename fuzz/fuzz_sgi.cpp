// libFuzzer target for the SGI reader: the input starts with the magic number 474.
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 2) file.resize(2);
    file[0] = 0x01, file[1] = 0xDA;
    fuzz_raster_file(file);
    return 0;
}
