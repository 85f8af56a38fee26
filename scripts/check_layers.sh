#!/usr/bin/env bash
# Checks that includes go in one direction, cli -> host -> abi <- module and between the folders of the host, that
# CSV is known to the jobs and the tables only, and that no file of the tree says where or after what text it was written.
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
# What the files of each folder of host/src may include of the other folders.
allowed_between_host_folders() {
    case "$1" in
        text | files) return 1 ;;
        services) in_list " text files " "$2" ;;
        tables) in_list " text files " "$2" ;;
        library) in_list " text files tables " "$2" ;;
        jobs) in_list " text files services " "$2" ;;
        *) return 1 ;;
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

# A folder that is not where this looks for it would pass unseen.
for folder in abi module host/include host/src/{text,files,services,library,tables,jobs} cli tests; do
    [ -d "$folder" ] || fail "there is no folder $folder to check"
done

for tier in abi module host cli; do
    while IFS=$'\t' read -r file mark target; do
        "allowed_in_$tier" "$file" "$mark" "$target" || fail "$file: may not include $target"
    done < <(includes_of "$tier")
done

while IFS=$'\t' read -r file mark target; do
    from=${file#host/src/} from=${from%%/*} to=${target%%/*}
    [ "$mark" = '"' ] && [ "$from" != "$to" ] && [ -d "host/src/$to" ] || continue
    allowed_between_host_folders "$from" "$to" || fail "$file: $from may not know $to"
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
