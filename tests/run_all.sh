#!/usr/bin/env bash
# The whole test suite: a normal build, the same suite under AddressSanitizer
# and UndefinedBehaviorSanitizer, the Windows cross-build, and the fuzzers for
# a bounded time.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${JOBS:-2}

step() { printf '\n==== %s\n' "$*"; }

step "build and test"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

step "build and test under AddressSanitizer and UndefinedBehaviorSanitizer"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DKESTRAND_SANITIZE=ON
cmake --build build-asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs"

step "cross-build for Windows x86-64"
cmake -S . -B build-windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake -DCMAKE_BUILD_TYPE=Release -DKESTRAND_TESTS=OFF
cmake --build build-windows -j"$jobs" --target kestrand
test -f build-windows/kestrand.exe

if [[ -x fuzz/run_fuzzers.sh ]]; then
  step "fuzzers"
  fuzz/run_fuzzers.sh
fi
step "all passed"
