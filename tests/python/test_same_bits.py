"""The module's results are those of a C++ host, byte by byte."""

import os
import subprocess

import numpy as np

import mth
from mth import linalg, special, stats


def rosenbrock(p):
    x, y = float(p[0]), float(p[1])
    bend, rest = y - x * x, 1.0 - x
    return 100.0 * (bend * bend) + rest * rest


def linear_algebra(a, b):
    q, r = linalg.qr(a)
    u, _, vt = linalg.svd(a)
    t, z = linalg.schur(a)
    return [linalg.product(a, b), linalg.solve(a, b), linalg.inv(a), linalg.pinv(a), q, r, u, vt.T, z, t,
            linalg.lyapunov(a, b)]


def clustering(samples):
    hard = mth.k_means(samples, 3, init="quantiles")
    fuzzy = mth.fuzzy_c_means(samples, 3, init="quantiles")
    evidential = mth.evidential_c_means(samples, 3, init="quantiles")
    return [hard.centroids, fuzzy.memberships, fuzzy.centroids, evidential.masses, evidential.centroids]


def boosting(samples):
    labels = samples[:, 0] * samples[:, 1] > 0.0
    return [mth.AdaBoost(rounds=10, depth=2).fit(samples, labels).decision_function(samples)]


def images(plane):
    noisy = (100.0 + 10.0 * plane).ravel().reshape(8, 8, 4, order="F")
    _, level = mth.redundant_wavelet(plane, 2).details  # the second one, of the first one's approximation
    first = mth._mth.wavelet_level(plane, 1)
    features = mth.texture(plane * plane)
    spectrum = mth.fft(plane.ravel())
    assert level.rows.shape == plane.shape
    return [mth.denoise(noisy).ravel(order="F"), *first, mth.laplacian(plane),
            [features["entropy"], features["correlation"], features["information_correlation_1"]],
            spectrum.real, spectrum.imag]


def fits(numbers):
    x, y = numbers.reshape(2, -1)
    rank = stats.spearman(x, y)
    points = numbers[:60].reshape(20, 3)
    return [mth.minimise(rosenbrock, [-1.2, 1.0]).x, mth.minimise(rosenbrock, [-1.2, 1.0], "nelder-mead").x,
            [stats.mean(x), stats.std(x), rank.correlation, rank.significance],
            special.gamma([3.7]), special.betainc(2.0, 3.0, [0.4]),
            mth.register_landmarks(points[:10], points[10:]).matrix, [mth.hausdorff(points[:10], points[10:])]]


def test_operations_have_the_bits_of_a_host(tmp_path):
    numbers = np.random.default_rng(1).normal(size=512)
    numbers.tofile(tmp_path / "numbers")
    program = os.path.join(os.environ["MTH_BINARY_DIR"], "tests", "python", "python_same_bits")
    subprocess.run([program, tmp_path / "numbers", tmp_path / "results"], check=True)
    expected = (tmp_path / "results").read_bytes()
    a, b = numbers.reshape(2, 16, 16)
    samples = numbers.reshape(-1, 4)
    place = 0
    for results in (linear_algebra(a, b), clustering(samples), boosting(samples), images(a), fits(numbers)):
        for i, result in enumerate(results):
            data = np.ascontiguousarray(result, dtype=np.float64).tobytes()
            assert data == expected[place:place + len(data)], f"result {i} of {len(results)} at byte {place}"
            place += len(data)
    assert place == len(expected)
