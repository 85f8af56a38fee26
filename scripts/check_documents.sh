#!/usr/bin/env bash
# Checks that the file shown byte by byte in docs/formats.md is the one that the command writes.
#
#   scripts/check_documents.sh VORDTA
set -euo pipefail
cd "$(dirname "$0")/.."
vordta="$1"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

printf 'who,ok\nZoë,1\nAl,.a\n' >"$work/shown.csv"
cat >"$work/shown.json" <<'JSON'
{"name": "", "label": "",
 "variables": [
  {"name": "who", "type": "character", "length": 4, "label": "Name", "format": "$4.", "informat": ""},
  {"name": "ok", "type": "numeric", "length": 8, "label": "", "format": "OK.", "informat": ""}],
 "formats": [
  {"name": "OK", "type": "numeric", "multilabel": false, "width": 3,
   "ranges": [{"value": 0.0, "labels": ["no"]}, {"value": 1.0, "labels": ["yes"]}]}]}
JSON
"$vordta" export --quiet --contract base --schema "$work/shown.json" "$work/shown.csv" "$work/shown.dta"

lines=0
while IFS= read -r line; do
    offset=$((16#${line:4:8}))
    shown="$(tr -s ' ' <<<"${line:14:48}" | sed 's/ $//; s/^ //')"
    written="$(od -An -tx1 -v -j "$offset" -N 16 "$work/shown.dta" | sed 's/^ //')"
    if [ "$shown" != "$written" ]; then
        echo "docs/formats.md at $offset shows $shown; the file has $written" >&2
        exit 1
    fi
    lines=$((lines + 1))
done < <(grep -E '^    [0-9a-f]{8}  ' docs/formats.md)
if [ "$lines" -lt 30 ]; then
    echo "docs/formats.md shows $lines lines of the file only" >&2
    exit 1
fi
