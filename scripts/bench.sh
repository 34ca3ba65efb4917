#!/usr/bin/env bash
# Builds and runs the benchmarks with their peers (OpenCV, libyuv, libdc1394).
# Usage: scripts/bench.sh [benchmark filter regex]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh libopencv-dev libyuv-dev libdc1394-dev
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DTAV_BUILD_TESTS=OFF -DTAV_BUILD_BENCH=ON >/dev/null
cmake --build build/bench -j "$(nproc)" --target tav_bench
build/bench/bench/tav_bench --benchmark_filter="${1:-.}" --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true --benchmark_counters_tabular=true
