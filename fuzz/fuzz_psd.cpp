// libFuzzer target for the PSD reader: the input starts with "8BPS".
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_raster_file(fuzz_start_forced(data, size, "8BPS", 4));
    return 0;
}
