// Helpers of the PCX/DCX tests (see test_pcx_util.h): MD5 and peer programs.
#include "test_pcx_util.h"

#include <cmath>

namespace pcxtest {

namespace {

constexpr uint32_t kShift[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                                 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                                 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                                 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};

uint32_t rotl(uint32_t x, uint32_t c) { return (x << c) | (x >> (32 - c)); }

}  // namespace

std::string md5_hex(const Bytes &data) {
    uint32_t k[64];
    for (int i = 0; i < 64; ++i) k[i] = uint32_t(std::floor(std::fabs(std::sin(double(i + 1))) * 4294967296.0));
    Bytes m = data;
    const uint64_t bits = uint64_t(data.size()) * 8;
    m.push_back(0x80);
    while (m.size() % 64 != 56) m.push_back(0);
    for (int i = 0; i < 8; ++i) m.push_back(uint8_t(bits >> (8 * i)));
    uint32_t a0 = 0x67452301, b0 = 0xefcdab89, c0 = 0x98badcfe, d0 = 0x10325476;
    for (size_t off = 0; off < m.size(); off += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = get32(m, off + 4 * size_t(i));
        uint32_t a = a0, b = b0, c = c0, d = d0;
        for (uint32_t i = 0; i < 64; ++i) {
            uint32_t f, g;
            if (i < 16) {
                f = (b & c) | (~b & d);
                g = i;
            } else if (i < 32) {
                f = (d & b) | (~d & c);
                g = (5 * i + 1) % 16;
            } else if (i < 48) {
                f = b ^ c ^ d;
                g = (3 * i + 5) % 16;
            } else {
                f = c ^ (b | ~d);
                g = (7 * i) % 16;
            }
            f += a + k[i] + w[g];
            a = d;
            d = c;
            c = b;
            b += rotl(f, kShift[i]);
        }
        a0 += a;
        b0 += b;
        c0 += c;
        d0 += d;
    }
    std::string hex;
    char buf[3];
    for (uint32_t v : {a0, b0, c0, d0}) {
        for (int i = 0; i < 4; ++i) {
            std::snprintf(buf, sizeof buf, "%02x", (v >> (8 * i)) & 0xFF);
            hex += buf;
        }
    }
    return hex;
}

bool run(const std::string &cmd) { return std::system(cmd.c_str()) == 0; }

bool have_pillow() {
    static const bool ok = run("/usr/bin/python3 -c 'import PIL.Image' >/dev/null 2>&1");
    return ok;
}

bool have_imagemagick() {
    static const bool ok = run("convert -version >/dev/null 2>&1");
    return ok;
}

std::string source_dir() {
#ifdef QV_SOURCE_DIR
    return QV_SOURCE_DIR;
#else
    return ".";
#endif
}

}  // namespace pcxtest
