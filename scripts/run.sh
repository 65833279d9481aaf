#!/usr/bin/env bash
# Installs what is missing, builds, and runs wardlet against the daemon simulator's demo scenario
# (protected, online, one alert five seconds in). On a desktop it runs until "Exit" or Ctrl+C;
# without one it runs on a virtual display, saves a screenshot and stops by itself.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh run
dir=$(scripts/build.sh)
export WARDLET_SOCKET_SUFFIX="-run$$"
tmp=$(mktemp -d)
pids=()
stop() {
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
        kill "${pids[i]}" 2>/dev/null || true
        wait "${pids[i]}" 2>/dev/null || true
    done
    rm -rf "$tmp"
}
trap stop EXIT

"$dir/tools/wardlet-daemon-sim" --suffix "$WARDLET_SOCKET_SUFFIX" --script tools/scenarios/demo.sim \
    --no-stdin --quiet &
pids+=($!)

if [ -n "${DISPLAY:-}" ]; then
    "$dir/wardlet"
    exit
fi

# wait_for SECONDS COMMAND...: runs COMMAND until it succeeds, for at most SECONDS.
wait_for() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        if [ "$SECONDS" -ge "$deadline" ]; then
            echo "run: gave up waiting for: $*" >&2
            return 1
        fi
        sleep 0.1
    done
}
icon() { xwininfo -root -tree | sed -n 's/.*("wardlet" "wardlet")  22x22+0+0  +\([0-9]*\)+\([0-9]*\)$/\1 \2/p'; }
has_icon() { [ -n "$(icon)" ]; }
windows() { xdotool search --all --onlyvisible --pid "$wardlet" --name "$1"; }
more_windows() { [ "$(windows '' | wc -l)" -gt "$1" ]; }
# Not the black of the bare screen any more.
painted() { ! import -window root -crop "1x1+$1+$2" -depth 8 txt:- | grep -q '#000000'; }

# wardlet takes any other of the user's wardlets for its running copy; the end-to-end tests
# hold this lock while theirs runs.
exec 9<"$(getent passwd "$(id -u)" | cut -d: -f6)"
flock 9

Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$tmp/display" 2>/dev/null &
pids+=($!)
wait_for 10 test -s "$tmp/display"
DISPLAY=":$(cat "$tmp/display")"
export DISPLAY
trayer --edge top --align right --widthtype request --height 24 --SetDockType true --transparent false \
    2>/dev/null &
pids+=($!)
dbus-daemon --session --nofork --print-address=1 >"$tmp/bus" 2>/dev/null &
pids+=($!)
wait_for 10 test -s "$tmp/bus"
DBUS_SESSION_BUS_ADDRESS=$(head -n 1 "$tmp/bus")
export DBUS_SESSION_BUS_ADDRESS

"$dir/wardlet" 2>/dev/null &
wardlet=$!
pids+=("$wardlet")
wait_for 10 has_icon
wait_for 15 windows '^Mireval - Alert 1 of 1$'
# The status window opens at the top left; the alert viewer goes beside it.
xdotool windowmove "$(windows '^Mireval - Alert 1 of 1$')" 500 200

read -r x y <<<"$(icon)"
shown=$(windows '' | wc -l)
xdotool mousemove $((x + 11)) $((y + 11)) click 3
wait_for 5 more_windows "$shown"
xdotool key t
wait_for 5 windows '^Trevanta$'
wait_for 5 painted 10 10

mkdir -p "$dir/screenshots"
import -window root "$dir/screenshots/wardlet.png"
echo "run: screenshot of the tray, the status window and the alert viewer: $PWD/$dir/screenshots/wardlet.png"
