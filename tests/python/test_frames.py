import doctest
import json
import math
import os
import pathlib

import numpy
import pandas
import pytest
import vordta
from vordta import _reading, _writing

UTF8_RELEASE = 118
SECONDS_RELEASE = 117
MARKS_RELEASE = 113  # before it a file has no other missing value than "."


@pytest.mark.parametrize("module", [vordta, _reading, _writing], ids=lambda module: module.__name__)
def test_examples_of_the_docstrings(module):
    failed, tried = doctest.testmod(module)
    assert tried > 0 and failed == 0


def corpus():
    folder = os.environ.get("VORDTA_CORPUS")
    return sorted(pathlib.Path(folder).glob("*.dta")) if folder else []


def expected_number(value, stata_format, release):
    """The number that the frame has for one of the collection, where moments of later releases are seconds."""
    return value * 1000 if stata_format.startswith("%tc") and release >= SECONDS_RELEASE else value


@pytest.mark.skipif(not corpus(), reason="VORDTA_CORPUS names no folder of foreign files")
def test_files_of_other_programs_read_as_described():
    for path in corpus():
        said = json.loads(path.with_suffix(".json").read_text())
        encoding = "latin1" if said["release"] < UTF8_RELEASE else None
        frame = vordta.read_dta(path, missing="marks", convert_dates=False, encoding=encoding)
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
                    assert math.isnan(value), place
                    assert (mark or ".") == expected or said["release"] < MARKS_RELEASE, place
                else:
                    assert value == pytest.approx(expected_number(expected, stata_format, said["release"]), rel=1e-12, abs=1e-12), place
