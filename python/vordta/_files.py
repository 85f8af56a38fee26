"""What people give as a file: a path, an open binary file, or the bytes themselves."""

from __future__ import annotations

import os
import shutil
import tempfile
from contextlib import contextmanager
from typing import IO, Iterator, Union

Source = Union[str, "os.PathLike[str]", IO[bytes], bytes, bytearray, memoryview]
Target = Union[str, "os.PathLike[str]", IO[bytes]]


def file_name(name: str | os.PathLike[str]) -> bytes:
    path = os.fsencode(name)
    return b"./-" if path == b"-" else path  # the name of a file, not standard input


@contextmanager
def input_path(source: Source) -> Iterator[bytes]:
    """The path of a source while it is read. What is no path is copied into a temporary file."""
    if isinstance(source, (str, os.PathLike)):
        yield file_name(source)
        return
    with tempfile.NamedTemporaryFile(prefix="vordta-", suffix=".dta") as copy:
        if isinstance(source, (bytes, bytearray, memoryview)):
            copy.write(source)
        elif hasattr(source, "read"):
            shutil.copyfileobj(source, copy, 1 << 20)
        else:
            raise TypeError(f"a path, an open binary file or bytes were expected, not {type(source).__name__}")
        copy.flush()
        yield os.fsencode(copy.name)


@contextmanager
def output_path(target: Target) -> Iterator[bytes]:
    """The path to write to. What was written for an open file goes there at the end."""
    if isinstance(target, (str, os.PathLike)):
        yield file_name(target)
        return
    if not hasattr(target, "write"):
        raise TypeError(f"a path or an open binary file was expected, not {type(target).__name__}")
    with tempfile.TemporaryDirectory(prefix="vordta-") as folder:
        path = os.path.join(folder, "frame.dta")
        yield os.fsencode(path)
        with open(path, "rb") as written:
            shutil.copyfileobj(written, target, 1 << 20)
