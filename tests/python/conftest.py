import pathlib
import shutil

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(autouse=True)
def in_a_folder_with_the_examples(tmp_path, monkeypatch):
    for example in (ROOT / "examples").glob("*.dta"):
        shutil.copy(example, tmp_path)
    monkeypatch.chdir(tmp_path)
