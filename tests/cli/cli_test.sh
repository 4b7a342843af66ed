#!/usr/bin/env bash
# End-to-end checks of the built effects command, one case per run:
#   cli_test.sh CASE EFFECTS RADIANCE_ERROR DATA_DIR WORK_DIR FIXTURES PLUGIN
# Exit 0 passes, 77 skips (data or pfstools absent), anything else fails.
set -uo pipefail

case_name=$1 effects=$2 radiance_error=$3 data=$4 work=$5/$1 fixtures=$6 plugin=$7
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1

fail() { echo "FAIL: $*" >&2; exit 1; }

# Runs the command expecting status 2 and one stderr line matching $1;
# the rest are the command's arguments.
expect_refusal() {
  local pattern=$1; shift
  "$effects" "$@" >out.txt 2>err.txt
  local status=$?
  [ "$status" -eq 2 ] || fail "'$*' gave status $status, not 2: $(cat err.txt)"
  [ "$(wc -l <err.txt)" -eq 1 ] || fail "'$*' wrote more than one line: $(cat err.txt)"
  grep -q -- "$pattern" err.txt || fail "'$*' said '$(cat err.txt)', expected '$pattern'"
}

# The first pixel of an 8-bit image as B G R A bytes (through a VZM file).
first_pixel() { "$effects" convert "$1" px.vzm >/dev/null && od -An -tu1 -j16 -N4 px.vzm | xargs; }

# Exposure times of a bracketed set in file order, comma-separated.
times_of() { awk '{print $2}' "$1/times.txt" | paste -sd, -; }
frames_of() { awk -v d="$1" '{print d "/" $1}' "$1/times.txt"; }

case $case_name in
demo)
  # The demo's shifts equal the true ones and its radiance matches the scene.
  "$effects" demo -o out --size 640x448 --quiet >demo.txt 2>err.txt || fail "demo failed: $(cat err.txt)"
  grep -q "all shifts found" demo.txt || fail "shifts differ: $(cat demo.txt)"
  [ -s err.txt ] && fail "stderr not empty when not a terminal: $(cat err.txt)"
  for f in out/frame{1..5}.jpg out/merged.hdr out/truth.hdr out/preview.png; do [ -s "$f" ] || fail "no $f"; done
  # Well exposed: true radiance coded between 32 and 224 by some frame (1/2048 .. 1/8 s).
  "$radiance_error" out/merged.hdr out/truth.hdr 2.46 17248 8 0.05 || fail "radiance off the scene"
  # The frames carry their exposure times: merge reads them from EXIF.
  "$effects" merge out/frame*.jpg -o again.hdr >merge.txt 2>&1 || fail "merge of the demo frames: $(cat merge.txt)"
  grep -q "1/2048 s  shift +3,-2" merge.txt || fail "EXIF time or shift missing: $(cat merge.txt)"
  grep -Eq "dynamic range (1[4-9]|2[0-9])\.[0-9] stops" merge.txt || fail "under 14 stops: $(cat merge.txt)"
  ;;
datasets)
  # Each bracketed photo set merges, and pfstools reads the result.
  [ -d "$data" ] || exit 77
  command -v pfsin >/dev/null || exit 77
  found=0
  for set in "$data"/brackets-*; do
    [ -f "$set/times.txt" ] || continue
    found=1
    mapfile -t frames < <(frames_of "$set")
    out=$(basename "$set").hdr
    "$effects" merge "${frames[@]}" --times "$(times_of "$set")" -o "$out" -q >log.txt 2>&1 ||
      fail "merge of $set: $(cat log.txt)"
    grep -q "dynamic range" log.txt || fail "no range report for $set"
    pfsin "$out" | pfsout "$out.pfs.hdr" || fail "pfsin cannot read $out"
  done
  [ "$found" -eq 1 ] || exit 77
  ;;
bad_input)
  # Every refusal is one line with status 2 and leaves an existing output as it was.
  "$effects" demo -o f --size 96x64 --frames-only -q >/dev/null || fail "demo frames"
  echo "old result" >out.hdr
  echo "not an image" >text.jpg
  head -c $(( $(stat -c %s f/frame1.jpg) / 2 )) f/frame1.jpg >truncated.jpg
  "$effects" convert f/frame1.jpg small.png >/dev/null || fail "convert"
  "$effects" demo -o g --size 80x64 --frames-only -q >/dev/null || fail "demo frames"
  "$effects" convert f/frame2.jpg noexif.png >/dev/null || fail "convert"
  expect_refusal "missing.jpg: cannot open" merge f/frame1.jpg missing.jpg -o out.hdr
  expect_refusal "text.jpg: unsupported image" merge f/frame1.jpg text.jpg -o out.hdr
  expect_refusal "truncated.jpg: corrupt JPEG" merge f/frame1.jpg truncated.jpg -o out.hdr --times 1,2
  expect_refusal "g/frame2.jpg: 80x64 frame, but f/frame1.jpg is 96x64" merge f/frame1.jpg g/frame2.jpg -o out.hdr
  expect_refusal "noexif.png: no EXIF exposure time" merge f/frame1.jpg noexif.png -o out.hdr
  expect_refusal "same exposure time" merge f/frame1.jpg f/frame2.jpg -o out.hdr --times 1/60,1/60
  expect_refusal "2 exposure times for 3 frames" merge f/frame1.jpg f/frame2.jpg f/frame3.jpg -o out.hdr --times 1,2
  expect_refusal "a single frame" merge f/frame1.jpg -o out.hdr
  expect_refusal "output folder nowhere does not exist" merge f/frame1.jpg f/frame2.jpg -o nowhere/out.hdr
  expect_refusal "output folder nowhere does not exist" merge f/frame1.jpg f/frame2.jpg -o out.hdr --preview nowhere/p.png
  expect_refusal "is not a positive exposure time" merge f/frame1.jpg f/frame2.jpg -o out.hdr --times 1,zero
  expect_refusal "text.jpg: unsupported image" convert text.jpg out.png
  expect_refusal "missing.hdr: cannot open" tonemap missing.hdr -o out.png
  expect_refusal "missing.hdr: cannot open" info missing.hdr
  [ "$(cat out.hdr)" = "old result" ] || fail "the existing output was touched"
  [ -z "$(ls -A | grep '^\.')" ] || fail "temporary files left: $(ls -A)"
  # A good merge replaces it whole.
  "$effects" merge f/frame*.jpg -o out.hdr -q >/dev/null || fail "merge"
  head -c 10 out.hdr | grep -q "#?RADIANCE" || fail "out.hdr not replaced"
  ;;
convert)
  # Round trips: 8-bit through TIFF, PNG and VZM; HDR through VZM and back.
  "$effects" demo -o f --size 120x80 --frames-only -q >/dev/null || fail "demo frames"
  "$effects" convert f/frame3.jpg a.png >/dev/null || fail "to png"
  "$effects" convert a.png b.tif >/dev/null || fail "to tiff"
  "$effects" convert b.tif c.png >/dev/null || fail "tiff to png"
  "$effects" convert a.png a.vzm >/dev/null || fail "png to vzm"
  "$effects" convert c.png c.vzm >/dev/null || fail "png to vzm"
  cmp -s a.vzm c.vzm || fail "PNG -> TIFF -> PNG changed pixels"
  "$effects" convert a.vzm d.png >log.txt || fail "vzm to png"
  grep -q "VZM, 8-bit B,G,R,A" log.txt || fail "vzm read as: $(cat log.txt)"
  "$effects" merge f/frame*.jpg -o m.hdr -q >/dev/null || fail "merge"
  "$effects" convert m.hdr m.vzm >log.txt || fail "hdr to vzm"
  grep -q "float B,G,R,A" log.txt || fail "hdr to vzm said: $(cat log.txt)"
  "$effects" convert m.vzm n.hdr >/dev/null || fail "vzm to hdr"
  "$effects" convert n.hdr n.vzm >/dev/null || fail "hdr to vzm"
  cmp -s m.vzm n.vzm || fail "HDR -> VZM -> HDR changed pixels"
  "$effects" convert m.hdr shown.jpg >log.txt || fail "hdr to jpeg"
  grep -q "tone-mapped" log.txt || fail "hdr to jpeg said: $(cat log.txt)"
  ;;
info_tonemap)
  "$effects" demo -o f --size 160x96 -q >/dev/null || fail "demo"
  "$effects" info f/merged.hdr --histogram h.png >info.txt || fail "info"
  grep -q "160x96, Radiance HDR" info.txt || fail "info said: $(cat info.txt)"
  grep -q "#?RADIANCE" info.txt || fail "no header lines: $(cat info.txt)"
  grep -q "dynamic range: " info.txt || fail "no range: $(cat info.txt)"
  "$effects" info h.png | grep -q "640x320, PNG, 8-bit" || fail "histogram plot not a PNG"
  "$effects" info f/frame1.jpg | grep -q "exposure time: 1/2048 s" || fail "no EXIF time in info"
  for op in reinhard drago; do
    "$effects" tonemap f/merged.hdr -o "$op.png" --operator $op >/dev/null || fail "tonemap $op"
    "$effects" info "$op.png" | grep -q "160x96, PNG" || fail "tonemap $op output"
  done
  "$effects" tonemap f/merged.hdr -o k.png --key 0.3 >/dev/null || fail "tonemap with a key"
  cmp -s reinhard.png k.png && fail "--key changed nothing"
  for c in merge demo info tonemap convert; do "$effects" $c --help | grep -q "usage: effects $c" || fail "$c --help"; done
  ;;
sixteen_bit)
  # 16-bit PNG and TIFF samples are reduced to 8 bits; grey PNG becomes grey B, G, R.
  "$fixtures" . || fail "fixtures"
  [ "$(first_pixel rgb16.png)" = "20 19 18 255" ] || fail "16-bit PNG gave $(first_pixel rgb16.png)"
  [ "$(first_pixel rgb16.tif)" = "20 19 18 255" ] || fail "16-bit TIFF gave $(first_pixel rgb16.tif)"
  [ "$(first_pixel grey8.png)" = "77 77 77 255" ] || fail "grey PNG gave $(first_pixel grey8.png)"
  "$effects" info rgb16.png | grep -q "7x5, PNG, 16-bit (reduced to 8 bits)" || fail "info of a 16-bit PNG"
  "$effects" info rgb16.tif | grep -q "7x5, TIFF, 16-bit (reduced to 8 bits)" || fail "info of a 16-bit TIFF"
  "$effects" merge rgb16.png rgb16.tif -o m.hdr --times 1,2 --no-align >/dev/null || fail "merge of 16-bit frames"
  ;;
options)
  # Each merge option reaches the pipeline, and bad values are refused.
  "$effects" demo -o f --size 128x96 --frames-only -q >/dev/null || fail "demo frames"
  "$effects" merge f/frame*.jpg -o a.hdr --no-align >a.txt || fail "--no-align"
  grep -q "frame 1: f/frame1.jpg  1/2048 s  shift +0,+0 (not aligned)" a.txt || fail "--no-align said: $(cat a.txt)"
  "$effects" merge f/frame*.jpg -o b.hdr --reference 1 >b.txt || fail "--reference"
  grep -q "frame 1: f/frame1.jpg  1/2048 s  shift +0,+0$" b.txt || fail "--reference 1 said: $(cat b.txt)"
  grep -q "frame 3: f/frame3.jpg  1/128 s  shift -3,+2$" b.txt || fail "--reference 1 said: $(cat b.txt)"
  "$effects" merge f/frame*.jpg -o c.hdr --max-shift 0 >c.txt || fail "--max-shift"
  grep -q "frame 1: f/frame1.jpg  1/2048 s  shift +0,+0$" c.txt || fail "--max-shift 0 said: $(cat c.txt)"
  "$effects" merge f/frame*.jpg -o d.hdr >/dev/null || fail "defaults"
  "$effects" merge f/frame*.jpg -o e.hdr --weights sine >/dev/null || fail "--weights sine"
  "$effects" merge f/frame*.jpg -o g.hdr --response linear >/dev/null || fail "--response linear"
  cmp -s d.hdr e.hdr && fail "--weights sine changed nothing"
  cmp -s d.hdr g.hdr && fail "--response linear changed nothing"
  "$effects" merge f/frame*.jpg -o h.hdr --times 1/2048,1/512,1/128,1/32,1/8 >/dev/null || fail "--times"
  cmp -s d.hdr h.hdr || fail "--times equal to the EXIF times gave another result"
  "$effects" merge f/frame*.jpg -o p.hdr --preview p.png --tonemap "$plugin" >/dev/null || fail "--tonemap PATH"
  "$effects" tonemap d.hdr -o q.png --plugin "$plugin" >/dev/null || fail "--plugin"
  "$effects" tonemap d.hdr -o r.png >/dev/null || fail "tonemap"
  cmp -s q.png r.png || fail "the plug-in by path and by name differ"
  expect_refusal "neither triangle nor sine" merge f/frame*.jpg -o x.hdr --weights box
  expect_refusal "neither gamma nor linear" merge f/frame*.jpg -o x.hdr --response log
  expect_refusal "frame 9 of 5" merge f/frame*.jpg -o x.hdr --reference 9
  expect_refusal "not a whole number" merge f/frame*.jpg -o x.hdr --max-shift many
  expect_refusal "unknown option '--fast'" merge f/frame*.jpg -o x.hdr --fast
  expect_refusal "no output file" merge f/frame*.jpg
  expect_refusal "needs a value" merge f/frame*.jpg -o
  expect_refusal "neither reinhard nor drago" tonemap d.hdr -o x.png --operator filmic
  expect_refusal "tone mapping needs HDR input" tonemap f/frame1.jpg -o x.png
  expect_refusal "unknown output kind" convert d.hdr x.bmp
  [ ! -e x.hdr ] && [ ! -e x.png ] || fail "a refused command wrote output"
  ;;
progress)
  # Progress shows on a terminal, and not with --quiet.
  command -v script >/dev/null || exit 77
  "$effects" demo -o f --size 96x64 --frames-only -q >/dev/null || fail "demo frames"
  script -qec "$effects merge f/frame1.jpg f/frame2.jpg -o a.hdr" /dev/null >tty.txt || fail "merge on a terminal"
  grep -q "merging 2/2" tty.txt || fail "no progress on a terminal: $(cat tty.txt)"
  script -qec "$effects merge f/frame1.jpg f/frame2.jpg -o a.hdr --quiet" /dev/null >quiet.txt || fail "quiet merge"
  grep -q "merging [0-9]/" quiet.txt && fail "progress despite --quiet"
  ;;
*)
  fail "unknown case $case_name"
  ;;
esac
exit 0
