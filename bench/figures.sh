#!/usr/bin/env bash
# The /usr/bin/time figures of one pack for two builds, one after the other
# in the same run: "kestrand -a" into the null device (through a relative
# link, since a name that begins with "/" is a switch), "kestrand -a" into a
# file beside dd writing the same number of bytes to the same disk, and the
# text report into a file; in process (kestrand_bench run) and with the real
# binary over the pack's images attached read-only as loop devices. The
# outputs of the two builds are compared with cmp, then deleted.
#
#   bench/figures.sh BASE_BUILD NEW_BUILD PACK_DIR [OUT_DIR]
#
# A build directory holds kestrand and bench/kestrand_bench (configured with
# -DKESTRAND_BENCH=ON). OUT_DIR (default: figures beside PACK_DIR) must be on
# the disk to measure; it receives times.tsv (label, wall s, user s, system
# s, peak KiB) and, for a moment, the reports. LOOP=0 leaves out the loop
# devices (attaching them needs root; the real binary reads every disk of
# the machine, so other attached loop devices are read too).
set -euo pipefail
base=$(realpath "$1") new=$(realpath "$2") pack=$(realpath "$3")
out=$(realpath -m "${4:-$(dirname "$pack")/figures}")
mkdir -p "$out"
cd "$out"
ln -sfn /dev/null null
times=$out/times.tsv
printf 'label\twall_s\tuser_s\tsys_s\tpeak_kib\n' >"$times"

# timed LABEL COMMAND...: one run, standard output to the null device.
timed() {
  local label=$1; shift
  /usr/bin/time -f "$label\t%e\t%U\t%S\t%M" -a -o "$times" "$@" >/dev/null
}

# dd_same LABEL BYTES: dd writing that many bytes into a file here.
dd_same() {
  local mib=$(( ($2 + 1048575) / 1048576 ))
  timed "$1 ($mib MiB)" dd if=/dev/zero of=dd.out bs=1M count="$mib" status=none
  rm -f dd.out
}

# same A B: cmp of two outputs, then both deleted.
same() {
  if cmp -s "$1" "$2"; then echo "same: $1 $2 ($(stat -c %s "$2") bytes)"; else echo "DIFFER: $1 $2"; fi
  rm -f "$1" "$2"
}

for side in base new; do
  build=$base; [[ $side == new ]] && build=$new
  timed "in-process $side -a null" "$build/bench/kestrand_bench" run "$pack" analysis null
  timed "in-process $side -a file" "$build/bench/kestrand_bench" run "$pack" analysis "$side.xml"
  [[ $side == new ]] && dd_same "in-process dd" "$(stat -c %s new.xml)"
  timed "in-process $side text file" "$build/bench/kestrand_bench" run "$pack" text "$side.txt"
done
same base.xml new.xml
same base.txt new.txt

if [[ ${LOOP:-1} == 1 ]]; then
  devices=()
  detach() { local dev; for dev in "${devices[@]}"; do losetup -d "$dev"; done; devices=(); }
  trap detach EXIT
  for image in "$pack"/disk*.img; do devices+=("$(losetup -r -f --show "$image")"); done
  echo "attached ${#devices[@]} loop devices"
  for side in base new; do
    build=$base; [[ $side == new ]] && build=$new
    timed "loop $side -a null" "$build/kestrand" -a -f null
    # Into files: the XML and the standard output (the disk sections).
    /usr/bin/time -f "loop $side -a file\t%e\t%U\t%S\t%M" -a -o "$times" \
      "$build/kestrand" -a -f "$side.xml" >"$side.stdout"
    [[ $side == new ]] && dd_same "loop dd" "$(( $(stat -c %s new.xml) + $(stat -c %s new.stdout) ))"
    timed "loop $side text file" "$build/kestrand" -f "$side.txt"
  done
  detach
  trap - EXIT
  same base.xml new.xml
  same base.stdout new.stdout
  same base.txt new.txt
fi
column -t -s $'\t' "$times"
