#!/usr/bin/env bash
# run-under-wine.sh DLL_FOLDER NATIVE_FOLDER [GTEST_OPTION...]: tries the component in a private Wine prefix, with simulated
# handsets on its COM ports, from compiled clients and from scripts. DLL_FOLDER says by its name which DLL: the 32-bit one has
# 32-bit clients and script hosts in a 64-bit system, as its users do. Ends with 77 where no 32-bit Wine can be had.
set -uo pipefail
cd "$(dirname "$0")/../.."
source scripts/wine.sh
dlls=$1 native=$2
shift 2
kind=${dlls##*-} interposer=$native/libmodem-lines.so
[ "$kind" = x64 ] || interposer=$native/libmodem-lines-32.so
wine_for "$kind" "$interposer" || exit

prefix=$PWD/build/automation-prefix-$kind
lines=$prefix/modem-lines
handsets=()
failed=()
steps=0 cases=0

finish() {
    for handset in "${handsets[@]}"; do kill "$handset" 2>/dev/null && wait "$handset" 2>/dev/null; done
    wine_stop
}
trap finish EXIT

# offer NUMBER [OPTION...]: a handset on COM<NUMBER>.
offer() {
    local number=$1
    shift
    start_handset "$native" "$prefix/handset$number" "$@" || exit 1
    handsets+=("$handset_pid")
    wine_link_port "$number" "$prefix/handset$number"
    wine_list_port "$number"
}

# once NAME COMMAND...
once() {
    local name=$1
    shift
    echo "--- $name"
    steps=$((steps + 1))
    "$@" || failed+=("$name")
}

# step NAME COMMAND... All of it waits in real time: what a busy machine let wait too long has a second try.
step() {
    local name=$1
    shift
    once "$name" either "$@"
}

either() {
    "$@" || { echo "--- again"; "$@"; }
}

# A script's uncaught error ends its host silently and with 0: it must reach its last line and its own exit code.
script() {
    local output status
    output=$(timeout 120 wine cscript //nologo "$@" 2>/dev/null | tr -d '\r')
    status=$?
    tail -n 12 <<<"$output"
    [ "$status" -eq 0 ] && grep -qE '^(ALL PASSED|VERDICT: PASS)$' <<<"$output"
}

# sample PROGRAM: a compiled sample that ends with its verdict.
sample() {
    local output
    output=$(timeout 120 wine "$1" "$MOVA_LINE_PORT" 2>/dev/null | tr -d '\r')
    tail -n 12 <<<"$output"
    grep -q '^VERDICT: PASS$' <<<"$output"
}

# Programs with the two manifests beside them need no registration, and without them they do.
registration_free() {
    local folder=$prefix/registration-free program
    rm -rf "$folder" && mkdir -p "$folder"
    cp "$dlls/MovaCmdSvr.dll" samples/registration-free/MovaCmdSvr.manifest "$folder"
    for program in late_bound early_bound; do
        cp "$dlls/samples/$program.exe" "$folder"
        cp samples/registration-free/program.exe.manifest "$folder/$program.exe.manifest"
    done
    timeout 60 wine regsvr32 /s /u "$(windows_path "$dlls/MovaCmdSvr.dll")" 2>/dev/null
    for program in late_bound early_bound; do
        if sample "$dlls/samples/$program.exe" >/dev/null; then
            echo "the component is still registered"
            return 1
        fi
        sample "$folder/$program.exe" || return 1
    done
}

# Registered for the user alone the component serves a script host, and leaves nothing when it is taken back. Windows shows
# programs the user's classes with the machine's; Wine does not, so here the machine has a copy of the user's meanwhile.
for_the_user() {
    local dll key result keys=('CLSID\{FE640147-2F81-4A07-AF44-F1B818ED5CEE}' MovaCmdSvr.VeCmdManager MovaCmdSvr.VeCmdManager.1)
    dll=$(windows_path "$dlls/MovaCmdSvr.dll")
    timeout 60 wine regsvr32 /s /u "$dll" 2>/dev/null
    if script samples/vbscript/station.vbs "$MOVA_LINE_PORT" >/dev/null; then
        echo "the component is still registered"
        return 1
    fi
    timeout 60 wine regsvr32 /s /n /i:user "$dll" 2>/dev/null || { echo "it cannot be registered"; return 1; }
    for key in "${keys[@]}"; do
        timeout 60 wine reg copy "HKCU\\Software\\Classes\\$key" "HKLM\\Software\\Classes\\$key" /s /f >/dev/null 2>&1
    done
    script samples/vbscript/station.vbs "$MOVA_LINE_PORT"
    result=$?
    for key in "${keys[@]}"; do timeout 60 wine reg delete "HKLM\\Software\\Classes\\$key" /f >/dev/null 2>&1; done
    timeout 60 wine regsvr32 /s /u /n /i:user "$dll" 2>/dev/null || { echo "it cannot be taken back"; result=1; }
    for key in "${keys[@]}"; do
        ! timeout 60 wine reg query "HKCU\\Software\\Classes\\$key" >/dev/null 2>&1 || { echo "left: $key"; result=1; }
    done
    ! timeout 60 wine regsvr32 /s /n /i:everyone "$dll" 2>/dev/null || { echo "any word is taken"; result=1; }
    wine_register "$dlls/MovaCmdSvr.dll"
    return $result
}

# client LOG GTEST_OPTION... A crash does not always show in the exit code: the closing line must be there.
client() {
    local log=$prefix/$1
    LD_PRELOAD=$(readlink -f "$interposer") timeout 900 wine "$dlls/test-automation.exe" --gtest_brief=1 "${@:2}" 2>/dev/null |
        tr -d '\r' >"$log"
    tail -n 60 "$log"
    grep -q '^\[  PASSED  \]' "$log" && ! grep -q FAILED "$log"
}

# compiled LOG GTEST_OPTION... A case that a busy machine let wait too long has a second try; a crash has none.
compiled() {
    local again
    client "$@" && count "$1" && return
    count "$1"
    again=$(sed -n 's/^\[  FAILED  \] \([^ ,]*\).*ms)$/\1/p' "$prefix/$1" | paste -sd:)
    grep -q '^\[  PASSED  \]' "$prefix/$1" && [ -n "$again" ] || return 1
    echo "again: $again"
    client "again-$1" --gtest_filter="$again"
}

count() {
    local ran
    ran=$(sed -n 's/^\[==========\] \([0-9]*\) tests\? .* ran.*/\1/p' "$prefix/$1")
    cases=$((cases + ${ran:-0}))
}

wine_start "$prefix"
wine_runs || exit
mkdir -p "$lines"
offer 7
offer 8 --baud-rate 0
offer 9 --baud-rate 0 tests/wine/refusing.toml
offer 10 --baud-rate 0 --cable "$prefix/cable10"
wine_register "$dlls/MovaCmdSvr.dll" || { echo "the component could not be registered" >&2; exit 1; }
# Wine's marshaller looks for the type library under language 0 only.
timeout 60 wine reg add 'HKCR\TypeLib\{42f19dc8-90ef-428c-9410-46300a83fa1a}\1.0\0\'"win$wine_bits" /ve /d \
    "$(windows_path "$dlls/MovaCmdSvr.dll")" /f >/dev/null 2>&1

export MOVA_LINE_PORT=7 MOVA_FAST_PORT=8 MOVA_SPARE_FAST_PORT=9
export MOVA_FAST_PTS=$(basename "$(readlink "$prefix/handset8")")
export MOVA_PULLED_PORT=10 MOVA_CABLE=$(windows_path "$prefix")\\cable10
export MODEM_LINES=$lines MODEM_LINES_WINDOWS=$(windows_path "$lines")
export MOVA_DLL=$(windows_path "$dlls/MovaCmdSvr.dll")

# By itself: Wine keeps the class object of an apartment that it made for another, and with it the module.
once "compiled client of another apartment" compiled apartment.log --gtest_filter='EventsThroughAProxy*'
once "the wait for bytes" compiled watch.log --gtest_filter='InputWatch*'
once "compiled clients" compiled clients.log --gtest_filter=-'EventsThroughAProxy*:InputWatch*' "$@"
step "VBScript" script tests/wine/late-binding.vbs "$MOVA_FAST_PORT"
step "JScript" script tests/wine/late-binding.js "$MOVA_FAST_PORT"
step "a script that ends with its object alive" script tests/wine/ends-alive.vbs "$MOVA_FAST_PORT"
step "sample: VBScript" script samples/vbscript/station.vbs "$MOVA_LINE_PORT"
step "sample: JScript" script samples/jscript/station.js "$MOVA_LINE_PORT"
step "sample: C++, early bound" sample "$dlls/samples/early_bound.exe"
step "sample: C++, late bound" sample "$dlls/samples/late_bound.exe"
step "mova.exe" tests/tools/cli/under-wine.sh "$(readlink -f "$dlls")" "$MOVA_FAST_PORT"
step "registered for the user alone" for_the_user
step "sample: without registration" registration_free

if [ ${#failed[@]} -gt 0 ]; then
    echo "failed under Wine, $kind: ${failed[*]}"
fi
echo "under Wine, $kind: $cases cases of compiled clients, $steps steps, ${#failed[@]} failed"
exit $((${#failed[@]} > 0))
