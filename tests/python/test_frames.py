import datetime
import doctest
import gzip
import json
import os
import pathlib
import subprocess
import sys

import numpy
import pandas
import pytest
import vordta
from conftest import ROOT
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


def test_the_tour_in_the_readme():
    failed, tried = doctest.testfile(str(ROOT / "README.md"), module_relative=False, encoding="utf-8")
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


def test_a_variable_is_the_same_in_every_form():
    numbers = vordta.read_dta("survey.dta")
    assert numbers["id"].dtype == "int16" and numbers["sex"].dtype == "float64" and numbers["born"].dtype == "M8[ns]"
    nullable = vordta.read_dta("survey.dta", dtypes="nullable", missing="marks")
    assert nullable["id"].dtype == "Int16" and nullable["sex"].dtype == "Int8" and nullable["sex"].isna().sum() == 1
    assert list(nullable["income_missing"]) == [None, ".a", None, None, ".b", ".", None, None]
    named = vordta.read_dta("survey.dta", labels="categories", columns=["income", "sex"], rows=(6, None))
    assert list(named.columns) == ["income", "sex"] and list(named.index) == [6, 7]
    assert named["sex"].isna()[6] and named["sex"][7] == "male" and named["income"].dtype == "float64"
    with vordta.open_dta("survey.dta", missing="marks", columns=["remark", "happy", "id"], dtypes="nullable") as file:
        parts = pandas.concat(file.batches(rows=3))
    whole = vordta.read_dta("survey.dta", missing="marks", columns=["remark", "happy", "id"], dtypes="nullable")
    parts["happy_missing"] = parts["happy_missing"].where(parts["happy_missing"].notna(), None)
    pandas.testing.assert_frame_equal(parts[list(whole)], whole)
    assert vordta.read_dta("survey.dta", columns=[]).shape == (8, 0)
    assert vordta.read_dta("survey.dta", rows=(9, 20)).shape == (0, 8)


def test_categories_of_codes_that_have_no_or_no_own_label():
    labels = [{"value": 1, "text": "yes"}, {"value": 2, "text": "yes"}, {"value": 4, "text": "3"}, {"value": ".a", "text": "refused"}]
    frame = pandas.DataFrame({"x": [1, 2, 3, 2.5, None]})
    description = {"variables": [{"name": "x", "type": "numeric", "stored_type": "double", "stata_format": "%9.0g",
                                  "label_table": "yn", "length": 8, "format": "yn.", "label": "",
                                  "value_labels": labels}]}
    vordta.write_dta(frame, "x.dta", description=description)
    read = vordta.read_dta("x.dta", labels="categories")
    assert read["x"].tolist() == ["yes", "yes (2)", "3 (3)", "2.5", numpy.nan]
    vordta.write_dta(read, "again.dta", description=read.attrs["vordta"])
    assert open("again.dta", "rb").read() == open("x.dta", "rb").read()


def test_dates_out_of_the_range_of_numpy_are_dates_of_python():
    far = [datetime.date(1, 1, 1), None, datetime.date(9999, 12, 31), datetime.date(1960, 1, 1)]
    late = [datetime.datetime(1500, 1, 1, 1, 2, 3, 4000), datetime.datetime(2000, 1, 1), None, None]
    vordta.write_dta(pandas.DataFrame({"day": far, "moment": late}, dtype=object), "x.dta")
    with pytest.warns(vordta.DataWarning, match="variable (day|moment): .*datetime64"):
        frame = vordta.read_dta("x.dta")
    assert frame["day"].tolist() == far and frame["moment"].tolist() == late
    assert [one.date() for one in pandas.read_stata("x.dta")["day"][[0, 2]]] == [far[0], far[2]]


def test_every_kind_of_source_and_of_failure(tmp_path):
    path = tmp_path / "survey.dta"
    data = path.read_bytes()
    whole = vordta.read_dta("survey")
    (tmp_path / "bytes\udcff.dta").write_bytes(data)
    with open(path, "rb") as file:
        for source in (path, str(path), file, data, memoryview(data), gzip.compress(data), tmp_path / "bytes\udcff.dta"):
            pandas.testing.assert_frame_equal(vordta.read_dta(source), whole)
    (tmp_path / "folder").mkdir()
    for action, error in [
        (lambda: vordta.describe("missing.dta"), FileNotFoundError),
        (lambda: vordta.write_dta(whole, "missing/x.dta"), FileNotFoundError),
        (lambda: vordta.describe(data[:2000]), vordta.DataError),
        (lambda: vordta.read_dta("survey.dta", columns=["nothing"]), vordta.UsageError),
        (lambda: vordta.read_dta("survey.dta", columns="id"), vordta.UsageError),
        (lambda: vordta.read_dta("survey.dta", rows=(-1, 2)), vordta.UsageError),
        (lambda: vordta.read_dta("survey.dta", labels="text"), vordta.UsageError),
        (lambda: vordta.read_dta("folder"), vordta.Error),
        (lambda: vordta.describe(3), TypeError),
    ]:
        with pytest.raises(error) as raised:
            action()
        assert isinstance(raised.value, (vordta.Error, TypeError)) and str(raised.value)


def test_an_arrow_stream_without_numpy():
    program = """if True:
        import ctypes, sys, vordta
        class Array(ctypes.Structure):
            pass
        Array._fields_ = [("length", ctypes.c_int64), ("nulls", ctypes.c_int64), ("offset", ctypes.c_int64),
                          ("n_buffers", ctypes.c_int64), ("n_children", ctypes.c_int64),
                          ("buffers", ctypes.POINTER(ctypes.c_void_p)),
                          ("children", ctypes.POINTER(ctypes.POINTER(Array))), ("dictionary", ctypes.c_void_p),
                          ("release", ctypes.CFUNCTYPE(None, ctypes.POINTER(Array))), ("private", ctypes.c_void_p)]
        class Stream(ctypes.Structure):
            _fields_ = [("schema", ctypes.c_void_p),
                        ("next", ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(Array)))]
        pointer = ctypes.pythonapi.PyCapsule_GetPointer
        pointer.restype, pointer.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]
        file = vordta.open_dta("survey.dta", columns=["id", "name"], rows=(2, 5))
        for _ in range(2):
            capsule = file.__arrow_c_stream__()
            at = pointer(capsule, b"arrow_array_stream")
            array = Array()
            assert Stream.from_address(at).next(at, ctypes.byref(array)) == 0
            numbers = array.children[0].contents
            print(list(ctypes.cast(numbers.buffers[1], ctypes.POINTER(ctypes.c_int16))[:numbers.length]))
            array.release(ctypes.byref(array))
            try:
                file.__arrow_c_stream__()
            except vordta.UsageError:
                del capsule
        print("numpy" in sys.modules)
    """
    run = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=False)
    assert run.stdout.split("\n")[:3] == ["[3, 4, 5]", "[3, 4, 5]", "False"], run.stderr
