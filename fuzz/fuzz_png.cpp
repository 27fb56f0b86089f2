// libFuzzer target for the PNG reader: the input's first 8 bytes are forced to the PNG signature
// (so detection always picks it), and the file is loaded from memory,
// queried for its header and page count. Any image is deleted.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const uint8_t kSig[] = {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A};
    const std::vector<uint8_t> file = fuzz_start_forced(data, size, kSig, sizeof kSig);
    fuzz_load(file.data(), file.size(), 1, 1);
    fuzz_query(file.data(), file.size());
    return 0;
}
