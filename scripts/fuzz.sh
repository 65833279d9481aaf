#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each from its seed corpus.
# Usage: scripts/fuzz.sh [SECONDS per target, default 60] [TARGET...]
# Exits non-zero when a target finds a crash or a sanitizer report; the input that did it is
# kept in build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(receive services alert config)

scripts/setup.sh
cmake -S . -B build/fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DWARDLET_FUZZ=ON -DBUILD_TESTING=OFF \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/fuzz --target "${targets[@]/#/fuzz_}" >/dev/null
mkdir -p build/fuzz/findings
for target in "${targets[@]}"; do
    # The seed corpus stays as it is; what the run learns goes into a scratch copy.
    work=build/fuzz/corpus/$target
    mkdir -p "$work"
    cp -n tests/fuzz/corpus/"$target"/* "$work"/
    echo "fuzz: $target for ${seconds}s"
    log=build/fuzz/$target.log
    if ! build/fuzz/tests/fuzz/fuzz_"$target" -max_total_time="$seconds" -print_final_stats=1 \
        -artifact_prefix=build/fuzz/findings/"$target"- "$work" >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        echo "fuzz: $target found a problem; the input is in build/fuzz/findings" >&2
        exit 1
    fi
    grep -E '^stat::number_of_executed_units' "$log" | sed "s/^/fuzz: $target /"
done
