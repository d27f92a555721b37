#!/usr/bin/env bash
# The stand-alone program on the X server that with_xvfb.sh gives, driven with the real mouse: the window holds
# the condensed editor (508 x 555 below the program's own bar), a click on the expand button widens it by the
# right panel, a second click brings it back, and a screenshot of each layout is kept in the given folder.
set -euo pipefail
app=$1
shots=$2
mkdir -p "$shots"

home=$(mktemp -d)
HOME=$home XDG_CONFIG_HOME=$home/.config "$app" >"$home/app.log" 2>&1 &
app_pid=$!
trap 'kill "$app_pid" 2>/dev/null || true; wait "$app_pid" 2>/dev/null || true; rm -rf "$home"' EXIT

fail() {
    echo "standalone: $*" >&2
    cat "$home/app.log" >&2 || true
    exit 1
}

SECONDS=0
window=$(timeout 60 xdotool search --sync --onlyvisible --name '^Lamina$' | head -n 1) || fail "no window"

geometry() { xdotool getwindowgeometry --shell "$window" | grep -E "^(X|Y|WIDTH|HEIGHT)=" | tr '\n' ' '; }
eval "$(geometry)"
# The program's frame around the editor: a border of a pixel or two on each side.
frame=$((WIDTH - 508))
((frame >= 0 && frame <= 8 && HEIGHT >= 555)) || fail "window $WIDTH x $HEIGHT holds no 508 x 555 editor"
# The editor fills the bottom of the window: its origin on the screen (the window may move as it resizes).
origin() {
    eval "$(geometry)"
    ox=$((X + frame / 2))
    oy=$((Y + HEIGHT - 555 - frame / 2))
}

# Waits (up to a minute) until the window holds an editor `want` pixels wide.
wait_for_width() {
    local want=$1
    for _ in $(seq 1 300); do
        eval "$(geometry)"
        if ((WIDTH - frame == want)); then
            return 0
        fi
        sleep 0.2
    done
    fail "window width $WIDTH, expected $((want + frame))"
}

sleep 1
import -window "$window" "$shots/standalone-condensed.png"

origin
# The expand button under the meters (463, 376, 29 x 30 in the condensed editor).
xdotool mousemove $((ox + 477)) $((oy + 391)) click 1
wait_for_width 1058
sleep 1
import -window "$window" "$shots/standalone-expanded.png"

origin
# Expanded, it sits under the meters at 1013, 435.
xdotool mousemove $((ox + 1027)) $((oy + 450)) click 1
wait_for_width 508
echo "standalone: ${SECONDS} s; condensed 508 wide, expanded 1058, condensed again; screenshots in $shots"
