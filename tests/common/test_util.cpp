/*
 * test_util.cpp - helpers shared by the test suites.
 */
#include "common/test_util.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

namespace qvtest {

std::string corpus_wanted() {
    if (const char *env = std::getenv("QV_CORPUS"); env && *env) return env;
    return QV_CORPUS_DEFAULT;
}

std::string corpus_dir() {
    const std::string dir = corpus_wanted();
    struct stat st;
    if (::stat((dir + "/MANIFEST.tsv").c_str(), &st) != 0) return {};
    return dir;
}

std::vector<uint8_t> read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

bool write_file(const std::string &path, const std::vector<uint8_t> &bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

std::string temp_path(const std::string &name) {
    const char *tmp = std::getenv("TMPDIR");
    std::string dir = tmp && *tmp ? tmp : "/tmp";
    return dir + "/qvtest_" + std::to_string(::getpid()) + "_" + name;
}

ErrorRecord error_at(int32_t index) {
    ErrorRecord r;
    char file[32] = {0};
    QV_error_get(index, file, sizeof file, &r.line, &r.code, &r.iVal, &r.lVal);
    r.file = file;
    return r;
}

std::vector<ErrorRecord> errors() {
    std::vector<ErrorRecord> v;
    int32_t n = QV_error_check();
    for (int32_t i = 0; i < n; ++i) v.push_back(error_at(i));
    return v;
}

std::vector<int32_t> error_codes() {
    std::vector<int32_t> v;
    for (const ErrorRecord &r : errors()) v.push_back(r.code);
    return v;
}

}  // namespace qvtest

// Peer and corpus checks (see test_util.h).
#include <sys/wait.h>

#include <cmath>
#include <map>

namespace qvtest {

std::string md5_hex(const std::vector<uint8_t> &bytes) {
    static const uint32_t s[4][4] = {
        {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    std::vector<uint8_t> m = bytes;
    const uint64_t bits = uint64_t(bytes.size()) * 8;
    m.push_back(0x80);
    while (m.size() % 64 != 56) m.push_back(0);
    for (int i = 0; i < 8; ++i) m.push_back(uint8_t(bits >> (8 * i)));
    uint32_t h[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    for (size_t off = 0; off < m.size(); off += 64) {
        uint32_t w[16], a = h[0], b = h[1], c = h[2], d = h[3];
        for (size_t j = 0; j < 16; ++j)
            w[j] = m[off + 4 * j] | m[off + 4 * j + 1] << 8 | m[off + 4 * j + 2] << 16 |
                   uint32_t(m[off + 4 * j + 3]) << 24;
        for (uint32_t i = 0; i < 64; ++i) {
            uint32_t f, g;
            if (i < 16) f = (b & c) | (~b & d), g = i;
            else if (i < 32) f = (d & b) | (~d & c), g = (5 * i + 1) % 16;
            else if (i < 48) f = b ^ c ^ d, g = (3 * i + 5) % 16;
            else f = c ^ (b | ~d), g = (7 * i) % 16;
            const uint32_t k = uint32_t(std::fabs(std::sin(double(i + 1))) * 4294967296.0);
            const uint32_t x = a + f + k + w[g], r = s[i / 16][i % 4];
            a = d, d = c, c = b, b += (x << r) | (x >> (32 - r));
        }
        h[0] += a, h[1] += b, h[2] += c, h[3] += d;
    }
    char hex[33];
    for (int i = 0; i < 16; ++i)
        std::snprintf(hex + 2 * i, 3, "%02x", (h[i / 4] >> (8 * (i % 4))) & 255);
    return hex;
}

std::string run(const std::string &cmd, int *status) {
    std::string out;
    FILE *p = popen(cmd.c_str(), "r");
    if (!p) return out;
    char buf[4096];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    const int st = pclose(p);
    if (status) *status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return out;
}

bool command_ok(const std::string &cmd) {
    static std::map<std::string, bool> known;
    auto it = known.find(cmd);
    if (it != known.end()) return it->second;
    int st = -1;
    run(cmd + " >/dev/null 2>&1", &st);
    return known[cmd] = st == 0;
}

std::vector<ManifestEntry> manifest(const std::string &prefix) {
    std::vector<ManifestEntry> out;
    std::ifstream in(corpus_dir() + "/MANIFEST.tsv");
    for (std::string line; std::getline(in, line);) {
        if (line.rfind(prefix, 0) != 0) continue;
        ManifestEntry e;
        e.path = line.substr(0, line.find('\t'));
        const std::string last = line.substr(line.rfind('\t') + 1);
        const size_t at = last.find("md5[");
        if (last.rfind("decodes:", 0) == 0 && at != std::string::npos) {
            e.decodes = true;
            e.mode = last.substr(at + 4, last.find(']', at) - at - 4);
            e.md5 = last.substr(last.find('=', at) + 1, 32);
        }
        out.push_back(e);
    }
    return out;
}

}  // namespace qvtest
