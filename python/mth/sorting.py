"""Sorting and ranking, with the order of ties fixed on every machine."""

from __future__ import annotations

from typing import Any, Optional

from numpy.typing import ArrayLike, NDArray

from . import _mth

__all__ = ["ranks", "sort"]


def sort(a: ArrayLike, companions: Optional[ArrayLike] = None, *, descending: bool = False) -> Any:
    """Sorted copy of a vector, or of keys and their companions, ascending; each keeps its type.

    A NaN keeps its place, and the others are sorted around it; among keys it raises ``ValueError``, as do whole numbers
    from 2**53 on, which the sort, in double precision, would not tell apart. Of equal keys the companions stand in the order of this
    quicksort, the same on every machine; keys and companions cannot be sorted descending.

    Source: Hoare, The Computer Journal 5 (1962); Sedgewick, Communications of the ACM 21 (1978).

    >>> sort([3.0, 1.0, 2.0])
    array([1., 2., 3.])
    >>> sort([3.0, 1.0], [30.0, 10.0])
    (array([1., 3.]), array([10., 30.]))
    >>> sort([3.0, 1.0], [0, 1])[1]
    array([1, 0])
    """
    if companions is None:
        return _mth.sort(a, not descending)
    if descending:
        raise ValueError("keys and companions are sorted ascending")
    return _mth.sort_pair(a, companions)


def ranks(a: ArrayLike) -> NDArray[Any]:
    """Rank of each value from 0; equal values share the mean of theirs. ``ValueError`` for a NaN.

    >>> ranks([10.0, 30.0, 10.0])
    array([0.5, 2. , 0.5])
    """
    return _mth.ranks(a)
