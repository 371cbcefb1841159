#!/usr/bin/env bash
# The release archive's size, and its start-up against the build tree's (bench/startup.cpp),
# run after run in turn.
#   bash bench/release.sh [BUILD] [RUNS]    from the repository root, under a display
set -euo pipefail
build=${1:-build}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
bash scripts/release.sh "$build" "$work"
unzip -q "$work"/*.zip -d "$work"
"$build/bench/startup" data "${2:-9}" "$(echo "$work"/*/)"
