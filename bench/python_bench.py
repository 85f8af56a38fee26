#!/usr/bin/env python3
"""How much faster the package is than pandas' own reader and writer, on the same files in the same run.

    PYTHONPATH=build/release/python python3 bench/python_bench.py [--rows 1000000] [--large-bytes 5000000000]

The file has 30 variables of every kind: whole numbers of three sizes, with and without missing values, floats, doubles,
dates, moments, texts of few and of many different values. The fastest of several runs counts.
"""

import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time

import numpy
import pandas
import vordta


def mixed_frame(rows):
    random = numpy.random.default_rng(1)
    columns = {}

    def number(name, values, missing=0.0):
        if missing:
            values = values.astype(float)
            values[random.random(rows) < missing] = numpy.nan
        columns[name] = values

    for i in range(7):
        number(f"byte{i}", random.integers(-100, 100, rows, dtype="i1"), 0.1 if i < 2 else 0)
    for i in range(5):
        number(f"int{i}", random.integers(-30000, 30000, rows, dtype="i2"), 0.1 if i < 1 else 0)
    for i in range(4):
        number(f"long{i}", random.integers(-(10**9), 10**9, rows, dtype="i4"), 0.1 if i < 1 else 0)
    for i in range(3):
        columns[f"float{i}"] = random.normal(size=rows).astype("f4")
    for i in range(4):
        number(f"double{i}", random.normal(size=rows), 0.1 if i < 1 else 0)
    columns["born"] = numpy.datetime64("1990-01-01", "ns") + random.integers(0, 10000, rows) * numpy.timedelta64(1, "D")
    columns["seen"] = numpy.datetime64("2020-01-01", "ns") + random.integers(0, 10**11, rows) * numpy.timedelta64(1, "ms")
    places = numpy.array([f"Place {i}" for i in range(1000)], dtype=object)
    words = numpy.array(["yes", "no", "maybe", "never", "", "søndag"], dtype=object)
    columns["answer"] = words[random.integers(0, len(words), rows)]
    columns["reply"] = words[random.integers(0, len(words), rows)]
    columns["town"] = places[random.integers(0, len(places), rows)]
    columns["birthplace"] = places[random.integers(0, len(places), rows)]
    columns["key"] = numpy.array([f"{i:09d}" for i in random.permutation(rows)], dtype=object)
    return pandas.DataFrame(columns, copy=False)


def fastest(action, least_runs=3, seconds=2.0):
    """Of as many runs as fill the time, because other programs may be running."""
    times = []
    while len(times) < least_runs or sum(times) < seconds:
        start = time.perf_counter()
        result = action()
        times.append(time.perf_counter() - start)
        del result
    return min(times)


def compare(job, ours, theirs, ask):
    mine = fastest(ours)
    other = fastest(theirs)
    print(f"{job:38} {mine * 1000:9.1f} ms  pandas {other * 1000:9.1f} ms  {other / mine:6.1f} times  (asked: {ask})")


def peak_memory(path):
    """The peak of a process of its own that reads the file, beside what the frame holds: arrays, and each text once."""
    program = """if True:
        import gc, re, sys, vordta, pandas
        def kilobytes(name):
            return int(re.search(name + r":\\s+(\\d+)", open("/proc/self/status").read()).group(1))
        vordta.read_dta(sys.argv[1], rows=(0, 10)); gc.collect()
        open("/proc/self/clear_refs", "w").write("5")
        before = kilobytes("VmRSS")
        frame = vordta.read_dta(sys.argv[1])
        peak = kilobytes("VmHWM") - before
        texts = {}
        for name in frame.columns[frame.dtypes == object]:
            texts.update((id(text), sys.getsizeof(text)) for text in frame[name])
        own = int(frame.memory_usage().sum()) + sum(texts.values())
        print(peak * 1024 / own, own)
    """
    ratio, own = subprocess.run([sys.executable, "-c", program, path], capture_output=True, text=True, check=True).stdout.split()
    print(f"{'peak memory of read_dta':38} {float(ratio):6.2f} times the {int(own) / 1e6:.0f} MB of the frame  (asked: 1.2)")


def first_rows(path, bytes_wanted, rows):
    """The first rows of a file of this size, which grows from the smaller one: its records are repeated."""
    block = vordta.read_dta(path, rows=(0, 2))
    data = pathlib.Path(path).read_bytes()
    start, end = data.index(b"<data>") + 6, data.index(b"</data>")
    width = (end - start) // rows
    times = max((bytes_wanted - len(data)) // (end - start), 0) + 1
    count = data.index(b"<N>") + 3
    shift = (times - 1) * (end - start)
    head = bytearray(data[:start])
    head[count : count + 8] = (times * rows).to_bytes(8, "little")
    places = data.index(b"<map>") + 5
    for entry in range(10, 14):  # what stands behind the observations
        at = places + 8 * entry
        head[at : at + 8] = (int.from_bytes(data[at : at + 8], "little") + shift).to_bytes(8, "little")
    with tempfile.NamedTemporaryFile(suffix=".dta") as large:
        large.write(head)
        for _ in range(times):
            large.write(data[start:end])
        large.write(data[end:])
        large.flush()
        size = os.path.getsize(large.name)
        assert vordta.describe(large.name)["observations"] == times * rows and width > 0
        assert vordta.read_dta(large.name, rows=(0, 2)).equals(block)
        took = fastest(lambda: vordta.read_dta(large.name, rows=(0, 1000)))
        print(f"{f'first 1000 rows of {size / 1e9:.1f} GB':38} {took * 1000:9.1f} ms  (asked: 20 ms)")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rows", type=int, default=1_000_000)
    parser.add_argument("--large-bytes", type=int, default=5_000_000_000)
    arguments = parser.parse_args()
    frame = mixed_frame(arguments.rows)
    with tempfile.TemporaryDirectory() as folder:
        path, other = os.path.join(folder, "mixed.dta"), os.path.join(folder, "other.dta")
        vordta.write_dta(frame, path)
        print(f"{len(frame)} rows, {len(frame.columns)} columns, {os.path.getsize(path) / 1e6:.0f} MB")
        numbers = list(frame.select_dtypes("number"))
        columns = ["int3", "double2", "town"]
        plain = {"convert_categoricals": False}
        compare("read_dta, 30 mixed columns", lambda: vordta.read_dta(path), lambda: pandas.read_stata(path, **plain), 6)
        compare(f"read_dta, {len(numbers)} columns of numbers", lambda: vordta.read_dta(path, columns=numbers),
                lambda: pandas.read_stata(path, columns=numbers, **plain), 15)
        compare("read_dta, three columns", lambda: vordta.read_dta(path, columns=columns),
                lambda: pandas.read_stata(path, columns=columns, **plain), 40)
        compare("write_dta", lambda: vordta.write_dta(frame, other),
                lambda: frame.to_stata(other, write_index=False, version=118), 5)
        peak_memory(path)
        if arguments.large_bytes:
            first_rows(path, arguments.large_bytes, arguments.rows)


if __name__ == "__main__":
    main()
