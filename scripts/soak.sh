#!/usr/bin/env bash
# soak.sh MINUTES [wine]: what ./soak runs, of what is built. Ends with 0 when every verdict is good.
set -uo pipefail
cd "$(dirname "$0")/.."
minutes=$1
status=0

# Rounds of opening, exchange, close and release from two clients until the time is up, each counting its own process's
# threads, handles and memory. Needs COM8 and COM9.
under_wine() {
    source scripts/wine.sh
    local prefix=$PWD/build/soak-prefix number rounds=0 failed=0 log=build/soak-wine.log handsets=()
    local -r until=$(($(date +%s) + $(awk "BEGIN { print int($minutes * 60) }")))
    trap 'for handset in "${handsets[@]}"; do kill "$handset" 2>/dev/null && wait "$handset" 2>/dev/null; done; wine_stop' EXIT
    wine_start "$prefix"
    for number in 7 8 9; do
        start_handset build/linux "$prefix/handset$number" --baud-rate 0 || exit 1
        handsets+=("$handset_pid")
        wine_link_port "$number" "$prefix/handset$number"
        wine_list_port "$number"
    done
    wine_register build/windows-x64/MovaCmdSvr.dll || { echo "the component could not be registered"; exit 1; }
    export MOVA_LINE_PORT=7 MOVA_FAST_PORT=8 MOVA_SPARE_FAST_PORT=9 MOVA_DLL
    MOVA_DLL=$(windows_path build/windows-x64/MovaCmdSvr.dll)
    while [ "$rounds" -eq 0 ] || [ "$(date +%s)" -lt "$until" ]; do
        timeout 600 wine build/windows-x64/test-automation.exe --gtest_filter='Soak.*:Conversation.*' 2>/dev/null |
            tr -d '\r' >"$log"
        rounds=$((rounds + 1))
        # A crash does not always show in the exit code: the closing line must be there.
        if ! grep -q '^\[  PASSED  \]' "$log" || grep -q FAILED "$log"; then
            failed=$((failed + 1))
            tail -n 40 "$log"
        fi
        echo "Wine, round $rounds: $(grep -c '^\[       OK' "$log") tests passed, rounds failed $failed"
    done
    echo "VERDICT under Wine: $([ "$failed" -eq 0 ] && echo PASS || echo FAIL) ($rounds rounds)"
    exit $((failed > 0))
}

under_wine_process=
if [ "${2:-}" = wine ]; then
    (under_wine) &
    under_wine_process=$!
fi
build/linux/tests/soak --minutes "$minutes" --objects "${SOAK_OBJECTS:-16}" --seed "${SOAK_SEED:-1}" || status=1
[ -z "$under_wine_process" ] || wait "$under_wine_process" || status=1
exit $status
