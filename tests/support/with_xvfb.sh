#!/usr/bin/env bash
# Runs a command on a private X server: Xvfb on a free display, with the window-manager atoms that JUCE looks
# up "only if they exist" interned first (a bare server has none, and JUCE's first window would die with
# BadAtom). The server goes with the command; its exit status is the command's.
set -euo pipefail

if ! command -v Xvfb >/dev/null || ! command -v xprop >/dev/null; then
    echo "with_xvfb: Xvfb and xprop are needed (packages xvfb, x11-utils)" >&2
    exit 1
fi

fifo_dir=$(mktemp -d)
trap 'rm -rf "$fifo_dir"' EXIT
mkfifo "$fifo_dir/display"
Xvfb -displayfd 3 -noreset -nolisten tcp -screen 0 1600x900x24 3>"$fifo_dir/display" 2>"$fifo_dir/xvfb.log" &
xvfb_pid=$!
display_number=""
read -r display_number <"$fifo_dir/display" || true
if [[ -z "$display_number" ]]; then
    echo "with_xvfb: Xvfb did not start" >&2
    cat "$fifo_dir/xvfb.log" >&2 || true
    exit 1
fi
trap 'kill "$xvfb_pid" 2>/dev/null || true; wait "$xvfb_pid" 2>/dev/null || true; rm -rf "$fifo_dir"' EXIT
export DISPLAY=":$display_number"

for atom in WM_PROTOCOLS WM_TAKE_FOCUS WM_DELETE_WINDOW _NET_WM_PING WM_CHANGE_STATE WM_STATE \
    _NET_WM_WINDOW_TYPE _NET_WM_WINDOW_TYPE_NORMAL _NET_WM_WINDOW_TYPE_COMBO _NET_WM_STATE \
    _NET_WM_STATE_HIDDEN _NET_WM_STATE_FULLSCREEN _NET_FRAME_EXTENTS _NET_WORKAREA _MOTIF_WM_HINTS \
    _NET_WM_ALLOWED_ACTIONS _NET_WM_NAME _NET_WM_ICON_NAME; do
    xprop -root -f _QOR_ATOMS 32a -set _QOR_ATOMS "$atom"
done

"$@"
