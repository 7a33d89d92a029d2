// Curves of any points in any order of operations, and profiles read from any bytes.

#include <algorithm>

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

void TryCurve(Input& input) {
  MTH_XY_PLOT curve;
  const bool isModerate = input.Byte() < 128;
  const auto draw = isModerate ? &Input::Moderate : &Input::Any;
  for (int i = input.Size(0, 40); i > 0; --i) {
    const auto x = static_cast<float>((input.*draw)());
    curve.AddPoint(x, static_cast<float>((input.*draw)()));
  }
  const int points = curve.GetNumberOfPoints();
  const int width = input.Size(-2, 50);
  const int factor = input.Size(-1, 5);
  for (MTH_XY_PLOT* made :
       {curve.GetFirstDerivative(), curve.GetFirstDerivative_NoSort(), curve.GetSecondDerivative(),
        curve.GetSecondDerivative_NoSort(), curve.GetLinearRegression(), curve.GetSlidingMean(width),
        curve.DotSmoothFunction(width, input.Whole(-1, 3)), curve.GetCubicSpline(factor),
        curve.DotSpline(width, factor), curve.GetDotSplineXY()}) {
    Require(made == nullptr || made->GetNumberOfPoints() >= 0);
    delete made;
  }
  Results results;
  const double low = input.Any();
  results.Add(curve.GetFWHM(low, input.Any()) + curve.GetSimpleIntegral() + curve.GetXYCorrelation());
  results.Add(
      static_cast<double>(curve.GetChi2() + curve.GetIntegral() + curve.GetXMediane() + curve.GetYMediane()));
  if (isModerate && points > 0) Require(curve.GetYMin() <= curve.GetYMax());
  MTH_XY_PLOT other(curve);
  other.DeletePoint(input.Whole(-1, 40));
  results.Add(static_cast<double>(curve.GetMeanSquared(&other)));
  curve = other;
  Require(curve.GetNumberOfPoints() == other.GetNumberOfPoints());
}

void TryProfile(Input& input) {
  const char* const name = "curve_fuzz.tmp";
  std::FILE* file = std::fopen(name, "wb");
  Require(file != nullptr);
  constexpr char kAlphabet[] = "0123456789.,-+eE \n\r\tinfax";
  for (int i = input.Whole(0, 200); i > 0; --i) {
    const std::uint8_t byte = input.Byte();
    std::fputc(byte < 240 ? kAlphabet[byte % (sizeof kAlphabet - 1)] : byte, file);
  }
  std::fclose(file);
  MTH_FUNCT_PROFILE_COST cost;
  Require(cost.LoadProfile(name));
  Require(cost.GetSamplesCount() >= 0 && cost.GetSamplesCount() <= 200);
  std::remove(name);
}

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  if (input.Byte() > 0) return TryCurve(input);
  TryProfile(input);  // rarely: a file takes as long as many curves
}

}  // namespace mth_fuzz
