#!/usr/bin/env bash
# Builds tav and runs the whole test suite twice (optimised; debug with
# AddressSanitizer and UBSan), the concurrency tests under ThreadSanitizer and
# each fuzz target for a short time, then installs the library and builds a C99
# program against the installed tree.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)
scripts/deps.sh

run_suite() {  # name, cmake args...
  local dir=build/$1; shift
  cmake -S . -B "$dir" -DTAV_BUILD_TESTS=ON "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  (cd "$dir" && ctest --output-on-failure -j "$jobs")
}

echo "== optimised build"
run_suite release -DCMAKE_BUILD_TYPE=Release -DTAV_BUILD_PYTHON=ON
echo "== debug build with AddressSanitizer and UBSan"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  run_suite asan -DCMAKE_BUILD_TYPE=Debug -DTAV_SANITIZE=ON

echo "== concurrency tests under ThreadSanitizer"
cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=Debug -DTAV_TSAN=ON -DTAV_BUILD_TOOLS=OFF >/dev/null
cmake --build build/tsan -j "$jobs" --target tav_tests
TSAN_OPTIONS=halt_on_error=1 build/tsan/tests/tav_tests --gtest_filter='Concurrency*'

echo "== fuzz every entry point briefly"
scripts/fuzz.sh "${TAV_FUZZ_SECONDS:-20}"

echo "== install and build a C99 consumer against it"
prefix=$root/build/prefix
rm -rf "$prefix"
cmake --install build/release --prefix "$prefix" >/dev/null
cmake -S tests/consumer -B build/consumer -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build/consumer
build/consumer/consumer_cmake
# The same program through pkg-config and the static library.
cc -std=c99 -Wall -Wextra -pedantic -Werror tests/consumer/consumer.c \
  $(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags tav) \
  "$prefix/lib/libtav.a" -lstdc++ -o build/consumer/consumer_static
build/consumer/consumer_static

echo "== pip install . offline into a virtual environment, then use it"
scripts/pip_test.sh

echo "== Debian packages: build, unpack, build the consumer against them"
scripts/package_test.sh
echo "all tests passed"
