// libFuzzer target for the XPM reader: the "/* XPM */" comment is put before the input.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const char kStart[] = "/* XPM */\n";
    fuzz_raster_file(fuzz_start_put_before(data, size, kStart, sizeof kStart - 1));
    return 0;
}
