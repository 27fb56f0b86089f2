// libFuzzer target for the CCITT encoders: the first five bytes choose the
// width (1..2048), the number of rows (1..64), K (1..8), the fill order and
// whether the leading EOL and the end of page are written; the rest is the
// page, packed rows of (width + 7) / 8 bytes (repeated when short). The page
// goes through every encoder mode into a sized sink and back through the
// matching decoder; encoding must succeed and every decoded row must have
// the page's pixels.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "filters/ccitt_codec.h"
#include "vosk32pd.h"

namespace {

using namespace qv;

class PageSource : public CcittRowSource {
public:
    PageSource(const std::vector<uint8_t> &page, int32_t width) : page_(page), width_(width) {}
    int32_t row(int32_t y, uint16_t *changes) override {
        const size_t stride = size_t(width_ + 7) / 8;
        return ccitt_changes_from_packed(page_.data() + stride * size_t(y), width_, true, changes);
    }

private:
    const std::vector<uint8_t> &page_;
    int32_t width_;
};

class PageCheck : public CcittRowSink {
public:
    PageCheck(const std::vector<uint8_t> &page, int32_t width)
        : page_(page), width_(width), row_(size_t((width + 31) / 32) * 4) {}
    int32_t row(int32_t y, const uint16_t *changes, int32_t n) override {
        // White as bit 0, as the page holds it (1 = black).
        ccitt_changes_to_packed(changes, n, width_, 0, row_.data());
        const size_t stride = size_t(width_ + 7) / 8;
        if (std::memcmp(row_.data(), page_.data() + stride * size_t(y), stride) != 0) std::abort();
        ++rows;
        return 0;
    }
    int32_t rows = 0;

private:
    const std::vector<uint8_t> &page_;
    int32_t width_;
    std::vector<uint8_t> row_;
};

struct Mode {
    int32_t enc;
    CcittEntry entry;
    int32_t dec;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 6) return 0;
    const int32_t width = 1 + ((data[0] | (data[1] << 8)) & 0x7FF);
    const int32_t rows = 1 + (data[2] & 63);
    const int32_t k = 1 + (data[3] & 7);
    const int32_t fill_order = (data[4] & 1) ? 2 : 1;
    const bool leading_eol = data[4] & 2, end_of_page = data[4] & 4;
    data += 5;
    size -= 5;

    // The page, padding bits past the width cleared.
    const size_t stride = size_t(width + 7) / 8;
    std::vector<uint8_t> page(stride * size_t(rows));
    for (size_t i = 0; i < page.size(); ++i) page[i] = data[i % size];
    if (width % 8)
        for (int32_t y = 0; y < rows; ++y) page[stride * size_t(y) + stride - 1] &= uint8_t(0xFF00 >> (width % 8));

    static const Mode modes[] = {
        {kCcittMH, CcittEntry::k1D, kCcittMH},         {kCcittT4, CcittEntry::k1D, kCcittT4},
        {kCcittT4Fill, CcittEntry::k1D, kCcittT4Fill}, {kCcittSink1D, CcittEntry::k1D, kCcittT4},
        {kCcittSink1DB, CcittEntry::k1D, kCcittT4},    {kCcitt2D, CcittEntry::k2D, kCcitt2D},
        {kCcitt2DFill, CcittEntry::k2D, kCcitt2DFill}, {kCcittSink2D, CcittEntry::k2D, kCcitt2D},
        {kCcittSink2DB, CcittEntry::k2D, kCcitt2D},    {kCcittT6, CcittEntry::kT6, kCcittT6},
        {kCcittSinkT6, CcittEntry::kT6, kCcittT6},     {kCcittSinkT6B, CcittEntry::kT6, kCcittT6},
    };
    // At most 12 bits per pixel pair plus a row's EOL, fill and tag, and
    // the end of page.
    std::vector<uint8_t> out((size_t(width) + 64) * size_t(rows + 8));
    for (const Mode &m : modes) {
        int32_t used = 0;
        CcittEncodeParams ep;
        ep.width = width;
        ep.rows = rows;
        ep.fill_order = fill_order;
        ep.mode = m.enc;
        ep.k = k;
        ep.leading_eol = leading_eol;
        ep.end_of_page = end_of_page;
        ep.sink = out.data();
        ep.sink_size = int32_t(out.size());
        ep.sink_used = &used;
        PageSource src(page, width);
        if (ccitt_encode(nullptr, 0, ep, src) != 0) std::abort();

        CcittByteSource in;
        in.buf = out.data();
        in.size = in.held = used;
        CcittDecodeParams dp;
        dp.width = width;
        dp.rows = rows;
        dp.fill_order = fill_order;
        dp.mode = m.dec;
        PageCheck check(page, width);
        if (ccitt_decode(m.entry, in, dp, check) != 0 || check.rows != rows) std::abort();
    }
    QV_error_clear();
    return 0;
}
