#pragma once

#include <concepts>

#include "mth/value/Mth_3d_double.h"
#include "mth/value/Mth_3d_vect_double.h"
#include "std/Std_export.h"

/// @file
/// Lines, planes and segments of space, and the orientation of MR slices in the scanner's words: sagittal
/// ("SAG"), coronal ("COR") and axial ("AXI") planes tilted by up to two angles. x runs across the patient, y
/// from front to back, z along the body: they are the normals of the three planes.
///
/// No message is shown. A null argument gives the failure value and nothing is written; functions without a
/// result then do nothing.
///
/// What is only read may be constant: by templates at the end, so that a literal null pointer finds the one
/// function.

/// How a slice lies, in the scanner's words. Each name is a text of three letters, or " " for none.
struct Orient_Coupe_Irm {
  short tiltCount;      ///< 0 a pure plane, 1 one tilt, 2 two tilts
  char orientation[4];  ///< the main plane: "SAG", "COR" or "AXI"
  char firstTilt[4];    ///< the plane towards which the first tilt is made
  char secondTilt[4];   ///< the plane towards which the second tilt is made
  short firstAngle;     ///< first tilt in whole degrees
  short secondAngle;    ///< second tilt in whole degrees
  double shift;         ///< offset of the slice centre along the normal of the main plane
};

/// The orientation of the slice with a given normal, which need not be of unit length.
///
/// A code is a main plane and the plane it is tilted towards: 1 AXI to SAG, 2 SAG to AXI, 3 COR to SAG, 4 SAG
/// to COR, 5 AXI to COR, 6 COR to AXI; 0 none. The normal is projected on the three coordinate planes, each
/// projection votes for a code and a tilt, and the votes are combined by rules of which a later one overrides
/// an earlier one. A normal of length 0, or one that is not finite, gets codes all the same, which tell
/// nothing.
/// @param codeA, codeB    receive the code of the first and of the second tilt.
/// @param angleA, angleB  receive the tilts in degrees.
MTH_EXPORT void Mth_3D_CalculParamCoupePerp(MTH_3D_VECT_DOUBLE* normal, short* codeA, short* codeB,
                                            double* angleA, double* angleB);
/// The same for the slice that stands upright along v: its normal is (-v.z, 0, -v.x).
MTH_EXPORT void Mth_3D_CalculParamCoupeVert(MTH_3D_VECT_DOUBLE* v, short* codeA, short* codeB, double* angleA,
                                            double* angleB);
/// The same for the oblique slice along v: its normal is (-v.y, v.x, 0).
MTH_EXPORT void Mth_3D_CalculParamCoupeObliq(MTH_3D_VECT_DOUBLE* v, short* codeA, short* codeB,
                                             double* angleA, double* angleB);

/// Puts codes and angles in the scanner's words. Angles are rounded to whole degrees, halves away from zero;
/// one that rounds to 0 is no tilt. Names are written for the codes of the table above only.
///
/// Intended: with code1 = 2 and angle2 rounding to 0, the orientation is left as it was. The shift never
/// changes.
MTH_EXPORT void Mth_3D_Trans_Cod_IRM(short code1, short code2, double angle1, double angle2,
                                     Orient_Coupe_Irm* out);

/// Stores in the shift the coordinate, along the normal of the record's main plane, of the middle of a and b.
/// Unless the orientation is exactly "SAG" (x), "COR" (y) or "AXI" (z), nothing changes.
MTH_EXPORT void Mth_3D_CalculShiftmean(MTH_3D_DOUBLE a, MTH_3D_DOUBLE b, Orient_Coupe_Irm* o);

/// The shortest segment between two lines, each given by two of its points.
/// @param seg  receives the end on the first line and the end on the second.
/// @param mu   receives the two ends' parameters: 0 at a line's first point, 1 at its second.
/// @return     0; -1, and nothing written, when a line's points coincide or the lines are exactly parallel.
MTH_EXPORT int Mth_3D_ShortSegmentBetweenLines(double L1[2][3], double L2[2][3], double seg[2][3],
                                               double* mu);
/// The point nearest to both of two lines, where they meet if they do.
/// @param p  receives the three coordinates of the middle of the shortest segment.
/// @return   the distance of the lines; -1.0, with p untouched, where Mth_3D_ShortSegmentBetweenLines fails.
MTH_EXPORT double Mth_3D_LinesIntersection(double L1[2][3], double L2[2][3], double* p);

/// Least-squares plane c0 x + c1 y + c2 z + 1 = 0 through n points, by singular values. The form cannot
/// describe a plane through the origin: shift the points first.
/// @param coeff  receives c0, c1, c2 and 1.0.
/// @return       false, and nothing written, with fewer than 3 points or when the system cannot be solved.
MTH_EXPORT bool Mth_3D_CalculCoeffPlan(MTH_3D_DOUBLE* points, short n, double* coeff);

/// Foot of the perpendicular from a point to a plane.
/// @param plane  three points of the plane.
/// @return       false, with the projection untouched, when the three are collinear within the rounding of
///               their coordinates.
MTH_EXPORT bool Mth_3D_PointProjectionOnPlan(MTH_3D_DOUBLE* plane, MTH_3D_DOUBLE point,
                                             MTH_3D_DOUBLE* projection);
/// Signed distance of a point from the plane through `*origin` with a given normal of any length: positive on
/// the side that the normal points to.
/// @return  0 for a zero normal.
MTH_EXPORT double Mth_3D_PointDiffToNormal(MTH_3D_DOUBLE* origin, MTH_3D_DOUBLE point, MTH_3D_DOUBLE normal);
/// Foot of the perpendicular from a point to the line through a segment; it may lie beyond the ends.
/// @param segment  its two end points.
/// @param t        receives the foot's parameter: 0 at the first end, 1 at the second.
/// @return         0; -1, and nothing written, for a segment of zero length.
MTH_EXPORT int Mth_3D_PointProjectionOnSegment(MTH_3D_DOUBLE* point, MTH_3D_DOUBLE* segment,
                                               MTH_3D_DOUBLE* projection, double* t);

/// @copydoc Mth_3D_CalculParamCoupePerp(MTH_3D_VECT_DOUBLE*,short*,short*,double*,double*)
template <std::same_as<MTH_3D_VECT_DOUBLE> T>
void Mth_3D_CalculParamCoupePerp(const T* normal, short* codeA, short* codeB, double* angleA,
                                 double* angleB) {
  Mth_3D_CalculParamCoupePerp(const_cast<T*>(normal), codeA, codeB, angleA, angleB);
}
/// @copydoc Mth_3D_CalculParamCoupeVert(MTH_3D_VECT_DOUBLE*,short*,short*,double*,double*)
template <std::same_as<MTH_3D_VECT_DOUBLE> T>
void Mth_3D_CalculParamCoupeVert(const T* v, short* codeA, short* codeB, double* angleA, double* angleB) {
  Mth_3D_CalculParamCoupeVert(const_cast<T*>(v), codeA, codeB, angleA, angleB);
}
/// @copydoc Mth_3D_CalculParamCoupeObliq(MTH_3D_VECT_DOUBLE*,short*,short*,double*,double*)
template <std::same_as<MTH_3D_VECT_DOUBLE> T>
void Mth_3D_CalculParamCoupeObliq(const T* v, short* codeA, short* codeB, double* angleA, double* angleB) {
  Mth_3D_CalculParamCoupeObliq(const_cast<T*>(v), codeA, codeB, angleA, angleB);
}
/// @copydoc Mth_3D_ShortSegmentBetweenLines(double[2][3],double[2][3],double[2][3],double*)
template <std::same_as<double> T>
int Mth_3D_ShortSegmentBetweenLines(const T (*L1)[3], const T (*L2)[3], double seg[2][3], double* mu) {
  return Mth_3D_ShortSegmentBetweenLines(const_cast<T(*)[3]>(L1), const_cast<T(*)[3]>(L2), seg, mu);
}
/// @copydoc Mth_3D_LinesIntersection(double[2][3],double[2][3],double*)
template <std::same_as<double> T>
double Mth_3D_LinesIntersection(const T (*L1)[3], const T (*L2)[3], double* p) {
  return Mth_3D_LinesIntersection(const_cast<T(*)[3]>(L1), const_cast<T(*)[3]>(L2), p);
}
/// @copydoc Mth_3D_CalculCoeffPlan(MTH_3D_DOUBLE*,short,double*)
template <std::same_as<MTH_3D_DOUBLE> T>
bool Mth_3D_CalculCoeffPlan(const T* points, short n, double* coeff) {
  return Mth_3D_CalculCoeffPlan(const_cast<T*>(points), n, coeff);
}
/// @copydoc Mth_3D_PointProjectionOnPlan(MTH_3D_DOUBLE*,MTH_3D_DOUBLE,MTH_3D_DOUBLE*)
template <std::same_as<MTH_3D_DOUBLE> T>
bool Mth_3D_PointProjectionOnPlan(const T* plane, MTH_3D_DOUBLE point, MTH_3D_DOUBLE* projection) {
  return Mth_3D_PointProjectionOnPlan(const_cast<T*>(plane), point, projection);
}
/// @copydoc Mth_3D_PointDiffToNormal(MTH_3D_DOUBLE*,MTH_3D_DOUBLE,MTH_3D_DOUBLE)
template <std::same_as<MTH_3D_DOUBLE> T>
double Mth_3D_PointDiffToNormal(const T* origin, MTH_3D_DOUBLE point, MTH_3D_DOUBLE normal) {
  return Mth_3D_PointDiffToNormal(const_cast<T*>(origin), point, normal);
}
/// @copydoc Mth_3D_PointProjectionOnSegment(MTH_3D_DOUBLE*,MTH_3D_DOUBLE*,MTH_3D_DOUBLE*,double*)
template <std::same_as<MTH_3D_DOUBLE> T>
int Mth_3D_PointProjectionOnSegment(const T* point, const T* segment, MTH_3D_DOUBLE* projection, double* t) {
  return Mth_3D_PointProjectionOnSegment(const_cast<T*>(point), const_cast<T*>(segment), projection, t);
}
