#!/usr/bin/env bash
# Installs from Debian's packages what building and running wardlet needs (setup.sh run), or
# that and everything the tests and the fuzzing need (setup.sh test, the default), or what
# building the Debian package needs: the Build-Depends of debian/control and the packaging
# tools (setup.sh package). Idempotent: does nothing when everything is there already.
set -euo pipefail

build=(g++ cmake ninja-build pkg-config libxcb1-dev qt6-base-dev qt6-tools-dev qt6-l10n-tools librsvg2-bin
    qt6-wayland)  # the last for Wayland sessions
# A virtual display with a tray host, for running without a desktop.
headless=(xvfb trayer xdotool x11-utils imagemagick dbus-x11 fonts-dejavu-core python3)
tests=(
    qtbase5-dev qttools5-dev qttools5-dev-tools qt5-style-plugins
    libbenchmark-dev libx11-dev clang libclang-rt-14-dev
    at-spi2-core python3-pyatspi python3-gi fonts-urw-base35 procps util-linux
    haskell-status-notifier-item-utils haskell-gtk-sni-tray-utils xsettingsd
    sway grim qtwayland5 dunst
    dpkg-dev
)

mode=${1:-test}
case "$mode" in
run)
    packages=("${build[@]}")
    [ -n "${DISPLAY:-}" ] || packages+=("${headless[@]}")
    ;;
test) packages=("${build[@]}" "${headless[@]}" "${tests[@]}") ;;
package) packages=(dpkg-dev git lintian) ;;
*) echo "setup: usage: setup.sh [run|test|package]" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
# The build dependencies come from debian/control, through apt, once dpkg-dev can read it.
source_dir=$(cd "$(dirname "$0")/.." && pwd)
builddeps_met() {
    [ "$mode" != package ] || dpkg-checkbuilddeps "$source_dir/debian/control" 2>/dev/null
}
[ ${#missing[@]} -eq 0 ] && builddeps_met && exit 0

if [ "$(id -u)" -ne 0 ]; then
    echo "setup: missing packages: ${missing[*]:-the build dependencies}; run this script as root to install them" >&2
    exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
if [ ${#missing[@]} -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
if ! builddeps_met; then
    echo "setup: installing the build dependencies of debian/control"
    apt-get build-dep -y -qq --no-install-recommends "$source_dir" >/dev/null
fi
