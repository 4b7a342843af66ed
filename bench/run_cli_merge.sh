#!/bin/bash
# End-to-end merge of a 5-frame JPEG bracket (the demo's renderer at
# 6000x4000, 24 megapixels) by `effects merge`, beside Debian's pfstools
# doing the same job in the same run: pfsinme of the frames, pfshdrcalibrate
# with the fixed gamma response and no calibration, pfsout to .hdr. Wall
# time and peak memory come from /usr/bin/time -v.
#   bench/run_cli_merge.sh [WxH] [work folder]
set -euo pipefail
cd "$(dirname "$0")/.."
size=${1:-6000x4000}
work=${2:-build/release/cli-bench}

cmake --preset release >/dev/null
cmake --build --preset release -j"${JOBS:-2}" --target effects_cli effects_reinhard >/dev/null
effects=build/release/effects
mkdir -p "$work"
# Frames of this size already there are reused.
"$effects" info "$work/frame5.jpg" 2>/dev/null | grep -q ": $size, JPEG" ||
  "$effects" demo -o "$work" --size "$size" --frames-only -q

# Runs a command under /usr/bin/time -v; prints seconds and peak MB.
measure() {
  local log; log=$(mktemp)
  /usr/bin/time -v "$@" 2>"$log" >/dev/null || { cat "$log" >&2; exit 1; }
  awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, t, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + t[i] }
              /Maximum resident set size/ { kb = $2 }
              END { printf "%.2f %.0f\n", s, kb / 1024 }' "$log"
  rm -f "$log"
}

frames=("$work"/frame{1..5}.jpg)
read -r w h <<<"${size/x/ }"
float_frame_mb=$(( w * h * 12 / 1048576 ))
read -r t_effects m_effects < <(measure "$effects" merge "${frames[@]}" -o "$work/effects.hdr" -q)
read -r t_effects_na m_effects_na < <(measure "$effects" merge "${frames[@]}" -o "$work/effects.hdr" -q --no-align)
read -r t_pfs m_pfs < <(measure bash -c 'pfsinme "$@" 2>/dev/null | pfshdrcalibrate -r gamma -c none | pfsout "'"$work"'/pfs.hdr"' _ "${frames[@]}")

printf "5 JPEG frames of %s; one float RGB frame = %d MB; OMP_NUM_THREADS=%s\n" "$size" "$float_frame_mb" "${OMP_NUM_THREADS:-default}"
printf "%-44s %9s %9s %9s\n" "pipeline" "seconds" "peak MB" "speed-up"
printf "%-44s %9.2f %9d %8.2fx\n" "effects merge (align + merge + write)" "$t_effects" "$m_effects" "$(echo "$t_pfs / $t_effects" | bc -l)"
printf "%-44s %9.2f %9d %8.2fx\n" "effects merge --no-align" "$t_effects_na" "$m_effects_na" "$(echo "$t_pfs / $t_effects_na" | bc -l)"
printf "%-44s %9.2f %9d %8s\n" "pfsinme | pfshdrcalibrate -c none | pfsout" "$t_pfs" "$m_pfs" "1.00x"
