"""The scans of a cohort where they are worked on: in this process, or on the workers of a scheduler."""

from __future__ import annotations

import importlib
import os
import sys
import threading
import time
from collections.abc import Callable, Sequence
from typing import Any, Optional, Union

import numpy as np
from numpy.typing import NDArray

from . import _mth

Floats = NDArray[np.float64]
Image = Any  # an array, or the path of a file that nibabel reads

_LOST = "lost"  # a scan's answer when it lacks the steps before this one
_PATIENCE_SECONDS = 120.0  # how long a scheduler may be away
_POLL_SECONDS = 10.0
_QUIET_POLLS = 3  # without a task at work or one done, until a scheduler counts as having lost track of them


class _Stalled(Exception):
    """Nobody works on what was asked."""


class CohortError(Exception):
    """A cohort that cannot be worked on; ``failures`` are pairs of a scan's name and the reason."""

    def __init__(self, text: str, failures: Sequence[tuple[str, str]] = ()) -> None:
        super().__init__(text)
        self.failures = list(failures)

    def __reduce__(self) -> Any:
        return CohortError, (self.args[0], self.failures)


def is_path(image: Image) -> bool:
    return isinstance(image, (str, os.PathLike))


def read(image: Image) -> tuple[NDArray[Any], tuple[float, ...]]:
    """The image, and the size of its voxels in mm."""
    if not is_path(image):
        return np.asarray(image), (1.0, 1.0, 1.0)
    try:
        nibabel: Any = importlib.import_module("nibabel")
    except ImportError:
        raise ImportError("reading images from files needs nibabel") from None
    opened = nibabel.load(image)
    size = tuple(float(length) for length in opened.header.get_zooms()[:3])
    data = np.asanyarray(opened.dataobj)
    while data.ndim > 3 and data.shape[-1] == 1:
        data = data[..., 0]
    return data, size + (1.0,) * (3 - len(size))


def inside(channels: Sequence[NDArray[Any]], mask: Optional[Image]) -> NDArray[np.bool_]:
    """The voxels that are finite in all channels, and in the mask or, without one, above 0 in all."""
    for channel in channels:
        if channel.dtype.kind not in "biuf":
            raise TypeError(f"an image of {channel.dtype}, where real numbers are needed")
    if any(channel.shape != channels[0].shape for channel in channels):
        raise ValueError("the images of one scan differ in their shapes")
    if mask is None:
        chosen = np.logical_and.reduce([channel > 0 for channel in channels])
    else:
        given = read(mask)[0]
        if given.shape != channels[0].shape:
            raise ValueError(f"its mask has the shape {given.shape}, the image {channels[0].shape}")
        chosen = given != 0
    finite = np.logical_and.reduce([np.isfinite(channel) for channel in channels])
    return np.asarray(chosen & finite)


def samples(images: Sequence[Image], mask: Optional[Image]) -> Floats:
    """Voxels x images."""
    channels = [read(image)[0] for image in images]
    chosen = inside(channels, mask)
    found = np.stack([channel[chosen] for channel in channels], axis=1).astype(np.float64)
    if not len(found):
        raise ValueError("there is no voxel to work on")
    return found


class SampleSteps:
    """k-means (m = 0) or fuzzy c-means of one scan. A message of a step is the centroids."""

    HISTORY = 1  # memberships depend on the last centroids alone

    def __init__(self, images: Sequence[Image], mask: Optional[Image], clusters: int, m: float, has_start: bool) -> None:
        found = samples(images, mask)
        self.count = len(found)
        if not has_start and self.count < clusters:
            raise ValueError(f"{self.count} voxels, fewer than the {clusters} clusters")
        self.start: Any = None if has_start else _mth.quantile_centroids(found, clusters)
        self.features = found.shape[1]
        self._part = _mth.Samples(found, clusters)
        self._m = m
        self.bytes = 8 * self.count * (found.shape[1] + clusters)

    def step(self, message: Any) -> tuple[Floats, float]:
        return self._part.step(message, self._m)


class TissueSteps:
    """The division of one scan into tissues. The first message is the range of all scans, the others the sums of all."""

    HISTORY = sys.maxsize  # a field is the work of all steps
    features = 1

    def __init__(self, images: Sequence[Image], mask: Optional[Image], tissues: int, field: bool, local_means: bool,
                 field_width: float, voxel_size: Optional[Sequence[float]]) -> None:
        if len(images) > 1:
            raise ValueError(f"{len(images)} images of one scan, where tissues are of one")
        image, size = read(images[0])
        chosen = inside([image], mask)
        self.count = int(np.count_nonzero(chosen))
        self._scan = _mth.TissueScan(image, tissues, chosen, None, list(voxel_size or size), field, local_means, field_width)
        self._means = _mth.TissueMeans(tissues)
        self._has_range = False
        self.start: Any = self._scan.range()
        self.bytes = 40 * self.count

    def step(self, message: Any) -> tuple[Floats, float]:
        if self._has_range:
            self._means.move(message)
        else:
            self._means.add_range(message)
            self._has_range = True
        return self._scan.step(self._means), 0.0


class Scan:
    """One scan: what it is made of, which travels, and how far its steps are, which stays where it is.

    A copy that went to another process or to a disk reads its images again, and takes its former steps again.
    """

    def __init__(self, make: Callable[[], Any]) -> None:
        self._make = make
        self._lock = threading.Lock()
        self._steps: Any = None
        self._taken = 0
        self._answer: Any = None

    def __reduce__(self) -> Any:
        return Scan, (self._make,)

    def __sizeof__(self) -> int:
        return 1000 + (self._steps.bytes if self._steps is not None else 0)

    def start(self) -> tuple[str, Any]:
        """What the first step needs of this scan, with its number of voxels and features; or why it cannot be used."""
        with self._lock:
            try:
                self._steps = self._make()
            except (ImportError, MemoryError):
                raise
            except Exception as error:
                return "failed", f"{type(error).__name__}: {error}"
            return "read", (self._steps.start, self._steps.count, self._steps.features)

    def step(self, index: int, message: Any, history: Optional[Sequence[Any]]) -> Any:
        """The answer to the step of that index; of one that lacks the steps before it, and is not told them, "lost"."""
        with self._lock:
            if self._taken == index + 1 and self._steps is not None:
                return self._answer  # asked twice: the first answer was lost on its way
            if self._taken != index or self._steps is None:
                if history is None and index > 0:
                    return _LOST
                self._steps = self._make_again()
                for former in history or ():
                    self._steps.step(former)
            self._answer = self._steps.step(message)
            self._taken = index + 1
            return self._answer

    def _make_again(self) -> Any:
        try:
            return self._make()
        except Exception as error:
            raise CohortError(f"a scan cannot be read again: {error}") from None

    def forget(self) -> None:
        with self._lock:
            self._steps = None


def _start(scan: Scan) -> Any:
    return scan.start()


def _step(scan: Scan, index: int, message: Any, history: Optional[Sequence[Any]]) -> Any:
    return scan.step(index, message, history)


class InProcess:
    """Works on one scan after the other. What does not fit into the memory is read again for every step."""

    def __init__(self, memory: Optional[int] = None) -> None:
        self._memory = memory if memory is not None else os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") // 2
        self._scans: list[Scan] = []
        self._kept: set[int] = set()
        self._bytes = 0

    def start(self, makes: Sequence[Callable[[], Any]]) -> list[Any]:
        self._scans = [Scan(make) for make in makes]
        return [self._keep(i, scan, scan.start()) for i, scan in enumerate(self._scans)]

    def select(self, chosen: Sequence[int]) -> None:
        self._scans = [self._scans[i] for i in chosen]
        self._kept = {k for k, i in enumerate(chosen) if i in self._kept}

    def step(self, index: int, message: Any, history: Sequence[Any]) -> list[Any]:
        return [self._keep(i, scan, scan.step(index, message, history)) for i, scan in enumerate(self._scans)]

    def close(self) -> None:
        self._scans = []

    def _keep(self, i: int, scan: Scan, answer: Any) -> Any:
        size = sys.getsizeof(scan)
        if i not in self._kept and self._bytes + size <= self._memory:
            self._kept.add(i)
            self._bytes += size
        elif i not in self._kept:
            scan.forget()
        return answer


class OnScheduler:
    """Works on the workers of a Dask scheduler, which keep the scans and bring them back when one of them ends.

    A scheduler that ends is waited for: the scans are then read again, and the steps that they had taken repeated.
    """

    def __init__(self, client: Any) -> None:
        try:
            self._distributed: Any = importlib.import_module("distributed")
        except ImportError:
            raise ImportError("a client needs distributed (Debian: python3-distributed)") from None
        self._where: Any = None if hasattr(client, "submit") else os.fspath(client)
        self._client = client if self._where is None else self._connect()
        self._makes: list[Callable[[], Any]] = []
        self._scans: list[Any] = []
        self._quiet_polls = _QUIET_POLLS

    def start(self, makes: Sequence[Callable[[], Any]]) -> list[Any]:
        self._makes = list(makes)
        return self._insist(lambda: self._gather([self._submit(_start, scan) for scan in self._present()]))

    def select(self, chosen: Sequence[int]) -> None:
        self._makes = [self._makes[i] for i in chosen]
        self._scans = [self._scans[i] for i in chosen]

    def step(self, index: int, message: Any, history: Sequence[Any]) -> list[Any]:
        return self._insist(lambda: self._step(index, message, history))

    def close(self) -> None:
        self._scans = []
        if self._where is not None:
            self._client.close()

    def _step(self, index: int, message: Any, history: Sequence[Any]) -> list[Any]:
        scans = self._present()
        answers = self._gather([self._submit(_step, scan, index, message, None) for scan in scans])
        lost = [i for i, answer in enumerate(answers) if isinstance(answer, str)]
        again = self._gather([self._submit(_step, scans[i], index, message, list(history)) for i in lost])
        for i, answer in zip(lost, again):
            answers[i] = answer
        return answers

    def _present(self) -> list[Any]:
        if not self._scans:
            self._scans = [self._submit(Scan, make) for make in self._makes]
        return self._scans

    def _submit(self, function: Any, *arguments: Any) -> Any:
        return self._client.submit(function, *arguments, pure=False, retries=3)

    def _gather(self, futures: Sequence[Any]) -> list[Any]:
        self._await(list(futures))
        try:
            return list(self._client.gather(list(futures)))
        except self._distributed.KilledWorker as error:
            raise CohortError(f"workers end whenever they work on a scan: {error}") from error

    def _await(self, futures: list[Any]) -> None:
        """Until all are done. When workers end, a scheduler may forget a task for good: that is told by `_Stalled`."""
        quiet, former = 0, -1
        while futures and quiet < self._quiet_polls:
            try:
                self._distributed.wait(futures, timeout=_POLL_SECONDS)
                return
            except self._distributed.TimeoutError:
                done = sum(future.done() for future in futures)
                pending = [future for future in [*futures, *self._scans] if not future.done()]
                is_at_work = done != former or any(self._client.call_stack(pending).values())
                quiet, former = 0 if is_at_work else quiet + 1, done
        if futures:
            raise _Stalled

    def _connect(self) -> Any:
        is_file = os.path.exists(self._where) or ":" not in self._where
        if is_file and not os.path.isfile(self._where):
            raise FileNotFoundError(f"there is no scheduler file {self._where}")
        return self._distributed.Client(**({"scheduler_file": self._where} if is_file else {"address": self._where}),
                                        timeout=60)

    def _insist(self, ask: Callable[[], list[Any]]) -> list[Any]:
        """Asks again when the scheduler was lost, for as long as it may be away."""
        from concurrent.futures import CancelledError  # what futures of a lost scheduler raise
        from asyncio import CancelledError as Cancelled
        lost = (CancelledError, Cancelled, self._distributed.comm.CommClosedError, OSError, RuntimeError)
        since: Optional[float] = None
        while True:
            try:
                return ask()
            except _Stalled:
                self._scans = []  # and with them all that waits for them
                self._quiet_polls *= 2  # a busy cluster may just not have come to them
                continue
            except lost as error:
                if isinstance(error, RuntimeError) and self._client.status == "running":
                    raise
                since = since or time.monotonic()
                if time.monotonic() - since > _PATIENCE_SECONDS:
                    raise CohortError("the scheduler is gone") from error
            self._scans = []
            self._reconnect()

    def _reconnect(self) -> None:
        time.sleep(0.2)
        if self._where is None:
            return  # the caller's client connects by itself
        try:
            self._client.close(timeout=1)
            self._client = self._connect()
        except (OSError, self._distributed.comm.CommClosedError):
            pass  # the next question asks again


Scheduler = Union[InProcess, OnScheduler]
