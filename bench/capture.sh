#!/usr/bin/env bash
# Capture figures on the real data: per scene, the capture's frame rate against bare drawing and
# the cost of the unseen frames before a late start (bench/capturerate, 720p and 1080p, 30 fps).
# With "whole" (long; `make bench` leaves it out), the whole demo at 720p30 fast and at 1080p60 in
# each quality and lossless: wall and processor time (every thread), peak memory, file size.
#   Usage: bench/capture.sh [build directory] [whole]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
mode=${2:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$root"

echo "== capture: frames per second against bare drawing (llvmpipe: $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg))"
for size in 1280x720 1920x1080; do
  for stretch in "intro 1000 5000" "riderideranke 45000 49000" "guillotine 61500 65500" "solardistrict 76000 80000" \
                 "credits 123000 127000"; do
    read -r scene from to <<< "$stretch"
    echo "-- $scene ($from to $to ms)"
    "$build/bench/capturerate" --from "$from" --to "$to" --fps 30 --size "$size" --output "$work/rate.mp4" |
      grep -v '^Cam: '
  done
done

[ "$mode" = whole ] || exit 0
for run in "1280x720 30 fast mp4" "1920x1080 60 fast mp4" "1920x1080 60 good mp4" "1920x1080 60 best mp4" \
           "1920x1080 60 good mkv"; do
  read -r size fps quality extension <<< "$run"
  output=$work/demo.$extension
  echo "== whole demo: $size, $fps fps, $quality, .$extension (load $(cut -d' ' -f1-3 /proc/loadavg))"
  /usr/bin/time -f "wall %e s, processor %U s user + %S s system, peak memory %M KiB" \
    "$build/capture" --size "$size" --fps "$fps" --quality "$quality" --output "$output" 2>&1 |
    grep -v -E 'frames \([0-9]{1,2}%\)|^Cam: ' || true
  echo "file: $(stat -c %s "$output") bytes"
  ffprobe -v error -show_entries format=duration:stream=codec_name,profile,nb_frames -of compact "$output"
  rm -f "$output"
done
