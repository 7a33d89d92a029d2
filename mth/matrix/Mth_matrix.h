#pragma once

#include <cstdint>
#include <string>

#include "std/Std_export.h"

/// Dense matrix, row-major, of double (element type 0) or float (element type 1) elements, chosen at
/// allocation.
///
/// Nothing is thrown and, Convolution2D apart, nothing is shown: a failure is a status code, kept by this
/// matrix (element access, fills, assignment, files) or carried by the new, unallocated matrix that an
/// operation returns. The status is sticky: only Allocate, Desallocate and construction set it back to 0.
///
/// | status | meaning |
/// |---|---|
/// | 0 | no error |
/// | 1 | not allocated, or the allocation failed |
/// | 2 | index out of range |
/// | 3 | missing argument |
/// | 4 | sizes do not fit |
/// | 12 | file cannot be created or written |
/// | 13 | file cannot be opened |
/// | 14 | element type neither 0 nor 1, or operands of different types |
///
/// Operations that return `MTH_MATRIX*` never change their operands and give a new matrix that the caller
/// owns and deletes, also on failure; the pointer is null only when there is no memory for the matrix object
/// itself. Operands of different element types are refused, never converted. Binary operations check in this
/// order: both operands allocated (else 1), same element type (else 14), shapes (else 4).
///
/// Index (i, j) is row i, column j, from 0. A matrix may have 0 rows or columns. Rows x columns that are
/// negative, above 2^31 - 1 or beyond the memory at hand are refused with status 1 before anything is
/// allocated.
class MTH_EXPORT MTH_MATRIX {
 public:
  /// An unallocated matrix: counts -1, element type 0, status 0.
  MTH_MATRIX();
  /// Allocates rows x columns elements, as Allocate does.
  MTH_MATRIX(int rows, int columns, int type);
  /// Deep copy with status 0. From an unallocated matrix, or without memory: unallocated, status 1.
  MTH_MATRIX(const MTH_MATRIX& other);
  /// Reads a file that Save wrote. Status 13 when it cannot be opened, 1 when its header is damaged or asks
  /// for a matrix that cannot be had. In a file shorter than its header promises the missing elements are 0,
  /// as long as the promise is at most 1 GiB; beyond, it is refused with status 1 before any allocation.
  explicit MTH_MATRIX(const std::string& fileName);
  /// Releases the elements.
  ~MTH_MATRIX();

  /// Deep copy that also takes the source's status. From an unallocated source: status 3, otherwise
  /// unchanged. Without memory: unallocated, status 1.
  MTH_MATRIX& operator=(const MTH_MATRIX& other);

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
  /// Copies the first rows x columns values, row-major; further values are ignored.
  /// Null array: status 3; count too small: status 4; nothing is copied.
  void SetVector(double* values, int count);
  /// Element (i, i) = values[i] for i below count, all others 0; values beyond the diagonal are ignored.
  /// Null array: status 3, nothing changed.
  void SetDiagVector(double* values, int count);

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
  /// leave status 2. Unallocated: 0.0.
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
  /// is 0. Element type neither 0 nor 1: status 14; unallocated: status 1; negative width: status 4.
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

 private:
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

  std::int64_t ElementsCount() const { return std::int64_t{rows_} * columns_; }
  bool HasValidType() const { return type_ == 0 || type_ == 1; }
  void SetUnallocated(int type, int status);
  void CopyElements(const MTH_MATRIX& other);

  // Runs `operation` on the elements as T*, T being the element type of this allocated matrix.
  template <class Operation>
  auto OnStorage(Operation operation) const {
    return doubles_ != nullptr ? operation(doubles_) : operation(floats_);
  }
  // The storage of this allocated matrix as the element type of T.
  template <class T>
  T* Elements() const;

  static MTH_MATRIX* NewFailure(int status);
  static MTH_MATRIX* NewResult(std::int64_t rows, std::int64_t columns, int type);
  // Why a binary operation on two operands of one shape is refused; 0 when it is not.
  static int CheckOperands(const MTH_MATRIX& left, const MTH_MATRIX& right);
  template <class Operation>
  MTH_MATRIX* Combine(const MTH_MATRIX& other, Operation operation) const;
  template <class Operation>
  MTH_MATRIX* Map(Operation operation) const;
  template <class IsBetter>
  double FindExtremum(IsBetter isBetter) const;
  MTH_MATRIX* AddBorder(int rowWidth, int columnWidth) const;
  MTH_MATRIX* ConvolveFull(const MTH_MATRIX& kernel) const;

  int columns_ = -1;
  double* doubles_ = nullptr;
  mutable int status_ = 0;
  float* floats_ = nullptr;
  bool allocated_ = false;
  int rows_ = -1;
  int type_ = 0;
  alignas(double) unsigned char inline_[kInlineElements * sizeof(double)];
};
