#!/usr/bin/env bash
# Builds everything and runs all tests, in release and under the sanitizers, on a fresh Debian or Ubuntu machine too: it
# installs what is missing first. A sum of the steps and the summaries of the test runs end the output.
#
#   scripts/test.sh
#
# VORDTA_DUCKDB    the DuckDB library for the tests of Arrow and Parquet; unless given, it comes by npm where npm is
# VORDTA_CORPUS    a folder of foreign Stata files with their descriptions; without it their test says it was skipped
[ -n "${BASH_VERSION:-}" ] || exec bash "$0" "$@"
set -euo pipefail
if [ $# -ne 0 ]; then
    sed -n '2,/^[^#]/ s/^# \{0,1\}//p' "$0"
    [ "$1" = --help ] || exit 2
    exit 0
fi
cd "$(dirname "$0")/.."
source scripts/steps.sh

if [ -n "${VORDTA_CORPUS:-}" ]; then
    VORDTA_CORPUS="$(cd "$VORDTA_CORPUS" && pwd)"
    export VORDTA_CORPUS
fi
jobs="$(nproc)"

build() { # PRESET
    cmake --preset "$1" -DVORDTA_WERROR=ON -DVORDTA_TESTS=ON >/dev/null && cmake --build --preset "$1" --parallel "$jobs"
}
run_tests() { # PRESET
    mkdir -p "build/$1"
    ctest --preset "$1" --parallel "$jobs" | tee "build/$1/ctest.log"
}
summary() { # PRESET: from the count of tests on
    sed -n '/ tests passed, /,$p' "build/$1/ctest.log" 2>/dev/null
}

printf '== Install what is missing\n'
scripts/install_dependencies.sh build test
if [ -e /usr/local/lib/vordta/vorimdta.so ]; then
    echo "A module is installed in /usr/local: what happens without one is not tried."
fi

# The library that reads our Arrow streams and Parquet files in the tests.
fetch_duckdb() {
    local package=@duckdb/node-bindings-linux-x64@1.5.6-r.1 folder="$PWD/build/duckdb"
    if [ ! -e "$folder/package/libduckdb.so" ]; then
        command -v npm >/dev/null || return
        mkdir -p "$folder"
        (cd "$folder" && npm pack --silent "$package" >/dev/null 2>&1 && tar -xzf ./*.tgz package/libduckdb.so) || return
    fi
    export VORDTA_DUCKDB="$folder/package/libduckdb.so"
}
if [ -z "${VORDTA_DUCKDB:-}" ] && ! fetch_duckdb; then
    echo "There is no DuckDB library, nor npm to get it by: the tests of Parquet files are skipped."
fi

rm -f build/release/ctest.log build/debug/ctest.log
for preset in release debug; do
    step "Build $preset" build "$preset"
done
step "Directions of includes" scripts/check_layers.sh
step "Symbols of the module" scripts/check_symbols.sh build/release/lib/vorimdta.so
step "Install and use what was installed" scripts/check_install.sh build/release
for preset in debug release; do
    step "Test $preset" run_tests "$preset"
done

status=0
sum_of_steps || status=1
for preset in debug release; do
    printf '\n== Tests of %s\n' "$preset"
    summary "$preset"
done
exit "$status"
