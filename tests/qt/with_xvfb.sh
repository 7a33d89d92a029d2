#!/usr/bin/env bash
# with_xvfb.sh COMMAND...: runs a command on the screen of an X server of its own. The server picks its number itself, so that
# no two take the same, and tells it once it can be asked, however long that takes.
set -euo pipefail

folder=$(mktemp -d)
mkfifo "$folder/number"
# Each test has an application of its own: the server must not reset itself between them.
Xvfb -displayfd 3 -screen 0 1024x768x24 -noreset -nolisten tcp 3>"$folder/number" >"$folder/log" 2>&1 &
xvfb=$!
trap 'kill "$xvfb" 2>/dev/null || true; wait "$xvfb" 2>/dev/null || true; rm -rf "$folder"' EXIT
read -r number <"$folder/number" || { cat "$folder/log"; exit 1; }
DISPLAY=:$number "$@"
