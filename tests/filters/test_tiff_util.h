// Helpers of the TIFF reader and writer tests: Pillow's pixels through
// tests/filters/tiff_peers.py.
#pragma once

#include <unistd.h>

#include <fstream>

#include "filters/test_codec_util.h"

namespace tifftest {

inline const std::string kTiffPeer = "/usr/bin/python3 '" QV_SOURCE_DIR "/tests/filters/tiff_peers.py'";

// Pillow's pixels of many files in one run: file -> RGBA (empty when
// refused); sizes (when given) receive Pillow's width and height.
inline std::vector<std::vector<uint8_t>> pillow_batch(const std::vector<std::string> &files,
                                                      std::vector<std::pair<int32_t, int32_t>> *sizes = nullptr) {
    const qvtest::TempDir dir("tiff_peer_out" + std::to_string(getpid()));
    std::string cmd = kTiffPeer + " rgba '" + dir + "'";
    for (const auto &f : files) cmd += " '" + f + "'";
    qvtest::run(cmd + " 2>/dev/null");
    std::vector<std::vector<uint8_t>> out;
    for (size_t i = 0; i < files.size(); ++i) {
        const std::string p = dir + "/" + std::to_string(i) + ".rgba";
        out.push_back(access(p.c_str(), R_OK) == 0 ? qvtest::read_file(p) : std::vector<uint8_t>{});
        if (sizes) {
            std::pair<int32_t, int32_t> wh{0, 0};
            std::ifstream(dir + "/" + std::to_string(i) + ".size") >> wh.first >> wh.second;
            sizes->push_back(wh);
        }
    }
    return out;
}

}  // namespace tifftest
