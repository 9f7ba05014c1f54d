#!/usr/bin/env bash
# build.sh TESTS PRESET...: configures and builds the presets, with (ON) or without (OFF) the tests; of each all, or what
# TARGETS names, as "mova" or, for one preset alone, "linux:mova". In the environment MOVA_BENCHMARKS=ON: with the benchmarks;
# MOVA_QUICK=ON or OFF: tools compiled quickly or for speed, otherwise as the folder was configured before; MOVA_SYMBOLS=ON
# or OFF: with or without line tables for packaging, and MOVA_PYTHON=ON: with the Python module, otherwise likewise. A compiler cache is used if it is there.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/progress.sh
tests=$1
shift
if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    # What the cache asks for where there are precompiled headers; no source looks at its time.
    export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}
fi

# configured PRESET VARIABLE=VALUE...: its folder is, with these; to do it again takes its time.
configured() {
    local cache=build/$1/CMakeCache.txt variable
    [ -e "build/$1/build.ninja" ] || return
    for variable in "${@:2}"; do grep -q "^${variable%%=*}:[A-Z]*=${variable#*=}$" "$cache" || return; done
}

for preset in "$@"; do
    mkdir -p build
    variables=(MOVA_TESTS="$tests" MOVA_BENCHMARKS="${MOVA_BENCHMARKS:-OFF}" ${MOVA_QUICK:+MOVA_QUICK="$MOVA_QUICK"} ${MOVA_PYTHON:+MOVA_PYTHON="$MOVA_PYTHON"} ${MOVA_SYMBOLS:+MOVA_SYMBOLS="$MOVA_SYMBOLS"})
    targets=()
    for target in ${TARGETS:-}; do
        case $target in
            "$preset":*) targets+=("${target#*:}") ;;
            *:*) ;;
            *) targets+=("$target") ;;
        esac
    done
    build() {
        if [ "build/$preset/CMakeCache.txt" -ot CMakePresets.json ]; then  # to change the compiler loses what else was set
            cmake --fresh --preset "$preset" "${variables[@]/#/-D}" || return
        elif ! configured "$preset" "${variables[@]}"; then
            cmake --preset "$preset" "${variables[@]/#/-D}" || return
        fi
        cmake --build --preset "$preset" ${targets[@]:+--target "${targets[@]}"}
    }
    if ! build 2>&1 | tee "build/$preset.log" | progress "building $preset"; then
        tail -n 60 "build/$preset.log"
        echo "building $preset failed; the whole log is build/$preset.log" >&2
        exit 1
    fi
done
