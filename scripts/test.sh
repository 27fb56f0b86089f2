#!/usr/bin/env bash
# Runs every test: installs dependencies, builds the Release and the
# ASan+UBSan flavours, runs the whole CTest suite on both, then runs each
# fuzz target for a short while under the sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
export QV_CORPUS=${QV_CORPUS:-$(cd .. && pwd)/shared/corpus}
bash scripts/build.sh release
(cd build/release && ctest --output-on-failure -j "$(nproc)")
bash scripts/build.sh asan
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
(cd build/asan && ctest --output-on-failure -j "$(nproc)")
bash scripts/fuzz.sh build/asan "${QV_FUZZ_SECONDS:-30}"
