#!/usr/bin/env bash
# pack-debian.sh [FOLDER]: builds the Debian packages of this tree into FOLDER (build/package): the library, its module for ports
# of other machines, the development files, the tools, the udev rules, the Python module; in FOLDER/debug-symbols those of each.
# The tools are compiled for speed; with MOVA_QUICK=ON in the environment quickly, to try the packages. Nothing is written
# outside build/.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$PWD/${1:-build/package}
work=$PWD/build/debian
tree=$work/movacmdsvr  # what dpkg-buildpackage makes goes to the folder above
log=$PWD/build/debian.log
version=$(sed -n 's/^project(MovaCmdSvr VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
date=$(git log -1 --format=%aD 2>/dev/null || date -R -r CMakeLists.txt)

rm -rf "$work"
mkdir -p "$tree" "$folder/debug-symbols"
tar -c --exclude-vcs --exclude=./build --exclude=__pycache__ . | tar -x -C "$tree"
# The version has one home, CMakeLists.txt; so this file has none in the tree.
cat >"$tree/debian/changelog" <<END
movacmdsvr ($version) unstable; urgency=medium

  * Packages of MovaCmdSvr $version, built from its sources.

 -- $(sed -n 's/^Maintainer: //p' debian/control)  $date
END
if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_DIR=${CCACHE_DIR:-$(ccache --get-config cache_dir)}
    export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}
fi
if [ "${MOVA_QUICK:-OFF}" = ON ]; then export DEB_CXXFLAGS_STRIP=-g DEB_CXXFLAGS_APPEND=-g1; fi  # lines alone are enough to try
(cd "$tree" && LC_ALL=C.UTF-8 DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)" dpkg-buildpackage -b -us -uc) >"$log" 2>&1 || {
    tail -n 60 "$log"
    echo "building the Debian packages failed; the whole log is build/debian.log" >&2
    exit 1
}
rm -f "$folder"/*.deb "$folder"/debug-symbols/*
mv "$work"/*-dbgsym_*.deb "$folder/debug-symbols"
mv "$work"/*.deb "$folder"
ls -l "$folder"/*.deb
