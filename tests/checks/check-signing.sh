#!/usr/bin/env bash
# check-signing.sh: the package signed with a certificate made for this: every DLL and program in the zip, the setup and the
# uninstaller in it; and that without being asked nothing is signed.
set -euo pipefail
cd "$(dirname "$0")/../.."
folder=$PWD/build/signing
export MOVA_PACKAGE=$folder/package
unset MOVA_SIGN MOVA_SIGN_CERTIFICATE MOVA_SIGN_KEY MOVA_SIGN_PASSWORD_FILE MOVA_SIGN_TIME_SERVER
rm -rf "$folder"
mkdir -p "$folder/seen"

fail() {
    echo "FAILED signing: $*"
    exit 1
}

verified() { osslsigncode verify -CAfile "$folder/certificate.pem" -in "$1" >"$folder/verify.log" 2>&1; }

scripts/sign.sh --wanted && fail "wanted without being asked"
openssl req -x509 -newkey rsa:2048 -sha256 -days 2 -passout pass:throw-away -keyout "$folder/key.pem" -out "$folder/certificate.pem" \
    -subj "/CN=thrown away after the test" -addext extendedKeyUsage=codeSigning 2>/dev/null
echo throw-away >"$folder/password"
# A command that signs by the certificate and keeps what it signed, of which the uninstaller is not to be had otherwise.
cat >"$folder/sign" <<END
#!/bin/sh
MOVA_SIGN= MOVA_SIGN_CERTIFICATE="$folder/certificate.pem" MOVA_SIGN_KEY="$folder/key.pem" \\
    MOVA_SIGN_PASSWORD_FILE="$folder/password" scripts/sign.sh "\$1" || exit
cp "\$1" "$folder/seen/\$(ls "$folder/seen" | wc -l)"
END
sed -i "2i cd '$PWD'" "$folder/sign"
chmod +x "$folder/sign"
MOVA_SIGN="$folder/sign" scripts/pack.sh >"$folder/package.log" || { cat "$folder/package.log"; fail "packing"; }
grep -q '^the components, the programs, the setup and its uninstaller are signed$' "$folder/package.log" || fail "it does not say that it signed"
python3 -m zipfile -e "$MOVA_PACKAGE"/MovaCmdSvr-*[0-9].zip "$folder/unpacked"
programs=0
for file in "$folder"/unpacked/*/windows-*/*.{dll,exe} "$MOVA_PACKAGE"/*-setup.exe "$folder"/seen/*; do
    verified "$file" || { cat "$folder/verify.log"; fail "$file"; }
    programs=$((programs + 1))
done
[ "$programs" = 19 ] || fail "$programs signatures, expected those of 8 programs in the zip, the setup, and of 10 calls"
verified build/windows-x64/MovaCmdSvr.dll && fail "what is built is signed as well"
cp "$MOVA_PACKAGE"/*-setup.exe "$folder/changed.exe"
printf x | dd of="$folder/changed.exe" bs=1 seek=40000 conv=notrunc status=none
verified "$folder/changed.exe" && fail "a changed setup is taken for a signed one"
echo "signed and verified: 8 programs, the setup and its uninstaller"
