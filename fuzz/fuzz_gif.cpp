// libFuzzer target for the GIF reader: the input's first 3 bytes are forced to "GIF"
// (so detection always picks it), and the file is loaded from memory,
// queried for its header and page count. Any image is deleted.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const uint8_t kSig[] = {0x47, 0x49, 0x46};
    const std::vector<uint8_t> file = fuzz_start_forced(data, size, kSig, sizeof kSig);
    fuzz_load(file.data(), file.size(), 1, 1);
    // The second page composes frames; the frame alone (selection 2) too.
    fuzz_load(file.data(), file.size(), 2, 1);
    fuzz_load(file.data(), file.size(), 1, 2);
    fuzz_query(file.data(), file.size());
    return 0;
}
