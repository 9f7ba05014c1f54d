#!/usr/bin/env bash
# wine.sh SAMPLES: times the Windows client in a private Wine prefix; JSON lines on the standard output.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/wine.sh

prefix=$PWD/build/bench/wine
handsets=()
finish() {
    for handset in "${handsets[@]}"; do kill "$handset" 2>/dev/null && wait "$handset" 2>/dev/null; done
    wine_stop
    return 0
}
trap finish EXIT

offer() {
    local number=$1
    shift
    start_handset build/linux "$prefix/handset$number" --echo off "$@"
    handsets+=("$handset_pid")
    wine_link_port "$number" "$prefix/handset$number"
    wine_list_port "$number"
}

mkdir -p build/bench
wine_start "$prefix"
offer 7 --baud-rate 0
offer 8 --baud-rate 0
offer 9
offer 10
wine_register build/windows-x64/MovaCmdSvr.dll
timeout 240 wine build/windows-x64/bench-client.exe 7 8 "$1" "line rate 0" 2>/dev/null | tr -d '\r'
timeout 240 wine build/windows-x64/bench-client.exe 9 10 "$1" "115200 baud" 2>/dev/null | tr -d '\r'
