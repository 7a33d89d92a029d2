#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

#include "mth/Mth_pointer_list.h"
#include "mth/value/Mth_2d_float.h"
#include "std/Std_export.h"

/// A sampled curve: points (x, y) in single precision, in the order in which they were added.
///
/// Measures take the points in that order; only GetIntegral, the medians and the splines through abscissae
/// sort, and of these only GetYMediane reorders the curve itself. New curves belong to the caller; they are
/// null when memory runs out. An index outside the curve, negative ones included, reads as the point (0, 0).
/// Measures of an empty curve are 0, and so are those that find no memory; where nothing else is said nothing
/// is checked, and floating-point arithmetic decides.
class MTH_EXPORT MTH_XY_PLOT {
  // The type of NULL where it is wider than int: an ordinate of that type is converted as a float would be.
  template <class T>
  static constexpr bool kMayBeNull = std::is_same_v<T, std::intptr_t> && !std::is_same_v<T, int>;

 public:
  /// An empty curve.
  MTH_XY_PLOT() = default;
  /// A copy of the other curve's points; null gives an empty curve, and so does want of memory.
  explicit MTH_XY_PLOT(MTH_XY_PLOT* other);
  /// @copydoc MTH_XY_PLOT(MTH_XY_PLOT*)
  MTH_XY_PLOT(const MTH_XY_PLOT& other);
  /// Frees the points.
  ~MTH_XY_PLOT();
  /// Replaces the points by copies of the other curve's, and the limits of the width by 0. Without memory the
  /// curve stays as it was.
  MTH_XY_PLOT& operator=(const MTH_XY_PLOT& other);
  /// Takes over the other curve's points, which keep their addresses, and its limits; the other one is empty
  /// then. A curve moved into itself stays as it was.
  MTH_XY_PLOT(MTH_XY_PLOT&& other) noexcept;
  /// @copydoc MTH_XY_PLOT(MTH_XY_PLOT&&)
  MTH_XY_PLOT& operator=(MTH_XY_PLOT&& other) noexcept;

  /// Appends a copy of the point. @return  false when it is null or memory runs out.
  bool AddPoint(MTH_2D_FLOAT* point);
  /// Appends a point. @return  false when memory runs out.
  bool AddPoint(float x, float y);
  /// Appends a point of coordinates of any number type: without this form a 0 would be taken for a null
  /// point. NULL is a null point, which is refused.
  template <class X, class Y>
  requires(std::is_arithmetic_v<X>&& std::is_arithmetic_v<Y> && !kMayBeNull<Y>) bool AddPoint(X x, Y y) {
    return AddPoint(static_cast<float>(x), static_cast<float>(y));
  }
  /// Adds a point at index = number of points. Intended: every index inside the curve is refused, like those
  /// beyond its end. @return  whether the point was added.
  bool AddPoint(int index, float x, float y);
  /// @copydoc AddPoint(int,float,float)
  bool AddPoint(int index, MTH_2D_FLOAT* point);
  /// Intended: an index inside the curve is refused; and as there is nothing to delete elsewhere, nothing
  /// ever is. @return  false.
  bool DeletePoint(int index);
  /// Frees every point. @return  true.
  bool ClearData();

  /// Number of points.
  int GetNumberOfPoints() const;
  /// Copies point i into p; (0, 0) and false when there is none.
  bool GetPoint(int i, MTH_2D_FLOAT& p) const;
  /// A coordinate of point i; 0 when there is none.
  float GetPointX(int i) const;
  /// @copydoc GetPointX
  float GetPointY(int i) const;

  /// New curve of as many points: central differences (y[i+1] - y[i-1]) / (x[i+1] - x[i-1]), and 0 at both
  /// ends. The largest single-precision value, 3.4028235e38, marks a slope over less than 1e-5.
  /// @return  null, after "La fonction GetFirstDerivative nécessite plus de 3 points!" (kind error), for
  ///          fewer than 3 points.
  [[nodiscard]] MTH_XY_PLOT* GetFirstDerivative() const;
  /// As GetFirstDerivative, with the difference of the abscissae rounded to single precision.
  [[nodiscard]] MTH_XY_PLOT* GetFirstDerivative_NoSort() const;
  /// First derivative of the first derivative, whose marks count as ordinary values; null as that one.
  [[nodiscard]] MTH_XY_PLOT* GetSecondDerivative() const;
  /// @copydoc GetSecondDerivative
  [[nodiscard]] MTH_XY_PLOT* GetSecondDerivative_NoSort() const;
  /// Root of the sum of the squares of the first derivative, summed in single precision; 0, after the
  /// message, for fewer than 3 points.
  double GetFirstDerivativeNorm() const;

  /// Over the points in descending order of x (closer than 0.0005: as added), the sum of
  /// (y[i] + y[i+1]) x[i] / 2 in single precision; 0 for fewer than 2 points. Intended: the trapezoids are
  /// weighted by an abscissa, not by a width.
  float GetIntegral() const;
  /// Trapezoids of unit width plus, intended, half of the last value: half of the sum of all y and of the sum
  /// of all but the first.
  double GetSimpleIntegral() const;
  /// Half of the sum of y[i] over start <= i <= end and of y[i+1] over start <= i < end; values outside the
  /// curve are 0. With an end between two indices these are trapezoids of unit width up to the next one; a
  /// whole end adds half of y[end] to those up to it, intended as above.
  double GetSimpleIntegral(int start, float end) const;

  /// Largest and smallest y.
  double GetYMax() const;
  /// @copydoc GetYMax
  double GetYMin() const;
  /// Index of the largest y, the last of equal ones.
  int GetXMax() const;
  /// @copydoc GetXMax
  int GetYMaxIndex() const;

  /// Mth_Mean of a coordinate.
  double GetXMean() const;
  /// @copydoc GetXMean
  double GetYMean() const;
  /// Mth_StdDeviation of a coordinate.
  double GetXStandardDeviation() const;
  /// @copydoc GetXStandardDeviation
  double GetYStandardDeviation() const;
  /// Standard deviation divided by mean; of a mean of 0 an infinity or NaN, NaN too for an empty curve.
  double GetXVariationCoef() const;
  /// @copydoc GetXVariationCoef
  double GetYVariationCoef() const;
  /// Median x, the mean of the two middle ones for an even count. Abscissae closer than 0.0005 count as
  /// equal.
  float GetXMediane() const;
  /// Median y, by the rule of GetXMediane. Intended: leaves the points in descending order of y.
  float GetYMediane();

  /// Spearman's rank correlation of x and y, rs of Mth_CorrelationRatioOfSpearman; NaN for a single point.
  double GetXYCorrelation() const;
  /// Least-squares line. @return  false, and a line of 0, without points or memory.
  bool GetLinearRegressionParameters(float& slope, float& intercept) const;
  /// New curve: the least-squares line at the curve's abscissae.
  [[nodiscard]] MTH_XY_PLOT* GetLinearRegression() const;
  /// Sum of (x - y)^2 / y over the points with |y| >= 0.001: x observed, y expected. In single precision.
  float GetChi2() const;
  /// Sum of (y - y of the model)^2 / y of the model over the points that both have and whose model is at
  /// least 0.001 in magnitude, in single precision; 0 for a null model.
  float GetChi2(MTH_XY_PLOT* model) const;
  /// Sum of (y - y of the model)^2 over the points that both have, in single precision, not divided by their
  /// number; 0 for a null model.
  float GetMeanSquared(MTH_XY_PLOT* model) const;

  /// Full width at half maximum of a peak that rises from a, as a rule 0, to b, as a rule GetYMax(). The
  /// level is (a + b) / 2 without its fraction, so that a curve up to 1 must be scaled first; the limits are
  /// the abscissae of the first point above it and of the first one from there on below it, of point 0 where
  /// there is none: no more exact than the points are dense, for which GetCubicSpline is an answer. Unless
  /// these points are neighbours, fewer than 5 points from one to the other ask for a second search with the
  /// y of the latter as a; its width, if not 0, is taken. A search that would repeat an earlier one gives 0.
  /// @return  the upper limit minus the lower one.
  double GetFWHM(double a, double b);
  /// Limits of the last GetFWHM; 0 before.
  double GetFWHMLower_limit() const { return lowerLimit_; }
  /// @copydoc GetFWHMLower_limit
  double GetFWHMUpper_limit() const { return upperLimit_; }

  /// New curve: each y replaced by the mean of the `width` points around it (an even width counts as the odd
  /// one below); the window shrinks symmetrically towards the ends, whose points stay.
  [[nodiscard]] MTH_XY_PLOT* GetSlidingMean(int width) const;
  /// New curve: the sliding mean, `passes` times over. Passes that would change nothing more are left out.
  /// @return  null when the host gives up the run.
  [[nodiscard]] MTH_XY_PLOT* DotSmoothFunction(int width, int passes) const;
  /// New curve: the natural cubic spline through the points in ascending order of x, with `factor` samples
  /// per interval (at least 1), exact at the points. Points of one abscissa count as their mean, those of a
  /// NaN or infinite one not at all.
  /// @return  null when the samples would be more than 2^31 - 1.
  /// @see     Press et al. or any text on numerical analysis: the tridiagonal system of second derivatives.
  [[nodiscard]] MTH_XY_PLOT* GetCubicSpline(int factor) const;
  /// New curve: the cubic spline through the sliding mean.
  /// @return  null, after "Nombre de points de lissage sup. que de points de la fonction d'entrée", when the
  ///          width exceeds the number of points.
  [[nodiscard]] MTH_XY_PLOT* DotSpline(int width, int factor) const;
  /// The value of DotSplinePoint(float) at each of count abscissae, the same bits as one by one; the curve is
  /// sorted and its spline found once.
  /// @param y  receives count values; may be x.
  /// @return   false, with nothing written, for null arrays or without memory.
  bool DotSplinePoint(const float* x, float* y, int count) const;
  /// Value at x of the natural cubic spline of GetCubicSpline; beyond the curve it goes on as a line. 0
  /// without points or memory.
  float DotSplinePoint(float x) const;
  /// New curve: the natural cubic splines of x and of y over the chord length through the points in their own
  /// order, for curves that turn back; 10 samples per interval, exact at the points. A point that repeats
  /// the one before (or lies too near for the length so far to grow), or has a coordinate that is not finite,
  /// is left out.
  [[nodiscard]] MTH_XY_PLOT* GetDotSplineXY() const;

 private:
  using Coordinate = float (MTH_2D_FLOAT::*)() const;

  bool AddPlaces(int count);
  std::unique_ptr<double[]> Values(Coordinate coordinate) const;
  int CommonCount(const MTH_XY_PLOT* model) const;

  MTH_POINTER_LIST<MTH_2D_FLOAT> points_;
  std::vector<std::unique_ptr<MTH_2D_FLOAT[]>> blocks_;  // where the points are
  MTH_2D_FLOAT* nextPlace_ = nullptr;
  int freePlaces_ = 0;
  double lowerLimit_ = 0.0;
  double upperLimit_ = 0.0;
};
