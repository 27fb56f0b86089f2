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

std::string corpus_dir() {
    std::string dir;
    if (const char *env = std::getenv("QV_CORPUS")) dir = env;
#ifdef QV_CORPUS_DEFAULT
    if (dir.empty()) dir = QV_CORPUS_DEFAULT;
#endif
    struct stat st;
    if (dir.empty() || ::stat((dir + "/MANIFEST.tsv").c_str(), &st) != 0) return {};
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
