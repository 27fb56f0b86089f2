#!/usr/bin/env bash
# Runs every test: installs dependencies, builds the Release and the
# ASan+UBSan flavours, runs the whole CTest suite on both, then runs each
# fuzz target for a short while under the sanitizers. Ends with one summary
# line "tests: N passed, M failed, K skipped".
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
# Every fuzz target within one shared budget (seconds in all).
bash scripts/fuzz.sh build/asan "${QV_FUZZ_SECONDS:-240}"

# Totals over every run, from CTest's own summary lines. CTest counts a
# skipped test among the passed ones; it lists each under "did not run".
total=0
failed=0
skipped=0
for f in "$logs"/*.log; do
  line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$f" | tail -1)
  [ -n "$line" ] || { echo "no CTest summary in $(basename "$f")"; failed=$((failed + 1)); continue; }
  n=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
  m=$(sed -E 's/.*passed, ([0-9]+) tests failed.*/\1/' <<<"$line")
  k=$(grep -cE '^[[:space:]]+[0-9]+ - .*\(Skipped\)$' "$f" || true)
  total=$((total + n))
  failed=$((failed + m))
  skipped=$((skipped + k))
done
echo "tests: $((total - failed - skipped)) passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
