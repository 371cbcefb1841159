#!/bin/sh
# Plays the demo from this folder, wherever it is started from: the demo reads data/ from its
# current directory. The folder may be read-only, and its path may hold spaces.
cd -- "$(dirname -- "$(readlink -f -- "$0")")" || exit 1
exec ./demo "$@"
