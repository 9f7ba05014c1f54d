#!/usr/bin/env bash
# build.sh TESTS PRESET...: configures and builds the presets, with (ON) or without (OFF) the tests; of each all, or what
# TARGETS names. MOVA_BENCHMARKS=ON in the environment: with the benchmarks.
set -euo pipefail
cd "$(dirname "$0")/.."
tests=$1
shift
for preset in "$@"; do
    echo "--- building $preset"
    mkdir -p build
    if ! { cmake --preset "$preset" -DMOVA_TESTS="$tests" -DMOVA_BENCHMARKS="${MOVA_BENCHMARKS:-OFF}" &&
           cmake --build --preset "$preset" ${TARGETS:+--target $TARGETS}; } >"build/$preset.log" 2>&1; then
        tail -n 60 "build/$preset.log"
        echo "building $preset failed; the whole log is build/$preset.log" >&2
        exit 1
    fi
done
