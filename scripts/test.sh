#!/usr/bin/env bash
# Runs every test: installs dependencies, builds the Release and the
# ASan+UBSan flavours, runs the whole CTest suite on both, then runs each
# fuzz target for a short while under the sanitizers. Ends with one summary
# line "tests: N passed, M failed".
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
export QV_CORPUS=${QV_CORPUS:-$(cd .. && pwd)/shared/corpus}
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT

run_ctest() {  # flavour
  local rc=0
  (cd "build/$1" && ctest --output-on-failure -j "$(nproc)") 2>&1 | tee "$logs/$1.log" || rc=$?
  return $rc
}

bash scripts/build.sh release
run_ctest release
bash scripts/build.sh asan
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_ctest asan
# The thread tests once more under ThreadSanitizer.
bash scripts/build.sh tsan
(cd build/tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -R '^Threads\.') 2>&1 \
  | tee "$logs/tsan.log" || true
bash scripts/fuzz.sh build/asan "${QV_FUZZ_SECONDS:-30}"

# Totals over both flavours, from CTest's own summary lines.
total=0
failed=0
for f in "$logs"/*.log; do
  line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$f" | tail -1)
  n=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
  m=$(sed -E 's/.*passed, ([0-9]+) tests failed.*/\1/' <<<"$line")
  total=$((total + n))
  failed=$((failed + m))
done
echo "tests: $((total - failed)) passed, $failed failed"
[ "$failed" -eq 0 ]
