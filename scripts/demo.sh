#!/usr/bin/env bash
# Builds tav and runs its demo: a synthetic test chart mosaicked like a camera
# frame and demosaiced by every method, with timings, PSNR and pictures in
# build/demo. Arguments go to `tav demo` (e.g. --input photo.png, -o DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release -j "$(nproc)" --target tav_cli
build/release/tools/tav demo -o build/demo "$@"
