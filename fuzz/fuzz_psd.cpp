// libFuzzer target for the PSD reader: the input starts with "8BPS".
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 4) file.resize(4);
    std::memcpy(file.data(), "8BPS", 4);
    fuzz_raster_file(file);
    return 0;
}
