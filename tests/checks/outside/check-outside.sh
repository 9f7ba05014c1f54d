#!/usr/bin/env bash
# check-outside.sh shared BUILD_FOLDER | static SOURCE_FOLDER: installs the library into a folder of its own and uses it as
# programs outside the tree do, by find_package and by pkg-config. shared: what BUILD_FOLDER has built. static: built anew
# as a part of the program's project, without precompiled headers, so that every source has to include what it needs.
set -euo pipefail
kind=$1 folder=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export MOVA_DEVICE_DIR=$work/no-ports
unset CXXFLAGS LDFLAGS DESTDIR
fail() {
    echo "FAILED: $*"
    exit 1
}
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "$*"; }; }
try() { "$1" >"$work/said" || { cat "$work/said"; fail "$1"; }; tail -n 1 "$work/said" | grep -q "all as promised"; }

installed=$work/moved
if [ "$kind" = static ]; then
    quietly cmake -G Ninja -S "$here" -B "$work/part" -DMOVA_SOURCES="$folder" -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DCMAKE_CXX_FLAGS=-O0
    quietly cmake --build "$work/part"
    try "$work/part/outside"
    try "$work/part/outside-c"
    quietly cmake -G Ninja -S "$folder" -B "$work/alone" -DMOVA_LIBRARY_ONLY=ON -DBUILD_SHARED_LIBS=OFF
    for build in "$work/part" "$work/alone"; do  # the library alone, as a part and by the option
        ninja -C "$build" -t targets all | grep -v ": phony$" >"$work/targets"
        grep -q "libmovacmdsvr\.a:" "$work/targets" || fail "no library to build in $build"
        foreign=$(grep -E "(tools|tests|python)/" "$work/targets" || true)
        [ -z "$foreign" ] || fail "more than the library to build in $build: $foreign"
    done
    folder=$work/part
fi
quietly cmake --install "$folder" --component library --prefix "$work/installed"
mv "$work/installed" "$installed"  # nothing in it may know where it was put

headers=("$installed"/include/mova/*.h)
foreign=$(grep -HE '^\s*#\s*include' "${headers[@]}" | grep -vE '#\s*include (<([a-z_]+|std[a-z]+\.h)>|"mova/[A-Za-z]+\.h")$' || true)
[ -z "$foreign" ] || fail "installed headers include what is not installed: $foreign"
for header in "${headers[@]}"; do  # each stands alone
    quietly g++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I"$installed/include" -include "$header" -x c++ /dev/null
done
quietly gcc -std=c11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$installed/include" -include "$installed/include/mova/mova.h" -x c /dev/null
others=$(find "$installed" -mindepth 1 -maxdepth 1 ! -name include ! -name lib)
[ -z "$others" ] || fail "the component library brings more than the library: $others"

if [ "$kind" = shared ]; then
    library=$(realpath "$installed/lib/libmovacmdsvr.so")
    readelf -dW "$library" | grep -q "SONAME.*\[libmovacmdsvr\.so\.1\]" || fail "the name in $library"
    [ "$(realpath "$installed/lib/libmovacmdsvr.so.1")" = "$library" ] || fail "no libmovacmdsvr.so.1"
    symbols=$(nm -DC --defined-only "$library")
    grep -q "mova::CVeCmdManager::InitCmdManager(" <<<"$symbols" || fail "no symbols in $library"
    grep -q " mova_init_cmd_manager$" <<<"$symbols" || fail "no C interface in $library"
    foreign=$(grep -vE '^[0-9a-f]+ [TVW] (mova::CVeCmdManager::|(vtable|typeinfo|typeinfo name) for mova::ConfirmationEvents$|mova::ConfirmationEvents::|mova::platformOfDevice\(|mova_[a-z0-9_]+$)' <<<"$symbols" || true)
    [ -z "$foreign" ] || fail "symbols that are nobody's business: $foreign"
fi

quietly cmake -G Ninja -S "$here" -B "$work/by-cmake" -DCMAKE_PREFIX_PATH="$installed"
quietly cmake --build "$work/by-cmake"
try "$work/by-cmake/outside"
try "$work/by-cmake/outside-c"

export PKG_CONFIG_PATH=$installed/lib/pkgconfig
[ "$(pkg-config --modversion movacmdsvr)" = "$(sed -n 's/^set(PACKAGE_VERSION "\(.*\)")/\1/p' "$installed"/lib/cmake/MovaCmdSvr/*Version.cmake)" ] ||
    fail "two versions"
# What the documentation shows, on a handset that is not there.
documented() {
    local page=$1 language=$2 status=0
    shift 2
    sed -n "/^\`\`\`$language\$/,/^\`\`\`\$/{/^\`\`\`/!p}" "$here/../../../docs/$page" >"$work/documented.$language"
    # shellcheck disable=SC2046
    quietly "$@" -Wall -Wextra -Werror "$work/documented.$language" -o "$work/documented" $(pkg-config --static --cflags --libs movacmdsvr) -Wl,-rpath,"$installed/lib"
    "$work/documented" >"$work/said" || status=$?
    [ "$status" -eq 1 ] || fail "the documented program of $page ended with $status"
}
documented getting-started-linux.md cpp g++ -std=c++20
documented c.md c gcc -std=c11

static=
[ "$kind" = shared ] || static=--static
# shellcheck disable=SC2046
quietly g++ -std=c++20 "$here/main.cpp" -o "$work/by-pkg-config" $(pkg-config $static --cflags --libs movacmdsvr) -Wl,-rpath,"$installed/lib"
try "$work/by-pkg-config"
# shellcheck disable=SC2046
quietly gcc -std=c11 -Wall -Wextra -Wpedantic -Werror "$here/main.c" -o "$work/c-by-pkg-config" $(pkg-config $static --cflags --libs movacmdsvr) -Wl,-rpath,"$installed/lib"
try "$work/c-by-pkg-config"
if [ "$kind" = shared ] && [ -d "$folder/python" ]; then  # the Python module, with the library that was installed
    quietly cmake --install "$folder" --component python --prefix "$work/python"
    others=$(find "$work/python" -type f ! -path "$work/python/lib/python3/dist-packages/mova/*")
    [ -z "$others" ] || fail "the component python brings more than the package: $others"
    readelf -dW "$work"/python/lib/python3/dist-packages/mova/_native*.so >"$work/dynamic"
    ! grep -qE "R(UN)?PATH" "$work/dynamic" || fail "the Python module looks for the library where it was built"
    LD_LIBRARY_PATH=$installed/lib PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$work/python/lib/python3/dist-packages quietly /usr/bin/python3 -c \
        'import mova; from mova import win32com; assert win32com.client.Dispatch("MovaCmdSvr.VeCmdManager").VbInitCmdManager(0) == 0x4000'
fi
if [ "$kind" = shared ]; then  # it is the shared one that was used
    readelf -dW "$work/by-pkg-config" | grep -q "NEEDED.*libmovacmdsvr\.so\.1" || fail "linked to something else"
fi
tail -n 2 "$work/said"
