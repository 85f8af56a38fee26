import concurrent.futures
import datetime
import io
import signal
import time

import numpy
import pandas
import pytest
import vordta

DAY = datetime.date(2000, 2, 29)
NOON = pandas.Timestamp(1899, 3, 1, 12, 30, 0, 7000)
LONG = "ß" * 3000

# Values of a column, what pandas' own reader finds in the file, and the type in it.
COLUMNS = [
    (pandas.Series([0, 1, 100]), None, "byte"),
    (pandas.Series([0, 1, 101]), None, "int"),
    (pandas.Series([-(2**31) + 1, 0, 2147483620]), None, "long"),
    (pandas.Series([2147483621, 2**53, -1]), None, "double"),
    (pandas.Series([-128, 0, 127], dtype="i1"), None, "int"),
    (pandas.Series([0, 200, 255], dtype="u1"), None, "int"),
    (pandas.Series([0, 1, 4294967295], dtype="u4"), None, "double"),
    (pandas.Series([True, False, True]), [1, 0, 1], "byte"),
    (pandas.Series([1, None, 3], dtype="Int16"), [1, None, 3], "int"),
    (pandas.Series([0.5, None, -0.0], dtype="f4"), None, "float"),
    (pandas.Series([0.1, None, 1e300]), None, "double"),
    (pandas.Series([0.5, 1, 2], dtype="f2"), None, "float"),
    (pandas.Series([0, 1, 0], dtype="Sparse[i8]"), None, "byte"),
    (pandas.Series([1, None, 2.5], dtype=object), None, "double"),
    (pandas.Series(["Zoë", None, "𝄞x"]), ["Zoë", "", "𝄞x"], "str5"),
    (pandas.Series(["", "", ""], dtype="string"), ["", "", ""], "str1"),
    (pandas.Series(["", "short", LONG]), None, "strL"),
    (pandas.Series([DAY, None, datetime.date(1700, 1, 1)]), [pandas.Timestamp(DAY), None, pandas.Timestamp(1700, 1, 1)],
     "long"),
    (pandas.Series([pandas.Timestamp(DAY), None, pandas.Timestamp(1960, 1, 1)]), None, "long"),
    (pandas.Series([NOON, None, pandas.Timestamp(2250, 1, 1)]), None, "double"),
    (pandas.Series(["b", None, "a"], dtype="category"), None, "byte"),
    (pandas.Series([7, 7, 8], dtype="category"), ["7", "7", "8"], "byte"),
    (pandas.Series([], dtype=object), None, "str1"),
]


def plain(values):
    return [None if pandas.isna(value) else value for value in values]


@pytest.mark.parametrize("series, expected, stored", COLUMNS, ids=[f"{row[0].dtype}-{row[2]}" for row in COLUMNS])
def test_a_column_reads_back(series, expected, stored):
    # Every second row of a wider frame, so that no column lies in one piece.
    frame = pandas.DataFrame({"other": 1.5, "x": series}).loc[numpy.repeat(series.index, 2)].iloc[::2]
    vordta.write_dta(frame, "x.dta")
    expected = plain(series if expected is None else expected)
    assert plain(pandas.read_stata("x.dta")["x"]) == expected
    assert plain(vordta.read_dta("x.dta", labels="categories")["x"]) == expected
    assert vordta.describe("x.dta")["variables"][1]["stored_type"] == stored


def test_a_file_comes_back_to_the_byte():
    original = open("survey.dta", "rb").read()
    for options in ({}, {"labels": "categories"}, {"dtypes": "nullable"}, {"convert_dates": False}):
        frame = vordta.read_dta("survey.dta", missing="marks", **options)
        written = io.BytesIO()
        vordta.write_dta(frame, written, description=frame.attrs["vordta"])
        assert written.getvalue() == original, options


def test_a_description_gives_way_to_the_frame():
    frame = vordta.read_dta("survey.dta", labels="categories")
    description = dict(frame.attrs["vordta"], sort=["id"])
    frame["id"] = frame["id"].astype("i8") * 1_000_000  # no int any more
    frame["born"] = frame["born"].dt.year.astype(str).astype("category")  # labelled only now
    frame["sex"] = frame["sex"].cat.add_categories(["other"])
    frame.loc[0, "sex"] = "other"
    frame["name"] = frame["name"] * 200  # longer than it was, and out of order with the next line
    frame = frame.iloc[::-1].drop(columns=["happy"])
    with pytest.warns(vordta.DataWarning, match="not in the order of id"):
        vordta.write_dta(frame, "x.dta", description=description)
    again = vordta.read_dta("x.dta", labels="categories")
    assert list(again.columns) == list(frame.columns)
    for name in frame.columns:
        assert plain(again[name]) == plain(frame[name]), name
    assert again.attrs["vordta"]["sort"] == []
    assert [v["label"] for v in again.attrs["vordta"]["variables"]] == [
        v["label"] for v in description["variables"] if v["name"] != "happy"]


def test_what_has_no_place_is_an_error_that_leaves_the_file():
    pandas.DataFrame({"x": [1]}).pipe(vordta.write_dta, "x.dta")
    before = open("x.dta", "rb").read()
    for values in ([1j], [[1]], ["\ud800"], [datetime.time(1)], [object()], pandas.interval_range(0, 1, 1)):
        with pytest.raises(vordta.DataError, match="column x"):
            vordta.write_dta(pandas.DataFrame({"x": values}), "x.dta")
    assert open("x.dta", "rb").read() == before


def test_threads_read_and_write_at_the_same_time():
    frame = pandas.DataFrame({"x": numpy.arange(20_000), "y": ["text", "größer"] * 10_000})
    vordta.write_dta(frame, "x.dta")

    def work(number):
        if number % 3 == 0:
            vordta.write_dta(frame, f"{number}.dta")
            return vordta.read_dta(f"{number}.dta")
        with vordta.open_dta("x.dta") as file:
            return pandas.concat(file.batches(rows=3_000 + number))

    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        for read in pool.map(work, range(40)):
            assert (read["x"] == frame["x"]).all() and (read["y"] == frame["y"]).all()


def is_interrupted_in_the_middle(path):
    with vordta.open_dta(path) as file:
        signal.setitimer(signal.ITIMER_REAL, 0.003)
        with pytest.raises(KeyboardInterrupt):
            file._read(file.rows)
            time.sleep(10)
        try:
            file._read(1)  # it was before the reading
        except vordta.UsageError as error:
            return "closed" in str(error)
    return False


def test_an_interrupt_ends_it_at_once():
    frame = pandas.DataFrame({f"x{i}": numpy.arange(400_000.0) for i in range(30)})
    vordta.write_dta(frame, "large.dta")
    vordta.read_dta("survey.dta")  # imports what it needs
    before = signal.signal(signal.SIGALRM, signal.default_int_handler)
    try:
        assert any(is_interrupted_in_the_middle("large.dta") for _ in range(5))
        signal.setitimer(signal.ITIMER_REAL, 0.003)
        with pytest.raises(KeyboardInterrupt):
            vordta.write_dta(frame, "never.dta")
        with pytest.raises(FileNotFoundError):
            vordta.describe("never.dta")
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)
