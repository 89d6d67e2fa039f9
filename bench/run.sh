#!/usr/bin/env bash
# Runs the benchmark matrix: packs of 2 to 64 disks whose config database has
# a small, a middling and the largest number of blocks; checks every pack,
# then times "kestrand -a", "kestrand" and ldmtool on it.
#
# Settings (environment):
#   BUILD_DIR     build directory (default: build-bench beside bench/)
#   WORK_DIR      where the packs and results go (default: /tmp/kestrand-bench)
#   DISKS         disk counts (default: "2 4 8 16 32 64")
#   BLOCKS        config database sizes in blocks, ascending (default: "256 1024 5924")
#   REPS          repetitions of each run under BUDGET_MS (default: 3)
#   BUDGET_MS     a run slower than this is not repeated (default: 5000)
#   MEM_LIMIT_MB  address space cap of each run of the tool (default: 6144)
#   SKIP_BUILD=1  use the binaries as they are
#   SKIP_CHECKS=1 time without checking the packs first
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
build=${BUILD_DIR:-$root/build-bench}
work=${WORK_DIR:-/tmp/kestrand-bench}
disks=${DISKS:-"2 4 8 16 32 64"}
blocks=${BLOCKS:-"256 1024 5924"}
reps=${REPS:-3}
budget=${BUDGET_MS:-5000}
mem=${MEM_LIMIT_MB:-6144}

if [ "${SKIP_BUILD:-0}" != 1 ]; then
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKESTRAND_TESTS=ON -DKESTRAND_BENCH=ON >/dev/null
  cmake --build "$build" --target kestrand_make_pack kestrand_bench -j2 >/dev/null
fi
make_pack=$build/bench/kestrand_make_pack
bench=$build/bench/kestrand_bench
command -v ldmtool >/dev/null || { echo "ldmtool is not installed (Debian package ldmtool)" >&2; exit 1; }
mkdir -p "$work"
results=$work/results.tsv
started=$(date +%s)
failed_checks=0

# The peak memory of the XML run grows with disks x records (the decoded
# databases of every disk, and each disk's branch as bytes): from the
# previous size of the same disk count, predict it and leave out runs that
# would pass the cap.
predict_mib() {  # previous-row new-records
  awk -v row="$1" -v r="$2" 'BEGIN {
    split(row, f, "\t"); if (f[14] != "ok") { print 0; exit }
    printf "%.0f\n", f[12] * r / f[4] }'
}

echo "# $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)" >"$results"
"$bench" header >>"$results"
"$bench" floor | sed 's/^/# floor: /' >>"$results"
for d in $disks; do
  previous=""
  for b in $blocks; do
    pack=$work/d$d-b$b
    rm -rf "$pack"
    "$make_pack" --disks "$d" --blocks "$b" --out "$pack" >/dev/null
    records=$(awk '$1 == "records" {print $2}' "$pack/pack.txt")
    analysis=yes
    predicted=0
    if [ -n "$previous" ]; then
      predicted=$(predict_mib "$previous" "$records")
      [ "$predicted" -gt "$mem" ] && analysis=no
    fi
    if [ "${SKIP_CHECKS:-0}" != 1 ]; then
      xml=yes
      [ "$analysis" = no ] && xml=no
      "$bench" check "$pack" --xml "$xml" >&2 || failed_checks=$((failed_checks + 1))
    fi
    row=$("$bench" time "$pack" --reps "$reps" --budget-ms "$budget" --mem-limit-mb "$mem" --analysis "$analysis" || true)
    [ "$analysis" = no ] && row=$(printf '%s' "$row" | awk -v p="$predicted" 'BEGIN{FS=OFS="\t"} {$12="~" p; print}')
    echo "$row" >>"$results"
    echo "$row" | cut -f1-14 >&2
    [ "$analysis" = yes ] && previous=$row
    rm -f "$pack"/*.img
  done
done
echo "# $(( $(date +%s) - started )) s" >>"$results"

# The results as a Markdown table: wall and CPU time in ms, peak memory in MiB.
awk 'BEGIN { FS = "\t" }
  /^#/ || $1 == "disks" { next }
  function run(ms, cpu, mib, verdict) {
    if (verdict == "skipped") return "not run (est. " mib " MiB)"
    if (verdict != "ok") return verdict
    return sprintf("%.0f / %.0f ms, %.1f MiB", ms, cpu, mib)
  }
  function ratio(a, b, verdict) { return verdict == "ok" && b > 0 ? sprintf("%.2f", a / b) : "-" }
  !header++ {
    print "| disks | blocks (used) | records | volumes | subdisks | gather ms | merge ms | kestrand -a | kestrand (text) | ldmtool | -a / ldmtool | text / ldmtool |"
    print "|---:|---:|---:|---:|---:|---:|---:|---|---|---|---:|---:|"
  }
  { printf "| %s | %s (%s) | %s | %s | %s | %.0f | %.0f | %s | %s | %s | %s | %s |\n", $1, $2, $3, $4, $5, $6, $7, $8,
      run($10, $11, $12, $14), run($15, $16, $17, $19), run($20, $21, $22, $24),
      ratio($10, $20, $14), ratio($15, $20, $19) }' "$results" | tee "$work/results.md"
grep '^#' "$results"
if [ "$failed_checks" -ne 0 ]; then
  echo "$failed_checks pack(s) failed their checks" >&2
  exit 1
fi
