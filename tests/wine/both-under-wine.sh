#!/usr/bin/env bash
# both-under-wine.sh X64_FOLDER X86_FOLDER NATIVE_FOLDER: both DLLs registered on one 64-bit system, as users have them. Ends with
# 77 where no 32-bit Wine can be had.
set -uo pipefail
cd "$(dirname "$0")/../.."
source scripts/wine.sh
declare -A folder=([x64]=$1 [x86]=$2) wine
native=$3
for kind in x64 x86; do
    wine_for "$kind" || exit
    wine[$kind]=$PWD/build/wine-$wine_bits/wine
done
prefix=$PWD/build/automation-prefix-x86  # it has both kinds of programs
class='CLSID\{fe640147-2f81-4a07-af44-f1b818ed5cee}'
library='TypeLib\{42f19dc8-90ef-428c-9410-46300a83fa1a}\1.0\409'
handset_pid=
checks=0 failed=0

finish() {
    [ -n "$handset_pid" ] && kill "$handset_pid" 2>/dev/null && wait "$handset_pid" 2>/dev/null
    wine_stop
}
trap finish EXIT

# check NAME GOT EXPECTED
check() {
    checks=$((checks + 1))
    [ "$2" != "$3" ] || return 0
    failed=$((failed + 1))
    echo "FAILED: $1: $2, not $3"
}

dll() { windows_path "${folder[$1]}/MovaCmdSvr.dll"; }

# register KIND [/u]: with the system's registrar of that kind.
register() {
    timeout 60 "${wine[$1]}" regsvr32 /s ${2:-} "$(dll "$1")" 2>/dev/null
    check "regsvr32 ${2:-} of $1" $? 0
}

# value VIEW KEY: its unnamed value as programs of 32 or 64 bits find it, or "none".
value() {
    local text
    text=$(timeout 60 "${wine[x64]}" reg query "HKLM\\Software\\Classes\\$2" "/reg:$1" /ve 2>/dev/null | tr -d '\r' | sed -n 's/.*REG_SZ *//p')
    echo "${text:-none}"
}

# last PROGRAM...: what it says in the end.
last() { timeout 120 "$@" 7 2>/dev/null | tr -d '\r' | tail -n 1; }

# found KIND BY_NAME BY_CLASS: what its clients come to that ask for the component by its name and by its class.
found() {
    local kind=$1
    check "$kind: by name" "$(last "${wine[$kind]}" "${folder[$kind]}/samples/late_bound.exe")" "$2"
    check "$kind: by class" "$(last "${wine[$kind]}" "${folder[$kind]}/samples/early_bound.exe")" "$3"
}
good="VERDICT: PASS"
no_name="the component cannot be created: 0x800401F3"
no_class="the component cannot be created: 0x80040154"

wine_start "$prefix"
start_handset "$native" "$prefix/handset" || exit 1
wine_link_port 7 "$prefix/handset"
wine_list_port 7

for kind in x64 x86; do register $kind; done
check "the 64-bit view's DLL" "$(value 64 "$class\\InprocServer32")" "$(dll x64)"
check "the 32-bit view's DLL" "$(value 32 "$class\\InprocServer32")" "$(dll x86)"
check "the library for 64 bit" "$(value 64 "$library\\win64")" "$(dll x64)"
check "the library for 32 bit" "$(value 64 "$library\\win32")" "$(dll x86)"
for kind in x64 x86; do
    found $kind "$good" "$good"
    check "$kind: script host" "$(last "${wine[$kind]}" cscript //nologo samples/vbscript/station.vbs)" "$good"
done

# The names are one entry for both: who takes one DLL back takes them, until the other one is registered again.
for kind in x64 x86; do
    [ $kind = x64 ] && other=x86 || other=x64
    register $kind /u
    found $kind "$no_name" "$no_class"
    found $other "$no_name" "$good"
    register $other
    found $other "$good" "$good"
    found $kind "$no_class" "$no_class"
    register $kind
done
for kind in x64 x86; do register $kind /u; done
for view in 32 64; do
    for key in "$class" "$library" MovaCmdSvr.VeCmdManager MovaCmdSvr.VeCmdManager.1; do
        check "left in the $view-bit view" "$(value $view "$key")" none
    done
done
echo "both DLLs on one system: $checks checks, $failed failed"
exit $((failed > 0))
