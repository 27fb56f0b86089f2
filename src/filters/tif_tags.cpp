/*
 * tif_tags.cpp - TIFF header, page selection and the tag store.
 *
 * The header's byte-order word picks little-endian for "II" and big-endian
 * for anything else (the page counter alone insists on "MM"). An IFD is
 * parsed in two passes: the entries with their inline values (read in the
 * file's byte order), then the values held elsewhere in the file, each
 * swapped by its type (RATIONAL, SRATIONAL and DOUBLE as 32-bit words, so a
 * DOUBLE's two halves are swapped separately). The position just past the
 * furthest byte read for the IFD is remembered: a page without strip
 * offsets is read from there.
 *
 * Lookups: tag indices 1 to 74 go through the index table (the first use of
 * a slot scans the entries for its tag and caches the entry number, 65535
 * for absent); any other index scans for the tag number.
 *
 * Exported: VPb_TIF_tag_data_get, VPb_TIF_tag_val_return.
 * Codes (iVal, lVal): -2052 (2, bytes read) short byte-order word or entry
 * count, (8, bytes read) short version and first offset, (4, bytes read)
 * short next-IFD offset while skipping pages, (1, 0) a short entry,
 * (expected, consumed) an IFD shorter than its entry count says; -2005
 * (page, 0) no first IFD, (pages still to skip, 0) the chain ends or loops
 * before the page; -1000 (size, 0) no memory for the store.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/tif_format.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\TIFREAD.C";

// The index table's constant pairs. Slot 26 repeats 283 (YResolution)
// where 285 would stand; a lookup by index 26 finds YResolution.
constexpr uint16_t kIndexTags[kTifSlots] = {
    0,   254, 255, 256, 257, 258, 259, 262, 263, 264, 265, 266, 269, 270, 271,
    272, 273, 274, 277, 278, 279, 280, 281, 282, 283, 284, 283, 286, 287, 288,
    289, 290, 291, 292, 293, 296, 297, 301, 305, 306, 315, 316, 317, 318, 319,
    320, 321, 322, 323, 324, 325, 332, 333, 334, 336, 337, 338, 339, 340, 341,
    342, 512, 513, 514, 515, 517, 518, 519, 520, 521, 529, 530, 531, 532, 33432,
};

inline uint16_t swap16(uint16_t v) { return uint16_t((v >> 8) | (v << 8)); }
inline uint32_t swap32(uint32_t v) { return __builtin_bswap32(v); }

int32_t read_bytes(VPb_STREAM *s, void *p, int32_t n) {
    const int32_t got = VPb_IO_read(s, p, n);
    return got < 0 ? 0 : got;
}

bool seek_to(VPb_STREAM *s, int64_t pos) { return pos >= 0 && VPb_IO_seek(s, pos, 0) == pos; }

// Converts `count` values of `type` read from the file (raw bytes in p) to
// this machine's order.
void swap_values(uint8_t *p, uint32_t type, uint64_t count, int32_t order) {
    if (!order) return;
    switch (type) {
    case kTifShort:
    case kTifSShort:
        for (uint64_t i = 0; i < count; ++i) {
            uint16_t v;
            std::memcpy(&v, p + 2 * i, 2);
            v = swap16(v);
            std::memcpy(p + 2 * i, &v, 2);
        }
        break;
    case kTifLong:
    case kTifSLong:
    case kTifFloat:
    case kTifRational:
    case kTifSRational:
    case kTifDouble: {
        const uint64_t words = (type == kTifLong || type == kTifSLong || type == kTifFloat) ? count : 2 * count;
        for (uint64_t i = 0; i < words; ++i) {
            uint32_t v;
            std::memcpy(&v, p + 4 * i, 4);
            v = swap32(v);
            std::memcpy(p + 4 * i, &v, 4);
        }
        break;
    }
    default:
        break;
    }
}

// Offsets of the IFDs met while walking a chain, to stop at a loop.
class SeenOffsets {
public:
    explicit SeenOffsets(uint32_t tag) : tag_(tag) {}
    // False when `off` was met before (or memory ran out: the walk stops).
    bool insert(uint32_t off) {
        if (2 * (n_ + 1) > cap_) {
            const size_t cap = cap_ ? 2 * cap_ : 256;
            uint32_t *t = filter_alloc_array<uint32_t>(tag_, cap);
            if (!t) return false;
            for (size_t i = 0; i < cap_; ++i)
                if (slots_[i]) place(t, cap, slots_[i]);
            if (slots_) VPb_AF_mem_free(tag_, slots_);
            slots_ = t;
            cap_ = cap;
        }
        const uint32_t key = off + 1;  // 0 marks an empty slot
        if (key == 0) return false;
        if (!place(slots_, cap_, key)) return false;
        ++n_;
        return true;
    }

private:
    static bool place(uint32_t *t, size_t cap, uint32_t key) {
        size_t i = (key * 2654435761u) & (cap - 1);
        while (t[i]) {
            if (t[i] == key) return false;
            i = (i + 1) & (cap - 1);
        }
        t[i] = key;
        return true;
    }
    uint32_t tag_;
    uint32_t *slots_ = nullptr;
    size_t cap_ = 0, n_ = 0;
};

}  // namespace

uint16_t tif_index_tag(int32_t index) {
    return index >= 1 && index < kTifSlots ? kIndexTags[index] : 0;
}

int32_t tif_type_size(uint32_t type) {
    static constexpr int8_t kSizes[13] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
    return type <= 12 ? kSizes[type] : 0;
}

int32_t tif_seek_page(VPb_STREAM *s, int32_t page_no, TifPage *page) {
    page->base = VPb_IO_tell(s);
    uint8_t h[8];
    int32_t n = read_bytes(s, h, 2);
    if (n < 2) return QV_ERR(QVE_SHORT_HEADER, 2, n);
    page->byte_order = (h[0] == 'I' && h[1] == 'I') ? 0 : 1;
    n += read_bytes(s, h + 2, 6);
    if (n != 8) return QV_ERR(QVE_SHORT_HEADER, 8, n);
    uint32_t off = tif_get32(h + 4, page->byte_order);
    if (off == 0) return QV_ERR(QVE_SEEK, page_no, 0);
    FilterTag tag;
    SeenOffsets seen(tag.tag());
    seen.insert(off);
    for (int32_t left = page_no - 1; left > 0; --left) {
        uint8_t b[4];
        if (!seek_to(s, page->base + off)) return QV_ERR(QVE_SHORT_HEADER, 2, 0);
        if ((n = read_bytes(s, b, 2)) != 2) return QV_ERR(QVE_SHORT_HEADER, 2, n);
        const int64_t skip = 12 * int64_t(tif_get16(b, page->byte_order));
        if (VPb_IO_seek(s, skip, 1) < 0) return QV_ERR(QVE_SHORT_HEADER, 4, 0);
        if ((n = read_bytes(s, b, 4)) != 4) return QV_ERR(QVE_SHORT_HEADER, 4, n);
        off = tif_get32(b, page->byte_order);
        if (off == 0 || !seen.insert(off)) return QV_ERR(QVE_SEEK, left, 0);
    }
    if (!seek_to(s, page->base + off)) return QV_ERR(QVE_SHORT_HEADER, 2, 0);
    return 0;
}

int32_t tif_parse_ifd(VPb_STREAM *s, uint32_t tag, const TifPage &page, VPb_TIF_TAGS **out,
                      int64_t *after_ifd) {
    *out = nullptr;
    const int32_t order = page.byte_order;
    uint8_t b[4];
    int32_t n = read_bytes(s, b, 2);
    if (n != 2) return QV_ERR(QVE_SHORT_HEADER, 2, n);
    const uint32_t count = tif_get16(b, order);
    const size_t size = offsetof(VPb_TIF_TAGS, entries) + sizeof(TifEntry) * (count ? count : 1);
    auto *st = static_cast<VPb_TIF_TAGS *>(VPb_AF_mem_calloc(tag, 1, size));
    if (!st) return QV_ERR(QVE_NO_MEMORY, int32_t(size), 0);
    st->count = uint16_t(count);
    for (int i = 0; i < kTifSlots; ++i) st->slots[i] = {kIndexTags[i], 0};

    // The entries and the next offset in one read.
    const size_t block = 12 * size_t(count) + 4;
    uint8_t *raw = filter_alloc_array<uint8_t>(tag, block);
    uint32_t *far_offsets = filter_alloc_array<uint32_t>(tag, count ? count : 1);
    if (!raw || !far_offsets) return QV_ERR(QVE_NO_MEMORY, int32_t(block), 0);
    const int32_t got = read_bytes(s, raw, int32_t(block));
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *e = raw + 12 * i;
        if (size_t(got) < 12 * size_t(i) + 8) return QV_ERR(QVE_SHORT_HEADER, 1, 0);
        TifEntry &t = st->entries[i];
        t.tag = tif_get16(e, order);
        t.type = tif_get16(e + 2, order);
        t.count = tif_get32(e + 4, order);
        const int32_t ts = tif_type_size(t.type);
        if (ts == 0) {
            t.type = 0;
            continue;
        }
        if (t.count == 0 || size_t(got) < 12 * size_t(i) + 12) continue;
        const uint64_t bytes = uint64_t(ts) * t.count;
        if (bytes > 4) {
            far_offsets[i] = tif_get32(e + 8, order);
            continue;
        }
        t.data = VPb_AF_mem_alloc(tag, size_t(bytes));
        if (!t.data) return QV_ERR(QVE_NO_MEMORY, int32_t(bytes), 0);
        std::memcpy(t.data, e + 8, size_t(bytes));
        swap_values(static_cast<uint8_t *>(t.data), t.type, t.count, order);
    }
    if (size_t(got) != block) return QV_ERR(QVE_SHORT_HEADER, int32_t(block + 2), got + 2);
    st->next_ifd = tif_get32(raw + 12 * size_t(count), order);

    int64_t furthest = VPb_IO_tell(s);
    const int64_t end = VPb_IO_data_end(s);
    for (uint32_t i = 0; i < count; ++i) {
        TifEntry &t = st->entries[i];
        const int32_t ts = tif_type_size(t.type);
        if (!ts || t.data || t.count == 0) continue;
        const uint64_t bytes = uint64_t(ts) * t.count;
        if (bytes <= 4) continue;
        const int64_t at = page.base + far_offsets[i];
        // Values that cannot lie inside the file are left without data.
        if (end >= 0 && (at > end || bytes > uint64_t(end - at))) continue;
        if (bytes > 0x7FFFFFFF || !seek_to(s, at)) continue;
        void *d = VPb_AF_mem_alloc(tag, size_t(bytes));
        if (!d) return QV_ERR(QVE_NO_MEMORY, int32_t(bytes), 0);
        if (read_bytes(s, d, int32_t(bytes)) != int32_t(bytes)) {
            VPb_AF_mem_free(tag, d);
            continue;
        }
        swap_values(static_cast<uint8_t *>(d), t.type, t.count, order);
        t.data = d;
        const int64_t pos = VPb_IO_tell(s);
        if (pos > furthest) furthest = pos;
    }
    VPb_AF_mem_free(tag, raw);
    VPb_AF_mem_free(tag, far_offsets);
    *after_ifd = furthest;
    *out = st;
    return 0;
}

void tif_report_tags(VPb_STREAM *s, VPb_TIF_TAGS *st) {
    if (!VPb_IO_tag_set_exists(s)) return;
    for (uint32_t i = 0; i < st->count; ++i) {
        const TifEntry &t = st->entries[i];
        const int32_t id = t.tag <= 9999 ? t.tag + 10000 : t.tag;
        const int64_t bytes = int64_t(tif_type_size(t.type)) * t.count;
        VPb_IO_tag_set(s, id, t.type, t.data, t.data ? int32_t(bytes) : 0);
    }
}

const TifEntry *tif_entry(VPb_TIF_TAGS *st, int32_t index, int32_t tag) {
    if (!st) return nullptr;
    if (index >= 1 && index < kTifSlots) {
        TifSlot &slot = st->slots[index];
        if (slot.pos == 0) {
            slot.pos = 65535;
            for (uint32_t i = 0; i < st->count; ++i)
                if (st->entries[i].tag == slot.tag) {
                    slot.pos = uint16_t(i + 1);
                    break;
                }
        }
        return slot.pos == 65535 ? nullptr : &st->entries[slot.pos - 1];
    }
    for (uint32_t i = 0; i < st->count; ++i)
        if (st->entries[i].tag == tag) return &st->entries[i];
    return nullptr;
}

uint32_t tif_value(const TifEntry *e, uint32_t i, uint32_t def) {
    if (!e || !e->data || i >= e->count) return def;
    const uint8_t *p = static_cast<const uint8_t *>(e->data);
    switch (e->type) {
    case kTifByte:
    case kTifUndefined:
        return p[i];
    case kTifSByte:
        return uint32_t(int32_t(int8_t(p[i])));
    case kTifShort: {
        uint16_t v;
        std::memcpy(&v, p + 2 * i, 2);
        return v;
    }
    case kTifSShort: {
        int16_t v;
        std::memcpy(&v, p + 2 * i, 2);
        return uint32_t(int32_t(v));
    }
    case kTifLong:
    case kTifSLong: {
        uint32_t v;
        std::memcpy(&v, p + 4 * i, 4);
        return v;
    }
    default:
        return def;
    }
}

int32_t tif_count_pages(VPb_STREAM *s) {
    const int64_t entry = VPb_IO_tell(s);
    uint8_t h[8];
    int32_t pages = 0;
    if (read_bytes(s, h, 8) == 8 && h[0] == h[1] && (h[0] == 'I' || h[0] == 'M')) {
        const int32_t order = h[0] == 'M';
        uint32_t off = tif_get32(h + 4, order);
        FilterTag tag;
        SeenOffsets seen(tag.tag());
        while (off != 0 && seen.insert(off)) {
            uint8_t b[4];
            if (!seek_to(s, entry + off) || read_bytes(s, b, 2) != 2) break;
            if (VPb_IO_seek(s, 12 * int64_t(tif_get16(b, order)), 1) < 0) break;
            if (read_bytes(s, b, 4) != 4) break;
            ++pages;
            off = tif_get32(b, order);
        }
    }
    VPb_IO_seek(s, entry, 0);
    return pages;
}

}  // namespace qv

using namespace qv;

extern "C" {

QV_API const void *VPb_TIF_tag_data_get(VPb_TIF_TAGS *store, int32_t index, int32_t tag,
                                        int32_t *type, int32_t *count, int32_t *size) {
    const TifEntry *e = tif_entry(store, index, tag);
    if (type) *type = e ? e->type : 0;
    if (count) *count = e ? int32_t(e->count) : 0;
    if (size) *size = e ? int32_t(int64_t(tif_type_size(e->type)) * e->count) : 0;
    return e ? e->data : nullptr;
}

QV_API int32_t VPb_TIF_tag_val_return(VPb_TIF_TAGS *store, int32_t index, int32_t tag, void *dest,
                                      int32_t dest_size, int32_t *copied) {
    const TifEntry *e = tif_entry(store, index, tag);
    if (copied) *copied = 0;
    if (!e) return 0;
    int64_t n = int64_t(tif_type_size(e->type)) * e->count;
    if (n > dest_size) n = dest_size;
    if (!e->data || n < 0) n = 0;
    if (n && dest) std::memcpy(dest, e->data, size_t(n));
    if (copied) *copied = int32_t(n);
    return 1;
}

}  // extern "C"
