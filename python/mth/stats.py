"""Summary statistics and tests, with sums in index order in double: the same bits on every machine."""

from __future__ import annotations

from typing import NamedTuple, Optional

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _mth
from .sorting import ranks

__all__ = ["Pearson", "Spearman", "covariance", "mann_whitney", "mean", "pearson", "ranks", "slope", "spearman", "std"]


class Spearman(NamedTuple):
    """Rank correlation and its significance; d is the sum of squared rank differences, zd its deviations from chance."""

    correlation: float
    significance: float
    d: float
    zd: float
    d_significance: float


class Pearson(NamedTuple):
    """Correlation and its significance, slope of y on x, means, variances and covariance (divisor n - 1)."""

    correlation: float
    significance: float
    slope: float
    mean_x: float
    mean_y: float
    variance_x: float
    variance_y: float
    covariance: float


def mean(x: ArrayLike) -> float:
    """Mean of a vector; 0 without values.

    >>> mean([1.0, 2.0, 6.0])
    3.0
    """
    return _mth.mean(x)


def std(x: ArrayLike) -> float:
    """Population standard deviation (divisor n) in one pass; NaN where rounding makes the variance negative.

    >>> std([1.0, 3.0])
    1.0
    """
    return _mth.std(x)


def covariance(x: ArrayLike, y: Optional[ArrayLike] = None) -> NDArray[np.float64]:
    """Population covariances (divisor n) of the columns of x, samples x features, with those of y, or with themselves.

    >>> covariance([[1.0, 2.0], [3.0, 6.0]])
    array([[1., 2.],
           [2., 4.]])
    """
    columns = _mth.real_array(x, "x").T
    return _mth.covariance(columns, columns if y is None else _mth.real_array(y, "y").T)


def spearman(x: ArrayLike, y: ArrayLike) -> Spearman:
    """Spearman's rank correlation of pairs; equal values share their mean rank. ``ValueError`` for a NaN.

    Source: Lehmann, Nonparametrics (1975).

    >>> spearman([1.0, 2.0, 3.0], [10.0, 30.0, 20.0]).correlation
    0.5
    """
    return Spearman(*_mth.spearman(x, y))


def pearson(x: ArrayLike, y: ArrayLike) -> Pearson:
    """Pearson's correlation of pairs, the regression slope and the significance.

    The significance is one-sided for 3 pairs and from 1e7 on, two-sided between, by intention. ``ValueError`` for values
    that are not finite.

    >>> pearson([0.0, 1.0, 2.0], [1.0, 3.0, 5.0]).slope
    2.0
    """
    return Pearson(*_mth.pearson(x, y))


def mann_whitney(x: ArrayLike, y: ArrayLike) -> float:
    """Two-sided significance of the rank test of Mann and Whitney for two samples of one size, by the normal law.

    Ties share their mean rank and correct the variance; the continuity correction is 1/2. NaN for samples with a NaN.

    Source: Mann & Whitney, Annals of Mathematical Statistics 18 (1947).

    >>> round(mann_whitney([1.0, 2.0], [1.0, 2.0]), 6)
    1.0
    """
    return _mth.mann_whitney(x, y)


def slope(x: ArrayLike, y: ArrayLike) -> float:
    """Slope of the least-squares line of y on x.

    >>> slope([0.0, 1.0, 2.0], [1.0, 3.0, 5.0])
    2.0
    """
    return _mth.slope(x, y)
