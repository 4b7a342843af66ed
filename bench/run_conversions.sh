#!/bin/sh
# Builds the release preset's benchmark and prints one line per row of it:
# name, traffic in GB/s (10^9 bytes of src + dst per second), vs_memcpy and
# minor page faults per iteration. A conversion whose vs_memcpy is under its
# target (0.9 plain maps and RGBE decoders, 0.5 RGBE encoders, none for the
# gamma members) is flagged BELOW.
#   JOBS=1 bench/run_conversions.sh [extra Google Benchmark flags]
# OMP_NUM_THREADS sets the thread count of both the kernels and the memcpy.
set -eu
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release -j"${JOBS:-2}" --target effects_bench

out=$(mktemp)
trap 'rm -f "$out"' EXIT
build/release/bench/effects_bench --benchmark_min_time=0.3 \
    --benchmark_out="$out" --benchmark_out_format=json "$@" >/dev/null

jq -r '"threads: \(.context.omp_threads)  image: \(.context.image)  library: \(.context.effects_version)",
       (.benchmarks[] | [(.name | sub("/real_time$"; "")),
          ((.bytes_per_second / 1e9) * 100 | round / 100 | tostring),
          ((.vs_memcpy * 1000 | round) / 1000 | tostring),
          ((.["faults/iter"] * 10 | round) / 10 | tostring),
          (if (.target // 0) > 0 and .vs_memcpy < .target then "BELOW \(.target)" else "" end)]
        | @tsv)' "$out" |
awk -F '\t' 'NR == 1 { print; printf "%-32s %8s %10s %12s\n", "name", "GB/s", "vs_memcpy", "faults/iter"; next }
             { printf "%-32s %8s %10s %12s  %s\n", $1, $2, $3, $4, $5 }'
