// Images for the resize tests: made from rows of element values (format 2: one byte per pixel
// up to 8 bits, two little-endian bytes at 16, blue-green-red at 24) and read back the same way.
#pragma once

#include <random>

#include "common/test_util.h"

namespace rs {

using Bytes = std::vector<uint8_t>;
using Rows = std::vector<Bytes>;

inline size_t elem(int bpp) { return bpp <= 8 ? 1 : size_t(bpp / 8); }

// runs: a run-encoded 1-bit image (as readers make them); else a packed one.
inline QUORIN make(int32_t w, int32_t h, int32_t bpp, const Rows &rows = {}, bool runs = false,
                   uint32_t compression = 0) {
    QUORIN img = nullptr;
    if (runs) img = qvtest::reader_image(w, h);
    else QV_image_create_DIB_ex(w, h, bpp, compression, nullptr, &img);
    for (int32_t y = 0; y < int32_t(rows.size()) && y < h; ++y)
        QV_DIB_raster_set(img, y, rows[size_t(y)].data(), 2);
    return img;
}
inline Rows read(QUORIN img) {
    auto d = qvtest::dims(img);
    Rows rows = Rows(size_t(d[1]), Bytes(size_t(d[0]) * elem(d[2])));
    for (int32_t y = 0; y < d[1]; ++y) QV_DIB_raster_get(img, y, rows[size_t(y)].data(), 2);
    return rows;
}
// Whole rasters as stored (format 1), padding included.
inline Rows packed(QUORIN img) {
    auto d = qvtest::dims(img);
    int32_t n = 0;
    QV_DIB_raster_size_get(img, 1, &n);
    Rows rows = Rows(size_t(d[1]), Bytes(size_t(n)));
    for (int32_t y = 0; y < d[1]; ++y) QV_DIB_raster_get(img, y, rows[size_t(y)].data(), 1);
    return rows;
}
inline Rows random_rows(int32_t w, int32_t h, int32_t bpp, uint32_t seed, int density = 50) {
    std::mt19937 rng(seed);
    Rows rows = Rows(size_t(h), Bytes(size_t(w) * elem(bpp)));
    for (auto &r : rows)
        for (auto &b : r) {
            if (bpp == 1) b = int(rng() % 100) < density ? 1 : 0;
            else if (bpp == 4) b = uint8_t(rng() & 15);
            else b = uint8_t(rng());
        }
    return rows;
}
inline bool is_runs(QUORIN img) {
    QV_DIB_HEADER *d = nullptr;
    QV_image_DIB_pntr_get(img, &d);
    return d && d->biCompression == QV_BI_RUNS;
}

}  // namespace rs
