// libFuzzer target for the XWD reader: the version field is made 6 or 7.
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 8) file.resize(8);
    file[4] = file[5] = file[6] = 0, file[7] = uint8_t(6 + (file[7] & 1));
    fuzz_raster_file(file);
    return 0;
}
