"""Numerical analysis of medical images: the same results to the last bit on every machine.

Clustering    `k_means`, `fuzzy_c_means`, `evidential_c_means` with fusion, `tissue_clustering` of MR volumes
Cohorts       `mth.cohort`: one model for many scans, here or on the workers of a Dask scheduler
Boosting      `AdaBoost`, an estimator with scikit-learn's conventions
Images        `denoise`, `estimate_noise`, `redundant_wavelet`, `laplacian`, `cooccurrence`, `texture`, `fft`, `fft2`
Fits          `minimise`, `anneal`, `fit_curve`, `Curve`
Geometry      `register_landmarks`, `hausdorff`, `slice_orientation`
Numbers       `linalg`, `stats`, `special`, `random`, `sort`, `ranks`

Arrays. Whatever NumPy takes for an array of real numbers may be given; complex numbers, objects and texts raise TypeError.
Contiguous float64 data, and float32 where an operation works in it, is read where it is, without a copy, also when it is
read-only; anything else is converted once. Nothing given is ever changed. Results own the library's memory, or that of
their own; float32 stays float32 where a function says so.

Samples are rows, samples x features. Volumes have x, y and z as their axes; data in Fortran order, as nibabel gives it,
goes in without a copy. `k_means` and its kin take ``image[mask]``, which is one copy of an image of any layout.

Errors. ValueError names the shape or value and the reason; numpy.linalg.LinAlgError is for what cannot be solved,
MemoryError for what cannot be had. A result that may be inaccurate warns `UnstableSolutionWarning`.

Progress. ``progress=True`` redraws a line on standard error; a function is called with (steps done, steps at most); ``tqdm``,
the class or a bar of it, works too. Ctrl-C raises KeyboardInterrupt at once. What was on its way ends in the background, within
a few seconds, and throws its numbers away; until then it has the processor and memory that it had.

Threads. Other threads run on while the library computes; they must not change the arrays that it reads. Callbacks, warnings and
exceptions belong to the thread that called. Objects may be used by several threads, and those that compute when Python ends end
with it.

>>> import numpy as np
>>> import mth
>>> mth.k_means(np.array([[0.0], [1.0], [8.0], [9.0]]), 2, init="quantiles").labels
array([0, 0, 1, 1], dtype=int32)
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from . import linalg, random, special, stats
from ._mth import UnstableSolutionWarning, __version__
from .clustering import (EvidentialClusters, FuzzyClusters, KMeansClusters, Tissues, evidential_c_means, fuzzy_c_means,
                         k_means, tissue_clustering)
from .geometry import (Curve, Registration, SliceOrientation, Width, hausdorff, register_landmarks, slice_orientation)
from .imaging import (Denoised, Details, RedundantWavelet, cooccurrence, denoise, estimate_noise, fft, fft2, ifft, ifft2,
                      inverse_redundant_wavelet, laplacian, redundant_wavelet, texture)
from .optimise import Fit, Minimum, anneal, fit_curve, minimise
from .sorting import ranks, sort

if TYPE_CHECKING:
    from .boosting import AdaBoost

__all__ = [
    "AdaBoost", "Curve", "Denoised", "Details", "EvidentialClusters", "Fit", "FuzzyClusters", "KMeansClusters", "Minimum",
    "RedundantWavelet", "Registration", "SliceOrientation", "Tissues", "UnstableSolutionWarning", "Width", "__version__",
    "anneal", "cooccurrence", "denoise", "estimate_noise", "evidential_c_means", "fft", "fft2", "fit_curve", "fuzzy_c_means",
    "hausdorff", "ifft", "ifft2", "inverse_redundant_wavelet", "k_means", "laplacian", "linalg", "minimise", "random", "ranks",
    "redundant_wavelet", "register_landmarks", "slice_orientation", "sort", "special", "stats", "texture",
    "tissue_clustering",
]


def __getattr__(name: str) -> Any:
    if name == "AdaBoost":  # only now: scikit-learn takes a second to import
        from .boosting import AdaBoost
        return AdaBoost
    raise AttributeError(f"module 'mth' has no attribute {name!r}")
