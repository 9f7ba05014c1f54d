#!/usr/bin/env bash
# html-docs.sh OUTPUT_FOLDER: README.md, SECURITY.md, the pages and manual pages of docs/ and the samples as HTML that opens by
# double click, index.html first. Nothing is fetched when it is read, and nothing beside the folder is needed.
set -euo pipefail
[ $# -eq 1 ] || { sed -n '2,3s/^# //p' "$0" >&2; exit 2; }
for program in cmark-gfm mandoc python3; do
    command -v "$program" >/dev/null || { echo "$0: there is no $program; it is in the group package of scripts/packages.sh" >&2; exit 1; }
done
exec python3 -B "${BASH_SOURCE[0]%/*}/html-docs.py" "$1"
