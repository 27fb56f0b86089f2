// libFuzzer target for the TGA reader: a version 2 footer is appended so that detection always
// accepts the input.
#include <cstring>

#include "fuzz_formats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    static const char kFooter[26] = "\0\0\0\0\0\0\0\0TRUEVISION-XFILE.";
    file.insert(file.end(), kFooter, kFooter + 26);
    fuzz_raster_file(file);
    return 0;
}
