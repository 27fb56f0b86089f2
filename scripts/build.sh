#!/usr/bin/env bash
# Configures and builds one flavour of the project.
#   scripts/build.sh release   -> build/release  (g++, Release)
#   scripts/build.sh asan      -> build/asan     (clang, ASan+UBSan, fuzz targets)
#   scripts/build.sh tsan      -> build/tsan     (clang, ThreadSanitizer; the library
#                                 and the load suite with its thread tests only)
set -euo pipefail
cd "$(dirname "$0")/.."
flavour=${1:-release}
case "$flavour" in
  release)
    cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DVOSK32PD_BENCH=ON >/dev/null ;;
  asan)
    cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
      -DVOSK32PD_SANITIZE=ON -DVOSK32PD_FUZZ=ON >/dev/null ;;
  tsan)
    cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DVOSK32PD_TSAN=ON >/dev/null
    cmake --build build/tsan -j "$(nproc)" --target test_load
    exit 0 ;;
  *) echo "unknown flavour $flavour" >&2; exit 2 ;;
esac
cmake --build "build/$flavour" -j "$(nproc)"
