#!/usr/bin/env bash
# under-wine.sh WINDOWS_FOLDER PORT: the main commands of mova.exe. The caller's Wine prefix has a simulated handset on
# the port; expectations are those of the native tests.
set -uo pipefail
program=$1/mova.exe port=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
passed=0 failed=0

# check NAME STATUS PATTERN ARGUMENT...: exit code, and an output (standard and error) that holds the pattern as a line.
check() {
    local name=$1 status=$2 pattern=$3 output ended
    shift 3
    output=$(timeout 120 wine "$program" "$@" 2>&1 </dev/null)
    ended=$?
    output=${output//$'\r'/}
    if [ "$ended" -eq "$status" ] && grep -qxE -- "$pattern" <<<"$output"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        printf 'FAILED: %s: exit code %s, not %s, or no line like %s in:\n%s\n' "$name" "$ended" "$status" "$pattern" "$output"
    fi
}

on() { check "$1" "$2" "$3" --port "$port" "${@:4}"; }

check "ports" 0 "COM$port +\\\\\\\\\\.\\\\COM$port +Communications Port \\(COM$port\\) +1 +byte by byte" ports
on "echo on" 0 "OK" at ATE1
on "an AT command" 0 "\\+CSQ: 21,99" at AT+CSQ
on "a refusal" 1 "mova: the handset refused AT\\+NOSUCH: ERROR" at AT+NOSUCH
on "info" 0 "IMEI +490154203237518" info
on "an RF request" 0 "05000201" rf general 5 0x102
on "an E2P object written" 0 "2 bytes written and read back" e2p write 0x1234 2 A55A
on "and read" 0 "A55A" e2p read 0x1234 2
on "as JSON" 0 '\{"command":"e2p read","ok":true,"object":4660,"record":2,"offset":0,"bytes":2,"data":"A55A"\}' --json e2p read 0x1234 2
on "an object that is not there" 1 "  0x8202 E2pStatus3: the handset reports E2P status 3" e2p read 0x7777 1
on "a dump" 0 "2 objects in store.e2p" e2p dump store.e2p --objects 0x1234 --records 1-2
on "compared" 0 "2 objects, no difference" e2p diff store.e2p
on "a change" 0 "2 bytes written and read back" e2p write 0x1234 2 FFFF
on "found" 1 "  bytes 0-1: file A55A, handset FFFF" e2p diff store.e2p
on "restored" 0 "1 object written and read back, 1 right already" e2p restore store.e2p
on "raw bytes" 0 "41540D0D0A4F4B0D0A" raw write 41540D --read
on "HCI" 0 "000102" hci 0 0102
printf 'at AT+CSQ\nexpect +CSQ: 21,*\nat AT\nexpect ERROR\n' >station.mova
on "a script" 1 "mova: station.mova:3: line 4: no line is like \"ERROR\"" run station.mova
check "no such port" 3 "  0x4000 NotOpen: .*" --port 99 at AT
check "wrong usage" 2 "mova: there is no command \"bogus\"" bogus
check "help" 0 "  e2p +Reads and writes E2P objects.*" --help

# piped NAME INPUT OUTPUT ARGUMENT...: the exact standard output for a standard input.
piped() {
    local name=$1 input=$2 expected=$3 output
    output=$(printf '%b' "$input" | timeout 120 wine "$program" --port "$port" "${@:4}" 2>/dev/null | tr -d '\r')
    if [ "$output" = "$expected" ]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        printf 'FAILED: %s: %s\n' "$name" "$output"
    fi
}

piped "a session" 'at AT\r\ne2p read 0x1234 2\r\nexit\r\n' $'OK\nA55A' shell
piped "its lines for the handset, and its settings" 'AT+CSQ\r\nset timeout 900\r\nset\r\n' \
    $'+CSQ: 21,99\nOK\ntimeout 900\nport '"$port"$'\ntrace off\njson off' shell
piped "a terminal" 'AT+CSQ\r\n' $'AT+CSQ\n+CSQ: 21,99\n\nOK' terminal --quiet 2000
piped "its hexadecimal view" 'AT\r' $'41 54 0D 0D 0A\n4F 4B 0D 0A' terminal --quiet 2000 --hex

# until_line PATTERN FILE
until_line() {
    for _ in $(seq 600); do
        grep -qE -- "$1" "$2" 2>/dev/null && return
        sleep 0.1
    done
    echo "$2 never had: $1"
}

# The caller can pull the cable of this port, by the file "cable" and the port's number in the prefix.
if [ -n "${MOVA_PULLED_PORT:-}" ]; then
    cable=$WINEPREFIX/cable$MOVA_PULLED_PORT
    printf 'at AT\nsleep 5000\nat AT+CSQ\n' >pulled.mova
    timeout 180 wine "$program" --port "$MOVA_PULLED_PORT" run pulled.mova >out 2>err </dev/null &
    running=$!
    until_line '1: at AT' out
    touch "$cable.out"
    until_line 'is gone; waiting for it' err
    touch "$cable.in"
    wait "$running"
    ended=$?
    if [ "$ended" -eq 0 ] && grep -q 'is back after' err && grep -q '3: at AT+CSQ' out; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAILED: a pulled cable: exit code $ended"
        cat out err
    fi
fi

echo "mova.exe: $passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 20 ]
