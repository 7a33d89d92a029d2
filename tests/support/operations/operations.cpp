#include "support/operations/operations.h"

#include <algorithm>
#include <cstring>

namespace mth_test {
namespace {

constexpr std::uint64_t kNaNBits =
    0x7ff8000000000000u;  // counts for every NaN: sign and payload are nobody's

// Bits, not comparisons: a host's flags may let the compiler take it that there is no NaN.
template <class Bits, class Float>
Bits BitsOf(Float value) {
  static_assert(sizeof(Bits) == sizeof(Float));
  Bits bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

}  // namespace

void Trial::CountBits(std::uint64_t bits) {
  // The 64-bit hash of Fowler, Noll and Vo, by bytes from the lowest one on.
  for (int shift = 0; shift < 64; shift += 8) {
    hash_ ^= (bits >> shift) & 0xffu;
    hash_ *= 0x100000001b3u;
  }
}

void Trial::Count(double value) {
  const auto bits = BitsOf<std::uint64_t>(value);
  const bool isNaN = (bits & 0x7fffffffffffffffu) > 0x7ff0000000000000u;
  notFinite_ += (bits & 0x7ff0000000000000u) == 0x7ff0000000000000u ? 1 : 0;
  CountBits(isNaN ? kNaNBits : bits);
}

void Trial::Count(float value) {
  const auto bits = BitsOf<std::uint32_t>(value);
  const bool isNaN = (bits & 0x7fffffffu) > 0x7f800000u;
  notFinite_ += (bits & 0x7f800000u) == 0x7f800000u ? 1 : 0;
  CountBits(isNaN ? kNaNBits : bits);
}

void Trial::Count(const std::string& text) {
  Count(text.size());
  for (const char c : text) Count(static_cast<unsigned char>(c));
}

void Trial::Count(const MTH_MATRIX& matrix) {
  CountAll(matrix.IsAllocated(), matrix.GetNbRows(), matrix.GetNbCols(), matrix.GetType(),
           matrix.GetStatusError());
  if (!matrix.IsAllocated()) return;
  const std::ptrdiff_t count = std::ptrdiff_t{matrix.GetNbRows()} * matrix.GetNbCols();
  if (matrix.GetType() == 0) {
    Count(matrix.GetEDataAddress(), count);
  } else {
    Count(matrix.GetFDataAddress(), count);
  }
}

void Trial::Count(const MTH_COMPLEX& value) {
  CountAll(value.getReal(), value.getImag());
}

void Trial::Count(const MTH_XY_PLOT& curve) {
  Count(curve.GetNumberOfPoints());
  for (int i = 0; i < curve.GetNumberOfPoints(); ++i) CountAll(curve.GetPointX(i), curve.GetPointY(i));
}

void Trial::Count(const MTH_CLUSTERING_SAMPLE& sample) {
  CountAll(sample.GetParametersCount(), sample.GetMembershipsCount(), sample.GetLabel());
  for (int i = 0; i < sample.GetParametersCount(); ++i) Count(sample.GetParameter(i));
  for (int i = 0; i < sample.GetMembershipsCount(); ++i) Count(sample.GetMembership(i));
}

void Trial::Count(const MTH_CLUSTERING_TREE& tree) {
  CountAll(tree.GetLowerBound(), tree.GetUpperBound(), tree.GetFeature(), tree.GetDepth());
  Count(static_cast<const MTH_CLUSTERING_TREE*>(tree.GetParent()));
}

// Steele, Lea and Flood's generator (OOPSLA 2014).
double Numbers::operator()() {
  state_ += 0x9e3779b97f4a7c15u;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  z ^= z >> 31;
  return static_cast<double>(static_cast<std::int64_t>(z >> 11) - (std::int64_t{1} << 52)) * 0x1p-52;
}

std::vector<double> Values(int count, unsigned seed, double low, double high) {
  Numbers numbers(seed);
  std::vector<double> values(static_cast<std::size_t>(count));
  for (double& value : values) {
    const double scaled = (high - low) * numbers.Positive();
    value = low + scaled;
  }
  return values;
}

std::vector<float> FloatValues(int count, unsigned seed, double low, double high) {
  const auto values = Values(count, seed, low, high);
  std::vector<float> rounded(values.size());
  std::transform(values.begin(), values.end(), rounded.begin(),
                 [](double v) { return static_cast<float>(v); });
  return rounded;
}

MTH_MATRIX Matrix(int rows, int columns, int type, unsigned seed, double low, double high) {
  const auto values = Values(rows * columns, seed, low, high);
  MTH_MATRIX matrix(rows, columns, type);
  auto next = values.begin();
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < columns; ++j) matrix.Set(i, j, *next++);
  }
  return matrix;
}

std::vector<MTH_3D_DOUBLE> Points(int count, unsigned seed) {
  const auto values = Values(3 * count, seed, -50.0, 50.0);
  std::vector<MTH_3D_DOUBLE> points;
  for (std::size_t i = 0; i < values.size(); i += 3)
    points.emplace_back(values[i], values[i + 1], values[i + 2]);
  return points;
}

std::string Shape(int rows, int columns) {
  return std::to_string(rows) + "x" + std::to_string(columns);
}

Operations AllOperations() {
  Operations operations;
  for (const auto add :
       {AddValueOperations, AddMatrixOperations, AddDecompositionOperations, AddStatisticsOperations,
        AddImageOperations, AddWaveletOperations, AddDenoisingOperations, AddTissueOperations,
        AddCurveOperations, AddCostOperations, AddMinimiserOperations, AddGeometryOperations,
        AddClusteringOperations, AddEvidentialOperations, AddBoostingOperations}) {
    add(operations);
  }
  std::sort(operations.begin(), operations.end(),
            [](const Operation& a, const Operation& b) { return a.name < b.name; });
  return operations;
}

}  // namespace mth_test
