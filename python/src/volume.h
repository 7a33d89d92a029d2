#pragma once

#include <array>

#include "arrays.h"

namespace mth_python {

inline void RequireSameShape(const py::array& array, const py::array& other, const char* name) {
  if (!array.attr("shape").equal(other.attr("shape")))
    ThrowValueError(std::string(name) + " has the shape " + ShapeText(array) + ", the image " +
                    ShapeText(other));
}

/// An array of one to three axes as the library's volume: its first axis is x, whose voxels are neighbours in
/// memory. An array in Fortran order goes in as it is, any other as one copy, so that the order in memory
/// never changes a result.
template <class T>
class Volume {
 public:
  Volume(const py::array& array, const char* name) {
    if (array.ndim() < 1 || array.ndim() > 3)
      ThrowValueError(std::string(name) + " has " + std::to_string(array.ndim()) + " dimensions, not 1 to 3");
    constexpr int kFlags =
        int{py::array::f_style} | int{py::array::forcecast} | int{py::detail::npy_api::NPY_ARRAY_ALIGNED_};
    array_ = InInterpreter([&] { return py::array_t<T, kFlags>(static_cast<const py::object&>(array)); });
    for (py::ssize_t axis = 0; axis < array.ndim(); ++axis)
      size_[static_cast<std::size_t>(axis)] = ToInt(array.shape(axis), name);
  }
  /// A new one of an array's shape, not initialised.
  explicit Volume(const py::array& like)
      : Volume(py::array_t<T, py::array::f_style>(
                   std::vector<py::ssize_t>(like.shape(), like.shape() + like.ndim())),
               "image") {}

  const T* Data() const { return static_cast<const T*>(array_.data()); }
  T* MutableData() { return static_cast<T*>(array_.mutable_data()); }
  const py::array& GetArray() const { return array_; }
  const std::array<int, 3>& Size() const { return size_; }

 private:
  py::array array_;
  std::array<int, 3> size_{1, 1, 1};
};

}  // namespace mth_python
