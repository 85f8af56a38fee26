#!/usr/bin/env bash
# Runs every fuzz target for a fixed time each: scripts/fuzz.sh [SECONDS] [TARGET...]. Builds the fuzz preset first. The inputs
# found stay in build/fuzz/corpus for the next run; a finding ends the run with its input in build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(import_fuzzer statement_fuzzer export_fuzzer text_fuzzer library_fuzzer)

cmake --preset fuzz > /dev/null
cmake --build --preset fuzz --target make_seeds vorimdta "${targets[@]}"
export VORDTA_MODULE="$PWD/build/fuzz/lib/vorimdta.so"
build/fuzz/bin/make_seeds build/fuzz/seeds
declare -A seeds=([import_fuzzer]=import [statement_fuzzer]=statements [text_fuzzer]=texts [library_fuzzer]=sql)
mkdir -p build/fuzz/findings
for target in "${targets[@]}"; do
    corpus="build/fuzz/corpus/$target"
    mkdir -p "$corpus"
    echo "$target: $seconds seconds"
    build/fuzz/bin/"$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 -verbosity=0 \
        -print_final_stats=1 -artifact_prefix=build/fuzz/findings/ "$corpus" \
        ${seeds[$target]:+build/fuzz/seeds/${seeds[$target]}}
done
