"""Stata files of any length as Dask data frames: each partition is a range of rows of one file, or one whole file.

Records have a fixed width, so a worker seeks to its own rows and reads nothing else. What a file says beside its values
is read once, when the graph is made. Dask does all scheduling, on threads, processes or a cluster.
"""

from __future__ import annotations

import glob
import os
from typing import TYPE_CHECKING, Any, Iterable, Sequence

from ._errors import DataError, UsageError
from ._reading import DtaFile, read_dta as read_rows
from ._writing import write_dta as write_frame

if TYPE_CHECKING:
    import dask.dataframe
    import pandas

__all__ = ["read_dta", "write_dta"]


def read_dta(
    source: str | os.PathLike[str] | Iterable[str | os.PathLike[str]],
    columns: Sequence[str] | None = None,
    *,
    rows_per_partition: int = 1_000_000,
    memory_per_partition: int | None = None,
    labels: str = "codes",
    missing: str = "nan",
    encoding: str | None = None,
) -> dask.dataframe.DataFrame:
    """Stata files as one Dask frame, in the order of their names, with an index that counts all rows from 0.

    source: a path, a pattern ("wave*.dta"), or several paths; all files have the same variables of the same types.
    columns: names of the variables that are wanted, in this order; a selection of columns in the graph is pushed down.
    rows_per_partition: at most; a partition never holds rows of two files.
    memory_per_partition: bytes that the values of a partition may take, by the widths of the file's records; fewer rows
        where they are wider. Texts in a frame take more than in a file.
    labels, missing: as `vordta.read_dta` has them. encoding: of the files' text.

    No row is read before it is wanted. The types are exact, whatever values a partition holds: numbers are pandas' Int8
    to Float64. Divisions are known. Every worker must reach the files under the same paths; one that is another one
    than when the graph was made (by length and time of change) is a `DataError`.

    Dates out of the range of datetime64[ns] make a column of Python's dates, with a type of its own, which the graph
    does not expect; leave such columns out.
    """
    import dask.dataframe

    if rows_per_partition < 1:
        raise UsageError("A partition has at least one row.")
    read = _Rows(None if columns is None else list(columns), labels, missing, encoding)
    parts: list[tuple[_File, int, int, int]] = []
    divisions = [0]
    first: dict[str, Any] | None = None
    for path in _paths(source):
        file = _File(path)
        with DtaFile(path, columns, encoding=encoding, _head_only=True) as opened:
            description, count = opened.description, opened.rows
        layout = {"variables": description["variables"]}
        if first is None:
            first, meta = layout, read.frame(path, (0, 0))
            limit = rows_per_partition
            if memory_per_partition is not None:
                limit = max(1, min(limit, memory_per_partition // _row_bytes(layout)))
        elif layout != first:
            raise DataError(f"{path}: its variables, or their labels, are not those of the first file.")
        begin = divisions[-1]
        for start in range(0, count, limit):
            rows = min(limit, count - start)
            parts.append((file, start, rows, begin + start))
            divisions.append(begin + start + rows)
    if first is None:
        raise FileNotFoundError(f"no file is called {source}")
    if not parts:
        return dask.dataframe.from_pandas(meta, npartitions=1)
    divisions[-1] -= 1  # the last one is a row that is there
    return dask.dataframe.from_map(read, parts, meta=meta, divisions=divisions, label="read-dta", enforce_metadata=False)


def write_dta(frame: dask.dataframe.DataFrame, path: str | os.PathLike[str], description: dict[str, Any] | None = None) -> list[str]:
    """Writes each partition as a whole file of its own, computing the frame: the paths, in the order of the partitions.

    path: with a star, which becomes the number of the partition: "out/part-*.dta".
    description: as `vordta.write_dta` takes it, for all of them. `vordta.concat_dta` puts such files together.
    """
    import dask

    name = os.fspath(path)
    if name.count("*") != 1:
        raise UsageError(f"{name} needs one star, for the number of the partition.")
    width = len(str(max(frame.npartitions - 1, 0)))
    names = [name.replace("*", f"{i:0{width}}") for i in range(frame.npartitions)]
    write = dask.delayed(_write)
    dask.compute(*[write(part, one, description) for part, one in zip(frame.to_delayed(), names)])
    return names


def _write(part: pandas.DataFrame, path: str, description: dict[str, Any] | None) -> None:
    write_frame(part.reset_index(drop=True), path, description=description)


class _File:
    """A file as it was when the graph was made. Small: a graph holds one for every file, shared by its partitions."""

    def __init__(self, path: str) -> None:
        self.path = os.path.abspath(path)
        self.known_as = self._identity()

    def _identity(self) -> tuple[int, int]:
        stat = os.stat(self.path)
        return stat.st_size, stat.st_mtime_ns

    def check(self) -> None:
        if self._identity() != self.known_as:
            raise DataError(f"{self.path} has changed since the graph was made.")


class _Rows:
    """Reads the rows of a partition; Dask asks it for fewer columns where it needs no more."""

    def __init__(self, wanted: list[str] | None, labels: str, missing: str, encoding: str | None) -> None:
        self.wanted, self.labels, self.missing, self.encoding = wanted, labels, missing, encoding

    @property
    def columns(self) -> list[str] | None:
        return self.wanted

    def project_columns(self, columns: Sequence[str]) -> _Rows:
        return _Rows(list(columns), self.labels, self.missing, self.encoding)

    def frame(self, path: str, rows: tuple[int, int]) -> pandas.DataFrame:
        return read_rows(
            path, self.wanted, rows, labels=self.labels, missing=self.missing, dtypes="nullable", encoding=self.encoding
        )

    def __call__(self, part: tuple[_File, int, int, int]) -> pandas.DataFrame:
        file, start, rows, index = part
        file.check()
        frame = self.frame(file.path, (start, start + rows))
        file.check()
        if len(frame) != rows:
            raise DataError(f"{file.path} ends before row {start + rows}.")
        frame.index += index - start
        return frame


def _paths(source: Any) -> list[str]:
    if not isinstance(source, (str, os.PathLike)):
        return [os.fspath(path) for path in source]
    path = os.fspath(source)
    return sorted(glob.glob(path)) if not os.path.exists(path) and glob.has_magic(path) else [path]


def _row_bytes(layout: dict[str, Any]) -> int:
    widths = {"byte": 1, "int": 2, "long": 4, "float": 4, "double": 8}
    return max(1, sum(widths.get(v["stored_type"], v["length"] + 8) for v in layout["variables"]))
