"""Points of space, the orientation of slices, and sampled curves."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any, NamedTuple, Optional

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _mth

__all__ = ["Curve", "Registration", "SliceOrientation", "Width", "hausdorff", "register_landmarks", "slice_orientation"]

Floats = NDArray[np.float64]
Floats32 = NDArray[np.float32]


@dataclass(frozen=True, eq=False)
class Registration:
    """A rigid transform: ``matrix``, 4 x 4, maps points of a to b; ``quaternion``, scalar first, is its rotation.

    ``residuals``: the distance of each mapped point of a from its partner in b.
    """

    matrix: Floats
    quaternion: Floats
    residuals: Floats

    @property
    def rotation(self) -> Floats:
        """3 x 3."""
        return self.matrix[:3, :3]

    @property
    def translation(self) -> Floats:
        """3 numbers."""
        return self.matrix[:3, 3]

    def __call__(self, points: ArrayLike) -> Floats:
        """Maps points of the shape (..., 3)."""
        return _mth.real_array(points, "points") @ self.rotation.T + self.translation


def register_landmarks(a: ArrayLike, b: ArrayLike, *, robust: bool = False) -> Registration:
    """The rigid transform that maps the points a to their partners b, both of the shape (n, 3).

    It has the least squared error, or, robust, that of the landmarks that are right: outliers are found by the least mean
    distance, which hardly minds wrong landmarks, and by the deviation of the others, without a threshold. Collinear,
    coincident and mirrored sets get a proper rotation, not necessarily the only one. ``ValueError`` for points that are not
    finite, for none, and for sets of different sizes.

    Source: Horn, J. Opt. Soc. Am. A 4 (1987); Besl & McKay, IEEE PAMI 14 (1992).

    >>> found = register_landmarks([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[5, 0, 0], [5, 1, 0], [4, 0, 0]])
    >>> found.translation.round(9) + 0.0
    array([5., 0., 0.])
    """
    return Registration(*_mth.register_landmarks(a, b, robust))


def hausdorff(a: ArrayLike, b: ArrayLike) -> float:
    """Hausdorff distance of two sets of points of the shape (n, 3), exact to the last bit; 0 for two empty sets.

    ``ValueError`` when one set alone is empty, and for points that are not finite.

    >>> hausdorff([[0, 0, 0]], [[0, 0, 0], [0, 3, 4]])
    5.0
    """
    return _mth.hausdorff(a, b)


class SliceOrientation(NamedTuple):
    """How a slice lies, in the scanner's words: "SAG", "COR" or "AXI", tilted towards other planes by whole degrees."""

    plane: str
    tilts: tuple[tuple[str, int], ...]
    shift: float
    angles: tuple[float, float]


def slice_orientation(normal: Sequence[float], kind: str = "perpendicular", *,
                      corners: Optional[ArrayLike] = None) -> SliceOrientation:
    """The orientation of the slice of a normal of any length; x runs across the patient, y to the back, z along the body.

    Parameters
    ----------
    kind : "perpendicular"; "vertical" and "oblique" take a direction in the slice instead, which stands upright along it
        or lies in the plane of x and y.
    corners : two opposite ones, 2 x 3, for the shift of the slice's middle along the normal of its plane.

    ``angles`` are the tilts before they are rounded, in degrees. ``ValueError`` for a normal that is 0 or not finite.

    >>> slice_orientation((0.0, 0.1, 1.0)).plane, slice_orientation((0.0, 0.1, 1.0)).tilts
    ('AXI', (('COR', 6),))
    """
    vector = _mth.real_array(normal, "normal").astype(np.float64)
    if vector.shape != (3,) or not np.isfinite(vector).all() or not vector.any():
        raise ValueError(f"normal is {normal}, not a direction of three finite numbers")
    if kind not in ("perpendicular", "vertical", "oblique"):
        raise ValueError(f"kind is {kind!r}, none of perpendicular, vertical, oblique")
    ends: Optional[list[float]] = None
    if corners is not None:
        places = _mth.real_array(corners, "corners").astype(np.float64)
        if places.shape != (2, 3) or not np.isfinite(places).all():
            raise ValueError(f"corners has the shape {places.shape}, not (2, 3), or numbers that are not finite")
        ends = places.ravel().tolist()
    plane, count, first, second, first_angle, second_angle, shift, a, b = _mth.slice_orientation(
        vector.tolist(), kind, ends)
    tilts = ((first, first_angle), (second, second_angle))[:count]
    return SliceOrientation(plane, tilts, shift, (a, b))


class Width(NamedTuple):
    """Full width at half maximum, and the abscissae between which it lies."""

    width: float
    lower: float
    upper: float


class Curve:
    """A sampled curve: points (x, y) in single precision, in the order given. Measures never change it.

    >>> curve = Curve([0.0, 1.0, 2.0, 3.0], [0.0, 1.0, 4.0, 9.0])
    >>> curve.derivative().y
    array([0., 2., 4., 0.], dtype=float32)
    >>> len(curve.spline(10))
    31
    """

    def __init__(self, x: ArrayLike, y: ArrayLike) -> None:
        self._curve = _mth.Curve(x, y)

    @classmethod
    def _of(cls, curve: _mth.Curve) -> Curve:
        made = cls.__new__(cls)
        made._curve = curve
        return made

    def __len__(self) -> int:
        return len(self._curve)

    def __repr__(self) -> str:
        return f"Curve of {len(self)} points"

    @property
    def x(self) -> Floats32:
        """The abscissae, a copy."""
        return self._curve.x

    @property
    def y(self) -> Floats32:
        """The ordinates, a copy."""
        return self._curve.y

    def derivative(self, order: int = 1) -> Curve:
        """Central differences, 0 at both ends, or, of order 2, those of them; 3.4e38 over less than 1e-5. 3 points at least."""
        if order not in (1, 2):
            raise ValueError(f"order is {order}, neither 1 nor 2")
        return self._of(self._curve.derivative(order))

    def sliding_mean(self, width: int, passes: int = 1) -> Curve:
        """Each y the mean of ``width`` points around it; the window shrinks towards the ends."""
        return self._of(self._curve.sliding_mean(width, passes))

    def spline(self, factor: int = 10) -> Curve:
        """The natural cubic spline through the points in ascending order of x, ``factor`` samples per interval."""
        return self._of(self._curve.spline(factor))

    def parametric_spline(self) -> Curve:
        """Splines of x and y over the chord length, for curves that turn back; 10 samples per interval."""
        return self._of(self._curve.parametric_spline())

    def __call__(self, x: ArrayLike) -> Any:
        """Values of the natural cubic spline at a number or an array; beyond the curve it goes on as a line."""
        return self._curve.spline_at(x)

    def regression(self) -> tuple[float, float]:
        """Slope and intercept of the least-squares line."""
        return self._curve.regression()

    def integral(self) -> float:
        """Over the points in descending order of x the sum of (y[i] + y[i+1]) x[i] / 2: weighted by an abscissa, by intention."""
        return self._curve.integral()

    def simple_integral(self) -> float:
        """Trapezoids of unit width and, by intention, half of the last value."""
        return self._curve.simple_integral()

    def mean(self) -> float:
        """Of the ordinates, as are the next two."""
        return self._curve.mean()

    def std(self) -> float:
        """Population standard deviation."""
        return self._curve.std()

    def median(self) -> float:
        """The mean of the two middle ones for an even count."""
        return self._curve.median()

    def spearman(self) -> float:
        """Rank correlation of x and y."""
        return self._curve.spearman()

    def chi2(self, model: Curve) -> float:
        """Sum of (y - y of the model)**2 / y of the model, where that is at least 0.001 in magnitude."""
        return self._curve.chi2(_curve_of(model))

    def squared_error(self, model: Curve) -> float:
        """Sum of (y - y of the model)**2."""
        return self._curve.squared_error(_curve_of(model))

    def fwhm(self, low: float = 0.0, high: Optional[float] = None) -> Width:
        """Full width at half maximum of a peak from low to high, by default the largest y.

        The level is (low + high) / 2 without its fraction, so that a curve up to 1 must be scaled first.
        """
        top = float(self.y.max(initial=0.0)) if high is None else high
        return Width(*self._curve.fwhm(low, top))


def _curve_of(model: Any) -> _mth.Curve:
    if not isinstance(model, Curve):
        raise TypeError(f"model is a {type(model).__name__}, not a Curve")
    return model._curve
