"""One model for many scans: k-means, fuzzy c-means and tissues whose centroids all scans share.

Each scan gives its sums, where it is read; the sums are added in the order of the list, and the centroids move by them. The
result has the same bits in this process (``client=None``), on the workers of a Dask scheduler, however many there are, and when
some of them end in the middle. Scans stay in the memory of the process or worker that read them where there is room; only sums
travel, some hundred bytes for each scan and step. The scans have to be in the same units: intensities are not matched.

>>> import numpy as np
>>> from mth import cohort
>>> scans = [np.array([[1.0, 2.0], [9.0, 10.0]]), np.array([[2.0, 3.0], [10.0, 11.0]])]
>>> model = cohort.k_means(scans, 2)
>>> model.centroids.ravel()
array([ 2., 10.])
>>> model.apply(scans[0]).labels
array([[1, 1],
       [2, 2]], dtype=uint8)
"""

from __future__ import annotations

import functools
import json
import math
import operator
import os
from collections.abc import Callable, Sequence
from dataclasses import dataclass, field as member
from pathlib import Path
from typing import Any, Optional, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _mth, _scans
from ._progress import Progress, reporting
from ._scans import CohortError
from .clustering import tissue_clustering

__all__ = ["Applied", "CohortError", "Model", "fuzzy_c_means", "k_means", "load", "tissue"]

Floats = NDArray[np.float64]
Image = Union[ArrayLike, str, "os.PathLike[str]"]
Images = Sequence[Any]
Client = Any

_FORMAT = "mth cohort model"
_METHODS = ("k-means", "fuzzy c-means", "tissues")


@dataclass(frozen=True)
class Applied:
    """One scan divided by a model: ``labels`` from 1, 0 outside the mask, and for each cluster an image of ``fractions``.

    Both count the clusters in the model's order. Labels are of 8 bits, of more than 255 clusters of 32.
    """

    labels: NDArray[np.unsignedinteger[Any]]
    fractions: list[NDArray[Any]]


@dataclass(frozen=True, eq=False)
class Model:
    """Clusters that many scans share, in ascending order of the first feature for tissues.

    ``centroids`` (clusters x features), ``method``, its ``parameters``, the iterations or steps made (``n_iter``), how they
    ended (``reason``), the largest or summed ``change`` of the last one, the names of the scans with their voxels (``scans``),
    and those that could not be used with the reason (``failed``).
    """

    method: str
    centroids: Floats
    parameters: dict[str, Any]
    n_iter: int
    reason: str
    change: float
    scans: list[dict[str, Any]] = member(default_factory=list)
    failed: list[dict[str, str]] = member(default_factory=list)

    @property
    def converged(self) -> bool:
        return self.reason == "converged"

    def save(self, path: Union[str, os.PathLike[str]]) -> None:
        """Writes a JSON file, whole or not at all, which `load` and ``segment_mr --model`` read. Numbers keep their bits."""
        content = {"format": _FORMAT, "version": 1, "method": self.method, "centroids": self.centroids.tolist(),
                   "parameters": self.parameters, "n_iter": self.n_iter, "reason": self.reason, "change": self.change,
                   "scans": self.scans, "failed": self.failed, "generated_by": {"name": "mth", "version": _mth.__version__}}
        text = json.dumps(content, indent=2, ensure_ascii=False, allow_nan=False) + "\n"
        target = Path(os.path.realpath(path))  # a link stays one
        part = target.with_name(f".{target.name}.{os.getpid()}")
        try:
            part.write_text(text, encoding="utf-8")
            os.replace(part, target)
        finally:
            part.unlink(missing_ok=True)

    def apply(self, images: Image, mask: Optional[Image] = None) -> Applied:
        """Divides a scan, an image or a tuple of them as in the list that the model is of.

        Tissues look for a field of the scan's own. ``ValueError`` as `mth.tissue_clustering`, or for other images.
        """
        channels = [_scans.read(image)[0] for image in _channels(images)]
        if len(channels) != self.centroids.shape[1]:
            raise ValueError(f"the model is of {self.centroids.shape[1]} images a scan, not {len(channels)}")
        chosen = _scans.inside(channels, mask)
        if self.method == "tissues":
            size = self.parameters.get("voxel_size") or _scans.read(_channels(images)[0])[1]
            keys = ("field", "local_means", "field_width")
            found = tissue_clustering(channels[0], len(self.centroids), mask=chosen, voxel_size=size,
                                      means=self.centroids.ravel(), **{key: self.parameters[key] for key in keys})
            return Applied(found.labels, found.fractions)
        part = _mth.Samples(np.stack([channel[chosen] for channel in channels], axis=1), len(self.centroids))
        part.step(self.centroids, self.parameters.get("m", 0.0))
        memberships, labels = part.results()
        image = np.zeros(chosen.shape, np.uint8 if len(self.centroids) <= 255 else np.uint32)
        image[chosen] = labels + 1
        fractions = [np.zeros(chosen.shape) for _ in self.centroids]
        for k, fraction in enumerate(fractions):
            fraction[chosen] = memberships[:, k]
        return Applied(image, fractions)


def load(path: Union[str, os.PathLike[str]]) -> Model:
    """Reads what `Model.save` wrote; ``ValueError`` names what a file lacks.

    >>> import tempfile
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     k_means([np.array([1.0, 2.0, 9.0, 10.0])], 2).save(folder + "/group.json")
    ...     load(folder + "/group.json").centroids.tolist()
    [[1.5], [9.5]]
    """
    try:
        content = json.loads(Path(path).read_text(encoding="utf-8"))
    except ValueError as error:
        raise ValueError(f"{os.fspath(path)} is no model: {error}") from None
    if not isinstance(content, dict) or content.get("format") != _FORMAT:
        raise ValueError(f"{os.fspath(path)} is no model: its format is not {_FORMAT!r}")
    if content.get("version") != 1:
        raise ValueError(f"{os.fspath(path)} is a model of version {content.get('version')!r}, which is not known here")
    try:
        centroids = np.array(content["centroids"], dtype=np.float64)
        model = Model(content["method"], centroids, content["parameters"], content["n_iter"], content["reason"],
                      content["change"], content["scans"], content["failed"])
    except (KeyError, TypeError, ValueError) as error:
        raise ValueError(f"{os.fspath(path)} is a broken model: {error!r}") from None
    if model.method not in _METHODS or centroids.ndim != 2 or not centroids.size or not np.isfinite(centroids).all():
        raise ValueError(f"{os.fspath(path)} is a broken model: its method or its centroids")
    return model


def _channels(entry: Any) -> list[Any]:
    """The images of one scan: a tuple of them, or a single one."""
    return list(entry) if isinstance(entry, tuple) else [entry]


def _name(index: int, entry: Any) -> str:
    names = [os.fspath(image) for image in _channels(entry) if _scans.is_path(image)]
    return ", ".join(names) or f"array {index}"


class _Cohort:
    """The scans of one run, and their answers added up in the order of the list."""

    def __init__(self, images: Images, masks: Optional[Images], client: Client, memory: Optional[int], on_error: str) -> None:
        if on_error not in ("raise", "skip"):
            raise ValueError(f"on_error is {on_error!r}, neither 'raise' nor 'skip'")
        if isinstance(images, (str, bytes, os.PathLike, np.ndarray)):
            raise TypeError("images is one image, not a list of them")
        self._images = list(images)
        self._masks = list(masks) if masks is not None else [None] * len(self._images)
        if not self._images:
            raise ValueError("there are no images")
        if len(self._masks) != len(self._images):
            raise ValueError(f"there are {len(self._masks)} masks for {len(self._images)} images")
        self._on_error = on_error
        self._scheduler: _scans.Scheduler = _scans.InProcess(memory) if client is None else _scans.OnScheduler(client)
        self._messages: list[Any] = []
        self.starts: list[Any] = []
        self.scans: list[dict[str, Any]] = []
        self.failed: list[dict[str, str]] = []

    def __enter__(self) -> _Cohort:
        return self

    def __exit__(self, *_: object) -> None:
        self._scheduler.close()

    def start(self, steps: Any, *settings: Any) -> None:
        makes = [functools.partial(steps, _channels(images), mask, *settings) for images, mask in zip(self._images, self._masks)]
        self._history = steps.HISTORY
        answers = self._scheduler.start(makes)
        names = [_name(i, entry) for i, entry in enumerate(self._images)]
        chosen = [i for i, (state, _) in enumerate(answers) if state == "read"]
        failures = [(names[i], str(answer)) for i, (state, answer) in enumerate(answers) if state == "failed"]
        if failures and (self._on_error == "raise" or not chosen):
            raise CohortError("; ".join(f"{name}: {reason}" for name, reason in failures), failures)
        self.failed = [{"image": name, "reason": reason} for name, reason in failures]
        self.scans = [{"image": names[i], "voxels": answers[i][1][1]} for i in chosen]
        self.starts = [answers[i][1][0] for i in chosen]
        features = [answers[i][1][2] for i in chosen]
        if len(set(features)) > 1:
            raise ValueError(f"scans differ in their number of images: {sorted(set(features))}")
        self.features: int = features[0]
        self._scheduler.select(chosen)

    def step(self, message: Any) -> tuple[Floats, list[float]]:
        """The sums of all scans, and the change of each."""
        history = self._messages[-self._history:] if self._history < len(self._messages) else self._messages
        answers = self._scheduler.step(len(self._messages), message, history)
        self._messages.append(message)
        total = np.zeros_like(answers[0][0])
        for sums, _ in answers:
            total += sums
        return total, [change for _, change in answers]


def _start_centroids(cohort: _Cohort, init: Optional[Floats], clusters: int) -> Floats:
    """Those given, or the mean of what each scan would start from."""
    if init is None:
        total = np.zeros_like(cohort.starts[0])
        for start in cohort.starts:
            total += start
        return np.asarray(total / len(cohort.starts))
    if init.shape[1] != cohort.features:
        raise ValueError(f"init has the shape {init.shape}, where ({clusters}, {cohort.features}) is needed")
    return init


def _given_centroids(init: Any, clusters: int) -> Optional[Floats]:
    """None for those of the scans themselves."""
    if isinstance(init, str):
        if init != "quantiles":
            raise ValueError(f"init is {init!r}: neither 'quantiles' nor centroids")
        return None
    centroids = np.array(init, dtype=np.float64)
    if centroids.ndim == 1:
        centroids = centroids[:, np.newaxis]
    if centroids.ndim != 2 or len(centroids) != clusters or not np.isfinite(centroids).all():
        raise ValueError(f"init has the shape {centroids.shape}, where {clusters} finite centroids are needed")
    return centroids


def _iterate(images: Images, clusters: int, m: float, has_converged: Callable[[list[float]], bool],
             change_of: Callable[[list[float]], float], max_iter: int, *, client: Client, masks: Optional[Images], init: Any,
             memory: Optional[int], on_error: str, progress: Progress, method: str, parameters: dict[str, Any]) -> Model:
    clusters = operator.index(clusters)
    if clusters < 1:
        raise ValueError(f"clusters is {clusters}, not a positive number")
    if max_iter < 1:
        raise ValueError("max_iter is not a positive number")
    start = _given_centroids(init, clusters)
    with reporting(progress, f"{method} of a cohort") as report, _Cohort(images, masks, client, memory, on_error) as cohort:
        cohort.start(_scans.SampleSteps, clusters, m, start is not None)
        centroids = _start_centroids(cohort, start, clusters)
        total, changes, n_iter = np.zeros(0), [math.inf], 0
        while n_iter < max_iter and not has_converged(changes):
            if n_iter > 0:
                centroids = _mth.move_centroids(total)
            total, changes = cohort.step(centroids)
            n_iter += 1
            if report is not None:
                report(n_iter, max_iter)
        reason = "converged" if has_converged(changes) else "iteration cap"
        if m > 0.0 and clusters > 1 and reason == "converged" and (centroids == centroids[0]).all():
            reason = "bad input"  # as of `mth.fuzzy_c_means`: they all coincide
        return Model(method, centroids, parameters, n_iter, reason, change_of(changes), cohort.scans, cohort.failed)


def k_means(images: Images, clusters: int, client: Client = None, *, masks: Optional[Images] = None,
            init: Any = "quantiles", max_iter: int = 300, memory: Optional[int] = None, on_error: str = "raise",
            progress: Progress = None) -> Model:
    """k-means of the voxels of all scans together.

    Parameters
    ----------
    images : a scan each: an array, the path of a file that nibabel reads (also on the workers), or a tuple of such images
        of one place, which are the features of its voxels.
    clusters : how many.
    client : None works in this process; the path of a scheduler file, an address or a ``distributed.Client`` on the workers
        of a Dask scheduler.
    masks : for each scan an image, whose voxels that are not 0 are taken, or None for all that are above 0 in all its images.
        Voxels that are not finite are left out.
    init : centroids (clusters x features), or "quantiles": the mean of those that each scan alone would start from.
    max_iter : iterations at most.
    memory : bytes of scans that this process keeps, half of the machine's by default; others are read again for every step.
        Workers keep what their own limit allows.
    on_error : "raise" a `CohortError` that names the scans that cannot be used, or "skip" them and name them in the model.
    progress : as of `mth.k_means`.

    It has converged when no voxel of any scan changes its cluster. A cluster that loses all voxels of all scans goes to the
    origin, as in `mth.k_means`, whose bits a single scan has with ``init="quantiles"`` on ``image[mask]``.

    >>> k_means([np.array([1.0, 2.0]), np.array([9.0, 10.0])], 2, init=[0.0, 5.0]).centroids.ravel()
    array([1.5, 9.5])
    """
    return _iterate(images, clusters, 0.0, lambda changes: sum(changes) == 0, sum, max_iter, client=client, masks=masks,
                    init=init, memory=memory, on_error=on_error, progress=progress, method="k-means",
                    parameters={"max_iter": max_iter})


def fuzzy_c_means(images: Images, clusters: int, client: Client = None, *, m: float = 2.0, masks: Optional[Images] = None,
                  init: Any = "quantiles", tol: float = 1e-3, max_iter: int = 100, memory: Optional[int] = None,
                  on_error: str = "raise", progress: Progress = None) -> Model:
    """Fuzzy c-means of the voxels of all scans together, with the fuzzifier m; parameters as of `k_means`.

    It has converged when no membership of any scan changes by more than tol. A single scan has the bits of
    `mth.fuzzy_c_means`.

    >>> model = fuzzy_c_means([np.array([1.0, 2.0, 9.0, 10.0]), np.array([1.5, 9.5])], 2)
    >>> model.centroids.ravel().round(2), model.reason
    (array([1.5, 9.5]), 'converged')
    """
    if not m > 1.0:
        raise ValueError(f"m is {m}, not greater than 1")
    return _iterate(images, clusters, m, lambda changes: max(changes) <= tol, max, max_iter, client=client, masks=masks,
                    init=init, memory=memory, on_error=on_error, progress=progress, method="fuzzy c-means",
                    parameters={"m": m, "tol": tol, "max_iter": max_iter})


def tissue(images: Images, tissues: int = 3, client: Client = None, *, masks: Optional[Images] = None,
           voxel_size: Optional[Sequence[float]] = None, field: bool = True, local_means: bool = True,
           field_width: float = 25.0, memory: Optional[int] = None, on_error: str = "raise",
           progress: Progress = None) -> Model:
    """Tissues of MR volumes whose means all scans share, while the field and the noise are each scan's own.

    Each scan is one image whose noise has been taken off. ``voxel_size`` is that of all scans, by default what their files
    say and 1 mm for arrays. Parameters as of `k_means` and `mth.tissue_clustering`, whose means a single scan has to the last
    bit. The means are looked for among the values from the lowest to the highest scan, in 384 bins: one scan in other units
    costs all of them precision. All 110 steps are always taken.

    >>> image = np.repeat([[10.0, 50.0, 90.0]], 60, axis=1).reshape(12, 15) + np.arange(15) % 3
    >>> tissue([image, image + 1.0], 3, field=False).centroids.ravel().round(-1)
    array([10., 50., 90.])
    """
    tissues = operator.index(tissues)
    if not 1 <= tissues <= 16:
        raise ValueError(f"tissues is {tissues}, not 1 to 16")
    size = None if voxel_size is None else [float(length) for length in voxel_size] + [1.0] * (3 - len(voxel_size))
    parameters = {"field": field, "local_means": local_means, "field_width": field_width, "voxel_size": size}
    means = _mth.TissueMeans(tissues)
    with reporting(progress, "tissues of a cohort") as report, _Cohort(images, masks, client, memory, on_error) as cohort:
        cohort.start(_scans.TissueSteps, tissues, field, local_means, field_width, size)
        for start in cohort.starts:
            means.add_range(start)
        message, n_iter = means.range(), 0
        while not means.is_done:
            message, _ = cohort.step(message)
            means.move(message)
            n_iter += 1
            if report is not None:
                report(n_iter, _mth.TissueMeans.STEPS)
        return Model("tissues", means.values()[:, np.newaxis], parameters, n_iter, "converged", 0.0, cohort.scans, cohort.failed)
