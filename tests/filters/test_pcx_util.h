// Helpers of the PCX/DCX tests: building PCX and DCX files byte by byte,
// loading through the callback load (header, palette and rows as the reader
// delivers them), saving into memory, the tags offered, and a fixture that
// restores the settings the tests change.
#pragma once

#include <unistd.h>
#include <cstring>

#include "common/test_util.h"

namespace pcxtest {

using Bytes = std::vector<uint8_t>;

constexpr int32_t kPcx = QV_FORMAT_PCX, kDcx = QV_FORMAT_DCX, kDcxAppend = 1 * 256 + kDcx;
constexpr uint32_t kDcxMagic = 987654321u;

using qvtest::get16;
using qvtest::get32;
using qvtest::load_mem;
using qvtest::put16;
using qvtest::put32;
inline Bytes cat(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
// Each byte as a run of one: 0xC1, b.
inline Bytes ones(const Bytes &bytes) {
    Bytes out;
    for (uint8_t b : bytes) out.insert(out.end(), {0xC1, b});
    return out;
}

// A PCX header: the fields the tests vary, the rest as a writer would set.
struct Header {
    uint8_t manufacturer = 10, version = 5, encoding = 1, bpp = 8, planes = 1;
    uint16_t xmin = 0, ymin = 0, width = 4, height = 2, hres = 300, vres = 150;
    int32_t bytes_per_line = -1;  // -1: (width * bpp + 7) / 8 rounded up to even
    Bytes palette16{};            // up to 48 bytes at offset 16

    Bytes bytes() const {
        Bytes h(128, 0);
        h[0] = manufacturer, h[1] = version, h[2] = encoding, h[3] = bpp, h[65] = planes;
        put16(h, 4, xmin), put16(h, 6, ymin);
        put16(h, 8, xmin + width - 1), put16(h, 10, ymin + height - 1);
        put16(h, 12, hres), put16(h, 14, vres);
        std::copy_n(palette16.begin(), std::min<size_t>(palette16.size(), 48), h.begin() + 16);
        const uint32_t even = ((width * bpp + 7) / 8 + 1) & ~1u;
        put16(h, 66, bytes_per_line >= 0 ? uint32_t(bytes_per_line) : even);
        put16(h, 68, 1);
        return h;
    }
    Bytes with(const Bytes &data) const { return cat(bytes(), data); }
};

// A 256-colour trailer: marker, then entry i = (i, 255 - i, i / 2).
inline Bytes trailer(uint8_t marker = 0x0C) {
    Bytes t{marker};
    for (int i = 0; i < 256; ++i) t.insert(t.end(), {uint8_t(i), uint8_t(255 - i), uint8_t(i / 2)});
    return t;
}

// A DCX file of the given pages, offsets from 4100 on.
inline Bytes dcx(const std::vector<Bytes> &pages) {
    Bytes f(4100, 0);
    put32(f, 0, kDcxMagic);
    for (size_t i = 0; i < pages.size(); ++i) {
        put32(f, 4 + 4 * i, uint32_t(f.size()));
        f = cat(f, pages[i]);
    }
    return f;
}

// What a callback load delivered.
struct Loaded {
    int32_t errors = -1;
    QV_DIB_HEADER hdr{};
    std::vector<QV_RGBQUAD> palette;
    std::vector<Bytes> rows;  // by row number, top first

    uint32_t index(int32_t x, int32_t y) const {
        const Bytes &r = rows[size_t(y)];
        const int bpp = hdr.biBitCount;
        return (r[size_t(x * bpp / 8)] >> (8 - bpp - x * bpp % 8)) & ((1u << bpp) - 1);
    }
    // Pixel (x, y) as 0xRRGGBB.
    uint32_t rgb(int32_t x, int32_t y) const {
        if (hdr.biBitCount <= 8) return color(palette[index(x, y)]);
        const uint8_t *p = rows[size_t(y)].data() + size_t(x) * (hdr.biBitCount / 8);
        return uint32_t(p[2] << 16 | p[1] << 8 | p[0]);
    }
    // All pixels as R, G, B bytes, top row first.
    Bytes rgb_bytes() const {
        Bytes v;
        for (int32_t y = 0; y < hdr.biHeight; ++y)
            for (int32_t x = 0; x < hdr.biWidth; ++x) {
                const uint32_t c = rgb(x, y);
                v.insert(v.end(), {uint8_t(c >> 16), uint8_t(c >> 8), uint8_t(c)});
            }
        return v;
    }
    static uint32_t color(const QV_RGBQUAD &q) {
        return uint32_t(q.rgbRed << 16 | q.rgbGreen << 8 | q.rgbBlue);
    }
};

inline Loaded load(const Bytes &file, int32_t page = 1) {
    Loaded l;
    auto on_header = [](void *user, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *palette) {
        Loaded *l = static_cast<Loaded *>(user);
        l->hdr = *hdr;
        if (palette && hdr->biBitCount <= 8)
            l->palette.assign(palette, palette + (1 << hdr->biBitCount));
        l->rows.assign(size_t(hdr->biHeight < 0 ? -hdr->biHeight : hdr->biHeight), Bytes());
        return int32_t(0);
    };
    auto on_row = [](void *user, int32_t row, const uint8_t *data, int32_t bytes) {
        Loaded *l = static_cast<Loaded *>(user);
        if (row < 0 || size_t(row) >= l->rows.size()) return int32_t(1);
        l->rows[size_t(row)].assign(data, data + bytes);
        return int32_t(0);
    };
    l.errors = QV_load_mem_CB(file.data(), file.size(), page, 1, on_row, on_header, &l);
    return l;
}

// Tags offered through the caller's tag callback (QV_load_tag_CB_register):
// id, type, count and the value (bytes, shorts and longs; first byte of a
// block).
struct Tag {
    int32_t id, type, count;
    uint32_t value;
    bool operator==(const Tag &) const = default;
};
inline void PrintTo(const Tag &t, std::ostream *os) {
    *os << '{' << t.id << ", " << t.type << ", " << t.count << ", " << t.value << '}';
}
inline int32_t collect_tag(void *user, int32_t tag, int32_t type, const void *data, int32_t count) {
    uint32_t v = 0;
    if (type == 1 || type == 13) v = *static_cast<const uint8_t *>(data);
    if (type == 3) v = *static_cast<const uint16_t *>(data);
    if (type == 4 || type == 14) std::memcpy(&v, data, 4);
    static_cast<std::vector<Tag> *>(user)->push_back({tag, type, count, v});
    return 0;
}

// Restores the settings the tests change; frees the images and removes the
// files they keep.
class PcxTest : public ::testing::Test {
protected:
    void TearDown() override {
        QV_load_tag_CB_register(nullptr, nullptr);
        QV_DIB_resolution_units_set(2);
        QV_image_control_set(kPcx, 1), QV_image_control_set(kDcx, 1);
        QV_image_control_set(kDcxAppend, 0);
        for (QUORIN h : images_) QV_image_delete(h);
        for (const auto &p : paths_) ::unlink(p.c_str());
    }
    QUORIN keep(QUORIN h) {
        if (h) images_.push_back(h);
        return h;
    }
    // Loads into a kept image; no errors expected.
    QUORIN image_of(const Bytes &file, int32_t page = 1) {
        int32_t errors = -1;
        QUORIN h = keep(load_mem(file, &errors, page));
        EXPECT_EQ(errors, 0) << ::testing::PrintToString(qvtest::stack());
        return h;
    }
    // A temporary file name, removed at the end.
    std::string path(const std::string &name) {
        paths_.push_back(qvtest::temp_path(name));
        ::unlink(paths_.back().c_str());
        return paths_.back();
    }
    // Saves into memory; the bytes written. No errors expected unless
    // `errors` takes their count.
    static Bytes save(QUORIN h, int32_t format = kPcx, size_t room = 1 << 20,
                      int32_t *errors = nullptr) {
        Bytes out(room);
        size_t written = 0;
        const int32_t n = QV_save_mem(h, out.data(), out.size(), 0, 0, 1, format, &written);
        if (errors) *errors = n;
        else EXPECT_EQ(n, 0) << ::testing::PrintToString(qvtest::stack());
        out.resize(written);
        return out;
    }
    std::vector<QUORIN> images_;
    std::vector<std::string> paths_;
};

}  // namespace pcxtest
