#include "mth/curve/Mth_xy_plot.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

// Points of the curve and their extrema.

MTH_XY_PLOT::MTH_XY_PLOT(MTH_XY_PLOT* other) {
  if (other != nullptr) *this = *other;
}

MTH_XY_PLOT::MTH_XY_PLOT(const MTH_XY_PLOT& other) {
  *this = other;
}

MTH_XY_PLOT::~MTH_XY_PLOT() {
  ClearData();
}

MTH_XY_PLOT& MTH_XY_PLOT::operator=(const MTH_XY_PLOT& other) {
  if (this == &other) return *this;
  MTH_XY_PLOT copy;
  for (const MTH_2D_FLOAT* point : other.points_) {
    if (!copy.AddPoint(point->GetX(), point->GetY())) return *this;
  }
  return *this = std::move(copy);
}

MTH_XY_PLOT::MTH_XY_PLOT(MTH_XY_PLOT&& other) noexcept {
  *this = std::move(other);
}

MTH_XY_PLOT& MTH_XY_PLOT::operator=(MTH_XY_PLOT&& other) noexcept {
  if (this == &other) return *this;
  ClearData();
  std::swap(points_, other.points_);
  std::swap(blocks_, other.blocks_);
  nextPlace_ = std::exchange(other.nextPlace_, nullptr);
  freePlaces_ = std::exchange(other.freePlaces_, 0);
  lowerLimit_ = std::exchange(other.lowerLimit_, 0.0);
  upperLimit_ = std::exchange(other.upperLimit_, 0.0);
  return *this;
}

bool MTH_XY_PLOT::AddPlaces(int count) {
  std::unique_ptr<MTH_2D_FLOAT[]> block(new (std::nothrow) MTH_2D_FLOAT[static_cast<std::size_t>(count)]);
  if (block == nullptr) return false;
  try {
    blocks_.push_back(std::move(block));
  } catch (const std::bad_alloc&) {
    return false;
  }
  nextPlace_ = blocks_.back().get();
  freePlaces_ = count;
  return true;
}

bool MTH_XY_PLOT::AddPoint(MTH_2D_FLOAT* point) {
  return point != nullptr && AddPoint(point->GetX(), point->GetY());
}

bool MTH_XY_PLOT::AddPoint(float x, float y) {
  constexpr int kFirstPlaces = 8;
  // As many as there are: a point of its own would cost an allocation, many times the point.
  if (freePlaces_ == 0 && !AddPlaces(std::max(GetNumberOfPoints(), kFirstPlaces))) return false;
  if (points_.Add(nextPlace_) < 0) return false;
  nextPlace_++->Set2DCoord(x, y);
  --freePlaces_;
  return true;
}

bool MTH_XY_PLOT::AddPoint(int index, float x, float y) {
  return index == GetNumberOfPoints() && AddPoint(x, y);
}

bool MTH_XY_PLOT::AddPoint(int index, MTH_2D_FLOAT* point) {
  return index == GetNumberOfPoints() && AddPoint(point);
}

bool MTH_XY_PLOT::DeletePoint(int /*index*/) {
  return false;
}

bool MTH_XY_PLOT::ClearData() {
  points_.Clear();
  blocks_.clear();
  nextPlace_ = nullptr;
  freePlaces_ = 0;
  return true;
}

int MTH_XY_PLOT::GetNumberOfPoints() const {
  return points_.GetCount();
}

bool MTH_XY_PLOT::GetPoint(int i, MTH_2D_FLOAT& p) const {
  const MTH_2D_FLOAT* point = points_.Get(i);
  p = point != nullptr ? *point : MTH_2D_FLOAT();
  return point != nullptr;
}

float MTH_XY_PLOT::GetPointX(int i) const {
  const MTH_2D_FLOAT* point = points_.Get(i);
  return point != nullptr ? point->GetX() : 0.0f;
}

float MTH_XY_PLOT::GetPointY(int i) const {
  const MTH_2D_FLOAT* point = points_.Get(i);
  return point != nullptr ? point->GetY() : 0.0f;
}

double MTH_XY_PLOT::GetYMax() const {
  return GetPointY(GetYMaxIndex());
}

double MTH_XY_PLOT::GetYMin() const {
  float smallest = GetPointY(0);
  for (const MTH_2D_FLOAT* point : points_) smallest = point->GetY() < smallest ? point->GetY() : smallest;
  return smallest;
}

int MTH_XY_PLOT::GetXMax() const {
  return GetYMaxIndex();
}

int MTH_XY_PLOT::GetYMaxIndex() const {
  int index = 0;
  for (int i = 1; i < GetNumberOfPoints(); ++i) {
    if (GetPointY(i) >= GetPointY(index)) index = i;
  }
  return index;
}
