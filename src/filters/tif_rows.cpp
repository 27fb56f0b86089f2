/*
 * tif_rows.cpp - decoded TIFF rows to DIB rows.
 *
 * A decoded row arrives in the file's sample layout (planar pages one
 * sample plane at a time, gathered here until the row is complete). Fill
 * order 2 reverses the bits of every byte first; then by photometric:
 *   0, 1  grey: WhiteIsZero rows are inverted; 1, 4 and 8-bit samples are
 *         DIB rows already, 2- and 3-bit samples widen to 4-bit indices,
 *         5- to 7-bit to 8-bit; 16-bit samples (file byte order) are kept
 *         as 16 bits (DIB code 503) or become value * 255 / maximum
 *   2     RGB: 8-bit samples swap to B, G, R; 16 bits in all split by the
 *         per-sample widths (first sample in the high bits); other widths
 *         are scaled to 8 bits (16-bit samples: their high byte)
 *   3     palette: indices packed at the DIB depth; with extra samples only
 *         the first sample of each pixel is kept
 *   5     CMYK: blue = 255 - min(255, Y + K), green and red likewise
 *   8     CIELab with a and b signed, through XYZ
 *   6     YCbCr without subsampling (subsampled groups are converted by the
 *         strip decoder before they come here)
 * The first extra sample of RGB and CMYK pixels goes to an 8-bit alpha
 * image linked to the image, when the pipeline takes the rows unchanged.
 */
#include <cmath>
#include <cstring>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "filters/filter_util.h"
#include "filters/tif_format.h"

namespace qv {
namespace {

struct ReverseTable {
    uint8_t t[256];
    constexpr ReverseTable() : t() {
        for (int i = 0; i < 256; ++i) {
            int r = 0;
            for (int b = 0; b < 8; ++b)
                if (i & (1 << b)) r |= 0x80 >> b;
            t[i] = uint8_t(r);
        }
    }
};
constexpr ReverseTable kReverse;

// n values of `bits` bits from a row: 8 and 16 bits as bytes and words in
// the file's byte order, other widths as a bit stream, high bit first.
void unpack(const uint8_t *row, size_t n, int bits, int order, uint16_t *dst) {
    if (bits == 8) {
        for (size_t i = 0; i < n; ++i) dst[i] = row[i];
    } else if (bits == 16) {
        for (size_t i = 0; i < n; ++i)
            dst[i] = order ? uint16_t(row[2 * i] << 8 | row[2 * i + 1]) : uint16_t(row[2 * i] | row[2 * i + 1] << 8);
    } else {
        uint64_t pos = 0;
        for (size_t i = 0; i < n; ++i, pos += unsigned(bits)) {
            uint32_t v = 0;
            for (int b = 0; b < bits; ++b) {
                const uint64_t q = pos + unsigned(b);
                v = v << 1 | ((row[q >> 3] >> (7 - (q & 7))) & 1);
            }
            dst[i] = uint16_t(v);
        }
    }
}

inline uint8_t to8(uint32_t v, int bits) {
    if (bits == 8) return uint8_t(v);
    if (bits > 8) return uint8_t(v >> (bits - 8));
    return uint8_t(v * 255 / ((1u << bits) - 1));
}

// Indices (values below 2^depth) packed into a DIB row of depth 1, 4 or 8.
void pack_indices(const uint16_t *v, int32_t w, int32_t depth, uint8_t *out) {
    if (depth == 8) {
        for (int32_t x = 0; x < w; ++x) out[x] = uint8_t(v[x]);
    } else if (depth == 4) {
        for (int32_t x = 0; x + 1 < w; x += 2) out[x / 2] = uint8_t((v[x] & 15) << 4 | (v[x + 1] & 15));
        if (w & 1) out[w / 2] = uint8_t((v[w - 1] & 15) << 4);
    } else {
        std::memset(out, 0, size_t(w + 7) / 8);
        for (int32_t x = 0; x < w; ++x)
            if (v[x] & 1) out[x >> 3] |= uint8_t(0x80 >> (x & 7));
    }
}

void lab_pixel(const uint8_t *s, uint8_t *d) {
    const double L = s[0] * 0.3921568627450981;
    const double a = int8_t(s[1]), b = int8_t(s[2]);
    const double t = (L + 16) * 0.04;
    const double fy = 0.215443469 * t;
    const double Y = t * t * t * 0.01;
    const double fx = a * 0.002 + fy, fz = fy - b * 0.005;
    const double X = fx * fx * fx * 0.982;
    const double Z = fz * fz * fz * 1.183;
    auto clamp = [](double v) -> uint8_t {
        v *= 255;
        return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v);
    };
    d[2] = clamp(1.91 * X - 0.532 * Y - 0.288 * Z);
    d[1] = clamp(-0.985 * X + 2.0 * Y - 0.028 * Z);
    d[0] = clamp(0.058 * X - 0.118 * Y + 0.898 * Z);
}

inline uint8_t clamp255(int32_t v) { return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v); }

// R, G, B pixels to B, G, R.
void swap_rgb_scalar(const uint8_t *s, uint8_t *d, size_t from, size_t px) {
    for (size_t x = from; x < px; ++x) {
        const uint8_t r = s[3 * x], g = s[3 * x + 1], b = s[3 * x + 2];
        d[3 * x] = b, d[3 * x + 1] = g, d[3 * x + 2] = r;
    }
}

#if defined(__x86_64__)
// Five pixels per 16-byte shuffle; the sixteenth byte written is rewritten
// by the next step, and the last steps stop 16 bytes before the row's end.
__attribute__((target("ssse3"))) void swap_rgb_ssse3(const uint8_t *s, uint8_t *d, size_t px) {
    const __m128i m = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
    size_t x = 0;
    for (; x + 6 <= px; x += 5) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + 3 * x));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(d + 3 * x), _mm_shuffle_epi8(v, m));
    }
    swap_rgb_scalar(s, d, x, px);
}
const bool kHaveSsse3 = __builtin_cpu_supports("ssse3");
#endif

}  // namespace

void tif_swap_rgb(const uint8_t *s, uint8_t *d, size_t px) {
#if defined(__x86_64__)
    if (kHaveSsse3 && s != d) return swap_rgb_ssse3(s, d, px);
#endif
    swap_rgb_scalar(s, d, 0, px);
}

// YCbCr (no subsampling) to B, G, R: ITU-R BT.601 with the full range.
void tif_ycbcr_pixel(int32_t y, int32_t cb, int32_t cr, uint8_t *d) {
    cb -= 128, cr -= 128;
    d[2] = clamp255(y + ((91881 * cr + 32768) >> 16));
    d[1] = clamp255(y - ((22554 * cb + 46802 * cr + 32768) >> 16));
    d[0] = clamp255(y + ((116130 * cb + 32768) >> 16));
}

size_t tif_row_bytes(const TifPage &p) {
    if (p.planar == 2) return tif_plane_row_bytes(p) * p.samples;
    return (size_t(p.total_bits) * size_t(p.width) + 7) / 8;
}

size_t tif_plane_row_bytes(const TifPage &p) {
    if (p.planar != 2) return tif_row_bytes(p);
    return (size_t(p.bits[0]) * size_t(p.width) + 7) / 8;
}

size_t tif_sink_work_bytes(const TifPage &p) {
    const size_t w = size_t(p.width);
    size_t chunky = (size_t(p.total_bits) * w + 7) / 8;
    size_t planes = p.planar == 2 ? tif_plane_row_bytes(p) * p.samples : 0;
    size_t out = size_t(raster_bytes(p.width, p.dib_bpp));
    size_t tmp = w * p.samples * 3 + 16;
    return planes + chunky + 16 + out + 16 + tmp + 64;  // 64: alignment of each part
}

namespace {
inline uint8_t *align16(uint8_t *p) { return reinterpret_cast<uint8_t *>((reinterpret_cast<uintptr_t>(p) + 15) & ~uintptr_t(15)); }
}  // namespace

TifRowSink::TifRowSink(VPb_STREAM *s, TifPage &page, uint8_t *work) : s_(s), p_(page) {
    plane_bytes_ = tif_plane_row_bytes(page);
    row_bytes_ = (size_t(page.total_bits) * size_t(page.width) + 7) / 8;
    planes_ = align16(work);
    raw_ = align16(planes_ + (page.planar == 2 ? plane_bytes_ * page.samples : 0));
    out_ = align16(raw_ + row_bytes_ + 16);
    tmp_ = align16(out_ + size_t(raster_bytes(page.width, page.dib_bpp)) + 16);
    // Rows go straight into the image when nothing in the pipeline needs
    // to see them one by one.
    if (page.dib_code != QV_BI_RUNS) {
        direct_ = VPb_IO_raster_direct_get(s);
        direct_stride_ = size_t(raster_bytes(page.width, page.dib_bpp));
    }
    // The first extra sample of RGB and CMYK pixels goes to an alpha image.
    if (direct_ && page.extra > 0 && (page.photometric == 2 || page.photometric == 5) &&
        !(page.photometric == 2 && page.total_bits == 16)) {
        extra_ = VPb_IO_extra_DIB_create(s);
        extra_stride_ = size_t(raster_bytes(page.width, 8));
    }
}

int32_t TifRowSink::finish() {
    if (!pending_) return 0;
    const int32_t n = pending_;
    pending_ = 0;
    return VPb_IO_raster_direct_done(s_, n);
}

int32_t tif_sink_row_fn(void *user, int32_t row, int32_t plane, const uint8_t *data) {
    return static_cast<TifRowSink *>(user)->row(row, plane, data);
}

int32_t TifRowSink::row(int32_t y, int32_t plane, const uint8_t *data) {
    if (y < 0 || y >= p_.height) return 0;
    if (p_.planar != 2) return convert_and_deliver(y, data);
    if (plane < 0 || plane >= p_.samples) return 0;
    std::memcpy(planes_ + plane_bytes_ * size_t(plane), data, plane_bytes_);
    if (plane != p_.samples - 1) return 0;
    // Planes merged into chunky pixels.
    const int32_t bits = p_.bits[0], n = p_.samples, w = p_.width;
    if (bits == 8 || bits == 16) {
        const int32_t bs = bits / 8;
        for (int32_t s = 0; s < n; ++s) {
            const uint8_t *src = planes_ + plane_bytes_ * size_t(s);
            uint8_t *dst = raw_ + s * bs;
            if (bs == 1)
                for (int32_t x = 0; x < w; ++x) dst[size_t(x) * n] = src[x];
            else
                for (int32_t x = 0; x < w; ++x) std::memcpy(dst + size_t(x) * n * 2, src + 2 * x, 2);
        }
    } else {
        std::memset(raw_, 0, row_bytes_);
        uint64_t out = 0;
        for (int32_t x = 0; x < w; ++x)
            for (int32_t s = 0; s < n; ++s) {
                const uint8_t *src = planes_ + plane_bytes_ * size_t(s);
                for (int32_t b = 0; b < bits; ++b, ++out) {
                    const uint64_t q = uint64_t(x) * bits + b;
                    if ((src[q >> 3] >> (7 - (q & 7))) & 1) raw_[out >> 3] |= uint8_t(0x80 >> (out & 7));
                }
            }
    }
    return convert_and_deliver(y, raw_);
}

int32_t TifRowSink::convert_and_deliver(int32_t y, const uint8_t *data) {
    const TifPage &p = p_;
    const int32_t w = p.width;
    const size_t n = row_bytes_;
    // Rows that change before conversion are worked on in a copy.
    uint8_t *raw = const_cast<uint8_t *>(data);
    if (p.fill_order == 2 || p.photometric == 0) {
        if (data != raw_) std::memcpy(raw_, data, n);
        raw = raw_;
    }
    if (p.fill_order == 2)
        for (size_t i = 0; i < n; ++i) raw[i] = kReverse.t[raw[i]];
    if (measuring_ && !(p.photometric <= 1 && p.color_bits > 8)) return 0;
    uint8_t *out = target(y);
    // Rows that need no conversion: into the image, or a buffer with room
    // for the DIB row's padding.
    auto as_is = [&]() -> uint8_t * {
        if (raw == raw_ && !direct_) return raw;
        std::memcpy(out, raw, n);
        return out;
    };
    uint16_t *v = reinterpret_cast<uint16_t *>(tmp_);
    const int order = p.byte_order;
    switch (p.photometric) {
    case 0:
    case 1: {
        if (p.photometric == 0)
            for (size_t i = 0; i < n; ++i) raw[i] = uint8_t(~raw[i]);
        const int32_t bits = p.color_bits;
        const int32_t samples = p.samples - p.extra;
        if (bits > 8) {
            // One value of `bits` bits per pixel (all samples together).
            unpack(raw, size_t(w), bits, order, v);
            if (measuring_) {
                for (int32_t x = 0; x < w; ++x) {
                    if (v[x] < p_.gray_min) p_.gray_min = v[x];
                    if (v[x] > p_.gray_max) p_.gray_max = v[x];
                }
                return 0;
            }
            if (p.keep16) {
                std::memcpy(out, v, size_t(w) * 2);
            } else {
                const int32_t max = p.measure ? p.gray_max : 65535;
                for (int32_t x = 0; x < w; ++x) out[x] = max > 0 ? uint8_t(uint32_t(v[x]) * 255 / uint32_t(max) > 255 ? 255 : uint32_t(v[x]) * 255 / uint32_t(max)) : 0;
            }
        } else if (samples == 1 && bits == p.dib_bpp) {
            out = as_is();
        } else {
            unpack(raw, size_t(w), bits, order, v);
            pack_indices(v, w, p.dib_bpp, out);
        }
        break;
    }
    case 3: {
        const int32_t per = 1 + p.extra;
        if (per == 1 && p.bits[0] == p.dib_bpp) {
            out = as_is();
        } else {
            unpack(raw, size_t(w) * per, p.bits[0], order, v);
            if (per > 1)
                for (int32_t x = 0; x < w; ++x) v[x] = v[size_t(x) * per];
            pack_indices(v, w, p.dib_bpp, out);
        }
        break;
    }
    case 2:
    case 5:
    case 6:
    case 8: {
        const int32_t ns = p.samples;
        const uint8_t *px = raw;
        bool eight = true;
        for (int i = 0; i < ns; ++i) eight = eight && p.bits[i] == 8;
        if (p.photometric == 2 && p.total_bits == 16 && ns > 1 && !eight) {
            // Packed 16-bit pixels split by the sample widths.
            for (int32_t x = 0; x < w; ++x) {
                const uint16_t word = order ? uint16_t(raw[2 * x] << 8 | raw[2 * x + 1]) : uint16_t(raw[2 * x] | raw[2 * x + 1] << 8);
                int shift = 16;
                uint8_t c[4] = {0, 0, 0, 0};
                for (int i = 0; i < ns && i < 4; ++i) {
                    shift -= p.bits[i];
                    const uint32_t mask = (1u << p.bits[i]) - 1;
                    c[i] = uint8_t(((word >> shift) & mask) << (8 - p.bits[i]));
                }
                out[3 * x] = c[2], out[3 * x + 1] = c[1], out[3 * x + 2] = c[0];
            }
            break;
        }
        if (!eight) {
            // Every sample to 8 bits first.
            uint8_t *b8 = tmp_ + size_t(w) * ns * 2;  // after the unpacked values
            const uint8_t *src = raw;
            bool same = true;
            for (int i = 1; i < ns; ++i) same = same && p.bits[i] == p.bits[0];
            if (same) {
                unpack(src, size_t(w) * ns, p.bits[0], order, v);
                for (size_t i = 0; i < size_t(w) * ns; ++i) b8[i] = to8(v[i], p.bits[0]);
            } else {
                for (int32_t x = 0; x < w; ++x) {
                    uint64_t pos = uint64_t(x) * p.total_bits;
                    for (int i = 0; i < ns; ++i) {
                        uint32_t val = 0;
                        for (int b = 0; b < p.bits[i]; ++b, ++pos)
                            val = val << 1 | ((src[pos >> 3] >> (7 - (pos & 7))) & 1);
                        b8[size_t(x) * ns + i] = to8(val, p.bits[i]);
                    }
                }
            }
            px = b8;
        }
        if (p.photometric == 2 && ns == 3) {
            tif_swap_rgb(px, out, size_t(w));
        } else if (p.photometric == 2) {
            const uint8_t *first = px;
            for (int32_t x = 0; x < w; ++x, px += ns) {
                out[3 * x] = px[2], out[3 * x + 1] = px[1], out[3 * x + 2] = px[0];
            }
            if (extra_) {
                uint8_t *a = extra_ + extra_stride_ * size_t(p.height - 1 - y);
                for (int32_t x = 0; x < w; ++x) a[x] = first[size_t(x) * ns + 3];
            }
        } else if (p.photometric == 5) {
            if (extra_ && ns > 4) {
                uint8_t *a = extra_ + extra_stride_ * size_t(p.height - 1 - y);
                for (int32_t x = 0; x < w; ++x) a[x] = px[size_t(x) * ns + 4];
            }
            for (int32_t x = 0; x < w; ++x, px += ns) {
                const uint32_t k = ns > 3 ? px[3] : 0;
                auto ink = [k](uint32_t c) { return uint8_t(255 - (c + k > 255 ? 255 : c + k)); };
                out[3 * x] = ink(px[2]), out[3 * x + 1] = ink(px[1]), out[3 * x + 2] = ink(px[0]);
            }
        } else if (p.photometric == 8) {
            for (int32_t x = 0; x < w; ++x, px += ns) lab_pixel(px, out + 3 * x);
        } else {
            for (int32_t x = 0; x < w; ++x, px += ns) tif_ycbcr_pixel(px[0], px[1], px[2], out + 3 * x);
        }
        break;
    }
    default:
        return 0;
    }
    return deliver(y, out);
}

int32_t TifRowSink::deliver(int32_t y, const uint8_t *dib_row) {
    ++delivered_;
    if (!direct_) return VPb_IO_raster_set(s_, y, dib_row);
    uint8_t *to = target(y);
    if (to != dib_row) std::memcpy(to, dib_row, (size_t(p_.width) * size_t(p_.dib_bpp) + 7) / 8);
    if (++pending_ < 64) return 0;
    return finish();
}

}  // namespace qv
