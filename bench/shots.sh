#!/usr/bin/env bash
# The demo at twelve moments on one contact sheet, from the capture program's frames: each
# moment is a capture of one frame at 60 fps (so what advances per drawn frame stands where a
# showing at 60 fps has it), and ffmpeg's tile filter lays the twelve out, four by three.
#   Usage: bench/shots.sh [build directory] [output directory: <build>/bench/screenshots]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
out=${2:-$build/bench/screenshots}
mkdir -p "$out"
cd "$root"
n=0
for ms in 2500 6000 12000 26000 34000 40000 47000 62500 63500 80000 110000 125000; do
  rm -rf "$out/$ms"
  mkdir -p "$out/$ms"
  "$build/capture" --from "$ms" --to "$((ms + 16))" --fps 60 --size 640x360 --output "$out/$ms/%d.png" 2>/dev/null
  ln -sf "$ms/0.png" "$out/$(printf %02d $n).png"
  n=$((n + 1))
done
ffmpeg -v error -y -i "$out/%02d.png" -vf tile=4x3:padding=8:color=0x2A2A2E -frames:v 1 "$out/screenshots.png"
