#!/usr/bin/env bash
# Installs the build into a scratch DESTDIR under /usr and checks what lands there: exactly the
# expected files, valid desktop entries and AppStream data, a manual page without warnings.
# Usage: check_install.sh BUILD_DIR
set -euo pipefail
build=$1
dest=$(mktemp -d)
trap 'rm -rf "$dest"' EXIT

DESTDIR="$dest" cmake --install "$build" --prefix /usr >/dev/null

expected="etc/xdg/autostart/wardlet.desktop
usr/bin/wardlet
usr/share/applications/wardlet.desktop
usr/share/doc/wardlet/copyright
$(printf 'usr/share/icons/hicolor/%sx%s/apps/wardlet.png\n' 16 16 22 22 24 24 32 32 48 48 64 64 128 128 256 256)
usr/share/icons/hicolor/scalable/apps/wardlet.svg
usr/share/man/man1/wardlet.1
usr/share/metainfo/wardlet.metainfo.xml
usr/share/wardlet/translations/wardlet_de.qm"
installed=$(cd "$dest" && find . -type f | sed 's|^\./||' | LC_ALL=C sort)
if [ "$installed" != "$(LC_ALL=C sort <<<"$expected")" ]; then
    echo "installed files differ from the expected set:" >&2
    diff <(LC_ALL=C sort <<<"$expected") <(echo "$installed") >&2
    exit 1
fi

desktop-file-validate "$dest/usr/share/applications/wardlet.desktop" "$dest/etc/xdg/autostart/wardlet.desktop"
appstreamcli validate --no-net "$dest/usr/share/metainfo/wardlet.metainfo.xml"
warnings=$(groff -man -ww -z "$dest/usr/share/man/man1/wardlet.1" 2>&1)
[ -z "$warnings" ] || { echo "manual page: $warnings" >&2; exit 1; }
"$dest/usr/bin/wardlet" --version | grep -qx 'wardlet [0-9.]*'
echo "install: $(wc -l <<<"$installed") files as expected; desktop entries, AppStream data and manual page valid"
