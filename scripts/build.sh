#!/usr/bin/env bash
# build.sh TESTS PRESET...: configures and builds the presets, with (ON) or without (OFF) the tests; of each all, or what
# TARGETS names. In the environment MOVA_BENCHMARKS=ON: with the benchmarks; MOVA_QUICK=ON or OFF: tools compiled quickly or
# for speed, otherwise as the folder was configured before. A compiler cache is used if it is there.
set -euo pipefail
cd "$(dirname "$0")/.."
tests=$1
shift
if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    # What the cache asks for where there are precompiled headers; no source looks at its time.
    export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}
fi
for preset in "$@"; do
    echo "--- building $preset"
    mkdir -p build
    if ! { cmake --preset "$preset" -DMOVA_TESTS="$tests" -DMOVA_BENCHMARKS="${MOVA_BENCHMARKS:-OFF}" \
                 ${MOVA_QUICK:+-DMOVA_QUICK="$MOVA_QUICK"} &&
           cmake --build --preset "$preset" ${TARGETS:+--target $TARGETS}; } >"build/$preset.log" 2>&1; then
        tail -n 60 "build/$preset.log"
        echo "building $preset failed; the whole log is build/$preset.log" >&2
        exit 1
    fi
done
