#!/usr/bin/env bash
# sign.sh FILE...: signs Windows programs in place, the way the environment says:
#   MOVA_SIGN              a command; the file's name is added to it
#   MOVA_SIGN_CERTIFICATE  otherwise: certificate and its chain, and MOVA_SIGN_KEY, both PEM files, for osslsigncode; with
#                          MOVA_SIGN_PASSWORD_FILE, the key's password, and MOVA_SIGN_TIME_SERVER, an RFC 3161 address without
#                          which the signatures end with the certificate
# sign.sh --wanted: whether it says anything.
set -euo pipefail
if [ "$1" = --wanted ]; then
    [ -n "${MOVA_SIGN:-}${MOVA_SIGN_CERTIFICATE:-}" ]
    exit
fi
for file; do
    if [ -n "${MOVA_SIGN:-}" ]; then
        $MOVA_SIGN "$file"
        continue
    fi
    rm -f "$file.signed"
    osslsigncode sign -certs "$MOVA_SIGN_CERTIFICATE" -key "$MOVA_SIGN_KEY" \
        ${MOVA_SIGN_PASSWORD_FILE:+-readpass "$MOVA_SIGN_PASSWORD_FILE"} ${MOVA_SIGN_TIME_SERVER:+-ts "$MOVA_SIGN_TIME_SERVER"} \
        -h sha256 -n MovaCmdSvr -in "$file" -out "$file.signed" >/dev/null
    cat "$file.signed" >"$file"  # its owner and mode stay
    rm "$file.signed"
done
