# To be sourced. install_packages GROUP...: installs what is missing of the groups below from Debian's packages, and says
# before how much that is.
source "${BASH_SOURCE[0]%/*}/progress.sh"

declare -A package_groups=(
    [build]="g++ cmake ninja-build python3 g++-mingw-w64-x86-64-posix mingw-w64-tools libwine-dev libcli11-dev libtomlplusplus-dev nlohmann-json3-dev libboost1.81-dev libedit-dev libgensio-dev"
    [build32]="g++-mingw-w64-i686-posix"
    [sanitizers]="clang libclang-rt-14-dev llvm"
    [test]="libgtest-dev libgmock-dev googletest python3 python3-pefile valgrind pkgconf ser2net openssl"
    [python]="pybind11-dev python3-dev python3-pytest"
    [analysis]="clang-format clang-tidy cppcheck"
    [browser]="chromium chromium-driver python3-selenium python3-pil"
    [wine]="wine wine64"
    [wine32]="libc6-i386 libc6-dev-i386 lib32stdc++-12-dev"
    [samples]="mono-mcs pyflakes3"
    [package]="nsis zip python3 osslsigncode cmark-gfm mandoc"
    [debian]="debhelper dh-python python3-dev pybind11-dev"
    [debiantest]="lintian mmdebstrap mount"
    [bench]="python3 python3-serial pkgconf libbenchmark-dev libabsl-dev libboost1.81-dev libbotan-2-dev libcrypto++-dev libsodium-dev libssl-dev nettle-dev zlib1g-dev"
)

install_packages() {
    local group package missing=()
    for group in "$@"; do
        for package in ${package_groups[$group]}; do
            grep -qx installed <(dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null) || missing+=("$package")
        done
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "These packages are missing and sudo is not here to install them: ${missing[*]}" >&2; return 1; }
        as_root=(sudo)
    fi
    echo "Missing, to be installed from Debian's packages: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq
    # Asked where the files are it tells the sizes and does nothing.
    LC_ALL=C apt-get install -y --print-uris --no-install-recommends "${missing[@]}" 2>/dev/null |
        sed -nE 's/^(Need to get|After this operation,) .*/    &/p' || true
    echo "    Installing takes a minute or a few beside the download."
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        -o APT::Status-Fd=1 "${missing[@]}" | apt_progress
}
