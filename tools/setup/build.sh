#!/usr/bin/env bash
# build.sh PRESET...: configures and builds the presets.
set -euo pipefail
cd "$(dirname "$0")/../.."
for preset in "$@"; do
    echo "--- building $preset"
    mkdir -p build
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset"; } >"build/$preset.log" 2>&1; then
        tail -n 60 "build/$preset.log"
        echo "building $preset failed; the whole log is build/$preset.log" >&2
        exit 1
    fi
done
