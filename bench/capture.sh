#!/usr/bin/env bash
# Capture figures on the real data: for one stretch of each scene, the capture's frame rate
# against the bare drawing rate of the same frames (same run, bench/capturerate), at 1280 x 720
# and 1920 x 1080, 30 fps. With "whole", also the whole demo captured by build/capture at
# 1280 x 720, 30 fps and at 1920 x 1080, 60 fps: wall time, processor time (every thread) and
# file size. The whole runs take long under a software renderer; `make bench` leaves them out.
#   Usage: bench/capture.sh [build directory] [whole]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$root"

echo "== capture: frames per second against bare drawing (llvmpipe: $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg))"
for size in 1280x720 1920x1080; do
  for stretch in "intro 1000 5000" "riderideranke 45000 49000" "guillotine 61500 65500" "solardistrict 76000 80000" \
                 "credits 123000 127000"; do
    set -- $stretch
    echo "-- $1 ($2 to $3 ms)"
    "$build/bench/capturerate" "$2" "$3" 30 "$size" | grep -v '^Cam: '
  done
done

[ "${2:-}" = whole ] || exit 0
for run in "1280x720 30" "1920x1080 60"; do
  set -- $run
  echo "== whole demo at $1, $2 fps"
  /usr/bin/time -f "wall %e s, processor %U s user + %S s system, peak memory %M KiB" \
    "$build/capture" --size "$1" --fps "$2" --output "$work/demo.mp4" 2>&1 | grep -v -E 'frames \([0-9]{1,2}%\)' || true
  echo "file: $(stat -c %s "$work/demo.mp4") bytes"
  ffprobe -v error -show_entries format=duration:stream=codec_name,nb_frames -of compact "$work/demo.mp4"
done
