#!/usr/bin/env bash
# The Debian package's life on a clean Debian 12, a chroot made by ../shared/tools/fresh-machine
# from the committed tree: builds the source and binary packages with only the packaging tools and
# the Build-Depends installed, checks them with lintian, runs the package's own tests
# (autopkgtest), installs the package, starts it under a virtual display with a tray host and
# looks for its icon, upgrades it to a higher version while it runs and with an edited autostart
# entry, then removes and purges it and checks that none of its files are left. Needs root.
#
# check-package.sh --here does all that on this machine instead: only on a throwaway one, since
# it installs and purges packages.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" != --here ]; then
    fresh=../shared/tools/fresh-machine
    [ -x "$fresh" ] || { echo "check-package: $fresh is missing" >&2; exit 1; }
    if ! "$fresh" "$PWD" exec 'bash scripts/check-package.sh --here'; then
        tail -n 60 /tmp/fresh-root-logs/exec.log >&2
        exit 1
    fi
    grep '^check-package:' /tmp/fresh-root-logs/exec.log
    exit 0
fi

say() { echo "check-package: $*"; }
# until_ok SECONDS COMMAND...: runs COMMAND until it succeeds, for at most SECONDS.
until_ok() {
    local tries=$(($1 * 10))
    shift
    until "$@" >/dev/null 2>&1; do
        tries=$((tries - 1))
        [ $tries -gt 0 ] || return 1
        sleep 0.1
    done
}
export DEBIAN_FRONTEND=noninteractive

scripts/package.sh >/tmp/package.log 2>&1 || { cat /tmp/package.log; exit 1; }
say "lintian: $(grep -cE '^[EWIPXO]: ' /tmp/package.log || true) tags; $(grep -E '^[EWIPXO]: ' /tmp/package.log | tr '\n' ' ')"
out=build/debian
version=$(dpkg-parsechangelog -S Version)
for f in "$out"/*.deb "$out"/*.dsc "$out"/*.tar.*; do
    say "built $(basename "$f") $(stat -c %s "$f") bytes"
done

apt-get install -y -qq --no-install-recommends autopkgtest >/dev/null
# Its status is 8 when every test is superficial, as both of the package's are: each must pass.
autopkgtest "$out/wardlet_${version}_amd64.deb" "$out/wardlet-$version" -- null >/tmp/autopkgtest.log 2>&1 || true
[ "$(grep -E '^(command1|installed-files) +PASS' /tmp/autopkgtest.log | sort -u | wc -l)" = 2 ] || { cat /tmp/autopkgtest.log; exit 1; }
say "autopkgtest: $(grep -E '^(command1|installed-files) +' /tmp/autopkgtest.log | sort -u | tr -s ' ' | tr '\n' ';')"
# Autopkgtest installed it; the check starts from a machine without it.
apt-get purge -y -qq wardlet >/dev/null

apt-get install -y -qq "./$out/wardlet_${version}_amd64.deb" xvfb trayer x11-utils dbus >/dev/null
files=$(dpkg -L wardlet | while read -r f; do [ ! -f "$f" ] || echo "$f"; done)
say "installed $(dpkg-query -W -f '${Package} ${Version}' wardlet): $(echo "$files" | wc -l) files; conffiles: $(dpkg-query -W -f '${Conffiles}' wardlet | awk 'NF {print $1}')"
say "$(wardlet --version)"
autostart=/etc/xdg/autostart/wardlet.desktop
echo 'Hidden=true' >>"$autostart"

Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>/tmp/display 2>/dev/null & xvfb=$!
until_ok 10 test -s /tmp/display
export DISPLAY=":$(cat /tmp/display)"
until_ok 10 xwininfo -root
trayer --edge top --align right --widthtype request --height 24 --SetDockType true 2>/dev/null & trayer=$!
until_ok 10 sh -c 'xwininfo -root -tree | grep -q "(\"panel\" "'
dbus-run-session -- wardlet 2>/dev/null & session=$!
icon_shown() { xwininfo -root -tree | grep -q '("wardlet" "wardlet")  22x22'; }
until_ok 20 icon_shown
running=$(pgrep -x wardlet)
say "started: icon in the tray"

# The next version, from the same build: a changelog entry is all that differs.
next=$version+1
(
    cd "$out/wardlet-$version"
    { printf 'wardlet (%s) bookworm; urgency=medium\n\n  * Upgrade check.\n\n -- %s  %s\n\n' \
        "$next" "$(dpkg-parsechangelog -S Maintainer)" "$(date -R)"; cat debian/changelog; } >changelog.next
    mv changelog.next debian/changelog
    dpkg-buildpackage -us -uc -b -nc >/tmp/package-next.log 2>&1 || { cat /tmp/package-next.log; exit 1; }
)
apt-get install -y -qq "./$out/wardlet_${next}_amd64.deb" >/dev/null
[ "$(dpkg-query -W -f '${Version}' wardlet)" = "$next" ] || { say "upgrade to $next failed"; exit 1; }
kill -0 "$running" && icon_shown || { say "the running copy did not survive the upgrade"; exit 1; }
grep -qx 'Hidden=true' "$autostart" || { say "the upgrade lost the edited $autostart"; exit 1; }
say "upgraded to $next: the running copy kept running, the edited autostart entry was kept"

kill "$session" "$trayer" "$xvfb" 2>/dev/null || true
wait 2>/dev/null || true
apt-get remove -y -qq wardlet >/dev/null
[ ! -e /usr/bin/wardlet ] && [ -e "$autostart" ] || { say "remove did not keep just the conffile"; exit 1; }
say "removed: program gone, conffile kept"
apt-get purge -y -qq wardlet >/dev/null
left=$(echo "$files" | while read -r f; do [ ! -e "$f" ] || echo "$f"; done)
[ -z "$left" ] || { say "left behind: $left"; exit 1; }
! dpkg-query -W wardlet >/dev/null 2>&1 || { say "dpkg still knows wardlet"; exit 1; }
say "purged: no file left"
