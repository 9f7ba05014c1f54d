#!/usr/bin/env bash
# pack.sh [--shipped]: packs what is built: build/package/MovaCmdSvr-<version>.zip, MovaCmdSvr-<version>-setup.exe and
# MovaCmdSvr-<version>-symbols.zip, signed where the environment says how (scripts/sign.sh). --shipped: line tables are demanded.
# In the environment MOVA_PACKAGE: another folder than build/package.
set -euo pipefail
cd "$(dirname "$0")/.."
version=$(sed -n 's/^project(MovaCmdSvr VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=MovaCmdSvr-$version
folder=${MOVA_PACKAGE:-$PWD/build/package}
content=$folder/$name
symbols=$folder/$name-symbols
declare -A tools=([windows-x64]=x86_64-w64-mingw32 [windows-x86]=i686-w64-mingw32)
programs=()
rm -rf "$folder"
mkdir -p "$content" "$symbols"

# add_program PLATFORM FILE: without its names, which go into a file of their own that debuggers find by its name.
add_program() {
    local tool=${tools[$1]} from=build/$1/$2 to=$content/$1/$2 apart=$symbols/$1/$2.debug
    if [ "${shipped:-}" ] && ! "$tool-objdump" -h "$from" | grep -q '\.debug_line'; then
        echo "$from has no line tables" >&2
        return 1
    fi
    if "$tool-nm" "$from" 2>&1 | grep -q 'no symbols'; then
        cp "$from" "$to"
    else
        mkdir -p "$symbols/$1"
        "$tool-objcopy" --only-keep-debug "$from" "$apart"
        "$tool-objcopy" --strip-all --add-gnu-debuglink="$apart" "$from" "$to"
    fi
    programs+=("$to")
}

[ "${1:-}" != --shipped ] || shipped=yes
for platform in windows-x64 windows-x86; do
    mkdir "$content/$platform"
    for file in MovaCmdSvr.dll mova.exe mova-viewer.exe mova-handset.exe; do add_program $platform $file; done
    cp samples/registration-free/MovaCmdSvr.manifest "$content/$platform"
done
cp -r samples docs README.md SECURITY.md "$content"
cp build/windows-x64/src/component/automation/generated/MovaCmdSvr.h "$content/samples/cpp"
rm "$content/samples/cpp/CMakeLists.txt"
documentation=docs
if [ -x scripts/html-docs.sh ]; then
    scripts/html-docs.sh "$content/html"
    documentation='html\index.html'
fi

sign=()
if scripts/sign.sh --wanted; then
    scripts/sign.sh "${programs[@]}"
    sign=(-DSIGN="$PWD/scripts/sign.sh")
fi
(cd "$folder" && zip -q -r -X "$name.zip" "$name" && zip -q -r -X "$name-symbols.zip" "$name-symbols")

# What the uninstaller removes: each file by its name, then the folders, inner ones first, where nothing else is in them.
(cd "$content" && find . -type f -printf '%P\n' | LC_ALL=C sort | tr / '\\') >"$folder/files.txt"
{
    sed 's/.*/Delete "$INSTDIR\\&"/' "$folder/files.txt"
    (cd "$content" && find . -mindepth 1 -depth -type d -printf '%P\n') | tr / '\\' | sed 's/.*/RMDir "$INSTDIR\\&"/'
} >"$folder/removal.nsh"
(cd packaging && makensis -V2 -WX -DVERSION="$version" -DOUTPUT="$folder/$name-setup.exe" -DCONTENT="$content" \
    -DREMOVAL="$folder/removal.nsh" -DLIST="$folder/files.txt" -DDOCUMENTATION="$documentation" "${sign[@]}" MovaCmdSvr.nsi)
ls -l "$folder/$name.zip" "$folder/$name-symbols.zip" "$folder/$name-setup.exe"
if [ ${#sign[@]} -gt 0 ]; then
    echo "the components, the programs, the setup and its uninstaller are signed"
else
    echo "nothing is signed: scripts/sign.sh tells how"
fi
