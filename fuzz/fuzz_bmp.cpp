// libFuzzer target for the BMP reader and the load pipeline's conversions:
// arbitrary bytes are loaded from memory as they are, then once more with a
// load rectangle, load size and colour reduction chosen from the input's
// length; the header and page count are queried. Every image is deleted.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_load(data, size, 1, 2);
    fuzz_load_options(data, size);
    fuzz_query(data, size);
    return 0;
}
