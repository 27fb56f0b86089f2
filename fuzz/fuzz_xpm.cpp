// libFuzzer target for the XPM reader: the "/* XPM */" comment is put before the input.
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    static const char kStart[] = "/* XPM */\n";
    file.insert(file.begin(), kStart, kStart + sizeof kStart - 1);
    fuzz_raster_file(file);
    return 0;
}
