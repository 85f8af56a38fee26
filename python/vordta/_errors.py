"""What goes wrong, and what should be known: one sentence each."""

from __future__ import annotations

import errno
import logging
import os
import warnings
from typing import Iterable


class Error(Exception):
    """What a file could not be read or written for, in one sentence."""


class DataError(Error, ValueError):
    """The file or the frame cannot be converted."""


class UsageError(Error, ValueError):
    """What was asked for does not make sense."""


class MachineError(Error, OSError):
    """No space, no permission, no memory, no such file."""


class _NotFound(MachineError, FileNotFoundError):
    pass


class _NotPermitted(MachineError, PermissionError):
    pass


class DataWarning(UserWarning):
    """A value or a property of the data is changed or lost."""


_MACHINE = {errno.ENOENT: _NotFound, errno.EACCES: _NotPermitted, errno.EPERM: _NotPermitted}
for _class in _MACHINE.values():
    _class.__qualname__ = _class.__name__ = "MachineError"


def made_error(failure: str, sentence: str) -> Error:
    """The exception for a failure ("data", "usage", "machine"). The sentence ends in the system's words."""
    if failure != "machine":
        return (UsageError if failure == "usage" else DataError)(sentence)
    for number, machine_error in _MACHINE.items():
        if os.strerror(number) in sentence:
            error = machine_error(sentence)
            error.errno = number
            return error
    return MachineError(sentence)


def tell(lines: Iterable[tuple[str, str]], stacklevel: int = 3) -> None:
    """Log lines as Python has them. stacklevel: of the caller's caller in `warnings`, 3 for the one who called it."""
    for severity, sentence in lines:
        if severity == "NOTE":
            logging.getLogger("vordta").info(sentence)
        else:
            warnings.warn(sentence, DataWarning, stacklevel=stacklevel)
