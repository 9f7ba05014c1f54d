#!/usr/bin/env bash
# setup-under-wine.sh SYSTEM [PACKAGE_FOLDER]: the setup and its uninstaller on a fresh system of their own, of 64 bits (x64) or of
# 32 bits (x86): all that is to be seen before, meanwhile and after. Ends with 77 where no 32-bit Wine can be had.
set -uo pipefail
cd "$(dirname "$0")/../.."
source scripts/wine.sh
system=$1 package=${2:-build/package} native=build/linux
declare -A wine bits=([x64]=64 [x86]=32)
case $system in
    x64) kinds="x64 x86" architecture=win64 ;;
    x86) kinds=x86 architecture=win32 ;;
esac
for kind in x64 x86; do  # the setup is a 32-bit program: its loader comes first in the path
    wine_for $kind || exit
    wine[$kind]=$PWD/build/wine-$wine_bits/wine
done
prefix=$PWD/build/setup-prefix-$system
drive=$prefix/drive_c
setup=$(echo "$package"/MovaCmdSvr-*-setup.exe)
content=${setup%-setup.exe}
folder='C:\Program Files\MovaCmdSvr'
tools=windows-${kinds%% *}
list='SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\MovaCmdSvr'
class='Software\Classes\CLSID\{fe640147-2f81-4a07-af44-f1b818ed5cee}\InprocServer32'
library='Software\Classes\TypeLib\{42f19dc8-90ef-428c-9410-46300a83fa1a}\1.0\409'
machine_environment='HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment'
everybodys_menu="$drive/ProgramData/Microsoft/Windows/Start Menu/Programs/MovaCmdSvr"
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

# same NAME FILE EXPECTED_FILE
same() {
    local difference
    difference=$(diff "$3" "$2")
    check "$1" "$difference" ""
}

# unix FOLDER: where that folder of C: is.
unix() {
    local path=${1#C:\\}
    echo "$drive/${path//\\//}"
}

# value KEY NAME [VIEW]: "TYPE text", or nothing; the unnamed one by the name "".
value() {
    local view=
    [ "$system" = x86 ] || view=/reg:${3:-64}
    timeout 60 "${wine[${kinds%% *}]}" reg query "$1" ${view:+"$view"} $([ "$2" ] && echo /v "$2" || echo /ve) 2>/dev/null | tr -d '\r' |
        sed -n 's/^ \{4\}.* \{4\}\(REG_[A-Z_]*\) \{4\}\(.*\)$/\1 \2/p'
}

# text KEY NAME [VIEW]: the same without its type.
text() { value "$@" | sed 's/^[A-Z_]* //'; }

# install ARGUMENT...: what the setup ends with.
install() {
    timeout 120 wine "$setup" /S "$@" >/dev/null 2>&1
    echo $?
}

# uninstall FOLDER: as the system's list does it. It goes on in a copy of itself.
uninstall() {
    local program
    program=$(unix "$1")/uninstall.exe
    timeout 60 wine "$program" /S >/dev/null 2>&1
    for _ in $(seq 300); do
        [ -e "$program" ] || break
        sleep 0.1
    done
    sleep 0.5  # the folder, the list
}

# uninstall_directly FOLDER: what the uninstaller ends with that does not work as a copy. Its last argument must not be quoted.
uninstall_directly() {
    printf '@start /wait "" "%s\\uninstall.exe" /S _?=%s\r\n@exit %%ERRORLEVEL%%\r\n' "$1" "$1" >"$prefix/directly.cmd"
    (cd "$prefix" && timeout 60 wine cmd /c directly.cmd >/dev/null 2>&1)
    echo $?
}

# state FILE: every file of C: and everything in the registry. The server writes that as it ends.
state() {
    wine_stop
    {
        (cd "$drive" && find . -path '*/[Tt]emp/*' -prune -o -type f -printf 'file %P %s\n' -o -printf '%y %P\n' | LC_ALL=C sort)
        # Without times, and what uninstallers leave for the system to delete: the copy of themselves that did the work.
        sed 's/^\(\[.*\]\) [0-9]*$/\1/; /^#time=/d; /^"DriverDateData"=/d; /^"PendingFileRenameOperations"=/d' "$prefix"/{system,user}.reg
    } >"$1"
    wine_start "$prefix" $architecture
}

# files FOLDER: what is in it, with the content.
files() {
    (cd "$(unix "$1")" 2>/dev/null && find . -type f -exec md5sum {} + | LC_ALL=C sort -k 2)
}

# expected_files: what there is in the folder but for the uninstaller.
expected_files() {
    (cd "$content" && find . -type f -exec md5sum {} +; cd .. && sed 's|files\.txt|./installed-files.txt|' <(md5sum files.txt)) |
        { [ "$system" = x64 ] && cat || grep -v ' ./windows-x64/'; } | LC_ALL=C sort -k 2
}

# complete NAME FOLDER
complete() {
    same "$1: the files" <(files "$2" | grep -v ' ./uninstall.exe$') <(expected_files)
    check "$1: the uninstaller" "$([ -e "$(unix "$2")/uninstall.exe" ] && echo there)" there
}

# registered NAME FOLDER: for everybody.
registered() {
    local kind
    for kind in $kinds; do
        check "$1: the $kind component" "$(text "HKLM\\$class" "" ${bits[$kind]})" "$2\\windows-$kind\\MovaCmdSvr.dll"
        check "$1: the $kind type library" "$(text "HKLM\\$library\\win${bits[$kind]}" "")" "$2\\windows-$kind\\MovaCmdSvr.dll"
        check "$1: a $kind client" "$(timeout 120 "${wine[$kind]}" "build/windows-$kind/samples/late_bound.exe" 7 2>/dev/null |
            tr -d '\r' | tail -n 1)" "VERDICT: PASS"
    done
}

# registered_for_user NAME FOLDER: Wine shows no program a user's own classes, has them in one view, so that the DLL that comes
# last stands there, and the type library with the machine's.
registered_for_user() {
    local kind found
    for kind in $kinds; do
        found=$(text "HKCU\\$class" "" ${bits[$kind]})
        check "$1: the $kind component" "$([[ $found == "$2\\windows-$kind\\MovaCmdSvr.dll" || $found == "$2\\windows-x86\\MovaCmdSvr.dll" ]] || echo "$found")" ""
        check "$1: the $kind type library" "$(text "HKCU\\$library\\win${bits[$kind]}" "")$(text "HKLM\\$library\\win${bits[$kind]}" "")" \
            "$2\\windows-$kind\\MovaCmdSvr.dll"
        check "$1: nothing of the $kind component for others" "$(value "HKLM\\$class" "" ${bits[$kind]})" ""
    done
}

# nowhere NAME FOLDER: nothing is left of an installation but the folder's own other files.
nowhere() {
    check "$1: not in the list" "$(value "HKLM\\$list" DisplayName)$(value "HKCU\\$list" DisplayName)" ""
    check "$1: not registered" "$(for kind in $kinds; do for root in HKLM HKCU; do
        value "$root\\$class" "" ${bits[$kind]}; done; done)" ""
    check "$1: no folder" "$([ -e "$(unix "$2")" ] && echo there)" ""
}

# hold FILE: a program keeps others from writing it until release, as Windows does with what a host has loaded and Wine does not.
hold() {
    rm -f "$prefix/held"
    : >"$prefix/hold"
    makensis -V1 -DFILE="$1" "-XOutFile $prefix/hold.exe" tests/wine/hold.nsi || exit
    timeout 300 wine "$prefix/hold.exe" >/dev/null 2>&1 &
    holder=$!
    for _ in $(seq 300); do
        [ -e "$prefix/held" ] && return
        sleep 0.1
    done
    check "$1 is held" "no" "yes"
}

release() {
    rm -f "$prefix/hold"
    wait $holder
}
# link FILE: the texts of a shortcut.
link() {
    python3 - "$1" <<'END'
import re, sys
data = open(sys.argv[1], "rb").read()
for start in 0, 1:  # of two-byte characters
    print(*re.findall("[ -~]{4,}", data[start:].decode("utf-16-le", "replace")), sep="\n")
END
}

[ -e "$setup" ] || { echo "there is no $setup: scripts/pack.sh makes it"; exit 1; }
rm -rf "$prefix"
wine_start "$prefix" $architecture
wine_runs || exit
start_handset "$native" "$prefix/handset" || exit 1
wine_link_port 7 "$prefix/handset"
wine_list_port 7
# What the system and its script hosts write once, and keys that every user of a while has.
echo 'WScript.Quit' >"$prefix/nothing.vbs"
for kind in $kinds; do (cd "$prefix" && timeout 60 "${wine[$kind]}" cscript //nologo nothing.vbs >/dev/null 2>&1); done
for key in 'Classes\CLSID' 'Microsoft\Windows\CurrentVersion\Uninstall'; do
    timeout 60 wine reg add "HKCU\\Software\\$key" /f >/dev/null 2>&1
done
state "$prefix/before.txt"
machine_path=$(value "$machine_environment" Path)
user_path=$(value 'HKCU\Environment' Path)

echo "--- for all users"
check "installing" "$(install)" 0
complete "for all users" "$folder"
registered "for all users" "$folder"
check "listed as" "$(text "HKLM\\$list" DisplayName)" MovaCmdSvr
check "listed with its version" "$(text "HKLM\\$list" DisplayVersion)" 1.8.4
check "listed with its publisher" "$(text "HKLM\\$list" Publisher)" MovaCmdSvr
check "listed with its folder" "$(text "HKLM\\$list" InstallLocation)" "$folder"
check "listed with its icon" "$(text "HKLM\\$list" DisplayIcon)" "$folder\\uninstall.exe"
check "listed to be removed" "$(text "HKLM\\$list" UninstallString)" "\"$folder\\uninstall.exe\" /AllUsers"
check "listed to be removed quietly" "$(text "HKLM\\$list" QuietUninstallString)" "\"$folder\\uninstall.exe\" /AllUsers /S"
size=$(text "HKLM\\$list" EstimatedSize)
actual=$(du -sk --apparent-size "$(unix "$folder")" | cut -f 1)
check "listed with its size, $((size)) KB of $actual" "$((size > actual * 8 / 10 && size < actual * 12 / 10))" 1
check "the documentation that the list tells of" "$([ -e "$(unix "$(text "HKLM\\$list" Readme)")" ] && echo there)" there
check "the machine's search path" "$(value "$machine_environment" Path)" "$machine_path"
check "the user's list" "$(value "HKCU\\$list" DisplayName)" ""
check "the menu" "$(ls "$everybodys_menu" | tr '\n' ,)" "Command prompt with mova.lnk,Documentation.lnk,Uninstall.lnk,Viewer.lnk,"
prompt=$(link "$everybodys_menu/Command prompt with mova.lnk" | sed -n 's/.*\/k set/set/p')
check "the menu's prompt" "$prompt" "set \"PATH=$folder\\$tools;%PATH%\"& cd /d \"%USERPROFILE%\""
printf '@%s\r\nmova --version\r\n@cd\r\n' "$prompt" >"$prefix/as-in-prompt.cmd"
check "mova in such a prompt" "$(cd "$prefix" && timeout 60 wine cmd /c as-in-prompt.cmd 2>/dev/null | tr -d '\r' | grep '^mova ')" "mova 1.8.4"
check "what the files show of themselves" "$(tests/checks/check-resources.py "$setup" "$(unix "$folder")/uninstall.exe" "$(unix "$folder")"/windows-*/*.{dll,exe} | tail -n 1)" \
    "resources of $(($(wc -w <<<"$kinds") * 4 + 2)) programs are as they should be, 0 are not"

echo "--- once more over it, with other choices"
own=$'docs/notes.txt\nsamples/mine/station.vbs\nstation.toml\n'$tools/station.log
mkdir -p "$(unix "$folder")/samples/mine"
while read -r file; do echo mine >"$(unix "$folder")/$file"; done <<<"$own"
own_pattern=$(sed 's|.*| ./&$|' <<<"$own")
echo gone >"$(unix "$folder")/docs/of-an-older-version.md"
printf '%s\r\n' 'docs\of-an-older-version.md' '..\..\outside.txt' >>"$(unix "$folder")/installed-files.txt"
echo mine >"$drive/outside.txt"
echo broken >"$(unix "$folder")/$tools/mova.exe"
check "installing" "$(install /PATH=1 /MENU=0)" 0
same "repaired, without what an older version left" <(files "$folder" | grep -v -e ' ./uninstall.exe$' -e "$own_pattern") <(expected_files)
check "the user's own files" "$(files "$folder" | grep -c -e "$own_pattern")" 4
check "a file outside" "$(cat "$drive/outside.txt")" mine
rm "$drive/outside.txt"
registered "over it" "$folder"
check "the search path" "$(value "$machine_environment" Path)" "$machine_path;$folder\\$tools"
check "mova by its name" "$(cd "$prefix" && timeout 60 wine cmd /c "mova --version" 2>/dev/null | tr -d '\r' | head -n 1)" "mova 1.8.4"
check "no menu" "$([ -e "$everybodys_menu" ] && echo there)" ""
check "installing without switches" "$(install)" 0
check "the search path as it was chosen before" "$(value "$machine_environment" Path)" "$machine_path;$folder\\$tools"
check "the menu as it was chosen before" "$([ -e "$everybodys_menu" ] && echo there)" ""

echo "--- what it refuses"
files "$folder" >"$prefix/kept.txt"
for kind in $kinds; do
    hold "$folder\\windows-$kind\\MovaCmdSvr.dll"
    check "the $kind component is in use" "$(install /PATH=0)" 3
    check "removing while the $kind component is in use" "$(uninstall_directly "$folder")" 3
    check "moving while the $kind component is in use" "$(install '/D=C:\Moved')" 8
    release
done
check "a switch that is wrong" "$(install /PATH=yes)" 7
same "refused, and every file as it was" <(files "$folder") "$prefix/kept.txt"
check "nothing moved" "$([ -e "$drive/Moved" ] && echo there)" ""
registered "refused" "$folder"
check "refused, and the search path as it was" "$(value "$machine_environment" Path)" "$machine_path;$folder\\$tools"

echo "--- to another folder"
check "installing" "$(install '/D=C:\Moved')" 0
complete "moved" 'C:\Moved'
registered "moved" 'C:\Moved'
check "the search path moves along" "$(value "$machine_environment" Path)" "$machine_path;C:\\Moved\\$tools"
same "the user's own files alone stay" <(cd "$(unix "$folder")" && find . -type f -printf '%P\n' | LC_ALL=C sort) <(echo "$own")
check "empty folders" "$(find "$(unix "$folder")" -type d -empty)" ""
rm -r "$(unix "$folder")"
uninstall 'C:\Moved'
state "$prefix/after.txt"
same "all is as it was before" "$prefix/after.txt" "$prefix/before.txt"

echo "--- for the user alone"
check "installing" "$(install /CurrentUser /PATH=1)" 0
own_folder=$(text "HKCU\\$list" InstallLocation)
check "the folder is the user's" "$(grep -ciE '^C:\\users\\[^\]*\\AppData\\Local\\Programs\\MovaCmdSvr$' <<<"$own_folder")" 1
complete "for the user" "$own_folder"
registered_for_user "for the user" "$own_folder"
check "not in the list of others" "$(value "HKLM\\$list" DisplayName)" ""
check "the machine's search path" "$(value "$machine_environment" Path)" "$machine_path"
check "the user's search path" "$(value 'HKCU\Environment' Path)" "REG_EXPAND_SZ ${user_path:+${user_path#* };}$own_folder\\$tools"
check "everybody's menu" "$([ -e "$everybodys_menu" ] && echo there)" ""
check "the user's menu" "$(find "$drive/users" -name 'Command prompt with mova.lnk' | wc -l)" 1
check "over it, which is for the user again" "$(install)" 0
check "still nothing for others" "$(value "HKLM\\$list" DisplayName)" ""
check "for all users instead" "$(install /AllUsers /PATH=0 /MENU=0)" 0
check "not in the user's list any more" "$(value "HKCU\\$list" DisplayName)" ""
check "the user's folder" "$([ -e "$(unix "$own_folder")" ] && echo there)" ""
registered "for all users instead" "$folder"
check "for the user beside it" "$(install /CurrentUser)" 0
check "removing that of all users before the user's own" "$(uninstall_directly "$folder")" 8
for kind in $kinds; do
    check "refused: the $kind component" "$(text "HKLM\\$class" "" ${bits[$kind]})" "$folder\\windows-$kind\\MovaCmdSvr.dll"
done
uninstall "$own_folder"
check "the user's own removed" "$(value "HKCU\\$list" DisplayName)" ""
uninstall "$folder"
rmdir "$(unix "${own_folder%\\*}")" 2>/dev/null  # the folder for programs of the user's own is the system's
state "$prefix/after.txt"
same "all is as it was before" "$prefix/after.txt" "$prefix/before.txt"

echo "--- search paths of all kinds"
# searched NAME TYPE PATH EXIT_CODE EXPECTED: as the user's path.
searched() {
    printf 'REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\Environment]\r\n"Path"=%s\r\n' "$(
        if [ "$2" = REG_SZ ]; then printf '"%s"' "${3//\\/\\\\}"; else
            printf 'hex(2):'; printf '%s\0' "$3" | od -An -v -tx1 | tr -d '\n' | sed 's/^ //; s/ /,/g'; fi)" >"$prefix/path.reg"
    timeout 60 wine regedit /S "$(windows_path "$prefix/path.reg")" 2>/dev/null
    check "$1: set" "$(value 'HKCU\Environment' Path)" "$2 $3"
    check "$1: installing" "$(install /CurrentUser /PATH=1 /MENU=0 '/D=C:\Own')" "$4"
    check "$1" "$(value 'HKCU\Environment' Path)" "$2 $5"
    uninstall 'C:\Own'
    check "$1: afterwards" "$(value 'HKCU\Environment' Path)" "$2 $3"
}
mine=C:\\Own\\$tools
long=$(for number in $(seq 300); do printf 'C:\\Programs\\Of a kind\\%03d;' $number; done)
searched "one of 7800 characters" REG_EXPAND_SZ "%SystemRoot%;${long%;}" 0 "%SystemRoot%;${long%;};$mine"
searched "without variables" REG_SZ 'C:\Windows' 0 "C:\\Windows;$mine"
searched "with a semicolon at its end" REG_SZ 'C:\Windows;' 0 "C:\\Windows;$mine;"
searched "with folders of similar names" REG_SZ "$mine-old;C:\\Else$mine;$mine\\bin" 0 "$mine-old;C:\\Else$mine;$mine\\bin;$mine"
searched "with the user's own entry" REG_SZ "C:\\One;${mine,,};C:\\Two" 0 "C:\\One;${mine,,};C:\\Two"
full=$(printf '%032750d' 0)
searched "a full one" REG_SZ "$full" 6 "$full"
timeout 60 wine reg delete 'HKCU\Environment' /v Path /f >/dev/null 2>&1
check "installing without one" "$(install /CurrentUser /PATH=1 /MENU=0 '/D=C:\Own')" 0
check "without one" "$(value 'HKCU\Environment' Path)" "REG_EXPAND_SZ $mine"
timeout 60 wine reg add 'HKCU\Environment' /v Path /t REG_EXPAND_SZ /d "C:\\First;$mine;C:\\Last" /f >/dev/null 2>&1
check "taken back from the search path" "$(install /CurrentUser /PATH=0 '/D=C:\Own')" 0
check "what others added since stays" "$(value 'HKCU\Environment' Path)" 'REG_EXPAND_SZ C:\First;C:\Last'
timeout 60 wine reg delete 'HKCU\Environment' /v Path /f >/dev/null 2>&1
[ -z "$user_path" ] || timeout 60 wine reg add 'HKCU\Environment' /v Path /t "${user_path%% *}" /d "${user_path#* }" /f >/dev/null 2>&1
uninstall 'C:\Own'
check "installing into a folder that the search path cannot have" "$(install /CurrentUser /PATH=1 /MENU=0 '/D=C:\One;Two\')" 6
check "a folder that the search path cannot have" "$(value 'HKCU\Environment' Path)" "$user_path"
complete "a folder that the search path cannot have" 'C:\One;Two'
uninstall 'C:\One;Two'
nowhere "a folder that the search path cannot have" 'C:\One;Two'

echo "--- what fails leaves nothing"
for mode in AllUsers CurrentUser; do
    export WINEDLLOVERRIDES="$WINEDLLOVERRIDES;regsvr32.exe=d"
    check "$mode: without a registrar" "$(install /$mode '/D=C:\Failing')" 4
    export WINEDLLOVERRIDES="${WINEDLLOVERRIDES%;*}"
    nowhere "$mode: without a registrar" 'C:\Failing'
done
mkdir -p "$drive/Failing/README.md"  # where a file is to be
check "a file cannot be written" "$(install '/D=C:\Failing')" 2
rmdir "$drive/Failing/README.md" "$drive/Failing" || check "only what was there is left" no yes
nowhere "a file cannot be written" 'C:\Failing'
state "$prefix/after.txt"
same "all is as it was before" "$prefix/after.txt" "$prefix/before.txt"

echo "the setup on a system of ${architecture#win} bits: $checks checks, $failed failed"
exit $((failed > 0))
