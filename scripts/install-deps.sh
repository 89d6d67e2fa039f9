#!/usr/bin/env bash
# Installs what Kestrand needs on Debian 12, as root.
#   (no argument)  the build of the tool: cmake, make, g++
#   --package      also what the packages need: dpkg-dev (dpkg-shlibdeps
#                  computes the .deb's dependencies) and file (it tells CPack
#                  which files are ELF binaries); groff to render the manual
#                  page as text for the Windows zip
#   --tests        also the test suite: sanitizers, fuzzers, the Windows
#                  cross-build, wine, ldmtool as the independent oracle; and
#                  the package test: the --package needs, man-db (it checks
#                  that man finds kestrand(8)) and lintian (it checks the .deb);
#                  ninja for bench/run.sh
set -euo pipefail
packages=(cmake make g++)
for option in "$@"; do
  case $option in
    --package) packages+=(dpkg-dev file groff-base) ;;
    --tests)
      packages+=(googletest libgtest-dev libgmock-dev clang libclang-rt-14-dev
                 g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev wine wine64
                 ldmtool xz-utils tar util-linux strace libbenchmark-dev
                 dpkg-dev file groff-base man-db lintian ninja-build) ;;
    *) echo "usage: $0 [--package] [--tests]" >&2; exit 2 ;;
  esac
done
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if (( ${#missing[@]} )); then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -q
  apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
