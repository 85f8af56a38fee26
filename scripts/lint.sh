#!/usr/bin/env bash
# Checks the form of all sources, then runs clang-tidy on those of the module, the host and the command.
#
#   scripts/lint.sh [BUILD]     BUILD: a configured build directory, for its compile database (default build/release)
#
# Both tools are asked in version 14 only, because others break some lines elsewhere and know other checks; where the
# distribution does not have it, that is said and the check is left out.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/release}"

if [ ! -f "$build/compile_commands.json" ]; then
    echo "lint: no compile database in $build; configure it first: cmake --preset release" >&2
    exit 2
fi

tool() { # NAME: its version 14, or nothing
    local name
    for name in "$1-14" "$1"; do
        if command -v "$name" >/dev/null && "$name" --version | grep -q 'version 14\.'; then
            echo "$name"
            return
        fi
    done
}
sources() { # PATTERN FOLDER...
    find "${@:2}" -name "$1" -print0
}

status=0
clang_format="$(tool clang-format)"
if [ -n "$clang_format" ]; then
    for pattern in '*.cpp' '*.h'; do
        sources "$pattern" abi module host cli python tests fuzz bench examples |
            xargs -0 -r "$clang_format" --dry-run -Werror || status=1
    done
else
    echo "lint: there is no clang-format 14; the form of the sources is not checked"
fi

clang_tidy="$(tool clang-tidy)"
if [ -n "$clang_tidy" ]; then
    # The database may be g++'s: what clang does not know is not what is checked here. Unknown warnings it can be told
    # to pass over, an unknown option has to go.
    database="$(mktemp -d)"
    trap 'rm -rf "$database"' EXIT
    sed 's/ -fno-tree-loop-distribute-patterns//g' "$build/compile_commands.json" >"$database/compile_commands.json"
    sources '*.cpp' module host cli |
        xargs -0 -r -n 1 -P 2 "$clang_tidy" -p "$database" --quiet --extra-arg=-Wno-unknown-warning-option \
            2>"$database/said" || status=1
    # It counts what it was told to leave out in the headers of others.
    grep -vE '^[0-9]+ warnings? (and [0-9]+ errors? )?generated\.$' "$database/said" >&2 || true
else
    echo "lint: there is no clang-tidy 14; the linter is left out"
fi

if [ "$status" -ne 0 ]; then
    echo "lint: failed" >&2
fi
exit "$status"
