/*
 * xpm_write.cpp - the XPM writer.
 *
 * Palette images list their 2^bpp palette entries; other images list their
 * distinct colours in the order met (a first pass over the rows counts
 * them in an open-addressing table), 32-bit pixels of alpha 0 sharing one
 * "None" entry. Keys are taken from 92 printable characters (no quote or
 * backslash): one a pixel up to 92 colours, two up to 8464.
 * Codes: -2080 compression other than 0 (iVal the value); -2413 a layout
 * not written (iVal the depth, lVal the compression); -2393 more than 8464
 * colours (iVal 8465, lVal 8464); -2041 short header write; -2072 short row
 * write (iVal the row).
 */
#include <cstdio>
#include <cstring>

#include "filters/filter_util.h"
#include "filters/raster_io.h"
#include "filters/xpm_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\XPMWRITE.C";
constexpr uint32_t kMaxColours = 92 * 92;
constexpr uint32_t kSlots = 1u << 15;     // table slots, over three times kMaxColours
constexpr uint32_t kNone = 0xFF000000u;   // the transparent colour's key

char key_char(uint32_t i) {
    char c = char(' ' + i);  // ' ' to '}' without '"' and '\\'
    if (c >= '"') ++c;
    if (c >= '\\') ++c;
    return c;
}

// Colour value -> index, open addressing; stored as value + 1.
struct ColourTable {
    uint32_t *keys, *index;
    uint32_t count = 0;
    // Index of the colour, adding it; -1 when the table is full.
    int32_t find(uint32_t v) {
        uint32_t h = (v * 2654435761u) >> 17;
        for (;; h = (h + 1) & (kSlots - 1)) {
            if (keys[h] == v + 1) return int32_t(index[h]);
            if (keys[h] == 0) {
                if (count == kMaxColours) return -1;
                keys[h] = v + 1, index[h] = count;
                return int32_t(count++);
            }
        }
    }
};

uint32_t colour_key(const uint8_t *rgba) {
    if (rgba[3] == 0) return kNone;
    return uint32_t(rgba[0]) << 16 | uint32_t(rgba[1]) << 8 | rgba[2];
}

}  // namespace

int32_t xpm_write(VPb_STREAM *stream, void *, int32_t, int32_t, int32_t compression) {
    VPb_STREAM *s = stream;
    WriterStart w;
    if (int32_t st = writer_start(s, nullptr, compression, 0, w, false)) return st;
    if (w.code) return QV_ERR(w.code, w.ival, w.lval);
    const QV_DIB_HEADER &hdr = w.hdr;
    const QV_RGBQUAD *pal = w.pal;
    const int32_t bpp = w.bpp, width = w.width, height = w.height;

    FilterTag work;
    RasterIn rows;
    if (int32_t st = rows.begin(s, hdr, work.tag())) return st;
    VPb_MASK_CHANNEL masks[3];
    saved_masks16(s, hdr, masks);
    ColourTable table{filter_alloc_array<uint32_t>(work.tag(), kSlots),
                      filter_alloc_array<uint32_t>(work.tag(), kSlots)};
    auto *colours = filter_alloc_array<uint32_t>(work.tag(), kMaxColours);
    auto *rgba = filter_alloc_array<uint8_t>(work.tag(), 4 * size_t(width) + 8);
    auto *text = filter_alloc_array<char>(work.tag(), 2 * size_t(width) + 64);
    if (!table.keys || !table.index || !colours || !rgba || !text)
        return QV_ERR(QVE_NO_MEMORY, 4 * size_t(width), work.tag());
    const bool mapped = bpp <= 8;
    uint32_t n = 0;
    if (mapped) {
        n = 1u << bpp;
        for (uint32_t i = 0; i < n; ++i)
            colours[i] = uint32_t(pal[i].rgbRed) << 16 | uint32_t(pal[i].rgbGreen) << 8 | pal[i].rgbBlue;
    } else {
        for (int32_t r = 0; r < height; ++r) {
            const uint8_t *src = rows.get(r);
            if (!src) return QVE_SAVE_CALLBACK;
            row_to_rgba(src, bpp, pal, masks, width, rgba);
            for (int32_t x = 0; x < width; ++x) {
                const uint32_t v = colour_key(rgba + 4 * size_t(x));
                const int32_t i = table.find(v);
                if (i < 0) return QV_ERR(QVE_COLOR_COUNT, kMaxColours + 1, kMaxColours);
                colours[i] = v;
            }
        }
        n = table.count;
    }
    const uint32_t cpp = n <= 92 ? 1 : 2;
    char line[96];
    int k = std::snprintf(line, sizeof line, "/* XPM */\nstatic char *image[] = {\n\"%d %d %u %u\",\n", width,
                          height, n, cpp);
    if (!write_all(s, line, size_t(k))) return QV_ERR(QVE_WRITE_HEADER, 0, k);
    for (uint32_t i = 0; i < n; ++i) {
        char key[3] = {key_char(cpp == 1 ? i : i % 92), cpp == 2 ? key_char(i / 92) : char(0), 0};
        if (colours[i] == kNone) k = std::snprintf(line, sizeof line, "\"%s c None\",\n", key);
        else k = std::snprintf(line, sizeof line, "\"%s c #%06X\",\n", key, colours[i]);
        if (!write_all(s, line, size_t(k))) return QV_ERR(QVE_WRITE_HEADER, i + 1, k);
    }
    for (int32_t r = 0; r < height; ++r) {
        const uint8_t *src = rows.get(r);
        if (!src) return QVE_SAVE_CALLBACK;
        if (!mapped) row_to_rgba(src, bpp, pal, masks, width, rgba);
        size_t p = 0;
        text[p++] = '"';
        for (int32_t x = 0; x < width; ++x) {
            const uint32_t i = mapped ? index_at(src, x, bpp) : uint32_t(table.find(colour_key(rgba + 4 * size_t(x))));
            text[p++] = key_char(cpp == 1 ? i : i % 92);
            if (cpp == 2) text[p++] = key_char(i / 92);
        }
        const char *tail = r + 1 < height ? "\",\n" : "\"\n};\n";
        const size_t tl = std::strlen(tail);
        std::memcpy(text + p, tail, tl);
        p += tl;
        if (!write_all(s, text, p)) return QV_ERR(QVE_SHORT_WRITE, r, int32_t(p));
    }
    return 0;
}

}  // namespace qv
