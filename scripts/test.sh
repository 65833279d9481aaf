#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
# Usage: scripts/test.sh [--qt5] [--asan] [-- extra ctest arguments]
set -euo pipefail
cd "$(dirname "$0")/.."

build_args=()
while [ $# -gt 0 ]; do
    case "$1" in
    --) shift; break ;;
    *) build_args+=("$1"); shift ;;
    esac
done

scripts/setup.sh test
dir=$(scripts/build.sh "${build_args[@]}")
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)" "$@"
