#!/bin/sh
# Runs the tests of the Python package; 77 when what they need is not there.
#
#   tests/python/run.sh PYTHON      PYTHONPATH: where the package is
if ! "$1" -c 'import pandas, pytest'; then
    echo "The tests of the Python package are skipped: $1 has no pandas or no pytest."
    exit 77
fi
exec "$1" -m pytest -q -rs -p no:cacheprovider "$(dirname "$0")"
