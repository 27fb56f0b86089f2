// Images for the colour-reduction tests: built from rows of element values (one byte a pixel up
// to 8 bits, blue-green-red at 24) and read back the same way; flat fields; the hooks a
// reduction runs.
#pragma once

#include <array>
#include <functional>

#include "common/test_util.h"

namespace dt {

using Bytes = std::vector<uint8_t>;
using Rows = std::vector<Bytes>;

inline size_t elem(int bpp) { return bpp <= 8 ? 1 : size_t(bpp / 8); }

inline QUORIN make(int32_t w, int32_t h, int32_t bpp, const Rows &rows = {},
                   const std::vector<QV_RGBQUAD> &palette = {}) {
    QUORIN img = nullptr;
    QV_image_create_DIB_ex(w, h, bpp, 0, nullptr, &img);
    if (!palette.empty()) {
        QV_RGBQUAD *p = VPb_palette_pointer_get(img);
        for (size_t i = 0; i < palette.size(); ++i) p[i] = palette[i];
    }
    for (int32_t y = 0; y < int32_t(rows.size()) && y < h; ++y)
        QV_DIB_raster_set(img, y, rows[size_t(y)].data(), 2);
    return img;
}
// A 24-bit image of one colour.
inline QUORIN flat24(int32_t w, int32_t h, uint8_t r, uint8_t g, uint8_t b) {
    Bytes row(size_t(w) * 3);
    for (size_t x = 0; x < row.size(); x += 3) row[x] = b, row[x + 1] = g, row[x + 2] = r;
    return make(w, h, 24, Rows(size_t(h), row));
}
inline Rows read(QUORIN img) {
    auto d = qvtest::dims(img);
    Rows rows = Rows(size_t(d[1]), Bytes(size_t(d[0]) * elem(d[2])));
    for (int32_t y = 0; y < d[1]; ++y) QV_DIB_raster_get(img, y, rows[size_t(y)].data(), 2);
    return rows;
}
inline QV_DIB_HEADER *dib(QUORIN img) {
    QV_DIB_HEADER *d = nullptr;
    QV_image_DIB_pntr_get(img, &d);
    return d;
}
inline std::vector<QV_RGBQUAD> palette(QUORIN img) {
    QV_RGBQUAD *p = VPb_palette_pointer_get(img);
    return std::vector<QV_RGBQUAD>(p, p + VPb_palette_size_get(img) / 4);
}
inline bool same(const QV_RGBQUAD &a, const QV_RGBQUAD &b) {
    return a.rgbBlue == b.rgbBlue && a.rgbGreen == b.rgbGreen && a.rgbRed == b.rgbRed;
}
inline size_t count(const Rows &rows, uint8_t v) {
    size_t n = 0;
    for (const auto &r : rows)
        for (uint8_t b : r) n += b == v;
    return n;
}

// Records the image-changed and palette-update hooks while in scope.
struct Hooks {
    static inline std::vector<std::pair<int32_t, int32_t>> changed{};
    static inline std::vector<int32_t> palettes{};
    static void on_changed(QUORIN, int32_t reason, int32_t value) { changed.emplace_back(reason, value); }
    static void on_palette(QUORIN, int32_t entries) { palettes.push_back(entries); }
    Hooks() {
        changed.clear();
        palettes.clear();
        VPb_settings_hook_func_set(QV_HOOK_IMAGE_CHANGED, reinterpret_cast<void *>(&on_changed));
        VPb_settings_hook_func_set(QV_HOOK_PALETTE_UPDATE, reinterpret_cast<void *>(&on_palette));
    }
    ~Hooks() {
        VPb_settings_hook_func_set(QV_HOOK_IMAGE_CHANGED, nullptr);
        VPb_settings_hook_func_set(QV_HOOK_PALETTE_UPDATE, nullptr);
    }
};

// Registers a status-bar recorder while in scope.
struct StatusBar {
    qvtest::Progress p;
    explicit StatusBar(int32_t cancel_at = -1) {
        p.cancel_at = cancel_at;
        QV_status_bar_CB_register(&qvtest::Progress::on, &p);
    }
    ~StatusBar() { QV_status_bar_CB_register(nullptr, nullptr); }
};

}  // namespace dt
