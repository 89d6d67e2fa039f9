#!/usr/bin/env bash
# The long fuzzing campaign: every target run until it has executed its
# input count (20 million for fuzz_config_area and fuzz_whole_run, 5 million
# for the others), in two lanes under nice 19, each target in chunks of at
# most CHUNK_SECONDS (default 600) so that progress survives a stop.
#
#   fuzz/campaign.sh            # run (or continue) the campaign
#   fuzz/campaign.sh status     # runs so far, cov/ft, findings per target
#
# CAMPAIGN_DIR (default /work/fuzz-campaign) keeps, per target: the corpus
# the fuzzer grows (<target>/), the log of every chunk (<target>.log), the
# inputs run by finished chunks (<target>.runs) and any finding
# (<target>-crash-*, -timeout-*, -leak-*, -oom-*). A later run continues from
# there. The binaries are copied from build-fuzz/fuzz to CAMPAIGN_DIR/bin at
# the start, so rebuilding does not touch a running campaign (build first:
# FUZZ_SECONDS=1 fuzz/run_fuzzers.sh). PAUSE_UTC=HH:MM-HH:MM stops every
# fuzzer of the campaign (SIGSTOP) in that window of each day and resumes
# them after it. CAMPAIGN_TARGETS (names separated by spaces) runs only those
# (another campaign may run the others: each target's files are its own).
# bin/<target>.commit names the commit its binary was built from (with
# "-dirty" when the tree had changes); status shows it.
set -uo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)
dir=${CAMPAIGN_DIR:-/work/fuzz-campaign}
chunk=${CHUNK_SECONDS:-600}

declare -A goal=(
  [fuzz_config_area]=20000000 [fuzz_whole_run]=20000000 [fuzz_partition_table]=5000000
  [fuzz_ldm_file]=5000000 [fuzz_private_header]=5000000 [fuzz_toc]=5000000 [fuzz_ldm_edits]=5000000)
declare -A maxlen=(
  [fuzz_private_header]=4096 [fuzz_toc]=4096 [fuzz_config_area]=65536 [fuzz_ldm_file]=1048576
  [fuzz_ldm_edits]=2048 [fuzz_partition_table]=131072 [fuzz_whole_run]=2048)
# Fastest first in each lane; the whole run last.
lane_a=(fuzz_config_area fuzz_ldm_file fuzz_toc fuzz_ldm_edits)
lane_b=(fuzz_partition_table fuzz_private_header fuzz_whole_run)
all=("${lane_a[@]}" "${lane_b[@]}")
if [[ ${1:-} != status && -n ${CAMPAIGN_TARGETS:-} ]]; then
  pick() { local t out=(); for t in "$@"; do [[ " $CAMPAIGN_TARGETS " == *" $t "* ]] && out+=("$t"); done; echo "${out[*]}"; }
  read -r -a lane_a <<<"$(pick "${lane_a[@]}")"
  read -r -a lane_b <<<"$(pick "${lane_b[@]}")"
fi

runs_done() { cat "$dir/$1.runs" 2>/dev/null || echo 0; }

status() {
  printf '%-22s %12s %12s %7s %7s %-14s %s\n' target runs goal cov ft commit findings
  for target in "${all[@]}"; do
    local done last cov ft running=0 findings
    done=$(runs_done "$target")
    # The chunk that is running: its last status line.
    last=$(awk '/^== .* chunk:/ { line = "" } /^#[0-9]+/ { line = $0 } END { print line }' \
      "$dir/$target.log" 2>/dev/null)
    if [[ -f $dir/$target.running ]]; then
      running=$(sed -E 's/^#([0-9]+).*/\1/' <<<"$last")
      [[ $running =~ ^[0-9]+$ ]] || running=0
    fi
    # Coverage: the last status line of any chunk.
    local any
    any=$(grep -a -E '^#[0-9]+.*cov: ' "$dir/$target.log" 2>/dev/null | tail -1)
    cov=$(grep -o 'cov: [0-9]*' <<<"$any" | grep -o '[0-9]*')
    ft=$(grep -o 'ft: [0-9]*' <<<"$any" | grep -o '[0-9]*')
    findings=$(find "$dir" -maxdepth 1 -regextype egrep -regex ".*/$target-(crash|timeout|leak|oom)-.*" -type f \
      -printf '%f ' 2>/dev/null)
    printf '%-22s %12s %12s %7s %7s %-14s %s\n' "$target" $((done + running)) "${goal[$target]}" "${cov:--}" "${ft:--}" \
      "$(cat "$dir/bin/$target.commit" 2>/dev/null || echo -)" "${findings:-none}"
  done
}

if [[ ${1:-} == status ]]; then
  status
  exit 0
fi

mkdir -p "$dir/bin"
commit=$(git rev-parse --short HEAD)
git diff --quiet HEAD -- src fuzz tests/support ':!fuzz/*.sh' ':!fuzz/*.md' || commit+=-dirty
for target in "${lane_a[@]}" "${lane_b[@]}"; do
  [[ -n $target ]] || continue
  cp "build-fuzz/fuzz/$target" "$dir/bin/$target.new" && mv "$dir/bin/$target.new" "$dir/bin/$target"
  echo "$commit" >"$dir/bin/$target.commit"
  rm -f "$dir/$target.running"  # left by a campaign that was killed
  mkdir -p "$dir/$target"
done
export ASAN_OPTIONS=${ASAN_OPTIONS:-malloc_context_size=0}

# Runs one target chunk by chunk until its goal or a finding.
fuzz_target() {
  local target=$1
  while :; do
    local done remaining code executed log=$dir/$target.log
    done=$(runs_done "$target")
    remaining=$((goal[$target] - done))
    ((remaining > 0)) || return 0
    # A finding waits for its fix (libFuzzer's slow-unit-* notes are not findings).
    if compgen -G "$dir/$target-[cl]*" >/dev/null || compgen -G "$dir/$target-[ot][oi]*" >/dev/null; then return 1; fi
    local seeds=("$repo/fuzz/corpus/$target")
    [[ -d $repo/build-fuzz/corpus/$target ]] && seeds+=("$repo/build-fuzz/corpus/$target")
    local start
    start=$(($(wc -l <"$log" 2>/dev/null || echo 0) + 1))
    echo "== $(date -u '+%F %T') chunk: -runs=$remaining -max_total_time=$chunk" >>"$log"
    nice -n 19 "$dir/bin/$target" -runs="$remaining" -max_total_time="$chunk" -max_len="${maxlen[$target]}" \
      -timeout=10 -rss_limit_mb=4096 -close_fd_mask=3 -print_final_stats=1 -artifact_prefix="$dir/$target-" \
      "$dir/$target" "${seeds[@]}" >>"$log" 2>&1 &
    local pid=$!
    echo "$pid" >"$dir/$target.running"
    wait "$pid"
    code=$?
    rm -f "$dir/$target.running"
    # The chunk's count: its final statistics, else (a finding) its last status line.
    executed=$(tail -n +"$start" "$log" | grep -a -o 'stat::number_of_executed_units: *[0-9]*' | grep -o '[0-9]*$' | tail -1)
    [[ -n $executed ]] || executed=$(tail -n +"$start" "$log" | grep -a -E -o '^#[0-9]+' | tail -1 | tr -d '#')
    echo $((done + ${executed:-0})) >"$dir/$target.runs"
    if ((code != 0)); then
      echo "== finding (exit $code)" >>"$dir/$target.log"
      return 1
    fi
  done
}

lane() {
  local target
  for target in "$@"; do [[ -n $target ]] && fuzz_target "$target"; done
}

# Stops and resumes the campaign's fuzzers in the PAUSE_UTC window.
pauser() {
  local from=${PAUSE_UTC%-*} to=${PAUSE_UTC#*-} stopped=0 now signal file
  while :; do
    now=$(date -u +%H:%M)
    signal=
    # Inside the window every fuzzer is stopped again (a chunk may have just
    # started); after it, they are resumed once.
    if [[ ! $now < $from && $now < $to ]]; then signal=STOP; elif ((stopped)); then signal=CONT; fi
    if [[ -n $signal ]]; then
      for file in "$dir"/*.running; do
        [[ -f $file ]] && kill -"$signal" "$(cat "$file")" 2>/dev/null
      done
      if [[ $signal == STOP ]]; then
        ((stopped)) || echo "== $(date -u '+%F %T') STOP" >>"$dir/pauser.log"
        stopped=1
      else
        echo "== $(date -u '+%F %T') CONT" >>"$dir/pauser.log"
        stopped=0
      fi
    fi
    sleep 20
  done
}

if [[ -n ${PAUSE_UTC:-} ]]; then pauser & pauser_pid=$!; fi
lane "${lane_a[@]}" & a=$!
lane "${lane_b[@]}" & b=$!
wait $a $b
[[ -n ${pauser_pid:-} ]] && kill "$pauser_pid"
status
