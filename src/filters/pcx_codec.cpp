/*
 * pcx_codec.cpp - the PCX codec core over plain buffers: header layout and
 * palette rules, run-length decoding and encoding, and the conversion
 * between encoded lines (planes) and DIB rows.
 *
 *   pcx_layout, pcx_palette_rule, pcx_palette_build,
 *   pcx_rle_decode, pcx_rle_encode, pcx_line_to_dib,
 *   pcx_header_for_depth, pcx_dib_to_line
 */
#include "filters/filter_util.h"
#include "filters/pcx_codec.h"

#include <array>
#include <bit>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif


namespace qv {

static_assert(std::endian::native == std::endian::little, "word-at-a-time decoding reads bytes in little-endian order");

const uint8_t kPcxDefaultPalette[16][3] = {
    {0, 0, 0},       {0, 0, 128},     {0, 128, 0},     {0, 128, 128},
    {128, 0, 0},     {128, 0, 128},   {128, 128, 0},   {128, 128, 128},
    {192, 192, 192}, {0, 0, 255},     {0, 255, 0},     {0, 255, 255},
    {255, 0, 0},     {255, 0, 255},   {255, 255, 0},   {255, 255, 255},
};

namespace {

// Writer header by depth: version, bits per plane pixel, planes, and the
// bits per pixel that determine the bytes per line before rounding to even.
struct DepthRow {
    uint32_t depth;
    uint8_t bpp;
    uint8_t planes;
};
constexpr DepthRow kWriteDepths[] = {{1, 1, 1}, {4, 4, 1}, {8, 8, 1}, {24, 8, 3}};
constexpr uint8_t kWriteVersion = 5;

// kSpread[b]: the 8 pixels of one 1-bit plane byte (MSB first) as bit 0 of
// the nibbles of four 4-bit output bytes, read as a little-endian 32-bit
// value (pixel 0 = high nibble of byte 0).
constexpr std::array<uint32_t, 256> make_spread() {
    std::array<uint32_t, 256> t{};
    for (uint32_t b = 0; b < 256; ++b) {
        uint32_t v = 0;
        for (uint32_t i = 0; i < 8; ++i) {
            if (b & (0x80u >> i)) v |= 1u << (8 * (i / 2) + ((i & 1) ? 0 : 4));
        }
        t[b] = v;
    }
    return t;
}
constexpr std::array<uint32_t, 256> kSpread = make_spread();

inline uint32_t plane_field(const uint8_t *plane, uint32_t x, uint32_t bpp) {
    const uint32_t bit = x * bpp;
    const uint32_t shift = 8 - bpp - (bit & 7);
    return (plane[bit >> 3] >> shift) & ((1u << bpp) - 1);
}

// The bytes of x above 0xC0 (run counts), each marked by its top bit: such
// a byte has its top bit set and its low seven bits reach 0x41. The sum
// stays within each byte.
inline uint64_t count_bytes(uint64_t x) {
    constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full, kBias = 0x3F3F3F3F3F3F3F3Full,
                       kTop = 0x8080808080808080ull;
    return x & ((x & kLow7) + kBias) & kTop;
}

// 24-bit rows and RGB planes, sixteen pixels at a time with byte shuffles
// where the processor has them (SSSE3); the callers finish the rest.
#if defined(__x86_64__) || defined(__i386__)
constexpr std::array<std::array<uint8_t, 16>, 9> make_bgr_masks() {
    // Mask [3 * part + c]: output bytes 16 * part .. + 15 taken from
    // channel c (0 = B, 1 = G, 2 = R); 0x80 selects zero.
    std::array<std::array<uint8_t, 16>, 9> m{};
    for (int part = 0; part < 3; ++part) {
        for (int c = 0; c < 3; ++c) {
            for (int j = 0; j < 16; ++j) {
                const int at = 16 * part + j;
                m[size_t(3 * part + c)][size_t(j)] = at % 3 == c ? uint8_t(at / 3) : uint8_t(0x80);
            }
        }
    }
    return m;
}
constexpr std::array<std::array<uint8_t, 16>, 9> kBgrMasks = make_bgr_masks();

constexpr std::array<std::array<uint8_t, 16>, 9> make_split_masks() {
    // Mask [3 * c + part]: channel c's bytes found in input part (16 bytes).
    std::array<std::array<uint8_t, 16>, 9> m{};
    for (int c = 0; c < 3; ++c) {
        for (int part = 0; part < 3; ++part) {
            for (int x = 0; x < 16; ++x) {
                const int at = 3 * x + c - 16 * part;
                m[size_t(3 * c + part)][size_t(x)] = at >= 0 && at < 16 ? uint8_t(at) : uint8_t(0x80);
            }
        }
    }
    return m;
}
constexpr std::array<std::array<uint8_t, 16>, 9> kSplitMasks = make_split_masks();

__attribute__((target("ssse3"))) uint32_t interleave_bgr_ssse3(const uint8_t *r, const uint8_t *g,
                                                               const uint8_t *b, uint32_t w, uint8_t *o) {
    uint32_t x = 0;
    for (; x + 16 <= w; x += 16, o += 48) {
        const __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + x));
        const __m128i vg = _mm_loadu_si128(reinterpret_cast<const __m128i *>(g + x));
        const __m128i vr = _mm_loadu_si128(reinterpret_cast<const __m128i *>(r + x));
        for (int part = 0; part < 3; ++part) {
            const __m128i *m = reinterpret_cast<const __m128i *>(kBgrMasks[size_t(3 * part)].data());
            const __m128i v = _mm_or_si128(
                _mm_or_si128(_mm_shuffle_epi8(vb, _mm_loadu_si128(m)), _mm_shuffle_epi8(vg, _mm_loadu_si128(m + 1))),
                _mm_shuffle_epi8(vr, _mm_loadu_si128(m + 2)));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(o + 16 * part), v);
        }
    }
    return x;
}

__attribute__((target("ssse3"))) uint32_t split_bgr_ssse3(const uint8_t *s, uint32_t w, uint8_t *r, uint8_t *g,
                                                          uint8_t *b) {
    uint32_t x = 0;
    uint8_t *planes[3] = {b, g, r};
    for (; x + 16 <= w; x += 16, s += 48) {
        const __m128i in[3] = {_mm_loadu_si128(reinterpret_cast<const __m128i *>(s)),
                               _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + 16)),
                               _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + 32))};
        for (int c = 0; c < 3; ++c) {
            const __m128i *m = reinterpret_cast<const __m128i *>(kSplitMasks[size_t(3 * c)].data());
            const __m128i v = _mm_or_si128(
                _mm_or_si128(_mm_shuffle_epi8(in[0], _mm_loadu_si128(m)), _mm_shuffle_epi8(in[1], _mm_loadu_si128(m + 1))),
                _mm_shuffle_epi8(in[2], _mm_loadu_si128(m + 2)));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(planes[c] + x), v);
        }
    }
    return x;
}

bool have_ssse3() {
    __builtin_cpu_init();  // may run before the run-time's own initialisation
    return __builtin_cpu_supports("ssse3");
}
const bool kHaveSsse3 = have_ssse3();

inline uint32_t interleave_bgr(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint32_t w, uint8_t *o) {
    return kHaveSsse3 ? interleave_bgr_ssse3(r, g, b, w, o) : 0;
}
inline uint32_t split_bgr(const uint8_t *s, uint32_t w, uint8_t *r, uint8_t *g, uint8_t *b) {
    return kHaveSsse3 ? split_bgr_ssse3(s, w, r, g, b) : 0;
}
#else
inline uint32_t interleave_bgr(const uint8_t *, const uint8_t *, const uint8_t *, uint32_t, uint8_t *) { return 0; }
inline uint32_t split_bgr(const uint8_t *, uint32_t, uint8_t *, uint8_t *, uint8_t *) { return 0; }
#endif

// Bytes of x above 0xC8 (run counts above 8), marked by their top bits.
inline uint64_t count_bytes_above8(uint64_t x) {
    return x & ((x & 0x7F7F7F7F7F7F7F7Full) + 0x3737373737373737ull) & 0x8080808080808080ull;
}

void put_index(uint8_t *row, uint32_t x, uint32_t dib_bpp, uint32_t v) {
    if (dib_bpp == 8) {
        row[x] = static_cast<uint8_t>(v);
    } else if (dib_bpp == 4) {
        row[x >> 1] |= static_cast<uint8_t>((x & 1) ? (v & 15) : (v & 15) << 4);
    } else {
        if (v & 1) row[x >> 3] |= static_cast<uint8_t>(0x80u >> (x & 7));
    }
}

}  // namespace

bool pcx_layout(const PcxHeader &hdr, PcxLayout *l, PcxBad *bad) {
    *l = PcxLayout{};
    if (hdr.xmax < hdr.xmin) {
        *bad = {QVE_BAD_HEADER, hdr.xmin, hdr.xmax};
        return false;
    }
    if (hdr.ymax < hdr.ymin) {
        *bad = {QVE_BAD_HEADER, hdr.ymin, hdr.ymax};
        return false;
    }
    const uint32_t bpp = hdr.bpp, planes = hdr.planes;
    if ((bpp != 1 && bpp != 2 && bpp != 4 && bpp != 8) || planes < 1 || planes > 4) {
        *bad = {QVE_UNSUPPORTED_VARIANT, int32_t(bpp), int32_t(planes)};
        return false;
    }
    l->width = int32_t(hdr.xmax) - hdr.xmin + 1;
    l->height = int32_t(hdr.ymax) - hdr.ymin + 1;
    l->bpp = bpp;
    l->planes = planes;
    l->bits = bpp * planes;
    l->bytes_per_line = hdr.bytes_per_line;
    l->plane_bytes = (size_t(l->width) * bpp + 7) / 8;
    if (l->bytes_per_line < l->plane_bytes) {
        *bad = {QVE_BAD_HEADER, int32_t(l->bytes_per_line), int32_t(l->plane_bytes)};
        return false;
    }
    l->line_bytes = size_t(planes) * l->bytes_per_line;

    if (bpp == 8) {
        l->dib_bpp = planes == 1 ? 8 : planes == 4 ? 32 : 24;
        l->kind = planes == 1 ? PcxLineKind::Copy : PcxLineKind::Channels;
    } else if (planes == 1 && bpp != 2) {
        l->dib_bpp = bpp;  // 1 or 4 bits: already DIB packing
        l->kind = PcxLineKind::Copy;
    } else if (bpp == 1) {
        l->dib_bpp = 4;
        l->kind = PcxLineKind::BitPlanes;
    } else {
        // 2 bits in any planes, 4 bits in 2 to 4 planes: index up to 8 bits,
        // or 4-bit colour channels when there are three or four planes.
        l->dib_bpp = l->bits <= 4 ? 4 : l->bits <= 8 ? 8 : planes == 4 ? 32 : 24;
        l->kind = PcxLineKind::Generic;
    }
    l->dib_row_bytes = size_t(raster_bytes(l->width, l->dib_bpp));
    return true;
}

PcxPaletteRule pcx_palette_rule(const PcxHeader &hdr, const PcxLayout &l) {
    if (l.dib_bpp > 8) return PcxPaletteRule::None;
    if (l.bits == 1) return PcxPaletteRule::BlackWhite;
    if (l.bits < 8) return hdr.version == 3 ? PcxPaletteRule::Default16 : PcxPaletteRule::Header16;
    return hdr.version == 5 ? PcxPaletteRule::Trailer256 : PcxPaletteRule::GreyRamp;
}

void pcx_palette_build(PcxPaletteRule rule, const PcxHeader &hdr, const uint8_t *trailer,
                       QV_RGBQUAD out[256]) {
    std::memset(out, 0, 256 * sizeof(QV_RGBQUAD));
    auto set = [&](int i, const uint8_t *rgb) {
        out[i].rgbRed = rgb[0];
        out[i].rgbGreen = rgb[1];
        out[i].rgbBlue = rgb[2];
    };
    switch (rule) {
    case PcxPaletteRule::BlackWhite:
        out[1].rgbRed = out[1].rgbGreen = out[1].rgbBlue = 255;
        break;
    case PcxPaletteRule::Default16:
        for (int i = 0; i < 16; ++i) set(i, kPcxDefaultPalette[i]);
        break;
    case PcxPaletteRule::Header16:
        for (int i = 0; i < 16; ++i) set(i, hdr.palette + 3 * i);
        break;
    case PcxPaletteRule::Trailer256:
        if (trailer) {
            for (int i = 0; i < 256; ++i) set(i, trailer + 3 * i);
            break;
        }
        [[fallthrough]];
    case PcxPaletteRule::GreyRamp:
        for (int i = 0; i < 256; ++i) {
            out[i].rgbRed = out[i].rgbGreen = out[i].rgbBlue = static_cast<uint8_t>(i);
        }
        break;
    case PcxPaletteRule::None:
        break;
    }
}

namespace {

}  // namespace

size_t pcx_rle_decode(PcxRleState &st, const uint8_t **in, const uint8_t *end, uint8_t *out,
                      size_t pos, size_t line_len) {
    const uint8_t *p = *in;
    if (st.count_waiting && pos < line_len && p < end) {
        st.value = *p++;
        st.pending = st.count_waiting;
        st.count_waiting = 0;
    }
    if (st.pending && pos < line_len) {
        size_t n = st.pending < line_len - pos ? st.pending : line_len - pos;
        std::memset(out + pos, st.value, n);
        pos += n;
        st.pending -= uint32_t(n);
    }
    // Fast path, far from both ends: whole words are stored and the
    // positions advance by what was decoded (the extra bytes stored are
    // overwritten by what follows). A run of up to 63 needs 64 bytes of room.
    constexpr uint64_t kOnes = 0x0101010101010101ull;
    while (line_len - pos >= 72 && end - p >= 8) {
        uint64_t x;
        std::memcpy(&x, p, 8);
        // Leading runs of at most 8 (C1 v is the escaped single byte this
        // library's writer stores for every byte from 0x40 up): up to four
        // records at once, each storing a word of its value.
        constexpr uint64_t kEvenTops = 0x0080008000800080ull;
        if (const uint64_t off = ~count_bytes(x) | count_bytes_above8(x); !(off & 0x80)) {
            const uint64_t stop = off & kEvenTops;
            const uint32_t pairs = stop ? uint32_t(__builtin_ctzll(stop) - 7) / 16 : 4;
            for (uint32_t k = 0; k < 4; ++k) {
                const uint64_t word = ((x >> (16 * k + 8)) & 0xFF) * kOnes;
                std::memcpy(out + pos, &word, 8);
                pos += ((x >> (16 * k)) & 0x3F) & (0u - uint32_t(k < pairs));
            }
            p += 2 * pairs;
            continue;
        }
        const uint64_t counts = count_bytes(x);
        if (!counts) {
            std::memcpy(out + pos, p, 8);
            p += 8;
            pos += 8;
            continue;
        }
        // Literals before the first count byte, then that run.
        const size_t lit = size_t(__builtin_ctzll(counts)) / 8;
        std::memcpy(out + pos, p, 8);
        pos += lit;
        p += lit;
        if (end - p < 2) break;  // the value byte is not in the input yet
        const uint32_t count = p[0] & 0x3F;
        const uint64_t word = p[1] * kOnes;
        p += 2;
        // One word covers the escaped single bytes and short runs; longer
        // runs take 32 bytes at once, then words.
        uint8_t *o = out + pos;
        std::memcpy(o, &word, 8);
        if (count > 8) {
            std::memcpy(o + 8, &word, 8);
            std::memcpy(o + 16, &word, 8);
            std::memcpy(o + 24, &word, 8);
            for (uint32_t k = 32; k < count; k += 8) std::memcpy(o + k, &word, 8);
        }
        pos += count;
    }
    while (pos < line_len && p < end) {
        const uint8_t b = *p++;
        if (b <= 0xC0) {  // 0xC0 itself is a literal value
            out[pos++] = b;
            continue;
        }
        const uint32_t count = b & 0x3F;
        if (p == end) {
            st.count_waiting = static_cast<uint8_t>(count);
            break;
        }
        const uint8_t v = *p++;
        const size_t room = line_len - pos;
        if (count <= room) {
            std::memset(out + pos, v, count);
            pos += count;
        } else {
            std::memset(out + pos, v, room);
            pos = line_len;
            st.value = v;
            st.pending = uint32_t(count - room);
        }
    }
    *in = p;
    return pos;
}

namespace {

// One byte written on its own: plainly when neither top bit is set, else
// escaped as a run of one. Both bytes are stored; the pointer moves by one
// or two.
inline uint8_t *put_single(uint8_t *o, uint8_t v) {
    const bool escape = v >= 0x40;
    o[0] = escape ? uint8_t(0xC1) : v;
    o[1] = v;
    return o + 1 + escape;
}

inline uint8_t *put_run(uint8_t *o, size_t run, uint8_t v) {
    o[0] = static_cast<uint8_t>(0xC0 + run);
    o[1] = v;
    return o + 2;
}

// The bytes of x that are zero, each marked by its top bit; only the lowest
// mark is exact (a borrow can mark bytes above a zero byte), and a result of
// zero means exactly that no byte is zero.
inline uint64_t zero_bytes(uint64_t x) {
    return (x - 0x0101010101010101ull) & ~x & 0x8080808080808080ull;
}

// The four bytes of v at the low ends of four 16-bit lanes.
inline uint64_t spread_bytes(uint32_t v) {
    uint64_t x = v;
    x = (x | (x << 16)) & 0x0000FFFF0000FFFFull;
    return (x | (x << 8)) & 0x00FF00FF00FF00FFull;
}

// 0xC1 in the low byte of each 16-bit lane: four escapes of runs of one.
constexpr uint64_t kEscapes = 0x00C100C100C100C1ull;

#if defined(__x86_64__) || defined(__i386__)
// Eight single bytes, some escaped, in one shuffle: for the escape pattern m
// (bit k: byte k is 0x40 or above), kSingles[m].pick takes each byte to its
// place in the output (0x80 where an escape goes) and kSingles[m].fill puts
// 0xC1 in those places. The output is 8 + popcount(m) bytes.
struct SinglesShuffle {
    std::array<uint8_t, 16> pick;
    std::array<uint8_t, 16> fill;
};
constexpr std::array<SinglesShuffle, 256> make_singles() {
    std::array<SinglesShuffle, 256> t{};
    for (uint32_t m = 0; m < 256; ++m) {
        size_t at = 0;
        for (uint8_t k = 0; k < 8; ++k) {
            if (m & (1u << k)) {
                t[m].pick[at] = 0x80;
                t[m].fill[at++] = 0xC1;
            }
            t[m].pick[at++] = k;
        }
        for (; at < 16; ++at) t[m].pick[at] = 0x80;
    }
    return t;
}
alignas(16) constexpr std::array<SinglesShuffle, 256> kSingles = make_singles();

// Writes the eight bytes of `a` as single bytes (16 bytes stored, room for
// them is the caller's); returns the escape pattern.
__attribute__((target("ssse3"))) uint32_t put_singles8_ssse3(uint8_t *o, uint64_t a) {
    const __m128i x = _mm_cvtsi64_si128(int64_t(a));
    const __m128i high = _mm_and_si128(x, _mm_set1_epi8(char(0xC0)));
    const uint32_t m = ~uint32_t(_mm_movemask_epi8(_mm_cmpeq_epi8(high, _mm_setzero_si128()))) & 0xFFu;
    const __m128i pick = _mm_load_si128(reinterpret_cast<const __m128i *>(kSingles[m].pick.data()));
    const __m128i fill = _mm_load_si128(reinterpret_cast<const __m128i *>(kSingles[m].fill.data()));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm_or_si128(_mm_shuffle_epi8(x, pick), fill));
    return m;
}
#endif

const bool kWideEncode = pcx_encode_wide_available();

// Set bits of each byte value, for the escape patterns of put_singles.
constexpr std::array<uint8_t, 256> make_bit_counts() {
    std::array<uint8_t, 256> t{};
    for (uint32_t m = 0; m < 256; ++m) t[m] = uint8_t(std::popcount(m));
    return t;
}
constexpr std::array<uint8_t, 256> kBitCounts = make_bit_counts();

// The first `count` (at most 8) bytes of `a` as single bytes; 16 bytes of
// room at o. Returns the new output position.
inline uint8_t *put_singles(uint8_t *o, uint64_t a, size_t count) {
#if defined(__x86_64__) || defined(__i386__)
    if (kHaveSsse3) {
        const uint32_t m = put_singles8_ssse3(o, a);
        const uint32_t used = count >= 8 ? m : m & ((1u << count) - 1u);
        return o + count + kBitCounts[used];
    }
#endif
    for (size_t k = 0; k < count; ++k) o = put_single(o, uint8_t(a >> (8 * k)));
    return o;
}

}  // namespace

size_t pcx_rle_encode(const uint8_t *in, size_t n, uint8_t *out) {
    uint8_t *o = out;
    size_t i = kWideEncode && n >= 64 ? pcx_encode_wide(in, n, &o) : 0;
    // Word at a time while nine bytes are left: compare each byte with the
    // next one; eight unequal neighbours are eight single bytes.
    while (i + 9 <= n) {
        uint64_t a, b;
        std::memcpy(&a, in + i, 8);
        std::memcpy(&b, in + i + 1, 8);
        const uint64_t equal = zero_bytes(a ^ b);
        if (!equal) {
            // Eight single bytes: all plain, all escaped, or byte by byte.
            const uint64_t high = a & 0xC0C0C0C0C0C0C0C0ull;
            if (!high) {
                std::memcpy(o, &a, 8);
                o += 8;
            } else if (!zero_bytes(high)) {
                const uint64_t lo = spread_bytes(uint32_t(a)), hi = spread_bytes(uint32_t(a >> 32));
                const uint64_t w0 = (lo << 8) | kEscapes, w1 = (hi << 8) | kEscapes;
                std::memcpy(o, &w0, 8);
                std::memcpy(o + 8, &w1, 8);
                o += 16;
            } else {
                o = put_singles(o, a, 8);
            }
            i += 8;
            continue;
        }
        const size_t singles = size_t(__builtin_ctzll(equal)) / 8;
        o = put_singles(o, a, singles);
        i += singles;
        // in[i] == in[i + 1]: a run of at least two, at most 63.
        const uint8_t v = in[i];
        const uint64_t vv = v * 0x0101010101010101ull;
        const size_t limit = (n - i) < size_t(kPcxMaxRun) ? n : i + kPcxMaxRun;
        size_t j = i + 2;
        for (;;) {
            if (j + 8 > n) {
                while (j < limit && in[j] == v) ++j;
                break;
            }
            uint64_t x;
            std::memcpy(&x, in + j, 8);
            x ^= vv;
            if (x) {
                j += size_t(__builtin_ctzll(x)) / 8;
                break;
            }
            j += 8;
            if (j >= limit) break;
        }
        if (j > limit) j = limit;
        o = put_run(o, j - i, v);
        i = j;
    }
    while (i < n) {
        const uint8_t v = in[i];
        const size_t limit = (n - i) < size_t(kPcxMaxRun) ? n : i + kPcxMaxRun;
        size_t j = i + 1;
        while (j < limit && in[j] == v) ++j;
        o = j - i >= 2 ? put_run(o, j - i, v) : put_single(o, v);
        i = j;
    }
    return size_t(o - out);
}

void pcx_line_to_dib(const PcxLayout &l, const uint8_t *line, uint8_t *row) {
    const size_t bpl = l.bytes_per_line;
    const uint32_t w = uint32_t(l.width);
    switch (l.kind) {
    case PcxLineKind::Copy:
        std::memcpy(row, line, l.plane_bytes);
        std::memset(row + l.plane_bytes, 0, l.dib_row_bytes - l.plane_bytes);
        return;
    case PcxLineKind::BitPlanes: {
        // Eight pixels (four output bytes) per plane byte.
        const size_t groups = l.plane_bytes;
        const size_t out_bytes = (size_t(w) + 1) / 2;
        std::memset(row, 0, l.dib_row_bytes);
        for (size_t g = 0; g < groups; ++g) {
            uint32_t v = 0;
            for (uint32_t p = 0; p < l.planes; ++p) v |= kSpread[line[p * bpl + g]] << p;
            uint8_t quad[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
            const size_t at = g * 4;
            const size_t take = out_bytes - at < 4 ? out_bytes - at : 4;
            std::memcpy(row + at, quad, take);
        }
        if (w & 1) row[out_bytes - 1] &= 0xF0;
        return;
    }
    case PcxLineKind::Channels: {
        const uint8_t *r = line, *g = line + bpl, *b = l.planes >= 3 ? line + 2 * bpl : nullptr;
        if (l.dib_bpp == 24) {
            uint8_t *o = row;
            if (b) {
                const uint32_t done = interleave_bgr(r, g, b, w, o);
                o += size_t(done) * 3;
                for (uint32_t x = done; x < w; ++x, o += 3) {
                    o[0] = b[x];
                    o[1] = g[x];
                    o[2] = r[x];
                }
            } else {
                for (uint32_t x = 0; x < w; ++x, o += 3) {
                    o[0] = 0;
                    o[1] = g[x];
                    o[2] = r[x];
                }
            }
            std::memset(o, 0, l.dib_row_bytes - size_t(w) * 3);
        } else {
            const uint8_t *a = line + 3 * bpl;
            uint8_t *o = row;
            for (uint32_t x = 0; x < w; ++x, o += 4) {
                o[0] = b[x];
                o[1] = g[x];
                o[2] = r[x];
                o[3] = a[x];
            }
        }
        return;
    }
    case PcxLineKind::Generic:
        std::memset(row, 0, l.dib_row_bytes);
        if (l.dib_bpp <= 8) {
            for (uint32_t x = 0; x < w; ++x) {
                uint32_t v = 0;
                for (uint32_t p = 0; p < l.planes; ++p) {
                    v |= plane_field(line + p * bpl, x, l.bpp) << (p * l.bpp);
                }
                put_index(row, x, l.dib_bpp, v);
            }
        } else {
            // 4-bit colour channels R, G, B (, A), widened to 8 bits.
            const uint32_t step = l.dib_bpp / 8;
            const uint32_t scale = 255 / ((1u << l.bpp) - 1);
            for (uint32_t x = 0; x < w; ++x) {
                uint8_t *o = row + size_t(x) * step;
                o[2] = uint8_t(plane_field(line, x, l.bpp) * scale);
                o[1] = uint8_t(plane_field(line + bpl, x, l.bpp) * scale);
                o[0] = uint8_t(plane_field(line + 2 * bpl, x, l.bpp) * scale);
                if (step == 4) o[3] = uint8_t(plane_field(line + 3 * bpl, x, l.bpp) * scale);
            }
        }
        return;
    }
}

bool pcx_header_for_depth(uint32_t depth, int32_t width, int32_t height, PcxHeader *hdr) {
    *hdr = PcxHeader{};
    for (const DepthRow &d : kWriteDepths) {
        if (d.depth != depth) continue;
        hdr->manufacturer = kPcxManufacturer;
        hdr->version = kWriteVersion;
        hdr->bpp = d.bpp;
        hdr->xmax = static_cast<uint16_t>(width - 1);
        hdr->ymax = static_cast<uint16_t>(height - 1);
        hdr->planes = d.planes;
        const uint32_t bytes = (uint32_t(width) * d.bpp + 7) / 8;
        hdr->bytes_per_line = static_cast<uint16_t>((bytes + 1) & ~1u);
        hdr->palette_info = 1;
        return true;
    }
    return false;
}

void pcx_dib_to_line(const PcxHeader &hdr, const uint8_t *row, int32_t width, uint8_t *line) {
    const size_t bpl = hdr.bytes_per_line;
    if (hdr.planes == 3) {
        uint8_t *r = line, *g = line + bpl, *b = line + 2 * bpl;
        const int32_t done = int32_t(split_bgr(row, uint32_t(width), r, g, b));
        const uint8_t *s = row + size_t(done) * 3;
        for (int32_t x = done; x < width; ++x, s += 3) {
            b[x] = s[0];
            g[x] = s[1];
            r[x] = s[2];
        }
        for (size_t p = 0; p < 3; ++p) std::memset(line + p * bpl + width, 0, bpl - size_t(width));
        return;
    }
    const size_t used = (size_t(width) * hdr.bpp + 7) / 8;
    std::memcpy(line, row, used);
    std::memset(line + used, 0, bpl - used);
}

}  // namespace qv
