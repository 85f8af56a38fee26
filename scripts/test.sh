#!/usr/bin/env bash
# Builds everything and runs every check and test, on a fresh Debian 12 or Ubuntu machine too: it installs what is
# missing first. The summary of the last test run ends the output.
#
#   scripts/test.sh
#
# VORDTA_CORPUS    a folder of foreign Stata files with their descriptions; without it their test says it was skipped
# FUZZ_SECONDS     how long each fuzz target runs (default 15)
set -euo pipefail
cd "$(dirname "$0")/.."

if [ -n "${VORDTA_CORPUS:-}" ]; then
    VORDTA_CORPUS="$(cd "$VORDTA_CORPUS" && pwd)"
    export VORDTA_CORPUS
fi
jobs="$(nproc)"

step() {
    printf '\n== %s\n' "$*"
}

step "Install what is missing"
scripts/install_dependencies.sh

for preset in release debug; do
    step "Build $preset"
    cmake --preset "$preset" -DVORDTA_WERROR=ON >/dev/null
    cmake --build --preset "$preset" --parallel "$jobs"
done

step "Check the form of the sources"
scripts/lint.sh build/release
step "Check layers and the module's symbols"
scripts/check_layers.sh
scripts/check_symbols.sh build/release/lib/vorimdta.so

if compgen -G 'fuzz/*_fuzzer.cpp' >/dev/null; then
    step "Fuzz"
    scripts/fuzz.sh "${FUZZ_SECONDS:-15}"
fi

step "Install and use what was installed"
scripts/check_install.sh build/release

for preset in debug release; do
    step "Test $preset"
    ctest --preset "$preset" --parallel "$jobs"
done
