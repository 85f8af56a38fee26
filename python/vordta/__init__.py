"""Stata data files (.dta) in and out of pandas, and as Arrow streams.

>>> import vordta
>>> frame = vordta.read_dta("survey.dta", columns=["sex", "income"], rows=(0, 3))
>>> frame
   sex  income
0    2  2450.5
1    1     NaN
2    2  1980.0

What a file says beside its values stands in ``frame.attrs["vordta"]``, as `describe` returns it; `write_dta` takes it
back. Notes go to the logger "vordta", what is changed or lost is a `DataWarning`. `describe` and Arrow streams need
neither numpy nor pandas.
"""

from ._errors import DataError, DataWarning, Error, MachineError, UsageError
from ._reading import DtaFile, describe, open_dta, read_dta
from ._vordta import __version__
from ._writing import concat_dta, write_dta

__all__ = [
    "DataError",
    "DataWarning",
    "DtaFile",
    "Error",
    "MachineError",
    "UsageError",
    "__version__",
    "concat_dta",
    "describe",
    "open_dta",
    "read_dta",
    "write_dta",
]
