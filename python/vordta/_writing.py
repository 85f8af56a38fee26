"""pandas frames as Stata files."""

from __future__ import annotations

import datetime
import json
import math
import os
from typing import TYPE_CHECKING, Any, Iterable

from . import _vordta
from ._errors import DataError, tell
from ._files import Target, file_name, output_path

if TYPE_CHECKING:
    import numpy
    import pandas

_INTEGERS = (("byte", -127, 100), ("int", -32767, 32740), ("long", -2147483647, 2147483620))
_STORED = {"b1": "byte", "i1": "byte", "i2": "int", "i4": "long", "u1": "int", "u2": "long", "f4": "float"}
_LONGEST_TEXT = 2045  # bytes, of a text that is no strL
_LARGEST_EXACT = 2**53
_DAY = 86_400_000_000_000  # nanoseconds
_MARKS = {None: 0, ".": ord("."), "._": ord("_")} | {"." + letter: ord(letter) for letter in
                                                      "abcdefghijklmnopqrstuvwxyz"}

Column = tuple[Any, Any, Any]  # values, mask, marks


def write_dta(frame: pandas.DataFrame, target: Target, description: dict[str, Any] | None = None) -> None:
    """Writes a frame as a Stata file, which appears when it is whole. The index is not written.

    target: a path, compressed when it ends in .gz, .bz2, .xz, .zst or .zip, or a binary file open for writing.
    description: as `describe` returns it and ``frame.attrs["vordta"]`` holds it, of the columns that are to be written
        as it says: stored types (wider where a value does not fit), display formats, labels, value labels, notes.
        Columns NAME_missing of marks go back into their variables. Without one, types and formats are those of the
        frame: integers as small as they fit, dates as days where all are whole days and else as milliseconds,
        categoricals as numbers from 1 with their categories as labels, text as its longest needs, above 2045 bytes as
        long text.

    Raises `Error`: `DataError` for a column that a Stata file has no place for, `PermissionError` as `open` does.
    What is changed, such as a name that no variable can have, is a `DataWarning`.

    >>> import pandas, vordta
    >>> vordta.write_dta(pandas.DataFrame({"city": ["Oslo", "Rome"], "rain": [9.5, None]}), "rain.dta")
    >>> vordta.read_dta("rain.dta")
       city  rain
    0  Oslo   9.5
    1  Rome   NaN
    """
    names = [str(name) for name in frame.columns]
    known = {variable["name"]: variable for variable in (description or {}).get("variables", [])}
    writing = _Writing(known)
    for position, name in enumerate(names):
        if writing.takes_marks(name, names):
            continue
        marks = None
        if name + "_missing" in names and writing.takes_marks(name + "_missing", names):
            marks = frame.iloc[:, names.index(name + "_missing")]
        writing.add(name, frame.iloc[:, position], marks)
    schema = writing.schema(description or {})
    with output_path(target) as path:
        lines = _vordta.write(path=path, schema=json.dumps(schema), columns=writing.columns, rows=len(frame))
    tell(writing.lines + lines)


def concat_dta(
    parts: Iterable[str | os.PathLike[str]], path: str | os.PathLike[str], *, encoding: str | None = None
) -> None:
    """Puts Stata files of equal layout together, in the order given; the result appears when it is whole.

    parts: paths of files with the same variables (names, stored types, units) and value labels in the same order; they
        may be compressed. Labels, notes and display formats are those of the first; others are a `DataWarning`.
    path: of the result, compressed when it ends in .gz, .bz2, .xz, .zst or .zip.
    encoding: of the parts' text; default: as the release of each says.

    Raises `Error`: `DataError`, with file, variable and both values, for the first difference between the parts.

    >>> import vordta
    >>> vordta.concat_dta(["survey.dta", "survey.dta"], "twice.dta")
    >>> vordta.describe("twice.dta")["observations"]
    16
    """
    names = [file_name(part) for part in parts]
    tell(_vordta.concat(parts=names, path=file_name(path), encoding=encoding or ""))


class _Writing:
    """The variables and their values as the extension module takes them."""

    def __init__(self, known: dict[str, dict[str, Any]]) -> None:
        self.variables: list[dict[str, Any]] = []
        self.columns: list[Column] = []
        self.lines: list[tuple[str, str]] = []
        self._known = known
        self._tables: dict[str, list[dict[str, Any]]] = {
            v["label_table"]: v["value_labels"] for v in known.values() if "value_labels" in v
        }

    def takes_marks(self, name: str, names: list[str]) -> bool:
        """Whether a column is that of the marks of a variable before it."""
        stem = name[: -len("_missing")]
        return name.endswith("_missing") and name not in self._known and stem in self._known and stem in names

    def add(self, name: str, series: pandas.Series, marks: pandas.Series | None) -> None:
        import numpy

        known = self._known.get(name, {})
        variable, (values, mask, _) = self._converted(name, series, known)
        letters = None
        if marks is not None:
            letters = numpy.array([_MARKS.get(mark, 0) for mark in marks.where(marks.notna(), None)], dtype="u1")
        if known.get("type") == variable["type"]:
            as_known = {key: known[key] for key in ("label", "label_table", "format", "stata_format")
                        if key not in variable}
            stored = known["stored_type"]
            if variable["type"] == "numeric":
                as_known["stored"] = stored
            elif stored == "strL" or variable["stored"] == "strL":
                as_known["stored"] = "strL"
            else:
                as_known["length"] = max(variable["length"], known["length"])
                as_known["stored"] = f"str{as_known['length']}"
            variable = {**variable, **as_known}
        self.variables.append({"name": name, **variable})
        self.columns.append((values, mask, letters))

    def schema(self, description: dict[str, Any]) -> dict[str, Any]:
        names = {variable["name"] for variable in self.variables}
        return {
            "label": description.get("data_label", ""),
            "timestamp": description.get("timestamp", ""),
            "sort": self._sort(description.get("sort", [])),
            "characteristics": [one for one in description.get("characteristics", [])
                                if one["of"] == "_dta" or one["of"] in names],
            "variables": self.variables,
            "label_tables": [
                {"name": name, "type": "numeric",
                 "ranges": [{"value": label["value"], "labels": [label["text"]]} for label in labels]}
                for name, labels in self._tables.items()
            ],
        }

    def _sort(self, keys: list[str]) -> list[str]:
        """The keys by which the rows are in order still."""
        import numpy

        position = {variable["name"]: i for i, variable in enumerate(self.variables)}
        tied: Any = True
        for done, key in enumerate(keys):
            if key not in position:
                return keys[:done]
            values = self.columns[position[key]][0]
            if values.dtype.kind == "f":
                values = numpy.where(numpy.isnan(values), numpy.inf, values)
            before, after = values[:-1], values[1:]
            if numpy.any(tied & (before > after)):
                self.lines.append(("WARNING", f"The rows are not in the order of {key} any more; the file does not say "
                                              "that they are sorted by it."))
                return keys[:done]
            tied = tied & (before == after)
        return keys

    def _converted(self, name: str, series: pandas.Series, known: dict[str, Any]) -> tuple[dict[str, Any], Column]:
        import numpy
        import pandas

        dtype = series.dtype
        if isinstance(dtype, pandas.CategoricalDtype):
            return self._categorical(name, series, known)
        if isinstance(dtype, pandas.DatetimeTZDtype):
            self.lines.append(("WARNING", f"column {name}: its time zone is not kept; moments are those of its clock."))
            series = series.dt.tz_localize(None)
        elif dtype == object or isinstance(dtype, pandas.StringDtype):
            return self._objects(name, series, known)
        if series.dtype.kind in "Mm" and isinstance(series.dtype, numpy.dtype):
            return _moments(series, known)
        if series.dtype.kind not in "biuf":
            raise DataError(f"column {name}: a Stata file has no place for values of {series.dtype}.")
        mask = None
        if hasattr(series.dtype, "numpy_dtype"):
            mask = series.isna().to_numpy().astype("u1")
            values = series.to_numpy(series.dtype.numpy_dtype, na_value=0)
        else:
            values = series.to_numpy()
        if values.dtype == "f2":
            values = values.astype("f4")
        return self._numbers(name, numpy.ascontiguousarray(values), mask)

    def _numbers(self, name: str, values: numpy.ndarray, mask: Any) -> tuple[dict[str, Any], Column]:
        stored = _STORED.get(values.dtype.str[1:], "double")
        if values.dtype.kind in "iu" and stored == "double":
            least, most = (int(values.min()), int(values.max())) if len(values) else (0, 0)
            stored = next((word for word, low, high in _INTEGERS if low <= least and most <= high), "double")
            if max(-least, most) > _LARGEST_EXACT:
                self.lines.append(("WARNING", f"column {name}: integers beyond 2^53 are not kept exactly."))
        values = values.astype(values.dtype.newbyteorder("="), copy=False)
        return {"type": "numeric", "length": 8, "stored": stored}, (values, mask, None)

    def _categorical(self, name: str, series: pandas.Series, known: dict[str, Any]) -> tuple[dict[str, Any], Column]:
        import numpy

        from ._frames import category_names

        table = known.get("label_table", "")
        labels = list(self._tables.get(table, []))
        codes = {text: value for value, text in category_names(labels).items()}
        values = []
        for category in series.cat.categories:
            code = codes.get(str(category))
            if code is None and table:
                code = _number(str(category))
            if code is None:
                code = max([0, *(v for v in codes.values() if v == int(v))]) + 1
                codes[str(category)] = code
                labels.append({"value": int(code), "text": str(category)})
            values.append(code)
        if labels:
            self._tables[table or name] = labels
        numbers = numpy.array([*values, 0], dtype=float)
        if all(value == int(value) for value in values):
            numbers = numbers.astype("i8")
        at = series.cat.codes.to_numpy()
        variable, column = self._numbers(name, numbers[at], (at < 0).astype("u1"))
        if table:
            return {**variable, "label_table": table}, column
        return {**variable, "label_table": name, "stata_format": "", "format": ""}, column  # no date any more

    def _objects(self, name: str, series: pandas.Series, known: dict[str, Any]) -> tuple[dict[str, Any], Column]:
        import pandas

        values = series.to_numpy(dtype=object).copy()  # in one piece, which nobody changes meanwhile
        longest, has_bytes, other = _vordta.text_sizes(values)
        if other < 0:
            stored = "strL" if has_bytes or longest > _LONGEST_TEXT else f"str{max(longest, 1)}"
            length = min(max(longest, 1), _LONGEST_TEXT)
            return {"type": "character", "length": length, "stored": stored}, (values, None, None)
        if isinstance(values[other], str):
            raise DataError(f"column {name}: the text of row {other} holds half of a surrogate pair.")
        kind = pandas.api.types.infer_dtype(values, skipna=True)
        if isinstance(values[other], datetime.date):
            return _date_objects(values, known)
        if kind in ("integer", "floating", "mixed-integer-float", "boolean", "decimal"):
            mask = pandas.isna(values)
            values[mask] = 0
            whole = "i8" if kind in ("integer", "boolean") else "f8"
            return self._numbers(name, values.astype(whole), mask.astype("u1"))
        raise DataError(f"column {name}: a Stata file has no place for {type(values[other]).__name__} "
                        f"(row {other}); it takes numbers, texts and dates.")


def _number(text: str) -> float | None:
    """The number that a category of a value without a label is named after."""
    stem = text[: (len(text) - len(" ()")) // 2]
    try:
        number = float(stem if text == f"{stem} ({stem})" else text)
    except ValueError:
        return None
    return number if math.isfinite(number) else None


def _moments(series: pandas.Series, known: dict[str, Any]) -> tuple[dict[str, Any], Column]:
    """Moments as nanoseconds; their unit is that of the display format."""
    import numpy

    kind = series.dtype.kind
    values = numpy.ascontiguousarray(series.to_numpy().astype(f"{kind}8[ns]", copy=False))
    variable = {"type": "numeric", "length": 8}
    if known.get("type") == "numeric" and known["stata_format"].lstrip("%-")[:1] in ("t", "d"):
        return {**variable, "stata_format": known["stata_format"]}, (values, None, None)
    if kind == "m":
        return {**variable, "stored": "double", "stata_format": "%tcHH:MM:SS"}, (values, None, None)
    counts = values.view("i8")
    if not numpy.any((counts % _DAY != 0) & ~numpy.isnat(values)):
        return {**variable, "stored": "long", "stata_format": "%td"}, (values, None, None)
    return {**variable, "stored": "double", "stata_format": "%tc"}, (values, None, None)


def _date_objects(objects: numpy.ndarray, known: dict[str, Any]) -> tuple[dict[str, Any], Column]:
    """Python's dates, with None and numbers among them, as the numbers that a file counts."""
    import numpy
    import pandas

    clock = any(isinstance(one, datetime.datetime) for one in objects)
    origin = datetime.datetime(1960, 1, 1)
    millisecond = datetime.timedelta(milliseconds=1)

    def number(one: Any) -> float:
        if isinstance(one, datetime.datetime):
            return (one.replace(tzinfo=None) - origin) / millisecond
        days = one.toordinal() - origin.toordinal()
        return days * 86_400_000 if clock else days

    dates = numpy.array([isinstance(one, datetime.date) for one in objects])
    values = numpy.array([numpy.nan if date or pandas.isna(one) else one for date, one in zip(dates, objects)],
                         dtype=float)
    counted = numpy.array([number(one) for one in objects[dates]], dtype=float)
    stata_format = "%tc" if clock else "%td"
    if known.get("type") == "numeric" and known["stata_format"].lstrip("%-")[:1] in ("t", "d"):
        stata_format = known["stata_format"]
        counted = _vordta.converted(counted, clock, stata_format)
    values[dates] = counted
    stored = "double" if clock else "long"
    return {"type": "numeric", "length": 8, "stored": stored, "stata_format": stata_format}, (values, None, None)
