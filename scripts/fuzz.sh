#!/usr/bin/env bash
# Builds the fuzz targets (clang, libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer) in
# their own build directory and runs each for a bounded time from the unit test fixture, where
# the program's globals find their data/. Seeds and the inputs that once failed are in
# fuzz/corpus/<target>/ and are replayed first; what a run learns is kept in the build
# directory. A failing input is written to <build>/fuzz-failures/ and ends the script with 1.
# usage: scripts/fuzz.sh [seconds per target] [build dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
[ -n "${DISPLAY:-}" ] || exec bash "$root/scripts/with-display.sh" bash "$0" "$@"
seconds=${1:-60}
build=${2:-$root/build-fuzz}

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ -DDEMO_FUZZ=ON >/dev/null
cmake --build "$build" --target fuzz_png fuzz_timeline -j "$(nproc)" >/dev/null
build=$(cd "$build" && pwd)

# libFuzzer checks every input for leaks itself; the check at exit would only list what the GL
# and X libraries left behind in modules that are unloaded by then, which cannot be suppressed.
export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0:leak_check_at_exit=0"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
cd "$build/tests/unitfixture"
failed=0
for target in png timeline; do
  learned=$build/fuzz-corpus/$target
  mkdir -p "$learned" "$build/fuzz-failures"
  echo "== fuzz_$target for $seconds s"
  # libpng's complaints about broken input would drown the report: standard error is closed
  # for the target, libFuzzer and the sanitizers keep their own copy of it.
  if ! "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -print_final_stats=1 -close_fd_mask=2 \
      -artifact_prefix="$build/fuzz-failures/$target-" "$learned" "$root/fuzz/corpus/$target" \
      > "$build/fuzz-$target.log" 2>&1; then
    failed=1
  fi
  grep -E '^(Done|stat::number_of_executed_units|stat::average_exec_per_sec|stat::new_units_added|stat::peak_rss_mb)' \
    "$build/fuzz-$target.log" || true
  grep -E -A30 '^==[0-9]+==ERROR|^SUMMARY|Test unit written' "$build/fuzz-$target.log" || true
done
exit $failed
