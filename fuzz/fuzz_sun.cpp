// libFuzzer target for the Sun raster reader: the input starts with the magic number.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const uint8_t kMagic[4] = {0x59, 0xA6, 0x6A, 0x95};
    fuzz_raster_file(fuzz_start_forced(data, size, kMagic, 4));
    return 0;
}
