#!/usr/bin/env bash
# Runs in a clean Debian system with the packages in /try/packages: installs them with what they need from Debian's mirror,
# tries what each brings, removes them, and sees to it that nothing is left.
set -uo pipefail
log=/try/log
failed=0
holds() {  # WHAT COMMAND...
    local what=$1
    shift
    if "$@" >"$log" 2>&1; then echo "  pass  $what"; else echo "  FAIL  $what"; tail -n 30 "$log"; failed=1; fi
}
answers() { "${@:2}" >/try/said 2>&1; cat /try/said; [ "$(cat /try/said)" = "$1" ]; }  # WANTED COMMAND...
says() { "${@:2}" >/try/said 2>&1; cat /try/said; grep -qF -- "$1" /try/said; }  # PART COMMAND...
apt() { apt-get -q -y "$@"; }
ours() { dpkg-query -W -f='${Package} ${db:Status-Status}\n' '*mova*' 2>/dev/null | sed -n 's/ \(installed\|config-files\)$//p'; }
# What apt and dpkg keep for themselves is theirs.
files() {
    find / -xdev \( -path /try -o -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /var/log -o -path /var/lib/apt \
        -o -path /var/cache/apt -o -path /var/cache/ldconfig -o -path '/var/lib/dpkg/*-old' \) -prune -o -print | LC_ALL=C sort
}
version=$(dpkg-deb -f /try/packages/mova_*.deb Version)

echo "--- installed with what they need"
mapfile -t names < <(for package in /try/packages/*.deb; do dpkg-deb -f "$package" Package; done)
mapfile -t others < <(apt -s install /try/packages/*.deb | sed -n 's/^Inst \([^ ]*\) .*/\1/p' | grep -vxFf <(printf '%s\n' "${names[@]}"))
echo "  they need ${others[*]}"
holds "what they need is on Debian's mirror" apt install --no-install-recommends "${others[@]}"
files >/try/before
holds "apt installs them" apt install /try/packages/*.deb
holds "Debian's tools find nothing amiss" dpkg --audit
holds "what is recommended came along" test -e /usr/share/bash-completion/bash_completion

echo "--- tools"
holds "mova tells its version" says "mova $version" mova --version
holds "mova-viewer tells its version" says "mova-viewer $version" mova-viewer --version
mova-handset --link /try/handset --ready-file /try/ready >/try/handset.log 2>&1 &
handset=$!
for _ in $(seq 300); do [ -e /try/ready ] && break; sleep 0.1; done
holds "mova talks to the simulated handset" answers $'+CSQ: 21,99\nOK' mova --port /try/handset at AT+CSQ
for page in mova mova-viewer mova-handset; do
    holds "man page of $page" says ".TH" gzip -cd "/usr/share/man/man1/$page.1.gz"
    holds "completion of $page" bash -c ". /usr/share/bash-completion/bash_completion; _completion_loader $page; complete -p $page"
done
completed() {
    . /usr/share/bash-completion/bash_completion
    _completion_loader mova
    COMP_WORDS=(mova e2p d) COMP_CWORD=2 COMP_LINE="mova e2p d" COMP_POINT=10
    _mova mova d e2p
    echo "${COMPREPLY[*]}"
}
holds "mova e2p d is completed" answers "diff dump" completed

echo "--- ports of other machines"
holds "the module is found" says "nothing listens on this port" mova --port 127.0.0.1:9 at AT

echo "--- Python"
cat >/try/first.py <<'END'
from mova import Handset, Info, win32com
with Handset("/try/handset") as handset:
    print(handset.at("AT+CSQ"), handset.info(Info.Imei))
print(hex(win32com.client.Dispatch("MovaCmdSvr.VeCmdManager").VbInitCmdManager(0)))
END
holds "the module talks to the handset" answers $'[\'+CSQ: 21,99\'] 490154203237518\n0x4000' /usr/bin/python3 /try/first.py
kill "$handset"
wait "$handset" 2>/dev/null

echo "--- without what may be left out"
holds "the module for ports of other machines is removed" apt remove libmovacmdsvr-rfc2217
holds "mova names its package" says "libmovacmdsvr-rfc2217" mova --port 127.0.0.1:9 at AT

echo "--- removed"
mapfile -t all < <(ours)
holds "apt removes them" apt purge "${all[@]}"
holds "dpkg knows none of them" answers "" ours
files >/try/after
holds "no file is left or missing" diff /try/before /try/after

echo "--- installed again, with what develops"
holds "apt installs all of it" apt install --no-install-recommends udev g++ make cmake pkgconf /try/packages/*.deb
files >/try/again
holds "their files would have been seen" bash -c "diff /try/before /try/again | grep -q '> /usr/bin/mova$'"

echo "--- udev rules"
rules=/lib/udev/rules.d/99-movacmdsvr.rules
example=/usr/share/doc/movacmdsvr-udev/examples/70-handset.rules
device=/sys/class/tty/tty0
[ -e "$device" ] || device=/sys/class/tty/tty
ignored() {
    [ -z "${1:-}" ] || echo "SUBSYSTEM==\"tty\", KERNEL==\"${device##*/}\", SYMLINK+=\"$1\"" >/etc/udev/rules.d/70-handset.rules
    udevadm test --action=add "$device" >"$log" 2>&1 || return 2
    rm -f /etc/udev/rules.d/70-handset.rules
    grep -q '^ID_MM_PORT_IGNORE=1$' "$log"
}
if [ -e "$device" ]; then
    holds "udev reads the rules without complaint" bash -c "sed 's/^#SUB/SUB/' $example >/etc/udev/rules.d/70-handset.rules
        udevadm test $device 2>&1 | tee /try/udev; rm /etc/udev/rules.d/70-handset.rules
        grep -q 'Reading rules file: .*$(basename $rules)' /try/udev && ! grep -qE '(movacmdsvr|handset).rules:[0-9]' /try/udev"
    holds "a port with a number is kept from the modem manager" ignored COM7
    holds "one without a number is not" bash -c "$(declare -f ignored); device=$device log=$log; ignored; [ \$? -eq 1 ]"
    holds "one with another link is not" bash -c "$(declare -f ignored); device=$device log=$log; ignored gps; [ \$? -eq 1 ]"
else
    echo "  skipped: the rules, for there is no /sys to try them with"
fi

echo "--- development"
cd /try/outside || exit 1
for build in "g++ -std=c++20 main.cpp" "gcc -std=c11 main.c"; do
    # shellcheck disable=SC2046,SC2086
    holds "${build##* } by pkg-config" $build -o /try/program $(pkg-config --cflags --libs movacmdsvr)
    holds "    and runs" says "all as promised" /try/program
done
holds "both by CMake" bash -c "cmake -S . -B /try/by-cmake && cmake --build /try/by-cmake"
for program in outside outside-c; do holds "    and $program runs" says "all as promised" "/try/by-cmake/$program"; done
holds "the programs are hardened" /try/check-program.sh /usr/bin/mova-handset /usr/lib/*/libmovacmdsvr.so.1
debugged() {  # FILE: its debug symbols are installed
    local id
    id=$(readelf -n "$1" | sed -n 's/ *Build ID: //p')
    [ -n "$id" ] && [ -e "/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" ]
}
for file in /usr/bin/mova /usr/lib/*/libmovacmdsvr.so.1 /usr/lib/*/movacmdsvr/libmovacmdsvr-rfc2217.so /usr/lib/python3/dist-packages/mova/_native*.so; do
    holds "debug symbols of $file" debugged "$file"
done
exit $failed
