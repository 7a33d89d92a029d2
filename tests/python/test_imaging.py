"""Denoising, wavelets, Laplacians, texture and transforms against SciPy, NumPy and the formulas."""

import numpy as np
import pytest

import mth

random = np.random.default_rng(5)
H = [0.125, 0.375, 0.375, 0.125, 0.0]
G = [0.0, 0.5, -0.5, 0.0, 0.0]


def disc(side=48):
    axes = np.meshgrid(*[np.linspace(-1.2, 1.2, side)] * 2, indexing="ij")
    return np.where(np.hypot(*axes) < 1.0, 100.0, 0.0) + 50.0 * (np.hypot(*axes) < 0.5)


@pytest.mark.parametrize("shape", [(20, 33), (64, 64), (1, 9), (0, 4)])
def test_the_redundant_transform_filters_rows_and_columns(shape):
    ndimage = pytest.importorskip("scipy.ndimage")
    image = random.normal(size=shape)
    found = mth.redundant_wavelet(image, 3)

    def along(data, taps, axis, level):
        filled = np.zeros(4 * 2 ** level + 1)
        filled[:: 2 ** level] = taps
        return ndimage.convolve1d(data, filled, axis=axis, mode="reflect") if data.size else data

    approximation = image
    for level, (rows, columns, diagonal) in enumerate(found.details):
        low, high = along(approximation, H, 1, level), along(approximation, G, 1, level)
        np.testing.assert_allclose(rows, along(low, G, 0, level), atol=1e-12)
        np.testing.assert_allclose(columns, along(high, H, 0, level), atol=1e-12)
        np.testing.assert_allclose(diagonal, along(high, G, 0, level), atol=1e-12)
        approximation = along(low, H, 0, level)
    np.testing.assert_allclose(found.approximation, approximation, atol=1e-12)


def test_the_inverse_changes_nothing_that_it_is_given():
    transform = mth.redundant_wavelet(random.normal(size=(70, 80)), 2)
    kept = [transform.approximation.copy()] + [band.copy() for level in transform.details for band in level]
    transform.inverse()
    for before, band in zip(kept, [transform.approximation] + [band for level in transform.details for band in level]):
        np.testing.assert_array_equal(band, before)


@pytest.mark.parametrize("method", ["volume", "wavelet", "quick"])
def test_denoising_brings_an_image_nearer_to_the_truth(method):
    truth, random = disc(96), np.random.default_rng(1)
    noisy = np.hypot(truth + random.normal(scale=8.0, size=truth.shape), random.normal(scale=8.0, size=truth.shape))
    kept = noisy.copy()
    found = mth.denoise(noisy, method, full=True)
    assert np.sqrt(np.mean((found.image - truth)[truth > 0] ** 2)) < 0.8 * np.sqrt(np.mean((noisy - truth)[truth > 0] ** 2))
    np.testing.assert_array_equal(noisy, kept)
    assert found.noise == pytest.approx(8.0, rel=0.25)
    for other in (np.asfortranarray(noisy), noisy[::-1][::-1], noisy.astype(">f8"), noisy.tolist()):
        np.testing.assert_array_equal(mth.denoise(other, method), found.image)
    single = mth.denoise(noisy.astype(np.float32), method)
    assert single.dtype == np.float32
    np.testing.assert_allclose(single, found.image, atol=2.0)
    assert mth.estimate_noise(noisy) == pytest.approx(8.0, rel=0.2)


def test_the_quick_denoising():
    for shape in ((1, 1), (1, 9), (7, 2), (30, 40)):  # a level line stays one up to its ends
        np.testing.assert_allclose(mth.denoise(np.full(shape, 70.0), "quick"), 70.0, rtol=1e-12)
        np.testing.assert_array_equal(mth.denoise(np.full(shape, np.nan), "quick"), 0.0)
    assert mth.denoise(np.zeros((0, 4)), "quick").shape == (0, 4)
    noise = random.normal(100.0, 3.0, size=(300, 300))  # each band has the share of the noise that its filters let through
    assert mth.denoise(noise, "quick", noise=3.0).std() < 0.3 * noise.std()
    with pytest.raises(ValueError, match="3 dimensions, where a plane"):
        mth.denoise(np.zeros((4, 4, 4)), "quick")
    restoration = pytest.importorskip("skimage.restoration")
    truth = disc(256) + 20.0
    noisy = np.abs(truth + random.normal(scale=8.0, size=truth.shape))
    theirs = restoration.denoise_wavelet(noisy, wavelet="db1", method="BayesShrink", wavelet_levels=4, rescale_sigma=True)
    assert np.linalg.norm(mth.denoise(noisy, "quick") - truth) < np.linalg.norm(theirs - truth)


def test_volumes_of_one_to_three_axes():
    volume = np.repeat(disc(24)[:, :, np.newaxis], 8, axis=2) + random.normal(scale=3.0, size=(24, 24, 8)) + 20.0
    found = mth.denoise(volume, full=True)
    assert found.image.shape == volume.shape and found.image.flags.f_contiguous
    assert found.confidence.min() > 0.0 and found.confidence.max() <= 1.0
    np.testing.assert_array_equal(mth.denoise(volume[:, :, 0]), mth.denoise(volume[:, :, :1])[:, :, 0])
    assert mth.denoise(np.zeros((0, 4))).shape == (0, 4)
    for bad, error in ((np.zeros((2, 2, 2, 2)), ValueError), (np.zeros((2, 2), complex), TypeError)):
        with pytest.raises(error):
            mth.denoise(bad)


@pytest.mark.parametrize("dtype, tolerance", [(np.float64, 1e-12), (np.float32, 1e-5)])
def test_laplacians(dtype, tolerance):
    for shape in ((9, 12), (7, 8, 9)):
        image = random.normal(size=shape).astype(dtype)
        inner = (slice(1, -1),) * len(shape)
        second = sum(np.roll(image, 1, axis)[inner] + np.roll(image, -1, axis)[inner] - 2 * image[inner]
                     for axis in range(len(shape)))
        result = mth.laplacian(image)
        assert result.dtype == dtype and result.shape == shape
        np.testing.assert_allclose(result[inner], second / (2 * len(shape)), atol=tolerance)
        np.testing.assert_array_equal(mth.laplacian(np.asfortranarray(image)), result)


def test_texture():
    image = random.integers(0, 6, size=(40, 50))
    p = mth.cooccurrence(image, 6, (1, -1))
    pairs = np.zeros((6, 6))
    for a, b in zip(image[:-1, 1:].ravel(), image[1:, :-1].ravel()):
        pairs[a, b] += 1
        pairs[b, a] += 1
    np.testing.assert_allclose(p, pairs / pairs.sum(), atol=1e-15)
    i, j = np.indices(p.shape)
    found = mth.texture(p)
    assert found["contrast"] == pytest.approx(((i - j) ** 2 * p).sum())
    assert found["homogeneity"] == pytest.approx((p / (1 + (i - j) ** 2)).sum(), rel=1e-5)
    assert found["energy"] == pytest.approx((p ** 2).sum())
    assert found["entropy"] == pytest.approx(-(p * np.log(p)).sum())
    assert found["sum_mean"] == pytest.approx(((i + j) * p)[i + j >= 2].sum())
    assert len(found) == 14
    assert mth.cooccurrence(image, 6, (43, 0)).sum() == 0.0  # no pair is so far apart
    for bad, text in ((lambda: mth.cooccurrence(image, 5), "outside 0 to 4"), (lambda: mth.redundant_wavelet(image, 31), "1 to 30"),
                      (lambda: mth.inverse_redundant_wavelet(image, [(image, image)]), "2 subbands, not 3")):
        with pytest.raises(ValueError, match=text):
            bad()


@pytest.mark.parametrize("length", [1, 2, 8, 1024])
def test_transforms(length):
    x = random.normal(size=length) + 1j * random.normal(size=length)
    np.testing.assert_allclose(mth.fft(x), np.fft.fft(x), atol=1e-11)
    np.testing.assert_allclose(mth.ifft(x), np.fft.ifft(x), atol=1e-12)
    grid = random.normal(size=(4, 16))
    np.testing.assert_allclose(mth.fft2(grid), np.fft.fft2(grid), atol=1e-12)
    np.testing.assert_allclose(mth.ifft2(mth.fft2(grid)), grid, atol=1e-12)
    for bad, error in ((np.ones(3), ValueError), (np.ones((2, 2)), ValueError), (np.array([None]), TypeError)):
        with pytest.raises(error):
            mth.fft(bad)
    with pytest.raises(ValueError, match="power of two from 4"):
        mth.fft2(np.ones((2, 4)))
