#!/bin/sh
# check-program.sh PROGRAM: a native program moves in memory, is bound before it starts, and nothing of it is both writable
# and executable; its functions look after their stack.
program=$1
status=0
need() {
    if ! eval "$2" >/dev/null; then
        echo "FAILED $program: $1"
        status=1
    fi
}
need "position independent" 'readelf -hW "$program" | grep -q "Type: *DYN"'
need "relocations read-only" 'readelf -lW "$program" | grep -q GNU_RELRO'
need "bound at the start" 'readelf -dW "$program" | grep -q BIND_NOW'
need "stack not executable" 'readelf -lW "$program" | grep GNU_STACK | grep -q " RW "'
need "nothing writable and executable" '! readelf -lW "$program" | grep LOAD | grep -q RWE'
need "stack protector" 'readelf -sW "$program" | grep -q __stack_chk_fail'
need "checked copies" 'readelf -sW "$program" | grep -qE "__[a-z]+_chk@"'
[ $status -ne 0 ] || echo "$program: hardened"
exit $status
