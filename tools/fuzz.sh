#!/usr/bin/env bash
# Builds the libFuzzer target of the Radiance readers with clang 14 (address
# and undefined-behaviour sanitizers), writes its seed corpus with the
# library's writers and runs it for the given number of seconds (default 60).
# The corpus grows in build/fuzz/corpus and is kept between runs.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
tools/install-deps.sh clang-14 libclang-rt-14-dev libomp-14-dev
cmake -S fuzz -B build/fuzz -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/fuzz -j2
mkdir -p build/fuzz/seeds build/fuzz/corpus
build/fuzz/radiance_seeds build/fuzz/seeds
# The readers' messages go to the error stream; -close_fd_mask=2 keeps them
# out of the log while libFuzzer and the sanitizers still report.
build/fuzz/radiance_fuzz -max_total_time="$seconds" -close_fd_mask=2 -rss_limit_mb=2048 -timeout=20 \
    -print_final_stats=1 build/fuzz/corpus build/fuzz/seeds
