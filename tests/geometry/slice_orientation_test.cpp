#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <string>
#include <vector>

#include "mth/geometry/Mth_3d_geometry.h"

namespace {

struct Found {
  short codeA = -1;
  short codeB = -1;
  double angleA = -999.0;
  double angleB = -999.0;
};

Found OrientationOf(double x, double y, double z) {
  MTH_3D_VECT_DOUBLE normal(x, y, z);
  Found found;
  Mth_3D_CalculParamCoupePerp(&normal, &found.codeA, &found.codeB, &found.angleA, &found.angleB);
  return found;
}

// What the rules make of three perpendicular angles, from tables of bands: an oracle of its own.
struct Band {
  double from;
  double to;
  int code;
  double offset;  // tilt = sign * (angle + offset)
  double sign;
};
const std::vector<Band> kBands[3] = {{{0, 45, 1, 0, -1}, {45, 135, 2, -90, 1}, {135, 180, 1, -180, -1}},
                                     {{0, 45, 3, 0, 1}, {45, 135, 4, -90, -1}, {135, 180, 3, -180, 1}},
                                     {{0, 45, 6, 0, -1}, {45, 135, 5, -90, 1}, {135, 180, 6, -180, -1}}};

double TraceAngle(double c, double s) {
  double angle = c == 0.0 && s == 0.0 ? 0.0 : std::atan2(s, c) * 180.0 / std::numbers::pi;
  angle += 90.0;
  while (angle >= 180.0) angle -= 180.0;
  while (angle < 0.0) angle += 180.0;
  return angle;
}

Found Oracle(const double (&traces)[3]) {
  int k[3] = {};
  double a[3] = {};
  for (int i = 0; i < 3; ++i) {
    for (const Band& band : kBands[i]) {
      if (traces[i] < band.from || traces[i] > band.to) continue;
      k[i] = band.code;
      a[i] = band.sign * (traces[i] + band.offset);
    }
  }
  Found found{0, 0, 0.0, 0.0};
  const auto set = [&](int codeA, int codeB, double angleA, double angleB) {
    found = {static_cast<short>(codeA), static_cast<short>(codeB), angleA, angleB};
  };
  if (k[0] == 1 && k[2] == 5) set(1, 5, a[0], a[2]);
  if (k[0] == 2 && k[1] == 4) set(2, 4, a[0], a[1]);
  if (k[1] == 3 && k[2] == 6) set(3, 6, a[1], a[2]);
  const int others[3][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}};
  for (const auto& [first, second, rest] : others) {
    if (a[first] == 0.0 && a[second] == 0.0) set(k[rest], found.codeB, a[rest], 0.0);
  }
  if (a[0] == 0.0 && a[1] == 0.0 && a[2] == 0.0) {
    if (traces[0] == 90 && traces[1] == 90 && traces[2] == 90) found.codeA = 2;
    if (traces[0] == 90 && traces[1] == 0 && traces[2] == 0) found.codeA = 6;
    if (traces[0] == 0 && traces[1] == 90 && traces[2] == 90) found.codeA = 1;
  }
  return found;
}

TEST(SliceOrientation, FollowsTheRulesOverAGridOfNormals) {
  // Off the axes no angle is near a bound between two rules.
  for (int i = -7; i <= 7; ++i) {
    for (int j = -7; j <= 7; ++j) {
      for (int k = -7; k <= 7; ++k) {
        const double x = i * 1.03;
        const double y = j * 0.98;
        const double z = k * 1.1;
        const double traces[3] = {TraceAngle(x, z), TraceAngle(x, y), TraceAngle(z, y)};
        const Found expected = Oracle(traces);
        const Found found = OrientationOf(x, y, z);
        ASSERT_EQ(found.codeA, expected.codeA) << x << " " << y << " " << z;
        ASSERT_EQ(found.codeB, expected.codeB) << x << " " << y << " " << z;
        ASSERT_NEAR(found.angleA, expected.angleA, 1e-12) << x << " " << y << " " << z;
        ASSERT_NEAR(found.angleB, expected.angleB, 1e-12) << x << " " << y << " " << z;
      }
    }
  }
}

// 45 degrees belong to the middle band, 135 to the last one; 3 / sqrt(18) is a cosine of exactly 45 degrees.
TEST(SliceOrientation, BoundsBelongToTheLaterBand) {
  struct Case {
    double x, y, z;
    short codeA, codeB;
    double angleA;
  };
  for (const auto& [x, y, z, codeA, codeB, angleA] :
       {Case{3, 0, -3, 2, 4, -45}, Case{3, 0, 3, 1, 5, 45}, Case{3, -3, 0, 4, 4, 45},
        Case{3, 3, 0, 3, 6, -45}, Case{0, -3, 3, 5, 5, -45}, Case{0, 3, 3, 6, 6, 45}}) {
    const Found found = OrientationOf(x, y, z);
    EXPECT_EQ(found.codeA, codeA) << x << " " << y << " " << z;
    EXPECT_EQ(found.codeB, codeB) << x << " " << y << " " << z;
    EXPECT_EQ(found.angleA, angleA) << x << " " << y << " " << z;
  }
}

TEST(SliceOrientation, TurnsTheTwoOtherDirectionsIntoNormals) {
  MTH_3D_VECT_DOUBLE v(0.3, -0.4, 0.8);
  const Found upright = OrientationOf(-0.8, 0.0, -0.3);
  const Found oblique = OrientationOf(0.4, 0.3, 0.0);
  Found found;
  Mth_3D_CalculParamCoupeVert(&v, &found.codeA, &found.codeB, &found.angleA, &found.angleB);
  EXPECT_EQ(found.codeA, upright.codeA);
  EXPECT_EQ(found.angleA, upright.angleA);
  Mth_3D_CalculParamCoupeObliq(&v, &found.codeA, &found.codeB, &found.angleA, &found.angleB);
  EXPECT_EQ(found.codeA, oblique.codeA);
  EXPECT_EQ(found.angleA, oblique.angleA);
  Mth_3D_CalculParamCoupePerp(nullptr, &found.codeA, &found.codeB, &found.angleA, &found.angleB);
  Mth_3D_CalculParamCoupeVert(nullptr, &found.codeA, &found.codeB, &found.angleA, &found.angleB);
  Mth_3D_CalculParamCoupeObliq(&v, &found.codeA, nullptr, &found.angleA, &found.angleB);
  EXPECT_EQ(found.codeA, oblique.codeA);
}

// A record with a guard behind each text.
Orient_Coupe_Irm Blank() {
  Orient_Coupe_Irm record = {9, "old", "old", "old", 99, 99, 1.5};
  return record;
}

TEST(SliceRecord, PutsCodesInTheScannersWords) {
  struct Case {
    short code1, code2;
    double angle1, angle2;
    short tilts;
    std::string orientation, first, second;
    short firstAngle, secondAngle;
  };
  const std::vector<Case> cases = {{1, 5, 0.2, 12.5, 1, "AXI", "COR", " ", 13, 0},
                                   {1, 3, 0.0, -12.5, 1, "COR", "SAG", " ", -13, 0},
                                   {1, 2, 0.2, 12.5, 1, "SAG", "AXI", " ", 13, 0},
                                   {1, 9, 0.2, 12.5, 1, "old", "old", " ", 13, 0},
                                   {4, 1, 30.4, 0.49, 1, "SAG", "COR", " ", 30, 0},
                                   {2, 4, 30.4, 0.49, 1, "old", "AXI", " ", 30, 0},
                                   {6, 4, -0.5, 0.0, 1, "COR", "AXI", " ", -1, 0},
                                   {2, 4, 10, 20, 2, "SAG", "AXI", "COR", 10, 20},
                                   {1, 5, -10, 20, 2, "AXI", "SAG", "COR", -10, 20},
                                   {3, 6, 10.5, -20.5, 2, "COR", "SAG", "AXI", 11, -21},
                                   {4, 6, 10, 20, 2, "old", "old", "old", 99, 99},
                                   {2, 0, 0.4, -0.4, 0, "SAG", " ", " ", 0, 0},
                                   {4, 0, 0, 0, 0, "SAG", " ", " ", 0, 0},
                                   {5, 0, 0, 0, 0, "AXI", " ", " ", 0, 0},
                                   {3, 0, 0, 0, 0, "COR", " ", " ", 0, 0},
                                   {0, 0, 0, 0, 0, "old", " ", " ", 0, 0},
                                   {1, 1, 1e300, std::nan(""), 1, "AXI", "SAG", " ", 32767, 0},
                                   {1, 1, -32767.6, 0, 1, "AXI", "SAG", " ", -32768, 0},
                                   {1, 1, -1e300, 32767.4, 2, "AXI", "SAG", "COR", -32768, 32767}};
  for (const Case& c : cases) {
    SCOPED_TRACE("codes " + std::to_string(c.code1) + ", " + std::to_string(c.code2) + " angles " +
                 std::to_string(c.angle1) + ", " + std::to_string(c.angle2));
    Orient_Coupe_Irm record = Blank();
    Mth_3D_Trans_Cod_IRM(c.code1, c.code2, c.angle1, c.angle2, &record);
    EXPECT_EQ(record.tiltCount, c.tilts);
    EXPECT_EQ(std::string(record.orientation), c.orientation);
    EXPECT_EQ(std::string(record.firstTilt), c.first);
    EXPECT_EQ(std::string(record.secondTilt), c.second);
    EXPECT_EQ(record.firstAngle, c.firstAngle);
    EXPECT_EQ(record.secondAngle, c.secondAngle);
    EXPECT_EQ(record.shift, 1.5);
  }
  Mth_3D_Trans_Cod_IRM(1, 1, 0, 0, nullptr);
}

TEST(SliceRecord, ShiftsAlongTheNormalOfTheMainPlane) {
  struct Case {
    const char* orientation;
    double shift;
  };
  for (const auto& [orientation, shift] :
       {Case{"SAG", 2}, Case{"COR", 3}, Case{"AXI", -1}, Case{"sag", 1.5}, Case{" ", 1.5}}) {
    Orient_Coupe_Irm record = Blank();
    std::memcpy(record.orientation, orientation, std::strlen(orientation) + 1);
    Mth_3D_CalculShiftmean({1, 2, 3}, {3, 4, -5}, &record);
    EXPECT_EQ(record.shift, shift) << orientation;
  }
  Orient_Coupe_Irm unterminated = Blank();
  std::memcpy(unterminated.orientation, "SAGI", 4);
  Mth_3D_CalculShiftmean({1, 2, 3}, {3, 4, -5}, &unterminated);
  EXPECT_EQ(unterminated.shift, 1.5);
}

}  // namespace
