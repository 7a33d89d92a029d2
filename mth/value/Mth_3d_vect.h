#pragma once

#include <concepts>

#include "mth/value/Mth_3d.h"
#include "std/Std_export.h"

/// A vector of space that carries its length; MTH_3D_VECT_DOUBLE, MTH_3D_VECT_FLOAT and MTH_3D_VECT_INTEGER
/// are its three members.
///
/// The norm is filled in whenever components are, and changes with nothing else. Float vectors are computed
/// in double and each result is rounded to float once. Integer vectors wrap in 32 bits; their norm is
/// truncated toward zero, and 0 where the wrapped sum of squares is negative. Operations that return a
/// pointer give a new vector that the caller owns and deletes; null when there is no memory.
///
/// The arithmetic is compiled in the library, so that its roundings do not depend on the host's compiler
/// flags.
/// @tparam T  double, float or int (32 bits).
template <class T>
class MTH_EXPORT MTH_3D_VECTOR {
 public:
  /// Components 0 and norm -1, which marks a length not computed yet.
  MTH_3D_VECTOR() = default;
  /// The vector of those components.
  MTH_3D_VECTOR(const T x, const T y, const T z);
  /// The vector of the other's components, with the norm that they have: also that of a default vector, whose
  /// mark is not copied, and of one that Normalise left with the norm 1.
  MTH_3D_VECTOR(const MTH_3D_VECTOR& other);
  /// Takes over components and norm, a default vector's mark included.
  MTH_3D_VECTOR& operator=(const MTH_3D_VECTOR& other) = default;
  /// The vector from the origin to that point.
  MTH_3D_VECTOR(const MTH_3D_POINT<T>& point);
  /// The vector from the first point to the second.
  MTH_3D_VECTOR(const MTH_3D_POINT<T>& first, const MTH_3D_POINT<T>& second);

  /// @return  one component.
  T GetX() const { return x_; }
  /// @copydoc GetX
  T GetY() const { return y_; }
  /// @copydoc GetX
  T GetZ() const { return z_; }
  /// @return  the length; -1 for a default vector, 1 after Normalise.
  T GetNorm() const { return norm_; }

  /// Dot product, summed in double over x, y, z. The products of integer components wrap in 32 bits.
  double operator*(const MTH_3D_VECTOR& other) const;
  /// Cross product, this x other.
  [[nodiscard]] MTH_3D_VECTOR* operator^(const MTH_3D_VECTOR& other) const;
  /// Component-wise this minus other. Only vectors of doubles have it, as they alone have the
  /// product by a number.
  [[nodiscard]] MTH_3D_VECTOR* operator-(const MTH_3D_VECTOR& other) const requires std::same_as<T, double>;
  /// Each component times the factor.
  [[nodiscard]] MTH_3D_VECTOR* operator*(const double factor) const requires std::same_as<T, double>;
  /// @copydoc operator*(const double)const
  [[nodiscard]] MTH_3D_VECTOR* operator*(const float factor) const requires std::same_as<T, double>;
  /// Each component times a factor of any integer type: a plain 2 suits both forms above equally well.
  template <std::integral Factor>
  [[nodiscard]] MTH_3D_VECTOR* operator*(const Factor factor) const requires std::same_as<T, double> {
    return *this * static_cast<double>(factor);
  }

  /// Divides each component by the norm, computed anew, and sets the norm to 1. With a zero norm the
  /// components stay, and the norm is 1 all the same: that is intended. Integer vectors divide by their
  /// truncated norm and truncate toward zero, so that every component below the norm becomes 0.
  void Normalise();

 private:
  T ComputeNorm() const;

  T x_ = 0;
  T y_ = 0;
  T z_ = 0;
  T norm_ = -1;
};

extern template class MTH_3D_VECTOR<double>;
extern template class MTH_3D_VECTOR<float>;
extern template class MTH_3D_VECTOR<int>;
