# To be sourced, in the tree's folder. A private Wine prefix with serial ports that lead to pseudo-terminals.
source scripts/wine32.sh

# wine_for KIND [FILE...]: from now on "wine" is the one for programs of this kind, x64 or x86; the files are needed for it, too.
# Where that is not to be had it says so in one line and returns 77.
wine_for() {
    local kind=$1 lacks= file
    shift
    wine_bits=64
    if [ "$kind" = x86 ]; then
        wine_bits=32
        for file in "$@"; do [ -e "$file" ] || lacks="$file, which ./test builds with the packages of the group wine32 in scripts/packages.sh"; done
        [ -n "$lacks" ] || lacks=$(wine32_lacks)
        [ -z "$lacks" ] || { echo "under Wine, $kind: skipped, without $lacks"; return 77; }
    fi
    wine_use "$wine_bits"
}

# wine_start FOLDER [win64 | win32]: makes the prefix, of a 64-bit or 32-bit system, if it is not there and keeps its server
# running until wine_stop.
wine_start() {
    export WINEPREFIX=$1 WINEARCH=${2:-win64} WINEDEBUG=-all
    export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
    unset DISPLAY
    if [ ! -e "$WINEPREFIX/system.reg" ]; then
        mkdir -p "$WINEPREFIX"
        if [ "$WINEARCH" = win32 ]; then  # the one DLL that it does not bring into such a prefix by itself
            mkdir -p "$WINEPREFIX/drive_c/windows/system32"
            cp /usr/i686-w64-mingw32/lib/zlib1.dll "$WINEPREFIX/drive_c/windows/system32"
        fi
        timeout 180 wine wineboot -i >/dev/null 2>&1
        timeout 60 wineserver -w
    fi
    (wineserver -p 2>/dev/null)
}

# wine_runs: says so in one line and returns 77 when not even Wine's own programs of the kind run here, as in a container whose
# guard refuses what 32-bit ones ask of the kernel.
wine_runs() {
    local told
    [ "$wine_bits" = 64 ] && return
    told=$(timeout 60 wine cmd /c 'echo %PROCESSOR_ARCHITECTURE%' 2>/dev/null | tr -d '\r')
    [ "$told" = x86 ] || { echo "under Wine, x86: skipped, without a system that runs Wine's own 32-bit programs"; return 77; }
}

# wine_stop: ends everything that runs in the prefix.
wine_stop() {
    wineserver -k 2>/dev/null || true
    timeout 60 wineserver -w 2>/dev/null || true
}

# wine_list_port NUMBER [FRIENDLY NAME]: lists COM<NUMBER> in the prefix's device tree.
wine_list_port() {
    local number=$1 name=${2:-"Communications Port (COM$1)"} file
    file=$(mktemp "$WINEPREFIX/port-XXXXXX.reg")
    printf '%s\r\n' "REGEDIT4" "" \
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0501\\$number]" \
        "\"FriendlyName\"=\"$name\"" "\"UpperFilters\"=\"serenum\"" "" >"$file"
    timeout 60 wine regedit /S "Z:$(readlink -f "$file" | tr / '\\')" 2>/dev/null
    rm -f "$file"
}

# wine_link_port NUMBER DEVICE: COM<NUMBER> of the prefix is that Linux device.
wine_link_port() {
    ln -sfn "$2" "$WINEPREFIX/dosdevices/com$1"
}

# wine_register DLL
wine_register() {
    timeout 60 wine regsvr32 /s "$(windows_path "$1")" 2>/dev/null
}

windows_path() {
    printf 'Z:%s' "$(readlink -f "$1" | tr / '\\')"
}

# start_handset BUILD_FOLDER LINK [OPTION...]: offers a simulated handset at LINK; its process is $handset_pid.
start_handset() {
    local program=$1/mova-handset link=$2
    shift 2
    rm -f "$link.ready"
    "$program" --link "$link" --ready-file "$link.ready" "$@" >/dev/null &
    handset_pid=$!
    for _ in $(seq 200); do
        [ -e "$link.ready" ] && return
        kill -0 "$handset_pid" 2>/dev/null || break
        sleep 0.05
    done
    echo "the simulated handset did not start" >&2
    return 1
}
