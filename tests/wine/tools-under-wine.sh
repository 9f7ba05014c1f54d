#!/usr/bin/env bash
# tools-under-wine.sh DLL_FOLDER NATIVE_FOLDER: the viewer and the trace command as Windows programs, on what the component
# says and writes there; the simulated handset in mova.exe; the Windows guide, as the package is unpacked.
set -uo pipefail
cd "$(dirname "$0")/../.."
source scripts/wine.sh
dlls=$1 native=$2
kind=${dlls##*-}
wine_for "$kind" || exit
prefix=$PWD/build/tools-prefix-$kind
handset_pid=

finish() {
    [ -n "$handset_pid" ] && kill "$handset_pid" 2>/dev/null && wait "$handset_pid" 2>/dev/null
    wine_stop
}
trap finish EXIT

fail() {
    echo "failed under Wine: $*"
    tail -n 20 "$prefix"/*.txt
    exit 1
}

# until_file PATTERN FILE
until_file() {
    for _ in $(seq 600); do
        grep -qF -- "$1" "$2" 2>/dev/null && return
        sleep 0.1
    done
    fail "$2 never had: $1"
}

wine_start "$prefix"
rm -f "$prefix"/*.txt
start_handset "$native" "$prefix/handset" || exit 1
wine_link_port 7 "$prefix/handset"
wine_list_port 7
wine_register "$dlls/MovaCmdSvr.dll" || fail "the component could not be registered"
viewer=$dlls/mova-viewer.exe

echo "--- the viewer hears the component"
timeout 200 wine "$viewer" --object COM7 --regex '^(Send: AT|E2P-A)' --count 3 --for 180 --file "$(windows_path "$prefix")\\log.txt" \
    >"$prefix/shown.txt" 2>"$prefix/viewer.txt" &
viewing=$!
until_file 'listening on \\.\mailslot\KSDW_DEBUG' "$prefix/viewer.txt"
timeout 60 wine "$viewer" --for 1 >"$prefix/second.txt" 2>&1 && fail "a second viewer started"
grep -qF 'another viewer is already listening on \\.\mailslot\KSDW_DEBUG; end it first' "$prefix/second.txt" ||
    fail "the second viewer does not say why"
timeout 120 wine cscript //nologo samples/vbscript/station.vbs 7 2>/dev/null | tr -d '\r' >"$prefix/station.txt"
grep -q '^VERDICT: PASS$' "$prefix/station.txt" || fail "the station"
wait "$viewing" || fail "the viewer ended with $?"
[ "$(grep -cE '^....-..-.. ..:..:..\.... MovaCmdSvr:\(COM7\) (Send: AT|E2P-A)' "$prefix/shown.txt")" = 3 ] || fail "what was shown"
cmp "$prefix/shown.txt" "$prefix/log.txt" || fail "the file differs from what was shown"
timeout 60 wine "$viewer" --for 0.2 2>/dev/null || fail "the channel is not free again"
timeout 60 wine "$viewer" --regex 'a(' >"$prefix/regex.txt" 2>&1 && fail "a wrong expression was taken"

echo "--- the trace that it wrote is read"
trace=$(find "$prefix/drive_c/users" -name station-trace.log | head -n 1)
[ -n "$trace" ] || fail "no trace was written"
name=$(windows_path "$trace")
timeout 60 wine "$dlls/mova.exe" trace "$name" --html "$(windows_path "$prefix")\\page.html" 2>/dev/null >"$prefix/trace.txt" ||
    fail "the trace command ended with $?"
tail -n +3 "$prefix/trace.txt" | tr -d '\r' | head -n 14
"$native/mova" trace "$trace" >"$prefix/native.txt" || fail "the native trace command ended with $?"
# The figures are the same on both systems; the first line has the file's name.
diff <(tr -d '\r' <"$prefix/trace.txt" | sed '1d;/^the page is/,$d;/^$/d') <(sed '1d;/^$/d' "$prefix/native.txt") || fail "the figures differ"
# The station asks for one thing on purpose that the handset does not know.
grep -q '^1 error, 0 damaged frames' "$prefix/native.txt" || fail "the number of errors"
grep -q 'AT+NOSUCHTHING: the handset answered ERROR$' "$prefix/native.txt" || fail "the error"
"$native/mova" trace "$trace" --html "$prefix/native.html" >/dev/null
diff <(grep -v '"file"' "$prefix/page.html") <(grep -v '"file"' "$prefix/native.html") >/dev/null || fail "the pages differ"
timeout 60 wine "$dlls/mova.exe" trace "$(windows_path CMakeLists.txt)" >"$prefix/foreign.txt" 2>&1 && fail "a foreign file was taken"
grep -q 'CMakeLists.txt:1: no line ends in a time' "$prefix/foreign.txt" || fail "a foreign file is not explained"

echo "--- the handset that is simulated inside mova.exe, and no port"
timeout 60 wine "$dlls/mova.exe" --port sim e2p read 0x1234 2 2>"$prefix/sim.txt" | tr -d '\r' >"$prefix/sim-read.txt"
[ "$(cat "$prefix/sim-read.txt")" = FFFF ] || fail "reading from it"
printf 'at AT+CSQ\r\ne2p write 0x1234 2 A55A\r\nat AT\r\ne2p read 0x1234 2\r\n' |
    timeout 120 wine "$dlls/mova.exe" --port sim:hang-up=1 shell 2>"$prefix/sim.txt" | tr -d '\r' >"$prefix/sim-session.txt"
[ "$(cat "$prefix/sim-session.txt")" = $'2 bytes written and read back\nOK\nA55A' ] || fail "a session with it"
grep -q 'sim:hang-up=1 is back after ' "$prefix/sim.txt" || fail "its line that goes down and comes back"

echo "--- the commands that the Windows guide shows, one after the other in the folder of the zip"
version=$(sed -n 's/^project(MovaCmdSvr VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
zip=build/package/MovaCmdSvr-$version.zip
[ "$zip" -nt "$dlls/mova.exe" ] || scripts/pack.sh >"$prefix/package.txt" 2>&1 || fail "there is nothing to unpack: packing ended with $?"
guide=$prefix/guide
rm -rf "$guide" "$prefix"/drive_c/users/*/{handset.e2p,trace.log,trace.html}  # of the last time
python3 -m zipfile -e "$zip" "$guide"
guide=$guide/MovaCmdSvr-$version
commands=()
while read -r command; do
    commands+=("${command//windows-x64/windows-$kind}")
done < <(sed -n '/^```bat$/,/^```$/{/^```/d;p}' docs/getting-started-windows.md)
[ ${#commands[@]} -ge 12 ] || fail "the guide has only ${#commands[@]} commands"
for i in "${!commands[@]}"; do  # the batch file ends with the number of what fails
    printf '%s\r\nif errorlevel 1 exit /b %s\r\n' "${commands[$i]}" $((i + 1))
done >"$guide/guide.bat"
(cd "$guide" && timeout 400 wine cmd /c guide.bat >"$prefix/guide.txt" 2>&1 </dev/null)
failed=$?
[ "$failed" -eq 0 ] || fail "${commands[$((failed - 1))]:-the guide, with $failed}"
grep -qi '<!doctype html>' "$prefix"/drive_c/users/*/trace.html || fail "the guide's page"
rm "$guide/guide.bat"
python3 -m zipfile -l "$zip" | sed -n 's/^MovaCmdSvr-[^/]*\/\(.*[^ /]\)  *20[0-9-]* .*/\1/p' | sort >"$prefix/zip.txt"
(cd "$guide" && find . -type f -printf '%P\n' | sort) | diff "$prefix/zip.txt" - || fail "the guide's commands left something in the folder"
echo "${#commands[@]} commands of the guide"
echo "the tools do as Windows programs ($kind) what they do natively"
