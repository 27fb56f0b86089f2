// libFuzzer target for the PCX run-length decoders: the input's first four
// bytes choose a line length and a place where the input is cut in two, the
// rest is decoded by the vector decoder and by the word-at-a-time one; the
// lines, the input taken, the carried state and every byte must agree, and
// no line may be written past its end. Any difference aborts.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "filters/pcx_codec.h"

namespace {

using Decode = size_t (*)(qv::PcxRleState &, const uint8_t **, const uint8_t *, uint8_t *, size_t, size_t);

struct Outcome {
    std::vector<uint8_t> out;
    size_t lines = 0, used = 0;
    qv::PcxRleState st;
};

constexpr size_t kGuard = 64;

Outcome run(Decode decode, const uint8_t *in, size_t n, size_t cut, size_t line_len) {
    Outcome r;
    std::vector<uint8_t> line(line_len + kGuard);
    const uint8_t *p = in, *e = in + (cut < n ? cut : n), *end = in + n;
    for (;;) {
        std::memset(line.data(), 0xEE, line.size());
        size_t pos = decode(r.st, &p, e, line.data(), 0, line_len);
        while (pos < line_len && e < end) {
            e = end;
            pos = decode(r.st, &p, e, line.data(), pos, line_len);
        }
        for (size_t k = 0; k < kGuard; ++k)
            if (line[line_len + k] != 0xEE) std::abort();
        r.out.insert(r.out.end(), line.begin(), line.begin() + long(pos));
        if (pos < line_len) break;
        ++r.lines;
    }
    r.used = size_t(p - in);
    return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) return 0;
    const size_t line_len = 1 + ((size_t(data[0]) | size_t(data[1]) << 8) % 2048);
    const size_t cut = size_t(data[2]) | size_t(data[3]) << 8;
    const Outcome a = run(qv::pcx_rle_decode_fast, data + 4, size - 4, cut, line_len);
    const Outcome b = run(qv::pcx_rle_decode, data + 4, size - 4, cut, line_len);
    if (a.lines != b.lines || a.used != b.used || a.out != b.out || a.st.pending != b.st.pending ||
        a.st.value != b.st.value || a.st.count_waiting != b.st.count_waiting)
        std::abort();
    return 0;
}
