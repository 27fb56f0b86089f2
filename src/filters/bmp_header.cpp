/*
 * bmp_header.cpp - parsing the headers of a BMP file, an OS/2 bitmap array
 * entry or a bare DIB: file header, info header of any supported size,
 * colour masks and palette, and the position of the pixel data. Every size
 * and count taken from the file is checked before it is used.
 *
 * Internal: bmp_parse, bmp_array_count (bmp_format.h).
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/bmp_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\BMPREAD.C";
constexpr uint16_t kSigBM = 0x4D42, kSigBA = 0x4142;
constexpr int32_t kMaxArrayEntries = 65536;

struct Fields {
    const uint8_t *p;
    bool be;
    uint32_t u32(size_t off) const {
        uint32_t v;
        std::memcpy(&v, p + off, 4);
        return be ? __builtin_bswap32(v) : v;
    }
    uint16_t u16(size_t off) const {
        uint16_t v;
        std::memcpy(&v, p + off, 2);
        return be ? __builtin_bswap16(v) : v;
    }
    int32_t i32(size_t off) const { return static_cast<int32_t>(u32(off)); }
};

int32_t read_exact(VPb_STREAM *s, void *buf, int32_t n, int32_t code) {
    int32_t got = VPb_IO_read(s, buf, n);
    if (got != n) return QV_ERR(code, n, got);
    return 0;
}

bool header_size_known(uint32_t n) {
    return n == 12 || (n >= 16 && n <= 64) || n == 108 || n == 124;
}

// Reads the 14-byte file header at the stream position: signature, bits offset.
int32_t file_header(VPb_STREAM *s, uint16_t *sig, uint32_t *off_bits, uint32_t *next) {
    uint8_t b[14];
    if (int32_t st = read_exact(s, b, 14, QVE_SHORT_HEADER)) return st;
    Fields f{b, false};
    *sig = f.u16(0);
    *next = f.u32(6);  // "BA": offset of the next array entry
    *off_bits = f.u32(10);
    return 0;
}

// Walks a bitmap array to entry `page` (from 1); leaves the stream after its
// "BA" header, at the entry's own file header.
int32_t array_entry(VPb_STREAM *s, int64_t base, int32_t page) {
    int64_t pos = base;
    for (int32_t n = 1;; ++n) {
        if (VPb_IO_seek(s, pos, 0) < 0) return QV_ERR(QVE_SEEK, pos, 0);
        uint16_t sig;
        uint32_t off, next;
        if (int32_t st = file_header(s, &sig, &off, &next)) return st;
        if (sig != kSigBA) return QV_ERR(QVE_BAD_SIGNATURE, kSigBA, sig);
        if (n >= page) return 0;
        if (next == 0 || base + int64_t(next) <= pos || n >= kMaxArrayEntries)
            return QV_ERR(QVE_OUT_OF_RANGE, page, n);
        pos = base + int64_t(next);
    }
}

// Compressions a header may name, by depth and origin.
bool compression_ok(const BmpHeader &h) {
    switch (h.compression) {
    case kBmpRgb: return true;
    case kBmpRle8: return h.bpp == 8;
    case kBmpRle4: return h.bpp == 4;
    case kBmpBitfields: return !h.os2 && (h.bpp == 16 || h.bpp == 32);
    case kBmpAlphaBitfields: return !h.os2 && (h.bpp == 16 || h.bpp == 32);
    case QV_BI_RUNS: return !h.file_header && h.bpp == 1;
    case QV_BI_GRAY16: return !h.file_header && h.bpp == 16;
    case QV_BI_PAL_WIDE: return !h.file_header && h.bpp == 16;
    default: return false;
    }
}

int32_t read_palette(VPb_STREAM *s, BmpHeader *h, uint32_t entry_size, uint32_t tag,
                     QV_RGBQUAD *store) {
    uint32_t n = h->palette_entries;
    if (h->compression == QV_BI_PAL_WIDE) {
        h->palette = filter_alloc_array<QV_RGBQUAD>(tag, size_t(1) << h->bpp);
        if (!h->palette) return QV_ERR(QVE_NO_MEMORY, (size_t(1) << h->bpp) * 4, tag);
    } else {
        h->palette = store;
        std::memset(store, 0, 256 * sizeof(QV_RGBQUAD));
    }
    if (n == 0) return 0;
    size_t bytes = size_t(n) * entry_size;
    uint8_t local[256 * 4];
    uint8_t *buf = bytes <= sizeof local ? local : reinterpret_cast<uint8_t *>(h->palette);
    int32_t got = VPb_IO_read(s, buf, int32_t(bytes));
    if (got != int32_t(bytes)) return QV_ERR(QVE_READ_PALETTE, bytes, got);
    if (h->big_endian) {
        for (uint32_t i = 0; i < n; ++i) {
            uint32_t v = Fields{buf + 4 * size_t(i), true}.u32(0);
            h->palette[i] = QV_RGBQUAD{uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), 0};
        }
    } else if (entry_size == 3) {
        for (uint32_t i = n; i-- > 0;)  // backwards: in-place widening is safe
            h->palette[i] = QV_RGBQUAD{buf[3 * i], buf[3 * i + 1], buf[3 * i + 2], 0};
    } else if (buf != reinterpret_cast<uint8_t *>(h->palette)) {
        std::memcpy(h->palette, buf, bytes);
    }
    for (uint32_t i = 0; i < n; ++i) h->palette[i].rgbReserved = 0;
    return 0;
}

}  // namespace

int32_t bmp_parse(VPb_STREAM *s, int32_t page, uint32_t tag, QV_RGBQUAD *store, BmpHeader *h) {
    *h = BmpHeader{};
    int64_t base = VPb_IO_tell(s);
    if (base < 0) return QV_ERR(QVE_SEEK, 0, base);
    h->start = base;
    int64_t end = VPb_IO_seek(s, 0, 2);
    h->end = end >= base ? end : -1;
    if (VPb_IO_seek(s, base, 0) < 0) return QV_ERR(QVE_SEEK, base, 0);

    // File header, array entry or bare DIB.
    uint8_t sig_bytes[2];
    if (int32_t st = read_exact(s, sig_bytes, 2, QVE_SHORT_HEADER)) return st;
    uint16_t sig = uint16_t(sig_bytes[0] | (sig_bytes[1] << 8));
    uint32_t off_bits = 0;
    int64_t header_pos;
    if (sig == kSigBM || sig == kSigBA) {
        if (sig == kSigBA) {
            if (int32_t st = array_entry(s, base, page < 1 ? 1 : page)) return st;
        } else {
            VPb_IO_seek(s, base, 0);
        }
        uint32_t next;
        if (int32_t st = file_header(s, &sig, &off_bits, &next)) return st;
        if (sig != kSigBM) return QV_ERR(QVE_BAD_SIGNATURE, kSigBM, sig);
        h->file_header = true;
        header_pos = VPb_IO_tell(s);
    } else {
        header_pos = base;
        VPb_IO_seek(s, base, 0);
    }

    // Info header: its size first, in either byte order for a bare DIB.
    uint8_t hb[124] = {0};
    if (int32_t st = read_exact(s, hb, 4, QVE_SHORT_HEADER)) return st;
    uint32_t size = Fields{hb, false}.u32(0);
    if (!h->file_header && size == 0x28000000u) {
        h->big_endian = true;
        size = 40;
    }
    if (!h->file_header && size != 40) return QV_ERR(QVE_BAD_SIGNATURE, 40, size);
    if (!header_size_known(size)) return QV_ERR(QVE_UNSUPPORTED_VARIANT, size, 0);
    h->header_size = size;
    if (int32_t st = read_exact(s, hb + 4, int32_t(size - 4), QVE_SHORT_HEADER)) return st;
    Fields f{hb, h->big_endian};
    uint32_t entry_size = 4;
    if (size == 12) {
        h->os2 = true;
        entry_size = 3;
        h->width = f.u16(4);
        h->height = f.u16(6);
        h->bpp = f.u16(10);
    } else {
        h->os2 = size != 40 && size != 52 && size != 56 && size != 108 && size != 124;
        h->width = f.i32(4);
        h->height = f.i32(8);
        h->bpp = f.u16(14);
        h->compression = f.u32(16);  // fields past a short OS/2 header read as 0
        h->size_image = f.u32(20);
        h->xppm = f.i32(24);
        h->yppm = f.i32(28);
        h->colors_used = f.u32(32);
        if (size >= 52) {
            h->masks[0] = f.u32(40);
            h->masks[1] = f.u32(44);
            h->masks[2] = f.u32(48);
        }
        if (size >= 56) h->masks[3] = f.u32(52);
    }
    if (h->width < 1 || h->height == 0 || h->height == INT32_MIN)
        return QV_ERR(QVE_BAD_HEADER, h->width, h->height);
    if (h->bpp != 1 && h->bpp != 2 && h->bpp != 4 && h->bpp != 8 && h->bpp != 16 &&
        h->bpp != 24 && h->bpp != 32)
        return QV_ERR(QVE_DEPTH_UNSUPPORTED, h->bpp, h->compression);
    if (!compression_ok(*h)) return QV_ERR(QVE_UNSUPPORTED_VARIANT, h->compression, h->bpp);

    // Masks that follow a 40-byte header.
    int64_t pos = header_pos + size;
    uint32_t extra = 0;
    if (size == 40) {
        if (h->compression == kBmpBitfields || h->compression == QV_BI_GRAY16 ||
            h->compression == QV_BI_PAL_WIDE)
            extra = 12;
        else if (h->compression == kBmpAlphaBitfields)
            extra = 16;
    }
    if (extra) {
        uint8_t mb[16];
        if (int32_t st = read_exact(s, mb, int32_t(extra), QVE_SHORT_HEADER)) return st;
        Fields m{mb, h->big_endian};
        for (uint32_t i = 0; i < extra / 4; ++i) h->masks[i] = m.u32(4 * i);
        pos += extra;
    }

    // Palette: 2^bpp entries at most, fewer when the header or the gap up to
    // the pixel data says so.
    // A bare DIB made by the library always carries 2^bpp entries (its
    // colour count is not consulted); one from elsewhere may carry only the
    // colour count's entries. The data that follows tells them apart: the
    // full palette is taken when the pixels still fit after it.
    uint64_t pixel_bytes = raster_bytes(h->width, h->bpp) * uint64_t(h->height < 0 ? -int64_t(h->height) : h->height);
    auto fits_after = [&](uint64_t table_bytes) {
        return h->end < 0 || uint64_t(h->end > pos ? h->end - pos : 0) >= table_bytes + pixel_bytes;
    };
    uint32_t entries = 0;
    if (h->bpp <= 8) {
        entries = 1u << h->bpp;
        bool counted = h->colors_used > 0 && h->colors_used < entries;
        if (counted && (h->file_header || !fits_after(uint64_t(entries) * 4))) entries = h->colors_used;
        // A bits offset inside the palette area shortens the palette (OS/2
        // headers have no colour count); one at or before its start is wrong
        // and ignored.
        if (h->file_header && off_bits != 0) {
            int64_t room = base + int64_t(off_bits) - pos;
            if (room > 0 && room / entry_size < entries) entries = uint32_t(room / entry_size);
        }
    } else if (h->compression == QV_BI_PAL_WIDE) {
        entries = 1u << h->bpp;
    }
    h->palette_entries = entries;
    if (int32_t st = read_palette(s, h, entry_size, tag, store)) return st;
    int64_t after_palette = pos + int64_t(entries) * entry_size;
    if (!h->file_header && h->bpp > 8 && h->colors_used && h->colors_used <= 65536 &&
        (h->compression == kBmpRgb || h->compression == kBmpBitfields) &&
        h->end >= 0 && fits_after(uint64_t(h->colors_used) * 4))
        after_palette += int64_t(h->colors_used) * 4;  // a colour table kept for display

    // Pixel data: where the file header says, unless that points at the
    // palette's start or before it.
    h->bits = after_palette;
    if (h->file_header && off_bits != 0 && base + int64_t(off_bits) > pos)
        h->bits = base + int64_t(off_bits);
    return 0;
}

int32_t bmp_array_count(VPb_STREAM *s, int32_t *count) {
    *count = 0;
    int64_t base = VPb_IO_tell(s);
    uint8_t sig[2];
    if (read_exact(s, sig, 2, QVE_SHORT_HEADER)) return VPb_AF_error_check();
    if (sig[0] != 'B' || sig[1] != 'A') {
        *count = 1;
        return 0;
    }
    int64_t pos = base;
    for (int32_t n = 1; n <= kMaxArrayEntries; ++n) {
        VPb_IO_seek(s, pos, 0);
        uint16_t sg;
        uint32_t off, next;
        if (file_header(s, &sg, &off, &next) || sg != kSigBA) break;
        *count = n;
        if (next == 0 || base + int64_t(next) <= pos) break;
        pos = base + int64_t(next);
    }
    return 0;
}

}  // namespace qv
