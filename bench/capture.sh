#!/usr/bin/env bash
# Capture figures on the real data: for one stretch of each scene, the capture's frame rate
# against the bare drawing rate of the same frames and the cost of the unseen frames before a
# late start (same run, bench/capturerate), at 1280 x 720 and 1920 x 1080, 30 fps, quality
# good. With "whole", also the whole demo captured by build/capture: at 1280 x 720, 30 fps,
# fast, and at 1920 x 1080, 60 fps, in each quality and as the lossless master: wall time,
# processor time (every thread), peak memory and file size. The whole runs take long under a
# software renderer; `make bench` leaves them out.
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
  echo "== whole demo at $size, $fps fps, $([ "$extension" = mkv ] && echo lossless || echo "$quality") ($(cut -d' ' -f1-3 /proc/loadavg))"
  /usr/bin/time -f "wall %e s, processor %U s user + %S s system, peak memory %M KiB" \
    "$build/capture" --size "$size" --fps "$fps" --quality "$quality" --output "$output" 2>&1 |
    grep -v -E 'frames \([0-9]{1,2}%\)|^Cam: ' || true
  echo "file: $(stat -c %s "$output") bytes"
  ffprobe -v error -show_entries format=duration:stream=codec_name,profile,nb_frames -of compact "$output"
  rm -f "$output"
done
