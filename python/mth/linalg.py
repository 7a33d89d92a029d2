"""Linear algebra with the same bits on every machine.

Matrices are two-dimensional arrays. Contiguous arrays of float64 or float32 are read where they are; other layouts and
types are converted. The result is float32 only where every operand is; the sums run in double all the same. Failures raise
``numpy.linalg.LinAlgError``, shapes that do not fit ``ValueError`` and what is no real numbers ``TypeError``.
"""

from __future__ import annotations

from typing import Any, NamedTuple

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _mth

__all__ = [
    "LU", "QR", "SVD", "Eigen", "GeneralisedEigen", "QZ", "Schur", "det", "eig", "eigvals", "generalised_eig", "inv",
    "lstsq", "lu", "lyapunov", "matrix_rank", "pinv", "product", "qr", "qz", "riccati", "schur", "solve", "svd",
]

Array = NDArray[Any]


class LU(NamedTuple):
    """``a[permutation] = lower @ upper``."""

    lower: Array
    upper: Array
    permutation: NDArray[np.int32]


class QR(NamedTuple):
    """``a = q @ r``: q is rows x rows and orthogonal, r rows x columns and upper triangular."""

    q: Array
    r: Array


class SVD(NamedTuple):
    """``a = u @ diag(s) @ vt``: singular values in descending order, as many as the lesser side of a."""

    u: Array
    s: Array
    vt: Array


class Eigen(NamedTuple):
    """``a @ vectors[:, j] = values[j] * vectors[:, j]``."""

    values: NDArray[np.complex128]
    vectors: NDArray[np.complex128]


class GeneralisedEigen(NamedTuple):
    """``betas[j] * a @ vectors[:, j] = alphas[j] * b @ vectors[:, j]``: a beta of 0 is an infinite eigenvalue."""

    alphas: NDArray[np.complex128]
    betas: NDArray[np.float64]
    vectors: NDArray[np.complex128]


class Schur(NamedTuple):
    """``a = z @ t @ z.T``: z orthogonal, t quasi-triangular with a block of two rows for each complex pair."""

    t: Array
    z: Array


class QZ(NamedTuple):
    """``a = q @ aa @ z.T`` and ``b = q @ bb @ z.T``: aa quasi-triangular, bb upper triangular."""

    aa: Array
    bb: Array
    q: Array
    z: Array


def product(a: ArrayLike, b: ArrayLike) -> Array:
    """Matrix product whose every entry is summed in ascending order in double, without fused operations.

    Unlike ``a @ b`` it has the same bits on every machine.

    >>> product([[1.0, 2.0]], [[3.0], [4.0]])
    array([[11.]])
    """
    return _mth.product(a, b)


def solve(a: ArrayLike, b: ArrayLike) -> Array:
    """Solve ``a @ x = b`` for a square matrix a by LU decomposition with implicit row pivoting.

    Parameters: a, n x n; b, n x m or of n numbers, and so is the result.

    ``LinAlgError`` when a row is all zeros, or when the product of the pivots is below 1e-30 in magnitude: scale the
    system, or take `lstsq`, where the elements are far from 1.

    Source: Golub & Van Loan, Matrix Computations, section 3.4.

    >>> solve([[2.0, 0.0], [0.0, 4.0]], [2.0, 2.0])
    array([1. , 0.5])
    """
    return _mth.solve(a, b)


def inv(a: ArrayLike) -> Array:
    """Inverse of a square matrix by `solve`, with its failures.

    >>> inv([[2.0, 0.0], [0.0, 4.0]])
    array([[0.5 , 0.  ],
           [0.  , 0.25]])
    """
    return _mth.inv(a)


def det(a: ArrayLike) -> float:
    """Determinant of a square matrix up to its sign: row interchanges do not change it, by intention.

    A value below 1e-9 in magnitude is given as 0.

    >>> det([[2.0, 0.0], [0.0, 4.0]])
    8.0
    """
    return _mth.det(a)


def lu(a: ArrayLike) -> LU:
    """Factors of a square matrix by Crout's method with implicit partial pivoting; a pivot of 0 becomes 1e-19.

    ``LinAlgError`` when a row is all zeros.

    >>> lower, upper, permutation = lu([[1.0, 2.0], [4.0, 4.0]])
    >>> lower @ upper
    array([[4., 4.],
           [1., 2.]])
    >>> permutation
    array([1, 0], dtype=int32)
    """
    factors, permutation = _mth.lu(a)
    return LU(np.tril(factors, -1) + np.eye(len(factors), dtype=factors.dtype), np.triu(factors), permutation)


def qr(a: ArrayLike) -> QR:
    """Factors by Householder reflections, for least squares as ``solve(r[:n], (q.T @ b)[:n])``.

    Elements of r below the diagonal stay what rounding makes of them.

    >>> q, r = qr([[3.0, 1.0], [4.0, 2.0]])
    >>> np.allclose(q @ r, [[3.0, 1.0], [4.0, 2.0]])
    True
    """
    return QR(*_mth.qr(a))


def svd(a: ArrayLike) -> SVD:
    """Singular value decomposition by the method of Golub and Reinsch, as NumPy's with ``full_matrices=False``.

    Columns of u beyond the rank may be 0. ``LinAlgError`` for elements that are not finite and without convergence.

    Source: Golub & Reinsch, Numerische Mathematik 14 (1970) 403-420.

    >>> svd([[3.0, 0.0], [0.0, 4.0]]).s
    array([4., 3.])
    """
    u, s, v = _mth.svd(a)
    return SVD(u[:, : len(s)], s, v.T[: len(s)])


def matrix_rank(a: ArrayLike) -> int:
    """Number of singular values above the largest x 1e-15 x columns.

    >>> matrix_rank([[1.0, 2.0], [2.0, 4.0]])
    1
    """
    return _mth.matrix_rank(a)


def pinv(a: ArrayLike) -> Array:
    """Moore-Penrose inverse, columns x rows, by singular values.

    Warns `mth.UnstableSolutionWarning` when a is of lower rank than its shape allows: singular values not above the
    first one x 1e-15 x max(shape) are left out. ``LinAlgError`` where `svd` fails.

    >>> pinv([[2.0, 0.0], [0.0, 4.0]]).round(12)
    array([[0.5 , 0.  ],
           [0.  , 0.25]])
    """
    return _mth.pinv(a)


def lstsq(a: ArrayLike, b: ArrayLike) -> Array:
    """Least-squares solution of ``a @ x = b``: `pinv` times b, with its warning and failures.

    >>> lstsq([[1.0], [1.0]], [1.0, 3.0]).round(12)
    array([2.])
    """
    return _mth.lstsq(a, b)


def eig(a: ArrayLike) -> Eigen:
    """Eigenvalues and right eigenvectors of a square matrix.

    An exactly symmetric matrix has its values in descending order and orthogonal vectors; of any other they stand in
    the order of the Schur form. Complex pairs are adjacent, the positive imaginary part first. Vectors are of unit
    length, their largest component real and positive. ``LinAlgError`` for elements that are not finite.

    Source: Golub & Van Loan, Matrix Computations, sections 7.4 to 7.6 and 8.3.

    >>> eig([[2.0, 1.0], [1.0, 2.0]]).values.real
    array([3., 1.])
    """
    return Eigen(*_mth.eig(a))


def eigvals(a: ArrayLike) -> NDArray[np.complex128]:
    """The values of `eig`.

    >>> eigvals([[0.0, -1.0], [1.0, 0.0]])
    array([0.+1.j, 0.-1.j])
    """
    return eig(a).values


def generalised_eig(a: ArrayLike, b: ArrayLike) -> GeneralisedEigen:
    """Generalised eigenvalues alpha / beta of ``a @ v = lambda * b @ v`` for square matrices, b singular or not.

    Source: Moler & Stewart, SIAM Journal on Numerical Analysis 10 (1973) 241-256.

    >>> alphas, betas, vectors = generalised_eig([[2.0, 0.0], [0.0, 3.0]], [[1.0, 0.0], [0.0, 0.0]])
    >>> bool(betas[1] == 0.0)
    True
    """
    return GeneralisedEigen(*_mth.generalised_eig(a, b))


def schur(a: ArrayLike) -> Schur:
    """Real Schur form of a square matrix. ``LinAlgError`` for elements that are not finite.

    Source: Golub & Van Loan, Matrix Computations, sections 7.4 and 7.5.

    >>> t, z = schur([[1.0, 2.0], [3.0, 4.0]])
    >>> np.allclose(z @ t @ z.T, [[1.0, 2.0], [3.0, 4.0]])
    True
    """
    return Schur(*_mth.schur(a))


def qz(a: ArrayLike, b: ArrayLike) -> QZ:
    """Generalised real Schur form of two square matrices of one shape; both may be singular.

    Source: Moler & Stewart, SIAM Journal on Numerical Analysis 10 (1973) 241-256.

    >>> aa, bb, q, z = qz([[1.0, 2.0], [3.0, 4.0]], [[1.0, 0.0], [1.0, 1.0]])
    >>> np.allclose(q @ bb @ z.T, [[1.0, 0.0], [1.0, 1.0]])
    True
    """
    return QZ(*_mth.qz(a, b))


def lyapunov(a: ArrayLike, q: ArrayLike, *, discrete: bool = False) -> Array:
    """Solution x of ``a @ x + x @ a.T + q = 0`` or, discrete, of ``a @ x @ a.T - x + q = 0``.

    Where q is symmetric the solution is exactly so. ``LinAlgError`` when two eigenvalues of a, or one taken twice, sum
    to 0 (multiply to 1); warns `mth.UnstableSolutionWarning` beside a solution that may be inaccurate.

    Source: Bartels & Stewart, Communications of the ACM 15 (1972) 820-826; Kitagawa, International Journal of Control 25
    (1977) 745-753.

    >>> lyapunov([[-1.0]], [[4.0]])
    array([[2.]])
    """
    return _mth.lyapunov(a, q, discrete)


def riccati(a: ArrayLike, b: ArrayLike, q: ArrayLike, r: ArrayLike, *, discrete: bool = False) -> Array:
    """The stabilising solution x of ``a.T @ x + x @ a - x @ b @ inv(r) @ b.T @ x + q = 0``, exactly symmetric.

    Discrete: of ``a.T @ x @ a - x - a.T @ x @ b @ inv(r + b.T @ x @ b) @ b.T @ x @ a + q = 0``. Parameters: a, n x n; b,
    n x m; q, n x n, and r, m x m, of which the symmetric part counts. ``LinAlgError`` without such a solution and for a
    singular r; warns `mth.UnstableSolutionWarning` beside a solution that may be inaccurate.

    Source: Laub, IEEE Transactions on Automatic Control 24 (1979) 913-921; Van Dooren, SIAM Journal on Scientific and
    Statistical Computing 2 (1981) 121-135.

    >>> riccati([[0.0]], [[1.0]], [[4.0]], [[1.0]]).round(12)
    array([[2.]])
    """
    return _mth.riccati(a, b, q, r, discrete)
