// libFuzzer target for the DCX reader. An input that starts with the DCX
// magic is loaded as it is (pages 1 and 2); any other input is wrapped as the
// pages of a DCX file: page 1 is the whole input, page 2 its second half, so
// that stored and run-length pages, page ends and trailers are all reached.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_formats.h"

namespace {

constexpr uint32_t kMagic = 987654321u;

void put32(std::vector<uint8_t> &b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file;
    if (size >= 4 && data[0] == 0xB1 && data[1] == 0x68 && data[2] == 0xDE && data[3] == 0x3A) {
        file.assign(data, data + size);
    } else {
        file.assign(4100, 0);
        put32(file, 0, kMagic);
        put32(file, 4, 4100);
        if (size >= 2) put32(file, 8, uint32_t(4100 + size / 2));
        file.insert(file.end(), data, data + size);
    }
    for (int32_t page : {1, 2}) fuzz_load(file.data(), file.size(), page, 1);
    fuzz_query(file.data(), file.size());
    return 0;
}
