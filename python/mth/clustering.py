"""Hard, fuzzy and evidential clustering of samples, and the division of MR images into tissues."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any, Optional, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _mth
from ._progress import Progress, reporting

__all__ = [
    "EvidentialClusters", "FuzzyClusters", "KMeansClusters", "Tissues", "evidential_c_means", "fuzzy_c_means", "k_means",
    "tissue_clustering",
]

Floats = NDArray[np.float64]
Start = Union[str, ArrayLike]

_STARTS = ("quantiles", "farthest", "k-means++")


@dataclass(frozen=True, eq=False)
class KMeansClusters:
    """What `k_means` found: ``centroids`` (clusters x features) and ``labels`` (one per sample, from 0).

    ``n_iter`` iterations were made; ``reason`` tells how they ended, "converged" or "iteration cap".
    """

    centroids: Floats
    labels: NDArray[np.int32]
    n_iter: int
    reason: str

    @property
    def converged(self) -> bool:
        return self.reason == "converged"


@dataclass(frozen=True, eq=False)
class FuzzyClusters:
    """What `fuzzy_c_means` found: ``memberships`` (samples x clusters), ``centroids`` and ``labels`` as of k-means.

    ``change`` is the largest change of a membership in the last iteration. A reason of "bad input" tells of centroids
    that all coincide.
    """

    memberships: Floats
    centroids: Floats
    labels: NDArray[np.int32]
    change: float
    n_iter: int
    reason: str

    @property
    def converged(self) -> bool:
        return self.reason == "converged"


class EvidentialClusters:
    """Masses of belief of samples on every set of clusters, as `evidential_c_means` or a fusion left them.

    Attributes: ``masses`` (samples x 2**clusters, read-only, the library's own memory), ``hypotheses`` (the sets, as
    tuples of clusters from 0; the first one is empty and tells outliers, the last one is "any of them"), ``centroids``,
    ``n_iter`` and ``reason``; a fusion has the centroids of its left side.
    """

    def __init__(self, evidence: _mth.Evidence, centroids: Floats, n_iter: int, reason: str) -> None:
        self._evidence = evidence
        self.masses: Floats = evidence.masses
        self.hypotheses: list[tuple[int, ...]] = evidence.hypotheses
        self.centroids = centroids
        self.n_iter = n_iter
        self.reason = reason

    def __reduce__(self) -> Any:
        return EvidentialClusters, (self._evidence, self.centroids, self.n_iter, self.reason)

    def __repr__(self) -> str:
        samples, sets = self.masses.shape
        return f"EvidentialClusters of {samples} samples, {sets} sets, {self.n_iter} iterations, {self.reason!r}"

    @property
    def converged(self) -> bool:
        return self.reason == "converged"

    @property
    def memberships(self) -> Floats:
        """The pignistic probabilities: what a fuzzy clustering would call memberships."""
        return self.pignistic()

    def pignistic(self) -> Floats:
        """Probabilities, samples x clusters: each mass shared by the clusters of its set.

        Not finite where all of a sample's mass is on the empty set.
        """
        return self._evidence.pignistic()

    def plausibility(self) -> Floats:
        """Samples x 2**clusters: for each set the mass of all sets that meet it; 0 for the empty set."""
        return self._evidence.plausibility()

    def decide(self, rule: str = "pignistic") -> NDArray[np.int32]:
        """One decision for each sample.

        "pignistic": the cluster of the largest pignistic probability. "belief": the number of the set in ``hypotheses``
        with the largest mass, so that 0 is an outlier.
        """
        if rule == "pignistic":
            return self._evidence.decide_pignistic()
        if rule == "belief":
            return self._evidence.decide_belief()
        raise ValueError(f"rule is {rule!r}, neither 'pignistic' nor 'belief'")

    def fuse(self, other: EvidentialClusters, rule: str = "dempster", *, progress: Progress = None) -> EvidentialClusters:
        """The evidence of both about the same samples; cluster k of one must mean cluster k of the other.

        "dempster" shares the conflict out, so that the masses of a sample sum to 1, and is not finite in total conflict;
        "conjunctive" leaves it on the empty set.

        Source: Shafer, A Mathematical Theory of Evidence, 1976; Smets, IEEE Trans. PAMI 12, 1990.
        """
        if rule not in ("dempster", "conjunctive"):
            raise ValueError(f"rule is {rule!r}, neither 'dempster' nor 'conjunctive'")
        with reporting(progress, "fusion") as report:
            fused = self._evidence.fuse(other._evidence, rule == "dempster", report)
        return EvidentialClusters(fused, self.centroids, self.n_iter, self.reason)

    def discount(self, reliability: float) -> EvidentialClusters:
        """Every mass times the reliability, between 0 and 1; what is lost goes to the set of all clusters."""
        return EvidentialClusters(self._evidence.discount(reliability), self.centroids, self.n_iter, self.reason)


def _start(init: Start) -> tuple[Optional[ArrayLike], str]:
    if not isinstance(init, str):
        return init, ""
    if init not in _STARTS:
        raise ValueError(f"init is {init!r}: neither centroids nor one of {', '.join(_STARTS)}")
    return None, init


def _samples(x: ArrayLike) -> ArrayLike:
    """A flat array is one feature."""
    array = _mth.real_array(x, "x")
    return array[:, np.newaxis] if array.ndim == 1 else array


def _require(is_right: bool, text: str) -> None:
    if not is_right:
        raise ValueError(text)


def k_means(x: ArrayLike, clusters: int, *, init: Start = "k-means++", seed: int = 1, max_iter: int = 300,
            progress: Progress = None) -> KMeansClusters:
    """Hard k-means by Lloyd's algorithm.

    Parameters
    ----------
    x : samples x features, or one number per sample. ``image[mask]`` of an image of any layout is one copy.
    clusters : how many.
    init : "quantiles" of each feature, "farthest" first, "k-means++" by the seed, or centroids (clusters x features).
    seed : of "k-means++"; the same seed gives the same bits on every machine.
    max_iter : iterations at most.
    progress : True, a function of (iterations, at most), or tqdm; see `mth`.

    ``ValueError`` for values that are not finite and for fewer different samples than clusters.

    Source: Lloyd, IEEE Trans. Information Theory 28 (1982); Arthur & Vassilvitskii, SODA 2007.

    >>> found = k_means([1.0, 2.0, 9.0, 10.0], 2, init="quantiles")
    >>> found.centroids.ravel(), found.labels
    (array([1.5, 9.5]), array([0, 0, 1, 1], dtype=int32))
    """
    centroids, method = _start(init)
    _require(max_iter > 0, "max_iter is not a positive number")
    with reporting(progress, "k-means") as report:
        means, labels, (_, n_iter, reason) = _mth.k_means(_samples(x), clusters, centroids, method, seed, max_iter, report)
    return KMeansClusters(means, labels, n_iter, reason)


def fuzzy_c_means(x: ArrayLike, clusters: int, m: float = 2.0, *, init: Start = "k-means++", seed: int = 1,
                  tol: float = 1e-3, max_iter: int = 100, progress: Progress = None) -> FuzzyClusters:
    """Fuzzy c-means with the fuzzifier m, greater than 1; it ends when no membership changes by more than tol.

    The other parameters and failures are those of `k_means`. By intention a sample on a centroid has membership 0 for it.

    Source: Bezdek, Pattern Recognition with Fuzzy Objective Function Algorithms, 1981.

    >>> found = fuzzy_c_means([0.0, 1.0, 9.0, 10.0], 2, init="quantiles")
    >>> found.memberships.round(1)
    array([[1., 0.],
           [1., 0.],
           [0., 1.],
           [0., 1.]])
    """
    centroids, method = _start(init)
    _require(m > 1.0, f"m is {m}, not greater than 1")
    _require(not np.isnan(tol), "tol is NaN")
    _require(max_iter > 0, "max_iter is not a positive number")
    with reporting(progress, "fuzzy c-means") as report:
        means, memberships, labels, (change, n_iter, reason) = _mth.fuzzy_c_means(
            _samples(x), clusters, m, centroids, method, seed, tol, max_iter, report)
    return FuzzyClusters(memberships, means, labels, change, n_iter, reason)


def evidential_c_means(x: ArrayLike, clusters: int, *, alpha: float = 2.0, beta: float = 2.0, rho: float = 2.0,
                       init: Start = "k-means++", seed: int = 1, tol: float = 1e-3, max_iter: int = 100,
                       progress: Progress = None) -> EvidentialClusters:
    """Evidential c-means: a mass of belief of every sample on each of the 2**clusters sets of clusters, at most 2**20.

    Parameters
    ----------
    alpha : how much a set's size counts against it, not negative.
    beta : the fuzzifier, greater than 1.
    rho : the distance of outliers, in mean distances between samples and centroids, greater than 0.
    tol : the mean movement of the centroids at which it ends.

    The other parameters and failures are those of `k_means`; ``numpy.linalg.LinAlgError`` is not raised.

    Source: Masson & Denoeux, Pattern Recognition 41 (2008).

    >>> found = evidential_c_means([0.0, 1.0, 9.0, 10.0], 2, init="quantiles")
    >>> found.hypotheses
    [(), (0,), (1,), (0, 1)]
    >>> found.decide()
    array([0, 0, 1, 1], dtype=int32)
    """
    centroids, method = _start(init)
    _require(alpha >= 0.0, f"alpha is {alpha}, a negative number")
    _require(beta > 1.0, f"beta is {beta}, not greater than 1")
    _require(rho > 0.0, f"rho is {rho}, not greater than 0")
    _require(not np.isnan(tol), "tol is NaN")
    _require(max_iter > 0, "max_iter is not a positive number")
    _require(clusters <= 20, f"clusters is {clusters}, more than 20")
    with reporting(progress, "evidential c-means") as report:
        means, evidence, (_, n_iter, reason) = _mth.evidential_c_means(
            _samples(x), clusters, alpha, beta, rho, centroids, method, seed, tol, max_iter, report)
    return EvidentialClusters(evidence, means, n_iter, reason)


@dataclass(frozen=True, eq=False)
class Tissues:
    """What `tissue_clustering` found.

    ``labels``: the tissue of the largest fraction, from 1, and 0 outside the mask. ``fractions``: for each tissue an image
    of its share of each voxel. ``fields``: for each channel the factor by which the scanner made places brighter.
    ``centroids``: tissues x channels.
    """

    labels: NDArray[np.uint8]
    fractions: list[NDArray[Any]]
    fields: list[NDArray[Any]]
    centroids: Floats


def tissue_clustering(image: Union[ArrayLike, Sequence[ArrayLike]], tissues: int = 3, *, mask: Optional[ArrayLike] = None,
                      confidence: Optional[ArrayLike] = None, voxel_size: Sequence[float] = (1.0, 1.0, 1.0),
                      field: bool = True, local_means: bool = True, field_width: float = 25.0,
                      means: Optional[ArrayLike] = None, progress: Progress = None) -> Tissues:
    """Divide an MR volume, or a plane, into tissues in ascending order of brightness: of a T1 image CSF, grey and white.

    Parameters
    ----------
    image : an array of 1 to 3 axes whose noise has been taken off (`mth.denoise`), or a list of such images of one place.
        Data in Fortran order, as nibabel gives it, goes in without a copy, other layouts with one.
    tissues : 1 to 16.
    mask : voxels that are not 0 are divided; without it all above 0.
    confidence : what `mth.denoise` gives; of one image only, ``ValueError`` with several.
    voxel_size : in mm, along the axes.
    field : whether to look for the field, and ``field_width`` its smoothness in mm.
    local_means : whether the means of tissues may differ from place to place.
    means : of each tissue, ascending, such as those of `mth.cohort.tissue`: they are then not looked for. One image only.

    ``ValueError`` without finite voxels in the mask, or with fewer different values than tissues.

    Source: Shattuck et al., NeuroImage 13 (2001); Tohka et al., NeuroImage 23 (2004); Wells et al., IEEE Trans. Medical
    Imaging 15 (1996); Pham & Prince, IEEE Trans. Medical Imaging 18 (1999).

    >>> image = np.repeat([[10.0, 50.0, 90.0]], 60, axis=1).reshape(12, 15) + np.arange(15) % 3
    >>> tissue_clustering(image, 3, field=False).labels[0]
    array([1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1], dtype=uint8)
    """
    images = list(image) if isinstance(image, (list, tuple)) and len(image) > 0 and np.ndim(image[0]) > 0 else [image]
    _require(1 <= tissues <= 16, f"tissues is {tissues}, not 1 to 16")
    _require(confidence is None or len(images) == 1, "confidence is of one image only")
    _require(field_width > 0.0, f"field_width is {field_width}, not greater than 0")
    size = [float(length) for length in voxel_size]
    _require(1 <= len(size) <= 3 and all(0.0 < length < np.inf for length in size),
             f"voxel_size is {voxel_size}, not 1 to 3 lengths above 0")
    size += [1.0] * (3 - len(size))
    with reporting(progress, "tissues") as report:
        found = _mth.tissue_clustering(images, tissues, mask, confidence, size, field, local_means, field_width, means, report)
    return Tissues(**found)
