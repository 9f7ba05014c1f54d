#!/usr/bin/env bash
# program.sh PROGRAM: the viewer as it is started and ended from a shell.
set -uo pipefail
umask 022
viewer=$1
folder=$(mktemp -d)
export XDG_RUNTIME_DIR=$folder
trap 'rm -rf "$folder"' EXIT

fail() { echo "failed: $*"; cat "$folder"/*.txt; exit 1; }

# until COMMAND...: waits until it succeeds.
until_true() {
    for _ in $(seq 300); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    fail "in vain: $*"
}

send() {
    python3 - "$folder/KSDW_DEBUG.sock" "$@" <<'END'
import socket, sys
channel = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
channel.connect(sys.argv[1])
for text in sys.argv[2:]:
    channel.send(text.encode())
END
}

"$viewer" --file "$folder/log" >"$folder/out.txt" 2>"$folder/err.txt" &
first=$!
until_true grep -q "listening on $folder/KSDW_DEBUG.sock" "$folder/err.txt"
send "MovaCmdSvr:(COM7) one" "MovaCmdSvr:(COM8) two"
until_true grep -q "MovaCmdSvr:(COM8) two" "$folder/log"

"$viewer" >"$folder/second.txt" 2>&1 && fail "a second viewer started"
grep -q "mova-viewer: another viewer is already listening on $folder/KSDW_DEBUG.sock; end it first" "$folder/second.txt" ||
    fail "the second viewer does not say why"

# A command in the background has interruption ignored by the shell; the viewer ends all the same.
kill -INT "$first"
wait "$first" || fail "an interrupted viewer ends with $?"
[ ! -e "$folder/KSDW_DEBUG.sock" ] || fail "the channel was left behind"
cmp "$folder/out.txt" "$folder/log" || fail "the file differs from what was shown"
[ "$(stat -c %a "$folder/log")" = 600 ] || fail "others may read the file: $(stat -c %a "$folder/log")"

"$viewer" --for 20 --count 1 --json >"$folder/json.txt" 2>"$folder/err2.txt" &
second=$!
until_true grep -q listening "$folder/err2.txt"
send "MovaCmdSvr:(COM9) three"
wait "$second" || fail "the count ends the viewer with $?"
python3 -c 'import json, sys; message = json.loads(open(sys.argv[1]).read()); assert message["object"] == "COM9" and message["text"] == "three", message' \
    "$folder/json.txt" || fail "no JSON"

"$viewer" --for 60 > >(head -n 1 >"$folder/head.txt") 2>"$folder/err3.txt" &
third=$!
until_true grep -q listening "$folder/err3.txt"
send "MovaCmdSvr: four"
until_true grep -q four "$folder/head.txt"
ended() { ! kill -0 "$third"; }
until_true ended
wait "$third" && fail "a viewer whose reader left ends with 0"
grep -q "mova-viewer: nobody reads the standard output any more" "$folder/err3.txt" || fail "the viewer does not say why it ended"
[ ! -e "$folder/KSDW_DEBUG.sock" ] || fail "the channel was left behind by a viewer whose reader left"

"$viewer" --for 20 --count 1 >/dev/full 2>"$folder/err4.txt" &
fourth=$!
until_true grep -q listening "$folder/err4.txt"
send "MovaCmdSvr: six"
wait "$fourth" && fail "a full disk ends the viewer with 0"
grep -q "mova-viewer: the standard output cannot be written any more" "$folder/err4.txt" || fail "a full disk is not told"

mkfifo "$folder/pipe"
"$viewer" --for 20 --file "$folder/pipe" >"$folder/pipe.txt" 2>&1 && fail "a pipe without a reader was taken"
grep -q "pipe cannot be written: it is a pipe without a reader" "$folder/pipe.txt" || fail "a pipe without a reader is not told"

"$viewer" --regex 'a(' >"$folder/regex.txt" 2>&1 && fail "a wrong expression was taken"
grep -q '"a(" is no regular expression' "$folder/regex.txt" || fail "a wrong expression is not explained"
echo "the viewer starts, shows, shares and ends as it should"
