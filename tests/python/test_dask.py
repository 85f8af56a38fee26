"""Dask frames on two worker processes hold what pandas holds on one."""

import os
import signal
import time

import numpy
import pandas
import pytest

import vordta

dask = pytest.importorskip("dask.dataframe", reason="there is no Dask")
distributed = pytest.importorskip("distributed", reason="there is no dask.distributed")
import vordta.dask  # noqa: E402

ROWS = 10_000_000


@pytest.fixture(scope="module")
def waves(tmp_path_factory):
    folder = tmp_path_factory.mktemp("waves")
    random = numpy.random.default_rng(1)
    for wave in (1, 2):
        frame = pandas.DataFrame(
            {
                "id": numpy.arange(ROWS // 2, dtype="int32"),
                "sex": random.integers(1, 3, ROWS // 2).astype("int8"),
                "income": random.integers(0, 5000, ROWS // 2).astype("float64"),
            }
        )
        frame.loc[frame.index % 1000 == 0, "income"] = numpy.nan
        vordta.write_dta(frame, folder / f"wave{wave}.dta")
    return str(folder)


@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(
        n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None, host="127.0.0.1"
    ) as cluster:
        with distributed.Client(cluster) as connected:
            yield connected


def whole(waves):
    return pandas.concat([vordta.read_dta(f"{waves}/wave{i}.dta") for i in (1, 2)], ignore_index=True)


def test_questions_over_all_rows(waves, client):
    frame = vordta.dask.read_dta(f"{waves}/wave*.dta", rows_per_partition=1_000_000)
    expected = whole(waves)
    assert frame.npartitions == 10 and frame.known_divisions and frame.divisions[-1] == ROWS - 1
    counts = frame["sex"].value_counts().compute().sort_index()
    assert counts.tolist() == expected["sex"].value_counts().sort_index().tolist()
    means = frame.groupby("sex")["income"].mean().compute().sort_index()
    assert numpy.allclose(means.astype("float64"), expected.groupby("sex")["income"].mean())
    assert frame.loc[5_000_010:5_000_012].compute()["id"].tolist() == [10, 11, 12]


def test_join_of_two_waves(waves, client):
    first, second = (
        vordta.dask.read_dta(f"{waves}/wave{i}.dta", ["id", "sex"], rows_per_partition=1_000_000) for i in (1, 2)
    )
    joined = first.merge(second, on="id")
    changed = (joined["sex_x"] != joined["sex_y"]).sum().compute()
    a, b = (vordta.read_dta(f"{waves}/wave{i}.dta", ["sex"])["sex"] for i in (1, 2))
    assert changed == (a != b).sum()


def test_a_worker_that_dies_costs_no_rows(waves, client):
    frame = vordta.dask.read_dta(f"{waves}/wave*.dta", rows_per_partition=200_000)
    running = client.compute(frame["income"].count())
    time.sleep(0.3)
    victim = next(iter(client.run(os.getpid).values()))
    os.kill(victim, signal.SIGKILL)
    assert running.result(timeout=120) == whole(waves)["income"].count()


def test_files_that_change_and_files_that_differ(tmp_path):
    frame = pandas.DataFrame({"x": [1, 2, 3]})
    vordta.write_dta(frame, tmp_path / "a.dta")
    lazy = vordta.dask.read_dta(tmp_path / "a.dta", rows_per_partition=2)
    assert lazy.compute()["x"].tolist() == [1, 2, 3]
    vordta.write_dta(pandas.DataFrame({"x": [4, 5, 6, 7]}), tmp_path / "a.dta")
    with pytest.raises(vordta.DataError, match="has changed since the graph was made"):
        lazy.compute(scheduler="synchronous")
    vordta.write_dta(pandas.DataFrame({"y": [1]}), tmp_path / "b.dta")
    with pytest.raises(vordta.DataError, match="b.dta: its variables"):
        vordta.dask.read_dta(tmp_path / "*.dta")


def test_partitions_become_files_and_one_file(tmp_path):
    frame = pandas.DataFrame({"x": range(10), "name": [f"n{i}" for i in range(10)]})
    vordta.write_dta(frame, tmp_path / "all.dta")
    lazy = vordta.dask.read_dta(tmp_path / "all.dta", rows_per_partition=4)
    parts = vordta.dask.write_dta(lazy, tmp_path / "part-*.dta", vordta.describe(tmp_path / "all.dta"))
    assert [os.path.basename(part) for part in parts] == ["part-0.dta", "part-1.dta", "part-2.dta"]
    vordta.concat_dta(parts, tmp_path / "again.dta")
    pandas.testing.assert_frame_equal(vordta.read_dta(tmp_path / "again.dta"), vordta.read_dta(tmp_path / "all.dta"))
    empty = vordta.dask.read_dta(tmp_path / "all.dta", ["name"], memory_per_partition=1)
    assert empty.npartitions == 10 and list(empty.columns) == ["name"]
