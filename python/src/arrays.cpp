#include "arrays.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mth_python {
namespace {

constexpr py::ssize_t kLargest = std::numeric_limits<int>::max();

template <class T>
py::array TakeElements(std::unique_ptr<MTH_MATRIX> matrix, const T* elements,
                       std::vector<py::ssize_t> shape) {
  static const T none = 0;
  MTH_MATRIX* const kept = matrix.release();
  const py::capsule owner(kept, [](void* memory) { delete static_cast<MTH_MATRIX*>(memory); });
  return py::array(py::dtype::of<T>(), std::move(shape), elements != nullptr ? elements : &none, owner);
}

py::array TakeMatrix(std::unique_ptr<MTH_MATRIX> matrix, std::vector<py::ssize_t> shape) {
  const MTH_MATRIX& elements = *matrix;
  if (elements.GetType() == 0)
    return TakeElements(std::move(matrix), elements.GetEDataAddress(), std::move(shape));
  return TakeElements(std::move(matrix), elements.GetFDataAddress(), std::move(shape));
}

}  // namespace

void ThrowValueError(const std::string& text) {
  throw py::value_error(text);
}

std::string ShapeText(const py::array& array) {
  return py::str(py::tuple(array.attr("shape")));
}

py::array AnyArray(const py::handle& value) {
  const auto& numpy = py::detail::npy_api::get();
  const bool isOfSubclass = numpy.PyArray_Check_(value.ptr()) && Py_TYPE(value.ptr()) != numpy.PyArray_Type_;
  if (isOfSubclass && py::module_::import("numpy.ma").attr("is_masked")(value).cast<bool>())
    ThrowValueError("an array has masked elements: fill them, or leave them out");
  return py::array(py::reinterpret_borrow<py::object>(value));
}

py::array RealArray(const py::handle& value, const char* name) {
  py::array array = AnyArray(value);
  const char kind = array.dtype().kind();
  if (kind != 'f' && kind != 'i' && kind != 'u' && kind != 'b')
    throw py::type_error(std::string(name) + " has elements of type " + std::string(py::str(array.dtype())) +
                         ", not real numbers");
  return array;
}

bool IsFloat(const py::array& array) {
  return array.dtype().kind() == 'f' && array.itemsize() == sizeof(float);
}

template <class T>
Array<T> Numbers(const py::handle& value, const char* name, int dimensions) {
  const py::array array = RealArray(value, name);
  if (dimensions >= 0 && array.ndim() != dimensions)
    ThrowValueError(std::string(name) + " has " + std::to_string(array.ndim()) + " dimensions, not " +
                    std::to_string(dimensions));
  return Contiguous<T>(array);
}
template Array<double> Numbers<double>(const py::handle&, const char*, int);
template Array<float> Numbers<float>(const py::handle&, const char*, int);

void RequireFinite(const Array<double>& array, const char* name) {
  if (!mth_internal::AreFinite(array.data(), array.size()))
    ThrowValueError(std::string(name) + " has values that are NaN or infinite");
}

void RequireNumbers(const Array<double>& array, const char* name) {
  const double* const end = array.data() + array.size();
  if (std::any_of(array.data(), end, [](double value) { return std::isnan(value); }))
    ThrowValueError(std::string(name) + " has values that are NaN");
}

Array<double> NewLike(const py::array& array) {
  return Array<double>(std::vector<py::ssize_t>(array.shape(), array.shape() + array.ndim()));
}

py::object Returned(const py::array& array) {
  if (array.ndim() > 0) return array;
  return array[py::tuple()];
}

int ToInt(py::ssize_t size, const char* name) {
  if (size > kLargest || size < -kLargest) ThrowValueError(std::string(name) + " is too large");
  return static_cast<int>(size);
}

Operand::Operand(const py::array& array, bool isFloat, const char* name, bool isColumn) {
  const bool isVector = isColumn && array.ndim() == 1;
  if (array.ndim() != 2 && !isVector)
    ThrowValueError(std::string(name) + " has the shape " + ShapeText(array) + ", where a matrix is needed");
  const py::ssize_t columns = isVector ? 1 : array.shape(1);
  rows_ = ToInt(array.shape(0), name);
  columns_ = ToInt(columns, name);
  ToInt(array.shape(0) * columns, name);
  if (isFloat) {
    Array<float> elements = Contiguous<float>(array);
    matrix_.emplace(elements.data(), rows_, columns_);
    owner_ = std::move(elements);
  } else {
    Array<double> elements = Contiguous<double>(array);
    matrix_.emplace(elements.data(), rows_, columns_);
    owner_ = std::move(elements);
  }
}

void Operand::RequireSquare(const char* name) const {
  if (rows_ != columns_)
    ThrowValueError(std::string(name) + " has " + std::to_string(rows_) + " rows and " +
                    std::to_string(columns_) + " columns, where a square matrix is needed");
}

py::array FromMatrix(std::unique_ptr<MTH_MATRIX> matrix) {
  const py::ssize_t rows = matrix->GetNbRows();
  const py::ssize_t columns = matrix->GetNbCols();
  return TakeMatrix(std::move(matrix), {rows, columns});
}

py::array FromMatrixFlat(std::unique_ptr<MTH_MATRIX> matrix) {
  const py::ssize_t count = py::ssize_t{matrix->GetNbRows()} * matrix->GetNbCols();
  return TakeMatrix(std::move(matrix), {count});
}

}  // namespace mth_python
