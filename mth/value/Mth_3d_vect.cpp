#include "mth/value/Mth_3d_vect.h"

#include <new>

#include "mth/value/Mth_value_internal.h"

namespace {

// Generic, since some compilers instantiate the product by a number of every member, whatever its constraint.
template <class T>
MTH_3D_VECTOR<T>* Scaled(const MTH_3D_VECTOR<T>& v, double factor) {
  const auto scaled = [factor](T component) { return static_cast<T>(component * factor); };
  return new (std::nothrow) MTH_3D_VECTOR<T>(scaled(v.GetX()), scaled(v.GetY()), scaled(v.GetZ()));
}

}  // namespace

template <class T>
MTH_3D_VECTOR<T>::MTH_3D_VECTOR(const T x, const T y, const T z)
    : x_(x), y_(y), z_(z), norm_(ComputeNorm()) {}

template <class T>
MTH_3D_VECTOR<T>::MTH_3D_VECTOR(const MTH_3D_VECTOR& other) : MTH_3D_VECTOR(other.x_, other.y_, other.z_) {}

template <class T>
MTH_3D_VECTOR<T>::MTH_3D_VECTOR(const MTH_3D_POINT<T>& point)
    : MTH_3D_VECTOR(point.GetX(), point.GetY(), point.GetZ()) {}

template <class T>
MTH_3D_VECTOR<T>::MTH_3D_VECTOR(const MTH_3D_POINT<T>& first, const MTH_3D_POINT<T>& second)
    : MTH_3D_VECTOR(mth_internal::Difference(second.GetX(), first.GetX()),
                    mth_internal::Difference(second.GetY(), first.GetY()),
                    mth_internal::Difference(second.GetZ(), first.GetZ())) {}

template <class T>
double MTH_3D_VECTOR<T>::operator*(const MTH_3D_VECTOR& other) const {
  using namespace mth_internal;
  const double xTerm = Product(Widen(x_), Widen(other.x_));
  const double yTerm = Product(Widen(y_), Widen(other.y_));
  const double zTerm = Product(Widen(z_), Widen(other.z_));
  return xTerm + yTerm + zTerm;
}

template <class T>
MTH_3D_VECTOR<T>* MTH_3D_VECTOR<T>::operator^(const MTH_3D_VECTOR& other) const {
  using namespace mth_internal;
  const auto minor = [](auto a, auto b, auto c, auto d) {
    return static_cast<T>(Difference(Product(Widen(a), Widen(b)), Product(Widen(c), Widen(d))));
  };
  return new (std::nothrow)
      MTH_3D_VECTOR(minor(y_, other.z_, z_, other.y_), minor(z_, other.x_, x_, other.z_),
                    minor(x_, other.y_, y_, other.x_));
}

template <class T>
MTH_3D_VECTOR<T>* MTH_3D_VECTOR<T>::operator-(
    const MTH_3D_VECTOR& other) const requires std::same_as<T, double> {
  return new (std::nothrow) MTH_3D_VECTOR(x_ - other.x_, y_ - other.y_, z_ - other.z_);
}

template <class T>
MTH_3D_VECTOR<T>* MTH_3D_VECTOR<T>::operator*(const double factor) const requires std::same_as<T, double> {
  return Scaled(*this, factor);
}

template <class T>
MTH_3D_VECTOR<T>* MTH_3D_VECTOR<T>::operator*(const float factor) const requires std::same_as<T, double> {
  return Scaled(*this, double{factor});
}

template <class T>
void MTH_3D_VECTOR<T>::Normalise() {
  const T norm = ComputeNorm();  // never negative, so that integer quotients cannot overflow
  if (norm != 0) {
    x_ /= norm;
    y_ /= norm;
    z_ /= norm;
  }
  norm_ = 1;
}

template <class T>
T MTH_3D_VECTOR<T>::ComputeNorm() const {
  using namespace mth_internal;
  const auto square = [](auto component) { return Product(Widen(component), Widen(component)); };
  return RootOfSquares<T>(square(x_), square(y_), square(z_));
}

template class MTH_3D_VECTOR<double>;
template class MTH_3D_VECTOR<float>;
template class MTH_3D_VECTOR<int>;
