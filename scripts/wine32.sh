# To be sourced. Wine for 32-bit programs on a 64-bit system: Debian's wine32 where it is installed, otherwise the same packages
# unpacked below build/. Nothing is mounted and nothing of the system is changed: the folder may be removed at any time.
wine32_folder=$PWD/build/wine32

# wine32_lacks: makes the folder if it is not there; prints what is missing, in one line, when there is no 32-bit Wine to be had.
wine32_lacks() {
    [ -x /usr/lib/wine/wine ] && return
    local loader=/lib/ld-linux.so.2 version
    [ -e "$loader" ] || { echo "the 32-bit C library (package libc6-i386)"; return; }
    "$loader" --version >/dev/null 2>&1 || { echo "a kernel that runs 32-bit programs"; return; }
    version=$(dpkg-query -W -f='${Version}' libwine:amd64 2>/dev/null)
    [ "$(cat "$wine32_folder/version" 2>/dev/null)" = "$version" ] && return
    wine32_unpack "$version" >"$wine32_folder.log" 2>&1 ||
        echo "version $version of the packages wine32 and libwine for i386 from Debian's mirror ($wine32_folder.log)"
}

# wine32_unpack VERSION: that of the 64-bit Wine, whose server and prefix both use. With a state of its own apt leaves the
# system's architectures and lists alone.
wine32_unpack() {
    local folder=$wine32_folder.part status=0
    local apt=(apt-get -q -o "Dir::State=$folder/apt" -o "Dir::State::status=$folder/apt/status" -o "Dir::Cache=$folder/apt"
        -o APT::Architecture=i386 -o APT::Architectures::=i386 -o APT::Sandbox::User=root)
    rm -rf "$wine32_folder" "$folder"
    mkdir -p "$folder/apt/lists/partial" "$folder/apt/archives/partial" && : >"$folder/apt/status"
    {
        "${apt[@]}" update || true  # a source without this architecture is none of ours
        (cd "$folder/apt" && "${apt[@]}" download "wine32=$1" "libwine=$1") &&
        dpkg-deb -x "$folder"/apt/wine32_*.deb "$folder" && dpkg-deb -x "$folder"/apt/libwine_*.deb "$folder" &&
        # As the package does when it is installed.
        cp /usr/i686-w64-mingw32/lib/zlib1.dll "$folder/usr/lib/i386-linux-gnu/wine/i386-windows" &&
        ln -s /usr/lib/wine/wine64 "$folder/usr/lib/wine/wine64" &&
        echo "$1" >"$folder/version" &&
        rm -r "$folder/apt" && mv "$folder" "$wine32_folder"
    } || status=1
    rm -rf "$folder"
    return $status
}

# wine_use BITS: from now on "wine" is the loader for programs of that kind; it finds the other's by itself. Both have one server
# and one kind of prefix, that of a 64-bit system.
wine_use() {
    local loaders=/usr/lib/wine name=wine64 folder=$PWD/build/wine-$1
    [ "$1" = 64 ] || name=wine
    mkdir -p "$folder"
    {
        echo "#!/bin/sh"
        if [ ! -x /usr/lib/wine/wine ] && [ "$1" = 32 ]; then
            loaders=$wine32_folder/usr/lib/wine
            echo "export LD_LIBRARY_PATH='$wine32_folder/usr/lib/i386-linux-gnu'"
            echo "export WINEDLLPATH='$wine32_folder/usr/lib/i386-linux-gnu/wine:/usr/lib/x86_64-linux-gnu/wine'"
        fi
        echo "export WINELOADER='$loaders/$name' WINESERVER=/usr/lib/wine/wineserver64"
        echo 'exec "$WINELOADER" "$@"'
    } >"$folder/wine.new"
    chmod +x "$folder/wine.new" && mv "$folder/wine.new" "$folder/wine"
    PATH=$folder:$PATH
}
