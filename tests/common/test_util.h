/*
 * test_util.h - helpers shared by the test suites.
 *
 *   corpus_dir()        the real-file corpus ($QV_CORPUS, else the build's
 *                       default); empty when absent: callers GTEST_SKIP
 *   read_file(path)     whole file as bytes
 *   ErrorRecord, error_at(i), errors()   the error stack as values
 *   StackIs({...})      compares codes on the stack in order
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vosk32pd.h"

namespace qvtest {

std::string corpus_dir();
std::string corpus_wanted();  // where the corpus is looked for, found or not
std::vector<uint8_t> read_file(const std::string &path);
bool write_file(const std::string &path, const std::vector<uint8_t> &bytes);
std::string temp_path(const std::string &name);

struct ErrorRecord {
    std::string file;
    int32_t line = 0;
    int32_t code = 0;
    int32_t iVal = 0;
    int32_t lVal = 0;
};
ErrorRecord error_at(int32_t index);
std::vector<ErrorRecord> errors();
std::vector<int32_t> error_codes();

}  // namespace qvtest

#define QV_SKIP_WITHOUT_CORPUS()                                              \
    do {                                                                      \
        if (qvtest::corpus_dir().empty())                                     \
            GTEST_SKIP() << "no corpus at " << qvtest::corpus_wanted()        \
                         << " (set QV_CORPUS to the corpus folder)";          \
    } while (0)

// Peer and corpus checks.
namespace qvtest {

std::string md5_hex(const std::vector<uint8_t> &bytes);  // lower-case hex
// Runs a shell command: its standard output; *status gets the exit status.
std::string run(const std::string &cmd, int *status = nullptr);
// True when the shell command exits 0 (run once per command).
bool command_ok(const std::string &cmd);
// The corpus manifest's lines whose path starts with `prefix`; for files
// Pillow decodes, the mode and MD5 of Pillow's pixels.
struct ManifestEntry {
    std::string path, mode, md5;
    bool decodes = false;
};
std::vector<ManifestEntry> manifest(const std::string &prefix);
// A scratch folder under the temporary directory, made empty at the start
// and removed with everything in it at the end of its scope.
struct TempDir : std::string {
    explicit TempDir(const std::string &name) : std::string(temp_path(name)) {
        run("rm -rf '" + *this + "' && mkdir -p '" + *this + "'");
    }
    ~TempDir() { run("rm -rf '" + *this + "'"); }
};

}  // namespace qvtest

/* Compact checks: the whole error stack as (code, iVal, lVal) triples,
 * EXPECT_STACK({code, iVal, lVal}, ...) (no argument: empty); bytes of a
 * string literal, embedded NULs included, bytes("MM\0*"); an image's width,
 * height and bit count as one value. */
#include <ostream>

namespace qvtest {

struct Err {
    int32_t code = 0, iVal = 0, lVal = 0;
    bool operator==(const Err &) const = default;
};
inline void PrintTo(const Err &e, std::ostream *os) {
    *os << '{' << e.code << ", " << e.iVal << ", " << e.lVal << '}';
}
inline std::vector<Err> stack() {
    std::vector<Err> v;
    for (const ErrorRecord &r : errors()) v.push_back({r.code, r.iVal, r.lVal});
    return v;
}
template <size_t N>
std::vector<uint8_t> bytes(const char (&s)[N]) {
    return std::vector<uint8_t>(s, s + N - 1);
}
// Little-endian fields of a file being built or read.
inline void put16(std::vector<uint8_t> &b, size_t at, uint32_t v) {
    b[at] = uint8_t(v), b[at + 1] = uint8_t(v >> 8);
}
inline void put32(std::vector<uint8_t> &b, size_t at, uint32_t v) {
    put16(b, at, v), put16(b, at + 2, v >> 16);
}
inline uint32_t get16(const std::vector<uint8_t> &b, size_t at) { return b[at] | (b[at + 1] << 8); }
inline uint32_t get32(const std::vector<uint8_t> &b, size_t at) {
    return get16(b, at) | get16(b, at + 2) << 16;
}
// Bits written as text ("0001 1"): packed MSB first, the last byte padded.
inline std::vector<uint8_t> pack(const std::string &bits) {
    std::vector<uint8_t> out;
    int n = 0;
    for (char c : bits) {
        if (c != '0' && c != '1') continue;
        if (n % 8 == 0) out.push_back(0);
        if (c == '1') out.back() |= uint8_t(0x80 >> (n % 8));
        ++n;
    }
    return out;
}
// `s` written `n` times over.
inline std::string rep(const std::string &s, int n) {
    std::string r;
    for (int i = 0; i < n; ++i) r += s;
    return r;
}
// A corpus file's full path.
inline std::string corpus(const std::string &p) { return corpus_dir() + "/" + p; }
// Loads a file held in memory; the handle, or null (the stack tells why).
inline QUORIN load_mem(const std::vector<uint8_t> &file, int32_t *count = nullptr,
                       int32_t page = 1) {
    QUORIN h = nullptr;
    const int32_t n = QV_load_mem(file.data(), file.size(), page, 1, &h);
    if (count) *count = n;
    return h;
}
inline std::vector<int32_t> dims(QUORIN h) {
    int32_t w = 0, ht = 0, bpp = 0;
    QV_image_dimensions_get(h, &w, &ht, &bpp);
    return {w, ht, bpp};
}

}  // namespace qvtest

#define EXPECT_STACK(...) EXPECT_EQ(qvtest::stack(), (std::vector<qvtest::Err>{__VA_ARGS__}))
// An entry point that fails with exactly this record: EXPECT_FAILS(QV_x(...), {code, iVal, lVal}).
#define EXPECT_FAILS(call, ...)       \
    do {                              \
        EXPECT_EQ((call), 1);         \
        EXPECT_STACK(__VA_ARGS__);    \
    } while (0)

/* reader_image: a record bound to a fresh DIB the way a reader makes one (1 bit: run-encoded,
 * palette white and black; full: every default bound too). NoLeaks: at the end of its scope the
 * live allocator blocks are those at its start. */
#include <gtest/gtest.h>

#include "common/internal_api.h"
#include "vosk32pd_bridge.h"

namespace qvtest {

inline QUORIN reader_image(int32_t w, int32_t h, int32_t bpp = 1, int32_t full = 1,
                           uint32_t tag = 0) {
    QUORIN rec = VPb_image_alloc(tag ? tag : VPb_AF_mem_unique_tag_get());
    QV_DIB_HEADER t;
    VPb_DIB_init(&t, w, h, bpp, 0, 0, 0);
    QV_RGBQUAD pal[2] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    VPb_image_associate(VPb_DIB_alloc(rec, &t, bpp == 1 ? pal : nullptr), rec, full);
    return rec;
}
// A status-bar callback's record: every (done, total) it saw; it cancels at `cancel_at`.
struct Progress {
    int32_t cancel_at = -1;
    std::vector<std::pair<int32_t, int32_t>> calls{};
    static int32_t on(int32_t done, int32_t total, void *user) {
        auto *p = static_cast<Progress *>(user);
        p->calls.emplace_back(done, total);
        return done == p->cancel_at ? 0 : 1;
    }
};
// The live allocator blocks once a load has run, so that the records the
// library makes on first use are not counted as left behind.
inline size_t live_blocks_after_first_use() {
    static const uint8_t one_pixel_bmp[58] = {
        'B', 'M', 58, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,  // file header
        40, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 24, 0, 0, 0, 0, 0, 4, 0, 0, 0,
        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // info header
        1, 2, 3, 0};                                      // one pixel
    QUORIN h = nullptr;
    QV_load_mem(one_pixel_bmp, sizeof one_pixel_bmp, 1, 1, &h);
    QV_image_delete(h);
    return iQV_mem_live_blocks();
}
struct NoLeaks {
    size_t live = live_blocks_after_first_use();
    ~NoLeaks() { EXPECT_EQ(iQV_mem_live_blocks(), live) << "blocks left allocated"; }
};

}  // namespace qvtest
