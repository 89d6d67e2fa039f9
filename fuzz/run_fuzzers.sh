#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time
# (FUZZ_SECONDS, default 60), two at a time, from the committed corpus
# (fuzz/corpus, read only) and, when the shared test data is there, seeds cut
# from the real disk images; what the fuzzer adds goes to build-fuzz/corpus.
# Prints one line per target, "NAME: N executions, no finding"; any crash,
# leak, timeout or sanitizer finding fails the run and shows the log's end.
# FUZZ_TARGETS (names separated by spaces) runs only those.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-60}
tarball=${KESTRAND_TARBALL:-../shared/testdata/ldm-2003r2.tar.xz}

# name and the longest input it is given
declare -A maxlen=(
  [fuzz_private_header]=4096 [fuzz_toc]=4096 [fuzz_config_area]=65536 [fuzz_ldm_file]=1048576
  [fuzz_ldm_edits]=2048 [fuzz_partition_table]=131072 [fuzz_whole_run]=2048)
order=(fuzz_private_header fuzz_toc fuzz_config_area fuzz_ldm_file fuzz_ldm_edits fuzz_partition_table
       fuzz_whole_run)
read -r -a targets <<<"${FUZZ_TARGETS:-${order[*]}}"

CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKESTRAND_FUZZ=ON -DKESTRAND_TESTS=OFF >/dev/null
cmake --build build-fuzz -j2 >/dev/null

# Findings are replayed with the corpus replay (ctest), so the allocation
# stacks that make every malloc several times slower are left out.
export ASAN_OPTIONS=${ASAN_OPTIONS:-malloc_context_size=0}
corpus=build-fuzz/corpus
for target in "${order[@]}"; do mkdir -p "$corpus/$target"; done
if [[ -f "$tarball" ]]; then
  fuzz/make_seeds.sh "$corpus/fuzz_config_area" "$tarball" >/dev/null
  images=$(mktemp -d)
  trap 'rm -rf "$images"' EXIT
  tar -xJf "$tarball" -C "$images"
  area=$((102400 - 2048))
  for image in "$images"/*.img; do
    name=$(basename "$image" .img)
    dd if="$image" of="$corpus/fuzz_private_header/$name" bs=512 skip=$((area + 2047)) count=1 2>/dev/null
    dd if="$image" of="$corpus/fuzz_toc/$name" bs=512 skip=$((area + 1)) count=1 2>/dev/null
    # The last 200 sectors: both private headers and the primary table (the
    # target puts a short input at the end of a 1 MiB file).
    dd if="$image" of="$corpus/fuzz_ldm_file/$name" bs=512 skip=$((area + 2048 - 200)) count=200 2>/dev/null
  done
fi

run() {
  local target=$1
  local log=build-fuzz/$target.log
  if build-fuzz/fuzz/"$target" -max_total_time="$seconds" -max_len="${maxlen[$target]}" -timeout=10 \
      -rss_limit_mb=4096 -close_fd_mask=3 -print_final_stats=1 -artifact_prefix="build-fuzz/$target-" "$corpus/$target" "fuzz/corpus/$target" \
      >"$log" 2>&1; then
    echo "$target: $(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$') executions, no finding"
  else
    echo "$target: FINDING (see below)"
    tail -40 "$log"
    return 1
  fi
}

status=0
for ((i = 0; i < ${#targets[@]}; i += 2)); do
  run "${targets[i]}" & a=$!
  b=
  if ((i + 1 < ${#targets[@]})); then run "${targets[i + 1]}" & b=$!; fi
  wait $a || status=1
  if [[ -n $b ]]; then wait $b || status=1; fi
done
exit $status
