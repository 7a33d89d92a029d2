"""What a user may give as ``progress``, as the one form that the compiled module calls."""

from __future__ import annotations

import sys
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import Any, Optional, Union

Progress = Union[None, bool, Callable[..., object], Any]
Report = Optional[Callable[[int, int], object]]


class _Line:
    """One line of text, redrawn in place on standard error."""

    def __init__(self, title: str) -> None:
        self._title = title
        self._percent = -1

    def __call__(self, done: int, total: int) -> None:
        percent = 100 * done // max(total, 1)
        if percent != self._percent:
            self._percent = percent
            sys.stderr.write(f"\r{self._title}: {percent} % ({done} of at most {total})")
            sys.stderr.flush()

    def close(self) -> None:
        if self._percent >= 0:
            sys.stderr.write("\n")


class _Bar:
    """A bar with tqdm's members ``total`` and ``update``."""

    def __init__(self, bar: Any) -> None:
        self._bar = bar
        self._done = 0

    def __call__(self, done: int, total: int) -> None:
        self._bar.total = total
        self._bar.update(done - self._done)
        self._done = done


@contextmanager
def reporting(progress: Progress, title: str) -> Iterator[Report]:
    """None for no progress; otherwise a function of the steps done and the number of steps.

    `progress` is None or False; True, for a line on standard error; a bar such as ``tqdm()``, or a class of bars such as
    ``tqdm`` itself, which is closed at the end; or a function of these two numbers.
    """
    if progress is None or progress is False:
        yield None
    elif progress is True:
        line = _Line(title)
        try:
            yield line
        finally:
            line.close()
    elif isinstance(progress, type) and hasattr(progress, "update"):
        bar = progress(desc=title)
        try:
            yield _Bar(bar)
        finally:
            bar.close()
    elif hasattr(progress, "update"):
        yield _Bar(progress)
    elif callable(progress):
        yield progress
    else:
        raise TypeError(f"progress is {progress!r}: neither a truth value, nor a function, nor a bar")
