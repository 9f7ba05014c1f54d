#!/usr/bin/env bash
# Packs what is built: build/package/MovaCmdSvr-<version>.zip and MovaCmdSvr-<version>-setup.exe.
set -euo pipefail
cd "$(dirname "$0")/.."
version=$(sed -n 's/^project(MovaCmdSvr VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=MovaCmdSvr-$version
folder=build/package
rm -rf "$folder"
mkdir -p "$folder/$name"
for platform in windows-x64 windows-x86; do
    mkdir "$folder/$name/$platform"
    for file in MovaCmdSvr.dll mova.exe mova-viewer.exe mova-handset.exe; do
        cp "build/$platform/$file" "$folder/$name/$platform"
    done
    cp samples/registration-free/MovaCmdSvr.manifest "$folder/$name/$platform"
done
cp -r samples docs README.md SECURITY.md "$folder/$name"
cp build/windows-x64/src/component/automation/generated/MovaCmdSvr.h "$folder/$name/samples/cpp"
rm "$folder/$name/samples/cpp/CMakeLists.txt"
(cd "$folder" && zip -q -r -X "$name.zip" "$name")
# What the uninstaller removes: each file by its name, then the folders, inner ones first, where nothing else is in them.
(cd "$folder/$name" && {
    find . -type f -printf '%P\n' | LC_ALL=C sort | tr / '\\' | sed 's/.*/Delete "$INSTDIR\\&"/'
    find . -mindepth 1 -depth -type d -printf '%P\n' | tr / '\\' | sed 's/.*/RMDir "$INSTDIR\\&"/'
}) >"$folder/removal.nsh"
makensis -V2 -DCONTENT="$PWD/$folder/$name" -DREMOVAL="$PWD/$folder/removal.nsh" -DOUTPUT="$PWD/$folder/$name-setup.exe" -DVERSION="$version" packaging/MovaCmdSvr.nsi
ls -l "$folder/$name.zip" "$folder/$name-setup.exe"
