// Helpers of the PCX/DCX tests: building PCX and DCX files byte by byte,
// loading through the callback load (header, palette and rows as the reader
// delivers them), pixels as RGB, MD5, and running the peer programs.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vosk32pd.h"

namespace pcxtest {

using Bytes = std::vector<uint8_t>;

inline void put16(Bytes &b, size_t at, uint32_t v) {
    b[at] = uint8_t(v);
    b[at + 1] = uint8_t(v >> 8);
}
inline void put32(Bytes &b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (8 * i));
}
inline uint32_t get16(const Bytes &b, size_t at) { return b[at] | (b[at + 1] << 8); }
inline uint32_t get32(const Bytes &b, size_t at) {
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (uint32_t(b[at + 3]) << 24);
}

// A PCX header: the fields the tests vary, the rest as a writer would set.
struct Header {
    uint8_t manufacturer = 10, version = 5, encoding = 1, bpp = 8, planes = 1;
    uint16_t xmin = 0, ymin = 0, width = 4, height = 2, hres = 300, vres = 150;
    int32_t bytes_per_line = -1;  // -1: (width * bpp + 7) / 8 rounded up to even
    Bytes palette16;              // up to 48 bytes at offset 16

    Bytes bytes() const {
        Bytes h(128, 0);
        h[0] = manufacturer;
        h[1] = version;
        h[2] = encoding;
        h[3] = bpp;
        put16(h, 4, xmin);
        put16(h, 6, ymin);
        put16(h, 8, xmin + width - 1);
        put16(h, 10, ymin + height - 1);
        put16(h, 12, hres);
        put16(h, 14, vres);
        if (!palette16.empty()) std::memcpy(h.data() + 16, palette16.data(), palette16.size() < 48 ? palette16.size() : 48);
        h[65] = planes;
        uint32_t bpl = bytes_per_line >= 0 ? uint32_t(bytes_per_line) : ((width * bpp + 7) / 8 + 1) & ~1u;
        put16(h, 66, bpl);
        put16(h, 68, 1);
        return h;
    }
};

inline Bytes cat(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// A 256-colour trailer: marker, then entry i = (i, 255 - i, i / 2).
inline Bytes trailer(uint8_t marker = 0x0C) {
    Bytes t{marker};
    for (int i = 0; i < 256; ++i) {
        t.push_back(uint8_t(i));
        t.push_back(uint8_t(255 - i));
        t.push_back(uint8_t(i / 2));
    }
    return t;
}

// A DCX file of the given pages, offsets from 4100 on.
inline Bytes dcx(const std::vector<Bytes> &pages) {
    Bytes f(4100, 0);
    put32(f, 0, 987654321u);
    uint32_t at = 4100;
    for (size_t i = 0; i < pages.size(); ++i) {
        put32(f, 4 + 4 * i, at);
        at += uint32_t(pages[i].size());
    }
    for (const Bytes &p : pages) f = cat(f, p);
    return f;
}

// What a callback load delivered.
struct Loaded {
    int32_t errors = -1;
    QV_DIB_HEADER hdr{};
    std::vector<QV_RGBQUAD> palette;
    std::vector<Bytes> rows;  // by row number, top first

    uint32_t row_bytes() const { return ((hdr.biWidth * hdr.biBitCount + 31) / 32) * 4; }
    uint32_t index(int32_t x, int32_t y) const {
        const Bytes &r = rows[size_t(y)];
        switch (hdr.biBitCount) {
        case 1: return (r[size_t(x) / 8] >> (7 - x % 8)) & 1;
        case 4: return (r[size_t(x) / 2] >> (x % 2 ? 0 : 4)) & 15;
        default: return r[size_t(x)];
        }
    }
    // R, G, B of pixel (x, y).
    void rgb(int32_t x, int32_t y, uint8_t out[3]) const {
        if (hdr.biBitCount <= 8) {
            const QV_RGBQUAD &q = palette[index(x, y)];
            out[0] = q.rgbRed;
            out[1] = q.rgbGreen;
            out[2] = q.rgbBlue;
            return;
        }
        const uint8_t *p = rows[size_t(y)].data() + size_t(x) * (hdr.biBitCount / 8);
        out[0] = p[2];
        out[1] = p[1];
        out[2] = p[0];
    }
    Bytes rgb_bytes() const {
        Bytes v;
        uint8_t px[3];
        for (int32_t y = 0; y < hdr.biHeight; ++y) {
            for (int32_t x = 0; x < hdr.biWidth; ++x) {
                rgb(x, y, px);
                v.insert(v.end(), px, px + 3);
            }
        }
        return v;
    }
};

inline int32_t on_header(void *user, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *palette) {
    Loaded *l = static_cast<Loaded *>(user);
    l->hdr = *hdr;
    if (palette && hdr->biBitCount <= 8) l->palette.assign(palette, palette + (1 << hdr->biBitCount));
    l->rows.assign(size_t(hdr->biHeight < 0 ? -hdr->biHeight : hdr->biHeight), Bytes());
    return 0;
}
inline int32_t on_row(void *user, int32_t row, const uint8_t *data, int32_t bytes) {
    Loaded *l = static_cast<Loaded *>(user);
    if (row < 0 || size_t(row) >= l->rows.size()) return 1;
    l->rows[size_t(row)].assign(data, data + bytes);
    return 0;
}

inline Loaded load(const Bytes &file, int32_t page = 1) {
    Loaded l;
    l.errors = QV_load_mem_CB(file.data(), file.size(), page, 1, on_row, on_header, &l);
    return l;
}

// Loads into an image; the handle must come back 0 on failure.
inline QUORIN load_image(const Bytes &file, int32_t page = 1, int32_t *errors = nullptr) {
    QUORIN h = nullptr;
    int32_t n = QV_load_mem(file.data(), file.size(), page, 1, &h);
    if (errors) *errors = n;
    return h;
}

// Tags offered through the caller's tag callback (QV_load_tag_CB_register):
// id, type, count and the value (bytes, shorts and longs; first byte of a
// block).
struct Tag {
    int32_t id, type, count;
    uint32_t value;
};
inline int32_t collect_tag(void *user, int32_t tag, int32_t type, const void *data, int32_t count) {
    uint32_t v = 0;
    if (type == 1 || type == 13) v = *static_cast<const uint8_t *>(data);
    if (type == 3) v = *static_cast<const uint16_t *>(data);
    if (type == 4 || type == 14) std::memcpy(&v, data, 4);
    static_cast<std::vector<Tag> *>(user)->push_back({tag, type, count, v});
    return 0;
}

// MD5 of a byte string, as lower-case hex.
std::string md5_hex(const Bytes &data);

// True when /usr/bin/python3 can import PIL (and numpy-free scripts run).
bool have_pillow();
bool have_imagemagick();
// Runs a shell command; true on exit status 0.
bool run(const std::string &cmd);
std::string source_dir();

}  // namespace pcxtest
