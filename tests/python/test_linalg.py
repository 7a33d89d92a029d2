"""Linear algebra against NumPy and SciPy on random and nasty matrices."""

import numpy as np
import pytest

import mth
from mth import linalg

scipy_linalg = pytest.importorskip("scipy.linalg")
random = np.random.default_rng(3)
SHAPES = [(1, 1), (4, 4), (7, 3), (3, 7), (40, 40), (33, 65), (0, 3), (3, 0)]
SQUARE = [random.normal(size=(n, n)) for n in (0, 1, 2, 5, 40)] + [np.diag([1.0, 1e-3, 1e-6]), np.ones((3, 3)) + np.eye(3)]


def near(actual, expected, epsilons=1e4):
    scale = max(1.0, np.abs(expected).max(initial=0.0))
    np.testing.assert_allclose(actual, expected, rtol=0, atol=epsilons * np.finfo(np.float64).eps * scale)


@pytest.mark.parametrize("shape", SHAPES)
def test_factors_rebuild_the_matrix(shape):
    a = random.normal(size=shape)
    q, r = linalg.qr(a)
    near(q @ r, a)
    near(q.T @ q, np.eye(shape[0]))
    u, s, vt = linalg.svd(a)
    near((u * s) @ vt, a)
    near(s, np.linalg.svd(a, compute_uv=False))
    near(linalg.pinv(a), np.linalg.pinv(a))
    assert linalg.matrix_rank(a) == min(shape)
    near(linalg.product(a, a.T), a @ a.T)
    b = random.normal(size=(shape[0], 2))
    near(linalg.lstsq(a, b), np.linalg.lstsq(a, b, rcond=None)[0])


@pytest.mark.parametrize("a", SQUARE, ids=str)
def test_square_matrices(a):
    n = len(a)
    b = random.normal(size=(n, 3))
    near(linalg.solve(a, b), np.linalg.solve(a, b), 1e10)
    near(linalg.solve(a, b[:, 0]), linalg.solve(a, b)[:, 0], 0)
    near(linalg.inv(a), np.linalg.inv(a), 1e10)
    lower, upper, permutation = linalg.lu(a)
    near(lower @ upper, a[permutation])
    determinant = abs(np.linalg.det(a))
    near(abs(linalg.det(a)), determinant if determinant >= 1e-9 else 0.0)
    values, vectors = linalg.eig(a)
    near(a @ vectors, vectors * values)
    t, z = linalg.schur(a)
    near(z @ t @ z.T, a)
    b = random.normal(size=(n, n))
    aa, bb, q, z = linalg.qz(a, b)
    near(q @ aa @ z.T, a)
    near(q @ bb @ z.T, b)
    alphas, betas, vectors = linalg.generalised_eig(a, b)
    near(a @ vectors * betas, b @ vectors * alphas)


def test_matrix_equations():
    a, b = random.normal(size=(6, 6)), random.normal(size=(6, 2))
    q, r = np.eye(6), np.eye(2)
    near(linalg.lyapunov(a, q), scipy_linalg.solve_continuous_lyapunov(a, -q), 1e7)
    near(linalg.lyapunov(a / 9, q, discrete=True), scipy_linalg.solve_discrete_lyapunov(a / 9, q), 1e7)
    near(linalg.riccati(a, b, q, r), scipy_linalg.solve_continuous_are(a, b, q, r), 1e9)
    near(linalg.riccati(a, b, q, r, discrete=True), scipy_linalg.solve_discrete_are(a, b, q, r), 1e9)


@pytest.mark.parametrize("layout", [
    np.asfortranarray, lambda a: a[::-1, ::-1][::-1, ::-1], lambda a: a.astype(">f8"), lambda a: np.stack([a, a])[1],
    lambda a: np.repeat(a, 2, axis=1)[:, ::2], np.ndarray.tolist,
    lambda a: np.frombuffer(a.tobytes()).reshape(a.shape),  # read-only
], ids=["fortran", "negative strides", "big endian", "slice", "strided", "list", "read-only"])
def test_every_layout_gives_the_same_bits(layout):
    a = random.normal(size=(9, 9))
    kept = a.copy()
    assert linalg.inv(layout(a)).tobytes() == linalg.inv(a).tobytes()
    assert a.tobytes() == kept.tobytes()


def test_types_of_results():
    a = random.normal(size=(5, 5)).astype(np.float32)
    assert linalg.inv(a).dtype == np.float32 and linalg.svd(a).s.dtype == np.float32
    assert linalg.product(a, a.astype(np.float64)).dtype == np.float64
    assert linalg.inv(np.eye(2, dtype=np.int8)).dtype == np.float64
    result = linalg.product(a, a)
    assert result.flags.c_contiguous and result.flags.writeable and not result.flags.owndata
    view = result[1:]  # keeps the library's memory alive
    expected = view.copy()
    del result
    linalg.product(a, a)
    np.testing.assert_array_equal(view, expected)


@pytest.mark.parametrize("operation, error, text", [
    (lambda: linalg.solve(np.eye(4), np.ones(3)), ValueError, "right-hand side has 3 rows, the matrix 4"),
    (lambda: linalg.inv(np.ones((2, 3))), ValueError, "2 rows and 3 columns"),
    (lambda: linalg.inv([1.0, 2.0]), ValueError, r"\(2,\)"),
    (lambda: linalg.product(np.ones((2, 3)), np.ones((2, 3))), ValueError, "3 columns, b 2 rows"),
    (lambda: linalg.riccati(np.eye(2), np.ones((3, 1)), np.eye(2), [[1.0]]), ValueError, "b is 3 x 1"),
    (lambda: linalg.inv([[None]]), TypeError, "object"),
    (lambda: linalg.inv([[1j]]), TypeError, "complex"),
    (lambda: linalg.inv([["a"]]), TypeError, "<U1"),
    (lambda: linalg.solve(np.zeros((3, 3)), np.ones(3)), np.linalg.LinAlgError, "zeros"),
    (lambda: linalg.solve(np.ones((3, 3)), np.ones(3)), np.linalg.LinAlgError, "singular"),
    (lambda: linalg.svd([[np.nan]]), np.linalg.LinAlgError, "finite"),
    (lambda: linalg.eig([[np.inf]]), np.linalg.LinAlgError, "finite"),
    (lambda: linalg.lyapunov([[0.0]], [[1.0]]), np.linalg.LinAlgError, "no such solution"),
])
def test_failures_tell_the_reason(operation, error, text):
    with pytest.raises(error, match=text):
        operation()


def test_an_unstable_solution_warns():
    with pytest.warns(mth.UnstableSolutionWarning):
        linalg.pinv(np.ones((2, 2)))
    with pytest.warns(mth.UnstableSolutionWarning):
        linalg.lstsq(np.ones((2, 2)), [1.0, 2.0])
