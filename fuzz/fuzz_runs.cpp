// Run-encoded 1-bit DIBs from hostile bytes: import (list walk and checks),
// every row read back packed, as elements and as runs, rows rewritten, the
// image exported; and raw run lists decoded at any width.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) return 0;
    int32_t width = 1 + int32_t((data[0] | (data[1] << 8)) % 33000);
    int32_t height = 1 + int32_t(data[2] % 48);
    bool top_down = data[3] & 1;
    data += 4;
    size -= 4;

    // Raw lists within their length decode safely whatever they hold.
    std::vector<uint16_t> words((size + 1) / 2 + 4, 0);
    if (size) std::memcpy(words.data(), data, size);
    if (words[0] > words.size() * 2) words[0] = uint16_t(words.size() * 2);  // the length is the caller's
    std::vector<uint8_t> row(size_t((width + 31) / 32) * 4);
    if (width <= 32763) VPb_runs_to_packed(words.data(), width, row.data());

    auto *dib = static_cast<QV_DIB_HEADER *>(std::malloc(48 + size));
    VPb_DIB_init(dib, width, top_down ? -height : height, 1, 500, 0, 0);
    dib->biSizeImage = uint32_t(size);
    std::memset(reinterpret_cast<uint8_t *>(dib) + 40, 0, 8);
    if (size) std::memcpy(reinterpret_cast<uint8_t *>(dib) + 48, data, size);
    QUORIN img = nullptr;
    if (QV_image_import_DIB(dib, &img) != 0) {
        std::free(dib);
        return 0;
    }
    std::vector<uint8_t> elems(static_cast<size_t>(width));
    std::vector<uint16_t> runs(size_t(width) + 4);
    for (int32_t y = 0; y < height; ++y) {
        QV_DIB_raster_get(img, y, row.data(), 1);
        QV_DIB_raster_get(img, y, elems.data(), 2);
        QV_runs_row_get(img, y, runs.data());
        uint8_t px = 0;
        QV_DIB_pixel_get(img, (y * 7919) % width, y, &px);
        if (y % 3 == 1) {
            for (size_t k = 0; k < row.size(); ++k) row[k] = uint8_t(row[k] ^ (k * 37 + size_t(y)));
            QV_DIB_raster_set(img, y, row.data(), 1);
        }
    }
    QV_DIB_HEADER *out = nullptr;
    if (QV_image_export_DIB(img, &out) == 0) std::free(out);
    else QV_image_delete(img);
    return 0;
}
