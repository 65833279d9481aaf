#!/usr/bin/env bash
# Installs what is missing, builds, and runs wardlet against the daemon simulator's demo scenario
# (protected, online, one alert five seconds in). On a desktop it runs until "Exit" or Ctrl+C;
# without one it runs on a virtual display, saves a screenshot and stops by itself.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh run
dir=$(scripts/build.sh)
export WARDLET_SOCKET_SUFFIX="-run$$"
"$dir/tools/wardlet-daemon-sim" --suffix "$WARDLET_SOCKET_SUFFIX" --script tools/scenarios/demo.sim \
    --no-stdin --quiet &
sim=$!
trap 'kill "$sim" 2>/dev/null || true; wait "$sim" 2>/dev/null || true' EXIT

if [ -n "${DISPLAY:-}" ]; then
    "$dir/wardlet"
else
    WARDLET_BUILD="$dir" python3 tools/desktop/private_desktop.py "$dir/screenshots/wardlet.png"
fi
