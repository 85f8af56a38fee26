#!/usr/bin/env bash
# Checks what a built module offers and asks for: exactly its two entries, and nothing but the C library's memory
# routines, frexp and what the tool chain itself puts in. A module built with sanitizers asks for more and fails.
#
#   scripts/check_symbols.sh MODULE.so
set -euo pipefail

if [ $# -ne 1 ] || [ ! -f "$1" ]; then
    echo "usage: scripts/check_symbols.sh MODULE.so" >&2
    exit 2
fi
module="$1"

entries="mcn_main vorimdta"
allowed="memcpy memmove memset memcmp memchr frexp
    __cxa_finalize __gmon_start__ _ITM_deregisterTMCloneTable _ITM_registerTMCloneTable"

# Names one a line, sorted, without the library version that follows an @.
names() {
    tr -s '[:space:]' '\n' | sed -e 's/@.*//' -e '/^$/d' | sort -u
}
defined="$(nm -D --defined-only "$module" | awk '{ print $NF }' | names)"
undefined="$(nm -D --undefined-only "$module" | awk '{ print $NF }' | names)"

status=0
report() { # TEXT NAMES
    if [ -n "$2" ]; then
        status=1
        while IFS= read -r name; do
            echo "$module: $1: $name" >&2
        done <<<"$2"
    fi
}
report "entry missing" "$(comm -23 <(names <<<"$entries") <(echo "$defined"))"
report "exported, but no entry" "$(comm -13 <(names <<<"$entries") <(names <<<"$defined"))"
report "needed, but not allowed" "$(comm -13 <(names <<<"$allowed") <(names <<<"$undefined"))"
exit "$status"
