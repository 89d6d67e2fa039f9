#!/usr/bin/env bash
# The whole test suite: the Windows cross-build with its suites under wine, a
# normal build, the same suite under AddressSanitizer and
# UndefinedBehaviorSanitizer, and the fuzzers for a bounded time. Windows comes
# first: the Linux e2e suite compares build-windows/kestrand.exe with its own
# build.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${JOBS:-2}

step() { printf '\n==== %s\n' "$*"; }

# wine: a prefix of its own (root, no display), quiet but for its errors, and
# without the .NET and HTML runtimes, whose installers would ask through a
# dialog.
export WINEPREFIX="$PWD/build-windows/wine" WINEDEBUG=-all,err+all WINEDLLOVERRIDES="mscoree,mshtml="

step "cross-build for Windows x86-64 and its suites under wine"
# One wine server for the whole run (ended on exit), and wine's first start,
# which sets up the prefix in about 10 s, over before any test: the helper
# processes it leaves would otherwise hold CTest's output pipes open.
mkdir -p "$WINEPREFIX"
wineserver -k 2>/dev/null || true   # a server left by an interrupted run
wineserver -w
wineserver -p >/dev/null 2>&1
trap 'wineserver -k 2>/dev/null || true' EXIT
wine cmd /c exit >/dev/null 2>&1 || { echo "wine does not start" >&2; exit 1; }
# Release: the suites build a quarter faster than with RelWithDebInfo, in a
# tenth of the disk space.
cmake -S . -B build-windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake -DCMAKE_BUILD_TYPE=Release -DKESTRAND_TESTS=ON
cmake --build build-windows -j"$jobs"
test -f build-windows/kestrand.exe
# The golden reports of the real images need them unpacked (wine has no tar):
# the same goldens as the Linux build's, so both builds report alike.
images=../shared/testdata/ldm-2003r2.tar.xz
if [[ -f $images ]]; then
  rm -rf build-windows/real-images && mkdir build-windows/real-images   # no database files of an earlier run
  tar -xJf "$images" -C build-windows/real-images
  export KESTRAND_REAL_IMAGES=$PWD/build-windows/real-images
fi
# Wine itself now and then fails to start a process on a loaded machine
# ("failed to map the shared user data"): a test that fails is run again,
# up to three times in all; a real fault fails every time.
ctest --test-dir build-windows --output-on-failure -j"$jobs" --repeat until-pass:3
unset KESTRAND_REAL_IMAGES

step "build and test"
# The README's first command may have configured build/ without the tests
# (their default): ask for them.
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTRAND_TESTS=ON
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

step "build and test under AddressSanitizer and UndefinedBehaviorSanitizer"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DKESTRAND_SANITIZE=ON -DKESTRAND_TESTS=ON
cmake --build build-asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs"

if [[ -x fuzz/run_fuzzers.sh ]]; then
  step "fuzzers"
  fuzz/run_fuzzers.sh
fi
step "all passed"
