"""Gamma, beta and error functions over numbers and arrays of any shape, with the same bits on every machine."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import ArrayLike

from . import _mth

__all__ = ["betainc", "erf", "erfc", "gamma", "log_gamma"]

Floats = Any  # an array, or a number of one


def gamma(x: ArrayLike) -> Floats:
    """Gamma(x) for x > 0 by Lanczos' formula, relative error below 2e-10; an infinity beyond 171.

    Source: Lanczos, SIAM Journal on Numerical Analysis B1 (1964).

    >>> gamma([1.0, 5.0]).round(6)
    array([ 1., 24.])
    """
    return _mth.gamma(x)


def log_gamma(x: ArrayLike) -> Floats:
    """ln Gamma(x) for x > 0; see `gamma`.

    >>> log_gamma([3.0]).round(6)
    array([0.693147])
    """
    return _mth.log_gamma(x)


def erf(x: ArrayLike) -> Floats:
    """Error function in single precision, absolute error below 1e-6.

    >>> erf([0.0])
    array([0.])
    """
    return _mth.erf(x)


def erfc(x: ArrayLike) -> Floats:
    """Complementary error function by a Chebyshev fit, relative error up to 5.2e-7, by intention.

    >>> erfc([0.0]).round(6)
    array([1.])
    """
    return _mth.erfc(x)


def betainc(a: ArrayLike, b: ArrayLike, x: ArrayLike) -> Floats:
    """Regularised incomplete beta function I_x(a, b), a and b above 0; the arguments are broadcast.

    ``ValueError`` for an x outside 0 to 1. Warns ``RuntimeWarning`` where the continued fraction does not converge.

    Source: Abramowitz & Stegun, Handbook of Mathematical Functions, 26.5.8.

    >>> betainc(2.0, 2.0, [0.5]).round(6)
    array([0.5])
    """
    a_values, b_values, x_values = np.broadcast_arrays(
        *(_mth.real_array(value, name) for value, name in ((a, "a"), (b, "b"), (x, "x"))))
    if ((x_values < 0) | (x_values > 1)).any():
        raise ValueError("x has values outside 0 to 1")
    if not ((a_values > 0) & (b_values > 0)).all():
        raise ValueError("a and b must be above 0")
    return _mth.betainc(a_values, b_values, x_values)
