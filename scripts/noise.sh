#!/usr/bin/env bash
# noise.sh MEGABYTES [wine]: what "./soak noise" runs, of what is built. So much noise in front of answers, which must be
# right, with flat memory; natively, or through the component in a script host under Wine.
set -uo pipefail
cd "$(dirname "$0")/.."
megabytes=$1
[ "${2:-}" = wine ] || exec build/linux/tests/noise --megabytes "$megabytes"
each=32  # a round lasts two hundred seconds at most, and Wine brings a megabyte a second

source scripts/wine.sh
prefix=$PWD/build/noise-prefix
client=
trap '[ -z "$client" ] || kill "$client" 2>/dev/null; wine_stop' EXIT
wine_start "$prefix"
wine_link_port 7 "$prefix/noisy"
wine_list_port 7
wine_register build/windows-x64/MovaCmdSvr.dll || { echo "the component could not be registered"; exit 1; }
rm -f "$prefix/noisy"
# The client's memory is known by its process: a shell that becomes the script host once the line is there. By its whole
# name, or Wine starts it in a process of its own.
(
    until [ -e "$prefix/noisy" ]; do sleep 0.1; done
    exec wine 'C:\windows\system32\cscript.exe' //nologo tests/wine/noise.vbs 7 $(((megabytes + each - 1) / each)) >"$prefix/client.log" 2>/dev/null
) &
client=$!
build/linux/tests/noise --megabytes "$megabytes" --each $each --serve "$prefix/noisy" --client $client
status=$?
[ $status -eq 0 ] || kill "$client" 2>/dev/null  # it would wait for its answer
wait "$client" || status=1
client=
tr -d '\r' <"$prefix/client.log"
grep -q '^ALL PASSED' "$prefix/client.log" || status=1
exit $status
