#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time
# (FUZZ_SECONDS, default 60), two at a time, seeded from the real disk images
# when the shared test data is there. Any crash, leak, timeout or sanitizer
# finding fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-60}
tarball=${KESTRAND_TARBALL:-../shared/testdata/ldm-2003r2.tar.xz}

CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKESTRAND_FUZZ=ON -DKESTRAND_TESTS=OFF >/dev/null
cmake --build build-fuzz -j2

corpus=build-fuzz/corpus
mkdir -p "$corpus"/{fuzz_config_area,fuzz_private_header,fuzz_toc,fuzz_ldm_file}
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
    dd if="$image" of="$corpus/fuzz_ldm_file/$name" bs=512 skip=$area count=2048 2>/dev/null
  done
fi

run() {
  local target=$1 maxlen=$2
  local log=build-fuzz/$target.log
  if build-fuzz/fuzz/"$target" -max_total_time="$seconds" -max_len="$maxlen" -timeout=10 \
      -rss_limit_mb=4096 -close_fd_mask=3 -print_final_stats=1 "$corpus/$target" >"$log" 2>&1; then
    echo "$target: $(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$') executions, no finding"
  else
    echo "$target: FINDING (see below)"
    tail -40 "$log"
    return 1
  fi
}

status=0
run fuzz_private_header 4096 & a=$!
run fuzz_toc 4096 & b=$!
wait $a || status=1
wait $b || status=1
run fuzz_config_area 262144 & a=$!
run fuzz_ldm_file 1048576 & b=$!
wait $a || status=1
wait $b || status=1
exit $status
