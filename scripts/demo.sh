#!/usr/bin/env bash
# Builds the command and shows its main job on the files in examples/: Stata files become a CSV file and data sets of a
# SQLite library, and go back out again. Works on a fresh Debian 12 or Ubuntu machine: it installs what is missing.
#
#   scripts/demo.sh [DIRECTORY]     where the results go (default build/demo)
set -euo pipefail
cd "$(dirname "$0")/.."
results="${1:-build/demo}"

# Prints a command as it could be typed, then runs it.
run() {
    printf '\n$'
    printf ' %s' "${@@Q}" | sed -E "s/'([A-Za-z0-9_.:=,\/+-]+)'/\1/g"
    printf '\n'
    "$@"
}

run scripts/install_dependencies.sh
run cmake --preset release
run cmake --build --preset release --target vordta vorimdta
mkdir -p "$results"
rm -f "$results"/survey.* "$results"/stations.*
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
