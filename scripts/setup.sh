#!/usr/bin/env bash
# Installs from Debian's packages what building and running wardlet needs (setup.sh run), or
# that and everything the tests, the fuzzing and the package need (setup.sh test, the default).
# Idempotent: does nothing when everything is there already.
set -euo pipefail

build=(g++ cmake ninja-build pkg-config libxcb1-dev qt6-base-dev qt6-tools-dev qt6-l10n-tools librsvg2-bin
    qt6-wayland)  # the last for Wayland sessions
# A virtual display with a tray host, for running without a desktop.
headless=(xvfb trayer xdotool x11-utils imagemagick dbus-x11 fonts-dejavu-core)
tests=(
    qtbase5-dev qttools5-dev qttools5-dev-tools qt5-style-plugins
    libbenchmark-dev libx11-dev clang libclang-rt-14-dev
    at-spi2-core python3-pyatspi python3-gi fonts-urw-base35 procps util-linux
    haskell-status-notifier-item-utils haskell-gtk-sni-tray-utils xsettingsd
    sway grim qtwayland5 dunst
    desktop-file-utils appstream groff dpkg-dev
)

case "${1:-test}" in
run)
    packages=("${build[@]}")
    [ -n "${DISPLAY:-}" ] || packages+=("${headless[@]}")
    ;;
test) packages=("${build[@]}" "${headless[@]}" "${tests[@]}") ;;
*) echo "setup: usage: setup.sh [run|test]" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
    echo "setup: missing packages: ${missing[*]}; run this script as root to install them" >&2
    exit 1
fi
echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
