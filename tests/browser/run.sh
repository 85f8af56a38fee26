#!/bin/sh
# Tries the page of the codebook in a browser; 77 when there is none.
#
#   tests/browser/run.sh VORDTA
if ! /usr/bin/python3 -c 'import pytest, selenium' 2>/dev/null || ! command -v chromium >/dev/null ||
    ! command -v chromedriver >/dev/null; then
    echo "The tests of the codebook's page are skipped: there is no chromium with its driver, selenium or pytest."
    exit 77
fi
VORDTA="$1" exec /usr/bin/python3 -m pytest -q -rs -p no:cacheprovider "$(dirname "$0")"
