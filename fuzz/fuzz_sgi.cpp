// libFuzzer target for the SGI reader: the input starts with the magic number 474.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const uint8_t kMagic[2] = {0x01, 0xDA};
    fuzz_raster_file(fuzz_start_forced(data, size, kMagic, 2));
    return 0;
}
