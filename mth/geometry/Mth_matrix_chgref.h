#pragma once

#include <concepts>

#include "mth/matrix/Mth_matrix.h"
#include "mth/value/Mth_3d_double.h"
#include "mth/value/Mth_3d_vect_double.h"
#include "std/Std_export.h"

/// Rigid change of reference: a 4 x 4 matrix [R t; 0 0 0 1] that maps points, as column vectors, from a first
/// frame to a second one, with the same transform as three angles and a translation and as a unit quaternion.
///
/// The three forms are converted on request only. Intended, and relied upon by callers:
/// - SetRotation takes degrees, the first angle turning about z, the second about y, the third about x; but
///   ExtractAngles leaves radians, about x, y and z;
/// - ComputeFromRotTrans clears the translation of the matrix;
/// - Normalize and ToAxisAngle divide by the square of the sum of squares, in single precision.
///
/// ChangeRef and ChangeRefCost work once the matrix is computed. No message is shown. Null arrays are
/// ignored: nothing is read or written. Without memory the matrix is unallocated (GetStatusError() 1) and
/// every computation fails. Do not delete one through a pointer to MTH_MATRIX, whose destructor is not
/// virtual.
class MTH_EXPORT MTH_MATRIX_CHGREF : public MTH_MATRIX {
 public:
  /// The identity, not computed, as all but the last constructor; of double elements, as all but the one of
  /// an axis.
  MTH_MATRIX_CHGREF();
  /// Keeps 3 angles in degrees (about z, y, x) and 3 components of a translation.
  MTH_MATRIX_CHGREF(double* rotation, double* translation);
  /// @copydoc MTH_MATRIX_CHGREF(double*,double*)
  template <std::same_as<double> T>
  MTH_MATRIX_CHGREF(const T* rotation, const T* translation)
      : MTH_MATRIX_CHGREF(const_cast<T*>(rotation), const_cast<T*>(translation)) {}
  /// Keeps matched points of both frames for the estimation of the transform.
  /// @param dimension   number of points in each set.
  /// @param set1, set2  borrowed: kept alive by the caller.
  MTH_MATRIX_CHGREF(int dimension, MTH_3D_DOUBLE* set1, MTH_3D_DOUBLE* set2);
  /// @copydoc MTH_MATRIX_CHGREF(int,MTH_3D_DOUBLE*,MTH_3D_DOUBLE*)
  template <std::same_as<MTH_3D_DOUBLE> T>
  MTH_MATRIX_CHGREF(int dimension, const T* set1, const T* set2)
      : MTH_MATRIX_CHGREF(dimension, const_cast<T*>(set1), const_cast<T*>(set2)) {}
  /// @param quaternion  7 values: q0 (the scalar part), q1, q2, q3, and the translation. GetQuaternion gives
  ///                    the first 4 only.
  explicit MTH_MATRIX_CHGREF(double* quaternion);
  /// @copydoc MTH_MATRIX_CHGREF(double*)
  template <std::same_as<double> T>
  explicit MTH_MATRIX_CHGREF(const T* quaternion) : MTH_MATRIX_CHGREF(const_cast<T*>(quaternion)) {}
  /// The quaternion of a turn, normalised, in a matrix of float elements.
  /// @param axis   3 components, of unit length.
  /// @param angle  degrees.
  MTH_MATRIX_CHGREF(float* axis, float angle);
  /// @copydoc MTH_MATRIX_CHGREF(float*,float)
  template <std::same_as<float> T>
  MTH_MATRIX_CHGREF(const T* axis, float angle) : MTH_MATRIX_CHGREF(const_cast<T*>(axis), angle) {}
  /// The matrix of columns u, v, w and origin. Angles, quaternion and the computed flag are not filled.
  MTH_MATRIX_CHGREF(MTH_3D_VECT_DOUBLE u, MTH_3D_VECT_DOUBLE v, MTH_3D_VECT_DOUBLE w, MTH_3D_DOUBLE origin);

  /// @return  the mean distance that ChangeRefCost found last; 0 before.
  double GetCost() const { return cost_; }
  /// Declares whether the matrix is up to date.
  void SetComputed(const bool isComputed) { isComputed_ = isComputed; }
  /// Sets the number of points of the reference sets.
  void SetDimension(int dimension) { dimension_ = dimension; }
  /// @return  the number of points of the reference sets.
  int GetDimension() const { return dimension_; }
  /// Copies the quaternion (4 values).
  void GetQuaternion(double* q) const;
  /// Copies the angles (3 values): degrees about z, y, x as they were set, or radians about x, y, z as
  /// ExtractAngles left them.
  void GetRotation(double* r) const;
  /// Copies the translation (3 values).
  void GetTranslation(double* t) const;
  /// Replaces the angles, in degrees about z, y, x. The matrix is then not computed, as after the three
  /// setters below.
  void SetRotation(double* r);
  /// @copydoc SetRotation(double*)
  template <std::same_as<double> T>
  void SetRotation(const T* r) {
    SetRotation(const_cast<T*>(r));
  }
  /// Replaces the translation.
  void SetTranslation(const double* t);
  /// Replaces the points in the first frame; borrowed, and only read.
  void SetRef1(MTH_3D_DOUBLE* set);
  /// @copydoc SetRef1(MTH_3D_DOUBLE*)
  template <std::same_as<MTH_3D_DOUBLE> T>
  void SetRef1(const T* set) {
    SetRef1(const_cast<T*>(set));
  }
  /// Replaces the points in the second frame; borrowed, and only read.
  void SetRef2(MTH_3D_DOUBLE* set);
  /// @copydoc SetRef2(MTH_3D_DOUBLE*)
  template <std::same_as<MTH_3D_DOUBLE> T>
  void SetRef2(const T* set) {
    SetRef2(const_cast<T*>(set));
  }
  /// @return  the borrowed points in the first frame.
  MTH_3D_DOUBLE* GetRef1() const { return first_; }
  /// @return  the borrowed points in the second frame.
  MTH_3D_DOUBLE* GetRef2() const { return second_; }

  /// Fills the matrix from the angles. Intended: its translation becomes 0, whatever SetTranslation stored; a
  /// caller who wants it stores its components with Set(i, 3, ...) afterwards.
  void ComputeFromRotTrans();
  /// Fills the matrix from the quaternion and the stored translation, then extracts the angles. A quaternion
  /// that is not unit gives the rotation times its sum of squares.
  void ComputeFromQuaternion();
  /// Reads the angles back from the matrix, in radians: the first about x, the second about y, the third
  /// about z. Not what ComputeFromRotTrans takes, on purpose. Each is an arc sine, in [-pi/2, pi/2]; of a
  /// matrix that is no rotation, as that of a quaternion that is not unit, sines beyond 1 count as 1.
  void ExtractAngles();
  /// Fills the matrix with the rotation Rz(angles[2]) Ry(angles[1]) Rx(angles[0]), angles in radians, and the
  /// stored translation; the quaternion follows. GetRotation then gives the angles as SetRotation would take
  /// them.
  void SetAnglesRadians(const double* angles);
  /// Copies the three angles of the matrix's rotation as SetAnglesRadians takes them, in radians about x, y
  /// and z: the second in [-pi/2, pi/2], the others in [-pi, pi]. What SetAnglesRadians was given in these
  /// ranges comes back to rounding; where the second is pi/2 in magnitude only the sum or the difference of
  /// the others is determined, and the third is 0. Nothing is copied of an unallocated matrix.
  void GetAnglesRadians(double* angles) const;
  /// The rigid transform that maps the first set to the second with the least squared error, by the
  /// quaternion method: matrix, quaternion, angles (as by ExtractAngles) and translation. Collinear,
  /// coincident and mirrored sets, too, get a proper rotation, not necessarily the only one. The sums are
  /// taken about the origin: of sets that lie d times their size away from it, the transform errs by about
  /// d^2 times the rounding, and means nothing from d = 1e8 on; so it does with OptimiseMeanDistance and
  /// ComputeWithoutOutliers, which start from it. Shift such sets, or use Initialise.
  /// @return  false, with nothing changed, without sets, with a dimension below 1, with points that are not
  ///          finite and when memory runs out.
  /// @see     Horn, J. Opt. Soc. Am. A 4 (1987) 629; Besl & McKay, IEEE PAMI 14 (1992) 239.
  bool ComputeFromSetsByQuaternion();
  /// Makes a and b, of GetDimension() matched points each, the reference sets and computes the transform
  /// between two frames that follow them: the normal of each set's least-squares plane, and the directions of
  /// three points far apart, the first being the one farthest from the mean of a. The transform is exact when
  /// the sets match exactly; nothing in it is random.
  /// @return  false, with nothing changed, with fewer than 3 points, with a set that is collinear or not
  ///          finite, and when memory runs out.
  bool Initialise(MTH_3D_DOUBLE* a, MTH_3D_DOUBLE* b);
  /// @copydoc Initialise(MTH_3D_DOUBLE*,MTH_3D_DOUBLE*)
  template <std::same_as<MTH_3D_DOUBLE> T>
  bool Initialise(const T* a, const T* b) {
    return Initialise(const_cast<T*>(a), const_cast<T*>(b));
  }
  /// Initialise on the reference sets. Optimise, which never changes the matrix, is left out.
  /// @return  as Initialise.
  bool ComputeByGeometricMethod();
  /// Maps a point. @return false, with `out` unchanged, when the matrix is not computed.
  bool ChangeRef(MTH_3D_DOUBLE p, MTH_3D_DOUBLE* out) const;
  /// Computes the mean distance of the mapped first set from the second set, for GetCost; NaN without points
  /// and when a set is missing. Nothing happens when the matrix is not computed.
  /// @param keep  copies the mapped points to `out`.
  void ChangeRefCost(bool keep, MTH_3D_DOUBLE* out);
  /// Minimises the mean distance of the sets by Powell's method, under a progress window, starting from the
  /// matrix's first six elements as parameters. Intended: the matrix stays as it was, whatever is found. Nor
  /// does the translation change the cost (MTH_FUNCT_CHGREF_PARAM): a transform with the least mean distance
  /// is what OptimiseMeanDistance finds.
  /// @return  whether the minimiser lowered the distance; false without sets or memory, and, after a single
  ///          evaluation, with a point that is not finite.
  bool Optimise();
  /// The rigid transform that maps the first set to the second with the least mean distance, and so hardly
  /// minds landmarks that are wrong: angles and translation are minimised together by Powell's method, from
  /// the least-squares answer of all points and from those of subsets without the worst ones, down to half of
  /// them. Of what these runs find the best is kept: matrix, quaternion, angles (as by ExtractAngles),
  /// translation and cost. No window is shown; nothing in it is random.
  /// @return  false, with nothing changed, where ComputeFromSetsByQuaternion is false, and when the display
  ///          asks to cancel.
  bool OptimiseMeanDistance();
  /// The rigid transform of least squared error of the landmarks that are right. Outliers are those that
  /// OptimiseMeanDistance leaves beyond 2.5 times the median distance; then, in up to eight rounds, those
  /// that the least-squares transform of the others leaves beyond 4.5 of their deviations along an axis. A
  /// distance of a millionth of the smaller set's size is as good as none. The others are always more than
  /// half of the landmarks, four or more, and not on a line: where no such ones are found there are no
  /// outliers, and the answer is that of OptimiseMeanDistance. Nearly as precise as least squares that are
  /// told which landmarks are wrong, without a threshold in millimetres; the cost is the mean distance of all
  /// landmarks. No window is shown; nothing in it is random.
  /// @param isOutlier  GetDimension() elements, which tell for each landmark whether it is one; may be null.
  /// @return  false, with nothing changed or written, where OptimiseMeanDistance is false, and without
  ///          memory.
  /// @see     Rousseeuw & Leroy, Robust Regression and Outlier Detection, 1987, chapter 5 (reweighted least
  ///          squares after a fit that hardly minds outliers).
  bool ComputeWithoutOutliers(bool* isOutlier);

  /// The quaternion of a turn about a unit axis by an angle in degrees; sine, cosine and their products with
  /// the axis are rounded to float.
  void FromAxisAngle(float* axis, float angle, double* q) const;
  /// @copydoc FromAxisAngle(float*,float,double*)const
  template <std::same_as<float> T>
  void FromAxisAngle(const T* axis, float angle, double* q) const {
    FromAxisAngle(const_cast<T*>(axis), angle, q);
  }
  /// Divides the quaternion by the square of the sum of its squares, taken in single precision: exact for a
  /// unit quaternion, and intended. A zero quaternion stays.
  void Normalize();
  /// The quaternion becomes the Hamilton product a b.
  void MultQuaternion(double* a, double* b);
  /// @copydoc MultQuaternion(double*,double*)
  template <std::same_as<double> T>
  void MultQuaternion(const T* a, const T* b) {
    MultQuaternion(const_cast<T*>(a), const_cast<T*>(b));
  }
  /// The quaternion becomes (quaternion of the turn) (quaternion).
  void MultQuaternion(float* axis, float angle);
  /// @copydoc MultQuaternion(float*,float)
  template <std::same_as<float> T>
  void MultQuaternion(const T* axis, float angle) {
    MultQuaternion(const_cast<T*>(axis), angle);
  }
  /// Axis and angle in degrees of the quaternion; (0, 1, 0) and 0 without a vector part. The axis is the
  /// vector part divided by the square of its sum of squares, in single precision: not of unit length, as
  /// intended.
  void ToAxisAngle(float* axis, float& angle) const;
  /// ComputeFromQuaternion, then the matrix column by column in 16 floats, as graphics libraries take it.
  void glMatrixComputeFromQuaternion(float* m);

  /// The product of both matrices: first `other`, then this. A new transform with its angles, quaternion and
  /// translation filled from the product, owned by the caller; computed when both operands are, of float
  /// elements when both are; unallocated when an operand is, null without memory.
  [[nodiscard]] MTH_MATRIX_CHGREF* operator*(const MTH_MATRIX_CHGREF& other) const;
  using MTH_MATRIX::operator*;

 private:
  explicit MTH_MATRIX_CHGREF(short type);
  void FillFromMatrix();
  void TakeMap(const double (&rows)[3][4], double cost);

  double rotation_[3] = {};
  double translation_[3] = {};
  double quaternion_[4] = {1.0, 0.0, 0.0, 0.0};
  bool isComputed_ = false;
  int dimension_ = 0;
  MTH_3D_DOUBLE* first_ = nullptr;
  MTH_3D_DOUBLE* second_ = nullptr;
  double cost_ = 0.0;
};

/// Writes into m the rotation Rz(a) Ry(b) Rx(c), angles in degrees, with a zero translation. Angles,
/// quaternion, translation and computed flag that m keeps beside its matrix stay as they were.
MTH_EXPORT void FormRotationMatrix(double a, double b, double c, MTH_MATRIX_CHGREF* m);
