#!/usr/bin/env bash
# Builds the libFuzzer targets with clang-14 (ASan + UBSan) and runs each for a
# bounded time, starting from the seed corpora in tests/fuzz/corpus/<target>.
# Usage: scripts/fuzz.sh [seconds per target, default 20] [target regex]
set -euo pipefail
cd "$(dirname "$0")/.."
secs=${1:-20}
filter=${2:-.}
scripts/deps.sh clang-14 libclang-rt-14-dev libfuzzer-14-dev
cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 \
  -DCMAKE_CXX_COMPILER=clang++-14 -DTAV_BUILD_FUZZ=ON -DTAV_BUILD_TESTS=OFF -DTAV_BUILD_TOOLS=OFF >/dev/null
cmake --build build/fuzz -j "$(nproc)"
for bin in build/fuzz/tests/fuzz/*_fuzz; do
  name=$(basename "$bin" _fuzz)
  [[ $name =~ $filter ]] || continue
  work=build/fuzz/corpus/$name
  mkdir -p "$work"
  seeds=tests/fuzz/corpus/$name
  echo "== fuzz $name for ${secs}s"
  # stdout carries the library's diagnostics; keep only libFuzzer's summary.
  "$bin" -max_total_time="$secs" -print_final_stats=1 -timeout=10 -rss_limit_mb=4096 \
    "$work" "$seeds" >/dev/null 2> "build/fuzz/$name.log" || { tail -n 60 "build/fuzz/$name.log"; exit 1; }
  grep -E 'stat::number_of_executed_units|stat::peak_rss' "build/fuzz/$name.log" | tr '\n' ' '
  echo
done
