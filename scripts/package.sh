#!/usr/bin/env bash
# Builds the Debian source package and the binary packages, wardlet and its debug symbols
# (wardlet-dbgsym), from the files git tracks, into build/debian; checks them with lintian, which
# must find no error and no warning; prints the paths of the binary packages. Installs the
# packaging tools and the Build-Depends of debian/control first (as root).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh package >&2
version=$(dpkg-parsechangelog -S Version)
program_version=$(sed -n 's/^project(wardlet VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
if [ "$version" != "$program_version" ]; then
    echo "package: debian/changelog is at $version, the program (CMakeLists.txt) at $program_version" >&2
    exit 1
fi
out=$PWD/build/debian
rm -rf "$out"
mkdir -p "$out/wardlet-$version"
# The files git tracks or would track, as the working tree has them; no build tree.
git ls-files -z --cached --others --exclude-standard | tar -c --null -T - | tar -x -C "$out/wardlet-$version"
(cd "$out/wardlet-$version" && dpkg-buildpackage -us -uc >&2)
lintian --display-info --show-overrides --fail-on error,warning "$out/wardlet_${version}_$(dpkg --print-architecture).changes" >&2
ls "$out"/*.deb
