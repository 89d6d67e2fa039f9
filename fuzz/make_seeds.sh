#!/bin/sh
# Writes a seed corpus for fuzz_config_area from the real disk images of the
# shared test data: the config area of each image (the VMDB header at sector
# 17 of the LDM area, the last 2,048 sectors of a 102,400-sector image), cut
# to its first 64 blocks with the header's block count set to match; and the
# same blocks without the header behind a status byte of 1, for the target's
# bare block walk.
#
# usage: fuzz/make_seeds.sh [OUTPUT_DIR] [TARBALL]
# then:  build-fuzz/fuzz/fuzz_config_area -max_total_time=60 -max_len=16384 OUTPUT_DIR
set -eu

here=$(cd "$(dirname "$0")" && pwd)
out=${1:-corpus/config_area}
tarball=${2:-$here/../../shared/testdata/ldm-2003r2.tar.xz}
blocks=64

if [ ! -f "$tarball" ]; then
  echo "make_seeds.sh: no test images at $tarball" >&2
  exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM
tar -xJf "$tarball" -C "$work"
mkdir -p "$out"

for image in "$work"/*.img; do
  seed="$out/$(basename "$image" .img).vmdb"
  dd if="$image" of="$seed" bs=512 skip=$((102400 - 2048 + 17)) count=$((blocks / 4)) 2>/dev/null
  # NumBlocks, big-endian, at byte 4 of the header.
  printf '\000\000\000\100' | dd of="$seed" bs=1 seek=4 conv=notrunc 2>/dev/null
  { printf '\001'; dd if="$seed" bs=512 skip=1 2>/dev/null; } > "${seed%.vmdb}.blocks"
done
echo "make_seeds.sh: $(ls "$out" | wc -l) seeds in $out"
