#!/usr/bin/env bash
# Installs what building, running and testing wardlet needs, from Debian's packages.
# Idempotent: does nothing when everything is there already.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config clang libclang-rt-14-dev
    qt6-base-dev qt6-l10n-tools qtbase5-dev qttools5-dev-tools qt5-style-plugins
    libbenchmark-dev
    xvfb trayer xdotool x11-utils imagemagick librsvg2-bin
    dbus-x11 at-spi2-core python3-pyatspi python3-gi
    fonts-dejavu-core fonts-urw-base35
    procps
)

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
