#!/usr/bin/env bash
# What is checked beside the tests: the benchmarks build, the sources have their form and pass the linter, and the fuzz
# targets run for a short time. Installs what is missing.
#
#   scripts/check.sh
#
# FUZZ_SECONDS     how long each fuzz target runs (default 15)
[ -n "${BASH_VERSION:-}" ] || exec bash "$0" "$@"
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/steps.sh

scripts/install_dependencies.sh build test check
build_benchmarks() {
    cmake --preset release -DVORDTA_WERROR=ON -DVORDTA_TESTS=ON -DVORDTA_BENCH=ON >/dev/null &&
        cmake --build --preset release --parallel "$(nproc)"
}
step "Build the benchmarks" build_benchmarks
step "Form and lint" scripts/lint.sh build/release
step "Fuzz" scripts/fuzz.sh "${FUZZ_SECONDS:-15}"
sum_of_steps
