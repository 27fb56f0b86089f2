// Hand-built TIFF files for the reader's tests: pages of tags and strips in
// either byte order. Values longer than 4 bytes go after the IFD; strips go
// before it, and StripOffsets/StripByteCounts are filled in when a page has
// strips and does not set them itself.
#pragma once

#include <cstdint>
#include <algorithm>
#include <cstring>
#include <vector>

namespace tifftest {

struct Tag {
    uint16_t tag, type;
    std::vector<uint32_t> values;  // BYTE/SHORT/LONG values; RATIONAL as pairs
    std::vector<uint8_t> raw;      // ASCII / UNDEFINED bytes, or raw value bytes
    uint32_t count_override = 0;   // a count that lies
};

struct Page {
    std::vector<Tag> tags;
    std::vector<std::vector<uint8_t>> strips;
    bool auto_offsets = true;
    Page &add(uint16_t tag, uint16_t type, std::vector<uint32_t> v) {
        tags.push_back({tag, type, std::move(v), {}, 0});
        return *this;
    }
};

class Builder {
public:
    explicit Builder(bool big_endian = false) : be_(big_endian) {}
    std::vector<uint8_t> build(std::vector<Page> pages) {
        b_.clear();
        b_.push_back(be_ ? 'M' : 'I');
        b_.push_back(be_ ? 'M' : 'I');
        u16(42);
        size_t link = b_.size();
        u32(0);
        for (Page &p : pages) {
            std::vector<uint32_t> offs, counts;
            for (auto &s : p.strips) {
                offs.push_back(uint32_t(b_.size()));
                counts.push_back(uint32_t(s.size()));
                b_.insert(b_.end(), s.begin(), s.end());
            }
            if (b_.size() & 1) b_.push_back(0);
            if (!p.strips.empty() && p.auto_offsets) {
                p.add(273, 4, offs);
                p.add(279, 4, counts);
            }
            std::sort(p.tags.begin(), p.tags.end(), [](const Tag &a, const Tag &c) { return a.tag < c.tag; });
            const size_t ifd = b_.size();
            patch32(link, uint32_t(ifd));
            u16(uint16_t(p.tags.size()));
            std::vector<std::pair<size_t, std::vector<uint8_t>>> far;
            for (const Tag &t : p.tags) {
                std::vector<uint8_t> v = value_bytes(t);
                u16(t.tag);
                u16(t.type);
                u32(t.count_override ? t.count_override : count_of(t));
                if (v.size() <= 4) {
                    v.resize(4, 0);
                    b_.insert(b_.end(), v.begin(), v.end());
                } else {
                    far.push_back({b_.size(), v});
                    u32(0);
                }
            }
            link = b_.size();
            u32(0);
            for (auto &[at, v] : far) {
                patch32(at, uint32_t(b_.size()));
                b_.insert(b_.end(), v.begin(), v.end());
                if (b_.size() & 1) b_.push_back(0);
            }
        }
        return b_;
    }

private:
    static uint32_t count_of(const Tag &t) {
        if (!t.raw.empty()) return uint32_t(t.raw.size());
        if (t.type == 5 || t.type == 10) return uint32_t(t.values.size() / 2);
        return uint32_t(t.values.size());
    }
    std::vector<uint8_t> value_bytes(const Tag &t) {
        if (!t.raw.empty()) return t.raw;
        std::vector<uint8_t> v;
        for (uint32_t x : t.values) {
            if (t.type == 1 || t.type == 6) v.push_back(uint8_t(x));
            else if (t.type == 3 || t.type == 8) put(v, x, 2);
            else put(v, x, 4);
        }
        return v;
    }
    void put(std::vector<uint8_t> &v, uint32_t x, int n) {
        for (int i = 0; i < n; ++i) v.push_back(uint8_t(x >> (8 * (be_ ? n - 1 - i : i))));
    }
    void u16(uint32_t x) { put(b_, x, 2); }
    void u32(uint32_t x) { put(b_, x, 4); }
    void patch32(size_t at, uint32_t x) {
        std::vector<uint8_t> v;
        put(v, x, 4);
        std::memcpy(&b_[at], v.data(), 4);
    }
    bool be_;
    std::vector<uint8_t> b_;
};

// A page of w x h with the given samples and rows (one strip).
inline Page grey_page(uint32_t w, uint32_t h, uint32_t bits, uint32_t photometric,
                      std::vector<uint8_t> data) {
    Page p;
    p.add(256, 3, {w}).add(257, 3, {h}).add(258, 3, {bits}).add(259, 3, {1}).add(262, 3, {photometric});
    p.strips.push_back(std::move(data));
    return p;
}

}  // namespace tifftest
