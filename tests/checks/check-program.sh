#!/bin/sh
# check-program.sh PROGRAM_OR_LIBRARY...: what is native moves in memory, is bound before it starts, and nothing of it is both
# writable and executable; it has guarded stacks and checked copies. check-flags.py sees to it that all of it has them.
status=0
need() {
    if ! eval "$2" >/dev/null; then
        echo "FAILED $program: $1"
        status=1
    fi
}
for program; do
    need "position independent" 'readelf -hW "$program" | grep -q "Type: *DYN"'
    need "relocations read-only" 'readelf -lW "$program" | grep -q GNU_RELRO'
    need "bound at the start" 'readelf -dW "$program" | grep -qE "BIND_NOW|FLAGS_1.*NOW"'
    need "stack not executable" 'readelf -lW "$program" | grep GNU_STACK | grep -q " RW "'
    need "nothing writable and executable" '! readelf -lW "$program" | grep LOAD | grep -q RWE'
    need "stack protector" 'readelf -sW "$program" | grep -q __stack_chk_fail'
    need "checked copies" 'readelf -sW "$program" | grep -qE "__[a-z]+_chk@"'
done
[ $status -ne 0 ] || echo "hardened: $*"
exit $status
