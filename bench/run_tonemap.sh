#!/bin/sh
# Builds the release preset's tone-mapping benchmark and prints the median
# time of each operator on a 3840x2160 float image, with OpenCV's operator on
# the same image in the same run as the baseline and the speed-up over it.
#   EFFECTS_BENCH_THREADS=2 JOBS=1 bench/run_tonemap.sh [extra Google Benchmark flags]
set -eu
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release -j"${JOBS:-2}" --target effects_tonemap_bench effects_reinhard effects_drago

out=$(mktemp)
trap 'rm -f "$out"' EXIT
build/release/bench/effects_tonemap_bench --benchmark_out="$out" --benchmark_out_format=json "$@" >/dev/null

jq -r '"threads: \(.context.threads)  image: \(.context.image)",
       (.benchmarks[] | select(.aggregate_name == "median")
        | [(.run_name | sub("/repeats:.*$"; "") | sub("/real_time$"; "")), (.real_time | tostring)] | @tsv)' "$out" |
awk -F '\t' 'NR == 1 { print; printf "%-26s %10s %10s\n", "name", "ms", "speed-up"; next }
             { ms[$1] = $2; order[n++] = $1 }
             END {
               base["Effects/reinhard"] = "OpenCV/TonemapReinhard"; base["Effects/drago"] = "OpenCV/TonemapDrago"
               for (i = 0; i < n; i++) {
                 name = order[i]; b = base[name]
                 if (b != "" && (b in ms)) printf "%-26s %10.1f %9.2fx\n", name, ms[name], ms[b] / ms[name]
                 else printf "%-26s %10.1f\n", name, ms[name]
               }
             }'
