#!/usr/bin/env bash
# Builds and runs the benchmarks with their peers (OpenCV, libyuv, libdc1394).
# Usage: scripts/bench.sh [benchmark filter regex]
# tav runs at TAV_NUM_THREADS (default 1; 0 for every core) and TAV_ISA
# (sse41 or avx2; default the widest the CPU has); OpenCV runs on one thread
# when tav does, else at its own default thread count. For the whole picture:
#   for t in 1 0; do for isa in sse41 avx2; do
#     TAV_NUM_THREADS=$t TAV_ISA=$isa scripts/bench.sh; done; done
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh libopencv-dev libyuv-dev libdc1394-dev
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DTAV_BUILD_TESTS=OFF -DTAV_BUILD_BENCH=ON >/dev/null
cmake --build build/bench -j "$(nproc)" --target tav_bench
echo "# tav threads: ${TAV_NUM_THREADS:-1}, level: ${TAV_ISA:-widest}"
build/bench/bench/tav_bench --benchmark_filter="${1:-.}" --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true --benchmark_counters_tabular=true
