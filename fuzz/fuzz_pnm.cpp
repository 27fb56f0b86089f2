// libFuzzer target for the PNM reader: the input starts with "P1" to "P6" (its second byte
// chooses).
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    if (file.size() < 2) file.resize(2, 0x20);
    file[0] = 'P';
    file[1] = uint8_t('1' + file[1] % 6);
    fuzz_raster_file(file);
    return 0;
}
