// libFuzzer target for the MSP reader: the input starts with "DanM" or "LinS".
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_raster_file(fuzz_start_forced(data, size, (size > 0 && (data[0] & 1)) ? "LinS" : "DanM", 4));
    return 0;
}
