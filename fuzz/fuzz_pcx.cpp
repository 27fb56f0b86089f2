// libFuzzer target for the PCX reader: the input becomes a PCX file (its
// first bytes are forced to what detection accepts) and is loaded from
// memory, queried for its header and page count. Any image is deleted.
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz_raster_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 3) file.resize(3);
    file[0] = 0x0A;
    file[1] = static_cast<uint8_t>(file[1] % 6);
    file[2] = 1;
    fuzz_load(file.data(), file.size(), 1, 1);
    fuzz_query(file.data(), file.size());
    return 0;
}
