#!/usr/bin/env bash
# Configures and builds wardlet. Usage: scripts/build.sh [--qt5] [--asan] ; prints the build directory.
set -euo pipefail
cd "$(dirname "$0")/.."

qt=6
sanitize=OFF
for arg in "$@"; do
    case "$arg" in
    --qt5) qt=5 ;;
    --asan) sanitize=ON ;;
    *) echo "build: unknown option $arg" >&2; exit 2 ;;
    esac
done

dir="build/qt$qt"
[ "$sanitize" = ON ] && dir="$dir-asan"
cmake -S . -B "$dir" -G Ninja -DWARDLET_QT_MAJOR="$qt" -DWARDLET_SANITIZE="$sanitize" >&2
cmake --build "$dir" >&2
echo "$dir"
