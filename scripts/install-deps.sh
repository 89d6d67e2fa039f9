#!/usr/bin/env bash
# Installs what Kestrand needs on Debian 12, as root.
#   (no argument)  the build of the tool
#   --tests        also the test suite: sanitizers, fuzzers, the Windows
#                  cross-build, wine, and ldmtool as the independent oracle
set -euo pipefail
packages=(cmake make g++)
if [[ "${1:-}" == "--tests" ]]; then
  packages+=(googletest libgtest-dev libgmock-dev clang libclang-rt-14-dev
             g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev wine wine64
             ldmtool xz-utils tar util-linux strace libbenchmark-dev)
fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if (( ${#missing[@]} )); then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -q
  apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
