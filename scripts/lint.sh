#!/usr/bin/env bash
# Checks the form of all tracked sources, then runs clang-tidy on those of the module, the host and the command.
#
#   scripts/lint.sh [BUILD]     BUILD: a configured build directory, for its compile database (default build/release)
#
# The form is clang-format 14's; other versions break some lines elsewhere, so that one is taken when it is there.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/release}"

if [ ! -f "$build/compile_commands.json" ]; then
    echo "lint: no compile database in $build; configure it first: cmake --preset release" >&2
    exit 2
fi
clang_format="$(command -v clang-format-14 || command -v clang-format)"
clang_tidy="$(command -v clang-tidy-14 || command -v clang-tidy)"

folders=(abi module host cli tests fuzz bench examples)
patterns=()
for folder in "${folders[@]}"; do
    patterns+=("$folder/*.cpp" "$folder/*.h")
done

# A file that is gone from the tree but not yet from the index is nobody's fault here.
existing() {
    while IFS= read -r -d '' file; do
        if [ -f "$file" ]; then
            printf '%s\0' "$file"
        fi
    done
}

status=0
git ls-files -z -- "${patterns[@]}" | existing |
    xargs -0 -r "$clang_format" --dry-run -Werror || status=1
# The database may be g++'s: what clang does not know is not what is checked here. Unknown warnings it can be told to
# pass over, an unknown option has to go.
database="$(mktemp -d)"
trap 'rm -rf "$database"' EXIT
sed 's/ -fno-tree-loop-distribute-patterns//g' "$build/compile_commands.json" >"$database/compile_commands.json"
git ls-files -z -- 'module/*.cpp' 'host/*.cpp' 'cli/*.cpp' | existing |
    xargs -0 -r -n 1 -P 2 "$clang_tidy" -p "$database" --quiet --extra-arg=-Wno-unknown-warning-option || status=1

if [ "$status" -ne 0 ]; then
    echo "lint: failed" >&2
fi
exit "$status"
