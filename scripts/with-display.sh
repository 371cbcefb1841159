#!/usr/bin/env bash
# Runs a command with an X display: the current one if there is one, otherwise a private Xvfb
# (Mesa's llvmpipe renders OpenGL there), which is stopped again when the command ends.
set -u
if [ -n "${DISPLAY:-}" ]; then
  exec "$@"
fi

exec 3< <(exec Xvfb -displayfd 1 -screen 0 1920x1080x24 -nolisten tcp 2>/dev/null)
xvfb_pid=$!
read -r -t 10 number <&3 || { echo "with-display: Xvfb did not start" >&2; exit 1; }
trap 'kill $xvfb_pid 2>/dev/null' EXIT
export DISPLAY=":$number"
"$@"
