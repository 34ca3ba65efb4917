#!/usr/bin/env bash
# Builds the libFuzzer targets with clang-14 (ASan + UBSan) and runs each for a
# bounded time at each instruction-set level, starting from the seed corpora in tests/fuzz/corpus/<target>.
# Targets run side by side, one per core (TAV_FUZZ_JOBS overrides the count).
# Usage: scripts/fuzz.sh [seconds per target, default 20] [target regex]
set -euo pipefail
cd "$(dirname "$0")/.."
secs=${1:-20}
filter=${2:-.}
parallel=${TAV_FUZZ_JOBS:-$(nproc)}
scripts/deps.sh clang-14 libclang-rt-14-dev libfuzzer-14-dev
cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 \
  -DCMAKE_CXX_COMPILER=clang++-14 -DTAV_BUILD_FUZZ=ON -DTAV_BUILD_TESTS=OFF -DTAV_BUILD_TOOLS=OFF >/dev/null
cmake --build build/fuzz -j "$(nproc)"

fuzz_one() {  # binary; prints one summary line per level, or the tail of the log on a finding
  local bin=$1 name work log isa
  name=$(basename "$bin" _fuzz)
  work=build/fuzz/corpus/$name
  mkdir -p "$work"
  # Half the time at each instruction-set level (a level the CPU lacks runs
  # the widest it has); the corpus carries over from one to the next.
  for isa in sse41 avx2; do
    log=build/fuzz/$name.$isa.log
    # stdout carries the library's diagnostics; keep only libFuzzer's summary.
    if TAV_ISA=$isa "$bin" -max_total_time="$(((secs + 1) / 2))" -print_final_stats=1 -timeout=10 \
      -rss_limit_mb=4096 -artifact_prefix="build/fuzz/$name-" "$work" "tests/fuzz/corpus/$name" \
      >/dev/null 2>"$log"; then
      echo "== fuzz $name at $isa for $(((secs + 1) / 2))s: $(grep -E 'stat::number_of_executed_units|stat::peak_rss' "$log" | tr -s ' \n' ' ')"
    else
      echo "== fuzz $name at $isa FAILED (reproducer in build/fuzz/$name-*)"
      tail -n 60 "$log"
      return 1
    fi
  done
}

targets=()
for bin in build/fuzz/tests/fuzz/*_fuzz; do
  [[ $(basename "$bin" _fuzz) =~ $filter ]] && targets+=("$bin")
done
failed=0
for ((i = 0; i < ${#targets[@]}; i += parallel)); do
  pids=()
  for bin in "${targets[@]:i:parallel}"; do
    fuzz_one "$bin" &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do wait "$pid" || failed=1; done
done
exit "$failed"
