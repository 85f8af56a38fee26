#!/usr/bin/env bash
# Checks that includes go in one direction, cli -> host -> abi <- module, that each folder inside module and host/src
# includes only those that its row names, that no files of the module include each other in a circle, that CSV is known
# to the jobs and the tables only, and that no file of the tree says where or after what text it was written.
#
#   scripts/check_layers.sh
# The rule of each tier is called by its name, which shellcheck cannot see.
# shellcheck disable=SC2317
set -euo pipefail
cd "$(dirname "$0")/.."
status=0

fail() {
    echo "$*" >&2
    status=1
}

# FOLDER: every include below it, as "file<TAB>< or quote<TAB>target".
includes_of() {
    find "$1" \( -name '*.cpp' -o -name '*.h' \) -exec \
        grep -HoE '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"][^>"]+' {} + |
        sed -E 's/^([^:]+):[^<"]*([<"])(.*)$/\1\t\2\t\3/' || true
}

# The system headers a tier without a run-time library may use: types, memory routines, frexp.
abi_headers=" cstddef cstdint cstdarg type_traits "
module_headers=" cstddef cstdint cstdarg type_traits cstring cmath "

in_list() { # LIST NAME
    [[ "$1" == *" $2 "* ]]
}
beside() { # FILE TARGET
    [ -f "$(dirname "$1")/$2" ]
}

allowed_in_abi() { # FILE MARK TARGET
    case "$3" in
        vor/*) [ -f "abi/$3" ] ;;
        *) if [ "$2" = '"' ]; then beside "$1" "$3"; else in_list "$abi_headers" "$3"; fi ;;
    esac
}
allowed_in_module() {
    case "$3" in
        vor/*) [ -f "abi/$3" ] ;;
        *) if [ "$2" = '"' ]; then compgen -G "module/*/src/$3" >/dev/null; else in_list "$module_headers" "$3"; fi ;;
    esac
}
allowed_in_host() {
    case "$3" in
        vor/*) [ -f "abi/$3" ] ;;
        vorhost/*) [ -f "host/include/$3" ] ;;
        *module/* | *cli/* | ../*) return 1 ;;
        *) [ "$2" = '<' ] || [ -f "host/src/$3" ] || beside "$1" "$3" ;;
    esac
}
allowed_in_cli() {
    case "$3" in
        vor/*) return 1 ;;
        vorhost/*) [ -f "host/include/$3" ] ;;
        *module/* | *host/* | ../*) return 1 ;;
        *) [ "$2" = '<' ] || [ -f "cli/$3" ] || beside "$1" "$3" ;;
    esac
}

# The package is a program like the command.
allowed_in_python() {
    allowed_in_cli "$@"
}

# A folder that is not where this looks for it would pass unseen.
for folder in abi module host/include host/src/{text,files,services,library,tables,jobs,codebook} cli python tests; do
    [ -d "$folder" ] || fail "there is no folder $folder to check"
done

for tier in abi module host cli python; do
    while IFS=$'\t' read -r file mark target; do
        "allowed_in_$tier" "$file" "$mark" "$target" || fail "$file: may not include $target"
    done < <(includes_of "$tier")
done

# What each folder may include beside itself: "folder: others". Only what a row names is allowed.
module_rows="
dsup:
hostcm: dsup
core: dsup hostcm
subs: dsup hostcm
gen: dsup core
supio: dsup hostcm subs
dbi: dsup hostcm core supio
zkard: dsup hostcm dbi
"
host_rows="
text:
files:
services: text files
tables: text files
library: text files tables
jobs: text files services
codebook: files
query: text files tables library
"

# ROWS FOLDER: what the row of the folder names; fails when there is no row for it.
row_of() {
    sed -n "s/^$2://p" <<<"$1" | grep '' || fail "there is no row that says what the folder $2 may include"
}

# ROWS FOLDER FILE HOLDER: whether a file of the folder may include one of the folder `holder`.
check_row() {
    [ "$2" = "$4" ] || in_list " $(row_of "$1" "$2") " "$4" || fail "$3: $2 may not know $4"
}

edges="$(mktemp)"
trap 'rm -f "$edges"' EXIT
while IFS=$'\t' read -r file _ target; do
    holder="$(compgen -G "module/*/src/$target" || true)"
    [ -n "$holder" ] || continue
    folder="${file#module/}"
    holder="${holder#module/}"
    check_row "$module_rows" "${folder%%/*}" "$file" "${holder%%/*}"
    unit="$(basename "${file%.*}")"
    [ "$unit" = "${target%.h}" ] || echo "$unit ${target%.h}" >>"$edges"
done < <(includes_of module)
tsort "$edges" >/dev/null || fail "files of the module include each other in a circle"

while IFS=$'\t' read -r file _ target; do
    folder="${file#host/src/}"
    if [ -f "host/src/$target" ]; then
        check_row "$host_rows" "${folder%%/*}" "$file" "${target%%/*}"
    fi
done < <(includes_of host/src)

# TEXT GREP-ARGUMENT...: fails when something is found, and when the search cannot run.
found_nowhere() {
    local result=0
    grep "${@:2}" >&2 || result=$?
    [ "$result" -eq 1 ] || fail "$1"
}

for folder in module abi host/src/services host/src/library host/src/files; do
    found_nowhere "$folder: names CSV, which is the business of jobs and tables" -rniI csv "$folder"
done

# Written so that this file does not hold them itself: paths of one machine, references to numbered chapters.
words='/wor[k]/|/roo[t]/|/tmp/bash_job[s]|\bParts? [1-7]\.[0-9]'
found_nowhere "words that must not stand in the tree" -rnIE --exclude-dir=.git --exclude=.git --exclude-dir=build \
    "$words" .

exit "$status"
