#!/usr/bin/env bash
# with_weston.sh COMMAND...: runs a command on the screen of a Wayland compositor of its own, without any hardware.
# 77 where the compositor does not start.
set -euo pipefail

XDG_RUNTIME_DIR=$(mktemp -d) # private, as Wayland wants it
export XDG_RUNTIME_DIR WAYLAND_DISPLAY=mth-test QT_QPA_PLATFORM=wayland
weston --backend=headless-backend.so --use-pixman --width=1024 --height=768 --no-config --idle-time=0 \
  --socket="$WAYLAND_DISPLAY" >"$XDG_RUNTIME_DIR/log" 2>&1 &
weston=$!
trap 'kill "$weston" 2>/dev/null || true; wait "$weston" 2>/dev/null || true; rm -rf "$XDG_RUNTIME_DIR"' EXIT

deadline=$((SECONDS + 30))
until [ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ]; do
  if ! kill -0 "$weston" 2>/dev/null || [ "$SECONDS" -ge "$deadline" ]; then
    cat "$XDG_RUNTIME_DIR/log"
    echo "Left out: the tests under Wayland (weston does not start)"
    exit 77
  fi
  read -rt 0.05 <> <(:) || true # a short wait without another process
done
"$@"
