#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "std/Std_export.h"

class MTH_COMPLEX;

namespace mth_internal {
class MatrixAccess;
}

/// Dense matrix, row-major, of double (element type 0) or float (element type 1) elements, chosen at
/// allocation.
///
/// Nothing is thrown, and nothing is shown but by Convolution2D, the singular value decomposition, what
/// builds on it and the eigenvector search: a failure is a status code, kept by this matrix (element access,
/// fills, assignment, files) or carried by the new, unallocated matrix that an operation returns. The status
/// is sticky: only Allocate, Desallocate and construction set it back to 0.
///
/// | status | meaning |
/// |---|---|
/// | 0 | no error |
/// | 1 | not allocated, or the allocation failed |
/// | 2 | index out of range |
/// | 3 | missing argument |
/// | 4 | sizes do not fit |
/// | 5 | decomposition failed |
/// | 6 | singular system |
/// | 7 | no determinant |
/// | 8 | negative element in SquareRoot |
/// | 9 | not invertible; an equation without the solution asked for |
/// | 10 | may be inaccurate: singular values were discarded, or an equation is nearly singular |
/// | 11 | eigenvector search failed |
/// | 12 | file cannot be created or written |
/// | 13 | file cannot be opened |
/// | 14 | element type neither 0 nor 1, or operands of different types |
/// | 16 | zero row in LU |
/// | 17 | no convergence in SVD |
///
/// Operations that return `MTH_MATRIX*` never change their operands and give a new matrix that the caller
/// owns and deletes, also on failure; the pointer is null only when there is no memory for the matrix object
/// itself. Operands of different element types are refused, never converted. Binary operations check in this
/// order: both operands allocated (else 1), same element type (else 14), shapes (else 4).
///
/// Index (i, j) is row i, column j, from 0. A matrix may have 0 rows or columns. Rows x columns that are
/// negative, above 2^31 - 1 or beyond the memory at hand are refused with status 1 before anything is
/// allocated.
///
/// Work beyond order 512, and iterations that last, ask the display whether to go on (Std_IsCancelRequested);
/// given up, they show nothing and fail: products with status 1, Det with 7, all else as without convergence.
///
/// Const operations may write the status, so that a matrix is read by one thread at a time. What counts as
/// singular (SolveLinearSystemByLU, Inverse, Det) is told by a product of pivots and depends on the scale of
/// the system: scale it, or solve it by SolveLinearSystemBySVD, where elements are far from 1.
class MTH_EXPORT MTH_MATRIX {
 public:
  /// An unallocated matrix: counts -1, element type 0, status 0.
  MTH_MATRIX();
  /// Allocates rows x columns elements, not initialised, as Allocate does.
  MTH_MATRIX(int rows, int columns, int type);
  /// Deep copy with status 0. From an unallocated matrix, or without memory: unallocated, status 1.
  MTH_MATRIX(const MTH_MATRIX& other);
  /// Reads a file that Save wrote. Status 13 when it cannot be opened, 1 when its header is damaged or asks
  /// for a matrix that cannot be had. In a file shorter than its header promises the missing elements are 0,
  /// as long as the promise is at most 1 GiB; beyond, it is refused with status 1 before any allocation.
  explicit MTH_MATRIX(const std::string& fileName);
  /// The same; null is a file that cannot be opened.
  explicit MTH_MATRIX(const char* fileName);
  MTH_MATRIX(std::nullptr_t) = delete;  // a lone 0 is neither a size nor a name
  /// Takes the elements, the element type and the status of `other`, which is then as after Desallocate.
  /// Nothing is allocated; more than 4 elements keep their address.
  MTH_MATRIX(MTH_MATRIX&& other) noexcept;
  /// Releases the elements.
  ~MTH_MATRIX();

  /// Deep copy that also takes the source's status. From an unallocated source: status 3, otherwise
  /// unchanged. Without memory: unallocated, status 1.
  MTH_MATRIX& operator=(const MTH_MATRIX& other);
  /// As the move construction, after Desallocate of this matrix, also from an unallocated source. A matrix
  /// that is moved into itself stays whole.
  MTH_MATRIX& operator=(MTH_MATRIX&& other) noexcept;

  /// Replaces the storage by rows x columns elements, not initialised, and sets the status to 0.
  /// @param type  0 double, 1 float; any other leaves the matrix unallocated with status 14.
  /// On failure: unallocated, counts and type -1, status 1.
  void Allocate(int rows, int columns, int type);
  /// Releases the elements: counts and type -1, status 0. Does nothing on an unallocated matrix.
  void Desallocate();

  /// @return  the number of rows; -1 for an unallocated matrix.
  int GetNbRows() const { return rows_; }
  /// @return  the number of columns; -1 for an unallocated matrix.
  int GetNbCols() const { return columns_; }
  /// @return  0 double, 1 float, -1 after a failed allocation or Desallocate.
  short GetType() const { return static_cast<short>(type_); }
  /// @return  the last failure of this matrix, 0 for none.
  int GetStatusError() const { return status_; }
  /// @return  whether this matrix has elements to give, be it 0 of them.
  bool IsAllocated() const { return allocated_; }
  /// @return  the elements of a double matrix, row-major, owned by the matrix; null for any other matrix.
  double* GetEDataAddress() const { return doubles_; }
  /// @return  the elements of a float matrix, row-major, owned by the matrix; null for any other matrix.
  float* GetFDataAddress() const { return floats_; }

  /// Stores an element, rounded to the element type. Out of range: status 2, nothing stored. An unallocated
  /// matrix ignores it.
  void Set(int row, int column, double value) { Store(row, column, value); }
  /// @copydoc Set(int,int,double)
  void Set(int row, int column, float value) { Store(row, column, value); }
  /// Stores an element given as a number of any other type: a plain 0 suits both forms above equally well.
  template <class Number>
  requires std::is_arithmetic_v<Number>
  void Set(int row, int column, Number value) { Store(row, column, static_cast<double>(value)); }
  /// @return  the element; 0.0 and status 2 out of range, 0.0 alone on an unallocated matrix.
  double Get(int row, int column) const {
    if (!IsElement(row, column)) return 0.0;
    const std::int64_t index = std::int64_t{row} * columns_ + column;
    return doubles_ != nullptr ? doubles_[index] : static_cast<double>(floats_[index]);
  }

  /// Every element 0. An unallocated matrix ignores it, as it does the fills below.
  void SetZero();
  /// Element (i, i) 1, all others 0. Meant for square matrices: rows beyond the last column are 0.
  void SetIdentity();
  /// Copies the first rows x columns values, row-major; further values are ignored. Floats go to a float
  /// matrix by std::copy to GetFDataAddress(). Null array: status 3; count too small: status 4; nothing is
  /// copied.
  void SetVector(double* values, int count);
  /// @copydoc SetVector(double*,int)
  template <std::same_as<double> T>
  void SetVector(const T* values, int count) {
    SetVector(const_cast<T*>(values), count);  // which only reads, as the published forms of all such pairs
  }
  /// Element (i, i) = values[i] for i below count, all others 0; values beyond the diagonal are ignored.
  /// Null array: status 3, nothing changed.
  void SetDiagVector(double* values, int count);
  /// @copydoc SetDiagVector(double*,int)
  template <std::same_as<double> T>
  void SetDiagVector(const T* values, int count) {
    SetDiagVector(const_cast<T*>(values), count);
  }
  /// Every element an independent Gaussian number of mean 0: in row-major order the deviation times a number
  /// of deviation 1, rounded once to the element type. The stream of numbers is this call's own: it starts at
  /// the seed, the same for the same seed, and disturbs no other. Every int is a seed, and different ones,
  /// also neighbours, give unrelated streams from the first number on.
  /// @param deviation  counts as 0 when it is negative or NaN.
  void SetWhiteNoise(double deviation, int seed);

  /// Element-wise sum of two matrices of one shape and type.
  [[nodiscard]] MTH_MATRIX* operator+(const MTH_MATRIX& other) const;
  /// Element-wise difference, this minus other.
  [[nodiscard]] MTH_MATRIX* operator-(const MTH_MATRIX& other) const;
  /// Matrix product, rows(this) x columns(other); needs columns(this) = rows(other). Each entry is summed
  /// from 0 over ascending k in double, with one rounding per product and one per sum, and stored once: the
  /// result is the same on every machine.
  [[nodiscard]] MTH_MATRIX* operator*(const MTH_MATRIX& other) const;
  /// Each element times the factor; for a float matrix the factor is first rounded to float.
  [[nodiscard]] MTH_MATRIX* operator*(const double factor) const;
  /// Element-wise quotient, this divided by other: not a product with an inverse. A zero divisor gives the
  /// infinity or NaN of floating-point arithmetic.
  [[nodiscard]] MTH_MATRIX* operator/(const MTH_MATRIX& other) const;
  /// New columns x rows matrix. Unallocated: status 1.
  [[nodiscard]] MTH_MATRIX* Transpose() const;

  /// Sum of Get(i, i) over the columns, from 0: with more columns than rows the missing terms count 0 and
  /// set status 2. Unallocated: 0.0.
  double GetTrace() const;
  /// Largest element; of equal ones (+0 and -0) the first in row-major order. The arguments, meant for its
  /// position, are intentionally never written to. A NaN never replaces the value found so far: with a NaN as
  /// first element the result is NaN. Unallocated or empty: 0.0.
  double GetMax(int* row, int* column) const;
  /// Smallest element; otherwise as GetMax.
  double GetMin(int* row, int* column) const;
  /// Square root of the sum of the squares of all elements, summed in double in row-major order, unscaled.
  /// Unallocated: 0.0.
  double ComputeFrobeniusNorm() const;

  /// New rowCount x columnCount block whose first element is (firstRow, firstColumn). Unallocated: status 1;
  /// a block that does not lie inside the matrix, or a negative argument: status 4.
  [[nodiscard]] MTH_MATRIX* GetExtract(int firstRow, int firstColumn, int rowCount, int columnCount) const;
  /// New block between two corners, both included, clipped to the matrix. Status 1 when this matrix is
  /// unallocated, 4 when nothing is left.
  [[nodiscard]] MTH_MATRIX* RegionOfMatrix(int firstRow, int firstCol, int lastRow, int lastCol) const;
  /// New matrix of 0 where the element is below the threshold and 1 elsewhere (a NaN gives 1). For a float
  /// matrix the threshold is first rounded to float. Unallocated: status 1.
  [[nodiscard]] MTH_MATRIX* GetThresholding(double threshold) const;
  /// New rows x (columns + 2 width) matrix: this one between mirrored borders, the edge column repeated
  /// ([b a | a b c | c b]). A border wider than the matrix repeats the farthest column; of an empty matrix it
  /// is 0. Negative width: status 4. Of an unallocated matrix the element type is looked at first: status 14
  /// after Desallocate or a failed allocation (type -1), status 1 for a default-constructed one (type 0).
  [[nodiscard]] MTH_MATRIX* AddColBySymetry(int width) const;
  /// New (rows + 2 width) x columns matrix with mirrored border rows, otherwise as AddColBySymetry.
  [[nodiscard]] MTH_MATRIX* AddRowBySymetry(int width) const;
  /// Full 2-D convolution of this float matrix with a kernel of either type (rounded to float), as a float
  /// matrix of (rows + kernel rows - 1) x (columns + kernel columns - 1): entry (i, j) is the sum of this(a,
  /// b) kernel(i - a, j - b) over the positions (a, b) in row-major order, in single precision.
  /// @param kernel  not modified; null shows "Erreur dans les matrices d'entrées!" and gives a null result.
  /// @param mode    1 keeps only the columns where the kernel lies wholly inside the matrix, columns - kernel
  ///                columns + 1 of them (all rows stay); any other gives the full convolution.
  /// Operand unallocated, or a result of a negative size: status 1; this matrix not of float elements:
  /// status 14.
  [[nodiscard]] MTH_MATRIX* Convolution2D(MTH_MATRIX* kernel, int mode) const;

  /// Writes a binary file: 32-bit little-endian rows, columns and element type, then the elements row-major
  /// in little-endian IEEE 754. An unallocated matrix writes its header alone. Status 12 when the file cannot
  /// be created or written.
  void Save(const std::string& fileName) const;
  /// Writes the elements as text, each rounded to single precision (intended, also for a double matrix), with
  /// six decimals and a decimal point under every locale, followed by a tab; each row ends with a line feed.
  /// Status 12 when the file cannot be created or written.
  void SaveASCII(const std::string& fileName) const;

  /// Factors this square matrix into L U = P this, by Crout's method with implicit partial pivoting: the
  /// pivot of a column is the element largest beside the largest of its row in this matrix, the last one of
  /// equals; as in GetMax, a NaN is never the largest. A pivot of 0 becomes 1e-19. Each element is a running
  /// difference over ascending k, in double; elements of a float matrix are rounded to float as soon as they
  /// are final.
  /// @param permutation  receives a new array of rows ints (delete[]): entry i is the row of this matrix that
  ///                     ends in position i. Null on failure, but for status 16.
  /// @return  new matrix: U on and above the diagonal, below it the multipliers of L, whose unit diagonal is
  ///          implied. Status 3 for a null argument, 1 when unallocated or without memory, 4 when not square,
  ///          16 when a row is all 0, NaN aside; 5 when given up.
  /// @see     Golub and Van Loan, Matrix Computations, sections 3.2 and 3.4.
  [[nodiscard]] MTH_MATRIX* LU(int** permutation) const;
  /// Solves A X = B for this square matrix A by LU.
  /// @param b  right-hand sides, rows(A) x m, of this matrix's element type; not modified.
  /// @return   new rows(A) x m matrix. Status 1 (operand unallocated or no memory), 14 (element types
  ///           differ), 4 (A not square, or rows differ), 5 (LU failed), 6 (product of the pivots below 1e-30
  ///           in magnitude).
  [[nodiscard]] MTH_MATRIX* SolveLinearSystemByLU(const MTH_MATRIX& b) const;
  /// The same for a matrix that is already what LU returned, with its permutation. Intended: here the system
  /// counts as singular (status 6) when the product of the pivots is below 1e-10 in magnitude. Null
  /// permutation: status 3. An entry that is no row counts as a row of zeros.
  [[nodiscard]] MTH_MATRIX* SolveLinearSystemByLU(const MTH_MATRIX& b, const int* permutation) const;
  /// New inverse matrix: the solution of SolveLinearSystemByLU for the identity, with that call's status on
  /// failure. Unallocated or not square: status 1.
  [[nodiscard]] MTH_MATRIX* Inverse() const;
  /// Product of the pivots of LU. Intended: row interchanges do not change its sign, so it is the determinant
  /// up to its sign, and a value below 1e-9 in magnitude is given as 0.
  /// @return  0 for a matrix with a zero row; 0 and status 7 on this matrix when it is unallocated or not
  ///          square, or LU fails otherwise.
  double Det() const;

  /// Reflection that sends this column vector v to a multiple of itself mirrored: I - (2 / vt v) v vt, a new
  /// rows x rows matrix. Intended: with vt v below 1e-4 in magnitude it is the identity.
  /// Unallocated: status 1; more than one column: status 4.
  /// @see  Golub and Van Loan, Matrix Computations, section 5.1.
  [[nodiscard]] MTH_MATRIX* Householder() const;
  /// Factors this matrix into Q R by Householder reflections, with sums in double; elements of a float matrix
  /// are rounded to float after each reflection. R's elements below the diagonal stay what rounding makes of
  /// them, they are not set to 0.
  /// @param q  receives a new orthogonal matrix, rows x rows.
  /// @param r  receives a new upper triangular matrix, rows x columns.
  /// @return   false for a null argument, an unallocated matrix or no memory; the arguments then receive
  ///           null.
  ///
  /// Least squares of A x = b with at least as many rows as columns n: solve the first n rows of R
  /// (GetExtract, SolveLinearSystemByLU) with the first n rows of Qt b.
  /// @see      Golub and Van Loan, Matrix Computations, section 5.2.
  bool QR(MTH_MATRIX** q, MTH_MATRIX** r) const;
  /// Eigenvalues of this square matrix by the unshifted QR iteration: A becomes R Q until no diagonal element
  /// changes by `tolerance` or more. Intended: complex pairs, and eigenvalues of equal modulus, are not
  /// detected; the diagonal then stands still at once or never.
  /// @param values  receives a new array (delete[]) of rows values, in the order of the diagonal; null when
  ///                unallocated, not square, after more than 10,000 iterations, when the iteration leaves the
  ///                finite numbers, or without memory.
  /// @see  Golub and Van Loan, Matrix Computations, section 7.3.
  void EigenValues(double tolerance, double** values) const;
  /// Eigenvector of an eigenvalue: exactly 50 steps of inverse iteration from a vector of ones, with the
  /// pseudo-inverse of this matrix minus the eigenvalue. Intended: an eigenvalue that is exact to rounding is
  /// itself among the singular values left out, under the message below, and the vector is then the one of
  /// the next eigenvalue. RealEigenvalueProblem is free of this.
  /// @param vector  receives a new array (delete[]) of columns elements, the largest of magnitude 1 and the
  ///                signs as computed; null on failure.
  /// @return  false with status 11 on this matrix when it is unallocated, a product fails or there is no
  ///          memory, with status 14 when there is no pseudo-inverse. A pseudo-inverse without some singular
  ///          values shows "Risque d'instabilité de la solution" and is used.
  bool SearchOneEigenVector(double eigenvalue, double** vector) const;
  /// Eigenvalues as EigenValues gives them and, as the columns of the new matrix returned, their vectors as
  /// SearchOneEigenVector gives them, with its limits. Prefer RealEigenvalueProblem.
  /// @param values  receives a new array (delete[]) of rows values; null on failure.
  /// @return  unallocated with status 11 on failure.
  [[nodiscard]] MTH_MATRIX* SearchEigenValuesAndVectors(double tolerance, double** values) const;
  /// Eigenvalue of largest modulus of this square matrix by the power method, from a vector of ones, in
  /// double: iterates until two successive Rayleigh quotients differ by less than the tolerance, of which a
  /// negative one or NaN counts as 0, and the iterate is near an eigenvector, which it is not where two
  /// eigenvalues of opposite signs share the largest modulus. A start that has no part along the dominant
  /// eigenvector finds another eigenvalue.
  /// @param dominant  receives the last quotient; unchanged on failure.
  /// @return  false for a null argument, an unallocated or non-square matrix, one without rows, after 10,000
  ///          iterations, when an iterate is not finite, or without memory.
  /// @see     Golub and Van Loan, Matrix Computations, section 7.3.1.
  bool PowerMethod(double tolerance, double* dominant) const;
  /// New matrix of each element times itself. Unallocated: status 1.
  [[nodiscard]] MTH_MATRIX* Square() const;
  /// New matrix of the square roots of the elements. At the first element, in row-major order, that is
  /// negative or NaN the result gets status 8 and holds 0 from there on. Unallocated: status 1.
  [[nodiscard]] MTH_MATRIX* SquareRoot() const;
  /// Eigenvalues and right eigenvectors of this square matrix of n rows: balancing, reduction to Hessenberg
  /// form, shifted QR to real Schur form and back-substitution; an exactly symmetric matrix goes by
  /// tridiagonal form and shifted QR, with orthogonal vectors.
  /// MTH_COMPLEX is in mth/value/Mth_complex.h.
  /// @param values   receives a new array (delete[]) of n eigenvalues in the order of the Schur form's
  ///                 diagonal, those of a symmetric matrix in descending order; complex pairs are conjugate
  ///                 and adjacent, the positive imaginary part first.
  /// @param vectors  receives a new array (delete[]) of n x n entries, row-major: column j is the eigenvector
  ///                 of eigenvalue j, of unit Euclidean norm, its largest component (the first of equals)
  ///                 real and positive.
  /// @return  false and two nulls for a null argument, an unallocated or non-square matrix, elements that are
  ///          not finite, no convergence, or no memory.
  /// @see     Golub and Van Loan, Matrix Computations, sections 7.4 to 7.6 and 8.3.
  bool RealEigenvalueProblem(MTH_COMPLEX** values, MTH_COMPLEX** vectors) const;

  /// Real Schur form A = Q T Qt of this square matrix A, computed in double whatever the element type and
  /// rounded once, by Hessenberg form and double-shifted QR steps.
  ///
  /// This member and the control-theory members after it look at their operands in this order: allocated
  /// (else status 1), element types (14), shapes (4), finite elements (5); without memory it is 1. No rows
  /// are an ordinary case.
  /// @param q  receives a new orthogonal matrix.
  /// @param t  receives a new quasi-triangular matrix: a block of two rows stands for a complex pair only,
  ///           with equal diagonal elements and off-diagonal ones of opposite signs; all else below the
  ///           diagonal is exactly 0. Eigenvalues stand in the order in which they were found; those of an
  ///           upper triangular A keep theirs.
  /// @return   false after a failure, with new unallocated factors that carry the status, also 5 when an
  ///           eigenvalue does not converge; for a null argument false alone, nothing written.
  /// @see      Golub and Van Loan, Matrix Computations, sections 7.4 and 7.5.
  bool SchurDecomposition(MTH_MATRIX** q, MTH_MATRIX** t) const;
  /// Generalised real Schur form A = Q S Zt, B = Q T Zt of this square matrix A and B, which may be singular.
  /// @param b  of this matrix's shape and element type; not modified.
  /// @param q  receives a new orthogonal matrix; z likewise.
  /// @param s  receives a new quasi-triangular matrix: a block of two rows stands for a complex pair only.
  /// @param t  receives a new upper triangular matrix without negative diagonal elements, diagonal where `s`
  ///           has a block of two rows. What is 0 by form is exactly 0 in both.
  /// @return   as SchurDecomposition.
  /// @see      Moler and Stewart, SIAM Journal on Numerical Analysis 10 (1973) 241-256; Golub and Van Loan,
  ///           Matrix Computations, section 7.7.
  bool QZDecomposition(const MTH_MATRIX& b, MTH_MATRIX** q, MTH_MATRIX** z, MTH_MATRIX** s,
                       MTH_MATRIX** t) const;
  /// Generalised eigenvalues and right eigenvectors of this square matrix A of n rows and B: betas[j] A v_j =
  /// alphas[j] B v_j, by the QZ form. Of a singular pencil (every number is an eigenvalue) at least one pair
  /// is (0, 0), to rounding, and the others mean nothing.
  /// @param b        of this matrix's shape and element type; not modified.
  /// @param alphas   receives a new array (delete[]) of n numbers; complex eigenvalues are conjugate and
  ///                 adjacent, the positive imaginary part first.
  /// @param betas    receives a new array (delete[]) of n numbers, not negative: 0 is an infinite eigenvalue;
  ///                 where rounding hides one it is about epsilon times the magnitude of alpha.
  /// @param vectors  receives a new array (delete[]) of n x n entries, row-major, column j being v_j of unit
  ///                 Euclidean norm; a null pointer asks for none.
  /// @return         false and nulls when null `alphas` or `betas`, an operand or its shape, type or
  ///                 elements, the convergence or the memory do not allow an answer.
  bool GeneralisedEigenvalueProblem(const MTH_MATRIX& b, MTH_COMPLEX** alphas, double** betas,
                                    MTH_COMPLEX** vectors) const;
  /// Solves the Lyapunov equation A X + X At + Q = 0 for this square matrix A.
  /// @param q  of this matrix's shape and element type, taken as it stands; not modified. Where it is
  ///           symmetric the solution is exactly so.
  /// @return   new matrix. Status 1, 14, 4 and 5 as SchurDecomposition; 9 when two eigenvalues of A, or one
  ///           taken twice, sum to 0, whatever Q; 10 beside a solution that may be inaccurate: the reciprocal
  ///           condition 1 / (|L| |inverse of L|) of L: X -> A X + X At is below 1e-15 x rows.
  /// @see      Bartels and Stewart, Communications of the ACM 15 (1972) 820-826.
  [[nodiscard]] MTH_MATRIX* SolveLyapunov(const MTH_MATRIX& q) const;
  /// Solves the discrete Lyapunov equation A X At - X + Q = 0, otherwise as SolveLyapunov. Status 9 when two
  /// eigenvalues of A, or one taken twice, multiply to 1.
  /// @see  Kitagawa, International Journal of Control 25 (1977) 745-753.
  [[nodiscard]] MTH_MATRIX* SolveDiscreteLyapunov(const MTH_MATRIX& q) const;
  /// The stabilising solution of the Riccati equation At X + X A - X B R^-1 Bt X + Q = 0 for this n x n
  /// matrix A: the one for which all eigenvalues of A - B R^-1 Bt X have negative real parts. Found by
  /// doubling where the closed loop is clearly stable and Newton's method confirms it, else by ordered Schur
  /// vectors; for n = 1 in closed form.
  /// @param b  n x m; m may be 0.
  /// @param q  n x n; only its symmetric part counts, as that of `r`. Neither need be definite.
  /// @param r  m x m.
  /// @return   new, exactly symmetric matrix. Q and R times a number give the solution times it. Status 1,
  ///           14, 4 and 5 as SchurDecomposition, 5 also when the form cannot be ordered; 6 for a singular R;
  ///           9 when there is no such solution: an unstabilisable pair (A, B) or eigenvalues on the boundary
  ///           of stability, or when double cannot hold it; 10 beside a solution that may be inaccurate, also
  ///           in place of 9 where rounding hides an unstabilisable pair: doubling has not found it, and
  ///           1 / |inverse of U11| of the orthonormal basis [U11; U21] of the stable subspace is below 1e-15
  ///           n or no step of Newton's method confirms it.
  /// @see      Chu, Fan and Lin, Linear Algebra and its Applications 396 (2005) 55-80; Laub, IEEE
  ///           Transactions on Automatic Control 24 (1979) 913-921.
  [[nodiscard]] MTH_MATRIX* SolveRiccati(const MTH_MATRIX& b, const MTH_MATRIX& q, const MTH_MATRIX& r) const;
  /// The stabilising solution of the discrete Riccati equation At X A - X - At X B (R + Bt X B)^-1 Bt X A + Q
  /// = 0, otherwise as SolveRiccati: the eigenvalues of A - B (R + Bt X B)^-1 Bt X A are of modulus below 1.
  /// R may be singular, which leaves it to the ordered generalised Schur form of the extended pencil; a
  /// singular R + Bt X B gives status 9.
  /// @see  Chu, Fan and Lin as above; Van Dooren, SIAM Journal on Scientific and Statistical Computing 2
  ///       (1981) 121-135.
  [[nodiscard]] MTH_MATRIX* SolveDiscreteRiccati(const MTH_MATRIX& b, const MTH_MATRIX& q,
                                                 const MTH_MATRIX& r) const;

  /// Singular value decomposition U W Vt of this matrix by the method of Golub and Reinsch, computed in
  /// double; the factors of a float matrix are rounded once, at the end.
  /// @param u  receives a new matrix, rows x columns, of left singular vectors. With more columns than rows
  ///           those beyond the rank may be 0.
  /// @param w  receives a new diagonal matrix, columns x columns: singular values, not negative, descending.
  /// @param v  receives a new orthogonal matrix, columns x columns, of right singular vectors.
  /// @return   true on success. On failure the caller owns the three factors as well: unallocated, with
  ///           status 1 when this matrix is unallocated or without memory, with status 17 when a singular
  ///           value needs 50 iterations from either end or the elements are not finite. The latter shows
  ///           "Pas de convergence après 50 itérations" for a double matrix and "Pas de convergence après 30
  ///           itérations", the cap being 50 all the same, for a float one. A null argument gives false and
  ///           nothing else.
  /// @see      Golub and Reinsch, Numerische Mathematik 14 (1970) 403-420; Golub and Van Loan, Matrix
  ///           Computations, section 8.6.
  bool SVD(MTH_MATRIX** u, MTH_MATRIX** w, MTH_MATRIX** v) const;
  /// Number of singular values above the largest x 1e-15 x columns. Unallocated, or SVD fails: 0.
  int Rank() const;
  /// Moore-Penrose inverse by SVD, a new columns x rows matrix. Singular values not above the first of them x
  /// 1e-15 x max(rows, columns) count as 0; the result then has status 10.
  /// Unallocated, SVD fails or no memory for a factor: status 9; no memory for a product: status 1.
  [[nodiscard]] MTH_MATRIX* PseudoInverse() const;
  /// The same, and hands out the factors of SVD as the caller's own and the number of singular values kept.
  /// The factors are unallocated when SVD fails. A null argument receives nothing.
  [[nodiscard]] MTH_MATRIX* PseudoInverse(MTH_MATRIX** u, MTH_MATRIX** w, MTH_MATRIX** v, int* rank) const;
  /// Least-squares solution of A X = B for this matrix A: PseudoInverse() times B, a new matrix.
  /// Unallocated: status 1; rows differ: status 4; no pseudo-inverse: shows "Matrice non inversible", status
  /// 9. A pseudo-inverse without some singular values shows "Risque d'instabilité de la solution" and is
  /// used. Element types differ: status 14.
  [[nodiscard]] MTH_MATRIX* SolveLinearSystemBySVD(const MTH_MATRIX& b) const;
  /// Orthogonal projector onto the row space of this matrix A: At (A At)+ A, a new columns x columns matrix.
  /// Unallocated with the status of the step that failed.
  [[nodiscard]] MTH_MATRIX* Projection() const;
  /// Projector onto the orthogonal complement of the row space: I - Projection().
  [[nodiscard]] MTH_MATRIX* OrthogonalProjection() const;

 private:
  friend class mth_internal::MatrixAccess;

  // Up to this many elements live inside the object: no allocation for the columns of a clustering sample.
  static constexpr int kInlineElements = 4;

  template <class Value>
  void Store(int row, int column, Value value) {
    if (!IsElement(row, column)) return;
    const std::int64_t index = std::int64_t{row} * columns_ + column;
    if (doubles_ != nullptr) {
      doubles_[index] = static_cast<double>(value);
    } else {
      floats_[index] = static_cast<float>(value);
    }
  }

  // Whether there is such an element; status 2 when an allocated matrix has none.
  bool IsElement(int row, int column) const {
    if (!allocated_) return false;
    if (row >= 0 && row < rows_ && column >= 0 && column < columns_) return true;
    status_ = 2;
    return false;
  }

  void SetUnallocated(int type, int status);
  void CopyElements(const MTH_MATRIX& other);
  void TakeStorage(MTH_MATRIX& other);

  int columns_ = -1;
  double* doubles_ = nullptr;
  mutable int status_ = 0;
  float* floats_ = nullptr;
  bool allocated_ = false;
  int rows_ = -1;
  int type_ = 0;
  alignas(double) unsigned char inline_[kInlineElements * sizeof(double)];
};

/// What a status code of MTH_MATRIX means, as a French sentence for people.
/// @return  never null, and never to be freed: "" for 0, a sentence of its own for a code that does not
///          exist.
MTH_EXPORT const char* Mth_StatusText(int status);
