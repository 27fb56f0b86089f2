// The packed-to-runs scanners against one another on hostile rows: any
// width, any room for the list, any bytes (padding bits too). The AVX2 and
// AVX-512 scanners (where the processor has them) must give the portable
// scanner's result word for word and write nothing past the room.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/runs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) return 0;
    const int32_t width = 1 + int32_t((data[0] | (data[1] << 8)) % qv::kRunsMaxWidth);
    const int32_t room = 4 + int32_t((data[2] | (data[3] << 8)) % (width + 8));
    data += 4;
    size -= 4;
    // Exactly the row's bytes, the input repeated to fill them.
    std::vector<uint8_t> row((size_t(width) + 7) / 8);
    for (size_t i = 0; i < row.size(); ++i) row[i] = size ? data[i % size] : 0;
    constexpr uint16_t kCanary = 0xA5A5;
    std::vector<uint16_t> want(size_t(room) + 64, kCanary);
    const int32_t n = qv::runs_from_packed_portable(row.data(), width, want.data(), room);
    using Scan = int32_t (*)(const uint8_t *, int32_t, uint16_t *, int32_t);
    const Scan others[] = {qv::runs_scan_avx2_usable() ? qv::runs_from_packed_avx2 : nullptr,
                           qv::runs_scan_avx512_usable() ? qv::runs_from_packed_avx512 : nullptr};
    for (Scan scan : others) {
        if (!scan) continue;
        std::vector<uint16_t> got(size_t(room) + 64, kCanary);
        if (scan(row.data(), width, got.data(), room) != n) std::abort();
        if (n > 0 && std::memcmp(got.data(), want.data(), size_t(n) * 2) != 0) std::abort();
        for (size_t i = size_t(room); i < got.size(); ++i)
            if (got[i] != kCanary) std::abort();
    }
    return 0;
}
