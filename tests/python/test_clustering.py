"""Clustering, boosting and tissues against scikit-learn and the formulas written out in NumPy."""

import itertools
import pickle

import numpy as np
import pytest

import mth

random = np.random.default_rng(7)
CENTRES = np.array([[0.0, 0.0], [6.0, 0.0], [0.0, 6.0]])
BLOBS = np.concatenate([centre + random.normal(size=(60, 2)) for centre in CENTRES])


def fuzzy_oracle(x, centroids, m, iterations):
    """Bezdek's iteration from given centroids, far from the samples."""
    for i in range(iterations):
        if i > 0:
            weights = memberships ** m
            centroids = weights.T @ x / weights.sum(axis=0)[:, np.newaxis]
        distances = np.linalg.norm(x[:, np.newaxis] - centroids, axis=2)
        ratios = (distances[:, :, np.newaxis] / distances[:, np.newaxis]) ** (2 / (m - 1))
        memberships = 1 / ratios.sum(axis=2)
    return memberships, centroids


@pytest.mark.parametrize("shift", [0.1, 3.0])
def test_k_means_is_lloyds(shift):
    cluster = pytest.importorskip("sklearn.cluster")
    start = BLOBS[[0, 1, 2]] + shift
    expected = cluster.KMeans(3, init=start, n_init=1, tol=0, algorithm="lloyd").fit(BLOBS)
    found = mth.k_means(BLOBS, 3, init=start)
    assert found.converged
    np.testing.assert_allclose(found.centroids, expected.cluster_centers_, atol=1e-12)
    np.testing.assert_array_equal(found.labels, expected.labels_)


@pytest.mark.parametrize("m", [1.5, 2.0, 3.7])
def test_fuzzy_c_means_is_bezdeks(m):
    start = CENTRES + 0.5
    found = mth.fuzzy_c_means(BLOBS, 3, m, init=start, max_iter=7, tol=0.0)
    memberships, centroids = fuzzy_oracle(BLOBS, start, m, 7)
    np.testing.assert_allclose(found.memberships, memberships, atol=1e-10)
    np.testing.assert_allclose(found.centroids, centroids, atol=1e-10)
    assert (found.n_iter, found.reason) == (7, "iteration cap")


def belief_oracle(masses, hypotheses, clusters):
    pignistic = np.zeros((len(masses), clusters))
    for mass, hypothesis in zip(masses.T, hypotheses):
        for cluster in hypothesis:
            pignistic[:, cluster] += mass / len(hypothesis)
    plausibility = np.stack([sum((masses[:, i] for i, other in enumerate(hypotheses) if set(other) & set(hypothesis)),
                                 np.zeros(len(masses))) for hypothesis in hypotheses], axis=1)
    return pignistic / (1 - masses[:, :1]), plausibility


@pytest.mark.parametrize("clusters", [2, 3])
def test_evidence(clusters):
    found = mth.evidential_c_means(BLOBS, clusters, init=CENTRES[:clusters] + 0.5)
    other = mth.evidential_c_means(BLOBS + random.normal(size=BLOBS.shape), clusters, init=CENTRES[:clusters] + 0.5)
    sets = [subset for size in range(clusters + 1) for subset in itertools.combinations(range(clusters), size)]
    assert found.hypotheses == sets and found.converged
    np.testing.assert_allclose(found.masses.sum(axis=1), 1.0, atol=1e-12)
    pignistic, plausibility = belief_oracle(found.masses, sets, clusters)
    np.testing.assert_allclose(found.pignistic(), pignistic, atol=1e-12)
    np.testing.assert_allclose(found.plausibility(), plausibility, atol=1e-12)
    np.testing.assert_array_equal(found.decide(), pignistic.argmax(axis=1))
    np.testing.assert_array_equal(found.decide("belief"), found.masses.argmax(axis=1))
    conjunctive = np.zeros_like(found.masses)
    for (i, a), (j, b) in itertools.product(enumerate(sets), enumerate(sets)):
        conjunctive[:, sets.index(tuple(sorted(set(a) & set(b))))] += found.masses[:, i] * other.masses[:, j]
    np.testing.assert_allclose(found.fuse(other, "conjunctive").masses, conjunctive, atol=1e-12)
    dempster = conjunctive / (1 - conjunctive[:, :1])
    dempster[:, 0] = 0.0
    fused = found.fuse(other)
    np.testing.assert_allclose(fused.masses, dempster, atol=1e-12)
    np.testing.assert_array_equal(fused.decide(), belief_oracle(dempster, sets, clusters)[0].argmax(axis=1))
    weak = found.discount(0.75).masses
    np.testing.assert_allclose(weak[:, :-1], 0.75 * found.masses[:, :-1], atol=1e-12)
    stopped = mth.evidential_c_means(BLOBS, clusters, init=CENTRES[:clusters] + 0.5, max_iter=2)
    assert stopped.reason == "iteration cap" and stopped.fuse(other).masses.shape == found.masses.shape


def test_masses_outlive_their_object():
    masses = mth.evidential_c_means(BLOBS, 2).masses
    assert not masses.flags.writeable and not masses.flags.owndata
    kept = masses.copy()
    mth.evidential_c_means(BLOBS[::-1], 2)
    np.testing.assert_array_equal(masses, kept)


def test_results_are_pickled():
    for found in (mth.evidential_c_means(BLOBS, 3), mth.evidential_c_means(BLOBS[:9], 1)):
        again = pickle.loads(pickle.dumps(found))
        assert again.masses.tobytes() == found.masses.tobytes() and again.hypotheses == found.hypotheses
        assert again.fuse(found).discount(0.5).pignistic().tobytes() == found.fuse(found).discount(0.5).pignistic().tobytes()
        assert repr(again) == repr(found)
    fuzzy = mth.fuzzy_c_means(BLOBS, 2)
    assert pickle.loads(pickle.dumps(fuzzy)) != fuzzy and fuzzy == fuzzy


@pytest.mark.parametrize("call, error, text", [
    (lambda: mth.k_means(BLOBS * np.nan, 2), ValueError, "NaN"),
    (lambda: mth.k_means(BLOBS[:2], 3), ValueError, "2 samples, fewer than the 3 clusters"),
    (lambda: mth.k_means(np.ones((9, 2)), 3), ValueError, "fewer different samples"),
    (lambda: mth.k_means(BLOBS, 2, init=np.zeros((2, 3))), ValueError, r"\(2, 3\), where \(2, 2\)"),
    (lambda: mth.k_means(BLOBS, 0), ValueError, "clusters is 0"),
    (lambda: mth.k_means(np.zeros((0, 2)), 1), ValueError, "no samples"),
    (lambda: mth.k_means(BLOBS.astype(object), 2), TypeError, "object"),
    (lambda: mth.k_means(BLOBS, 2, init="luck"), ValueError, "luck"),
    (lambda: mth.fuzzy_c_means(BLOBS, 2, 1.0), ValueError, "m is 1.0"),
    (lambda: mth.evidential_c_means(BLOBS, 21), ValueError, "more than 20"),
    (lambda: mth.evidential_c_means(BLOBS, 2).fuse(mth.evidential_c_means(BLOBS[1:], 2)), ValueError, "other samples"),
    (lambda: mth.evidential_c_means(BLOBS, 2).discount(1.0), ValueError, "reliability"),
    (lambda: mth.k_means(BLOBS, 2, progress=7), TypeError, "progress is 7"),
    (lambda: mth.k_means(np.ma.masked_less(BLOBS, 0.0), 2), ValueError, "masked"),
    (lambda: mth.tissue_clustering([]), ValueError, "no finite voxel"),
    (lambda: mth.tissue_clustering([BLOBS, BLOBS], confidence=BLOBS), ValueError, "one image only"),
    (lambda: mth.tissue_clustering(BLOBS, voxel_size=(1, -1)), ValueError, "voxel_size"),
])
def test_failures_tell_the_reason(call, error, text):
    with pytest.raises(error, match=text):
        call()


def phantom():
    """Three shells of 10, 20 and 30 with noise and a field, 0 around."""
    axes = np.meshgrid(*[np.linspace(-1.2, 1.2, 28)] * 3, indexing="ij")
    radius = np.sqrt(sum(axis ** 2 for axis in axes))
    truth = np.digitize(-radius, [-1.0, -0.8, -0.5]).astype(np.uint8)
    image = 10.0 * truth * (1.0 + 0.1 * axes[0]) + (truth > 0) * random.normal(size=truth.shape, scale=0.5)
    return image, truth


def test_tissues_do_not_depend_on_the_layout():
    image, truth = phantom()
    found = mth.tissue_clustering(np.asfortranarray(image), voxel_size=(4, 4, 4))
    assert np.mean(found.labels == truth) > 0.97
    np.testing.assert_allclose(sum(found.fractions)[truth > 0], 1.0, atol=1e-9)
    np.testing.assert_allclose(found.centroids.ravel(), [10.0, 20.0, 30.0], rtol=0.1)
    assert found.labels.flags.f_contiguous
    for other in (image, image[::-1][::-1], image.astype(">f8")):
        again = mth.tissue_clustering(other, mask=image > 0, voxel_size=(4, 4, 4))
        assert again.fractions[1].tobytes("F") == found.fractions[1].tobytes("F")
    two = mth.tissue_clustering([image, 100.0 - image], voxel_size=(4, 4, 4), mask=truth)
    assert two.centroids.shape == (3, 2) and len(two.fields) == 2
    single = mth.tissue_clustering(image.astype(np.float32), field=False)
    assert single.fractions[0].dtype == np.float32 and (single.fields[0] == 1.0).all()
    with pytest.raises(ValueError, match="fewer different values"):
        mth.tissue_clustering(np.ones((4, 4)))
    with pytest.raises(ValueError, match=r"mask has the shape \(2, 2\)"):
        mth.tissue_clustering(image, mask=np.ones((2, 2)))


@pytest.mark.parametrize("kind", ["real", "modest", "gentle"])
def test_boosting_learns_what_no_line_divides(kind):
    x = random.normal(size=(300, 4))
    y = np.where(x[:, 0] * x[:, 2] > 0.0, "yes", "no")
    model = mth.AdaBoost(kind=kind, rounds=40, depth=3).fit(x[:200], y[:200])
    assert model.score(x[:200], y[:200]) > 0.95 and model.score(x[200:], y[200:]) > 0.8
    scores = np.zeros(len(x))
    for cell, confidence in zip(model.cells_, model.confidences_):
        inside = np.ones(len(x), dtype=bool)
        for feature, lower, upper in cell:
            inside &= (lower == 1e9) | (x[:, feature] > lower)
            inside &= (upper == 1e9) | (x[:, feature] < upper)
        scores += np.where(inside, confidence, 0.0)
    np.testing.assert_allclose(model.decision_function(x), scores, atol=1e-12)
    again = pickle.loads(pickle.dumps(model))
    assert again.decision_function(x).tobytes() == model.decision_function(x).tobytes()
    with pytest.raises(ValueError, match="2 features"):
        model.predict(x[:, :2])


def test_boosting_is_an_estimator_of_scikit_learn():
    checks = pytest.importorskip("sklearn.utils.estimator_checks")
    for estimator, check in checks.check_estimator(mth.AdaBoost(rounds=10), generate_only=True):
        check(estimator)
