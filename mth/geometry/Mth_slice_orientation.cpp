#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/geometry/Mth_3d_geometry.h"

// The orientation of MR slices. Rules are applied in their order, a later one overriding an earlier one: that
// order decides on the bounds that neighbouring rules share.

namespace {

// One projection of the normal on a coordinate plane: what it says of the slice.
struct Vote {
  double perpendicular;  // angle of the slice's trace in that plane, degrees in [0, 180)
  short code = 0;
  double tilt = 0.0;  // degrees
};

double DegreesOfCosine(double cosine) {
  return mth_internal::Arccosine(cosine) * std::numbers::inv_pi * 180.0;
}

// Angle of the direction (x, y) in degrees, in [-180, 180]; that of (1, 0) for (0, 0).
double AngleOf(double x, double y) {
  if (x == 0.0 && y == 0.0) return 0.0;
  const double length = std::sqrt(x * x + y * y);
  const double cosine = x / length;
  const double sine = y / length;
  if (cosine >= 0.0 && sine >= 0.0) return DegreesOfCosine(cosine);
  if (cosine < 0.0 && sine >= 0.0) return 180.0 - DegreesOfCosine(-cosine);
  if (cosine >= 0.0 && sine < 0.0) return -DegreesOfCosine(cosine);
  if (cosine < 0.0 && sine < 0.0) return DegreesOfCosine(-cosine) - 180.0;
  return std::numeric_limits<double>::quiet_NaN();
}

double PerpendicularTo(double angle) {
  double perpendicular = 0.0;
  if (0.0 <= angle && angle <= 90.0) perpendicular = angle + 90.0;
  if (90.0 < angle && angle <= 180.0) perpendicular = angle - 90.0;
  if (-90.0 <= angle && angle <= 0.0) perpendicular = angle + 90.0;
  if (-180.0 <= angle && angle < -90.0) perpendicular = angle + 270.0;
  return perpendicular == 180.0 ? 0.0 : perpendicular;
}

// The vote of the projection (x, y): `outerCode` when the trace is within 45 degrees of the first axis,
// `innerCode` when it is nearer to the second. `sign` is that of the tilt in the middle band.
Vote VoteOf(double x, double y, short outerCode, short innerCode, double sign) {
  Vote vote{PerpendicularTo(AngleOf(x, y))};
  const double angle = vote.perpendicular;
  const auto choose = [&](short code, double tilt) {
    vote.code = code;
    vote.tilt = tilt;
  };
  if (0.0 <= angle && angle <= 45.0) choose(outerCode, -sign * angle);
  if (45.0 <= angle && angle <= 135.0) choose(innerCode, sign * (angle - 90.0));
  if (135.0 <= angle && angle <= 180.0) choose(outerCode, sign * (180.0 - angle));
  return vote;
}

struct Orientation {
  short codeA = 0;
  short codeB = 0;
  double angleA = 0.0;
  double angleB = 0.0;
};

Orientation Combine(const Vote& first, const Vote& second, const Vote& third) {
  Orientation result;
  const auto both = [&](const Vote& a, const Vote& b) { result = {a.code, b.code, a.tilt, b.tilt}; };
  const auto only = [&](const Vote& a) { result = {a.code, result.codeB, a.tilt, 0.0}; };
  const auto areTraces = [&](double a, double b, double c) {
    return first.perpendicular == a && second.perpendicular == b && third.perpendicular == c;
  };
  if (first.code == 1 && third.code == 5) both(first, third);
  if (first.code == 2 && second.code == 4) both(first, second);
  if (second.code == 3 && third.code == 6) both(second, third);
  if (first.tilt == 0.0 && second.tilt == 0.0) only(third);
  if (first.tilt == 0.0 && third.tilt == 0.0) only(second);
  if (second.tilt == 0.0 && third.tilt == 0.0) only(first);
  if (first.tilt == 0.0 && second.tilt == 0.0 && third.tilt == 0.0) {
    if (areTraces(90.0, 90.0, 90.0)) result.codeA = 2;
    if (areTraces(90.0, 0.0, 0.0)) result.codeA = 6;
    if (areTraces(0.0, 90.0, 90.0)) result.codeA = 1;
  }
  return result;
}

// Nearest whole number of degrees, halves away from zero, within what a short holds; NaN gives 0.
short ToWholeDegrees(double angle) {
  constexpr double kLeast = std::numeric_limits<short>::min();
  constexpr double kMost = std::numeric_limits<short>::max();
  if (std::isnan(angle)) return 0;
  return static_cast<short>(std::clamp(angle >= 0.0 ? angle + 0.5 : angle - 0.5, kLeast, kMost));
}

void SetName(char (&field)[4], const char* name) {
  std::memset(field, 0, sizeof field);
  std::memcpy(field, name, std::min(std::strlen(name), sizeof field - 1));
}

bool IsName(const char (&field)[4], const char* name) {
  return std::strncmp(field, name, sizeof field) == 0;
}

struct CodeNames {
  const char* orientation;
  const char* tilt;
};
constexpr CodeNames kNamesOfCode[] = {{"AXI", "SAG"}, {"SAG", "AXI"}, {"COR", "SAG"},
                                      {"SAG", "COR"}, {"AXI", "COR"}, {"COR", "AXI"}};
constexpr short kCodeWithoutOrientation = 2;
constexpr const char* kNoName = " ";

// The names of a code; null for a number that is none.
const CodeNames* NamesOf(short code) {
  constexpr int kCodes = sizeof kNamesOfCode / sizeof kNamesOfCode[0];
  return code >= 1 && code <= kCodes ? &kNamesOfCode[code - 1] : nullptr;
}

void SetOneTilt(short code, short angle, bool keepsOrientation, Orient_Coupe_Irm& out) {
  out.tiltCount = 1;
  out.firstAngle = angle;
  out.secondAngle = 0;
  SetName(out.secondTilt, kNoName);
  const CodeNames* names = NamesOf(code);
  if (names == nullptr) return;
  if (!keepsOrientation) SetName(out.orientation, names->orientation);
  SetName(out.firstTilt, names->tilt);
}

void SetTwoTilts(short code, short angle1, short angle2, Orient_Coupe_Irm& out) {
  out.tiltCount = 2;
  if (code < 1 || code > 3) return;
  constexpr const char* kSecondTilt[] = {"COR", "COR", "AXI"};
  SetName(out.orientation, NamesOf(code)->orientation);
  SetName(out.firstTilt, NamesOf(code)->tilt);
  SetName(out.secondTilt, kSecondTilt[code - 1]);
  out.firstAngle = angle1;
  out.secondAngle = angle2;
}

void SetNoTilt(short code, Orient_Coupe_Irm& out) {
  out.tiltCount = 0;
  out.firstAngle = 0;
  out.secondAngle = 0;
  SetName(out.firstTilt, kNoName);
  SetName(out.secondTilt, kNoName);
  if (const CodeNames* names = NamesOf(code)) SetName(out.orientation, names->orientation);
}

}  // namespace

void Mth_3D_CalculParamCoupePerp(MTH_3D_VECT_DOUBLE* normal, short* codeA, short* codeB, double* angleA,
                                 double* angleB) {
  if (normal == nullptr || codeA == nullptr || codeB == nullptr || angleA == nullptr || angleB == nullptr) {
    return;
  }
  const double x = normal->GetX();
  const double y = normal->GetY();
  const double z = normal->GetZ();
  const Orientation found =
      Combine(VoteOf(x, z, 1, 2, 1.0), VoteOf(x, y, 3, 4, -1.0), VoteOf(z, y, 6, 5, 1.0));
  *codeA = found.codeA;
  *codeB = found.codeB;
  *angleA = found.angleA;
  *angleB = found.angleB;
}

void Mth_3D_CalculParamCoupeVert(MTH_3D_VECT_DOUBLE* v, short* codeA, short* codeB, double* angleA,
                                 double* angleB) {
  if (v == nullptr) return;
  MTH_3D_VECT_DOUBLE normal(-v->GetZ(), 0.0, -v->GetX());
  Mth_3D_CalculParamCoupePerp(&normal, codeA, codeB, angleA, angleB);
}

void Mth_3D_CalculParamCoupeObliq(MTH_3D_VECT_DOUBLE* v, short* codeA, short* codeB, double* angleA,
                                  double* angleB) {
  if (v == nullptr) return;
  MTH_3D_VECT_DOUBLE normal(-v->GetY(), v->GetX(), 0.0);
  Mth_3D_CalculParamCoupePerp(&normal, codeA, codeB, angleA, angleB);
}

void Mth_3D_Trans_Cod_IRM(short code1, short code2, double angle1, double angle2, Orient_Coupe_Irm* out) {
  if (out == nullptr) return;
  const short first = ToWholeDegrees(angle1);
  const short second = ToWholeDegrees(angle2);
  if (first == 0) SetOneTilt(code2, second, false, *out);
  // Intended: here code 2 leaves the orientation to whatever the record held before.
  if (second == 0) SetOneTilt(code1, first, code1 == kCodeWithoutOrientation, *out);
  if (first != 0 && second != 0) SetTwoTilts(code1, first, second, *out);
  if (first == 0 && second == 0) SetNoTilt(code1, *out);
}

void Mth_3D_CalculShiftmean(MTH_3D_DOUBLE a, MTH_3D_DOUBLE b, Orient_Coupe_Irm* o) {
  if (o == nullptr) return;
  if (IsName(o->orientation, "SAG")) o->shift = (a.GetX() + b.GetX()) * 0.5;
  if (IsName(o->orientation, "COR")) o->shift = (a.GetY() + b.GetY()) * 0.5;
  if (IsName(o->orientation, "AXI")) o->shift = (a.GetZ() + b.GetZ()) * 0.5;
}
