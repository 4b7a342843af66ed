#!/bin/sh
# Builds the release preset's statistics benchmark and prints one line per
# row: name, milliseconds per call, vs_read (read-only pass seconds / member
# seconds, medians), the same ratio with the image flushed from the caches
# first (cold), and the target; a member under its target is flagged for
# each.
#   OMP_NUM_THREADS=2 bench/run_stats.sh [extra Google Benchmark flags]
set -eu
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release -j"${JOBS:-2}" --target effects_stats_bench

out=$(mktemp)
trap 'rm -f "$out"' EXIT
build/release/bench/effects_stats_bench --benchmark_min_time=0.3 \
    --benchmark_out="$out" --benchmark_out_format=json "$@" >/dev/null

jq -r '"threads: \(.context.omp_threads // env.OMP_NUM_THREADS // "default")",
       (.benchmarks[] | [(.name | sub("/manual_time$"; "")),
          ((.real_time * 100 | round) / 100 | tostring),
          (if .vs_read then ((.vs_read * 1000 | round) / 1000 | tostring) else "" end),
          (if .vs_read_cold then ((.vs_read_cold * 1000 | round) / 1000 | tostring) else "" end),
          (if (.target // 0) > 0 then (.target | tostring) else "" end),
          (if (.target // 0) > 0 and .vs_read < .target then "BELOW" else "" end),
          (if (.target // 0) > 0 and .vs_read_cold < .target then "BELOW" else "" end)]
        | @tsv)' "$out" |
awk -F '\t' 'NR == 1 { print; printf "%-32s %10s %9s %7s %7s  %-5s %-5s\n", "name", "ms/call", "vs_read", "cold", "target", "warm", "cold"; next }
             { printf "%-32s %10s %9s %7s %7s  %-5s %-5s\n", $1, $2, $3, $4, $5, $6, $7 }'
