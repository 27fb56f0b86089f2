/*
 * detectors.cpp - the built-in format detectors, one per detecting row of
 * the filter table.
 *
 * Each looks at the first `count` bytes of the stream (at most 256) and
 * never reads past them; a detector that needs more seeks and reads the
 * stream itself (PCD at 2048, TGA's footer, PICT at 522, MAC's wrapper and
 * padding, XPM's first line, NCR's short files). Absolute positions count
 * from the start of the stream. The final position is left to the caller,
 * which restores it.
 */
#include <cstring>

#include "registry/detect.h"
#include "support/stream.h"

namespace qv {
namespace {

// `n` bytes at `off` equal `magic` (and the buffer holds them).
bool has(const uint8_t *buf, int32_t count, int32_t off, const char *magic, int32_t n) {
    return count >= off + n && std::memcmp(buf + off, magic, size_t(n)) == 0;
}

uint16_t le16(const uint8_t *p) { return uint16_t(p[0] | (p[1] << 8)); }
uint16_t be16(const uint8_t *p) { return uint16_t((p[0] << 8) | p[1]); }
uint32_t le32(const uint8_t *p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}
uint32_t be32(const uint8_t *p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

// Reads `n` bytes at absolute position `pos`; false unless all arrived.
bool read_at(VPb_STREAM *stream, int64_t pos, uint8_t *out, int32_t n) {
    Stream *s = stream_of(stream);
    if (stream_seek(s, pos, 0) != pos) return false;
    return stream_read(s, out, n) == n;
}

bool blank(uint8_t c) { return c == ' ' || c == '\t'; }

bool ends_with(const uint8_t *tok, int32_t len, const char *suffix) {
    int32_t n = int32_t(std::strlen(suffix));
    return len >= n && std::memcmp(tok + len - n, suffix, size_t(n)) == 0;
}

// The token starting at or after `i` (blanks skipped), ending at a blank,
// a line end or `end`. Returns its start and stores its length.
int32_t token(const uint8_t *p, int32_t i, int32_t end, int32_t *len) {
    while (i < end && blank(p[i])) ++i;
    int32_t j = i;
    while (j < end && !blank(p[j]) && p[j] != '\n' && p[j] != '\r' && p[j] != 0) ++j;
    *len = j - i;
    return i;
}

}  // namespace

int32_t detect_tiff(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    if (count < 3) return 0;
    uint16_t w = le16(buf);
    return w == 0x4949 || w == 0x4D4D;
}

int32_t detect_bmp(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    if (count >= 2 && (le16(buf) == 0x4D42 || le16(buf) == 0x4142)) return 1;
    return count >= 4 && (le32(buf) == 40 || le32(buf) == 0x28000000u);
}

int32_t detect_afx(VPb_STREAM *, const uint8_t *buf, int32_t count) { return has(buf, count, 1, "AFX", 3); }
int32_t detect_gif(VPb_STREAM *, const uint8_t *buf, int32_t count) { return has(buf, count, 0, "GIF", 3); }

int32_t detect_png(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return has(buf, count, 0, "\x89PNG\r\n\x1a\n", 8);
}

int32_t detect_gem(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 4 && has(buf, count, 0, "\x00\x01\x00", 3) && (buf[3] == 8 || buf[3] == 9);
}

int32_t detect_jpg(VPb_STREAM *, const uint8_t *buf, int32_t count) { return has(buf, count, 0, "\xFF\xD8", 2); }

int32_t detect_pcx(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 3 && buf[0] == 0x0A && buf[1] < 6 && buf[2] == 1;
}

int32_t detect_dcx(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 4 && le32(buf) == 987654321u;
}

int32_t detect_ica16(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 2 && buf[0] == 'p' && (buf[1] == 0 || buf[1] == 4);
}

int32_t detect_ica26(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 5 && buf[2] == 0xD3 &&
           ((buf[3] == 0xA6 && buf[4] == 0xFB) || (buf[3] == 0xA8 && buf[4] == 0xA8));
}

int32_t detect_wpg(VPb_STREAM *, const uint8_t *buf, int32_t count) { return has(buf, count, 1, "WPC", 3); }
int32_t detect_psd(VPb_STREAM *, const uint8_t *buf, int32_t count) { return has(buf, count, 0, "8BPS", 4); }

int32_t detect_pcd(VPb_STREAM *stream, const uint8_t *, int32_t) {
    Stream *s = stream_of(stream);
    int64_t here = stream_tell(s);
    uint8_t id[7];
    bool ok = read_at(stream, 2048, id, 7) && std::memcmp(id, "PCD_IPI", 7) == 0;
    stream_seek(s, here, 0);
    return ok;
}

int32_t detect_eps(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return has(buf, count, 0, "\xC5\xD0\xD3\xC6", 4);
}

int32_t detect_cals(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    static const char *const kKeys[] = {"srcsys:", "srcdocid:", "specversion:"};
    for (const char *key : kKeys) {
        int32_t n = int32_t(std::strlen(key));
        for (int32_t i = 0; i + n <= count; ++i)
            if (std::memcmp(buf + i, key, size_t(n)) == 0) return 1;
    }
    return 0;
}

int32_t detect_iff(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 4 && (be32(buf) == 0x464F524Du || be32(buf) == 0x4C490000u);
}

int32_t detect_avi(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 12 && has(buf, count, 0, "RIFF", 4) && has(buf, count, 8, "AVI ", 4);
}

int32_t detect_xwd(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 8 && (be32(buf + 4) == 6 || be32(buf + 4) == 7);
}

int32_t detect_xpm(VPb_STREAM *stream, const uint8_t *buf, int32_t count) {
    if (has(buf, count, 0, "/* XPM", 6) || has(buf, count, 0, "! XPM", 5)) return 1;
    if (!has(buf, count, 0, "#define", 7)) return 0;
    // XPM1 declares "#define <name>_format 1" on its first line: re-read it.
    uint8_t line[256];
    Stream *s = stream_of(stream);
    if (stream_seek(s, 0, 0) != 0) return 0;
    int32_t n = stream_read(s, line, 255);
    if (n <= 0) return 0;
    int32_t end = 0;
    while (end < n && line[end] != '\n' && line[end] != '\r') ++end;
    int32_t len;
    int32_t first = token(line, 0, end, &len);
    int32_t second = token(line, first + len, end, &len);
    return ends_with(line + second, len, "format");
}

int32_t detect_xbm(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    if (count < 21 || !has(buf, count, 0, "#define", 7) || !blank(buf[7])) return 0;
    int32_t len;
    int32_t start = token(buf, 8, count, &len);
    return ends_with(buf + start, len, "_width");
}

int32_t detect_pbm(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 2 && buf[0] == 'P' && buf[1] >= '1' && buf[1] <= '6';
}

int32_t detect_ras(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return count >= 4 && be32(buf) == 0x59A66A95u;
}

int32_t detect_sgi(VPb_STREAM *, const uint8_t *buf, int32_t count) { return count >= 2 && be16(buf) == 474; }

int32_t detect_msp(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return has(buf, count, 0, "DanM", 4) || has(buf, count, 0, "LinS", 4);
}

int32_t detect_kfx(VPb_STREAM *, const uint8_t *buf, int32_t count) { return has(buf, count, 0, ".KF", 3); }
int32_t detect_imt(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    return has(buf, count, 0, "\x27" "C1\x00", 4);
}
int32_t detect_brk(VPb_STREAM *, const uint8_t *buf, int32_t count) { return count >= 1 && buf[0] == 0xBB; }
int32_t detect_lv(VPb_STREAM *, const uint8_t *buf, int32_t count) { return has(buf, count, 0, "\xDC\xDC", 2); }

int32_t detect_wmf(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    if (count >= 4) {
        uint32_t d = le32(buf);
        if (d == 0x9AC6CDD7u || d == 0x00090002u || d == 0x00090001u) return 1;
    }
    return count >= 44 && le32(buf + 40) == 0x464D4520u && le16(buf) == 1;
}

int32_t detect_ncr(VPb_STREAM *stream, const uint8_t *buf, int32_t count) {
    uint8_t head[4] = {0, 0, 0, 0};
    int32_t have = count < 4 ? count : 4;
    std::memcpy(head, buf, size_t(have > 0 ? have : 0));
    if (have < 4) {
        int32_t more = stream_read(stream_of(stream), head + have, 4 - have);
        if (more > 0) have += more;
    }
    return have == 4 && std::memcmp(head, "nn\x0A\x00", 4) == 0;
}

int32_t detect_clp(VPb_STREAM *, const uint8_t *buf, int32_t count) { return count >= 2 && le16(buf) == 0xC350; }

int32_t detect_ico(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    if (count < 14 || le16(buf) != 0 || le16(buf + 2) != 1 || le16(buf + 4) == 0) return 0;
    uint8_t colours = buf[8];
    return colours == 0 || colours == 2 || colours == 8 || colours == 16;
}

int32_t detect_tga(VPb_STREAM *stream, const uint8_t *buf, int32_t count) {
    static const char kFooter[18] = "TRUEVISION-XFILE.";  // with its terminating zero
    Stream *s = stream_of(stream);
    uint8_t foot[18];
    if (stream_seek(s, -18, 2) >= 0 && stream_read(s, foot, 18) == 18 &&
        std::memcmp(foot, kFooter, 18) == 0)
        return 1;
    if (count < 17) return 0;
    uint8_t map = buf[1], kind = buf[2], entry = buf[7], depth = buf[16];
    switch (kind) {
    case 1:
    case 9: return map == 1 && depth == 8;
    case 2:
    case 10:
        return (map == 0 || (map == 1 && entry == depth)) &&
               (depth == 15 || depth == 16 || depth == 24 || depth == 32);
    case 3:
    case 11: return map == 0 && (depth == 1 || depth == 8);
    default: return 0;
    }
}

int32_t detect_pict(VPb_STREAM *stream, const uint8_t *, int32_t count) {
    // 512-byte header, the picture size word and the frame: the version
    // opcode follows at 522.
    Stream *s = stream_of(stream);
    uint8_t op[4] = {0, 0, 0, 0};
    int32_t n = stream_seek(s, 522, 0) == 522 ? stream_read(s, op, 4) : 0;
    stream_seek(s, count, 0);
    if (n >= 2 && op[0] == 0x11 && op[1] == 0x01) return 1;
    return n >= 4 && std::memcmp(op, "\x00\x11\x02\xFF", 4) == 0;
}

int32_t detect_cut(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    if (count < 6) return 0;
    uint16_t w = le16(buf), h = le16(buf + 2);
    return w >= 1 && w <= 1023 && h >= 1 && h <= 1023 && le16(buf + 4) == 0;
}

int32_t detect_mac(VPb_STREAM *stream, const uint8_t *buf, int32_t count) {
    static const uint8_t kVersion[4] = {0, 0, 0, 2};
    if (count < 4) return 0;
    int64_t base = 0;
    if (std::memcmp(buf, kVersion, 4) != 0) {
        // A MacBinary wrapper puts the file 128 bytes in.
        uint8_t v[4];
        if (!read_at(stream, 128, v, 4) || std::memcmp(v, kVersion, 4) != 0) return 0;
        base = 128;
    }
    // The 204 bytes after the version and the 38 patterns are padding.
    uint8_t pad[204];
    if (!read_at(stream, base + 308, pad, 204)) return 0;
    for (uint8_t b : pad)
        if (b) return 0;
    return 1;
}

int32_t detect_txt(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    for (int32_t i = 0; i < count; ++i)
        if (buf[i] > 127) return 0;
    return 1;
}

int32_t detect_img(VPb_STREAM *, const uint8_t *buf, int32_t count) {
    static const char kHeader[] = "Interpress/Xerox/2.0/ImgFormat/2.00 ";
    static_assert(sizeof kHeader - 1 == 36);
    if (count < 36) return 0;
    for (int32_t i = 0; i < 36; ++i) {
        uint8_t a = buf[i], b = uint8_t(kHeader[i]);
        if (a >= 'a' && a <= 'z') a = uint8_t(a - 32);
        if (b >= 'a' && b <= 'z') b = uint8_t(b - 32);
        if (a != b) return 0;
    }
    return 1;
}

}  // namespace qv
