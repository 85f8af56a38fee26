"""Columns of the extension module as a pandas frame."""

from __future__ import annotations

from typing import Any, Sequence

import numpy
import pandas

_MARKS = numpy.array([None] * 256, dtype=object)
_MARKS[ord(".")] = "."
for _letter in b"_abcdefghijklmnopqrstuvwxyz":
    _MARKS[_letter] = "." + chr(_letter)


def assembled(
    variables: Sequence[tuple[str, str, str]],
    columns: Sequence[tuple[str, Any, Any, Any]],
    index: range,
    order: Sequence[str] | None,
    labels: dict[str, list[dict[str, Any]]],
    dtypes: str,
) -> tuple[pandas.DataFrame, list[tuple[str, str]]]:
    """The frame, with the log lines of what it could not be. order: names of the variables that come first to last."""
    lines = []
    made: dict[str, list[tuple[str, Any]]] = {}
    for (name, _, _), (kind, values, mask, marks) in zip(variables, columns):
        if kind == "objects":
            lines.append(("WARNING", f"variable {name}: not all of its values are in the range of datetime64[ns]; "
                                     "they are Python's own dates."))
        if kind == "number" and (names := category_names(labels.get(name, []))):
            values = _categorical(values, mask, names)
        elif dtypes == "nullable" and kind == "number":
            values = _nullable(values, mask)
        made.setdefault(name, []).append((name, values))
        if marks is not None:
            made[name].append((name + "_missing", _MARKS[marks]))
    parts = [part for name in (made if order is None else order) for part in made[name]]
    frame = pandas.DataFrame(
        {i: values for i, (_, values) in enumerate(parts)}, index=pandas.RangeIndex(index.start, index.stop), copy=False
    )
    frame.columns = pandas.Index([name for name, _ in parts], dtype=object)
    return frame, lines


def _nullable(values: numpy.ndarray, mask: numpy.ndarray | None) -> Any:
    kind = type(pandas.array([], dtype="Float64" if values.dtype.kind == "f" else "Int64"))
    return kind(values, numpy.zeros(len(values), bool) if mask is None else mask.view(bool))


def category_names(labels: list[dict[str, Any]]) -> dict[float, str]:
    """The category of each labelled number: its text, with the number behind it where another one has that text."""
    names: dict[float, str] = {}
    taken = set()
    for label in labels:
        value, text = label["value"], label["text"]
        if isinstance(value, str) or "to" in label or value in names:  # missing values, intervals
            continue
        names[value] = text if text not in taken else f"{text} ({value})"
        taken.add(names[value])
    return names


def number_text(value: float) -> str:
    return str(int(value)) if value == int(value) else repr(float(value))


def _categorical(values: numpy.ndarray, mask: numpy.ndarray | None, names: dict[float, str]) -> Any:
    missing = numpy.isnan(values) if mask is None else mask.view(bool)
    others = numpy.unique(values[~missing & ~numpy.isin(values, list(names))])
    taken = set(names.values())
    for value in others.tolist():
        text = number_text(value)
        names[value] = text if text not in taken else f"{text} ({text})"
    keys = numpy.array(sorted(names), dtype=float)
    codes = numpy.searchsorted(keys, values)
    codes[missing] = -1
    return pandas.Categorical.from_codes(codes, categories=[names[key] for key in keys.tolist()])
