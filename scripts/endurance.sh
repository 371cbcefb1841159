#!/usr/bin/env bash
# Endurance run: the demo with the real data/ plays its whole track under Xvfb while xdotool
# reloads it 50 times (Shift+BackSpace) and restarts it 50 times (BackSpace). Prints the
# resident memory before, after every reload and restart and at the end, the peak (VmHWM), and
# the growth per reload and per restart as slopes over the 50 samples of each.
# usage: scripts/endurance.sh [build dir] [reloads] [restarts]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
[ -n "${DISPLAY:-}" ] || exec bash "$root/scripts/with-display.sh" bash "$0" "$@"
build=$(cd "${1:-$root/build}" && pwd)
reloads=${2:-50}
restarts=${3:-50}

work=$(mktemp -d /tmp/endurance-XXXXXX)
pid=""
cleanup() {
  [ -n "$pid" ] && kill "$pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
cp -r "$root/data" "$work/data"
# Later assignments win in Lua: debug on for the log the run is paced by, silent output.
printf 'DEBUG = true\nLOGFILE = "demo.log"\nAUDIO = "nosound"\n' >> "$work/data/config.lua"
log=$work/demo.log

cd "$work"
"$build/demo" > out.txt 2> err.txt &
pid=$!

# Waits up to $2 seconds until the log has at least $3 lines containing $1
wait_lines() {
  local deadline=$((SECONDS + $2)) n
  while :; do
    n=$(grep -c -F -- "$1" "$log" 2>/dev/null || true)
    [ "${n:-0}" -ge "$3" ] && return 0
    kill -0 "$pid" 2>/dev/null || { echo "endurance: the demo ended early" >&2; cat err.txt >&2; exit 1; }
    [ $SECONDS -lt $deadline ] || { echo "endurance: no \"$1\" #$3 within $2 s" >&2; exit 1; }
    sleep 0.05
  done
}
status_kb() { awk -v key="$1:" '$1 == key { print $2 }' "/proc/$pid/status"; }
# Least-squares slope of the numbers on standard input against their index
slope() { awk '{ n++; sx += n; sy += $1; sxx += n * n; sxy += n * $1 }
               END { printf "%.1f", (n * sxy - sx * sy) / (n * sxx - sx * sx) }'; }
# Median of the slopes between every two samples (Theil-Sen): unlike least squares it is not
# moved by a block of freed heap that the allocator keeps for a while and then gives back.
median_slope() { awk '{ v[++n] = $1 } END { for (i = 1; i < n; i++) for (j = i + 1; j <= n; j++) print (v[j] - v[i]) / (j - i) }' |
                 sort -g | awk '{ s[++n] = $1 } END { printf "%.1f", n % 2 ? s[(n + 1) / 2] : (s[n / 2] + s[n / 2 + 1]) / 2 }'; }

wait_lines "Demo: Starting now!" 60 1
window=$(xdotool search --sync --onlyvisible --pid "$pid" | head -n 1)
xdotool windowfocus --sync "$window"
sleep 1  # the first frames settle
before=$(status_kb VmRSS)
echo "start: VmRSS ${before} kB, VmHWM $(status_kb VmHWM) kB"

# Does $1 ("reload" or "restart") $4 times with the xdotool keys $5, each time waiting for one
# more line "$2" in the log and a few frames, then sampling the resident memory into $3.
cycle() {
  local what=$1 text=$2 samples=$3 count=$4 keys=$5 before i
  before=$(grep -c -F -- "$text" "$log" || true)
  : > "$samples"
  for ((i = 1; i <= count; i++)); do
    xdotool $keys
    wait_lines "$text" 60 $((before + i))
    sleep 0.3
    status_kb VmRSS >> "$samples"
  done
  echo "after $count ${what}s: VmRSS $(tail -n 1 "$samples") kB, growth per $what:" \
       "$(slope < "$samples") kB (least squares), $(median_slope < "$samples") kB (median)"
}
cycle reload "Demo: Reload done" "$work/reloads.txt" "$reloads" "keydown shift key BackSpace keyup shift"
cycle restart "Demo: Starting now!" "$work/restarts.txt" "$restarts" "key BackSpace"

# The whole track from the last restart to its end, then the peak of the whole run.
peak=0
deadline=$((SECONDS + 400))
while kill -0 "$pid" 2>/dev/null; do
  [ $SECONDS -lt $deadline ] || { echo "endurance: still running after 400 s" >&2; exit 1; }
  hwm=$(status_kb VmHWM 2>/dev/null || true)
  [ -n "$hwm" ] && peak=$hwm
  rss=$(status_kb VmRSS 2>/dev/null || true)
  [ -n "$rss" ] && last=$rss
  grep -q -F "Demo: Last scene done! :)" "$log" && break
  sleep 0.5
done
status=0
wait "$pid" || status=$?
pid=""
echo "end: VmRSS ${last:-?} kB just before the end, peak VmHWM ${peak} kB, exit status $status"
grep -q -F "Demo: Last scene done! :)" "$log" || { echo "endurance: the track did not play to its end" >&2; exit 1; }
[ "$status" -eq 0 ] || { cat err.txt >&2; exit 1; }
echo "reload samples (kB): $(tr '\n' ' ' < "$work/reloads.txt")"
echo "restart samples (kB): $(tr '\n' ' ' < "$work/restarts.txt")"
