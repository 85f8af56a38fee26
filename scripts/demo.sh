#!/usr/bin/env bash
# Builds the command and shows its main job on the files in examples/: Stata files become a CSV file and data sets of a
# SQLite library, and go back out again. Works on a fresh Debian or Ubuntu machine: it installs what is missing.
#
#   scripts/demo.sh [DIRECTORY]     where the results go (default build/demo of the tree): a new folder, an empty one or
#                                   that of an earlier demo
[ -n "${BASH_VERSION:-}" ] || exec bash "$0" "$@"
set -euo pipefail

usage() {
    sed -n '2,/^[^#]/ s/^# \{0,1\}//p' "$0"
}
if [ "${1:-}" = --help ] || [ "${1:-}" = -h ]; then
    usage
    exit 0
fi
if [ $# -gt 1 ] || [[ ${1:-} == -* ]]; then
    usage >&2
    exit 2
fi

tree="$(cd "$(dirname "$0")/.." && pwd)"
results="$(realpath -m -- "${1:-$tree/build/demo}")"
cd "$tree"

# The results, and a mark that they are ours, so that nobody's own files are replaced.
mark=.vordta_demo
written=(survey.db survey.csv survey.json survey.dta survey_from_csv.dta)
if [ -e "$results" ] && [ ! -e "$results/$mark" ] && [ -n "$(ls -A -- "$results")" ]; then
    echo "demo: $results holds other files; name a new or an empty folder" >&2
    exit 2
fi

# Prints a command as it could be typed, then runs it.
run() {
    local word
    printf '\n$'
    for word in "$@"; do
        [[ "$word" =~ ^[A-Za-z0-9_.:=,/+-]+$ ]] || word="${word@Q}"
        printf ' %s' "$word"
    done
    printf '\n'
    "$@"
}

run scripts/install_dependencies.sh build
run cmake --preset release
run cmake --build --preset release --target vordta vorimdta
mkdir -p -- "$results"
touch -- "$results/$mark"
for file in "${written[@]}"; do
    rm -f -- "$results/$file"
done
vordta=build/release/bin/vordta

run "$vordta" describe examples/survey.dta
run "$vordta" head examples/survey.dta -n 5 --labels text

run "$vordta" import examples/survey.dta "$results/survey.db"
run "$vordta" import examples/stations.dta "$results/survey.db:stations"
run sqlite3 -header -column "$results/survey.db" 'SELECT id, name, sex, born, income FROM survey LIMIT 5'
run sqlite3 -header -column "$results/survey.db" 'SELECT id, name, sex, born, income FROM survey_labelled LIMIT 5'
run "$vordta" formats "$results/survey.db"

run "$vordta" import examples/survey.dta "$results/survey.csv" --schema "$results/survey.json"
run head -n 4 "$results/survey.csv"

run "$vordta" export "$results/survey.db:survey" "$results/survey.dta"
run "$vordta" export "$results/survey.csv" "$results/survey_from_csv.dta" --schema "$results/survey.json"
run cmp "$results/survey.dta" "$results/survey_from_csv.dta"
run "$vordta" head "$results/survey.dta" -n 5 --labels text

printf '\nThe command is %s, the results are in %s\n' "$tree/$vordta" "$results"
