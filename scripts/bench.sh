#!/usr/bin/env bash
# Runs every benchmark program from the test fixture directory, where the program's globals
# find their data/ (null sound output, small textures).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:-build}" && pwd)
cd "$build/tests/unitfixture"
for bench in "$build"/bench/*_bench; do
  [ -x "$bench" ] || continue
  echo "== $(basename "$bench")"
  "$bench"
done

# From a key the sync editor sends to the first picture that shows it (a stand-in editor)
echo "== synclatency"
"$build/bench/synclatency" 40

# Whole-program figures on the real data: scene frame rates, start-up time, screenshots
bash "$here/../bench/scenes.sh" "$build"

# The release archive's size and start-up against the build tree's
(cd "$here/.." && bash bench/release.sh "$build")

# The capture's rate against bare drawing (the whole-demo captures: bench/capture.sh <build> whole)
bash "$here/../bench/capture.sh" "$build"

# The fuzz targets, a minute each, in their own clang build (scripts/fuzz.sh; not in `make test`)
bash "$here/fuzz.sh" 60
