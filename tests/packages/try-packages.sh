#!/usr/bin/env bash
# try-packages.sh: builds the Debian packages quickly, lets lintian look at them, and in a clean Debian system below build/
# installs, tries and removes them. Ends with 77 where that last part cannot be done. What it mounts is seen by it alone and
# ends with it, so build/ may be removed at any moment.
set -euo pipefail
cd "$(dirname "$0")/../.."
here=tests/packages packages=build/package-try root=$PWD/build/debian-root archives=$PWD/build/debian-archives
MOVA_QUICK=ON scripts/pack-debian.sh "$packages" >/dev/null

changes=(build/debian/*.changes)
cp -l "$packages"/*.deb "$packages"/debug-symbols/*.deb build/debian/  # where it looks for them
lintian --allow-root --fail-on error,warning "${changes[0]}"
echo "lintian: no error, no warning"

if [ "$(id -u)" -ne 0 ] || ! unshare --mount --pid --fork true 2>/dev/null; then
    echo "SKIPPED: to install them in a clean Debian system takes root, who may mount"
    exit 77
fi

# As this machine is set up: which mirror, by which proxy, and what its clock is believed.
debian() {
    apt-get indextargets 'Created-By: Packages' 'Origin: Debian' \
        --format 'deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $(REPO_URI) $(RELEASE) $(COMPONENT)' | sort -u
}
[ -n "$(debian)" ] || apt-get update -qq
apt-config dump | grep -E '^Acquire::(Check-|Retries|.*[Pp]roxy) ' >build/debian-apt.conf || true
. /etc/os-release
rm -rf "$root"
mkdir -p "$archives"
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
alone=(unshare --mount --propagation private)
debian | "${alone[@]}" mmdebstrap --mode=root --variant=minbase --aptopt=build/debian-apt.conf --dpkgopt=force-unsafe-io \
    --skip=cleanup/apt,essential/unlink --setup-hook="mkdir -p \"\$1/var/cache/apt/archives\"" \
    --setup-hook="find '$archives' -name '*.deb' -exec cp -l -t \"\$1/var/cache/apt/archives\" {} +" \
    "$VERSION_CODENAME" "$root" - >build/debian-root.log 2>&1 || {
    if grep -q "^E: apt-get update .* failed" build/debian-root.log; then
        echo "SKIPPED: to install them in a clean Debian system takes Debian's mirror: $(grep -m 1 "^E: " build/debian-root.log)"
        exit 77
    fi
    tail -n 30 build/debian-root.log
    echo "FAILED: a clean Debian system could not be made; the whole log is build/debian-root.log"
    exit 1
}

mkdir -p "$root/try/packages"
cp -l "$packages"/*.deb "$packages"/debug-symbols/*.deb "$root/try/packages"
cp -r "$here/in-clean-system.sh" tests/checks/outside tests/checks/check-program.sh "$root/try"
status=0
# shellcheck disable=SC2016
"${alone[@]}" --pid --fork --kill-child bash -c '
    mount -t proc proc "$0/proc" && mount -t devpts -o newinstance,ptmxmode=0666 devpts "$0/dev/pts" || exit
    mount -t sysfs -o ro sysfs "$0/sys" 2>/dev/null || true
    exec chroot "$0" env -u XDG_RUNTIME_DIR HOME=/try PATH=/usr/sbin:/usr/bin:/sbin:/bin /try/in-clean-system.sh' "$root" || status=$?
# The next time they need not be downloaded.
rm -rf "$archives"
mv "$root/var/cache/apt/archives" "$archives"
rm -rf "$root"
exit $status
