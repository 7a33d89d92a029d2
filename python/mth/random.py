"""Reproducible random streams.

The streams belong to the process: there are five of each kind, numbered 0 to 4, and two objects of one kind and number draw
from the same one. Streams of a kind share cursors, so that a draw from one moves the others, by intention. A seed is a time
of day in hundredths of a second, 1 to 8,639,999, the present one without a seed; the same seed gives the same numbers on
every machine. Threads may draw at the same time: each gets numbers of its own.
"""

from __future__ import annotations

from typing import Optional

import numpy as np
from numpy.typing import NDArray

from . import _mth

__all__ = ["Bits", "Integers", "Mixed", "Normal", "Uniform", "select"]


def _checked(stream: int, seed: Optional[int]) -> tuple[int, Optional[int]]:
    if not 0 <= stream <= 4:
        raise ValueError(f"stream is {stream}, not 0 to 4")
    if seed is not None and not 1 <= seed <= 8_639_999:
        raise ValueError(f"seed is {seed}, not 1 to 8639999")
    return stream, seed


def _count(n: int) -> int:
    if n < 0:
        raise ValueError(f"n is {n}, a negative number")
    return n


class Uniform:
    """Uniform deviates in [0, 1) by the subtractive method (Knuth, The Art of Computer Programming, volume 2, 3.2).

    >>> Uniform(seed=4711).draw(3).shape
    (3,)
    """

    def __init__(self, stream: int = 0, seed: Optional[int] = None) -> None:
        self._stream, seed = _checked(stream, seed)
        _mth.seed_uniform(self._stream, seed)

    def draw(self, n: int) -> NDArray[np.float64]:
        """The next n numbers."""
        return _mth.uniform(self._stream, _count(n))


class Normal:
    """Standard normal deviates by the polar method, in single precision, from a stream of the kind of `Uniform`.

    They come in pairs, of which the second is kept for the next draw from any stream.

    >>> Normal(seed=4711).draw(2).dtype
    dtype('float32')
    """

    def __init__(self, stream: int = 0, seed: Optional[int] = None) -> None:
        self._stream, seed = _checked(stream, seed)
        _mth.seed_normal(self._stream, seed)

    def draw(self, n: int) -> NDArray[np.float32]:
        """The next n numbers."""
        return _mth.normal(self._stream, _count(n))


class Integers:
    """Uniform integers of [low, high], both of 16 bits, by the method of `Uniform`.

    >>> set(Integers(3, 4, seed=4711).draw(50).tolist()) == {3, 4}
    True
    """

    def __init__(self, low: int, high: int, stream: int = 0, seed: Optional[int] = None) -> None:
        if not -32768 <= low <= high <= 32767:
            raise ValueError(f"[{low}, {high}] is no range of 16 bits")
        self._stream, seed = _checked(stream, seed)
        _mth.seed_integers(self._stream, low, high, seed)

    def draw(self, n: int) -> NDArray[np.int32]:
        """The next n numbers."""
        return _mth.integers(self._stream, _count(n))


class Bits:
    """Random bits of a shift register of 18 bits.

    >>> sorted(set(Bits(seed=4711).draw(50).tolist()))
    [0, 1]
    """

    def __init__(self, stream: int = 0, seed: Optional[int] = None) -> None:
        self._stream, seed = _checked(stream, seed)
        _mth.seed_bits(self._stream, seed)

    def draw(self, n: int) -> NDArray[np.int16]:
        """The next n bits."""
        return _mth.bits(self._stream, _count(n))


class Mixed:
    """Uniform deviates in (0, 1) of two combined generators and a shuffle, which all objects share.

    Source: L'Ecuyer, Communications of the ACM 31 (1988); Bays & Durham, ACM TOMS 2 (1976).

    >>> bool((Mixed(7).draw(5) == Mixed(7).draw(5)).all())
    True
    """

    def __init__(self, seed: int = 1) -> None:
        self._state = -abs(seed)

    def draw(self, n: int) -> NDArray[np.float32]:
        """The next n numbers."""
        numbers, self._state = _mth.generate(self._state, _count(n))
        return numbers


def select(k: int, n: int) -> NDArray[np.int16]:
    """k distinct integers of [0, n), in draw order, the same in every process; n at most 32767.

    >>> sorted(select(3, 3).tolist())
    [0, 1, 2]
    """
    return _mth.select(k, n)
