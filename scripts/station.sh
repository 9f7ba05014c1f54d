#!/usr/bin/env bash
# station.sh [x86]: the test station. A script host drives the simulated handset through the component, the 64-bit one or, with
# what ./test has built, the 32-bit one. Leaves nothing running.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/wine.sh
kind=${1:-x64}
prefix=$PWD/build/station-$kind
wine_for "$kind" "build/windows-$kind/MovaCmdSvr.dll" || exit

handset_pid=
finish() {
    [ -n "$handset_pid" ] && kill "$handset_pid" 2>/dev/null && wait "$handset_pid" 2>/dev/null
    wine_stop
    return 0
}
trap finish EXIT

echo "--- making the station: handset on COM7, component registered"
wine_start "$prefix"
start_handset build/linux "$prefix/handset"
wine_link_port 7 "$prefix/handset"
wine_list_port 7
wine_register "build/windows-$kind/MovaCmdSvr.dll"
echo "--- cscript samples/vbscript/station.vbs 7"
status=0
timeout 120 wine cscript //nologo samples/vbscript/station.vbs 7 2>/dev/null | tr -d '\r' || status=$?
[ "$status" -eq 0 ] || echo "the station ended with status $status" >&2
cat <<'NEXT'

What to try next:
  export PATH=$PWD/build/linux:$PATH
  mova-handset --link /tmp/handset &     a handset on a pseudo-terminal
  mova --port /tmp/handset info          who it is; "mova --help" lists more
  mova --port /tmp/handset shell         a session with it
  docs/getting-started-linux.md          a dump, a trace as a picture, a test sequence
NEXT
exit "$status"
