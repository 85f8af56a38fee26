import datetime
import doctest
import json
import os
import pathlib

import numpy
import pandas
import pytest
import vordta
from vordta import _reading, _writing

UTF8_RELEASE = 118
SECONDS_RELEASE = 117
# The collection knows no leap seconds, rounds moments to seconds, and is some days off for periods before 1960.
TOLERANCES = {"%tC": 27_000, "%tc": 1} | dict.fromkeys(("%tw", "%tm", "%tq", "%th", "%ty"), 3)
MARKS_RELEASE = 113
# The "." of later releases, which some writers put into files of releases where it is a number.
LATER_MARKS = {101, 32741, 2147483621, 2.0**1023, float("inf")}


@pytest.mark.parametrize("module", [vordta, _reading, _writing], ids=lambda module: module.__name__)
def test_examples_of_the_docstrings(module):
    failed, tried = doctest.testmod(module)
    assert tried > 0 and failed == 0


def corpus():
    folder = os.environ.get("VORDTA_CORPUS")
    return sorted(pathlib.Path(folder).glob("*.dta")) if folder else []


def counted(value, stata_format, release):
    """A value of a frame as the collection has it: moments as seconds or milliseconds, days as days, since 1960."""
    origin = pandas.Timestamp(1960, 1, 1)
    if isinstance(value, pandas.Timedelta):
        value += origin
    elif isinstance(value, datetime.date) and not isinstance(value, datetime.datetime):
        return value.toordinal() - origin.toordinal()
    if not isinstance(value, datetime.datetime):
        return value
    past = value - origin
    if not stata_format.lower().startswith("%tc"):
        return past / pandas.Timedelta("1D")
    return past / pandas.Timedelta("1s" if stata_format.startswith("%tc") and release >= SECONDS_RELEASE else "1ms")


@pytest.mark.skipif(not corpus(), reason="VORDTA_CORPUS names no folder of foreign files")
def test_files_of_other_programs_read_as_described():
    for path in corpus():
        said = json.loads(path.with_suffix(".json").read_text())
        encoding = "latin1" if said["release"] < UTF8_RELEASE else None
        frame = vordta.read_dta(path, missing="marks", encoding=encoding)
        assert [name for name in frame.columns if name in said["names"]] == said["names"], path
        assert len(frame) == len(said["rows"]), path
        for i, (name, stata_format) in enumerate(zip(said["names"], said["formats"])):
            values = frame[name].tolist()
            marks = frame[name + "_missing"].tolist() if name + "_missing" in frame else [None] * len(values)
            for row, (value, mark, all_expected) in enumerate(zip(values, marks, said["rows"])):
                expected = all_expected[i]
                place = (path.name, name, row, value, mark, expected)
                if isinstance(value, str):
                    assert value.rstrip(" ") == expected, place
                elif isinstance(expected, str):
                    old = said["release"] < MARKS_RELEASE
                    assert value is None or value != value or old and value in LATER_MARKS, place
                    assert (mark or ".") == expected or old, place
                else:
                    value = counted(value, stata_format, said["release"])
                    assert value == pytest.approx(expected, rel=1e-9, abs=TOLERANCES.get(stata_format[:3], 1e-12)), place
