#!/usr/bin/env bash
# Runs every benchmark program from the test fixture directory, where the program's globals
# find their data/ (null sound output, small textures).
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
cd "$build/tests/unitfixture"
for bench in "$build"/bench/*_bench; do
  [ -x "$bench" ] || continue
  echo "== $(basename "$bench")"
  "$bench"
done
