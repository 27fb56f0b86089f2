// libFuzzer target for the ICO reader: the header and first entry are made what detection accepts.
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 14) file.resize(14);
    file[0] = file[1] = 0, file[2] = 1, file[3] = 0;
    if (file[4] == 0 && file[5] == 0) file[4] = 1;
    static const uint8_t kColours[4] = {0, 2, 8, 16};
    file[8] = kColours[file[8] % 4];
    fuzz_raster_file(file);
    return 0;
}
