#!/usr/bin/env bash
# Says which lines of the module the tests run: builds the coverage preset, runs the unit, driver and host tests and
# prints a line for each file, the total and the lines that never ran. Fails when the total is below the minimum.
#
#   scripts/coverage.sh [MINIMUM]     MINIMUM in percent (default 95)
#
# A line of a template or a header counts once, and ran when any of its copies did.
set -euo pipefail
cd "$(dirname "$0")/.."
minimum="${1:-95}"
build=build/coverage
tests="$build/tests.log"

cmake --preset coverage >/dev/null
cmake --build --preset coverage --parallel "$(nproc)"
# Counts of earlier runs would be added to.
find "$build/module" -name '*.gcda' -delete
echo "Running the tests; their log is $tests"
ctest --preset coverage --parallel "$(nproc)" -R '^(.*/)?(unit|driver|host)/' >"$tests" || {
    tail -n 40 "$tests" >&2
    exit 1
}

# gcov prints every source line behind its count: a number, ##### or ===== when it never ran, - when it holds no code.
(cd "$build" && find module -name '*.gcda' -exec gcov --stdout {} + 2>/dev/null) |
    awk -F: '
        $2 + 0 == 0 {
            if ($3 == "Source") { file = $4; if (!sub(/^(.*\/)?module\//, "module/", file)) file = "" }
            next
        }
        file == "" { next }
        { mark = $1; gsub(/[ *]/, "", mark) }
        mark == "-" || mark == "" { next }
        mark ~ /^[0-9#=]/ {
            place = file SUBSEP $2 + 0
            if (!(place in ran)) ran[place] = 0
            if (mark ~ /^[0-9]/) ran[place] = 1
        }
        END { for (place in ran) { split(place, at, SUBSEP); print at[1] "\t" at[2] "\t" ran[place] } }' |
    sort -t $'\t' -k1,1 -k2,2n |
    awk -F'\t' -v minimum="$minimum" '
        function close_range() {
            if (first) missed = missed " " (first == last ? first : first "-" last)
            first = 0
        }
        function close_file() {
            close_range()
            if (file) printf "%6.1f %%  %4d of %4d  %s%s\n", 100 * hits / lines, hits, lines, file, missed ? "  never:" missed : ""
            hits = lines = 0
            missed = ""
        }
        $1 != file { close_file(); file = $1 }
        { ++lines; ++all_lines }
        $3 { ++hits; ++all_hits; close_range(); next }
        { if (!first) first = $2; last = $2 }
        END {
            close_file()
            if (!all_lines) { print "coverage: nothing was counted" > "/dev/stderr"; exit 1 }
            total = 100 * all_hits / all_lines
            printf "%6.1f %%  %d of %d lines of the module\n", total, all_hits, all_lines
            if (total < minimum) { print "coverage: below " minimum " %" > "/dev/stderr"; exit 1 }
        }'
