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
        if (qvtest::corpus_dir().empty()) GTEST_SKIP() << "corpus not found"; \
    } while (0)
