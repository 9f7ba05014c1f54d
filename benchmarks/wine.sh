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

# offer FIRST_PORT OPTION...: four ports, of which the second one is on USB.
offer() {
    local first=$1 number
    shift
    for number in "$first" $((first + 1)) $((first + 2)) $((first + 3)); do
        start_handset build/linux "$prefix/handset$number" --echo off "$@"
        handsets+=("$handset_pid")
        wine_link_port "$number" "$prefix/handset$number"
    done
    wine_list_port "$first"
    wine_list_port $((first + 1)) "USB Serial Port (COM$((first + 1)))"
}

mkdir -p build/bench
wine_start "$prefix"
offer 7 --baud-rate 0
offer 11
wine_register build/windows-x64/MovaCmdSvr.dll
timeout 240 wine build/windows-x64/bench-client.exe 7 "$1" "line rate 0" 2>/dev/null | tr -d '\r'
timeout 240 wine build/windows-x64/bench-client.exe 11 "$1" "115200 baud" 2>/dev/null | tr -d '\r'
