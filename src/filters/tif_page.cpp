/*
 * tif_page.cpp - the TIFF page description: tags to size, samples,
 * photometric, palette, resolution, strips or the one tile to read, and
 * the DIB the page becomes.
 *
 * Defaults and checks run in a fixed order, so a page with several faults
 * reports the first: dimensions, samples (8 or more), colour bits, zero
 * size, colour map size, offsets, photometric, depth.
 * Codes (iVal, lVal): -1000 (0, 0) a dimension tag missing (compression
 * other than 6), (samples, 7) 8 or more samples, (values, 768) a colour
 * map of more than 256 entries, (byte counts, offsets) tile byte counts
 * that do not match the tiles; -2061 (0, 0) no colour bits; -2472 (width,
 * height) a zero dimension; -2459 (0, 0) no offsets on a tiled page, (tile,
 * tiles) a tile out of range; -2458 (photometric, 0) photometric 4, 7 or
 * unknown; -3000 (total bits, 0) grey or palette samples too deep, colour
 * samples of more than 16 bits, colour pixels with too few samples, planar
 * or palette-with-extra samples of unequal widths.
 */
#include <cstdlib>
#include <cstring>

#include "filters/filter_util.h"
#include "filters/tif_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\TIFREAD.C";

struct CodeMap {
    uint32_t tiff;
    int32_t code;
};
constexpr CodeMap kCodes[] = {
    {1, 0}, {32773, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 8}, {6, 6}, {7, 6}, {32776, 9}, {32778, 10},
    {32780, 11}, {32777, 16},
};

// TIFF compression for a library code (the absent-tag rule).
uint32_t tiff_compression_of(int32_t code) {
    for (const CodeMap &m : kCodes)
        if (m.code == code && m.tiff != 7) return m.tiff;
    return uint32_t(code);
}

// A dimension: SHORT unsigned, LONG as the absolute value of the signed number.
int64_t dimension(const TifEntry *e) {
    if (!e) return -1;
    const uint32_t v = tif_value(e, 0, 0);
    if (e->type == kTifLong || e->type == kTifSLong) return std::llabs(int64_t(int32_t(v)));
    if (e->type == kTifShort) return v & 0xFFFF;
    return v;
}

// Offsets (SHORT widened) as an array under `tag`; null with n 0 when absent.
uint32_t *offsets_of(const TifEntry *e, uint32_t tag, int32_t *n) {
    *n = 0;
    if (!e || !e->data || e->count == 0) return nullptr;
    uint32_t *o = filter_alloc_array<uint32_t>(tag, e->count);
    if (!o) return nullptr;
    for (uint32_t i = 0; i < e->count; ++i) o[i] = tif_value(e, i, 0);
    *n = int32_t(e->count > 0x7FFFFFFF ? 0x7FFFFFFF : e->count);
    return o;
}

void build_palette(VPb_TIF_TAGS *st, TifPage &p, int32_t *rc) {
    const TifEntry *cm = tif_entry(st, kTiColorMap, 320);
    if (cm) {
        const uint32_t n = cm->count;
        if (n / 3 > 256) {
            *rc = QV_ERR(QVE_NO_MEMORY, int32_t(n), 768);
            return;
        }
        const uint32_t k = n / 3;
        bool wide = false;
        for (uint32_t i = 0; i < n; ++i)
            if (tif_value(cm, i, 0) > 255) wide = true;
        for (uint32_t i = 0; i < k; ++i) {
            uint32_t r = tif_value(cm, i, 0), g = tif_value(cm, k + i, 0), b = tif_value(cm, 2 * k + i, 0);
            if (wide) r >>= 8, g >>= 8, b >>= 8;
            p.palette[i] = {uint8_t(b), uint8_t(g), uint8_t(r), 0};
        }
        p.palette_entries = int32_t(k);
        return;
    }
    if (p.photometric == 0 || p.photometric == 1) {
        const int32_t bits = p.bits[0] > 8 ? 8 : p.bits[0];
        const int32_t entries = 1 << bits;
        for (int32_t i = 0; i < entries; ++i) {
            const uint8_t v = uint8_t(entries > 1 ? i * 255 / (entries - 1) : 0);
            p.palette[i] = {v, v, v, 0};
        }
        p.palette_entries = entries;
    }
}

// DIB depth for grey and palette samples of `bits` bits.
int32_t indexed_depth(int32_t bits) {
    if (bits <= 1) return 1;
    if (bits <= 4) return 4;
    return 8;
}

}  // namespace

int32_t tif_library_compression(uint32_t tiff) {
    for (const CodeMap &m : kCodes)
        if (m.tiff == tiff) return m.code;
    return int32_t(tiff);
}

TifControl tif_control(const void *ctl) {
    TifControl c;
    if (!ctl) return c;
    const uint8_t *b = static_cast<const uint8_t *>(ctl);
    std::memcpy(&c.gray16, b + 4 * kTifCtlGray16, 4);
    std::memcpy(&c.measure, b + 4 * kTifCtlMeasure, 4);
    std::memcpy(&c.compression, b + 4 * kTifCtlCompression, 4);
    std::memcpy(&c.info_page, b + 4 * kTifCtlInfoPage, 4);
    return c;
}

int32_t tif_describe(VPb_TIF_TAGS *st, uint32_t tag, const TifControl &ctl, TifPage *pp) {
    TifPage &p = *pp;
    // 1. Compression.
    const TifEntry *ce = tif_entry(st, kTiCompression, 259);
    p.compression = uint16_t(ce ? tif_value(ce, 0, 1) : tiff_compression_of(ctl.compression));

    // 2. Dimensions.
    const TifEntry *tw = tif_entry(st, kTiTileWidth, 322), *tl = tif_entry(st, kTiTileLength, 323);
    int64_t w, h;
    if (tw && tl) {
        p.tiled = 1;
        w = dimension(tw), h = dimension(tl);
    } else {
        w = dimension(tif_entry(st, kTiWidth, 256)), h = dimension(tif_entry(st, kTiLength, 257));
    }
    if ((w < 0 || h < 0) && p.compression != 6) return QV_ERR(QVE_NO_MEMORY, 0, 0);
    p.width = int32_t(w < 0 ? 0 : w > 0x7FFFFFFF ? 0x7FFFFFFF : w);
    p.height = int32_t(h < 0 ? 0 : h > 0x7FFFFFFF ? 0x7FFFFFFF : h);

    // 3. Samples and their bits.
    p.samples = uint16_t(tif_value(tif_entry(st, kTiSamples, 277), 0, 1));
    if (p.samples == 0) p.samples = 1;
    const TifEntry *be = tif_entry(st, kTiBits, 258);
    p.bits[0] = uint16_t(tif_value(be, 0, 1));
    if (p.bits[0] == 0) p.bits[0] = 1;
    for (int i = 1; i < 7; ++i) {
        const uint32_t v = tif_value(be, uint32_t(i), 0);
        p.bits[i] = uint16_t(v ? v : p.bits[0]);
    }

    // 4. Photometric, fill order, planar configuration.
    const TifEntry *pe = tif_entry(st, kTiPhotometric, 262);
    p.photometric = uint16_t(tif_value(pe, 0, 0));
    p.photometric_given = pe != nullptr;
    p.extra = 0;
    p.fill_order = uint16_t(tif_value(tif_entry(st, kTiFillOrder, 266), 0, 1));
    if (p.fill_order != 1 && p.fill_order != 2) p.fill_order = p.compression == 3 ? 2 : 1;
    p.planar = uint16_t(tif_value(tif_entry(st, kTiPlanar, 284), 0, 1));

    // 5. Bits per pixel.
    if (p.samples >= 8) return QV_ERR(QVE_NO_MEMORY, p.samples, 7);
    p.total_bits = 0;
    for (int i = 0; i < p.samples; ++i) p.total_bits += p.bits[i];
    p.color_bits = p.total_bits;
    if (p.color_bits == 0) return QV_ERR(QVE_INVALID_IMAGE, 0, 0);

    // 6. Photometric by compression when out of range.
    if (p.photometric > 8) {
        switch (p.compression) {
        case 1: case 5: case 32773: p.photometric = p.color_bits < 9 ? 3 : 2; break;
        case 2: case 3: case 4: p.photometric = 0; break;
        case 6: p.photometric = p.color_bits < 9 ? 1 : 2; break;
        default: break;
        }
    }

    // 7. Size.
    if ((p.width == 0 || p.height == 0) && p.compression != 6)
        return QV_ERR(QVE_ZERO_SIZE, p.width, p.height);

    // 8. Palette.
    int32_t rc = 0;
    build_palette(st, p, &rc);
    if (rc) return rc;

    // 9. Resolution.
    const uint32_t unit = tif_value(tif_entry(st, kTiResUnit, 296), 0, 2);
    p.res_unit = unit == 1 ? 1 : unit == 3 ? 4 : 3;
    const TifEntry *xr = tif_entry(st, kTiXRes, 282), *yr = tif_entry(st, kTiYRes, 283);
    auto rational = [](const TifEntry *e, uint32_t *num, uint32_t *den) {
        *num = 0, *den = 1;
        if (!e || !e->data || (e->type != kTifRational && e->type != kTifSRational)) return;
        const uint32_t *v = static_cast<const uint32_t *>(e->data);
        *num = v[0];
        *den = v[1] ? v[1] : 1;
    };
    rational(xr, &p.xres_num, &p.xres_den);
    rational(yr, &p.yres_num, &p.yres_den);

    // Other fields the decoders use.
    p.predictor = uint16_t(tif_value(tif_entry(st, kTiPredictor, 317), 0, 1));
    p.t4_options = uint16_t(tif_value(tif_entry(st, kTiT4Options, 292), 0, 0));
    p.orientation = uint16_t(tif_value(tif_entry(st, kTiOrientation, 274), 0, 1));
    const TifEntry *ys = tif_entry(st, kTiYCbCrSubSampling, 530);
    p.ycc_h = uint16_t(tif_value(ys, 0, 1));
    p.ycc_v = uint16_t(tif_value(ys, 1, 1));
    p.gray_min = 65535, p.gray_max = 0, p.gray_sig_bits = 8;

    const TifEntry *so = tif_entry(st, kTiStripOffsets, 273), *to = tif_entry(st, kTiTileOffsets, 324);
    const TifEntry *sc = tif_entry(st, kTiStripByteCounts, 279), *tc = tif_entry(st, kTiTileByteCounts, 325);
    if (!p.tiled) {
        // 10. Strips.
        p.offsets = offsets_of(so ? so : to, tag, &p.offset_count);
        if (!p.offsets) {
            p.offsets = filter_alloc_array<uint32_t>(tag, 1);
            if (!p.offsets) return QV_ERR(QVE_NO_MEMORY, 4, 0);
            p.offsets[0] = uint32_t(p.after_ifd - p.base);
            p.offset_count = 1;
        }
        const TifEntry *rps = tif_entry(st, kTiRowsPerStrip, 278);
        int64_t rows = p.height;
        if (rps) {
            rows = rps->data ? int64_t(tif_value(rps, 0, 1)) : 1;
            const int64_t least = p.height / p.offset_count;
            if (rows < least) rows = least;
            if (rows > p.height) rows = p.height;
        }
        p.rows_per_strip = int32_t(rows < 1 ? 1 : rows);
        const TifEntry *bc = sc ? sc : tc;
        int32_t nb = 0;
        if (bc && bc->count == uint32_t(p.offset_count)) p.byte_counts = offsets_of(bc, tag, &nb);
        p.strips_per_plane = p.planar == 2 ? p.offset_count / p.samples : p.offset_count;
        const int64_t need = (int64_t(p.height) + p.rows_per_strip - 1) / p.rows_per_strip;
        p.strips = int32_t(need < p.strips_per_plane ? need : p.strips_per_plane);
    } else {
        // 11. The one tile to read.
        int32_t n = 0;
        uint32_t *o = offsets_of(to ? to : so, tag, &n);
        if (!o) return QV_ERR(QVE_TIFF_OFFSETS, 0, 0);
        if (p.first_tile >= n) return QV_ERR(QVE_TIFF_OFFSETS, p.first_tile, n);
        p.offsets = o + p.first_tile;
        p.offset_count = n - p.first_tile;
        p.strips_per_plane = n / p.samples;
        p.rows_per_strip = p.height;
        p.strips = 1;
        const TifEntry *bc = tc ? tc : sc;
        if (bc) {
            if (bc->count == uint32_t(n)) {
                int32_t nb = 0;
                uint32_t *b = offsets_of(bc, tag, &nb);
                p.byte_counts = b ? b + p.first_tile : nullptr;
            } else {
                return QV_ERR(QVE_NO_MEMORY, int32_t(bc->count), n);
            }
        }
    }

    // The image by photometric.
    switch (p.photometric) {
    case 0:
    case 1:
        if (p.color_bits > 16) return QV_ERR(QVE_DEPTH_UNSUPPORTED, p.total_bits, 0);
        if (p.color_bits > 8) {
            p.keep16 = ctl.gray16 >= 1;
            p.dib_bpp = p.keep16 ? 16 : 8;
            p.dib_code = p.keep16 ? QV_BI_GRAY16 : QV_BI_RGB;
            p.measure = ctl.measure != 0;
        } else {
            p.dib_bpp = indexed_depth(p.color_bits);
            p.dib_code = p.dib_bpp == 1 && p.compression == 4 ? QV_BI_RUNS : QV_BI_RGB;
        }
        break;
    case 2:
    case 6:
    case 8:
        p.extra = p.samples > 3 ? p.samples - 3 : 0;
        p.dib_bpp = 24;
        break;
    case 3:
        p.extra = p.samples > 1 ? p.samples - 1 : 0;
        if (p.bits[0] > 8) return QV_ERR(QVE_DEPTH_UNSUPPORTED, p.total_bits, 0);
        p.dib_bpp = indexed_depth(p.bits[0]);
        p.dib_code = p.dib_bpp == 1 && p.compression == 4 ? QV_BI_RUNS : QV_BI_RGB;
        break;
    case 5:
        p.extra = p.samples > 4 ? p.samples - 4 : 0;
        p.dib_bpp = 24;
        break;
    default:
        return QV_ERR(QVE_TIFF_PHOTOMETRIC, p.photometric, 0);
    }
    // Colour pixels need their three (CMYK: four) samples; each is taken to
    // 8 bits from at most 16.
    if (p.dib_bpp == 24 && p.samples < (p.photometric == 5 ? 4 : 3) && p.compression != 6 && p.compression != 7)
        return QV_ERR(QVE_DEPTH_UNSUPPORTED, p.total_bits, 0);
    // Planar pages and palette pixels with extra samples are taken sample
    // by sample at the first sample's width.
    if (p.planar == 2 || (p.photometric == 3 && p.extra > 0))
        for (int i = 1; i < p.samples; ++i)
            if (p.bits[i] != p.bits[0]) return QV_ERR(QVE_DEPTH_UNSUPPORTED, p.total_bits, 0);
    if (p.dib_bpp == 24)
        for (int i = 0; i < p.samples; ++i)
            if (p.bits[i] > 16) return QV_ERR(QVE_DEPTH_UNSUPPORTED, p.total_bits, 0);
    p.color_bits = 0;
    for (int i = 0; i < p.samples - p.extra; ++i) p.color_bits += p.bits[i];
    return 0;
}

void tif_dib_header(const TifPage &p, TifDibHeader *d) {
    std::memset(d, 0, sizeof *d);
    auto res = [&](uint32_t num, uint32_t den) -> int32_t {
        const double v = double(num) / double(den ? den : 1);
        double ppm = v;
        if (p.res_unit == 3) ppm = v / 0.0254;
        else if (p.res_unit == 4) ppm = v * 100.0;
        else return 0;
        if (ppm > 2147483647.0) ppm = 2147483647.0;  // a resolution no device has
        return resolution_to_dib(int32_t(ppm + 0.5 > 2147483647.0 ? 2147483647.0 : ppm + 0.5));
    };
    // 1-bit images are made run-encoded by the pipeline itself: the source
    // header says plain 1-bit rows.
    const uint32_t code = p.dib_code == QV_BI_RUNS ? QV_BI_RGB : p.dib_code;
    VPb_DIB_init(&d->h, p.width, p.height, p.dib_bpp, code, res(p.xres_num, p.xres_den),
                 res(p.yres_num, p.yres_den));
    if (p.dib_code == QV_BI_GRAY16) d->masks[0] = d->masks[1] = d->masks[2] = 0xFFFF;
}

}  // namespace qv
