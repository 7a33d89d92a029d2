#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "call.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

/// NumPy's arrays and the library's storage: what goes in is borrowed where its layout allows it, what comes
/// out owns the library's memory.
namespace mth_python {

namespace py = pybind11;

constexpr int kContiguous =
    int{py::array::c_style} | int{py::array::forcecast} | int{py::detail::npy_api::NPY_ARRAY_ALIGNED_};

/// Contiguous numbers of one type in C order and in the machine's byte order.
template <class T>
using Array = py::array_t<T, kContiguous>;

/// @return  what NumPy takes the value for, with its exception otherwise; a ValueError for an array with
///          masked elements, whose numbers mean nothing.
py::array AnyArray(const py::handle& value);
/// @return  the value as an array of real numbers of any type and layout; a TypeError names the argument
///          otherwise.
py::array RealArray(const py::handle& value, const char* name);
/// Whether the elements are floats of 32 bits.
bool IsFloat(const py::array& array);
/// Shape as Python writes it, such as "(3, 4)".
std::string ShapeText(const py::array& array);

/// @return  the array itself if it has this type and layout, otherwise a converted copy; throws what NumPy
///          does.
template <class T>
Array<T> Contiguous(const py::array& array) {
  return InInterpreter([&] { return Array<T>(static_cast<const py::object&>(array)); });
}
/// The same from anything; the dimensions are checked when they are not negative.
template <class T>
Array<T> Numbers(const py::handle& value, const char* name, int dimensions = -1);
extern template Array<double> Numbers<double>(const py::handle&, const char*, int);
extern template Array<float> Numbers<float>(const py::handle&, const char*, int);

/// A ValueError unless all are finite.
void RequireFinite(const Array<double>& array, const char* name);
/// A ValueError if one is NaN.
void RequireNumbers(const Array<double>& array, const char* name);
/// A new array of the same shape.
Array<double> NewLike(const py::array& array);
/// As NumPy gives results: an array without dimensions as its number.
py::object Returned(const py::array& array);
/// A ValueError that says what is wrong.
[[noreturn]] void ThrowValueError(const std::string& text);
/// A size as the library's int; a ValueError beyond it.
int ToInt(py::ssize_t size, const char* name);

/// A two-dimensional array as a matrix of the library, borrowed without a copy from a contiguous array of
/// double or float. The numbers stay float only if all the operands of an operation are.
class Operand {
 public:
  /// @param isColumn  takes a one-dimensional array as a column.
  Operand(const py::array& array, bool isFloat, const char* name, bool isColumn = false);

  int Rows() const { return rows_; }
  int Columns() const { return columns_; }
  const MTH_MATRIX& operator*() const { return **matrix_; }
  const MTH_MATRIX* operator->() const { return &**matrix_; }
  MTH_MATRIX* Get() { return matrix_->Get(); }
  void RequireSquare(const char* name) const;

 private:
  py::array owner_;
  int rows_ = 0;
  int columns_ = 0;
  std::optional<mth_internal::BorrowedMatrix> matrix_;
};

/// An array of a shape over memory of the library's, which it deletes at its end.
template <class T>
py::array FromNew(std::unique_ptr<T[]> values, std::vector<py::ssize_t> shape) {
  const py::capsule owner(values.get(), [](void* memory) { delete[] static_cast<T*>(memory); });
  return py::array(py::dtype::of<T>(), std::move(shape), values.release(), owner);
}
/// The same from a vector.
template <class T>
py::array FromVector(std::vector<T> values, std::vector<py::ssize_t> shape) {
  auto* const kept = new std::vector<T>(std::move(values));
  const py::capsule owner(kept, [](void* memory) { delete static_cast<std::vector<T>*>(memory); });
  return py::array(py::dtype::of<T>(), std::move(shape), kept->data(), owner);
}
/// The elements of an allocated matrix, which the array takes over.
py::array FromMatrix(std::unique_ptr<MTH_MATRIX> matrix);
/// The same as a vector of all elements.
py::array FromMatrixFlat(std::unique_ptr<MTH_MATRIX> matrix);

/// The functions of each subject.
void DefineBoosting(py::module_& module);
void DefineClustering(py::module_& module);
void DefineCohort(py::module_& module);
void DefineGeometry(py::module_& module);
void DefineImage(py::module_& module);
void DefineLinalg(py::module_& module);
void DefineOptimise(py::module_& module);
void DefineStatistics(py::module_& module);
void DefineTissue(py::module_& module);

}  // namespace mth_python
