"""Stata files as pandas frames, whole or in parts, as descriptions and as Arrow streams."""

from __future__ import annotations

import json
from contextlib import ExitStack
from typing import TYPE_CHECKING, Any, Iterator, Sequence

from . import _vordta
from ._errors import UsageError, tell
from ._files import Source, input_path

if TYPE_CHECKING:
    import pandas

_EVERY_ROW = -1
_NEAR_THE_START = 1000  # rows for which a compressed file need not be unpacked whole
_CALLER = 4  # of read_dta and of batches, for `warnings`
_CHOICES = {"labels": ("codes", "categories"), "missing": ("nan", "marks"), "dtypes": ("numpy", "nullable")}


def describe(source: Source, *, encoding: str | None = None) -> dict[str, Any]:
    """What a Stata file holds, as ``vordta describe --json`` prints it. No observation is read.

    source: a path, an open binary file, or the bytes of the file; it may be compressed.
    encoding: of the file's text; default: as its release says.

    Raises `Error`: `DataError` for what is no Stata file, `FileNotFoundError` and `PermissionError` as `open` does.

    >>> import vordta
    >>> description = vordta.describe("survey.dta")
    >>> description["observations"], [variable["name"] for variable in description["variables"]][:3]
    (8, ['id', 'name', 'sex'])
    """
    with DtaFile(source, encoding=encoding, _head_only=True) as file:
        return file.description


def read_dta(
    source: Source,
    columns: Sequence[str] | None = None,
    rows: tuple[int | None, int | None] | None = None,
    *,
    labels: str = "codes",
    missing: str = "nan",
    dtypes: str = "numpy",
    convert_dates: bool = True,
    encoding: str | None = None,
) -> pandas.DataFrame:
    """A Stata file as a frame, indexed by the number of the row in the file, from 0.

    source: a path, an open binary file, or the bytes of the file; it may be compressed.
    columns: names of the variables that are wanted, in this order; default: all.
    rows: (first, last) as in a slice: from `first` (0 is the first one) up to, not including, `last`; either may be
        None. Rows before the first one are passed over, not read.
    labels: "codes" for labelled numbers as they are, "categories" for pandas categoricals of the label texts, in the
        order of their codes; a number without a label is a category of its own digits.
    missing: "nan", or "marks" for a column NAME_missing behind each variable with other missing values than ".":
        their marks ("." and ".a" to ".z"), and None where there is a value.
    dtypes: "numpy" for arrays of the stored type (int8, int16, int32, float32, float64), where integers with missing
        values become float64; "nullable" for pandas' Int8 to Float64, whatever is missing.
    convert_dates: dates, periods (by their first day) and moments become datetime64[ns], times of day timedelta64[ns].
        A variable with values out of its range becomes a column of Python's dates, with a `DataWarning`; what these
        do not reach either stays a number. False: the numbers as they are, which count from 1960-01-01.
    encoding: of the file's text; default: as its release says.

    Text is `object`, equal strings shared; bytes that are no text are bytes. ``frame.attrs["vordta"]`` is what
    `describe` says of these columns.

    Raises `Error` as `describe` does, and `UsageError` for a variable that is not there.

    >>> import vordta
    >>> vordta.read_dta("survey.dta", columns=["name", "sex"], rows=(2, 4), labels="categories")
        name     sex
    2  Chloé  female
    3  Dörte  female
    """
    with DtaFile(
        source, columns, rows, labels=labels, missing=missing, dtypes=dtypes, convert_dates=convert_dates,
        encoding=encoding,
    ) as file:
        frame = file._read(file.rows)
        frame.attrs["vordta"] = file.description
        file._finish()
        return frame


def open_dta(
    source: Source,
    columns: Sequence[str] | None = None,
    rows: tuple[int | None, int | None] | None = None,
    *,
    labels: str = "codes",
    missing: str = "nan",
    dtypes: str = "numpy",
    convert_dates: bool = True,
    encoding: str | None = None,
) -> DtaFile:
    """Opens a Stata file to be read in parts, or by what takes Arrow streams. The arguments are those of `read_dta`.

    >>> import vordta
    >>> with vordta.open_dta("survey.dta", columns=["id", "sex"]) as file:
    ...     [len(batch) for batch in file.batches(rows=3)]
    [3, 3, 2]
    """
    return DtaFile(
        source, columns, rows, labels=labels, missing=missing, dtypes=dtypes, convert_dates=convert_dates,
        encoding=encoding,
    )


class DtaFile:
    """An open Stata file, from `open_dta`. A context manager; used by one thread at a time."""

    def __init__(
        self,
        source: Source,
        columns: Sequence[str] | None = None,
        rows: tuple[int | None, int | None] | None = None,
        *,
        labels: str = "codes",
        missing: str = "nan",
        dtypes: str = "numpy",
        convert_dates: bool = True,
        encoding: str | None = None,
        _head_only: bool = False,
    ) -> None:
        for name, word in (("labels", labels), ("missing", missing), ("dtypes", dtypes)):
            if word not in _CHOICES[name]:
                raise UsageError(f"{name} is \"{_CHOICES[name][0]}\" or \"{_CHOICES[name][1]}\", not {word!r}.")
        self._columns = _names(columns)
        self._first, wanted = _range(rows)
        self._labels, self._missing, self._dtypes, self._dates = labels, missing, dtypes, convert_dates
        self._description: dict[str, Any] | None = None
        self._done = 0
        self._closing = ExitStack()
        with ExitStack() as opening:
            path = opening.enter_context(input_path(source))
            near = 0 <= wanted and self._first + wanted <= _NEAR_THE_START
            self._reader = _vordta.Reader(
                path=path, columns=self._columns or [], first=self._first, rows=wanted, encoding=encoding or "",
                head_only=_head_only or near,
            )
            opening.callback(self._reader.close)
            self._closing = opening.pop_all()
        self.rows: int = self._reader.rows
        """The number of observations in the range that was asked for."""

    @property
    def description(self) -> dict[str, Any]:
        """As `describe`, of the variables that were asked for."""
        if self._description is None:
            self._description = json.loads(self._reader.describe())
        return self._description

    def batches(self, rows: int = 65536) -> Iterator[pandas.DataFrame]:
        """The rows that have not been read yet as frames of at most `rows` rows, in constant memory.

        Types of columns, and whether there is a column of marks, go by what a batch holds; with ``dtypes="nullable"``
        a column of numbers has the same type in all.
        """
        if rows < 1:
            raise UsageError("A batch has at least one row.")
        while self._done < self.rows:
            yield self._read(rows)
        self._finish()

    def __arrow_c_stream__(self, requested_schema: object | None = None) -> object:
        """All rows as a PyCapsule of an Arrow stream, for everything that takes one. Missing values are null."""
        return self._reader.stream(categories=self._labels == "categories", marks=self._missing == "marks")

    def close(self) -> None:
        self._closing.close()

    def __enter__(self) -> DtaFile:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def _read(self, rows: int) -> pandas.DataFrame:
        from ._frames import assembled

        if self._columns == []:
            values, variables = [], []
            done = min(rows, self.rows - self._done)
        else:
            values = self._reader.read(
                most=rows, dates=self._dates, nullable=self._dtypes == "nullable", marks=self._missing == "marks"
            )
            variables = self._reader.variables()
            done = len(values[0][1]) if values else min(rows, self.rows - self._done)
        start = self._first + self._done
        labels = {}
        if self._labels == "categories":
            labels = {v["name"]: v["value_labels"] for v in self.description["variables"] if "value_labels" in v}
        self._done += done
        frame, lines = assembled(variables, values, range(start, start + done), self._columns, labels, self._dtypes)
        tell(self._reader.take_log() + lines, _CALLER)
        return frame

    def _finish(self) -> None:
        self._reader.finish()
        tell(self._reader.take_log(), _CALLER)


def _names(columns: Sequence[str] | None) -> list[str] | None:
    if columns is None:
        return None
    if isinstance(columns, (str, bytes)):
        raise UsageError("columns is a list of names, not one name.")
    names = list(columns)
    if len(set(names)) != len(names):
        raise UsageError("columns names a variable twice.")
    return names


def _range(rows: tuple[int | None, int | None] | None) -> tuple[int, int]:
    """The first row and how many, `_EVERY_ROW` for all behind it."""
    if rows is None:
        return 0, _EVERY_ROW
    first, last = rows
    first = 0 if first is None else int(first)
    if first < 0 or (last is not None and last < 0):
        raise UsageError("rows is (first, last), counted from 0 at the beginning of the file.")
    return first, _EVERY_ROW if last is None else max(int(last) - first, 0)
