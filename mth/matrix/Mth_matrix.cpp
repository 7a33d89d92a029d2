#include "mth/matrix/Mth_matrix.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "mth/core/Mth_storage_internal.h"
#include "mth/matrix/Mth_matrix_internal.h"

using mth_internal::Elements;
using mth_internal::ElementsCount;
using mth_internal::OnStorage;

// Storage, copies, element access and fills.

MTH_MATRIX::MTH_MATRIX() = default;

MTH_MATRIX::MTH_MATRIX(int rows, int columns, int type) {
  Allocate(rows, columns, type);
}

MTH_MATRIX::MTH_MATRIX(const MTH_MATRIX& other) {
  if (!other.allocated_) {
    SetUnallocated(-1, 1);
    return;
  }
  Allocate(other.rows_, other.columns_, other.type_);
  if (allocated_) CopyElements(other);
}

MTH_MATRIX::MTH_MATRIX(MTH_MATRIX&& other) noexcept {
  TakeStorage(other);
}

MTH_MATRIX::~MTH_MATRIX() {
  Desallocate();
}

MTH_MATRIX& MTH_MATRIX::operator=(const MTH_MATRIX& other) {
  if (this == &other) return *this;
  if (!other.allocated_) {
    status_ = 3;
    return *this;
  }
  Allocate(other.rows_, other.columns_, other.type_);
  if (!allocated_) return *this;
  CopyElements(other);
  status_ = other.status_;
  return *this;
}

MTH_MATRIX& MTH_MATRIX::operator=(MTH_MATRIX&& other) noexcept {
  if (this == &other) return *this;
  Desallocate();
  TakeStorage(other);
  return *this;
}

// This matrix has no storage to lose.
void MTH_MATRIX::TakeStorage(MTH_MATRIX& other) {
  rows_ = other.rows_;
  columns_ = other.columns_;
  type_ = other.type_;
  allocated_ = other.allocated_;
  status_ = other.status_;
  doubles_ = other.doubles_;
  floats_ = other.floats_;
  if (allocated_ && ElementsCount(*this) <= kInlineElements) {
    std::memcpy(inline_, other.inline_, sizeof inline_);
    if (doubles_ != nullptr) doubles_ = reinterpret_cast<double*>(inline_);
    if (floats_ != nullptr) floats_ = reinterpret_cast<float*>(inline_);
  }
  other.SetUnallocated(-1, 0);
}

void MTH_MATRIX::Allocate(int rows, int columns, int type) {
  Desallocate();
  if (type != 0 && type != 1) return SetUnallocated(-1, 14);
  SetUnallocated(-1, 1);
  const std::int64_t count = std::int64_t{rows} * columns;
  if (rows < 0 || columns < 0 || count > std::numeric_limits<int>::max()) return;

  const std::size_t bytes = mth_internal::StorageBytes(count, type);
  void* storage = count <= kInlineElements ? inline_ : mth_internal::AllocateStorage(bytes);
  if (storage == nullptr) return;
  if (type == 0) {
    doubles_ = static_cast<double*>(storage);
  } else {
    floats_ = static_cast<float*>(storage);
  }
  rows_ = rows;
  columns_ = columns;
  type_ = type;
  allocated_ = true;
  status_ = 0;
}

void MTH_MATRIX::Desallocate() {
  if (!allocated_) return;
  const std::int64_t count = ElementsCount(*this);
  if (count > kInlineElements) {
    void* storage = OnStorage(*this, [](auto* elements) { return static_cast<void*>(elements); });
    mth_internal::FreeStorage(storage, mth_internal::StorageBytes(count, type_));
  }
  SetUnallocated(-1, 0);
}

// Forgets the storage without releasing it.
void MTH_MATRIX::SetUnallocated(int type, int status) {
  rows_ = columns_ = -1;
  doubles_ = nullptr;
  floats_ = nullptr;
  allocated_ = false;
  type_ = type;
  status_ = status;
}

void MTH_MATRIX::CopyElements(const MTH_MATRIX& other) {
  OnStorage(*this, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    std::copy_n(Elements<T>(other), ElementsCount(*this), elements);
  });
}

void MTH_MATRIX::SetZero() {
  if (!allocated_) return;
  OnStorage(*this, [&](auto* elements) { std::fill_n(elements, ElementsCount(*this), 0); });
}

void MTH_MATRIX::SetIdentity() {
  if (!allocated_) return;
  SetZero();
  for (int i = 0; i < std::min(rows_, columns_); ++i) Store(i, i, 1.0);
}

void MTH_MATRIX::SetVector(double* values, int count) {
  if (!allocated_) return;
  if (values == nullptr) {
    status_ = 3;
    return;
  }
  if (count < ElementsCount(*this)) {
    status_ = 4;
    return;
  }
  OnStorage(*this, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    std::transform(values, values + ElementsCount(*this), elements,
                   [](double value) { return static_cast<T>(value); });
  });
}

void MTH_MATRIX::SetDiagVector(double* values, int count) {
  if (!allocated_) return;
  if (values == nullptr) {
    status_ = 3;
    return;
  }
  SetZero();
  for (int i = 0; i < std::min({rows_, columns_, count}); ++i) Store(i, i, values[i]);
}

namespace mth_internal {

MTH_MATRIX* NewFailure(int status) {
  auto* failure = new (std::nothrow) MTH_MATRIX;
  if (failure != nullptr) MatrixAccess::SetStatus(*failure, status);
  return failure;
}

MTH_MATRIX* NewResult(std::int64_t rows, std::int64_t columns, int type) {
  constexpr std::int64_t kLargest = std::numeric_limits<int>::max();
  if (rows > kLargest || columns > kLargest) return NewFailure(1);
  return new (std::nothrow) MTH_MATRIX(static_cast<int>(std::max<std::int64_t>(rows, -1)),
                                       static_cast<int>(std::max<std::int64_t>(columns, -1)), type);
}

int CheckOperands(const MTH_MATRIX& left, const MTH_MATRIX& right) {
  if (!left.IsAllocated() || !right.IsAllocated()) return 1;
  return left.GetType() == right.GetType() ? 0 : 14;
}

}  // namespace mth_internal
