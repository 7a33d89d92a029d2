"""Minimisers and fits of curves."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from typing import Any, Optional, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _mth
from ._progress import Progress, reporting

__all__ = ["Fit", "Minimum", "anneal", "fit_curve", "minimise"]

Floats = NDArray[np.float64]

# Of each method: the step that it begins with, and the iterations at most.
_METHODS = {"powell": (0.0, 1000), "bfgs": (1e-5, 1000), "nelder-mead": (1.0, 2000), "steepest-descent": (0.1, 10000),
            "least-squares": (0.0, 200)}


@dataclass(frozen=True, eq=False)
class Minimum:
    """What `minimise` found.

    ``x`` and ``fun``, the point and its cost; ``nit`` iterations, ``nfev`` calls of the function; ``reason``, "converged",
    "iteration cap", "cancelled" by the callback, "not finite" or "bad input", and ``success``, whether it is the first;
    ``covariance`` of the parameters, of least squares alone.
    """

    x: Floats
    fun: float
    nit: int
    nfev: int
    success: bool
    reason: str
    covariance: Optional[Floats] = None


def _settings(method: str, step: Optional[float], max_iter: Optional[int]) -> tuple[float, int]:
    if method not in _METHODS:
        raise ValueError(f"method is {method!r}, none of {', '.join(_METHODS)}")
    usual_step, usual_most = _METHODS[method]
    most = usual_most if max_iter is None else max_iter
    if most < 1:
        raise ValueError(f"max_iter is {most}, not a positive number")
    if step is not None and not np.isfinite(step):
        raise ValueError(f"step is {step}, not a finite number")
    return usual_step if step is None else step, most


def minimise(f: Callable[[Floats], Any], x0: ArrayLike, method: str = "powell", *, tol: float = 1e-8,
             max_iter: Optional[int] = None, step: Optional[float] = None,
             callback: Optional[Callable[[Floats], object]] = None, progress: Progress = None) -> Minimum:
    """Minimise a function of several parameters.

    Parameters
    ----------
    f : the cost of a point; of "least-squares" the residuals, at least as many as parameters, half of whose sum of squares
        is the cost. It is not called again for one of the last four points.
    x0 : the start.
    method : "powell", "bfgs", "nelder-mead" and "steepest-descent", the latter two made for two parameters, or
        "least-squares", Marquardt's method. The library's ComputeOptimumMarLev is left out: it starts from 0.1 whatever x0 is,
        and by intention climbs to a maximum where the curvature is positive.
    tol : a relative change of the cost; each method's own criterion.
    step : of the finite differences of "bfgs", the first simplex of "nelder-mead" or the first step of the descent.
    callback : called with the best or present point once per iteration; one that returns True ends the run.

    An exception of f or of the callback ends the run and arrives here.

    Source: Powell, The Computer Journal 7 (1964); Fletcher, The Computer Journal 13 (1970); Nelder & Mead, The Computer
    Journal 7 (1965); Marquardt, J. SIAM 11 (1963). By intention they differ from these in details, which
    docs/minimisers.md of the library tells.

    >>> best = minimise(lambda p: (p[0] - 3.0) ** 2 + (p[1] + 1.0) ** 2, [0.0, 0.0])
    >>> best.success, best.x.round(3)
    (True, array([ 3., -1.]))
    """
    step, most = _settings(method, step, max_iter)
    with reporting(progress, method) as report:
        return Minimum(**_mth.minimise(f, x0, method, tol, most, step, callback, report))


def anneal(f: Callable[[Floats], Any], x0: ArrayLike, *, move: Optional[Callable[[Floats, float], ArrayLike]] = None,
           step: float = 1.0, shrinking: float = 0.95, temperature: float = 1.0, cooling: float = 0.9,
           final_temperature: float = 0.0, moves: int = 100, stale: int = 20, max_iter: int = 200, seed: Optional[int] = None,
           callback: Optional[Callable[[Floats], object]] = None, progress: Progress = None) -> Minimum:
    """Minimise a function of many minima, or of whole numbers, by simulated annealing.

    Parameters
    ----------
    f : the cost of a point. It is not called again for one of the last four points.
    x0 : the start.
    move : a function of a point and the present step, which gives a point near it; by default each parameter moves by a
        uniform step of at most the present one.
    step, shrinking : the first step, and its factor after every stage.
    temperature, cooling : the first temperature, in the unit of the cost, and its factor after every stage.
    moves, max_iter : of each stage, and the stages at most.
    final_temperature, stale : it ends below this temperature, and after so many stages without a better cost.
    seed : 1 to 8,639,999, else the time of day; the numbers are those of stream 0 of `mth.random.Uniform`.
    callback, progress : as of `minimise`; the callback is called with the present point after every stage, and within one every
        1,000 moves.

    ``nit`` of the `Minimum` counts moves.

    Source: Kirkpatrick, Gelatt & Vecchi, Science 220 (1983) 671.

    >>> bumpy = lambda p: (p[0] - 3.0) ** 2 + 2.0 * np.sin(9.0 * p[0]) ** 2
    >>> best = anneal(bumpy, [-9.0], seed=1)
    >>> bool(best.fun < 0.1), best.reason
    (True, 'converged')
    """
    if not (moves > 0 and max_iter > 0):
        raise ValueError("moves and max_iter must be positive numbers")
    if not np.isfinite([step, shrinking, temperature, cooling]).all():
        raise ValueError("steps and temperatures must be finite numbers")
    if seed is not None and not 1 <= seed <= 8_639_999:
        raise ValueError(f"seed is {seed}, not 1 to 8639999")
    with reporting(progress, "annealing") as report:
        return Minimum(**_mth.anneal(f, x0, move, (temperature, cooling, final_temperature, step, shrinking),
                                     (moves, stale, max_iter), seed, callback, report))


@dataclass(frozen=True, eq=False)
class Fit(Minimum):
    """What `fit_curve` found: a `Minimum` in the parameters ``x``, and ``model``, the curve at the abscissae."""

    model: Optional[Floats] = None


def _bell(x: Floats, centre: float, width: float) -> Floats:
    return np.exp(-0.5 * ((x - centre) / width) ** 2)


def _profile(x: Floats, p: Floats) -> Floats:
    return p[0] + p[1] * _bell(x, p[2], p[3])


def _gaussians(x: Floats, p: Floats) -> Floats:
    return sum((area / (np.sqrt(2 * np.pi) * width) * _bell(x, centre, width) for area, centre, width in p.reshape(-1, 3)),
               np.zeros_like(x))


def _rayleigh(x: Floats, p: Floats) -> Floats:
    z = x - p[1]
    return np.where(x >= np.trunc(p[1]), z * p[0] / p[2] ** 2 * np.exp(-0.5 * (z / p[2]) ** 2), 0.0)


def _catenary(x: Floats, p: Floats) -> Floats:
    return p[0] * np.cosh(x / p[0]) + p[1]


_MODELS = {"profile": _profile, "gaussians": _gaussians, "rayleigh": _rayleigh, "catenary": _catenary}


def _first_guess(model: str, x: Floats, y: Floats) -> list[float]:
    top = int(np.argmax(y))
    base = float(y.min())
    above = np.flatnonzero(y >= 0.5 * (y[top] + base))
    width = max(float(x[above[-1]] - x[above[0]]) / 2.355, float(np.ptp(x)) / (2 * len(x)))
    if model == "profile":
        return [base, float(y[top]) - base, float(x[top]), width]
    if model == "gaussians":
        return [float(y[top]) * width * np.sqrt(2 * np.pi), float(x[top]), width]
    if model == "rayleigh":
        return [float(y[top]) * width * np.sqrt(np.e), max(float(x[top]) - width, 0.0), width]
    return [max(float(np.abs(x).max()), 1e-3), 0.0]


def fit_curve(x: ArrayLike, y: ArrayLike, model: Union[str, Callable[..., ArrayLike]] = "profile",
              start: Optional[ArrayLike] = None, *, method: Optional[str] = None, tol: float = 1e-10,
              max_iter: Optional[int] = None, step: Optional[float] = None, progress: Progress = None) -> Fit:
    """Fit a model to the points (x, y).

    Parameters
    ----------
    model : "profile", a Gaussian on a baseline with the parameters (baseline, amplitude, centre, deviation);
        "gaussians", a sum of them, (area, centre, deviation) each; "rayleigh", a pulse of (amplitude, onset, width);
        "catenary", of (scale, offset); or a function ``model(x, *parameters)``, which is fitted by least squares. The
        samples of "gaussians" and "rayleigh" are at the abscissae 0, 1, 2 ...
    start : first parameters; of a function they are needed, and of several Gaussians.
    method, tol, max_iter, step, progress : as of `minimise`; "powell" by default, of a function "least-squares".

    ``ValueError`` for values that are not finite or do not fit each other.

    >>> x = np.linspace(-3.0, 3.0, 41)
    >>> fit_curve(x, 1.0 + 2.0 * np.exp(-0.5 * ((x - 0.5) / 0.8) ** 2)).x.round(4)
    array([1. , 2. , 0.5, 0.8])
    >>> fit_curve(x, 3.0 * x + 1.0, lambda x, a, b: a * x + b, [1.0, 0.0]).x.round(6)
    array([3., 1.])
    """
    points_x = _mth.real_array(x, "x").astype(np.float64)
    points_y = _mth.real_array(y, "y").astype(np.float64)
    if points_x.ndim != 1 or points_x.shape != points_y.shape:
        raise ValueError(f"x has the shape {points_x.shape}, y {points_y.shape}: not as many abscissae as ordinates")
    if len(points_x) == 0 or not (np.isfinite(points_x).all() and np.isfinite(points_y).all()):
        raise ValueError("there are no points, or some that are not finite")
    if callable(model):
        if start is None:
            raise ValueError("start is needed for a model that is a function")
        curve = model
        best = minimise(lambda p: np.asarray(curve(points_x, *p)) - points_y, start, method or "least-squares", tol=tol,
                        max_iter=max_iter, step=step, progress=progress)
        return Fit(**vars(best), model=np.asarray(curve(points_x, *best.x)))
    if model not in _MODELS:
        raise ValueError(f"model is {model!r}, none of {', '.join(_MODELS)}")
    if model in ("gaussians", "rayleigh") and not np.array_equal(points_x, np.arange(len(points_x))):
        raise ValueError(f"the samples of the model {model!r} are at the abscissae 0, 1, 2 ...")
    method = method or "powell"
    if method == "least-squares":
        raise ValueError("the library's own models are no sums of residuals: give the model as a function")
    first = _first_guess(model, points_x, points_y) if start is None else start
    step, most = _settings(method, step, max_iter)
    with reporting(progress, method) as report:
        best = Minimum(**_mth.fit_model(model, points_x, points_y, first, method, tol, most, step, report))
    return Fit(**vars(best), model=_MODELS[model](points_x, best.x))
