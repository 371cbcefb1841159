#!/usr/bin/env bash
# Whole-program figures on the real data, not the test fixture: each scene's frame rate and
# processor time per frame at 800 x 600 and 1920 x 1080 (debug off, the picture filling the
# window, no vertical sync), the demo's start-up time, the time from saving a picture or a
# scene's source to seeing it, and the demo at chosen moments on a contact sheet made from the
# capture program's frames (<build>/bench/screenshots/screenshots.png).
# Needs a display: `make bench` provides one.   Usage: bench/scenes.sh [build directory]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
seconds=${SCENE_SECONDS:-3}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "== scenes: frames per second and processor time per frame (llvmpipe: $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg))"
for size in 800x600 1920x1080; do
  mkdir -p "$work/$size"
  cp -r "$root/data" "$work/$size/data"
  # Later assignments win; "fill" is no letterbox ratio, so the picture fills the window.
  printf '\nDEBUG = false\nWIDTH = %s\nHEIGHT = %s\nASPECTRATIO = "fill"\nFULLSCREEN = false\nVSYNC = false\nAUDIO = "nosound"\n' \
    "${size%x*}" "${size#*x}" >>"$work/$size/data/config.lua"
  # Each scene from a moment where it shows its busiest picture
  for scene in "intro 1000" "riderideranke 45000" "guillotine 61000" "solardistrict 76000" "greets 101000" "credits 123000"; do
    (cd "$work/$size" && "$build/bench/scenebench" $scene "$seconds" | grep -v '^Cam: ')
  done
done

echo "== start-up"
"$build/bench/startup" "$root/data" 5

echo "== reload on save"
"$build/bench/reloadtime" "$root/data" 10

echo "== screenshots"
bash "$root/bench/shots.sh" "$build"
echo "contact sheet: $build/bench/screenshots/screenshots.png"
