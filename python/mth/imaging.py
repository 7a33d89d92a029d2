"""Images and volumes: denoising, redundant wavelets, Laplacians, texture features and Fourier transforms."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, NamedTuple

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _mth
from ._progress import Progress, reporting

__all__ = [
    "Denoised", "Details", "RedundantWavelet", "cooccurrence", "denoise", "estimate_noise", "fft", "fft2", "ifft", "ifft2",
    "inverse_redundant_wavelet", "laplacian", "redundant_wavelet", "texture",
]

Floats = NDArray[Any]


class Denoised(NamedTuple):
    """``image``; ``confidence``, the share of the noise that is left in each voxel; ``noise``, the deviation that was used."""

    image: Floats
    confidence: Any
    noise: float


def denoise(image: ArrayLike, method: str = "volume", *, noise: float = 0.0, factor: float = 2.0, window: int = 5,
            full: bool = False, progress: Progress = None) -> Any:
    """Remove the Rician noise of a magnitude MR volume or plane.

    Parameters
    ----------
    image : 1 to 3 axes; float32 stays so, and what is negative or not finite counts as 0. Of "volume" data in Fortran
        order, as nibabel gives it, goes in without a copy, other layouts with one; the result is in Fortran order.
    method : "volume", overlapping blocks and means of similar places, in two or three dimensions; "wavelet", of planes
        alone, which gives whole grey levels; or "quick", of planes, soft thresholds of wavelets at every place, in a sixth
        of the time of "volume". It leaves more of the noise, and the mean of the Rician one.
    noise : of "volume" and "quick": the deviation of the noise; 0 estimates it.
    factor, window : of "wavelet": how many noise levels a detail must stand out, and the side of its neighbourhood.
    full : gives a `Denoised` with the confidence (None of "wavelet") and the noise instead of the image alone.
    progress : True, a function of (steps done, steps), or tqdm; see `mth`.

    Source: Chang, Yu & Vetterli, IEEE Trans. Image Processing 9 (2000); Guleryuz, IEEE Trans. Image Processing 16 (2007); Dabov et al., ibid.; Manjon et al., Medical Image Analysis 16
    (2012); Pizurica et al., IEEE Trans. Medical Imaging 22 (2003).

    >>> plane = np.abs(100.0 + 5.0 * np.sin(np.arange(4096.0) ** 2).reshape(64, 64))
    >>> bool(denoise(plane, noise=5.0).std() < plane.std() / 2)
    True
    """
    if method not in ("volume", "wavelet", "quick"):
        raise ValueError(f"method is {method!r}, none of 'volume', 'wavelet' and 'quick'")
    with reporting(progress, "denoising") as report:
        if method == "volume":
            result = Denoised(*_mth.denoise_volume(image, noise, report))
        elif method == "quick":
            plane, deviation = _mth.denoise_quickly(image, noise)
            result = Denoised(plane, None, deviation)
        else:
            plane, deviation = _mth.denoise_plane(image, factor, window, full, report)
            result = Denoised(plane, None, deviation)
    return result if full else result.image


def estimate_noise(image: ArrayLike) -> float:
    """Deviation of the Rician noise of a volume or plane: from its air, or from its finest details where it is not 0.

    0 when that cannot be told, as where some axis has 2 or 3 voxels.

    >>> estimate_noise(np.zeros((16, 16)))
    0.0
    """
    return _mth.estimate_noise(image)


class Details(NamedTuple):
    """Subbands of one level, as large as the image: differences between rows, between columns, and along both."""

    rows: NDArray[np.float64]
    columns: NDArray[np.float64]
    diagonal: NDArray[np.float64]


@dataclass(frozen=True, eq=False)
class RedundantWavelet:
    """What `redundant_wavelet` gives: the ``approximation`` and ``details``, of each level from the finest on."""

    approximation: NDArray[np.float64]
    details: list[Details]

    def inverse(self) -> NDArray[np.float64]:
        """The image again, as `inverse_redundant_wavelet`."""
        return inverse_redundant_wavelet(self.approximation, self.details)


def redundant_wavelet(image: ArrayLike, levels: int = 1) -> RedundantWavelet:
    """Transform of a plane of any size by the quadratic spline wavelet, without subsampling.

    A shifted image has shifted subbands. A line goes on beyond its ends as its mirror image.

    Source: Mallat & Zhong, IEEE Trans. Pattern Analysis and Machine Intelligence 14 (1992).

    >>> transform = redundant_wavelet(np.ones((5, 7)), levels=2)
    >>> len(transform.details), float(abs(transform.details[0].rows).max())
    (2, 0.0)
    """
    if not 1 <= levels <= 30:
        raise ValueError(f"levels is {levels}, not 1 to 30")
    details = []
    for level in range(levels):
        image, rows, columns, diagonal = _mth.wavelet_level(image, level)
        details.append(Details(rows, columns, diagonal))
    return RedundantWavelet(np.asarray(image), details)


def inverse_redundant_wavelet(approximation: ArrayLike, details: list[Details]) -> NDArray[np.float64]:
    """The image of an approximation and its details, finest level first; nothing of them is changed.

    It is exact but for rounding, except near the borders: within 3 x 2**level samples of the start and 2 x 2**level of the
    end of a line.

    >>> image = np.arange(900.0).reshape(30, 30) % 7
    >>> again = redundant_wavelet(image).inverse()
    >>> bool(abs(again - image)[3:-3, 3:-3].max() < 1e-12)
    True
    """
    image: Any = approximation
    for subbands in details:
        if len(subbands) != 3:
            raise ValueError(f"a level has {len(subbands)} subbands, not 3")
    for level in reversed(range(len(details))):
        image = _mth.inverse_wavelet_level(image, *details[level], level=level)
    return np.asarray(image)


def laplacian(image: ArrayLike) -> Floats:
    """Mean of the halved second derivatives along the axes of a plane or volume; float32 stays so.

    Of a plane ``(up + down + left + right - 4 centre) / 4`` in the interior. It continues linearly into the borders; an
    axis of 1 or 2 elements adds nothing.

    Source: Gonzalez & Woods, Digital Image Processing, section 3.6.

    >>> laplacian(np.outer(np.arange(5.0) ** 2, np.ones(5)))[2]
    array([0.5, 0.5, 0.5, 0.5, 0.5])
    """
    return _mth.laplacian(image)


def cooccurrence(image: ArrayLike, levels: int, offset: tuple[int, int] = (0, 1)) -> NDArray[np.float64]:
    """Shares of the pairs of grey levels (value, value at the offset), levels x levels, both orders counted.

    The image holds whole numbers from 0 to levels - 1; ``ValueError`` otherwise.

    >>> cooccurrence([[0, 1], [0, 1]], 2)
    array([[0. , 0.5],
           [0.5, 0. ]])
    """
    values = np.asarray(image)
    if values.ndim != 2 or values.dtype.kind not in "iub" or levels < 1:
        raise ValueError("image is no plane of whole numbers")
    if values.size and (values.min() < 0 or values.max() >= levels):
        raise ValueError(f"image has values outside 0 to {levels - 1}")
    down, right = offset
    rows, columns = values.shape
    down, right = max(-rows, min(down, rows)), max(-columns, min(right, columns))
    first = values[max(0, -down):rows - max(0, down), max(0, -right):columns - max(0, right)]
    second = values[max(0, down):rows + min(0, down), max(0, right):columns + min(0, right)]
    counts = np.bincount(first.ravel().astype(np.int64) * levels + second.ravel(), minlength=levels * levels)
    matrix = counts.reshape(levels, levels).astype(np.float64)
    matrix += matrix.T.copy()
    return matrix / max(matrix.sum(), 1.0)


def texture(p: ArrayLike) -> dict[str, float]:
    """Fourteen features of a co-occurrence matrix, levels x levels, as a rule divided by its sum (`cooccurrence`).

    Several differ from the textbook's in an offset or a sign, by intention; docs/texture.md of the library tells how. A
    variance of 0 gives an infinity or NaN.

    Source: Haralick, Shanmugam & Dinstein, IEEE Trans. Systems, Man, and Cybernetics 3 (1973).

    >>> features = texture([[0.5, 0.0], [0.0, 0.5]])
    >>> features["contrast"], features["energy"]
    (0.0, 0.5)
    """
    return _mth.texture(p)


def fft(x: ArrayLike) -> NDArray[np.complex128]:
    """Fourier transform of a power of two of numbers, not scaled, as ``numpy.fft.fft``; the same bits on every machine.

    ``ValueError`` for other lengths. Source: Cooley & Tukey, Math. Comp. 19 (1965).

    >>> fft([1.0, 1.0, 1.0, 1.0])
    array([4.+0.j, 0.+0.j, 0.+0.j, 0.+0.j])
    """
    return _mth.fft(x, 1)


def ifft(x: ArrayLike) -> NDArray[np.complex128]:
    """The inverse of `fft`, divided by the length.

    >>> ifft([4.0, 0.0, 0.0, 0.0])
    array([1.+0.j, 1.+0.j, 1.+0.j, 1.+0.j])
    """
    return _mth.fft(x, -1)


def fft2(x: ArrayLike) -> NDArray[np.complex128]:
    """The transform along both axes of a grid whose sides are powers of two from 4 on.

    >>> complex(fft2(np.ones((4, 4)))[0, 0])
    (16+0j)
    """
    return _mth.fft2(x, 1)


def ifft2(x: ArrayLike) -> NDArray[np.complex128]:
    """The inverse of `fft2`, divided by the number of elements.

    >>> bool(np.allclose(ifft2(fft2(np.eye(4))), np.eye(4)))
    True
    """
    return _mth.fft2(x, -1)
