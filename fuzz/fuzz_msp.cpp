// libFuzzer target for the MSP reader: the input starts with "DanM" or "LinS".
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 4) file.resize(4);
    std::memcpy(file.data(), (file[0] & 1) ? "LinS" : "DanM", 4);
    fuzz_raster_file(file);
    return 0;
}
