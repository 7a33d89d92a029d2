"""Minimisers, fits, geometry, statistics and sorting against SciPy and NumPy."""

import math
import pickle

import numpy as np
import pytest

import mth
from mth import special, stats

random = np.random.default_rng(11)


def rosenbrock(p):
    return 100.0 * (p[1] - p[0] ** 2) ** 2 + (1.0 - p[0]) ** 2


@pytest.mark.parametrize("method, tolerance", [("powell", 1e-3), ("bfgs", 1e-2), ("nelder-mead", 1e-3)])
def test_minimisers_find_rosenbrocks_valley(method, tolerance):
    calls = []
    best = mth.minimise(lambda p: calls.append(1) or rosenbrock(p), [-1.2, 1.0], method)
    np.testing.assert_allclose(best.x, [1.0, 1.0], atol=tolerance)
    assert best.success and best.reason == "converged" and best.nfev == len(calls) and best.nit > 0
    assert best.fun == pytest.approx(rosenbrock(best.x))
    seen = []
    ended = mth.minimise(rosenbrock, [-1.2, 1.0], method, callback=lambda p: seen.append(p.copy()) or len(seen) == 3)
    assert ended.reason == "cancelled" and not ended.success and len(seen) == 3
    iterations, steps = [], []
    best = mth.minimise(rosenbrock, [-1.2, 1.0], method, callback=lambda p: iterations.append(1),
                        progress=lambda done, total: steps.append(done))
    assert best.nit - 1 <= len(iterations) <= best.nit and steps == list(range(1, len(iterations) + 1))


def test_steepest_descent():
    best = mth.minimise(lambda p: p[0] ** 2 + 2 * p[1] ** 2, [3.0, 1.0], "steepest-descent", tol=1e-12)
    np.testing.assert_allclose(best.x, 0.0, atol=1e-2)


def test_annealing_leaves_a_local_minimum():
    def bumpy(p):
        return (p[0] - 3.0) ** 2 + 5.0 * math.sin(4.0 * p[0]) ** 2

    steps = []
    best = mth.anneal(bumpy, [-9.0], seed=7, temperature=20.0, progress=lambda done, total: steps.append(done))
    again = mth.anneal(bumpy, [-9.0], seed=7, temperature=20.0)
    assert best.x.tobytes() == again.x.tobytes() and best.fun == bumpy(best.x) < 0.1 and best.success
    assert best.nit == 100 * len(steps) and steps == list(range(1, len(steps) + 1))
    whole = mth.anneal(lambda p: abs(p[0] - 4) + abs(p[1] + 7), [0, 0], seed=7, shrinking=1.0, temperature=0.1,
                       move=lambda p, step: p + np.eye(2)[int(p.sum()) % 2] * step * (1 if p.sum() % 3 else -1))
    assert (whole.x == whole.x.round()).all()
    with pytest.raises(ZeroDivisionError):
        mth.anneal(bumpy, [1.0], move=lambda p, step: 1 / 0)
    for bad in (lambda: mth.anneal(bumpy, [1.0], step=math.inf), lambda: mth.minimise(bumpy, [1.0], "bfgs", step=math.nan)):
        with pytest.raises(ValueError, match="finite"):
            bad()


def test_least_squares_is_scipys():
    optimize = pytest.importorskip("scipy.optimize")
    x = np.linspace(0.0, 4.0, 50)
    y = 2.5 * np.exp(-1.3 * x) + 0.5 + random.normal(scale=0.05, size=50)

    def model(x, a, b, c):
        return a * np.exp(-b * x) + c

    found = mth.fit_curve(x, y, model, [1.0, 1.0, 0.0])
    expected, covariance = optimize.curve_fit(model, x, y, [1.0, 1.0, 0.0])
    np.testing.assert_allclose(found.x, expected, rtol=1e-5)
    np.testing.assert_allclose(found.covariance, covariance, rtol=1e-3)
    np.testing.assert_allclose(found.model, model(x, *found.x))


@pytest.mark.parametrize("model, x, truth", [
    ("profile", np.linspace(-4.0, 5.0, 60), [2.0, 7.0, 0.8, 1.1]),
    ("gaussians", np.arange(60.0), [50.0, 22.0, 5.0]),
    ("rayleigh", np.arange(60.0), [30.0, 8.0, 6.0]),
    ("catenary", np.linspace(-3.0, 3.0, 40), [2.0, -1.0]),
])
def test_models_are_found_again(model, x, truth):
    from mth.optimise import _MODELS
    y = _MODELS[model](x, np.array(truth))
    found = mth.fit_curve(x, y, model)
    np.testing.assert_allclose(found.model, y, atol=0.02 * np.ptp(y))
    start = mth.fit_curve(x, y, model, truth, max_iter=1)
    assert start.fun == pytest.approx(0.0, abs=1e-3)  # the cost's model and ours are one


def test_what_minimisers_refuse():
    for call, error, text in [
        (lambda: mth.minimise(rosenbrock, [1.0, np.nan]), ValueError, "NaN"),
        (lambda: mth.minimise(rosenbrock, []), ValueError, "empty"),
        (lambda: mth.minimise(rosenbrock, [1.0], "luck"), ValueError, "luck"),
        (lambda: mth.minimise(lambda p: None, [1.0]), TypeError, "real number"),
        (lambda: mth.minimise(lambda p: p[:1], [1.0, 1.0], "least-squares"), ValueError, "1 residuals for 2"),
        (lambda: mth.minimise(lambda p: 1 / 0, [1.0]), ZeroDivisionError, "zero"),
        (lambda: mth.minimise(rosenbrock, [-1.2, 1.0], callback=lambda p: 1 / 0), ZeroDivisionError, "zero"),
        (lambda: mth.minimise(rosenbrock, [[1.0], [1.0, 2.0]]), ValueError, "inhomogeneous"),
        (lambda: mth.fit_curve([1.0], [1.0, 2.0]), ValueError, "abscissae"),
        (lambda: mth.fit_curve([1.0], [1j]), TypeError, "y has elements of type complex128"),
        (lambda: mth.fit_curve([1.0, 2.0], [1.0, 2.0], "rayleigh"), ValueError, "0, 1, 2"),
        (lambda: mth.fit_curve([0.0, 1.0], [1.0, 2.0], "catenary", [1.0]), ValueError, "1 parameters, the model 2"),
        (lambda: mth.fit_curve([0.0, 1.0], [1.0, 2.0], "gaussians", []), ValueError, "0 parameters, not three for each"),
    ]:
        with pytest.raises(error, match=text):
            call()
    assert mth.minimise(lambda p: math.nan, [1.0]).reason == "not finite"
    assert mth.fit_curve(np.arange(5.0), np.ones(5)).fun == pytest.approx(0.0, abs=1e-12)


def test_registration_is_the_least_squares_one():
    rotation = pytest.importorskip("scipy.spatial.transform").Rotation
    a = random.normal(size=(20, 3))
    truth = rotation.from_euler("xyz", [20, -40, 110], degrees=True)
    b = truth.apply(a) + [5.0, -3.0, 2.0] + random.normal(scale=0.01, size=a.shape)
    found = mth.register_landmarks(a, b)
    expected, _ = rotation.align_vectors(b - b.mean(axis=0), a - a.mean(axis=0))
    np.testing.assert_allclose(found.rotation, expected.as_matrix(), atol=1e-7)
    np.testing.assert_allclose(found.translation, b.mean(axis=0) - expected.apply(a.mean(axis=0)), atol=1e-7)
    np.testing.assert_allclose(found.residuals, np.linalg.norm(found(a) - b, axis=1), atol=1e-12)
    np.testing.assert_allclose(found.matrix[3], [0, 0, 0, 1])
    b[0] += 100.0
    np.testing.assert_allclose(mth.register_landmarks(a, b, robust=True).rotation, truth.as_matrix(), atol=0.05)
    for bad in ((a, b[1:]), (a[:, :2], b), (a * np.nan, b), (a[:0], b[:0])):
        with pytest.raises(ValueError):
            mth.register_landmarks(*bad)


def test_hausdorff_is_scipys():
    distance = pytest.importorskip("scipy.spatial.distance")
    for sizes in ((1, 1), (50, 70), (400, 3)):
        a, b = (random.normal(size=(n, 3)) for n in sizes)
        expected = max(distance.directed_hausdorff(a, b)[0], distance.directed_hausdorff(b, a)[0])
        assert mth.hausdorff(a, b) == pytest.approx(expected, rel=1e-14)
        assert mth.hausdorff(a[::-1], np.asfortranarray(b)) == mth.hausdorff(a, b)
    assert mth.hausdorff(np.zeros((0, 3)), np.zeros((0, 3))) == 0.0
    for bad, text in ((a[:0], "empty"), (a * np.nan, "NaN")):
        with pytest.raises(ValueError, match=text):
            mth.hausdorff(a, bad)


def test_slices():
    for normal, plane in (((1, 0, 0), "SAG"), ((0, 1, 0), "COR"), ((0, 0, -2), "AXI")):
        found = mth.slice_orientation(normal)
        assert (found.plane, found.tilts) == (plane, ())
    angle = math.radians(10)
    tilted = mth.slice_orientation((math.sin(angle), 0.0, math.cos(angle)))
    assert tilted.plane == "AXI" and [abs(degrees) for _, degrees in tilted.tilts] == [10]
    assert mth.slice_orientation((0, 0, 1), corners=[[0, 0, 4], [9, 9, 6]]).shift == 5.0
    for bad in ((0, 0, 0), (math.nan, 0, 1), (1, 0)):
        with pytest.raises(ValueError):
            mth.slice_orientation(bad)


def test_curves():
    interpolate = pytest.importorskip("scipy.interpolate")
    x = np.linspace(0.0, 3.0, 13)
    curve = mth.Curve(x, np.sin(x))
    spline = interpolate.CubicSpline(x, np.sin(x), bc_type="natural")
    at = np.linspace(0.0, 3.0, 100)
    np.testing.assert_allclose(curve(at.reshape(4, 25)), spline(at).reshape(4, 25), atol=1e-5)
    assert curve(0.5) == pytest.approx(float(spline(0.5)), abs=1e-5) and np.ndim(curve(0.5)) == 0
    assert pickle.loads(pickle.dumps(curve)).y.tobytes() == curve.y.tobytes()
    assert len(curve.spline(4)) == 4 * 12 + 1 and len(curve) == 13
    np.testing.assert_allclose(curve.derivative().y[1:-1], np.gradient(np.sin(x), x)[1:-1], atol=1e-5)
    np.testing.assert_allclose(curve.regression(), np.polyfit(x, np.sin(x), 1), atol=1e-5)
    np.testing.assert_allclose(curve.sliding_mean(3).y[1:-1], np.convolve(np.sin(x), [1 / 3] * 3, "valid"), atol=1e-6)
    assert curve.median() == pytest.approx(np.median(np.sin(x)), abs=1e-6)
    assert curve.mean() == pytest.approx(np.sin(x).mean(), abs=1e-6)
    peak = mth.Curve(np.arange(201.0), 1000.0 * np.exp(-0.5 * ((np.arange(201.0) - 100.0) / 20.0) ** 2)).fwhm()
    assert peak.width == pytest.approx(2.355 * 20.0, abs=2.0)
    with pytest.raises(ValueError, match="2 points, where 3"):
        mth.Curve([0.0, 1.0], [0.0, 1.0]).derivative()
    with pytest.raises(TypeError, match="model is a int"):
        curve.chi2(1)
    with pytest.raises(ValueError, match="x has 1 values, y 2"):
        mth.Curve([0.0], [0.0, 1.0])


def test_statistics_are_scipys():
    scipy_stats = pytest.importorskip("scipy.stats")
    x, y = random.normal(size=(2, 200))
    y += 0.5 * x
    y[:20] = y[20:40]  # ties
    assert stats.mean(x) == pytest.approx(x.mean())
    assert stats.std(x) == pytest.approx(x.std())
    np.testing.assert_allclose(stats.covariance(np.stack([x, y], 1)), np.cov(x, y, bias=True), atol=1e-12)
    rank = scipy_stats.spearmanr(x, y)
    assert stats.spearman(x, y)[:2] == pytest.approx(tuple(rank), abs=1e-6)
    linear = scipy_stats.linregress(x, y)
    found = stats.pearson(x, y)
    assert (found.correlation, found.slope) == pytest.approx((linear.rvalue, linear.slope))
    assert found.significance == pytest.approx(linear.pvalue, rel=1e-4)
    assert stats.slope(x, y) == pytest.approx(linear.slope)
    test = scipy_stats.mannwhitneyu(x, y, method="asymptotic")
    assert stats.mann_whitney(x, y) == pytest.approx(test.pvalue, rel=1e-5)
    np.testing.assert_allclose(mth.ranks(y), scipy_stats.rankdata(y) - 1)
    assert stats.covariance(np.zeros((9, 0))).shape == (0, 0)
    for bad, text in ((y[1:], "200 values, y 199"), (np.where(x > 0, x, np.nan), "y has values that are NaN"),
                      (np.ma.masked_less(y, 0.0), "masked")):
        for measure in (stats.spearman, stats.pearson):
            with pytest.raises(ValueError, match=text):
                measure(x, bad)


def test_special_functions_are_scipys():
    scipy_special = pytest.importorskip("scipy.special")
    x = np.linspace(0.01, 20.0, 60).reshape(6, 10)
    np.testing.assert_allclose(special.gamma(x), scipy_special.gamma(x), rtol=1e-8)
    np.testing.assert_allclose(special.log_gamma(x), scipy_special.gammaln(x), atol=1e-8)
    np.testing.assert_allclose(special.erf(x - 10), scipy_special.erf(x - 10), atol=2e-6)
    np.testing.assert_allclose(special.erfc(x - 10), scipy_special.erfc(x - 10), rtol=1e-6)
    np.testing.assert_allclose(special.betainc(2.0, 3.5, x / 20), scipy_special.betainc(2.0, 3.5, x / 20), atol=1e-6)
    assert all(isinstance(function(1.0), float) for function in (special.gamma, special.erf, special.erfc, special.log_gamma))
    with pytest.raises(ValueError, match="outside 0 to 1"):
        special.betainc(1.0, 1.0, [1.5])
    with pytest.warns(RuntimeWarning, match="did not converge"):
        special.betainc(1e7, 1e7, [0.5])


def test_sorting():
    values = random.integers(0, 50, size=500).astype(float)
    np.testing.assert_array_equal(mth.sort(values), np.sort(values))
    np.testing.assert_array_equal(mth.sort(values, descending=True), np.sort(values)[::-1])
    numbers = values.astype(np.int32)
    for kind in (np.int32, np.int64, np.uint8, np.float32, bool):
        assert mth.sort(values.astype(kind)).tobytes() == np.sort(values.astype(kind)).tobytes()
    for bad in (lambda: mth.sort(numbers.astype(np.int64) << 53), lambda: mth.sort([np.nan], [1]), lambda: mth.ranks([np.nan])):
        with pytest.raises(ValueError):
            bad()
    keys, companions = mth.sort(values, np.arange(500))
    np.testing.assert_array_equal(values[companions], keys)
    np.testing.assert_array_equal(mth.sort([3.0, np.nan, 1.0]), [1.0, np.nan, 3.0])
    assert mth.sort([]).shape == (0,) and mth.sort([], []) [0].shape == (0,)


def test_streams_repeat_themselves():
    kinds = [mth.random.Uniform, lambda **keys: mth.random.Integers(-5, 5, **keys), mth.random.Bits, mth.random.Normal]
    for kind in kinds:
        first = kind(seed=4711).draw(1000)
        np.testing.assert_array_equal(kind(seed=4711).draw(1000), first)
        assert not np.array_equal(kind(seed=815).draw(1000), first)
    numbers = mth.random.Uniform(1, seed=99).draw(20000)
    assert 0.0 <= numbers.min() and numbers.max() < 1.0
    np.testing.assert_allclose([numbers.mean(), numbers.var()], [1 / 2, 1 / 12], atol=0.01)
    assert len(set(mth.random.select(50, 60).tolist())) == 50
    for bad in (lambda: mth.random.Uniform(5), lambda: mth.random.Bits(seed=0), lambda: mth.random.select(3, 2),
                lambda: mth.random.Integers(4, 3), lambda: mth.random.Uniform().draw(-1)):
        with pytest.raises(ValueError):
            bad()
