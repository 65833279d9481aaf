#!/usr/bin/env bash
# Builds the Debian package, installs it with apt on a clean Debian 12 (a chroot made by
# ../shared/tools/fresh-machine), starts the installed program under a virtual display with a
# tray host and looks for its icon, then purges the package and checks that none of its files
# are left. Needs root.
set -euo pipefail
cd "$(dirname "$0")/.."

deb=$(scripts/package.sh)
fresh=../shared/tools/fresh-machine
[ -x "$fresh" ] || { echo "check-package: $fresh is missing" >&2; exit 1; }
cat >/tmp/wardlet-package-check.sh <<'CHECK'
set -eu
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq /root/files/wardlet_*.deb xvfb trayer x11-utils dbus >/dev/null 2>&1
files=$(dpkg -L wardlet | while read -r f; do [ ! -f "$f" ] || echo "$f"; done)
echo "installed: $(echo "$files" | wc -l) files"
wardlet --version
# until SECONDS COMMAND...: runs COMMAND until it succeeds, for at most SECONDS.
until_ok() {
    local tries=$(($1 * 10))
    shift
    until "$@" >/dev/null 2>&1; do
        tries=$((tries - 1))
        [ $tries -gt 0 ] || return 1
        sleep 0.1
    done
}
Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>/tmp/display 2>/dev/null & xvfb=$!
until_ok 10 test -s /tmp/display
export DISPLAY=":$(cat /tmp/display)"
until_ok 10 xwininfo -root
trayer --edge top --align right --widthtype request --height 24 --SetDockType true 2>/dev/null & trayer=$!
until_ok 10 sh -c 'xwininfo -root -tree | grep -q "(\"panel\" "'
dbus-run-session -- wardlet 2>/dev/null & wardlet=$!
until_ok 20 sh -c 'xwininfo -root -tree | grep -q "(\"wardlet\" \"wardlet\")  22x22"'
echo "icon embedded"
kill $wardlet $trayer $xvfb 2>/dev/null || true
wait 2>/dev/null || true
apt-get purge -y -qq wardlet >/dev/null
left=$(echo "$files" | while read -r f; do [ ! -e "$f" ] || echo "$f"; done)
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
echo "purged: no file left"
CHECK
if ! "$fresh" "$PWD" exec 'bash /root/files/wardlet-package-check.sh' "$deb" /tmp/wardlet-package-check.sh; then
    cat /tmp/fresh-root-logs/exec.log >&2
    exit 1
fi
grep -E '^(installed|wardlet|icon|purged)' /tmp/fresh-root-logs/exec.log
