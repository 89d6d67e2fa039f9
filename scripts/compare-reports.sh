#!/usr/bin/env bash
# Runs two builds of the tool over the same inputs and compares every report
# byte for byte (cmp): the text report, and with -a the standard output and
# the XML file. For refactors and speed work, where the bytes must not move.
#
#   scripts/compare-reports.sh OLD_BINARY NEW_BINARY
#
# Inputs: the ten real images of ../shared/testdata (as found, and repaired so
# that their private headers name the tables of contents at LDM sectors 2 and
# 2045), each read with -l; all ten attached read-only as loop devices (as
# found, then repaired); and two generated packs (2 disks x 1,024 blocks and
# 64 x 256) as loop devices, made by bench/kestrand_make_pack from
# MAKE_PACK (default build-bench/bench/kestrand_make_pack). Loop runs need
# root and are left out, with a line saying so, where losetup fails.
# Settings: WORK_DIR (default /tmp/kestrand-compare), PACKS=0 leaves out the
# generated packs.
set -euo pipefail
old=$(realpath "$1") new=$(realpath "$2")
root=$(cd "$(dirname "$0")/.." && pwd)
work=${WORK_DIR:-/tmp/kestrand-compare}
make_pack=${MAKE_PACK:-$root/build-bench/bench/kestrand_make_pack}
tarball=$root/../shared/testdata/ldm-2003r2.tar.xz
mkdir -p "$work/images" "$work/out"
failures=0 compared=0

# Runs both binaries in $work/out with the arguments given ($1 names the
# case) and compares standard output, exit status and any XML written.
compare() {
  local name=$1; shift
  local side
  for side in old new; do
    local bin=$old; [[ $side == new ]] && bin=$new
    rm -f "$work/out/report.xml"
    (cd "$work/out" && "$bin" "$@" >"$work/out/$side.stdout" 2>"$work/out/$side.stderr"; echo $? >"$work/out/$side.rc")
    if [[ -f $work/out/report.xml ]]; then mv "$work/out/report.xml" "$work/out/$side.xml"; else rm -f "$work/out/$side.xml"; fi
  done
  local part ok=1
  for part in stdout stderr rc xml; do
    [[ -e $work/out/old.$part || -e $work/out/new.$part ]] || continue
    cmp -s "$work/out/old.$part" "$work/out/new.$part" || { echo "DIFFERS: $name ($part)"; ok=0; }
  done
  compared=$((compared + 1))
  ((ok)) || failures=$((failures + 1))
}

# Both report kinds of one input.
compare_all() {
  local name=$1; shift
  compare "$name text" "$@"
  compare "$name -a" "$@" -a -f report.xml
}

# Rewrites the TOC sector fields of the three private header copies and their
# checksums (sector 6, LDM sectors 1856 and 2047).
repair() {
  python3 - "$1" <<'EOF'
import sys
path = sys.argv[1]
area = 52428800 - 1048576
with open(path, "r+b") as f:
    for offset in (6 * 512, area + 1856 * 512, area + 2047 * 512):
        f.seek(offset); s = bytearray(f.read(512))
        s[0x13B:0x143] = (2).to_bytes(8, "big"); s[0x143:0x14B] = (2045).to_bytes(8, "big")
        total = sum(b for i, b in enumerate(s) if i < 8 or i > 11) & 0xFFFFFFFF
        s[8:12] = total.to_bytes(4, "big")
        f.seek(offset); f.write(s)
EOF
}

# Attaches the files read-only, runs compare_all, detaches whatever happens.
compare_loop() {
  local name=$1; shift
  local devices=() file dev
  for file in "$@"; do
    if ! dev=$(losetup -r -f --show "$file" 2>/dev/null); then
      echo "skipped: $name as loop devices (losetup failed)"
      for dev in "${devices[@]}"; do losetup -d "$dev"; done
      return
    fi
    devices+=("$dev")
  done
  compare_all "$name (loop)"
  for dev in "${devices[@]}"; do losetup -d "$dev"; done
}

if [[ -f $tarball ]]; then
  if [[ ! -f $work/images/repaired-ldm-2003r2-simple-1.img ]]; then
    tar -xJf "$tarball" -C "$work/images"
    for img in "$work"/images/ldm-2003r2-*.img; do
      cp --sparse=always "$img" "$work/images/repaired-$(basename "$img")"
      repair "$work/images/repaired-$(basename "$img")"
    done
  fi
  for img in "$work"/images/*.img; do
    base=$(basename "$img" .img)
    tail -c 1048576 "$img" >"$work/out/$base.ldm"
    compare_all "$base -l" -l "$base.ldm"
  done
  compare_loop "ten images" "$work"/images/ldm-2003r2-*.img
  compare_loop "ten repaired images" "$work"/images/repaired-*.img
else
  echo "skipped: the real images ($tarball is not there)"
fi

if [[ ${PACKS:-1} == 1 ]]; then
  if [[ -x $make_pack ]]; then
    for shape in "2 1024" "64 256"; do
      set -- $shape
      pack=$work/pack-$1x$2
      [[ -f $pack/pack.txt ]] || "$make_pack" --disks "$1" --blocks "$2" --out "$pack" >/dev/null
      compare_loop "pack $1 x $2" "$pack"/disk*.img
    done
  else
    echo "skipped: generated packs ($make_pack is not built)"
  fi
fi

echo "$compared cases compared, $failures differ"
((failures == 0))
