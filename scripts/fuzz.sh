#!/usr/bin/env bash
# Runs every fuzz target of a fuzz-enabled build, seeded from the corpus
# folders the target names in fuzz/seeds.txt, within one time budget of
# SECONDS shared evenly by all targets (at least 5 s each).
#   scripts/fuzz.sh [BUILD] [SECONDS]     defaults: build/asan, 180
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/asan}
budget=${2:-180}
corpus=${QV_CORPUS:-$(cd .. && pwd)/shared/corpus}
shopt -s nullglob
targets=("$build"/fuzz/fuzz_*)
if [ ${#targets[@]} -eq 0 ]; then
  echo "no fuzz targets built"
  exit 0
fi
seconds=$((budget / ${#targets[@]}))
[ "$seconds" -ge 5 ] || seconds=5
for t in "${targets[@]}"; do
  [ -x "$t" ] || continue
  name=$(basename "$t")
  work=$(mktemp -d)
  seeds=()
  while read -r target dir; do
    [ "$target" = "$name" ] && [ -d "$corpus/$dir" ] && seeds+=("$corpus/$dir")
  done < fuzz/seeds.txt
  echo "fuzzing $name for ${seconds}s (seeds: ${seeds[*]:-none})"
  "$t" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
    "$work" "${seeds[@]}" > "$work.log" 2>&1 || { tail -50 "$work.log"; exit 1; }
  grep -E 'stat::number_of_executed_units' "$work.log" || true
  rm -rf "$work" "$work.log"
done
