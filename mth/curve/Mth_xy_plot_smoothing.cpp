#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_new_array_internal.h"
#include "mth/curve/Mth_natural_spline_internal.h"
#include "mth/curve/Mth_xy_plot.h"
#include "mth/curve/Mth_xy_plot_internal.h"

// Sliding means and splines.

namespace mth_internal {
namespace {

using CurvePtr = std::unique_ptr<MTH_XY_PLOT>;

// The sums of y over the windows around each of `count` points, whose reach shrinks towards the ends. Sums
// are carried from window to window by additions alone: a term that were subtracted again would leave its
// rounding, and an infinity a NaN.
void SumWindows(const double* y, int count, int reach, double* sums, double* tails) {
  const int shrinking = std::min(reach, (count - 1) / 2);  // windows at each end that grow by two points
  double fromFirst = 0.0;
  double fromLast = 0.0;
  for (int i = 0; i <= shrinking && i < count; ++i) {
    const int last = count - 1;
    fromFirst = i == 0 ? y[0] : fromFirst + y[2 * i - 1] + y[2 * i];
    fromLast = i == 0 ? y[last] : fromLast + y[last + 1 - 2 * i] + y[last - 2 * i];
    sums[i] = fromFirst;
    sums[last - i] = fromLast;
  }
  // Whole windows: the end of a block that is one window long, and the beginning of the next block.
  const std::int64_t length = 2 * std::int64_t{reach} + 1;
  for (std::int64_t block = 0; block + length <= count; block += length) {
    double tail = 0.0;
    for (std::int64_t i = block + length - 1; i >= block; --i) tails[i - block] = tail += y[i];
    double ahead = 0.0;
    for (std::int64_t first = block; first < block + length && first + length <= count; ++first) {
      if (first > block) ahead += y[first + length - 1];
      sums[first + reach] = tails[first - block] + ahead;
    }
  }
}

CurvePtr SlidingMean(const MTH_XY_PLOT& curve, int width) {
  const int count = curve.GetNumberOfPoints();
  const int reach = std::min((std::max(width, 1) - 1) / 2, count);
  const auto y = NewArray<double>(count);
  const auto sums = NewArray<double>(count);
  const auto tails = NewArray<double>(count);
  if (y == nullptr || sums == nullptr || tails == nullptr) return nullptr;
  for (int i = 0; i < count; ++i) y.get()[i] = curve.GetPointY(i);
  SumWindows(y.get(), count, reach, sums.get(), tails.get());
  return NewCurve(count, [&](int i) {
    const int shrunk = std::min({reach, i, count - 1 - i});
    return MTH_2D_FLOAT(curve.GetPointX(i), static_cast<float>(sums.get()[i] / (2.0 * shrunk + 1.0)));
  });
}

// Whether two curves of as many points have the same ordinates, bit for bit.
bool HaveSameOrdinates(const MTH_XY_PLOT& curve, const MTH_XY_PLOT& other) {
  for (int i = 0; i < curve.GetNumberOfPoints(); ++i) {
    if (std::bit_cast<std::uint32_t>(curve.GetPointY(i)) != std::bit_cast<std::uint32_t>(other.GetPointY(i)))
      return false;
  }
  return true;
}

// Knots of a spline: an ascending parameter and one or two ordinates.
struct Knots {
  int count = 0;
  std::unique_ptr<double[]> parameter;
  std::unique_ptr<double[]> x;
  std::unique_ptr<double[]> y;

  explicit Knots(int capacity)
      : parameter(NewArray<double>(capacity)), x(NewArray<double>(capacity)), y(NewArray<double>(capacity)) {}
  bool HasMemory() const { return parameter != nullptr && x != nullptr && y != nullptr; }
  void Add(double newParameter, double newX, double newY) {
    parameter.get()[count] = newParameter;
    x.get()[count] = newX;
    y.get()[count++] = newY;
  }
};

// One knot per finite abscissa, in ascending order, at the mean of its ordinates.
Knots KnotsByAbscissa(const MTH_XY_PLOT& curve) {
  Knots knots(curve.GetNumberOfPoints());
  const auto order = NewArray<int>(curve.GetNumberOfPoints());
  if (!knots.HasMemory() || order == nullptr) return Knots(-1);
  int* end = order.get();
  for (int i = 0; i < curve.GetNumberOfPoints(); ++i) {
    if (std::isfinite(curve.GetPointX(i))) *end++ = i;
  }
  std::sort(order.get(), end, [&](int i, int j) {
    const float x = curve.GetPointX(i);
    const float otherX = curve.GetPointX(j);
    return x < otherX || (x == otherX && i < j);
  });
  for (const int* next = order.get(); next != end;) {
    const float x = curve.GetPointX(*next);
    double sum = 0.0;
    int equals = 0;
    for (; next != end && curve.GetPointX(*next) == x; ++next, ++equals) sum += curve.GetPointY(*next);
    knots.Add(x, x, sum / equals);
  }
  return knots;
}

// One knot per finite point unlike the one before, in the curve's order, at the length of the chords so far.
Knots KnotsByChordLength(const MTH_XY_PLOT& curve) {
  Knots knots(curve.GetNumberOfPoints());
  if (!knots.HasMemory()) return knots;
  for (int i = 0; i < curve.GetNumberOfPoints(); ++i) {
    const double x = curve.GetPointX(i);
    const double y = curve.GetPointY(i);
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    if (knots.count == 0) {
      knots.Add(0.0, x, y);
      continue;
    }
    const int last = knots.count - 1;
    const double lengthSoFar = knots.parameter.get()[last];
    const double length =
        lengthSoFar + mth_internal::Hypotenuse(x - knots.x.get()[last], y - knots.y.get()[last]);
    if (length > lengthSoFar) knots.Add(length, x, y);
  }
  return knots;
}

// The curve of `factor` points per interval, point(interval, share), and the last knot.
template <class Point>
CurvePtr SampleIntervals(int knotsCount, int factor, Point point) {
  const std::int64_t count = knotsCount == 0 ? 0 : std::int64_t{knotsCount - 1} * factor + 1;
  if (count > std::numeric_limits<int>::max()) return nullptr;
  return NewCurve(static_cast<int>(count), [&](int sample) {
    if (knotsCount == 1) return point(0, 0.0);
    const int interval = std::min(sample / factor, knotsCount - 2);
    return point(interval, static_cast<double>(sample - interval * factor) / factor);
  });
}

// Exact at both ends, and never outside them.
double LinearBetween(double first, double last, double share) {
  return (1.0 - share) * first + share * last;
}

CurvePtr CubicSpline(const MTH_XY_PLOT& curve, int factor) {
  const Knots knots = KnotsByAbscissa(curve);
  if (!knots.HasMemory()) return nullptr;
  const auto spline = NaturalSpline::Make(knots.parameter.get(), knots.y.get(), knots.count);
  if (spline == nullptr) return nullptr;
  return SampleIntervals(
      knots.count, std::max(factor, 1), [&, x = knots.x.get()](int interval, double share) {
        const int next = share == 0.0 ? interval : interval + 1;  // a lone knot has no neighbour
        return MTH_2D_FLOAT(static_cast<float>(LinearBetween(x[interval], x[next], share)),
                            static_cast<float>(spline->ValueInInterval(interval, share)));
      });
}

}  // namespace
}  // namespace mth_internal

using namespace mth_internal;

MTH_XY_PLOT* MTH_XY_PLOT::GetSlidingMean(int width) const {
  return SlidingMean(*this, width).release();
}

MTH_XY_PLOT* MTH_XY_PLOT::DotSmoothFunction(int width, int passes) const {
  constexpr double kWorkPerPoint = 16.0;
  CurvePtr smoothed = SlidingMean(*this, 1);
  LongIteration run;
  for (int pass = 0; smoothed != nullptr && pass < passes; ++pass) {
    if (run.IsGivenUp(kWorkPerPoint * GetNumberOfPoints())) return nullptr;
    CurvePtr next = SlidingMean(*smoothed, width);
    const bool isStill = next != nullptr && HaveSameOrdinates(*smoothed, *next);
    smoothed = std::move(next);
    if (isStill) break;  // no further pass would change anything either
  }
  return smoothed.release();
}

MTH_XY_PLOT* MTH_XY_PLOT::GetCubicSpline(int factor) const {
  return CubicSpline(*this, factor).release();
}

MTH_XY_PLOT* MTH_XY_PLOT::DotSpline(int width, int factor) const {
  if (width > GetNumberOfPoints()) {
    mth_internal::ShowInformation("Nombre de points de lissage sup. que de points de la fonction d'entrée");
    return nullptr;
  }
  const CurvePtr smoothed = SlidingMean(*this, width);
  return smoothed != nullptr ? CubicSpline(*smoothed, factor).release() : nullptr;
}

float MTH_XY_PLOT::DotSplinePoint(float x) const {
  float y = 0.0f;
  DotSplinePoint(&x, &y, 1);
  return y;
}

bool MTH_XY_PLOT::DotSplinePoint(const float* x, float* y, int count) const {
  if (x == nullptr || y == nullptr) return false;
  const Knots knots = KnotsByAbscissa(*this);
  if (!knots.HasMemory()) return false;
  const auto spline = NaturalSpline::Make(knots.parameter.get(), knots.y.get(), knots.count);
  if (spline == nullptr) return false;
  for (int i = 0; i < count; ++i) {
    y[i] = knots.count > 0 ? static_cast<float>(spline->Value(x[i])) : 0.0f;
  }
  return true;
}

MTH_XY_PLOT* MTH_XY_PLOT::GetDotSplineXY() const {
  constexpr int kSamplesPerInterval = 10;
  const Knots knots = KnotsByChordLength(*this);
  if (!knots.HasMemory()) return nullptr;
  const auto xSpline = NaturalSpline::Make(knots.parameter.get(), knots.x.get(), knots.count);
  const auto ySpline = NaturalSpline::Make(knots.parameter.get(), knots.y.get(), knots.count);
  if (xSpline == nullptr || ySpline == nullptr) return nullptr;
  return SampleIntervals(knots.count, kSamplesPerInterval,
                         [&](int interval, double share) {
                           return MTH_2D_FLOAT(static_cast<float>(xSpline->ValueInInterval(interval, share)),
                                               static_cast<float>(ySpline->ValueInInterval(interval, share)));
                         })
      .release();
}
