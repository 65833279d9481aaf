#!/usr/bin/env bash
# Builds the Debian package (Qt 6, Release) and prints its path.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh test >&2
cmake -S . -B build/package -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DBUILD_TESTING=OFF >&2
cmake --build build/package >&2
(cd build/package && cpack >&2)
ls "$PWD"/build/package/wardlet_*.deb
